/// B-trees: large maps with keys in order, wide and flat.
///
/// A tree is made of sets of up to 1000 entries. In a leaf an entry is a key with its value; in an inner set
/// it is a separator with a child set. The children's keys are not below their separator and below the next
/// one; the first separator of the tree is `minValue`.
///
///     inner    | minValue |  500  |
///                  |          |
///     leaves   | 3 .. 477 | 502 .. 977 |
///
/// A full set is split in halves; when the new entry is the last one of the whole tree, the new set takes it
/// alone, so that keys entered in ascending order fill their sets. A set that falls below 250 entries is
/// merged with a neighbour, or the two share their entries evenly. So all sets but those at the right edge
/// hold at least 250 entries, and 8 levels are more than memory can fill.
///
/// Keys and values are moved as bytes, so both must be trivially copyable. A slot (the address of a value)
/// stays valid until the next insertion or deletion.
///
/// Cost: O(log n) comparisons, and moving up to 1000 entries per change.
/// Errors: memory exhaustion throws `std::bad_alloc` and leaves the tree as it was.
/// Thread safety: a tree belongs to one thread at a time; a finished one may be searched and walked by any
/// number of threads, since lookups write nothing.
/// Source: R. Bayer, E. McCreight, Acta Informatica 1, 1972.
#pragma once

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

/// Levels of sets that a tree can have.
inline constexpr int BTREE_MAX_LEVELS = 8;

/// One node of a tree.
template <class K, class V>
class BSet : public AceAttach {
  static_assert(std::is_trivially_copyable_v<K> && std::is_trivially_copyable_v<V>, "entries move as bytes");

 public:
  static constexpr int CAPACITY = 1000;

  struct Entry {
    Entry() {}  // undefined, like the entries behind the last one

    K key;
    union {
      V value;      // in a leaf
      BSet* child;  // in an inner set
    };
  };

  explicit BSet(bool is_leaf) : isLeaf(is_leaf ? 1 : 0) { this->malloc(firstMap, CAPACITY); }

  bool is_full() const { return numMaps == CAPACITY; }
  /// Positions of the first entry not below `key`, and of the child that covers `key`.
  template <class Order>
  int lower_bound(const K& key, const Order& order) const;
  template <class Order>
  int child_of(const K& key, const Order& order) const;
  void insert_at(int pos, const Entry& entry);
  /// Takes out `count` entries from position `pos` on.
  void erase_at(int pos, int count);
  /// Moves the entries from position `pos` on to the front of `next`.
  void move_tail(int pos, BSet* next);

  int isLeaf;
  int numMaps = 0;
  Entry* firstMap;
};

/// The tree over an order: a callable that compares two keys and returns a negative number, 0 or a positive
/// one. See `BTree` and `BMap`.
template <class K, class V, class Order>
class BTreeCore {
 public:
  using Set = BSet<K, V>;

  BTreeCore(Order order, K min_value) : cmpFunc(order), minValue(min_value) {}
  BTreeCore(const BTreeCore&) = delete;
  BTreeCore& operator=(const BTreeCore&) = delete;
  ~BTreeCore() { remove(); }

  /// The value slot of the key, made with `V()` when the key is new.
  V* insert(K key);
  /// The value slot of the key, or null.
  V* search(K key) { return slot(key); }
  const V* search(K key) const { return slot(key); }
  /// Returns the number of keys erased, 1 or 0.
  int destroy(K key);
  /// The value of the key, which is inserted when missing.
  V& operator[](K key) { return *insert(key); }
  /// The value of the key, or `V()`; never inserts.
  V operator()(K key) const {
    const V* found = search(key);
    return found != nullptr ? *found : V();
  }
  /// The number of keys.
  VInt size() const { return numElements; }
  bool empty() const { return numElements == 0; }
  void remove();
  /// The topmost set, for a `BIter`; null in an empty tree.
  Set* get_root() const { return rootSet; }

  // Traversal. `f(key, value)` may change the value; it returns 0 to go on, another value stops and is passed
  // back. It must not insert or destroy.

  /// In ascending and in descending order.
  template <class F>
  VInt action(F f) const {
    return rootSet != nullptr ? walk(rootSet, f) : 0;
  }
  template <class F>
  VInt back(F f) const {
    return rootSet != nullptr ? walk_back(rootSet, f) : 0;
  }
  /// The same, and erases each entry that was visited; after a stop the others stay.
  template <class F>
  VInt remove(F f) {
    return consume(f, false);
  }
  template <class F>
  VInt back_remove(F f) {
    return consume(f, true);
  }

 private:
  using Entry = typename Set::Entry;
  static constexpr int MIN_FILL = Set::CAPACITY / 4;

  /// The way to an entry: a set on each level, with a position in each.
  struct Path {
    Set* set[BTREE_MAX_LEVELS];
    int pos[BTREE_MAX_LEVELS];
    int numLevels = 0;

    Set* leaf() const { return set[numLevels - 1]; }
    int leaf_pos() const { return pos[numLevels - 1]; }
    bool at_end() const;
  };
  /// Sets made before a split changes anything.
  using Reserve = std::unique_ptr<Set>[BTREE_MAX_LEVELS + 1];

  V* slot(const K& key) const;
  bool find(const K& key, Path* path) const;
  void find_edge(bool last, Path* path) const;
  int make_reserve(const Path& path, Reserve& reserve) const;
  V* place(const Path& path, Entry entry, Reserve& reserve);
  void mend(const Path& path);
  void join_or_share(Set* above, int pos);
  static void destroy_all(Set* set);
  template <class F>
  static VInt walk(Set* set, F& f);
  template <class F>
  static VInt walk_back(Set* set, F& f);
  template <class F>
  VInt consume(F& f, bool backwards);

  Set* rootSet = nullptr;
  Order cmpFunc;
  K minValue;
  VInt numElements = 0;
};

/// A map over any keys.
template <class K, class V>
class BTree : public BTreeCore<K, V, int (*)(K, K)> {
 public:
  /// Negative, 0 or positive as the first key is before, equal to or behind the second.
  using BCompare = int (*)(K, K);
  /// `min_value` is smaller than all keys.
  BTree(BCompare compare, K min_value) : BTreeCore<K, V, BCompare>(compare, min_value) {}
};

struct BNumericOrder {
  int operator()(VInt first, VInt second) const { return first < second ? -1 : first > second ? 1 : 0; }
};

/// A map over numbers.
template <class V>
class BMap : public BTreeCore<VInt, V, BNumericOrder> {
 public:
  BMap() : BTreeCore<VInt, V, BNumericOrder>(BNumericOrder(), std::numeric_limits<VInt>::min()) {}
};

/// A position in a tree, which must not change meanwhile:
///
///     for (BIter<VInt, int> it(map.get_root(), 0); it.more(); it.next()) use(it.key(), it.value());
template <class K, class V>
class BIter {
 public:
  /// Starts at the first key, or with `from_end` not 0 at the last. `root` may be null.
  BIter(BSet<K, V>* root, int from_end) : rootSet(root), fromEnd(from_end) { rewind(); }

  /// To the next greater and the next smaller key. Both return whether there is one; beyond either end the
  /// iterator stays without a key until `rewind`.
  bool next() { return step(1); }
  bool prev() { return step(-1); }
  /// Whether the iterator stands on a key; `key` and `value` demand it.
  bool more() const { return leafSet != nullptr; }
  /// Back to where it started.
  void rewind();
  K key() const { return leafSet->firstMap[leafPos].key; }
  V& value() const { return leafSet->firstMap[leafPos].value; }

 private:
  void descend(BSet<K, V>* set, bool to_end);
  bool step(int direction);

  int leafPos = 0;
  BSet<K, V>* leafSet = nullptr;  // null without a key
  BSet<K, V>* setStack[BTREE_MAX_LEVELS] = {};
  int posStack[BTREE_MAX_LEVELS] = {};
  int numLevel = 0;  // inner sets above the leaf
  BSet<K, V>* rootSet;
  int fromEnd;
};

// Sets.

template <class K, class V>
template <class Order>
int BSet<K, V>::lower_bound(const K& key, const Order& order) const {
  int first = 0;
  int count = numMaps;
  while (count > 0) {
    const int half = count / 2;
    const bool isBelow = order(firstMap[first + half].key, key) < 0;
    first = isBelow ? first + half + 1 : first;
    count = isBelow ? count - half - 1 : half;
  }
  return first;
}

template <class K, class V>
template <class Order>
int BSet<K, V>::child_of(const K& key, const Order& order) const {
  const int pos = lower_bound(key, order);
  const bool isSeparator = pos < numMaps && order(firstMap[pos].key, key) == 0;
  return isSeparator || pos == 0 ? pos : pos - 1;
}

template <class K, class V>
void BSet<K, V>::insert_at(int pos, const Entry& entry) {
  std::memmove(static_cast<void*>(firstMap + pos + 1), firstMap + pos,
               static_cast<std::size_t>(numMaps - pos) * sizeof(Entry));
  firstMap[pos] = entry;
  ++numMaps;
}

template <class K, class V>
void BSet<K, V>::erase_at(int pos, int count) {
  std::memmove(static_cast<void*>(firstMap + pos), firstMap + pos + count,
               static_cast<std::size_t>(numMaps - pos - count) * sizeof(Entry));
  numMaps -= count;
}

template <class K, class V>
void BSet<K, V>::move_tail(int pos, BSet* next) {
  const int count = numMaps - pos;
  std::memmove(static_cast<void*>(next->firstMap + count), next->firstMap,
               static_cast<std::size_t>(next->numMaps) * sizeof(Entry));
  std::memcpy(static_cast<void*>(next->firstMap), firstMap + pos,
              static_cast<std::size_t>(count) * sizeof(Entry));
  next->numMaps += count;
  numMaps = pos;
}

// Lookup.

template <class K, class V, class Order>
V* BTreeCore<K, V, Order>::slot(const K& key) const {
  Set* set = rootSet;
  if (set == nullptr) return nullptr;
  while (set->isLeaf == 0) set = set->firstMap[set->child_of(key, cmpFunc)].child;
  const int pos = set->lower_bound(key, cmpFunc);
  const bool isFound = pos < set->numMaps && cmpFunc(set->firstMap[pos].key, key) == 0;
  return isFound ? &set->firstMap[pos].value : nullptr;
}

/// The way to the key, or to where it would be; says whether it is there. The tree must not be empty.
template <class K, class V, class Order>
bool BTreeCore<K, V, Order>::find(const K& key, Path* path) const {
  Set* set = rootSet;
  for (;;) {
    const int level = path->numLevels++;
    path->set[level] = set;
    if (set->isLeaf != 0) break;
    path->pos[level] = set->child_of(key, cmpFunc);
    set = set->firstMap[path->pos[level]].child;
  }
  const int pos = set->lower_bound(key, cmpFunc);
  path->pos[path->numLevels - 1] = pos;
  return pos < set->numMaps && cmpFunc(set->firstMap[pos].key, key) == 0;
}

/// The way to the first or the last entry. The tree must not be empty.
template <class K, class V, class Order>
void BTreeCore<K, V, Order>::find_edge(bool last, Path* path) const {
  Set* set = rootSet;
  for (;;) {
    const int level = path->numLevels++;
    path->set[level] = set;
    path->pos[level] = last ? set->numMaps - 1 : 0;
    if (set->isLeaf != 0) break;
    set = set->firstMap[path->pos[level]].child;
  }
}

/// Whether the way leads behind the last entry of the whole tree.
template <class K, class V, class Order>
bool BTreeCore<K, V, Order>::Path::at_end() const {
  for (int level = 0; level + 1 < numLevels; ++level)
    if (pos[level] + 1 != set[level]->numMaps) return false;
  return leaf_pos() == leaf()->numMaps;
}

// Insertion.

template <class K, class V, class Order>
V* BTreeCore<K, V, Order>::insert(K key) {
  if (rootSet == nullptr) rootSet = new Set(true);
  Path path;
  if (find(key, &path)) return &path.leaf()->firstMap[path.leaf_pos()].value;
  Reserve reserve;
  make_reserve(path, reserve);
  Entry entry;
  entry.key = key;
  entry.value = V();
  ++numElements;
  return place(path, entry, reserve);
}

/// Makes a set for each full one, from the leaf upwards, that the insertion will split, and a root if the
/// old one is split. Returns their number.
template <class K, class V, class Order>
int BTreeCore<K, V, Order>::make_reserve(const Path& path, Reserve& reserve) const {
  int count = 0;
  for (int level = path.numLevels - 1; level >= 0 && path.set[level]->is_full(); --level)
    reserve[count++] = std::make_unique<Set>(path.set[level]->isLeaf != 0);
  if (count < path.numLevels) return count;
  if (path.numLevels == BTREE_MAX_LEVELS) throw std::bad_alloc();
  reserve[count++] = std::make_unique<Set>(false);
  return count;
}

/// Puts the entry into the leaf, splitting what is full; returns its slot.
template <class K, class V, class Order>
V* BTreeCore<K, V, Order>::place(const Path& path, Entry entry, Reserve& reserve) {
  const bool isAppended = path.at_end();
  V* slot = nullptr;
  int pos = path.leaf_pos();
  for (int depth = 0;; ++depth) {  // levels above the leaf
    const int level = path.numLevels - 1 - depth;
    Set* set = path.set[level];
    Set* target = set;
    Set* made = nullptr;
    if (set->is_full()) {
      made = reserve[depth].release();
      set->move_tail(isAppended ? set->numMaps : Set::CAPACITY / 2, made);
      if (pos > set->numMaps || made->numMaps == 0) {
        target = made;
        pos -= set->numMaps;
      }
    }
    target->insert_at(pos, entry);
    if (depth == 0) slot = &target->firstMap[pos].value;
    if (made == nullptr) return slot;
    entry.key = made->firstMap[0].key;
    entry.child = made;
    if (level > 0) {
      pos = path.pos[level - 1] + 1;
      continue;
    }
    Entry first;
    first.key = minValue;
    first.child = rootSet;
    rootSet = reserve[depth + 1].release();
    rootSet->insert_at(0, first);
    rootSet->insert_at(1, entry);
    return slot;
  }
}

// Deletion.

template <class K, class V, class Order>
int BTreeCore<K, V, Order>::destroy(K key) {
  Path path;
  if (rootSet == nullptr || !find(key, &path)) return 0;
  path.leaf()->erase_at(path.leaf_pos(), 1);
  --numElements;
  mend(path);
  return 1;
}

/// Restores the filling of the sets along the way, from the leaf upwards, after entries of the leaf have
/// gone.
template <class K, class V, class Order>
void BTreeCore<K, V, Order>::mend(const Path& path) {
  for (int level = path.numLevels - 1; level > 0 && path.set[level]->numMaps < MIN_FILL; --level) {
    Set* above = path.set[level - 1];
    if (above->numMaps > 1) {
      join_or_share(above, std::max(path.pos[level - 1], 1));
    } else if (path.set[level]->numMaps == 0) {  // an only child, at the right edge
      delete path.set[level];
      above->numMaps = 0;
    }
  }
  while (rootSet->isLeaf == 0 && rootSet->numMaps == 1) {
    Set* only = rootSet->firstMap[0].child;
    delete rootSet;
    rootSet = only;
  }
  if (rootSet->numMaps == 0) {
    delete rootSet;
    rootSet = nullptr;
  }
}

/// Merges the children at `pos - 1` and `pos`, or, where one set cannot hold both, evens them out.
template <class K, class V, class Order>
void BTreeCore<K, V, Order>::join_or_share(Set* above, int pos) {
  Set* first = above->firstMap[pos - 1].child;
  Set* second = above->firstMap[pos].child;
  const int total = first->numMaps + second->numMaps;
  if (total <= Set::CAPACITY) {
    first->move_tail(0, second);
    above->firstMap[pos - 1].child = second;
    above->erase_at(pos, 1);
    delete first;
    return;
  }
  if (first->numMaps > total / 2) {
    first->move_tail(total / 2, second);
  } else {
    const int numMoved = total / 2 - first->numMaps;
    std::memcpy(static_cast<void*>(first->firstMap + first->numMaps), second->firstMap,
                static_cast<std::size_t>(numMoved) * sizeof(Entry));
    first->numMaps += numMoved;
    second->erase_at(0, numMoved);
  }
  above->firstMap[pos].key = second->firstMap[0].key;
}

template <class K, class V, class Order>
void BTreeCore<K, V, Order>::destroy_all(Set* set) {
  if (set->isLeaf == 0)
    for (int i = 0; i < set->numMaps; ++i) destroy_all(set->firstMap[i].child);
  delete set;
}

template <class K, class V, class Order>
void BTreeCore<K, V, Order>::remove() {
  if (rootSet != nullptr) destroy_all(rootSet);
  rootSet = nullptr;
  numElements = 0;
}

// Traversal.

template <class K, class V, class Order>
template <class F>
VInt BTreeCore<K, V, Order>::walk(Set* set, F& f) {
  for (int i = 0; i < set->numMaps; ++i) {
    Entry& entry = set->firstMap[i];
    const VInt stop = set->isLeaf != 0 ? static_cast<VInt>(f(entry.key, entry.value)) : walk(entry.child, f);
    if (stop != 0) return stop;
  }
  return 0;
}

template <class K, class V, class Order>
template <class F>
VInt BTreeCore<K, V, Order>::walk_back(Set* set, F& f) {
  for (int i = set->numMaps; i-- > 0;) {
    Entry& entry = set->firstMap[i];
    const VInt stop =
        set->isLeaf != 0 ? static_cast<VInt>(f(entry.key, entry.value)) : walk_back(entry.child, f);
    if (stop != 0) return stop;
  }
  return 0;
}

/// Visits the leaf at one edge and takes out what was visited, leaf by leaf.
template <class K, class V, class Order>
template <class F>
VInt BTreeCore<K, V, Order>::consume(F& f, bool backwards) {
  VInt stop = 0;
  while (rootSet != nullptr && stop == 0) {
    Path path;
    find_edge(backwards, &path);
    Set* leaf = path.leaf();
    int numVisited = 0;
    const auto take_out = [&] {
      leaf->erase_at(backwards ? leaf->numMaps - numVisited : 0, numVisited);
      numElements -= numVisited;
      mend(path);
    };
    try {
      while (numVisited < leaf->numMaps && stop == 0) {
        Entry& entry = leaf->firstMap[backwards ? leaf->numMaps - 1 - numVisited : numVisited];
        ++numVisited;
        stop = f(entry.key, entry.value);
      }
    } catch (...) {
      take_out();
      throw;
    }
    take_out();
  }
  return stop;
}

// Iterators.

/// Down to the first or the last entry below `set`.
template <class K, class V>
void BIter<K, V>::descend(BSet<K, V>* set, bool to_end) {
  while (set->isLeaf == 0) {
    setStack[numLevel] = set;
    posStack[numLevel] = to_end ? set->numMaps - 1 : 0;
    set = set->firstMap[posStack[numLevel++]].child;
  }
  leafSet = set;
  leafPos = to_end ? set->numMaps - 1 : 0;
}

template <class K, class V>
void BIter<K, V>::rewind() {
  numLevel = 0;
  leafSet = nullptr;
  if (rootSet != nullptr) descend(rootSet, fromEnd != 0);
}

template <class K, class V>
bool BIter<K, V>::step(int direction) {
  if (leafSet == nullptr) return false;
  leafPos += direction;
  if (leafPos >= 0 && leafPos < leafSet->numMaps) return true;
  leafSet = nullptr;
  while (numLevel > 0) {
    BSet<K, V>* set = setStack[--numLevel];
    posStack[numLevel] += direction;
    if (posStack[numLevel] < 0 || posStack[numLevel] >= set->numMaps) continue;
    BSet<K, V>* below = set->firstMap[posStack[numLevel++]].child;
    descend(below, direction < 0);
    return true;
  }
  return false;
}
