// Asking one field: from a query through the method to values and their entries.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "ace/ace_tracer.h"
#include "dast/dast_base_field.h"
#include "dast/dast_base_method.h"
#include "dast/dast_info_list.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

namespace {

constexpr int PERFECT = 255;
constexpr std::size_t MAX_PARTS = 64;

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
  add_empty_string(empty_qual, graph.get());
  return graph.release();
}

void DastBaseField::add_empty_string(int empty_qual, TeraScanGraph* graph) const {
  if (empty_qual >= 1 && graph->get_min_value(TeraScanGraph::DEFAULT_ORIGIN) <= empty_qual)
    for_each_edge(graph, [&](auto* edge) { scan_empty_string(empty_qual, edge->get_result()); });
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
  int frequent = 0;
  for (const TeraResult* result : found) {
    next = std::max({next, result->next_value(), result->get_min_value() - 1});
    frequent = std::max(frequent, result->get_best_frequent());
  }
  const TeraQueryRef query(
      TeraQuery::create_merge_query(static_cast<int>(found.size()), found.data(), nullptr));
  if (merged->merge_by_string(static_cast<int>(found.size()), found.data()) < 0) return nullptr;
  merged->add_query(query.get(), 1);
  merged->set_next_value(std::max(merged->next_value(), next));
  merged->set_best_frequent(frequent);
  auto* graph = new TeraScanGraph(merged.get(), whole.c_str(), TeraScanGraph::NO_ORIGIN);
  static_cast<void>(merged.release());
  return graph;
}

TeraScanGraph* DastBaseField::blank_graph(const char* query) const {
  auto result = std::make_unique<TeraResult>(query, PERFECT, 1, PERFECT, nullptr);
  scan_empty_string(PERFECT, result.get());
  auto* graph = new TeraScanGraph(result.get(), query, TeraScanGraph::NO_ORIGIN);
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

TeraScanGraph* DastBaseField::full_scan_below(DastOptions::Call call, const char* query,
                                              DastQualityCache* qcache, int empty_qual, int min_value,
                                              AceReporter* rep) const {
  const AceTimeSection section("FULL_SCAN_BELOW");
  if (!has_data_loaded() || query == nullptr || std::strpbrk(query, "|\\") != nullptr ||
      std::strcmp(query, TeraCand::BLANK) == 0 || aliasMap != nullptr || artificialAlias != nullptr)
    return nullptr;
  GraphRef graph(baseMethod->lookup_below(query, call, min_value, rep));
  if (graph == nullptr) return nullptr;
  add_empty_string(empty_qual, graph.get());
  return resolve(graph.get(), qcache, 0, false) >= 0 ? graph.release() : nullptr;
}

/// A method without an index of values may know their shape.
TeraScanGraph* DastBaseField::detect(const char* text, DastOptions::Call call, AceReporter* rep) const {
  const bool isAsked = has_data_loaded() || (baseMethod != nullptr && baseMethod->get_num_items() == 0);
  if (!isAsked || text == nullptr) return nullptr;
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
  std::vector<TeraQueryRef> parts;
  for (const std::string& part : split_query(query))
    if (TeraQueryRef object(baseMethod->eval(call, part.c_str(), rep)); object != nullptr)
      parts.push_back(std::move(object));
  if (parts.empty()) return nullptr;
  TeraQueryRef whole = std::move(parts[0]);
  if (parts.size() > 1) {
    std::vector<TeraQuery*> queries{whole.get()};
    for (std::size_t i = 1; i < parts.size(); ++i) queries.push_back(parts[i].get());
    whole.reset(TeraQuery::create_merge_query(queries.data(), static_cast<int>(queries.size())));
  }
  if (force_exact == 0) return whole.release();
  auto* const exact = new TeraForceExactQuery(
      whole.get(), [this](Large id, AceAttach* at) { return get_string_by_baseid(id, at); });
  static_cast<void>(whole.release());
  return exact;
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
