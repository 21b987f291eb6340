#include "ebos/ebos_log_writer.h"

#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <utility>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "ace/ace_thread.h"
#include "ace/ace_timer.h"

namespace {

constexpr int MICROS_PER_MILLI = 1000;

/// Renames where nothing is replaced; on a file system that cannot promise that, looks before.
int rename_to_new(const char* from, const char* to) {
  if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  if (access(to, F_OK) == 0) return EEXIST;
  return std::rename(from, to) == 0 ? 0 : errno;
}

}  // namespace

int EbosStreamWriter::create_time_string(char* buffer, std::size_t size) {
  timeval now = {};
  gettimeofday(&now, nullptr);
  std::tm local = {};
  char date[64] = "";
  if (ace_localtime(&now.tv_sec, &local) != nullptr)
    std::strftime(date, sizeof date, "[%d/%m/%y %H:%M:%S", &local);
  const int wanted =
      std::snprintf(buffer, size, "%s.%03d][pid:%d] ", date, static_cast<int>(now.tv_usec / MICROS_PER_MILLI),
                    static_cast<int>(getpid()));
  return size > 0 ? std::clamp(wanted, 0, static_cast<int>(size) - 1) : 0;
}

int EbosFileWriter::open() {
  if (fileHandle != nullptr) return 0;
  fileHandle = AceFile::open(itsFilename.c_str(), "a");
  if (fileHandle == nullptr) {
    if (openError == 0) isTold = false;
    openError = errno;
    return -1;
  }
  openError = 0;
  return 0;
}

void EbosFileWriter::close() {
  const AceUncancellable uncancellable;
  if (fileHandle != nullptr) std::fclose(fileHandle);
  fileHandle = nullptr;
}

int EbosFileWriter::print(const char* text) {
  reopen_if_moved();
  if (open() != 0) return -1;
  const bool isWritten = std::fprintf(fileHandle, "%s", text) >= 0;
  if (std::fflush(fileHandle) == 0 && isWritten) return 0;
  close();
  return -1;
}

void EbosFileWriter::report_failure() {
  if (isTold.exchange(true)) return;
  char reason[128];
  AceReporter::use_default()->ev_wprintf("Failed to open logFile '%s': (%i) %s", itsFilename.c_str(),
                                         openError.load(), ace_strerror(openError, reason, sizeof reason));
}

/// Another process may have moved the file into the archive.
void EbosFileWriter::reopen_if_moved() {
  const std::time_t now = std::time(nullptr);
  if (fileHandle == nullptr || std::exchange(lastLook, now) == now) return;
  struct stat mine {};
  struct stat named {};
  const bool isNamed = ::stat(itsFilename.c_str(), &named) == 0;
  if (fstat(&mine) != 0 || (isNamed && mine.st_dev == named.st_dev && mine.st_ino == named.st_ino)) return;
  close();
}

int EbosFileWriter::savefile(const char* name) {
  if (fileHandle == nullptr) return -1;
  close();
  const int rc = rename_to_new(itsFilename.c_str(), name);
  open();
  return rc;
}

int EbosFileWriter::fstat(struct ::stat* info) const {
  return fileHandle != nullptr ? ::fstat(fileno(fileHandle), info) : -1;
}
