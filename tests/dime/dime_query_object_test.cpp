// What holds for the query objects of all methods that score values one by one.
#include <gtest/gtest.h>

#include "support/failing_new.h"
#include "support/method_asks.h"
#include "support/recording_reporter.h"

namespace {

TEST(DimeQueryObjects, compare_values_without_allocating) {
  struct Case {
    const char* method;
    const char* recall;
    const char* query;
    std::vector<std::string> values;
  };
  const std::vector<Case> cases = {
      {"PREMISE", "-use_lcs", "12a-c bis", {"12a", "10-20 bis", "1*99", "12 A. ter", ""}},
      {"NUMBER", "", "4711", {"4711", "47-11", "12345678901234", "x", ""}},
      {"NUMBER", "-allow_wildcards", "47*1", {"4711", "0047001", "123"}},
      {"DOUBLE", "", "12.5", {"12.5", "1e3 kg", "none"}},
      {"DIRECT", "-log_max 1000", "7;12", {"7", "4711 rooms", "none"}},
      {"UUID", "", "123e4567-e89b-42d3-a456-426614174000", {"{123E4567E89B42D3A456426614174000}", "12"}},
      {"GEOMETRIC", "", "1,2;30,40", {"5,6", "-700,800"}}};
  for (const Case& asked : cases) {
    const std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create(asked.method));
    ASSERT_EQ(method->configure_build_options("", &support::letter_map()), 0);
    ASSERT_EQ(method->configure_recall_options(asked.recall), 0);
    const TeraQueryRef query(method->eval(DastOptions::APPROX, asked.query, AceReporter::null()));
    for (const std::string& value : asked.values) query->compare(value.c_str());  // makes its room
    constexpr long ENOUGH = 1000;
    support::numNewsLeft = ENOUGH;
    for (int i = 0; i < 100; ++i)
      for (const std::string& value : asked.values) query->compare(value.c_str());
    const long numLeft = support::numNewsLeft.exchange(-1);
    EXPECT_EQ(numLeft, ENOUGH) << asked.method;
  }
}

TEST(DimeQueryObjects, know_the_values_that_are_the_query_among_those_that_match_it) {
  struct Case {
    const char* method;
    const char* recall;
    const char* query;
    DastOptions::Call call;
    std::vector<std::string> same;
    std::vector<std::string> others;
  };
  const std::vector<Case> cases = {
      {"REGEXP", "", "a.c|a.cd", DastOptions::APPROX, {"abc", "abcd"}, {"xabc", "abcde", "abc\n"}},
      {"REGEXP", "", "^\\Qa.c", DastOptions::COMPLETE, {"a.c"}, {"a.cd"}},
      {"REGEXP", "-ignore_case", "a", DastOptions::DETECT, {"A"}, {"ba"}},
      {"CATEGORY", "", "red|green", DastOptions::COMPLETE, {"red", "green"}, {"redder"}},
      {"CATEGORY", "", "red", DastOptions::DETECT0, {"RED"}, {"redder"}},
      {"PREMISE", "", "12 a.", DastOptions::APPROX, {"12A", "12 a"}, {"12a-c"}},
      {"PREMISE", "", "14", DastOptions::APPROX, {"14"}, {"10-20", "1*99"}},
      {"NUMBER", "", "4711", DastOptions::APPROX, {"4711", "47-11", "0004711"}, {}},
      {"NUMBER", "-eval_model QUERY -no_normalization", "11", DastOptions::APPROX, {"11"}, {"411", "4711"}},
      {"NUMBER", "-allow_wildcards", "0047*1", DastOptions::APPROX, {"4711", "47001"}, {}},
  };
  for (const Case& asked : cases) {
    const std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create(asked.method));
    ASSERT_EQ(method->configure_build_options("", &support::letter_map()), 0);
    ASSERT_EQ(method->configure_recall_options(asked.recall), 0);
    const auto made = [&] { return method->eval(asked.call, asked.query, AceReporter::null()); };
    const TeraQueryRef query(made());
    TeraForceExactQuery exact(made(), [](Large, AceAttach*) -> const char* { return nullptr; });
    for (const std::string& value : asked.same)
      EXPECT_EQ(exact.compare(value.c_str()), 255) << asked.method << " " << value;
    for (const std::string& value : asked.others) {
      EXPECT_EQ(query->compare(value.c_str()), 255) << asked.method << " " << value;
      EXPECT_EQ(exact.compare(value.c_str()), 0) << asked.method << " " << value;
    }
    EXPECT_LE(exact.compare(1U), 0) << asked.method << " of no value";
  }
}

TEST(DimeMethods, cannot_be_extended_while_they_are_asked) {
  for (const auto& [name, shown] : {std::pair("EDIT", "Edit"),
                                    {"AUTO", "Auto"},
                                    {"WORDS", "Words"},
                                    {"DATE", "Date"},
                                    {"NUMBER", "Number"},
                                    {"DOUBLE", "Double"},
                                    {"DIRECT", "Direct"},
                                    {"POSTCODE", "Postcode"},
                                    {"PREMISE", "Premise"},
                                    {"GEOMETRIC", "Geometric"},
                                    {"UUID", "Uuid"}}) {
    const std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create(name));
    ASSERT_NE(method, nullptr) << name;
    support::RecordingReporter rep;
    rep.set_as_default();
    EXPECT_FALSE(method->is_extendable());
    EXPECT_EQ(method->set_instant_enabled(false), 0);
    EXPECT_EQ(method->set_instant_enabled(true), -1);
    EXPECT_EQ(rep.all(), std::string(shown) + " method has no instant extension.\n");
    static AceReporter standard;
    standard.set_as_default();
  }
}

}  // namespace
