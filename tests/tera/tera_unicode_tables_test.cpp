#include "tera/tera_unicode_tables.h"

#include <cstdio>
#include <cstring>
#include <map>

#include "ace/ace_attach.h"
#include "gtest/gtest.h"
#include "tera/tera_charset.h"
#include "tera/tera_convert_map.h"
#include "tera/tera_pinyin.h"

namespace {

/// Rows for a version of the character database, beside those that the tables were designed with. Where the
/// two differ by more than the versions: upper and lower case are the simple mappings of all planes; a
/// compatibility row holds two components and the first row of a character one, so that fewer rows hold the
/// same; transliterations are those of the locale data.
struct Count {
  const char* table;
  int rows;
  int designed;
  int installed;  // with version 15.0.0
};

TEST(TeraUnicodeTables, have_the_rows_of_the_installed_database) {
  const Count counts[] = {
      {"lower_to_upper", tera_table_len(tera_lower_to_upper_map), 1507, 1450},
      {"upper_to_lower", tera_table_len(tera_upper_to_lower_map), 1416, 1433},
      {"deaccentuate", tera_table_len(tera_deaccentuate_map), 13917, 13880},
      {"combined_to_spaced", tera_table_len(tera_combined_to_spaced_map), 31, 31},
      {"expand_accent", tera_table_len(tera_expand_accent_map), 13254, 13233},
      {"expand_compatibility", tera_table_len(tera_expand_compatibility_map), 5964, 4326},
      {"cyrillic_to_latin", tera_table_len(tera_translit_cyrillic_to_latin), 235, 200},
      {"greek_to_latin", tera_table_len(tera_translit_greek_to_latin), 371, 358},
      {"arabic_to_latin", tera_table_len(tera_translit_arabic_to_latin), 833, 1135},
      {"hebrew_to_latin", tera_table_len(tera_translit_hebrew_to_latin), 84, 93},
  };
  std::printf("Unicode %s\n%-22s %6s %8s\n", tera_unicode_version, "table", "rows", "designed");
  for (const Count& count : counts) {
    std::printf("%-22s %6d %8d\n", count.table, count.rows, count.designed);
    if (std::strcmp(tera_unicode_version, "15.0.0") == 0)
      EXPECT_EQ(count.rows, count.installed) << count.table;
    else
      EXPECT_GE(count.rows, count.installed * 9 / 10) << count.table;
  }
  EXPECT_EQ(tera_table_len(tera_spaces_map), 4);
  EXPECT_EQ(tera_table_len(tera_whitespace_map), 53);
  EXPECT_EQ(tera_table_len(tera_currency_map), 11);
}

TEST(TeraUnicodeTables, are_sorted) {
  for (const auto* table :
       {tera_lower_to_upper_map, tera_upper_to_lower_map, tera_deaccentuate_map, tera_spaces_map,
        tera_whitespace_map, tera_currency_map, tera_combined_to_spaced_map})
    for (int i = 1; i < tera_table_len(table); ++i)
      ASSERT_TRUE(table[i - 1][0] < table[i][0] || (table == tera_whitespace_map && table[i][0] == 0x3000))
          << i;
  for (const auto* table :
       {tera_expand_accent_map, tera_expand_compatibility_map, tera_translit_cyrillic_to_latin,
        tera_translit_greek_to_latin, tera_translit_arabic_to_latin, tera_translit_hebrew_to_latin}) {
    int last = 0;
    for (int i = 0; i < tera_table_len(table); ++i) {
      if (table[i][0] == -1) continue;
      ASSERT_GT(table[i][0], last);
      last = table[i][0];
    }
  }
}

TEST(TeraUnicodeTables, fold_single_characters) {
  EXPECT_EQ(tera_uni_to_upper('a'), 'A');
  EXPECT_EQ(tera_uni_to_upper(0xFF5A), 0xFF3A);
  EXPECT_EQ(tera_uni_to_upper('A'), 0);
  EXPECT_EQ(tera_uni_to_lower(0x1E9E), 0xDF);
  EXPECT_EQ(tera_uni_to_lower(0x10FFFF), 0);
  EXPECT_EQ(tera_uni_deaccentuate(0xC0), 'A');
  EXPECT_EQ(tera_uni_deaccentuate(0x1EA4), 'A') << "two accents";
  EXPECT_EQ(tera_uni_deaccentuate(0xF8), 'o') << "o with stroke has no decomposition";
  EXPECT_EQ(tera_uni_deaccentuate(0x1FE), 'O') << "and neither has what is below the accent";
  EXPECT_EQ(tera_uni_deaccentuate('A'), 0);
  EXPECT_EQ(tera_uni_map_search(0x308, tera_combined_to_spaced_map, 31), 0xA8);
}

std::vector<int> expand(const int (*table)[3], int uni) {
  int out[TERA_MAX_EXPANSION];
  const int num = tera_expand_map(table, tera_expand_search(table, uni), out, tera_table_len(table));
  return num < 0 ? std::vector<int>{-1} : std::vector<int>(out, out + num);
}

TEST(TeraUnicodeTables, expand_recursively_and_stop_at_cycles) {
  using Codes = std::vector<int>;
  EXPECT_EQ(expand(tera_expand_accent_map, 0xC0), (Codes{'A', 0x300}));
  EXPECT_EQ(expand(tera_expand_accent_map, 0x1EA4), (Codes{'A', 0x302, 0x301}));
  EXPECT_EQ(expand(tera_expand_accent_map, 0xAC01), (Codes{0x1100, 0x1161, 0x11A8}));
  EXPECT_EQ(expand(tera_expand_accent_map, 'A'), Codes{-1});
  EXPECT_EQ(expand(tera_expand_compatibility_map, 0xA0), Codes{' '});
  EXPECT_EQ(expand(tera_expand_compatibility_map, 0xFB03), (Codes{'f', 'f', 'i'})) << "a continued row";
  EXPECT_EQ(expand(tera_expand_compatibility_map, 0xFDFA), Codes{-1}) << "18 characters";

  const int own[][3] = {{10, 11, 12},  {11, 'a', -1},  {12, 'b', 0},   {13, 14, 0},
                        {14, 13, 'x'}, {20, 'a', 'b'}, {-1, 'c', 'd'}, {-1, 'e', 0},
                        {21, 20, 0},   {22, 20, 'f'},  {0, 0, 0}};
  EXPECT_EQ(expand(own, 11), (Codes{'a', 'b'})) << "-1 is the row of 12";
  EXPECT_EQ(expand(own, 10), (Codes{'a', 'b', 'b'}));
  EXPECT_EQ(expand(own, 13), Codes{-1}) << "a cycle";
  EXPECT_EQ(expand(own, 21), (Codes{'a', 'b', 'c', 'd', 'e'}));
  EXPECT_EQ(expand(own, 22), Codes{-1}) << "six";
  int out[TERA_MAX_EXPANSION];
  EXPECT_EQ(tera_expand_map(own, 10, out, 10), -1);
}

TEST(TeraCharset, has_68_code_pages_by_exact_name) {
  const char* const* names = tera_all_charsets();
  int num = 0;
  for (; names[num] != nullptr; ++num) {
    const int* map = tera_get_charset_map(names[num]);
    ASSERT_EQ(map, tera_uni_maps[num]);
    EXPECT_EQ(map[0], 0) << names[num];
    for (int byte = 0; byte < 256; ++byte) ASSERT_TRUE(map[byte] >= 0 && map[byte] <= 0xFFFF);
  }
  EXPECT_EQ(num, 68);
  EXPECT_EQ(tera_get_charset_map("utf-8"), nullptr);
  EXPECT_EQ(tera_get_charset_map("CP1252"), nullptr);
  EXPECT_EQ(tera_get_charset_map(nullptr), nullptr);
  EXPECT_EQ(tera_get_type_map("nothing"), nullptr);
}

TEST(TeraCharset, has_the_published_code_points_and_their_classes) {
  EXPECT_EQ(tera_get_charset_map("cp1252")[0x80], 0x20AC);
  EXPECT_EQ(tera_get_charset_map("iso8859-5")[0xB0], 0x410);
  EXPECT_EQ(tera_get_charset_map("koi8-r")[0xC1], 0x430);
  EXPECT_EQ(tera_get_charset_map("koi8-u")[0xA4], 0x454);
  EXPECT_EQ(tera_get_charset_map("koi8-u")[0xB4], 0x404) << "its upper case";
  EXPECT_EQ(tera_get_charset_map("macGreek")[0x9C], 0x20AC);
  EXPECT_EQ(tera_get_charset_map("macRomania")[0xDE], 0x21A);
  EXPECT_EQ(tera_get_charset_map("ebcdic")[0xC1], 'A');
  EXPECT_EQ(tera_get_charset_map("shiftjis")[0xB1], 0xFF71);
  EXPECT_EQ(tera_get_charset_map("euc-jp")[0xB0], 0) << "a lead byte is no character";
  for (const char* identity : {"ascii", "identity"})
    for (int byte = 0; byte < 256; ++byte) ASSERT_EQ(tera_get_charset_map(identity)[byte], byte);
  const unsigned char* types = tera_get_type_map("iso8859-1");
  EXPECT_EQ(types[static_cast<int>('A')], TERA_LETTER);
  EXPECT_EQ(types[0xE4], TERA_LETTER | TERA_LOWER);
  EXPECT_EQ(types[static_cast<int>('7')], TERA_NUMBER);
  EXPECT_EQ(types[static_cast<int>('-')], TERA_PUNCT);
  EXPECT_EQ(types[static_cast<int>('+')], TERA_SYM);
  EXPECT_EQ(types[static_cast<int>(' ')], TERA_SEP);
  EXPECT_EQ(types[static_cast<int>('\n')], TERA_CONTROL);
  EXPECT_EQ(tera_get_type_map("euc-jp")[0xB0], 0);
}

TEST(TeraPinyin, digraphs_become_symbols_and_come_back) {
  AceAttach at;
  const char* normal = tera_norm_pinyin("zhongguo", &at);
  EXPECT_STREQ(normal, ">o~guo");
  EXPECT_STREQ(tera_reverse_norm_pinyin(normal, &at), "zhongguo");
  EXPECT_STREQ(tera_norm_pinyin("xiao", &at), "x\\o") << "from left to right";
  EXPECT_STREQ(tera_norm_pinyin("aochiaiongshuazhz", &at), "^}\\<~{#>z");
  EXPECT_STREQ(tera_norm_pinyin("CH", &at), "CH");
  EXPECT_EQ(tera_norm_pinyin(nullptr, &at), nullptr);
  for (const ConvertMap& row : tera_pinyin_map())
    ASSERT_STREQ(tera_reverse_norm_pinyin(tera_norm_pinyin(row.sound, &at), &at), row.sound);
}

TEST(ConvertMap, writes_sounds_and_drops_other_characters) {
  AceAttach at;
  const auto table = tera_pinyin_map();
  const int num = static_cast<int>(table.size());
  EXPECT_GT(num, 40000);
  EXPECT_STREQ(ConvertMap::convert("\u4E2D a\u56FD!", table.data(), num, &at), "zhongguo");
  EXPECT_STREQ(ConvertMap::convert("\u7EFF", table.data(), num, &at), "lv");
  EXPECT_STREQ(ConvertMap::convert("\u4E2D\xE4\xB8", table.data(), num, &at), "zhong") << "cut off";
  EXPECT_STREQ(ConvertMap::convert("\u4E2D", nullptr, 0, &at), "");
  EXPECT_EQ(ConvertMap::convert(nullptr, table.data(), num, &at), nullptr);
  for (size_t i = 1; i < table.size(); ++i) ASSERT_LT(table[i - 1].uni, table[i].uni);
}

}  // namespace
