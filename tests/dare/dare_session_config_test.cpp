#include "dare/dare_session_config.h"

#include <algorithm>
#include <fstream>
#include <memory>
#include <random>
#include <set>
#include <sstream>

#include "ace/ace_exception.h"
#include "dare/dare_history.h"
#include "dare/dare_multi_query.h"
#include "dare/dare_session.h"
#include "support/damage.h"
#include "support/record_bases.h"
#include "support/recording_reporter.h"

namespace {

/// Lines without the blanks in front, with a tab for their first blank.
std::string tabbed(const std::string& text) {
  std::string result, line;
  for (std::istringstream lines(text); std::getline(lines, line);) {
    line.erase(0, std::min(line.find_first_not_of(' '), line.size()));
    if (const std::size_t blank = line.find(' '); blank != std::string::npos) line[blank] = '\t';
    result += line + "\n";
  }
  return result;
}

constexpr const char* FIELDS =
    "FIELDS {\n a {\n BUILD_FIELD surname\n }\n b {\n BUILD_FIELD city\n }\n c {\n }\n}\n";
constexpr const char* COMBINATIONS = "COMBINATIONS {\n default {\n }\n}\n";

/// Every keyword once.
const std::string RICH = support::read_file(TEST_TEMPLATE);

class DareSessionConfigTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    support::Table table = support::table_of({"surname", "city"});
    table.records = {{"mayer", "bern"}, {"mayr", "basel"}, {"huber", "bern"}};
    const support::TempFolder folder;
    base = support::build_base(table, folder).release();
  }
  static void TearDownTestSuite() { base->destroy(); }
  void SetUp() override { rep.set_as_default(); }
  void TearDown() override {
    static AceReporter standard;
    standard.set_as_default();
  }

  int read(const std::string& text) {
    config = std::make_unique<DareSessionConfig>(base);
    return config->config_session(text.c_str(), &rep);
  }
  DareSessionField* field(const char* name) { return config->get_session_field(name); }

  static inline DastBase* base = nullptr;
  support::RecordingReporter rep;
  std::unique_ptr<DareSessionConfig> config;
};

TEST_F(DareSessionConfigTest, takes_every_keyword) {
  using Config = DareSessionFieldConfig;
  ASSERT_EQ(read(RICH), 0) << rep.all();
  EXPECT_EQ(rep.all(), "");
  EXPECT_EQ(config->get_run_time(), 2500);
  EXPECT_STREQ(config->get_rule_file(), "rules.xml");
  EXPECT_EQ(config->get_random_mode(), DareSessionSort::SORT);
  EXPECT_STREQ(config->get_script_function(), "find_it");
  EXPECT_STREQ(config->get_assess_id_field(), "name");
  EXPECT_EQ(config->get_field_names(), (DareFieldNames{"name", "city", "all", "empty"}));

  const Config& name = field("name")->fieldConf;
  EXPECT_STREQ(config->get_field_shape("name"), "RESCALE");
  EXPECT_EQ(config->get_field_rescale("name"), 120);
  EXPECT_EQ(config->get_field_penalty("name"), 7);
  EXPECT_EQ(field("name")->get_unit()->get_rescale_config()->get_keep_perfect(), 1);
  EXPECT_EQ(field("name")->get_unit()->empty_conf(), 200);
  EXPECT_EQ(name.optionFlags, 1 + 8 + 16 + 256);
  EXPECT_EQ(name.reevalMode, ReevalMode::CACHED);
  EXPECT_EQ(name.aliasDisplay, DastOptions::BEST);
  EXPECT_TRUE(name.queryTransform != nullptr && name.resultTransform != nullptr);
  EXPECT_STREQ(config->get_field_shape("city"), "CUSTOM");
  EXPECT_EQ(field("city")->get_unit()->reshape(100), 50);
  EXPECT_EQ(field("all")->fieldConf.optionFlags, 512);
  EXPECT_EQ(field("all")->fieldConf.reevalMode, ReevalMode::PRIMARY_ONLY);
  EXPECT_STREQ(config->get_field_method("all"), "CONTEXT");
  EXPECT_STREQ(config->get_free_search_shape("all", "surname"), "FILTER");
  EXPECT_EQ(config->get_free_search_rescale("all", "surname"), 101);
  EXPECT_EQ(config->get_free_search_rescale("all", "city"), 190);

  const DareFlexConfig& flex = name.flexConfig;
  EXPECT_EQ(std::vector<int>({flex.minValue, flex.maxDistance, flex.numSuggestions}),
            std::vector<int>({11, 12, 13}));
  EXPECT_EQ(flex.evalModel, TeraEval::QUERY);
  EXPECT_EQ(flex.flexFlags, DareFlexConfig::USE_DUPLICATES + DareFlexConfig::REGION_DETECT);
  EXPECT_EQ(flex.extraCharWeight, 6);
  EXPECT_EQ(flex.frequentPenalty, 8);
  ASSERT_EQ(flex.inputArray.size(), 2U) << "WEIGHT ends the block of an input field";
  EXPECT_EQ(flex.inputArray[0].arrayId, 1) << "found when all fields are known";
  EXPECT_EQ(flex.inputArray[0].defaultMode, DastOptions::EXACT);
  EXPECT_EQ(flex.inputArray[0].defaultString, "x");
  ASSERT_EQ(flex.outputArray.size(), 2U);
  EXPECT_EQ(flex.outputArray[0].relevanceLevel, DareFlexConfig::FF_ABSOLUTE);
  EXPECT_EQ(flex.outputArray[0].evaluationType, DareFlexConfig::FF_SECONDARY);
  EXPECT_TRUE(flex.outputArray[0].isAdditive);
  EXPECT_EQ(flex.outputArray[0].outputWeight, 30);
  EXPECT_EQ(flex.outputArray[1].outputWeight, 100);
  EXPECT_EQ(flex.context.contextField, 1);

  ASSERT_EQ(config->get_num_combi(), 2);
  const DastCombination* const first = config->get_default_combination();
  EXPECT_EQ(std::vector<int>({first->get_min_conf(), first->get_max_dist(), first->get_num_suggs()}),
            std::vector<int>({21, 22, 23}));
  EXPECT_STREQ(config->get_logic(), "(name|city)");
  const DareFixedConfig::InputField& input = first->fixedConfig.get_input_field(0);
  EXPECT_EQ(input.fieldWeight, 40);
  EXPECT_EQ(input.defaultMode, DastOptions::COMPLETE);
  EXPECT_EQ(input.defaultString, "may");
  EXPECT_EQ(first->fixedConfig.get_sum_weights(), 340);
  EXPECT_EQ(first->fixedConfig.context.contextField, 1);
  EXPECT_EQ(first->fixedConfig.context.contextString, "bern");
  EXPECT_EQ(config->get_combination("flex")->get_type(), DastCombination::FLEX_FORM);
  EXPECT_EQ(config->get_num_sort_fields(), 2);
  EXPECT_EQ(config->get_sort_field(0), 1);
  EXPECT_EQ(config->get_sort_mode(0), DareSessionSort::REVERSE);
  EXPECT_EQ(config->get_sort_mode(1), DareSessionSort::LEXICAL);
}

TEST_F(DareSessionConfigTest, says_what_is_wrong) {
  const std::string fields = FIELDS, all = fields + COMBINATIONS;
  const auto in_field = [](const std::string& line) { return "FIELDS {\n a {\n " + line + "\n }\n}\n"; };
  const auto in_combi = [&](const std::string& lines) {
    return fields + "COMBINATIONS {\n default {\n" + lines + "\n }\n}\n";
  };
  const auto in_fixed = [&](const std::string& lines) {
    return in_combi("FIXED_CONFIG {\n" + lines + "\n}");
  };
  const auto in_flex = [&](const std::string& lines) { return in_combi("FLEX_CONFIG {\n" + lines + "\n}"); };
  const std::pair<std::string, const char*> wrong[] = {
      {"\n" + all, "activeCombination = get_default_combination()"},
      {"\n" + all, "it ends at the empty line 1; line 2 and all behind it is ignored"},
      {"BAD 1\n", "Invalid keyword 'BAD' in session config string"},
      {"COMMENT x\n", "Invalid keyword 'COMMENT' in session config string"},
      {COMBINATIONS, "combination->init_fields(numSesFields, fieldnames)"},
      {fields + "COMBINATIONS {}\n", "activeCombination = get_default_combination()"},
      {in_field("BAD 1"), "Illegal keyword 'BAD' in session field (a) configuration string"},
      {in_field("BUILD_FIELD zip"),
       "Cannot set build field 'zip' for session field 'a': Build field does not "
       "exist in data base"},
      {in_field("QUERY_NORM NO_SUCH"), "queryTransform = TeraTransform::factory"},
      {in_field("REEVAL soon") + COMBINATIONS,
       "Cannot set evaluation type 'soon' for field 'a': eval type is "
       "unknown"},
      {in_field("CUSTOM 1;x"), "CUSTOM expects 256 numbers"},
      {in_field("FS_FIELDS {\n zip {\n }\n }"),
       "Cannot configure free search field: Index Field 'zip' not found in the base."},
      {in_field("FS_FIELDS {\n city {}\n city {}\n }"), "free search field 'city' is named twice"},
      {in_field("FS_FIELDS {\n city {\n BAD 1"),
       "Unknown free search keyword 'BAD' in session template for free search field 'city' on session field "
       "a"},
      {in_field("FS_FIELDS {\n city {\n }\n }\n FS_FIELDS {\n surname {"), "Illegal keyword 'surname'"},
      {in_field("FLEX_CONFIG {\n FIELDS {\n zip {}\n }\n }") + COMBINATIONS, "'zip' is no session field"},
      {"FIELDS {\n a {}\n a {}\n}\n", "line 3: the name of a new session field expected, 'a' found"},
      {in_combi("BAD 1"), "Invalid keyword 'BAD' in config string for multi field combination (default)"},
      {in_fixed("BAD 1"), "Invalid keyword 'BAD' in config string for FixedForm"},
      {in_fixed("LOGIC (a&"), "fixedConfig.configure(input, fieldnames, rep)"},
      {in_fixed("FIELDS {\n zip {}\n }"), "idx = get_field_index(fieldname)"},
      {in_fixed("FIELDS {\n a {\n WEIGHT -1"), "Cannot apply weight -1 for field a. Weight is negative"},
      {in_fixed("FIELDS {\n a {\n WEIGHT 256"), "Cannot apply weight 256 for field a. Weight is too large"},
      {in_fixed("FIELDS {\n a {\n BAD 1"),
       "Unknown configuration keyword 'BAD' in default configuration for input field a"},
      {in_fixed("CONTEXT {\n FIELD zip"), "contextField = get_session_field_index(value, fieldnames)"},
      {in_fixed("CONTEXT {\n BAD 1"),
       "Unknown configuration keyword 'BAD' in default configuration with value 1"},
      {in_flex("}\n FIXED_CONFIG {}\n FLEX_CONFIG {"), "No logic string in session configuration given"},
      {in_flex("COMMENT {\n two }"), "Invalid keyword 'two' in config string for FlexForm Config"},
      {in_flex("EVAL_MODEL none"), "configure_option(keyword, value, input, base, fieldnames, rep)"},
      {in_flex("FIELDS {\n zip {}"), "input_fields[numInputs].arrayId"},
      {in_flex("FIELDS {\n a {\n BAD 1"),
       "Unknown configuration keyword 'BAD' in default configuration for input field a"},
      {in_flex("FF_FIELDS {\n zip {}"), "bfid = base->get_field_index(fieldname)"},
      {in_flex("FF_FIELDS {\n city {\n RELEVANCE low"),
       "Unkown relevance level 'low' for FlexForm output field 'city'"},
      {in_flex("FF_FIELDS {\n city {\n EVALUATION low"),
       "Unknown evaluation type 'low' for FlexForm output field 'city'"},
      {in_flex("FF_FIELDS {\n city {\n BAD 1"),
       "Invalid keyword 'BAD' in config string for FlexForm output field configuration on field city"},
      {"SORT_ORDER {\n}\n", "SORT_ORDER expects FIELDS before it"},
      {fields + "SORT_ORDER {\n 1 {\n FIELD_NAME zip", "ses_field = get_session_field(value)"},
      {fields + "SORT_ORDER {\n 1 {\n CRITERION quality", "Unknown sort criterion: 'quality'"},
      {fields + "SORT_ORDER {\n 1 {\n BAD 1",
       "Unrecognized keyword in session configuration of sort order: BAD"},
      {fields + "SORT_ORDER {\n 1 {}\n}\nSORT_ORDER {\n 1 {}\n}\n",
       "Cannot configure sort order: There are already sort fields configured"},
      {"FIELDS {\n a {\n COMMENT {\n", "block 'COMMENT' of line 3 is not closed, the text ends at line 3"},
  };
  for (const auto& [text, message] : wrong) {
    rep.messages.clear();
    rep.events.clear();
    const bool isWarning = text.find("REEVAL") != std::string::npos;
    EXPECT_EQ(read(tabbed(text)), isWarning ? 0 : -1) << text;
    EXPECT_NE(rep.all().find(message), std::string::npos) << text << "\n--- said\n" << rep.all();
  }
  std::string many = "FIELDS\t{\n";
  for (int i = 0; i < 129; ++i) many += std::to_string(i) + "\t{}\n";
  const std::pair<std::string, const char*> thrown[] = {{"RUNTIME\t12 ms\n", "wrong value type"},
                                                        {"RUNTIME\t-1\n", "wrong value type"},
                                                        {"RUNTIME\t3000000000\n", "wrong value type"},
                                                        {"RUNTIME\n", "missing value"},
                                                        {many, "Field index out of range"}};
  for (const auto& [text, message] : thrown) try {
      read(text);
      ADD_FAILURE() << text;
    } catch (const AceException& exception) {
      AceAttach at;
      EXPECT_NE(std::string(exception.what(&at)).find(message), std::string::npos) << exception.what(&at);
    }
  EXPECT_EQ(read(""), -1);
}

TEST_F(DareSessionConfigTest, every_cut_inside_a_block_is_refused_and_no_damage_is_a_fault) {
  const std::size_t whole = RICH.find("\nSORT_ORDER"), last = RICH.rfind('}');
  for (std::size_t length = RICH.find("FIELDS\t{"); length < last; ++length) {
    rep.messages.clear();
    EXPECT_EQ(read(support::cut(RICH, length)) == 0, length == whole || length == whole + 1) << length;
  }
  std::mt19937 random(11);
  for (int round = 0; round < 3000; ++round) {
    rep.messages.clear();
    std::string text = support::flip(RICH, random() % (8 * RICH.size()));
    if (round % 2 == 0) text.erase(random() % text.size(), random() % 40);
    try {
      if (read(text) == 0) EXPECT_GT(config->get_num_fields(), 0);
    } catch (const AceException&) {  // RUNTIME
    }
  }
}

TEST_F(DareSessionConfigTest, keeps_odd_values_as_they_have_always_been_read) {
  ASSERT_EQ(
      read(tabbed("RANDOM shuffle\nFIELDS {\n a {\n DEF_VALUE 300\n DEF_VALUE 0\n CONTROL_CANDS VALUES\n "
                  "CONTROL_CANDS values\n SHAPE odd\n }\n}\nCOMBINATIONS {\n x {\n }\n}\nFIELDS {\n b "
                  "{}\n c {}\n}\n")),
      0);
  EXPECT_EQ(config->get_random_mode(), DareSessionSort::KEEP_ORDER);
  EXPECT_EQ(config->get_field_names(), (DareFieldNames{"b", "c"}));
  EXPECT_EQ(config->get_default_combination()->fixedConfig.get_field_index("c"), 1) << "fields came later";
  EXPECT_STREQ(config->get_logic(), "(b&c)");

  ASSERT_EQ(read(tabbed(std::string(FIELDS) + COMBINATIONS)), 0);
  config->set_sort_order("a|b:QUALITY||zip:REVERSE|c:FOO");
  ASSERT_EQ(config->get_num_sort_fields(), 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(config->get_sort_field(i), i);
  EXPECT_EQ(config->get_sort_mode(0), DareSessionSort::LEXICAL);
  EXPECT_EQ(config->get_sort_mode(1), DareSessionSort::QUALITY);
  EXPECT_EQ(config->get_sort_mode(2), DareSessionSort::LEXICAL);
}

TEST_F(DareSessionConfigTest, changes_of_a_session_never_reach_its_template) {
  ASSERT_EQ(read(RICH), 0);
  config->set_template_name("people");
  DareSessionConfig copy(config.get(), &rep);
  EXPECT_STREQ(copy.get_template_name(), "people");
  EXPECT_EQ(copy.get_num_sort_fields(), 2);
  EXPECT_EQ(copy.get_active_combination(), copy.get_default_combination());
  EXPECT_EQ(copy.get_session_field(0)->get_unit()->get_weight(), 40);
  EXPECT_EQ(copy.set_field_shape("name", "NOT"), 0);
  EXPECT_EQ(copy.set_field_shape("name", "odd"), -1);
  EXPECT_EQ(copy.set_fs_rescale("all", "city", 5), 0);
  EXPECT_EQ(copy.set_field_rescale("zip", 5), -1);
  EXPECT_EQ(copy.clear_field_force_exact("name"), 0);
  copy.get_default_combination()->fixedConfig.set_weight(1, 0);
  EXPECT_EQ(copy.set_logic("(city)", &rep), 0);
  copy.set_sort_order("name");
  EXPECT_STREQ(config->get_field_shape("name"), "RESCALE");
  EXPECT_EQ(config->get_free_search_rescale("all", "city"), 190);
  EXPECT_EQ(config->get_field_force_exact("name"), 1);
  EXPECT_EQ(config->get_default_combination()->fixedConfig.get_weight(1), 100);
  EXPECT_STREQ(config->get_logic(), "(name|city)");
  EXPECT_EQ(config->get_num_sort_fields(), 2);

  EXPECT_EQ(copy.switch_combination(0, nullptr), 0);
  EXPECT_EQ(copy.switch_combination(1, nullptr), 1);
  EXPECT_EQ(copy.get_session_field(0)->get_unit()->get_weight(), -1) << "flex form";
  EXPECT_EQ(copy.switch_combination(7, nullptr), -1);
  EXPECT_EQ(copy.get_active_combination()->get_group_id(), 0);
  EXPECT_EQ(copy.get_session_field(0)->get_unit()->get_weight(), 40);
  EXPECT_EQ(copy.switch_combination(-1, nullptr), -1);
}

TEST_F(DareSessionConfigTest, takes_fields_in_a_new_order_with_all_that_is_theirs) {
  ASSERT_EQ(read(RICH), 0);
  const char* const lost[] = {"name", "city"};
  EXPECT_EQ(config->reorder(2, lost), -1);
  const char* const unnamed[] = {nullptr, "name", "city", "all", "empty"};
  EXPECT_EQ(config->reorder(5, unnamed), -1);
  const char* const order[] = {"city", "fresh", "empty", "all", "name"};
  ASSERT_EQ(config->reorder(5, order), 0);
  EXPECT_EQ(config->get_field_names(), (DareFieldNames{"city", "fresh", "empty", "all", "name"}));
  EXPECT_EQ(field("name")->get_array_id(), 4);
  EXPECT_EQ(field("name")->get_unit()->get_weight(), 40);
  const DareFixedConfig& fixed = config->get_default_combination()->fixedConfig;
  EXPECT_EQ(fixed.get_input_field(4).fieldName, "name");
  EXPECT_EQ(fixed.get_input_field(4).defaultString, "may");
  EXPECT_FALSE(fixed.get_input_field(0).defaultString.has_value());
  EXPECT_EQ(fixed.get_weight(0), 100);
  EXPECT_EQ(fixed.get_sum_weights(), 440);
  EXPECT_EQ(fixed.context.contextField, 0);
  EXPECT_EQ(field("name")->fieldConf.flexConfig.inputArray[0].arrayId, 0);
  EXPECT_EQ(config->get_sort_field(0), 0);
  EXPECT_EQ(config->get_sort_field(1), 4);
}

TEST_F(DareSessionConfigTest, shuffles_all_but_the_first_two_and_sorts_by_several_criteria) {
  std::vector<DareSortSuggestion> records(3);
  std::vector<DareSortSuggestion*> list(3);
  std::set<std::vector<DareSortSuggestion*>> seen;
  for (auto& record : records) list[static_cast<std::size_t>(&record - records.data())] = &record;
  const auto in_order = list;
  for (int round = 0; round < 100; ++round) {
    list = in_order;
    DareSessionSort::shuffle_suggestions(list.data(), 2);
    EXPECT_EQ(list, in_order);
    DareSessionSort::shuffle_suggestions(list.data(), 3);
    EXPECT_NE(list[2], &records[2]);
    seen.insert(list);
  }
  EXPECT_EQ(seen.size(), 2U);

  ASSERT_EQ(read(tabbed("RANDOM SORT\n" + std::string(FIELDS) + COMBINATIONS)), 0);
  config->set_sort_order("b:QUALITY|c:REVERSE|a");
  DareSessionSort sort;
  config->prepare_sorting(&sort);
  EXPECT_TRUE(sort.field_is_qual_sort(1) && sort.field_is_string_sort(2) && !sort.field_is_string_sort(0));
  std::vector<std::unique_ptr<DastRecord>> shown;
  for (const auto& [quality, text, id] :
       {std::tuple{9, "x", 2U}, std::tuple{9, "y", 3U}, std::tuple{9, "x", 1U}, std::tuple{10, "a", 1U}}) {
    shown.push_back(std::make_unique<DastRecord>(3));
    shown.back()->set_quality(1, quality);
    shown.back()->set_string(2, text);
    if (shown.size() > records.size()) records.emplace_back();
    records[shown.size() - 1] = {shown.back().get(), id};
  }
  list.clear();
  for (auto& record : records) list.push_back(&record);
  EXPECT_EQ(sort.sort_suggestions(list.data(), 4), 0);
  const std::vector<DareSortSuggestion*> expected = {&records[3], &records[1], &records[2], &records[0]};
  EXPECT_EQ(list, expected);
}

TEST_F(DareSessionConfigTest, transforms_each_alternative_and_cuts_long_queries_between_characters) {
  ASSERT_EQ(read(RICH), 0);
  DareSessionField* const name = field("name");
  AceAttach at;
  EXPECT_STREQ(name->query_transform(" a |  b\\|c |", &at), "a|b\\|c|");
  EXPECT_STREQ(name->query_transform("...", &at), "...");
  EXPECT_STREQ(name->query_transform(std::string(254, '|').c_str(), &at), std::string(254, '|').c_str());
  EXPECT_STREQ(name->query_transform(std::string(255, '|').c_str(), &at), "%%%UNDEF%%%");
  EXPECT_NE(rep.all().find("at most 255 alternatives expected, 256 found"), std::string::npos);

  std::string longQuery = "a";
  while (longQuery.size() < 9000) longQuery += "\xC3\xA4";
  EXPECT_NE(name->sync_query(longQuery.c_str(), DastOptions::APPROX, 0, nullptr), 0);
  EXPECT_EQ(name->get_query(), longQuery.substr(0, 8191));
  name->sync_query("b|c", DastOptions::FS_DETECT, 0, nullptr);
  EXPECT_STREQ(name->build_fs_query(), "b c");
  EXPECT_STREQ(config->get_summary(&at), "+b|c.-.-.-");
}

TEST_F(DareSessionConfigTest, the_example_of_the_reference_weighs_as_the_reference_says) {
  std::ifstream page(TEST_SESSION);
  std::string text, line;
  while (std::getline(page, line) && line != "```") continue;
  while (std::getline(page, line) && line != "```") text += line + "\n";
  DastSession session(base, false);
  ASSERT_EQ(session.config_session(text.c_str(), &rep), 0) << rep.all();
  session.init_context();
  const char* const modes[] = {"?", "?"};
  const char* const queries[] = {"mayr", "bern"};
  const DareMultiQuery query(2, modes, queries);
  const std::unique_ptr<DastResult> result(session.search(&query, -1));
  ASSERT_EQ(result->get_num_suggs(), 2);
  const int name = result->get_sugg(0)->get_field_quality(0);
  EXPECT_EQ(result->get_sugg(0)->get_quality(), (name * 100 + 255 * 40) / 140);
  EXPECT_EQ(result->get_sugg(1)->get_quality(), 216);
}

}  // namespace
