#include <algorithm>
#include <cctype>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "ace/ace_tracer.h"
#include "dast/dast_base.h"
#include "dast/dast_base_method.h"
#include "dast/dast_detector.h"
#include "dast/recall/dast_detector_resolve_internal.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_result.h"

namespace {

constexpr int ANY_STATE = 0;
constexpr int PERFECT = 255;
/// Of what an initial stands for, unless the flag "INITIALS_QUALITY" says otherwise.
constexpr int DEFAULT_INITIALS_QUALITY = 200;

const AceTraceFlag initialsQuality("INITIALS_QUALITY", __FILE__, __LINE__);
const AceTraceFlag isVerbose("DETECTOR_RESOLVE_VERBOSE", __FILE__, __LINE__);

template <class Visit>
void for_each_candidate(const TeraResult& result, Visit visit) {
  for (const TeraCandGroup* group = result.get_first_group(); group != nullptr; group = group->get_next())
    for (const TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next())
      visit(*cand, group->get_value());
}

template <class Visit>
void for_each_edge(TeraScanGraph* graph, Visit visit) {
  for (int i = 0; i < graph->get_num_nodes(); ++i)
    for (auto* edge = graph->get_node(i)->get_first_edge(); edge != nullptr; edge = edge->get_next())
      if (edge->get_result() != nullptr && graph->get_node(edge->get_target()) != nullptr) visit(i, edge);
}

/// Of an edge's words, what a single value is compared with: it has all of them.
DastOptions::Call mode_of_span(DastOptions::Call call) {
  const bool isText = call == DastOptions::FS_DETECT || call == DastOptions::FS_COMPLETE;
  return isText ? DastOptions::APPROX : call;
}

std::string trimmed(const char* text) {
  constexpr const char* BLANKS = " \t\r\n\v\f";
  const std::string_view view(text != nullptr ? text : "");
  const std::size_t first = view.find_first_not_of(BLANKS);
  if (first == std::string_view::npos) return {};
  return std::string(view.substr(first, view.find_last_not_of(BLANKS) + 1 - first));
}

/// The letter of "M" and "M."; empty for all other words.
std::string initial_of(std::string word, bool is_utf) {
  if (word.size() > 1 && word.back() == '.') word.pop_back();
  if (word.empty()) return {};
  const auto lead = static_cast<unsigned char>(word[0]);
  std::size_t length = 1;
  if (is_utf && lead >= 0xC0) length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  const bool isLetter = lead >= 0x80 || std::isalpha(lead) != 0;
  return isLetter && word.size() == length ? word : std::string();
}

}  // namespace

// ---------------------------------------------------------------- the graph
// What the detector found, span by span, becomes a graph in which each edge belongs to one field.

int DetectorResolve::resolve_detect_graph(TeraScanGraph* graph, GraphRef* recall_graph) {
  const AceTimeSection section("RESOLVE_DETECT_GRAPH");
  isEvaluating = false;
  return resolve_graph(graph, recall_graph);
}

int DetectorResolve::detector_field_resolve(TeraScanGraph* graph, GraphRef* recall_graph,
                                            DastOptions::Call call) {
  const AceTimeSection section("DETECTOR_FIELD_RESOLVE");
  isEvaluating = true;
  evalFields = indDetector->get_reeval_mask();
  evalCall = mode_of_span(call);
  return resolve_graph(graph, recall_graph);
}

int DetectorResolve::resolve_graph(TeraScanGraph* graph, GraphRef* recall_graph) {
  recallGraph.reset(new TeraScanGraph(graph, true));
  find_covers(graph);
  int rc = 0;
  for_each_edge(graph, [&](int from, const TeraScanGraph::Edge* edge) {
    rc = std::min(rc, resolve_edge(from, *edge));
  });
  if (rc < 0) return rc;
  add_initial_cands(graph);
  recallGraph->remove_empty_nodes(0);
  recallGraph->set_resolved();
  *recall_graph = std::move(recallGraph);
  return 0;
}

int DetectorResolve::resolve_edge(int from, const TeraScanGraph::Edge& edge) {
  FieldResults found;
  collect(from, edge, &found);
  for (auto& [field, result] : found) {
    if (indDetector->is_index()) {
      if (is_evaluated(field)) detector_field_eval(field, &result);
      if (resolve_field(field, &result) < 0) return -1;
    } else if (is_evaluated(field)) {
      result = detector_field_recall(field, edge.get_result()->get_string());
    }
    add_edge(field, from, edge.get_target(), std::move(result));
  }
  return 0;
}

/// Into an edge of the same span and field, if there is one.
void DetectorResolve::add_edge(int field, int from, int to, std::unique_ptr<TeraResult> result) {
  if (result == nullptr || result->num_cands() == 0) return;
  auto edge = std::make_unique<TeraScanGraph::Edge>(to, nullptr, field, 0, ANY_STATE);
  edge->replace_result(result.release());
  recallGraph->get_node(from)->add_and_dedup(edge.release());
}

// ---------------------------------------------------------------- numbers to fields
// A detector numbers the values of all fields one behind the other; a span inside a better one of no field
// is none.

void DetectorResolve::find_covers(TeraScanGraph* graph) {
  extraCovers.clear();
  if (!indDetector->is_index()) return;
  for_each_edge(graph, [&](int from, const TeraScanGraph::Edge* edge) {
    int best = 0;
    for_each_candidate(*edge->get_result(), [&](const TeraCand& cand, int quality) {
      for (Large i = 0; i < cand.get_num_infos(); ++i)
        if (indDetector->info_to_field(cand.get_info(i)) < 0) best = std::max(best, quality);
    });
    if (best > 0) extraCovers.push_back({from, edge->get_target(), best});
  });
}

bool DetectorResolve::is_covered(int from, int to, int quality) const {
  return std::any_of(extraCovers.begin(), extraCovers.end(), [=](const Cover& cover) {
    return cover.from <= from && to <= cover.to && cover.quality > quality;
  });
}

void DetectorResolve::collect(int from, const TeraScanGraph::Edge& edge, FieldResults* found) const {
  const TeraResult& source = *edge.get_result();
  for_each_candidate(source, [&](const TeraCand& cand, int quality) {
    if (!indDetector->is_index())
      resolve_pattern_infos(cand, quality, source, found);
    else if (!is_covered(from, edge.get_target(), quality))
      collect_candidate(cand, quality, source, found);
  });
}

/// A string may be a value of several fields, and a collection has many strings.
void DetectorResolve::collect_candidate(const TeraCand& cand, int quality, const TeraResult& source,
                                        FieldResults* found) const {
  std::map<int, std::vector<Large>> ids;  // by detector field
  for (Large i = 0; i < cand.get_num_infos(); ++i) {
    const int field = indDetector->info_to_field(cand.get_info(i));
    if (field < 0 || (hitFields >> indDetector->get_field(field).baseField & 1) == 0) continue;
    ids[field].push_back(indDetector->get_base_id(cand.get_info(i), field));
  }
  for (const auto& [field, list] : ids) {
    const DetectorField& itsField = indDetector->get_field(field);
    auto& result = (*found)[itsField.baseField];
    if (result == nullptr) result = std::make_unique<TeraResult>(source.get_string(), &source);
    std::string_view string(cand.get_string() != nullptr ? cand.get_string() : "");
    const bool isWrapped = string.size() >= itsField.prefix.size() + itsField.suffix.size() &&
                           string.starts_with(itsField.prefix) && string.ends_with(itsField.suffix);
    if (isWrapped) {
      string.remove_prefix(itsField.prefix.size());
      string.remove_suffix(itsField.suffix.size());
    }
    Large* numbers = nullptr;
    result->malloc(numbers, static_cast<long>(list.size()));
    std::copy(list.begin(), list.end(), numbers);
    auto copy = std::make_unique<TeraCand>(result->attach(std::string(string).c_str()),
                                           static_cast<Large>(list.size()), numbers);
    if (cand.is(TeraCand::COLLECTION)) copy->add_state(TeraCand::COLLECTION);
    result->add(quality, copy.release());
  }
}

/// A text that has the shape of a field's values comes from no index.
void DetectorResolve::resolve_pattern_infos(const TeraCand& cand, int quality, const TeraResult& source,
                                            FieldResults* found) const {
  for (Large i = 0; i < cand.get_num_infos(); ++i) {
    const int field = indDetector->info_to_field(cand.get_info(i));
    if (field < 0) continue;
    const int baseField = indDetector->get_field(field).baseField;
    if ((hitFields >> baseField & 1) == 0) continue;
    auto& result = (*found)[baseField];
    if (result == nullptr) result = std::make_unique<TeraResult>(source.get_string(), &source);
    auto copy = std::make_unique<TeraCand>(result->attach(cand.represent()), Large{0}, nullptr);
    copy->add_state(TeraCand::ARTIFICIAL);
    result->set_resolved();
    result->add(quality, copy.release());
  }
}

// ---------------------------------------------------------------- fields
// A field may be asked again for a text that was detected, or only for the quality of what is there.

int DetectorResolve::resolve_field(int field, std::unique_ptr<TeraResult>* result) const {
  TeraScanGraph whole(result->get(), nullptr, field);
  static_cast<void>(result->release());
  const int rc = itsBase->get_field(field)->resolve(&whole, nullptr, 0);
  result->reset(whole.get_node(0)->get_first_edge()->detach_result());
  return rc;
}

std::unique_ptr<TeraResult> DetectorResolve::detector_field_recall(int field, const char* text) const {
  if (isVerbose.get() != 0)
    aceRep->printf("Recall edge %s on Field %s\n", text, itsBase->get_field_name(field));
  const GraphRef graph(itsBase->get_field(field)->detect(text, evalCall, aceRep));
  return std::unique_ptr<TeraResult>(graph != nullptr ? graph->merge_to_result() : nullptr);
}

/// Candidates get the quality that the field's method gives their strings.
void DetectorResolve::detector_field_eval(int field, std::unique_ptr<TeraResult>* result) const {
  const DastBaseField* bfield = itsBase->get_field(field);
  const char* text = (*result)->get_string();
  if (isVerbose.get() != 0)
    aceRep->printf("Evaluate edge %s on Field %s\n", text, itsBase->get_field_name(field));
  const TeraQueryRef query(
      bfield->get_method() != nullptr ? bfield->get_method()->eval(evalCall, text, aceRep) : nullptr);
  if (query == nullptr) return;
  auto evaluated = std::make_unique<TeraResult>(text, result->get());
  for_each_candidate(**result, [&](const TeraCand& cand, int) {
    for (Large i = 0; i < cand.get_num_infos(); ++i) {
      AceAttach at;
      const char* string = bfield->get_string_by_baseid(cand.get_info(i), &at);
      const int quality = string != nullptr ? query.get()->compare(string) : 0;
      if (quality > 0 && evaluated->accept(quality))
        evaluated->add(quality, new TeraCand(evaluated->attach(string), cand.get_info(i)));
    }
  });
  evaluated->add_query(query.get(), 1);
  *result = std::move(evaluated);
}

// ---------------------------------------------------------------- initials
// A letter alone stands for all values that begin with it, where the field has initials.

void DetectorResolve::add_initial_cands(TeraScanGraph* graph) {
  const AceTimeSection section("ADD_INITIAL_CANDS");
  const Mask fields = indDetector->needs_initial_cands(graph, hitFields, nullptr);
  if (fields == 0) return;
  for (int node = 0; node + 1 < graph->get_num_nodes(); ++node) {
    AceAttach at;
    const std::string letter =
        initial_of(trimmed(graph->get_orig_query_part(node, node + 1, &at)), itsBase->is_utf());
    if (letter.empty()) continue;
    for (int i = 0; i < indDetector->get_num_fields(); ++i)
      if ((fields >> i & 1) != 0) add_initials_of(indDetector->get_field(i).baseField, letter, node);
  }
}

/// The values that begin with the letter, as the field's method finds them.
void DetectorResolve::add_initials_of(int field, const std::string& letter, int node) {
  const GraphRef found(itsBase->get_field(field)->detect(letter.c_str(), DastOptions::COMPLETE, aceRep));
  const std::unique_ptr<TeraResult> values(found != nullptr ? found->merge_to_result() : nullptr);
  if (values == nullptr) return;
  const int quality =
      initialsQuality.get() > 0 ? std::min(initialsQuality.get(), PERFECT) : DEFAULT_INITIALS_QUALITY;
  auto result = std::make_unique<TeraResult>(letter.c_str(), 0, TeraResult::MAX_CANDS, PERFECT);
  for_each_candidate(*values, [&](const TeraCand& cand, int) {
    auto copy = std::make_unique<TeraCand>(cand);
    copy->add_state(TeraCand::INITIAL);
    result->add(quality, copy.release());
  });
  result->set_resolved();
  result->merge(values.get());
  add_edge(field, node, node + 1, std::move(result));
}

// ---------------------------------------------------------------- of a base
// Each call has a resolver of its own, so that threads share base and detectors.

TeraScanGraph* DastBase::field_detect(int field, const char* text, DastOptions::Call call,
                                      AceReporter* rep) const {
  TeraScanGraph* graph = has_field(field) ? get_field(field)->detect(text, call, rep) : nullptr;
  if (graph != nullptr) graph->set_edge_origin(field);
  return graph;
}

TeraScanGraph* DastBase::single_detect(int field, const char* text, DastOptions::Call call,
                                       AceReporter* rep) const {
  const AceTimeSection section("SINGLE_WORDS_DETECT");
  TeraScanGraph* graph = has_field(field) ? get_field(field)->detect_single(text, call, rep) : nullptr;
  if (graph != nullptr) graph->set_edge_origin(field);
  return graph;
}

TeraScanGraph* DastBase::detector_resolve(int index, const char* text, Mask search_fields,
                                          DastOptions::Call call, Mask* initial_fields,
                                          AceReporter* rep) const {
  const AceTimeSection section("DETECTOR_RESOLVE");
  if (!has_detector(index) || text == nullptr) return nullptr;
  const DastDetector* detector = get_detector(index);
  const DetectorResolve::GraphRef graph(detector->lookup(text, call, rep));
  if (graph == nullptr) return nullptr;
  detector->needs_initial_cands(graph.get(), search_fields, initial_fields);
  DetectorResolve resolver(this, detector, search_fields, rep);
  DetectorResolve::GraphRef recall_graph;
  const bool isEvaluated = (detector->get_reeval_mask() & search_fields) != 0;
  const int rc = isEvaluated ? resolver.detector_field_resolve(graph.get(), &recall_graph, call)
                             : resolver.resolve_detect_graph(graph.get(), &recall_graph);
  if (rc >= 0) return recall_graph.release();
  ace_error_msg(__FILE__, __LINE__,
                isEvaluated ? "resolver.detector_field_resolve(graph, &recall_graph, mode)"
                            : "resolver.resolve_detect_graph(graph, &recall_graph)",
                rc);
  return nullptr;
}

TeraScanGraph* DastBase::detector_detect(const char* text, Mask search_fields, DastOptions::Call call,
                                         Mask* initial_fields, AceReporter* rep) const {
  if (initial_fields != nullptr) *initial_fields = 0;
  DetectorResolve::GraphRef whole;
  for (int i = 0; i < get_num_detectors(); ++i) {
    if ((get_detector(i)->get_field_mask() & search_fields) == 0) continue;
    DetectorResolve::GraphRef graph(detector_resolve(i, text, search_fields, call, initial_fields, rep));
    if (graph == nullptr) {
      ace_error_msg(__FILE__, __LINE__,
                    "graph = detector_resolve(i, query, search_fields, mode, initial_fields, rep)", -1);
      return nullptr;
    }
    if (whole == nullptr || whole->get_num_nodes() == 0)
      whole = std::move(graph);
    else if (graph->get_num_nodes() > 0 && whole->merge_graph(graph.get()) < 0)
      return nullptr;
  }
  return whole.release();
}
