#include "tera/tera_word.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <set>

#include "ace/ace_alloc.h"
#include "oracle/words.h"
#include "support/recording_reporter.h"
#include "support/word_samples.h"
#include "tera/tera_map_config.h"
#include "tera/tera_words.h"

namespace {
thread_local long numAllocations = 0;
}  // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
  ++numAllocations;
  if (void* memory = std::malloc(size != 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}
// The standard library's temporary buffers come from here, and go to the `delete` below.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  ++numAllocations;
  return std::malloc(size != 0 ? size : 1);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

using samples::Random;
using samples::Tokens;

/// A model that tells its arguments; entries of up to 4095 positions.
int tell(int query, int match, int entry) {
  return static_cast<int>((static_cast<unsigned>(query) * 4096 + static_cast<unsigned>(match)) * 4096 +
                          static_cast<unsigned>(entry));
}
int tell_any(int query, int match, int entry) {
  return match == 0 ? 0 : tell(query, match, entry);
}

std::set<int> starts_of(const oracle::Positions& entry) {
  std::set<int> starts;
  if (entry.size() > 0) starts.insert(0);
  for (const int start : entry.wordStarts)
    if (start < entry.size()) starts.insert(start);
  return starts;
}

/// All measures of one pair against the oracle; `slow` adds those that take the oracle long.
template <class Word>
void expect_as_oracle(const Word& word, const oracle::Positions& query, const Tokens& entryTokens,
                      bool slow) {
  const unsigned char* entry = entryTokens.data();
  for (const int noGlob : {0, 1}) {
    if (noGlob != 0 && samples::has_alternative(entryTokens)) continue;  // the caller must know better
    const oracle::Positions positions(entry, noGlob == 0);
    const oracle::Matrix accepts(query, positions);
    const int m = accepts.m;
    const int n = accepts.n;
    SCOPED_TRACE("query " + samples::print(query) + " entry " + samples::print(positions));
    for (const int transpose : {0, 2}) {
      const int options = noGlob | transpose;
      for (int start = 0; start < 4; ++start) {
        const int starts = ((start & 1) != 0 ? 0x1000 : 0) | ((start & 2) != 0 ? 0x4000 : 0);
        oracle::EditTable table(accepts, starts | transpose);
        for (const int end : {0, 0x2000, 0x8000, 0xA000}) {
          const int all = options | starts | end;
          const oracle::Edit edit = end == 0xA000 ? oracle::leven(accepts, all) : table.result(all);
          ASSERT_EQ(word.leven(entry, nullptr, all), edit.distance) << "options " << all;
          ASSERT_EQ(word.leven(entry, tell, all), tell(m, edit.match, n)) << "options " << all;
        }
      }
      const int counted = oracle::count(accepts, transpose != 0);
      ASSERT_EQ(word.count(entry, nullptr, options), counted);
      ASSERT_EQ(word.count(entry, tell, options), tell(m, counted, std::min(n, 64)));
      for (const int bounds : {0, 0x1000}) {
        const int ends = bounds != 0 ? 1 : -1;
        const int hits = oracle::bigrams(accepts, transpose != 0, bounds != 0);
        ASSERT_EQ(word.bigrams(entry, tell, options | bounds), tell_any(m + ends, hits, n + ends));
      }
      const int subset = oracle::subset(accepts, transpose != 0);
      const int superset = oracle::superset(accepts, transpose != 0);
      ASSERT_EQ(word.subset(entry, tell, options), tell_any(m, subset, n));
      ASSERT_EQ(word.superset(entry, tell, options), tell_any(m, superset, n));
      ASSERT_EQ(word.blockedit(entry, tell, options), tell_any(m, n <= m ? subset : superset, n));
      if (slow) {
        ASSERT_EQ(word.subword(entry, tell, options), tell(m, oracle::subword(accepts, transpose != 0), n));
        int from = 0;
        int to = 0;
        const int best = oracle::scan(accepts, starts_of(positions), transpose != 0);
        ASSERT_EQ(word.scan(entry, tell, options, &from, &to), tell(m, best, n));
        std::vector<int> bounds(1);
        for (const int begin : starts_of(positions))
          if (begin > 0) bounds.push_back(begin);
        bounds.push_back(n);
        if (n > 0 && m > 0) {
          oracle::EditTable run(accepts, transpose, bounds[from], bounds[to]);
          ASSERT_EQ(run.result(0).match, best) << "words " << from << " to " << to;
        }
      }
    }
    ASSERT_EQ(word.app_count(entry, tell, noGlob), tell_any(m, oracle::app_count(accepts), std::min(n, 64)));
    ASSERT_EQ(word.lcs(entry, tell, noGlob), tell(m, oracle::lcs(accepts), n));
    ASSERT_EQ(word.biseq(entry, tell, noGlob), tell_any(2 * m, oracle::biseq(accepts), 2 * n));
    ASSERT_EQ(word.match(entry, nullptr, noGlob), oracle::match(accepts) ? 1 : 0);
    ASSERT_EQ(word.wildcard(entry, nullptr, noGlob), oracle::wildcard(accepts, query.runs) ? 1 : 0);
  }
}

void expect_as_oracle(const Tokens& query, const Tokens& entry, bool slow) {
  TeraTokenWord word;
  oracle::Positions positions(query.data());
  if (positions.size() > TeraLongWord::MAX_LENGTH) {
    ASSERT_EQ(word.build(query.data()), -1);
    ASSERT_EQ(word.lcs(entry.data(), nullptr, 0), -1);
    return;
  }
  ASSERT_EQ(word.build(query.data()), positions.size());
  expect_as_oracle(word, positions, entry, slow);
}

TEST(TeraTokenWord, agrees_with_the_definitions_on_all_short_pairs) {
  const int maxLength = samples::SLOW ? 4 : 5;
  const std::vector<Tokens> words = samples::all_words(3, maxLength);
  for (const Tokens& query : words) {
    TeraTokenWord word;
    word.build(query.data());
    const oracle::Positions positions(query.data());
    for (const Tokens& entry : words) {
      expect_as_oracle(word, positions, entry, query.size() + entry.size() < 8);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(TeraTokenWord, agrees_with_the_definitions_on_short_words_with_operators) {
  Random random(1);
  for (int round = 0; round < (samples::SLOW ? 12000 : 60000); ++round) {
    expect_as_oracle(samples::word(random, random.below(13), true),
                     samples::word(random, random.below(13), true), round % 8 == 0);
    if (HasFatalFailure()) return;
  }
}

TEST(TeraTokenWord, agrees_with_the_definitions_around_the_borders_of_masks) {
  Random random(2);
  for (int round = 0; round < (samples::SLOW ? 200 : 500); ++round) {
    const int border = round % 50 == 0 ? TeraLongWord::MAX_LENGTH - 10 : round % 2 == 0 ? 60 : 120;
    const int spread = border == 60 ? 11 : 21;
    const Tokens query = samples::word(random, border + random.below(spread), round % 4 < 2);
    const Tokens entry = random.below(3) == 0 && border < 130
                             ? samples::edited(random, query, 6)
                             : samples::word(random, random.below(std::min(border, 120) + spread), true);
    expect_as_oracle(query, entry, round % 100 == 1);
    if (HasFatalFailure()) return;
  }
}

TEST(TeraTokenWord, the_wide_forms_give_the_same_as_the_narrow_one) {
  Random random(3);
  for (int round = 0; round < (samples::SLOW ? 300 : 5000); ++round) {
    const Tokens query = samples::word(random, random.below(64), true);
    oracle::Positions positions(query.data());
    const Tokens entry = samples::word(random, random.below(20), true);
    TeraQuadWord word;
    ASSERT_EQ(word.build(query.data()), positions.size());
    expect_as_oracle(word, positions, entry, false);
    if (round % 16 != 0) continue;
    TeraLongWord longest;
    ASSERT_EQ(longest.build(query.data()), positions.size());
    expect_as_oracle(longest, positions, entry, false);
    if (HasFatalFailure()) return;
  }
}

TEST(TeraTokenWord, tells_positions_words_and_runs_apart) {
  const Tokens query = {1, 253, 251, 2, 3, 252, 250, 255, 4, 0};  // 1 | [23] ? * 4
  TeraTokenWord word;
  EXPECT_EQ(word.build(query.data()), 4);
  EXPECT_EQ(word.numWords, 2);
  EXPECT_EQ(word.tokenPattern[1], 0b0101u);
  EXPECT_EQ(word.tokenPattern[3], 0b0110u);
  EXPECT_EQ(word.tokenPattern[249], 0b0100u);
  EXPECT_EQ(word.tokenPattern[250], ~VUint{0});
  EXPECT_EQ(word.tokenPattern[253], 0b10011u);
  EXPECT_EQ(word.tokenPattern[255], 0b01000u);
}

TEST(TeraTokenWord, what_is_no_word_is_refused_by_every_measure) {
  TeraTokenWord word;
  const Tokens entry = {1, 0};
  for (const Tokens& broken : {Tokens{251, 1, 0}, Tokens{251, 252, 0}}) {
    EXPECT_EQ(word.build(broken.data()), -1);
    EXPECT_EQ(word.leven(entry.data(), nullptr, 0), -1);
    EXPECT_EQ(word.wildcard(entry.data(), nullptr, 0), -1);
  }
  EXPECT_EQ(word.build(nullptr), -1);
  word.build(entry.data());
  EXPECT_EQ(word.lcs(nullptr, nullptr, 0), -1);
  const Tokens nothing = {0};
  EXPECT_EQ(word.build(nothing.data()), 0);
  EXPECT_EQ(word.tokenPattern[250], ~VUint{0});
  EXPECT_EQ(word.tokenPattern[253], 0u);
}

TEST(TeraTokenWord, without_operators_every_value_is_a_letter) {
  const Tokens letters = {252, 250, 253, 255, 251, 0};
  TeraTokenWord word;
  EXPECT_EQ(word.build(letters.data(), false), 5);
  EXPECT_EQ(word.match(letters.data()), 1);
  const Tokens other = {252, 1, 253, 255, 251, 0};
  EXPECT_EQ(word.leven(other.data(), nullptr, 0), 1);
  EXPECT_EQ(word.wildcard(letters.data(), nullptr, 0), 1);
  EXPECT_EQ(word.wildcard(other.data(), nullptr, 0), 0);
}

TEST(TeraTokenWord, half_tokens_match_in_one_direction) {
  for (const int length : {3, 70}) {
    Tokens query(length, 1);
    query.push_back(0);
    Tokens entry(length, 2);
    entry.push_back(0);
    TeraTokenWord word;
    word.build(query.data());
    EXPECT_EQ(word.half_lev(entry.data(), nullptr, 0), length);
    const Tokens pairs = {1, 2, 3, 1, 0};
    EXPECT_EQ(word.add_halfs(pairs.data()), 2);
    EXPECT_EQ(word.half_lev(entry.data(), nullptr, 0), 0);
    EXPECT_EQ(word.half_lev(query.data(), nullptr, 0), 0);
    EXPECT_EQ(word.leven(entry.data(), nullptr, 0), length);
    const Tokens odd = {1, 0};
    EXPECT_EQ(word.add_halfs(odd.data()), -1);
  }
}

TEST(TeraTokenWord, long_entries_are_measured_to_their_end) {
  Random random(4);
  for (const int length : {10, 100}) {
    const Tokens query = samples::word(random, length, false);
    const Tokens entry = samples::word(random, 10000, false);
    const oracle::Matrix accepts(oracle::Positions(query.data()), oracle::Positions(entry.data()));
    TeraTokenWord word;
    word.build(query.data());
    for (const int options : {0, 2, 0x4000, 0x8002, 0xC003})
      EXPECT_EQ(word.leven(entry.data(), nullptr, options), oracle::leven(accepts, options).distance);
    EXPECT_EQ(word.lcs(entry.data(), nullptr, 0), oracle::lcs(accepts));
    EXPECT_EQ(word.subset(entry.data(), nullptr, 2), oracle::subset(accepts, true));
    EXPECT_EQ(word.count(entry.data(), nullptr, 0), oracle::count(accepts, false));
    EXPECT_EQ(word.bigrams(entry.data(), nullptr, 0), oracle::bigrams(accepts, false, false));
  }
}

/// Reads an edit sequence and tells what it costs; -1 when it does not lead from start to end.
int replay(const char* signs, const oracle::Matrix& accepts, int options) {
  int i = 0;
  int j = 0;
  int cost = 0;
  const bool isEntryStart = (options & 0x4000) != 0;
  const std::string all(signs);
  const size_t first = all.find_first_of("=o><+x");
  const size_t last = all.find_last_of("=o><+x");
  for (size_t k = 0; k < all.size(); ++k) {
    const bool inFront = first == std::string::npos || k < first;
    const bool behind = last == std::string::npos || k > last;
    switch (all[k]) {
      case TeraSign::MATCH:
        if (!accepts(i++, j++)) return -1;
        break;
      case TeraSign::SUBST:
        ++i, ++j, ++cost;
        break;
      case TeraSign::INSERT:
        ++j, ++cost;
        break;
      case TeraSign::REMOVE:
        ++i, ++cost;
        break;
      case TeraSign::TRANSL: {
        const size_t next = all.find_first_not_of('|', k + 1);
        if ((options & 2) == 0 || !accepts.swapped(i + 1, j + 1) || all[next] != TeraSign::TRANSR) return -1;
        ++i, ++j, ++cost;
        break;
      }
      case TeraSign::TRANSR:
        ++i, ++j;
        break;
      case TeraSign::JUMPL:
        if (!(inFront && (options & 0x1000) != 0) && !(behind && (options & 0x2000) != 0)) return -1;
        ++i;
        break;
      case TeraSign::JUMPR:
        if (!inFront || !isEntryStart) return -1;
        ++j;
        break;
      case TeraSign::ABBREV:
        if (!behind || (options & 0x8000) == 0) return -1;
        ++j;
        break;
      case TeraSign::WORDSEP:
        break;
      default:
        return -1;
    }
  }
  return i == accepts.m && j == accepts.n ? cost : -1;
}

TEST(TeraTokenWord, edit_sequences_cost_what_the_distance_says) {
  Random random(5);
  for (int round = 0; round < (samples::SLOW ? 2000 : 30000); ++round) {
    const Tokens query = samples::word(random, random.below(round % 50 == 0 ? 150 : 9), round % 3 == 0);
    const Tokens entry = samples::word(random, random.below(9), round % 3 == 0);
    const oracle::Positions positions(query.data());
    const oracle::Matrix accepts(positions, oracle::Positions(entry.data()));
    TeraTokenWord word;
    word.build(query.data());
    for (int options = 0; options < 0x10000; options += 0x1000)
      for (const int transpose : {0, 2}) {
        AceAttach at;
        const char* signs = nullptr;
        const int value = word.sequence(entry.data(), nullptr, options | transpose, &signs, &at);
        const oracle::Edit edit = oracle::leven(accepts, options | transpose);
        ASSERT_EQ(value, edit.match);
        ASSERT_EQ(replay(signs, accepts, options | transpose), edit.distance)
            << signs << " query " << samples::print(positions) << " entry "
            << samples::print(oracle::Positions(entry.data())) << " options " << (options | transpose);
        ASSERT_EQ(word.sequence(entry.data(), tell, options | transpose, nullptr, nullptr),
                  tell(accepts.m, edit.match, accepts.n));
      }
  }
}

// Texts.

std::unique_ptr<TeraMap> letters_map() {
  TeraMapConfig config("utf-8");
  config.set_tokens("a-z\xC3\xA4");
  config.set_map("ss", "\xC3\x9F");
  config.map_globs(nullptr);
  config.map_specials('[', ']', '?', '*', '|', 0);
  return std::unique_ptr<TeraMap>(config.compile());
}

TEST(TeraWord, texts_are_measured_as_their_tokens) {
  const auto map = letters_map();
  Random random(6);
  for (int round = 0; round < (samples::SLOW ? 500 : 5000); ++round) {
    const std::string query = samples::text(random, random.below(10));
    const std::string entry = samples::text(random, random.below(round % 10 == 0 ? 100 : 12));
    const bool noGlob = random.below(2) == 0;
    const TeraWord word(query.c_str(), map.get(), noGlob);
    AceAttach at;
    TeraTokenWord tokens;
    ASSERT_EQ(word.length(), tokens.build(map->convert(query.c_str(), noGlob, &at)));
    if (word.length() < 0) continue;
    for (const int options : {0, 1, 2, 3, 0x8001, 0xC003, 0xA002, 0xF000}) {
      const Token* entryTokens = map->convert(entry.c_str(), (options & 1) != 0, &at);
      const char* text = entry.c_str();
      SCOPED_TRACE(query + " in " + entry);
      ASSERT_EQ(word.leven(text, tell, options), tokens.leven(entryTokens, tell, options));
      ASSERT_EQ(word.count(text, tell, options), tokens.count(entryTokens, tell, options));
      ASSERT_EQ(word.lcs(text, tell, options), tokens.lcs(entryTokens, tell, options));
      ASSERT_EQ(word.blockedit(text, tell, options), tokens.blockedit(entryTokens, tell, options));
      ASSERT_EQ(word.wildcard(text, tell, options), tokens.wildcard(entryTokens, tell, options));
      ASSERT_EQ(word.subword(text, tell, options), tokens.subword(entryTokens, tell, options));
      ASSERT_EQ(word.sequence(text, tell, options, nullptr, &at),
                tokens.sequence(entryTokens, tell, options, nullptr, &at));
    }
  }
}

TEST(TeraWord, qualities_of_known_pairs) {
  const auto map = letters_map();
  TeraEval::Eval* maximum = TeraEval::get_model_func(TeraEval::MAXIMUM, 0);
  const auto word = [&](const char* text) { return TeraWord(text, map.get(), false); };
  EXPECT_EQ(word("meyer").leven("mayer", maximum, 1), 204);
  EXPECT_EQ(word("may").leven("mayer", tell, 0x8001), tell(3, 3, 5));
  EXPECT_EQ(word("er").leven("mayer", nullptr, 0x4001), 0);
  EXPECT_EQ(word("m[ae]yer").leven("m[eo]yer", maximum, 0), 255);
  EXPECT_EQ(word("abc").biseq("abc", tell, 0), tell(6, 5, 6));
  EXPECT_EQ(word("*").wildcard("", nullptr, 0), 0);
  EXPECT_EQ(word("").wildcard("", nullptr, 0), 1);
  EXPECT_EQ(word("*").wildcard("x", nullptr, 0), 1);
  EXPECT_EQ(TeraWord::cmp("meyer", "mayer", map.get(), TeraEval::MAXIMUM, 1), 204);
  EXPECT_EQ(TeraWord::mcmp("anna|meyer", "mayer|anna", map.get(), TeraEval::MAXIMUM, 1), (255 + 204) / 2);
  EXPECT_EQ(TeraWord::mcmp("|", "mayer|anna", map.get(), TeraEval::MAXIMUM, 1), 0);
  EXPECT_EQ(TeraWord::mcmp("[a|anna", "anna", map.get(), TeraEval::MAXIMUM, 0), -1);
  EXPECT_EQ(TeraWord::validate_options(0x9001), -1);
  EXPECT_EQ(TeraWord::validate_options(0x6000), -1);
  EXPECT_EQ(TeraWord::validate_options(0xC003), 0);
  const char* parts[] = {"anna", nullptr, "meyer"};
  const TeraWord joined(3, parts, map.get(), false);
  EXPECT_EQ(joined.length(), 9);
  EXPECT_EQ(joined.leven("annameyer", nullptr, 1), 0);
  EXPECT_EQ(TeraWord().leven("x", nullptr, 0), -1);
  EXPECT_EQ(TeraWord("x", nullptr, true).length(), -1);
}

TEST(TeraWord, bytes_of_an_identity_map_are_no_operators) {
  const TeraWord word("M\xFCller", TeraMap::get_ident_map(), true);
  EXPECT_EQ(word.leven("M\xFCller", nullptr, 1), 0);
  EXPECT_EQ(word.leven("M\xFDller", nullptr, 1), 1);
  EXPECT_EQ(word.leven("M\xFBller", nullptr, 0), 1);
}

TEST(TeraWord, scan_splits_texts_at_blanks_and_bars) {
  const auto map = letters_map();
  const TeraWord word("annamaria", map.get(), false);
  int from = -1;
  int to = -1;
  EXPECT_EQ(word.scan("die anna mria|b", nullptr, 1, &from, &to), 8);
  EXPECT_EQ(from, 1);
  EXPECT_EQ(to, 3);
  AceAttach at;
  EXPECT_STREQ(word.scan_mark("die anna mria|b", 1, &at), "die <b>anna mria</b>|b");
  EXPECT_STREQ(word.subword_mark("die hannamariak", 1, &at), "die h<b>annamaria</b>k");
  Token* tokens = nullptr;
  Token* bounds = nullptr;
  ASSERT_EQ(word.convert_and_word_bounds("ab c|d", 1, &tokens, &bounds, &at), 4);
  EXPECT_EQ(std::vector<Token>(bounds, bounds + 5), (std::vector<Token>{1, 0, 1, 1, 1}));
  EXPECT_EQ(word.scan("", nullptr, 1, &from, &to), 0);
  EXPECT_EQ(to, 0);
}

TEST(TeraWord, localize_tells_the_parts_and_the_reasons) {
  const auto map = letters_map();
  TeraEval::Eval* model = TeraEval::get_model_func(TeraEval::QUERY, 0);
  TeraWordResult result;
  const auto reasons = [&](const char* query, const char* entry, int options) {
    TeraWord(query, map.get(), false).localize(entry, model, options, &result);
    return result.reasonFlags;
  };
  EXPECT_EQ(reasons("meyer", "der. Mmayer, x", 0xC001),
            1 << TeraEval::TYPING_ERROR | 1 << TeraEval::MISSING_PREFIX | 1 << TeraEval::MISSING_SUFFIX);
  EXPECT_STREQ(result.inputPrefix, "der. M");
  EXPECT_STREQ(result.inputMatch, "mayer");
  EXPECT_STREQ(result.inputSuffix, ", x");
  EXPECT_STREQ(result.editSeq, "///=o===*");
  EXPECT_EQ(result.normQuality, 204);
  EXPECT_EQ(reasons("xmayer", "myaer", 0x1003), 1 << TeraEval::EXTRA_PREFIX | 1 << TeraEval::WORD_REORDER);
  EXPECT_STREQ(result.editSeq, "\\=><==");
  EXPECT_EQ(reasons("ma", "", 1), 1 << TeraEval::EXTRA_PREFIX);
  EXPECT_EQ(result.deletePrefix, 2);
}

TEST(TeraWord, localized_parts_belong_to_the_sequence) {
  const auto map = letters_map();
  Random random(8);
  for (int round = 0; round < (samples::SLOW ? 500 : 10000); ++round) {
    const std::string query = samples::text(random, random.below(8));
    const std::string entry = samples::text(random, random.below(10));
    const int options = random.below(16) * 0x1000 + random.below(4);
    const TeraWord word(query.c_str(), map.get(), false);
    TeraWordResult result;
    if (word.localize(entry.c_str(), tell, options, &result) < 0) continue;
    SCOPED_TRACE(query + " in " + entry + " options " + std::to_string(options) + " " + result.editSeq);
    AceAttach at;
    const Token* tokens = map->convert(entry.c_str(), (options & 1) != 0, &at);
    const oracle::Positions positions(tokens, (options & 1) == 0);
    const oracle::Matrix accepts(oracle::Positions(word.get_token_string()), positions);
    const oracle::Edit edit = oracle::leven(accepts, options);
    ASSERT_EQ(result.rawValue, edit.match);
    ASSERT_EQ(replay(result.editSeq, accepts, options), edit.distance);
    ASSERT_EQ(std::string(result.inputPrefix) + result.inputMatch + result.inputSuffix, entry);
    int from = 0;
    int to = 0;
    const char* marked = nullptr;
    ASSERT_EQ(word.wordMatch(tokens, &from, &to, options, &marked, &at), edit.match);
    ASSERT_EQ(from, result.insertPrefix);
    ASSERT_EQ(to, accepts.n - result.insertSuffix);
    const oracle::Positions match(map->convert(result.inputMatch, (options & 1) != 0, &at),
                                  (options & 1) == 0);
    if (entry.find("\xC3\x9F") == std::string::npos) ASSERT_EQ(match.size(), to - from);
  }
}

char* strip(std::string& marked) {
  for (const char* mark : {TeraWord::MARK_START, TeraWord::MARK_STOP})
    for (size_t at; (at = marked.find(mark)) != std::string::npos;) marked.erase(at, std::strlen(mark));
  return marked.data();
}

/// The letters between marks.
std::string between(const std::string& marked) {
  std::string inside;
  for (size_t at = 0; (at = marked.find("<b>", at)) != std::string::npos;) {
    const size_t stop = marked.find("</b>", at);
    inside += marked.substr(at + 3, stop - at - 3);
    at = stop;
  }
  return inside;
}

TEST(TeraWord, marks_what_the_measures_count) {
  const auto map = letters_map();
  Random random(7);
  for (int round = 0; round < (samples::SLOW ? 500 : 5000); ++round) {
    const std::string query = samples::letters(random, random.below(9));
    const std::string entry = samples::letters(random, random.below(12));
    const TeraWord word(query.c_str(), map.get(), true);
    AceAttach at;
    for (const int options : {1, 3}) {
      SCOPED_TRACE(query + " in " + entry);
      const std::string marks[] = {
          word.leven_mark(entry.c_str(), options, &at),   word.count_mark(entry.c_str(), options, &at),
          word.lcs_mark(entry.c_str(), options, &at),     word.subset_mark(entry.c_str(), options, &at),
          word.subword_mark(entry.c_str(), options, &at), word.scan_mark(entry.c_str(), options, &at)};
      for (std::string marked : marks) ASSERT_STREQ(strip(marked), entry.c_str());
      const auto length = [&](int i) { return static_cast<int>(between(marks[i]).size()); };
      const auto is_in_query = [&](int i) {
        return TeraWord(between(marks[i]).c_str(), map.get(), true).lcs(query.c_str(), nullptr, 1) ==
               length(i);
      };
      ASSERT_EQ(length(1), word.count(entry.c_str(), nullptr, options));
      ASSERT_EQ(length(2), word.lcs(entry.c_str(), nullptr, options));
      ASSERT_TRUE(is_in_query(2)) << marks[2];
      ASSERT_EQ(length(3), word.subset(entry.c_str(), nullptr, options));
      if (options == 1) ASSERT_TRUE(is_in_query(3) && is_in_query(0)) << marks[3] << marks[0];
      ASSERT_EQ(word.length() - word.leven(between(marks[4]).c_str(), nullptr, options),
                word.subword(entry.c_str(), nullptr, options));
    }
  }
}

TEST(TeraWord, measuring_allocates_nothing) {
  ace_alloc_init(2000);
  const auto map = letters_map();
  const std::string longEntry(10000, 'b');
  for (const char* query :
       {"mayer", "abcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyz"}) {
    const TeraWord word(query, map.get(), false);
    const TeraWords words("anna|meyer|ab", '|', map.get(), false);
    support::RecordingReporter before;
    support::RecordingReporter after;
    ace_alloc_show(&before);
    const long allocations = numAllocations;
    for (const char* entry : {"", "m[ae]yer", "anna|mayer", longEntry.c_str()}) {
      int from = 0;
      int values[3];
      for (int options = 0; options < 0x10000; options += 0x1000) word.leven(entry, tell, options);
      for (const int options : {0, 1, 2, 3}) {
        word.half_lev(entry, tell, options);
        word.count(entry, tell, options);
        word.app_count(entry, tell, options);
        word.bigrams(entry, tell, options);
        word.match(entry, tell, options);
        word.wildcard(entry, tell, options);
        word.lcs(entry, tell, options);
        word.biseq(entry, tell, options);
        word.subset(entry, tell, options);
        word.superset(entry, tell, options);
        word.blockedit(entry, tell, options);
        word.subword(entry, tell, options);
        word.scan(entry, tell, options, &from, nullptr);
        words.leven(entry, tell, options, values, 1);
        words.lcs(entry, tell, options, values, 1);
        words.count(entry, tell, options, values, 1);
      }
    }
    EXPECT_EQ(numAllocations, allocations);
    ace_alloc_show(&after);
    EXPECT_EQ(after.all(), before.all());
  }
}

}  // namespace
