/// The text file of a field's values, from which its method is built: entry lines with hexadecimal base ids.
/// It appears under its name when it is closed, whole.
///
/// Errors: an `AceException` for what cannot be written.
/// Thread safety: belongs to one thread at a time.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "ace/ace_file.h"
#include "ace/ace_types.h"

class FieldWriter {
 public:
  /// Without a name nothing is written.
  explicit FieldWriter(const char* tera_name);

  /// Whether the value is another one than the last time. The first always is.
  bool update_string(std::string_view value);
  /// Writes a line; empty values, and ids 0 and ~0, are left out. Returns the number of lines written.
  int write(std::string_view value, Large id);
  /// Puts the file in place. Returns 1 when nothing was written, else 0.
  int close();

 private:
  void flush();

  static constexpr std::size_t BUFFER_SIZE = 1 << 16;

  std::unique_ptr<AceFile> tStream;
  std::string pending;
  std::string lastString;
  bool isFirst = true;
  VInt numWords = 0;
};
