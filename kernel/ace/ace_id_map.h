/// Id maps: from a dense key number to a list of 32-bit values, in a handful of flat arrays.
///
/// A map is built once, from lists that lie in an `AceBulk` pool, saved, and used in place from a mapping.
/// Four representations are combined with lists that are stored once for all keys that share them; which
/// arrays are there says what the map is (the mode):
///
///     bit   array            the map is
///       1   keyArray         sparse: only keys with a list have a slot, found by binary search
///       2   primArray        mixed: a slot holds a single value itself, longer lists are side lists
///       4   offsetArray      (dense when alone) lists, or side lists, are ranges of valueArray
///       8   dedupArray       deduplicated: a key holds the number of a shared list, 16 bits
///      16   dedupTinyArray   the same with 8 bits
///
/// Of a key, `get` finds the list in these steps, each left out where its array is:
///
///     key -> dedup array -> number of a shared list -> keyArray -> slot -> primArray -> value itself, or
///     number of a side list -> offsetArray -> range of valueArray
///
///     keys 0: 7   1: 3 5   2: none   3: 9
///     dense           offsetArray 0 1 3 3 4           valueArray 7 3 5 9
///     sparse          keyArray 0 1 3                  offsetArray 0 1 3 4     valueArray 7 3 5 9
///     mixed           primArray 7 side(0) none 9      offsetArray 0 2         valueArray 3 5
///     sparse mixed    keyArray 0 1 3                  primArray 7 side(0) 9   offsetArray 0 2   valueArray 3
///     5
///
/// `side(s)` is 0xFFFFFFFE - s and "none" 0xFFFFFFFF, so mixed maps are for values below those. Offsets are
/// of 32 bits. A map of more than 2^32 - 1 values cuts its offset array into sections of 2^sectionShift
/// entries, each relative to a 64-bit base.
///
/// The reverse index answers which key has a value, for maps in which every value belongs to one key. It is
/// an array of key numbers by value, all ones for none; where values are sparse, by position in a block
/// index.
///
/// Payload of `save` ("IDMAP"), in order; every array is aligned to 8:
///
///     magic           IDMAP
///     mode            int                  0 only in a map without keys
///     numKeys         Large                keys are 0 .. numKeys - 1
///     arraySize       Large                number of slots
///     maxValue        Large                no value is larger
///     numSideKeys     Large                number of side lists; 0 in maps that are not mixed
///     totalValues     Huge                 entries of valueArray
///     keyArray        arraySize x 4        mode 1; strictly ascending
///     primArray       arraySize x 4        mode 2
///     offsetArray     (lists + 1) x 4      mode 4, as all below up to valueArray; lists = numSideKeys or,
///     when
///                                          that is 0, arraySize; ascending from 0 to totalValues
///     numSections     Large                0 without sections
///     sectionShift    int                  if numSections > 0: 0..31
///     sectionBase     numSections x 8      if numSections > 0
///     valueArray      totalValues x 4      if totalValues > 0
///     dedupArray      numKeys x 2          mode 8: numbers of shared lists; 65535 for none
///     dedupTinyArray  numKeys              mode 16: the same; 255 for none
///     reverse flag    int                  0 or 1
///     reverseInfo     AceBits              if the flag is 1, as the next two: key numbers, all ones for none
///     block flag      int                  0 or 1
///     blockIndex      BlockIndex           if that flag is 1: positions of the values in reverseInfo
///
/// Without keyArray arraySize is the number of keys, or of shared lists in a deduplicated map. A mixed map
/// without side lists has no mode 4. `read` checks the numbers, in constant time; look-ups check where they
/// read, so that in damaged arrays they stay in bounds: a list that cannot be one is empty. `verify` checks
/// all arrays but valueArray and reverseInfo, in one pass; the values themselves are the owner's to judge.
///
/// Errors: look-ups never fail, a key or value that is not there has an empty list or no key. `read` returns
/// -1, and the map is empty, for what is not a payload, and throws as `AceFile` does where a mapping ends
/// early.
/// Thread safety: a finished map may be read by any number of threads.
/// Cost: a look-up is O(1), or a binary search in keyArray.
#pragma once

#include <algorithm>
#include <memory>
#include <span>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_bits.h"
#include "ace/ace_block_index.h"
#include "ace/ace_btree.h"
#include "ace/ace_bulk.h"
#include "ace/ace_types.h"

class AceFile;
class AceReporter;

/// A view of one list of values, which lie in the map.
struct IdList {
  bool empty() const { return count == 0; }
  Large operator[](Large index) const { return values[index]; }
  const Large* begin() const { return values; }
  const Large* end() const { return values + count; }

  const Large* values = nullptr;
  Large count = 0;
};

/// What lists have in common, gathered before they are stored.
struct SORV_API AceIdMapStats {
  /// The size of what cannot be represented.
  static constexpr VUint IMPOSSIBLE = ~VUint{0};

  /// Counts the list of one key; empty ones and null are no list.
  void add(Large key, const AceBulk::List* list);
  /// 32-bit words in the arrays of a map of these lists; `num_keys` keys, or shared lists. `mode` is a sum of
  /// `AceIdMap::Mode` without deduplication, sections are not counted. IMPOSSIBLE for a mixed map whose codes
  /// of side lists would be values.
  VUint num_words(int mode, Large num_keys) const;

  Large numUsedKeys = 0;   ///< keys with a list
  Large numMultiKeys = 0;  ///< those with more than one value
  Large highestUsedKey = 0;
  Large maxValue = 0;
  Huge totalValues = 0;
  Huge multiValues = 0;  ///< values in lists of more than one
};

class SORV_API AceIdMap {
 public:
  using List = AceBulk::List;
  using ListMap = BMap<List*>;

  /// Bits that say which arrays a map has; stored in files, not to be renumbered.
  enum Mode : int { SPARSE = 1, MIXED = 2, OFFSETS = 4, DEDUP = 8, DEDUP_TINY = 16 };

  /// No key, no value.
  static constexpr Large NONE = 4294967295U;
  /// Most shared lists of each kind of deduplicated maps.
  static constexpr Large MAX_SHARED = 65534;
  static constexpr Large MAX_SHARED_TINY = 254;

  AceIdMap() = default;
  AceIdMap(const AceIdMap&) = delete;
  AceIdMap& operator=(const AceIdMap&) = delete;

  // Building, in place of what there was. The lists are copied, their values in the order given; a null list
  // is an empty one. `rep` may be null; it is told the size of the chosen representation and of the others.
  // All return 0; or -1, explained on `rep`, and the map is empty.

  /// Chooses the smallest representation, the earlier of equal ones in the order dense, sparse, mixed, sparse
  /// mixed, then deduplicated dense and mixed. -1 for null `lists` of some keys.
  int build(Large num_keys, List** lists, AceReporter* rep);
  /// The same from a map of key numbers up to 4294967294, for few keys in a wide range.
  int build(ListMap* map, AceReporter* rep);
  /// Builds the representation given, a sum of `Mode`: OFFSETS or MIXED (with or without OFFSETS), perhaps
  /// SPARSE, perhaps one of the two for deduplication. -1 as well when the lists cannot be represented so.
  int make(int num_keys, List** lists, int mode, AceReporter* rep);
  /// Builds the reverse index, with a block index where the two together are smaller. Takes 8 bytes per value
  /// while it works. -1, and no reverse index, when a value has two keys, which is told on `rep` or the
  /// default reporter.
  int build_reverse();
  int build_reverse(AceReporter* rep);
  /// Becomes empty.
  void clean();

  // Look-up.

  IdList get(Large key) const;
  /// Stores the address of the list of `key` and returns its length.
  Large get_array(Large key, const Large** values) const;
  /// Copies the list of `key`. Returns its length, or -1 (and nothing is copied) when it exceeds `max`.
  VInt get_array_copy(Large key, Large* out, Large max) const;
  /// Calls `visit(list)` for the list of each key. What several keys read is fetched side by side.
  template <class Visit>
  void for_each_list(std::span<const Large> keys, Visit visit) const;
  /// NONE for an empty list.
  Large get_first(Large key) const;
  Large get_size(Large key) const { return get(key).count; }
  bool is_empty(Large key) const { return get(key).empty(); }

  // Iteration by slot, from 0 on: the keys with a list in sparse maps (unless deduplicated), else all.

  /// The key of a slot; NONE past the last.
  Large get_key(Large index) const;
  /// Sets the key and the list of a slot and returns the list's length; 0, and null values, for an empty one.
  /// -1 past the last slot, with key NONE and null values.
  VInt get_by_index(Large index, Large& key, const Large*& values) const;

  // Reverse look-up.

  /// The key that has the value; NONE when there is none or no reverse index.
  Large get_index(Large value) const;
  bool has_reverse() const { return reverseInfo != nullptr; }

  Large get_num_keys() const { return numKeys; }
  /// The largest key, with or without a list; NONE in a map without keys.
  Large get_max_key() const { return numKeys - 1; }
  /// The largest value; 0 without values.
  Large get_max_value() const { return maxValue; }
  /// The number of values in `valueArray`; single values of mixed maps are not counted.
  Huge get_total_size() const { return totalValues; }
  /// A sum of `Mode`; 0 in a map without keys.
  int get_mode() const;

  VInt save(AceFile* file) const;
  VInt read(AceFile* file);
  /// Whether the arrays are as described. Returns 0, or -1, reported on `rep`.
  int verify(AceReporter* rep) const;
  /// Six lines of figures, as signed numbers.
  void print(AceReporter* rep) const;

 protected:
  /// Bits of an offset. Derived classes may narrow it before they build, to have sections in small maps;
  /// files tell no difference.
  int offsetBits = 32;

 private:
  static constexpr Large NO_SHARED = 65535;
  static constexpr Large NO_SHARED_TINY = 255;

  struct KeyLists;
  struct SharedLists;

  bool is_dedup() const { return dedupArray != nullptr || dedupTinyArray != nullptr; }
  Large num_slots() const { return is_dedup() ? numKeys : arraySize; }
  VUint num_offsets() const { return VUint{numSideKeys != 0 ? numSideKeys : arraySize} + 1; }
  Large find_slot(Large key) const;
  IdList list_of(Large slot) const;
  /// Any number in damaged arrays.
  VUint offset(VUint index) const {
    const VUint base = sectionBase != nullptr ? static_cast<VUint>(sectionBase[index >> sectionShift]) : 0;
    return offsetArray[index] + base;
  }

  int build_chosen(const KeyLists& source, AceReporter* rep);
  void build_mode(const KeyLists& source, int mode, const SharedLists& shared, const AceIdMapStats& stats);
  void build_dedup(const SharedLists& shared, int mode);
  std::vector<List*> build_keys(const KeyLists& source);
  void build_dense(std::span<List* const> lists);
  void build_sparse(const KeyLists& source);
  void build_mixed(std::span<List* const> lists);
  void build_sparse_mixed(const KeyLists& source);
  int build_sparse_map(const ListMap* map, AceReporter* rep);
  void store_lists(std::span<List* const> lists);
  void prepare_sections(VUint num_offsets, Huge total_values);
  bool store_offsets(std::span<List* const> lists, Large* offsets, Huge* bases) const;

  void save_arrays(AceFile* file) const;
  int save_reverse(AceFile* file) const;
  const char* read_arrays(AceFile* file);
  const char* read_offsets(AceFile* file);
  const char* read_reverse(AceFile* file);
  const char* check_counts(int mode) const;
  const char* check_section_numbers() const;
  const char* check_ends() const;
  const char* check_slots() const;
  const char* check_sections() const;
  const char* check_offsets() const;

  Large numKeys = 0;
  Large arraySize = 0;
  Large maxValue = 0;
  Huge totalValues = 0;
  Large numSideKeys = 0;
  Large sideThreshold = NONE;  // ~numSideKeys: smaller entries of primArray are values
  const Small* dedupArray = nullptr;
  const Tiny* dedupTinyArray = nullptr;
  const Large* keyArray = nullptr;
  const Large* primArray = nullptr;
  const Large* offsetArray = nullptr;
  const Huge* sectionBase = nullptr;
  Large numSections = 0;
  int sectionShift = 0;
  const Large* valueArray = nullptr;
  std::unique_ptr<AceBits> reverseInfo;
  std::unique_ptr<BlockIndex> blockIndex;
  int fileMapped = 0;  // the arrays point into a mapping

  AceAttach memAt;  // holds the arrays otherwise
};

inline IdList AceIdMap::list_of(Large slot) const {
  if (primArray != nullptr) {
    const Large* prim = primArray + slot;
    if (*prim < sideThreshold) return {prim, 1};
    if (*prim == NONE) return {};
    slot = NONE - 1 - *prim;
  }
  const VUint start = offset(slot);
  const VUint end = offset(VUint{slot} + 1);
  if (start > end || end > static_cast<VUint>(totalValues) || end - start > NONE) return {};
  return {valueArray + start, static_cast<Large>(end - start)};
}

inline IdList AceIdMap::get(Large key) const {
  if (key >= numKeys) return {};
  Large slot = key;
  if (dedupTinyArray != nullptr) {
    slot = dedupTinyArray[key];
    if (slot == NO_SHARED_TINY) return {};
    if (keyArray == nullptr && slot >= arraySize) return {};
  } else if (dedupArray != nullptr) {
    slot = dedupArray[key];
    if (slot == NO_SHARED) return {};
    if (keyArray == nullptr && slot >= arraySize) return {};
  }
  if (keyArray != nullptr) {
    slot = find_slot(slot);
    if (slot == NONE) return {};
  }
  return list_of(slot);
}

template <class Visit>
void AceIdMap::for_each_list(std::span<const Large> keys, Visit visit) const {
  if (primArray == nullptr || keyArray != nullptr || dedupTinyArray != nullptr) {
    for (const Large key : keys) visit(get(key));
    return;
  }
  const auto walk = [&](const auto& fetch, const auto& slot_of) {
    constexpr std::size_t AHEAD = 16;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      if (i + AHEAD < keys.size()) fetch(std::min(keys[i + AHEAD], numKeys));
      const Large slot = keys[i] < numKeys ? slot_of(keys[i]) : NONE;
      const bool isSingle = slot < arraySize && primArray[slot] < sideThreshold;
      visit(isSingle ? IdList{primArray + slot, 1} : get(keys[i]));
    }
  };
  if (dedupArray != nullptr)
    walk([this](Large key) { __builtin_prefetch(dedupArray + key); },
         [this](Large key) { return Large{dedupArray[key]}; });
  else
    walk([this](Large key) { __builtin_prefetch(primArray + key); }, [](Large key) { return key; });
}

inline Large AceIdMap::get_array(Large key, const Large** values) const {
  const IdList list = get(key);
  *values = list.values;
  return list.count;
}

inline Large AceIdMap::get_first(Large key) const {
  const IdList list = get(key);
  return list.empty() ? NONE : list[0];
}
