#include "ace/ace_mph.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include "ace/ace_alloc.h"
#include "ace/ace_crc32.h"
#include "ace/ace_reporter.h"

namespace {

constexpr unsigned EMPTY = 0xFFFFFFFFU;
constexpr int MAX_INT = std::numeric_limits<int>::max();

/// Seeds with which two items of a bucket may coincide, and slots tried for a bucket, before it is given up.
constexpr int MAX_SEEDS = 1000;
constexpr VInt MAX_TRIALS = 1 << 22;

using Keys = std::vector<const void*>;

unsigned fold(unsigned char byte, int seed, unsigned hash) {
  return crc32_update(byte, hash + static_cast<unsigned>(seed));
}

int slot_of(unsigned hash, int n) {
  return n != 0 ? static_cast<int>(hash % static_cast<unsigned>(n)) : -1;
}

/// Whether an entry, of a table of `size` slots, leads to another slot.
bool is_displacement(unsigned entry, int size) {
  return static_cast<int>(entry) <= -size;
}

/// Where a key's value is, or would be.
Large final_slot(const void* key, const MphHash& hash, const unsigned* table, int size) {
  const Large first = hash(key, 0, size);
  const unsigned entry = table[first];
  if (!is_displacement(entry, size)) return first;
  const VInt displacement = -VInt{static_cast<int>(entry)};
  const VInt shifted = VInt{hash(key, static_cast<int>(displacement / size), size)} + displacement % size;
  return static_cast<Large>(shifted % size);
}

VInt table_size(int n, VInt min_size) {
  return std::max(4 * VInt{std::max(n, 0)} / 3, std::max(min_size, VInt{0}));
}

/// Fills one table.
class Placement {
 public:
  Placement(const Keys& all_keys, const MphHash& hash_function, unsigned* new_table, int num_slots)
      : keys(all_keys), hash(hash_function), table(new_table), size(num_slots) {}

  /// False when some items have not found their slots; the table is then of no use.
  bool run() {
    collect_buckets();
    for (const auto& [start, count] : buckets)
      if (count == 1) table[firstSlots[items[start]]] = items[start];
    for (const auto& [start, count] : buckets)
      if (count > 1 && !displace(items.data() + start, count)) return false;
    return true;
  }

 private:
  struct Bucket {
    Large start;  // in items
    Large count;
  };

  /// Items with one first slot make a bucket; the slot is theirs. The largest buckets come first.
  void collect_buckets() {
    const auto numItems = static_cast<Large>(keys.size());
    isTaken.assign(static_cast<std::size_t>(size), false);
    firstSlots.resize(numItems);
    items.resize(numItems);
    for (Large i = 0; i < numItems; ++i) {
      firstSlots[i] = hash(keys[i], 0, size);
      isTaken[firstSlots[i]] = true;
    }
    std::iota(items.begin(), items.end(), 0U);
    std::sort(items.begin(), items.end(),
              [this](Large a, Large b) { return std::pair(firstSlots[a], a) < std::pair(firstSlots[b], b); });
    for (Large i = 0; i < numItems; ++i) {
      if (i > 0 && firstSlots[items[i]] == firstSlots[items[i - 1]])
        ++buckets.back().count;
      else
        buckets.push_back({i, 1});
    }
    std::sort(buckets.begin(), buckets.end(), [](const Bucket& a, const Bucket& b) {
      return std::pair(b.count, a.start) < std::pair(a.count, b.start);
    });
  }

  /// Finds a seed and a shift with which all items of a bucket fall into free slots.
  bool displace(const Large* bucket, Large count) {
    const int maxSeed = std::min(MAX_INT / size - 1, MAX_SEEDS);
    VInt numTrials = 0;
    for (int seed = 1; seed <= maxSeed && numTrials < MAX_TRIALS; ++seed) {
      slots.resize(count);
      for (Large i = 0; i < count; ++i) slots[i] = hash(keys[bucket[i]], seed, size);
      if (!are_distinct()) continue;
      for (int shift = 0; shift < size; ++shift) {
        if (are_free(shift)) {
          settle(bucket, seed, shift);
          return true;
        }
      }
      numTrials += size;
    }
    return false;
  }

  bool are_distinct() {
    sorted = slots;
    std::sort(sorted.begin(), sorted.end());
    return std::adjacent_find(sorted.begin(), sorted.end()) == sorted.end();
  }

  Large shifted(Large slot, int shift) const {
    const Large sum = slot + static_cast<Large>(shift);  // both below 2^31
    return sum < static_cast<Large>(size) ? sum : sum - static_cast<Large>(size);
  }

  bool are_free(int shift) const {
    return std::none_of(slots.begin(), slots.end(),
                        [&](Large slot) { return isTaken[shifted(slot, shift)]; });
  }

  void settle(const Large* bucket, int seed, int shift) {
    table[firstSlots[bucket[0]]] = static_cast<unsigned>(-(seed * size + shift));
    for (std::size_t i = 0; i < slots.size(); ++i) {
      const Large slot = shifted(slots[i], shift);
      table[slot] = bucket[i];
      isTaken[slot] = true;
    }
  }

  const Keys& keys;
  const MphHash& hash;
  unsigned* table;
  int size;
  std::vector<bool> isTaken;      // slots that are some item's first or final one
  std::vector<Large> firstSlots;  // of the items, in order
  std::vector<Large> items;       // bucket by bucket
  std::vector<Bucket> buckets;
  std::vector<Large> slots;   // of a bucket's items with the seed tried
  std::vector<Large> sorted;  // the same in order
};

struct TableDelete {
  void operator()(unsigned* table) const { ace_delete(table); }
};

int build_table(const Keys& keys, const MphHash& hash, unsigned** table, int minSize, int* size, int flags) {
  const int numItems = static_cast<int>(keys.size());
  const VInt smallest = table_size(numItems, minSize);
  VInt wanted = smallest;
  do {
    unsigned* slots = nullptr;
    const int numSlots = wanted <= MAX_INT ? mph_prepare(&slots, numItems, static_cast<int>(wanted)) : 0;
    std::unique_ptr<unsigned, TableDelete> owner(slots);
    if (slots == nullptr) break;
    if (numItems == 0 || Placement(keys, hash, slots, numSlots).run()) {
      *table = owner.release();
      *size = numSlots;
      return 0;
    }
    wanted += wanted / 4 + 1;
  } while ((flags & MPH_FIXED_SIZE) == 0 && wanted <= smallest * MPH_MAX_GROWTH);
  AceReporter::use_default()->printf(
      "No minimal perfect hash of %d items in %ld slots or more found; do some items hash alike?\n", numItems,
      smallest);
  return -1;
}

}  // namespace

int mph_string_function(const char* s, int seed, int n) {
  if (s == nullptr) return -1;
  unsigned hash = 0;
  for (; *s != '\0'; ++s) hash = fold(static_cast<unsigned char>(*s), seed, hash);
  return slot_of(hash, n);
}

int mph_int_function(int v, int seed, int n) {
  if (n == 0) return -1;
  if (seed == 0) return static_cast<int>(VInt{v} % n);
  unsigned char bytes[sizeof v];
  std::memcpy(bytes, &v, sizeof v);
  unsigned hash = 0;
  for (const unsigned char byte : bytes) hash = fold(byte, seed, hash);
  return slot_of(hash, n);
}

Large MphHash::operator()(const void* key, int seed, int size) const {
  Large slot = 0;
  if (stringFunction != nullptr)
    slot = static_cast<Large>(stringFunction(static_cast<const char*>(key), seed, size));
  else if (intFunction != nullptr)
    slot = static_cast<Large>(intFunction(static_cast<int>(reinterpret_cast<VInt>(key)), seed, size));
  else
    slot = ownFunction(const_cast<void*>(key), seed, size);
  return slot < static_cast<Large>(size) ? slot : slot % static_cast<Large>(size);
}

int mph_prepare(unsigned** table, int n, int minSize) {
  if (table == nullptr) return 0;
  *table = nullptr;
  const VInt size = table_size(n, minSize);
  if (size > MAX_INT) return 0;
  const auto bytes = static_cast<std::size_t>(size) * sizeof(unsigned);
  *table = static_cast<unsigned*>(ace_alloc(bytes, 0xFF));  // all of EMPTY's bytes
  return static_cast<int>(size);
}

int mph_recall(const void* key, MphHash hash, const unsigned* table, int size) {
  if (table == nullptr || size <= 0) return -1;
  return std::max(static_cast<int>(table[final_slot(key, hash, table, size)]), -1);
}

int mph_insert(const void* key, MphHash hash, unsigned* table, int size, int value) {
  if (table == nullptr || size <= 0) return 0;
  unsigned& entry = table[final_slot(key, hash, table, size)];
  if (entry != EMPTY) return 0;
  entry = static_cast<unsigned>(value);
  return 1;
}

void mph_space(unsigned* table, int size, int threshold, int delta) {
  if (table == nullptr) return;
  for (unsigned* entry = table; entry < table + std::max(size, 0); ++entry)
    if (*entry > static_cast<unsigned>(threshold)) *entry += static_cast<unsigned>(delta);
}

int mph_build(int n, void* (*item)(int index, void* data), void* data, MphHash hash, unsigned** table,
              int minSize, int* size, int flags) {
  if (table == nullptr || size == nullptr) return -1;
  *table = nullptr;
  *size = 0;
  if (n < 0 || (n > 0 && item == nullptr)) return -1;
  Keys keys(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) keys[static_cast<std::size_t>(i)] = item(i, data);
  return build_table(keys, hash, table, minSize, size, flags);
}

int mph_build(int n, void** items, MphHash hash, unsigned** table, int minSize, int* size, int flags) {
  const auto item = [](int index, void* data) { return static_cast<void**>(data)[index]; };
  return mph_build(items != nullptr || n <= 0 ? n : -1, item, items, hash, table, minSize, size, flags);
}
