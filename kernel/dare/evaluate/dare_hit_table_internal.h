/// What is known of the records of a part: for each record that was hit a signature, the quality in each
/// column.
///
///     word 0    bits 0..55: columns 0 to 6, a byte each (0: not hit)      bit 56: the record was hit
///     word 1    columns 7 to 13
///
/// Tables are large and all zero while nobody uses them, so they are kept (`HitTableRef`).
///
/// Thread safety: a table belongs to one thread; getting and giving back is safe.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "ace/ace_types.h"

class DareHitTable {
 public:
  using Word = std::uint64_t;
  static constexpr int COLUMNS_PER_WORD = 7;
  static constexpr Word HIT = Word{1} << 56;

  /// Readies it for the records `from` to `to` - 1.
  void init(Large from, Large to, int num_columns);
  /// Only the records that are allowed from now on are hit (`allow`).
  void restrict_records();
  void allow(Large from, Large to);

  int get_num_words() const { return numWords; }
  const Word* get_words(Large record) const { return &words[place_of(record)]; }
  const std::vector<Large>& get_hits() const { return hits; }
  /// Has the memory of a record fetched: tables are larger than caches. Numbers of no record are fine.
  void prefetch(Large record) const {
    if (record - firstRecord < endRecord - firstRecord) __builtin_prefetch(&words[place_of(record)]);
  }

  /// Notes a quality from 1 to 255, unless the record has one in that column. `adds`: also for a record that
  /// no column has hit; `limited`: see `restrict_records`.
  template <bool adds, bool limited>
  void hit(Large record, int word, int shift, Word quality) {
    if (limited && (allowed[(record - firstRecord) >> 6] >> ((record - firstRecord) & 63) & 1) == 0) return;
    Word* const place = &words[place_of(record)];
    if (*place == 0) {
      if (!adds) return;
      hits.push_back(record);  // first: what is marked is cleared by it
      *place = HIT;
    }
    if ((place[word] >> shift & 0xFF) == 0) place[word] |= quality << shift;
  }
  bool is_limited() const { return !allowed.empty(); }
  Large get_first() const { return firstRecord; }
  Large get_end() const { return endRecord; }
  /// Zero again. O(hits).
  void clear();

 private:
  std::size_t place_of(Large record) const {
    return static_cast<std::size_t>(record - firstRecord) * static_cast<std::size_t>(numWords);
  }

  Large firstRecord = 0;
  Large endRecord = 0;
  int numWords = 1;
  std::vector<Word> words;
  std::vector<Large> hits;
  std::vector<Word> allowed;
};

/// A table from those that are kept, given back at the end.
class HitTableRef {
 public:
  HitTableRef();
  HitTableRef(const HitTableRef&) = delete;
  HitTableRef& operator=(const HitTableRef&) = delete;
  ~HitTableRef();
  DareHitTable* operator->() const { return table.get(); }
  DareHitTable* get() const { return table.get(); }

 private:
  std::unique_ptr<DareHitTable> table;
};
