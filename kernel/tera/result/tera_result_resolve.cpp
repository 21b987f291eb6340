// From entry numbers to strings and attribute numbers.
#include <algorithm>
#include <cstdio>
#include <string>
#include <unordered_set>

#include "ace/ace_id_map.h"
#include "ace/ace_time_analysis.h"
#include "tera/result/tera_result_internal.h"
#include "tera/tera_index.h"
#include "tera/tera_query.h"

namespace {

constexpr char LITERAL_SIGN = '|';

bool is_entry(const TeraCand& cand) {
  return cand.get_entry() != TeraCand::NO_ENTRY;
}

bool is_unresolved_collection(const TeraCand& cand) {
  return cand.is(TeraCand::COLLECTION) && !cand.is(TeraCand::RESOLVED);
}

bool is_collectable(const TeraCand& cand, bool resolved) {
  return !cand.is_special() && cand.is(TeraCand::RESOLVED) == resolved;
}

/// Of the form of hooks, for id maps.
auto reader_of(const AceIdMap* map) {
  return [map](Large entry, const Large** infos) { return map->get_array(entry, infos); };
}

}  // namespace

// ---------------------------------------------------------------- strings

/// The string, in literal matches joined to the query text.
const char* TeraResult::entry_string(const char* string) {
  if (string == nullptr || !has_literal_matches() || queryString == nullptr) return string;
  const std::string joined = std::string(string) + LITERAL_SIGN + queryString.get();
  return attach(joined.c_str(), static_cast<VInt>(joined.size()));
}

void TeraResult::add_string(TeraCand* cand, const TeraIndex* strings) {
  if (cand->get_string() == nullptr && is_entry(*cand))
    cand->set_string(entry_string(strings->get_line(static_cast<Large>(cand->get_entry()), this)));
}

int TeraResult::add_strings(const TeraIndex* strings) {
  if (strings == nullptr) return -1;
  for_each([&](int, TeraCand* cand) { add_string(cand, strings); });
  return numHeld;
}

// ---------------------------------------------------------------- attribute numbers

/// Stores the numbers, ascending and each once, as what the candidate is: attribute numbers, an entry, or a
/// collection of entries.
void TeraResult::set_numbers(TeraCand* cand, std::vector<Large> numbers) {
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  const auto num = static_cast<Large>(numbers.size());
  if (!cand->is(TeraCand::RESOLVED) && !cand->is(TeraCand::COLLECTION)) {
    if (num <= 1) return;
    cand->set_entry(TeraCand::NO_INFO);
    cand->add_state(TeraCand::COLLECTION);
  }
  Large* kept = nullptr;
  malloc(kept, static_cast<long>(num));
  std::copy(numbers.begin(), numbers.end(), kept);
  cand->set_infos(num, kept);
  cand->set_shift(0);
}

template <class GetInfos>
int TeraResult::resolve_all(const GetInfos& get_infos, const TeraIndex* strings) {
  if (is_resolved()) return numHeld;
  std::vector<Large> united;
  for_each([&](int, TeraCand* cand) {
    if (strings != nullptr) add_string(cand, strings);
    if (infoMode == 0) return;
    const Large* infos = nullptr;
    if (is_entry(*cand)) {
      const Large num = get_infos(static_cast<Large>(cand->get_entry()), &infos);
      cand->resolve(num, infos);
    } else if (is_unresolved_collection(*cand)) {
      united.clear();
      for (Large i = 0; i < cand->get_num_infos(); ++i) {
        const Large num = get_infos(cand->get_infos()[i], &infos);
        if (infos != nullptr) united.insert(united.end(), infos, infos + num);
      }
      cand->add_state(TeraCand::RESOLVED);
      set_numbers(cand, united);
    }
  });
  if (infoMode != 0) set_resolved();
  changed();
  return numHeld;
}

int TeraResult::resolve(const AceIdMap* infos, const TeraIndex* strings) {
  return infos != nullptr ? resolve_all(reader_of(infos), strings) : -1;
}

int TeraResult::resolve(const GetInfoArray* infos, const TeraIndex* strings) {
  return infos != nullptr && *infos ? resolve_all(*infos, strings) : -1;
}

int TeraResult::remove_no_info_cands() {
  remove_if([](const TeraCand* cand) { return cand->get_num_infos() == 0; });
  return numHeld;
}

int TeraResult::expand() {
  RatedList parts;
  for (Rated& rated : take()) {
    const Large num = rated.cand->is(TeraCand::RESOLVED) ? rated.cand->get_num_infos() : 0;
    for (Large i = 1; i < num; ++i) {
      auto part = std::make_unique<TeraCand>(*rated.cand);
      part->set_infos(1, rated.cand->get_infos() + i - 1);
      parts.push_back({rated.value, static_cast<int>(parts.size()), std::move(part)});
    }
    if (num > 1) rated.cand->set_infos(1, rated.cand->get_infos() + num - 1);
    parts.push_back({rated.value, static_cast<int>(parts.size()), std::move(rated.cand)});
  }
  return refill(std::move(parts));
}

int TeraResult::force_exact() {
  cut(MAX_VALUE);
  return numHeld;
}

int TeraResult::dedup_unresolved() {
  const AceTimeSection section("DEDUP_UNRESOLVED");
  std::unordered_set<int> seen;
  seen.reserve(static_cast<std::size_t>(numHeld));
  remove_if(
      [&seen](const TeraCand* cand) { return is_entry(*cand) && !seen.insert(cand->get_entry()).second; });
  return numHeld;
}

// ---------------------------------------------------------------- collections

/// Replaces the candidates behind the first `biggestGroup` by one with all their numbers. Special ones have
/// none, and stay; so do those that are not resolved among those that are, and the other way round.
void TeraResult::collect(TeraCandGroup* group, bool resolved) {
  int left = biggestGroup;
  const auto isCollected = [&left, resolved](const TeraCand* cand) {
    return is_collectable(*cand, resolved) && left-- <= 0;
  };
  std::vector<Large> numbers;
  {
    const AceTimeSection section("CALCULATE_LENGTH");
    for (const TeraCand* cand = group->candList; cand != nullptr; cand = cand->get_next())
      if (isCollected(cand)) append_numbers(*cand, &numbers);
    time_analysis_print(0, 0, "Length of hit list = %i", static_cast<int>(numbers.size()));
  }
  std::unique_ptr<TeraCand> collection(TeraCand::create_collection_cand(nullptr, 0, nullptr));
  {
    const AceTimeSection section("COMBINE");
    if (resolved) collection->add_state(TeraCand::RESOLVED);
    set_numbers(collection.get(), std::move(numbers));
  }
  const AceTimeSection section("FINALIZE_COMPRESSION");
  left = biggestGroup;
  const int collected = group->remove_if(isCollected);
  numHeld += 1 - collected;
  set_state(COLLECTION);
  group->append(collection.release());
  char name[64];
  std::snprintf(name, sizeof name, "<COLLECTION num=%i />", collected);
  group->lastCand->set_string(attach(name));
}

void TeraResult::compress_resolved(TeraCandGroup* group) {
  collect(group, true);
}

void TeraResult::compress_unresolved(TeraCandGroup* group) {
  collect(group, false);
}

void TeraResult::compress_group(TeraCandGroup* group) {
  const AceTimeSection section("COMPRESSING_GROUP");
  time_analysis_print(0, 0, "Quality = %i", static_cast<int>(group->candValue));
  time_analysis_print(0, 0, "No. candidates = %i, Better Cands = %i", group->numCands, group->betterCands);
  if (is_resolved())
    compress_resolved(group);
  else
    compress_unresolved(group);
}

int TeraResult::compress() {
  settle();
  sort_groups([](const TeraCand* a, const TeraCand* b) { return TeraCand::cmp_cand(a, b) < 0; });
  for (TeraCandGroup* group = candGroups; group != nullptr; group = group->nextGroup) {
    int collectable = 0;
    for (const TeraCand* cand = group->candList; cand != nullptr; cand = cand->get_next())
      if (is_collectable(*cand, is_resolved())) ++collectable;
    if (collectable > biggestGroup) compress_group(group);
  }
  changed();
  return numHeld;
}

// ---------------------------------------------------------------- evaluation

int TeraResult::add_evaluated(const char* string, Large info, TeraQualSet* quals, const char* shown_as,
                              int penalty) {
  if (singleQuery == nullptr || string == nullptr) return -1;
  const int value = std::max(std::max(singleQuery->compare(string), 0) - std::max(penalty, 0), 0);
  if (quals != nullptr && !quals->raise(string, value)) return 0;
  if (!accept(value)) return 0;
  return add(value, new TeraCand(attach(shown_as != nullptr ? shown_as : string), info));
}

int TeraResult::eval(const char* string, Large info, const char* shown_as) {
  return add_evaluated(string, info, nullptr, shown_as, 0);
}

int TeraResult::eval(const char* string, Large info, TeraQualSet* quals, const char* shown_as) {
  return add_evaluated(string, info, quals, shown_as, 0);
}

int TeraResult::eval_alias(const char* string, Large info, TeraQualSet* quals, int penalty) {
  return add_evaluated(string, info, quals, nullptr, penalty);
}

VInt TeraResult::eval(const AceBigTree<long>* strings) {
  if (singleQuery == nullptr || strings == nullptr) return -1;
  VInt added = 0;
  strings->for_each([&](const char* string, long info) {
    added += eval(string, static_cast<Large>(info), nullptr);
    return 0;
  });
  return added;
}
