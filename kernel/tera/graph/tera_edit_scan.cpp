// Recall of the spans of a text.
#include <algorithm>
#include <limits>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "tera/edit/edit_kernel_internal.h"
#include "tera/edit/edit_request_internal.h"
#include "tera/tera_edit.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_splitter.h"

namespace {

constexpr int ANY_NUMBER = std::numeric_limits<int>::max() / 2;

/// The longest query that entries of up to `longest` positions can answer with that quality: no model likes a
/// longer one better.
int longest_query(TeraEval::Eval* func, int longest, int min_value) {
  const auto hasAnswer = [&](int query) {
    for (int entry = longest; entry > 0; --entry)
      if (TeraEval::can_satisfy(func, query, entry, min_value) != 0) return true;
    return false;
  };
  int query = std::min(longest, EDIT_MAX_QUERY);
  while (query < EDIT_MAX_QUERY && hasAnswer(query + 1)) ++query;
  return query;
}

/// Whether the nodes stand where those of the split do.
bool has_nodes_of(const TeraScanGraph& graph, const TeraSplitResult& split) {
  if (graph.get_num_nodes() != split.numNodes) return false;
  for (int node = 0; node < split.numNodes && graph.has_char_positions(); ++node)
    if (graph.get_node(node)->get_char_pos() != split.nodePos[node].litOut) return false;
  return true;
}

/// Calls `use(from, to)` for the spans of nodes that are looked up, until it gives a negative number, which
/// is returned; 0 at the end. A single word may have more than `max_positions`.
template <class Use>
int for_each_span(const TeraSplitResult& split, int max_words, int max_positions, Use use) {
  const int whole = split.numNodes - 1;
  for (int from = 0; from < whole; ++from) {
    const int last = std::min(from + max_words, whole);
    for (int to = from + 1; to <= whole; ++to) {
      if (to > last && from > 0) break;
      if (to > last) to = whole;
      const int positions = split.nodePos[to].tokOut - split.nodePos[from].tokIn;
      if (positions > (to == from + 1 ? EDIT_MAX_QUERY : max_positions)) break;
      if (const int rc = use(from, to); rc < 0) return rc;
    }
  }
  return 0;
}

int splitter_options(int options) {
  return (options & TeraEdit::NO_OPERATORS) != 0 ? TeraSplitter::BLANKS | TeraSplitter::NO_OPERATORS
                                                 : int{TeraSplitter::BLANKS};
}

}  // namespace

int TeraEdit::scan(TeraScanGraph* graph, TeraEval::Model model, int options, TeraSplitResult* split,
                   int percent, AceReporter* rep) const {
  if (split == nullptr) return scan_sep(graph, model, options, nullptr, percent, rep);
  return scan_runs(graph, model, options, *split, percent, longest_run(), rep);
}

int TeraEdit::scan_sep(TeraScanGraph* graph, TeraEval::Model model, int options, const char* separators,
                       int percent, AceReporter* rep) const {
  if (graph == nullptr) return -1;
  const TeraSplitResult split(graph->get_orig_query(), splitter_options(options), &mapConfig, separators,
                              nullptr);
  return scan_runs(graph, model, options, split, percent, longest_run(), rep);
}

int TeraEdit::full_scan(TeraScanGraph* graph, TeraEval::Model model, int options, TeraSplitResult* split,
                        int percent, AceReporter* rep) const {
  if (graph == nullptr) return -1;
  if (split != nullptr) return scan_runs(graph, model, options, *split, percent, ANY_NUMBER, rep);
  const TeraSplitResult blanks(graph->get_orig_query(), splitter_options(options), &mapConfig, nullptr,
                               nullptr);
  return scan_runs(graph, model, options, blanks, percent, ANY_NUMBER, rep);
}

/// Without strings nothing is known of the entries' words.
int TeraEdit::longest_run() const {
  const int longest =
      editStore != nullptr && stringHandle != nullptr ? editStore->longest_words() : MAX_SCAN_WORDS;
  return std::clamp(longest, MIN_SCAN_WORDS, MAX_SCAN_WORDS);
}

int TeraEdit::scan_runs(TeraScanGraph* graph, TeraEval::Model model, int options,
                        const TeraSplitResult& split, int percent, int max_words, AceReporter* rep) const {
  const AceTimeSection section("EDIT_SCAN");
  if (graph == nullptr || split.numNodes == 0) return -1;
  if (graph->get_num_nodes() == 0) graph->init(&split, TeraScanGraph::DEFAULT_ORIGIN, 0);
  if (!has_nodes_of(*graph, split)) {
    rep->printf("The graph's %d nodes are not the %d nodes of the split text\n", graph->get_num_nodes(),
                split.numNodes);
    return -1;
  }
  TeraEval::Eval* const func = TeraEval::get_model_func(model, 0);
  const bool isHeard = phoneEdit != nullptr && percent <= 99;
  const int max_positions = isHeard || func == nullptr
                                ? EDIT_MAX_QUERY
                                : longest_query(func, maxLength - 1, graph->get_min_value());
  EditBudget budget(numEntry);
  int spans = 0;
  for_each_span(split, max_words, max_positions, [&spans](int, int) {
    ++spans;
    return 0;
  });
  // Each makes an edge with a result, so that those of too many are not even begun.
  if (EditBudget(budget).spend(spans * EditBudget::STEPS_PER_RECALL) < 0) return -1;
  AceAttach at;
  const int rc = for_each_span(split, max_words, max_positions, [&](int from, int to) {
    const char* const text = split.get_lit_string(from, to, &at);
    TeraScanGraph::Edge* edge = graph->get_edge(from, to, TeraScanGraph::DEFAULT_ORIGIN, 0, 0);
    if (edge == nullptr) edge = graph->create_edge(from, to, text, TeraScanGraph::DEFAULT_ORIGIN, 0, 0);
    TeraResult* const result = edge->get_result();
    if (result == nullptr) {
      --spans;
      return 0;
    }
    // What is found here has entry numbers until recall itself resolves them.
    result->clear_resolved();
    const int spanOptions = mapConfig.alt_len(text, false) < 0 ? options | NO_OPERATORS : options;
    Request request{result, TeraEval::LEVENSHTEIN, model, 0, 0, spanOptions, percent, rep, &budget};
    const int found = recall(&request);
    at.release();
    return found;
  });
  if (rc < 0)
    return ace_error(__FILE__, __LINE__,
                     "recall(result, TeraEval::LEVENSHTEIN, model, 0, 0, options, percent, rep)", rc, 0, -1);
  if (infoHandle != nullptr && (options & NO_RESOLVE) == 0) graph->set_resolved();
  return spans;
}
