/// The distinct values of a field while a base is built: numbered in the order in which they came, counted by
/// the records that have them.
///
/// An open-addressing hash table (linear probing, at most half full) of numbers; the strings lie back to back
/// in blocks and never move. Thread safety: belongs to one thread at a time.
#pragma once

#include <cstring>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "ace/ace_types.h"

class DastValueTable {
 public:
  static constexpr Large NONE = ~Large{0};

  struct Value {
    const char* text;
    Large length;
    Large numRecords;  // that have it
    Large lastRecord;  // the last of them
    std::string_view view() const { return {text, length}; }
  };

  DastValueTable();

  /// The number of the value, which is entered when it is new.
  Large enter(std::string_view text);
  /// The same, counted once for each record. Records come in ascending order, from 1 on.
  Large count(std::string_view text, Large record);
  /// NONE when it is not there.
  Large find(std::string_view text) const;

  Large size() const { return static_cast<Large>(values.size()); }
  const Value& operator[](Large number) const { return values[number]; }
  /// Bytes of all strings with their terminators.
  VInt get_num_bytes() const { return numBytes; }

 private:
  static constexpr std::size_t BLOCK_SIZE_BYTES = std::size_t{1} << 18;

  static std::size_t hash(std::string_view text) { return std::hash<std::string_view>()(text); }
  std::size_t find_slot(std::string_view text) const;
  const char* store(std::string_view text);
  void grow();

  std::vector<Value> values;
  std::vector<Large> slots;  // numbers; NONE where free
  std::vector<std::unique_ptr<char[]>> blocks;
  char* blockPos = nullptr;
  std::size_t blockLeft = 0;
  VInt numBytes = 0;
};

inline std::size_t DastValueTable::find_slot(std::string_view text) const {
  const std::size_t mask = slots.size() - 1;
  std::size_t slot = hash(text) & mask;
  while (slots[slot] != NONE && values[slots[slot]].view() != text) slot = (slot + 1) & mask;
  return slot;
}

inline Large DastValueTable::count(std::string_view text, Large record) {
  const Large number = enter(text);
  Value& value = values[number];
  if (value.lastRecord != record) {
    value.lastRecord = record;
    ++value.numRecords;
  }
  return number;
}
