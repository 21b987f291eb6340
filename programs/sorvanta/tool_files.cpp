#include "sorvanta/tool_files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "ace/ace_attach.h"
#include "ace/ace_md5.h"
#include "dare/dare_ldb.h"
#include "seam/seam_file.h"
#include "sorvanta/tool_failure.h"

namespace {

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

[[noreturn]] void fail(const std::string& name, int reason) {
  throw Failure(printable(name) + ": " + std::strerror(reason));
}

}  // namespace

std::string file_start(const std::string& name, std::size_t most) {
  const File file(std::fopen(name.c_str(), "rb"));
  if (file == nullptr) fail(name, errno);
  std::string text(std::min(most, static_cast<std::size_t>(std::max(file_size(name), 65536.0)) + 1), '\0');
  text.resize(std::fread(text.data(), 1, text.size(), file.get()));
  if (std::ferror(file.get()) != 0) fail(name, errno);
  return text;
}

void write_file(const std::string& name, const std::string& text) {
  WriteFileCache file(name.c_str());
  file.put_string(text.c_str());
  file.close();
}

FileLock::FileLock(const std::string& file) : descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
  std::fprintf(stderr, "sorvanta: another process works with %s; waiting for its end\n",
               printable(file).c_str());
  while (flock(descriptor, LOCK_EX) != 0 && errno == EINTR) {
  }
}

FileLock::~FileLock() {
  if (descriptor >= 0) close(descriptor);
}

bool has_file(const std::string& name) {
  return access(name.c_str(), R_OK) == 0;
}

std::string file_stamp(const std::string& name) {
  struct stat now {};
  if (stat(name.c_str(), &now) != 0) return "";
  return std::to_string(now.st_dev) + " " + std::to_string(now.st_ino) + " " + std::to_string(now.st_size) +
         " " + std::to_string(now.st_mtim.tv_sec) + "." + std::to_string(now.st_mtim.tv_nsec);
}

double file_size(const std::string& name) {
  struct stat now {};
  return stat(name.c_str(), &now) == 0 ? static_cast<double>(now.st_size) : 0;
}

std::string without_ending(const std::string& name) {
  return std::filesystem::path(name).replace_extension().string();
}

std::string beside(const std::string& file, const std::string& name) {
  return DareLdbFile::join(std::filesystem::path(file).parent_path().c_str(), name);
}

std::string text_sum(const std::string& text) {
  AceAttach at;
  return ace_md5::MD5_from_string(text.c_str(), &at);
}
