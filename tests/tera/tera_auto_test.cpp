#include "tera/tera_auto.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <thread>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_thread.h"
#include "oracle/automaton.h"
#include "oracle/words.h"
#include "support/damage.h"
#include "support/documented_bytes.h"
#include "support/list_reader.h"
#include "support/payload.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"
#include "support/word_samples.h"
#include "tera/tera_alias_reader.h"
#include "tera/tera_edit.h"
#include "tera/tera_map_config.h"
#include "tera/tera_phone_transform.h"
#include "tera/tera_reader.h"
#include "tera/tera_scan_graph.h"

namespace {

using Strings = std::vector<std::string>;

using support::ListReader;

/// Pairs from memory.
class PairReader : public TeraAliasReader {
 public:
  struct Pair {
    const char* target;
    const char* alias;
    int penalty;
  };
  explicit PairReader(std::vector<Pair> pairs) : list(std::move(pairs)) {}
  int read_entry(const char** target, const char** alias, int* penalty, VInt*) override {
    if (next == list.size()) return 0;
    *target = list[next].target;
    *alias = list[next].alias;
    if (penalty != nullptr) *penalty = list[next].penalty;
    ++next;
    return 1;
  }
  int rewind() override { return static_cast<int>(next = 0); }

 private:
  std::vector<Pair> list;
  size_t next = 0;
};

void make_map(TeraMap* map, const char* tokens = "a-z0-9") {
  TeraMapConfig config("utf-8");
  config.set_tokens(tokens);
  config.map_glob_chars(1);
  config.compile_map(map);
}

void build(TeraAuto* automaton, const Strings& entries, const TeraMap& map, int options,
           TeraAliasReader* aliases = nullptr, TeraTransform* trafo = nullptr, int load = 99) {
  automaton->init(&map, trafo);
  ListReader reader(entries);
  ASSERT_EQ(automaton->make(&reader, nullptr, load, options, nullptr, aliases, nullptr), 0);
  ASSERT_EQ(automaton->verify(AceReporter::use_default()), 0);
}

Strings random_words(unsigned seed, int num, int longest) {
  samples::Random random(seed);
  Strings words;
  for (int i = 0; i < num; ++i) words.push_back(samples::letters(random, 1 + random.below(longest)));
  return words;
}

Strings sorted_set(const Strings& words) {
  const std::set<std::string> distinct(words.begin(), words.end());
  return {distinct.begin(), distinct.end()};
}

/// Strings of the candidates and their qualities.
using Found = std::map<std::string, int>;

Found found_in(const TeraResult& result) {
  Found found;
  result.find_any([&](int quality, const TeraCand* cand) {
    EXPECT_TRUE(found.emplace(cand->represent(), quality).second) << cand->represent() << " twice";
    return false;
  });
  return found;
}

constexpr int MOST = TeraResult::MAX_CANDS;

}  // namespace

// ---------------------------------------------------------------- numbers

TEST(TeraAuto, numbers_are_places_in_the_sorted_list) {
  TeraMap map;
  make_map(&map);
  for (unsigned seed = 1; seed <= 60; ++seed)
    for (const int options : {0, int{TeraAuto::PATH_COMPRESS}}) {
      const Strings words =
          random_words(seed, 1 + static_cast<int>(seed * 7), 1 + static_cast<int>(seed % 9));
      const Strings sorted = sorted_set(words);
      TeraAuto automaton;
      build(&automaton, words, map, options, nullptr, nullptr, seed % 3 == 0 ? 1 : 100);
      AceAttach at;
      ASSERT_EQ(automaton.get_capacity(), sorted.size() + 1) << "seed " << seed;
      EXPECT_EQ(automaton.get_forward()->get_num_nodes(), oracle::minimal_states(sorted)) << "seed " << seed;
      EXPECT_STREQ(automaton.get_entry(0, &at), "");
      for (size_t i = 0; i < sorted.size(); ++i) {
        EXPECT_EQ(automaton.get_internal_id(sorted[i].c_str()), i + 1) << sorted[i] << ", seed " << seed;
        EXPECT_STREQ(automaton.get_entry(static_cast<Large>(i + 1), &at), sorted[i].c_str());
      }
      EXPECT_EQ(automaton.get_entry(static_cast<Large>(sorted.size() + 1), &at), nullptr);
      for (const std::string& word : random_words(seed + 1000, 200, 9))
        if (!std::binary_search(sorted.begin(), sorted.end(), word)) {
          EXPECT_EQ(automaton.get_internal_id(word.c_str()), 0U) << word;
        }
      size_t visited = 0;
      automaton.get_forward()->for_each([&](int index, const Token* tokens) {
        EXPECT_EQ(automaton.get_forward()->get_token_path_index(tokens), static_cast<Large>(index));
        ++visited;
        return 0;
      });
      EXPECT_EQ(visited, sorted.size());
    }
}

TEST(TeraAuto, every_byte_may_be_a_token) {
  samples::Random random(3);
  Strings words;
  for (int i = 0; i < 30000; ++i) {
    std::string word;
    for (int length = 1 + random.below(4); length > 0; --length)
      word += static_cast<char>(1 + random.below(255));
    words.push_back(word);
  }
  for (int byte = 1; byte < 256; ++byte) words.push_back(std::string(1, static_cast<char>(byte)));
  for (const int options : {0, int{TeraAuto::PATH_COMPRESS}}) {
    TeraAuto automaton;
    build(&automaton, words, *TeraMap::get_ident_map(), options);
    Strings sorted(words);
    std::sort(sorted.begin(), sorted.end(), [](const std::string& a, const std::string& b) {
      return std::strcmp(a.c_str(), b.c_str()) < 0;
    });
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    ASSERT_EQ(automaton.get_capacity(), sorted.size() + 1);
    for (size_t i = 0; i < sorted.size(); ++i)
      ASSERT_EQ(automaton.get_internal_id(sorted[i].c_str()), i + 1) << i;
  }
}

TEST(TeraAuto, path_counts_beyond_16_bits_are_exact) {
  TeraMap map;
  make_map(&map);
  Strings words;
  for (int i = 0; i < 300000; ++i) {
    const std::string digits = std::to_string(i);
    words.push_back(std::string(6 - digits.size(), '0') + digits + (i % 7 == 0 ? "x" : ""));
  }
  TeraAuto automaton;
  build(&automaton, words, map, 0);
  EXPECT_GT(automaton.get_forward()->get_extra_limit(), 0U);
  AceAttach at;
  for (size_t i = 0; i < words.size(); i += 7) {
    ASSERT_EQ(automaton.get_internal_id(words[i].c_str()), i + 1);
    ASSERT_STREQ(automaton.get_entry(static_cast<Large>(i + 1), &at), words[i].c_str());
    at.release();
  }
  EXPECT_LT(automaton.get_forward()->get_num_nodes(), words.size());
}

TEST(TeraAuto, attributes_go_from_entries_to_numbers_and_back) {
  TeraMap map;
  make_map(&map);
  const Strings words = {"car", "--", "bar", "c-ar", "bad"};
  TeraAuto automaton;
  build(&automaton, words, map, 0);
  int num = 0;
  const Large* infos = nullptr;
  ASSERT_EQ(automaton.get_infos("car", &num, &infos), 3U);
  ASSERT_EQ(num, 2);
  EXPECT_EQ(infos[0], 1U);
  EXPECT_EQ(infos[1], 4U);
  EXPECT_EQ(automaton.get_infos("ca", &num, &infos), 0U);
  EXPECT_EQ(num, 0);
  AceAttach at;
  EXPECT_STREQ(automaton.get_string(4, &at), "car");
  EXPECT_STREQ(automaton.get_string(2, &at), "");
  EXPECT_EQ(automaton.get_string(9, &at), nullptr);
  EXPECT_EQ(automaton.get_sort_key(5), 1U);
  EXPECT_EQ(automaton.get_sort_key(0), 0U);
  EXPECT_EQ(automaton.get_sort_key(~0U), ~0U);
  EXPECT_EQ(automaton.can_sort(), 1);

  TeraAuto bare;
  build(&bare, words, map, TeraAuto::NO_INFO);
  TeraResult result("bar", 255, 10, 255);
  EXPECT_EQ(bare.resolve(&result), 0);
  EXPECT_EQ(bare.resolve(static_cast<TeraResult*>(nullptr)), -1);
  EXPECT_EQ(bare.exact(&result, 0), 1);
  EXPECT_EQ(result.get_best_cand()->get_entry(), 2);
}

TEST(TeraAuto, beginnings_and_intervals_are_those_of_the_sorted_list) {
  TeraMap map;
  make_map(&map, "abc");
  const Strings words = random_words(5, 300, 7);
  const Strings sorted = sorted_set(words);
  for (const int options : {0, int{TeraAuto::PATH_COMPRESS}}) {
    TeraAuto automaton;
    build(&automaton, words, map, options | TeraAuto::NO_INFO);
    for (const samples::Tokens& tokens : samples::all_words(3, 4)) {
      std::string query;
      for (size_t i = 0; i + 1 < tokens.size(); ++i) query += static_cast<char>('a' - 1 + tokens[i]);
      Strings begun;
      for (const std::string& word : sorted)
        if (word.rfind(query, 0) == 0) begun.push_back(word);
      for (const int max : {1, 3, 1000}) {
        AceAttach at;
        char* completions[1000];
        const int num = automaton.complete(query.c_str(), max, completions, &at);
        ASSERT_EQ(num, std::min<int>(max, static_cast<int>(begun.size()))) << query;
        for (int i = 0; i < num; ++i) EXPECT_EQ(completions[i], begun[static_cast<size_t>(i)]);

        TeraResult prefix(query.c_str(), 0, MOST, 255);
        EXPECT_EQ(automaton.interval(&prefix, max, 1), num);
        const auto from = std::lower_bound(sorted.begin(), sorted.end(), query);
        Strings behind(from, std::min(sorted.end(), from + std::min<long>(max, sorted.end() - from)));
        TeraResult rest(query.c_str(), 0, MOST, 255);
        automaton.interval(&rest, max, 0);
        Strings found;
        for (const auto& [string, quality] : found_in(rest)) found.push_back(string);
        EXPECT_EQ(found, behind) << "from '" << query << "' on";
      }
      TeraResult few(query.c_str(), 0, 2, 255);
      EXPECT_EQ(automaton.interval(&few, 0, 1), std::min<int>(2, static_cast<int>(begun.size())));
    }
  }
}

// ---------------------------------------------------------------- recall

namespace {

struct EditMode {
  TeraEval::Mode mode;
  int ends;
};
constexpr EditMode EDIT_MODES[] = {
    {TeraEval::LEVENSHTEIN, 0}, {TeraEval::PREFIX, 0x8000}, {TeraEval::SUFFIX, 0x4000},
    {TeraEval::FACTOR, 0xC000}, {TeraEval::COVER, 0x3000},  {TeraEval::CLOSE, 0x1000},
    {TeraEval::EXTEND, 0x2000}, {TeraEval::FRONT, -0x8000}, {TeraEval::BACK, -0x4000},
    {TeraEval::MID, -0xC000},
};
/// Of the two halves of FRONT, BACK and MID.
int ends_for(const EditMode& mode, int m, int n) {
  if (mode.ends >= 0) return mode.ends;
  if (n < m) return -mode.ends;
  return mode.mode == TeraEval::FRONT ? 0x2000 : mode.mode == TeraEval::BACK ? 0x1000 : 0x3000;
}

/// Every entry by itself.
Found scan(const Strings& entries, const TeraMap& map, const std::string& query, const EditMode& mode,
           TeraEval::Model model, int options, int max_edit, int min_value) {
  AceAttach at;
  const oracle::Positions asked(map.convert(query.c_str(), (options & 1) != 0, &at));
  TeraEval::Eval* const eval = TeraEval::get_model_func(model, 0);
  Found found;
  for (const std::string& entry : entries) {
    const bool wild = (options & TeraAutoRecall::HAS_WILD) != 0;
    const oracle::WildEntry tokens(map.convert(entry.c_str(), !wild, &at));
    const int n = tokens.length(asked.size());
    const oracle::Edit edit =
        oracle::wild_leven(asked, tokens, ends_for(mode, asked.size(), n) | (options & 2));
    if (edit.distance > max_edit || edit.match <= 0) continue;
    const int quality = std::clamp(eval(asked.size(), edit.match, n), 0, 255);
    if (quality >= min_value) found[entry] = quality;
  }
  return found;
}

}  // namespace

TEST(TeraAutoRecall, finds_what_a_scan_of_the_entries_finds_in_all_modes_of_edits) {
  TeraMap map;
  make_map(&map, "abc");
  const TeraEval::Model models[] = {TeraEval::MAXIMUM,   TeraEval::SHORT, TeraEval::LONG,
                                    TeraEval::REDUNDANT, TeraEval::QUERY, TeraEval::ENTRY_RAW,
                                    TeraEval::MEAN};
  const int numSeeds = samples::SLOW ? 3 : 12;
  for (unsigned seed = 1; seed <= static_cast<unsigned>(numSeeds); ++seed) {
    const Strings entries = sorted_set(random_words(seed, 400, 9));
    samples::Random random(seed);
    TeraAuto forms[3];
    build(&forms[0], entries, map, 0);
    build(&forms[1], entries, map, TeraAuto::PATH_COMPRESS);
    build(&forms[2], entries, map, TeraAuto::BIDIRECT | TeraAuto::PATH_COMPRESS);
    for (int round = 0; round < 40; ++round) {
      const bool operators = round % 3 == 0;
      const std::string query = operators ? samples::text(random, 1 + random.below(6))
                                          : samples::letters(random, 1 + random.below(9));
      if (map.alt_len(query.c_str(), false) <= 0) continue;
      for (const EditMode& mode : EDIT_MODES) {
        const TeraEval::Model model = models[random.below(7)];
        const int maxEdit = random.below(6);
        const int options = (random.below(2) * 2) | (operators ? 0 : 1);
        const int minValue = 40 * random.below(6);
        const Found expected =
            scan(entries, map, query, mode, model, options,
                 std::min(maxEdit, std::max(3, map.alt_len(query.c_str(), options & 1))), minValue);
        for (TeraAuto& automaton : forms) {
          TeraResult result(query.c_str(), minValue, MOST, 255);
          ASSERT_GE(automaton.recall(&result, mode.mode, model, options, maxEdit, 0, nullptr), 0);
          ASSERT_EQ(found_in(result), expected)
              << query << " in " << TeraEval::get_mode_name(mode.mode) << " by "
              << TeraEval::get_model_name(model) << ", " << maxEdit << " edits, options " << options
              << ", from " << minValue << ", form " << (&automaton - forms) << ", seed " << seed;
        }
      }
    }
  }
}

TEST(TeraAutoRecall, long_queries_are_walked_in_wide_masks) {
  TeraMap map;
  make_map(&map, "abc");
  Strings entries;
  samples::Random random(9);
  for (int length = 55; length < 75; ++length) entries.push_back(samples::letters(random, length));
  entries.push_back(samples::letters(random, 900));
  TeraAuto automaton;
  build(&automaton, entries, map, TeraAuto::BIDIRECT);
  for (const std::string& entry : entries) {
    std::string query = entry;
    query.erase(query.size() / 3, 1);
    std::swap(query[5], query[6]);
    TeraResult result(query.c_str(), 0, MOST, 255);
    automaton.recall(&result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, TeraAutoRecall::TRANSPOSE, 2, 0,
                     nullptr);
    EXPECT_EQ(found_in(result),
              scan(sorted_set(entries), map, query, EDIT_MODES[0], TeraEval::MAXIMUM, 2, 2, 0));
    EXPECT_EQ(result.num_cands(), 1);
  }
  TeraResult tooLong(std::string(1024, 'a').c_str(), 0, MOST, 255);
  EXPECT_EQ(automaton.recall(&tooLong, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 0, 2, 0, nullptr), -1);
}

TEST(TeraAutoRecall, wildcards_in_entries_accept_any_token_and_any_run) {
  TeraMap map;
  make_map(&map, "abc");
  samples::Random random(4);
  std::set<std::string> distinct;
  for (int i = 0; i < 300; ++i) {
    std::string entry;
    for (int length = 1 + random.below(6); length > 0; --length) entry += "abcabc?*"[random.below(8)];
    distinct.insert(entry);
  }
  const Strings entries(distinct.begin(), distinct.end());
  TeraAuto automaton;
  build(&automaton, entries, map, TeraAuto::ALLOW_WILD);
  for (int round = 0; round < 200; ++round) {
    const std::string query = samples::letters(random, 1 + random.below(6));
    const int options = TeraAutoRecall::HAS_WILD | TeraAutoRecall::NO_OPERATORS | (round % 2 * 2);
    for (const int maxEdit : {0, 1, 2}) {
      TeraResult result(query.c_str(), 0, MOST, 255);
      automaton.recall(&result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, options, maxEdit, 0, nullptr);
      ASSERT_EQ(found_in(result),
                scan(entries, map, query, EDIT_MODES[0], TeraEval::MAXIMUM, options, maxEdit, 0))
          << query << ", " << maxEdit << " edits, options " << options;
    }
    Found matching;
    for (const auto& [entry, quality] :
         scan(entries, map, query, EDIT_MODES[0], TeraEval::MAXIMUM, options, 0, 0))
      matching[entry] = 255;
    TeraResult exact(query.c_str(), 0, MOST, 255);
    automaton.exact(&exact, options);
    EXPECT_EQ(found_in(exact), matching) << query;
  }
  TeraAuto plain;  // there they are unmapped
  build(&plain, {"a*b", "c?"}, map, 0);
  EXPECT_EQ(plain.get_internal_id("ab"), 1U);
  EXPECT_EQ(plain.get_internal_id("c"), 2U);
}

TEST(TeraAutoRecall, patterns_find_what_they_match) {
  TeraMap map;
  make_map(&map, "abc");
  const Strings entries = sorted_set(random_words(8, 300, 6));
  TeraAuto automaton;
  build(&automaton, entries, map, TeraAuto::PATH_COMPRESS);
  samples::Random random(2);
  for (int round = 0; round < 300; ++round) {
    const std::string query = samples::text(random, 1 + random.below(5));
    AceAttach at;
    const oracle::Positions positions(map.convert(query.c_str(), false, &at));
    if (map.alt_len(query.c_str(), false) < 0 || (positions.size() == 0 && positions.runs.empty())) continue;
    Found expected;
    for (const std::string& entry : entries) {
      const oracle::Positions tokens(map.convert(entry.c_str(), true, &at));
      if (oracle::wildcard(oracle::Matrix(positions, tokens), positions.runs)) expected[entry] = 255;
    }
    TeraResult exact(query.c_str(), 0, MOST, 255);
    ASSERT_GE(automaton.exact(&exact, 0), 0);
    EXPECT_EQ(found_in(exact), expected) << query;
    TeraResult recalled(query.c_str(), 0, MOST, 255);
    automaton.recall(&recalled, TeraEval::WILDCARD, TeraEval::QUERY, 0, 0, 0, nullptr);
    EXPECT_EQ(found_in(recalled), expected) << query;
  }
}

TEST(TeraAutoRecall, agrees_with_the_edit_index_in_modes_that_measure_no_edits) {
  TeraMap map;
  make_map(&map, "abc");
  const Strings entries = sorted_set(random_words(11, 300, 8));
  TeraAuto automaton;
  build(&automaton, entries, map, 0);
  TeraEdit edit;
  ListReader reader(entries);
  ASSERT_EQ(edit.make(&reader, &map, 0, 0, 0, 0, nullptr, nullptr), 0);
  samples::Random random(1);
  for (int round = 0; round < 60; ++round) {
    const std::string query = samples::letters(random, 2 + random.below(7));
    for (const TeraEval::Mode mode :
         {TeraEval::POSITION, TeraEval::BIPOS, TeraEval::SEQ, TeraEval::BISEQ, TeraEval::BIGRAMS,
          TeraEval::SUBSET, TeraEval::SUPERSET, TeraEval::BLOCKEDIT})
      for (const TeraEval::Model model : {TeraEval::MAXIMUM, TeraEval::PARTIAL, TeraEval::ENTRY}) {
        const int options = random.below(2) * 2;
        const int minValue = 50 * random.below(5);
        TeraResult expected(query.c_str(), minValue, MOST, 255);
        edit.recall(&expected, mode, model, 0, 0, options, 100, nullptr);
        TeraResult result(query.c_str(), minValue, MOST, 255);
        automaton.recall(&result, mode, model, options, 1, 0, nullptr);
        EXPECT_EQ(found_in(result), found_in(expected))
            << query << " in " << TeraEval::get_mode_name(mode) << " by " << TeraEval::get_model_name(model);
      }
  }
  TeraResult scanned("abc", 0, MOST, 255);
  EXPECT_EQ(automaton.recall(&scanned, TeraEval::SUBWORD, TeraEval::ENTRY, 0, 1, 0, nullptr), -4);
  EXPECT_EQ(automaton.recall(&scanned, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 1 << 17, 1, 0, nullptr), -1);
}

TEST(TeraAutoRecall, a_recall_that_costs_too_much_is_unreliable_not_endless) {
  TeraMap map;
  make_map(&map, "abc");
  Strings entries;
  for (const samples::Tokens& tokens : samples::all_words(3, samples::SLOW ? 9 : 11)) {
    std::string word;
    for (size_t i = 0; i + 1 < tokens.size(); ++i) word += static_cast<char>('a' - 1 + tokens[i]);
    if (!word.empty()) entries.push_back(word);
  }
  TeraAuto automaton;
  build(&automaton, entries, map, TeraAuto::NO_INFO);
  const std::string query(200, 'a');
  TeraResult result(query.c_str(), 0, 100, 255);
  EXPECT_GE(automaton.recall(&result, TeraEval::FACTOR, TeraEval::QUERY, 0, 1'000'000'000, 0, nullptr), 0);
  EXPECT_TRUE(result.is_unreliable());
}

TEST(TeraAutoRecall, aliases_cost_their_penalty_and_that_of_the_recall) {
  TeraMap map;
  make_map(&map);
  PairReader pairs({{"robert", "bob", 10}, {"robert", "rob", 0}, {"unknown", "rob", 5}});
  TeraAuto automaton;
  build(&automaton, {"robert", "bob", "anna"}, map, TeraAuto::BIDIRECT, &pairs);
  const auto recall = [&](const char* query, int penalty) {
    TeraResult result(query, 150, 100, 255);
    automaton.recall(&result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 0, 1, penalty, nullptr);
    EXPECT_TRUE(result.has_aliases());
    return found_in(result);
  };
  EXPECT_EQ(recall("robert", 0), (Found{{"robert", 255}, {"bob", 245}, {"rob", 255}}));
  EXPECT_EQ(recall("robert", 7), (Found{{"robert", 255}, {"bob", 238}, {"rob", 248}}));
  EXPECT_EQ(recall("unknown", 0), (Found{{"unknown", 255}, {"rob", 250}}));
}

TEST(TeraAutoRecall, what_sounds_alike_is_mixed_as_the_edit_index_mixes_it) {
  TeraMap map;
  make_map(&map);
  PhoneTransform soundex(PhoneTransform::UTF_SOUNDEX);
  const Strings names = {"meier",  "mayer",   "maier",   "mueller", "muller",
                         "miller", "schmidt", "schmitt", "smith",   "weber"};
  TeraEdit edit(&map, &soundex);
  ListReader reader(names);
  ASSERT_EQ(edit.make(&reader, nullptr, 0, 0, 0, 0, nullptr, nullptr), 0);
  for (const int options : {0, int{TeraAuto::BIDIRECT}}) {
    TeraAuto automaton;
    build(&automaton, names, map, options, nullptr, &soundex);
    for (const char* query : {"meyer", "miler", "schmied", "veber", "smyth"})
      for (const int weight : {0, 50, 99, 100}) {
        TeraResult expected(query, 150, 100, 100);
        edit.recall(&expected, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 0, 0, 2, weight, nullptr);
        TeraResult result(query, 150, 100, 100);
        automaton.recall(&result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 2, 3, 0, nullptr, weight);
        EXPECT_EQ(found_in(result), found_in(expected)) << query << ", weight " << weight;
      }
  }
}

// ---------------------------------------------------------------- texts

namespace {

const Strings PLACES = {"berlin", "bern", "haupt", "bahnhof", "hauptbahnhof", "new york", "york", "newyork"};

/// The edges that have candidates, by the text that they span.
std::map<std::string, Found> edges_of(const TeraScanGraph& graph) {
  std::map<std::string, Found> edges;
  for (int i = 0; i < graph.get_num_nodes(); ++i)
    for (const auto* edge = graph.get_node(i)->get_first_edge(); edge != nullptr; edge = edge->get_next())
      if (!edge->is_empty()) edges[edge->get_result()->get_string()] = found_in(*edge->get_result());
  return edges;
}

}  // namespace

TEST(TeraAutoScan, words_and_runs_of_words_are_found_where_they_stand) {
  TeraMap map;
  make_map(&map, "a-z ");
  TeraAuto automaton;
  build(&automaton, PLACES, map, 0);
  using Edges = std::map<std::string, Found>;
  const auto scan = [&](const char* text, int options, const char* seps = nullptr,
                        const char* marks = nullptr) {
    TeraScanGraph graph(0, text, 200, 100, 255, -1);
    EXPECT_GE(automaton.scan(&graph, TeraEval::MAXIMUM, options, 1, 100, seps, marks), 0);
    EXPECT_TRUE(graph.is_resolved() || (options & TeraAutoRecall::NO_RESOLVE) != 0);
    return edges_of(graph);
  };
  EXPECT_EQ(scan("berlin new york", 0), (Edges{{"berlin", {{"berlin", 255}}},
                                               {"new york", {{"new york", 255}, {"newyork", 223}}},
                                               {"york", {{"york", 255}}}}));
  EXPECT_EQ(scan("new york", TeraAutoRecall::IGNORE_SEPARATOR),
            (Edges{{"newyork", {{"newyork", 255}, {"new york", 223}}}, {"york", {{"york", 255}}}}));
  EXPECT_EQ(scan("bern;berlim", 0, ";"), (Edges{{"bern", {{"bern", 255}}}, {"berlim", {{"berlin", 212}}}}));
  EXPECT_EQ(scan("hau. york", 0, nullptr, "."),
            (Edges{{"hau", {{"haupt", 253}, {"hauptbahnhof", 247}}}, {"york", {{"york", 255}}}}));
  EXPECT_EQ(scan("york hau", TeraAutoRecall::COMPLETE_QUERY),
            (Edges{{"hau", {{"haupt", 253}, {"hauptbahnhof", 247}}}, {"york", {{"york", 255}}}}));
  EXPECT_EQ(scan("york x bern", TeraAutoRecall::FRONT_MODE), (Edges{{"york", {{"york", 255}}}}));
  EXPECT_EQ(scan("york x bern", TeraAutoRecall::BACK_MODE), (Edges{{"bern", {{"bern", 255}}}}));
  EXPECT_EQ(scan("haup[t bern", 0), (Edges{{"bern", {{"bern", 255}}}, {"haup[t", {{"haupt", 255}}}}));
  EXPECT_EQ(scan("", 0), Edges{});
}

TEST(TeraAutoScan, an_entry_stays_on_its_best_span_unless_all_are_asked_for) {
  TeraMap map;
  make_map(&map, "a-z");
  TeraAuto automaton;
  build(&automaton, {"newyork", "york"}, map, 0);
  const auto spans = [&](int options) {
    TeraScanGraph graph(0, "newyork a", 128, 100, 255, -1);
    automaton.scan(&graph, TeraEval::MAXIMUM, options, 3);
    return edges_of(graph).size();
  };
  EXPECT_EQ(spans(0), 1U);
  EXPECT_EQ(spans(TeraAutoRecall::DONT_DEDUP), 2U);
}

TEST(TeraAutoScan, a_text_has_one_budget_behind_which_words_find_themselves) {
  TeraMap map;
  make_map(&map, "abc");
  Strings entries;
  for (const samples::Tokens& tokens : samples::all_words(3, 9)) {
    std::string word;
    for (size_t i = 0; i + 1 < tokens.size(); ++i) word += static_cast<char>('a' - 1 + tokens[i]);
    if (!word.empty()) entries.push_back(word);
  }
  const std::string longWord = "abcabcabcabcabcabcabcabcabcabcabcabcabcabc";
  entries.push_back(longWord);
  TeraAuto automaton;
  build(&automaton, entries, map, 0);
  constexpr int numWords = 40;
  std::string text;
  for (int i = 0; i < numWords; ++i) text += longWord + " ";
  TeraScanGraph graph(0, text.c_str(), 0, 1'000'000, 255, -1);
  EXPECT_GE(automaton.scan(&graph, TeraEval::MAXIMUM, TeraAutoRecall::DONT_DEDUP, 99), numWords);
  int numUnreliable = 0;
  for (int node = 0; node < numWords; ++node) {
    const TeraScanGraph::Edge* const edge =
        graph.get_edge(node, node + 1, TeraScanGraph::DEFAULT_ORIGIN, 0, 0);
    ASSERT_NE(edge, nullptr) << node;
    EXPECT_NE(edge->get_result()->get_cand(longWord.c_str(), 255), nullptr) << node;
    numUnreliable += edge->get_result()->is_unreliable() ? 1 : 0;
  }
  EXPECT_GT(numUnreliable, numWords / 2);
  TeraResult words(text.c_str(), 0, 1'000'000, 255);
  EXPECT_GE(automaton.recall_s(&words, TeraEval::MAXIMUM, 0, 99, 100, nullptr, nullptr), 1);
  EXPECT_TRUE(words.is_unreliable());
}

TEST(TeraAutoScan, words_and_the_whole_query_are_recalled_into_one_result) {
  TeraMap map;
  make_map(&map, "a-z ");
  TeraAuto automaton;
  build(&automaton, PLACES, map, 0);
  const auto recall = [&](const char* query, const char* seps, const char* marks, int options = 0) {
    TeraResult result(query, 200, 100, 255);
    EXPECT_GE(automaton.recall_s(&result, TeraEval::MAXIMUM, options, 1, 100, seps, marks), 0);
    EXPECT_TRUE(result.is_resolved());
    EXPECT_NE(result.get_query(), nullptr);
    return found_in(result);
  };
  EXPECT_EQ(recall("new york", nullptr, nullptr),
            (Found{{"new york", 255}, {"york", 255}, {"newyork", 223}}));
  EXPECT_EQ(recall("berlin-bern", "-", nullptr), (Found{{"berlin", 255}, {"bern", 255}}));
  EXPECT_EQ(recall("berli. york", nullptr, "."), (Found{{"berlin", 254}, {"york", 255}}));
  TeraResult limited("berlin bern york", 200, 2, 255);
  EXPECT_EQ(automaton.recall_s(&limited, TeraEval::MAXIMUM, 0, 0, 100, nullptr, nullptr), 3)
      << "all are best";
}

TEST(TeraAutoScan, lengths_are_restricted_and_entries_that_go_on_are_asked_for) {
  TeraMap map;
  make_map(&map, "a-z");
  TeraAuto automaton;
  build(&automaton, {"a", "ab", "abc", "abcd", "abcde"}, map, 0);
  const auto recall = [&](int max_edit, int restrict_len, int complete) {
    TeraResult result("abc", 0, 100, 255);
    automaton.recall_r(&result, 0, max_edit, restrict_len, complete);
    Strings found;
    for (const auto& [string, quality] : found_in(result)) found.push_back(string);
    return found;
  };
  EXPECT_EQ(recall(2, 0, 0), (Strings{"a", "ab", "abc", "abcd", "abcde"}));
  EXPECT_EQ(recall(2, 1, 0), (Strings{"ab", "abc", "abcd"}));
  EXPECT_EQ(recall(0, 0, 1), (Strings{"abc", "abcd", "abcde"}));
  EXPECT_EQ(recall(0, 1, 1), (Strings{"abc", "abcd", "abcde"})) << "what goes on may be of any length";
  EXPECT_EQ(recall(2, 1, 1), (Strings{"ab", "abc", "abcd", "abcde"}));
}

TEST(TeraAutoScan, compounds_are_two_entries) {
  TeraMap map;
  make_map(&map, "a-z");
  TeraAuto automaton;
  build(&automaton, {"haupt", "bahnhof", "strasse"}, map, 0);
  const auto decompose = [&](const char* query, const char* seps) {
    TeraResult result(query, 230, 10, 255);
    automaton.decompose(&result, 3, 3, TeraEval::MAXIMUM, 0, 1, seps, nullptr);
    return found_in(result);
  };
  EXPECT_EQ(decompose("hauptbahnhof", nullptr), (Found{{"haupt bahnhof", 255}}));
  EXPECT_EQ(decompose("hauptbahnhff", nullptr).count("haupt bahnhof"), 1U);
  EXPECT_EQ(decompose("bahnhof/strasse", "/"), (Found{{"bahnhof strasse", 255}}));
}

// ---------------------------------------------------------------- files

namespace {

std::string full_image() {
  TeraMap map;
  make_map(&map, "abc");
  PairReader pairs({{"ab", "ba", 3}});
  PhoneTransform soundex(PhoneTransform::UTF_SOUNDEX);
  TeraAuto automaton;
  build(&automaton, {"ab", "abc", "bac", "cab", "abba"}, map, TeraAuto::BIDIRECT | TeraAuto::PATH_COMPRESS,
        &pairs, &soundex);
  return support::image_by([&](AceFile* file) { automaton.save(file); });
}

/// Whatever an automaton holds, asking it must end.
void use(const TeraAuto& automaton) {
  AceAttach at;
  for (Large i = 0; i < std::min<Large>(automaton.get_capacity(), 40); ++i) {
    automaton.get_entry(i, &at);
    automaton.get_string(i, &at);
  }
  for (const char* query : {"ab", "abca", "[ab]c", "*b*"})
    for (const TeraEval::Mode mode :
         {TeraEval::LEVENSHTEIN, TeraEval::FACTOR, TeraEval::SUFFIX, TeraEval::WILDCARD, TeraEval::SEQ}) {
      TeraResult result(query, 50, 20, 255);
      automaton.recall(&result, mode, TeraEval::MAXIMUM, TeraAutoRecall::TRANSPOSE, 2, 0, nullptr, 50);
    }
  TeraResult result("a", 0, 20, 255);
  automaton.interval(&result, 0, 1);
  TeraScanGraph graph(0, "ab ba", 128, 10, 255, -1);
  automaton.scan(&graph, TeraEval::MAXIMUM, 0, 1);
}

}  // namespace

TEST(TeraAutoFile, answers_are_alike_built_and_read_in_every_way) {
  TeraMap map;
  make_map(&map, "abc");
  const Strings words = random_words(21, 500, 8);
  PairReader pairs({{words[0].c_str(), words[1].c_str(), 9}});
  PhoneTransform soundex(PhoneTransform::UTF_SOUNDEX);
  TeraAuto automaton;
  build(&automaton, words, map, TeraAuto::BIDIRECT | TeraAuto::PATH_COMPRESS, &pairs, &soundex);
  const support::TempFolder folder;
  const std::string name = folder.file("words.auto");
  ASSERT_EQ(automaton.dump(name.c_str(), AceReporter::use_default()), 0);
  for (int mode = 0; mode < 4; ++mode) {
    TeraAuto loaded;
    ASSERT_EQ(loaded.load(name.c_str(), mode, AceReporter::use_default()), automaton.get_capacity());
    EXPECT_EQ(loaded.verify(AceReporter::use_default()), 0);
    for (const std::string& query : random_words(22, 50, 8)) {
      TeraResult expected(query.c_str(), 100, 50, 200);
      automaton.recall(&expected, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 2, 2, 4, nullptr, 50);
      TeraResult result(query.c_str(), 100, 50, 200);
      loaded.recall(&result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 2, 2, 4, nullptr, 50);
      EXPECT_TRUE(result.equal_cands(&expected)) << query << ", mode " << mode;
    }
  }
  std::unique_ptr<AceWrap> made(AceWrap::factory(name.c_str(), "TeraAuto"));
  EXPECT_NE(dynamic_cast<TeraAuto*>(made.get()), nullptr);
}

TEST(TeraAutoFile, a_saved_automaton_has_its_documented_bytes) {
  TeraMap map;
  make_map(&map, "ab");
  TeraAuto automaton;
  build(&automaton, {"b", "ab", "abb"}, map, TeraAuto::PATH_COMPRESS | TeraAuto::REVERSE);
  std::string bytes(static_cast<size_t>(automaton.size()), '\0');
  automaton.collect(bytes.data(), static_cast<Huge>(bytes.size()));
  const size_t start = 8 + support::image_by([&](AceFile* file) { map.save(file); }).size();
  ASSERT_LT(start, bytes.size());
  EXPECT_EQ(bytes.substr(0, 12) + bytes.substr(start),
            support::documented_bytes(TEST_FORMATS, "An automaton index"));
}

TEST(TeraAutoFile, files_of_this_format_always_open) {
  TeraAuto automaton;
  ASSERT_EQ(automaton.load(TEST_DATA "/formats/aliases_phonetics.auto", 1, AceReporter::use_default()), 7);
  EXPECT_EQ(automaton.verify(AceReporter::use_default()), 0);
  TeraResult result("ab", 240, 10, 255);
  automaton.recall(&result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 0, 2, 0, nullptr);
  EXPECT_EQ(found_in(result), (Found{{"ab", 255}, {"ba", 252}}));
}

TEST(TeraAutoFile, a_cut_file_is_refused_and_damage_never_reads_out_of_bounds) {
  const std::string image = full_image();
  support::RecordingReporter rep;
  rep.set_as_default();
  const auto ask = [&](const std::string& bytes, const std::string& what) {
    SCOPED_TRACE(what);
    support::PayloadFile file(bytes);
    TeraAuto automaton;
    try {
      if (automaton.read(file.get()) < 0) return;
      automaton.verify(&rep);
      use(automaton);
    } catch (const AceException&) {
    }
  };
  const size_t head = image.size() < 5000 ? 0 : 4096;  // tables of the map
  for (size_t length = 0; length < image.size(); length += length < head ? 97 : 1) {
    support::PayloadFile file(support::cut(image, length));
    TeraAuto automaton;
    try {
      EXPECT_LT(automaton.read(file.get()), 0) << "cut at " << length;
    } catch (const AceException&) {
    }
  }
  const size_t step = samples::SLOW ? 67 : 5;
  for (size_t bit = 8 * head; bit < 8 * image.size(); bit += step)
    ask(support::flip(image, bit), std::to_string(bit));
  size_t numDamaged = 0;
  support::for_each_hostile_word(image.substr(head), [&](const std::string& bytes, const std::string& what) {
    if (++numDamaged % step == 0) ask(image.substr(0, head) + bytes, what);
  });
}

TEST(TeraAutoFile, eight_threads_get_the_answers_of_one) {
  TeraMap map;
  make_map(&map, "abc");
  const Strings words = random_words(31, 400, 8);
  TeraAuto automaton;
  build(&automaton, words, map, TeraAuto::BIDIRECT);
  std::atomic<int> numDifferent{0};
  const auto ask = [&] {
    const AceThreadSafe registered;
    for (const std::string& query : random_words(32, 60, 8)) {
      TeraResult first(query.c_str(), 100, 50, 200);
      automaton.recall(&first, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 2, 2, 0, nullptr);
      const Found expected =
          scan(sorted_set(words), map, query, EDIT_MODES[0], TeraEval::MAXIMUM, 2, 2, first.get_min_value());
      for (const auto& [string, quality] : found_in(first))
        if (const auto at = expected.find(string); at == expected.end() || at->second != quality)
          ++numDifferent;
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back(ask);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(numDifferent, 0);
}
