/// What the sources of scan graphs share.
#pragma once

#include <algorithm>
#include <vector>

#include "tera/tera_scan_graph.h"

/// The last one first, so that adding them at the head of a list keeps their order.
inline std::vector<TeraScanGraph::Edge*> edges_backwards(TeraScanGraph::Edge* list) {
  std::vector<TeraScanGraph::Edge*> edges;
  for (; list != nullptr; list = list->get_next()) edges.push_back(list);
  std::reverse(edges.begin(), edges.end());
  return edges;
}

/// The place of a node; -1 for what is none, as an edge that a producer made by hand may lead there.
inline int place_of(const std::vector<int>& places, int node) {
  return node >= 0 && node < static_cast<int>(places.size()) ? places[static_cast<std::size_t>(node)] : -1;
}

inline void delete_edge_list(TeraScanGraph::Edge* list) {
  while (list != nullptr) {
    TeraScanGraph::Edge* const next = list->get_next();
    delete list;
    list = next;
  }
}

/// `visit(edge)` for every edge, in the order of nodes and lists.
template <class Visit>
void TeraScanGraph::for_each_edge(Visit visit) const {
  for (const Node& node : nodeArray)
    for (Edge* edge = node.edgeList; edge != nullptr; edge = edge->nextEdge) visit(edge);
}

/// `visit(result)` for every result there is.
template <class Visit>
void TeraScanGraph::for_each_result(Visit visit) const {
  for_each_edge([&visit](Edge* edge) {
    if (edge->hitResult != nullptr) visit(edge->hitResult);
  });
}
