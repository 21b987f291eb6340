#include "tera/tera_multi.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <unordered_map>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_magic.h"
#include "ace/ace_reporter.h"
#include "oracle/multi_lines.h"
#include "support/damage.h"
#include "support/documented_bytes.h"
#include "support/payload.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"
#include "support/word_samples.h"
#include "tera/tera_alias_reader.h"
#include "tera/tera_map_config.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_standard_query.h"
#include "tera/tera_transform.h"
#include "tera/tera_words_reader.h"

namespace {

using Lines = std::vector<std::string>;
/// Qualities by line number.
using Found = std::map<int, int>;

struct Quiet {
  Quiet() { AceReporter::clear_default(); }
  ~Quiet() {
    static AceReporter standard;
    standard.set_as_default();
  }
};

const TeraMap& letters() {
  static const auto map = [] {
    TeraMapConfig config("utf-8");
    config.set_tokens("a-z0-9");
    config.map_lower();
    config.map_glob_chars(0);
    auto made = std::make_unique<TeraMap>();
    config.compile_map(made.get());
    return made;
  }();
  return *map;
}

/// What a test does not say.
struct Plan {
  int options = TeraMulti::MAKE_INFO | TeraMulti::MULTIPLE;
  const char* addSeps = nullptr;
  int addLen = 4;
  int skip = 100;
  const char* aliases = nullptr;
  const char* skipFile = nullptr;
  const char* skipExport = nullptr;
  const char* chunk = nullptr;
  int sort = 100;
  const char* phonetics = nullptr;
  AceReporter* rep = AceReporter::null();
};

int build(TeraMulti* multi, const Lines& lines, const Plan& plan) {
  std::string text;
  for (std::size_t i = 0; i < lines.size(); ++i)
    if (!lines[i].empty()) text += std::to_string(i + 1) + "\t" + lines[i] + "\n";
  AceInput input(text.data(), true);
  TeraStandardReader reader(&input, 10);
  WordsReader words(&reader, plan.chunk);
  std::string aliasText = plan.aliases != nullptr ? plan.aliases : "";
  AceInput aliasInput(aliasText.data(), true);
  TeraAliasFileReader aliases(&aliasInput, nullptr, 0);
  const std::unique_ptr<TeraTransform> trafo(
      plan.phonetics != nullptr ? TeraTransform::factory(plan.phonetics, nullptr) : nullptr);
  EXPECT_EQ(multi->init(&letters(), ' ', trafo.get(), (plan.options & TeraMulti::USE_AUTO) != 0), 0);
  return multi->make_reader(&words, nullptr, ' ', 0, 0, plan.options, plan.addSeps, plan.addLen, plan.sort,
                            plan.skip, plan.aliases != nullptr ? &aliases : nullptr, plan.skipFile,
                            plan.skipExport, plan.rep, 190);
}

/// Lines are numbered from 1.
std::unique_ptr<TeraMulti> make(const Lines& lines, const Plan& plan = {}) {
  auto multi = std::make_unique<TeraMulti>();
  EXPECT_EQ(build(multi.get(), lines, plan), 0);
  return multi;
}

Found found_in(TeraResult* result) {
  Found found;
  if (result == nullptr) return found;
  result->find_any([&](int quality, const TeraCand* cand) {
    for (Large i = 0; i < cand->get_num_infos(); ++i) {
      int& best = found[static_cast<int>(cand->get_info(i))];
      best = std::max(best, quality);
    }
    return false;
  });
  return found;
}

constexpr int USUAL = TeraMulti::TRANSPOSE | TeraMulti::NO_TEASER;

Found recall(const TeraMulti& multi, const std::string& query, int options = USUAL,
             TeraEval::Model model = TeraEval::SHORT, int min = 190, const char* markers = nullptr,
             int min_word = 165, int wanted = TeraResult::MAX_CANDS) {
  TeraResult result(query.c_str(), min, wanted, 255);
  EXPECT_GE(multi.recall(&result, options, model, AceReporter::null(), min_word, 3, 50, markers), 0) << query;
  return found_in(&result);
}

/// Of all that is found what a result keeps that wants so many: no group behind as many that are better.
Found best_of(const Found& all, int wanted) {
  std::map<int, int> sizes;
  for (const auto& [line, quality] : all) ++sizes[quality];
  Found best;
  for (const auto& [line, quality] : all) {
    int better = 0;
    for (const auto& [other, size] : sizes) better += other > quality ? size : 0;
    if (better < wanted) best[line] = quality;
  }
  return best;
}

// ---------------------------------------------------------------- the oracle

struct Asked {
  Lines lines;
  oracle::MultiRules rules;
  TeraEval::Model model = TeraEval::SHORT;
  int options = USUAL;
  int min = 190;
  int minWord = 165;
  std::set<std::string> skipped = {};
};

bool is_abbreviation(const std::string& word) {
  return word.back() == '.' || (word.size() == 1 && std::isalpha(static_cast<unsigned char>(word[0])) != 0);
}

int measure(const std::string& query, const std::string& entry, TeraEval::Mode mode, TeraEval::Model model) {
  return TeraStandardQuery(query.c_str(), mode, model, &letters(), 3).compare(entry.c_str());
}

int token_count(const std::string& text) {
  return letters().tok_len(text.c_str(), true);
}

int pair_quality(const Asked& asked, const oracle::MultiWords& query, const oracle::MultiSpan& from,
                 const oracle::MultiSpan& to) {
  const bool isLast = from.last == static_cast<int>(query.atoms.size());
  int quality = 0;
  if ((asked.options & TeraMulti::COMPLETE) != 0 && isLast) {
    quality = measure(from.text, to.text, TeraEval::PREFIX, TeraEval::SHORT);
  } else {
    quality = measure(from.text, to.text, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM);
    const int fromTokens = token_count(from.text), toTokens = token_count(to.text);
    if (from.last - from.first == 1) {
      if (is_abbreviation(from.text) && fromTokens < toTokens)
        quality = std::max(quality, measure(from.text, to.text, TeraEval::PREFIX, TeraEval::SHORT));
      if (is_abbreviation(to.text) && toTokens < fromTokens)
        quality = std::max(quality, measure(from.text, to.text, TeraEval::EXTEND, TeraEval::LONG));
    }
  }
  return quality >= asked.minWord ? quality : 0;
}

int quality_by(const Asked& asked, const oracle::MultiWords& from, const oracle::MultiWords& to,
               const oracle::MultiPair& pair) {
  const oracle::MultiBest best = oracle::best_pairs(from, to, pair);
  if (best.weight == 0) return 0;
  if ((asked.options & TeraMulti::REEVALUATE) != 0 && best.covered < static_cast<int>(from.atoms.size()))
    return 0;
  TeraEval::Eval* const fine = TeraEval::fine_model_func(TeraEval::get_model_func(asked.model, 0));
  const int value =
      std::clamp(fine(255 * from.tokens(), static_cast<int>(best.weight), 255 * to.tokens()), 0, 255);
  return from == to ? value : std::min(value, 254);
}

int expected_quality(const Asked& asked, const std::string& query, const std::string& line) {
  const auto pair = [&](const auto& words, const auto& a, const auto& b) {
    return pair_quality(asked, words, a, b);
  };
  return quality_by(asked, {query, asked.rules, true}, {line, asked.rules, false}, pair);
}

/// Whether the query has a pair in the line with a word that is not skipped, or each of its words resembles a
/// skipped one best; joined ones do not count then.
bool is_findable(const Asked& asked, const std::string& query, const std::string& line) {
  const oracle::MultiWords from(query, asked.rules, true);
  bool others = false;
  for (const auto& span : from.spans) {
    int best[2] = {};  // of other words, of skipped ones
    for (const std::string& any : asked.lines)
      for (const auto& to : oracle::MultiWords(any, asked.rules, false).spans) {
        int& known = best[asked.skipped.contains(to.text) ? 1 : 0];
        known = std::max(known, pair_quality(asked, from, span, to));
      }
    others |= best[0] > best[1] && span.last - span.first == 1;
  }
  for (const auto& to : oracle::MultiWords(line, asked.rules, false).spans)
    for (const auto& span : from.spans)
      if (pair_quality(asked, from, span, to) > 0 && (!others || !asked.skipped.contains(to.text)))
        return true;
  return false;
}

Found expected(const Asked& asked, const std::string& query) {
  Found found;
  for (std::size_t i = 0; i < asked.lines.size(); ++i) {
    const int quality = expected_quality(asked, query, asked.lines[i]);
    if (quality < asked.min || quality == 0) continue;
    if (asked.skipped.empty() || is_findable(asked, query, asked.lines[i]))
      found[static_cast<int>(i) + 1] = quality;
  }
  return found;
}

std::string random_text(samples::Random& random, int most_words, const char* separators) {
  std::string text;
  for (int i = 1 + random.below(most_words); i > 0; --i) {
    if (!text.empty()) text += separators[random.below(static_cast<int>(std::string(separators).size()))];
    text += samples::letters(random, 1 + random.below(6));
    if (random.below(12) == 0) text += '.';
  }
  return text;
}

TEST(TeraMulti, finds_every_line_that_is_worth_it_and_none_else) {
  samples::Random random(5);
  struct Case {
    int buildOptions, options;
    const char* addSeps;
    TeraEval::Model model;
  };
  const Case cases[] = {
      {0, 0, nullptr, TeraEval::SHORT},
      {0, 0, nullptr, TeraEval::MAXIMUM},
      {0, TeraMulti::COMPLETE, nullptr, TeraEval::SHORT},
      {0, TeraMulti::REEVALUATE, nullptr, TeraEval::LONG},
      {TeraMulti::MERGE_ENTRIES, 0, nullptr, TeraEval::SHORT},
      {0, 0, "-", TeraEval::SHORT},
      {TeraMulti::MERGE_ENTRIES, TeraMulti::COMPLETE, "-", TeraEval::MEAN},
      {TeraMulti::USE_AUTO, 0, nullptr, TeraEval::SHORT},
      {TeraMulti::USE_AUTO, TeraMulti::COMPLETE, nullptr, TeraEval::SHORT},
  };
  for (int round = 0; round < (samples::SLOW ? 9 : 45); ++round) {
    const Case& how = cases[round % std::size(cases)];
    Asked asked;
    for (int i = 0; i < 60; ++i)
      asked.lines.push_back(random_text(random, 4, how.addSeps != nullptr ? "  -" : " "));
    asked.rules = {how.addSeps != nullptr ? how.addSeps : "", how.addSeps != nullptr ? 2 : 1,
                   (how.buildOptions & TeraMulti::MERGE_ENTRIES) != 0};
    asked.model = how.model;
    asked.options = USUAL | how.options;
    asked.min = 130 + random.below(100);
    Plan plan;
    plan.options |= how.buildOptions;
    plan.addSeps = how.addSeps;
    plan.addLen = 2;
    const auto multi = make(asked.lines, plan);
    for (int i = 0; i < 25; ++i) {
      const std::string query = random_text(random, 4, how.addSeps != nullptr ? "  -" : " ");
      const Found found = recall(*multi, query, asked.options, asked.model, asked.min);
      EXPECT_EQ(found, expected(asked, query)) << "round " << round << ", query '" << query << "'";
      EXPECT_EQ(recall(*multi, query, asked.options, asked.model, asked.min, nullptr, 165, 3),
                best_of(found, 3));
      TeraResult few(query.c_str(), asked.min, 3, 255);
      multi->recall(&few, asked.options, asked.model, nullptr);
      const TeraQueryRef made(multi->eval(query.c_str(), nullptr, ' ', asked.options, asked.model));
      TeraQuery* const object = i % 2 == 0 ? few.get_query() : made.get();
      for (std::size_t k = 0; k < asked.lines.size(); ++k) {
        const int quality = object->compare(asked.lines[k].c_str());
        const auto known = found.find(static_cast<int>(k) + 1);
        EXPECT_TRUE(known != found.end() ? quality == known->second : quality < asked.min)
            << query << " | " << asked.lines[k] << " " << quality;
      }
    }
  }
}

namespace {

/// Letters, digits, hyphens and dots of the words of a text, those without letters and digits left out.
Lines plain_words(const std::string& text) {
  std::istringstream input(text);
  Lines words;
  for (std::string word; input >> word;) {
    std::erase_if(word, [](unsigned char c) { return std::isalnum(c) == 0 && c != '-' && c != '.'; });
    if (oracle::multi_tokens(word) > 0) words.push_back(word);
  }
  return words;
}

std::string joined(const Lines& words, std::size_t from, std::size_t count) {
  std::string line;
  for (std::size_t i = from; i < std::min(from + count, words.size()); ++i)
    line += (i > from ? " " : "") + words[i];
  return line;
}

/// The names of characters, and runs of their words, of which some are small.
Lines real_lines(std::size_t count, samples::Random& random) {
  Lines lines;
  Lines words;
  std::ifstream names(TEST_UNICODE_DATA "/UnicodeData.txt");
  for (std::string line; std::getline(names, line) && lines.size() < count / 2;) {
    const std::size_t start = line.find(';') + 1;
    const Lines name = plain_words(line.substr(start, line.find(';', start) - start));
    if (!name.empty()) lines.push_back(joined(name, 0, name.size()));
    words.insert(words.end(), name.begin(), name.end());
  }
  for (std::string& word : words)
    if (random.below(4) == 0)
      std::transform(word.begin(), word.end(), word.begin(), [](unsigned char c) { return std::tolower(c); });
  while (lines.size() < count)
    lines.push_back(joined(words, static_cast<std::size_t>(random.below(static_cast<int>(words.size()))),
                           static_cast<std::size_t>(1 + random.below(8))));
  return lines;
}

/// Words of a line in any order, some with an error.
std::string query_near(const std::string& line, samples::Random& random) {
  Lines words = plain_words(line);
  for (std::size_t i = words.size(); i > 1; --i)
    std::swap(words[i - 1], words[static_cast<std::size_t>(random.below(static_cast<int>(i)))]);
  words.resize(std::min<std::size_t>(words.size(), static_cast<std::size_t>(1 + random.below(5))));
  for (std::string& word : words)
    if (word.size() > 3 && random.below(2) == 0)
      word[static_cast<std::size_t>(random.below(static_cast<int>(word.size())))] =
          static_cast<char>('a' + random.below(26));
  return joined(words, 0, words.size());
}

}  // namespace

TEST(TeraMulti, of_many_real_lines_it_finds_those_that_are_worth_it_and_none_else) {
  samples::Random random(17);
  const Lines lines = real_lines(samples::SLOW ? 3000 : 200'000, random);
  std::size_t numFound = 0;
  struct Case {
    int buildOptions;
    const char* addSeps;
    TeraEval::Model model;
    int numQueries;
  };
  for (const Case& how :
       {Case{0, nullptr, TeraEval::SHORT, 10}, Case{TeraMulti::MERGE_ENTRIES, "-", TeraEval::MEAN, 2}}) {
    Asked asked;
    asked.rules = {how.addSeps != nullptr ? how.addSeps : "", how.addSeps != nullptr ? 4 : 1,
                   (how.buildOptions & TeraMulti::MERGE_ENTRIES) != 0};
    asked.model = how.model;
    std::vector<oracle::MultiWords> split;
    std::unordered_map<std::string, std::size_t> numbers;  // of distinct spans
    std::vector<const oracle::MultiSpan*> distinct;
    std::vector<std::vector<std::size_t>> numbersOf;
    for (const std::string& line : lines) split.emplace_back(line, asked.rules, false);
    for (const oracle::MultiWords& words : split) {
      numbersOf.emplace_back();
      for (const oracle::MultiSpan& span : words.spans) {
        const auto [place, isNew] = numbers.emplace(span.text, numbers.size());
        if (isNew) distinct.push_back(&span);
        numbersOf.back().push_back(place->second);
      }
    }
    Plan plan;
    plan.options |= how.buildOptions;
    plan.addSeps = how.addSeps;
    const auto multi = make(lines, plan);
    for (int i = 0; i < how.numQueries; ++i) {
      std::string query =
          query_near(lines[static_cast<std::size_t>(random.below(static_cast<int>(lines.size())))], random);
      asked.options = USUAL;
      if (i % 2 == 1) {  // beginnings, which resemble thousands of words
        query = "L " + query.substr(0, query.rfind(' ') + 4);
        asked.options |= TeraMulti::COMPLETE;
      }
      const oracle::MultiWords from(query, asked.rules, true);
      std::vector<std::vector<int>> qualities(from.spans.size());
      std::vector<bool> isHit(distinct.size());
      for (std::size_t a = 0; a < from.spans.size(); ++a)
        for (std::size_t b = 0; b < distinct.size(); ++b) {
          qualities[a].push_back(pair_quality(asked, from, from.spans[a], *distinct[b]));
          if (qualities[a][b] > 0) isHit[b] = true;
        }
      Found expected;
      for (std::size_t k = 0; k < lines.size(); ++k) {
        if (std::none_of(numbersOf[k].begin(), numbersOf[k].end(),
                         [&](auto number) { return isHit[number]; }))
          continue;
        const auto pair = [&](const oracle::MultiWords&, const oracle::MultiSpan& a,
                              const oracle::MultiSpan& b) {
          const auto number = numbersOf[k][static_cast<std::size_t>(&b - split[k].spans.data())];
          return qualities[static_cast<std::size_t>(&a - from.spans.data())][number];
        };
        if (const int quality = quality_by(asked, from, split[k], pair); quality >= asked.min)
          expected[static_cast<int>(k) + 1] = quality;
      }
      EXPECT_EQ(recall(*multi, query, asked.options, asked.model, asked.min), expected)
          << "query '" << query << "'";
      numFound += expected.size();
    }
    for (int i = 0; i < 200; ++i) {  // what few lines are wanted for is looked for otherwise
      const int options = USUAL | (i % 2 == 0 ? 0 : TeraMulti::COMPLETE);
      const int wanted = 1 + i % 12;
      const std::string query =
          query_near(lines[static_cast<std::size_t>(random.below(static_cast<int>(lines.size())))], random);
      EXPECT_EQ(recall(*multi, query, options, asked.model, asked.min, nullptr, 165, wanted),
                best_of(recall(*multi, query, options, asked.model, asked.min), wanted))
          << "query '" << query << "'";
    }
  }
  EXPECT_GT(numFound, samples::SLOW ? 12U : 100U);
}

TEST(TeraMulti, lines_are_found_by_other_words_than_skip_words_unless_there_are_none) {
  samples::Random random(9);
  for (int round = 0; round < (samples::SLOW ? 2 : 8); ++round) {
    Asked asked;
    asked.rules.joins = round % 4 > 1;
    for (int i = 0; i < 50; ++i) {
      asked.lines.push_back(random_text(random, 3, " "));
      if (random.below(2) == 0) asked.lines.back() = "the " + asked.lines.back();
      if (random.below(round % 2 == 0 ? 3 : 15) == 0) asked.lines.back() += " tha";
    }
    asked.lines.push_back("the");
    Plan plan;
    plan.skip = 15;
    if (asked.rules.joins) plan.options |= TeraMulti::MERGE_ENTRIES;
    const auto multi = make(asked.lines, plan);
    AceAttach at;
    for (Large word = 0; word < static_cast<Large>(multi->get_num_words()); ++word)
      if (multi->is_skip_word(word)) asked.skipped.insert(multi->get_line(word, &at));
    EXPECT_TRUE(asked.skipped.contains("the"));
    for (const char* query : {"the", "the abc", "abc the tha", "the tha", "bac cab the"}) {
      const Found all = expected(asked, query);
      EXPECT_EQ(recall(*multi, query), all) << query;
      EXPECT_EQ(recall(*multi, query, USUAL, TeraEval::SHORT, 190, nullptr, 165, 2), best_of(all, 2))
          << query;
    }
  }
}

TEST(TeraMulti, a_line_is_found_by_a_word_beside_a_skip_word) {
  Lines lines(900, "zentrum park");
  for (const char* more : {"zentrun hotel", "zentrum hotel", "hotels", "hotfl", "hotl"})
    lines.emplace_back(more);
  lines.resize(1000, "zug");
  Plan plan;
  plan.skip = 10;
  for (const TeraEval::Model model : {TeraEval::QUERY, TeraEval::MAXIMUM}) {
    const Found found = recall(*make(lines, plan), "zentrum hotel", USUAL, model);
    EXPECT_EQ(found.at(902), 255);
    EXPECT_EQ(found, recall(*make(lines), "zentrum hotel", USUAL, model));
  }
}

TEST(TeraMulti, words_in_many_lines_are_looked_for_in_the_lines_of_rare_ones) {
  samples::Random random(13);
  Asked asked;
  for (int i = 0; i < 1500; ++i)
    asked.lines.push_back("common " + samples::letters(random, 7 + random.below(2)) +
                          (i % 3 == 0 ? " usual" : ""));
  const auto multi = make(asked.lines);
  for (const TeraEval::Model model : {TeraEval::SHORT, TeraEval::MAXIMUM, TeraEval::ENTRY, TeraEval::GEO})
    for (int i = 0; i < 12; ++i) {
      asked.model = model;
      const std::string query =
          asked.lines[static_cast<std::size_t>(random.below(1500))].substr(7) + " comon usua";
      EXPECT_EQ(recall(*multi, query, USUAL, model), expected(asked, query)) << query << " " << model;
    }
}

TEST(TeraMulti, joined_split_and_hyphenated_words_are_found_where_the_options_say) {
  const Lines lines = {"Hauptbahnhof Bern", "Haupt Bahnhof Basel", "Baden-Baden", "E-Mail"};
  Plan plan;
  const auto bound = make(lines, plan);
  plan.options |= TeraMulti::MERGE_ENTRIES;
  const auto merged = make(lines, plan);
  EXPECT_EQ(recall(*bound, "haupt bahnhof bern").count(1), 0u);
  EXPECT_EQ(recall(*merged, "haupt bahnhof bern").at(1), 254);
  EXPECT_EQ(recall(*merged, "hauptbahnhof basel").at(2), 254);
  EXPECT_EQ(recall(*merged, "hauptbahnhof basel", USUAL | TeraMulti::BOUND).count(2), 0u);
  EXPECT_EQ(recall(*bound, "hauptbahnhof basel").count(2), 0u);
  plan.options |= TeraMulti::USE_AUTO;
  const auto automaton = make(lines, plan);
  EXPECT_EQ(recall(*automaton, "haupt bahnhof bern").at(1), 254);
  EXPECT_EQ(recall(*automaton, "hauptbahnhof basel").at(2), 254);
  Plan parts;
  parts.addSeps = "-";
  const auto cut = make(lines, parts);
  EXPECT_EQ(recall(*bound, "baden").count(3), 0u);
  EXPECT_GT(recall(*cut, "baden").at(3), 230);
  EXPECT_EQ(recall(*cut, "baden baden").at(3), 255);
  EXPECT_EQ(recall(*cut, "mail").count(4), 1u);
  EXPECT_EQ(recall(*cut, "e-mail").at(4), 255);
  const auto plain = make({"Haupt Bahnhof Basel", "Bahnhof"});
  EXPECT_EQ(recall(*plain, "hauptbahnhof basel").count(1), 0u);
  EXPECT_EQ(recall(*plain, "hauptbahnhof basel", USUAL | TeraMulti::DECOMPOSE).at(1), 255);
}

TEST(TeraMulti, abbreviations_stand_for_longer_words_on_either_side) {
  const auto multi =
      make({"Karl Weber", "K. Weber", "Bahnhofstr. Nord", "Bahnhofstrasse Nord", "Kunz Weber"});
  EXPECT_GT(recall(*multi, "k weber").at(1), 240);
  EXPECT_GT(recall(*multi, "karl weber").at(2), 240);
  EXPECT_EQ(recall(*multi, "karl weber").at(1), 255);
  EXPECT_GT(recall(*multi, "bahnhofstr. nord").at(4), 240);
  EXPECT_GT(recall(*multi, "bahnhofstrasse nord").at(3), 240);
  EXPECT_EQ(recall(*multi, "bahnhof* nord").count(4), 0u);
  EXPECT_EQ(recall(*multi, "bahnhof~ nord", USUAL, TeraEval::SHORT, 190, "~").count(4), 1u);
  TeraResult result("karl weber", 200, 10, 255);
  multi->recall(&result, USUAL, TeraEval::SHORT, AceReporter::null());
  result.find_any([](int, const TeraCand* cand) {
    EXPECT_EQ(cand->is(TeraCand::INITIAL), cand->get_first_info() == 2) << cand->represent();
    return false;
  });
}

TEST(TeraMulti, within_a_group_weight_and_order_decide_and_matches_are_marked) {
  const auto multi = make({"Weber Karl", "Karl Weber", "Karl Maria Weber", "Weber Maria Karl"});
  TeraResult result("karl webr", 190, 10, 255);
  multi->recall(&result, TeraMulti::TRANSPOSE, TeraEval::QUERY, AceReporter::null());
  Lines shown;
  result.find_any([&](int, const TeraCand* cand) {
    shown.push_back(cand->represent());
    return false;
  });
  EXPECT_EQ(shown, (Lines{"<b>Karl</b> <b>Weber</b>", "<b>Karl</b> Maria <b>Weber</b>",
                          "<b>Weber</b> <b>Karl</b>", "<b>Weber</b> Maria <b>Karl</b>"}));
  TeraResult few("karl", 190, 1, 255);
  few.use_collection();
  few.set_biggest_group(1);
  EXPECT_EQ(multi->recall(&few, USUAL, TeraEval::QUERY, AceReporter::null()), 2);
  EXPECT_EQ(found_in(&few), (Found{{1, 254}, {2, 254}, {3, 254}, {4, 254}}));
  const TeraQueryRef query(multi->eval("webre", nullptr, ' ', TeraMulti::TRANSPOSE, TeraEval::SHORT));
  AceAttach at;
  EXPECT_STREQ(query->display("Anna Weber", &at), "Anna <b>Weber</b>");
  EXPECT_EQ(query->compare(Large{1}), query->compare("Weber Karl"));
}

TEST(TeraMulti, words_have_aliases_and_sounds) {
  const Lines lines = {"Robert Weber", "Bob Meier", "Anna Mayer"};
  Plan plan;
  plan.aliases = "Robert\t10\tBob\n";
  const auto multi = make(lines, plan);
  EXPECT_EQ(recall(*multi, "bob weber").at(1), 248) << "10 less of 3 tokens of 8";
  EXPECT_EQ(recall(*multi, "bob weber", USUAL | TeraMulti::NO_ALIASES).count(1), 0u);
  EXPECT_EQ(recall(*multi, "bob weber", USUAL | TeraMulti::FULL_REEVAL).count(1), 0u);
  Plan sounds;
  sounds.phonetics = "KOELNER";
  const auto heard = make(lines, sounds);
  EXPECT_EQ(recall(*heard, "anna meier").count(3), 1u);
  EXPECT_EQ(recall(*make(lines), "anna meier").count(3), 0u);
}

TEST(TeraMulti, exact_lines_have_the_words_in_their_order_whatever_the_separators) {
  const Lines lines = {"Karl Weber",      "karl  weber", "Weber Karl",
                       "Karl Weber Haus", "Karl-Weber",  "Karl Webre"};
  Plan plan;
  plan.addSeps = "-";
  const auto multi = make(lines, plan);
  const std::unique_ptr<TeraResult> result(multi->exact("KARL weber", USUAL, AceReporter::null()));
  EXPECT_EQ(found_in(result.get()), (Found{{1, 255}, {2, 255}, {5, 255}}));
  EXPECT_EQ(recall(*multi, "karl-weber", USUAL | TeraMulti::EXACT), (Found{{1, 255}, {2, 255}, {5, 255}}));
  const TeraQueryRef query(multi->eval("karl weber", nullptr, ' ', TeraMulti::EXACT, TeraEval::SHORT));
  for (std::size_t i = 0; i < lines.size(); ++i)
    EXPECT_EQ(query->compare(lines[i].c_str()), i == 0 || i == 1 || i == 4 ? 255 : 0) << lines[i];
  const std::unique_ptr<TeraResult> none(multi->exact("karl", USUAL, AceReporter::null()));
  EXPECT_EQ(none->num_cands(), 0);
  EXPECT_EQ(multi->exact(nullptr, USUAL, AceReporter::null()), nullptr);
}

TEST(TeraMulti, exact_lines_are_found_by_short_parts_too) {
  const Lines lines = {"a-b cd", "a b-cd", "a b", "ab cd", "x a-b", "A-B", "a-bc", "abc-d ef"};
  Plan plan;
  plan.addSeps = "-/";
  for (const int options : {0, int{TeraMulti::USE_AUTO}}) {
    plan.options = TeraMulti::MAKE_INFO | TeraMulti::MULTIPLE | options;
    const auto multi = make(lines, plan);
    for (const auto& [query, numbers] : {std::pair("a b cd", std::vector{1, 2}),
                                         {"a/b-cd", {1, 2}},
                                         {"a b", {3, 6}},
                                         {"a-b", {3, 6}},
                                         {"b", {}}}) {
      const std::unique_ptr<TeraResult> result(multi->exact(query, USUAL, AceReporter::null()));
      Found expected;
      for (const int number : numbers) expected[number] = 255;
      EXPECT_EQ(found_in(result.get()), expected) << query << " with " << options;
    }
  }
}

TEST(TeraMulti, a_word_that_is_too_long_to_measure_matches_literally) {
  const std::string word(1200, 'a');
  for (const int options : {0, int{TeraMulti::USE_AUTO}}) {
    Plan plan;
    plan.options = TeraMulti::MAKE_INFO | TeraMulti::MULTIPLE | options;
    const auto multi = make({word.substr(0, 1020) + " berg", "berg"}, plan);
    EXPECT_EQ(recall(*multi, "berg " + word, USUAL, TeraEval::ENTRY), (Found{{2, 254}}));
    EXPECT_EQ(recall(*multi, word), Found{});
    EXPECT_EQ(recall(*multi, word, USUAL | TeraMulti::COMPLETE), Found{});
    EXPECT_EQ(recall(*multi, word, USUAL | TeraMulti::SINGLE), Found{});
  }
  EXPECT_EQ(recall(*make({word + " berg", "berg"}), word + " bexg").size(), 1U);
}

TEST(TeraMulti, words_are_cut_as_long_as_there_is_room_for_more) {
  std::string query;
  for (int i = 0; i < 63; ++i) query += "haupt ";
  const auto multi = make({"haupt bahnhof"});
  constexpr int cuts = USUAL | TeraMulti::DECOMPOSE;
  EXPECT_EQ(recall(*multi, query + "hauptbahnhof", cuts, TeraEval::ENTRY).size(), 0U) << "64 words stay so";
  EXPECT_EQ(recall(*multi, query.substr(6) + "hauptbahnhof", cuts, TeraEval::ENTRY), (Found{{1, 254}}));
}

TEST(TeraMulti, after_a_build_that_failed_the_next_one_works) {
  const std::unique_ptr<TeraTransform> trafo(TeraTransform::factory("KOELNER", nullptr));
  for (const bool isAuto : {false, true}) {
    TeraMulti multi;
    ASSERT_EQ(multi.init(&letters(), ' ', trafo.get(), isAuto), 0);
    for (const bool fails : {true, false}) {
      std::string text = fails ? "1\tx\n1\ty\n" : "1\tmeier hans\n";
      AceInput input(text.data(), true);
      TeraStandardReader reader(&input, 10);
      WordsReader words(&reader, nullptr);
      EXPECT_EQ(multi.make_reader(&words, nullptr, ' ', 0, 0,
                                  TeraMulti::MAKE_INFO | (isAuto ? TeraMulti::USE_AUTO : 0), nullptr, 4, 100,
                                  100, nullptr, nullptr, nullptr, AceReporter::null(), 190),
                fails ? -1 : 0);
      EXPECT_EQ(recall(multi, "mayer hans"), fails ? Found{} : (Found{{1, 246}}));
    }
  }
}

TEST(TeraMulti, a_word_that_was_not_looked_for_to_the_end_makes_the_answer_unreliable) {
  Lines lines;
  for (const samples::Tokens& tokens : samples::all_words(3, 9)) {
    std::string word;
    for (std::size_t i = 0; i + 1 < tokens.size(); ++i) word += static_cast<char>('a' - 1 + tokens[i]);
    if (!word.empty()) lines.push_back(word);
  }
  Plan plan;
  plan.options |= TeraMulti::USE_AUTO;
  const auto multi = make(lines, plan);
  for (const bool isLong : {false, true}) {
    const std::string query(isLong ? 300 : 3, 'a');
    TeraResult result(query.c_str(), 1, 100, 255);
    EXPECT_GE(multi->recall(&result, USUAL, TeraEval::SHORT, AceReporter::null(), 1, 1'000'000, 50, nullptr,
                            TeraEval::FACTOR),
              0);
    EXPECT_EQ(result.is_unreliable(), isLong);
  }
}

TEST(TeraMulti, single_words_lead_to_all_their_lines) {
  Plan plan;
  plan.skip = 10;
  for (const int fast : {0, int{TeraMulti::FAST_SINGLE}}) {
    plan.options |= fast;
    const auto multi = make({"Karl Weber", "Weber", "Maria Wever", "Hans"}, plan);
    EXPECT_EQ(multi->has_fast_single(), fast != 0);
    EXPECT_TRUE(multi->is_skip_word(3)) << "Weber";
    TeraResult result("weber", 200, 10, 255);
    EXPECT_EQ(multi->single_recall(&result, USUAL, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 3, 100, nullptr),
              2);
    EXPECT_EQ(found_in(&result), (Found{{1, 255}, {2, 255}, {3, 204}}));
    EXPECT_EQ(recall(*multi, "weber", USUAL | TeraMulti::SINGLE, TeraEval::MAXIMUM, 200),
              (Found{{1, 255}, {2, 255}, {3, 204}}));
    const TeraQueryRef query(multi->seval("weber", USUAL, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM));
    EXPECT_EQ(query->compare("Maria Wever"), 204);
  }
}

TEST(TeraMulti, lines_and_words_are_found_in_free_texts) {
  const auto multi = make({"Karl Weber", "Hotel Adler", "Adler", "Weber"});
  TeraScanGraph graph(0, "der karl webre wohnt im hotel adler heute", 200, 100, 255, 0);
  EXPECT_GT(multi->multi_detect(&graph, USUAL, TeraEval::MAXIMUM, 165, 3, 50, nullptr, nullptr), 0);
  Found best;
  for (int i = 0; i < graph.get_num_nodes(); ++i)
    for (auto* edge = graph.get_node(i)->get_first_edge(); edge != nullptr; edge = edge->get_next())
      for (const auto& [line, quality] : found_in(edge->get_result()))
        best[line] = std::max(best[line], quality);
  EXPECT_EQ(best.at(2), 255);
  EXPECT_GT(best.at(1), 220);
  EXPECT_EQ(best.at(3), 255);
  Plan cut;
  cut.addSeps = "-";
  const auto hyphens = make({"Baden-Baden", "Karlsruhe"}, cut);
  const std::string text =
      "in baden-baden heute " + std::string(1100, 'x');  // a word that is too long to be looked up
  TeraScanGraph parts(0, text.c_str(), 200, 100, 255, 0);
  EXPECT_GT(hyphens->multi_detect(&parts, USUAL, TeraEval::LONG, 165, 3, 50, nullptr, AceReporter::null()),
            0);
  EXPECT_TRUE(parts.find_any([](int, const TeraCand* cand) { return cand->get_first_info() == 1; }));
  TeraScanGraph words(0, "im adler", 200, 100, 255, 0);
  EXPECT_EQ(multi->single_detect(&words, USUAL, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 3, 100, nullptr),
            2);
  EXPECT_EQ(found_in(words.get_edge(1, 2, 0, 0, 0)->get_result()), (Found{{2, 255}, {3, 255}}));
}

TEST(TeraMulti, lines_come_back_as_words_and_long_ones_with_a_longer_head) {
  Lines lines;
  for (int i = 0; i < 300; ++i)
    lines.push_back("common" + std::string(i % 3 == 0 ? " word" : "") + " rare" + std::to_string(i));
  std::string longLine = "first";
  for (int i = 0; i < 300; ++i) longLine += " rare" + std::to_string(i);
  lines.push_back(longLine);
  lines.push_back("next");
  lines.push_back("");
  lines.push_back("last  with   gaps ");
  const auto multi = make(lines);
  AceAttach at;
  EXPECT_EQ(multi->num_records(), lines.size() + 1);
  for (std::size_t i = 0; i + 1 < lines.size(); ++i)
    EXPECT_EQ(multi->get_multiword(static_cast<Large>(i + 1), &at), lines[i]);
  EXPECT_STREQ(multi->show(static_cast<Large>(lines.size()), &at), "last with gaps");
  EXPECT_STREQ(multi->get_multiword(0, &at), "");
  EXPECT_EQ(multi->get_multiword(10000, &at), nullptr);
  EXPECT_EQ(multi->get_max_words(), 301);
  Large* words = nullptr;
  EXPECT_EQ(multi->get_word_ids(1, &words, &at), 3);
  EXPECT_STREQ(multi->get_word(words[0], &at), "common");
  EXPECT_EQ(multi->get_lines(words[0]).count, 300u);
  EXPECT_EQ(multi->get_token_length(2), 11);
  EXPECT_EQ(multi->verify(nullptr), 0);
  std::string text = "one  two";
  char* cut[4];
  int offsets[4], lengths[4], tokens[4];
  EXPECT_EQ(multi->string_split(text.data(), cut, 4, offsets, lengths, tokens), 2);
  EXPECT_EQ(offsets[1], 5);
}

TEST(TeraMulti, building_refuses_what_it_cannot_keep_and_reports_skip_words) {
  const support::TempFolder folder;
  support::RecordingReporter rep;
  Plan plan;
  plan.rep = &rep;
  TeraMulti multi;
  plan.options |= TeraMulti::REVERSE_INFO;
  EXPECT_EQ(build(&multi, {"fine", "two  blanks"}, plan), -2);
  EXPECT_NE(rep.all().find("two  blanks"), std::string::npos);
  EXPECT_EQ(build(&multi, {"fine", "one blank"}, plan), 0);
  EXPECT_TRUE(multi.has_reverse_info());
  std::string text = "1\ta\n1\tb\n";
  AceInput input(text.data(), true);
  TeraStandardReader reader(&input, 10);
  WordsReader twice(&reader, nullptr);
  EXPECT_EQ(multi.make_reader(&twice, nullptr, ' ', 0, 0, 2, nullptr, 4, 100, 100, nullptr, nullptr, nullptr,
                              &rep, 0),
            -1);
  const Quiet quiet;
  plan.options = TeraMulti::MAKE_INFO | 8192;
  EXPECT_EQ(build(&multi, {"a"}, plan), -1);
  Plan skips;
  support::write_file(folder.file("skip"), "Der\n\nunknown\n");
  const std::string skipFile = folder.file("skip"), exported = folder.file("exported");
  skips.skipFile = skipFile.c_str();
  skips.skipExport = exported.c_str();
  skips.skip = 50;
  EXPECT_EQ(build(&multi, {"der Weber", "Karl Weber", "Weber", "Hans"}, skips), 0);
  EXPECT_EQ(support::read_file(exported), "Weber\nder\n");
  skips.options |= TeraMulti::UNIQUIFY;
  EXPECT_EQ(build(&multi, {"der Weber", "der Weber", "der Weber", "Hans", "Maria", "Kurt"}, skips), 0);
  EXPECT_EQ(support::read_file(exported), "der\n") << "three equal lines count once";
}

TEST(TeraMulti, lines_that_wait_in_a_file_come_back) {
  const support::TempFolder folder;
  Lines lines;
  for (int i = 0; i < 500; ++i)
    lines.push_back("line " + std::to_string(i) + " word" + std::to_string(i % 7));
  Plan plan;
  const std::string chunk = folder.file("names.chunk");
  plan.chunk = chunk.c_str();
  const std::string whole = support::image_by([&](AceFile* file) { make(lines, plan)->save(file); });
  plan.sort = 1;
  EXPECT_EQ(support::image_by([&](AceFile* file) { make(lines, plan)->save(file); }), whole);
  plan.chunk = "/no/such/folder/names.chunk";
  const Quiet quiet;
  TeraMulti multi;
  EXPECT_EQ(build(&multi, lines, plan), -1);
}

TEST(TeraMulti, is_the_same_in_every_load_mode_and_as_text) {
  const support::TempFolder folder;
  const Lines lines = {"Karl Weber", "Baden-Baden Nord", "Haupt Bahnhof", "Weber"};
  for (int mode = 0; mode < 8; ++mode) {
    Plan plan;
    plan.options |= TeraMulti::MERGE_ENTRIES | TeraMulti::FAST_SINGLE | TeraMulti::REVERSE_INFO;
    plan.options |= mode < 4 ? 0 : int{TeraMulti::USE_AUTO};
    plan.addSeps = "-";
    const auto multi = make(lines, plan);
    multi->dump(folder.file("multi").c_str(), AceReporter::null());
    TeraMulti same, kept;
    ASSERT_GE(same.load(folder.file("multi").c_str(), mode % 4, AceReporter::null()), 0);
    // Written once, by the first version with that format; opens for ever.
    ASSERT_GE(kept.load(TEST_DATA "/formats/lines.multi", mode % 4, AceReporter::null()), 0);
    for (const char* query : {"webr karl", "hauptbahnhof", "baden", "nord"}) {
      EXPECT_EQ(recall(same, query), recall(*multi, query)) << query;
      EXPECT_EQ(recall(kept, query), recall(*multi, query)) << query;
    }
    EXPECT_EQ(support::image_by([&](AceFile* file) { same.save(file); }),
              support::image_by([&](AceFile* file) { multi->save(file); }));
    EXPECT_EQ(same.write(folder.file("lines").c_str(), 1), 4);
    EXPECT_EQ(support::read_file(folder.file("lines")),
              "00000001\tKarl Weber\n00000002\tBaden-Baden Nord\n00000003\tHaupt Bahnhof\n00000004\tWeber\n");
    EXPECT_EQ(same.words(folder.file("words").c_str(), 0), 6);
  }
}

void use(const std::string& image) {
  support::PayloadFile file(image);
  TeraMulti multi;
  try {
    if (multi.read(file.get()) < 0) return;
  } catch (const AceException&) {
    return;
  }
  AceAttach at;
  for (Large line = 0; line < std::min(multi.num_records(), Large{9}); ++line) multi.get_multiword(line, &at);
  for (const char* query : {"weber karl", "webre", "haus"}) {
    TeraResult result(query, 150, 10, 255), single(query, 150, 10, 255);
    multi.recall(&result, TeraMulti::TRANSPOSE, TeraEval::SHORT, AceReporter::null());
    multi.single_recall(&single, 0, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 3, 50, AceReporter::null());
    delete multi.exact(query, 0, AceReporter::null());
  }
  multi.verify(AceReporter::null());
}

TEST(TeraMulti, damaged_payloads_are_refused_or_answer_within_bounds) {
  const Quiet quiet;
  Plan plan;
  plan.options |= TeraMulti::FAST_SINGLE;
  const auto multi = make({"Karl Weber", "Weber Haus", "Karl"}, plan);
  const std::string image = support::image_by([&](AceFile* file) { multi->save(file); });
  support::for_each_damage(image, [](const std::string& damaged, const std::string&) { use(damaged); });
}

TEST(TeraMulti, the_smallest_index_is_the_documented_one) {
  TeraMapConfig config("iso8859-1");
  config.set_tokens("ab");
  TeraMap map;
  config.compile_map(&map);
  TeraMulti multi;
  multi.init(&map, ' ', nullptr, false);
  std::string text = "0\tb a\n";
  AceInput input(text.data(), true);
  TeraStandardReader reader(&input, 10);
  WordsReader words(&reader, nullptr);
  ASSERT_EQ(multi.make_reader(&words, nullptr, ' ', 0, 0, TeraMulti::MAKE_INFO, nullptr, 4, 100, 100, nullptr,
                              nullptr, nullptr, AceReporter::null(), 0),
            0);
  const std::string image = support::image_by([&](AceFile* file) { multi.save(file); });
  const auto magic = [](const char* code) {
    const int number = magic_number(code);
    return std::string(reinterpret_cast<const char*>(&number), sizeof number);
  };
  // Without the index of words between.
  EXPECT_EQ(image.substr(0, image.find(magic("EDITC"))) + image.substr(image.find(magic("THUFF"))),
            support::documented_bytes(TEST_FORMATS, "Multi-word index"));
}

}  // namespace
