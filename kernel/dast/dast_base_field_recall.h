/// What recall needs to know of a field of a base.
///
/// Ids are those of dast_base_field.h. Strings and arrays that are returned lie in the base, or in the attach
/// given. Thread safety: all is const and may be called by any number of threads.
#pragma once

#include "ace/ace_types.h"
#include "dast/dast_hit_list.h"
#include "dast/dast_limits.h"
#include "dast/dast_options.h"

class AceAttach;
class AceReporter;
class DastInfoIterator;
class DastInfoList;
class DastInfoListCache;
class DastQualityCache;
class TeraCand;
class TeraMap;
class TeraQuery;
class TeraResult;
class TeraScanGraph;

class SORV_API DastBaseFieldRecall {
 public:
  virtual ~DastBaseFieldRecall() = default;

  // What the field is.

  virtual const char* get_name() const = 0;
  /// The type word (dast_field_flags.h).
  virtual int get_type() const = 0;
  /// Entries, the unused entry 0 included.
  virtual Large get_num_entry_ids() const = 0;
  /// ADVANCED: strings that records have, the empty one included; BASIC: entries.
  virtual Large get_num_base_ids() const = 0;
  /// One more than the highest base id: with aliases.
  virtual Large get_all_base_ids() const = 0;
  /// Null without a method, or when that has none.
  virtual const TeraMap* get_method_map() const = 0;
  virtual const char* get_method_name() const = 0;
  /// Whether the id is a local alias, or an entry that has some.
  virtual bool is_alias_cand(Large base_id) const = 0;
  /// Whether entries are runs of records.
  virtual bool has_intervals() const = 0;
  /// Whether the index can be asked: a field with one whose method is loaded.
  virtual bool has_data_loaded() const = 0;
  virtual bool is_basic() const = 0;
  virtual bool has_in_index_storage() const = 0;
  virtual bool is_numeric() const = 0;
  virtual bool is_parallelizable() const = 0;
  virtual bool has_global_aliases() const = 0;
  /// Whether records can be sorted by the field, and its values counted: what ADVANCED fields can.
  virtual bool can_sort() const = 0;
  virtual bool can_count() const = 0;
  /// The order of two strings by the field's collation, or by value; null first. `prefix`:
  /// `TeraCollation::compare_sort`.
  virtual int compare_collation(const char* a, const char* b, int prefix) const = 0;

  // Strings and ids. What is returned lies in the base or in `at`.

  /// The string of a base id; null for an id that is not there, and where no strings are kept.
  virtual const char* get_string_by_baseid(Large base_id, AceAttach* at) const = 0;
  /// What a record shows, as `display` says; null for a record that is not there.
  ///
  ///     ALL          its values as they came in, "|" between them
  ///     EVERYTHING   the same, then the strings of alias lists and generators that lead to them, each once
  ///     FIRST, NONE  the main value
  ///     BEST         with `quals`, the value of the best quality there; of several the first
  ///     HIT          with `quals`, the values that are there, "|" between them
  ///
  /// `quals` is what a query was told (`full_scan_resolve`); without it, and where none of the values is in
  /// it, BEST and HIT are the main value. Stores the records, from and up to, that have the same entry,
  /// unless null.
  virtual const char* get_string_by_recordid(Large record, Large* from, Large* to, AceAttach* at,
                                             DastOptions::AliasDisplay display,
                                             const DastQualityCache* quals = nullptr) const = 0;
  /// The base ids of a record in the order in which its values came in, the main value first.
  virtual Large get_base_ids(Large record, const Large** ids, AceAttach* at) const = 0;
  /// The entry of a record; ~0 for a record that is not there.
  virtual Large get_entry_id_by_rec_id(Large record) const = 0;
  /// The base id of exactly that text: 0 for the empty one, ~0 when no value has these bytes. Of a BASIC
  /// field the lowest of several.
  virtual Large get_base_id(const char* text, AceReporter* rep) const = 0;
  /// The entries that have exactly that text, ascending. Returns their number; 0 for the empty text.
  virtual Large get_entries_by_string(const char* text, const Large** entries, AceAttach* at,
                                      AceReporter* rep) const = 0;
  /// Their records. Of a text that stands for all records (a frequent one), all. "-BLANK-" is the empty value
  /// in fields that index it.
  virtual Large get_records_by_string(const char* text, const Large** records, AceAttach* at,
                                      AceReporter* rep) const = 0;
  virtual bool is_empty_string(Large base_id) const = 0;

  // Asking.

  /// The values that match a query, with their entries: a graph of the method whose results are resolved. A
  /// candidate has the string of its value, and its entries as attribute numbers; with state FREQUENT and {0,
  /// 0, ~0} it stands for all records. Each value stands once in a result, with its best quality.
  ///
  /// In the query "\|" and "\" stand for the characters; at other bars it is cut, and the best part counts
  /// (up to 64; empty ones are left out). "-BLANK-" is the empty value in fields that index it. `empty_qual`
  /// from 1 on: the empty value is added with that quality, if the graph accepts it; in fields that do not
  /// index it, without records. `qcache`, which may be null, is told the base ids and their qualities.
  /// `force_exact`: only strings that are the query.
  ///
  /// The graph has one reference, which is the caller's. Null for a field without index, a null query, and
  /// modes that the method does not know.
  virtual TeraScanGraph* full_scan_resolve(DastOptions::Call call, const char* query,
                                           DastQualityCache* qcache, int empty_qual, int force_exact,
                                           AceReporter* rep) const = 0;
  /// The same of a query in one part, with values down to a lower quality than the method's own minimum. Each
  /// has the quality that `eval` gives it, but no string: null for other queries, where aliases lead to
  /// values, and where the method has only its own minimum.
  virtual TeraScanGraph* full_scan_below(DastOptions::Call call, const char* query, DastQualityCache* qcache,
                                         int empty_qual, int min_value, AceReporter* rep) const = 0;
  /// What the method finds in a free text, resolved likewise.
  virtual TeraScanGraph* detect(const char* text, DastOptions::Call call, AceReporter* rep) const = 0;
  /// The same for its single words.
  virtual TeraScanGraph* detect_single(const char* text, DastOptions::Call call, AceReporter* rep) const = 0;
  /// A query object for stored strings; the caller has a reference. Null without method or query.
  virtual TeraQuery* eval(const char* query, DastOptions::Call call, int force_exact,
                          AceReporter* rep) const = 0;
  /// The empty value, with its entries if the field indexes it; the caller owns it.
  virtual TeraCand* get_empty_candidate(AceAttach* at) const = 0;
  /// The records of a candidate, as a set.
  virtual DastInfoList* get_info_list(const TeraCand* cand, AceAttach* at) const = 0;
  virtual DastInfoIterator* create_info_iterator(const TeraCand* cand, AceAttach* at) const = 0;
  /// The records of a candidate, as a hit list; stores their number, unless null. Null when there are none.
  virtual HitList* create_hitlist(Large* count, const TeraCand* cand, const HitList::Settings& settings,
                                  AceAttach* at) const = 0;

  // Counting. `context` is the records that count; null for all.

  /// The number of records of a candidate, and of all candidates of a resolved result together.
  virtual Large count_cand(const TeraCand* cand, const DastInfoListCache* context) const = 0;
  virtual Large count_result(const TeraResult* result, const DastInfoListCache* context) const = 0;
  /// The number of all records that have exactly that text.
  virtual Large get_total_count(const char* text, AceReporter* rep) const = 0;
  /// Adds the `limit` most frequent values (dast_count.h), without the empty one, in the order of the field,
  /// with their numbers of records as attribute numbers. Of a field that cannot be counted, the first main
  /// values in that order. Returns their number, or -1.
  virtual int get_cands(const DastInfoListCache* context, int limit, TeraResult* result,
                        AceReporter* rep) const = 0;
  /// Adds the groups of a limit string (dast_count.h), as base ids; none for null and "". Returns 0; -1,
  /// explained, for too many parts, words or groups, and for a field without sorted strings.
  virtual int get_limits(LimitsContainer* limits, const char* text, AceReporter* rep) const = 0;
  /// The first base id whose string does not sort below `word` or, with `behind`, sorts above it; with
  /// `prefix` also above all strings that start with it. The number of base ids when there is none.
  virtual Large get_limit_item(const char* word, bool behind, bool prefix) const = 0;
  /// A candidate of the records that have a value of the group, with its label; the caller owns it, its
  /// string and numbers are in `at`.
  virtual TeraCand* limit_cand(const DastInfoListCache* context, const LimitStruct& limit,
                               AceAttach* at) const = 0;

 protected:
  DastBaseFieldRecall() = default;
  DastBaseFieldRecall(const DastBaseFieldRecall&) = delete;
  DastBaseFieldRecall& operator=(const DastBaseFieldRecall&) = delete;
};
