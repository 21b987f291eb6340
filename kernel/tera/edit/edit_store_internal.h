/// What recall reads: the columns and tokens of an edit index, decoded and laid out for the kernel
/// (edit_kernel_internal.h).
///
/// Saved columns are decoded token by token, and the entries' tokens length by length, by the first recall
/// that needs them; others wait. What is decoded stays for as long as the index: per entry of n positions n
/// bytes, or n / 8 bytes for each token that was ever asked for; a filter of f takes the 2^f-th part of the
/// latter.
///
/// Thread safety: everything may be called by any number of threads.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "tera/edit/edit_kernel_internal.h"
#include "tera/tera_bit_matrix.h"
#include "tera/tera_word_pattern.h"

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
  /// damaged.
  const VUint* get(int tok, int length);
  /// Blocks of the entries of a length.
  int num_blocks(int length) const;
  /// Slots of a length, padding included.
  int num_slots(int length) const;

 private:
  static constexpr int NUM_COLUMNS = ANY_TOKEN + 1;

  struct Column {
    EditOnce once;
    bool isDamaged = false;
    std::unique_ptr<VUint[]> words;  // null for a column without bits
  };

  void decode(int tok, Column* column);
  void unite(Column* column);
  std::size_t offset_of(int length) const { return groupStart[static_cast<std::size_t>(length)]; }

  const TeraBitMatrix& itsMatrix;
  bool isReversed;
  std::vector<std::size_t> groupStart;  // per length the word of its block 0; at the end, their number
  std::unique_ptr<VUint[]> zeros;       // for columns without bits: as long as the longest group
  std::unique_ptr<Column[]> columns;
};

/// The tokens of the entries of one length.
struct EditTokens {
  const Token* bytes = nullptr;  ///< section 0, as the kernel reads it
  /// Lanes of entries that the bytes cannot hold because they have operators; ascending.
  std::vector<Large> withOperators;

 private:
  friend class EditStore;
  EditOnce once;
  std::unique_ptr<Token[]> ownBytes;
};

class EditStore {
 public:
  explicit EditStore(const TeraEdit& edit);

  EditColumns& entry_columns() { return *entryColumns; }
  EditColumns& filter_columns() { return *filterColumns; }
  /// From the strings of the index, which it must have.
  const EditTokens& tokens(int length);
  /// The most words that an entry has, as white space and ASCII punctuation separate them; 0 without strings.
  /// Counted once.
  int longest_words();

 private:
  int count_words() const;
  void convert(int length, EditTokens* out) const;

  const TeraEdit& itsEdit;
  std::unique_ptr<EditColumns> entryColumns;
  std::unique_ptr<EditColumns> filterColumns;  // null without a filter
  std::unique_ptr<EditTokens[]> tokensOfLength;
  EditOnce wordsOnce;
  int mostWords = 0;
};
