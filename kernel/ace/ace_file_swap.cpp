#include "ace/ace_file_swap.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>
#include <vector>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_thread.h"

namespace {

namespace fs = std::filesystem;

constexpr int MAX_LINKS = 40;  // as the kernel's own limit
constexpr int MAX_LOOKS = 1000;
constexpr std::time_t STRAY_AGE = 60;  // seconds
constexpr std::size_t COPY_SIZE = std::size_t{1} << 20;
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

// A temporary file's name tells its writer, and a lock on it that the writer lives.

constexpr std::string_view TEMP_START = ".sorvanta-";
constexpr std::string_view TEMP_END = ".tmp";

/// The process that a temporary file's name tells; 0 for the name of another file.
pid_t writer_of(std::string_view name) {
  if (!name.starts_with(TEMP_START) || !name.ends_with(TEMP_END)) return 0;
  pid_t process = 0;
  const char* const digits = name.data() + TEMP_START.size();
  const auto [end, error] = std::from_chars(digits, name.data() + name.size(), process);
  return error == std::errc() && *end == '-' && process > 0 ? process : 0;
}

/// Whether nobody writes the file `name` of the folder any more. The lock also tells of processes that are
/// out of sight.
bool is_stray(int folder, const char* name) {
  const pid_t writer = writer_of(name);
  if (writer == 0 || kill(writer, 0) == 0 || errno != ESRCH) return false;
  const int file = openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) return false;
  struct stat info {};
  const bool isStray = fstat(file, &info) == 0 && S_ISREG(info.st_mode) &&
                       info.st_mtime < std::time(nullptr) - STRAY_AGE && flock(file, LOCK_EX | LOCK_NB) == 0;
  ::close(file);
  return isStray;
}

/// Does without what it cannot do.
void remove_strays(const std::string& folder) {
  const std::unique_ptr<DIR, int (*)(DIR*)> list(opendir(folder.c_str()), closedir);
  if (list == nullptr) return;
  while (const dirent* const entry = readdir(list.get()))
    if (is_stray(dirfd(list.get()), entry->d_name)) unlinkat(dirfd(list.get()), entry->d_name, 0);
}

/// Creates a file in `folder` that no other process and no other thread is writing; no write to it is a
/// cancellation point. The name does not contain the target's, which may have the greatest length that the
/// file system allows.
std::FILE* create_in(const std::string& folder, std::string& name) {
  static std::atomic<unsigned> counter{0};
  for (;;) {
    name = folder + std::string(TEMP_START) + std::to_string(getpid()) + "-" +
           std::to_string(counter.fetch_add(1)) + std::string(TEMP_END);
    std::FILE* file = std::fopen(name.c_str(), "wbxce");
    if (file != nullptr) flock(fileno(file), LOCK_EX | LOCK_NB);
    if (file != nullptr || errno != EEXIST) return file;
  }
}

/// A limit of file sizes shall fail a write and not end the process.
void survive_size_limit() {
  static const bool isDone = [] {
    struct sigaction action {};
    if (sigaction(SIGXFSZ, nullptr, &action) == 0 && action.sa_handler == SIG_DFL)
      std::signal(SIGXFSZ, SIG_IGN);
    return true;
  }();
  static_cast<void>(isDone);
}

/// Closes a file for a scope.
class Descriptor {
 public:
  explicit Descriptor(int opened) : file(opened) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    const int error = errno;
    if (file >= 0) ::close(file);
    errno = error;
  }
  int get() const { return file; }

 private:
  int file;
};

bool write_all(int file, const char* bytes, ssize_t size) {
  while (size > 0) {
    const ssize_t written = ::write(file, bytes, static_cast<std::size_t>(size));
    if (written < 0 && errno != EINTR) return false;
    if (written < 0) continue;
    bytes += written;
    size -= written;
  }
  return true;
}

/// Makes the contents of `to` those of `from`. Returns 0, or -1 with `errno`.
int copy_over(const std::string& from, const std::string& to) {
  const Descriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
  const Descriptor target(::open(to.c_str(), O_WRONLY | O_CLOEXEC));
  if (source.get() < 0 || target.get() < 0) return -1;
  flock(source.get(), LOCK_EX | LOCK_NB);  // it is no stray, however long this takes
  std::vector<char> buffer(COPY_SIZE);
  off_t total = 0;
  for (;;) {
    const ssize_t count = ::read(source.get(), buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 || !write_all(target.get(), buffer.data(), count)) return -1;
    if (count == 0) break;
    total += count;
  }
  // Cut last, so that who has the file mapped loses as little as can be.
  return ftruncate(target.get(), total) != 0 || fsync(target.get()) != 0 ? -1 : 0;
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

/// What the name leads to. Stores the file to be replaced in `target`, empty for one that is no regular file,
/// and its state in `*old`. Returns 1 for a file that exists, 0 for one that does not, -1 with `errno`.
int AceFileSwap::look_at(const char* name, struct stat* old) {
  for (int look = 0; look < MAX_LOOKS; ++look) {
    const bool exists = stat(name, old) == 0;
    if (!exists && errno != ENOENT) return -1;
    target.clear();
    if (exists && !S_ISREG(old->st_mode)) return 1;
    target = follow_links(name);
    if (target.empty()) return -1;
    if (!exists) return 0;
    struct stat resolved {};
    if (lstat(target.c_str(), &resolved) == 0 && same_file(*old, resolved)) return 1;
    // Somebody has replaced it meanwhile: look again.
  }
  // A link of the kernel's own, as in /proc, need not lead where its text says.
  target = name;
  isAside = true;
  return 1;
}

std::FILE* AceFileSwap::open(const char* name) {
  const AceUncancellable uncancellable;
  discard();
  survive_size_limit();
  isAside = false;
  struct stat old {};
  const int found = look_at(name, &old);
  if (found < 0) return nullptr;
  if (target.empty()) return stream = std::fopen(name, "wbce");
  if (found > 0 && faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0) return nullptr;

  if (!isAside) {
    remove_strays(folder_of(target));
    stream = create_in(folder_of(target), temp);
    isAside = stream == nullptr && found > 0 && (errno == EACCES || errno == EPERM || errno == EROFS);
  }
  if (isAside) {
    std::error_code ignored;
    const std::string folder = fs::temp_directory_path(ignored).string() + "/";
    remove_strays(folder);
    stream = create_in(folder, temp);
  }
  if (stream == nullptr) {
    temp.clear();
    return nullptr;
  }
  if (found > 0 && !isAside && keep_attributes(stream, old) != 0) {
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
  if (sync_and_close() != 0 || (!temp.empty() && put_in_place() != 0)) {
    const int error = errno;
    discard();
    errno = error;
    return -1;
  }
  if (temp.empty()) return 0;
  discard();  // is gone already unless it was copied
  return sync_folder(target);
}

int AceFileSwap::put_in_place() {
  char reason[128];
  if (isAside) return overwrite("its folder cannot be written");
  if (std::rename(temp.c_str(), target.c_str()) == 0) return 0;
  if (errno != EBUSY && errno != EACCES && errno != EPERM && errno != EROFS) return -1;
  return access(target.c_str(), F_OK) == 0 ? overwrite(ace_strerror(errno, reason, sizeof reason)) : -1;
}

/// Copies the complete temporary file over the target.
int AceFileSwap::overwrite(const char* reason) {
  AceReporter* rep = AceReporter::use_default();
  rep->ev_wprintf("File '%s' is not replaced in one step but overwritten in place: %s", target.c_str(),
                  reason);
  if (copy_over(temp, target) == 0) return 0;
  const int error = errno;
  const std::string kept = temp.substr(0, temp.size() - TEMP_END.size()) + ".kept";
  if (std::rename(temp.c_str(), kept.c_str()) == 0) {
    temp.clear();
    rep->ev_wprintf("File '%s' is broken, its new contents are in '%s'", target.c_str(), kept.c_str());
  }
  errno = error;
  return -1;
}

void AceFileSwap::discard() {
  const AceUncancellable uncancellable;
  if (stream != nullptr) std::fclose(stream);
  stream = nullptr;
  if (!temp.empty()) unlink(temp.c_str());
  temp.clear();
}
