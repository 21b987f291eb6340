/// How sessions reach the records of a base.
///
/// A base counts its users: whoever keeps one calls `incr_ref_count`, and `destroy` when done; the last
/// `destroy` deletes the base. The maker's reference counts.
///
/// Thread safety: a finished base is shared by all threads. The count is atomic.
#pragma once

#include "ace/ace_atomic.h"
#include "ace/ace_types.h"
#include "dast/dast_options.h"

class AceAttach;
class AceReporter;
class DastBaseFieldRecall;
class DastInfoList;
class DastInfoListCache;
class TeraResult;
class TeraScanGraph;
struct DastCountOptions;

class SORV_API DastBaseRecall {
 public:
  DastBaseRecall() { refCount.modify(1); }
  DastBaseRecall(const DastBaseRecall&) = delete;
  DastBaseRecall& operator=(const DastBaseRecall&) = delete;
  virtual ~DastBaseRecall() = default;

  void incr_ref_count() { refCount.modify(1); }
  int get_ref_count() const { return static_cast<int>(refCount.get()); }
  void destroy() {
    if (refCount.modify(-1) == 0) delete this;
  }

  virtual const char* get_base_name() const = 0;
  /// The encoding of all strings, such as "utf-8".
  virtual const char* get_encoding() const = 0;
  /// Whether that is UTF-8, however it is written.
  virtual bool is_utf() const = 0;
  virtual int get_num_fields() const = 0;
  /// One more than the highest record id; records are numbered from 1.
  virtual Large get_num_records() const = 0;
  /// The same without records that were added to the built base.
  virtual Large get_num_orig_records() const = 0;
  virtual int get_num_abstractions() const = 0;
  virtual int get_num_hierarchies() const = 0;
  virtual int get_num_detectors() const = 0;
  /// The fields of an abstraction level; 0 for no level.
  virtual Mask get_abstraction(int level) const = 0;
  /// The fields whose entries are runs.
  virtual Mask get_all_abstraction() const = 0;
  /// The fields that detectors fill.
  virtual Mask get_detector_mask() const = 0;
  /// The first field of that name; -1 for none and for null.
  virtual int get_field_index(const char* name) const = 0;
  /// The type word; 32 (no strings, no index) for a negative field, -1 past the end.
  virtual int get_field_type(int field) const = 0;
  /// The number of different strings that records have in the field; 0 for no field.
  virtual Large get_field_num_unique(int field) const = 0;
  /// Null for no field.
  virtual const DastBaseFieldRecall* get_field(int field) const = 0;
  /// Cuts the record ids 0 .. get_num_records() - 1 into parts of equal size: part i is [part_offsets[i],
  /// part_offsets[i + 1]). The array has num_parts + 1 elements. Returns the number of parts; -1 for fewer
  /// than 1.
  virtual int get_record_ranges(int num_parts, Large* part_offsets) const = 0;
  /// Stores what a record shows of a field, as it came in. Returns 0, or -1.
  virtual int get_single_field(int field, Large record, const char** value, AceAttach* at) const = 0;
  /// A set of records as entries of the coarsest abstraction level that touch it, and back. Without levels a
  /// copy. The list is in `at`.
  virtual DastInfoList* abstract_context(const DastInfoList* list, AceAttach* at) const = 0;
  virtual DastInfoList* unabstract_context(const DastInfoList* list, AceAttach* at) const = 0;
  /// Sorts records by what fields show of them (main values, by their collations), then by id. `descending`:
  /// for each field whether it counts the other way round; null for none. Returns 0; -1 for a field without
  /// strings.
  virtual int sort_records(int num_fields, const int* fields, const int* descending, Large* records,
                           Large num_records, AceReporter* rep) const = 0;

  // Counting (dast_count.h), of ADVANCED fields. `context` is the records that count; null for all.

  /// Adds a candidate for each value, or group of values, to the result. Returns their number, or -1.
  virtual int count_context(int field, const DastCountOptions& options, TeraResult* result,
                            const DastInfoListCache* context, AceReporter* rep) const = 0;
  /// The same for several fields, each with a result of its own. Returns 0; -1 at the first that fails.
  virtual int cross_count(int num_fields, const int* fields, const DastCountOptions& options,
                          TeraResult* const* results, const DastInfoListCache* context,
                          AceReporter* rep) const = 0;
  /// Add one candidate that holds a set of records (`DastInfoList(const TeraCand*)`): the context without
  /// the records all of whose values a lower record of it has; the context and all records that share a value
  /// with one of it. Return the number of records, or -1.
  virtual VInt dedup_context(int field, TeraResult* result, const DastInfoListCache* context,
                             AceReporter* rep) const = 0;
  virtual VInt widen_context(int field, TeraResult* result, const DastInfoListCache* context,
                             AceReporter* rep) const = 0;

  /// The records of a file of deleted ones, FROM_TO, in `at`; null, explained, for what is no such file.
  virtual DastInfoList* load_delset(const char* filename, AceAttach* at, AceReporter* rep) const = 0;

  // Free text. The graphs have one reference, which is the caller's; each edge has as its origin the field,
  // and as its result what `DastBaseFieldRecall::full_scan_resolve` gives for the words of its span. The text
  // must outlive them.

  /// What the method of a field finds in a text; `single_detect` looks at single words. Null for no field,
  /// and where the method finds nothing in texts.
  virtual TeraScanGraph* field_detect(int field, const char* text, DastOptions::Call call,
                                      AceReporter* rep) const = 0;
  virtual TeraScanGraph* single_detect(int field, const char* text, DastOptions::Call call,
                                       AceReporter* rep) const = 0;
  /// What the detectors find for those fields: a union of their graphs. Fields for which single letters may
  /// stand are set in `*initial_fields`, unless null; values that begin with such a letter come with state
  /// INITIAL. Null when no detector has one of the fields, and when one fails.
  virtual TeraScanGraph* detector_detect(const char* text, Mask search_fields, DastOptions::Call call,
                                         Mask* initial_fields, AceReporter* rep) const = 0;

  /// The last block of data that was applied.
  virtual Huge get_to_block_id() const = 0;

 private:
  AceCount refCount;
};
