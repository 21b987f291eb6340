/// Text files that appear whole or not at all, written in large pieces.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "ace/ace_file_swap.h"

class DamoOutput {
 public:
  /// Begins a file that takes the place of `name` when it is committed. Throws `AceException` with the
  /// system's reason, as all of these do.
  explicit DamoOutput(const char* name);

  // A file belongs to one thread: no call locks it.
  void write(std::string_view text) {
    if (fwrite_unlocked(text.data(), 1, text.size(), stream) != text.size()) fail("write to");
  }
  void put(char c) {
    if (putc_unlocked(c, stream) == EOF) fail("write to");
  }
  [[gnu::format(printf, 2, 3)]] void printf(const char* format, ...);
  [[gnu::format(printf, 2, 0)]] void vprintf(const char* format, std::va_list values);
  void flush();
  /// Puts the file in place. Without it the old one stays.
  void commit();
  const char* get_name() const { return fileName.c_str(); }

 private:
  [[noreturn]] void fail(const char* action) const;

  std::string fileName;
  std::unique_ptr<char[]> buffer;  // the stream's, which the swap closes
  AceFileSwap swap;
  std::FILE* stream;
};
