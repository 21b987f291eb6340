// Sets of records and combinations of fields: 1,000 ids in 100,000 against a search from the start for each
// and against a merge; one field of eight updated against the whole tree computed anew.
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "dare/dare_logic_eval.h"
#include "dast/dast_info_list.h"
#include "ratio.h"

namespace {

constexpr unsigned NUM_RECORDS = 1'000'000;

std::vector<Large> random_ids(std::mt19937* random, int count) {
  std::vector<Large> ids;
  for (int i = 0; i < count; ++i) ids.push_back((*random)() % NUM_RECORDS);
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  return ids;
}

/// `peer(few, many)` gives the number of common ids.
void intersect(benchmark::State& state, const auto& peer) {
  std::mt19937 random(1);
  constexpr std::size_t NUM_LISTS = 32;  // so that no branch is learned by heart
  std::vector<std::vector<Large>> lists;
  for (std::size_t i = 0; i < NUM_LISTS; ++i) lists.push_back(random_ids(&random, 1000));
  const std::vector<Large> many = random_ids(&random, 100'000);
  const DastInfoList other(static_cast<Large>(many.size()), many.data(), false);
  std::size_t numOurs = 0;
  std::size_t numTheirs = 0;
  bench::compare(
      state, NUM_LISTS,
      [&] {
        numOurs = 0;
        for (const std::vector<Large>& few : lists) {
          AceAttach at;
          DastInfoList list(static_cast<Large>(few.size()), few.data(), false);
          list.intersect_with(&other, &at);
          numOurs += list.get_length();
        }
      },
      [&] {
        numTheirs = 0;
        for (const std::vector<Large>& few : lists) numTheirs += peer(few, many);
      });
  if (numOurs != numTheirs) state.SkipWithError("different sets");
}

void ids_1k_in_100k_against_binary_searches(benchmark::State& state) {
  intersect(state, [](const std::vector<Large>& few, const std::vector<Large>& many) {
    return std::count_if(few.begin(), few.end(),
                         [&](Large id) { return std::binary_search(many.begin(), many.end(), id); });
  });
}
BENCHMARK(ids_1k_in_100k_against_binary_searches)->UseManualTime()->Unit(benchmark::kMicrosecond);

void ids_1k_in_100k_against_a_merge(benchmark::State& state) {
  std::vector<Large> common(1000);
  intersect(state, [&](const std::vector<Large>& few, const std::vector<Large>& many) {
    return std::set_intersection(few.begin(), few.end(), many.begin(), many.end(), common.begin()) -
           common.begin();
  });
}
BENCHMARK(ids_1k_in_100k_against_a_merge)->UseManualTime()->Unit(benchmark::kMicrosecond);

void update_leaf(benchmark::State& state, const char* logic) {
  constexpr int NUM_UPDATES = 1 << 18;
  DareLogicConfig config;
  config.parse(logic, false, nullptr);
  DareLogicEval eval;
  eval.build(&config, ~GrandMask{0});
  std::vector<int> ids;
  for (char name = 'a'; name <= 'h'; ++name) {
    ids.push_back(config.get_logic_id(std::string(1, name).c_str()));
    eval.init_slot(ids.back(), 0, 10 + name - 'a', {.hasQuery = true});
  }
  int total = 0;
  eval.calc_node_weights(&total);
  std::vector<int> values(static_cast<std::size_t>(eval.get_num_values()));
  std::mt19937 random(1);
  std::vector<std::pair<int, int>> updates;
  for (int i = 0; i < NUM_UPDATES; ++i)
    updates.emplace_back(ids[random() % ids.size()], static_cast<int>(random() % 256) * 10);
  bench::compare(
      state, NUM_UPDATES,
      [&] {
        eval.init_slots(values.data());
        for (const auto& [id, value] : updates) eval.update_leaf(values.data(), id, value);
        benchmark::DoNotOptimize(values.data());
      },
      [&] {  // all eight leaves of a fresh record
        for (std::size_t i = 0; i < updates.size(); ++i) {
          eval.init_slots(values.data());
          for (const int id : ids) eval.update_leaf(values.data(), id, updates[i].second);
          benchmark::DoNotOptimize(values.data());
        }
      });
}
BENCHMARK_CAPTURE(update_leaf, all_of_8_fields, "(a&b&c&d&e&f&g&h)")->UseManualTime();
BENCHMARK_CAPTURE(update_leaf, some_of_8_fields, "((a|b|c)&(d|e)&f&!g&h)")->UseManualTime();
BENCHMARK_CAPTURE(update_leaf, a_plus_group_of_8_fields, "((a:b:c:d)&e&f&g&h)")->UseManualTime();

}  // namespace
