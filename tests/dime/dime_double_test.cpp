#include "dime/dime_double.h"

#include <clocale>
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

struct Variant {
  const char* options;
  const char* build;
  oracle::Distance function;
  double origin;
  double scale;
};
constexpr Variant VARIANTS[] = {
    {"", "", oracle::Distance::LINEAR, 0, 100},
    {"-factor 730 -min_value 1", "", oracle::Distance::LINEAR, 0, 7.3},
    {"-function DIFF_OF_LOGS -factor 2500 -min_value 100", "-smallest 2.5", oracle::Distance::LOGS, 2.5, 25},
    {"-function SQRT_OF_DIFF -factor 1100 -num_cands 20", "", oracle::Distance::ROOT, 0, 11},
    {"-function SQRT_OF_DIFF -factor 1100 -max_dist 3", "-smallest -7", oracle::Distance::ROOT, -7, 11},
    {"-function NO_SUCH -factor 0", "", oracle::Distance::LINEAR, 0, 0}};

std::unique_ptr<DimeDoubleMethod> make_method(const Variant& variant) {
  auto method = std::make_unique<DimeDoubleMethod>();
  EXPECT_EQ(method->configure_build_options(variant.build, nullptr), 0);
  EXPECT_EQ(method->configure_recall_options(variant.options), 0);
  return method;
}

std::string random_number(std::mt19937& random) {
  char text[32];
  const double units = static_cast<double>(random() % 4000) - 1000;
  std::snprintf(text, sizeof text, "%.*g", 1 + static_cast<int>(random() % 6), units / 8);
  return text;
}

TEST(DimeDoubleMethod, query_object_and_look_up_are_the_definition) {
  std::mt19937 random(1);
  for (const Variant& variant : VARIANTS)
    for (const std::size_t count : {1u, 2u, 40u, 700u}) {
      const auto method = make_method(variant);
      std::vector<std::string> values;
      for (std::size_t i = 0; i < count; ++i) values.push_back(random_number(random));
      ASSERT_EQ(support::build(method.get(), values), 0);
      for (int k = 0; k < 60; ++k) {
        const std::string query = k % 3 == 0 ? values[random() % count] : random_number(random);
        const int way = k % 4;
        const TeraQueryRef object(method->eval(WAYS[way], query.c_str(), nullptr));
        std::map<Large, int> all;
        for (std::size_t i = 0; i < count; ++i) {
          const int expected = oracle::double_quality(CODES[way], std::stod(query), std::stod(values[i]),
                                                      variant.function, variant.origin, variant.scale);
          all[support::id_of(i)] = expected;
          ASSERT_EQ(object->compare(values[i].c_str()), expected)
              << variant.options << " " << query << CODES[way] << values[i];
        }
        const std::string options = variant.options;
        const auto limit = [&](const char* name, int standard) {
          const std::size_t at = options.find(name);
          return at == std::string::npos ? standard : std::stoi(options.substr(at + std::strlen(name)));
        };
        // The number of candidates counts distinct numbers, of which each has one.
        std::map<double, int> distinct;
        for (std::size_t i = 0; i < count; ++i) distinct[std::stod(values[i])] = all[support::id_of(i)];
        std::map<Large, int> cands;
        for (const auto& [value, quality] : distinct) cands[static_cast<Large>(cands.size())] = quality;
        const auto keptCands = support::cut_by_limits(cands, limit("-min_value", 190),
                                                      limit("-num_cands", 2500), limit("-max_dist", 255));
        int least = 256;
        for (const auto& [id, quality] : keptCands) least = std::min(least, quality);
        std::erase_if(all, [least](const auto& hit) { return hit.second < least; });
        ASSERT_EQ(support::find_ids(*method, query, WAYS[way]), all)
            << variant.options << " " << query << CODES[way] << " of " << count;
      }
    }
}

TEST(DimeDoubleMethod, figures_of_the_default_options) {
  DimeDoubleMethod method;
  EXPECT_EQ(support::quality_of(method, "10", DastOptions::APPROX, "11"), 155);
  EXPECT_EQ(support::quality_of(method, "10", DastOptions::APPROX, "12.55"), 0);
  EXPECT_EQ(support::quality_of(method, "10", DastOptions::DETECT, "5"), 255);
  EXPECT_EQ(support::quality_of(method, "10", DastOptions::DETECT, "12"), 55);
  EXPECT_EQ(support::quality_of(method, "10", DastOptions::EXACT, "1e1"), 255);
  EXPECT_EQ(support::quality_of(method, "0", DastOptions::APPROX, ""), 0);
  EXPECT_EQ(support::quality_of(method, "0", DastOptions::APPROX, "none"), 0);
  EXPECT_EQ(support::quality_of(method, "16", DastOptions::EXACT, "0x10"), 255) << "as the C library reads";
  ASSERT_EQ(support::build(&method, {"1", "2", "3"}), 0);
  EXPECT_EQ(method.bin_search(2, 0), 1);
  EXPECT_EQ(method.bin_search(2, 1), 1);
  EXPECT_EQ(method.bin_search(2.5, 0), 2);
  EXPECT_EQ(method.bin_search(2.5, 1), 1);
  EXPECT_EQ(method.bin_search(0, 1), -1);
  EXPECT_EQ(method.bin_search(9, 0), 3);
}

TEST(DimeDoubleMethod, texts_that_are_no_number_find_nothing_and_are_told) {
  DimeDoubleMethod method;
  support::RecordingReporter rep;
  ASSERT_EQ(support::build(&method, {"5", "7", "none", "nan", "inf", "1e999", "1,5", "-0"}, 0, &rep), 0);
  EXPECT_NE(rep.all().find("4 values are left out, the first is 'none'"), std::string::npos) << rep.all();
  EXPECT_NE(rep.all().find("'1,5'"), std::string::npos) << rep.all();
  EXPECT_EQ(method.get_num_items(), 4);
  const auto warning = [&](const char* query) {
    rep.messages.clear();
    rep.events.clear();
    method.lookup(query, DastOptions::APPROX, &rep)->decr_ref();
    return rep.all();
  };
  for (const char* query : {"5;7", "5 ; 7", "x", "nan"}) {
    EXPECT_EQ(support::find_texts(method, query, DastOptions::APPROX), Texts{}) << query;
    EXPECT_EQ(support::quality_of(method, query, DastOptions::DETECT, "5"), 0) << query;
    EXPECT_NE(warning(query).find(query), std::string::npos);
  }
  EXPECT_NE(warning("5;7").find("COMPLETE"), std::string::npos);
  EXPECT_NE(warning("1,5").find("',5'"), std::string::npos);
  EXPECT_EQ(warning("5"), "");
  EXPECT_EQ(support::find_texts(method, "5 kg", DastOptions::EXACT), (Texts{{"5.0000", 255}}));
  EXPECT_EQ(support::find_texts(method, "0", DastOptions::EXACT), (Texts{{"0.0000", 255}}));
}

TEST(DimeDoubleMethod, numbers_are_printed_by_the_options_and_given_back) {
  DimeDoubleMethod method;
  ASSERT_EQ(support::build(&method, {"12.5", "-3", "12.50"}, DastFieldFlags::IN_INDEX_STORAGE), 0);
  AceAttach at;
  EXPECT_STREQ(method.show(support::id_of(2), &at), "12.5000");
  EXPECT_EQ(method.show(2, &at), nullptr);
  const Large* ids = nullptr;
  EXPECT_EQ(method.get_items(1, &ids, &at), 2);
  EXPECT_EQ(std::vector<Large>(ids, ids + 2), (std::vector<Large>{support::id_of(0), support::id_of(2)}));
  EXPECT_EQ(method.get_items(2, &ids, &at), 0);
  method.configure_recall_options("-min_int_place 4 -num_dec_place 1");
  EXPECT_STREQ(method.get_item(0, &at), "-003.0");
  EXPECT_STREQ(method.get_item(1, &at), "0012.5");
  EXPECT_EQ(method.get_item(2, &at), nullptr);
  method.configure_recall_options("-min_int_place -4 -num_dec_place -1");
  EXPECT_STREQ(method.get_item(0, &at), "-3");
  for (const char* lost : {"0.00001", "1,5", "none"}) {
    DimeDoubleMethod other;
    support::RecordingReporter rep;
    EXPECT_EQ(support::build(&other, {"1", lost}, DastFieldFlags::IN_INDEX_STORAGE, &rep), -2);
    EXPECT_NE(rep.all().find(lost), std::string::npos);
  }
  const support::QuietReports quiet;
  for (const char* wrong : {"-factor -1", "-min_value 256", "-num_dec_place 301", "-no_such 1", "-factor x"})
    EXPECT_EQ(method.configure_recall_options(wrong), -1) << wrong;
  EXPECT_EQ(method.configure_build_options("-smallest x", nullptr), -1);
  EXPECT_EQ(method.configure_build_options("-secondary", nullptr), 0);
  EXPECT_EQ(support::build(&method, {"1"}), -2);
  EXPECT_EQ(method.lookup("1", DastOptions::EXACT, AceReporter::null()), nullptr);
  EXPECT_EQ(support::quality_of(method, "1", DastOptions::EXACT, "1.0"), 255) << "values are still scored";
}

TEST(DimeDoubleMethod, a_record_answers_as_before_and_damaged_ones_are_survived) {
  const Variant& variant = VARIANTS[2];
  const auto method = make_method(variant);
  ASSERT_EQ(support::build(method.get(), {"3", "10", "4711", "10.0", "2"}), 0);
  const std::string record = support::record_of(method.get());
  for (const bool isStream : {false, true}) {
    support::PayloadFile file(record, isStream);
    DimeDoubleMethod same;
    ASSERT_GE(same.read(file.get()), 0);
    EXPECT_EQ(support::record_of(&same), record);
    for (const auto way : WAYS)
      EXPECT_EQ(support::find_ids(same, "11", way), support::find_ids(*method, "11", way));
  }
  support::ask_damaged_records<DimeDoubleMethod>(record, [](const DimeDoubleMethod& damaged) {
    for (const auto way : WAYS) support::find_ids(damaged, "11", way);
    AceAttach at;
    for (int i = 0; i < 5; ++i) damaged.get_item(i, &at);
    damaged.show(4, &at);
  });
  DimeDoubleMethod configured;
  EXPECT_EQ(configured.reconfigure(static_cast<const DastBaseMethod*>(method.get())), 0);
  const std::unique_ptr<DastBaseMethod> other(MagicConstructor<DastBaseMethod>::create("EDIT"));
  const support::QuietReports quiet;
  EXPECT_EQ(configured.reconfigure(other.get()), -1);
}

TEST(DimeDoubleMethod, a_field_of_a_base_answers_alike_in_all_load_modes) {
  for (const char* type : {"ADVANCED|CHANGING|FULL|ORIGINAL", "BASIC|CHANGING|FULL|ORIGINAL"}) {
    const support::FieldPlan plan{.name = "amount", .type = type, .method = "DOUBLE", .buildOptions = ""};
    support::for_each_form_of_base(
        plan, {"12.50", "13", "", "99", "12.5"}, "-factor 1000", [](const DastBaseField* field) {
          EXPECT_EQ(support::find_in_field(field, "13", DastOptions::APPROX),
                    (Texts{{"12.50", 250}, {"12.5", 250}, {"13", 255}}));
          const TeraQueryRef object(field->eval("13", DastOptions::APPROX, 0, AceReporter::null()));
          EXPECT_EQ(object->compare("12.50"), 250);
        });
  }
  const support::FieldPlan indexed{
      .name = "amount", .type = "ADVANCED|CHANGING|FULL|INDEXED", .method = "DOUBLE", .buildOptions = ""};
  support::for_each_form_of_base(indexed, {"12.50", "13"}, "", [](const DastBaseField* field) {
    AceAttach at;
    EXPECT_STREQ(field->get_string_by_recordid(1, nullptr, nullptr, &at, DastOptions::ALL), "12.5000");
  });
}

TEST(DimeDoubleMethod, the_smallest_record_is_the_documented_one) {
  DimeDoubleMethod method;
  ASSERT_EQ(support::build(&method, {"2.5"}), 0);
  EXPECT_EQ(support::record_of(&method), support::documented_bytes(TEST_FORMATS, "Double method"));
}

}  // namespace
