#include "ace/ace_bulk.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <random>

#include "ace/ace_container.h"

namespace {

using List = AceBulk::List;

std::vector<Large> values_of(const List* list) {
  return {list->begin(), list->end()};
}

TEST(AceBulk, reuses_a_block_for_the_lengths_of_its_class) {
  AceBulk bulk;
  List* list = bulk.get(5);
  const List* place = list;
  EXPECT_EQ(bulk.size(), 7U);
  EXPECT_EQ(bulk.usage(), 5U);
  bulk.put(list);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(bulk.usage(), 0U);
  list = bulk.get(6);
  EXPECT_EQ(list, place);
  EXPECT_EQ(bulk.size(), 7U);
  for (Large i = 0; i < 6; ++i) (*list)[i] = i;
  EXPECT_EQ(bulk.inc(list, 6), 0);
  EXPECT_NE(list, place) << "seven values need the class of eight";
  EXPECT_EQ(values_of(list), (std::vector<Large>{0, 1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(bulk.size(), 7U + 9U);
  const List* longer = list;
  bulk.inc(list, 7);
  EXPECT_EQ(list, longer);
  EXPECT_EQ(bulk.get(-1), nullptr);
  EXPECT_EQ(bulk.get(std::numeric_limits<int>::min()), nullptr);
}

TEST(AceBulk, lists_of_all_lengths_agree_with_vectors) {
  std::mt19937 random(21);
  AceBulk bulk(20000);
  std::map<int, std::pair<List*, std::vector<Large>>> lists;
  VUint used = 0;
  for (int step = 0; step < 60000; ++step) {
    auto& [list, oracle] = lists[static_cast<int>(random() % 200)];
    used -= oracle.size();
    if (random() % 400 == 0) {
      bulk.put(list);
      oracle.assign(random() % 10 == 0 ? 2000 + random() % 9000 : random() % 40, 0);
      list = bulk.get(static_cast<int>(oracle.size()));
      for (Large i = 0; i < oracle.size(); ++i) (*list)[i] = oracle[i] = static_cast<Large>(random());
    } else {
      const auto value = static_cast<Large>(random());
      ASSERT_EQ(bulk.inc(list, value), 0);
      oracle.push_back(value);
    }
    used += oracle.size();
    ASSERT_EQ(bulk.usage(), used);
    ASSERT_GE(bulk.size(), used);
  }
  for (auto& [key, entry] : lists) ASSERT_EQ(values_of(entry.first), entry.second);
  const VUint made = bulk.size();
  for (auto& [key, entry] : lists) {
    bulk.put(entry.first);
    entry.first = bulk.get(static_cast<int>(entry.second.size()));
  }
  EXPECT_EQ(bulk.size(), made) << "every block was found again";
  bulk.clean();
  EXPECT_EQ(bulk.size() + bulk.usage(), 0U);
  EXPECT_EQ(bulk.memList, nullptr);
  List* fresh = nullptr;
  bulk.inc(fresh, 17);
  EXPECT_EQ(values_of(fresh), (std::vector<Large>{17}));
}

TEST(AceBulk, every_length_has_the_smallest_class_that_holds_it) {
  std::vector<int> capacities{1, 2, 3};
  while (capacities.back() < 20000) capacities.push_back(2 * capacities[capacities.size() - 2]);
  capacities[2] = 3;
  for (std::size_t i = 3; i < capacities.size(); ++i) capacities[i] = i == 3 ? 4 : 2 * capacities[i - 2];
  AceBulk bulk;
  for (int n = 0; n < 9000; n += n < 100 ? 1 : 37) {
    const VUint before = bulk.size();
    List* list = bulk.get(n);
    const auto capacity = *std::lower_bound(capacities.begin(), capacities.end(), n);
    const VUint made = bulk.size() - before;
    EXPECT_TRUE(made == static_cast<VUint>(capacity) + 1) << n;
    std::fill(list->begin(), list->begin() + capacity, 7U);  // the sanitizers judge
  }
}

TEST(AceBulk, lists_are_ordered_by_content_or_by_length) {
  AceBulk bulk;
  const auto make = [&](const std::vector<Large>& values) {
    List* list = bulk.get(static_cast<int>(values.size()));
    std::copy(values.begin(), values.end(), list->begin());
    return list;
  };
  const std::vector<std::vector<Large>> ascending{{}, {0}, {0, 0}, {1}, {1, 2}, {1, 2, 3}, {0xFFFFFFFF}};
  for (const auto& first : ascending)
    for (const auto& second : ascending) {
      const auto sign = [](auto a, auto b) { return a < b ? -1 : b < a ? 1 : 0; };
      EXPECT_EQ(List::cmp(make(first), make(second)), sign(first, second));
      EXPECT_EQ(List::cmp_len(make(first), make(second)), sign(first.size(), second.size()));
    }
  EXPECT_EQ(List::cmp(nullptr, make({})), 0);
  EXPECT_LT(List::cmp(nullptr, make({0})), 0);
}

TEST(AceBulk, a_view_grows_like_its_list) {
  AceBulk bulk;
  AceBulk::Array array;
  EXPECT_TRUE(array.empty() && array.begin() == array.end());
  std::vector<Large> oracle;
  for (Large value = 0; value < 100; ++value) {
    bulk.inc(array, value);
    oracle.push_back(value);
  }
  EXPECT_EQ(std::vector<Large>(array.begin(), array.end()), oracle);
  bulk.put(array);
  EXPECT_EQ(array.get_list(), nullptr);
  EXPECT_EQ(bulk.get(array, 3).count(), 3U);
}

TEST(AceContainer, pieces_are_aligned_apart_and_as_large_as_asked) {
  std::mt19937 random(31);
  AceContainer container(100);
  std::vector<std::pair<char*, VInt>> pieces;
  VInt used = 0;
  for (int i = 0; i < 3000; ++i) {
    const VInt size = static_cast<VInt>(random() % 60);
    char* piece = static_cast<char*>(container.get(size));
    ASSERT_NE(piece, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(piece) % 8, 0U);
    std::memset(piece, i % 256, static_cast<std::size_t>(size));
    pieces.emplace_back(piece, size);
    used += (size + 7) / 8 * 8;
    ASSERT_EQ(container.used_mem(), used);
  }
  for (int i = 0; i < 3000; ++i) {
    const auto& [piece, size] = pieces[static_cast<std::size_t>(i)];
    ASSERT_EQ(std::count(piece, piece + size, static_cast<char>(i % 256)), size);
  }
}

TEST(AceContainer, refuses_what_no_heap_can_hold) {
  AceContainer container(100);
  EXPECT_EQ(container.get(-1), nullptr);
  EXPECT_EQ(container.get(std::numeric_limits<VInt>::max()), nullptr);
  EXPECT_EQ(container.get(217), nullptr) << "a heap of twice the first size has room for 216 bytes";
  EXPECT_NE(container.get(105), nullptr) << "the first heap would have room for 104";
  EXPECT_EQ(container.get(441), nullptr);
  EXPECT_NE(container.get(440), nullptr);
  EXPECT_NE(AceContainer(-5).get(8), nullptr);
}

TEST(AceContainer, takes_the_last_pieces_back) {
  AceContainer container(64);
  EXPECT_EQ(container.unget(8), -1);
  void* first = container.get(20);
  void* second = container.get(30);
  EXPECT_EQ(container.unget(64), -1);
  EXPECT_EQ(container.unget(-8), -1);
  EXPECT_EQ(container.unget(30), 0);
  EXPECT_EQ(container.get(30), second);
  EXPECT_EQ(container.unget(30), 0);
  EXPECT_EQ(container.unget(20), 0);
  EXPECT_EQ(container.unget(1), -1) << "nothing is left to give back";
  EXPECT_EQ(container.get(20), first);
  container.release();
  EXPECT_EQ(container.used_mem(), 0);
  EXPECT_EQ(container.unget(20), -1);
}

}  // namespace
