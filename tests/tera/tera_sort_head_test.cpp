#include "tera/tera_sort_head.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "ace/ace_tracer.h"
#include "gtest/gtest.h"
#include "support/recording_reporter.h"

namespace {

struct Source {
  std::vector<std::vector<int>> records;  // the descriptors of each
  std::vector<int> prios;                 // added priority of each descriptor
  int prioWeight = 0;

  std::vector<VInt> sizes() const {
    std::vector<VInt> sizes(prios.size());
    for (const auto& descs : records)
      for (const int desc : descs) ++sizes[static_cast<std::size_t>(desc)];
    return sizes;
  }
};

/// Fills a head as the source says, with each descriptor added twice to its records.
void fill(SortHead* head, const Source& source) {
  const std::vector<VInt> sizes = source.sizes();
  VInt numRefs = 0;
  for (const VInt size : sizes) numRefs += size;
  ASSERT_EQ(head->init(numRefs, static_cast<VInt>(sizes.size()), static_cast<int>(source.records.size())), 0);
  std::vector<SortDesc*> descs;
  for (std::size_t i = 0; i < sizes.size(); ++i)
    descs.push_back(head->make_desc(sizes[i], "value", source.prios[i]));
  ASSERT_NE(head->make_desc(0, "end", 0), nullptr);
  VInt number = 0;
  for (const auto& record : source.records) {
    ASSERT_EQ(head->begin_record(number++), 0);
    for (const int desc : record) {
      EXPECT_EQ(head->add_rec_ref(descs[static_cast<std::size_t>(desc)]), 1);
      EXPECT_EQ(head->add_rec_ref(descs[static_cast<std::size_t>(desc)]), 0);
    }
    ASSERT_EQ(head->finish_record(), 0);
  }
  ASSERT_EQ(head->finish_build(), 0);
}

std::vector<int> order_of(const SortHead& head) {
  std::vector<int> order;
  for (const SortRecord* record = SortHead::next_record(head.start_record()); record != nullptr;
       record = SortHead::next_record(record))
    order.push_back(static_cast<int>(SortHead::get_old_index(record)));
  return order;
}

/// The rule on plain lists. A group is, for each descriptor, the list of its records that have it; the order
/// of a list decides the order of the records that come to the front.
class Oracle {
 public:
  explicit Oracle(const Source& source) : prios(source.prios) {
    const std::vector<VInt> sizes = source.sizes();
    Group all{0, std::vector<std::vector<int>>(prios.size())};
    for (std::size_t d = 0; d < prios.size(); ++d)
      prios[d] += static_cast<int>(source.prioWeight * sizes[d] / 100);
    for (int r = 0; r < static_cast<int>(source.records.size()); ++r) {
      const auto& descs = source.records[static_cast<std::size_t>(r)];
      if (descs.empty()) continue;
      order.push_back(r);
      ++all.size;
      for (const int desc : descs) all.lists[static_cast<std::size_t>(desc)].push_back(r);
    }
    sort(&all);
    for (int r = static_cast<int>(source.records.size()) - 1; r >= 0; --r)
      if (source.records[static_cast<std::size_t>(r)].empty()) order.push_back(r);
  }

  std::vector<int> order;
  bool isUnique = true;  // no two descriptors of equal priority could divide a group

 private:
  struct Group {
    std::size_t size;
    std::vector<std::vector<int>> lists;
  };

  void sort(Group* group) {
    for (;;) {
      std::optional<std::size_t> best;
      const auto prio = [&](std::size_t d) { return prios[d] + static_cast<int>(group->lists[d].size()); };
      for (std::size_t d = 0; d < prios.size(); ++d) {
        const std::size_t freq = group->lists[d].size();
        if (freq < 2 || freq == group->size) continue;
        if (best && prio(d) == prio(*best)) isTied = true;
        if (!best || prio(d) > prio(*best)) {
          best = d;
          isTied = false;
        }
      }
      if (!best) return;
      isUnique = isUnique && !isTied;
      // What is above it on the heap divides nothing now, and will not later.
      for (std::size_t d = 0; d < prios.size(); ++d)
        if (d != *best && prio(d) >= prio(*best)) {
          isUnique = isUnique && (prio(d) > prio(*best) || group->lists[d].size() < 2);
          group->lists[d].clear();
        }
      Group inner{group->lists[*best].size(), std::vector<std::vector<int>>(prios.size())};
      for (const int record : std::exchange(group->lists[*best], {})) {
        order.erase(std::find(order.begin(), order.end(), record));
        order.insert(order.begin(), record);
        for (std::size_t d = 0; d < prios.size(); ++d) {
          auto& list = group->lists[d];
          const auto found = std::find(list.begin(), list.end(), record);
          if (found == list.end()) continue;
          std::swap(*found, list.back());
          list.pop_back();
          inner.lists[d].insert(inner.lists[d].begin(), record);
        }
      }
      sort(&inner);
    }
  }

  std::vector<int> prios;
  bool isTied = false;
};

TEST(SortHead, brings_records_into_the_order_of_the_rule) {
  int numUnique = 0;
  for (unsigned seed = 1; seed <= 3000; ++seed) {
    std::mt19937 random(seed);
    const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    Source source{std::vector<std::vector<int>>(static_cast<std::size_t>(1 + below(40))),
                  std::vector<int>(static_cast<std::size_t>(1 + below(8))), below(3) * 75};
    for (int& prio : source.prios) prio = below(4) == 0 ? below(200) - 100 : below(30);
    for (auto& record : source.records)
      for (int desc = 0; desc < static_cast<int>(source.prios.size()); ++desc)
        if (below(3 + desc) < 2) record.push_back(desc);
    SortHead head(static_cast<int>(source.records.size()), AceReporter::null(), source.prioWeight);
    fill(&head, source);
    ASSERT_EQ(head.sort(AceReporter::null()), 0);
    ASSERT_EQ(head.check_list(), 0);
    const std::vector<int> order = order_of(head);
    const Oracle oracle(source);
    if (oracle.isUnique) {
      ++numUnique;
      ASSERT_EQ(order, oracle.order) << "seed " << seed;
    }
    head.clean_temp();
    ASSERT_EQ(head.set_new_order(), static_cast<int>(source.records.size()));
    int low = 0;
    int high = static_cast<int>(source.records.size()) + 1;
    for (int old = 0; old < static_cast<int>(source.records.size()); ++old) {
      const int index = head.find_record(&low, &high, old);
      ASSERT_GE(index, 0) << "seed " << seed << ", record " << old;
      ASSERT_EQ(order[static_cast<std::size_t>(head.get_new_order(index))], old);
    }
    EXPECT_EQ(head.find_record(&low, &high, 0), -1);
  }
  EXPECT_GT(numUnique, 500);
}

TEST(SortHead, equal_descriptors_are_taken_in_their_order_and_common_ones_divide_nothing) {
  // Both groups have two records; the group that is taken last comes first. All have the last descriptor.
  const Source source{{{0, 2}, {1, 2}, {0, 2}, {1, 2}}, {0, 0, 9}};
  SortHead head(4, AceReporter::null(), 0);
  fill(&head, source);
  ASSERT_EQ(head.sort(AceReporter::null()), 0);
  EXPECT_EQ(order_of(head), (std::vector<int>{3, 1, 2, 0}));
  SortHead weighted(0, AceReporter::null(), 100);
  ASSERT_EQ(weighted.init(40, 1, 0), 0);
  EXPECT_EQ(weighted.make_desc(40, "city", 5)->get_add_prio(), 45);
}

TEST(SortHead, sorts_groups_within_groups) {
  // Descriptor d is on all records but the first d: each group lacks one record of the one around it.
  constexpr int DEPTH = 150;
  Source source{std::vector<std::vector<int>>(DEPTH), std::vector<int>(DEPTH)};
  for (int record = 0; record < DEPTH; ++record)
    for (int desc = 0; desc <= record; ++desc)
      source.records[static_cast<std::size_t>(record)].push_back(desc);
  SortHead head(DEPTH, AceReporter::null(), 0);
  fill(&head, source);
  ASSERT_EQ(head.sort(AceReporter::null()), 0);
  const Oracle oracle(source);
  EXPECT_TRUE(oracle.isUnique);
  EXPECT_EQ(order_of(head), oracle.order);
}

TEST(SortHead, refuses_what_is_not_as_announced) {
  constexpr VInt MAX = std::numeric_limits<VInt>::max();
  support::RecordingReporter rep;
  SortHead head(2, &rep, 50);
  EXPECT_EQ(head.sort(&rep), -1);
  EXPECT_EQ(head.begin_record(0), -1);
  EXPECT_EQ(head.make_desc(0, nullptr, 0), nullptr);
  EXPECT_EQ(head.init(MAX, 1, 2), -1);
  EXPECT_EQ(head.init(1, -1, 2), -1);
  ASSERT_EQ(head.init(4, 2, 2), 0);
  EXPECT_EQ(head.make_desc(5, "a", 0), nullptr);
  EXPECT_EQ(head.make_desc(-1, "a", 0), nullptr);
  EXPECT_EQ(head.make_desc(1, "a", MAX), nullptr);
  SortDesc* const one = head.make_desc(1, "a", 0);
  SortDesc* const three = head.make_desc(3, "b", 0);
  SortDesc* const end = head.make_desc(0, "end", 0);
  EXPECT_EQ(head.make_desc(0, "c", 0), nullptr);
  EXPECT_EQ(head.add_rec_ref(one), -1);
  for (int record = 0; record < 2; ++record) {
    EXPECT_EQ(head.begin_record(record), 0);
    EXPECT_EQ(head.begin_record(record), -1);
    EXPECT_EQ(head.add_rec_ref(three), 1);
    EXPECT_EQ(head.add_rec_ref(one), record == 0 ? 1 : -1);
    EXPECT_EQ(head.add_rec_ref(three), 0);
    EXPECT_EQ(head.finish_build(), -1);
    EXPECT_EQ(head.finish_record(), 0);
  }
  EXPECT_EQ(head.add_rec_ref(end), -1);
  EXPECT_EQ(head.begin_record(2), -1);
  EXPECT_EQ(head.finish_build(), 0);
  rep.messages.clear();
  EXPECT_EQ(head.sort(&rep), -1);
  EXPECT_EQ(rep.all(),
            "Building initial descriptor heap\nERROR: Cannot sort this structure, because Descriptor 0\n was "
            "added 2 times instead 1 times\n");
}

TEST(SortHead, counts_are_checked_while_the_trace_flag_is_set) {
  support::RecordingReporter rep;
  AceTracer::set("CHECK_MULTI_DUPS", 1);
  SortHead head(1, &rep, 0);
  ASSERT_EQ(head.init(4, 2, 1), 0);
  SortDesc* const first = head.make_desc(1, "a", 0);
  SortDesc* const second = head.make_desc(3, "b", 0);
  head.make_desc(0, "end", 0);
  head.begin_record(0);
  head.add_rec_ref(first);
  head.add_rec_ref(second);
  head.finish_record();
  head.finish_build();
  EXPECT_EQ(head.sort(&rep), -2);
  EXPECT_NE(rep.all().find("Descriptor 1\n was added 1 times instead 3 times\n"), std::string::npos);
}

TEST(SortHead, a_reporter_that_fails_stops_it) {
  struct Failing : support::RecordingReporter {
    int report_func(const char* text) override {
      RecordingReporter::report_func(text);
      return std::string(text) == failAt ? -5 : 0;
    }
    std::string failAt;
  };
  support::RecordingReporter errors;
  errors.set_as_default();
  AceReporter::set_progress(1);
  Source source{std::vector<std::vector<int>>(40000), std::vector<int>(4)};
  for (std::size_t i = 0; i < source.records.size(); ++i)
    source.records[i] = {0, 1 + static_cast<int>(i / 20000), 3};
  const auto sort = [&](const char* fail_at) {
    SortHead head(40000, AceReporter::null(), 0);
    fill(&head, source);
    Failing rep;
    rep.failAt = fail_at;
    errors.messages.clear();
    const int rc = head.sort(&rep);
    return std::to_string(rc) + " " + errors.all();
  };
  EXPECT_NE(sort("Building initial descriptor heap\n")
                .find("rep_l->printf(\"Building initial descriptor heap\\n\"), error code -5"),
            std::string::npos);
  const std::string failed = sort("PROGRESS\t=\t100\tSorting records\n");
  for (const char* part : {"-1 ", "rep_arg->pset(nextReport/1000), error code -5", "progress(freq,rep_l)",
                           "sub_sort(&heap,numRecords,0,rep_l)"})
    EXPECT_NE(failed.find(part), std::string::npos) << part << " in " << failed;
}

}  // namespace
