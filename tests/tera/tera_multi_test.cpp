#include "tera/tera_multi.h"

#include <algorithm>
#include <map>
#include <memory>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
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
  EXPECT_EQ(multi->init(&letters(), ' ', trafo.get(), false), 0);
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
             int min_word = 165) {
  TeraResult result(query.c_str(), min, TeraResult::MAX_CANDS, 255);
  EXPECT_GE(multi.recall(&result, options, model, AceReporter::null(), min_word, 3, 50, markers), 0) << query;
  return found_in(&result);
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
        quality = std::max(quality, measure(from.text, to.text, TeraEval::EXTEND, TeraEval::SHORT));
    }
  }
  return quality >= asked.minWord ? quality : 0;
}

int expected_quality(const Asked& asked, const std::string& query, const std::string& line) {
  const oracle::MultiWords from(query, asked.rules, true), to(line, asked.rules, false);
  const auto pair = [&](const auto& words, const auto& a, const auto& b) { return pair_quality(asked, words, a, b); };
  const oracle::MultiBest best = oracle::best_pairs(from, to, pair);
  if (best.weight == 0) return 0;
  if ((asked.options & TeraMulti::REEVALUATE) != 0 && best.covered < static_cast<int>(from.atoms.size())) return 0;
  TeraEval::Eval* const fine = TeraEval::fine_model_func(TeraEval::get_model_func(asked.model, 0));
  const int value = std::clamp(fine(255 * from.tokens(), static_cast<int>(best.weight), 255 * to.tokens()), 0, 255);
  return from == to ? value : std::min(value, 254);
}

/// Whether the query has a pair in the line with a word that is not skipped, or skipped ones alone.
bool is_findable(const Asked& asked, const std::string& query, const std::string& line) {
  const oracle::MultiWords from(query, asked.rules, true);
  bool others = false;
  for (const std::string& any : asked.lines)
    for (const auto& to : oracle::MultiWords(any, asked.rules, false).spans)
      for (const auto& span : from.spans)
        if (pair_quality(asked, from, span, to) > 0 && !asked.skipped.contains(to.text)) others = true;
  for (const auto& to : oracle::MultiWords(line, asked.rules, false).spans)
    for (const auto& span : from.spans)
      if (pair_quality(asked, from, span, to) > 0 && (!others || !asked.skipped.contains(to.text))) return true;
  return false;
}

Found expected(const Asked& asked, const std::string& query) {
  Found found;
  for (std::size_t i = 0; i < asked.lines.size(); ++i) {
    const int quality = expected_quality(asked, query, asked.lines[i]);
    if (quality < asked.min || quality == 0) continue;
    if (asked.skipped.empty() || is_findable(asked, query, asked.lines[i])) found[static_cast<int>(i) + 1] = quality;
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
  };
  for (int round = 0; round < (samples::SLOW ? 7 : 42); ++round) {
    const Case& how = cases[round % std::size(cases)];
    Asked asked;
    for (int i = 0; i < 60; ++i) asked.lines.push_back(random_text(random, 4, how.addSeps != nullptr ? "  -" : " "));
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
      const TeraQueryRef object(multi->eval(query.c_str(), nullptr, ' ', asked.options, asked.model));
      for (std::size_t k = 0; k < asked.lines.size(); ++k) {
        const int quality = object->compare(asked.lines[k].c_str());
        const auto known = found.find(static_cast<int>(k) + 1);
        EXPECT_TRUE(known != found.end() ? quality == known->second : quality < asked.min)
            << query << " | " << asked.lines[k] << " " << quality;
      }
    }
  }
}

}  // namespace
