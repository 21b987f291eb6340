// Lines, and words, in free texts.
#include <algorithm>
#include <memory>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "tera/multi/multi_query_internal.h"
#include "tera/tera_multi.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_splitter.h"

namespace {

/// The nodes of a text between its words, in the graph too if it has none.
std::unique_ptr<TeraSplitResult> split_text(TeraScanGraph* graph, int options, char sep,
                                            const std::string& more, const TeraMap* map) {
  const std::string separators = sep + more;
  auto split = std::make_unique<TeraSplitResult>(
      graph->get_orig_query(),
      (options & (TeraSplitter::NO_OPERATORS | TeraSplitter::SPLIT_UNMAPPED)) | TeraSplitter::BLANKS, map,
      separators.c_str(), nullptr);
  if (split->numNodes <= 0) return nullptr;
  if (graph->get_num_nodes() == 0) graph->init(split.get(), TeraScanGraph::DEFAULT_ORIGIN, 0);
  return graph->get_num_nodes() == split->numNodes ? std::move(split) : nullptr;
}

}  // namespace

int TeraMulti::multi_detect(TeraScanGraph* graph, int options, TeraEval::Model model, int single_min_qual,
                            int single_max_edit, int orig_weight, const char* comp_markers, AceReporter* rep,
                            TeraEval::Mode mode) const {
  const AceTimeSection section("MULTI_DETECT");
  if (graph == nullptr || graph->get_orig_query() == nullptr) return -1;
  const auto split = split_text(graph, options, sepChar, addSeps, get_tera_map());
  if (split == nullptr) return ace_error(__FILE__, __LINE__, "split = split_text(graph, options)", -1, 0, -1);
  if (numRecords == 0 || infoHandle == nullptr) return 0;
  const int last = split->numNodes - 1;
  // Nodes are words, but of what stands between further separators, or is joined, a line's word takes
  // several.
  const bool isCut =
      !addSeps.empty() || (optionFlags & MERGE_ENTRIES) != 0 || (options & SPLIT_UNMAPPED) != 0;
  const int longest = isCut ? MAX_RUN : std::min(maxWords, MAX_RUN);
  int runs = 0;
  AceAttach at;
  for (int from = 0; from < last; ++from)
    for (int to = from + 1; to <= std::min(last, from + longest); ++to) {
      const bool isOpen = (options & COMPLETE) != 0 && to == last;
      const MultiAsk ask{isOpen ? options : options & ~COMPLETE,
                         model,
                         mode,
                         single_min_qual,
                         single_max_edit,
                         orig_weight,
                         comp_markers != nullptr ? comp_markers : ""};
      const char* text = split->get_lit_string(from, to, &at);
      const TeraQueryRef query(make_query(text, ask, rep));
      if (query == nullptr) continue;  // told about: a word that is too long to be looked up, say
      auto* const edge = graph->create_edge(from, to, text, TeraScanGraph::DEFAULT_ORIGIN, 0, 0);
      if (edge == nullptr) return -1;
      if (recall_lines(query.get(), edge->get_result(), true, rep) < 0) continue;
      edge->get_result()->add_query(query.get(), 0);
      ++runs;
    }
  graph->set_resolved();
  graph->dedup_resolved(false);
  return runs;
}

int TeraMulti::single_detect(TeraScanGraph* graph, int options, TeraEval::Mode mode, TeraEval::Model model,
                             int single_max_edit, int orig_weight, AceReporter* rep) const {
  const AceTimeSection section("SINGLE_DETECT");
  if (graph == nullptr || graph->get_orig_query() == nullptr) return -1;
  const auto split = split_text(graph, options, sepChar, addSeps, get_tera_map());
  if (split == nullptr) return ace_error(__FILE__, __LINE__, "split = split_text(graph, options)", -1, 0, -1);
  AceAttach at;
  for (int from = 0; from + 1 < split->numNodes; ++from) {
    const char* text = split->get_lit_string(from, from + 1, &at);
    auto* const edge = graph->create_edge(from, from + 1, text, TeraScanGraph::DEFAULT_ORIGIN, 0, 0);
    if (edge == nullptr ||
        single_recall(edge->get_result(), options, mode, model, single_max_edit, orig_weight, rep) < 0)
      return -1;
  }
  graph->set_resolved();
  return split->numNodes - 1;
}
