#include "dast/dast_hit_list.h"

#include <algorithm>
#include <bit>
#include <vector>

#include "dast/dast_info_list.h"
#include "dast/dast_info_map.h"
#include "tera/tera_cand.h"
#include "tera/tera_result.h"

namespace {

/// The first index from `first` on at which `is_before` does not hold, where it holds up to some index: by
/// steps that double, then between the last two.
template <class IsBefore>
std::size_t gallop(std::size_t first, std::size_t last, IsBefore is_before) {
  if (first >= last || !is_before(first)) return first;  // as in a walk from run to run
  std::size_t step = 1;
  while (first + step < last && is_before(first + step)) {
    first += step;
    step *= 2;
  }
  last = std::min(first + step + 1, last);
  while (first < last) {
    const std::size_t middle = first + (last - first) / 2;
    if (is_before(middle))
      first = middle + 1;
    else
      last = middle;
  }
  return first;
}

}  // namespace

// ---------------------------------------------------------------- walking
// A list stands at the start or the end of a run, and goes on to the next of these; the view cuts runs.

void HitList::set_view(Large from, Large to) {
  viewFrom = from;
  viewTo = to;
  curIndex = 0;
  start(from);
}

/// The next run that ends behind `record`, cut to the view.
void HitList::start(Large record) {
  inside = false;
  Large from = 0;
  Large to = 0;
  const Large last = std::min(viewTo, itsSettings.maxRecord);
  record = std::max(record, viewFrom);
  if (record >= last || !next_run(record, &from, &to) || from >= last) {
    nextRecord = nextEnd = NONE;
    return;
  }
  nextRecord = std::max(from, record);
  nextEnd = std::min(to, last);
}

int HitList::promote() {
  if (nextRecord == NONE && !inside) return 0;
  if (!inside) {
    inside = true;
    startRecord = nextRecord;
    nextRecord = nextEnd;
    return 1;
  }
  const Large end = nextEnd;
  if (end == NONE) {
    inside = false;
    nextRecord = NONE;
  } else {
    start(end);
  }
  return -1;
}

int HitList::promote(Mask* active) {
  const Mask flag = itsSettings.queryFlag;
  const int change = promote();
  if (change > 0 && (*active & flag) == 0) {
    *active |= flag;
    return itsSettings.weight;
  }
  if (change < 0 && (*active & flag) != 0) {
    *active &= ~flag;
    return -itsSettings.weight;
  }
  return 0;
}

Large HitList::skip(Large record) {
  if (nextRecord >= record) return nextRecord;
  if (!inside && nextEnd > record)
    nextRecord = record;
  else
    start(record);
  return nextRecord;
}

int HitList::cmp(const HitList* first, const HitList* second) {
  if (first->nextRecord != second->nextRecord) return first->nextRecord < second->nextRecord ? -1 : 1;
  const int difference = second->get_sort_weight() - first->get_sort_weight();
  return difference < 0 ? -1 : difference > 0 ? 1 : 0;
}

// ---------------------------------------------------------------- kinds
// Each gives the next run that ends behind a record; the walk is the same for all.

HitListSingle::HitListSingle(std::span<const Large> records, Large offset, const Settings& settings)
    : HitList(settings), indexList(records), offsetVal(offset) {
  start(0);
}

bool HitListSingle::next_run(Large record, Large* from, Large* to) {
  curIndex =
      gallop(curIndex, indexList.size(), [&](std::size_t i) { return indexList[i] + offsetVal < record; });
  if (curIndex == indexList.size()) return false;
  *from = indexList[curIndex] + offsetVal;
  *to = *from + 1;
  // Neighbours are one run.
  while (++curIndex < indexList.size() && indexList[curIndex] + offsetVal == *to) ++*to;
  return true;
}

HitListInterval::HitListInterval(std::span<const Large> entries, std::span<const Large> bounds, Large offset,
                                 const Settings& settings)
    : HitList(settings), indexList(entries), fromTo(bounds), offsetVal(offset) {
  const Large numEntries = bounds.empty() ? 0 : static_cast<Large>(bounds.size() - 1);
  indexList = indexList.first(static_cast<std::size_t>(
      std::lower_bound(indexList.begin(), indexList.end(), numEntries) - indexList.begin()));
  start(0);
}

bool HitListInterval::next_run(Large record, Large* from, Large* to) {
  // Lists from a file need not ascend: an entry that is not there ends the walk.
  const auto bound = [&](std::size_t i, std::size_t end) {
    const std::size_t place = indexList[i] + end;
    return place < fromTo.size() ? fromTo[place] + offsetVal : NONE;
  };
  curIndex = gallop(curIndex, indexList.size(), [&](std::size_t i) { return bound(i, 1) <= record; });
  if (curIndex == indexList.size()) return false;
  *from = bound(curIndex, 0);
  *to = bound(curIndex, 1);
  if (*to == NONE || *from >= *to) return false;
  while (++curIndex < indexList.size() && bound(curIndex, 0) == *to && bound(curIndex, 1) != NONE)
    *to = bound(curIndex, 1);
  return true;
}

HitListGroup::HitListGroup(std::span<const Large> bounds, const Settings& settings)
    : HitList(settings), fromTo(bounds) {
  start(0);
}

bool HitListGroup::next_run(Large record, Large* from, Large* to) {
  const std::size_t numPairs = fromTo.size() / 2;
  curIndex = gallop(curIndex, numPairs, [&](std::size_t i) { return fromTo[2 * i + 1] <= record; });
  if (curIndex == numPairs) return false;
  *from = fromTo[2 * curIndex];
  *to = fromTo[2 * curIndex + 1];
  while (++curIndex < numPairs && fromTo[2 * curIndex] == *to) *to = fromTo[2 * curIndex + 1];
  return true;
}

// ---------------------------------------------------------------- making
// Candidates of one quality become one list, and a record that a better list has is left out.

namespace {

Large size_of_runs(const DastInfoList& list, Large max_record) {
  Large size = 0;
  for (Large i = 0; i + 1 < list.get_length(); i += 2)
    size += std::min(list.get_list()[i + 1], max_record) - std::min(list.get_list()[i], max_record);
  return size;
}

}  // namespace

HitList* HitList::make_hit_iterator(const TeraCand* cand, Large offset, const DastInfoMap* runs,
                                    const Settings& settings, Large* count, AceAttach* at) {
  Large size = 0;
  HitList* hits = nullptr;
  const DastInfoList list(cand);
  const std::span<const Large> infos = list.get_infos();
  const DastInterval* intervals = runs != nullptr ? runs->get_intervals() : nullptr;
  const std::span<const Large> bounds =
      intervals != nullptr ? intervals->get_bounds() : std::span<const Large>();
  if (list.get_type() == DastInfoList::FROM_TO && list.is_frequent()) {
    size = settings.maxRecord != NONE && settings.maxRecord > 0 ? settings.maxRecord - 1 : settings.maxRecord;
    hits = new (at) HitListGroup(infos, settings);
  } else if (list.get_type() == DastInfoList::FROM_TO) {
    size = size_of_runs(list, settings.maxRecord);
    hits = new (at) HitListGroup(infos, settings);
  } else if (intervals != nullptr) {
    for (const Large entry : infos)
      if (entry + std::size_t{1} < bounds.size()) size += bounds[entry + std::size_t{1}] - bounds[entry];
    hits = new (at) HitListInterval(infos, bounds, offset, settings);
  } else {
    size = static_cast<Large>(infos.size());
    hits = new (at) HitListSingle(infos, offset, settings);
  }
  if (count != nullptr) *count = size;
  return size > 0 ? hits : nullptr;
}

HitList* HitList::make_context_list(const DastInfoList* context, const Settings& settings, AceAttach* at) {
  if (context == nullptr || context->get_type() == DastInfoList::NOT_USED || context->is_empty())
    return nullptr;
  if (context->get_type() == DastInfoList::SINGLE)
    return new (at) HitListSingle(context->get_infos(), 0, settings);
  DastInfoList ranges(*context);
  ranges.ensure_no_reference(at);
  return new (at) HitListGroup(ranges.get_infos(), settings);
}

namespace {

/// The records of all candidates of a group.
DastInfoList* unite_group(const TeraCandGroup* group, const DastInfoMap* runs, AceAttach* at) {
  std::vector<DastInfoList*> lists;
  for (const TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next()) {
    auto* list = new (at) DastInfoList(cand);
    if (list->is_empty()) continue;
    if (runs != nullptr && list->get_type() == DastInfoList::SINGLE) list = runs->down(list, at);
    lists.push_back(list);
  }
  return lists.empty() ? nullptr
                       : DastInfoList::union_lists(static_cast<int>(lists.size()), lists.data(), at);
}

/// The records that lists have so far: as bits up to a record, and as a list beyond and for ranges.
class TakenRecords {
 public:
  explicit TakenRecords(Large num_bits) : bits(num_bits / 64 + std::size_t{1}, 0) {}

  /// Leaves the records that are not taken, and takes them.
  void take(DastInfoList* records, AceAttach* at) {
    const bool isInBits = records->get_type() == DastInfoList::SINGLE && !records->is_empty() &&
                          records->get_infos().back() / 64 < bits.size() && others.is_empty();
    if (isInBits) return take_singles(records, at);
    if (others.is_empty()) others = as_list(at);
    records->subtract(&others, at);
    others.union_with(records, at);
  }

 private:
  void take_singles(DastInfoList* records, AceAttach* at) {
    Large* kept = nullptr;
    at->malloc(kept, records->get_length());
    Large count = 0;
    for (const Large record : records->get_infos()) {
      Mask& word = bits[std::min<std::size_t>(record / 64, bits.size() - 1)];
      const Mask bit = Mask{1} << (record % 64);
      kept[count] = record;
      count += (word & bit) == 0 ? 1 : 0;
      word |= bit;
    }
    *records = DastInfoList(count, kept, nullptr);
  }
  DastInfoList as_list(AceAttach* at) const {
    std::vector<Large> records;
    for (std::size_t i = 0; i < bits.size(); ++i)
      for (Mask word = bits[i]; word != 0; word &= word - 1)
        records.push_back(static_cast<Large>(64 * i) + static_cast<Large>(std::countr_zero(word)));
    return {DastInfoList(static_cast<Large>(records.size()), records.data(), nullptr), at};
  }

  std::vector<Mask> bits;
  DastInfoList others{0, nullptr, false};
};

/// Bits for them all, if they are not far more than the records of the candidates.
Large num_bits_for(const TeraResult* result) {
  constexpr VInt BITS_PER_RECORD = 1024;
  VInt total = 0;
  Large highest = 0;
  result->find_any([&](int, const TeraCand* cand) {
    total += cand->get_num_infos();
    if (cand->get_num_infos() > 0) highest = std::max(highest, cand->get_info(cand->get_num_infos() - 1));
    return false;
  });
  return VInt{highest} < BITS_PER_RECORD * total && highest != HitList::NONE ? highest : 0;
}

}  // namespace

int HitList::separate(const TeraResult* result, const DastInfoMap* runs, const Settings& settings,
                      HitList*** lists, AceAttach* at) {
  std::vector<const TeraCandGroup*> groups;
  for (const TeraCandGroup* group = result->get_first_group(); group != nullptr; group = group->get_next())
    groups.push_back(group);
  std::sort(groups.begin(), groups.end(),
            [](const auto* a, const auto* b) { return a->get_value() > b->get_value(); });
  at->malloc(*lists, static_cast<long>(groups.size()));
  int count = 0;
  TakenRecords taken(num_bits_for(result));
  for (const TeraCandGroup* group : groups) {
    DastInfoList* records = unite_group(group, runs, at);
    if (records == nullptr) continue;
    taken.take(records, at);
    if (records->is_empty()) continue;
    Settings own = settings;
    own.quality = group->get_value();
    own.weight = settings.weight * group->get_value();
    own.sortWeight = own.weight;
    if (HitList* hits = make_context_list(records, own, at); hits != nullptr) (*lists)[count++] = hits;
  }
  return count;
}
