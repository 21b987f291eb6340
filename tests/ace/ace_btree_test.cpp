#include "ace/ace_btree.h"

#include <cstring>
#include <map>
#include <random>

namespace {

using Map = BMap<int>;
using Set = BSet<VInt, int>;
using Oracle = std::map<VInt, int>;

/// Checks order, separators, filling and depth of a set; returns its height. `low` and `high` bound its keys.
int checked_height(const Set* set, VInt low, VInt high, bool at_right_edge, bool is_root) {
  EXPECT_LE(set->numMaps, Set::CAPACITY);
  EXPECT_GE(set->numMaps, is_root ? (set->isLeaf != 0 ? 1 : 2) : at_right_edge ? 1 : Set::CAPACITY / 4);
  int height = 0;
  for (int i = 0; i < set->numMaps; ++i) {
    const VInt key = set->firstMap[i].key;
    const bool isLast = i + 1 == set->numMaps;
    EXPECT_GE(key, low);
    EXPECT_LE(key, high);
    if (!isLast) {
      EXPECT_LT(key, set->firstMap[i + 1].key);
    }
    if (set->isLeaf != 0) continue;
    const VInt end = isLast ? high : set->firstMap[i + 1].key - 1;
    const int below = checked_height(set->firstMap[i].child, key, end, at_right_edge && isLast, false);
    if (i > 0) {
      EXPECT_EQ(below, height);
    }
    height = below;
  }
  return height + 1;
}

void expect_same(const Map& map, const Oracle& oracle) {
  const VInt low = std::numeric_limits<VInt>::min();
  const VInt high = std::numeric_limits<VInt>::max();
  EXPECT_LE(map.empty() ? 0 : checked_height(map.get_root(), low, high, true, true), 4);
  ASSERT_EQ(map.size(), static_cast<VInt>(oracle.size()));
  auto next = oracle.begin();
  const auto is_next = [&](VInt key, int value) {
    const bool isSame = next->first == key && next->second == value;
    ++next;
    return isSame ? 0 : 1;
  };
  EXPECT_EQ(map.action(is_next), 0);
  auto last = oracle.rbegin();
  EXPECT_EQ(map.back([&](VInt key, int value) {
    const bool isSame = last->first == key && last->second == value;
    ++last;
    return isSame ? 0 : 1;
  }),
            0);
  next = oracle.begin();
  BIter<VInt, int> up(map.get_root(), 0);
  for (; up.more() && is_next(up.key(), up.value()) == 0; up.next()) {
  }
  EXPECT_TRUE(next == oracle.end() && !up.more() && !up.next());
  VInt numBack = 0;
  for (BIter<VInt, int> down(map.get_root(), 1); down.more(); down.prev()) ++numBack;
  EXPECT_EQ(numBack, map.size());
}

TEST(BMap, agrees_with_an_ordered_map_in_any_sequence_of_changes) {
  for (unsigned seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937_64 random(seed);
    Map map;
    Oracle oracle;
    const VInt numKeys = seed % 2 == 0 ? 3000 : 20000;
    for (int phase = 0; phase < 4; ++phase) {
      for (int step = 0; step < 15000; ++step) {
        const VInt key = static_cast<VInt>(random() % static_cast<VUint>(numKeys)) - numKeys / 2;
        if (random() % 10 < (phase % 2 == 0 ? 9 : 1))
          map[key] = oracle[key] = step;
        else
          ASSERT_EQ(map.destroy(key), static_cast<int>(oracle.erase(key)));
        ASSERT_EQ(map(-key), oracle.contains(-key) ? oracle[-key] : 0);
      }
      expect_same(map, oracle);
    }
  }
}

TEST(BMap, takes_ascending_and_descending_keys_and_the_ends_of_the_range) {
  for (const VInt direction : {1, -1}) {
    Map map;
    Oracle oracle;
    for (VInt i = 0; i < 120000; ++i) map[direction * i] = oracle[direction * i] = static_cast<int>(i);
    for (const VInt key : {std::numeric_limits<VInt>::min(), std::numeric_limits<VInt>::max()})
      map[key] = oracle[key] = 1;
    expect_same(map, oracle);
    for (VInt i = 0; i < 120000; ++i)  // from the other end, and leaving every hundredth
      if (i % 100 != 0) {
        const VInt key = direction * (120000 - i);
        ASSERT_EQ(map.destroy(key), static_cast<int>(oracle.erase(key)));
      }
    expect_same(map, oracle);
    if (direction == 1) {
      EXPECT_EQ(map.search(119999), nullptr);
    }
  }
}

TEST(BMap, removing_traversals_visit_all_and_keep_what_they_have_not_reached) {
  for (const bool isBackwards : {false, true}) {
    Map map;
    for (VInt key = 0; key < 5000; ++key) map[key * 7 % 5000] = 1;
    Oracle seen;
    const auto stop_at = [&](int limit) {
      return [&seen, limit](VInt key, int value) {
        seen[key] += value;
        return static_cast<int>(seen.size()) == limit ? key + 10000 : 0;
      };
    };
    const VInt stopKey = isBackwards ? 5000 - 2345 : 2344;
    EXPECT_EQ(isBackwards ? map.back_remove(stop_at(2345)) : map.remove(stop_at(2345)), stopKey + 10000);
    Oracle rest;
    for (VInt key = 0; key < 5000; ++key)
      if (!seen.contains(key)) rest[key] = 1;
    EXPECT_EQ(rest.size(), 5000U - 2345U);
    expect_same(map, rest);
    const auto fail = [&](VInt key, int) -> VInt { return key % 1500 == 0 ? throw 1 : 0; };
    EXPECT_THROW(static_cast<void>(isBackwards ? map.back_remove(fail) : map.remove(fail)), int);
    VInt left = 0;
    map.action([&](VInt, int) { return ++left, 0; });
    EXPECT_EQ(left, map.size()) << "what was visited before the exception is gone";
    EXPECT_EQ(isBackwards ? map.back_remove(stop_at(0)) : map.remove(stop_at(0)), 0);
    EXPECT_TRUE(map.empty() && map.get_root() == nullptr);
  }
}

TEST(BTree, orders_by_the_comparison_it_is_given) {
  BTree<const char*, long> tree([](const char* a, const char* b) { return std::strcmp(a, b); }, "");
  std::vector<std::string> words;
  for (int i = 0; i < 5000; ++i) words.push_back(std::to_string(i * 7919 % 100003));
  for (const auto& word : words) tree[word.c_str()] = static_cast<long>(word.size());
  EXPECT_EQ(tree("7919"), 4);
  std::string last;
  EXPECT_EQ(tree.action([&](const char* key, long) {
    const bool isOrdered = last < key;
    last = key;
    return isOrdered ? 0 : 1;
  }),
            0);
}

TEST(BIter, moves_both_ways_and_starts_again) {
  Map map;
  for (VInt key = 0; key < 3000; ++key) map[2 * key] = static_cast<int>(key);
  BIter<VInt, int> it(map.get_root(), 0);
  for (int i = 0; i < 1700; ++i) it.next();
  for (int i = 0; i < 900; ++i) it.prev();
  EXPECT_EQ(it.key(), 1600);
  it.value() = -3;
  EXPECT_EQ(map(1600), -3);
  it.rewind();
  EXPECT_EQ(it.key(), 0);
  EXPECT_FALSE(it.prev() || it.more() || it.next()) << "beyond the end there is no key";
  EXPECT_FALSE((BIter<VInt, int>(nullptr, 1).more()));
}

}  // namespace
