/// What the sources of results share.
#pragma once

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "tera/tera_result.h"

/// A candidate outside of its group. Orders restore what sorting by other keys has mixed.
struct TeraResult::Rated {
  int value;
  int order;
  std::unique_ptr<TeraCand> cand;
};

/// What candidates must have in common to become one.
struct TeraResult::MergeKey {
  bool (*has)(const TeraCand& cand);
  int (*cmp)(const TeraCand& first, const TeraCand& second);
  bool sameValue;  ///< and the quality

  int operator()(const Rated& first, const Rated& second) const {
    if (sameValue && first.value != second.value) return second.value - first.value;
    return cmp(*first.cand, *second.cand);
  }
};

/// Appends attribute numbers with their shift, or entry numbers.
inline void append_numbers(const TeraCand& cand, std::vector<Large>* numbers) {
  if (cand.get_entry() != TeraCand::NO_ENTRY) numbers->push_back(static_cast<Large>(cand.get_entry()));
  for (Large i = 0; i < cand.get_num_infos(); ++i) numbers->push_back(cand.get_info(i));
}

template <class Visit>
void TeraResult::for_each(Visit visit) const {
  for (TeraCandGroup* group = candGroups; group != nullptr; group = group->nextGroup)
    for (TeraCand* cand = group->candList; cand != nullptr; cand = cand->get_next())
      visit(group->candValue, cand);
}

/// Best groups first, so that conditions can rely on having seen the better candidates.
template <class Condemned>
int TeraResult::remove_if(Condemned condemned) {
  int removed = 0;
  for (int value = MAX_VALUE; value >= minValue; --value) {
    TeraCandGroup* group = group_at(value);
    if (group == nullptr) continue;
    removed += group->remove_if(condemned);
    if (group->numCands == 0) remove_group(value);
  }
  numHeld -= removed;
  changed();
  return removed;
}

template <class Less>
void TeraResult::sort_groups(Less less) {
  std::vector<TeraCand*> cands;
  for (TeraCandGroup* group = candGroups; group != nullptr; group = group->nextGroup) {
    cands.clear();
    for (TeraCand* cand = group->candList; cand != nullptr; cand = cand->get_next()) cands.push_back(cand);
    std::stable_sort(cands.begin(), cands.end(), less);
    group->detach();
    for (TeraCand* cand : cands) group->append(cand);
  }
}
