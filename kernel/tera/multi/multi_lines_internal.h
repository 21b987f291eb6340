/// Building a multi-word index: its lines as word numbers, and how they are coded.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_huffman.h"
#include "ace/ace_types.h"

class AceReporter;

/// Distinct strings by number; the strings lie in the set.
class MultiStrings {
 public:
  static constexpr Large NONE = ~Large{0};

  Large insert(std::string_view string);
  Large find(std::string_view string) const;
  Large size() const { return static_cast<Large>(strings.size()); }
  const char* get(Large id) const { return strings[id]; }
  /// Numbers the strings in byte order. Returns the new number of each.
  std::vector<Large> sort();

 private:
  std::unordered_map<std::string_view, Large> numbers;
  std::vector<const char*> strings;
  AceAttach memAt;
};

/// Lists of numbers, in the order they come; of each hundred, some wait in a file.
class MultiLines {
 public:
  /// `percent` of them stay in memory; all, with an empty name.
  MultiLines(const char* chunk_file, int percent) : chunkName(chunk_file), inMemory(percent) {}

  /// Returns 0; -1, reported, when the file cannot be written.
  int append(const std::vector<Large>& numbers);
  /// The same for reading.
  int get(Large line, std::vector<Large>* numbers) const;
  Large size() const { return static_cast<Large>(places.size()); }

 private:
  struct Place {
    VInt start;
    Large count;
    bool isFiled;
  };
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  int write(const std::vector<Large>& numbers);
  int fail(const char* what) const;

  std::string chunkName;
  int inMemory;
  std::vector<Place> places;
  std::vector<Large> kept;
  std::unique_ptr<std::FILE, Close> chunk;
  VInt chunkSize = 0;
};

/// Makes the code of words, of which those that occur `counts[word]` times too seldom are left out: each
/// costs an entry of the tables. Which they are is where the tables and all words take least by their
/// entropy.
int multi_make_word_code(const std::vector<Large>& counts, int offset_bits, HuffmanTree* code);
