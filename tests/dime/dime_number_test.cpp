#include "dime/dime_number.h"

#include <random>
#include <regex>

#include "dast/dast_field_flags.h"
#include "dime/dime_detect_settings.h"
#include "oracle/words.h"
#include "support/documented_bytes.h"
#include "support/method_asks.h"

namespace {

using Texts = std::map<std::string, int>;

std::unique_ptr<DimeNumberMethod> make_method(const std::vector<std::string>& values, const char* recall = "",
                                              const char* options = "") {
  auto method = std::make_unique<DimeNumberMethod>();
  EXPECT_EQ(method->configure_build_options(options, nullptr), 0);
  EXPECT_EQ(method->configure_recall_options(recall), 0);
  EXPECT_EQ(support::build(method.get(), values), 0);
  return method;
}

/// The digits that count of a text, by the table in the header.
std::string digits_of(const std::string& text) {
  std::string digits;
  for (const char c : text)
    if (const char* pos = std::strchr("0123456789ABCDEFabcdefOoIilLzZSsGg", c); pos != nullptr && c != '\0')
      digits +=
          "0123456789ABCDEFABCDEF0011112255"
          "66"[pos - "0123456789ABCDEFabcdefOoIilLzZSsGg"];
  return digits;
}
std::string filled(const std::string& digits, std::size_t length = 10) {
  return std::string(digits.size() < length ? length - digits.size() : 0, '0') + digits;
}

/// SEQ with MAXIMUM: of the longest common subsequence and the longer length.
int seq_quality(const std::string& a, const std::string& b) {
  std::vector<std::vector<int>> common(a.size() + 1, std::vector<int>(b.size() + 1));
  for (std::size_t i = 1; i <= a.size(); ++i)
    for (std::size_t j = 1; j <= b.size(); ++j)
      common[i][j] =
          a[i - 1] == b[j - 1] ? common[i - 1][j - 1] + 1 : std::max(common[i - 1][j], common[i][j - 1]);
  return 255 * common[a.size()][b.size()] / static_cast<int>(std::max(a.size(), b.size()));
}

std::string random_code(std::mt19937& random) {
  static constexpr char LETTERS[] = "0123456789012345678901234567890123456789ABCDEFabcdefoOiIlLzZsSgG- .";
  std::string text;
  for (std::size_t i = 1 + random() % 12; i > 0; --i) text += LETTERS[random() % (sizeof LETTERS - 1)];
  return text;
}

TEST(DimeNumberMethod, digits_are_filled_and_letters_that_look_like_digits_count_as_these) {
  std::mt19937 random(3);
  DimeNumberMethod method;
  AceAttach at;
  for (int i = 0; i < 20000; ++i) {
    const std::string text = random_code(random);
    const std::string digits = digits_of(text);
    const std::string got = digits_of(method.add_leading(text.c_str(), &at));
    ASSERT_EQ(got, digits.empty() ? "" : filled(digits)) << text;
    std::string stripped = digits;
    while (stripped.size() > 1 && stripped[0] == '0') stripped.erase(0, 1);
    std::string scratch;
    ASSERT_EQ(method.strip_leading(text.c_str(), &scratch), stripped) << text;
  }
  EXPECT_STREQ(method.add_leading("123456789012", &at), "123456789012") << "nothing is cut";
}

TEST(DimeNumberMethod, query_object_and_look_up_are_the_longest_common_subsequence) {
  std::mt19937 random(4);
  std::vector<std::string> values;
  for (int i = 0; i < 400; ++i) values.push_back(random_code(random));
  const auto method = make_method(values, "-min_value 180");
  for (int k = 0; k < 200; ++k) {
    const std::string query = k % 2 == 0 ? values[random() % values.size()] : random_code(random);
    const std::string asked = digits_of(query).empty() ? "" : filled(digits_of(query));
    std::map<Large, int> expected;
    for (std::size_t i = 0; i < values.size(); ++i) {
      const std::string digits = digits_of(values[i]);
      const int quality = asked.empty() || digits.empty() ? 0 : seq_quality(asked, filled(digits));
      ASSERT_EQ(support::quality_of(*method, query, DastOptions::APPROX, values[i]), quality)
          << query << " " << values[i];
      if (quality >= 180) expected[support::id_of(i)] = quality;
    }
    ASSERT_EQ(support::find_ids(*method, query, DastOptions::APPROX), expected) << query;
  }
}

TEST(DimeNumberMethod, call_modes_ask_as_documented) {
  const auto method = make_method({"4711", "47110815", "AB12", "A812", "147110", "34"});
  const auto find = [&](const char* query, DastOptions::Call call) {
    return support::find_texts(*method, query, call);
  };
  EXPECT_EQ(find("4711", DastOptions::EXACT), (Texts{{"0000004711", 255}}));
  EXPECT_EQ(find("000004711", DastOptions::EXACT), (Texts{{"0000004711", 255}}));
  EXPECT_EQ(find("47-ll", DastOptions::EXACT), (Texts{{"0000004711", 255}}));
  EXPECT_EQ(find("ab12", DastOptions::EXACT), (Texts{{"000000AB12", 255}})) << "codes stay apart";
  EXPECT_EQ(find("12", DastOptions::APPROX).at("0000000034"), 204) << "filled zeros count as matches";
  const Texts part = find("4711", DastOptions::COMPLETE);
  EXPECT_EQ(part.at("0000147110"), 255);
  EXPECT_EQ(part.at("0047110815"), 255);
  EXPECT_LT(support::quality_of(*method, "4711", DastOptions::COMPLETE, "147110"), 255)
      << "the query object fills, and asks as configured";
  EXPECT_EQ(find("--", DastOptions::APPROX), Texts{});
  EXPECT_EQ(find("", DastOptions::APPROX), Texts{});
  EXPECT_EQ(support::quality_of(*method, "", DastOptions::APPROX, "0"), 0);
  const auto suffix = static_cast<DastOptions::Call>(DastOptions::DETECT0 + 6);
  method->configure_recall_options("-no_normalization");
  EXPECT_EQ(find("4711", suffix).at("0000004711"), 249) << "SUFFIX, SHORT";
  set_edit_detect_min(6, 255);
  EXPECT_EQ(find("4712", suffix), Texts{});
  set_edit_detect_min(6, -1);
  method->configure_recall_options("");
  EXPECT_GT(find("47110815", DastOptions::DETECT).at("0047110815"), 254) << "ENTRY";
}

TEST(DimeNumberMethod, wildcards_stand_for_digits_of_values_without_their_filling) {
  std::vector<std::string> values = {"4711", "47001", "14711", "4721", "0", "471", "4a71", "0047001"};
  std::mt19937 random(5);
  for (int i = 0; i < 300; ++i) values.push_back(std::to_string(random() % 60000));
  const auto method = make_method(values, "-allow_wildcards");
  for (const char* pattern :
       {"47*1", "4?1?", "*1", "47*", "*7?", "?", "*", "4*7*1", "0", "00??", "0*", "-0047*1", "0?0", "?*0"})
    for (const auto call : {DastOptions::APPROX, DastOptions::EXACT}) {
      if (std::strpbrk(pattern, "*?") == nullptr) continue;
      std::string expression = pattern + std::strspn(pattern, "-0");
      expression = std::regex_replace(expression, std::regex("\\?"), "[0-9A-F]");
      expression = std::regex_replace(expression, std::regex("\\*"), "[0-9A-F]*");
      std::map<Large, int> expected;
      for (std::size_t i = 0; i < values.size(); ++i) {
        std::string bare = digits_of(values[i]);
        while (bare.size() > 1 && bare[0] == '0') bare.erase(0, 1);
        const int quality = std::regex_match(bare, std::regex(expression)) ? 255 : 0;
        EXPECT_EQ(support::quality_of(*method, pattern, call, values[i]), quality)
            << pattern << " " << values[i];
        if (quality > 0) expected[support::id_of(i)] = quality;
      }
      EXPECT_EQ(support::find_ids(*method, pattern, call), expected) << pattern;
    }
  method->configure_recall_options("");
  EXPECT_EQ(support::find_ids(*method, "47*1", DastOptions::EXACT).count(support::id_of(1)), 1u)
      << "always in EXACT";
  EXPECT_EQ(support::quality_of(*method, "47*1", DastOptions::APPROX, "471"), 255)
      << "no digit otherwise, and ignored";
}

TEST(DimeNumberMethod, every_option_has_an_effect_and_unknown_ones_are_refused) {
  const auto size = [](const char* recall, const char* query) {
    return support::find_ids(*make_method({"4711", "4171", "4712", "5"}, recall), query, DastOptions::APPROX)
        .size();
  };
  EXPECT_EQ(size("-min_value 255", "4711"), 1u);
  EXPECT_EQ(size("-max_dist 0", "4711"), 1u);
  EXPECT_EQ(size("-num_cands 1", "4711"), 1u);
  EXPECT_EQ(size("", "4711"), 3u);
  EXPECT_EQ(size("-no_normalization", "4711"), 0u);
  EXPECT_EQ(size("-eval_type EXACT", "4711"), 1u);
  EXPECT_EQ(size("-no_normalization -eval_model QUERY", "4711"), 3u);
  const char* swap = "-eval_type LEVENSHTEIN -min_value 1";
  const auto qualityOf = [](const std::string& recall) {
    return support::quality_of(*make_method({"1"}, recall.c_str()), "4711", DastOptions::APPROX, "4171");
  };
  EXPECT_GT(qualityOf(std::string(swap) + " -do_transpose"), qualityOf(swap));
  EXPECT_EQ(
      support::find_texts(*make_method({"47"}, "", "-num_digits 4 -leading F"), "47", DastOptions::EXACT),
      (Texts{{"FF47", 255}}));
  const support::QuietReports quiet;
  DimeNumberMethod method;
  for (const char* wrong : {"-num_digits -1", "-num_digits 1025", "-leading x", "-no_such"})
    EXPECT_EQ(method.configure_build_options(wrong, nullptr), -1) << wrong;
  for (const char* wrong : {"-min_value -1", "-eval_model NONE", "-no_such"})
    EXPECT_EQ(method.configure_recall_options(wrong), -1) << wrong;
}

TEST(DimeNumberMethod, a_record_answers_as_before_and_damaged_ones_are_survived) {
  const auto method = make_method({"4711", "47001"}, "-min_value 150", "-num_digits 6 -leading A");
  const std::string record = support::record_of(method.get());
  support::PayloadFile file(record);
  DimeNumberMethod same;
  ASSERT_GE(same.read(file.get()), 0);
  EXPECT_EQ(support::record_of(&same), record);
  EXPECT_EQ(support::find_texts(same, "4711", DastOptions::APPROX),
            support::find_texts(*method, "4711", DastOptions::APPROX));
  // The index itself is damaged in the tests of its own.
  const support::QuietReports quiet;
  support::for_each_hostile_word(record.substr(0, 12), [&](const std::string& head, const std::string&) {
    support::PayloadFile changed(head + record.substr(12));
    DimeNumberMethod damaged;
    try {
      if (damaged.read(changed.get()) >= 0) support::find_ids(damaged, "4711", DastOptions::APPROX);
    } catch (const AceException&) {
    }
  });
  DimeNumberMethod configured;
  EXPECT_EQ(configured.reconfigure(static_cast<const DastBaseMethod*>(method.get())), 0);
  const std::unique_ptr<DastBaseMethod> other(MagicConstructor<DastBaseMethod>::create("DOUBLE"));
  EXPECT_EQ(configured.reconfigure(other.get()), -1);
  EXPECT_EQ(support::build(&configured, {"1", std::string(5000, '7')}, DastFieldFlags::IN_INDEX_STORAGE), -2);
}

TEST(DimeNumberMethod, a_field_of_a_base_answers_alike_in_all_load_modes) {
  const support::FieldPlan plan{.name = "customer",
                                .type = "ADVANCED|CHANGING|FULL|ORIGINAL",
                                .method = "NUMBER",
                                .buildOptions = "-num_digits 8"};
  support::for_each_form_of_base(
      plan, {"4711", "47-11", "4712", ""}, "-min_value 230", [](const DastBaseField* field) {
        EXPECT_EQ(support::find_in_field(field, "4711", DastOptions::APPROX),
                  (Texts{{"4711", 255}, {"47-11", 255}}));
        const TeraQueryRef object(field->eval("4711", DastOptions::APPROX, 0, AceReporter::null()));
        EXPECT_EQ(object->compare("4712"), 223);
      });
}

TEST(DimeNumberMethod, the_smallest_record_is_the_documented_one) {
  DimeNumberMethod method;
  EXPECT_EQ(support::record_of(&method), support::documented_bytes(TEST_FORMATS, "Number method"));
}

}  // namespace
