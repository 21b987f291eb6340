#include "tera/tera_result.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <iterator>
#include <random>
#include <utility>

#include "ace/ace_tracer.h"
#include "tera/result/tera_result_internal.h"
#include "tera/tera_query.h"

namespace {

constexpr int NO_GROUP = -1;

int biggest_group() {
  static const AceTraceFlag flag("BIGGEST_GROUP", __FILE__, __LINE__);
  return flag.get() > 0 ? flag.get() : TeraResult::DEFAULT_BIGGEST_GROUP;
}

int sequencing_seed() {
  static const AceTraceFlag flag("SEQUENCING_RANDOM_SEED", __FILE__, __LINE__);
  return flag.get();
}

std::unique_ptr<char[]> copy_text(const char* text) {
  if (text == nullptr) return nullptr;
  const std::size_t size = std::strlen(text) + 1;
  auto copy = std::make_unique<char[]>(size);
  std::memcpy(copy.get(), text, size);
  return copy;
}

/// More of the candidate than `cmp_cand` looks at, so that only equal ones compare equal.
int cmp_fully(const TeraCand* first, const TeraCand* second) {
  if (const int order = TeraCand::cmp_cand(first, second); order != 0) return order;
  if (first->get_entry() != second->get_entry()) return first->get_entry() < second->get_entry() ? -1 : 1;
  const Large one = first->get_first_info();
  const Large other = second->get_first_info();
  return one == other ? 0 : one < other ? -1 : 1;
}

std::vector<const TeraCand*> sorted_cands(const TeraCandGroup* group) {
  std::vector<const TeraCand*> cands;
  for (const TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next())
    cands.push_back(cand);
  std::sort(cands.begin(), cands.end(),
            [](const TeraCand* a, const TeraCand* b) { return cmp_fully(a, b) < 0; });
  return cands;
}

bool equal_groups(const TeraCandGroup* first, const TeraCandGroup* second) {
  if (first == nullptr || second == nullptr) return first == second;
  if (first->get_num_cands() != second->get_num_cands()) return false;
  const auto ones = sorted_cands(first);
  const auto others = sorted_cands(second);
  return std::equal(ones.begin(), ones.end(), others.begin(),
                    [](const TeraCand* a, const TeraCand* b) { return cmp_fully(a, b) == 0; });
}

}  // namespace

TeraResult::TeraResult(const char* query, int min_value, int num_cands, int max_dist, TeraQuery* query_object)
    : minValue(std::clamp(min_value, 0, MAX_VALUE)),
      askedValue(minValue),
      nextValue(min_value > MAX_VALUE ? MAX_VALUE - 1 : std::max(minValue - 1, 0)),
      maxDist(max_dist < 0 ? MAX_VALUE : max_dist),
      numCands(std::clamp(num_cands, 1, MAX_CANDS)),
      biggestGroup(biggest_group()),
      queryString(copy_text(query)),
      singleQuery(query_object != nullptr ? query_object->ref() : nullptr) {}

TeraResult::TeraResult(const char* query, const TeraResult* other)
    : TeraResult(query, other->minValue, other->numCands, other->maxDist) {
  nextValue = other->nextValue;
  biggestGroup = other->biggestGroup;
  infoMode = other->infoMode;
  set_flags(other);
}

TeraResult::~TeraResult() {
  assert(is_consistent());
  TeraCandGroup::remove(candGroups);
  if (singleQuery != nullptr) singleQuery->unref();
}

bool TeraResult::is_consistent() const {
  const auto length_of = [](const TeraCandGroup& group) {
    int length = 0;
    for (const TeraCand* cand = group.candList; cand != nullptr; cand = cand->get_next()) ++length;
    return length;
  };
  int best = -1;
  int better = 0;  // than the group at hand, from the best one down
  for (int value = MAX_VALUE; value >= 0; --value) {
    const TeraCandGroup* const group = group_at(value);
    if (group == nullptr) continue;
    best = std::max(best, value);
    if (group->get_value() != value || group->numCands == 0 || group->numCands != length_of(*group))
      return false;
    if (value < minValue || value < best - maxDist || better >= numCands) return false;
    if (isCounted && group->betterCands != better) return false;
    better += group->numCands;
  }
  for (const TeraCandGroup* group = candGroups; group != nullptr && group->nextGroup != nullptr;
       group = group->nextGroup)
    if ((group->candValue > group->nextGroup->candValue) != is_best_first()) return false;
  return better == numHeld;
}

// ---------------------------------------------------------------- limits
// Whole groups go to keep a limit, the worst ones first, and the least quality rises above them.

int TeraResult::allow(int value, int extra) {
  value = std::clamp(value, 0, MAX_VALUE);
  if (value < minValue) {
    minValue = askedValue = value;
    nextValue = std::max(value - 1, 0);
  }
  maxDist = std::max(maxDist, MAX_VALUE - value);
  const VInt wanted = VInt{numCands} + extra;
  set_num_cands(static_cast<int>(std::clamp(wanted, VInt{1}, VInt{MAX_CANDS})));
  return minValue;
}

int TeraResult::cut(int value) {
  askedValue = std::max(askedValue, std::min(value, MAX_VALUE));
  return raise(value);
}

/// As `cut`, for the limits' sake.
int TeraResult::raise(int value) {
  value = std::min(value, MAX_VALUE);
  int removed = 0;
  for (int worse = minValue; worse < value; ++worse) {
    if (group_at(worse) == nullptr) continue;
    removed += remove_group(worse);
    nextValue = std::max(nextValue, worse);
  }
  minValue = std::max(minValue, value);
  return removed;
}

void TeraResult::set_min_value(int value) {
  value = std::clamp(value, 0, MAX_VALUE);
  if (value >= minValue) {
    cut(value);
    return;
  }
  minValue = askedValue = value;
  keep_dist();
  nextValue = std::min(nextValue, std::max(minValue - 1, 0));
}

int TeraResult::update_min_value(int value) {
  cut(value);
  return minValue;
}

void TeraResult::set_max_dist(int dist) {
  maxDist = dist < 0 ? MAX_VALUE : dist;
  keep_dist();
}

void TeraResult::set_num_cands(int num) {
  numCands = std::clamp(num, 1, MAX_CANDS);
  keep_budget();
}

void TeraResult::set_biggest_group(int size) {
  biggestGroup = std::max(size, 1);
}

void TeraResult::keep_dist() {
  const int best = next_below(MAX_VALUE + 1);
  if (best != NO_GROUP) raise(best - maxDist);
}

/// The worst group has the most candidates above it.
void TeraResult::keep_budget() {
  for (TeraCandGroup* worst; (worst = worst_group()) != nullptr && numHeld - worst->numCands >= numCands;) {
    const int value = worst->candValue;
    remove_group(value);
    minValue = value + 1;
    nextValue = std::max(nextValue, value);
  }
}

int TeraResult::get_max_value() const {
  return std::max(next_below(MAX_VALUE + 1), 0);
}

int TeraResult::get_max_value_with_hitlist() const {
  int best = 0;
  for_each([&best](int value, const TeraCand* cand) {
    if (cand->get_num_infos() > 0) best = std::max(best, value);
  });
  return best;
}

// ---------------------------------------------------------------- groups
// A group is found by its quality in a table; the list has them in the order in which they are shown.

int TeraResult::next_above(int value) const {
  while (++value <= MAX_VALUE)
    if (group_at(value) != nullptr) return value;
  return NO_GROUP;
}

int TeraResult::next_below(int value) const {
  while (--value >= minValue)
    if (group_at(value) != nullptr) return value;
  return NO_GROUP;
}

/// The link to the group of a quality, or to the one behind the place where it belongs.
TeraCandGroup** TeraResult::link_of(int value) {
  const int before = is_best_first() ? next_above(value) : next_below(value);
  return before == NO_GROUP ? &candGroups : &group_at(before)->nextGroup;
}

TeraCandGroup* TeraResult::make_group(int value) {
  if (groupTable == nullptr) groupTable = std::make_unique<GroupTable>();
  auto* group = new TeraCandGroup(value);
  TeraCandGroup** link = link_of(value);
  group->nextGroup = *link;
  *link = group;
  groupTable->groups[value] = group;
  return group;
}

int TeraResult::remove_group(int value) {
  TeraCandGroup* group = group_at(value);
  *link_of(value) = group->nextGroup;
  groupTable->groups[value] = nullptr;
  const int removed = group->numCands;
  numHeld -= removed;
  delete group;
  changed();
  return removed;
}

TeraCandGroup* TeraResult::worst_group() const {
  if (!is_best_first()) return candGroups;
  const int worst = next_above(minValue - 1);
  return worst != NO_GROUP ? group_at(worst) : nullptr;
}

void TeraResult::changed() {
  isCounted = false;
  summaryFlag = 0;
}

void TeraResult::settle() const {
  if (isCounted) return;
  int before = 0;
  for (TeraCandGroup* group = candGroups; group != nullptr; group = group->nextGroup) {
    group->betterCands = is_best_first() ? before : numHeld - before - group->numCands;
    before += group->numCands;
  }
  isCounted = true;
}

// ---------------------------------------------------------------- adding
// A candidate that is not accepted is deleted; one that is accepted may push the worst group out, even its
// own.

void TeraResult::note_kind(const TeraCand& cand, int value) {
  if (cand.get_entry() == TeraCand::NO_ENTRY && cand.get_num_infos() == 0)
    bestFrequent = std::max(bestFrequent, value);
  if (cand.is(TeraCand::ARTIFICIAL)) set_state(ARTIFICIAL);
  if (cand.is(TeraCand::COLLECTION)) set_state(COLLECTION);
}

/// Applies the limits after candidates of that quality came. Returns whether they are still there.
int TeraResult::finish_addition(int value, bool is_new) {
  changed();
  if (is_new && next_above(value) == NO_GROUP) raise(value - maxDist);
  keep_budget();
  return value >= minValue ? 1 : 0;
}

int TeraResult::add(int value, TeraCand* cand) {
  std::unique_ptr<TeraCand> held(cand);
  value = std::min(value, MAX_VALUE);
  if (cand == nullptr || !accept(value)) return 0;
  TeraCandGroup* group = group_at(value);
  const bool isNew = group == nullptr;
  if (isNew) group = make_group(value);
  note_kind(*cand, value);
  group->append(held.release());
  ++numHeld;
  return finish_addition(value, isNew);
}

int TeraResult::add(int value, Large entry) {
  return accept(value) ? add(value, new TeraCand(entry)) : 0;
}

int TeraResult::add_cand_group(TeraCandGroup* group) {
  const std::unique_ptr<TeraCandGroup> held(group);
  if (group == nullptr || group->numCands == 0 || !accept(group->candValue)) return 0;
  const int value = group->candValue;
  const int added = group->numCands;
  for (const TeraCand* cand = group->candList; cand != nullptr; cand = cand->get_next())
    note_kind(*cand, value);
  TeraCandGroup* own = group_at(value);
  const bool isNew = own == nullptr;
  if (isNew) own = make_group(value);
  own->append_all(group);
  numHeld += added;
  return finish_addition(value, isNew) != 0 ? added : 0;
}

int TeraResult::add_cands_from(TeraResult* other) {
  if (other == nullptr) return -1;
  if (other == this) return 0;
  RatedList cands;
  take_from(other, &cands);
  int stay = 0;
  for (Rated& rated : cands) stay += add(rated.value, rated.cand.release());
  return stay;
}

// ---------------------------------------------------------------- order
// Turning the list of groups is all; candidates of one quality keep their order.

int TeraResult::turn() {
  TeraCandGroup* turned = nullptr;
  for (TeraCandGroup* group = candGroups; group != nullptr;) {
    TeraCandGroup* next = std::exchange(group->nextGroup, turned);
    turned = std::exchange(group, next);
  }
  candGroups = turned;
  stateFlags ^= BEST_FIRST;
  settle();
  return 0;
}

int TeraResult::high_first() {
  settle();
  return is_best_first() ? 0 : turn();
}

int TeraResult::low_first() {
  settle();
  return is_best_first() ? turn() : 0;
}

int TeraResult::sort_entries(int bucket_size) {
  const int size = std::max(bucket_size, 1);
  sort_groups([size](const TeraCand* first, const TeraCand* second) {
    const int one = first->get_entry() / size;
    const int other = second->get_entry() / size;
    return one != other ? one < other : TeraCand::cmp_cand(first, second) < 0;
  });
  return 0;
}

int TeraResult::sort_entries(ArgCmp* compare, void* arg) {
  if (compare == nullptr) return -1;
  sort_groups([compare, arg](const TeraCand* a, const TeraCand* b) { return compare(a, b, arg) < 0; });
  return 0;
}

int TeraResult::randomize_groups(int seed) {
  std::mt19937 random(static_cast<unsigned>(sequencing_seed()) + static_cast<unsigned>(seed));
  std::vector<TeraCand*> cands;
  for (TeraCandGroup* group = candGroups; group != nullptr; group = group->nextGroup) {
    cands.clear();
    for (TeraCand* cand = group->candList; cand != nullptr; cand = cand->get_next()) cands.push_back(cand);
    for (std::size_t left = cands.size(); left > 1; --left)
      std::swap(cands[left - 1], cands[random() % left]);
    group->detach();
    for (TeraCand* cand : cands) group->append(cand);
  }
  return 0;
}

// ---------------------------------------------------------------- access
// A table finds the group of a quality, a list leads through the groups in order; how many candidates are
// better is counted when a group is asked for.

VInt TeraResult::get_num_infos() const {
  VInt infos = 0;
  for_each([&infos](int, const TeraCand* cand) { infos += cand->get_num_infos(); });
  return infos;
}

TeraCandGroup* TeraResult::get_first_group() const {
  settle();
  return candGroups;
}

TeraCandGroup* TeraResult::get_best_group() const {
  settle();
  const int best = next_below(MAX_VALUE + 1);
  return best != NO_GROUP ? group_at(best) : nullptr;
}

TeraCand* TeraResult::get_best_cand() const {
  const TeraCandGroup* best = get_best_group();
  return best != nullptr ? best->candList : nullptr;
}

TeraCand* TeraResult::get_best_cand(const std::function<bool(const TeraCand*)>& satisfies) const {
  if (groupTable == nullptr || !satisfies) return nullptr;
  for (int value = MAX_VALUE; value >= minValue; --value) {
    const TeraCandGroup* group = group_at(value);
    for (TeraCand* cand = group != nullptr ? group->candList : nullptr; cand != nullptr;
         cand = cand->get_next())
      if (satisfies(cand)) return cand;
  }
  return nullptr;
}

TeraCand* TeraResult::find_any(const std::function<bool(int, const TeraCand*)>& satisfies) const {
  if (!satisfies) return nullptr;
  for (TeraCandGroup* group = candGroups; group != nullptr; group = group->nextGroup)
    for (TeraCand* cand = group->candList; cand != nullptr; cand = cand->get_next())
      if (satisfies(group->candValue, cand)) return cand;
  return nullptr;
}

int TeraResult::remove_any(const std::function<bool(const TeraCand*)>& condemned) {
  return condemned ? remove_if(condemned) : 0;
}

TeraCand* TeraResult::get_cand(const char* string, int min_value) const {
  if (string == nullptr) return nullptr;
  TeraCand* found = nullptr;
  int best = min_value - 1;
  for_each([&](int value, TeraCand* cand) {
    if (value <= best || cand->get_string() == nullptr || std::strcmp(cand->get_string(), string) != 0)
      return;
    best = value;
    found = cand;
  });
  return found;
}

Large TeraResult::get_first_info() const {
  const TeraCand* cand = get_best_cand([](const TeraCand* c) { return c->get_num_infos() > 0; });
  return cand != nullptr ? cand->get_first_info() : TeraCand::NO_INFO;
}

bool TeraResult::has_special_cands_only() const {
  return numHeld > 0 && find_any([](int, const TeraCand* cand) { return !cand->is_special(); }) == nullptr;
}

bool TeraResult::equal_cands(const TeraResult* other) const {
  if (other == nullptr || numHeld != other->numHeld) return false;
  for (int value = 0; value <= MAX_VALUE; ++value)
    if (!equal_groups(group_at(value), other->group_at(value))) return false;
  return true;
}

TeraCandGroup* TeraResult::detach_group_list() {
  settle();
  groupTable.reset();
  numHeld = 0;
  changed();
  return std::exchange(candGroups, nullptr);
}

int TeraResult::fill_qual_set(TeraQualSet* quals) const {
  if (quals == nullptr) return -1;
  int better = 0;
  for_each([&](int value, const TeraCand* cand) {
    if (cand->get_string() != nullptr && quals->raise(cand->get_string(), value)) ++better;
  });
  return better;
}

// ---------------------------------------------------------------- query and state
// The query is counted, so that several results may share it; flags of the order are the result's own.

void TeraResult::set_string(const char* query) {
  queryString = copy_text(query);
}

int TeraResult::truncate_query(char sep) {
  char* found = queryString != nullptr && sep != '\0' ? std::strchr(queryString.get(), sep) : nullptr;
  if (found == nullptr) return 0;
  *found = '\0';
  return 1;
}

int TeraResult::add_query(TeraQuery* query, int replace) {
  if (query == nullptr || (singleQuery != nullptr && replace == 0)) return 0;
  query->ref();
  if (TeraQuery* old = std::exchange(singleQuery, query); old != nullptr) old->unref();
  return 1;
}

TeraQuery* TeraResult::detach_query() {
  return std::exchange(singleQuery, nullptr);
}

void TeraResult::set_incr_shift(Large shift) {
  for_each([shift](int, TeraCand* cand) { cand->set_shift(shift); });
  changed();
}

void TeraResult::set_flags(const TeraResult* other) {
  if (other == nullptr) return;
  stateFlags = (stateFlags & BEST_FIRST) | (other->stateFlags & ~BEST_FIRST);
}
