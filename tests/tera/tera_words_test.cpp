#include "tera/tera_words.h"

#include <algorithm>
#include <memory>

#include "oracle/words.h"
#include "support/word_samples.h"
#include "tera/tera_bipartite.h"
#include "tera/tera_map.h"
#include "tera/tera_map_config.h"
#include "tera/tera_standard_query.h"
#include "tera/tera_token.h"
#include "tera/tera_word.h"

namespace {

using samples::Random;
using samples::Tokens;

int tell(int query, int match, int entry) {
  return (query * 512 + match) * 4096 + entry;
}

const TeraMap* letters() {
  return TeraMap::get_nospace_map();
}

TEST(TeraTokenWords, measure_each_word_as_if_it_were_alone) {
  Random random(1);
  for (int round = 0; round < (samples::SLOW ? 1000 : 20000); ++round) {
    std::vector<Tokens> strings;
    for (int i = random.below(9); i >= 0; --i)
      strings.push_back(
          samples::word(random, random.below(round % 20 == 0 ? 140 : 12), random.below(3) == 0));
    std::vector<const Token*> pointers;
    for (const Tokens& tokens : strings) pointers.push_back(tokens.data());
    if (round % 5 == 0) pointers.push_back(nullptr);
    const int num = static_cast<int>(pointers.size());
    TeraTokenWords words;
    ASSERT_EQ(words.build(num, pointers.data()), num);
    ASSERT_EQ(words.num_words(), num);
    const Tokens entry = samples::word(random, random.below(16), random.below(2) == 0);
    const Token* text = entry.data();

    const auto expect = [&](const auto& all, const auto& alone, TeraEval::Eval* eval, int options) {
      std::vector<int> values(2 * static_cast<size_t>(num), -7);
      const int best = all(eval, options, values.data());
      std::vector<int> expected;
      for (int i = 0; i < num; ++i) {
        TeraTokenWord word;
        const Tokens none = {0};
        word.build(pointers[i] != nullptr ? pointers[i] : none.data());
        expected.push_back(alone(word, eval, options));
        ASSERT_EQ(values[2 * i], expected.back()) << "word " << i << " options " << options;
        ASSERT_EQ(values[2 * i + 1], -7);
      }
      ASSERT_EQ(best, eval != nullptr ? *std::max_element(expected.begin(), expected.end())
                                      : *std::min_element(expected.begin(), expected.end()));
    };
    for (TeraEval::Eval* eval : {static_cast<TeraEval::Eval*>(nullptr), &tell})
      for (const int transpose : {0, 2}) {
        for (const int ends :
             {0, 0x1000, 0x2000, 0x3000, 0x4000, 0x5000, 0x8000, 0xA000, 0xB000, 0xC000, 0xE000, 0xF000})
          expect([&](auto* e, int o, int* v) { return words.leven(text, e, o, v, 2); },
                 [&](const TeraTokenWord& w, auto* e, int o) { return w.leven(text, e, o); }, eval,
                 ends | transpose);
        expect([&](auto* e, int o, int* v) { return words.factor(text, e, o, v, 2); },
               [&](const TeraTokenWord& w, auto* e, int o) { return w.leven(text, e, o | 0xC000); }, eval,
               transpose);
        expect([&](auto* e, int o, int* v) { return words.lcs(text, e, o, v, 2); },
               [&](const TeraTokenWord& w, auto* e, int o) { return w.lcs(text, e, o); }, eval, transpose);
        expect([&](auto* e, int o, int* v) { return words.count(text, e, o, v, 2); },
               [&](const TeraTokenWord& w, auto* e, int o) { return w.count(text, e, o); }, eval, transpose);
        if (HasFatalFailure()) return;
      }
    EXPECT_EQ(words.leven(text, nullptr, 0x9000, nullptr, 1), -1);
    EXPECT_EQ(words.leven(text, nullptr, 0x6000, nullptr, 1), -1);
    EXPECT_EQ(words.leven(nullptr, nullptr, 0, nullptr, 1), -1);
  }
}

TEST(TeraTokenWords, many_words_make_many_blocks) {
  const Tokens letter = {1, 0};
  const std::vector<const Token*> pointers(100000, letter.data());
  TeraTokenWords words;
  ASSERT_EQ(words.build(100000, pointers.data()), 100000);
  EXPECT_EQ(words.leven(letter.data(), nullptr, 0, nullptr, 1), 0);
  Tokens endless(3000, 1);
  endless.back() = 0;
  const Token* mixed[] = {endless.data(), letter.data(), endless.data()};
  ASSERT_EQ(words.build(3, mixed), 3);
  for (TeraEval::Eval* const eval :
       {TeraEval::get_model_func(TeraEval::MAXIMUM, 0), static_cast<TeraEval::Eval*>(nullptr)}) {
    int values[] = {7, 7, 7};
    EXPECT_EQ(words.leven(letter.data(), eval, 0, values, 1), eval != nullptr ? 255 : 0);
    EXPECT_EQ(std::vector<int>(values, values + 3), (std::vector<int>{-1, eval != nullptr ? 255 : 0, -1}));
  }
  ASSERT_EQ(words.build(1, mixed), 1);
  EXPECT_EQ(words.lcs(letter.data(), nullptr, 0, nullptr, 1), -1);
  const Tokens open = {251, 1, 0};
  const Token* broken[] = {letter.data(), open.data()};
  EXPECT_EQ(words.build(2, broken), -1);
  EXPECT_EQ(words.num_words(), 0);
  EXPECT_EQ(words.lcs(letter.data(), nullptr, 0, nullptr, 1), -1);
}

TEST(TeraWords, phrase_finds_the_least_total_error) {
  Random random(2);
  TeraEval::Eval* errors = TeraEval::get_model_func(TeraEval::MAXIMUM, -1);
  for (int round = 0; round < (samples::SLOW ? 100 : 1000); ++round) {
    std::vector<std::string> query(1 + random.below(5));
    std::vector<std::string> entry(random.below(6));
    for (auto* side : {&query, &entry})
      for (std::string& word : *side) word = samples::letters(random, random.below(6));
    std::vector<const char*> queryTexts;
    std::vector<const char*> entryTexts;
    for (const auto& word : query) queryTexts.push_back(word.c_str());
    for (const auto& word : entry) entryTexts.push_back(word.c_str());
    const bool useLcs = round % 2 == 0;
    const int numQuery = static_cast<int>(query.size());
    const int num = static_cast<int>(entry.size());

    const auto cost = [&](int q, int e) {
      const TeraWord word(queryTexts[q], letters(), true);
      return useLcs ? word.lcs(entryTexts[e], errors, 1) : word.leven(entryTexts[e], errors, 1);
    };
    const bool queryIsRows = numQuery <= num;
    std::vector<std::vector<int>> costs(std::min(numQuery, num), std::vector<int>(std::max(numQuery, num)));
    for (int q = 0; q < numQuery; ++q)
      for (int e = 0; e < num; ++e) (queryIsRows ? costs[q][e] : costs[e][q]) = cost(q, e);
    const int least = oracle::assignment(costs);

    const TeraWords words(numQuery, queryTexts.data(), letters(), true);
    std::vector<int> assign(num + 1);
    std::vector<int> quals(num + 1);
    const int value =
        words.phrase(num, entryTexts.data(), TeraEval::MAXIMUM, useLcs, 1, assign.data(), quals.data());
    ASSERT_EQ(value, least == 0 ? 0 : errors(255 * num, least, 255 * numQuery));
    int total = 0;
    std::vector<int> used;
    for (int e = 0; e < num; ++e) {
      if (assign[e] < 0) {
        ASSERT_EQ(quals[e], 0);
        continue;
      }
      used.push_back(assign[e]);
      ASSERT_EQ(quals[e], 255 - cost(assign[e], e));
      total += 255 - quals[e];
    }
    std::sort(used.begin(), used.end());
    ASSERT_EQ(std::unique(used.begin(), used.end()), used.end());
    ASSERT_EQ(static_cast<int>(used.size()), std::min(numQuery, num));
    ASSERT_EQ(total, least);
  }
  const TeraWords words("a b", ' ', letters(), true);
  const char* entries[] = {"a", nullptr};
  EXPECT_EQ(words.num_words(), 2);
  EXPECT_EQ(words.phrase(2, entries, TeraEval::MAXIMUM, false, 1, nullptr, nullptr), -1);
  EXPECT_EQ(words.phrase(1, entries, TeraEval::UNKNOWN, false, 1, nullptr, nullptr), -1);
  EXPECT_EQ(words.phrase(1, entries, TeraEval::MAXIMUM, false, 0x6001, nullptr, nullptr), -1);
  EXPECT_EQ(TeraWords(nullptr, ' ', letters(), true)
                .phrase(1, entries, TeraEval::MAXIMUM, false, 1, nullptr, nullptr),
            -1);
}

TEST(TeraBipartite, finds_the_least_total_cost) {
  Random random(3);
  for (int round = 0; round < 3000; ++round) {
    const int columns = 1 + random.below(6);
    const int rows = 1 + random.below(columns);
    std::vector<std::vector<int>> costs(rows, std::vector<int>(columns));
    std::vector<const int*> matrix;
    for (auto& row : costs) {
      for (int& cell : row) cell = random.below(round % 2 == 0 ? 4 : 500) - 50;
      matrix.push_back(row.data());
    }
    std::vector<int> match(rows);
    ASSERT_EQ(tera_bipartite_match(rows, columns, matrix.data(), match.data()), oracle::assignment(costs));
    int total = 0;
    for (int row = 0; row < rows; ++row) total += costs[row][match[row]];
    ASSERT_EQ(total, oracle::assignment(costs));
  }
  const int extreme[] = {0x7FFFFFFF, -0x7FFFFFFF - 1};
  const int* matrix[] = {extreme, extreme};
  int match[2];
  EXPECT_EQ(tera_bipartite_match(2, 2, matrix, match), -1);
  EXPECT_EQ(tera_bipartite_match(2, 1, matrix, match), -1);
  EXPECT_EQ(tera_bipartite_match(0, 2, nullptr, nullptr), 0);
  EXPECT_EQ(tera_bipartite_match(2, 0, matrix, match), 0);
}

TEST(TeraStandardQuery, measures_what_the_mode_says) {
  Random random(4);
  for (int round = 0; round < (samples::SLOW ? 500 : 5000); ++round) {
    const std::string query = samples::letters(random, 1 + random.below(8));
    const std::string entry = samples::letters(random, random.below(10));
    const TeraWord word(query.c_str(), letters(), true);
    TeraEval::Eval* eval = TeraEval::get_model_func(TeraEval::PARTIAL, 0);
    for (const int options : {0, 2}) {
      const auto value = [&](TeraEval::Mode mode) {
        TeraStandardQuery standard(query.c_str(), mode, TeraEval::PARTIAL, letters(), options);
        return standard.compare(entry.c_str());
      };
      const auto leven = [&](int ends) { return word.leven(entry.c_str(), eval, ends | 1 | options); };
      EXPECT_EQ(value(TeraEval::EXACT), query == entry ? 255 : 0);
      EXPECT_EQ(value(TeraEval::LEVENSHTEIN), leven(0));
      EXPECT_EQ(value(TeraEval::PREFIX), leven(0x8000));
      EXPECT_EQ(value(TeraEval::SUFFIX), leven(options != 0 ? 0x4000 : 0x8000));
      EXPECT_EQ(value(TeraEval::FACTOR), leven(0xC000));
      EXPECT_EQ(value(TeraEval::COVER), leven(0x3000));
      EXPECT_EQ(value(TeraEval::CLOSE), leven(0x1000));
      EXPECT_EQ(value(TeraEval::EXTEND), leven(0x2000));
      EXPECT_EQ(value(TeraEval::FRONT), leven(0xA000));
      EXPECT_EQ(value(TeraEval::BACK), leven(0x5000));
      EXPECT_EQ(value(TeraEval::MID), leven(0xF000));
      EXPECT_EQ(value(TeraEval::POSITION), word.count(entry.c_str(), eval, 1 | options));
      EXPECT_EQ(value(TeraEval::WILDCARD), query == entry ? 255 : 0);
      EXPECT_EQ(value(TeraEval::BIGRAMS), word.bigrams(entry.c_str(), eval, 0x1001 | options));
      EXPECT_EQ(value(TeraEval::SUBSET), word.superset(entry.c_str(), eval, 1 | options));
      EXPECT_EQ(value(TeraEval::SUPERSET), word.subset(entry.c_str(), eval, 1 | options));
      EXPECT_EQ(value(TeraEval::SCAN), word.scan(entry.c_str(), eval, 1 | options));
    }
    if (HasFailure()) return;
  }
}

TEST(TeraStandardQuery, reads_operators_where_the_mode_has_a_use_for_them) {
  TeraMapConfig config("utf-8");
  config.set_tokens("a-z");
  config.map_specials('[', ']', '?', '*', '|', 0);
  const std::unique_ptr<TeraMap> map(config.compile());
  const auto value = [&](const char* query, TeraEval::Mode mode, const char* entry, int options = 0) {
    return TeraStandardQuery(query, mode, TeraEval::MAXIMUM, map.get(), options).compare(entry);
  };
  EXPECT_EQ(value("m[ae]?er", TeraEval::EXACT, "mayer"), 255);
  EXPECT_EQ(value("mayer", TeraEval::EXACT, "m?[xy]er"), 255);
  EXPECT_EQ(value("m[ae]yer", TeraEval::EXACT, "m[io]yer"), 0);
  EXPECT_EQ(value("may*x", TeraEval::EXACT, "mayer"), 255);
  EXPECT_EQ(value("mayer*", TeraEval::EXACT, "mayer"), 255);
  EXPECT_EQ(value("mayer", TeraEval::EXACT, "mayers"), 0);
  EXPECT_EQ(value("mayers", TeraEval::EXACT, "mayer"), 0);
  EXPECT_EQ(value(std::string(200, 'a').c_str(), TeraEval::EXACT, (std::string(199, 'a') + "b").c_str()), 0);
  EXPECT_EQ(value("m?y*r", TeraEval::WILDCARD, "mayuer"), 255);
  EXPECT_EQ(value("m?y*r", TeraEval::WILDCARD, "mayuers"), 0);
  EXPECT_EQ(value("anna|meyer", TeraEval::LEVENSHTEIN, "mayer"), 204);
  EXPECT_EQ(value("anna|meyer", TeraEval::MID, "mayer"), 204);
  EXPECT_EQ(value("an|na", TeraEval::SEQ, "anna"), 255);
  EXPECT_EQ(value("|", TeraEval::LEVENSHTEIN, "x"), 0);
  EXPECT_EQ(
      TeraStandardQuery("|", TeraEval::MID, TeraEval::MAXIMUM, TeraMap::get_ident_map(), 1).compare("x"), 0);
  EXPECT_EQ(value("", TeraEval::LEVENSHTEIN, "x"), 0);
  EXPECT_EQ(value("x", TeraEval::LEVENSHTEIN, nullptr), 0);
  EXPECT_EQ(value("[x", TeraEval::LEVENSHTEIN, "x"), -1);
  EXPECT_EQ(value("[x", TeraEval::LEVENSHTEIN, "x", 1), 255);
  EXPECT_EQ(value(nullptr, TeraEval::LEVENSHTEIN, "x"), -1);
  EXPECT_EQ(value("x", TeraEval::UNDEF, "x"), -1);
  EXPECT_EQ(value("[a|b]", TeraEval::LEVENSHTEIN, "a"), -1);
  EXPECT_EQ(value("[a|b]", TeraEval::SEQ, "a"), 255);
}

TEST(TeraStandardQuery, qualities_stay_in_range) {
  const auto value = [](TeraEval::Mode mode, TeraEval::Model model, const std::string& entry) {
    return TeraStandardQuery("ana", mode, model, letters(), 1).compare(entry.c_str());
  };
  EXPECT_EQ(value(TeraEval::BIGRAMS, TeraEval::QUERY, "anananana"), 255);
  EXPECT_EQ(value(TeraEval::LEVENSHTEIN, TeraEval::RAW, std::string(259, 'x')), 0);
}

TEST(TeraToken, walks_over_positions) {
  AceAttach at;
  Token* tokens = TeraToken::read("1 253 251 3 2 252\t255 250 ", &at);
  EXPECT_STREQ(TeraToken::print(tokens, &at), "1 253 251 3 2 252 255 250");
  EXPECT_EQ(TeraToken::alt_len(tokens), 3);
  EXPECT_EQ(TeraToken::has_glob(tokens), 1);
  EXPECT_EQ(TeraToken::token_pos(tokens, 2), tokens + 6);
  EXPECT_EQ(TeraToken::token_pos_reverse(tokens, 2), tokens + 1);
  EXPECT_EQ(TeraToken::token_pos(tokens, 4), nullptr);
  EXPECT_EQ(TeraToken::token_pos_reverse(tokens, 4), nullptr);
  EXPECT_STREQ(TeraToken::print(TeraToken::turn(tokens, &at), &at), "250 255 251 3 2 252 253 1");
  EXPECT_EQ(TeraToken::sort_alt(tokens), 1);
  EXPECT_STREQ(TeraToken::print(tokens, &at), "1 253 251 2 3 252 255 250");
  const Token* other = TeraToken::read("4 251 3 5 252 7 8", &at);
  EXPECT_EQ(TeraToken::ndiffer(tokens, other, 9, false), 2);
  EXPECT_EQ(TeraToken::ndiffer(tokens, other, 2, false), 1);
  EXPECT_EQ(TeraToken::ndiffer(tokens, tokens, 9, true), 0);
  for (const char* broken : {"0", "256", "1,2", "x", "-1"})
    EXPECT_EQ(TeraToken::read(broken, &at), nullptr) << broken;
  const Token open[] = {1, 251, 2, 0};
  EXPECT_EQ(TeraToken::alt_len(open), -1);
  EXPECT_EQ(TeraToken::token_pos(open, 2), nullptr);
  EXPECT_STREQ(TeraToken::print(TeraToken::turn(open, &at), &at), "2 251 1");
  Tokens manyOpen(1000000, 251);
  manyOpen.back() = 0;
  EXPECT_EQ(TeraToken::turn(manyOpen.data(), &at)[manyOpen.size() - 2], 251);
}

}  // namespace
