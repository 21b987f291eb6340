#include "dare/dare_field.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "dare/dare_session_field.h"
#include "dast/dast_base_field_recall.h"
#include "dast/dast_field_flags.h"
#include "dast/dast_info_list.h"
#include "tera/tera_result.h"

namespace {

constexpr int NUM_PESSIMISM = 128;

struct PessimismTable {
  PessimismTable() {
    for (auto& value : values) value = DareField::DEFAULT_PESSIMISM;
  }
  std::array<std::atomic<int>, NUM_PESSIMISM> values;
};

std::array<std::atomic<int>, NUM_PESSIMISM>& pessimism_table() {
  static PessimismTable table;
  return table.values;
}

/// Whether there may be no value in the index.
bool may_be_empty(const DastBaseFieldRecall* field) {
  return field->get_all_base_ids() <= 1 || field->get_num_entry_ids() <= 1 ||
         (field->get_type() & DastFieldFlags::IS_PARTIAL) != 0 ||
         (field->get_type() & DastFieldFlags::HAS_VALUES) == 0;
}

const std::shared_ptr<const TeraRescale>& identity() {
  static const std::shared_ptr<const TeraRescale> shared = [] {
    const TeraRescaleConfig plain;
    return std::shared_ptr<const TeraRescale>(TeraRescale::create_rescale(&plain, 1));
  }();
  return shared;
}

}  // namespace

DareField::DareField(int base_field, const DastBaseFieldRecall* field, const DareSessionFieldConfig* config)
    : bfieldID(base_field), bField(field), sessionFieldConfig(config), rescaleShape(identity()) {
  rescaleConfig.set_threshold(190);
}

DareField::~DareField() = default;

DareField::Asked::~Asked() {
  if (fieldGraph != nullptr) fieldGraph->decr_ref();
  if (deepGraph != nullptr) deepGraph->decr_ref();
  if (singleCompare != nullptr) singleCompare->unref();
}

std::unique_ptr<DareField> DareField::copy_config(const DareSessionFieldConfig* config) const {
  auto copy = std::make_unique<DareField>(bfieldID, bField, config);
  copy->rescaleConfig.copy(&rescaleConfig);
  copy->rescaleShape = rescaleShape;
  copy->emptyQual = emptyQual;
  copy->fieldWeight = fieldWeight;
  return copy;
}

std::unique_ptr<DareField> DareField::clone() const {
  auto copy = copy_config(sessionFieldConfig);
  copy->inhibitEval = inhibitEval;
  copy->logicId = logicId;
  if (asked == nullptr) return copy;
  auto same = std::make_shared<Asked>();
  same->queryText = asked->queryText;
  same->queryCall = asked->queryCall;
  same->isExact = asked->isExact;
  same->fieldGraph = asked->fieldGraph;
  if (same->fieldGraph != nullptr) same->fieldGraph->incr_ref();
  if (asked->singleCompare != nullptr)
    same->singleCompare =
        bField->eval(same->queryText.c_str(), same->queryCall, same->isExact ? 1 : 0, AceReporter::null());
  same->qualCache = asked->qualCache;
  same->deepGraph = asked->deepGraph;
  if (same->deepGraph != nullptr) same->deepGraph->incr_ref();
  same->deepCache = asked->deepCache;
  same->deepMinimum = asked->deepMinimum;
  same->rawDeepBase = asked->rawDeepBase;
  same->rawBase = asked->rawBase;
  copy->asked = std::move(same);
  return copy;
}

void DareField::merge_eval(const DareField* other) {
  reevalCount += other->reevalCount;
  cacheMisses += other->cacheMisses;
  if (asked != nullptr && other->asked != nullptr) asked->learntCache.merge(other->asked->learntCache);
}

int DareField::get_array_id() const {
  return sessionFieldConfig->arrayId;
}

ReevalMode DareField::get_reeval_mode() const {
  return sessionFieldConfig->reevalMode;
}

DastOptions::AliasDisplay DareField::get_display() const {
  return sessionFieldConfig->aliasDisplay;
}

// ---------------------------------------------------------------- configuration
// Reshaping is a table from 256 qualities to 256: each setting builds it anew.

void DareField::set_base_field(int base_field, const DastBaseFieldRecall* field) {
  bfieldID = base_field;
  bField = field;
}

void DareField::build_rescale() {
  if (rescaleConfig.get_shape() == RescaleShape::IDENTITY && rescaleConfig.get_penalty() == 0) {
    rescaleShape = identity();
    return;
  }
  rescaleShape.reset(TeraRescale::create_rescale(&rescaleConfig, 0));
  if (rescaleShape != nullptr) return;
  rescaleConfig.set_shape_name("IDENTITY");
  rescaleShape = identity();
}

int DareField::set_shape(const char* name) {
  const int status = rescaleConfig.set_shape_name(name);
  build_rescale();
  return status;
}

int DareField::set_custom_shape(const char* text) {
  if (rescaleConfig.parse_custom_shape(text) < 0) return -1;
  build_rescale();
  return 0;
}

void DareField::set_rescale(int threshold) {
  rescaleConfig.set_threshold(threshold);
  build_rescale();
}

void DareField::set_penalty(int penalty) {
  rescaleConfig.set_penalty(penalty);
  build_rescale();
}

bool DareField::is_filter() const {
  const RescaleShape shape = rescaleShape->get_type();
  return shape == RescaleShape::FILTER || shape == RescaleShape::NOT;
}

void DareField::set_empty_qual(int quality) {
  if (quality >= 1 && quality <= 255) emptyQual = static_cast<Little>(quality);
}

int DareField::set_field_pessimism(int index, int value) {
  if (value < 0 || value > 100) {
    AceReporter::use_default()->printf("Pessimism %i is not within valid range 0 <= pessimism <= 100", value);
    return -1;
  }
  if (index < 0 || index >= NUM_PESSIMISM) return -1;
  pessimism_table()[static_cast<std::size_t>(index)] = value;
  return 0;
}

int DareField::get_field_pessimism(int index) {
  return index >= 0 && index < NUM_PESSIMISM ? pessimism_table()[static_cast<std::size_t>(index)].load()
                                             : DEFAULT_PESSIMISM;
}

// ---------------------------------------------------------------- a query
// A field is asked by a graph of results; qualities of single values are asked of the base field when they
// are needed, and kept.

void DareField::set_asked(std::shared_ptr<Asked> before) {
  clear_query();
  asked = std::move(before);
}

int DareField::recall(const char* query, DastOptions::Call call, bool force_exact, bool primary,
                      AceReporter* rep) {
  clear_query();
  asked = std::make_shared<Asked>();
  asked->queryText = query;
  asked->queryCall = call;
  asked->isExact = force_exact;
  const int exact = force_exact ? 1 : 0;
  asked->singleCompare = bField->eval(query, call, exact, rep);
  if (!primary) return 0;
  asked->qualCache = std::make_shared<DastQualityCache>();
  TeraScanGraph* graph =
      bField->full_scan_resolve(call, query, asked->qualCache.get(), emptyQual, exact, rep);
  if (graph == nullptr && bField->has_data_loaded()) {
    if (query[std::strspn(query, "|")] == '\0') return 0;  // empty parts only
    if (!may_be_empty(bField)) return -1;
    auto none = std::make_unique<TeraResult>(query, 0, 1, 255);
    graph = new TeraScanGraph(none.get(), query, TeraScanGraph::NO_ORIGIN);
    static_cast<void>(none.release());
  }
  if (graph == nullptr) return 0;
  graph->incr_ref();
  asked->fieldGraph = graph;
  asked->rawBase = raw_bound(graph, call);
  return 0;
}

void DareField::set_graph(TeraScanGraph* graph) {
  clear_query();
  if (graph == nullptr) return;
  asked = std::make_shared<Asked>();
  asked->fieldGraph = graph;
  graph->incr_ref();
  asked->rawBase = raw_bound(graph, DastOptions::APPROX);
}

TeraScanGraph* DareField::detach_graph() {
  TeraScanGraph* const graph = get_graph();
  if (graph != nullptr) asked->fieldGraph = nullptr;
  return graph;
}

/// What a graph leaves out is below the minimum of its results, or what they say they had to leave out;
/// values that are not indexed may be anything.
int DareField::raw_bound(const TeraScanGraph* graph, DastOptions::Call call) const {
  int bound = 0;
  for (int node = 0; call != DastOptions::EXACT && node < graph->get_num_nodes(); ++node)
    for (const auto* edge = graph->get_node(node)->get_first_edge(); edge != nullptr;
         edge = edge->get_next()) {
      const TeraResult* const result = edge->get_result();
      if (result == nullptr) continue;
      bound =
          std::max({bound, result->next_value(), result->get_min_value() - 1, result->get_best_frequent()});
      if (result->is_unreliable()) bound = 255;
    }
  if (asked->isExact) bound = 0;
  const bool isPartial = bField != nullptr && (bField->get_type() & DastFieldFlags::IS_PARTIAL) != 0;
  return isPartial ? 255 : std::min(bound, 255);
}

int DareField::reshaped_bound(int raw) const {
  if (raw < 0) return EXCLUDED;
  int bound = emptyQual > 0 ? reshape(emptyQual) : EXCLUDED;
  for (int quality = 0; quality <= raw; ++quality) bound = std::max(bound, reshape(quality));
  return bound;
}

bool DareField::deepen(int min_value, AceReporter* rep) {
  if (is_deepened() && asked->deepMinimum <= min_value) return true;
  if (get_graph() == nullptr || !has_compare() || asked->isExact || asked->rawBase < min_value) return false;
  auto cache = std::make_shared<DastQualityCache>();
  const int empty = asked->qualCache->lookup(0);  // where it is below the first minimum, records tell it
  TeraScanGraph* const graph =
      bField->full_scan_below(asked->queryCall, asked->queryText.c_str(), cache.get(), empty, min_value, rep);
  if (graph == nullptr) return false;
  graph->incr_ref();
  if (asked->deepGraph != nullptr) asked->deepGraph->decr_ref();
  asked->deepGraph = graph;
  asked->deepCache = std::move(cache);
  asked->deepMinimum = min_value;
  asked->rawDeepBase = raw_bound(graph, asked->queryCall);
  return true;
}

void DareField::clear_query() {
  asked.reset();
  reevalCount = cacheMisses = 0;
  cachedBegin = cachedEnd = 0;
}

int DareField::get_best_quality() const {
  int best = 0;
  for_each_cand([&best](int quality, const TeraCand*) { best = std::max(best, quality); });
  return best;
}

int DareField::hit_quality(Large record) const {
  int best = 0;
  for_each_cand([&](int quality, const TeraCand* cand) {
    if (quality > best && is_in(record, cand)) best = quality;
  });
  return best;
}

bool DareField::is_in(Large record, const TeraCand* cand) const {
  if (cand->get_num_infos() == 0) return false;
  AceAttach at;
  DastInfoList list(bField != nullptr ? *bField->get_info_list(cand, &at) : DastInfoList(cand));
  list.ensure_no_reference(&at);
  return list.has(record);
}

bool DareField::is_query_empty() const {
  return has_compare() && asked->singleCompare->is_empty() != 0;
}

int DareField::reshape(int quality) const {
  return rescaleShape->rescale(std::clamp(quality, 0, 255));
}

/// Of an empty value, as the recall lists it.
int DareField::empty_quality() const {
  const DastQualityCache* const cache = get_quality_cache();
  return std::max<int>(emptyQual, cache != nullptr ? cache->lookup(0) : 0);
}

int DareField::value_quality(Large base_id, bool cache_only) {
  if (asked == nullptr) return -1;
  const auto known_by = [base_id](const auto& cache) {
    return cache != nullptr ? cache->lookup(base_id) : DastQualityCache::NONE;
  };
  if (const int known = known_by(asked->qualCache); known >= 0) return known;
  // What was learnt since, to be shown, does not count. Empty values of BASIC fields have numbers of their
  // own.
  if (cache_only) return bField->is_empty_string(base_id) ? empty_quality() : int{DastQualityCache::NONE};
  if (const int listed = known_by(asked->deepCache); listed >= 0) return listed;
  if (const int learnt = asked->learntCache.lookup(base_id); learnt >= 0) return learnt;
  ++cacheMisses;
  if (!has_compare()) return -1;
  AceAttach at;
  const char* const value = bField->get_string_by_baseid(base_id, &at);
  int quality = value != nullptr ? std::max(asked->singleCompare->compare(value), 0) : 0;
  if (value != nullptr && *value == '\0') quality = std::max(quality, empty_quality());
  asked->learntCache.insert(base_id, quality, quality);
  return quality;
}

int DareField::record_quality(Large record, bool cache_only) {
  ++reevalCount;
  if (bField == nullptr) return -1;
  if (!has_compare() && get_graph() != nullptr) return hit_quality(record);  // a graph that was kept
  AceAttach at;
  const Large* ids = nullptr;
  const Large count = bField->get_base_ids(record, &ids, &at);
  int best = -1;
  for (Large i = 0; i < count; ++i)
    best = std::max(best, ids[i] == 0 ? empty_quality() : value_quality(ids[i], cache_only));
  return count == 0 ? emptyQual : best;
}

/// What the recall was told of less than its results have in the end is not listed.
int DareField::least_listed() const {
  int least = 255;
  for (int node = 0; node < get_graph()->get_num_nodes(); ++node)
    for (const auto* edge = get_graph()->get_node(node)->get_first_edge(); !asked->isExact && edge != nullptr;
         edge = edge->get_next())
      if (edge->get_result() != nullptr) least = std::min(least, edge->get_result()->get_min_value());
  return least;
}

/// Whether the empty value finds the record: where it is indexed, and for BASIC fields the only one.
bool DareField::is_found_empty(Large record) const {
  AceAttach at;
  const std::unique_ptr<TeraCand> empty(bField->get_empty_candidate(&at));
  return is_in(record, empty.get());
}

int DareField::listed_quality(Large record) const {
  if (get_graph() == nullptr) return -1;
  if (bField == nullptr || !has_compare()) {
    const int hit = hit_quality(record);
    return hit > 0 ? hit : -1;
  }
  AceAttach at;
  const Large* ids = nullptr;
  const Large count = bField->get_base_ids(record, &ids, &at);
  int best = -1;
  for (Large i = 0; i < count; ++i) {
    const bool isEmpty = bField->is_empty_string(ids[i]);
    const int quality = asked->qualCache->lookup(isEmpty ? 0 : ids[i]);
    if (quality > best && (!isEmpty || is_found_empty(record))) best = quality;
  }
  return best >= least_listed() ? best : -1;
}

const char* DareField::string_cache(Large record, DastOptions::AliasDisplay display) {
  if (record >= cachedBegin && record < cachedEnd && display == cachedDisplay) return cachedString;
  cacheAt.release();
  cachedDisplay = display;
  cachedString = bField != nullptr
                     ? bField->get_string_by_recordid(record, &cachedBegin, &cachedEnd, &cacheAt, display)
                     : nullptr;
  if (bField == nullptr || cachedString == nullptr) {
    cachedBegin = record;
    cachedEnd = record + 1;
  }
  return cachedString;
}
