/// Sessions and rules together: what a program decides about the records of a base.
#include <map>
#include <random>

#include "dare/dare_multi_query.h"
#include "dare/dare_session.h"
#include "dare/dare_session_config.h"
#include "support/record_bases.h"

namespace {

using Result = std::unique_ptr<DastResult>;

constexpr const char* CONFIGURATION =
    "FIELDS\t{\na\t{\nBUILD_FIELD\ta\n}\nb\t{\nBUILD_FIELD\tb\n}\nc\t{\nBUILD_FIELD\tc\n}\n}\n"
    "COMBINATIONS\t{\n"
    "default\t{\nMIN_CONF\t200\nMAX_DIST\t255\nNUM_ALTS\t5000\nFIXED_CONFIG\t{\nLOGIC\t(a&b&c)\n}\n}\n"
    "wide\t{\nMIN_CONF\t100\nMAX_DIST\t255\nNUM_ALTS\t5000\nFIXED_CONFIG\t{\nLOGIC\t(a&b)\n}\n}\n}\n";

/// Those of the wide search that the default combination finds good are a MATCH if they are few, else all of
/// the wide search are for selection.
constexpr const char* RULES =
    "<KVConfiguration svversion=\"90.0\"><filters>"
    "<filter name=\"sure\" class=\"field_min_qual\" fieldname=\"c\">200</filter></filters><rules>"
    "<rule name=\"find\"><input>wide()</input><output>found</output><relation>wide</relation>"
    "<acceptance class=\"min_num_records\">1</acceptance><decision>check</decision></rule>"
    "<rule name=\"check\"><input>default(found)</input><filter>sure</filter><penalty>7</penalty>"
    "<relation>sure</relation><acceptance><acceptance class=\"min_num_records\">1</acceptance>"
    "<acceptance class=\"max_num_records\">5</acceptance></acceptance>"
    "<decision>MATCH</decision><otherwise>show</otherwise></rule>"
    "<rule name=\"show\"><input>found</input><decision>SELECT</decision></rule></rules></KVConfiguration>";

struct Shown {
  Large record;
  int quality;
  std::string info;
  bool operator==(const Shown&) const = default;
};

void PrintTo(const Shown& shown, std::ostream* out) {
  *out << shown.record << ":" << shown.quality << " " << shown.info;
}

std::vector<Shown> list_of(const DastResult* result) {
  std::vector<Shown> list;
  for (int i = 0; result != nullptr && i < result->get_num_suggs(); ++i) {
    const DastSuggestion* suggestion = result->get_sugg(i);
    const char* info = suggestion->repObj->get_record_info();
    list.push_back({suggestion->recordIndex, suggestion->get_quality(), info != nullptr ? info : ""});
  }
  return list;
}

TEST(DareAssess, rules_decide_what_separate_searches_of_the_same_query_lead_to) {
  AceReporter::clear_default();
  std::map<std::string, int> numDecisions;
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 random(seed);
    std::vector<support::FieldPlan> plans;
    for (const char* name : {"a", "b", "c"})
      plans.push_back({.name = name, .type = "ADVANCED|CHANGING|FULL|ORIGINAL"});
    const support::TempFolder folder;
    const auto base = support::build_base(support::random_table(seed, plans, 20 + 10 * seed), folder);
    support::write_file(folder.file("rules.xml"), RULES);
    DastSession model(base.get(), false);
    model.set_reporter(AceReporter::null());
    ASSERT_EQ(model.config_session(CONFIGURATION, AceReporter::null()), 0);
    ASSERT_EQ(model.get_config()->load_assess_logic(folder.file("rules.xml").c_str(), AceReporter::null()),
              0);
    DastSession session(&model, AceReporter::null());
    session.set_reporter(AceReporter::null());
    for (int i = 0; i < 10; ++i) {
      std::vector<std::string> texts;
      std::vector<const char*> queries;
      for (int f = 0; f < 3; ++f) texts.push_back(support::random_value(random, false, false) + "a");
      for (const auto& text : texts) queries.push_back(text.c_str());
      const char* modes[] = {"?", "?", "?"};
      const DareMultiQuery query(3, modes, queries.data());

      DastSession other(&model, AceReporter::null());
      other.set_reporter(AceReporter::null());
      const Result strict(other.search(&query, 5000));
      const Result wide(other.search_combination(&query, "wide"));
      std::vector<Shown> all = list_of(wide.get());
      for (auto& shown : all) shown.info = "wide";
      std::map<Large, const DastSuggestion*> good;
      for (int k = 0; k < strict->get_num_suggs(); ++k)
        good[strict->get_sugg(k)->recordIndex] = strict->get_sugg(k);
      std::vector<Shown> sure;
      for (const auto& shown : all) {
        const auto found = good.find(shown.record);
        if (found != good.end() && found->second->get_field_quality(2) >= 200)
          sure.push_back({shown.record, found->second->get_quality() - 7, "wide sure"});
      }
      std::stable_sort(sure.begin(), sure.end(),
                       [](const auto& x, const auto& y) { return x.quality > y.quality; });
      const std::string rule = all.empty() ? "find" : !sure.empty() && sure.size() <= 5 ? "check" : "show";
      ++numDecisions[rule];

      const Result decided(session.assess(&query));
      ASSERT_NE(decided, nullptr);
      EXPECT_EQ(decided->get_rule(), rule) << "seed " << seed << ", query " << i;
      EXPECT_EQ(list_of(decided.get()), rule == "check" ? sure : all) << "seed " << seed << ", query " << i;
      EXPECT_EQ(decided->get_category(), rule == "check"  ? DastResult::MATCH
                                         : rule == "show" ? DastResult::SELECT
                                                          : DastResult::NO_DECISION);
    }
  }
  for (const char* rule : {"find", "check", "show"}) EXPECT_GT(numDecisions[rule], 5) << rule;
  static AceReporter standard;
  standard.set_as_default();
}

}  // namespace
