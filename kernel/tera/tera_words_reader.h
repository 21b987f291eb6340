/// Readers of lines of words, from which multi-word indexes are built (tera_multi.h).
///
/// Thread safety: a reader belongs to one thread.
#pragma once

#include <memory>
#include <string>

#include "ace/ace_types.h"

class AceReader;
class TeraReader;

class SORV_API WordsReader {
 public:
  /// Reads the entries of another reader, which stays the caller's. The build may keep part of what it has
  /// read in a file of the name `chunk_file`, which it removes; null or empty: all in memory.
  WordsReader(TeraReader* reader, const char* chunk_file);
  /// Reads a text file, a line each, numbered from 0. Throws an `AceException` when it cannot be opened.
  WordsReader(const char* file, const char* chunk_file);
  ~WordsReader();

  /// The next line and its attribute number. Returns 1; 0 at the end; -1 on errors.
  int get_line(const char** line, Large* info);
  const char* get_chunk_file() const { return chunkFile.c_str(); }

 private:
  std::unique_ptr<AceReader> ownInput;
  TeraReader* itsReader = nullptr;
  std::string chunkFile;
};
