#include "dare/dare_logic.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "ace/ace_reporter.h"
#include "dast/dast_info_list.h"
#include "gtest/gtest.h"
#include "oracle/record_set.h"
#include "support/logic_samples.h"
#include "support/recording_reporter.h"

namespace {

using Config = DareLogicConfig;
using support::LogicTree;

/// AND(a, OR(b, c))
std::string shown(const Config::Node* node) {
  if (node == nullptr) return "nothing";
  if (node->nodeType == Config::FIELD) return node->fieldName;
  std::string text = std::string(Config::get_type_name(node->nodeType)) + "(";
  for (const auto* child = node->firstChild; child != nullptr; child = child->nextNode)
    text += (child != node->firstChild ? ", " : "") + shown(child);
  return text + ")";
}
std::string shown(const LogicTree& tree) {
  if (tree.type == Config::FIELD) return tree.name;
  std::string text = std::string(Config::get_type_name(tree.type)) + "(";
  for (const LogicTree& child : tree.children) text += (text.back() != '(' ? ", " : "") + shown(child);
  return text + ")";
}
std::string parsed(const char* logic, bool permissive = false) {
  Config config;
  return config.parse(logic, permissive, AceReporter::null()) == 0 ? shown(config.get_root()) : "refused";
}

class DareLogic : public ::testing::Test {
 protected:
  void SetUp() override { AceReporter::null()->set_as_default(); }
  void TearDown() override { AceReporter::clear_default(); }
};

TEST_F(DareLogic, texts_become_the_trees_that_they_stand_for) {
  EXPECT_EQ(parsed("(a&b&c)"), "AND(a, b, c)");
  EXPECT_EQ(parsed("((a|b)&c)"), "AND(OR(a, b), c)");
  EXPECT_EQ(parsed("(a|b)"), "OR(a, b)");
  EXPECT_EQ(parsed("(a:b)"), "PLUS_AND(PLUS_OR(a, b))");
  EXPECT_EQ(parsed("(a&!b)"), "AND(a, NOT(b))");
  EXPECT_EQ(parsed("(!a&b)"), "AND(NOT(a), b)");
  EXPECT_EQ(parsed("(!(a|b)&c)"), "AND(NOT(OR(a, b)), c)");
  EXPECT_EQ(parsed("((a:b:d)&c)"), "AND(PLUS_AND(PLUS_OR(a, b, d)), c)");
  EXPECT_EQ(parsed("(a)"), "a");
  EXPECT_EQ(parsed("(!a)"), "NOT(a)");
  EXPECT_EQ(parsed("abc"), "abc");
  EXPECT_EQ(parsed(" ( ((first name )) | b!c )\n"), "OR(first name, b!c)");
  EXPECT_EQ(parsed("a&b", true), "AND(a, b)");
  EXPECT_EQ(parsed("(a&b|c)", true), "OR(a, b, c)");
  EXPECT_EQ(parsed("(a&a)"), "AND(a, a)");
}

TEST_F(DareLogic, what_is_no_combination_is_refused_with_its_position) {
  for (const char* logic :
       {"", "ab", "a&b", "(a&b", "(a&b))", "(a&b)c", "()", "(a&)", "(&a)", "(a,b)", "(a b(c))", "((a)(b))",
        "(!)", "(a&b|c)", "(a:b&c)", "(a&b:c)", "(a!&)", "((((((", ")))"})
    EXPECT_EQ(parsed(logic), "refused") << logic;
  for (const char* logic : {"a)(b", "a:b&c", "a|b:c", "a,b"})
    EXPECT_EQ(parsed(logic, true), "refused") << logic;
  support::RecordingReporter rep;
  Config config;
  EXPECT_EQ(config.parse("(a&b|c)", false, &rep), -1);
  EXPECT_EQ(config.parse("(a&,)", false, &rep), -1);
  EXPECT_EQ(rep.all(),
            "Type of node changed while parsing logic string '(a&b|c)'. Please check your logic string.\n"
            "Logic string '(a&,)': expected a field name, '!' or '(', found ',' at position 3\n");
  EXPECT_EQ(config.get_num_slots(), 0);
  EXPECT_EQ(config.get_logic_id("a"), -1);
  EXPECT_EQ(config.parse("(a&b|c)", false, nullptr), -1);
}

TEST_F(DareLogic, random_trees_come_back_numbered_depth_first_and_copies_are_equal) {
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    int numFields = 0;
    const LogicTree tree = support::random_logic(&random, 4, true, &numFields);
    const std::string text = "(" + support::text_of(tree) + ")";
    Config config;
    ASSERT_EQ(config.parse(text.c_str(), round % 2 == 0, AceReporter::null()), 0) << text;
    ASSERT_EQ(shown(config.get_root()), shown(tree)) << text;
    config.set_plus_weight(30);
    const Config copied(&config);
    config.clear();
    ASSERT_EQ(shown(copied.get_root()), shown(tree));
    ASSERT_EQ(copied.get_plus_weight(), 30);
    int id = 0;
    Config::NodeIter iter = copied.get_node_iter();
    for (const auto* node = iter.next(); node != nullptr; node = iter.next(), ++id) {
      ASSERT_EQ(node->logicId, id);
      ASSERT_EQ(node->parentNode == nullptr, id == 0);
      for (const auto* child = node->firstChild; child != nullptr; child = child->nextNode)
        ASSERT_EQ(child->parentNode, node);
    }
    ASSERT_EQ(copied.get_num_slots(), id);
    std::vector<const char*> names(static_cast<std::size_t>(numFields));
    ASSERT_EQ(copied.get_logic_fields(names.data()), numFields);
    for (int i = 0; i < numFields; ++i)
      ASSERT_EQ(names[static_cast<std::size_t>(i)], "f" + std::to_string(i));
  }
}

TEST_F(DareLogic, names_lead_to_their_first_leaf_and_deep_and_wide_texts_are_taken) {
  Config config;
  EXPECT_EQ(config.parse("((a|root)&a)", false, nullptr), 0);
  EXPECT_EQ(config.get_logic_id("a"), 2);
  EXPECT_EQ(config.get_logic_id("root"), 3);
  EXPECT_EQ(config.get_logic_id("b"), -1);
  EXPECT_EQ(config.add_child(config.get_root(), "a"), nullptr);
  ASSERT_NE(config.add_child(config.get_root(), "b"), nullptr);
  EXPECT_EQ(config.get_logic_id("b"), 5);
  EXPECT_EQ(config.set_plus_weight(101), -1);

  // Under strict string checks each string function reads a text to its end, whatever it looks for: fewer
  // then.
  const char* const checks = std::getenv("ASAN_OPTIONS");
  const bool isStrict = checks != nullptr && std::strstr(checks, "strict_string_checks=1") != nullptr;
  const int depth = isStrict ? 15'000 : 100'000;
  std::string groups, negations = "(", wide = "(a";
  for (int i = 0; i < depth; ++i) {
    groups += "(a&";
    negations += "!(";
    wide += "&a";
  }
  groups += "a" + std::string(depth, ')');
  negations += "a" + std::string(depth + 1, ')');
  wide += ")";
  for (const std::string& text : {groups, negations, wide}) {
    support::RecordingReporter rep;
    EXPECT_EQ(config.parse(text.c_str(), false, &rep), 0);
    EXPECT_EQ(rep.all(), "wSORV_0000 Too many logic nodes found. Some fields might not work properly\n");
    const Config copied(&config);
    EXPECT_EQ(copied.get_num_slots(), text == groups      ? 2 * depth + 1
                                      : text == negations ? depth + 1
                                                          : depth + 2);
    GrandMask needed = 0;
    EXPECT_LE(copied.get_slots_needed(~GrandMask{0}, &needed), 128);
    EXPECT_EQ(config.parse(text.substr(0, text.size() - 1).c_str(), false, nullptr), -1);
  }
  std::string many = "(f0";
  for (int i = 1; i < 127; ++i) many += "&f" + std::to_string(i);
  support::RecordingReporter rep;
  EXPECT_EQ(config.parse((many + ")").c_str(), false, &rep), 0);
  EXPECT_EQ(rep.all(), "") << "128 nodes";
  EXPECT_EQ(config.parse((many + "&last)").c_str(), false, &rep), 0);
  EXPECT_EQ(config.get_num_slots(), 129);
  EXPECT_NE(rep.all(), "");
}

TEST_F(DareLogic, graphs_have_a_line_for_each_node_and_each_link) {
  Config config;
  ASSERT_EQ(config.parse("(a\"b|!c)", false, nullptr), 0);
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* file = open_memstream(&text, &size);
  config.graphviz_write_nodes(file, config.get_root());
  config.graphviz_write_links(file, config.get_root());
  std::fclose(file);
  EXPECT_EQ(
      std::string(text, size),
      "0 [shape=box, label=\"OR\"];\n1 [shape=circle, label=\"a\\\"b\"];\n2 [shape=box, label=\"NOT\"];\n"
      "3 [shape=circle, label=\"c\"];\n0 -> 1;\n0 -> 2;\n2 -> 3;\n");
  std::free(text);
}

/// Whether no OR has the two leaves in different children.
bool together(const Config& config, int first, int second) {
  std::vector<const Config::Node*> nodes;
  Config::NodeIter iter = config.get_node_iter();
  for (const auto* node = iter.next(); node != nullptr; node = iter.next()) nodes.push_back(node);
  const auto* a = nodes[static_cast<std::size_t>(first)];
  const auto* b = nodes[static_cast<std::size_t>(second)];
  for (; a != b; (a->logicId > b->logicId ? a : b) = (a->logicId > b->logicId ? a : b)->parentNode) {
  }
  return first == second || a->nodeType != Config::OR;
}

/// The set that the restricted leaves leave at a node; `is_restricted` tells whether there is one.
oracle::Bits left_at(const Config::Node* node, const std::vector<oracle::Bits>& sets, GrandMask leaves,
                     bool* is_restricted) {
  const auto id = static_cast<std::size_t>(node->logicId);
  if (node->nodeType == Config::FIELD) {
    *is_restricted = (leaves >> id & 1) != 0;
    return sets[id];
  }
  oracle::Bits result = node->nodeType == Config::AND ? 255 : 0;
  *is_restricted = false;
  for (const auto* child = node->firstChild; child != nullptr; child = child->nextNode) {
    bool isPart = false;
    const oracle::Bits part = left_at(child, sets, leaves, &isPart);
    if (!isPart) continue;
    *is_restricted = true;
    result = node->nodeType == Config::AND ? result & part : result | part;
  }
  return node->nodeType == Config::NOT ? ~result & oracle::range(1, oracle::NUM_RECORDS) : result;
}

TEST_F(DareLogic, selecting_narrowing_and_releasing_combine_sets_of_records_by_the_tree) {
  std::mt19937 random(2);
  for (int round = 0; round < 500; ++round) {
    int numFields = 0;
    const std::string text =
        "(" + support::text_of(support::random_logic(&random, 3, true, &numFields)) + ")";
    Config config;
    ASSERT_EQ(config.parse(text.c_str(), false, nullptr), 0);
    AceAttach at;
    const auto numNodes = static_cast<std::size_t>(config.get_num_slots());
    std::vector<DastInfoList> lists(numNodes);
    std::vector<oracle::Bits> sets(numNodes);
    GrandMask leaves = 0;
    GrandMask restricted = 0;
    for (int step = 0; step < 12; ++step) {
      const std::string name = "f" + std::to_string(random() % static_cast<unsigned>(numFields));
      const int slot = config.get_logic_id(name.c_str());
      const auto encodings = oracle::all_encodings(random() % 256 | random() % 256, false);
      const DastInfoList hits = encodings[random() % encodings.size()].list();
      const bool wasRestricted = (leaves >> slot & 1) != 0;
      if (random() % 4 == 0) {
        restricted = config.release(slot, lists.data(), restricted, oracle::NUM_RECORDS, &at);
        leaves &= ~(GrandMask{1} << slot);
      } else {
        restricted = config.narrow(slot, &hits, lists.data(), restricted, oracle::NUM_RECORDS, &at);
        leaves |= GrandMask{1} << slot;
        oracle::Bits& set = sets[static_cast<std::size_t>(slot)];
        set = oracle::bits_of(hits) & (wasRestricted ? set : 255);
      }
      if (step % 3 == 0) restricted = config.select(lists.data(), leaves, oracle::NUM_RECORDS, &at);
      bool isRestricted = false;
      const oracle::Bits expected = left_at(config.get_root(), sets, leaves, &isRestricted);
      ASSERT_EQ((restricted & 1) != 0, isRestricted) << text;
      ASSERT_EQ(oracle::bits_of(lists[0]), isRestricted ? expected : 0) << text;
    }
    std::vector<int> ids(numNodes);
    ids.resize(static_cast<std::size_t>(config.get_select_fields(leaves, ids.data())));
    for (int i = 0; i < numFields; ++i) {
      const int id = config.get_logic_id(("f" + std::to_string(i)).c_str());
      bool isFree = true;
      for (int other = 0; other < config.get_num_slots(); ++other)
        if ((leaves >> other & 1) != 0 && !together(config, id, other)) isFree = false;
      ASSERT_EQ(std::count(ids.begin(), ids.end(), id), isFree ? 1 : 0) << text << ' ' << id;
    }
  }
}

}  // namespace
