#include "tera/tera_edit.h"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <thread>
#include <unordered_map>

#include "ace/ace_cpu.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_thread.h"
#include "ace/ace_tracer.h"
#include "oracle/edit_index.h"
#include "support/damage.h"
#include "support/documented_bytes.h"
#include "support/list_reader.h"
#include "support/recall_modes.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"
#include "support/word_samples.h"
#include "tera/tera_alias_reader.h"
#include "tera/tera_map_config.h"
#include "tera/tera_phone_transform.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"
#include "tera/tera_standard_query.h"
#include "tera/tera_token.h"

namespace {

using support::MODES;

constexpr char ALPHABET[] = "abcdefghijklmnopqrstuvwxyz0123456789ABCD";
constexpr int NUM_LETTERS = 40;

using support::ListReader;

struct Layout {
  const char* name;
  int filter, fine, options;
};
constexpr Layout LAYOUTS[] = {
    {"aligned", 0, 0, 0},
    {"compact", 0, 0, TeraEdit::COMPACT},
    {"compact reversed without strings", 0, 0, TeraEdit::COMPACT | TeraEdit::REVERSE | TeraEdit::NO_STRINGS},
    {"filter 1", 1, 1, 0},
    {"filter 3 reversed", 3, 0, TeraEdit::REVERSE},
    {"filter 4 without strings", 4, 2, TeraEdit::NO_STRINGS},
    {"filter 5", 5, 3, 0},
    {"filter 6 reversed without strings", 6, 1, TeraEdit::REVERSE | TeraEdit::NO_STRINGS},
    {"filter 2 with plain columns", 2, 1, TeraEdit::PLAIN_COLUMNS},
    {"plain columns", 0, 0, TeraEdit::PLAIN_COLUMNS},
};

/// Attribute number and quality.
using Found = std::map<Large, int>;

Found found_in(TeraResult* result) {
  Found found;
  result->find_any([&](int quality, const TeraCand* cand) {
    for (Large i = 0; i < cand->get_num_infos(); ++i) {
      const auto [place, isNew] = found.emplace(cand->get_info(i), quality);
      EXPECT_TRUE(isNew) << cand->get_info(i) << " twice";
    }
    return false;
  });
  return found;
}

/// What a result with these limits keeps.
Found limited(const Found& all, int budget, int dist) {
  int best = 0;
  for (const auto& [info, quality] : all) best = std::max(best, quality);
  Found kept;
  for (const auto& [info, quality] : all) {
    const auto isBetter = [quality = quality](const auto& other) { return other.second > quality; };
    if (quality >= best - dist && std::count_if(all.begin(), all.end(), isBetter) < budget)
      kept[info] = quality;
  }
  return kept;
}

class EditTest : public testing::Test {
 protected:
  EditTest() {
    TeraMapConfig config("utf-8");
    config.set_tokens(ALPHABET);
    config.map_glob_chars(1);
    config.compile_map(&map);
  }
  void build(TeraEdit* edit, const Layout& layout, int more = 0) {
    ListReader reader(entries);
    ASSERT_EQ(
        edit->make(&reader, &map, layout.filter, layout.fine, layout.options | more, 0, nullptr, nullptr), 0);
  }
  /// Every entry by itself. Of segments, those with one position are no patterns.
  Found scan(const std::string& query, TeraEval::Mode mode, TeraEval::Model model, int min_value, int options,
             bool is_segment = false) const {
    AceAttach at;
    const bool noGlob = (options & TeraEdit::NO_OPERATORS) != 0;
    const bool transpose = (options & TeraEdit::TRANSPOSE) != 0;
    oracle::Positions positions(map.convert(query.c_str(), noGlob, &at));
    const bool isPattern = mode == TeraEval::EXACT || mode == TeraEval::WILDCARD;
    const bool isOpen = mode == TeraEval::PREFIX || mode == TeraEval::FRONT || mode == TeraEval::FACTOR;
    if (!isPattern && isOpen && positions.size() == 1 && !is_segment) {
      positions.runs = mode == TeraEval::FACTOR ? std::vector<int>{0, 1} : std::vector<int>{1};
      mode = TeraEval::WILDCARD;
    }
    TeraEval::Eval* const func = TeraEval::get_model_func(model, 0);
    Found found;
    for (size_t i = 0; i < entries.size(); ++i) {
      const oracle::Positions& entry = positions_of(entries[i]);
      if (entry.size() == 0) continue;
      int quality = 0;
      if (isPattern || mode == TeraEval::WILDCARD) {
        quality = oracle::wildcard(oracle::Matrix(positions, entry), positions.runs) ? 255 : -1;
      } else {
        const int m = positions.size();
        const int n = entry.size();
        const int x = oracle::index_measure(mode, positions, entry, transpose);
        if (x < 1) continue;
        quality = mode == TeraEval::BISEQ                                 ? func(2 * m, x, 2 * n)
                  : mode == TeraEval::BIGRAMS                             ? func(m + 1, x, n + 1)
                  : mode == TeraEval::POSITION || mode == TeraEval::BIPOS ? func(m, x, std::min(n, 64))
                                                                          : func(m, x, n);
        quality = std::clamp(quality, 0, 255);
      }
      if (quality >= min_value) found[static_cast<Large>(i + 1)] = quality;
    }
    return found;
  }
  Found recall(const TeraEdit& edit, const std::string& query, TeraEval::Mode mode, TeraEval::Model model,
               int min_value, int options) const {
    TeraResult result(query.c_str(), min_value, 1000000, 255, nullptr);
    EXPECT_GE(edit.recall(&result, mode, model, 0, 0, options, 100, nullptr), 0);
    return found_in(&result);
  }

  const oracle::Positions& positions_of(const std::string& entry) const {
    AceAttach at;
    const auto found = known.find(entry);
    if (found != known.end()) return found->second;
    return known.emplace(entry, map.convert(entry.c_str(), !allowAlt, &at)).first->second;
  }

  TeraMap map;
  std::vector<std::string> entries;
  bool allowAlt = false;
  mutable std::unordered_map<std::string, oracle::Positions> known;
};

std::string image_of(TeraEdit* edit) {
  const VInt size = edit->size();
  std::string image(static_cast<size_t>(size), '\0');
  EXPECT_EQ(edit->collect(image.data(), size), size);
  return image;
}

std::string random_word(samples::Random& random, int length, int letters) {
  std::string word;
  for (int i = 0; i < length; ++i) word += ALPHABET[random.below(letters)];
  return word;
}

std::string edited(samples::Random& random, std::string word, int letters) {
  for (int edits = random.below(4); edits > 0; --edits) {
    const size_t at = static_cast<size_t>(random.below(static_cast<int>(word.size()) + 1));
    const std::string letter = random_word(random, 1, letters);
    switch (random.below(4)) {
      case 0:
        word.insert(at, letter);
        break;
      case 1:
        if (at < word.size()) word.erase(at, 1);
        break;
      case 2:
        if (at < word.size()) word[at] = letter[0];
        break;
      default:
        if (at + 1 < word.size()) std::swap(word[at], word[at + 1]);
    }
  }
  return word;
}

/// Some positions become wildcards, alternatives or runs.
std::string with_operators(samples::Random& random, const std::string& word, int letters) {
  std::string pattern;
  for (const char c : word) switch (random.below(8)) {
      case 0:
        pattern += '?';
        break;
      case 1:
        pattern += std::string("[") + c + random_word(random, 1 + random.below(2), letters) + c + "]";
        break;
      case 2:
        pattern += '*';
        [[fallthrough]];
      default:
        pattern += c;
    }
  return pattern;
}

class EditOracle : public EditTest {
 protected:
  void fill(samples::Random& random, int num, int letters, int max_length) {
    std::set<std::string> words;
    while (static_cast<int>(words.size()) < num) {
      const bool derived = !words.empty() && random.below(3) == 0;
      words.insert(derived ? edited(random, *words.begin(), letters)
                           : random_word(random, random.below(max_length + 1), letters));
    }
    entries.assign(words.begin(), words.end());
    std::shuffle(entries.begin(), entries.end(), std::mt19937(7));
  }
  void compare(samples::Random& random, const std::vector<std::unique_ptr<TeraEdit>>& edits, int letters) {
    std::string query =
        edited(random, entries[static_cast<size_t>(random.below(static_cast<int>(entries.size())))], letters);
    if (random.below(4) == 0) query = with_operators(random, query, letters);
    if (query.empty()) return;
    AceAttach at;
    const bool isLongPattern = map.alt_len(query.c_str(), false) > 128 &&
                               TeraToken::has_glob(map.convert(query.c_str(), false, &at)) != 0;
    for (const TeraEval::Mode mode : MODES) {
      if (isLongPattern && (mode == TeraEval::EXACT || mode == TeraEval::WILDCARD)) continue;  // refused
      const auto model = static_cast<TeraEval::Model>(random.below(TeraEval::BIAS));
      const int options = random.below(2) * TeraEdit::TRANSPOSE;
      const int min_value = 1 + random.below(255);
      const Found expected = scan(query, mode, model, min_value, options);
      for (size_t i = 0; i < edits.size(); ++i) {
        const Found found = recall(*edits[i], query, mode, model, min_value, options);
        ASSERT_EQ(found, expected) << '\'' << query << "' " << TeraEval::get_mode_name(mode) << ' '
                                   << TeraEval::get_model_name(model) << " least " << min_value << " options "
                                   << options << ", layout " << i;
        numFound += found.size();
      }
    }
  }
  size_t numFound = 0;
};

}  // namespace

TEST_F(EditOracle, every_layout_finds_what_scoring_each_entry_finds) {
  samples::Random random(1);
  for (int round = 0; round < (samples::SLOW ? 2 : 5); ++round) {
    const int letters = 3 + random.below(NUM_LETTERS - 2);
    const bool isLong = round == 0;
    fill(random, isLong ? 60 : 100 + random.below(1200), letters, isLong ? 260 : 12);
    std::vector<std::unique_ptr<TeraEdit>> edits;
    for (const Layout& layout : LAYOUTS) {
      edits.push_back(std::make_unique<TeraEdit>());
      build(edits.back().get(), layout);
    }
    for (int k = 0; k < (samples::SLOW ? 3 : 8) && !HasFatalFailure(); ++k) compare(random, edits, letters);
  }
  EXPECT_GT(numFound, 10000U);
}

TEST_F(EditOracle, entries_with_operators) {
  samples::Random random(2);
  fill(random, 400, 4, 9);
  allowAlt = true;
  for (std::string& entry : entries)
    if (random.below(3) == 0) {
      entry = with_operators(random, entry, 4);
      std::erase(entry, '*');
    }
  std::sort(entries.begin(), entries.end());
  entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
  std::vector<std::unique_ptr<TeraEdit>> edits;
  for (const Layout& layout : LAYOUTS) {
    edits.push_back(std::make_unique<TeraEdit>());
    build(edits.back().get(), layout, TeraEdit::ALLOW_ALT);
  }
  for (int k = 0; k < 20 && !HasFatalFailure(); ++k) {
    const std::string query = random_word(random, 1 + random.below(9), 4);
    for (const TeraEval::Mode mode : MODES) {
      if (mode == TeraEval::EXACT || mode == TeraEval::WILDCARD) continue;  // compare texts
      const Found expected = scan(query, mode, TeraEval::MAXIMUM, 120, 0);
      for (size_t i = 0; i < edits.size(); ++i)
        ASSERT_EQ(recall(*edits[i], query, mode, TeraEval::MAXIMUM, 120, 0), expected)
            << query << ' ' << TeraEval::get_mode_name(mode) << " layout " << i;
    }
  }
}

namespace {

/// Sets a tunable for as long as it lives.
struct Tunable {
  explicit Tunable(const char* name, int value) : itsName(name) { AceTracer::set(name, value); }
  ~Tunable() { AceTracer::set(itsName, 0); }
  const char* itsName;
};

class EditFile : public EditOracle {
 protected:
  support::TempFolder folder;
};

}  // namespace

TEST_F(EditTest, slots_of_aligned_and_compact_indexes) {
  entries = {"ab", "cd", "ef", "ghijk"};
  TeraEdit aligned;
  build(&aligned, LAYOUTS[0]);
  EXPECT_EQ(aligned.get_num_entries(), 192U);
  EXPECT_EQ(aligned.section_start(1), 1);
  EXPECT_EQ(aligned.num_words(), 1 + 2 + 5);
  EXPECT_STREQ(aligned.get_string(64, nullptr), "ab");
  EXPECT_STREQ(aligned.get_string(67, nullptr), "");
  EXPECT_EQ(aligned.is_equiv("c d", 65), 1);
  EXPECT_EQ(aligned.get_string(192, nullptr), nullptr);
  TeraEdit compact;
  build(&compact, LAYOUTS[1]);
  EXPECT_EQ(compact.get_num_entries(), 5U);
  EXPECT_EQ(compact.num_words(), 5);
  TeraEdit filtered;
  build(&filtered, LAYOUTS[3]);
  EXPECT_EQ(filtered.get_num_entries(), 192U);
  EXPECT_EQ(filtered.get_filter()->get_num_slots(), 128);
}

TEST_F(EditTest, lines_with_one_string_are_one_entry) {
  entries = {"twin", "other", "twin", "-", ""};
  TeraEdit edit;
  build(&edit, LAYOUTS[0]);
  EXPECT_EQ(recall(edit, "twin", TeraEval::EXACT, TeraEval::MAXIMUM, 255, 0), (Found{{1, 255}, {3, 255}}));
  TeraResult slots("twin", 255, 10, 255);
  ASSERT_EQ(
      edit.recall(&slots, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 0, 0, TeraEdit::NO_RESOLVE, 100, nullptr),
      1);
  EXPECT_EQ(slots.get_best_cand()->get_entry(), 64);
  EXPECT_FALSE(slots.is_resolved());
  TeraResult broken("tw[in", 200, 10, 255);
  EXPECT_LT(edit.recall(&broken, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, nullptr), 0);
  TeraResult none(nullptr, 200, 10, 255);
  EXPECT_EQ(edit.recall(&none, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, nullptr), EditRecall::NO_QUERY);
  TeraResult wrong("twin", 200, 10, 255);
  EXPECT_LT(edit.recall(&wrong, TeraEval::SUBWORD, TeraEval::MAXIMUM, nullptr), 0);
}

TEST_F(EditTest, any_number_of_threads_gives_the_file_of_a_sorted_set) {
  samples::Random random(9);
  for (const int shared : {0, 8, 70}) {  // bytes that all strings begin with
    entries.clear();
    ListTree tree(nullptr);
    AceBulk bulk;
    for (int i = 0; i < 40000; ++i) {
      const int length = random.below(random.below(8) == 0 ? 30 : 6);
      entries.push_back(std::string(static_cast<size_t>(shared), 'c') + random_word(random, length, 4));
      if (random.below(4) == 0) entries.back().insert(entries.back().size() / 2, "-é");
      bulk.inc(tree[entries.back().c_str()], static_cast<Large>(i + 1));
    }
    for (const Layout& layout : {LAYOUTS[0], LAYOUTS[4]}) {
      TeraEdit expected;
      ASSERT_EQ(expected.make(&tree, &map, layout.filter, 2, layout.options, AceReporter::null()), 0);
      std::map<int, std::set<std::string>> strings;  // of each length
      tree.for_each([&](const char* string, const AceBulk::List*) {
        strings[map.tok_len(string, true)].insert(string);
        return 0;
      });
      for (const auto& [length, sorted] : strings) {
        Large slot = static_cast<Large>(expected.first_slot(length));
        if (layout.filter == 0)
          for (const std::string& string : sorted)
            ASSERT_STREQ(expected.get_string(slot++, nullptr), string.c_str());
      }
      for (const int threads : {1, 2, 8}) {
        const Tunable number("NUM_THREADS_EDIT_MAKE", threads);
        ListReader reader(entries);
        TeraEdit edit;
        ASSERT_EQ(edit.make(&reader, &map, layout.filter, 2, layout.options, 0, nullptr, nullptr), 0);
        EXPECT_TRUE(image_of(&edit) == image_of(&expected)) << threads << " threads, " << layout.name;
      }
    }
  }
}

TEST_F(EditFile, answers_alike_in_every_load_mode) {
  samples::Random random(3);
  fill(random, 500, 6, 12);
  const std::string name = folder.file("index");
  for (const Layout& layout : LAYOUTS) {
    std::vector<std::unique_ptr<TeraEdit>> edits;
    edits.push_back(std::make_unique<TeraEdit>());
    build(edits[0].get(), layout);
    ASSERT_EQ(edits[0]->dump(name.c_str(), nullptr), 0);
    for (int mode = 0; mode < 4; ++mode) {
      edits.push_back(std::make_unique<TeraEdit>());
      ASSERT_GE(edits.back()->load(name.c_str(), mode, nullptr), 0) << layout.name << " mode " << mode;
    }
    const TeraBitMatrix* matrix = edits[2]->get_filter();
    if (matrix == nullptr) matrix = edits[2].get();
    bool isCoded = false;
    for (int tok = 1; tok < matrix->num_modules(); ++tok) isCoded |= matrix->get_module(tok).is_compressed();
    EXPECT_EQ(isCoded, (layout.options & TeraEdit::PLAIN_COLUMNS) == 0) << layout.name;
    EXPECT_LT(edits[2]->enter(reinterpret_cast<const Token*>("\1"), 64), 0);  // mapped
    EXPECT_EQ(image_of(edits[1].get()), image_of(edits[0].get()));
    for (int k = 0; k < (samples::SLOW ? 1 : 3); ++k) compare(random, edits, 6);
  }
}

namespace {

/// The image without its map, which has kilobytes of tables.
std::string without_map(TeraEdit* edit) {
  constexpr size_t HEAD = 12;                                                // of the file, magic and columns
  const VInt size = const_cast<TeraMap*>(edit->get_tera_map())->size() - 4;  // which has a head, too
  std::string image = image_of(edit);
  image.erase(HEAD, static_cast<size_t>(size));
  return image;
}

}  // namespace

TEST_F(EditFile, saved_indexes_have_their_documented_bytes) {
  TeraMapConfig config("utf-8");
  config.set_tokens("ab");
  config.compile_map(&map);
  entries = {"ab", "b"};
  TeraEdit plain;
  build(&plain, {"", 0, 0, TeraEdit::COMPACT});
  EXPECT_EQ(without_map(&plain), support::documented_bytes(TEST_FORMATS, "An edit index without a filter"));
  TeraEdit filtered;
  ListTree tree(nullptr);
  for (const std::string& entry : entries) tree[entry.c_str()];
  ASSERT_EQ(filtered.make(&tree, &map, 2, 0, TeraEdit::NO_STRINGS, AceReporter::null()), 0);
  EXPECT_EQ(without_map(&filtered), support::documented_bytes(TEST_FORMATS, "An edit index with a filter"));
}

/// Written once, by the first version with that format: whatever is changed, they open and answer, and in
/// each mode the same (answers.tsv, which hosts in other languages read, too).
TEST_F(EditFile, files_of_all_formats_open_for_ever) {
  const std::string data = TEST_DATA;
  for (const int mode : {0, 1, 2, 3}) {
    std::map<std::string, TeraEdit> edits;
    std::ifstream lines(data + "/answers.tsv");
    for (std::string line; std::getline(lines, line);) {
      SCOPED_TRACE(line);
      std::istringstream row(line);
      std::string file, recallMode, model, query;
      row >> file >> recallMode >> model >> query;
      Found expected;
      char colon = 0;
      for (Large entry = 0, quality = 0; row >> entry >> colon >> quality;)
        expected.emplace(entry, static_cast<int>(quality));
      TeraEdit& edit = edits[file];
      if (edit.get_num_entries() == 0)
        ASSERT_GE(edit.load((data + "/formats/" + file + ".edit").c_str(), mode, nullptr), 0);
      EXPECT_EQ(edit.get_phone_edit() != nullptr, edit.get_filter_log() > 0);
      TeraResult result(query.c_str(), 100, 20, TeraResult::MAX_VALUE);
      EXPECT_GE(edit.recall(&result, TeraEval::get_mode(recallMode.c_str(), nullptr),
                            TeraEval::get_model_enum(model.c_str()), nullptr),
                0);
      EXPECT_EQ(found_in(&result), expected);
    }
    EXPECT_EQ(edits.size(), 2U);
  }
}

TEST_F(EditFile, damaged_files_are_refused_or_survived) {
  entries = {"mayer", "maier", "meyer", "miller", "mulle", "ax", "ay", "b"};
  PhoneTransform phonetics(PhoneTransform::UTF_SOUNDEX);
  for (const int filter : {0, 3}) {
    TeraEdit edit(&map, &phonetics);
    ListReader reader(entries);
    ASSERT_EQ(
        edit.make(&reader, nullptr, filter, 1, filter == 0 ? 0 : TeraEdit::NO_STRINGS, 0, nullptr, nullptr),
        0);
    int numRead = 0;
    int numDamaged = 0;
    support::for_each_damage(image_of(&edit), [&](const std::string& image, const std::string& what) {
      if (samples::SLOW && ++numDamaged % 16 != 0) return;
      SCOPED_TRACE(what);
      TeraEdit read;
      try {
        if (read.read_with_magic(image.data(), image.size()) < 0) return;
        ++numRead;
        for (const TeraEval::Mode mode : {TeraEval::LEVENSHTEIN, TeraEval::FACTOR, TeraEval::EXACT}) {
          TeraResult result("maier", 100, 10, 255);
          read.recall(&result, mode, TeraEval::MAXIMUM, nullptr);
        }
      } catch (const AceException&) {
      }
    });
    EXPECT_GT(numRead, 0);
  }
}

TEST_F(EditFile, claims_that_the_file_does_not_fill_are_refused) {
  support::RecordingReporter reporter;
  reporter.set_as_default();
  std::string longest;
  for (int length = 1; length < 10; ++length) entries.push_back(longest += 'a');
  entries.push_back(std::string(4000, 'b'));
  TeraEdit edit;
  build(&edit, LAYOUTS[3]);
  // The short entries' groups, as those just below the longest one.
  std::vector<int> sums;
  for (int length = 0; length < edit.get_max_length(); ++length) sums.push_back(edit.first_slot(length + 1));
  const auto bytes_of = [](const std::vector<int>& values) {
    return std::string(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(int));
  };
  std::string image = image_of(&edit);
  const size_t at = image.find(bytes_of(sums));
  ASSERT_NE(at, std::string::npos);
  std::vector<int> claims(sums.size(), sums[0]);
  std::copy_n(sums.begin() + 1, 9, claims.end() - 10);
  claims.back() = sums.back();
  image.replace(at, bytes_of(claims).size(), bytes_of(claims));
  TeraEdit read;
  EXPECT_LT(read.read_with_magic(image.data(), image.size()), 0);
  EXPECT_NE(reporter.all().find("its strings are too short for its lengths"), std::string::npos);
  // Sections without bits.
  int histogram[] = {0, 0, 3};
  const std::vector<const Token*> none(2 * TeraBitMatrix::SECTION_SLOTS);
  ASSERT_EQ(edit.init(&map, nullptr), 0);
  ASSERT_EQ(edit.align_sums(histogram, 3, 0, 0), static_cast<int>(none.size()));
  ASSERT_EQ(edit.fill_bits(const_cast<const Token**>(none.data())), 0);
  image = image_of(&edit);
  EXPECT_LT(read.read_with_magic(image.data(), image.size()), 0);
  EXPECT_NE(reporter.all().find("it has no bits"), std::string::npos);
  AceReporter::clear_default();
}

TEST_F(EditTest, what_is_missing_is_refused) {
  support::RecordingReporter reporter;
  reporter.set_as_default();
  PhoneTransform phonetics(PhoneTransform::UTF_SOUNDEX);
  TeraEdit edit(&map, &phonetics);
  edit.print(&reporter);
  edit.stats(&reporter);
  EXPECT_EQ(edit.is_equiv("a", 0), 0);
  EXPECT_LT(edit.recall(nullptr, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, nullptr), 0);
  EXPECT_LT(edit.segment(nullptr, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 0, 0, 0), 0);
  EXPECT_LT(edit.wildcard(nullptr, nullptr, 0), 0);
  EXPECT_LT(edit.exact(nullptr, nullptr, 0), 0);
  entries = {"ab", "cd"};
  ListReader reader(entries);
  ASSERT_EQ(edit.make(&reader, nullptr, 0, 0, 0, 0, nullptr, nullptr), 0);
  EXPECT_LT(edit.resolve(nullptr), 0);
  EXPECT_LT(edit.enter(reinterpret_cast<const Token*>(""), 65), 0);  // finished
  edit.clean_phone();
  EXPECT_LT(edit.size(), 0);  // its companion is gone

  int histogram[] = {0, 0, 2};
  EXPECT_LT(edit.align_sums(nullptr, 3, 0, 0), 0);
  EXPECT_LT(edit.align_sums(histogram, 3, TeraEdit::MAX_FILTER + 1, 0), 0);
  EXPECT_LT(edit.make(&reader, nullptr, TeraEdit::MAX_FILTER + 1, 0, 0, 0, nullptr, nullptr), 0);
  AceReporter::clear_default();
}

TEST_F(EditTest, built_step_by_step) {
  TeraEdit edit;
  for (const int filter : {0, 3}) {
    entries = {"ab", "ad"};
    build(&edit, LAYOUTS[0]);
    int histogram[] = {0, 0, 2};
    ASSERT_EQ(edit.align_sums(histogram, 3, filter, 0), 128);
    const Token* tokens[128] = {};
    tokens[64] = reinterpret_cast<const Token*>("\1\2");
    tokens[65] = reinterpret_cast<const Token*>("\1\x64");
    EXPECT_LT(edit.fill_bits(tokens), 0);  // a token that the map has not
    EXPECT_EQ(recall(edit, "ab", TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 100, 0), Found{});
    tokens[65] = reinterpret_cast<const Token*>("\3\2");
    EXPECT_EQ(edit.fill_bits(tokens), 0);
    TeraResult result("ax", 100, 10, 255);
    EXPECT_EQ(edit.recall(&result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, nullptr), 1);
    EXPECT_EQ(result.get_best_cand()->get_entry(), 64);
    EXPECT_EQ(edit.is_equiv("cb", 65), 1);
  }
  int longer[] = {0, 2, 0};
  ASSERT_EQ(edit.align_sums(longer, 3, 0, TeraEdit::COMPACT), 3);
  EXPECT_EQ(edit.num_words(), 2);  // a section that is not full has the longest length
}

TEST_F(EditTest, maps_without_operators) {
  entries = {"abc", "\xFF\xFA", "\xFF\xFA\xFF", "xa", "\xFB"};
  for (const int filter : {0, 3}) {
    TeraEdit edit;
    ListReader reader(entries);
    ASSERT_EQ(
        edit.make(&reader, TeraMap::get_ident_map(), filter, 1, TeraEdit::ALLOW_ALT, 0, nullptr, nullptr), 0);
    const auto prefixes = [&](const char* query, TeraEval::Mode mode) {
      return recall(edit, query, mode, TeraEval::MAXIMUM, 255, 0);
    };
    EXPECT_EQ(prefixes("a", TeraEval::PREFIX), (Found{{1, 255}}));
    EXPECT_EQ(prefixes("a", TeraEval::FACTOR), (Found{{1, 255}, {4, 255}}));
    EXPECT_EQ(prefixes("\xFF", TeraEval::FRONT), (Found{{2, 255}, {3, 255}}));
    EXPECT_EQ(prefixes("\xFB", TeraEval::EXACT), (Found{{5, 255}}));
  }
}

TEST_F(EditFile, threads_share_a_mapped_index) {
  samples::Random random(4);
  fill(random, 2000, 5, 10);
  const std::string name = folder.file("index");
  TeraEdit built;
  build(&built, LAYOUTS[6]);
  ASSERT_EQ(built.dump(name.c_str(), nullptr), 0);
  std::vector<Found> expected;
  for (int k = 0; k < 40; ++k)
    expected.push_back(
        recall(built, entries[static_cast<size_t>(k)], TeraEval::LEVENSHTEIN, TeraEval::MEAN, 150, 2));
  TeraEdit shared;
  ASSERT_GE(shared.load(name.c_str(), 1, nullptr), 0);
  std::atomic<int> numWrong = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([&, t] {
      const AceThreadSafe registered;
      for (size_t k = 0; k < expected.size(); ++k) {
        const size_t query = (k + static_cast<size_t>(5 * t)) % expected.size();
        numWrong +=
            recall(shared, entries[query], TeraEval::LEVENSHTEIN, TeraEval::MEAN, 150, 2) != expected[query];
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(numWrong, 0);
}

TEST_F(EditTest, aliases_are_added_in_both_directions) {
  entries = {"robert", "bob", "jane"};
  char lines[] = "robert\tbob|rob\njane\tjenny\n";
  AceInput input(lines, true);
  TeraAliasFileReader aliases(&input, nullptr, 0);
  ListReader reader(entries);
  TeraEdit edit;
  ASSERT_EQ(edit.make(&reader, &map, 0, 0, 0, 0, nullptr, &aliases), 0);
  EXPECT_EQ(recall(edit, "rob", TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 255, 0), (Found{{1, 255}}));
  EXPECT_EQ(recall(edit, "robert", TeraEval::EXACT, TeraEval::MAXIMUM, 255, 0), (Found{{1, 255}, {2, 255}}));
  EXPECT_EQ(recall(edit, "robert", TeraEval::EXACT, TeraEval::MAXIMUM, 255, TeraEdit::NO_ALIASES),
            (Found{{1, 255}}));
  EXPECT_EQ(recall(edit, "jenny", TeraEval::EXACT, TeraEval::MAXIMUM, 255, 0), (Found{{3, 255}}));
}

TEST_F(EditTest, a_string_of_an_alias_stands_for_all_entries_with_its_tokens) {
  entries = {"r-obert", "robert", "bob"};
  char lines[] = "ro-bert\tb-ob|rob\n";
  AceInput input(lines, true);
  TeraAliasFileReader aliases(&input, nullptr, 0);
  ListReader reader(entries);
  TeraEdit edit;
  ASSERT_EQ(edit.make(&reader, &map, 0, 0, 0, 0, nullptr, &aliases), 0);
  EXPECT_EQ(recall(edit, "rob", TeraEval::EXACT, TeraEval::MAXIMUM, 255, 0), (Found{{1, 255}, {2, 255}}));
  EXPECT_EQ(recall(edit, "robert", TeraEval::EXACT, TeraEval::MAXIMUM, 255, 0),
            (Found{{1, 255}, {2, 255}, {3, 255}}));
}

TEST_F(EditOracle, aliases_have_the_quality_of_a_hit_less_the_penalty) {
  samples::Random random(8);
  for (int round = 0; round < 30; ++round) {
    fill(random, 40, 3, 6);
    std::erase_if(entries, [](const std::string& entry) { return entry.empty(); });
    std::string lines;
    std::map<std::pair<Large, Large>, int> penalties;  // of attribute numbers, both ways
    for (int i = 0; i < 20; ++i) {
      const Large one = 1 + static_cast<Large>(random.below(static_cast<int>(entries.size())));
      const Large other = 1 + static_cast<Large>(random.below(static_cast<int>(entries.size())));
      const int penalty = round % 3 == 0 ? 0 : random.below(random.below(10) == 0 ? 300 : 60);
      lines += entries[one - 1] + '\t' + std::to_string(penalty) + '\t' + entries[other - 1] + '\n';
      for (const auto& pair : {std::pair(one, other), std::pair(other, one)}) {
        const auto [place, isNew] = penalties.emplace(pair, penalty);
        place->second = std::min(place->second, penalty);
      }
    }
    AceInput input(lines.data(), true);
    TeraAliasFileReader aliases(&input, nullptr, 0);
    ListReader reader(entries);
    TeraEdit built, edit;
    ASSERT_EQ(built.make(&reader, &map, round % 2 * 3, 0, 0, 0, nullptr, &aliases), 0);
    const std::string image = image_of(&built);
    ASSERT_GE(edit.read_with_magic(image.data(), static_cast<VInt>(image.size())), 0);
    for (int k = 0; k < 10; ++k) {
      const std::string query = random_word(random, 1 + random.below(6), 3);
      const int least = 60 + random.below(196);
      const int budget = 1 + random.below(12);
      const int dist = random.below(2) == 0 ? 255 : random.below(60);
      const Found hits = scan(query, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, least, 0);
      Found expected = hits;
      for (const auto& [pair, penalty] : penalties)
        if (const auto hit = hits.find(pair.first); hit != hits.end() && hit->second - penalty >= least) {
          int& quality = expected[pair.second];
          quality = std::max(quality, hit->second - penalty);
        }
      TeraResult result(query.c_str(), least, budget, dist);
      const int num = edit.recall(&result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 0, 0, 0, 100, nullptr);
      EXPECT_EQ(found_in(&result), limited(expected, budget, dist)) << query << " round " << round;
      EXPECT_EQ(num, result.num_cands());
      EXPECT_TRUE(result.is_resolved());
    }
  }
}

TEST_F(EditTest, phonetic_and_plain_qualities_are_mixed) {
  entries = {"mayer", "maier", "meier", "smith", "smyth", "schmitt", "weaver", "katherine", "kathleen"};
  const PhoneTransform phonetics(PhoneTransform::UTF_SOUNDEX);
  const auto strings_in = [](const TeraResult& result) {
    std::map<std::string, int> found;
    result.find_any([&](int quality, const TeraCand* cand) {
      EXPECT_TRUE(found.emplace(cand->get_string(), quality).second);
      return false;
    });
    return found;
  };
  for (const int filter : {0, 4}) {
    TeraEdit edit(&map, const_cast<PhoneTransform*>(&phonetics));
    ListReader reader(entries);
    ASSERT_EQ(edit.make(&reader, nullptr, filter, 0, 0, 0, nullptr, nullptr), 0);
    for (const std::string query : {"meyer", "smit", "weber", "schmidt", "kathexine"})
      for (const TeraEval::Model model : {TeraEval::MAXIMUM, TeraEval::REDUNDANT})
        for (const int percent : {0, 30, 50, 100}) {
          TeraQuery* const mixed = edit.get_query(query.c_str(), TeraEval::LEVENSHTEIN, model, 0, percent);
          for (const int dist : {0, 5, 20, 255})
            for (const bool isForeign : {false, true}) {
              std::map<std::string, int> expected;
              int best = 150;
              for (const std::string& entry : entries) best = std::max(best, mixed->compare(entry.c_str()));
              for (const std::string& entry : entries)
                if (const int quality = mixed->compare(entry.c_str()); quality >= std::max(150, best - dist))
                  expected[entry] = quality;
              TeraResult result(query.c_str(), 150, 100, dist);
              if (isForeign) {  // states of what is to be resolved elsewhere
                result.set_resolved();
                result.set_info_mode(0);
              }
              ASSERT_GE(edit.recall(&result, TeraEval::LEVENSHTEIN, model, 0, 0, 0, percent, nullptr), 0);
              EXPECT_EQ(strings_in(result), expected) << query << ' ' << percent << ' ' << dist;
              EXPECT_GE(result.get_min_value(), expected.empty() ? 150 : best - dist);
            }
          mixed->unref();
        }
  }
}

TEST_F(EditOracle, segments_between_separator_tokens_are_measured_one_by_one) {
  samples::Random random(5);
  for (const char separator : {'|', ';'}) {
    TeraMapConfig config("utf-8");
    config.set_tokens(ALPHABET);
    config.map_specials('[', ']', '?', '*', static_cast<Token>(separator), 0);
    config.compile_map(&map);
    known.clear();
    fill(random, 300, 4, 8);
    TeraEdit edit;
    build(&edit, separator == '|' ? LAYOUTS[0] : LAYOUTS[6]);
    for (int k = 0; k < 20; ++k) {
      std::string parts[2];
      for (std::string& part : parts)
        part = with_operators(random, random_word(random, 1 + random.below(6), 4), 4);
      for (const TeraEval::Mode mode : MODES) {
        const std::string query = parts[0] + separator + parts[1];
        if (mode == TeraEval::EXACT) {
          TeraResult refused(query.c_str(), 1, 10, 255);
          support::RecordingReporter reporter;
          EXPECT_EQ(
              edit.recall(&refused, mode, TeraEval::MAXIMUM, 0, 0, TeraEdit::USE_SEGMENT, 100, &reporter),
              EditRecall::UNALIGED_MODEL);
          EXPECT_NE(reporter.all().find("This recall mode is not support by current edit structure!\n"),
                    std::string::npos);
          continue;
        }
        Found expected;
        for (const std::string& part : parts)
          for (const auto& [info, quality] : scan(part, mode, TeraEval::MAXIMUM, 120, 0, true))
            expected[info] = std::max(expected[info], quality);
        EXPECT_EQ(recall(edit, query, mode, TeraEval::MAXIMUM, 120, TeraEdit::USE_SEGMENT), expected)
            << query;
      }
      const std::string word = random_word(random, 1 + random.below(6), 4);
      const int plain = TeraEdit::NO_OPERATORS;
      EXPECT_EQ(recall(edit, word.substr(0, 1) + "|;" + word.substr(1), TeraEval::LEVENSHTEIN,
                       TeraEval::MAXIMUM, 120, plain | TeraEdit::USE_SEGMENT),
                scan(word, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 120, plain));
    }
  }
}

TEST_F(EditFile, writes_and_describes_what_it_has) {
  entries = {"ab", "cd", "ab", "xyz", ""};
  TeraEdit edit;
  build(&edit, LAYOUTS[4]);
  const std::string name = folder.file("lines");
  EXPECT_EQ(edit.write(name.c_str(), 0), 4);
  EXPECT_EQ(edit.write(name.c_str(), 1), 3);
  EXPECT_EQ(edit.write(name.c_str(), 2), 3);
  EXPECT_EQ(edit.write_filter(name.c_str()), 2);
  EXPECT_LT(edit.write_phonetic(name.c_str(), 0), 0);
  support::RecordingReporter reporter;
  edit.print(&reporter);
  edit.stats(&reporter);
  EXPECT_NE(reporter.all().find("NUM_MODULES\t41\n"), std::string::npos) << reporter.all();
  EXPECT_NE(reporter.all().find("filtered edit structure\n"), std::string::npos);
}

TEST_F(EditTest, long_queries_are_measured_whole_or_refused) {
  const std::string word(1024, 'a');
  entries = {word, word.substr(0, 128), word.substr(1) + "b", word.substr(0, 1023)};
  support::RecordingReporter reporter;
  reporter.set_as_default();
  for (const Layout& layout : {LAYOUTS[0], LAYOUTS[5], LAYOUTS[6]}) {
    TeraEdit edit;
    build(&edit, layout);
    EXPECT_EQ(recall(edit, word, TeraEval::EXACT, TeraEval::MAXIMUM, 255, 0), (Found{{1, 255}}));
    EXPECT_EQ(recall(edit, word, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 250, 0),
              (Found{{1, 255}, {3, 254}, {4, 254}}));
    for (const TeraEval::Mode mode : {TeraEval::LEVENSHTEIN, TeraEval::FACTOR}) {
      TeraResult longer((word + "a").c_str(), 1, 10, 255, nullptr);
      EXPECT_EQ(edit.recall(&longer, mode, TeraEval::MAXIMUM, nullptr), EditRecall::GENERAL_ERROR);
      EXPECT_NE(reporter.all().find("Query of more than 1024 positions\n"), std::string::npos);
    }
    TeraResult pattern((word.substr(0, 128) + "?*").c_str(), 255, 10, 255);
    EXPECT_EQ(edit.recall(&pattern, TeraEval::WILDCARD, TeraEval::MAXIMUM, nullptr),
              EditRecall::GENERAL_ERROR);
    EXPECT_NE(reporter.all().find("Pattern of more than 128 positions\n"), std::string::npos);
  }
  TeraStandardQuery longest((word + "a").c_str(), TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, &map, 0);
  EXPECT_EQ(longest.compare(word.c_str()), -1);
  TeraStandardQuery exact((word + "a").c_str(), TeraEval::EXACT, TeraEval::MAXIMUM, &map, 0);
  EXPECT_EQ(exact.compare(word.c_str()), 0);
  EXPECT_EQ(exact.compare((word + "a").c_str()), 255);
}

TEST_F(EditTest, queries_that_cost_too_much_are_refused_as_the_tunables_say) {
  entries = {std::string(1024, 'a'), std::string(1000, 'b'), "ab"};
  std::string alternatives;  // as many different sets as positions
  for (int i = 0; i < 1000; ++i) {
    alternatives += '[';
    for (int bit = 0; bit < 10; ++bit)
      if ((i + 1) >> bit & 1) alternatives += ALPHABET[bit];
    alternatives += "z]";
  }
  support::RecordingReporter reporter;
  reporter.set_as_default();
  for (const Layout& layout : {LAYOUTS[0], LAYOUTS[5], LAYOUTS[6]}) {
    TeraEdit edit;
    build(&edit, layout);
    const auto rc_of = [&](const std::string& query) {
      TeraResult result(query.c_str(), 1, 10, 255, nullptr);
      const int rc = edit.recall(&result, TeraEval::FACTOR, TeraEval::MAXIMUM, 0, 0, 0, 100, nullptr);
      EXPECT_EQ(result.is_unreliable(), rc < 0);
      return rc;
    };
    EXPECT_GE(rc_of(entries[0]), 1);
    {
      const Tunable half("EDIT_RECALL_MEGABYTES", 32);
      EXPECT_EQ(rc_of(alternatives), EditRecall::GENERAL_ERROR);
    }
    EXPECT_NE(reporter.all().find(layout.filter == 0 ? "EDIT_RECALL_MEGABYTES" : "Query refused"),
              std::string::npos);
    const Tunable memory("EDIT_RECALL_MEGABYTES", -1);
    {
      const Tunable none("EDIT_STEPS_PER_ENTRY", -1);
      EXPECT_GE(rc_of(alternatives), 1);
    }
    const Tunable few("EDIT_STEPS_PER_ENTRY", 1);
    EXPECT_EQ(rc_of(entries[0]), EditRecall::GENERAL_ERROR);
    EXPECT_NE(reporter.all().find("EDIT_STEPS_PER_ENTRY"), std::string::npos);
    EXPECT_EQ(rc_of("ab"), 1);
  }
}

TEST_F(EditTest, entries_of_too_many_positions_are_left_out_with_a_word) {
  const std::string longest(TeraEdit::MAX_POSITIONS, 'a');
  entries = {"ab", longest + "b", longest};
  support::RecordingReporter reporter;
  ListReader reader(entries);
  TeraEdit edit;
  ASSERT_EQ(edit.make(&reader, &map, 5, 1, 0, 0, &reporter, nullptr), 0);
  EXPECT_EQ(edit.get_max_length(), TeraEdit::MAX_POSITIONS + 1);
  EXPECT_NE(reporter.all().find("Line 2 has an entry of 4097 positions, more than 4096"), std::string::npos);
  EXPECT_EQ(recall(edit, longest, TeraEval::EXACT, TeraEval::MAXIMUM, 255, 0), (Found{{3, 255}}));
}
