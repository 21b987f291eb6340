#include "ace/ace_file_swap.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "ace/ace_thread.h"

namespace {

namespace fs = std::filesystem;

constexpr int MAX_LINKS = 40;  // as the kernel's own limit
constexpr mode_t PERMISSIONS = 0777;

bool same_file(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// The path at the end of the symbolic links that start at `name`, which need not exist. Empty with `errno`
/// on failure.
std::string follow_links(const char* name) {
  std::error_code error;
  fs::path path = name;
  for (int hops = 0; hops <= MAX_LINKS; ++hops) {
    if (!fs::is_symlink(fs::symlink_status(path, error))) return path.string();
    const fs::path link = fs::read_symlink(path, error);
    if (error) {
      errno = error.value();
      return {};
    }
    path = path.parent_path() / link;  // an absolute link replaces the folder
  }
  errno = ELOOP;
  return {};
}

std::string folder_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

/// Creates a file that no other process and no other thread is writing; no write to it is a cancellation
/// point. The name is short and does not contain the target's, which may have the greatest length that the
/// file system allows.
std::FILE* create_beside(const std::string& target, std::string& name) {
  static std::atomic<unsigned> counter{0};
  for (;;) {
    name = folder_of(target) + ".sorvanta-" + std::to_string(getpid()) + "-" +
           std::to_string(counter.fetch_add(1)) + ".tmp";
    std::FILE* file = std::fopen(name.c_str(), "wbxce");
    if (file != nullptr || errno != EEXIST) return file;
  }
}

/// Gives the new file the owner and the permissions of the old one.
int keep_attributes(std::FILE* file, const struct stat& old) {
  // Only a privileged process may give a file away.
  const int ignored = fchown(fileno(file), old.st_uid, old.st_gid);
  static_cast<void>(ignored);
  return fchmod(fileno(file), old.st_mode & PERMISSIONS);
}

/// The rename is only safe against a power cut once the folder is on disk. A folder that cannot be opened for
/// reading, or a file system that does not flush folders, gives nothing to wait for.
int sync_folder(const std::string& path) {
  const int folder = ::open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return 0;
  int rc = fsync(folder);
  if (rc != 0 && (errno == EINVAL || errno == EROFS)) rc = 0;
  const int error = errno;
  ::close(folder);
  errno = error;
  return rc;
}

}  // namespace

std::FILE* AceFileSwap::open(const char* name) {
  const AceUncancellable uncancellable;
  discard();
  struct stat old {};
  const bool exists = stat(name, &old) == 0;
  if (!exists && errno != ENOENT) return nullptr;
  target = follow_links(name);
  if (target.empty()) return nullptr;

  struct stat resolved {};
  // A link of the kernel's own, as in /proc, need not lead where its text says.
  const bool replaceable =
      !exists || (S_ISREG(old.st_mode) && lstat(target.c_str(), &resolved) == 0 && same_file(old, resolved));
  if (!replaceable) return stream = std::fopen(name, "wbce");
  if (exists && faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0) return nullptr;

  stream = create_beside(target, temp);
  if (stream == nullptr) {
    temp.clear();
    return nullptr;
  }
  if (exists && keep_attributes(stream, old) != 0) {
    const int error = errno;
    discard();
    errno = error;
    return nullptr;
  }
  return stream;
}

int AceFileSwap::sync_and_close() {
  int error = 0;
  if (std::ferror(stream) != 0) error = EIO;
  if (error == 0 && std::fflush(stream) != 0) error = errno;
  if (error == 0 && !temp.empty() && fsync(fileno(stream)) != 0) error = errno;
  if (std::fclose(stream) != 0 && error == 0) error = errno;
  stream = nullptr;
  errno = error;
  return error == 0 ? 0 : -1;
}

int AceFileSwap::commit() {
  const AceUncancellable uncancellable;
  if (stream == nullptr) return 0;
  if (sync_and_close() != 0 || (!temp.empty() && std::rename(temp.c_str(), target.c_str()) != 0)) {
    const int error = errno;
    discard();
    errno = error;
    return -1;
  }
  if (temp.empty()) return 0;
  temp.clear();
  return sync_folder(target);
}

void AceFileSwap::discard() {
  const AceUncancellable uncancellable;
  if (stream != nullptr) std::fclose(stream);
  stream = nullptr;
  if (!temp.empty()) unlink(temp.c_str());
  temp.clear();
}
