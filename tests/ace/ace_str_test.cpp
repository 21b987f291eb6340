#include "ace/ace_str.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <random>

#include "ace/ace_alloc.h"
#include "ace/ace_attach.h"
#include "ace/ace_cpu.h"
#include "ace/ace_str_count.h"
#include "ace/ace_str_map.h"
#include "ace/ace_str_number.h"
#include "oracle/strings.h"

namespace {

/// All texts over `letters` of up to `maxLength` bytes.
std::vector<std::string> all_texts(std::string_view letters, size_t maxLength) {
  std::vector<std::string> texts = {""};
  for (size_t i = 0; texts[i].size() < maxLength; ++i)
    for (const char c : letters) texts.push_back(texts[i] + c);
  return texts;
}

int sign(int n) {
  return (n > 0) - (n < 0);
}

}  // namespace

TEST(AceStr, trims_as_the_plain_rules_say_in_place_or_not) {
  for (const std::string& text : all_texts("a_ \t", 5))
    for (int rules = 0; rules < 16; ++rules) {
      const int front = rules & 1, squeeze = rules & 2, back = rules & 4, anySpace = rules & 8;
      const std::string expected = oracle::trimmed(text, front, squeeze, back, anySpace, '_');
      char copy[8];
      EXPECT_EQ(strtrim(copy, text.c_str(), front, squeeze, back, anySpace, '_'),
                static_cast<int>(expected.size()));
      EXPECT_EQ(copy, expected) << "'" << text << "', rules " << rules;
      strcopy(copy, text.c_str());
      strtrim(copy, copy, front, squeeze, back, anySpace, '_');
      EXPECT_EQ(copy, expected) << "in place: '" << text << "', rules " << rules;
    }
}

TEST(AceStr, tolerant_comparison_counts_edits) {
  const std::vector<std::string> texts = all_texts("ab", 5);
  for (const std::string& a : texts)
    for (const std::string& b : texts) {
      const int distance = oracle::edit_distance(a, b);
      SCOPED_TRACE(testing::Message() << "'" << a << "' and '" << b << "'");
      EXPECT_EQ(strdiff1(a.c_str(), b.c_str()), std::min(distance, 2));
      EXPECT_EQ(strdiff2(a.c_str(), b.c_str()), std::min(distance, 3));
      EXPECT_EQ(strcmp1(a.c_str(), b.c_str()) == 0, distance <= 1);
      EXPECT_EQ(strcmp2(a.c_str(), b.c_str()) == 0, distance <= 2);
      EXPECT_EQ(sign(strcmp1(a.c_str(), b.c_str())), -sign(strcmp1(b.c_str(), a.c_str())));
    }
  EXPECT_LT(strcmp1("xa111", "xbbbb"), 0) << "what follows the difference decides";
}

TEST(AceStr, copies_what_fits_the_limit) {
  char buf[8] = "#######";
  EXPECT_EQ(strcopy(buf, nullptr), 0);
  EXPECT_EQ(strncopy(buf, nullptr, 3), 0);
  EXPECT_STREQ(buf, "#######");
  EXPECT_EQ(strncopy(buf, "abcdef", 3), 3);
  EXPECT_STREQ(buf, "abc");
  EXPECT_EQ(strncopy(buf, "ab", INT_MAX), 2);
  EXPECT_STREQ(buf, "ab");
  EXPECT_EQ(strncopy(buf, "abc", -1), 0);
  EXPECT_STREQ(buf, "");
  EXPECT_EQ(strstrip(buf, "a-b--c", '-'), 3);
  EXPECT_STREQ(buf, "abc");
  char map[256];
  for (int i = 0; i < 256; ++i) map[i] = static_cast<char>(i + 1);
  EXPECT_EQ(strmapcopy(buf, "ab\x80", map), 3);
  EXPECT_STREQ(buf, "bc\x81");
}

TEST(AceStr, joins_with_null_parts_as_empty_ones) {
  AceAttach at;
  const char* parts[] = {"a", nullptr, "c"};
  const auto freed = [](char* text) {
    std::string copy = text;
    ace_delete(text);
    return copy;
  };
  EXPECT_EQ(freed(strjoin(3, parts, ',')), "a,,c");
  EXPECT_EQ(freed(strjoin(-5, parts, ',')), "");
  EXPECT_STREQ(strjoin(3, parts, ',', &at), "a,,c");
  EXPECT_STREQ(strjoin(3, parts, ", ", &at), "a, , c");
  EXPECT_STREQ(strjoin(0, parts, ", ", &at), "");
  EXPECT_STREQ(strjoin_no_sep(3, parts, &at), "ac");
  EXPECT_STREQ(strjoin_no_sep(-1, parts, &at), "");
  EXPECT_STREQ(strjoin("a", "b", '/', &at), "a/b");
  EXPECT_STREQ(strnew("a", nullptr, &at), "a");
  EXPECT_EQ(strnew(nullptr, "a", &at), nullptr);
  EXPECT_EQ(strnew(nullptr), nullptr);
  EXPECT_EQ(freed(strturn("abc")), "cba");
  EXPECT_STREQ(strturn("ab", &at), "ba");
  EXPECT_STREQ(strembed("word", 3, '_', 1, 0, &at), "_wor");
  EXPECT_STREQ(strembed("word", 0, '_', 1, 1, &at), "__");
  EXPECT_THROW(strembed("word", LONG_MAX, '_', 1, 1, &at), std::bad_alloc);
}

TEST(AceStr, unwraps_line_ends) {
  AceAttach at;
  EXPECT_EQ(strunwrap(nullptr, &at, 0), nullptr);
  EXPECT_STREQ(strunwrap("\r\n\n", &at, 1), "");
  EXPECT_STREQ(strunwrap("\r\n a\r\nb \n", &at, 0), " a\r\nb ");
  EXPECT_STREQ(strunwrap("\n a\r\nb \n", &at, 1), " a  b ");
}

TEST(AceStr, replaces_extensions_of_up_to_four_letters) {
  AceAttach at;
  EXPECT_STREQ(strext("name.txt", "bin", &at), "name.bin");
  EXPECT_STREQ(strext("a.b.text", "bin", &at), "a.b.bin");
  EXPECT_STREQ(strext("name.texts", "bin", &at), "name.texts.bin");
  EXPECT_STREQ(strext("name", "bin", &at), "name.bin");
  EXPECT_EQ(strext("name.bin", ".bin", &at), nullptr);
}

TEST(AceStr, finds_and_changes_bytes) {
  char text[] = "abc/def";
  EXPECT_EQ(strrev(text, '/'), 3);
  EXPECT_STREQ(text, "cba/def");
  EXPECT_EQ(strnot(text, '/'), 3);
  EXPECT_EQ(strpos(text, '/', 3), -1);
  EXPECT_EQ(strpos(text, '/', 4), 3);
  EXPECT_EQ(strpos(text, 'x', INT_MAX), -1);
  EXPECT_EQ(strcut(text, 'x'), 0);
  EXPECT_EQ(strcut(text, '/'), 1);
  EXPECT_STREQ(text, "cba");
  EXPECT_EQ(strreplace(text, 'b', 'x'), 0);
  EXPECT_STREQ(text, "cxa");
  EXPECT_EQ(strreplace(nullptr, 'b', 'x'), -1);
  EXPECT_EQ(strwidth("a\nabc\nab"), 3);
  EXPECT_EQ(strwidth("\n\n"), 0);
  EXPECT_EQ(strcommon("abc", "abd"), 2);
  EXPECT_EQ(strcommonrev("abc", "c"), 1);
  EXPECT_EQ(strcommonrev("abc", "abd"), 0);
  EXPECT_EQ(strenum("b", "a", "b", nullptr), 1);
  EXPECT_EQ(strenum("c", "a", "b", nullptr), -1);
  EXPECT_EQ(strlocate(" one  two", "two"), 1);
  EXPECT_EQ(strlocate("one two", "on"), 0);
  EXPECT_EQ(strlocate("one", ""), 0);
  std::string words;
  for (int i = 0; i < 1024; ++i) words += "w ";
  EXPECT_EQ(strlocate((words + "last").c_str(), "last"), 0);
  EXPECT_EQ(strlocate((words.substr(2) + "last").c_str(), "last"), 1);
}

TEST(AceStr, initials_fill_the_buffer_without_a_terminator) {
  char out[5] = "####";
  EXPECT_EQ(str_head(" one two  three", out, 4), 3);
  EXPECT_STREQ(out, "ott");
  std::strcpy(out, "####");
  EXPECT_EQ(str_head("one two three", out, 2), 2);
  EXPECT_STREQ(out, "ot##");
}

TEST(AceStrMap, case_is_ascii_only_and_maps_are_exact) {
  for (int i = 0; i < 256; ++i) {
    const char c = static_cast<char>(i);
    const bool lower = i >= 'a' && i <= 'z', upper = i >= 'A' && i <= 'Z';
    EXPECT_EQ(toupper_C(c), lower ? c - 32 : c);
    EXPECT_EQ(tolower_C(c), upper ? c + 32 : c);
    EXPECT_EQ(to_upper_char(c), lower ? c - 32 : 0);
    EXPECT_EQ(ace_linesepmap()[i], i != 0 && std::strchr("\n\r", i) != nullptr);
    EXPECT_EQ(ace_wordsepmap()[i], i != 0 && std::strchr(" \t-.;,", i) != nullptr);
  }
  char text[] =
      "hELLO\twORLD  \xE4"
      "b";
  EXPECT_EQ(strcapital(text), 15);
  EXPECT_STREQ(text,
               "Hello\tWorld  \xE4"
               "b");
  unsigned char map[256] = {};
  EXPECT_EQ(strrmsep(text, strgenmap("lo\xE4", map, 7)), 9);
  EXPECT_STREQ(text, "He\tWrd  b");
  EXPECT_EQ(map[0xE4], 1);
}

TEST(AceStrCount, every_level_counts_like_the_plain_loop) {
  std::mt19937 random(3);
  std::string text(20000, ' ');
  for (char& c : text) c = static_cast<char>(random() % 4 == 0 ? 'x' : random());
  for (const AceCpuLevel level : {AceCpuLevel::AVX512, AceCpuLevel::AVX2, AceCpuLevel::BASELINE}) {
    EXPECT_LE(ace_cpu_limit(level), level);
    for (int from = 0; from < 40; ++from)
      for (const int n : {0, 1, 15, 16, 17, 31, 33, 64, 255 * 16 + 3, 255 * 64 + 70, 19900})
        for (const char c : {'x', '\0', '\xFF'})
          EXPECT_EQ(strncount(text.data() + from, c, n),
                    std::count(text.begin() + from, text.begin() + from + n, c))
              << ace_cpu_name(level) << " from " << from << " n " << n;
    const std::string same(100000, 'x');
    EXPECT_EQ(strcount(same.c_str(), 'x'), 100000);
  }
  ace_cpu_limit(AceCpuLevel::AVX512);
  EXPECT_EQ(strncount("xx", 'x', -1), 0);
  EXPECT_EQ(strcount(nullptr, 'x'), 0);
}

TEST(AceCpu, the_environment_lowers_the_level_and_nothing_else_does) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a process that has not looked yet
  const auto level_under = [](const char* value) {
    setenv("SORVANTA_CPU", value, 1);
    std::exit(static_cast<int>(ace_cpu_level()));
  };
  EXPECT_EXIT(level_under("baseline"), testing::ExitedWithCode(0), "");  // first: the body runs in it, too
  const auto is_present = [](int status) {
    return WIFEXITED(status) && WEXITSTATUS(status) == static_cast<int>(ace_cpu_level());
  };
  EXPECT_EXIT(level_under("avx512"), is_present, "");
  EXPECT_EXIT(level_under("fastest"), is_present, "");
}

TEST(AceStrNumber, reads_to_the_nearest_limit) {
  EXPECT_EQ(strtonum(" -12x", 7), -12);
  EXPECT_EQ(strtonum("x", 7), 7);
  EXPECT_EQ(strtonum(nullptr, 7), 7);
  EXPECT_EQ(strtonum("99999999999", 7), INT_MAX);
  EXPECT_EQ(strtonum("-99999999999999999999", 7), INT_MIN);
  EXPECT_EQ(strtolarge("4294967296", 7), UINT_MAX);
  EXPECT_EQ(strtolarge("-1", 7), UINT_MAX);
  EXPECT_EQ(strtolarge("", 7), 7u);
  int err = 5;
  EXPECT_EQ(strtonum_v("12345678901", &err), 12345678901);
  EXPECT_EQ(err, 0);
  EXPECT_EQ(strtonum_v("-3", &err), 0);
  EXPECT_EQ(err, 0);
  EXPECT_EQ(strtonum_v("-", &err), 0);
  EXPECT_EQ(err, 1);
  EXPECT_EQ(strtonum_v(nullptr, &err), 0);
  EXPECT_EQ(err, 1);
}

TEST(AceStrNumber, writes_digits_and_roman_numerals) {
  AceAttach at;
  EXPECT_STREQ(strfrom(0, 10, 0, 0, &at), "0");
  EXPECT_STREQ(strfrom(48879, 16, 1, 0, &at), "BEEF");
  EXPECT_STREQ(strfrom(48879, 16, 0, 99, &at), "00beef");
  EXPECT_STREQ(strfrom(ULONG_MAX, 2, 0, 0, &at), std::string(64, '1').c_str());
  EXPECT_EQ(strfrom(1, 1, 0, 0, &at), nullptr);
  EXPECT_EQ(strfrom(1, 37, 0, 0, &at), nullptr);

  for (int n = 1; n <= 21; ++n) EXPECT_EQ(rtoi(itor(n)), n);
  EXPECT_STREQ(itor(14), "XIV");
  EXPECT_STREQ(itor(0), "ERROR");
  EXPECT_STREQ(itor(22), "ERROR");
  EXPECT_EQ(rtoi("MCMXCIV"), 1994);
  for (const char* text : {"", "IIII", "IIX", "VX", "VV", "IC", "XI ", "xi", "ERROR", "MMMM"})
    EXPECT_EQ(rtoi(text), -1) << text;
}
