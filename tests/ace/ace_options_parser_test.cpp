#include "ace/ace_options_parser.h"

#include <gtest/gtest.h>

#include <climits>
#include <clocale>

#include "ace/ace_string_parser.h"
#include "support/recording_reporter.h"

namespace {

struct Options : AceOptionsParser {
  Options() {
    add_int_option("Max_Dist", 5, "Largest distance");
    add_flag_option("trace", "Print steps");
    add_float_option("f", 0.5F, "A float");
    add_double_option("d", 2.25, nullptr);
    add_char_option("sep", ';', "Separator");
    add_string_option("name", "any one", "Name", nullptr);
    add_string_option("set", nullptr, "Set", nullptr);
  }
};

/// Parses with a recorder of the warnings and of the errors on the default reporter.
struct Parsed {
  Parsed(AceOptionsParser* options, const char* text) {
    support::RecordingReporter errors;
    errors.set_as_default();
    rc = options->parse(text, &warnings);
    AceReporter::clear_default();
    errorText = errors.all();
  }
  int rc;
  support::RecordingReporter warnings;
  std::string errorText;
};

}  // namespace

TEST(AceOptionsParser, reads_each_kind_of_value) {
  Options options;
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(
        options.parse("  -MAX_DIST -3  -trace -f 1e2 -d .5 -sep { } -name {A {b} c\\}} -set {}", nullptr), 0);
    EXPECT_EQ(options.get_int_value("max_dist"), -3);
    EXPECT_TRUE(options.get_bool_value("TRACE"));
    EXPECT_EQ(options.get_float_value("f"), 100.0F);
    EXPECT_EQ(options.get_double_value("D"), 0.5);
    EXPECT_EQ(options.get_char_value("sep"), ' ');
    EXPECT_STREQ(options.get_string_value("name"), "A {b} c}");
    EXPECT_STREQ(options.get_string_value("set"), "");
    EXPECT_EQ(options.parse(options.get_string_value("set"), nullptr), 0) << "a value is a text like others";
    EXPECT_EQ(options.get_int_value("max_dist"), 5);
    EXPECT_FALSE(options.get_bool_value("trace"));
    EXPECT_STREQ(options.get_string_value("name"), "any one");
    EXPECT_EQ(options.get_string_value("set"), nullptr);
  }
}

TEST(AceOptionsParser, other_names_and_kinds_have_neutral_values) {
  Options options;
  EXPECT_FALSE(options.get_bool_value("max_dist"));
  EXPECT_EQ(options.get_int_value("trace"), -1);
  EXPECT_EQ(options.get_int_value("absent"), -1);
  EXPECT_EQ(options.get_char_value("name"), '\0');
  EXPECT_EQ(options.get_float_value("d"), 0);
  EXPECT_EQ(options.get_double_value("f"), 0);
  EXPECT_EQ(options.get_string_value("sep"), nullptr);
  EXPECT_EQ(options.get_string_value(nullptr), nullptr);
}

TEST(AceOptionsParser, says_what_is_wrong_and_keeps_what_came_before) {
  const struct {
    const char *text, *warning, *error;
  } rows[] = {
      {"-trace -max_dist 12x", "Invalid value '12x' for integer option 'max_dist'",
       "configOptions[i]->parse_option(string_parser, rep)"},
      {"-trace -max_dist 99999999999", "Invalid value '99999999999' for integer option 'max_dist'",
       "parse_option(option, &string_parser, rep)"},
      {"-trace -max_dist {}", "Invalid value '' for integer option 'max_dist'", ""},
      {"-trace -f 1,5", "Invalid value '1,5' for floating point option 'f'", ""},
      {"-trace -f 1e40", "Invalid value '1e40' for floating point option 'f'", ""},
      {"-trace -d x", "Invalid value 'x' for double floating point option 'd'", ""},
      {"-trace -sep {ab}", "Invalid value 'ab' for single character option 'sep'", ""},
      {"-trace -Other 1", "Unregcognized option 'other'", "parse_option(option, &string_parser, rep)"},
      {"-trace -name", "text option 'name'", "string_parser->get_value(&value)"},
      {"-trace -name {a{b}", "text option 'name'", "string_parser->get_value(&value)"},
      {"-trace 5", "found '5'", "rc = string_parser.get_option(&option)"},
      {"-trace word", "at byte 7, found 'word'", "rc = string_parser.get_option(&option)"},
      {"-trace - 5", "found '- 5'", "rc = string_parser.get_option(&option)"},
      {"-trace -name {a}b", "found 'b'", "rc = string_parser.get_option(&option)"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    Options options;
    const Parsed parsed(&options, row.text);
    EXPECT_EQ(parsed.rc, -1);
    ASSERT_EQ(parsed.warnings.events.size(), 1u);
    EXPECT_NE(parsed.warnings.all().find(row.warning), std::string::npos) << parsed.warnings.all();
    EXPECT_NE(parsed.errorText.find(row.error), std::string::npos) << parsed.errorText;
    EXPECT_TRUE(options.get_bool_value("trace"));
  }
  Options options;
  options.parse("-max_dist 12x", nullptr);
  EXPECT_EQ(options.get_int_value("max_dist"), 12);
  options.parse("-max_dist -99999999999", nullptr);
  EXPECT_EQ(options.get_int_value("max_dist"), INT_MIN);
  options.parse("-sep xy", nullptr);
  EXPECT_EQ(options.get_char_value("sep"), 'x');
  EXPECT_EQ(Parsed(&options, ("-" + std::string(50000, 'x')).c_str()).rc, -1);
}

TEST(AceOptionsParser, a_locale_with_decimal_commas_changes_nothing) {
  for (const char* name : {"de_DE.UTF-8", "de_DE", "fr_FR.UTF-8", "C"})
    if (std::setlocale(LC_ALL, name) != nullptr) break;
  Options options;
  EXPECT_EQ(options.parse("-f 1.5", nullptr), 0);
  EXPECT_EQ(options.get_float_value("f"), 1.5F);
  char text[AceOptionsParser::MAX_DEFAULTS];
  options.create_defaults_string(text);
  EXPECT_NE(std::string(text).find("-f 0.500"), std::string::npos);
  std::setlocale(LC_ALL, "C");
}

TEST(AceOptionsParser, help_stands_in_columns) {
  Options options;
  AceAttach at;
  const char** lines = nullptr;
  ASSERT_EQ(options.get_help_strings(&lines, &at), 7);
  EXPECT_STREQ(lines[0], "Integer   -max_dist Largest distance");
  EXPECT_STREQ(lines[1], "Flag      -trace    Print steps");
  EXPECT_STREQ(lines[3], "Double    -d        ");
  EXPECT_STREQ(lines[4], "Character -sep      Separator");
}

TEST(AceOptionsParser, defaults_are_one_text_that_can_be_parsed_again) {
  AceOptionsParser none;
  EXPECT_EQ(none.get_defaults_string(), nullptr);
  EXPECT_FALSE(none.is_initialized());
  Options options;
  EXPECT_STREQ(options.get_defaults_string(), "-max_dist 5 -f 0.500 -d 2.250 -sep {;} -name any one -set {}");
  AceOptionsParser shown;
  shown.add_flag_option("flag", "");
  EXPECT_STREQ(shown.get_defaults_string(), "");
  shown.add_char_option("c", '\0', "");
  shown.add_string_option("s", "a b", "", "{a b}");
  EXPECT_STREQ(shown.get_defaults_string(), "-c {} -s {a b}") << "also after an option was added";
  EXPECT_EQ(shown.parse(shown.get_defaults_string(), nullptr), 0);
}

TEST(AceOptionsParser, every_defaults_text_gives_the_defaults) {
  for (int c = 1; c < 256; ++c) {
    const char character = static_cast<char>(c);
    const std::string one(1, character);
    const std::string texts[] = {one, "a " + one, one + one, "{" + one, "a" + one + "b c", one + " "};
    for (const std::string& text : texts) {
      AceOptionsParser options;
      options.add_string_option("first", text.c_str(), "", nullptr);
      options.add_char_option("sep", character, "");
      options.add_string_option("last", text.c_str(), "", nullptr);
      options.add_int_option("num", 5, "");
      const std::string printed = options.get_defaults_string();
      EXPECT_EQ(options.parse("-sep x -first y -last {z}", nullptr), 0);
      EXPECT_EQ(options.get_char_value("sep"), 'x');
      EXPECT_STREQ(options.get_string_value("first"), "y");
      EXPECT_STREQ(options.get_string_value("last"), "z");
      for (const std::string more : {"", " -num 7"}) {
        ASSERT_EQ(options.parse((printed + more).c_str(), nullptr), 0) << printed;
        EXPECT_EQ(options.get_char_value("sep"), character);
        EXPECT_EQ(options.get_int_value("num"), more == "" ? 5 : 7);
        EXPECT_STREQ(options.get_string_value("first"), text.c_str());
        EXPECT_STREQ(options.get_string_value("last"), text.c_str());
      }
    }
  }
}

TEST(AceOptionsParser, many_and_long_options_do_not_overflow_the_defaults) {
  AceOptionsParser options;
  const std::string longText(3000, 'x');
  for (int i = 0; i < 500; ++i)
    EXPECT_EQ(options.add_int_option(("option" + std::to_string(i)).c_str(), i, ""), 0);
  options.add_string_option("long", longText.c_str(), longText.c_str(), nullptr);
  options.add_double_option(longText.c_str(), 1e308, "");
  std::string whole = options.get_defaults_string();
  EXPECT_NE(whole.find("-option499 499 -long xxx"), std::string::npos);
  char text[AceOptionsParser::MAX_DEFAULTS];
  EXPECT_EQ(options.create_defaults_string(text), 0);
  EXPECT_EQ(text, whole.substr(0, AceOptionsParser::MAX_DEFAULTS - 1));
  EXPECT_EQ(options.get_int_value("OPTION321"), 321);
  EXPECT_EQ(options.get_num_opts(), 502);
}

TEST(AceOptionsParser, refuses_names_that_could_not_be_found) {
  AceOptionsParser options;
  EXPECT_EQ(options.add_int_option("a", 1, ""), 0);
  EXPECT_EQ(options.add_flag_option("A", ""), -1);
  EXPECT_EQ(options.add_flag_option("", ""), -1);
  EXPECT_EQ(options.add_flag_option(nullptr, ""), -1);
  EXPECT_EQ(options.add_flag_option("two words", ""), -1);
  EXPECT_EQ(options.get_num_opts(), 1);
}

TEST(AceOptionsParser, lists_find_the_newest_parser_of_a_name) {
  AceOptionsParser* head = nullptr;
  AceOptionsParser first, second, third;
  EXPECT_EQ(first.add_to_list(&head, "EDIT"), 0);
  EXPECT_EQ(second.add_to_list(&head, "DATE"), 0);
  EXPECT_EQ(first.add_to_list(&head, "OTHER"), -1) << "is in a list";
  EXPECT_EQ(AceOptionsParser::get_parser(head, "EDIT"), &first);
  EXPECT_EQ(third.add_to_list(&head, "EDIT"), 0);
  EXPECT_EQ(AceOptionsParser::get_parser(head, "EDIT"), &third);
  EXPECT_EQ(AceOptionsParser::get_parser(head, "edit"), nullptr);
  EXPECT_EQ(AceOptionsParser::get_parser(nullptr, "EDIT"), nullptr);
}

TEST(AceStringParser, protected_values_nest_and_escape) {
  const struct {
    const char *text, *value;
    int length;
  } rows[] = {
      {"{a b}", "a b", 3},        {"{{a} {b}}", "{a} {b}", 7},
      {"{a\\}b}", "a}b", 3},      {"{\\{}", "{", 1},
      {"{a\\\\}", "a\\\\", 3},    {"{{{x}}}", "{{x}}", 5},
      {"{a\\b}", "a\\b", 3},      {"{}", "", 0},
      {"{a", nullptr, -1},        {"{a\\}", nullptr, -1},
      {"{{a}", nullptr, -1},      {"", nullptr, -1},
      {"plain text", "plain", 5}, {" x", "", 0},
  };
  for (const auto& row : rows) {
    AceStringParser parser(row.text);
    char* value = nullptr;
    EXPECT_EQ(parser.get_value(&value), row.length) << row.text;
    EXPECT_STREQ(value, row.value) << row.text;
  }
}
