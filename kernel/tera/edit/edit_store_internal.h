/// What recall reads: the columns and tokens of an edit index, decoded and laid out for the kernel
/// (edit_kernel_internal.h).
///
/// Saved columns are decoded token by token, up to the lengths in reach, and the entries' tokens 32 entries
/// at a time, by the first recall that looks at them; others wait. What is decoded stays for as long as the
/// index: per entry of n positions n bytes, or n / 8 bytes for each token that was ever asked for; a filter
/// of f takes the 2^f-th part of the latter.
///
/// Thread safety: everything may be called by any number of threads.
#pragma once

#include <atomic>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <new>
#include <span>
#include <vector>

#include "tera/edit/edit_kernel_internal.h"
#include "tera/tera_bit_matrix.h"
#include "tera/tera_word_pattern.h"

class EditScratchPool;
class TeraEdit;

/// Lets the first one who needs something make it, while others wait; after an exception the next one does.
/// Unlike `std::call_once` it unwinds without a function of the C library, which would need memory for that.
class EditOnce {
 public:
  template <class Make>
  void call(Make make) {
    if (isMade.load(std::memory_order_acquire)) return;
    const std::scoped_lock lock(making);
    if (isMade.load(std::memory_order_relaxed)) return;
    make();
    isMade.store(true, std::memory_order_release);
  }

 private:
  std::atomic<bool> isMade = false;
  std::mutex making;
};

/// Zeros of the system's, which take no memory until they are written: what is a few pages or more is mapped,
/// for `calloc` writes zeros into the pages of its heap.
struct EditFree {
  std::size_t mappedSize = 0;  // 0 for what is not mapped
  void operator()(void* memory) const;
};
template <class T>
using EditZeros = std::unique_ptr<T, EditFree>;
/// Throws `std::bad_alloc`.
EditZeros<void> edit_zero_bytes(std::size_t size);
template <class T>
EditZeros<T> edit_zeros(std::size_t num) {
  EditZeros<void> made = edit_zero_bytes(num * sizeof(T));
  const EditFree freed = made.get_deleter();
  return EditZeros<T>(static_cast<T*>(made.release()), freed);
}

/// The columns of a matrix.
class EditColumns {
 public:
  /// Columns are decoded for the matrix as it is at the first call. With `reverse`, its positions run
  /// backwards.
  EditColumns(const TeraBitMatrix& matrix, bool reverse);
  EditColumns(const EditColumns&) = delete;
  EditColumns& operator=(const EditColumns&) = delete;

  /// In place of a token: all of them together.
  static constexpr int ANY_TOKEN = NUM_TOKEN_VALUES;

  /// Block 0 of a token's column for the entries of a length of at least 1. Null when the saved column is
  /// damaged up to there.
  const VUint* get(int tok, int length);
  /// Blocks of the entries of a length.
  int num_blocks(int length) const;
  /// Slots of a length, padding included.
  int num_slots(int length) const;

 private:
  static constexpr int NUM_COLUMNS = ANY_TOKEN + 1;

  struct Column {
    std::atomic<int> numLengths = 0;  // that are decoded; no more when the rest is damaged
    std::mutex decoding;
    EditZeros<VUint> words;                      // null for a column without bits
    std::unique_ptr<TeraModule::Reader> reader;  // while lengths are left
    std::vector<VBit> lastSection;               // the one in which the next length begins, if any
  };

  void extend(int tok, int length, Column* column);
  void decode(int tok, int length, Column* column);
  void unite(int length, Column* column);
  void lay_out(const VBit* words, int first_section, int first_length, int last_length, VUint* lanes) const;
  int end_slot(int length) const;
  std::size_t offset_of(int length) const { return groupStart[static_cast<std::size_t>(length)]; }

  const TeraBitMatrix& itsMatrix;
  bool isReversed;
  std::vector<std::size_t> groupStart;  // per length the word of its block 0; at the end, their number
  EditZeros<VUint> zeros;               // for columns without bits: as long as the longest group
  std::unique_ptr<Column[]> columns;
};

/// The tokens of the entries of one length, converted group by group as they are asked for. Their sections
/// lie in the order in which they came: side by side they take a sixth of the pages.
class EditTokens {
 public:
  static constexpr int GROUP_LANES = 32;

  /// Place 0, as the kernel reads it, and the places of the sections with groups that were asked for. Entries
  /// that the bytes cannot hold because they have operators are zeros there.
  const Token* get_bytes() const { return bytes; }
  const Large* get_places() const { return places.get(); }
  /// The lanes of a group with such entries, which must be converted.
  Bit with_operators(Large group) const { return operatorLanes != nullptr ? operatorLanes.get()[group] : 0; }
  bool may_have_operators() const { return operatorLanes != nullptr; }

 private:
  friend class EditStore;
  EditOnce once;
  std::mutex converting;
  EditZeros<char> zeros;
  Token* bytes = nullptr;
  EditZeros<Large> places;                   // per section; 0, which stays empty, for none
  Large numPlaces = 0;                       // in use
  EditZeros<std::atomic<bool>> isConverted;  // per group
  EditZeros<Bit> operatorLanes;              // per group, where entries may have operators
};

class EditStore {
 public:
  explicit EditStore(const TeraEdit& edit);
  ~EditStore();

  EditColumns& entry_columns() { return *entryColumns; }
  EditColumns& filter_columns() { return *filterColumns; }
  /// From the strings of the index, which it must have, with these groups of 2^`lanes_log` lanes, GROUP_LANES
  /// at least.
  const EditTokens& tokens(int length, int lanes_log, std::span<const Large> groups);
  /// The most words that an entry has, as white space and ASCII punctuation separate them; 0 without strings.
  /// Counted once.
  int longest_words();
  EditScratchPool& scratches() { return *scratchPool; }

 private:
  int count_words() const;
  bool has_operators() const;
  void prepare(int length, EditTokens* out) const;
  void convert(int length, Large group, EditTokens* out) const;
  bool convert_lane(const char* string, int length, Token* column) const;
  bool is_with_operators(const char* string) const;

  const TeraEdit& itsEdit;
  std::unique_ptr<EditColumns> entryColumns;
  std::unique_ptr<EditColumns> filterColumns;  // null without a filter
  std::unique_ptr<EditTokens[]> tokensOfLength;
  std::unique_ptr<EditScratchPool> scratchPool;
  EditOnce wordsOnce;
  int mostWords = 0;
};
