#include "tera/tera_scan_graph.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#include "ace/ace_error.h"
#include "ace/ace_time_analysis.h"
#include "tera/graph/tera_scan_graph_internal.h"
#include "tera/tera_query.h"
#include "tera/tera_result.h"
#include "tera/tera_splitter.h"

namespace {

constexpr int ALL_CANDS = 0x7fffffff;

}  // namespace

// ---------------------------------------------------------------- edges
// An edge owns its result, and does nothing without one.

TeraScanGraph::Edge::~Edge() {
  delete hitResult;
}

int TeraScanGraph::Edge::add_cand(int quality, TeraCand* cand) {
  if (hitResult != nullptr) return hitResult->add(quality, cand);
  delete cand;
  return -1;
}

int TeraScanGraph::Edge::merge_results(TeraResult* result) {
  if (result == hitResult) return result != nullptr ? result->num_cands() : -1;
  const std::unique_ptr<TeraResult> held(result);
  return hitResult != nullptr ? hitResult->merge_by_string(1, &result) : -1;
}

void TeraScanGraph::Edge::replace_result(TeraResult* result) {
  if (result != hitResult) delete std::exchange(hitResult, result);
}

TeraResult* TeraScanGraph::Edge::detach_result() {
  return std::exchange(hitResult, nullptr);
}

int TeraScanGraph::Edge::set_query(const char* query) {
  if (hitResult == nullptr) return -1;
  hitResult->set_string(query);
  return 0;
}

bool TeraScanGraph::Edge::is_empty() const {
  return hitResult == nullptr || hitResult->num_cands() == 0;
}

int TeraScanGraph::Edge::adjust_limits(const TeraResult* other) {
  if (hitResult == nullptr || other == nullptr) return -1;
  hitResult->set_max_dist(other->get_max_dist());
  hitResult->set_num_cands(other->get_num_cands());
  hitResult->set_min_value(other->get_min_value());
  return 0;
}

void TeraScanGraph::Edge::high_first() {
  if (hitResult != nullptr) hitResult->high_first();
}

void TeraScanGraph::Edge::low_first() {
  if (hitResult != nullptr) hitResult->low_first();
}

// ---------------------------------------------------------------- nodes
// The edges of a node are a list, the latest first; a node counts them, and leaves deleting them to the
// graph.

int TeraScanGraph::Node::add(Edge* edge) {
  if (edge == nullptr) return -1;
  edge->nextEdge = edgeList;
  edgeList = edge;
  ++numEdges;
  return 1;
}

int TeraScanGraph::Node::add_and_dedup(Edge* edge) {
  if (edge == nullptr) return -1;
  for (Edge* own = edgeList; own != nullptr; own = own->nextEdge) {
    if (own->toTarget != edge->toTarget || own->originId != edge->originId || own->hitResult == nullptr)
      continue;
    own->merge_results(edge->detach_result());
    delete edge;
    return 0;
  }
  return add(edge);
}

TeraScanGraph::Edge* TeraScanGraph::Node::detach_edge_list() {
  numEdges = 0;
  return std::exchange(edgeList, nullptr);
}

void TeraScanGraph::Node::copy(Node* from, bool keep) {
  *this = *from;
  if (!keep && from != this) *from = Node();
}

void TeraScanGraph::Node::low_first() {
  for (Edge* edge = edgeList; edge != nullptr; edge = edge->nextEdge) edge->low_first();
}

int TeraScanGraph::Node::merge_egde_list(Node* other, int shift) {
  if (other == nullptr || other == this) return -1;
  const int before = numEdges;
  const bool isFirst = edgeList == nullptr;
  for (Edge* edge : edges_backwards(other->detach_edge_list())) {
    edge->toTarget += shift;
    if (isFirst)
      add(edge);
    else
      add_and_dedup(edge);
  }
  return numEdges - before;
}

// ---------------------------------------------------------------- construction
// Nodes are made at once, one for each boundary of the text; edges point to them by number, so that the array
// may move.

TeraScanGraph::TeraScanGraph(int options, const char* query, int min, int cands, int dist, int origin)
    : optFlags(options),
      origQuery(query),
      minValue(std::max(min, LEAST_MIN_VALUE)),
      numCands(cands),
      maxDist(dist),
      defaultOriginId(origin) {}

TeraScanGraph::TeraScanGraph(TeraResult* result, const char* query, int origin)
    : optFlags(CHAR_POSITIONS),
      nodeArray(2),
      origQuery(query),
      minValue(0),
      numCands(ALL_CANDS),
      maxDist(TeraResult::MAX_VALUE),
      defaultOriginId(origin) {
  if (origQuery == nullptr && result != nullptr) origQuery = result->get_string();
  origQuery = attach(origQuery);
  nodeArray[0].charPos = 0;
  nodeArray[1].charPos = origQuery != nullptr ? static_cast<int>(std::strlen(origQuery)) : 0;
  if (result != nullptr && result->is_resolved()) stateFlags |= RESOLVED;
  nodeArray[0].add(new Edge(1, result, origin, 0, 0));  // last: until then the result is the caller's
}

TeraScanGraph::TeraScanGraph(const TeraScanGraph* other, bool with_nodes)
    : optFlags(other->optFlags),
      origQuery(other->origQuery),
      minValue(other->minValue),
      numCands(other->numCands),
      maxDist(other->maxDist),
      defaultOriginId(other->defaultOriginId) {
  if (with_nodes) init_from_other(other);
}

TeraScanGraph::~TeraScanGraph() {
  delete_edges(&nodeArray);
}

bool TeraScanGraph::is_consistent() const {
  bool isSound = true;
  for (const Node& node : nodeArray) {
    int length = 0;
    for (const Edge* edge = node.edgeList; edge != nullptr; edge = edge->nextEdge, ++length) {
      isSound = isSound && is_node(edge->toTarget);
      if (edge->hitResult != nullptr) isSound = isSound && edge->hitResult->is_consistent();
    }
    isSound = isSound && length == node.numEdges;
  }
  return isSound;
}

void TeraScanGraph::decr_ref() {
  if (refCount.modify(-1) <= 0) delete this;
}

int TeraScanGraph::init(int num) {
  if (num < 0) return -1;
  NodeList fresh(static_cast<std::size_t>(num));
  delete_edges(&nodeArray);
  nodeArray = std::move(fresh);
  return num;
}

int TeraScanGraph::init(const TeraSplitResult* split, int origin, int state) {
  if (split == nullptr || split->numNodes == 0) return -1;
  init(split->numNodes);
  optFlags |= CHAR_POSITIONS;
  for (int node = 0; node < split->numNodes; ++node) get_node(node)->charPos = split->nodePos[node].litOut;
  if (!has_original_edges()) return split->numNodes;
  AceAttach at;
  for (int node = 0; node + 1 < split->numNodes; ++node) {
    create_edge(node, node + 1, split->get_lit_string(node, node + 1, &at), origin, 0, state);
    at.release();
  }
  return split->numNodes;
}

int TeraScanGraph::init_from_other(const TeraScanGraph* other) {
  if (other == nullptr || other == this) return -1;
  init(other->get_num_nodes());
  optFlags = (optFlags & ~CHAR_POSITIONS) | (other->optFlags & CHAR_POSITIONS);
  for (std::size_t i = 0; other->has_char_positions() && i < nodeArray.size(); ++i)
    nodeArray[i].charPos = other->nodeArray[i].charPos;
  return get_num_nodes();
}

void TeraScanGraph::delete_edges(NodeList* nodes) {
  for (Node& node : *nodes) delete_edge_list(node.detach_edge_list());
}

// ---------------------------------------------------------------- access
// A node that is not there has no edges: every number is checked where it comes in.

TeraScanGraph::Node* TeraScanGraph::get_node(int index) {
  return is_node(index) ? &nodeArray[static_cast<std::size_t>(index)] : nullptr;
}

const TeraScanGraph::Node* TeraScanGraph::get_node(int index) const {
  return is_node(index) ? &nodeArray[static_cast<std::size_t>(index)] : nullptr;
}

int TeraScanGraph::get_node_index(int char_pos) const {
  if (!has_char_positions() || char_pos < 0) return -1;
  const auto found = std::find_if(nodeArray.begin(), nodeArray.end(),
                                  [char_pos](const Node& node) { return node.charPos == char_pos; });
  return found != nodeArray.end() ? static_cast<int>(found - nodeArray.begin()) : -1;
}

int TeraScanGraph::set_char_pos(int node, int pos) {
  if (!is_node(node)) return -1;
  get_node(node)->charPos = pos;
  return 0;
}

const char* TeraScanGraph::get_orig_query_part(int from, int to, AceAttach* at) const {
  if (!has_char_positions() || !is_node(from) || !is_node(to) || origQuery == nullptr || at == nullptr)
    return nullptr;
  const VInt start = get_node(from)->charPos;
  const VInt end = get_node(to)->charPos;
  if (start < 0 || start > end || end > static_cast<VInt>(std::strlen(origQuery))) return nullptr;
  return at->attach(origQuery + start, end - start);
}

TeraScanGraph::Edge* TeraScanGraph::get_edge(int from, int to, int origin, int options, int state) const {
  if (!is_node(from)) return nullptr;
  Edge* edge = get_node(from)->edgeList;
  while (edge != nullptr && (edge->toTarget != to || edge->originId != origin_of(origin) ||
                             edge->edgeOptions != options || edge->stateOptions != state))
    edge = edge->nextEdge;
  return edge;
}

TeraScanGraph::Edge* TeraScanGraph::create_edge(int from, int to, const char* query, int origin, int options,
                                                int state) {
  if (!is_node(from) || !is_node(to)) return nullptr;
  auto result = std::make_unique<TeraResult>(query, minValue, numCands, maxDist);
  if (does_use_collection()) result->use_collection();
  if (has_literal_matches()) result->add_literal_matches();
  if (has_option(NO_ALIAS_STRINGS)) result->set_no_alias_strings();
  if (has_option(ARTIFICIAL)) result->set_artificial_cands();
  if (is_resolved()) result->set_resolved();
  auto* const edge = new Edge(to, result.get(), origin_of(origin), options, state);
  static_cast<void>(result.release());
  order(edge);
  get_node(from)->add(edge);
  return edge;
}

/// As the graph's results are ordered.
void TeraScanGraph::order(Edge* edge) const {
  if (has_state(BEST_FIRST))
    edge->high_first();
  else
    edge->low_first();
}

TeraResult* TeraScanGraph::get_first_result() const {
  if (get_num_nodes() < 2 || nodeArray[0].edgeList == nullptr) return nullptr;
  return nodeArray[0].edgeList->hitResult;
}

TeraCand* TeraScanGraph::find_any(const std::function<bool(int, const TeraCand*)>& satisfies) const {
  if (!satisfies) return nullptr;
  for (int node = 0; node < get_num_nodes(); ++node)
    for (const Edge* edge = get_node(node)->edgeList; edge != nullptr; edge = edge->nextEdge) {
      if (edge->hitResult == nullptr) continue;
      TeraCand* const found =
          edge->hitResult->find_any([&](int, const TeraCand* cand) { return satisfies(node, cand); });
      if (found != nullptr) return found;
    }
  return nullptr;
}

// ---------------------------------------------------------------- summaries
// Edges that start at the last node span nothing and are not summed up.

/// `visit(edge, result)` for the results on edges of all nodes but the last.
template <class Visit>
void TeraScanGraph::for_each_inner_result(Visit visit) const {
  for (int node = 0; node + 1 < get_num_nodes(); ++node)
    for (const Edge* edge = get_node(node)->edgeList; edge != nullptr; edge = edge->nextEdge)
      if (edge->hitResult != nullptr) visit(*edge, *edge->hitResult);
}

int TeraScanGraph::get_num_candidates() const {
  VInt num = 0;
  for_each_inner_result([&num](const Edge&, const TeraResult& result) { num += result.num_cands(); });
  return static_cast<int>(std::min(num, VInt{std::numeric_limits<int>::max()}));
}

VInt TeraScanGraph::get_num_infos() const {
  VInt num = 0;
  for_each_inner_result([&num](const Edge&, const TeraResult& result) { num += result.get_num_infos(); });
  return num;
}

int TeraScanGraph::get_max_value(int origin) const {
  int best = 0;
  for_each_inner_result([&](const Edge& edge, const TeraResult& result) {
    if (edge.originId == origin_of(origin)) best = std::max(best, result.get_max_value());
  });
  return best;
}

int TeraScanGraph::get_min_value(int origin) const {
  int least = TeraResult::MAX_VALUE;
  for_each_inner_result([&](const Edge& edge, const TeraResult& result) {
    if (edge.originId == origin_of(origin) && result.get_min_value() > 0)
      least = std::min(least, result.get_min_value());
  });
  return least;
}

int TeraScanGraph::get_best_frequent(int* next) const {
  int best = 0;
  int least = TeraResult::MAX_VALUE + 1;
  for_each_inner_result([&](const Edge&, const TeraResult& result) {
    best = std::max(best, result.get_best_frequent());
    least = std::min(least, result.next_value());
  });
  if (next != nullptr && least > 0 && least <= TeraResult::MAX_VALUE) *next = least;
  return best;
}

int TeraScanGraph::print(AceReporter* rep, const char* fieldname) const {
  int failed = 0;
  for_each_inner_result([&](const Edge&, const TeraResult& result) {
    if (failed == 0) failed = std::min(result.print(rep, fieldname), 0);
  });
  return failed < 0 ? ace_error(__FILE__, __LINE__, "result->print(rep, fieldname)", failed, 0, -1) : 0;
}

// ---------------------------------------------------------------- changes of all edges
// The graph remembers what was done to all results (order, resolution), so that edges made later follow suit.

void TeraScanGraph::set_next_value(int value) {
  for_each_result([value](TeraResult* result) { result->set_next_value(value); });
}

void TeraScanGraph::force_exact() {
  for_each_result([](TeraResult* result) { result->force_exact(); });
}

void TeraScanGraph::high_first() {
  if (has_state(BEST_FIRST)) return;
  stateFlags |= BEST_FIRST;
  for_each_edge([](Edge* edge) { edge->high_first(); });
}

void TeraScanGraph::low_first() {
  if (!has_state(BEST_FIRST)) return;
  stateFlags &= ~BEST_FIRST;
  for (Node& node : nodeArray) node.low_first();
}

void TeraScanGraph::set_unify() {
  for_each_edge([](Edge* edge) { edge->set_unify(); });
}

void TeraScanGraph::set_edge_origin(int origin) {
  for_each_edge([this, origin](Edge* edge) { edge->originId = origin_of(origin); });
}

void TeraScanGraph::set_cand_offset(Large shift) {
  if (shift != 0) for_each_result([shift](TeraResult* result) { result->set_incr_shift(shift); });
}

void TeraScanGraph::set_cand_offsets(const Large* offsets) {
  if (offsets == nullptr) return;
  for_each_edge([offsets](Edge* edge) {
    if (edge->hitResult != nullptr && edge->originId >= 0 && offsets[edge->originId] != 0)
      edge->hitResult->set_incr_shift(offsets[edge->originId]);
  });
}

int TeraScanGraph::resolve(const AceIdMap* infos) {
  const AceTimeSection section("RESOLVE_GRAPH");
  if (infos == nullptr) return -1;
  int num = 0;
  for_each_result([&](TeraResult* result) { num += result->resolve(infos, nullptr); });
  set_resolved();
  return num;
}

void TeraScanGraph::clear_resolved() {
  for_each_result([](TeraResult* result) { result->clear_resolved(); });
  stateFlags &= ~RESOLVED;
}

int TeraScanGraph::remove_no_info_cands() {
  const AceTimeSection section("GRAPH_REMOVE_NO_INFO_CANDS");
  int left = 0;
  for_each_result([&left](TeraResult* result) { left += result->remove_no_info_cands(); });
  return left;
}

// ---------------------------------------------------------------- results and queries
// The graph as one result: its candidates by their quality, wherever they stand.

TeraQuery* TeraScanGraph::create_merged_query() const {
  std::vector<TeraQuery*> queries;
  if (get_num_nodes() >= 2)
    for_each_result([&queries](const TeraResult* result) {
      if (result->get_query() != nullptr) queries.push_back(result->get_query());
    });
  if (queries.size() == 1) return queries.front()->ref();
  return TeraQuery::create_merge_query(queries.data(), static_cast<int>(queries.size()));
}

TeraResult* TeraScanGraph::merge_to_result() {
  std::unique_ptr<TeraResult> first;
  std::vector<TeraResult*> others;
  for_each_edge([&](Edge* edge) {
    if (first == nullptr)
      first.reset(edge->detach_result());
    else if (edge->hitResult != nullptr)
      others.push_back(edge->hitResult);
  });
  if (first != nullptr && !others.empty())
    first->merge_by_string(static_cast<int>(others.size()), others.data());
  return first.release();
}

int TeraScanGraph::merge_into_result(TeraResult* target) {
  if (target == nullptr || get_num_nodes() < 2) return -1;
  std::vector<TeraResult*> merged;
  for_each_result([&](TeraResult* result) {
    if (result->num_cands() > 0 && result != target) merged.push_back(result);
  });
  if (!merged.empty()) target->merge_by_string(static_cast<int>(merged.size()), merged.data());
  return static_cast<int>(merged.size());
}
