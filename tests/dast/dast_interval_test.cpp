#include "dast/dast_interval.h"

#include <algorithm>
#include <random>
#include <set>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "gtest/gtest.h"
#include "support/damage.h"
#include "support/documented_bytes.h"
#include "support/payload.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"

namespace {

constexpr Large NONE = DastInterval::NONE;
using Bounds = std::vector<Large>;

void fill(DastInterval* list, const Bounds& bounds) {
  list->clean();
  for (const Large bound : bounds) ASSERT_EQ(list->add(bound, true), 0);
}
Bounds bounds_of(const DastInterval& list) {
  return {list.get_bounds().begin(), list.get_bounds().end()};
}
Bounds random_bounds(std::mt19937* random, bool with_repeats) {
  std::multiset<Large> bounds = {0, 40};
  for (unsigned n = (*random)() % 12; n > 0; --n) bounds.insert((*random)() % 41);
  Bounds sorted(bounds.begin(), bounds.end());
  if (!with_repeats) sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
  return sorted;
}

TEST(DastInterval, leaves_out_repeated_bounds_unless_forced_and_refuses_lower_ones) {
  DastInterval list;
  EXPECT_EQ(list.get_entry(3), NONE);
  for (const Large record : {1, 1, 1, 4, 4, 7, 9}) EXPECT_EQ(list.add(record), 0);
  EXPECT_EQ(bounds_of(list), (Bounds{1, 4, 7, 9}));
  EXPECT_EQ(list.get_num_entries(), 3U);
  EXPECT_EQ(list.get_num_records(), 9U);
  EXPECT_EQ(list.get_entry(5), 1U);
  EXPECT_EQ(list.get_range_end(5), 7U);
  EXPECT_EQ(list.get_entry(0), 0U);
  EXPECT_EQ(list.add(8), -1);
  EXPECT_EQ(list.add(9, true), 0);
  EXPECT_EQ(bounds_of(list), (Bounds{1, 4, 7, 9, 9}));
}

TEST(DastInterval, finds_every_record_of_long_lists) {
  std::mt19937 random(1);
  DastInterval list;
  Bounds bounds;
  for (Large bound = 3; bounds.size() < 5000; bound += 1 + random() % 4) {
    bounds.push_back(bound);
    ASSERT_EQ(list.add(bound), 0);
  }
  ASSERT_EQ(bounds_of(list), bounds);
  for (Large record = 1, entry = NONE; record < bounds.back() + 3; ++record) {
    while (entry + 1 < bounds.size() && bounds[entry + 1] <= record) ++entry;
    ASSERT_EQ(list.get_entry(record), entry) << record;
    const bool isCovered = entry != NONE && entry + 1 < bounds.size();
    ASSERT_EQ(list.get_range_end(record), isCovered ? bounds[entry + 1] : NONE);
    ASSERT_EQ(list.get_range(entry) != nullptr, isCovered);
  }
  EXPECT_EQ(list.get_record(5000), NONE);
}

TEST(DastInterval, refinement_and_levels_are_those_of_sets_of_bounds) {
  std::mt19937 random(2);
  for (int round = 0; round < 2000; ++round) {
    DastInterval lists[3];
    std::set<Large> all;
    const DastInterval* pointers[3];
    for (int i = 0; i < 3; ++i) {
      fill(&lists[i], random_bounds(&random, true));
      all.insert(lists[i].get_bounds().begin(), lists[i].get_bounds().end());
      pointers[i] = &lists[i];
    }
    DastInterval refined;
    ASSERT_EQ(refined.make(3, pointers), 0);
    ASSERT_EQ(bounds_of(refined), Bounds(all.begin(), all.end())) << round;
    ASSERT_EQ(refined.make(1, pointers), 0);
    ASSERT_EQ(bounds_of(refined), bounds_of(lists[0]));

    fill(&lists[0], random_bounds(&random, false));
    fill(&lists[1], random_bounds(&random, false));
    Bounds common;
    std::ranges::set_intersection(lists[0].get_bounds(), lists[1].get_bounds(), std::back_inserter(common));
    const auto level = lists[0].make_abstract(&lists[1]);
    ASSERT_EQ(bounds_of(*level), common);
    ASSERT_TRUE(level->can_abstract(&lists[0]) && level->can_abstract(&lists[1]));
    ASSERT_EQ(lists[0].can_abstract(&lists[1]), common == bounds_of(lists[0]));
  }
  DastInterval shorter;
  DastInterval longer;
  DastInterval refined;
  fill(&shorter, {0, 5});
  fill(&longer, {0, 3, 7, 9});
  const DastInterval* pointers[] = {&shorter, &longer};
  EXPECT_EQ(refined.make(2, pointers), 0);
  EXPECT_EQ(bounds_of(refined), (Bounds{0, 3, 5})) << "up to the end of the first that is exhausted";
  EXPECT_EQ(refined.make(0, pointers), -1);
}

TEST(DastInterval, reads_text_files_and_names_the_line_that_is_none) {
  const support::TempFolder folder;
  support::RecordingReporter rep;
  rep.set_as_default();
  support::write_file(folder.file("good"), "0\n1\r\n12\n4294967294");
  support::write_file(folder.file("order"), "0\n5\n4\n");
  support::write_file(folder.file("word"), "0\n5 \n");
  support::write_file(folder.file("large"), "4294967296\n");
  DastInterval list;
  EXPECT_EQ(list.make(folder.file("good").c_str()), 0);
  EXPECT_EQ(bounds_of(list), (Bounds{0, 1, 12, 4294967294}));
  EXPECT_EQ(list.make(folder.file("order").c_str()), -1);
  EXPECT_NE(rep.all().find("order:3: expected a record id of at least 5, found \"4\""), std::string::npos)
      << rep.all();
  EXPECT_EQ(list.make(folder.file("word").c_str()), -1);
  EXPECT_EQ(list.make(folder.file("large").c_str()), -1);
  EXPECT_EQ(list.get_num_bounds(), 0U);
  EXPECT_THROW(list.make(folder.file("none").c_str()), AceException);
  AceReporter::clear_default();
}

TEST(DastInterval, is_saved_as_documented_and_damage_is_refused_or_harmless) {
  DastInterval list;
  fill(&list, {0, 1, 4, 7, 9});
  const std::string image = support::image_of(list);
  EXPECT_EQ(image, support::documented_bytes(TEST_FORMATS, "Interval lists (INTER)"));
  AceReporter::null()->set_as_default();
  support::for_each_damage(image, [&](const std::string& damaged, const std::string& what) {
    support::PayloadFile file(damaged);
    DastInterval read;
    bool isRead = false;
    try {
      isRead = read.read(file.get()) == 0;
    } catch (const AceException&) {
    }
    ASSERT_EQ(read.get_num_bounds() > 0, isRead && read.get_num_bounds() > 0) << what;
    for (Large record = 0; record < 20; ++record)
      if (const Large entry = read.get_entry(record); read.get_range(entry) != nullptr)
        ASSERT_LE(read.get_range(entry)[0], read.get_range(entry)[1]) << what;
  });
  AceReporter::clear_default();
  support::PayloadFile mapped(image);
  ASSERT_EQ(list.read(mapped.get()), 0);
  EXPECT_EQ(bounds_of(list), (Bounds{0, 1, 4, 7, 9}));
  EXPECT_EQ(list.add(12), -1) << "mapped";
  support::PayloadFile stream(image, true);
  ASSERT_EQ(list.read(stream.get()), 0);
  EXPECT_EQ(list.add(12), 0);
  EXPECT_EQ(bounds_of(list), (Bounds{0, 1, 4, 7, 9, 12}));
  DastInterval empty;
  support::PayloadFile none(support::image_of(empty));
  EXPECT_EQ(empty.read(none.get()), 0);
  EXPECT_EQ(empty.get_num_bounds(), 0U);
}

}  // namespace
