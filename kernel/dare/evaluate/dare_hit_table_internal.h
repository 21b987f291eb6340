/// What is known of the records of a part: for each record that was hit a signature, the quality in each
/// column.
///
///     word 0    bits 0..55: columns 0 to 6, a byte each (0: not hit)      bit 56: the record was hit
///     word 1    columns 7 to 13
///
/// Tables are large and all zero while nobody uses them, so they are kept (`HitTableRef`). Where most records
/// are hit by one field only, which is not enough, bits tell the others before (`start_choice`), and only
/// these are in the table:
///
///     records   64 to 127             128 to 191
///     chosen    0100000010...0        0000010...0
///     before    0                     2                  place of 133: 2 + the bits below its own = 2
///
/// Thread safety: a table belongs to one thread; getting and giving back is safe.
#pragma once

#include <bit>
#include <cstdint>
#include <memory>
#include <vector>

#include "ace/ace_types.h"

class DareHitTable {
 public:
  using Word = std::uint64_t;
  static constexpr int COLUMNS_PER_WORD = 7;
  static constexpr Word HIT = Word{1} << 56;

  /// Readies it for the records `from` to `to` - 1; then `start_all` or `start_choice`.
  void init(Large from, Large to, int num_columns);
  void start_all() { make_places(endRecord - firstRecord); }
  /// Only the records that are allowed from now on are hit (`allow`).
  void restrict_records();
  void allow(Large from, Large to);

  /// What the hits of a field tell of a record before its signature is known: it only adds to what others
  /// have found; it is enough together with another field; it is enough.
  enum Role { OPTIONAL, ESSENTIAL, ALONE };
  /// Readies it for `note` first. After `end_choice` the hits are the records that were noted often enough,
  /// by number, and `hit_chosen` tells their qualities.
  void start_choice();
  void end_choice();
  /// OPTIONAL fields come last.
  template <Role role>
  void note(Large record) {
    Choice& choice = choices[(record - firstRecord) >> 6];
    const Word bit = bit_of(record);
    choice.chosen |= role == ALONE ? bit : choice.seenOrBefore & bit;
    if (role == ESSENTIAL) choice.seenOrBefore |= bit;
  }
  void hit_chosen(Large record, int word, int shift, Word quality) {
    const Choice& choice = choices[(record - firstRecord) >> 6];
    const Word bit = bit_of(record);
    if ((choice.chosen & bit) == 0) return;
    const auto index = choice.seenOrBefore + static_cast<Word>(std::popcount(choice.chosen & (bit - 1)));
    Word& place = words[index * static_cast<Word>(numWords) + static_cast<Word>(word)];
    if ((place >> shift & 0xFF) == 0) place |= quality << shift;
  }

  int get_num_words() const { return numWords; }
  /// Of the hit `index`.
  const Word* get_words(std::size_t index) const {
    return &words[isChosen ? index * static_cast<std::size_t>(numWords) : place_of(hits[index])];
  }
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
  void make_places(std::size_t records) {
    if (words.size() < records * static_cast<std::size_t>(numWords))
      words.resize(records * static_cast<std::size_t>(numWords));
  }
  Word bit_of(Large record) const { return Word{1} << ((record - firstRecord) & 63); }
  std::size_t num_bit_words() const { return (static_cast<std::size_t>(endRecord - firstRecord) >> 6) + 1; }
  std::size_t place_of(Large record) const {
    return static_cast<std::size_t>(record - firstRecord) * static_cast<std::size_t>(numWords);
  }

  Large firstRecord = 0;
  Large endRecord = 0;
  int numWords = 1;
  std::vector<Word> words;
  std::vector<Large> hits;
  std::vector<Word> allowed;
  struct Choice {
    Word seenOrBefore;  // by an essential field; in the end the number of records chosen before
    Word chosen;
  };
  std::vector<Choice> choices;  // of 64 records each
  bool isChosen = false;
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
