#include "dast/dast_info_iterator.h"

#include <random>

#include "gtest/gtest.h"
#include "oracle/record_set.h"

namespace {

using oracle::Bits;
using oracle::RecordSet;
constexpr Large NONE = DastInfoIterator::NONE;

/// The records that are left from `position` on; checks the contract of the steps.
Bits rest_of(DastInfoIterator* iterator, Large position) {
  Bits set = 0;
  for (Large record = iterator->get_record(); record != NONE || iterator->is_inside();
       record = iterator->get_record()) {
    EXPECT_GE(record, position);
    const bool wasInside = iterator->is_inside();
    if (wasInside) set |= oracle::range(position, record);
    if (record == NONE) {
      EXPECT_EQ(iterator->promote(), 0) << "an open end is never passed";
      return set;
    }
    EXPECT_EQ(iterator->promote(), wasInside ? -1 : 1);
    position = record;
  }
  EXPECT_EQ(iterator->promote(), 0);
  return set;
}

/// Walks whole, in every window, and with a leap to every record from every position.
void expect_walks(DastInfoIterator* iterator, Bits set) {
  AceAttach at;
  ASSERT_EQ(rest_of(iterator, 0), set);
  for (Large from = 0; from < 10; ++from)
    for (const Large to : {Large{0}, Large{3}, Large{4}, Large{7}, Large{9}, NONE})
      ASSERT_EQ(rest_of(iterator->clone(from, &at, to), 0), set & oracle::range(from, to))
          << from << ' ' << to;
  for (int steps = 0; steps < 10; ++steps)
    for (Large target = 0; target < 10; ++target) {
      iterator->reset();
      Large position = 0;
      for (int i = 0; i < steps && !iterator->is_empty(); ++i) {
        position = iterator->get_record();
        iterator->promote();
      }
      const Large before = iterator->get_record();
      const Large after = iterator->promote(target);
      ASSERT_EQ(after, iterator->get_record());
      if (before >= target) ASSERT_EQ(after, before) << "boundaries at or beyond the target stay";
      ASSERT_GE(after, std::min(before, target));
      position = std::max(position, target);
      ASSERT_EQ(rest_of(iterator, position), set & oracle::range(position, NONE)) << steps << ' ' << target;
    }
}

TEST(DastInfoIterator, walks_and_leaps_over_each_list_of_8_records) {
  for (Bits set = 0; set < 256; ++set)
    for (const RecordSet& encoding : oracle::all_encodings(set, set % 3 == 0)) {
      AceAttach at;
      const DastInfoList list = encoding.list();
      DastInfoIterator* iterator = list.create_iterator(&at);
      EXPECT_EQ(iterator->get_size() >= static_cast<Large>(__builtin_popcount(set)), true);
      EXPECT_EQ(iterator->is_single(), encoding.type == DastInfoList::SINGLE || encoding.infos.empty());
      expect_walks(iterator, set);
      // Windows of windows.
      expect_walks(iterator->clone(2, &at, 6)->clone(1, &at, 5), set & oracle::range(2, 5));
      if (HasFatalFailure()) FAIL() << "set " << set << ", type " << encoding.type;
    }
}

TEST(DastInfoIterator, unions_and_intersections_of_any_depth_agree_with_bits_and_report_maximal_ranges) {
  std::mt19937 random(3);
  for (int round = 0; round < 4000; ++round) {
    AceAttach at;
    std::vector<RecordSet> sets;
    sets.reserve(64);
    const auto make = [&](auto& self, int depth, Bits* bits) -> DastInfoIterator* {
      if (depth == 0 || random() % 3 == 0) {
        const auto encodings = oracle::all_encodings(random() % 256 | random() % 256, random() % 4 == 0);
        sets.push_back(encodings[random() % encodings.size()]);
        *bits = sets.back().bits;
        const DastInfoList list = sets.back().list();
        return list.create_iterator(&at);
      }
      const bool isUnion = random() % 2 == 0;
      const int n = static_cast<int>(1 + random() % 4);
      DastInfoIterator** subs = nullptr;
      at.malloc(subs, n);
      *bits = isUnion ? 0 : 255;
      for (int i = 0; i < n; ++i) {
        Bits part = 0;
        subs[i] = self(self, depth - 1, &part);
        *bits = isUnion ? *bits | part : *bits & part;
      }
      if (isUnion) return new (&at) DastInfoOrIterator(n, subs);
      return new (&at) DastInfoAndIterator(n, subs);
    };
    Bits bits = 0;
    DastInfoIterator* iterator = make(make, 2, &bits);
    expect_walks(iterator, bits);
    if (HasFatalFailure()) FAIL() << "round " << round;
    if (iterator->get_sort_size() != 0 || dynamic_cast<DastInfoExpandIterator*>(iterator) != nullptr)
      continue;
    iterator->reset();
    for (Large end = NONE; !iterator->is_empty(); iterator->promote()) {
      if (!iterator->is_inside()) ASSERT_NE(iterator->get_record(), end) << "touching ranges are one";
      end = iterator->get_record();
    }
  }
}

TEST(DastInfoIterator, the_set_of_all_records_is_frequent_and_the_empty_one_empty) {
  AceAttach at;
  DastInfoIterator* all = DastInfoIterator::create_frequent_iterator(&at);
  EXPECT_TRUE(all->is_frequent());
  EXPECT_EQ(all->get_sort_size(), -1);
  EXPECT_EQ(rest_of(all, 0), 255U);
  EXPECT_FALSE(all->clone(1, &at, NONE)->is_frequent());
  EXPECT_FALSE(all->clone(0, &at, 9)->is_frequent());
  EXPECT_TRUE(DastInfoIterator::create_empty_iterator(&at)->is_empty());
  EXPECT_TRUE(DastInfoAndIterator(0, nullptr).is_empty());
  EXPECT_TRUE(DastInfoOrIterator(0, nullptr).is_empty());
  const Large ids[] = {4, 9};
  DastInfoSingleIterator moved(2, ids, 100);
  EXPECT_EQ(moved.get_record(), 104U);
  EXPECT_EQ(moved.promote(105), 109U);
}

}  // namespace
