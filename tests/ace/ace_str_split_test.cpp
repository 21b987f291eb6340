#include "ace/ace_str_split.h"

#include <gtest/gtest.h>

#include <random>

#include "ace/ace_attach.h"
#include "ace/ace_str_escape.h"
#include "ace/ace_str_map.h"
#include "oracle/strings.h"
#include "support/recording_reporter.h"

namespace {

using Fields = std::vector<std::string>;
constexpr int MAX = 8;

/// Calls `split(text, fields)` on a copy of `text` and returns the fields.
template <class Split>
Fields split(std::string text, Split split_in_place) {
  char* fields[MAX + 1] = {};
  const int count = split_in_place(text.data(), fields);
  EXPECT_EQ(fields[count], nullptr) << "no more are stored than are counted";
  return {fields, fields + count};
}

}  // namespace

TEST(AceStrSplit, every_splitter_agrees_with_the_plain_one) {
  unsigned char map[256] = {};
  strgenmap(",;", map, 1);
  for (unsigned seed = 1; seed <= 2000; ++seed) {
    std::mt19937 random(seed);
    std::string text(random() % 12, ' ');
    for (char& c : text) c = "ab,,;"[random() % 5];
    const int max = 1 + static_cast<int>(random() % MAX);
    const auto expected = oracle::fields_of(text, ",", false, max);
    SCOPED_TRACE("'" + text + "' into at most " + std::to_string(max));

    EXPECT_EQ(split(text, [=](char* s, char** f) { return strsplit(s, ',', f, max); }), expected);
    EXPECT_EQ(split(text, [=](char* s, char** f) { return strsplit_escaped(s, ',', f, max, nullptr, '\\'); }),
              expected);
    EXPECT_EQ(split(text, [=](char* s, char** f) { return strsplit_protected(s, ',', f, max, '"', '\\'); }),
              expected);
    EXPECT_EQ(split(text, [&](char* s, char** f) { return strsplit(s, map, f, max); }),
              oracle::fields_of(text, ",;", false, max));
    EXPECT_EQ(split(text, [&](char* s, char** f) { return strsplit_noempty(s, map, f, max); }),
              oracle::fields_of(text, ",;", true, max));

    const int len = static_cast<int>(random() % (text.size() + 1));
    EXPECT_EQ(split(text, [=](char* s, char** f) { return strnsplit(s, ',', f, max, len); }),
              oracle::fields_of(text.substr(0, len), ",", false, max));

    std::string copy = text;
    const char* fields[MAX];
    int offsets[MAX];
    const int count = strsplit(copy.data(), ',', fields, max, offsets);
    for (int i = 0; i < count; ++i) EXPECT_EQ(fields[i], copy.data() + offsets[i]);
    if (count < max) {
      EXPECT_EQ(offsets[count], static_cast<int>(text.size()));
    }

    AceAttach at;
    const auto all = oracle::fields_of(text, ",", false, text.size() + 1);
    for (size_t k = 0; k < all.size(); ++k)
      EXPECT_STREQ(strfield(text.c_str(), ',', static_cast<int>(k), &at), all[k].c_str());
    EXPECT_EQ(strfield(text.c_str(), ',', static_cast<int>(all.size()), &at), nullptr);

    Fields tokens;
    const char* start = nullptr;
    const char* rest = text.c_str();
    for (int length; (length = strsep(rest, map, &start, &rest)) > 0;)
      tokens.emplace_back(start, start + length);
    auto words = oracle::fields_of(text, ",;", true, text.size() + 1);
    if (words.back().empty()) words.pop_back();
    EXPECT_EQ(tokens, words);
  }
}

TEST(AceStrSplit, escapes_and_protection_hide_separators) {
  const auto escaped = [](const char* text) {
    return split(text, [](char* s, char** f) { return strsplit_escaped(s, ',', f, MAX, nullptr, '\\'); });
  };
  EXPECT_EQ(escaped("a\\,b,c\\\\,d\\"), (Fields{"a\\,b", "c\\\\", "d\\"}));
  const auto guarded = [](const char* text, char esc) {
    return split(text, [=](char* s, char** f) { return strsplit_protected(s, ',', f, MAX, '"', esc); });
  };
  EXPECT_EQ(guarded("\"a,b\",c", '\\'), (Fields{"a,b", "c"}));
  EXPECT_EQ(guarded("x\"a,b\",\"\"", '\\'), (Fields{"x\"a,b\"", ""}));
  EXPECT_EQ(guarded("\"a\\\",b\",c\\,d", '\\'), (Fields{"a\\\",b", "c\\,d"}));
  EXPECT_EQ(guarded("\"a\"\",b\",c", '"'), (Fields{"a\"\",b", "c"}));
  EXPECT_EQ(guarded("a,\"b,c", '\\'), (Fields{"a", "\"b,c"}));
}

TEST(AceStrSplit, a_nul_in_a_counted_range_is_an_ordinary_byte) {
  char text[] = "a\0b,c,d";
  char* fields[4];
  ASSERT_EQ(strnsplit(text, ',', fields, 4, 5), 2);
  EXPECT_EQ(std::string(fields[0], 3), std::string("a\0b", 3));
  EXPECT_STREQ(fields[1], "c");
  EXPECT_EQ(strnsplit(text, ',', fields, 4, -1), 0);
  EXPECT_EQ(strsplit(text, ',', fields, 0), 0);
}

TEST(AceStrSplit, cuts_fields_at_given_ends) {
  AceAttach at;
  char* fields[5];
  int ends[] = {2, 2, 5, 9, 12};
  EXPECT_EQ(strsplitf("abcdefghi", ends, fields, 5, &at, 0), 4);
  EXPECT_STREQ(fields[0], "ab");
  EXPECT_STREQ(fields[1], "");
  EXPECT_STREQ(fields[3], "fghi");
  EXPECT_EQ(strsplitf("abcdefghi", ends, fields, 5, &at, 4), 2);
  int falling[] = {4, 2, -1};
  EXPECT_EQ(strsplitf("abcdefghi", falling, fields, 3, &at, 0), 1);
}

TEST(AceStrSplit, limited_tokens_end_at_the_limit) {
  const char* next = nullptr;
  EXPECT_EQ(strnsep("ab cd", 5, ace_wordsepmap(), &next), 2);
  EXPECT_STREQ(next, "cd");
  EXPECT_EQ(strnsep("ab cd", 2, ace_wordsepmap(), &next), 2);
  EXPECT_EQ(next, nullptr);
  EXPECT_EQ(strnsep("ab", 9, ace_wordsepmap(), &next), 2);
  EXPECT_EQ(next, nullptr);
}

TEST(AceStrSplit, flags_have_names_or_numbers_and_only_the_first_list_is_judged) {
  support::RecordingReporter warnings;
  warnings.set_as_default();
  EXPECT_EQ(strflags("b, 3 xy,32,0", ", ", "a", "b", "c", nullptr), 0b110u);
  EXPECT_EQ(warnings.events, (Fields{"wSORV_0000 Unknown pattern [xy] in flags evaluation\n",
                                     "wSORV_0000 Unknown pattern [32] in flags evaluation\n",
                                     "wSORV_0000 Unknown pattern [0] in flags evaluation\n"}));
  EXPECT_EQ(strflags("zz a 31 99999999999999999999 3x", " ", "a", nullptr), 1u | 1u << 30);
  EXPECT_EQ(warnings.events.size(), 3u);
  AceReporter::clear_default();

  std::string texts[40];
  const char* names[40];
  for (int i = 0; i < 40; ++i) names[i] = (texts[i] = "n" + std::to_string(i)).c_str();
  EXPECT_EQ(strflags_arr("n31 n32", " ", names), 1u << 31) << "the 33rd name does not count";
}

TEST(AceStrEscape, characters_are_read_without_passing_the_terminator) {
  const struct {
    const char* text;
    int value;
    int consumed;
  } rows[] = {
      {"a", 'a', 1},    {"\\n", '\n', 2},   {"\\x41;b", 0x41, 5}, {"\\x41", 0x41, 4}, {"\\xfFff g", 0xFF, 7},
      {"\\xg", 'x', 2}, {"\\101", 0x41, 4}, {"\\1018", 0x41, 4},  {"\\777", 0xFF, 4}, {"\\\\", '\\', 2},
      {"\\-", '-', 2},  {"\\", 0, 1},       {"", 0, 0},           {"\\a\\b", 7, 2},   {"\\v", 11, 2},
      {"\\0", 0, 2},
  };
  for (const auto& row : rows) {
    const char* p = row.text;
    EXPECT_EQ(static_cast<unsigned char>(strtochar(&p)), row.value) << row.text;
    EXPECT_EQ(p - row.text, row.consumed) << row.text;
  }
  AceAttach at;
  EXPECT_STREQ(strunescape("a\\tb\\x20;c\\", &at), "a\tb c");
}

TEST(AceStrEscape, sets_expand_ranges) {
  const struct {
    const char* spec;
    int count;
    const char* bytes;
  } rows[] = {
      {"a-c_", 4, "abc_"},
      {"-ab-", 4, "-ab-"},
      {"z-a", -1, nullptr},
      {"a-a", 1, "a"},
      {"a-c-e", 5, "abc-e"},
      {"a\\-c", 3, "abc"},
      {"\\x30;-2", 3, "012"},
      {"ab\xE4"
       "c",
       2, "ab"},
      {"a-\xE4", -1, nullptr},
      {"", 0, ""},
      {"-", 1, "-"},
      {"x\\0y", 1, "x"},
  };
  for (const auto& row : rows) {
    char out[300];
    EXPECT_EQ(strset(row.spec, out), row.count) << row.spec;
    if (row.count >= 0) {
      EXPECT_STREQ(out, row.bytes) << row.spec;
    }
  }
}

TEST(AceStrEscape, escapes_are_counted_and_removed) {
  EXPECT_EQ(strcount_escaped("a,b\\,c\\\\,d", ',', '\\'), 2);
  char all[] = "a\\b\\\\c\\";
  EXPECT_EQ(remove_escape_char(all, '\\'), 4);
  EXPECT_STREQ(all, "ab\\c");
  char some[] = "\\{a\\b\\\\{\\";
  EXPECT_EQ(remove_escaping(some, '\\', '{'), 7);
  EXPECT_STREQ(some, "{a\\b\\{\\");
}
