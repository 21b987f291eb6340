/// A file that appears under its name whole or not at all.
///
/// The bytes go into a temporary file in the folder of the target; `commit` flushes it to the disk, renames
/// it over the target and flushes the folder. A process that is killed, a full disk and a failed write leave
/// the old file as it was. Whoever has the old file open or mapped keeps it.
///
///  - A killed process leaves its temporary file, `.sorvanta-<process>-<number>.tmp`. The next one that needs
///    such a file in that folder removes it: when no such process is there, nobody holds the file's lock, and
///    it has not been written to for a minute.
///  - Where the folder must not be written or the file cannot be renamed over (the usual one of a container
///    is a mount of its own), the file is overwritten in place, from a copy that is complete before, with a
///    warning on the default reporter. The copy lies in the folder or, where that is impossible, in TMPDIR.
///    It stays, under a name that the error tells, when overwriting fails.
///  - A symbolic link stays, the file it leads to is replaced. Hard links to that file keep the old contents.
///  - An existing file keeps its permissions (without set-id bits) and, where the process may do so, its
///    owner; one that must not be written is not replaced either. A new file gets the usual permissions
///    (0666 less the umask).
///  - What exists and is not a regular file, such as a device or a pipe, is written directly.
///  - A process that would be ended by SIGXFSZ (a limit of file sizes) ignores it from the first file on, so
///    that the write fails instead; an action of its own stays.
///
/// Thread safety: an object belongs to one thread; any number may write to one target, the last one wins.
#pragma once

#include <sys/stat.h>

#include <cstdio>
#include <string>

class AceFileSwap {
 public:
  AceFileSwap() = default;
  AceFileSwap(const AceFileSwap&) = delete;
  AceFileSwap& operator=(const AceFileSwap&) = delete;
  /// Discards what was not committed.
  ~AceFileSwap() { discard(); }

  /// Opens for writing; the stream is closed by `commit` or `discard`. Null with `errno` on failure.
  std::FILE* open(const char* name);
  /// Puts the file in place. Returns 0, or -1 with `errno`; the temporary file is gone in any case. Fails
  /// when an earlier write to the stream failed.
  int commit();
  /// Closes and removes the temporary file.
  void discard();

 private:
  int look_at(const char* name, struct stat* old);
  int put_in_place();
  int overwrite(const char* reason);
  int sync_and_close();

  std::FILE* stream = nullptr;
  std::string target;    // the file to be replaced, links resolved
  std::string temp;      // beside it; empty when the target is written directly
  bool isAside = false;  // `temp` is not where it could be renamed over the target
};
