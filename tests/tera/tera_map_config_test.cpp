#include "tera/tera_map_config.h"

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "gtest/gtest.h"
#include "oracle/char_map.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"
#include "tera/tera_charset.h"
#include "tera/tera_map.h"
#include "tera/tera_unicode_tables.h"
#include "tera/text/tera_syllables_internal.h"

namespace {

using Map = std::unique_ptr<TeraMap>;

std::string normal(const Map& map, const std::string& text, bool noGlob = true) {
  AceAttach at;
  return map->normalize(text.c_str(), noGlob, &at);
}

Map utf_map(const char* tokens, const std::function<void(TeraMapConfig&)>& steps = {}) {
  TeraMapConfig config("utf-8");
  config.set_tokens(tokens);
  if (steps) steps(config);
  return Map(config.compile());
}

std::string thrown(const std::function<void()>& step) {
  try {
    step();
  } catch (const AceException& exception) {
    return std::string(exception.get_cond()) + "|" +
           (exception.get_info() != nullptr ? exception.get_info() : "");
  }
  return "nothing";
}

// ---------------------------------------------------------------- tokens

TEST(TeraMapConfig, no_tokens_are_the_ascii_identity) {
  TeraMapConfig nothing("utf-8");
  for (const Map& map : {Map(nothing.compile()), utf_map(""), utf_map(nullptr)}) {
    EXPECT_EQ(map->num_token(), 128);
    EXPECT_EQ(map->has_uni(), 0);
    for (int c = 0; c < 256; ++c)
      ASSERT_EQ(map->map_any_char(c), c < 128 ? static_cast<Sequence>(c) : 0U) << c;
  }
  TeraMapConfig page("iso8859-1");
  EXPECT_EQ(page.set_tokens(nullptr), 128);

  TeraMapConfig anew("utf-8");
  anew.set_tokens("\u0100-\u01C0a");
  anew.set_map("a", "\u00E4");
  anew.set_tokens(nullptr);
  EXPECT_EQ(normal(Map(anew.compile()), "\u01C0\u00E4a"), "a");
}

TEST(TeraMapConfig, tokens_are_numbered_by_byte_in_a_code_page_and_as_they_come_in_utf8) {
  for (const char* charset : {"iso8859-1", "utf-8", "no such set"}) {
    TeraMapConfig config(charset);
    EXPECT_EQ(config.set_tokens("cba"), 4);
    const Map map(config.compile());
    const bool isPage = std::string(charset) == "iso8859-1";
    EXPECT_EQ(map->map_any_char('a'), isPage ? 1U : 3U) << charset;
    EXPECT_EQ(map->map_any_char('b'), 2U);
    EXPECT_EQ(map->map_any_char('c'), isPage ? 3U : 1U);
  }
}

TEST(TeraMapConfig, broken_sets_are_refused_with_the_reason) {
  TeraMapConfig page("cp1252");
  TeraMapConfig utf("utf-8");
  EXPECT_EQ(thrown([&] { page.set_tokens("abca"); }), "Error in token set\n|Double Token: a");
  EXPECT_EQ(thrown([&] { page.set_tokens("z-a"); }), "Error in token set\n|Token Set: z-a");
  EXPECT_EQ(thrown([&] { utf.set_tokens("z-a"); }), "Error in token set\n|Token Set: z-a");
  EXPECT_NE(thrown([&] { utf.set_tokens("\xC3("); }).find("non UTF-8"), std::string::npos);
  EXPECT_EQ(thrown([&] { utf.set_tokens("abca"); }), "nothing");
  EXPECT_EQ(thrown([&] { utf.set_tokens("\u4E00-\u9FFF"); }),
            "Cannot set any more tokens. Maximal number of tokens is 250|");
  EXPECT_EQ(utf.num_token(), 250);
  EXPECT_EQ(thrown([&] { utf.add_token("a"); }), "nothing") << "a token already";
  EXPECT_EQ(thrown([&] { utf.add_token("!"); }),
            "Cannot set any more tokens. Maximal number of tokens is 250|");
  EXPECT_EQ(utf.add_token(""), -1);
  EXPECT_EQ(thrown([&] { utf.set_map("a", "\xC0\x80"); }), "Error in token set\n|Token Set: \xC0\x80")
      << "the end of texts must never be mapped";
  page.set_tokens("a-z");
  EXPECT_EQ(thrown([&] { page.set_map("abcde", "x"); }), "Error in token mapping\n|Sequence too long: abcde");
}

TEST(TeraMapConfig, a_hyphen_is_a_range_between_characters_only) {
  const auto tokens_of = [](const char* set) {
    const Map map = utf_map(set);
    std::string all;
    for (int tok = 1; tok < map->num_token(); ++tok) {
      char utf[5] = {};
      map->token2utf(static_cast<Token>(tok), utf);
      all += utf;
    }
    return all;
  };
  EXPECT_EQ(tokens_of("-a"), "-a");
  EXPECT_EQ(tokens_of("a-"), "a-");
  EXPECT_EQ(tokens_of("-"), "-");
  EXPECT_EQ(tokens_of("a-c-e"), "abc-e");
  EXPECT_EQ(tokens_of("\u00E4-\u00E6x"), "\u00E4\u00E5\u00E6x");
  EXPECT_NE(thrown([&] { tokens_of("a--"); }), "nothing") << "a falling range";
}

// ---------------------------------------------------------------- mappings

TEST(TeraMapConfig, steps_resolve_through_what_is_mapped_before) {
  const Map map = utf_map("A-Z", [](TeraMapConfig& config) {
    EXPECT_GE(config.map_upper(), 26);
    EXPECT_EQ(config.expand_umlauts(), 8);
  });
  EXPECT_EQ(normal(map, "stra\u00DFe"), "STRASSE");
  EXPECT_EQ(normal(map, "\u00C4\u00E4\u00D6\u00F6\u00DC\u00FC\u1E9E"), "AEAEOEOEUEUESS");
  EXPECT_EQ(map->map_unicode(0xDF), map->map_any_char('S') * 0x101);
  EXPECT_EQ(map->get_uni_mapping(0xDF), map->map_unicode(0xDF));
  EXPECT_EQ(map->get_uni_mapping('s'), map->map_any_char('S'));
  const Map early = utf_map("A-Z", [](TeraMapConfig& config) { EXPECT_EQ(config.expand_umlauts(), 4); });
  EXPECT_EQ(normal(early, "stra\u00DFe\u1E9E\u00C4\u00E4"), "SSA") << "only capitals are mapped";
}

TEST(TeraMapConfig, a_target_keeps_four_tokens_and_an_unmapped_one_changes_nothing) {
  testing::internal::CaptureStdout();
  const Map map = utf_map("a-e", [](TeraMapConfig& config) {
    EXPECT_EQ(config.set_map("abcde", "xX"), 2);
    EXPECT_EQ(config.set_map("-!", "a"), 0);
    EXPECT_EQ(config.set_map("xa", "y"), 1);
  });
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Substitution sequences is longer than 4 characters:abcde\n"
            "Substitution sequences is longer than 4 characters:xa\n");
  EXPECT_EQ(normal(map, "xaXy"), "abcdaabcdabcd");
}

TEST(TeraMapConfig, digits_take_in_the_letters_that_look_like_them) {
  const Map map = utf_map("0-9", [](TeraMapConfig& config) { EXPECT_EQ(config.map_digits(), 14); });
  EXPECT_EQ(normal(map, "OoIilLzZSsGbBgA"), "00111122556689");
  const Map without = utf_map("A-Z", [](TeraMapConfig& config) { EXPECT_EQ(config.map_digits(), 0); });
}

TEST(TeraMapConfig, blanks_currencies_and_compatibility_characters_fold) {
  const Map map = utf_map(" A-Z0-9", [](TeraMapConfig& config) {
    config.map_upper();
    config.map_spaces();
    config.map_whitespaces();
    config.map_currency();
    config.expand_compat();
  });
  EXPECT_EQ(normal(map, "a-b/c\\d_e\tf\u3000g"), "A B C D E F G");
  EXPECT_EQ(normal(map, "$\u20AC\u00A3\u00A5"), "SELY");
  EXPECT_EQ(normal(map, "\uFB03\u00B2\u2167\uFF21"), "FFI2VIIIA");
}

TEST(TeraMapConfig, accents_expand_to_letter_and_spacing_accent) {
  const Map map = utf_map("A-Za-z^`\u00B4", [](TeraMapConfig& config) { config.expand_accents(); });
  EXPECT_EQ(normal(map, "\u00C0\u1EA4e\u0301"),
            "A`A^\u00B4"
            "e\u00B4");
}

/// Every step on a code page: the same result as the UTF-8 configuration has for the code points.
TEST(TeraMapConfig, a_code_page_maps_its_bytes_as_utf8_maps_their_code_points) {
  using Step = int (TeraMapConfig::*)();
  const std::vector<Step> steps = {&TeraMapConfig::map_upper,    &TeraMapConfig::map_spaces,
                                   &TeraMapConfig::map_currency, &TeraMapConfig::map_whitespaces,
                                   &TeraMapConfig::deaccentuate, &TeraMapConfig::expand_umlauts};
  for (const char* charset : {"cp1252", "iso8859-2", "cp437", "macRoman", "koi8-r", "cp1257"}) {
    TeraMapConfig page(charset);
    TeraMapConfig utf("utf-8");
    page.set_tokens(" 0-9A-Z");
    utf.set_tokens(" 0-9A-Z");
    for (const Step step : steps) {
      (page.*step)();
      (utf.*step)();
    }
    const Map pageMap(page.compile());
    const Map utfMap(utf.compile());
    EXPECT_EQ(pageMap->has_uni(), 0);
    const int* unis = tera_get_charset_map(charset);
    for (int byte = 1; byte < 256; ++byte)
      if (unis[byte] > 0 && unis[byte] != 0x2026)
        ASSERT_EQ(pageMap->map_any_char(byte), utfMap->map_any_char(unis[byte])) << charset << " " << byte;
  }
}

TEST(TeraMapConfig, a_code_page_unlike_ascii_has_its_letters_and_operators_elsewhere) {
  TeraMapConfig config("ebcdic");
  const int* unis = tera_get_charset_map("ebcdic");
  const auto byte_of = [&](int uni) { return static_cast<char>(std::find(unis, unis + 256, uni) - unis); };
  config.set_tokens("\\x60");  // "-"
  EXPECT_EQ(config.map_spaces(), 0);
  config.map_globs("?*");
  const Map map(config.compile());
  EXPECT_EQ(map->map_any_char(static_cast<unsigned char>(byte_of('?'))), 0xFA00U);
  EXPECT_EQ(map->map_any_char(static_cast<unsigned char>(byte_of('*'))), 0xFF00U);
  EXPECT_EQ(normal(map, std::string("-") + byte_of('-') + byte_of('?'), false),
            std::string(1, byte_of('-')) + byte_of('?'));
}

TEST(TeraMapConfig, umlauts_of_a_code_page_expand_at_their_bytes) {
  TeraMapConfig config("ebcdic");
  config.set_tokens("\\x41-\\x4F");  // other characters than in ASCII
  EXPECT_EQ(config.expand_umlauts(), 0);
  TeraMapConfig latin("iso8859-1");
  latin.set_tokens("A-Za-z");
  EXPECT_EQ(latin.expand_umlauts(), 7) << "no capital sharp s";
  const Map map(latin.compile());
  EXPECT_EQ(normal(map,
                   "Stra\xDF"
                   "e \xC4"),
            "StrasseAe");
}

// ---------------------------------------------------------------- operators

TEST(TeraMapConfig, operators_take_free_characters_or_force_them) {
  const Map kept = utf_map("a-z*|", [](TeraMapConfig& config) { EXPECT_EQ(config.map_glob_chars(0), 0); });
  EXPECT_EQ(kept->map_any_char('?'), 0xFA00U);
  EXPECT_EQ(kept->map_any_char('['), 0xFB00U);
  EXPECT_EQ(kept->map_any_char(']'), 0xFC00U);
  EXPECT_EQ(kept->map_any_char('*'), 27U);
  EXPECT_EQ(kept->map_any_char('|'), 0U);
  const Map forced = utf_map("a-z*|", [](TeraMapConfig& config) { config.map_glob_chars(1); });
  EXPECT_EQ(forced->map_any_char('*'), 0xFF00U);
  EXPECT_EQ(normal(forced, "a*", true), "a") << "a token character that became an operator keeps no token";
  EXPECT_EQ(normal(forced, "a*", false), "a*");
  const Map chosen = utf_map("a-z", [](TeraMapConfig& config) { config.map_globs("!|]x"); });
  EXPECT_EQ(chosen->map_any_char('!'), 0xFE00U);
  EXPECT_EQ(chosen->map_any_char('|'), 0xFD00U);
  EXPECT_EQ(chosen->map_any_char('['), 0xFB00U);
  EXPECT_EQ(chosen->map_any_char(']'), 0xFC00U);
  EXPECT_EQ(chosen->map_any_char('*'), 0U);
}

TEST(TeraMapConfig, special_operators_need_matching_brackets) {
  TeraMapConfig config("utf-8");
  config.set_tokens("a-z");
  EXPECT_EQ(config.map_specials(0, ']', '?', '*', '|', '!'), 0);
  EXPECT_EQ(config.map_specials('[', '}', 0, 0, 0, 0), -1);
  EXPECT_EQ(config.map_specials('/', 0, 0, 0, 0, 0), -1);
  EXPECT_EQ(config.map_specials(200, '>', 0, 0, 0, 0), -1) << "no character in UTF-8";
  EXPECT_EQ(Map(config.compile())->map_any_char('?'), 0U) << "nothing was set";
  EXPECT_EQ(config.map_specials('{', 0, '.', '%', ',', 0), 0);
  const Map map(config.compile());
  EXPECT_EQ(map->map_any_char('{'), 0xFB00U);
  EXPECT_EQ(map->map_any_char('}'), 0xFC00U);
  EXPECT_EQ(normal(map, "a{bc}.%,!", false), "a{bc}.%,");
  TeraMapConfig slashes("utf-8");
  slashes.set_tokens("a-z");
  EXPECT_EQ(slashes.map_specials('<', '>', 0, 0, 0, 0), 0);
  EXPECT_EQ(Map(slashes.compile())->alt_len("a<bc>", false), 2);
}

// ---------------------------------------------------------------- texts

TEST(TeraMapConfig, complex_flags_apply_in_their_own_order) {
  support::RecordingReporter rep;
  TeraMapConfig config("utf-8");
  config.set_tokens("A-Z");
  EXPECT_EQ(config.set_complex_flags("-expand_umlauts -MAP_ACCENTS -map_upper", &rep), 0);
  EXPECT_EQ(rep.all(), "");
  const Map map(config.compile());
  EXPECT_EQ(normal(map, "\u00E4\u00E9"), "AEE") << "umlauts are expanded last";
  TeraMapConfig other("utf-8");
  EXPECT_EQ(other.set_complex_flags("-no_such_flag", &rep), -1);
  EXPECT_NE(rep.all().find("no_such_flag"), std::string::npos);
  TeraMapConfig latin("utf-8");
  latin.set_tokens("A-Z");
  EXPECT_EQ(latin.set_complex_flags("-map_upper -map_accents -any_to_latin -expand_compatibility", &rep), 0);
  EXPECT_EQ(normal(Map(latin.compile()), "\u0427\u0430\u0439 \u03A9\u03C2 \u05E9 \uFEE1"), "CAJOSSM");
  EXPECT_EQ(normal(Map(latin.compile()), "\u00DF \u00E6 \u00DE \u0259 \u05D0 \u0691 \u06BE \u04AF \u044C"),
            "SSAETHAARRHU");
  TeraMapConfig eastern("utf-8");
  eastern.set_tokens("A-Z");
  EXPECT_EQ(eastern.set_complex_flags("-map_upper -expand_compatibility -east_asian_to_latin", &rep), 0);
  const Map sounds(eastern.compile());
  EXPECT_EQ(normal(sounds, "\u6771\u4EAC \u4E1C"), "DONGJINGDONG") << "the simplified character sounds alike";
  EXPECT_EQ(normal(sounds, "\u3068\u3046\u30AD\u30E7\uFF76"), "TOUKIYOKA");
  EXPECT_EQ(normal(sounds, "\uAC00 \uC11C\uC6B8 \uD7A3"), "GASEOULHIH");
  EXPECT_EQ(normal(sounds, "\u1112\u1161\u11AB"), "HAN") << "the parts of a syllable";
  TeraMapConfig further("utf-8");
  further.set_tokens("A-Z0-9");
  EXPECT_EQ(further.set_complex_flags("-map_upper -expand_compatibility -other_scripts_to_latin", &rep), 0);
  const Map named(further.compile());
  EXPECT_EQ(normal(named, "\u0930\u093E\u092E \u0938\u093F\u0902\u0939 \u0969"), "RAAMSINH3") << "Indian";
  EXPECT_EQ(normal(named, "\u0E2A\u0E21\u0E0A\u0E32\u0E22"), "SMCHAAY") << "Thai";
  EXPECT_EQ(normal(named, "\u10D7\u10D1\u10D8\u10DA\u10D8\u10E1\u10D8 \u0535\u0580\u0587\u0561\u0576"),
            "TBILISIEREYAN");
  EXPECT_EQ(normal(named, "\u12A0\u1260\u1260 \u13E3\u13B3\u13A9"), "ABABATSALAGI") << "syllables";
}

TEST(TeraMapConfig, flags_are_told_for_texts_that_need_them) {
  for (const auto& [text, flags] : std::map<std::string, std::string>{
           {"", ""},
           {"M\u00FCller \u041C\u0391\u05E9\u0627 \u2019", ""},
           {"a\u6771", "-east_asian_to_latin"},
           {"\uFF76", "-east_asian_to_latin"},
           {"\xFF\uD7A3", "-east_asian_to_latin"},
           {"\u0915", "-other_scripts_to_latin"},
           {"\u0E01 \U00020000", "-east_asian_to_latin -other_scripts_to_latin"}}) {
    EXPECT_EQ(TeraMapConfig::script_flags(text.c_str()), flags) << text;
    EXPECT_GE(TeraMapConfig("utf-8").set_complex_flags(flags.c_str(), nullptr), 0);
  }
}

TEST(TeraMapConfig, a_mapping_file_names_its_bad_line) {
  support::TempFolder folder;
  support::RecordingReporter rep;
  rep.set_as_default();
  TeraMapConfig config("utf-8");
  config.set_tokens("a-z");
  support::write_file(folder.file("good"), "A-C\ta\n\u00E4\tae\r\n\nx\t!\n");
  EXPECT_EQ(config.parse_map_file(folder.file("good").c_str(), &rep), 4);
  EXPECT_EQ(normal(Map(config.compile()), "ABC\u00E4x"), "aaaaex");
  EXPECT_EQ(rep.all(), "");
  support::write_file(folder.file("bad"), "A\ta\nno tab\n");
  EXPECT_EQ(config.parse_map_file(folder.file("bad").c_str(), &rep), -1);
  EXPECT_NE(
      rep.all().find("Bad formatted line in mapping file, expect lines to be tab separated from to pairs"),
      std::string::npos);
  EXPECT_NE(rep.all().find("bad: line 2"), std::string::npos);
  EXPECT_THROW(config.parse_map_file(folder.file("none").c_str(), &rep), AceException);
  AceReporter::clear_default();
}

TEST(TeraMapConfig, hosts_configure_by_keys) {
  support::RecordingReporter rep;
  const char* keys[] = {"-TOKENS", "-complex_flags", "-glob", "-map_glob_chars"};
  const char* values[] = {"A-Z", "-map_upper", "x", nullptr};
  TeraMap map;
  EXPECT_EQ(TeraMapConfig::configure(4, keys, values, &map, &rep), 0);
  EXPECT_EQ(rep.events,
            std::vector<std::string>{"wSORV_0000 Invalid keyword '-glob' for mapping configuration"});
  AceAttach at;
  EXPECT_STREQ(map.normalize("ab*", false, &at), "AB*");
  const char* wrong[] = {"-no_such_flag"};
  AceReporter::clear_default();
  EXPECT_EQ(TeraMapConfig::configure(1, keys + 1, wrong, &map, &rep), -1);
}

// ---------------------------------------------------------------- ready-made maps

TEST(TeraMapConfig, ready_made_maps_read_names_in_their_scripts) {
  const Map cyrillic(TeraMapConfig::compile_cyrillic());
  EXPECT_EQ(normal(cyrillic, "\u0427\u0430\u0439\u043A\u043E\u0432\u0441\u043A\u0438\u0439"), "CAJKOVSKIJ");
  EXPECT_EQ(normal(cyrillic, "M\u00FCller \u0416\u0451"), "MULLERZE");
  const Map greek(TeraMapConfig::compile_greek());
  EXPECT_EQ(normal(greek, "\u03A3\u03C9\u03BA\u03C1\u03AC\u03C4\u03B7\u03C2"), "SOKRATES");
  EXPECT_EQ(normal(greek, "\u0371\u03DB\u03FB"), normal(greek, "\u03FB")) << "archaic letters";
  const Map arabic(TeraMapConfig::compile_arabic());
  EXPECT_EQ(normal(arabic, "\u0645\u062D\u0645\u062F"), "MHMD");
  EXPECT_EQ(normal(arabic, "\uFEE3\uFEA4\uFEE4\uFEAA"), "MHMD") << "presentation forms";
  const Map hebrew(TeraMapConfig::compile_hebrew());
  EXPECT_EQ(normal(hebrew, "\u05D3\u05D5\u05D3 \u05E9\uFB2A"), "DWDSS");
  const Map kanji(TeraMapConfig::compile_kanji());
  EXPECT_EQ(normal(kanji, "\u4E2D\u56FD abc"), ">o~guoabc");
  EXPECT_EQ(normal(kanji, "\u53CC"), "{#~") << "three tokens for six letters";
}

/// What a map does to every code point, against the plain form of the same steps.
TEST(TeraMapConfig, every_code_point_scans_and_turns_back_as_in_the_plain_form) {
  AceReporter::clear_default();
  struct Case {
    const char* name;
    std::function<void(TeraMapConfig&)> steps;
    std::function<void(oracle::CharMap&)> plain;
  };
  const Case cases[] = {
      {"accents", [](auto& c) { c.map_upper(), c.deaccentuate(); },
       [](auto& c) { c.map_table(tera_lower_to_upper_map), c.map_table(tera_deaccentuate_map); }},
      {"expanded", [](auto& c) { c.map_upper(), c.expand_compat(), c.expand_accents(); },
       [](auto& c) {
         c.map_table(tera_lower_to_upper_map), c.map_expand_table(tera_expand_compatibility_map);
         c.map_table(tera_combined_to_spaced_map), c.map_expand_table(tera_expand_accent_map);
       }},
      {"latin", [](auto& c) { c.map_upper(), c.deaccentuate(), c.any_to_latin(), c.expand_compat(); },
       [](auto& c) {
         c.map_table(tera_lower_to_upper_map), c.map_table(tera_deaccentuate_map);
         for (const auto* table : {tera_translit_cyrillic_to_latin, tera_translit_greek_to_latin,
                                   tera_translit_arabic_to_latin, tera_translit_hebrew_to_latin})
           c.map_expand_table(table);
         for (int i = 0; i < tera_num_more_letters; ++i) {
           std::string tokens;
           for (const char letter : std::string(tera_more_letters[i].letters)) tokens += c.tokens_of(letter);
           if (c.tokens_of(tera_more_letters[i].uni).empty()) c.map(tera_more_letters[i].uni, tokens);
         }
         c.map_expand_table(tera_expand_compatibility_map);
       }},
  };
  for (const Case& test : cases) {
    const Map map = utf_map("A-Z0-9\u00E4\u4E2D\U0001F600^`", test.steps);
    oracle::CharMap plain;
    for (int c = 'A'; c <= 'Z'; ++c) plain.add_token(c);
    for (int c = '0'; c <= '9'; ++c) plain.add_token(c);
    for (const int c : {0xE4, 0x4E2D, 0x1F600, static_cast<int>('^'), static_cast<int>('`')})
      plain.add_token(c);
    test.plain(plain);
    TeraMap copied(map.get());
    int numMapped = 0;
    for (int uni = 1; uni <= 0x10FFFF; ++uni) {
      char text[8] = {};
      oracle::utf8(uni).copy(text, 4);
      Token tokens[8];
      const int num = map->convert(text, tokens, 8, true);
      const std::string expected = plain.tokens_of(uni);
      ASSERT_EQ(std::string(reinterpret_cast<char*>(tokens), static_cast<size_t>(num)), expected)
          << test.name << " U+" << std::hex << uni;
      ASSERT_EQ(copied.map_any_char(uni), map->map_any_char(uni));
      if (num == 0) continue;
      ++numMapped;
      ASSERT_EQ(normal(map, text), plain.text_of(expected)) << test.name << " U+" << std::hex << uni;
      ASSERT_EQ(map->is_normalized(text), plain.text_of(expected) == text ? 1 : 0);
    }
    EXPECT_GT(numMapped, 500);
  }
}

}  // namespace
