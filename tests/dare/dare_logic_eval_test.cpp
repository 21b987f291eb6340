#include "dare/dare_logic_eval.h"

#include <algorithm>
#include <random>

#include "ace/ace_tracer.h"
#include "gtest/gtest.h"
#include "oracle/logic_values.h"
#include "support/logic_samples.h"
#include "support/temp_folder.h"

namespace {

using Config = DareLogicConfig;

using Field = oracle::LogicField;
using Oracle = oracle::LogicValues;

struct Combination {
  Combination(std::mt19937* random, bool with_not, bool perfect) {
    const auto tree = support::random_logic(random, 4, with_not, &numFields);
    text = "(" + support::text_of(tree) + ")";
    config.parse(text.c_str(), false, nullptr);
    oracle.plusWeight = static_cast<int>((*random)() % 101);
    config.set_plus_weight(oracle.plusWeight);
    oracle.fields.resize(static_cast<std::size_t>(config.get_num_slots()));
    eval.build(&config, ~GrandMask{0});
    if ((*random)() % 2 == 0) eval.do_path_compression();
    for (int i = 0; i < numFields; ++i) {
      ids.push_back(config.get_logic_id(("f" + std::to_string(i)).c_str()));
      Field& field = oracle.fields[static_cast<std::size_t>(ids.back())];
      if (ids.back() >= Config::MAX_NODES) continue;
      field.weight = perfect ? 1 + static_cast<int>((*random)() % 40) : static_cast<int>((*random)() % 40);
      field.hasQuery = perfect || (*random)() % 4 != 0;
      field.baseValue = (*random)() % 2 == 0 ? 0 : static_cast<int>((*random)() % 100) * field.weight;
      EXPECT_EQ(eval.init_slot(ids.back(), field.baseValue, field.weight, {.hasQuery = field.hasQuery}), 0);
      field.baseValue = field.value = eval.get_slot(eval.get_slot_of(ids.back())).baseValue;
    }
    int total = 0;
    weight = eval.calc_node_weights(&total);
    values.resize(static_cast<std::size_t>(eval.get_num_values()));
    eval.init_slots(values.data());
  }
  int numFields = 0;
  std::string text;
  Config config;
  Oracle oracle;
  DareLogicEval eval;
  std::vector<int> ids;
  std::vector<int> values;
  int weight = 0;
};

TEST(DareLogicEval, incremental_values_are_those_computed_anew_for_random_trees_and_changes) {
  for (const int twoStep : {0, 1}) {
    AceTracer::set("TWO_STEP_PLUS_LOGIC", twoStep);
    std::mt19937 random(1);
    for (int round = 0; round < 1500; ++round) {
      Combination c(&random, true, false);
      if (c.config.get_num_slots() > Config::MAX_NODES) continue;
      ASSERT_EQ(c.weight, c.oracle.weight(c.config.get_root())) << c.text;
      ASSERT_EQ(c.eval.get_total_value(c.values.data()), c.oracle.value(c.config.get_root())) << c.text;
      for (int step = 0; step < 60; ++step) {
        const int id = c.ids[random() % c.ids.size()];
        Field& field = c.oracle.fields[static_cast<std::size_t>(id)];
        if (random() % 3 == 0) {
          c.eval.reset_leaf(c.values.data(), id);
          field.value = field.baseValue;
        } else {
          const int value = random() % 20 == 0 ? -1 : static_cast<int>(random() % 256) * field.weight;
          c.eval.update_leaf(c.values.data(), id, value);
          field.value = value == field.baseValue ? value + 1 : value;
        }
        ASSERT_EQ(c.eval.get_val_by_logic_id(c.values.data(), id), field.value);
        ASSERT_EQ(c.eval.get_total_value(c.values.data()), c.oracle.value(c.config.get_root()))
            << c.text << ", round " << round << ", step " << step;
      }
      const auto copy = c.eval.clone();
      std::vector<int> fresh(c.values.size());
      copy->init_slots(fresh.data());
      c.eval.reset_singles(c.values.data());
      ASSERT_EQ(c.values, fresh) << c.text;
    }
  }
  AceTracer::set("TWO_STEP_PLUS_LOGIC", 0);
}

TEST(DareLogicEval, perfect_fields_are_worth_255_times_the_weight_of_the_tree) {
  std::mt19937 random(2);
  for (int round = 0; round < 1000; ++round) {
    Combination c(&random, false, true);
    if (c.config.get_num_slots() > Config::MAX_NODES) continue;
    for (const int id : c.ids)
      c.eval.update_leaf(c.values.data(), id, 255 * c.oracle.fields[static_cast<std::size_t>(id)].weight);
    ASSERT_EQ(c.eval.get_total_value(c.values.data()), 255 * c.weight) << c.text;
  }
}

TEST(DareLogicEval, slots_exist_for_the_fields_in_use_only_and_negated_fields_have_base_value_0) {
  Config config;
  ASSERT_EQ(config.parse("((a|b)&!c&(d:e))", false, nullptr), 0);
  DareLogicEval eval;
  EXPECT_EQ(eval.build(&config, GrandMask{1} << 3 | GrandMask{1} << 5), 5);
  EXPECT_EQ(eval.init_slot(5, 700, 10, {.hasQuery = true}), 0);
  EXPECT_EQ(eval.get_slot(eval.get_slot_of(5)).baseValue, 0);
  EXPECT_EQ(eval.init_slot(2, 0, 1, {}), -1) << "not in use";
  EXPECT_EQ(eval.init_slot(1, 0, 1, {}), -1) << "no field";
  EXPECT_EQ(eval.init_slot(3, 0, 40'000, {}), -1) << "too heavy";
  EXPECT_EQ(eval.update_leaf(nullptr, 200, 1), -1);
  EXPECT_EQ(eval.build(&config, 0), 0);
  EXPECT_EQ(eval.get_num_values(), 1);
  ASSERT_EQ(config.parse("(a&b&c)", false, nullptr), 0);
  EXPECT_EQ(eval.build(&config, GrandMask{1} << 2), 2);
  EXPECT_EQ(eval.do_path_compression(), 1);
  EXPECT_EQ(eval.get_slot_of(2), 0);
  EXPECT_EQ(eval.get_num_unoptimized(), 2);
}

TEST(DareLogicEval, fields_are_reevaluated_by_cost_then_weight_then_base_value) {
  Config config;
  ASSERT_EQ(config.parse("(a&b&c&d&e&f)", false, nullptr), 0);
  DareLogicEval eval;
  eval.build(&config, ~GrandMask{0});
  eval.init_slot(1, 100, 50, {.hasQuery = true});
  eval.init_slot(2, 300, 42, {.hasQuery = true});
  eval.init_slot(3, 200, 39, {.hasQuery = true});
  eval.init_slot(4, 900, 1, {.isSecondary = true});
  eval.init_slot(5, 0, 1, {.hasIntervals = true});
  eval.init_slot(6, 0, 90, {.isReevalAlways = true});
  int total = 0;
  EXPECT_EQ(eval.calc_node_weights(&total), 131);
  EXPECT_EQ(total, 131);
  eval.compute_reeval_order();
  EXPECT_EQ(eval.get_reeval_order(), (std::vector<int>{5, 2, 1, 3, 4, -1}));
  EXPECT_EQ(eval.get_reeval_always_order(), (std::vector<int>{6, -1}));
  std::vector<int> values(static_cast<std::size_t>(eval.get_num_values()));
  eval.init_slots(values.data());
  eval.update_leaf(values.data(), 5, 0);
  EXPECT_EQ(eval.choose_reeval_field(values.data()), 2) << "5 is set, to one more than its base value";
  for (const int id : {1, 2, 3, 4}) eval.update_leaf(values.data(), id, 7);
  EXPECT_EQ(eval.choose_reeval_field(values.data()), -1);
  for (const int last : {-1, -2}) {
    EXPECT_EQ(eval.get_next_sec_only(values.data()), 6);
    eval.update_leaf(values.data(), 6, 5);
    EXPECT_EQ(eval.get_next_sec_only(values.data()), last);
    eval.reset_secondary_only(values.data());
  }
}

TEST(DareLogicEval, draws_its_slots_with_and_without_values) {
  Config config;
  ASSERT_EQ(config.parse("(a|!b)", false, nullptr), 0);
  DareLogicEval eval;
  eval.build(&config, ~GrandMask{0});
  eval.init_slot(1, 20, 10, {.hasQuery = true});
  int total = 0;
  eval.calc_node_weights(&total);
  std::vector<int> values(static_cast<std::size_t>(eval.get_num_values()));
  eval.init_slots(values.data());
  const auto drawn = [&](const int* shown) {
    const support::TempFolder folder;
    std::FILE* file = std::fopen(folder.file("dot").c_str(), "w");
    eval.graphviz_write(file, shown);
    std::fclose(file);
    return support::read_file(folder.file("dot"));
  };
  const std::string links = "0 -> 1;\n0 -> 2;\n2 -> 3;\n}\n";
  EXPECT_EQ(drawn(nullptr),
            "digraph Boolean_Logic {\n0 [shape=box, label=\"OR/slot(0)\"];\n"
            "1 [shape=box, label=\"FIELD/slot(1)/field(1)\"];\n2 [shape=box, label=\"NOT/slot(2)\"];\n"
            "3 [shape=box, label=\"FIELD/slot(3)/field(3)\"];\n" +
                links);
  EXPECT_EQ(drawn(values.data()),
            "digraph Boolean_Logic {\n0 [shape=box, label=\"OR/slot(0)/value(20)/weight(10)\"];\n"
            "1 [shape=box, label=\"FIELD/slot(1)/field(1)/value(20)/base-value(20)/weight(10)\"];\n"
            "2 [shape=box, label=\"NOT/slot(2)/value(0)/weight(0)\"];\n"
            "3 [shape=box, label=\"FIELD/slot(3)/field(3)/value(0)/base-value(0)/weight(0)\"];\n" +
                links);
}

}  // namespace
