#include "dare/dare_context.h"

#include <map>
#include <random>

#include "dare/dare_external.h"
#include "dare/dare_history.h"
#include "dare/dare_multi_query.h"
#include "dare/dare_timer.h"
#include "gtest/gtest.h"
#include "support/logic_samples.h"

namespace {

constexpr Large NUM_RECORDS = 40;  // 1 to 39
using Records = std::vector<bool>;

/// What selected leaves leave, record by record.
struct ContextOracle {
  bool is_restricted(const DareLogicConfig::Node* node) const {
    if (node->nodeType == DareLogicConfig::FIELD) return leaves.count(node->logicId) > 0;
    bool any = false;
    for (auto* child = node->firstChild; child != nullptr; child = child->nextNode)
      any |= is_restricted(child);
    return any;
  }
  bool has(const DareLogicConfig::Node* node, Large record) const {
    if (node->nodeType == DareLogicConfig::FIELD) return leaves.at(node->logicId)[record];
    const bool all = node->nodeType == DareLogicConfig::AND;
    bool result = all;
    for (auto* child = node->firstChild; child != nullptr; child = child->nextNode) {
      if (!is_restricted(child)) continue;
      const bool in = has(child, record);
      if (node->nodeType == DareLogicConfig::NOT) return !in;
      result = all ? result && in : result || in;
    }
    return result;
  }
  std::map<int, Records> leaves;
};

struct RandomList {
  explicit RandomList(std::mt19937* random) : bits(NUM_RECORDS) {
    const unsigned density = 1 + (*random)() % 4;
    for (Large record = 1; record < NUM_RECORDS; ++record)
      if ((*random)() % 4 < density) {
        bits[record] = true;
        ids.push_back(record);
      }
    is_range = (*random)() % 3 == 0;
    for (Large record = 1; record < NUM_RECORDS; ++record)
      if (bits[record]) {
        if (pairs.empty() || pairs.back() != record) pairs.insert(pairs.end(), {record, record});
        pairs.back() = record + 1;
      }
    if ((*random)() % 8 == 0) {
      bits.assign(NUM_RECORDS, true);
      bits[0] = false;
      pairs = {0, DastInfoList::NONE};
      is_range = true;
    }
  }
  DastInfoList list() const {
    const auto& infos = is_range ? pairs : ids;
    return DastInfoList(static_cast<Large>(infos.size()), infos.data(), is_range);
  }
  Records bits;
  std::vector<Large> ids, pairs;
  bool is_range = false;
};

TEST(DastContext, EqualsRecordByRecordEvaluation) {
  std::mt19937 random(7);
  for (int round = 0; round < 300; ++round) {
    int num_fields = 0;
    const std::string text =
        "(" + support::text_of(support::random_logic(&random, 3, true, &num_fields)) + "&x)";
    DareLogicConfig logic;
    ASSERT_EQ(logic.parse(text.c_str(), false, nullptr), 0) << text;
    DastContext context;
    context.add_logic(&logic);
    context.set_max_record(NUM_RECORDS);
    ContextOracle oracle;
    Records fallback(NUM_RECORDS, true);
    bool has_default = false;
    for (int step = 0; step < 12; ++step) {
      const int slot =
          logic.get_logic_id(("f" + std::to_string(random() % static_cast<unsigned>(num_fields))).c_str());
      const RandomList records(&random);
      const DastInfoList list = records.list();
      switch (random() % 5) {
        case 0:
          context.set_default_context(&list);
          fallback = records.bits;
          has_default = true;
          break;
        case 1:
          context.refine_default_context(&list);
          for (Large r = 1; r < NUM_RECORDS; ++r)
            fallback[r] = (!has_default || fallback[r]) && records.bits[r];
          has_default = true;
          break;
        case 2:
          context.release(slot);
          oracle.leaves.erase(slot);
          break;
        default: {
          context.narrow(slot, &list);
          const auto [place, is_new] = oracle.leaves.emplace(slot, records.bits);
          for (Large r = 1; !is_new && r < NUM_RECORDS; ++r)
            place->second[r] = place->second[r] && records.bits[r];
        }
      }
      const DastContext copy(&context);
      const bool free = oracle.leaves.empty() && !has_default;
      ASSERT_EQ(context.get_size() == -1, free) << text;
      AceAttach at;
      const Large* listed = nullptr;
      const int size = context.get_full_list(&listed, NUM_RECORDS - 1, &at, 0);
      int expected = 0;
      for (Large r = 1; r < NUM_RECORDS; ++r) {
        const bool in =
            (!has_default || fallback[r]) && (oracle.leaves.empty() || oracle.has(logic.get_root(), r));
        ASSERT_EQ(context.has(r), in) << text << " record " << r;
        ASSERT_EQ(copy.has(r), in);
        if (in) {
          ASSERT_LT(expected, size);
          ASSERT_EQ(listed[expected++], r);
        }
      }
      ASSERT_EQ(size, expected);
      if (!free) ASSERT_EQ(context.get_size(), expected);
    }
  }
}

TEST(DastContext, Preselection) {
  DareLogicConfig logic;
  ASSERT_EQ(logic.parse("(a&b)", false, nullptr), 0);
  DastContext context;
  context.add_logic(&logic);
  const Large ids[] = {2, 3, 5};
  const DastInfoList list(3, ids, false);
  const DastInfoList first(2, ids, false);
  EXPECT_EQ(context.select(), -1);             // nothing is preselected
  EXPECT_EQ(context.preselect(0, &list), -1);  // no leaf
  EXPECT_EQ(context.preselect(1, &list), 0);
  EXPECT_TRUE(context.is_preselected());
  EXPECT_EQ(context.get_size(), -1);
  EXPECT_EQ(context.preselect(2, &first), 0);
  EXPECT_EQ(context.select(), 3);
  EXPECT_EQ(context.get_size(), 2);
  EXPECT_EQ(context.preselect(1, &list), -1);
  context.clear();
  EXPECT_TRUE(context.is_released());
  EXPECT_EQ(context.narrow(1, &list), 2);
  EXPECT_EQ(context.preselect(2, &list), -1);
}

DareHistory::Elem number(int field, int from, int to) {
  return {field, DareHistory::EVENT, from, to};
}

TEST(DareHistory, UndoAndRedoAgainstList) {
  std::mt19937 random(3);
  DareHistory history;
  std::vector<std::vector<int>> done, undone;  // groups
  int value = 0;
  for (int round = 0; round < 3000; ++round) {
    const unsigned action = random() % 4;
    if (action < 2) {
      history.stamp(0);
      std::vector<int> group;
      for (unsigned n = random() % 4; n > 0; --n) {
        EXPECT_TRUE(history.append(number(0, value, value + 1)));
        group.push_back(++value);
      }
      if (group.empty()) continue;
      done.push_back(group);
      undone.clear();
      EXPECT_FALSE(history.append(number(0, 4, 4)));
      std::size_t size = 0;
      for (const auto& g : done) size += g.size();
      if (size > DareHistory::MAX_SIZE) {  // the last 200, and the rest of their group
        std::size_t kept = 0, first = done.size();
        while (kept < DareHistory::TRIMMED_SIZE) kept += done[--first].size();
        done.erase(done.begin(), done.begin() + static_cast<long>(first));
      }
      continue;
    }
    const int back = action == 2 ? 1 : 0;
    auto& from = back != 0 ? done : undone;
    auto& to = back != 0 ? undone : done;
    ASSERT_EQ(back != 0 ? history.can_undo() : history.can_redo(), !from.empty());
    history.set_sleeping(true);
    history.stamp(back != 0 ? 1 : 0);
    std::vector<int> seen;
    if (history.skip_stops(back))
      while (const auto* elem = history.step(back)) seen.push_back(std::get<int>(elem->newValue));
    history.set_sleeping(false);
    if (from.empty()) continue;
    std::vector<int> group = from.back();
    from.pop_back();
    to.push_back(group);
    if (back != 0) std::reverse(group.begin(), group.end());
    ASSERT_EQ(seen, group);
  }
}

TEST(DareHistory, LimitsAndTexts) {
  DareHistory history;
  EXPECT_FALSE(history.append({0, DareHistory::QUERY, DareHistory::Text(), DareHistory::Text("")}));
  for (int i = 0; i < 401; ++i) {
    history.stamp(0);
    history.append(number(0, i, i + 1));
  }
  EXPECT_EQ(history.get_size(), 200);
  history.clear();
  for (int i = 0; i < 450; ++i) history.append(number(0, i, i + 1));  // one group stays whole
  EXPECT_EQ(history.get_size(), 450);
  history.clear();
  history.append({2, DareHistory::QUERY, DareHistory::Text("Jon"), DareHistory::Text("John")});
  EXPECT_EQ(history.describe(), "QUERY 2 'Jon' -> 'John'\n");
}

TEST(DareTimer, GrantsShares) {
  DareTimer timer("DARE_TIMER_TEST", 10000);
  EXPECT_FALSE(timer.is_running());
  timer.reset_timer(20);
  EXPECT_EQ(timer.get_run_time(), 10000);
  timer.reset_timer(-3);
  EXPECT_EQ(timer.get_run_time(), 1000);
  timer.reset_timer(9);
  timer.limit_time(50);
  EXPECT_LE(timer.get_usable_time(), 5500);
  EXPECT_GT(timer.get_usable_time(), 100);
  timer.limit_time(-1);
  EXPECT_EQ(timer.get_usable_time(), 0);
  EXPECT_GT(timer.get_remaining_time(), 5000);
}

TEST(DareMultiQuery, ModesAndTexts) {
  const char* const modes[] = {"?", nullptr, "exact", "wrong"};
  const char* const queries[] = {"a", nullptr, "", "b"};
  DareMultiQuery query(4, modes, queries);
  EXPECT_EQ(query.get_mode(0), DastOptions::APPROX);
  EXPECT_EQ(query.get_mode(1), DastOptions::NOOP);
  EXPECT_EQ(query.get_mode(2), DastOptions::EXACT);
  EXPECT_EQ(query.get_bad_mode(), 3);
  EXPECT_STREQ(query.get_query(2), "");
  EXPECT_EQ(query.get_query(1), nullptr);
  EXPECT_EQ(query.set_mode(4, '?'), -1);
  EXPECT_EQ(query.set_mode(0, '@'), -1);
  EXPECT_EQ(query.get_query(-1), nullptr);
}

}  // namespace
