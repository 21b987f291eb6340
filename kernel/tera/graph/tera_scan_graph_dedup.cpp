// Removing duplicates across edges.
#include <algorithm>
#include <utility>

#include "tera/graph/tera_scan_graph_internal.h"
#include "tera/tera_result.h"

namespace {

constexpr unsigned NO_KEY = ~0U;

unsigned entry_key(const TeraCand* cand) {
  return static_cast<unsigned>(cand->get_entry());
}

/// Of a list of numbers; its other ones are compared by the ranges.
unsigned record_key(const TeraCand* cand) {
  return cand->is(TeraCand::COLLECTION) ? NO_KEY : cand->get_first_info();
}

}  // namespace

void TeraScanGraph::EdgeRange::update(int quality, int from, int to, bool wider) {
  if (hitQual > quality) return;
  if (hitQual < quality) {
    hitQual = quality;
    fromPos = from;
    toPos = to;
  } else if (wider) {
    fromPos = std::min(fromPos, from);
    toPos = std::max(toPos, to);
  } else {
    fromPos = std::max(fromPos, from);
    toPos = std::min(toPos, to);
  }
}

bool TeraScanGraph::EdgeRange::is_of(const TeraCand& cand) const {
  if (numInfos == 0) return true;
  if (cand.get_num_infos() != numInfos) return false;
  if (numInfos == 1) return true;
  return cand.get_shift() == infoShift &&
         (cand.get_infos() == infos || std::equal(infos, infos + numInfos, cand.get_infos()));
}

/// Enters the candidates of an edge into the ranges of their keys.
void TeraScanGraph::note_ranges(EdgeRangeMap* ranges, const Edge& edge, int node, GetInfo* key, bool wider,
                                AceAttach* at) {
  edge.hitResult->find_any([&](int quality, const TeraCand* cand) {
    const unsigned keyOf = key(cand);
    if (keyOf == NO_KEY) return false;
    EdgeRange*& list = (*ranges)[keyOf];
    bool isNoted = false;
    for (EdgeRange* range = list; range != nullptr; range = range->nextRange) {
      if (!range->is_of(*cand) || !range->overlaps(node, edge.toTarget)) continue;
      range->update(quality, node, edge.toTarget, wider);
      isNoted = true;
    }
    if (isNoted) return false;
    auto* const range = new (at) EdgeRange;
    range->nextRange = std::exchange(list, range);
    range->fromPos = node;
    range->toPos = edge.toTarget;
    range->hitQual = quality;
    range->entryNum = cand->get_entry();
    range->repString = cand->get_string();
    if (key == record_key) {
      range->numInfos = cand->get_num_infos();
      range->infos = range->numInfos > 1 ? cand->get_infos() : nullptr;
      range->infoShift = cand->get_shift();
    }
    return false;
  });
}

int TeraScanGraph::Edge::dedup(const EdgeRangeMap* ranges, int node, GetInfo* key, bool wider) {
  if (hitResult == nullptr || ranges == nullptr || key == nullptr) return 0;
  const auto isBroken = [&](int quality, const TeraCand* cand) {
    const unsigned keyOf = key(cand);
    const EdgeRange* range = keyOf != NO_KEY ? (*ranges)(keyOf) : nullptr;
    for (; range != nullptr; range = range->nextRange) {
      if (!range->is_of(*cand) || !range->overlaps(node, toTarget)) continue;
      if (range->hitQual > quality && !(wider && range->is_in_longer(node, toTarget))) return true;
      if (range->hitQual == quality && !range->is_span(node, toTarget)) return true;
    }
    return false;
  };
  hitResult->high_first();
  int removed = 0;
  for (TeraCandGroup *group = hitResult->detach_group_list(), *next = nullptr; group != nullptr;
       group = next) {
    next = group->get_next();
    const int quality = group->get_value();
    removed += group->remove_if([&](const TeraCand* cand) { return isBroken(quality, cand); });
    hitResult->add_cand_group(group);
  }
  return removed;
}

int TeraScanGraph::dedup(GetInfo* key, bool wider) {
  if (key == nullptr) return -1;
  if (get_num_nodes() < 2) return 0;
  stateFlags |= BEST_FIRST;
  for_each_edge([](Edge* edge) { edge->high_first(); });
  AceAttach at;
  EdgeRangeMap ranges;
  for (int node = 0; node < get_num_nodes(); ++node)
    for (const Edge* edge = get_node(node)->edgeList; edge != nullptr; edge = edge->nextEdge)
      if (edge->hitResult != nullptr) note_ranges(&ranges, *edge, node, key, wider, &at);
  int removed = 0;
  for (int node = 0; node < get_num_nodes(); ++node)
    for (Edge* edge = get_node(node)->edgeList; edge != nullptr; edge = edge->nextEdge)
      removed += edge->dedup(&ranges, node, key, wider);
  return removed;
}

int TeraScanGraph::dedup_unresolved(bool wider) {
  const auto numHeld = [this] {
    int num = 0;
    for_each_result([&num](const TeraResult* result) { num += result->num_cands(); });
    return num;
  };
  const int before = numHeld();
  for_each_result([](TeraResult* result) { result->dedup_unresolved(); });
  dedup(entry_key, wider);
  return before - numHeld();
}

int TeraScanGraph::dedup_resolved(bool wider) {
  return dedup(record_key, wider);
}
