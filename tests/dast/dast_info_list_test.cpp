#include "dast/dast_info_list.h"

#include <random>

#include "dast/dast_info_list_cache.h"
#include "gtest/gtest.h"
#include "oracle/record_set.h"
#include "tera/tera_cand.h"

namespace {

using oracle::Bits;
using oracle::bits_of;
using oracle::RecordSet;
constexpr Large NONE = DastInfoList::NONE;
constexpr Bits ALL = 255;

std::vector<RecordSet> all_lists(bool open_end) {
  std::vector<RecordSet> lists;
  for (Bits set = 0; set <= ALL; ++set)
    for (RecordSet& list : oracle::all_encodings(set, open_end)) lists.push_back(std::move(list));
  return lists;
}

std::vector<Large> infos_of(const DastInfoList& list) {
  return {list.get_infos().begin(), list.get_infos().end()};
}

void expect_set(const DastInfoList& list, Bits set, bool is_single, const char* what) {
  ASSERT_TRUE(oracle::is_sound(list)) << what;
  ASSERT_EQ(bits_of(list), set) << what;
  ASSERT_EQ(list.get_type(), set == 0 || is_single ? DastInfoList::SINGLE : DastInfoList::FROM_TO) << what;
}

TEST(DastInfoList, operations_on_all_pairs_of_lists_over_8_records_agree_with_bits) {
  const std::vector<RecordSet> firsts = all_lists(false);
  const std::vector<RecordSet> seconds = all_lists(true);
  AceAttach at;
  for (const RecordSet& a : firsts)
    for (const RecordSet& b : seconds) {
      const bool isA = a.type == DastInfoList::SINGLE;
      const bool isB = b.type == DastInfoList::SINGLE;
      const DastInfoList first = a.list();
      const DastInfoList second = b.list();
      DastInfoList result = first;
      result.intersect_with(&second, &at);
      expect_set(result, a.bits & b.bits, isA || isB, "intersection");
      result = first;
      result.union_with(&second, &at);
      expect_set(result, a.bits | b.bits, a.infos.empty() ? isB : isA && (isB || b.infos.empty()), "union");
      result = first;
      result.subtract(&second, &at);
      expect_set(result, a.bits & ~b.bits, isA, "difference");
      ASSERT_EQ(first.has_intersection(&second), (a.bits & b.bits) != 0);
      if (HasFatalFailure()) {
        FAIL() << "sets " << a.bits << " and " << b.bits << ", types " << a.type << " and " << b.type;
      }
      at.release();
    }
}

TEST(DastInfoList, operations_on_each_list_over_8_records_agree_with_bits) {
  AceAttach at;
  for (const RecordSet& set : all_lists(false)) {
    const DastInfoList list = set.list();
    EXPECT_EQ(list.get_size(), static_cast<Large>(__builtin_popcount(set.bits)));
    for (Large record = 0; record < 10; ++record)
      EXPECT_EQ(list.has(record), set.type != DastInfoList::REFERENCE && oracle::has(set.bits, record))
          << record;
    for (Large limit = 0; limit < 10; ++limit) {
      const Large* records = nullptr;
      const Large count = list.get_single(&records, &at, limit);
      EXPECT_EQ(bits_of(DastInfoList(count, records, false)), set.bits & oracle::range(0, limit));
      const DastInfoList* rest = DastInfoList::invert(&list, limit, &at);
      EXPECT_EQ(bits_of(*rest), ~set.bits & oracle::range(1, limit));
      EXPECT_TRUE(oracle::is_sound(*rest));
    }
    DastInfoList moved = list;
    moved.apply_offset(1000, &at);
    moved.apply_offset(-1000, &at);
    EXPECT_EQ(bits_of(moved), set.bits);
    EXPECT_NE(moved.get_type(), DastInfoList::REFERENCE);
    const Large* infos = nullptr;
    const Large count = list.to_infos(&infos, &at);
    const TeraCand cand("", count, infos);
    EXPECT_EQ(bits_of(DastInfoList(&cand)), set.bits);
  }
}

TEST(DastInfoList, what_is_no_set_is_empty_as_an_operand_and_never_comes_out) {
  AceAttach at;
  const Large ids[] = {2, 3, 7};
  const DastInfoList list(3, ids, false);
  const DastInfoList unused;
  DastInfoList result = list;
  result.intersect_with(&unused, &at);
  expect_set(result, 0, true, "intersection");
  result = unused;
  result.union_with(&list, &at);
  EXPECT_EQ(infos_of(result), (std::vector<Large>{2, 3, 7}));
  result = unused;
  result.union_with(&unused, &at);
  expect_set(result, 0, true, "union");
  EXPECT_FALSE(list.has_intersection(&unused));
  EXPECT_EQ(unused.create_iterator(&at), nullptr);
  EXPECT_EQ(infos_of(*DastInfoList::invert(&list, 10, &at)), (std::vector<Large>{1, 2, 4, 7, 8, 10}));
  EXPECT_EQ(infos_of(*DastInfoList::invert(&unused, 3, &at)), (std::vector<Large>{1, 3}));
  EXPECT_EQ(DastInfoList::intersect_lists(0, nullptr, &at), nullptr) << "no list is everything";
  EXPECT_TRUE(DastInfoList::union_lists(0, nullptr, &at)->is_empty());
}

TEST(DastInfoList, open_ends_stay_open_and_odd_bounds_are_dropped) {
  AceAttach at;
  const Large all[] = {0, NONE};
  DastInfoList list;
  list.init_from_to(2, all);
  EXPECT_TRUE(list.is_frequent());
  list.apply_offset(5, &at);
  EXPECT_EQ(infos_of(list), (std::vector<Large>{5, NONE}));
  const Large bounds[] = {1, 4, 7, 9};
  const Large entries[] = {0, 2};
  DastInfoList references(2, entries, bounds);
  references.ensure_no_reference(&at);
  EXPECT_EQ(infos_of(references), (std::vector<Large>{1, 4, 7, 9}));
  Large pairs[] = {1, 4, 4, 6, 8, 9, 11};
  EXPECT_EQ(DastInfoList::compress_intervals(7, pairs), 4U);
  EXPECT_EQ(std::vector<Large>(pairs, pairs + 4), (std::vector<Large>{1, 6, 8, 9}));
  EXPECT_EQ(DastInfoList::compress_intervals(3, pairs), 2U);
  EXPECT_EQ(DastInfoList::compress_intervals(1, pairs), 1U);
  const Large infos[] = {0, 0, NONE};
  const TeraCand cand("", 3, infos);
  EXPECT_TRUE(DastInfoList(&cand).is_frequent());
}

TEST(DastInfoList, many_lists_are_intersected_and_united_as_one_after_the_other) {
  std::mt19937 random(1);
  const std::vector<RecordSet> lists = all_lists(true);
  for (int round = 0; round < 20'000; ++round) {
    AceAttach at;
    Bits common = ALL;
    Bits all = 0;
    std::vector<DastInfoList> chosen;
    for (unsigned n = 1 + random() % 9; n > 0; --n) {
      const RecordSet& set = lists[random() % lists.size()];
      chosen.push_back(set.list());
      common &= set.bits;
      all |= set.bits;
    }
    std::vector<DastInfoList*> pointers;
    for (DastInfoList& list : chosen) pointers.push_back(&list);
    const int n = static_cast<int>(pointers.size());
    const DastInfoList* result = DastInfoList::intersect_lists(n, pointers.data(), &at);
    ASSERT_EQ(bits_of(*result), common) << round;
    ASSERT_NE(result->get_type(), DastInfoList::REFERENCE);
    result = DastInfoList::union_lists(n, pointers.data(), &at);
    ASSERT_EQ(bits_of(*result), all) << round;
    ASSERT_NE(result->get_type(), DastInfoList::REFERENCE);
  }
}

TEST(DastInfoList, long_lists_of_very_different_lengths_share_what_they_share) {
  std::mt19937 random(2);
  for (int round = 0; round < 300; ++round) {
    AceAttach at;
    std::vector<Large> ids[2];
    for (std::vector<Large>& list : ids) {
      const unsigned gap = 1 + random() % (round % 2 == 0 ? 3 : 200);
      for (Large id = random() % gap; id < 5000; id += 1 + random() % gap) list.push_back(id);
    }
    std::vector<Large> expected;
    std::set_intersection(ids[0].begin(), ids[0].end(), ids[1].begin(), ids[1].end(),
                          std::back_inserter(expected));
    DastInfoList first(static_cast<Large>(ids[0].size()), ids[0].data(), false);
    const DastInfoList second(static_cast<Large>(ids[1].size()), ids[1].data(), false);
    first.intersect_with(&second, &at);
    ASSERT_EQ(infos_of(first), expected) << round;
  }
}

TEST(DastInfoListCache, cuts_every_list_at_every_record) {
  for (const RecordSet& set : all_lists(true))
    for (int split = 1; split < 10; ++split) {
      const DastInfoList full = set.list();
      DastInfoListCache cache(&full);
      EXPECT_EQ(bits_of(*cache.get_main_cache()->get_full_list()), set.bits & ~1U);
      EXPECT_TRUE(cache.get_incr_cache()->get_full_list()->is_empty());
      cache.set_split(split);
      const auto limit = static_cast<Large>(split);
      ASSERT_EQ(bits_of(*cache.get_main_cache()->get_full_list()), set.bits & oracle::range(1, limit));
      const DastInfoList* incr = cache.get_incr_cache()->get_full_list();
      ASSERT_EQ(bits_of(*incr) & oracle::range(0, 9 - limit), (set.bits >> limit << 1) & ALL) << split;
    }
  DastInfoListCache everything(nullptr, 4);
  EXPECT_EQ(everything.get_main_cache()->get_full_list(), nullptr);
  EXPECT_EQ(everything.get_incr_cache()->get_full_list(), nullptr);
}

}  // namespace
