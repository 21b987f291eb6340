// Removing duplicates across edges.
#include <algorithm>
#include <functional>
#include <set>
#include <span>
#include <tuple>
#include <vector>

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

namespace {

using EdgeRange = TeraScanGraph::EdgeRange;

enum class Fate { STAYS, EQUAL_ELSEWHERE, BETTER_ELSEWHERE };

/// What the ranges of its key say of a candidate of that quality on the span: each that overlaps is looked
/// at.
class Judgement {
 public:
  Judgement(int cand_quality, int from_node, int to_node, bool is_wider)
      : quality(cand_quality), from(from_node), to(to_node), isWider(is_wider) {}

  void look_at(const EdgeRange& range) {
    if (range.isKept) {
      isKept |= range.hitQual == quality && range.is_span(from, to);
    } else if (range.hitQual > quality) {
      isBetterElsewhere |= !(isWider && range.is_in_longer(from, to));
    } else if (range.hitQual == quality) {
      isEqualElsewhere |= !range.is_span(from, to);
    }
  }
  Fate fate() const {
    if (isBetterElsewhere) return Fate::BETTER_ELSEWHERE;
    return isEqualElsewhere && !isKept ? Fate::EQUAL_ELSEWHERE : Fate::STAYS;
  }

 private:
  int quality;
  int from;
  int to;
  bool isWider;
  bool isKept = false;
  bool isEqualElsewhere = false;
  bool isBetterElsewhere = false;
};

/// A candidate with a key, and where it was found.
struct Found {
  EdgeRange span() const {
    EdgeRange range;
    range.fromPos = from;
    range.toPos = to;
    range.hitQual = quality;
    return range;
  }

  unsigned key;
  int quality;
  int from;
  int to;
  const TeraCand* cand;
};

/// Orders by what candidates stand for: the key, and for lists of attribute numbers all of them.
int compare_lists(const TeraCand& one, const TeraCand& other) {
  const Large num = one.get_num_infos();
  if (num != other.get_num_infos()) return num < other.get_num_infos() ? -1 : 1;
  if (num <= 1) return 0;
  if (one.get_shift() != other.get_shift()) return one.get_shift() < other.get_shift() ? -1 : 1;
  if (one.get_infos() == other.get_infos()) return 0;
  const auto order = std::lexicographical_compare_three_way(one.get_infos(), one.get_infos() + num,
                                                            other.get_infos(), other.get_infos() + num);
  return order < 0 ? -1 : order > 0 ? 1 : 0;
}

/// Spans of which one asks whether any overlaps another. Added with ascending starts.
class SpanSet {
 public:
  void add(const EdgeRange& span) {
    starts.push_back(span.fromPos);
    farthest.push_back(std::max(span.toPos, farthest.empty() ? span.toPos : farthest.back()));
  }
  void clear() {
    starts.clear();
    farthest.clear();
  }
  /// Among the spans that start in front of the end, one must end behind the start.
  bool has_overlap(int from, int to) const {
    const auto num = std::lower_bound(starts.begin(), starts.end(), to) - starts.begin();
    return num > 0 && farthest[static_cast<std::size_t>(num) - 1] > from;
  }

 private:
  std::vector<int> starts;
  std::vector<int> farthest;  // end of any span up to this one
};

/// The ranges of one key, from what was found in the order of the nodes.
///
///     found     |---200---|        |--190--|
///                   |--200--|   |---200---|
///     ranges    |-----------|   |---200---|        with `wider`, else what the two on the left share
///
/// What is found starts no earlier than what was before, so only the last range can overlap it: the ranges
/// lie one behind the other, and those that overlap a span are neighbours. (Where a producer made edges that
/// lead backwards, all are looked at.)
class KeyRanges {
 public:
  explicit KeyRanges(bool is_wider) : isWider(is_wider) {}

  void start(bool all_forward) {
    isOrdered = all_forward;
    ranges.clear();
    kept.clear();
  }
  void note(const Found& found) {
    bool isNoted = false;
    for (auto range = first_behind(found.from); range != ranges.end(); ++range) {
      if (!range->overlaps(found.from, found.to)) continue;
      range->update(found.quality, found.from, found.to, isWider);
      isNoted = true;
    }
    if (!isNoted) ranges.push_back(found.span());
  }
  Fate fate_of(const Found& found) {
    Judgement judgement(found.quality, found.from, found.to, isWider);
    for (auto range = first_behind(found.from); range != ranges.end(); ++range) {
      if (isOrdered && range->fromPos >= found.to) break;
      if (range->overlaps(found.from, found.to)) judgement.look_at(*range);
    }
    EdgeRange span = found.span();
    if (kept.count({found.quality, found.from, found.to}) != 0) {
      span.isKept = true;
      judgement.look_at(span);
    }
    return judgement.fate();
  }
  void keep(const Found& found) { kept.insert({found.quality, found.from, found.to}); }

 private:
  std::vector<EdgeRange>::iterator first_behind(int node) {
    if (!isOrdered) return ranges.begin();
    return std::partition_point(ranges.begin(), ranges.end(),
                                [node](const EdgeRange& range) { return range.toPos <= node; });
  }

  bool isWider;
  bool isOrdered = true;
  std::vector<EdgeRange> ranges;
  std::set<std::tuple<int, int, int>> kept;  // quality and span, see `keep_first`
};

/// Spans 0-2 and 1-3 of the same quality share 1-2, which is neither: the first of them is kept. The list is
/// of one key and one quality.
void keep_first(KeyRanges* ranges, std::span<const Found> alike) {
  SpanSet stay;
  SpanSet later;  // those that are kept here
  for (const Found& found : alike)
    if (ranges->fate_of(found) == Fate::STAYS) stay.add(found.span());
  for (const Found& found : alike) {
    if (ranges->fate_of(found) != Fate::EQUAL_ELSEWHERE) continue;
    if (stay.has_overlap(found.from, found.to) || later.has_overlap(found.from, found.to)) continue;
    ranges->keep(found);
    later.add(found.span());
  }
}

/// Adds those of one key that go. Orders the list by quality.
void condemn(KeyRanges* ranges, std::span<Found> found, std::vector<const TeraCand*>* condemned) {
  ranges->start(std::all_of(found.begin(), found.end(), [](const Found& f) { return f.from < f.to; }));
  for (const Found& one : found) ranges->note(one);
  std::stable_sort(found.begin(), found.end(),
                   [](const Found& a, const Found& b) { return a.quality > b.quality; });
  for (auto first = found.begin(); first != found.end();) {
    const auto last =
        std::find_if(first, found.end(), [&](const Found& f) { return f.quality != first->quality; });
    keep_first(ranges, {first, last});
    first = last;
  }
  for (const Found& one : found)
    if (ranges->fate_of(one) != Fate::STAYS) condemned->push_back(one.cand);
}

/// Removes candidates of a result, which is ordered best first.
template <class IsBroken>
int remove_cands(TeraResult* result, IsBroken is_broken) {
  result->high_first();
  int removed = 0;
  for (TeraCandGroup *group = result->detach_group_list(), *next = nullptr; group != nullptr; group = next) {
    next = group->get_next();
    const int quality = group->get_value();
    removed += group->remove_if([&](const TeraCand* cand) { return is_broken(quality, cand); });
    result->add_cand_group(group);
  }
  return removed;
}

}  // namespace

int TeraScanGraph::Edge::dedup(const EdgeRangeMap* ranges, int node, GetInfo* key, bool wider) {
  if (hitResult == nullptr || ranges == nullptr || key == nullptr) return 0;
  return remove_cands(hitResult, [&](int quality, const TeraCand* cand) {
    const unsigned keyOf = key(cand);
    if (keyOf == NO_KEY) return false;
    Judgement judgement(quality, node, toTarget, wider);
    for (const EdgeRange* range = (*ranges)(keyOf); range != nullptr; range = range->nextRange)
      if (range->is_of(*cand) && range->overlaps(node, toTarget)) judgement.look_at(*range);
    return judgement.fate() != Fate::STAYS;
  });
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
  const bool hasLists = key == record_key;
  const auto order = [hasLists](const Found& a, const Found& b) {
    if (a.key != b.key) return a.key < b.key ? -1 : 1;
    return hasLists ? compare_lists(*a.cand, *b.cand) : 0;
  };
  std::stable_sort(all.begin(), all.end(), [&](const Found& a, const Found& b) { return order(a, b) < 0; });
  std::vector<const TeraCand*> condemned;
  KeyRanges ranges(wider);
  for (auto first = all.begin(); first != all.end();) {
    const auto last = std::find_if(first, all.end(), [&](const Found& f) { return order(*first, f) != 0; });
    condemn(&ranges, {first, last}, &condemned);
    first = last;
  }
  std::sort(condemned.begin(), condemned.end(), std::less<>());
  int removed = 0;
  for_each_result([&](TeraResult* result) {
    removed += remove_cands(result, [&](int, const TeraCand* cand) {
      return std::binary_search(condemned.begin(), condemned.end(), cand, std::less<>());
    });
  });
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
