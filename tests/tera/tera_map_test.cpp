#include "tera/tera_map.h"

#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <thread>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "gtest/gtest.h"
#include "oracle/char_map.h"
#include "support/damage.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"
#include "tera/tera_map_config.h"
#include "tera/tera_scan.h"

namespace {

using Map = std::unique_ptr<TeraMap>;
using oracle::CharMap;

/// One of each kind: a token, folded letters of one to three bytes, expansions, operators, skipped ones.
Map small_map() {
  TeraMapConfig config("utf-8");
  config.set_tokens("abe\u00F1 ");
  config.set_map("a", "A\u00E1\u1EA1");
  config.set_map("ae", "\u00E4");
  config.set_map("aabb", "&");
  config.map_globs(nullptr);
  config.map_globs("|!");
  return Map(config.compile());
}

CharMap plain_small_map() {
  CharMap plain;
  for (const int c :
       {static_cast<int>('a'), static_cast<int>('b'), static_cast<int>('e'), 0xF1, static_cast<int>(' ')})
    plain.add_token(c);
  for (const int c : {static_cast<int>('A'), 0xE1, 0x1EA1}) plain.map(c, "\1");
  plain.map(0xE4, "\1\3");
  plain.map('&', "\1\1\2\2");
  plain.operators = {{'?', 250}, {'[', 251}, {']', 252}, {'|', 253}, {'!', 254}, {'*', 255}};
  return plain;
}

/// Texts of few pieces, so that they often match each other.
std::string random_text(std::mt19937& rng, bool isValid = false) {
  static const char* const pieces[] = {"a", "b",      "A", "\u00E4", "\u00E1", "\u1EA1",  "&",
                                       "-", "\u20AC", " ", "?",      "[",      "]",       "|",
                                       "*", "!",      "e", "\xA4",   "\xC3",   "\xE1\xBA"};
  std::string text;
  for (auto left = rng() % 9; left > 0; --left) text += pieces[rng() % (isValid ? 17 : 20)];
  return text;
}

std::string string_of(const Token* tokens) {
  return reinterpret_cast<const char*>(tokens);
}

/// What is a position, an alternative counting as one; -1 for one that is empty or open.
int plain_positions(const CharMap::Scanned& scanned) {
  int positions = 0;
  int members = -1;
  bool isFaulty = scanned.isOpen;
  for (const char c : scanned.tokens) {
    const int tok = static_cast<unsigned char>(c);
    if (tok == 251) {
      members = 0;
    } else if (tok == 252) {
      isFaulty |= members == 0;
      members = -1;
      ++positions;
    } else if (tok <= 250) {
      ++(members < 0 ? positions : members);
    }
  }
  return isFaulty ? -1 : positions;
}

int plain_compare(const std::string& a, const std::string& b) {
  for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
    const int tok1 = static_cast<unsigned char>(a[i]);
    const int tok2 = static_cast<unsigned char>(b[i]);
    if (tok1 != tok2 && tok1 != 250 && tok2 != 250) return tok1 - tok2;
  }
  return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

/// Whether plain tokens match a pattern with wildcards and alternatives.
int plain_is_equal(const std::string& text, const CharMap::Scanned& pattern) {
  if (pattern.isOpen) return -1;
  size_t pos = 0;
  for (size_t i = 0; i < pattern.tokens.size(); ++i, ++pos) {
    std::string members(1, pattern.tokens[i]);
    if (members == "\xFB") {
      const size_t close = pattern.tokens.find('\xFC', i);
      members = pattern.tokens.substr(i + 1, close - i - 1);
      i = close;
    }
    if (pos >= text.size()) return 0;
    if (members.find('\xFA') == std::string::npos && members.find(text[pos]) == std::string::npos) return 0;
  }
  return pos == text.size() ? 1 : 0;
}

struct Quiet {
  Quiet() { AceReporter::clear_default(); }
};

// ---------------------------------------------------------------- scanning

TEST(TeraMap, scans_random_texts_as_the_plain_form_does) {
  Quiet quiet;
  const Map map = small_map();
  const CharMap plain = plain_small_map();
  std::mt19937 rng(1);
  for (int round = 0; round < 30000; ++round) {
    const std::string text = random_text(rng);
    const bool noGlob = rng() % 2 == 0;
    const CharMap::Scanned scanned = plain.scan(text, noGlob);
    AceAttach at;
    ASSERT_EQ(string_of(map->convert(text.c_str(), noGlob, &at)), scanned.tokens) << text;
    ASSERT_EQ(map->tok_len(text.c_str(), noGlob), static_cast<int>(scanned.tokens.size()));
    ASSERT_EQ(map->alt_len(text.c_str(), noGlob),
              noGlob ? static_cast<int>(scanned.tokens.size()) : plain_positions(scanned))
        << text;
    ASSERT_EQ(map->normalize(text.c_str(), noGlob, &at), plain.text_of(scanned.tokens)) << text;
    ASSERT_EQ(map->is_normalized(text.c_str()), plain.text_of(plain.scan(text, true).tokens) == text ? 1 : 0)
        << text;

    const int maxTokens = static_cast<int>(rng() % 12) + 1;
    std::vector<Token> out(static_cast<size_t>(maxTokens), Token{99});
    const int num = map->convert(text.c_str(), out.data(), maxTokens, noGlob);
    ASSERT_EQ(string_of(out.data()), scanned.tokens.substr(0, static_cast<size_t>(maxTokens) - 1));
    ASSERT_EQ(out[static_cast<size_t>(num)], 0);

    TeraScan scan(map.get(), text.c_str(), noGlob);
    Token tokens[64];
    int offsets[64];
    ASSERT_EQ(scan.convert_off(tokens, offsets), static_cast<int>(scanned.behind.size()));
    ASSERT_TRUE(std::equal(scanned.behind.begin(), scanned.behind.end(), offsets)) << text;
    ASSERT_EQ(scan.get_current_off(), scanned.end) << text;
    ASSERT_EQ(scan.eos(), 1);
    ASSERT_EQ(scan.get_next_token(0), 0);
    int toklen = 5;
    scan.rewind();
    scan.alt_len(&toklen);
    ASSERT_EQ(toklen, 5 + static_cast<int>(scanned.tokens.size()));
    ASSERT_EQ(string_of(scan.convert(&at)), scanned.tokens) << "rewound";
  }
}

TEST(TeraMap, long_texts_convert_like_short_ones) {
  const Map map = small_map();
  AceAttach at;
  for (const int num : {998, 999, 1000, 1001, 3000}) {
    std::string text;
    for (int i = 0; i < num; ++i) text += "b&-";
    const Token* tokens = map->convert(text.c_str(), false, &at);
    ASSERT_EQ(string_of(tokens).size(), static_cast<size_t>(num) * 5);
    EXPECT_EQ(tokens[num * 5 + 1], 0);
    EXPECT_EQ(tokens[num * 5 + 2], 0) << "room for cut_token";
    EXPECT_EQ(string_of(tokens).substr(0, 10), "\2\1\1\2\2\2\1\1\2\2");
  }
}

TEST(TeraMap, an_invalid_character_ends_the_text_once_and_only_where_its_byte_is_mapped) {
  support::RecordingReporter rep;
  rep.set_as_default();
  const Map map = small_map();
  AceAttach at;
  EXPECT_EQ(string_of(map->convert("a\xC3"
                                   "b",
                                   false, &at)),
            "\1");
  EXPECT_EQ(rep.messages.size(), 1U);
  EXPECT_NE(rep.all().find("ERROR: non UTF-8 char in stream: first byte = C3"), std::string::npos)
      << rep.all();
  TeraScan scan(map.get(), "a\xC3", false);
  EXPECT_EQ(scan.get_next_token(0), 1);
  EXPECT_EQ(scan.get_next_token(0), 0);
  EXPECT_EQ(scan.get_next_token(0), 0);
  EXPECT_EQ(rep.messages.size(), 2U) << "printed once per scan";
  EXPECT_EQ(string_of(map->convert("a\xC4\xFF\x80"
                                   "b",
                                   false, &at)),
            "\1\2")
      << "no character starts with these";
  EXPECT_EQ(rep.messages.size(), 2U);
  AceReporter::clear_default();
}

TEST(TeraScan, tokens_can_be_put_back_up_to_four) {
  const Map map = small_map();
  EXPECT_THROW(TeraScan(nullptr, "a", false), AceException);
  TeraScan scan(map.get(), "&b", false);
  EXPECT_EQ(scan.get_next_token(0), 1);
  EXPECT_FALSE(scan.is_char_finished());
  EXPECT_EQ(scan.unget(0), -1);
  EXPECT_EQ(scan.unget(256), -1);
  EXPECT_EQ(scan.unget(9), 0);
  EXPECT_EQ(scan.unget(8), -1) << "four are pending";
  AceAttach at;
  EXPECT_EQ(string_of(scan.convert(&at)), "\x09\1\2\2\2");
  EXPECT_EQ(scan.eos(), 1);
  TeraScan nothing(map.get(), nullptr, false);
  EXPECT_EQ(nothing.eos(), 1);
  EXPECT_EQ(nothing.get_next_token(0), 0);
}

TEST(TeraScan, an_expansion_inside_an_alternative_is_warned_about_on_demand) {
  support::RecordingReporter rep;
  rep.set_as_default();
  const Map map = small_map();
  for (const int check : {0, 1}) {
    TeraScan scan(map.get(), "&[a&]&", false);
    while (scan.get_next_token(check) != 0) {
    }
    EXPECT_EQ(rep.events.size(), static_cast<size_t>(check));
  }
  EXPECT_EQ(rep.all(), "wSORV_0000 Character from local alternative expands to multiple tokens\n");
  AceReporter::clear_default();
}

TEST(TeraScan, skips_what_yields_no_token_and_knows_what_it_skipped) {
  const Map map = small_map();
  TeraScan off(map.get(), "-*\u20AC\x80[b", true);
  EXPECT_STREQ(off.skip_no_token(), "b");
  EXPECT_EQ(off.check_skipped('*', off.get_current_pos() - 6), 1);
  EXPECT_EQ(off.check_skipped('b', off.get_current_pos() - 6), 0);
  EXPECT_EQ(off.check_skipped('b', nullptr), 0);
  TeraScan on(map.get(), "-*b", false);
  EXPECT_EQ(*on.skip_no_token(), '*');
}

// ---------------------------------------------------------------- comparisons

TEST(TeraMap, compares_random_texts_as_the_plain_form_does) {
  Quiet quiet;
  const Map map = small_map();
  const CharMap plain = plain_small_map();
  std::mt19937 rng(2);
  for (int round = 0; round < 30000; ++round) {
    const std::string a = random_text(rng);
    const std::string b = rng() % 4 == 0 ? a + random_text(rng) : random_text(rng);
    const bool noGlob = rng() % 2 == 0;
    const std::string tokens1 = plain.scan(a, noGlob).tokens;
    const std::string tokens2 = plain.scan(b, noGlob).tokens;
    const std::string what = a + " / " + b;
    AceAttach at;
    ASSERT_EQ(map->compare(a.c_str(), b.c_str(), noGlob), plain_compare(tokens1, tokens2)) << what;
    ASSERT_EQ(map->compare(map->convert(a.c_str(), noGlob, &at), b.c_str(), noGlob),
              plain_compare(tokens1, tokens2));
    ASSERT_EQ(TeraMap::compare_static(map.get(), a.c_str(), b.c_str(), noGlob),
              plain_compare(tokens1, tokens2));
    ASSERT_EQ(map->contains(a.c_str(), b.c_str(), noGlob), tokens2.find(tokens1) != std::string::npos ? 1 : 0)
        << what;
    const std::string text1 = plain.scan(a, true).tokens;
    const std::string text2 = plain.scan(b, true).tokens;
    ASSERT_EQ(map->strings_are_equal(a.c_str(), b.c_str()), text1 == text2 ? 1 : 0) << what;
    ASSERT_EQ(map->is_equal(a.c_str(), b.c_str()), plain_is_equal(text1, plain.scan(b, false))) << what;

    int start = 0;
    int end = 0;
    const size_t found = text1.find(text2);
    const bool isFound = found != std::string::npos;
    ASSERT_EQ(map->localize(a.c_str(), b.c_str(), &start, &end), isFound ? static_cast<int>(text2.size()) : 0)
        << what;
    ASSERT_EQ(start, isFound ? static_cast<int>(found) : -1);
    ASSERT_EQ(end, isFound ? static_cast<int>(found + text2.size()) : -1);
  }
  EXPECT_EQ(map->compare("b", "?", false), 0);
  EXPECT_EQ(map->compare("b", "?", true), 1) << "an ordinary character, and skipped";
  EXPECT_LT(TeraMap::compare_static(nullptr, "a", "b", false), 0);
  EXPECT_EQ(map->compare(static_cast<const char*>(nullptr), nullptr, false), 0);
}

TEST(TeraMap, identity_maps_have_no_operators) {
  const TeraMap* ident = TeraMap::get_ident_map();
  const TeraMap* noSpace = TeraMap::get_nospace_map();
  EXPECT_EQ(ident, TeraMap::get_ident_map());
  EXPECT_EQ(ident->num_token(), 256);
  std::string text;
  for (int byte = 1; byte < 256; ++byte) text += static_cast<char>(byte);
  AceAttach at;
  EXPECT_EQ(ident->normalize(text.c_str(), false, &at), text);
  EXPECT_EQ(noSpace->tok_len(text.c_str(), false), 254);
  EXPECT_EQ(noSpace->map_any_char(' '), 0U);
  EXPECT_NE(ident->compare("\xFA", "a", false), 0) << "byte 250 is no wildcard";
  EXPECT_EQ(ident->alt_len("\xFB\xFD", false), 2);
  EXPECT_EQ(ident->is_equal("\xFB", "\xFB"), 1);
  EXPECT_EQ(ident->get_unmapped(), '\xFF');
  EXPECT_EQ(noSpace->get_unmapped(), ' ');
}

// ---------------------------------------------------------------- positions

TEST(TeraMap, cuts_random_texts_at_the_offsets_of_the_plain_form) {
  Quiet quiet;
  const Map map = small_map();
  const CharMap plain = plain_small_map();
  std::mt19937 rng(3);
  for (int round = 0; round < 20000; ++round) {
    const std::string text = random_text(rng);
    const CharMap::Scanned scanned = plain.scan(text, true);
    const int numTokens = static_cast<int>(scanned.behind.size());
    const auto offset_behind = [&](int pos) {
      return pos <= 0 ? 0 : pos <= numTokens ? scanned.behind[static_cast<size_t>(pos) - 1] : scanned.end;
    };
    const int from = static_cast<int>(rng() % 8) - 1;
    const int to = static_cast<int>(rng() % 8) - 1;
    ASSERT_EQ(map->find(text.c_str(), from) - text.c_str(), offset_behind(from)) << text;
    const auto limit = static_cast<int>(rng() % (text.size() + 1));
    int expected = 0;
    for (size_t i = 0; expected < limit && i <= scanned.behind.size(); ++i)
      expected = i < scanned.behind.size() ? scanned.behind[i] : scanned.end;
    const char* const string = text.c_str();
    ASSERT_EQ(map->find(string, string + limit) - string, expected) << text << " " << limit;

    const bool inclUnmap = rng() % 2 == 0;
    const auto cut_at = [&](int pos) {
      return inclUnmap ? offset_behind(pos) : plain.skip(text, offset_behind(pos));
    };
    const int first = cut_at(from);
    const int second = to > from ? cut_at(to) : first;
    AceAttach at;
    char* prefix = nullptr;
    char* infix = nullptr;
    char* suffix = nullptr;
    ASSERT_EQ(map->cut(text.c_str(), from, to, &at, &prefix, &infix, &suffix, inclUnmap), 0);
    ASSERT_EQ(std::string(prefix), text.substr(0, static_cast<size_t>(first)))
        << text << " " << from << inclUnmap;
    ASSERT_EQ(std::string(infix),
              text.substr(static_cast<size_t>(first), static_cast<size_t>(second - first)))
        << text << " " << from << " " << to;
    ASSERT_EQ(std::string(suffix), text.substr(static_cast<size_t>(second)));
  }
  char* part = nullptr;
  EXPECT_EQ(map->cut(nullptr, 0, 1, nullptr, &part, nullptr, nullptr, false), -1);
}

TEST(TeraMap, localizes_prefixes_and_suffixes_at_character_bounds) {
  Quiet quiet;
  const Map map = small_map();
  const CharMap plain = plain_small_map();
  std::mt19937 rng(4);
  for (int round = 0; round < 20000; ++round) {
    const std::string text = random_text(rng);
    const std::string part = random_text(rng);
    const CharMap::Scanned scanned = plain.scan(text, true);
    const std::string tokens = plain.scan(part, true).tokens;
    const int before = static_cast<int>(scanned.tokens.size()) - static_cast<int>(tokens.size());
    int covered = -1;
    if (scanned.tokens.substr(0, tokens.size()) == tokens)
      covered = plain.skip(text, tokens.empty() ? 0 : scanned.behind[tokens.size() - 1]);
    ASSERT_EQ(map->localize_prefix(text.c_str(), part.c_str()), covered) << text << " / " << part;
    int rest = -1;
    if (before >= 0 && scanned.tokens.substr(static_cast<size_t>(before)) == tokens) {
      const int behind = before > 0 ? scanned.behind[static_cast<size_t>(before) - 1] : 0;
      const bool isInside =
          before > 0 && !tokens.empty() && scanned.behind[static_cast<size_t>(before)] == behind;
      rest = isInside ? -1 : behind;
    }
    ASSERT_EQ(map->localize_suffix(text.c_str(), part.c_str()), rest) << text << " / " << part;
  }
}

TEST(TeraMap, token_positions_are_as_odd_as_documented) {
  const Map map = small_map();
  AceAttach at;
  Token* tokens = map->convert("a[be]e", false, &at);
  EXPECT_EQ(map->get_pos(tokens, 3), tokens);
  EXPECT_EQ(map->get_pos(tokens, -1), tokens + 7);
  EXPECT_EQ(map->get_pos(map->convert("a[b", false, &at), -2), nullptr);
  EXPECT_EQ(map->get_pos(nullptr, -1), nullptr);
  EXPECT_EQ(map->cut_token(tokens, 1, 3), tokens);
  EXPECT_EQ(tokens[0], 0) << "the difference does not advance either";
  Token* other = map->convert("ab", false, &at);
  EXPECT_EQ(map->cut_token(other, -1, 0), other + 3);
  EXPECT_EQ(map->cut_token(other, 2, 0), other);
  EXPECT_EQ(map->cut_token(other, -1, -2), other + 3) << "writes into the room behind the string";
}

TEST(TeraMap, sort_keys_pack_ordinary_tokens_from_the_top) {
  const Map map = small_map();  // six token numbers take three bits
  EXPECT_EQ(map->sort_key("", false), 0U);
  EXPECT_EQ(map->sort_key("ab", false), (VBit{1} << 61) | (VBit{2} << 58));
  EXPECT_EQ(map->sort_key("-[be&]*?|a", false), (VBit{2} << 61) | (VBit{1} << 58)) << "first members only";
  EXPECT_EQ(map->sort_key("[?e]b", false), (VBit{3} << 61) | (VBit{2} << 58));
  EXPECT_EQ(map->sort_key("[be]", true), (VBit{2} << 61) | (VBit{3} << 58));
  EXPECT_EQ(map->sort_key(std::string(30, 'b').c_str(), false), 0x4924924924924924UL)
      << "21 tokens, one bit free";
  EXPECT_EQ(TeraMap::get_ident_map()->sort_key("a", false), VBit{'a'} << 55);
  EXPECT_EQ(TeraMap().sort_key("a", false), 0U);
}

TEST(TeraMap, separators_mark_word_starts) {
  const Map map = small_map();
  const auto marks = [&](const char* text, char sep, bool noGlob = true) {
    Token out[32];
    Token list[32];
    const int num = map->convert_sep(text, out, 32, sep, list, noGlob);
    std::string all;
    for (int i = 0; i <= num; ++i) all += list[i] != 0 ? '1' : '0';
    return all;
  };
  EXPECT_EQ(marks("ab be", ' '), "101101") << "the token itself and what follows";
  EXPECT_EQ(marks("ab-be", '-'), "10101") << "a skipped separator";
  EXPECT_EQ(marks("ab-&", '-'), "1010001") << "only the first token of a character";
  EXPECT_EQ(marks("a|b", '|', false), "1101") << "in the token's own character";
  EXPECT_EQ(marks("", '-'), "1");
  EXPECT_EQ(marks("a\xC3\xA4", '\xA4'), "1101") << "a raw byte inside a character";
  Token out[4];
  Token list[4] = {9, 9, 9, 9};
  EXPECT_EQ(map->convert_sep("ab be", out, 3, ' ', list, true), 2);
  EXPECT_EQ(list[2], 1) << "the end, where the room ends";
  EXPECT_EQ(list[3], 9);
  EXPECT_EQ(map->convert_sep("a", out, 4, ' ', nullptr, true), -1);
}

TEST(TeraMap, decomposes_into_words_that_have_tokens) {
  const Map map = small_map();
  support::RecordingReporter rep;
  AceAttach at;
  const auto words = [&](const char* text, int max = 9, int front = 0, int back = 0, int group = 0) {
    const char* found[9];
    std::string all;
    const int num = map->decompose(text, found, max, ' ', front, back, group, &at, &rep);
    for (int i = 0; i < num; ++i) all += std::string(found[i]) + ";";
    return all;
  };
  EXPECT_EQ(words("a  b"), "a;b;");
  EXPECT_EQ(words("  a,b -  e. "), "a,b;e.;") << "a word without tokens is none";
  EXPECT_EQ(words("a * [b e]"), "a;*;[b;e];");
  EXPECT_EQ(words("a b e", 2), "a;b;");
  EXPECT_EQ(words("a b", 9, 1, 1), " a ; b ;");
  EXPECT_EQ(words("\"a b\" e\"b\"a \"\" \"  \"", 9, 0, 0, 1), "a b;e;b;a;");
  EXPECT_EQ(words("\"a b\"", 9, 0, 0, 0), "\"a;b\";");
  EXPECT_EQ(words("e \"a b", 9, 0, 0, 1), "e;a b;") << "not closed";
  EXPECT_EQ(words("]\"a b\"", 9, 0, 0, 1), "];a b;");
  EXPECT_EQ(words(""), "");
  EXPECT_EQ(rep.all(), "");
  const char* found[2];
  EXPECT_EQ(map->decompose("a-b", found, 2, '-', 0, 0, 0, &at, &rep), -1);
  EXPECT_EQ(rep.all(), "ERROR: Decomposition of string failed. Separator char must be mapped!");
}

TEST(TeraMap, prints_its_tokens_and_mappings) {
  support::RecordingReporter rep;
  small_map()->print(&rep);
  EXPECT_EQ(rep.all(),
            "NUM_TOKEN\t6\nTOKENS\t{abe\u00F1 }\n"
            "MAPPING\t'&' to 'aabb'\nMAPPING\t'A' to 'a'\n"
            "MAPPING\t'\u00E1' to 'a'\nMAPPING\t'\u00E4' to 'ae'\nMAPPING\t'\u00F1' to '\u00F1'\n"
            "MAPPING\t'\u1EA1' to 'a'\n");
  support::RecordingReporter empty;
  TeraMap().print(&empty);
  EXPECT_EQ(empty.all(), "NUM_TOKEN\t0\n");
}

// ---------------------------------------------------------------- saved form

std::string image_of(const TeraMap& map) {
  std::vector<char> buffer(1 << 20);
  AceFile file;
  file.init_write(buffer.data(), static_cast<Huge>(buffer.size()));
  EXPECT_EQ(map.save(&file), 0);
  return {buffer.data(), static_cast<size_t>(file.get_pos())};
}

/// Reads an image at an aligned address; -2 for an exception.
VInt read_image(TeraMap* map, const std::string& image, std::vector<VInt>* memory) {
  memory->assign(image.size() / 8 + 1, 0);
  std::memcpy(memory->data(), image.data(), image.size());
  AceFile file;
  if (image.empty()) return -1;
  file.init_read(reinterpret_cast<const char*>(memory->data()), static_cast<VInt>(image.size()));
  try {
    return map->read(&file);
  } catch (const AceException&) {
    return -2;
  }
}

TEST(TeraMap, is_saved_to_the_byte) {
  TeraMapConfig config("utf-8");
  config.set_tokens("a\u00E4");
  config.map_globs("?");
  const Map map(config.compile());
  std::string expected(2084, '\0');
  const auto put = [&](size_t offset, Large value) {
    expected = support::overwrite(expected, offset, value);
  };
  put(0, 3);                      // numToken
  put(8 + 4 * 'a', 1);            // tokenMap
  put(8 + 4 * '?', 0xFA00);       //
  put(8 + 4 * 0xC3, 0xFFFF0000);  //
  put(1032 + 4 * 1, 'a');         // indexMap
  put(1032 + 4 * 2, 0xE4);        //
  const char operators[] = {'?', '[', ']', '|', '!', '*'};
  for (size_t i = 0; i < 6; ++i) put(1032 + 4 * (250 + i), static_cast<Large>(operators[i]));
  put(2056, 1);     // blockIndex: one key,
  put(2060, 0);     // no blocks,
  put(2064, 1);     // one position,
  put(2068, 0xE4);  // the largest key
  put(2072, 0xE4);  // and all keys
  put(2080, 2);     // unicodeMap
  EXPECT_EQ(image_of(*map), expected);
}

TEST(TeraMap, reads_what_it_saved_at_any_offset_as_stream_and_mapping) {
  support::TempFolder folder;
  for (const Map& map :
       {small_map(), Map(TeraMapConfig::compile_cyrillic()), Map(new TeraMap(true)), Map(new TeraMap())}) {
    const std::string name = folder.file("map");
    AceFile out;
    ASSERT_EQ(out.build(name.c_str(), nullptr), 0);
    for (int i = 0; i < 3; ++i) {
      out.put_char('x');
      map->save(&out);
    }
    out.close();
    for (const bool isMapped : {false, true}) {
      AceFile in;
      ASSERT_EQ(isMapped ? in.map(name.c_str(), nullptr, nullptr, 0, nullptr, nullptr)
                         : in.prep(name.c_str(), nullptr),
                0);
      for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(in.get_char(), 'x');
        TeraMap read;
        ASSERT_EQ(read.read(&in), 0);
        EXPECT_EQ(image_of(read), image_of(*map));
        EXPECT_EQ(image_of(TeraMap(&read)), image_of(*map)) << "a copy";
        AceAttach at;
        EXPECT_STREQ(read.normalize("ab\u00E4\u0416?", false, &at),
                     map->normalize("ab\u00E4\u0416?", false, &at));
      }
    }
    ASSERT_EQ(map->dump(name.c_str(), nullptr), 0);
    for (const int mode : {0, 1, 2, 3}) {
      TeraMap loaded;
      EXPECT_EQ(loaded.load(name.c_str(), mode, nullptr), 0);
      EXPECT_EQ(image_of(loaded), image_of(*map));
    }
  }
}

void use(const TeraMap& map) {
  AceAttach at;
  const char* text = "a\u00E4[b\u00F1&?]*\u1EA1\xC3|\xE1";
  for (const bool noGlob : {false, true}) {
    map.normalize(text, noGlob, &at);
    map.alt_len(text, noGlob);
    map.sort_key(text, noGlob);
    map.compare(text, "ab?", noGlob);
  }
  map.is_equal(text, text);
  map.map_unicode(0x1EA1);
  support::RecordingReporter rep;
  map.print(&rep);
}

TEST(TeraMap, a_damaged_image_is_refused_or_usable) {
  Quiet quiet;
  std::vector<VInt> memory;
  const std::string good = image_of(*small_map());
  int numRead = 0;
  support::for_each_damage(good, [&](const std::string& damaged, const std::string& what) {
    TeraMap map;
    const VInt rc = read_image(&map, damaged, &memory);
    ASSERT_TRUE(rc == 0 || damaged.size() != good.size() || rc < 0) << what;
    if (damaged.size() < good.size()) ASSERT_LT(rc, 0) << what;
    if (rc < 0) ASSERT_EQ(map.num_token(), 0) << what;
    if (rc == 0) {
      ++numRead;
      use(map);
    }
  });
  EXPECT_GT(numRead, 1000) << "most bits of indexMap may be anything";
}

TEST(TeraMap, what_scans_rely_on_is_checked) {
  support::RecordingReporter rep;
  rep.set_as_default();
  std::vector<VInt> memory;
  const std::string good = image_of(*small_map());
  const std::string ident = image_of(TeraMap(false));
  const std::string wrong[] = {
      support::overwrite(good, 0, -1),
      support::overwrite(good, 0, 257),
      support::overwrite(good, 0, 3),                       // tokens from 3 on are mapped to
      support::overwrite(good, 8, 1),                       // the end of the text
      support::overwrite(good, 8 + 4 * 'x', 0x0100),        // operator 1
      support::overwrite(good, 8 + 4 * 'x', 0x010001),      // a hole in a sequence
      support::overwrite(good, 8 + 4 * 'x', 6),             // no such token
      support::overwrite(good, 8 + 4 * 'x', 0xFFFF0000),    // a lead byte that is ASCII
      support::overwrite(ident, 8 + 4 * 0xC3, 0xFFFF0000),  // a lead byte without code points
      support::overwrite(ident, 8 + 4 * 'x', 0xFA00),       // an operator that is an ordinary token, too
      support::overwrite(ident, 1032 + 4 * 7, 256),         // no byte
      support::overwrite(good, 1032 + 4 * 7, 0x200000),     // no code point
      support::overwrite(good, good.size() - 4, 0x00FF00),  // a sequence that starts with 0
  };
  for (const std::string& image : wrong) {
    TeraMap map;
    EXPECT_LT(read_image(&map, image, &memory), 0) << &image - wrong;
  }
  EXPECT_EQ(rep.messages.size(), std::size(wrong));
  EXPECT_NE(rep.all().find("offset 0"), std::string::npos);
  TeraMap map;
  EXPECT_EQ(read_image(&map, support::overwrite(good, 8 + 4 * 'x', 0x0201FA00), &memory), 0)
      << "an operator may have ordinary tokens";
  AceAttach at;
  EXPECT_EQ(string_of(map.convert("x", true, &at)), "\1\2");
  EXPECT_EQ(string_of(map.convert("x", false, &at)), "\xFA");
  AceReporter::clear_default();
}

TEST(TeraMap, random_bytes_never_lead_outside_the_text) {
  Quiet quiet;
  const Map maps[] = {small_map(), Map(TeraMapConfig::compile_cyrillic()), Map(new TeraMap(false))};
  std::mt19937 rng(5);
  for (int round = 0; round < 3000; ++round) {
    const size_t size = rng() % 24;
    const std::unique_ptr<char[]> text(new char[size + 1]);  // exactly, for the sanitizers
    for (size_t i = 0; i < size; ++i)
      text[i] = static_cast<char>(rng() % 3 == 0 ? 0xC0 + rng() % 64 : rng() % 255 + 1);
    text[size] = 0;
    for (const Map& map : maps) {
      AceAttach at;
      char* parts[3];
      const char* words[4];
      map->normalize(text.get(), false, &at);
      map->cut(text.get(), 1, 3, &at, parts, parts + 1, parts + 2, false);
      map->is_equal("a", text.get());
      map->localize_prefix(text.get(), "a");
      map->localize_suffix(text.get(), "a");
      map->decompose(text.get(), words, 4, 'a', 1, 1, 1, &at, nullptr);
    }
  }
}

TEST(TeraMap, is_shared_by_threads) {
  const Map map = small_map();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      Token out[64];
      for (int round = 0; round < 2000; ++round) {
        EXPECT_EQ(map->convert("a\u00E4&\u1EA1", out, 64, false), 8);
        EXPECT_NE(TeraMap::get_ident_map(), TeraMap::get_nospace_map());
      }
    });
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
