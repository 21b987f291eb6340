#include "dime/dime_uuid.h"

#include <optional>
#include <random>

#include "dast/dast_field_flags.h"
#include "support/documented_bytes.h"
#include "support/method_asks.h"
#include "support/recording_reporter.h"

namespace {

using Texts = std::map<std::string, int>;
constexpr char DIGITS[] = "0123456789abcdef";

/// The digits of a text, in lower case; none when there are not 32.
std::optional<std::string> digits_of(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (text.starts_with("urn:uuid:")) text.erase(0, 9);
  std::string digits;
  for (const char c : text)
    if (c != '\0' && std::strchr(DIGITS, c) != nullptr) digits += c;
  return digits.size() == 32 ? std::optional(digits) : std::nullopt;
}

std::string random_digits(std::mt19937_64& random, std::size_t count = 32) {
  std::string digits;
  for (; digits.size() < count; digits += DIGITS[random() % 16]) {
  }
  return digits;
}
std::string usual_form(std::string digits) {
  for (const std::size_t pos : {20, 16, 12, 8}) digits.insert(pos, "-");
  return digits;
}

TEST(Uuid, texts_of_all_kinds_are_their_digits) {
  std::mt19937_64 random(1);
  const support::QuietReports quiet;
  AceAttach at;
  for (int i = 0; i < 300000; ++i) {
    std::string text = random_digits(random);
    if (i % 3 != 0) text = usual_form(text);
    if (i % 5 == 1) text = "{" + text + "}";
    if (i % 7 == 1) text = (i % 2 == 0 ? "urn:uuid:" : "URN:UUID:") + text;
    for (int k = static_cast<int>(random() % 3); k > 0; --k) {  // damage
      const std::size_t pos = random() % text.size();
      const char c = static_cast<char>("-{}gGaAfF9 :u\xFC@`/"[random() % 17]);
      if (random() % 3 == 0)
        text.insert(pos, 1, c);
      else if (random() % 2 == 0)
        text.erase(pos, 1);
      else
        text[pos] = c;
    }
    const auto expected = digits_of(text);
    Uuid value;
    ASSERT_EQ(value.init(text.c_str()), expected.has_value() ? 0 : -1) << text;
    if (!expected) continue;
    const char* shown = value.show(false, true, &at);
    if ((*expected)[12] == '0')
      ASSERT_EQ(shown, nullptr) << text;
    else
      ASSERT_EQ(shown, *expected) << text;
    ASSERT_TRUE(value.equal(text.c_str()));
  }
}

TEST(Uuid, values_are_ordered_and_shown_as_numbers) {
  std::mt19937_64 random(2);
  AceAttach at;
  for (int i = 0; i < 20000; ++i) {
    std::string a = random_digits(random);
    std::string b = random() % 2 == 0 ? a : random_digits(random);
    b[random() % 32] = DIGITS[random() % 16];
    Uuid first;
    Uuid second;
    first.init(a.c_str());
    second.init(b.c_str());
    const int order = a.compare(b);
    EXPECT_EQ(first.compare(second), order < 0 ? -1 : order > 0 ? 1 : 0) << a << " " << b;
    EXPECT_EQ(first.equal(second), a == b);
    const std::size_t count = 1 + random() % 31;
    Uuid last;
    last.init((a.substr(0, count) + std::string(32 - count, 'f')).c_str());
    EXPECT_EQ(first.last_with_prefix(static_cast<int>(count)), last);
  }
  Uuid value;
  value.init("123E4567-e89b-12d3-a456-426614174000");
  EXPECT_STREQ(value.show(false, false, &at), "123e4567-e89b-12d3-a456-426614174000");
  EXPECT_STREQ(value.show(true, true, &at), "123E4567E89B12D3A456426614174000");
  support::RecordingReporter rep;
  rep.set_as_default();
  for (const char* text :
       {"123", "123e4567-e89b-12d3-a456-4266141740001", "", static_cast<const char*>(nullptr)})
    EXPECT_EQ(value.init(text), -1);
  static AceReporter standard;
  standard.set_as_default();
  EXPECT_EQ(rep.events.size(), 2u) << "none for texts that are not there";
  EXPECT_NE(rep.all().find("Too short UUID: '123'"), std::string::npos);
  EXPECT_NE(rep.all().find("Too long UUID: '123e4567-e89b-12d3-a456-4266141740001'"), std::string::npos);
}

/// What a list of values answers.
std::map<Large, int> expected_ids(const std::vector<std::string>& values, const std::string& query,
                                  bool mayGoOn) {
  std::string asked;
  for (const char c : query)
    if (std::strchr(DIGITS, std::tolower(c)) != nullptr) asked += static_cast<char>(std::tolower(c));
  std::map<Large, int> found;
  if (asked.empty()) return found;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const auto digits = digits_of(values[i]);
    if (digits && (mayGoOn && asked.size() < 32 ? digits->starts_with(asked) : *digits == asked))
      found[support::id_of(i)] = 255;
  }
  return found;
}

TEST(DimeUuidMethod, query_object_and_look_up_find_the_same_sorted_or_not) {
  std::mt19937_64 random(3);
  const support::QuietReports quiet;
  for (const char* options : {"-skip_invalid", "-skip_invalid -sorted"})
    for (const std::size_t count : {1u, 3u, 60u, 3000u})
      for (const bool isClustered : {false, true}) {
        std::vector<std::string> values;
        for (std::size_t i = 0; i < count; ++i) {
          const std::string digits = isClustered
                                         ? "0123456789abc" + std::string(14, '7') + random_digits(random, 5)
                                         : random_digits(random);
          values.push_back(i % 10 == 3   ? "none"
                           : i % 10 == 7 ? values[random() % values.size()]
                                         : usual_form(digits));
        }
        values[0] = std::string(32, '0');
        DimeUuidMethod method;
        ASSERT_EQ(method.configure_build_options(options, nullptr), 0);
        ASSERT_EQ(support::build(&method, values), 0);
        for (int k = 0; k < 150; ++k) {
          const std::string& value = values[random() % count];
          std::string query = k % 3 == 0 ? random_digits(random) : value;
          const bool mayGoOn = k % 2 == 0;
          if (k % 4 == 0) query = query.substr(0, random() % 33);
          const auto call = mayGoOn ? DastOptions::COMPLETE : DastOptions::APPROX;
          if (query.empty() || query == "none") continue;
          const auto expected = expected_ids(values, query, mayGoOn);
          ASSERT_EQ(support::find_ids(method, query, call), expected) << query << " " << options;
          const TeraQueryRef object(method.eval(call, query.c_str(), nullptr));
          for (std::size_t i = 0; object != nullptr && i < std::min<std::size_t>(count, 100); ++i)
            ASSERT_EQ(object->compare(values[i].c_str()) > 0, expected.count(support::id_of(i)) > 0)
                << query << " " << values[i];
        }
      }
}

TEST(DimeUuidMethod, invalid_values_end_the_build_or_are_left_out) {
  constexpr const char* GOOD = "123e4567-e89b-42d3-a456-426614174000";
  DimeUuidMethod method;
  support::RecordingReporter rep;
  rep.set_as_default();
  EXPECT_EQ(support::build(&method, {GOOD, "12"}, 0, &rep), -1);
  EXPECT_NE(rep.all().find("Too short UUID: '12'"), std::string::npos) << rep.all();
  EXPECT_EQ(method.get_num_items(), 0);
  method.configure_build_options("-skip_invalid", nullptr);
  EXPECT_EQ(support::build(&method, {GOOD, "12", "x"}, 0, &rep), 0);
  EXPECT_NE(rep.all().find("2 values are left out, the first is '12'"), std::string::npos) << rep.all();
  AceAttach at;
  EXPECT_STREQ(method.show(support::id_of(0), &at), GOOD);
  EXPECT_EQ(method.show(support::id_of(1), &at), nullptr);
  method.configure_recall_options("-capital -no_sep");
  EXPECT_STREQ(method.get_item(0, &at), "123E4567E89B42D3A456426614174000");
  const Large* ids = nullptr;
  EXPECT_EQ(method.get_items(0, &ids, &at), 1);
  EXPECT_EQ(ids[0], support::id_of(0));
  EXPECT_EQ(method.get_items(1, &ids, &at), 0);
  EXPECT_EQ(support::find_texts(method, GOOD, DastOptions::EXACT),
            (Texts{{"123E4567E89B42D3A456426614174000", 255}}));
  EXPECT_EQ(support::find_texts(method, "12", DastOptions::EXACT), Texts{});
  EXPECT_EQ(method.lookup("", DastOptions::EXACT, &rep), nullptr);
  EXPECT_EQ(method.eval(DastOptions::EXACT, "12", &rep), nullptr);
  ASSERT_EQ(support::build(&method, {std::string(32, '0'), GOOD}), 0);
  EXPECT_EQ(support::find_texts(method, std::string(32, '0'), DastOptions::EXACT),
            (Texts{{"%%%UNDEF%%%", 255}}));
  for (const char* lost : {"12", "123e4567-e89b-02d3-a456-426614174000"}) {
    EXPECT_EQ(support::build(&method, {GOOD, lost}, DastFieldFlags::IN_INDEX_STORAGE, &rep), -2);
    EXPECT_NE(rep.all().find("'" + std::string(lost) + "' cannot be given back"), std::string::npos);
  }
  EXPECT_EQ(method.configure_build_options("-no_such", nullptr), -1);
  EXPECT_EQ(method.configure_recall_options("-no_such"), -1);
  static AceReporter standard;
  standard.set_as_default();
}

TEST(DimeUuidMethod, a_record_answers_as_before_and_damaged_ones_are_survived) {
  std::mt19937_64 random(5);
  std::vector<std::string> values;
  for (int i = 0; i < 40; ++i) values.push_back(i == 20 ? "none" : random_digits(random));
  for (const char* options : {"-skip_invalid", "-skip_invalid -sorted"}) {
    DimeUuidMethod method;
    method.configure_build_options(options, nullptr);
    method.configure_recall_options("-capital");
    ASSERT_EQ(support::build(&method, values), 0);
    const std::string record = support::record_of(&method);
    const auto answers = [&](const DimeUuidMethod& asked) {
      std::vector<Texts> found;
      for (const std::string& query : {values[3], values[39], values[5].substr(0, 2), random_digits(random)})
        found.push_back(support::find_texts(asked, query, DastOptions::COMPLETE));
      AceAttach at;
      for (int i = 0; i < 50; ++i) asked.get_item(i, &at);
      asked.show(4, &at);
      return found;
    };
    for (const bool isStream : {false, true}) {
      support::PayloadFile file(record, isStream);
      DimeUuidMethod same;
      ASSERT_GE(same.read(file.get()), 0);
      EXPECT_EQ(support::record_of(&same), record);
      EXPECT_EQ(answers(same), answers(method));
    }
    support::ask_damaged_records<DimeUuidMethod>(record, answers);
  }
  DimeUuidMethod configured;
  const std::unique_ptr<DastBaseMethod> other(MagicConstructor<DastBaseMethod>::create("DOUBLE"));
  const support::QuietReports quiet;
  EXPECT_EQ(configured.reconfigure(other.get()), -1);
}

TEST(DimeUuidMethod, a_field_of_a_base_answers_alike_in_all_load_modes) {
  const std::vector<std::string> values = {"123e4567-e89b-42d3-a456-426614174000",
                                           "{123E4567-E89B-42D3-A456-426614174000}", "",
                                           "123e4567-e89b-42d3-a456-42661417400f"};
  for (const char* type : {"ADVANCED|CHANGING|FULL|ORIGINAL", "BASIC|CHANGING|FULL|ORIGINAL"})
    for (const char* options : {"", "-sorted"}) {
      const support::FieldPlan plan{.name = "id", .type = type, .method = "UUID", .buildOptions = options};
      support::for_each_form_of_base(plan, values, "", [&](const DastBaseField* field) {
        EXPECT_EQ(support::find_in_field(field, "123e4567e89b42d3a456426614174000", DastOptions::EXACT),
                  (Texts{{values[0], 255}, {values[1], 255}}));
        EXPECT_EQ(support::find_in_field(field, "123e4567e89b", DastOptions::COMPLETE).size(), 3u);
      });
    }
  const support::FieldPlan indexed{
      .name = "id", .type = "BASIC|CHANGING|FULL|INDEXED", .method = "UUID", .buildOptions = ""};
  support::for_each_form_of_base(indexed, values, "", [&](const DastBaseField* field) {
    AceAttach at;
    EXPECT_STREQ(field->get_string_by_recordid(2, nullptr, nullptr, &at, DastOptions::ALL),
                 values[0].c_str());
  });
}

TEST(DimeUuidMethod, the_smallest_record_is_the_documented_one) {
  DimeUuidMethod method;
  method.configure_build_options("-sorted", nullptr);
  ASSERT_EQ(support::build(&method, {"123e4567-e89b-42d3-a456-426614174000"}), 0);
  EXPECT_EQ(support::record_of(&method), support::documented_bytes(TEST_FORMATS, "Uuid method"));
}

}  // namespace
