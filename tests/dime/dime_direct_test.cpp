#include "dime/dime_direct.h"

#include <climits>
#include <random>

#include "dast/dast_field_flags.h"
#include "oracle/numbers.h"
#include "support/documented_bytes.h"
#include "support/method_asks.h"
#include "support/recording_reporter.h"

namespace {

using Texts = std::map<std::string, int>;
constexpr DastOptions::Call WAYS[] = {DastOptions::EXACT, DastOptions::COMPLETE, DastOptions::DETECT,
                                      DastOptions::APPROX};
constexpr char CODES[] = "!><?";

/// Numbers of all sizes, with the same and neighbouring ones among them.
long random_number(std::mt19937_64& random) {
  const unsigned bits = random() % 5 == 0 ? random() % 63 : random() % 12;
  return static_cast<long>(random() >> (63 - bits));
}

TEST(DimeDirectMethod, codes_are_the_definition) {
  for (const int expo : {0, 2, 3, 4, 5}) {
    for (long value = 0; value < 600000; ++value)
      ASSERT_EQ(DimeDirectMethod::scale(value, 100, expo), oracle::compressed(value, expo))
          << value << " with " << expo << " bits";
    for (int bit = 0; bit < 63; ++bit)
      for (long value = (1L << bit) - 2; value <= (1L << bit) + 2 && value <= 4294967295; ++value)
        ASSERT_EQ(DimeDirectMethod::scale(value, 0, expo), oracle::compressed(std::max(value, 0L), expo));
  }
  const std::pair<int, int> classes[] = {{0, 0},    {255, 0},  {256, 2},    {511, 2},    {512, 3},
                                         {4095, 3}, {4096, 4}, {524287, 4}, {524288, 5}, {INT_MAX, 5}};
  for (const auto& [logMax, expo] : classes)
    EXPECT_EQ(DimeDirectMethod::get_expo_bits(logMax), expo) << logMax;
  EXPECT_EQ(DimeDirectMethod::scale(100, 100, 3), 82);
  EXPECT_EQ(DimeDirectMethod::scale(5000, 100, 3), 255);
  EXPECT_EQ(DimeDirectMethod::scale(LONG_MAX, 100, 5), 239);
  EXPECT_EQ(DimeDirectMethod::scale(1048577, INT_MAX, 0), -1);
  EXPECT_EQ(DimeDirectMethod::scale(1048576, INT_MAX, 0), 1048576L * INT_MAX / 100);
  EXPECT_EQ(DimeDirectMethod::scale(4294967295, 100, 0), 4294967295);
  EXPECT_EQ(DimeDirectMethod::scale(4294967296, 100, 0), -1);
}

TEST(DimeDirectMethod, query_texts_are_numbers_and_ranges) {
  struct Case {
    const char* text;
    long from, to;
  };
  for (const Case& c : {Case{"12", 12, 12},
                        {"12;7", 7, 12},
                        {"7;12", 7, 12},
                        {"12;", 12, LONG_MAX},
                        {";12", 0, 12},
                        {" 12.5", 12, 12},
                        {"12,3", 12, 12},
                        {"-5", 0, 0},
                        {"-5;3", 0, 3},
                        {"7; 12", 7, 12},
                        {"99999999999999999999", LONG_MAX, LONG_MAX},
                        {"7;12.0", 7, 12},
                        {"12x", -1, -1},
                        {"7;12x", -1, -1},
                        {"", -1, -1},
                        {";", -1, -1},
                        {"x", -1, -1},
                        {"12 ", -1, -1},
                        {"7;x", -1, -1},
                        {"7;8;9", -1, -1},
                        {"-", -1, -1}}) {
    Huge from = 5;
    Huge to = 5;
    EXPECT_EQ(DimeDirectMethod::convert(c.text, &from, &to), c.from < 0 ? -1 : 0) << c.text;
    EXPECT_EQ(std::pair(from, to), std::pair(Huge{c.from}, Huge{c.to})) << c.text;
  }
}

TEST(DimeDirectMethod, query_object_and_look_up_are_the_definition) {
  std::mt19937_64 random(2);
  struct Variant {
    const char* options;
    int factor, expo, minValue, numCands, maxDist;
  };
  for (const Variant& variant : {Variant{"", 100, 0, 190, 2500, 255},
                                 {"-log_max 300 -min_value 1", 100, 2, 1, 2500, 255},
                                 {"-log_max 1000 -factor 250", 250, 3, 190, 2500, 255},
                                 {"-log_max 5000 -factor 0 -num_cands 7", 0, 4, 190, 7, 255},
                                 {"-log_max 600000 -max_dist 3 -min_value 30", 100, 5, 30, 2500, 3},
                                 {"-factor 2000000000", 2000000000, 0, 190, 2500, 255}})
    for (const std::size_t count : {1u, 30u, 900u}) {
      DimeDirectMethod method;
      ASSERT_EQ(method.configure_recall_options(variant.options), 0);
      std::vector<long> values;
      std::vector<std::string> texts;
      for (std::size_t i = 0; i < count; ++i) {
        values.push_back(random_number(random));
        texts.push_back(std::to_string(values[i]) + (random() % 4 == 0 ? "a" : ""));
      }
      ASSERT_EQ(support::build(&method, texts), 0);
      for (int k = 0; k < 120; ++k) {
        const int way = k % 4;
        const long first = random_number(random);
        const long second = k % 3 == 0 ? first : first + static_cast<long>(random() % 9);
        const std::string query = std::to_string(first) + ";" + std::to_string(second);
        const TeraQueryRef object(method.eval(WAYS[way], query.c_str(), nullptr));
        std::map<Large, int> all;
        std::map<long, int> distinct;
        for (std::size_t i = 0; i < count; ++i) {
          const int expected =
              oracle::direct_quality(CODES[way], first, second, values[i], variant.factor, variant.expo);
          ASSERT_EQ(object->compare(texts[i].c_str()), expected)
              << variant.options << " " << query << CODES[way] << values[i];
          all[support::id_of(i)] = distinct[values[i]] = expected;
        }
        std::map<Large, int> cands;
        for (const auto& [value, quality] : distinct) cands[static_cast<Large>(cands.size())] = quality;
        int least = 256;
        for (const auto& [id, quality] :
             support::cut_by_limits(cands, variant.minValue, variant.numCands, variant.maxDist))
          least = std::min(least, quality);
        std::erase_if(all, [least](const auto& hit) { return hit.second < least; });
        ASSERT_EQ(support::find_ids(method, query, WAYS[way]), all)
            << variant.options << " " << query << CODES[way] << " of " << count;
      }
    }
}

TEST(DimeDirectMethod, values_are_the_number_that_they_begin_with) {
  DimeDirectMethod method;
  support::RecordingReporter rep;
  const std::vector<std::string> values = {"7",          "007",        "7 rooms",     "none",
                                           "4294967294", "4294967295", "99999999999", "-3"};
  ASSERT_EQ(support::build(&method, values, 0, &rep), 0);
  EXPECT_NE(rep.all().find("1 values are left out, the first is 'none'"), std::string::npos) << rep.all();
  EXPECT_EQ(
      support::find_ids(method, "7", DastOptions::EXACT),
      (std::map<Large, int>{{support::id_of(0), 255}, {support::id_of(1), 255}, {support::id_of(2), 255}}));
  EXPECT_EQ(support::find_texts(method, "4294967295;", DastOptions::EXACT),
            (Texts{{"4294967295", 255}, {"99999999999", 255}}));
  EXPECT_EQ(support::find_texts(method, "4294967294", DastOptions::EXACT), (Texts{{"4294967294", 255}}));
  EXPECT_EQ(method.get_max_key(), 99999999999);
  EXPECT_EQ(support::find_texts(method, "12x", DastOptions::DETECT), Texts{});
  EXPECT_EQ(support::quality_of(method, "12x", DastOptions::DETECT, "5"), 0);
  EXPECT_EQ(support::quality_of(method, "0", DastOptions::APPROX, "none"), 0);
  EXPECT_EQ(support::quality_of(method, "10", DastOptions::DETECT, "3"), 255);
  EXPECT_EQ(support::quality_of(method, "10", DastOptions::DETECT, "12"), 253);
  AceAttach at;
  EXPECT_STREQ(method.show(support::id_of(2), &at), "7");
  EXPECT_EQ(method.show(support::id_of(3), &at), nullptr);
  EXPECT_STREQ(method.get_item(method.get_num_items() - 1, &at), "99999999999");
  for (const char* lost : {"007", "7 rooms", "none"}) {
    DimeDirectMethod other;
    EXPECT_EQ(support::build(&other, {"1", lost}, DastFieldFlags::IN_INDEX_STORAGE, &rep), -2);
    EXPECT_NE(rep.all().find("'" + std::string(lost) + "' cannot be given back"), std::string::npos);
  }
  const support::QuietReports quiet;
  for (const char* wrong : {"-factor -1", "-log_max -1", "-num_cands 0", "-no_such 1"})
    EXPECT_EQ(method.configure_recall_options(wrong), -1) << wrong;
  EXPECT_EQ(method.configure_build_options("-no_such", nullptr), -1);
  EXPECT_EQ(method.configure_build_options("-secondary", nullptr), 0);
  EXPECT_EQ(support::build(&method, {"1"}), -2);
}

TEST(DimeDirectMethod, a_record_answers_as_before_and_damaged_ones_are_survived) {
  DimeDirectMethod method;
  method.configure_recall_options("-log_max 1000 -min_value 100");
  ASSERT_EQ(support::build(&method, {"3", "10", "4711", "99999999999", "99999999998", "11"}), 0);
  const std::string record = support::record_of(&method);
  for (const bool isStream : {false, true}) {
    support::PayloadFile file(record, isStream);
    DimeDirectMethod same;
    ASSERT_GE(same.read(file.get()), 0);
    EXPECT_EQ(support::record_of(&same), record);
    for (const auto way : WAYS)
      EXPECT_EQ(support::find_ids(same, "11;4700", way), support::find_ids(method, "11;4700", way));
  }
  support::ask_damaged_records<DimeDirectMethod>(record, [](const DimeDirectMethod& damaged) {
    if (damaged.get_num_items() > 100000) return;  // so many holes take their time
    for (const auto way : WAYS) support::find_ids(damaged, "11;4700", way);
    AceAttach at;
    for (int i = 0; i < 7; ++i) damaged.get_item(i, &at);
    damaged.show(4, &at);
  });
  DimeDirectMethod configured;
  EXPECT_EQ(configured.reconfigure(static_cast<const DastBaseMethod*>(&method)), 0);
  const std::unique_ptr<DastBaseMethod> other(MagicConstructor<DastBaseMethod>::create("DOUBLE"));
  const support::QuietReports quiet;
  EXPECT_EQ(configured.reconfigure(other.get()), -1);
}

TEST(DimeDirectMethod, a_field_of_a_base_answers_alike_in_all_load_modes) {
  for (const char* type : {"ADVANCED|CHANGING|FULL|INDEXED", "BASIC|CHANGING|FULL|NUMERIC"}) {
    const support::FieldPlan plan{.name = "year", .type = type, .method = "DIRECT", .buildOptions = ""};
    support::for_each_form_of_base(
        plan, {"1985", "1987", "", "12", "2100"}, "-min_value 253", [](const DastBaseField* field) {
          EXPECT_EQ(support::find_in_field(field, "1986;1999", DastOptions::APPROX),
                    (Texts{{"1985", 254}, {"1987", 255}}));
          AceAttach at;
          EXPECT_STREQ(field->get_string_by_recordid(4, nullptr, nullptr, &at, DastOptions::ALL), "12");
          const TeraQueryRef object(field->eval("1986", DastOptions::COMPLETE, 0, AceReporter::null()));
          EXPECT_EQ(object->compare("1985"), 254);
        });
  }
}

TEST(DimeDirectMethod, the_smallest_record_is_the_documented_one) {
  DimeDirectMethod method;
  ASSERT_EQ(support::build(&method, {"7"}), 0);
  EXPECT_EQ(support::record_of(&method), support::documented_bytes(TEST_FORMATS, "Direct method"));
}

}  // namespace
