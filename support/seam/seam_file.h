/// Text files for hosts whose language writes none as a whole.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "ace/ace_types.h"

class AceFileSwap;

/// A file that is written in pieces and appears under its name when it is closed (ace_file_swap.h); one that
/// is not closed never appears. What cannot be written is an `AceException`. Thread safety: one thread.
class SORV_API WriteFileCache {
 public:
  explicit WriteFileCache(const char* name);
  WriteFileCache(const WriteFileCache&) = delete;
  WriteFileCache& operator=(const WriteFileCache&) = delete;
  ~WriteFileCache();

  void put_string(const char* text);
  /// Harmless a second time.
  void close();

 private:
  [[noreturn]] void fail(const char* reason) const;

  std::string fileName;
  std::unique_ptr<AceFileSwap> swap;
  std::FILE* stream;
};
