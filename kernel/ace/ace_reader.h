/// Line readers: the interface through which the kernel reads lines, and two simple sources of lines.
/// The reader of files is `AceInput` (ace_input.h).
///
/// Thread safety: a reader belongs to one thread.
#pragma once

#include "ace/ace_types.h"

class SORV_API AceReader {
 public:
  /// The next line, terminated, without its line end; valid until the next call. `*lineNo` (if given)
  /// receives its number, from 0. Returns its length in bytes, or -1 at the end, which a source that cannot
  /// be read any further looks like: whoever needs all lines asks `read_error` then.
  virtual int read_line(const char** line, VInt* lineNo) = 0;
  /// Back to the start. Returns 0, or -1 where that is impossible.
  virtual int rewind() = 0;
  virtual ~AceReader() = default;
  /// 0 while all that was asked for could be read, else the `errno` of what failed (which was reported, with
  /// source and offset). It stays until the reader is moved.
  virtual int read_error() const { return 0; }

 protected:
  AceReader() = default;
  AceReader(const AceReader&) = default;
  AceReader& operator=(const AceReader&) = default;
};

/// Reads an array of strings, which it does not own. Null entries are skipped.
class SORV_API AceArrayReader : public AceReader {
 public:
  AceArrayReader(int num_strings, const char** line_array) : numStrings(num_strings), lineArray(line_array) {}

  /// `*lineNo` receives the index of the entry. -1 also when the array is null.
  int read_line(const char** line, VInt* lineNo) override;
  /// Copies the next line into `buf` as strncpy does: exactly `n` bytes are written, zeros behind the line,
  /// and a line of `n` bytes or more is cut and NOT terminated. Returns the number of bytes of the line in
  /// `buf`, or -1 at the end.
  int copy_line(char* buf, int n);
  int rewind() override;

 private:
  int lineNum = 0;  // index of the next entry
  int numStrings;
  const char** lineArray;
};

/// Reads lines from a callback.
class SORV_API AceCustomReader : public AceReader {
 public:
  /// Stores the next line in `*line` and returns its length, or a negative value at the end.
  using GetLine = int(const char** line, void* arg);

  /// `arg` is handed to the callback unchanged. A null callback is a reader without lines.
  AceCustomReader(GetLine* fn, void* arg) : customRead(fn), customArg(arg) {}

  /// Returns what the callback returns; -1 without one. `*lineNo` stops at INT_MAX.
  int read_line(const char** line, VInt* lineNo) override;
  /// Copies the next line into `buf` like `AceArrayReader::copy_line`. Returns the line's full length, or -1
  /// at the end.
  int copy_line(char* buf, int n);
  /// Restarts the line numbers and returns -1: a callback cannot be rewound.
  int rewind() override;

 private:
  int lineNum = 0;
  GetLine* customRead;
  void* customArg;
};
