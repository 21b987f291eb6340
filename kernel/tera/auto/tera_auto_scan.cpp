// Recall of the spans of a text.
#include <algorithm>
#include <string>
#include <unordered_map>

#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "tera/auto/tera_auto_request_internal.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_splitter.h"

namespace {

int splitter_options(int options) {
  int split = TeraSplitter::BLANKS | (options & TeraAutoRecall::SPLIT_UNMAPPED);
  if ((options & TeraAutoRecall::NO_OPERATORS) != 0) split |= TeraSplitter::NO_OPERATORS;
  if ((options & TeraAutoRecall::COMPLETE_QUERY) != 0) split |= TeraSplitter::COMPLETE_END;
  return split;
}
static_assert(int{TeraAutoRecall::SPLIT_UNMAPPED} == int{TeraSplitter::SPLIT_UNMAPPED});

/// Whether what is before a node may go on.
bool is_unfinished(const TeraSplitResult& split, int node) {
  const TeraSplitResult::NodePos& pos = split.nodePos[node];
  for (int i = pos.tokOut; i <= pos.tokIn && i <= split.logLen; ++i)
    if ((split.tokMark[i] & TeraSplitResult::COMPLETE) != 0) return true;
  return false;
}

/// The text between two nodes; the words without what separates them when `joined`.
std::string text_of(const TeraSplitResult& split, int from, int to, bool joined) {
  AceAttach at;
  std::string text;
  for (int node = from; node < to; node = joined ? node + 1 : to) {
    const char* const part = split.get_lit_string(node, joined ? node + 1 : to, &at);
    if (part != nullptr) text += part;
  }
  return text;
}

}  // namespace

/// Calls `use(from, to)` for the runs of up to `max_words` words, and for all words together. Returns how
/// many runs there were, or the first negative number that it gave.
template <class Use>
int TeraAutoRecall::for_each_span(const TeraSplitResult& split, const Request& asked, int max_words,
                                  Use use) const {
  const int whole = split.numNodes - 1;
  const int lastStart = (asked.options & FRONT_MODE) != 0 ? 0 : whole - 1;
  int spans = 0;
  for (int from = 0; from <= lastStart; ++from)
    for (int to = from + 1; to <= whole; ++to) {
      const bool isWhole = from == 0 && to == whole;
      if (to - from > max_words && !isWhole) continue;
      if ((asked.options & BACK_MODE) != 0 && to != whole) continue;
      if (split.nodePos[to].tokOut - split.nodePos[from].tokIn > MAX_POSITIONS) break;
      if (const int rc = use(from, to); rc < 0) return rc;
      ++spans;
    }
  return spans;
}

/// Fills the result of a span. A span with an alternative that is not closed is read without operators.
int TeraAutoRecall::recall_span(TeraResult* result, const TeraSplitResult& split, int from, int to,
                                const Request& asked) const {
  Request request = asked;
  request.result = result;
  result->set_string(text_of(split, from, to, (asked.options & IGNORE_SEPARATOR) != 0).c_str());
  if (get_tera_map()->alt_len(result->get_string(), false) < 0) request.options |= NO_OPERATORS;
  if (is_unfinished(split, to)) {
    request.mode = TeraEval::PREFIX;
    request.model = TeraEval::SHORT;
  }
  return look(request);
}

/// As `recall_span` while the text's budget lasts. Behind it a span finds what is the same, and says that
/// there may be more.
int TeraAutoRecall::recall_within(TeraResult* result, const TeraSplitResult& split, int from, int to,
                                  const Request& request) const {
  if (!request.budget->is_spent()) {
    const int rc = recall_span(result, split, from, to, request);
    if (rc < 0 || !request.budget->is_spent()) return rc;
  }
  TeraAutoBudget own(0);
  Request literal = request;
  literal.maxEdit = 0;
  literal.budget = &own;
  const int rc = recall_span(result, split, from, to, literal);
  result->set_unreliable();
  result->dedup_unresolved();
  return rc;
}

int TeraAutoRecall::scan(TeraScanGraph* graph, TeraEval::Model model, int options, int max_edit,
                         int orig_weight, const char* add_seps, const char* comp_markers) const {
  const AceTimeSection section("AUTO_SCAN");
  if (graph == nullptr || graph->get_orig_query() == nullptr || (options & ~KNOWN_OPTIONS) != 0)
    return GENERAL_ERROR;
  const TeraSplitResult split(graph->get_orig_query(), splitter_options(options), get_tera_map(), add_seps,
                              comp_markers);
  if (split.numNodes == 0) return GENERAL_ERROR;
  if (graph->get_num_nodes() == 0) graph->init(&split, TeraScanGraph::DEFAULT_ORIGIN, 0);
  if (graph->get_num_nodes() != split.numNodes) {
    AceReporter::use_default()->printf("The graph's %d nodes are not the %d nodes of the split text\n",
                                       graph->get_num_nodes(), split.numNodes);
    return GENERAL_ERROR;
  }
  TeraAutoBudget budget(mainAuto.forward ? mainAuto.forward.autoData->get_num_paths() : 0);
  const Request request{
      nullptr,     TeraEval::LEVENSHTEIN,      model,  options | NO_ALIASES | NO_RESOLVE, max_edit, 0,
      orig_weight, AceReporter::use_default(), &budget};
  const int spans = for_each_span(split, request, MAX_SCAN_WORDS, [&](int from, int to) {
    TeraScanGraph::Edge* edge = graph->get_edge(from, to, TeraScanGraph::DEFAULT_ORIGIN, 0, 0);
    if (edge == nullptr) edge = graph->create_edge(from, to, "", TeraScanGraph::DEFAULT_ORIGIN, 0, 0);
    if (edge == nullptr || edge->get_result() == nullptr) return 0;
    return recall_within(edge->get_result(), split, from, to, request);
  });
  if (spans < 0) return spans;
  if ((options & DONT_DEDUP) == 0) graph->dedup_unresolved(false);
  if ((options & NO_ALIASES) == 0 && add_aliases(graph, 0) < 0) return GENERAL_ERROR;
  if ((options & NO_RESOLVE) == 0 && resolve(graph) < 0) return GENERAL_ERROR;
  return spans;
}

int TeraAutoRecall::recall_s(TeraResult* result, TeraEval::Model model, int options, int max_edit,
                             int orig_weight, const char* add_seps, const char* comp_markers) const {
  const AceTimeSection section("AUTO_RECALL_WORDS");
  if (result == nullptr || (options & ~KNOWN_OPTIONS) != 0) return GENERAL_ERROR;
  if (result->get_string() == nullptr) return NO_QUERY;
  const TeraSplitResult split(result->get_string(), splitter_options(options), get_tera_map(), add_seps,
                              comp_markers);
  if (split.numNodes == 0) return GENERAL_ERROR;
  TeraAutoBudget budget(mainAuto.forward ? mainAuto.forward.autoData->get_num_paths() : 0);
  Request request{
      nullptr,     TeraEval::LEVENSHTEIN,      model,  options | NO_ALIASES | NO_RESOLVE, max_edit, 0,
      orig_weight, AceReporter::use_default(), &budget};
  std::unordered_map<int, int> best;
  const bool isEach = (options & DONT_DEDUP) != 0;
  const int rc = for_each_span(split, request, 1, [&](int from, int to) {
    TeraResult part(nullptr, result);
    part.clear_resolved();
    const int found = recall_within(&part, split, from, to, request);
    if (part.is_unreliable()) result->set_unreliable();
    if (result->get_query() == nullptr) result->add_query(part.get_query(), 0);
    part.find_any([&](int quality, const TeraCand* cand) {
      if (isEach)
        result->add(quality, static_cast<Large>(cand->get_entry()));
      else
        best[cand->get_entry()] = std::max(best[cand->get_entry()], quality);
      return false;
    });
    return found;
  });
  if (rc < 0) return rc;
  for (const auto& [entry, quality] : best)
    if (result->accept(quality)) result->add(quality, static_cast<Large>(entry));
  request.result = result;
  request.options = options;
  return finish(request);
}
