// Merging what was found by sound.
#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "ace/ace_error.h"
#include "ace/ace_time_analysis.h"
#include "tera/graph/tera_scan_graph_internal.h"
#include "tera/result/tera_result_internal.h"
#include "tera/tera_word.h"

namespace {

using GetString = TeraScanGraph::GetString;
using BestQualities = std::map<Large, int>;

constexpr char LITERAL_SIGN = '|';
constexpr const char* WHITE_SPACE = " \t\n\v\f\r";

/// Adds the entries of a phonetic result, each with its best quality.
void collect_entries(const TeraResult& phonetic, BestQualities* best) {
  std::vector<Large> entries;
  phonetic.find_any([&](int quality, const TeraCand* cand) {
    entries.clear();
    append_numbers(*cand, &entries);
    for (const Large entry : entries) {
      int& known = (*best)[entry];
      known = std::max(known, quality);
    }
    return false;
  });
}

/// Gives entries of one query word their quality, and adds them to a result.
class PhoneReeval {
 public:
  PhoneReeval(const GetString* str_func, TeraEval::Eval* eval, int weight)
      : stringHook(str_func), evalFunc(eval), origWeight(std::clamp(weight, 0, 100)) {}

  /// Returns 1 when the result takes the entry, else 0.
  int add(Large entry, int phonetic, const TeraWord& word, int min_value, TeraResult* result) {
    AceAttach at;
    const char* string = stringHook != nullptr && *stringHook ? (*stringHook)(entry, &at) : nullptr;
    int literal = 0;
    if (string != nullptr) {
      ++numReevaluated;
      literal = std::clamp(word.leven(string, evalFunc, TeraWordOptions::NO_GLOB), 0, TeraEval::PERFECT);
    }
    const int value = TeraEval::phone_eval(literal, phonetic, origWeight);
    if (value < min_value || !result->accept(value)) return 0;
    if (string != nullptr && result->has_literal_matches() && result->get_string() != nullptr)
      string = result->attach((std::string(string) + LITERAL_SIGN + result->get_string()).c_str());
    auto cand = std::make_unique<TeraCand>(entry);
    cand->set_string(string);
    result->acquire(&at);
    return result->add(value, cand.release());
  }
  int num_reevaluated() const { return numReevaluated; }

 private:
  const GetString* stringHook;
  TeraEval::Eval* evalFunc;
  int origWeight;
  int numReevaluated = 0;
};

}  // namespace

// ---------------------------------------------------------------- edge by edge

int TeraScanGraph::Edge::merge_phonetic_edge(const Edge* phonetic, int orig_weight, TeraEval::Eval* eval,
                                             const GetString* str_func, const TeraMap* map) {
  const TeraResult* const phone_result = phonetic != nullptr ? phonetic->get_result() : nullptr;
  if (phone_result == nullptr)
    return ace_error(__FILE__, __LINE__, "phone_result = phone_edge->get_result()", -1, 0, -1);
  if (hitResult == nullptr || hitResult == phone_result || hitResult->is_resolved() || eval == nullptr)
    return -1;
  BestQualities entries;
  collect_entries(*phone_result, &entries);
  const AceTimeSection section("Adjusting candidates");
  const TeraWord word(hitResult->get_string(), map, true);
  PhoneReeval reeval(str_func, eval, orig_weight);
  for (const auto& [entry, quality] : entries) reeval.add(entry, quality, word, 0, hitResult);
  return hitResult->dedup_unresolved();
}

/// The edge of the literal pass, with the text between the nodes as its query.
TeraScanGraph::Edge* TeraScanGraph::get_original_edge(int from, int to) {
  if (Edge* const edge = get_edge(from, to, DEFAULT_ORIGIN, 0, 0); edge != nullptr) return edge;
  AceAttach at;
  const char* const text = get_orig_query_part(from, to, &at);
  if (text == nullptr) return nullptr;
  return create_edge(from, to, text + std::strspn(text, WHITE_SPACE), DEFAULT_ORIGIN, 0, 0);
}

int TeraScanGraph::add_phonetics(const GetString* str_func, TeraScanGraph* phonetic,
                                 const int* node_positions, int orig_weight, TeraEval::Model model,
                                 const TeraMap* map) {
  if (phonetic == nullptr) return 0;
  TeraEval::Eval* const eval_func = TeraEval::get_model_func(model, 0);
  if (phonetic == this || node_positions == nullptr || eval_func == nullptr) return -1;
  std::map<int, int> nodes;  // by their positions there, the first ones
  for (int node = 0; node < get_num_nodes(); ++node) nodes.emplace(node_positions[node], node);
  const auto nodeOf = [&](int phonetic_node) {
    const Node* const node = phonetic->get_node(phonetic_node);
    const auto found = node != nullptr ? nodes.find(node->charPos) : nodes.end();
    return found != nodes.end() ? found->second : -1;
  };
  for (int node = 0; node < phonetic->get_num_nodes(); ++node) {
    const int start_node = nodeOf(node);
    if (start_node < 0) continue;
    for (const Edge* edge = phonetic->get_node(node)->edgeList; edge != nullptr; edge = edge->nextEdge) {
      const int end_node = nodeOf(edge->toTarget);
      if (end_node <= 0) continue;
      Edge* const orig_edge = get_original_edge(start_node, end_node);
      if (orig_edge == nullptr)
        return ace_error(__FILE__, __LINE__, "orig_edge = get_original_edge(this, start_node, end_node)", -1,
                         0, -1);
      ACE_CALL(orig_edge->merge_phonetic_edge(edge, orig_weight, eval_func, str_func, map));
    }
  }
  return 0;
}

// ---------------------------------------------------------------- what only the phonetic recall has found

/// Takes hits span by span: the query word of a span is compiled once.
class TeraScanGraph::PhoneReevalScan {
 public:
  PhoneReevalScan(TeraScanGraph* graph, const GetString* str_func, TeraEval::Eval* eval, const TeraMap* map,
                  int orig_weight, int min_value)
      : scanGraph(graph), queryMap(map), minValue(min_value), wordReeval(str_func, eval, orig_weight) {}
  PhoneReevalScan(const PhoneReevalScan&) = delete;
  PhoneReevalScan& operator=(const PhoneReevalScan&) = delete;
  ~PhoneReevalScan() {
    time_analysis_print(0, 0, "Reevaluated %d literal strings", wordReeval.num_reevaluated());
    time_analysis_print(0, 0, "Added %d phonetic candidates", numAdded);
  }

  /// Adds the entries that the span's edge does not have yet. Returns how many, or -1.
  int exec(int start, int end, const BestQualities& entries) {
    Edge* const edge = scanGraph->get_original_edge(start, end);
    if (edge == nullptr || edge->hitResult == nullptr || edge->hitResult->is_resolved()) return -1;
    BestQualities known;
    collect_entries(*edge->hitResult, &known);
    const TeraWord word(edge->hitResult->get_string(), queryMap, true);
    int added = 0;
    for (const auto& [entry, quality] : entries)
      if (quality > 0 && known.count(entry) == 0)
        added += wordReeval.add(entry, quality, word, minValue, edge->hitResult);
    numAdded += added;
    return added;
  }

 private:
  TeraScanGraph* scanGraph;
  const TeraMap* queryMap;
  int minValue;
  PhoneReeval wordReeval;
  int numAdded = 0;
};

int TeraScanGraph::add_phonetic(const TeraScanGraph* phonetic, const GetString* str_func, int orig_weight,
                                int min_value, TeraEval::Eval* eval_func, const TeraMap* map) {
  const AceTimeSection section("Adding pure phonetic candidates");
  if (phonetic == nullptr || phonetic == this || eval_func == nullptr ||
      phonetic->get_num_nodes() != get_num_nodes())
    return -1;
  std::map<std::pair<int, int>, BestQualities> spans;
  for (int node = 0; node < get_num_nodes(); ++node)
    for (const Edge* edge = phonetic->get_node(node)->edgeList; edge != nullptr; edge = edge->nextEdge)
      if (!edge->is_empty()) collect_entries(*edge->hitResult, &spans[{node, edge->toTarget}]);
  PhoneReevalScan scan(this, str_func, eval_func, map, orig_weight, min_value);
  int added = 0;
  for (const auto& [span, entries] : spans) {
    const int num = scan.exec(span.first, span.second, entries);
    if (num < 0) return -1;
    added += num;
  }
  return added;
}
