// Several results to one.
#include <algorithm>
#include <cstring>
#include <tuple>

#include "tera/result/tera_result_internal.h"
#include "tera/tera_eval.h"
#include "tera/tera_query.h"

namespace {

struct EntryQuality {
  Large entry;
  int value;
};

/// Ascending by entry, each with its best quality.
std::vector<EntryQuality> best_by_entry(std::vector<EntryQuality> all) {
  std::sort(all.begin(), all.end(), [](const EntryQuality& a, const EntryQuality& b) {
    return a.entry != b.entry ? a.entry < b.entry : a.value > b.value;
  });
  const auto isSame = [](const EntryQuality& a, const EntryQuality& b) { return a.entry == b.entry; };
  all.erase(std::unique(all.begin(), all.end(), isSame), all.end());
  return all;
}

/// Three-way orders of what may become one candidate: resolved ones never do with others.
int cmp_kind(const TeraCand& first, const TeraCand& second) {
  return int{first.is(TeraCand::RESOLVED)} - int{second.is(TeraCand::RESOLVED)};
}

int cmp_strings(const TeraCand& first, const TeraCand& second) {
  const int kind = cmp_kind(first, second);
  return kind != 0 ? kind : std::strcmp(first.get_string(), second.get_string());
}

int cmp_numbers(const TeraCand& first, const TeraCand& second) {
  if (const int kind = cmp_kind(first, second); kind != 0) return kind;
  const auto keyOf = [](const TeraCand& c) {
    return std::tuple(c.get_entry(), c.get_num_infos(), c.get_shift());
  };
  if (keyOf(first) != keyOf(second)) return keyOf(first) < keyOf(second) ? -1 : 1;
  for (Large i = 0; i < first.get_num_infos(); ++i)
    if (first.get_infos()[i] != second.get_infos()[i])
      return first.get_infos()[i] < second.get_infos()[i] ? -1 : 1;
  return 0;
}

bool has_string(const TeraCand& cand) {
  return !cand.is_special() && cand.get_string() != nullptr;
}

bool has_numbers(const TeraCand& cand) {
  return !cand.is_special() && (cand.get_entry() != TeraCand::NO_ENTRY || cand.get_num_infos() > 0);
}

}  // namespace

// ---------------------------------------------------------------- candidates as an array

TeraResult::RatedList TeraResult::take() {
  RatedList cands;
  cands.reserve(static_cast<std::size_t>(numHeld));
  for (TeraCandGroup *group = detach_group_list(), *next = nullptr; group != nullptr; group = next) {
    next = group->nextGroup;
    const std::unique_ptr<TeraCandGroup> held(group);
    for (TeraCand* cand = group->detach(); cand != nullptr;) {
      TeraCand* following = cand->get_next();
      cands.push_back({group->candValue, static_cast<int>(cands.size()), std::unique_ptr<TeraCand>(cand)});
      cand = following;
    }
  }
  return cands;
}

/// Puts the candidates of another result behind; their memory and what they say of the result come along.
void TeraResult::take_from(TeraResult* other, RatedList* cands) {
  if (other == nullptr || other == this) return;
  constexpr int SHARED = ALIASES | UNRELIABLE | ARTIFICIAL | COLLECTION;
  stateFlags |= other->stateFlags & SHARED;
  for (Rated& rated : other->take()) {
    rated.order = static_cast<int>(cands->size());
    cands->push_back(std::move(rated));
  }
  merge(other);
}

int TeraResult::refill(RatedList cands) {
  for (Rated& rated : cands) add(rated.value, rated.cand.release());
  return numHeld;
}

/// Lets candidates with the same key become one, the best, and adds what is left in its old order.
/// `unite(best, end)` is given candidates that become the first of them.
template <class Unite>
int TeraResult::refill_united(RatedList cands, const MergeKey& key, Unite unite) {
  const auto keyed = std::stable_partition(cands.begin(), cands.end(),
                                           [&key](const Rated& rated) { return key.has(*rated.cand); });
  std::stable_sort(cands.begin(), keyed, [&key](const Rated& a, const Rated& b) {
    const int order = key(a, b);
    return order != 0 ? order < 0 : a.value > b.value;
  });
  for (auto best = cands.begin(); best != keyed;) {
    const auto end =
        std::find_if(best + 1, keyed, [&](const Rated& rated) { return key(*best, rated) != 0; });
    if (end - best > 1) unite(best, end);
    std::for_each(best + 1, end, [](Rated& rated) { rated.cand.reset(); });
    best = end;
  }
  std::erase_if(cands, [](const Rated& rated) { return rated.cand == nullptr; });
  std::sort(cands.begin(), cands.end(), [](const Rated& a, const Rated& b) { return a.order < b.order; });
  return refill(std::move(cands));
}

int TeraResult::refill_by_string(RatedList cands, const MergeKey& key) {
  return refill_united(std::move(cands), key, [this](auto best, auto end) {
    std::vector<Large> numbers;
    std::for_each(best, end, [&numbers](const Rated& rated) { append_numbers(*rated.cand, &numbers); });
    set_numbers(best->cand.get(), std::move(numbers));
  });
}

int TeraResult::refill_by_numbers(RatedList cands) {
  static constexpr MergeKey KEY{has_numbers, cmp_numbers, false};
  return refill_united(std::move(cands), KEY, [](auto best, auto end) {
    const auto named =
        std::find_if(best, end, [](const Rated& r) { return r.cand->get_string() != nullptr; });
    if (named != end) best->cand->set_string(named->cand->get_string());
  });
}

// ---------------------------------------------------------------- merging

int TeraResult::merge_unresolved(TeraResult* first, TeraResult* second) {
  RatedList cands = take();
  take_from(first, &cands);
  take_from(second, &cands);
  return refill_by_numbers(std::move(cands));
}

int TeraResult::dedup_merge(TeraResult* other) {
  return other != nullptr ? merge_unresolved(other, nullptr) : -1;
}

int TeraResult::merge_by_string(int num, TeraResult* const* results) {
  if (results == nullptr) return -1;
  RatedList cands = take();
  for (int i = 0; i < num; ++i) take_from(results[i], &cands);
  return refill_by_string(std::move(cands), {has_string, cmp_strings, false});
}

int TeraResult::merge_quality_cands(TeraResult* other) {
  if (other == nullptr) return -1;
  RatedList cands = take();
  take_from(other, &cands);
  return refill_by_string(std::move(cands), {has_string, cmp_strings, true});
}

// ---------------------------------------------------------------- phonetic recalls

namespace {

/// Takes the phonetic quality of an entry from the list; 0 when it has none.
int take_quality(std::vector<EntryQuality>* found, Large entry, std::vector<bool>* isTaken) {
  const auto place = std::lower_bound(found->begin(), found->end(), entry,
                                      [](const EntryQuality& a, Large wanted) { return a.entry < wanted; });
  if (place == found->end() || place->entry != entry) return 0;
  (*isTaken)[static_cast<std::size_t>(place - found->begin())] = true;
  return place->value;
}

}  // namespace

int TeraResult::add_phonetic(TeraResult* phonetic, int percent, const GetString* string_hook) {
  if (phonetic == nullptr || phonetic == this) return -1;
  const int weight = std::clamp(percent, 0, 100);
  if (phonetic->is_unreliable()) set_unreliable();
  std::vector<EntryQuality> found;
  std::vector<Large> entries;
  for (const Rated& rated : phonetic->take()) {
    entries.clear();
    append_numbers(*rated.cand, &entries);
    for (const Large entry : entries) found.push_back({entry, rated.value});
  }
  found = best_by_entry(std::move(found));
  std::vector<bool> isTaken(found.size());

  const auto stringOf = [string_hook](Large entry, AceAttach* at) {
    return string_hook != nullptr && *string_hook ? (*string_hook)(entry, at) : nullptr;
  };
  RatedList own = take();
  set_min_value(askedValue);
  for (Rated& rated : own) {
    if (rated.cand->get_entry() == TeraCand::NO_ENTRY) continue;
    const auto entry = static_cast<Large>(rated.cand->get_entry());
    rated.value = TeraEval::phone_eval(rated.value, take_quality(&found, entry, &isTaken), weight);
    if (rated.cand->get_string() == nullptr && rated.value >= minValue)
      rated.cand->set_string(entry_string(stringOf(entry, this)));
  }
  refill(std::move(own));

  for (std::size_t i = 0; i < found.size(); ++i) {
    if (isTaken[i]) continue;
    AceAttach at;
    const char* string = stringOf(found[i].entry, &at);
    const int plain =
        singleQuery != nullptr && string != nullptr ? std::max(singleQuery->compare(string), 0) : 0;
    const int value = TeraEval::phone_eval(plain, found[i].value, weight);
    if (!accept(value)) continue;
    acquire(&at);
    auto cand = std::make_unique<TeraCand>(found[i].entry);
    cand->set_string(entry_string(string));
    add(value, cand.release());
  }
  return numHeld;
}
