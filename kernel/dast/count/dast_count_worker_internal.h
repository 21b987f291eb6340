/// Count workers: where the figures of the values are while records are counted.
///
///     dense     an array of cells by base id
///     sparse    a hash table of the base ids that are met
///     sorting   the base ids as they come, sorted at the end: sparse, for single records
///     whole     nothing: all records are counted by the lengths of the lists of entries
///
/// `for_each(visit)` gives every value with records, in no order, as `visit(id, cell)`. Loops over records
/// are compiled for each worker, so that a record costs no call.
#pragma once

#include <algorithm>
#include <vector>

#include "ace/ace_id_map.h"
#include "ace/ace_types.h"
#include "dast/count/dast_count_context_internal.h"

namespace dast {

/// A number of records.
struct CountCell {
  VInt get_value() const { return count; }
  Large count = 0;
};

/// The same with what was read of the related field.
struct RelatedCell {
  VInt get_value() const { return value; }
  Large count = 0;
  VInt value = 0;
};

/// Ids beyond the field's, which only a damaged base has, share a cell that nobody reads.
template <class Cell>
class DenseCountWorker {
 public:
  explicit DenseCountWorker(Large num_ids) : numIds(num_ids), cells(num_ids + std::size_t{1}) {}
  Cell& at(Large id) { return cells[std::min(id, numIds)]; }
  template <class Visit>
  void for_each(Visit visit) const {
    for (Large id = 0; id < numIds; ++id) visit(id, cells[id]);
  }

 private:
  Large numIds;
  std::vector<Cell> cells;
};

/// Open addressing with linear probing; at most two thirds of the slots are used.
template <class Cell>
class SparseCountWorker {
 public:
  SparseCountWorker(Large num_ids, VInt expected) : numIds(num_ids) {
    while (VInt{1} << numBits < expected + expected / 2) ++numBits;
    slots.resize(std::size_t{1} << numBits);
  }
  Cell& at(Large id) {
    if (id >= numIds) return noCell;
    std::size_t pos = find(id);
    if (slots[pos].id == id) return slots[pos].cell;
    if (++numUsed * 3 > slots.size() * 2) {
      grow();
      pos = find(id);
    }
    slots[pos].id = id;
    return slots[pos].cell;
  }
  template <class Visit>
  void for_each(Visit visit) const {
    for (const Slot& slot : slots) visit(slot.id, slot.cell);
  }

 private:
  static constexpr Large NONE = ~Large{0};
  static constexpr int FIRST_BITS = 6;
  struct Slot {
    Large id = NONE;
    Cell cell;
  };

  /// The slot of the id, or the free one that it would get. Multiplicative hashing: the constant is 2^64
  /// divided by the golden ratio (D. Knuth, The Art of Computer Programming 3, 6.4).
  std::size_t find(Large id) const {
    const std::size_t mask = slots.size() - 1;
    std::size_t pos = (VUint{id} * 0x9E3779B97F4A7C15ULL) >> (64 - numBits);
    while (slots[pos].id != id && slots[pos].id != NONE) pos = (pos + 1) & mask;
    return pos;
  }
  void grow() {
    std::vector<Slot> old(slots.size() * 2);
    old.swap(slots);
    ++numBits;
    for (const Slot& slot : old)
      if (slot.id != NONE) slots[find(slot.id)] = slot;
  }

  Large numIds;
  int numBits = FIRST_BITS;
  std::size_t numUsed = 0;
  std::vector<Slot> slots;
  Cell noCell;
};

/// Sorts by digits of 9 bits from the lowest (H. Seward, 1954; D. Knuth, The Art of Computer Programming 3,
/// 5.2.5): two passes for up to 262,144 ids, three for up to 134 million. Counters of a digit fit the cache.
class SortingCountWorker {
 public:
  SortingCountWorker(Large num_ids, VInt expected) : numIds(num_ids) {
    ids.reserve(static_cast<std::size_t>(expected));
  }
  void add(Large id) {
    if (id < numIds) ids.push_back(id);
  }
  template <class Visit>
  void for_each(Visit visit) {
    sort();
    for (std::size_t i = 0; i < ids.size();) {
      const std::size_t first = i;
      while (i < ids.size() && ids[i] == ids[first]) ++i;
      visit(ids[first], CountCell{static_cast<Large>(i - first)});
    }
  }

 private:
  void sort() {
    constexpr int DIGIT_BITS = 9;
    constexpr Large DIGITS = Large{1} << DIGIT_BITS;
    std::vector<Large> sorted(ids.size());
    for (int shift = 0; shift < 32 && (numIds - 1) >> shift != 0; shift += DIGIT_BITS) {
      Large starts[DIGITS + 1] = {};
      for (const Large id : ids) ++starts[((id >> shift) & (DIGITS - 1)) + 1];
      for (Large digit = 0; digit < DIGITS; ++digit) starts[digit + 1] += starts[digit];
      for (const Large id : ids) sorted[starts[(id >> shift) & (DIGITS - 1)]++] = id;
      ids.swap(sorted);
    }
  }

  Large numIds;
  std::vector<Large> ids;
};

class WholeCountWorker {
 public:
  explicit WholeCountWorker(const DastBaseField& field) : itsField(field), runs(runs_of(field)) {}
  /// Stops with false at a value that stands for all records, as it has no list of those that really have it.
  template <class Visit>
  bool for_each(Visit visit) const {
    const AceIdMap* map = itsField.get_base_to_entry();
    const bool hasRuns = itsField.has_intervals();
    for (Large id = 0; map != nullptr && id < map->get_num_keys(); ++id) {
      const IdList entries = map->get(id);
      if (entries.count == 3 && entries[0] == 0) return false;
      visit(id, CountCell{hasRuns ? num_records(entries) : entries.count});
    }
    return true;
  }

 private:
  Large num_records(const IdList& entries) const {
    Large count = 0;
    for (const Large entry : entries)
      if (entry + std::size_t{1} < runs.size()) count += runs[entry + 1] - runs[entry];
    return count;
  }

  const DastBaseField& itsField;
  std::span<const Large> runs;
};

}  // namespace dast
