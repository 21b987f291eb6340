/// Evaluation unit: one session field asked in one base field.
///
///     query "Mayer"  -->  fieldGraph     values, qualities and entries that the index lists
///                         rawBase        what a value that is not listed is worth at most
///                         singleCompare  gives any value its exact quality
///                         qualCache      qualities of base ids, as far as they are known
///
/// Qualities are reshaped (tera_rescale.h) before they count: `reshape`. A negative one is a miss that
/// excludes the record.
///
/// Ownership: a unit shares what was asked with copies that are kept to be put back (`get_asked`); base field
/// and configuration must stay.
/// Thread safety: belongs to one thread. For others, each has a `clone`.
#pragma once

#include <memory>
#include <string>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "dast/dast_options.h"
#include "dast/dast_quality_cache.h"
#include "tera/tera_query.h"
#include "tera/tera_rescale.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

class AceReporter;
class DastBaseFieldRecall;
struct DareSessionFieldConfig;
enum class ReevalMode : int;

class SORV_API DareField {
 public:
  static constexpr int DEFAULT_WEIGHT = 100;
  static constexpr int DEFAULT_PESSIMISM = 5;
  /// A record that a filter excludes.
  static constexpr int EXCLUDED = TeraRescale::REJECTED;

  DareField(int base_field, const DastBaseFieldRecall* field, const DareSessionFieldConfig* config);
  DareField(const DareField&) = delete;
  DareField& operator=(const DareField&) = delete;
  ~DareField();

  /// The same configuration for another session field; no query.
  std::unique_ptr<DareField> copy_config(const DareSessionFieldConfig* config) const;
  /// With the same query, for another thread.
  std::unique_ptr<DareField> clone() const;
  /// Adds the counters of a clone, and what it has learnt.
  void merge_eval(const DareField* other);

  // Configuration. Setters of the shape make a new rescale at once.

  void set_base_field(int base_field, const DastBaseFieldRecall* field);
  int get_base_id() const { return bfieldID; }
  /// Of the session field.
  int get_array_id() const;
  ReevalMode get_reeval_mode() const;
  DastOptions::AliasDisplay get_display() const;
  const DastBaseFieldRecall* get_base_field() const { return bField; }
  TeraRescaleConfig* get_rescale_config() { return &rescaleConfig; }
  const TeraRescaleConfig* get_rescale_config() const { return &rescaleConfig; }
  /// What the configuration describes; IDENTITY, which is warned about, when it describes none.
  void build_rescale();
  int set_shape(const char* name);
  int set_custom_shape(const char* text);
  void set_rescale(int threshold);
  void set_penalty(int penalty);
  /// Whether misses exclude: FILTER and NOT.
  bool is_filter() const;
  /// 1 to 255; others are ignored.
  void set_empty_qual(int quality);
  int empty_conf() const { return emptyQual; }
  void set_weight(int weight) { fieldWeight = weight; }
  int get_weight() const { return fieldWeight; }

  // A query. What was asked and found is one object: a failed command puts the one before back.

  struct SORV_API Asked {
    Asked() = default;
    Asked(const Asked&) = delete;
    Asked& operator=(const Asked&) = delete;
    ~Asked();

    std::string queryText;  // of the query object, for clones
    DastOptions::Call queryCall = DastOptions::NOOP;
    bool isExact = false;
    TeraScanGraph* fieldGraph = nullptr;
    TeraQuery* singleCompare = nullptr;
    std::shared_ptr<DastQualityCache> qualCache;  // of the recall; clones read it only
    TeraScanGraph* deepGraph = nullptr;
    std::shared_ptr<DastQualityCache> deepCache;  // of that
    int deepMinimum = 0;
    int rawDeepBase = -1;
    DastQualityCache learntCache;  // of this unit
    int rawBase = -1;
  };
  std::shared_ptr<Asked> get_asked() const { return asked; }
  void set_asked(std::shared_ptr<Asked> before);
  /// Looks a query up. `primary` false: only the query object is made (and no graph). Returns 0 or -1.
  int recall(const char* query, DastOptions::Call call, bool force_exact, bool primary, AceReporter* rep);
  /// For evaluations, looks the query up again with values down to a lower quality, unless that was done:
  /// what then is not listed bounds records better. Returns whether more is listed than at first.
  bool deepen(int min_value, AceReporter* rep);
  bool is_deepened() const { return asked != nullptr && asked->deepGraph != nullptr; }
  /// Shares a graph in place of the unit's own, without query object.
  void set_graph(TeraScanGraph* graph);
  /// Gives the graph away, with a reference.
  TeraScanGraph* detach_graph();
  /// Forgets query, graph and what was learnt.
  void clear_query();
  TeraScanGraph* get_graph() const { return asked != nullptr ? asked->fieldGraph : nullptr; }
  /// Calls `visit(quality, cand)` for every candidate of every span of the graph.
  template <class Visit>
  void for_each_cand(Visit visit) const {
    visit_cands(get_graph(), visit);
  }
  /// The same with what `deepen` has added.
  template <class Visit>
  void for_each_listed(Visit visit) const {
    visit_cands(is_deepened() ? asked->deepGraph : get_graph(), visit);
  }
  /// The best quality of a value, before reshaping; 0 without any.
  int get_best_quality() const;
  TeraQuery* get_compare() const { return asked != nullptr ? asked->singleCompare : nullptr; }
  /// What the recall was told; null without one.
  const DastQualityCache* get_quality_cache() const {
    return asked != nullptr ? asked->qualCache.get() : nullptr;
  }
  /// The best quality of a candidate that has the record; 0 for none. Walks all of them.
  int hit_quality(Large record) const;
  bool has_compare() const { return get_compare() != nullptr; }
  /// Whether the query object says that it is empty: only evaluation of records counts.
  bool is_query_empty() const;
  /// The best quality that a value which is not in the graph may have, before reshaping.
  int get_raw_base() const { return asked != nullptr ? asked->rawBase : -1; }
  /// After reshaping, which may have changed since the query was looked up; negative without graph.
  int get_base_value() const { return reshaped_bound(get_raw_base()); }
  /// The same of what `deepen` has not listed either.
  int get_deep_base() const { return reshaped_bound(asked != nullptr ? asked->rawDeepBase : -1); }

  /// 0 to 255, or negative for a miss. Qualities outside count as the nearest.
  int reshape(int quality) const;
  /// The best quality of a record's values, before reshaping; -1 when nothing can tell. With `cache_only`
  /// only what the recall was told; values that are not known count as -1.
  int record_quality(Large record, bool cache_only);
  /// The best quality of those values of a record that the recall has listed; -1 for none.
  int listed_quality(Large record) const;

  /// Whether the field is left out of evaluations.
  bool inhibitEval = false;
  /// Slot in the logic of the evaluation at hand; -1 for none.
  int logicId = -1;
  int reevalCount = 0;
  int cacheMisses = 0;

  // The string that a record shows, remembered for the run of records that have the same entry. The pointer
  // lasts until the next call.

  const char* string_cache(Large record, DastOptions::AliasDisplay display);
  Large get_cached_begin() const { return cachedBegin; }
  Large get_cached_end() const { return cachedEnd; }

  /// How much frequent values are mistrusted, in percent, for the whole process, by base field. Returns 0;
  /// -1, reported, for others than 0 to 100.
  static int set_field_pessimism(int index, int value);
  static int get_field_pessimism(int index);

 private:
  int empty_quality() const;
  int least_listed() const;
  bool is_found_empty(Large record) const;
  bool is_in(Large record, const TeraCand* cand) const;
  int value_quality(Large base_id, bool cache_only);
  template <class Visit>
  static void visit_cands(const TeraScanGraph* graph, Visit visit);
  int raw_bound(const TeraScanGraph* graph, DastOptions::Call call) const;
  int reshaped_bound(int raw) const;

  int bfieldID;
  const DastBaseFieldRecall* bField;
  const DareSessionFieldConfig* sessionFieldConfig;
  std::shared_ptr<const TeraRescale> rescaleShape;
  TeraRescaleConfig rescaleConfig;
  Little emptyQual = 0;
  int fieldWeight = DEFAULT_WEIGHT;

  std::shared_ptr<Asked> asked;  // null: nothing

  AceAttach cacheAt;
  const char* cachedString = nullptr;
  DastOptions::AliasDisplay cachedDisplay = DastOptions::ALL;
  Large cachedBegin = 0;
  Large cachedEnd = 0;
};

template <class Visit>
void DareField::visit_cands(const TeraScanGraph* graph, Visit visit) {
  for (int i = 0; graph != nullptr && i < graph->get_num_nodes(); ++i)
    for (auto* edge = graph->get_node(i)->get_first_edge(); edge != nullptr; edge = edge->get_next()) {
      if (edge->get_result() == nullptr) continue;
      for (auto* group = edge->get_result()->get_first_group(); group != nullptr; group = group->get_next())
        for (auto* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next())
          visit(group->get_value(), cand);
    }
}
