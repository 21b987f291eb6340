/// Where the lines of the process log go: the interface, and local files. The writer to a log server is
/// ebos_net_writer.h.
///
/// Thread safety: the log calls its writer under its lock; else one thread at a time.
#pragma once

#include <sys/stat.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <string>

#include "ace/ace_types.h"

class SORV_API EbosStreamWriter {
 public:
  EbosStreamWriter() = default;
  EbosStreamWriter(const EbosStreamWriter&) = delete;
  EbosStreamWriter& operator=(const EbosStreamWriter&) = delete;
  virtual ~EbosStreamWriter() = default;

  /// Writes a line as it is. Returns 0, or -1 when it got lost.
  virtual int print(const char* text) = 0;
  /// Tells the default reporter of a failure since the last call, if there was one. Not under the log's lock:
  /// the reporter may write into the log.
  virtual void report_failure() {}

  /// "[21/11/26 09:30:00.125][pid:4711] ", local time, cut to `size` bytes with the terminator. Returns its
  /// length.
  static int create_time_string(char* buffer, std::size_t size);
};

/// Appends to a file, which several processes may share; each line is flushed.
class SORV_API EbosFileWriter : public EbosStreamWriter {
 public:
  /// The file is opened by `open` or the first line.
  explicit EbosFileWriter(const char* name) : itsFilename(name != nullptr ? name : "") {}
  ~EbosFileWriter() override { close(); }

  /// Opens the file for appending unless it is open. Returns 0, or -1: `report_failure` tells why, once until
  /// it succeeds.
  int open();
  void close();
  bool is_opened() const { return fileHandle != nullptr; }
  /// Opens the file if necessary; also when somebody moved it away, which is looked at once a second. A
  /// failed write closes the file.
  int print(const char* text) override;
  void report_failure() override;
  /// Moves the open file to `name`, where there must be none, and goes on in a new one. Returns 0, -1 when no
  /// file is open, or the system's error.
  int savefile(const char* name);
  /// As the system's call, of the open file; -1 when none is open.
  int fstat(struct ::stat* info) const;
  const char* get_filename() const { return itsFilename.c_str(); }

 private:
  void reopen_if_moved();

  std::FILE* fileHandle = nullptr;
  std::string itsFilename;
  long lastLook = 0;                // second of the last look at the file's name
  std::atomic<int> openError = 0;   // of the last attempt
  std::atomic<bool> isTold = true;  // it was reported
};
