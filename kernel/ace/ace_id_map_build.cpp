/// Building id maps. Representations are made of three steps, each of which leaves the next one with fewer
/// lists: sharing equal lists (deduplicated), dropping empty ones (sparse), dropping single values (mixed).

#include <algorithm>
#include <bit>
#include <limits>
#include <string>
#include <vector>

#include "ace/ace_avl.h"
#include "ace/ace_file.h"
#include "ace/ace_id_map.h"
#include "ace/ace_reporter.h"

namespace {

using List = AceIdMap::List;
using AllLists = std::span<List* const>;

constexpr int DENSE = AceIdMap::OFFSETS;
constexpr int SHAPE_BITS = AceIdMap::SPARSE | AceIdMap::MIXED;
constexpr int DEDUP_BITS = AceIdMap::DEDUP | AceIdMap::DEDUP_TINY;
constexpr int ALL_BITS = SHAPE_BITS | AceIdMap::OFFSETS | DEDUP_BITS;

Large length_of(const List* list) {
  return list != nullptr ? list->count() : 0;
}

int cmp_lists(const List* first, const List* second) {
  return first == second ? 0 : List::cmp(first, second);
}

AceReporter* or_null(AceReporter* rep) {
  return rep != nullptr ? rep : AceReporter::null();
}

/// Words of the array of shared list numbers.
VUint num_dedup_words(int mode, Large num_keys) {
  if ((mode & AceIdMap::DEDUP_TINY) != 0) return (VUint{num_keys} + 3) / 4;
  return (mode & AceIdMap::DEDUP) != 0 ? (VUint{num_keys} + 1) / 2 : 0;
}

std::string name_of(int mode) {
  std::string name = (mode & AceIdMap::DEDUP) != 0        ? "16-bit deduplicated "
                     : (mode & AceIdMap::DEDUP_TINY) != 0 ? "8-bit deduplicated "
                                                          : "";
  if ((mode & SHAPE_BITS) == 0) return name + "dense";
  if ((mode & AceIdMap::SPARSE) != 0) name += "sparse";
  if ((mode & SHAPE_BITS) == SHAPE_BITS) name += " ";
  return (mode & AceIdMap::MIXED) != 0 ? name + "mixed" : name;
}

/// The representations considered, with the smallest.
struct Choice {
  void consider(int mode, VUint words) {
    if (words < bestWords) {
      bestMode = mode;
      bestWords = words;
    }
    if (words != AceIdMapStats::IMPOSSIBLE)
      figures += (figures.empty() ? "" : ", ") + name_of(mode) + " " + std::to_string(words * sizeof(Large));
  }

  int bestMode = DENSE;
  VUint bestWords = AceIdMapStats::IMPOSSIBLE;
  std::string figures;  // all of them with their bytes
};

/// Copies the elements of a vector into `at`; never null.
template <class T>
T* copied(const std::vector<T>& from, AceAttach* at) {
  T* array = nullptr;
  at->malloc(array, static_cast<long>(from.size()));
  std::copy(from.begin(), from.end(), array);
  return array;
}

/// `floor(log2(value))` of a positive value.
int floor_log2(VUint value) {
  return static_cast<int>(std::bit_width(value)) - 1;
}

}  // namespace

/// Lists by ascending key.
struct AceIdMap::KeyLists {
  Large key_at(std::size_t index) const { return hasKeys ? keys[index] : static_cast<Large>(index); }
  AceIdMapStats stats() const {
    AceIdMapStats sums;
    for (std::size_t i = 0; i < lists.size(); ++i) sums.add(key_at(i), lists[i]);
    return sums;
  }

  Large numKeys = 0;
  AllLists lists;
  bool hasKeys = false;         // otherwise the index of a list is its key
  std::span<const Large> keys;  // of the lists
};

/// Equal lists stored once.
struct AceIdMap::SharedLists {
  /// False when there are more than `limit` different lists.
  bool gather(const KeyLists& source, Large limit) {
    AVLTree<const List*, Large> numberOf(cmp_lists, NONE);
    numbers.assign(source.numKeys, NO_SHARED);
    for (std::size_t i = 0; i < source.lists.size(); ++i) {
      if (length_of(source.lists[i]) == 0) continue;
      Large& number = numberOf[source.lists[i]];
      if (number == NONE) {
        if (lists.size() >= limit) return false;
        number = static_cast<Large>(lists.size());
        stats.add(number, source.lists[i]);
        lists.push_back(source.lists[i]);
      }
      numbers[source.key_at(i)] = static_cast<Small>(number);
    }
    return true;
  }

  std::vector<Small> numbers;  // by key
  std::vector<List*> lists;    // by number
  AceIdMapStats stats;
};

// ---------------------------------------------------------------- the choice
// What each representation takes is known from sums over the lists, so that only the smallest is built.

void AceIdMapStats::add(Large key, const AceBulk::List* list) {
  const Large count = length_of(list);
  if (count == 0) return;
  ++numUsedKeys;
  highestUsedKey = key;
  totalValues += count;
  if (count > 1) {
    ++numMultiKeys;
    multiValues += count;
  }
  maxValue = std::max(maxValue, *std::max_element(list->begin(), list->end()));
}

VUint AceIdMapStats::num_words(int mode, Large num_keys) const {
  const bool isSparse = (mode & AceIdMap::SPARSE) != 0;
  const VUint numSlots = isSparse ? numUsedKeys : num_keys;
  const VUint keyWords = isSparse ? numSlots : 0;
  if ((mode & AceIdMap::MIXED) == 0) return keyWords + numSlots + 1 + static_cast<VUint>(totalValues);
  if (maxValue >= AceIdMap::NONE - numMultiKeys) return IMPOSSIBLE;
  const VUint sideWords = numMultiKeys > 0 ? VUint{numMultiKeys} + 1 : 0;
  return keyWords + numSlots + sideWords + static_cast<VUint>(multiValues);
}

int AceIdMap::build(Large num_keys, List** lists, AceReporter* rep) {
  clean();
  if (num_keys == 0) return 0;
  if (lists == nullptr) {
    or_null(rep)->printf("Id map: expected the lists of %u keys, found null\n", num_keys);
    return -1;
  }
  return build_chosen({num_keys, {lists, num_keys}, false, {}}, rep);
}

int AceIdMap::build(ListMap* map, AceReporter* rep) {
  clean();
  if (map == nullptr) {
    or_null(rep)->print("Id map: expected a map of lists, found null\n");
    return -1;
  }
  return map->empty() ? 0 : build_sparse_map(map, rep);
}

int AceIdMap::build_sparse_map(const ListMap* map, AceReporter* rep) {
  std::vector<Large> keys;
  std::vector<List*> lists;
  VInt lastKey = -1;
  const VInt badKeys = map->action([&](VInt key, List* list) {
    if (key < 0 || key >= VInt{NONE}) {
      or_null(rep)->printf("Id map: expected keys from 0 to %u, found %ld\n", NONE - 1, key);
      return 1;
    }
    lastKey = key;
    if (length_of(list) > 0) {
      keys.push_back(static_cast<Large>(key));
      lists.push_back(list);
    }
    return 0;
  });
  if (badKeys != 0) return -1;
  return build_chosen({static_cast<Large>(lastKey + 1), lists, true, keys}, rep);
}

int AceIdMap::build_chosen(const KeyLists& source, AceReporter* rep) {
  const AceIdMapStats stats = source.stats();
  Choice choice;
  for (const int mode : {DENSE, SPARSE | OFFSETS, MIXED | OFFSETS, SPARSE | MIXED | OFFSETS})
    choice.consider(mode, stats.num_words(mode, source.numKeys));
  SharedLists shared;
  if (num_dedup_words(DEDUP_TINY, source.numKeys) < choice.bestWords && shared.gather(source, MAX_SHARED)) {
    const auto count = static_cast<Large>(shared.lists.size());
    const int dedup = count <= MAX_SHARED_TINY ? DEDUP_TINY : DEDUP;
    for (const int mode : {DENSE, MIXED | OFFSETS})
      if (const VUint words = shared.stats.num_words(mode, count); words != AceIdMapStats::IMPOSSIBLE)
        choice.consider(mode | dedup, words + num_dedup_words(dedup, source.numKeys));
  }
  build_mode(source, choice.bestMode, shared, stats);
  or_null(rep)->printf("Id map of %u keys, %u lists, %ld values: %s; bytes: %s\n", numKeys, stats.numUsedKeys,
                       stats.totalValues, name_of(choice.bestMode).c_str(), choice.figures.c_str());
  return 0;
}

int AceIdMap::make(int num_keys, List** lists, int mode, AceReporter* rep) {
  clean();
  const bool isMode =
      (mode & ~ALL_BITS) == 0 && (mode & (OFFSETS | MIXED)) != 0 && (mode & DEDUP_BITS) != DEDUP_BITS;
  if (!isMode || num_keys < 0 || (lists == nullptr && num_keys > 0)) {
    or_null(rep)->printf("Id map: cannot make mode %d of %d keys from %s\n", mode, num_keys,
                         lists != nullptr ? "lists" : "null");
    return -1;
  }
  if (num_keys == 0) return 0;
  const auto count = static_cast<Large>(num_keys);
  const KeyLists source{count, {lists, count}, false, {}};
  const AceIdMapStats stats = source.stats();
  SharedLists shared;
  const Large limit = (mode & DEDUP_TINY) != 0 ? MAX_SHARED_TINY : MAX_SHARED;
  if ((mode & DEDUP_BITS) != 0 && !shared.gather(source, limit)) {
    or_null(rep)->printf("Id map: more than %u different lists cannot be %s\n", limit, name_of(mode).c_str());
    return -1;
  }
  const AceIdMapStats& stored = (mode & DEDUP_BITS) != 0 ? shared.stats : stats;
  if (stored.num_words(mode, count) == AceIdMapStats::IMPOSSIBLE) {
    or_null(rep)->printf("Id map: values up to %u with %u longer lists cannot be %s\n", stored.maxValue,
                         stored.numMultiKeys, name_of(mode).c_str());
    return -1;
  }
  build_mode(source, mode, shared, stats);
  return 0;
}

// ---------------------------------------------------------------- representations
// Each is the next simpler one of fewer lists; what fails leaves the map empty.

void AceIdMap::build_mode(const KeyLists& source, int mode, const SharedLists& shared,
                          const AceIdMapStats& stats) try {
  numKeys = source.numKeys;
  maxValue = stats.maxValue;
  KeyLists lists = source;
  if ((mode & DEDUP_BITS) != 0) {
    build_dedup(shared, mode);
    lists = {static_cast<Large>(shared.lists.size()), shared.lists, false, {}};
  }
  if ((mode & SHAPE_BITS) == SHAPE_BITS) return build_sparse_mixed(lists);
  if ((mode & SPARSE) != 0) return build_sparse(lists);
  std::vector<List*> all;
  if (lists.hasKeys) {
    all.assign(lists.numKeys, nullptr);
    for (std::size_t i = 0; i < lists.lists.size(); ++i) all[lists.keys[i]] = lists.lists[i];
    lists.lists = all;
  }
  if ((mode & MIXED) != 0) return build_mixed(lists.lists);
  build_dense(lists.lists);
} catch (...) {
  clean();
  throw;
}

void AceIdMap::build_dedup(const SharedLists& shared, int mode) {
  if ((mode & DEDUP) != 0) {
    dedupArray = copied(shared.numbers, &memAt);
    return;
  }
  Tiny* numbers = nullptr;
  memAt.malloc(numbers, numKeys);
  std::transform(shared.numbers.begin(), shared.numbers.end(), numbers,
                 [](Small number) { return static_cast<Tiny>(number); });  // NO_SHARED to NO_SHARED_TINY
  dedupTinyArray = numbers;
}

void AceIdMap::build_dense(AllLists lists) {
  arraySize = static_cast<Large>(lists.size());
  store_lists(lists);
}

/// Sets the key array and returns the lists that are not empty.
std::vector<AceIdMap::List*> AceIdMap::build_keys(const KeyLists& source) {
  std::vector<Large> keys;
  std::vector<List*> used;
  for (std::size_t i = 0; i < source.lists.size(); ++i) {
    if (length_of(source.lists[i]) == 0) continue;
    keys.push_back(source.key_at(i));
    used.push_back(source.lists[i]);
  }
  keyArray = copied(keys, &memAt);
  return used;
}

void AceIdMap::build_sparse(const KeyLists& source) {
  build_dense(build_keys(source));
}

void AceIdMap::build_sparse_mixed(const KeyLists& source) {
  build_mixed(build_keys(source));
}

void AceIdMap::build_mixed(AllLists lists) {
  arraySize = static_cast<Large>(lists.size());
  Large* prims = nullptr;
  memAt.malloc(prims, arraySize);
  std::vector<List*> sides;
  for (Large slot = 0; slot < arraySize; ++slot) {
    const Large count = length_of(lists[slot]);
    prims[slot] = count == 0   ? NONE
                  : count == 1 ? (*lists[slot])[0]
                               : NONE - 1 - static_cast<Large>(sides.size());
    if (count > 1) sides.push_back(lists[slot]);
  }
  primArray = prims;
  numSideKeys = static_cast<Large>(sides.size());
  sideThreshold = ~numSideKeys;
  if (numSideKeys > 0) store_lists(sides);
}

/// Sets the offset and value arrays. Where long lists crowd in one section, all sections are halved.
void AceIdMap::store_lists(AllLists lists) {
  for (const List* list : lists) totalValues += length_of(list);
  const VUint numOffsets = lists.size() + 1;
  prepare_sections(numOffsets, totalValues);
  std::vector<Huge> bases(numSections);
  Large* offsets = nullptr;
  memAt.malloc(offsets, static_cast<long>(numOffsets));
  while (!store_offsets(lists, offsets, bases.data())) {
    --sectionShift;
    numSections = static_cast<Large>(((numOffsets - 1) >> sectionShift) + 1);
    bases.assign(numSections, 0);
  }
  offsetArray = offsets;
  if (numSections > 0) sectionBase = copied(bases, &memAt);
  Large* values = nullptr;
  memAt.malloc(values, std::max(totalValues, Huge{1}));
  valueArray = values;
  for (const List* list : lists)
    if (list != nullptr) values = std::copy(list->begin(), list->end(), values);
  if (totalValues == 0) *values = 0;
}

/// Without a need for sections there are none. Otherwise their size is such that, with lists of one length, a
/// section holds from a quarter to all of the values that an offset reaches.
void AceIdMap::prepare_sections(VUint num_offsets, Huge total_values) {
  const auto total = static_cast<VUint>(total_values);
  if (total >> offsetBits == 0) return;
  sectionShift = std::max(floor_log2(num_offsets) + offsetBits - 1 - floor_log2(total), 0);
  numSections = static_cast<Large>(((num_offsets - 1) >> sectionShift) + 1);
}

/// Stores the start of each list and the end of the last. False when one is too far from its section's base.
bool AceIdMap::store_offsets(AllLists lists, Large* offsets, Huge* bases) const {
  const VUint inSection = (VUint{1} << sectionShift) - 1;
  Huge total = 0;
  Huge base = 0;
  for (std::size_t i = 0;; ++i) {
    if (numSections > 0 && (i & inSection) == 0) base = bases[i >> sectionShift] = total;
    if (static_cast<VUint>(total - base) >> offsetBits != 0) return false;
    offsets[i] = static_cast<Large>(total - base);
    if (i == lists.size()) return true;
    total += length_of(lists[i]);
  }
}

// ---------------------------------------------------------------- reverse index
// There is one where no two keys share a value: sorting pairs of value and key shows it.

int AceIdMap::build_reverse() {
  return build_reverse(AceReporter::use_default());
}

int AceIdMap::build_reverse(AceReporter* rep) {
  reverseInfo.reset();
  blockIndex.reset();
  constexpr int VALUE_SHIFT = 32;
  std::vector<VUint> entries;  // value and, below, key
  Large key = 0;
  const Large* values = nullptr;
  Large slot = 0;
  for (VInt count = get_by_index(0, key, values); count >= 0; count = get_by_index(++slot, key, values))
    for (VInt i = 0; i < count; ++i) entries.push_back(VUint{values[i]} << VALUE_SHIFT | key);
  std::sort(entries.begin(), entries.end());
  entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
  const auto value_of = [](VUint entry) { return static_cast<Large>(entry >> VALUE_SHIFT); };
  const auto twice = std::adjacent_find(entries.begin(), entries.end(),
                                        [&](VUint a, VUint b) { return value_of(a) == value_of(b); });
  if (twice != entries.end()) {
    rep->printf("Id map without reverse index: value %u has the keys %u and %u\n", value_of(*twice),
                static_cast<Large>(twice[0]), static_cast<Large>(twice[1]));
    return -1;
  }

  auto index = std::make_unique<BlockIndex>();
  for (const VUint entry : entries) index->in_order_count(value_of(entry));
  index->prepare();
  for (const VUint entry : entries) index->in_order_insert(value_of(entry));
  index->finish();
  AceFile measure;
  index->save(&measure);
  const int width = AceBits::num_bits(numKeys);  // all ones is no key
  const Huge allValues = Huge{maxValue} + 1;
  const Huge savedBits = (allValues - index->size()) * width;
  if (savedBits / 8 <= measure.get_pos()) index.reset();
  auto keys = std::make_unique<AceBits>(width, index != nullptr ? Huge{index->size()} : allValues);
  keys->set_all();
  for (const VUint entry : entries) {
    const Large value = value_of(entry);
    keys->set(index != nullptr ? index->get_key(value) : value, static_cast<Large>(entry));
  }
  reverseInfo = std::move(keys);
  blockIndex = std::move(index);
  return 0;
}
