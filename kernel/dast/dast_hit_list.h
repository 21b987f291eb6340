/// Hit lists: the records of one matched value, walked in ascending order beside those of other values.
///
///     values matched     Meier 255            Maier 228
///     records            3 7 8                5
///
///     sweep              record   3     4     5     6     7     9
///     promote            +255  -255  +228  -228  +255  -255        (weights: quality x weight of the part)
///
/// A list reports where its runs of records start and end. The sweep keeps a mask with a bit for each part of
/// the query: a start sets the bit of its part and adds the weight, an end clears it and takes the weight
/// away. So the lists of one part must not share records: `separate` makes lists so, each record in the list
/// of its best quality.
///
/// Ownership: a list is allocated in an attach (`new (at)`), which frees it; the arrays that it walks belong
/// to the base or to the candidate and must stay. Thread safety: a list belongs to one thread. Threads that
/// share the work have lists of their own, each with a view. Cost: a step is O(1); a leap is a search by
/// steps that double. No step allocates.
#pragma once

#include <span>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class DastInfoList;
class DastInfoMap;
class TeraCand;
class TeraResult;

class SORV_API HitList {
 public:
  /// No record.
  static constexpr Large NONE = 4294967295U;

  /// What a list says of its records.
  struct Settings {
    Mask queryFlag = 0;      ///< bit of the query part
    int queryIndex = 0;      ///< number of the part
    int fieldIndex = 0;      ///< field of the base
    int quality = 0;         ///< of the value, 0..255
    int weight = 0;          ///< what a record gains by it
    int sortWeight = 0;      ///< by which heavier lists come first
    int sortBias = 0;        ///< is added to that
    Large maxRecord = NONE;  ///< one more than the highest record; open ends stop here
  };

  /// A list of the candidate's entries: records, or runs of the field's map. Stores the number of records in
  /// `*count`, which may be null. Null when there are none.
  static HitList* make_hit_iterator(const TeraCand* cand, Large offset, const DastInfoMap* runs,
                                    const Settings& settings, Large* count, AceAttach* at);
  /// A list of a set of records, without weight; null for NOT_USED and an empty set.
  static HitList* make_context_list(const DastInfoList* context, const Settings& settings, AceAttach* at);
  /// Lists of all candidates of a result, best quality first, in which each record stands once; quality is
  /// that of the candidate, weight its share `weight` x quality. Returns their number, and stores the array
  /// in `at`.
  static int separate(const TeraResult* result, const DastInfoMap* runs, const Settings& settings,
                      HitList*** lists, AceAttach* at);

  static void* operator new(std::size_t size, AceAttach* at) { return at->alloc(static_cast<VInt>(size)); }
  static void operator delete(void*, AceAttach*) {}
  static void operator delete(void*) {}
  HitList(const HitList&) = delete;
  HitList& operator=(const HitList&) = delete;
  virtual ~HitList() = default;

  /// The record at which the next run starts, or the present one ends; NONE at the end.
  Large get_record() const { return nextRecord; }
  bool is_inside() const { return inside; }
  /// Where the run began that is being walked; without meaning outside of runs.
  Large get_start() const { return startRecord; }
  /// Walks the records `from` to `to` - 1 only, from their first run on.
  void set_view(Large from, Large to);
  /// Passes the next start or end. Returns 1, -1, or 0 at the end.
  int promote();
  /// The same in a sweep: sets or clears the part's bit in `*active`, and returns what the record's weight
  /// changes by.
  int promote(Mask* active);
  /// Leaps to the first start or end at or behind `record`; a run that `record` lies in, and that has not
  /// started, starts there. `is_inside` tells where that has led. Returns `get_record()`.
  Large skip(Large record);

  int get_qual() const { return itsSettings.quality; }
  int get_weight() const { return itsSettings.weight; }
  Mask get_query_flag() const { return itsSettings.queryFlag; }
  int get_query_index() const { return itsSettings.queryIndex; }
  int get_field_index() const { return itsSettings.fieldIndex; }
  int get_sort_weight() const { return itsSettings.sortWeight + itsSettings.sortBias; }
  void set_sort_weight(int weight) { itsSettings.sortWeight = weight; }
  int get_unique_id() const { return uniqueId; }
  void set_unique_id(int id) { uniqueId = id; }

  /// The order of a sweep: by record, then heavier lists first. Negative, 0 or positive.
  static int cmp(const HitList* first, const HitList* second);

 protected:
  explicit HitList(const Settings& settings) : itsSettings(settings) {}

  /// Stores the next run that is not passed yet, of those that end behind `record`; false when there is none.
  virtual bool next_run(Large record, Large* from, Large* to) = 0;
  void start(Large record);

  std::size_t curIndex = 0;  // of the first element that is not passed

 private:
  Large viewFrom = 0;
  Large viewTo = NONE;
  Large nextRecord = NONE;
  Large nextEnd = NONE;
  Large startRecord = NONE;
  bool inside = false;
  int uniqueId = 0;
  Settings itsSettings;
};

/// Single records.
class SORV_API HitListSingle : public HitList {
 public:
  HitListSingle(std::span<const Large> records, Large offset, const Settings& settings);

 protected:
  bool next_run(Large record, Large* from, Large* to) override;

 private:
  std::span<const Large> indexList;
  Large offsetVal;
};

/// Entries that are runs: entry e has the records [fromTo[e], fromTo[e + 1]).
class SORV_API HitListInterval : public HitList {
 public:
  /// Entries without both bounds are left out.
  HitListInterval(std::span<const Large> entries, std::span<const Large> bounds, Large offset,
                  const Settings& settings);

 protected:
  bool next_run(Large record, Large* from, Large* to) override;

 private:
  std::span<const Large> indexList;
  std::span<const Large> fromTo;
  Large offsetVal;
};

/// Pairs [from, to).
class SORV_API HitListGroup : public HitList {
 public:
  HitListGroup(std::span<const Large> bounds, const Settings& settings);

 protected:
  bool next_run(Large record, Large* from, Large* to) override;

 private:
  std::span<const Large> fromTo;
};
