// Asking one field: from a query through the method to values and their entries.
#include <algorithm>
#include <cstring>
#include <map>

#include "ace/ace_bits.h"
#include "ace/ace_error.h"
#include "ace/ace_id_map.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "ace/ace_tracer.h"
#include "dast/dast_base_field.h"
#include "dast/dast_base_method.h"
#include "dast/dast_info_list.h"
#include "dast/dast_quality_cache.h"
#include "dast/dast_string_storage.h"
#include "tera/tera_alias_map.h"
#include "tera/tera_index.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

namespace {

constexpr int PERFECT = 255;
constexpr std::size_t MAX_PARTS = 64;
constexpr int ANY_ORIGIN = -1;

struct Unref {
  void operator()(TeraScanGraph* graph) const { graph->decr_ref(); }
};
using GraphRef = std::unique_ptr<TeraScanGraph, Unref>;

/// The parts of a query between its bars; "\|" and "\\" become the characters.
std::vector<std::string> split_query(const char* query) {
  std::vector<std::string> parts(1);
  for (; *query != '\0'; ++query) {
    if (*query == '\\' && (query[1] == '|' || query[1] == '\\'))
      parts.back() += *++query;
    else if (*query == '|')
      parts.emplace_back();
    else
      parts.back() += *query;
  }
  return parts;
}

template <class Visit>
void for_each_edge(TeraScanGraph* graph, Visit visit) {
  for (int i = 0; i < graph->get_num_nodes(); ++i)
    for (auto* edge = graph->get_node(i)->get_first_edge(); edge != nullptr; edge = edge->get_next())
      if (edge->get_result() != nullptr) visit(edge);
}

}  // namespace

// ---------------------------------------------------------------- looking up

TeraScanGraph* DastBaseField::full_scan(const char* query, DastOptions::Call call, int empty_qual,
                                        AceReporter* rep) const {
  if (!has_data_loaded() || query == nullptr) return nullptr;
  if (std::strcmp(query, TeraCand::BLANK) == 0 && has_type(DastFieldFlags::HAS_EMPTY_INDEXED))
    return blank_graph(query);
  const std::vector<std::string> parts = split_query(query);
  GraphRef graph;
  if (parts.size() == 1) {
    graph.reset(baseMethod->lookup(parts[0].c_str(), call, rep));
    if (graph == nullptr) ace_error_msg(__FILE__, __LINE__, "graph = baseMethod->lookup(str, mode, rep)", -1);
  } else {
    graph.reset(multi_parts_scan(parts, call, rep));
    if (graph == nullptr) ace_error_msg(__FILE__, __LINE__, "graph = multi_parts_scan(query, mode, rep)", -1);
  }
  if (graph == nullptr) return nullptr;
  if (empty_qual >= 1 && graph->get_min_value(TeraScanGraph::DEFAULT_ORIGIN) <= empty_qual)
    for_each_edge(graph.get(), [&](auto* edge) { scan_empty_string(empty_qual, edge->get_result()); });
  return graph.release();
}

/// The parts apart; of candidates with the same string the best stays.
TeraScanGraph* DastBaseField::multi_parts_scan(const std::vector<std::string>& parts, DastOptions::Call call,
                                               AceReporter* rep) const {
  if (parts.size() > MAX_PARTS) {
    rep->printf("Field '%s': a query of at most %zu parts expected, %zu found\n", fieldName.c_str(),
                MAX_PARTS, parts.size());
    return nullptr;
  }
  std::string whole;
  std::vector<std::unique_ptr<TeraResult>> results;
  std::vector<TeraResult*> found;
  for (const std::string& part : parts) {
    if (part.empty()) continue;
    whole += (whole.empty() ? "" : "|") + part;
    const GraphRef graph(baseMethod->lookup(part.c_str(), call, rep));
    if (graph == nullptr) return nullptr;
    results.push_back(std::unique_ptr<TeraResult>(graph->merge_to_result()));
    if (results.back() != nullptr) found.push_back(results.back().get());
  }
  if (found.empty()) return nullptr;
  auto merged = std::make_unique<TeraResult>(whole.c_str(), found[0]);
  merged->set_flags(found[0]);
  int next = 0;
  for (const TeraResult* result : found) next = std::max(next, result->next_value());
  const TeraQueryRef query(
      TeraQuery::create_merge_query(static_cast<int>(found.size()), found.data(), nullptr));
  if (merged->merge_by_string(static_cast<int>(found.size()), found.data()) < 0) return nullptr;
  merged->add_query(query.get(), 1);
  merged->set_next_value(std::max(merged->next_value(), next));
  auto* graph = new TeraScanGraph(merged.get(), whole.c_str(), ANY_ORIGIN);
  static_cast<void>(merged.release());
  return graph;
}

TeraScanGraph* DastBaseField::blank_graph(const char* query) const {
  auto result = std::make_unique<TeraResult>(query, PERFECT, 1, PERFECT, nullptr);
  scan_empty_string(PERFECT, result.get());
  auto* graph = new TeraScanGraph(result.get(), query, ANY_ORIGIN);
  static_cast<void>(result.release());
  return graph;
}

/// Adds base id 0, which no method knows.
int DastBaseField::scan_empty_string(int empty_qual, TeraResult* result) const {
  if (!result->accept(empty_qual)) return 0;
  const bool joins = result->has_literal_matches() && result->get_string() != nullptr;
  const char* shown =
      joins ? result->attach((std::string(TeraCand::BLANK) + "|" + result->get_string()).c_str()) : "";
  return result->add(empty_qual, new TeraCand(shown, Large{0}));
}

TeraScanGraph* DastBaseField::full_scan_resolve(DastOptions::Call call, const char* query,
                                                DastQualityCache* qcache, int empty_qual, int force_exact,
                                                AceReporter* rep) const {
  const AceTimeSection section("FULL_SCAN");
  if (!has_data_loaded() || query == nullptr) return nullptr;
  GraphRef graph(full_scan(query, call, empty_qual, rep));
  if (graph == nullptr) {
    ace_error_msg(__FILE__, __LINE__, "graph = full_scan(query, mode, empty_qual, rep)", -1);
    return nullptr;
  }
  if (resolve(graph.get(), qcache, 0) < 0) {
    ace_error_msg(__FILE__, __LINE__, "resolve(graph, qcache)", -1);
    return nullptr;
  }
  if (call == DastOptions::EXACT) graph->set_next_value(0);
  if (force_exact != 0) graph->force_exact();
  static const AceTraceFlag printResolve("PRINT_FIELD_RESOLVE", __FILE__, __LINE__);
  if (printResolve.get() != 0) graph->print(rep, fieldName.c_str());
  return graph.release();
}

TeraScanGraph* DastBaseField::detect(const char* text, DastOptions::Call call, AceReporter* rep) const {
  if (!has_data_loaded() || text == nullptr) return nullptr;
  GraphRef graph(baseMethod->lookup(text, call, rep));
  if (graph == nullptr || resolve(graph.get(), nullptr, 0) < 0) return nullptr;
  return graph.release();
}

TeraScanGraph* DastBaseField::detect_single(const char* text, DastOptions::Call call,
                                            AceReporter* rep) const {
  if (!has_data_loaded() || text == nullptr) return nullptr;
  GraphRef graph(baseMethod->detect_single(text, call, rep));
  if (graph == nullptr || resolve(graph.get(), nullptr, 0) < 0) return nullptr;
  return graph.release();
}

TeraQuery* DastBaseField::eval(const char* query, DastOptions::Call call, int force_exact,
                               AceReporter* rep) const {
  if (baseMethod == nullptr || query == nullptr) return nullptr;
  std::vector<TeraQuery*> queries;
  for (const std::string& part : split_query(query))
    if (TeraQuery* object = baseMethod->eval(call, part.c_str(), rep); object != nullptr)
      queries.push_back(object);
  if (queries.empty()) return nullptr;
  TeraQuery* whole = queries[0];
  if (queries.size() > 1) {
    whole = TeraQuery::create_merge_query(queries.data(), static_cast<int>(queries.size()));
    for (TeraQuery* object : queries) object->unref();
  }
  if (force_exact == 0) return whole;
  return new TeraForceExactQuery(whole,
                                 [this](Large id, AceAttach* at) { return get_string_by_baseid(id, at); });
}

// ---------------------------------------------------------------- resolving

/// Makes the resolved form of one result after the other.
class DastBaseField::Resolver {
 public:
  Resolver(const DastBaseField* field, DastQualityCache* cache, Large offset)
      : itsField(field), qualityCache(cache), cacheOffset(offset) {}

  std::unique_ptr<TeraResult> resolve(TeraResult* found);

 private:
  /// What is known of a base id.
  struct Reached {
    int quality;       // with aliases
    int direct;        // before them; -1 for what only aliases have reached
    const char* text;  // of the candidate
  };

  void collect(const TeraResult& found);
  void reach(Large id, int quality, bool is_direct, const char* text);
  void follow(const AceIdMap* map, Large id, int quality);
  void remove_anti_aliases();
  void add_all(TeraResult* resolved);
  void add_basic(TeraResult* resolved);
  void add_advanced(TeraResult* resolved);
  const char* string_of(Large id, const Reached& reached, TeraResult* resolved) const;

  const DastBaseField* itsField;
  DastQualityCache* qualityCache;
  Large cacheOffset;
  std::map<Large, Reached> reachedIds;
};

std::unique_ptr<TeraResult> DastBaseField::Resolver::resolve(TeraResult* found) {
  reachedIds.clear();
  auto resolved = std::make_unique<TeraResult>(found->get_string(), found);
  resolved->set_flags(found);
  resolved->add_query(found->get_query(), 1);
  collect(*found);
  if (!itsField->is_basic()) remove_anti_aliases();
  add_all(resolved.get());
  for (const TeraCandGroup* group = found->get_first_group(); group != nullptr; group = group->get_next())
    for (const TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next())
      if (cand->is_special()) resolved->add(group->get_value(), new TeraCand(*cand));
  resolved->set_next_value(std::max(resolved->next_value(), found->next_value()));
  resolved->set_best_frequent(std::max(resolved->get_best_frequent(), found->get_best_frequent()));
  resolved->set_resolved();
  resolved->merge(found);  // strings and arrays of the candidates that were copied
  return resolved;
}

void DastBaseField::Resolver::collect(const TeraResult& found) {
  for (const TeraCandGroup* group = found.get_first_group(); group != nullptr; group = group->get_next())
    for (const TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next()) {
      if (cand->is_special()) continue;
      const bool hasString = !cand->is(TeraCand::COLLECTION);
      for (Large i = 0; i < cand->get_num_infos(); ++i)
        reach(cand->get_info(i), group->get_value(), true, hasString ? cand->get_string() : nullptr);
    }
}

void DastBaseField::Resolver::reach(Large id, int quality, bool is_direct, const char* text) {
  if (id >= itsField->allBaseIDs) return;  // an index of another base
  const auto [place, isNew] = reachedIds.try_emplace(id, Reached{quality, is_direct ? quality : -1, text});
  if (!isNew) {
    place->second.quality = std::max(place->second.quality, quality);
    if (is_direct) place->second.direct = std::max(place->second.direct, quality);
  }
  if (is_direct && !itsField->is_basic()) {
    follow(itsField->aliasMap.get(), id, quality);
    follow(itsField->artificialAlias.get(), id, quality);
  }
}

void DastBaseField::Resolver::follow(const AceIdMap* map, Large id, int quality) {
  if (map == nullptr) return;
  const IdList pairs = map->get(id);
  for (Large i = 0; i + 1 < pairs.count; i += 2)
    if (pairs[i + 1] != ANTI_ALIAS && static_cast<int>(pairs[i + 1]) <= quality)
      reach(pairs[i], quality - static_cast<int>(pairs[i + 1]), false, nullptr);
}

/// What is found perfectly excludes those values that are known not to be meant by it.
void DastBaseField::Resolver::remove_anti_aliases() {
  if (itsField->aliasMap == nullptr) return;
  std::vector<Large> excluded;
  for (const auto& [id, reached] : reachedIds) {
    if (reached.direct != PERFECT) continue;
    const IdList pairs = itsField->aliasMap->get(id);
    for (Large i = 0; i + 1 < pairs.count; i += 2)
      if (pairs[i + 1] == ANTI_ALIAS) excluded.push_back(pairs[i]);
  }
  for (const Large id : excluded) reachedIds.erase(id);
}

void DastBaseField::Resolver::add_all(TeraResult* resolved) {
  if (qualityCache != nullptr)
    for (const auto& [id, reached] : reachedIds)
      qualityCache->insert(id + cacheOffset, reached.quality, std::max(reached.direct, 0));
  if (itsField->is_basic())
    add_basic(resolved);
  else
    add_advanced(resolved);
}

const char* DastBaseField::Resolver::string_of(Large id, const Reached& reached, TeraResult* resolved) const {
  if (id == 0) return reached.text != nullptr ? reached.text : "";
  AceAttach at;
  const char* string = itsField->get_string_by_baseid(id, &at);
  if (string == nullptr) return reached.text;
  const bool isKept =
      itsField->stringStorage != nullptr && itsField->stringStorage->get_type() == DastStringStorage::ARRAY;
  return isKept && !itsField->stringStorage->get_array()->is_compressed() ? string : resolved->attach(string);
}

void DastBaseField::Resolver::add_advanced(TeraResult* resolved) {
  for (const auto& [id, reached] : reachedIds) {
    const Large* entries = nullptr;
    const Large count = itsField->get_entry_ids(id, &entries, nullptr);
    if (count == 0 && id != 0) continue;  // an alias that no record has
    if (!resolved->accept(reached.quality)) continue;
    auto cand = std::make_unique<TeraCand>(string_of(id, reached, resolved), count, entries);
    if (count > 2 && entries[0] == 0) cand->add_state(TeraCand::FREQUENT);
    if (reached.direct < 0) cand->add_state(TeraCand::SECONDARY);
    resolved->add(reached.quality, cand.release());
  }
}

/// An entry stands once for each of its strings that were found.
void DastBaseField::Resolver::add_basic(TeraResult* resolved) {
  for (const auto& [id, reached] : reachedIds) {
    if (!resolved->accept(reached.quality)) continue;
    const char* string = string_of(id, reached, resolved);
    if (id == 0) {
      const Large* entries = nullptr;
      const Large count = itsField->get_entry_ids(0, &entries, nullptr);
      resolved->add(reached.quality, new TeraCand(string, count, entries));
      continue;
    }
    const Large owner = itsField->owner_of_alias(id);
    if (owner < itsField->numEntryIDs) resolved->add(reached.quality, new TeraCand(string, owner));
  }
}

namespace {

/// Long lists of a field that finds only frequent values cost more than they tell: together they become one
/// candidate that stands for all records.
void make_partial(TeraResult* result, Large max_len) {
  int best = -1;
  const char* string = nullptr;
  const auto isLong = [max_len](const TeraCand* cand) { return cand->get_num_infos() > max_len; };
  for (const TeraCandGroup* group = result->get_first_group(); group != nullptr; group = group->get_next())
    for (const TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next())
      if (isLong(cand) && group->get_value() > best) {
        best = group->get_value();
        string = cand->get_string();
      }
  if (best < 0) return;
  result->remove_any(isLong);
  static constexpr Large ALL_RECORDS[] = {0, 0, DastInfoList::NONE};
  auto cand = std::make_unique<TeraCand>(string, 3, ALL_RECORDS);
  cand->add_state(TeraCand::FREQUENT);
  result->add(best, cand.release());
}

}  // namespace

int DastBaseField::resolve(TeraScanGraph* graph, DastQualityCache* qcache, Large offset) const {
  Resolver resolver(this, qcache, offset);
  for_each_edge(graph,
                [&](auto* edge) { edge->replace_result(resolver.resolve(edge->get_result()).release()); });
  graph->set_resolved();
  static const AceTraceFlag maxLength("MAX_INFO_LIST_LENGTH", __FILE__, __LINE__);
  if (const int length = maxLength.get(); length > 0 && has_type(DastFieldFlags::IS_PARTIAL))
    for_each_edge(graph, [&](auto* edge) { make_partial(edge->get_result(), static_cast<Large>(length)); });
  return 0;
}

// ---------------------------------------------------------------- records

TeraCand* DastBaseField::get_empty_candidate(AceAttach* at) const {
  const Large* entries = nullptr;
  const Large count = get_entry_ids(0, &entries, at);
  return new TeraCand("", count, entries);
}

DastInfoList* DastBaseField::get_info_list(const TeraCand* cand, AceAttach* at) const {
  auto* list = new (at) DastInfoList(cand);
  const bool isRuns = has_intervals() && infoMap != nullptr && list->get_type() == DastInfoList::SINGLE;
  return isRuns ? infoMap->down(list, at) : list;
}

DastInfoIterator* DastBaseField::create_info_iterator(const TeraCand* cand, AceAttach* at) const {
  return get_info_list(cand, at)->create_iterator(at);
}

HitList* DastBaseField::create_hitlist(Large* count, const TeraCand* cand, const HitList::Settings& settings,
                                       AceAttach* at) const {
  return HitList::make_hit_iterator(cand, cand->get_shift(), has_intervals() ? infoMap : nullptr, settings,
                                    count, at);
}
