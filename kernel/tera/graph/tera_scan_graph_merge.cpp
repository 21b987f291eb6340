// Nodes that come and go, and graphs laid onto each other.
#include <algorithm>
#include <cassert>
#include <limits>
#include <numeric>
#include <utility>

#include "ace/ace_error.h"
#include "tera/graph/tera_scan_graph_internal.h"
#include "tera/tera_result.h"
#include "tera/tera_splitter.h"

namespace {

constexpr int NO_NODE = -1;

void copy_to(const std::vector<int>& values, int* room) {
  if (room != nullptr) std::copy(values.begin(), values.end(), room);
}

/// The places of nodes that stay where they are, up to `first`; those from there on move.
std::vector<int> shifted_places(int num, int first, int shift) {
  std::vector<int> places(static_cast<std::size_t>(num));
  std::iota(places.begin(), places.end(), 0);
  for (int& place : places) place += place < first ? 0 : shift;
  return places;
}

}  // namespace

// ---------------------------------------------------------------- single nodes
// Changes of the nodes are lists of places, by which nodes and edges move at once.

/// Moves the nodes to their places in `fresh`, and the edges to the places of the nodes to which they lead;
/// with `NO_NODE` a node's edges go, and those that lead to it. The first node that comes to a place gives it
/// its state and, where `fresh` has none, its position; edges of further ones are added with merge.
void TeraScanGraph::lay_out(const std::vector<int>& places, NodeList fresh) {
  std::vector<bool> isTaken(fresh.size());
  for (std::size_t from = 0; from < nodeArray.size(); ++from) {
    const std::vector<Edge*> edges = edges_backwards(nodeArray[from].detach_edge_list());
    Node* target = nullptr;
    bool isFirst = false;
    if (places[from] != NO_NODE) {
      const auto place = static_cast<std::size_t>(places[from]);
      target = &fresh[place];
      isFirst = !isTaken[place];
      isTaken[place] = true;
      if (isFirst) target->stateFlags = nodeArray[from].stateFlags;
      if (isFirst && target->charPos == Node::UNKNOWN) target->charPos = nodeArray[from].charPos;
    }
    for (Edge* edge : edges) {
      edge->toTarget = place_of(places, edge->toTarget);
      if (target == nullptr || edge->toTarget == NO_NODE)
        delete edge;
      else if (isFirst)
        target->add(edge);
      else
        target->add_and_dedup(edge);
    }
  }
  nodeArray = std::move(fresh);
  assert(is_consistent());
}

int TeraScanGraph::insert_node(int node) {
  if (node < 0 || node > get_num_nodes()) return -1;
  lay_out(shifted_places(get_num_nodes(), node, 1), NodeList(nodeArray.size() + 1));
  return 0;
}

int TeraScanGraph::remove_node(int node) {
  if (!is_node(node)) return -1;
  std::vector<int> places = shifted_places(get_num_nodes(), node, -1);
  places[static_cast<std::size_t>(node)] = NO_NODE;
  lay_out(places, NodeList(nodeArray.size() - 1));
  return 0;
}

int TeraScanGraph::merge_nodes(int one, int other) {
  if (!is_node(one) || !is_node(other)) return -1;
  if (one == other) return 0;
  const auto [earlier, later] = std::minmax(one, other);
  std::vector<int> places = shifted_places(get_num_nodes(), later, -1);
  places[static_cast<std::size_t>(later)] = earlier;
  lay_out(places, NodeList(nodeArray.size() - 1));
  return 0;
}

int TeraScanGraph::remove_empty_edges() {
  int removed = 0;
  for (Node& node : nodeArray)
    for (Edge* edge : edges_backwards(node.detach_edge_list())) {
      if (!edge->is_empty()) {
        node.add(edge);
        continue;
      }
      delete edge;
      ++removed;
    }
  return removed;
}

bool TeraScanGraph::is_empty_node(int node, int shift) const {
  if (!is_node(node) || get_node(node)->edgeList != nullptr) return false;
  for (int earlier = 0; earlier < node; ++earlier)
    for (const Edge* edge = get_node(earlier)->edgeList; edge != nullptr; edge = edge->nextEdge)
      if (VInt{edge->toTarget} == VInt{node} - shift) return false;
  return true;
}

/// One pass, in place of `is_empty_node` for each.
int TeraScanGraph::remove_empty_nodes(int first) {
  if (first < 0 || first > get_num_nodes()) return -1;
  std::vector<bool> isTarget(nodeArray.size());
  for (int node = 0; node < get_num_nodes(); ++node)
    for (const Edge* edge = get_node(node)->edgeList; edge != nullptr; edge = edge->nextEdge)
      if (node < edge->toTarget && is_node(edge->toTarget))
        isTarget[static_cast<std::size_t>(edge->toTarget)] = true;
  std::vector<int> places;
  int num = 0;
  for (int node = 0; node < get_num_nodes(); ++node) {
    const bool isEmpty = get_node(node)->edgeList == nullptr && !isTarget[static_cast<std::size_t>(node)];
    places.push_back(node >= first && isEmpty ? NO_NODE : num++);
  }
  const int removed = get_num_nodes() - num;
  if (removed > 0) lay_out(places, NodeList(static_cast<std::size_t>(num)));
  return removed;
}

int TeraScanGraph::adjust_edge_target(int limit, int shift) {
  for_each_edge([limit, shift](Edge* edge) {
    if (edge->toTarget <= limit) return;
    constexpr VInt least = std::numeric_limits<int>::min();
    constexpr VInt most = std::numeric_limits<int>::max();
    edge->toTarget = static_cast<int>(std::clamp(VInt{edge->toTarget} + shift, least, most));
  });
  return 0;
}

int TeraScanGraph::prune(const TeraSplitResult* split) {
  if (!has_char_positions()) return -1;
  NodeList old = std::exchange(nodeArray, {});
  if (const int rc = init(split, DEFAULT_ORIGIN, 0); rc < 0) {
    nodeArray = std::move(old);
    return ace_error(__FILE__, __LINE__, "init(split_res)", rc, 0, -1);
  }
  std::vector<int> places;
  for (const Node& node : old) places.push_back(get_node_index(node.charPos));
  NodeList fresh = std::exchange(nodeArray, std::move(old));
  lay_out(places, std::move(fresh));
  return 0;
}

// ---------------------------------------------------------------- two graphs
// Nodes of the same position in the text become one; edges move onto what their ends became.

/// A node array onto which two graphs are laid.
struct TeraScanGraph::Combined {
  std::vector<int> positions;  // of its nodes
  std::vector<int> ownNodes;   // what these are in either graph, or NO_NODE
  std::vector<int> otherNodes;
  std::vector<int> ownPlaces;  // where either graph's nodes are here
  std::vector<int> otherPlaces;

  int size() const { return static_cast<int>(positions.size()); }
  void add(int position, bool isOwn, bool isOther) {
    ownNodes.push_back(isOwn ? static_cast<int>(ownPlaces.size()) : NO_NODE);
    otherNodes.push_back(isOther ? static_cast<int>(otherPlaces.size()) : NO_NODE);
    if (isOwn) ownPlaces.push_back(size());
    if (isOther) otherPlaces.push_back(size());
    positions.push_back(position);
  }
};

bool TeraScanGraph::has_ascending_positions() const {
  return has_char_positions() &&
         std::all_of(nodeArray.begin(), nodeArray.end(),
                     [](const Node& node) { return node.charPos >= 0; }) &&
         std::is_sorted(nodeArray.begin(), nodeArray.end(),
                        [](const Node& one, const Node& other) { return one.charPos < other.charPos; });
}

bool TeraScanGraph::combine(const TeraScanGraph& other, Combined* combined) const {
  if (!has_ascending_positions() || !other.has_ascending_positions()) {
    if (get_num_nodes() != other.get_num_nodes() && get_num_nodes() != 0) return false;
    for (const Node& node : other.nodeArray) combined->add(node.charPos, get_num_nodes() != 0, true);
    return true;
  }
  auto own = nodeArray.begin();
  auto their = other.nodeArray.begin();
  while (own != nodeArray.end() || their != other.nodeArray.end()) {
    const bool isOwn =
        their == other.nodeArray.end() || (own != nodeArray.end() && own->charPos <= their->charPos);
    const bool isOther =
        own == nodeArray.end() || (their != other.nodeArray.end() && their->charPos <= own->charPos);
    combined->add(isOwn ? own->charPos : their->charPos, isOwn, isOther);
    if (isOwn) ++own;
    if (isOther) ++their;
  }
  return true;
}

int TeraScanGraph::get_num_combined_nodes(const TeraScanGraph* other, int* positions, int* own_nodes,
                                          int* other_nodes, int* own_places, int* other_places) const {
  Combined combined;
  if (other == nullptr || !combine(*other, &combined)) return -1;
  copy_to(combined.positions, positions);
  copy_to(combined.ownNodes, own_nodes);
  copy_to(combined.otherNodes, other_nodes);
  copy_to(combined.ownPlaces, own_places);
  copy_to(combined.otherPlaces, other_places);
  return combined.size();
}

int TeraScanGraph::merge_nodes(const TeraScanGraph* other) {
  Combined combined;
  if (other == nullptr || !combine(*other, &combined)) return -1;
  const int before = get_num_nodes();
  if (before == 0) return init_from_other(other);
  if (combined.size() == before) return 0;
  NodeList fresh(combined.positions.size());
  for (std::size_t i = 0; i < fresh.size(); ++i) fresh[i].charPos = combined.positions[i];
  lay_out(combined.ownPlaces, std::move(fresh));
  return combined.size() - before;
}

int TeraScanGraph::merge_edges(TeraScanGraph* other) {
  Combined combined;
  if (other == nullptr || other == this || !combine(*other, &combined)) return -1;
  const auto ownNode = [&combined](int other_node) {
    return place_of(combined.ownNodes, place_of(combined.otherPlaces, other_node));
  };
  bool hadEdges = false;
  for_each_edge([&hadEdges](const Edge*) { hadEdges = true; });
  int taken = 0;
  for (int node = 0; node < other->get_num_nodes(); ++node) {
    Node* const from = other->get_node(node);
    for (Edge* edge : edges_backwards(from->detach_edge_list())) {
      const int start = ownNode(node);
      const int target = ownNode(edge->toTarget);
      if (start == NO_NODE || target == NO_NODE) {
        from->add(edge);
        continue;
      }
      edge->toTarget = target;
      order(edge);
      get_node(start)->add_and_dedup(edge);
      ++taken;
    }
  }
  if (taken > 0 && !hadEdges) stateFlags |= other->stateFlags & RESOLVED;
  if (taken > 0 && !other->is_resolved()) stateFlags &= ~RESOLVED;
  return taken;
}

int TeraScanGraph::merge_graph(TeraScanGraph* other) {
  return other == this || merge_nodes(other) < 0 ? -1 : merge_edges(other);
}

int TeraScanGraph::merge_graphs(TeraScanGraph* first, TeraScanGraph* second) {
  if (first == nullptr || second == nullptr || first == this || second == this || first == second) return -1;
  Combined combined;
  if (!first->combine(*second, &combined)) return -1;
  init(0);
  stateFlags &= ~RESOLVED;
  return merge_graph(first) < 0 || merge_graph(second) < 0 ? -1 : get_num_nodes();
}
