/// Iterators over sets of records: they walk the boundaries, so that several sets are merged in one sweep.
///
///     set             [4, 7)  [9, 10)
///     get_record()      4   7   9   10   NONE
///     promote()        +1  -1  +1   -1    0
///
/// Boundaries ascend. Between them nothing happens, so that a step costs the same for a range of a million
/// records as for one record. Where one range ends and the next starts, the simple iterators report the end,
/// then the start; union and intersection report maximal ranges.
///
/// `promote(r)` leaps. Nothing happens when the next boundary lies at or beyond r. Else boundaries are passed
/// up to r, and a range that r lies inside of is reported with r as its start. `is_inside` tells where that
/// has led: whoever keeps an account of starts and ends sets it by this and not by what was passed.
///
/// Ownership: an iterator is allocated in an attach (`new (at)`), which frees it without its destructor, or
/// free-standing. The arrays and iterators that it walks belong to the caller and must stay.
/// Thread safety: an iterator belongs to one thread.
/// Cost: a step is O(1), of a union O(log n), of an intersection O(n); a leap is a search by steps that
/// double. No step allocates.
#pragma once

#include "ace/ace_attach.h"
#include "ace/ace_check_type.h"
#include "ace/ace_types.h"

class SORV_API DastInfoIterator : public AceCheckType<DastInfoIterator> {
 public:
  /// No boundary is left.
  static constexpr Large NONE = 4294967295U;

  DastInfoIterator() = default;
  DastInfoIterator& operator=(const DastInfoIterator&) = delete;
  virtual ~DastInfoIterator() = default;

  /// A copy in `at` that walks the records from `from` to `to` - 1 only, at its first boundary. `to` NONE is
  /// open.
  virtual DastInfoIterator* clone(Large from, AceAttach* at, Large to) const = 0;
  /// Back to the first boundary.
  virtual void reset() = 0;
  /// Whether it walks a list of single records.
  virtual bool is_single() const { return false; }
  /// No smaller than the number of its records, and that number exactly in all but unions and intersections;
  /// open ends count up to NONE. O(ranges).
  virtual Large get_size() const = 0;
  /// The record at which the next boundary lies; NONE at the end. A range with an open end has none there.
  Large get_record() const { return nextRecord; }
  /// Passes that boundary: 1 when it was a start (the records from it on are in the set), -1 when it was an
  /// end, 0 when there is none left.
  virtual int promote() = 0;
  /// Leaps to the first boundary at or after `record` and returns its record.
  virtual Large promote(Large record) = 0;

  /// Whether the next boundary is an end (or a range with open end is being walked).
  bool is_inside() const { return inside; }
  /// Whether it walks exactly the pair [0, NONE), all records.
  virtual bool is_frequent() const { return false; }
  /// Whether no boundary is left.
  bool is_empty() const { return nextRecord == NONE; }
  /// The number of ids in a list of single records, -1 for pairs, 0 for others.
  virtual VInt get_sort_size() const { return 0; }

  static DastInfoIterator* create_empty_iterator(AceAttach* at);
  /// Over all records.
  static DastInfoIterator* create_frequent_iterator(AceAttach* at);

 protected:
  DastInfoIterator(const DastInfoIterator&) = default;

  Large nextRecord = NONE;
  bool inside = false;
};

/// Each id r, plus an offset, gives a start there and an end one behind.
class SORV_API DastInfoSingleIterator : public DastInfoIterator {
 public:
  /// The ids ascend strictly.
  DastInfoSingleIterator(Large num_infos, const Large* infos, Large offset = 0)
      : numInfos(num_infos), infoList(infos), offsetVal(offset) {
    show();
  }

  DastInfoIterator* clone(Large from, AceAttach* at, Large to) const override;
  void reset() override;
  bool is_single() const override { return true; }
  Large get_size() const override { return numInfos; }
  int promote() override;
  Large promote(Large record) override;
  VInt get_sort_size() const override { return numInfos; }

 private:
  void show() { nextRecord = curPos < numInfos ? infoList[curPos] + offsetVal : NONE; }

  Large numInfos;
  const Large* infoList;
  Large curPos = 0;
  Large offsetVal;
};

/// The bounds in order: even positions start, odd ones end. The last of an odd number is left out.
class SORV_API DastInfoFromToIterator : public DastInfoIterator {
 public:
  DastInfoFromToIterator(Large num_infos, const Large* intervals, Large from = 0)
      : intervalList(intervals), numInfos(num_infos & ~Large{1}), startRecord(from) {
    DastInfoFromToIterator::reset();
  }

  DastInfoIterator* clone(Large from, AceAttach* at, Large to) const override;
  void reset() override;
  Large get_size() const override;
  int promote() override;
  Large promote(Large record) override;
  bool is_frequent() const override;
  VInt get_sort_size() const override { return -1; }

 protected:
  void show() {
    nextRecord = curPos < numInfos ? intervalList[curPos] : NONE;
    inside = (curPos & 1) != 0;
  }

  const Large* intervalList;
  Large numInfos;
  Large curPos = 0;
  Large startRecord;
};

/// The same up to a record: a range that reaches beyond ends there.
class SORV_API DastInfoLimitFromToIterator : public DastInfoFromToIterator {
 public:
  DastInfoLimitFromToIterator(Large num_infos, const Large* intervals, Large from, Large end)
      : DastInfoFromToIterator(num_infos, intervals, from), endRecord(end) {
    limit();
  }

  DastInfoIterator* clone(Large from, AceAttach* at, Large to) const override;
  void reset() override;
  Large get_size() const override;
  int promote() override;
  Large promote(Large record) override;
  bool is_frequent() const override { return false; }

 private:
  void limit();

  Large endRecord;
};

/// Each entry e of an interval list gives a start at bound e and an end at bound e + 1; entries without
/// records give none.
class SORV_API DastInfoExpandIterator : public DastInfoIterator {
 public:
  /// The entries ascend strictly. Only the records from `from` to `to` - 1 are walked.
  DastInfoExpandIterator(Large num_infos, const Large* infos, const Large* refs, Large from = 0,
                         Large to = NONE)
      : infoList(infos), refList(refs), numInfos(num_infos), startRecord(from), endRecord(to) {
    DastInfoExpandIterator::reset();
  }

  DastInfoIterator* clone(Large from, AceAttach* at, Large to) const override;
  void reset() override;
  Large get_size() const override;
  int promote() override;
  Large promote(Large record) override;

 private:
  void show();

  const Large* infoList;
  const Large* refList;
  Large numInfos;
  Large nextEnd = NONE;  // of the range that starts at nextRecord, or is being walked
  Large curPos = 0;
  Large startRecord;
  Large endRecord;
};

/// The union: a start when the count of active sub-iterators leaves 0, an end when it is back there.
class SORV_API DastInfoOrIterator : public DastInfoIterator {
 public:
  /// Takes the sub-iterators from where they are, outside of ranges, and reorders the array.
  DastInfoOrIterator(int num_iterators, DastInfoIterator** iterators);

  DastInfoIterator* clone(Large from, AceAttach* at, Large to) const override;
  void reset() override;
  Large get_size() const override;
  int promote() override;
  Large promote(Large record) override;

 private:
  Large top() const { return numIterators > 0 ? subIterators[0]->get_record() : NONE; }
  void make_heap();
  void sift_down(int pos);
  void pass_all_at(Large record);

  DastInfoIterator** subIterators;  // a heap by record, the lowest in front
  int numIterators;
  int curActive = 0;
};

/// The intersection: a start when all sub-iterators are active, an end when one of them leaves.
class SORV_API DastInfoAndIterator : public DastInfoIterator {
 public:
  /// Takes the sub-iterators from where they are, outside of ranges. Without any it is empty.
  DastInfoAndIterator(int num_iterators, DastInfoIterator** iterators);

  DastInfoIterator* clone(Large from, AceAttach* at, Large to) const override;
  void reset() override;
  Large get_size() const override;
  int promote() override;
  Large promote(Large record) override;

 private:
  void find_start(Large record);
  Large find_end();

  DastInfoIterator** subIterators;
  int numIterators;
  int curActive = 0;  // sub-iterators inside a range that covers the position
};
