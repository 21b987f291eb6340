/// Interval lists: the records, cut into runs.
///
/// Entry i covers the records from bound i up to, but not including, bound i + 1; the last bound closes the
/// list, so that n + 1 bounds make n entries.
///
///     intList       1         4         7         9
///     entry         |    0    |    1    |    2    |
///     records         1 2 3     4 5 6     7 8
///
/// Payload of `save` ("INTER"), in order:
///
///     magic      INTER
///     numInts    Large         number of bounds
///     intList    numInts x 4   aligned to 8; the bounds, none smaller than the one before
///
/// `read` checks all of that, in one pass over the bounds.
///
/// Invariant: the bounds ascend. Equal ones, which only a forced `add` makes, are entries without records.
/// Errors: -1, explained on the default reporter. `read` throws as `AceFile` does where a mapping ends early.
/// The list is empty after a failed `make` or `read`.
/// Thread safety: a finished list may be read by any number of threads.
/// Cost: look-ups by record are binary searches, by entry O(1).
#pragma once

#include <memory>
#include <span>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class AceFile;

class SORV_API DastInterval : public AceAttach {
 public:
  /// No record, no entry.
  static constexpr Large NONE = 4294967295U;

  DastInterval() = default;
  DastInterval(const DastInterval&) = delete;
  DastInterval& operator=(const DastInterval&) = delete;

  // Building.

  /// Appends a bound; one that equals the last is left out unless `force` is set. Returns 0; -1 for a list
  /// read from a mapping, and for a bound below the last one.
  int add(Large record, bool force = false);
  /// Becomes a copy of the only list; of several, their common refinement: each bound of any of them, once,
  /// up to the first point at which one of the lists is exhausted. Lists of one base all end with the same
  /// bound. Returns 0; -1 without a list.
  int make(int n, const DastInterval* const* lists);
  /// Takes the bounds from a text file, one decimal number a line. Returns 0; -1 for lines that are no
  /// numbers, or not in order. Throws `AceException` when there is no such file.
  int make(const char* filename);
  /// Becomes empty.
  void clean();

  // Look-up.

  /// The entry of a record. Of record 0 that is 0; of records from the closing bound on the position of that
  /// bound, at which no entry starts. NONE before the first bound, and in an empty list.
  Large get_entry(Large record) const;
  /// Bound i; NONE behind the last.
  Large get_record(Large i) const { return i < numInts ? intList[i] : NONE; }
  /// The two bounds of entry i, side by side; null when there is no such entry.
  const Large* get_range(Large i) const { return i + 1 < numInts && i + 1 != 0 ? intList + i : nullptr; }
  /// The bound at which the record's entry ends; NONE when it has no entry.
  Large get_range_end(Large record) const;
  Large get_num_bounds() const { return numInts; }
  Large get_num_entries() const { return numInts > 0 ? numInts - 1 : 0; }
  /// The closing bound, which is one more than the highest record; 0 in an empty list.
  Large get_num_records() const { return numInts > 0 ? intList[numInts - 1] : 0; }
  /// All bounds; null in an empty list. Moved by `add`.
  const Large* get_array() const { return intList; }
  std::span<const Large> get_bounds() const { return {intList, numInts}; }

  // Levels.

  /// Whether this is a coarser level than `other` (or the same): each bound here is one of `other`, too.
  bool can_abstract(const DastInterval* other) const;
  /// The level that this list and `other` have in common: the bounds here that `other` has, too.
  std::unique_ptr<DastInterval> make_abstract(const DastInterval* other) const;

  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

 private:
  static constexpr Large FIRST_SPACE = 1024;

  void grow();
  int refine(std::span<const DastInterval* const> lists);

  const Large* intList = nullptr;
  Large numInts = 0;
  Large intSpace = 0;  // capacity; 0 when mapped
  bool isMapped = false;
};
