/// Info maps: between the entries of a level and the records, or a finer level.
///
///     coarse side    entries: values of a field, an abstraction level
///        |    ^
///      down   up
///        v    |
///     fine side      records, or the entries of a finer level
///
/// Three kinds. Runs: each entry is a run of records (`DastSingleInfoMap`). Lists: each entry has any
/// records, and each record any entries (`DastIntervalInfoMap`). Offset: one to one (`DastOffsetInfoMap`).
///
/// Entry and record 0 stand for the empty value; real ones count from 1.
///
/// What stands for all records (no list, a list that is NOT_USED, the pair [0, NONE)) stands for all on the
/// other side, too, and is handed on as it is. Records and entries that a map does not know have nothing on
/// the other side.
///
/// Payload of `save_map`, in order:
///
///     fieldLevel    int               0..2
///     kind          int               1 runs, 2 lists, 3 offset
///
///     kind 1:  has table   int        0 or 1
///              table       IDMAP      if it has: the entry of each record
///              bounds      INTER      the runs of the entries
///              speedUp     int        0..2
///     kind 2:  up          IDMAP      the entries of each record
///              down        IDMAP      the records of each entry
///     kind 3:  offsetVal   int
///
/// `read_map` checks that the lists of kind 2 ascend and stay below the number of keys of the other map, and
/// that the table of kind 1 says what the bounds say, in one pass over each.
///
/// Ownership: a map is made with one reference, which belongs to the caller; who else keeps it takes one
/// (`ref`) and gives it back (`unref`). Lists that look-ups return lie in the attach that they are given;
/// their arrays may point into the map.
/// Errors: null or -1, explained on the default reporter. Reading throws as `AceFile` does where a mapping
/// ends early.
/// Thread safety: a finished map may be used, and its references counted, by any number of threads.
/// Cost: runs: a look-up is a binary search, or O(1) with a table; sets of runs are never unfolded. Lists: as
/// `AceIdMap`; sets cost O(records + entries / 64).
#pragma once

#include <atomic>
#include <memory>

#include "ace/ace_id_map.h"
#include "ace/ace_types.h"
#include "dast/dast_info_list.h"
#include "dast/dast_interval.h"

class AceAttach;
class AceFile;

class SORV_API DastInfoMap {
 public:
  /// How a field stands to the abstraction level that the map leads to; stored, not to be renumbered.
  enum FieldLevel : int { SIMILAR = 0, COARSER = 1, FINER = 2 };
  /// Whether a map of runs has a table of the entry of each record; stored, not to be renumbered. AUTOMATIC:
  /// for a FINER field.
  enum Speedup : int { SPEEDUP_AUTOMATIC = 0, SPEEDUP_ALWAYS = 1, SPEEDUP_NEVER = 2 };
  static constexpr Large NONE = 4294967295U;
  using IdMap = std::shared_ptr<const AceIdMap>;

  DastInfoMap(const DastInfoMap&) = delete;
  DastInfoMap& operator=(const DastInfoMap&) = delete;

  /// The record of the kind, behind its number.
  virtual VInt read(AceFile* file) = 0;
  /// The record of the kind, with its number.
  virtual VInt save(AceFile* file) const = 0;

  /// Stores the (first) entry of a record, and the run of records around it that have the same entries.
  /// Outputs may be null. Returns 0; -1, and NONE thrice, for a record without entry.
  virtual int range(Large record, Large* entry, Large* from, Large* to) const = 0;
  /// A new table of the entries of each record. Null for the offset map, which has no end.
  virtual std::unique_ptr<AceIdMap> get_entries() const = 0;
  /// The runs; null for maps that have none.
  virtual const DastInterval* get_intervals() const { return nullptr; }
  /// The number of entries, entry 0 among them; NONE when there is no end.
  virtual Large get_num_entries() const = 0;
  /// The number of distinct entries of the records; for what stands for all, of the real ones.
  virtual Large get_num_entries(const DastInfoList* list) const = 0;

  /// The entries of the records. SINGLE gives SINGLE; ranges give FROM_TO where the map has runs, with
  /// entries without records that lie in between.
  virtual DastInfoList* up(const DastInfoList* list, AceAttach* at) const = 0;
  /// The records of the entries. Of runs, SINGLE gives REFERENCE and ranges give FROM_TO.
  virtual DastInfoList* down(const DastInfoList* list, AceAttach* at) const = 0;
  virtual DastInfoList* up(Large record, AceAttach* at) const = 0;
  virtual DastInfoList* down(Large entry, AceAttach* at) const = 0;
  /// The same for the attribute numbers of a candidate, to each of which `shift` is added first; the result
  /// is as a candidate holds it. Returns its length.
  Large up(Large count, const Large* infos, const Large** result, Large shift, AceAttach* at) const;
  Large down(Large count, const Large* infos, const Large** result, Large shift, AceAttach* at) const;
  /// The first entry of a record, the first record of an entry; NONE when there is none.
  virtual Large up(Large record) const = 0;
  virtual Large down(Large entry) const = 0;
  /// Stores all entries of a record, and the run of `range`. Returns their number.
  virtual Large get_entries(Large record, const Large** entries, Large* from, Large* to,
                            AceAttach* at) const = 0;

  /// Whether each entry here consists of whole entries of `level`, so that the map can lead to that level in
  /// place of the records.
  virtual bool is_hierarchical_to(const DastInterval* level) const = 0;
  /// The map from the entries here to those of `level`; null when it is not hierarchical to it.
  virtual DastInfoMap* make_hierarchical_copy(const DastInterval* level) const = 0;
  /// The map with the sides exchanged. Runs are unfolded for it, to one value a record.
  virtual DastInfoMap* make_reverse() const = 0;

  void ref() { refCount.fetch_add(1, std::memory_order_relaxed); }
  /// Deletes the map with its last reference.
  void unref() {
    if (refCount.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }
  /// Gives a reference back and forgets it; null is ignored.
  static void destroy(DastInfoMap*& map);

  FieldLevel get_level() const { return fieldLevel; }
  /// The run of an entry. Returns 0; -1, and nothing is stored, for a map without runs and unknown entries.
  int get_range(Large entry, Large* from, Large* to) const;
  /// Field entries to entries of the abstraction level: down for a COARSER field, up for a FINER one, as they
  /// are for a SIMILAR one. Of ids the first; NONE when there is none.
  DastInfoList* entry2abstraction(const DastInfoList* list, AceAttach* at) const;
  Large entry2abstraction(Large entry) const;
  /// The way back.
  DastInfoList* reverse(const DastInfoList* list, AceAttach* at) const;
  Large reverse(Large abstraction) const;

  // Making maps. The result has one reference.

  /// A map of runs; with `other`, of lists, from the entries of `interval` to those entries of `other` that
  /// share records with them.
  static DastInfoMap* make_map(const DastInterval* interval, const DastInfoMap* other, Speedup speedup,
                               FieldLevel level);
  /// A map of lists from both directions, which are shared; `record_to_entry` null is made, for
  /// `num_records` records. Null for lists that a read would refuse.
  static DastInfoMap* make_map(IdMap entry_to_record, IdMap record_to_entry, Large num_records);
  static DastInfoMap* make_interval_map(const DastInterval* interval, const DastInfoMap* other,
                                        FieldLevel level);
  static DastInfoMap* make_offset_map(int offset);
  /// From the entries of `coarse` through those of `fine`, which are its records, to the records of `fine`.
  /// A map of runs (with a table for `speed_up`) or an offset where the two allow it.
  static DastInfoMap* make_chained_map(const DastInfoMap* coarse, const DastInfoMap* fine, bool speed_up);
  /// `base` with what its entries, or new ones, have gained in `added`, which counts entries and records
  /// likewise. A map of runs (with a table for `speed_up`) when the bounds of `added` continue those of
  /// `base`.
  static DastInfoMap* make_updated_map(const DastInfoMap* base, const DastInfoMap* added, bool speed_up);

  static VInt save_map(const DastInfoMap* map, AceFile* file);
  /// Null for unknown kinds and broken payloads.
  static DastInfoMap* read_map(AceFile* file);

 protected:
  enum Kind : int { RUNS = 1, LISTS = 2, OFFSET = 3 };  // stored

  explicit DastInfoMap(FieldLevel level) : fieldLevel(level) {}
  virtual ~DastInfoMap() = default;

  /// Whether a list stands for all records.
  static bool is_all(const DastInfoList* list);
  /// Such a list, for the other side.
  static DastInfoList* all_again(const DastInfoList* list, AceAttach* at);
  static DastInfoList* make_list(DastInfoList list, AceAttach* at) { return new (at) DastInfoList(list); }

  bool isMapped = false;

 private:
  std::atomic<int> refCount = 1;
  FieldLevel fieldLevel;
};

/// Entries that are runs of records.
class SORV_API DastSingleInfoMap : public DastInfoMap {
 public:
  /// Copies the bounds.
  DastSingleInfoMap(const DastInterval* interval, Speedup speedup, FieldLevel level);
  /// To be read.
  explicit DastSingleInfoMap(FieldLevel level) : DastInfoMap(level) {}

  using DastInfoMap::down;
  using DastInfoMap::up;
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) const override;
  int range(Large record, Large* entry, Large* from, Large* to) const override;
  std::unique_ptr<AceIdMap> get_entries() const override;
  const DastInterval* get_intervals() const override { return &singleReverse; }
  Large get_num_entries() const override { return singleReverse.get_num_entries(); }
  Large get_num_entries(const DastInfoList* list) const override;
  DastInfoList* up(const DastInfoList* list, AceAttach* at) const override;
  DastInfoList* down(const DastInfoList* list, AceAttach* at) const override;
  DastInfoList* up(Large record, AceAttach* at) const override;
  DastInfoList* down(Large entry, AceAttach* at) const override;
  Large up(Large record) const override;
  Large down(Large entry) const override;
  Large get_entries(Large record, const Large** entries, Large* from, Large* to,
                    AceAttach* at) const override;
  bool is_hierarchical_to(const DastInterval* level) const override;
  DastInfoMap* make_hierarchical_copy(const DastInterval* level) const override;
  DastInfoMap* make_reverse() const override;
  bool has_table() const { return singleForward != nullptr; }

 private:
  friend class DastInfoMap;

  template <class Found>
  void for_each_entry_range(const DastInfoList* list, Found found) const;
  const char* check_table() const;

  std::unique_ptr<AceIdMap> singleForward;  // the entry of each record, or null
  DastInterval singleReverse;               // the runs of the entries
  Speedup speedUp = SPEEDUP_NEVER;
};

/// Entries with any records.
class SORV_API DastIntervalInfoMap : public DastInfoMap {
 public:
  DastIntervalInfoMap(IdMap forward, IdMap reverse, FieldLevel level)
      : DastInfoMap(level), intForward(std::move(forward)), intReverse(std::move(reverse)) {}
  /// To be read.
  explicit DastIntervalInfoMap(FieldLevel level);

  using DastInfoMap::down;
  using DastInfoMap::up;
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) const override;
  int range(Large record, Large* entry, Large* from, Large* to) const override;
  std::unique_ptr<AceIdMap> get_entries() const override;
  Large get_num_entries() const override { return intReverse->get_num_keys(); }
  Large get_num_entries(const DastInfoList* list) const override;
  DastInfoList* up(const DastInfoList* list, AceAttach* at) const override;
  DastInfoList* down(const DastInfoList* list, AceAttach* at) const override;
  DastInfoList* up(Large record, AceAttach* at) const override;
  DastInfoList* down(Large entry, AceAttach* at) const override;
  Large up(Large record) const override { return intForward->get_first(record); }
  Large down(Large entry) const override { return intReverse->get_first(entry); }
  Large get_entries(Large record, const Large** entries, Large* from, Large* to,
                    AceAttach* at) const override;
  bool is_hierarchical_to(const DastInterval* level) const override;
  DastInfoMap* make_hierarchical_copy(const DastInterval* level) const override;
  DastInfoMap* make_reverse() const override;

 private:
  friend class DastInfoMap;

  const char* check() const;

  IdMap intForward;  // record to entries
  IdMap intReverse;  // entry to records
};

/// Entry e is record e + offset. Ids not above the offset go up to 0.
class SORV_API DastOffsetInfoMap : public DastInfoMap {
 public:
  DastOffsetInfoMap(int offset, FieldLevel level) : DastInfoMap(level), offsetVal(offset) {}

  using DastInfoMap::down;
  using DastInfoMap::up;
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) const override;
  int range(Large record, Large* entry, Large* from, Large* to) const override;
  std::unique_ptr<AceIdMap> get_entries() const override { return nullptr; }
  Large get_num_entries() const override { return NONE; }
  Large get_num_entries(const DastInfoList* list) const override;
  DastInfoList* up(const DastInfoList* list, AceAttach* at) const override;
  DastInfoList* down(const DastInfoList* list, AceAttach* at) const override;
  DastInfoList* up(Large record, AceAttach* at) const override;
  DastInfoList* down(Large entry, AceAttach* at) const override;
  Large up(Large record) const override;
  Large down(Large entry) const override;
  Large get_entries(Large record, const Large** entries, Large* from, Large* to,
                    AceAttach* at) const override;
  bool is_hierarchical_to(const DastInterval* level) const override;
  DastInfoMap* make_hierarchical_copy(const DastInterval* level) const override;
  DastInfoMap* make_reverse() const override;

 private:
  friend class DastInfoMap;

  int offsetVal;
};
