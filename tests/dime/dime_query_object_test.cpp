// What holds for the query objects of all methods that score values one by one.
#include <gtest/gtest.h>

#include "support/failing_new.h"
#include "support/method_asks.h"

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

}  // namespace
