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

/// A candidate with a key, and where it was found.
struct TeraScanGraph::Found {
  bool overlaps(const Found& other) const { return from < other.to && to > other.from; }
  bool is_alike(const Found& other) const { return key == other.key && quality == other.quality; }

  unsigned key;
  int quality;
  int from;
  int to;
  const TeraCand* cand;
};

namespace {

enum class Fate { STAYS, EQUAL_ELSEWHERE, BETTER_ELSEWHERE };

/// What the ranges of its key say of a candidate of that quality on the span.
Fate fate_of(const TeraScanGraph::EdgeRange* range, const TeraCand& cand, int quality, int from, int to,
             bool wider) {
  Fate fate = Fate::STAYS;
  bool isKept = false;
  for (; range != nullptr; range = range->nextRange) {
    if (!range->is_of(cand) || !range->overlaps(from, to)) continue;
    if (range->isKept) {
      isKept |= range->hitQual == quality && range->is_span(from, to);
      continue;
    }
    if (range->hitQual > quality && !(wider && range->is_in_longer(from, to))) return Fate::BETTER_ELSEWHERE;
    if (range->hitQual == quality && !range->is_span(from, to)) fate = Fate::EQUAL_ELSEWHERE;
  }
  return isKept ? Fate::STAYS : fate;
}

/// A range of what the candidate stands for, in front of the list.
TeraScanGraph::EdgeRange* add_range(TeraScanGraph::EdgeRange** list, int quality, int from, int to,
                                    AceAttach* at) {
  auto* const range = new (at) TeraScanGraph::EdgeRange;
  range->nextRange = std::exchange(*list, range);
  range->fromPos = from;
  range->toPos = to;
  range->hitQual = quality;
  return range;
}

}  // namespace

/// Enters a candidate into the ranges of its key.
void TeraScanGraph::note_range(EdgeRangeMap* ranges, const Found& found, GetInfo* key, bool wider,
                               AceAttach* at) {
  EdgeRange*& list = (*ranges)[found.key];
  bool isNoted = false;
  for (EdgeRange* range = list; range != nullptr; range = range->nextRange) {
    if (!range->is_of(*found.cand) || !range->overlaps(found.from, found.to)) continue;
    range->update(found.quality, found.from, found.to, wider);
    isNoted = true;
  }
  if (isNoted) return;
  EdgeRange* const range = add_range(&list, found.quality, found.from, found.to, at);
  range->entryNum = found.cand->get_entry();
  range->repString = found.cand->get_string();
  if (key != record_key) return;
  range->numInfos = found.cand->get_num_infos();
  range->infos = range->numInfos > 1 ? found.cand->get_infos() : nullptr;
  range->infoShift = found.cand->get_shift();
}

/// Spans 0-2 and 1-3 of the same quality share 1-2, which is neither: the first of them is kept. Reorders
/// `all` by key.
void TeraScanGraph::keep_first(EdgeRangeMap* ranges, std::vector<Found>* all, bool wider, AceAttach* at) {
  std::stable_sort(all->begin(), all->end(), [](const Found& a, const Found& b) {
    return a.key != b.key ? a.key < b.key : a.quality > b.quality;
  });
  std::vector<const Found*> stay;
  for (auto first = all->begin(); first != all->end();) {
    const auto last = std::find_if(first, all->end(), [&](const Found& f) { return !f.is_alike(*first); });
    const auto fate = [&](const Found& f) {
      return fate_of((*ranges)(f.key), *f.cand, f.quality, f.from, f.to, wider);
    };
    stay.clear();
    for (auto found = first; found != last; ++found)
      if (fate(*found) == Fate::STAYS) stay.push_back(&*found);
    for (auto found = first; found != last; ++found) {
      if (fate(*found) != Fate::EQUAL_ELSEWHERE) continue;
      const EdgeRange* range = (*ranges)(found->key);
      while (!range->is_of(*found->cand)) range = range->nextRange;
      const auto isRival = [&](const Found* other) {
        return found->overlaps(*other) && range->is_of(*other->cand);
      };
      if (std::any_of(stay.begin(), stay.end(), isRival)) continue;
      EdgeRange* const kept = add_range(&(*ranges)[found->key], found->quality, found->from, found->to, at);
      kept->numInfos = range->numInfos;
      kept->infos = range->infos;
      kept->infoShift = range->infoShift;
      kept->isKept = true;
      stay.push_back(&*found);
    }
    first = last;
  }
}

int TeraScanGraph::Edge::dedup(const EdgeRangeMap* ranges, int node, GetInfo* key, bool wider) {
  if (hitResult == nullptr || ranges == nullptr || key == nullptr) return 0;
  const auto isBroken = [&](int quality, const TeraCand* cand) {
    const unsigned keyOf = key(cand);
    return keyOf != NO_KEY && fate_of((*ranges)(keyOf), *cand, quality, node, toTarget, wider) != Fate::STAYS;
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
  std::vector<Found> all;
  for (int node = 0; node < get_num_nodes(); ++node)
    for (const Edge* edge = get_node(node)->edgeList; edge != nullptr; edge = edge->nextEdge)
      if (edge->hitResult != nullptr)
        edge->hitResult->find_any([&](int quality, const TeraCand* cand) {
          if (const unsigned keyOf = key(cand); keyOf != NO_KEY)
            all.push_back({keyOf, quality, node, edge->toTarget, cand});
          return false;
        });
  AceAttach at;
  EdgeRangeMap ranges;
  for (const Found& found : all) note_range(&ranges, found, key, wider, &at);
  keep_first(&ranges, &all, wider, &at);
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
