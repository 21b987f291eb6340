#include "tera/edit/edit_kernel_internal.h"

#include <map>
#include <numeric>
#include <set>
#include <span>

#include "ace/ace_cpu.h"
#include "oracle/edit_index.h"
#include "support/recall_modes.h"
#include "support/word_samples.h"
#include "tera/edit/edit_scratch_internal.h"

namespace {

constexpr std::span MODES(support::MODES, support::NUM_MEASURED_MODES);
constexpr int NUM_TOKENS = 256;

/// Entries of one length in both forms.
class Group {
 public:
  Group(int length, const std::vector<samples::Tokens>& tokens) : n(length), entries(tokens) {
    numBlocks = (static_cast<int>(entries.size()) + EDIT_BLOCK_LANES - 1) / EDIT_BLOCK_LANES;
    const size_t positions = static_cast<size_t>(numBlocks) * n + 2 * EDIT_PADDING;
    columns.resize(NUM_TOKENS, std::vector<VUint>(positions * EDIT_BLOCK_WORDS));
    bytes.resize(positions * EDIT_BLOCK_LANES);
    for (size_t lane = 0; lane < entries.size(); ++lane)
      for (int j = 0; j < n; ++j) {
        const unsigned char tok = entries[lane][static_cast<size_t>(j)];
        const size_t row = lane / EDIT_BLOCK_LANES * n + j + EDIT_PADDING;
        columns[tok][row * EDIT_BLOCK_WORDS + lane / 64 % EDIT_BLOCK_WORDS] |= VUint{1} << lane % 64;
        bytes[(lane / 64 * n + j + EDIT_PADDING) * 64 + lane % 64] = tok;
      }
  }
  const VUint* column(unsigned char tok) const {
    return columns[tok].data() + EDIT_PADDING * EDIT_BLOCK_WORDS;
  }

  int n;
  int numBlocks;
  std::vector<samples::Tokens> entries;
  std::vector<std::vector<VUint>> columns;
  std::vector<Token> bytes;
};

using Hits = std::map<int, int>;

Hits hits_of(const Group& group, const oracle::Positions& query, const EditTask& task) {
  Hits hits;
  for (size_t lane = 0; lane < group.entries.size(); ++lane) {
    const oracle::Positions entry(group.entries[lane].data());
    const int x = oracle::index_measure(task.mode, query, entry, task.transpose);
    if (x >= task.fewest) hits[static_cast<int>(lane)] = x;
  }
  return hits;
}

/// Both forms on one processor level, through a buffer that has room for one block at a time.
void expect_hits(const Group& group, const EditTask& task, const Hits& expected, const std::string& what) {
  std::vector<EditHit> room(EDIT_BLOCK_LANES);
  const auto add = [&](Hits& found, int num) {
    for (int i = 0; i < num; ++i)
      if (room[static_cast<size_t>(i)].lane < group.entries.size())
        found[static_cast<int>(room[static_cast<size_t>(i)].lane)] = room[static_cast<size_t>(i)].measure;
  };
  Hits scanned;
  for (int block = 0; block < group.numBlocks;)
    add(scanned, edit_kernel().scan(task, block, group.numBlocks, room));
  EXPECT_EQ(scanned, expected) << what;
  for (const int log : {5, 6})
    for (const Large leftOut : {~Large{0}, Large{1}}) {  // neighbours are compared at once
      std::vector<Large> groups;
      Hits wanted = expected;
      for (Large number = 0; number << log < group.entries.size(); ++number)
        if (number % 4 != leftOut) groups.push_back(number);
      std::erase_if(wanted,
                    [&](const auto& hit) { return (static_cast<Large>(hit.first) >> log) % 4 == leftOut; });
      Hits checked;
      for (int next = 0; next < static_cast<int>(groups.size());)
        add(checked, edit_kernel().check(task, log, groups, next, room));
      EXPECT_EQ(checked, wanted) << what << " in groups of " << (1 << log) << " without " << leftOut;
    }
}

/// Near misses of the query, so that all measures occur.
std::vector<samples::Tokens> entries_like(samples::Random& random, const samples::Tokens& query, int n,
                                          int num, int letters) {
  std::vector<samples::Tokens> entries;
  for (int k = 0; k < num; ++k) {
    samples::Tokens entry;
    int from = random.below(3);
    for (int j = 0; j < n; ++j, ++from) {
      if (random.below(8) == 0) from += random.below(3) - 1;
      const bool copies = random.below(5) != 0 && from >= 0 && from < static_cast<int>(query.size()) - 1;
      const unsigned char tok = copies ? query[static_cast<size_t>(from)] : 0;
      entry.push_back(tok != 0 && tok < 250 ? tok : static_cast<unsigned char>(1 + random.below(letters)));
    }
    entry.push_back(0);
    entries.push_back(entry);
  }
  return entries;
}

void compare_with_oracle(samples::Random& random, int m, int n, int num, int letters, bool operators) {
  const samples::Tokens query = samples::word(random, m, operators);
  const oracle::Positions positions(query.data());
  const Group group(n, entries_like(random, query, n, num, letters));
  std::vector<std::vector<VUint>> made;
  std::vector<std::vector<Token>> members;
  std::vector<const VUint*> columns;
  std::vector<EditAccept> accepts;
  made.reserve(positions.tokens.size());
  members.reserve(positions.tokens.size());
  for (const auto& accepted : positions.tokens) {
    made.emplace_back(group.columns[0].size());
    members.emplace_back();
    for (int tok = 1; tok < NUM_TOKENS; ++tok) {
      if (!accepted.test(static_cast<size_t>(tok)) && !accepted.test(250)) continue;
      members.back().push_back(static_cast<Token>(tok));
      for (size_t w = 0; w < made.back().size(); ++w) made.back()[w] |= group.columns[tok][w];
    }
    columns.push_back(made.back().data() + EDIT_PADDING * EDIT_BLOCK_WORDS);
    const bool isSingle = members.back().size() == 1;
    accepts.push_back({isSingle ? members.back()[0] : Token{0}, members.back(), accepted.test(250)});
  }
  std::vector<int> setOf(accepts.size());
  std::iota(setOf.begin(), setOf.end(), 0);
  for (const TeraEval::Mode mode : MODES)
    for (const bool transpose : {false, true}) {
      const int most = edit_measure_max(mode, m, n);
      EditTask task{mode,          transpose, m, n, 1, columns.data(), group.bytes.data() + EDIT_PADDING * 64,
                    accepts.data()};
      task.fewest = std::max(1, most - random.below(mode == TeraEval::LEVENSHTEIN ? 6 : most + 1));
      if (random.below(2) != 0) {  // compared once for each set
        task.sets = accepts.data();
        task.setOf = setOf.data();
        task.numSets = static_cast<int>(accepts.size());
      }
      EditRoom slices;
      task.room = slices.get(edit_room_bytes(task));
      const Hits expected = hits_of(group, positions, task);
      for (const auto& [lane, x] : expected) ASSERT_LE(x, most);
      for (const AceCpuLevel level : {AceCpuLevel::BASELINE, AceCpuLevel::AVX2, AceCpuLevel::AVX512})
        if (ace_cpu_limit(level) == level)
          expect_hits(group, task, expected,
                      std::string(TeraEval::get_mode_name(mode)) + (transpose ? " trans" : "") + " m " +
                          std::to_string(m) + " n " + std::to_string(n) + " least " +
                          std::to_string(task.fewest) + " on " + ace_cpu_name(level));
      if (testing::Test::HasFailure()) return;
    }
}

}  // namespace

TEST(EditKernel, finds_the_lanes_that_the_table_of_each_entry_finds) {
  samples::Random random(1);
  for (int round = 0; round < (samples::SLOW ? 40 : 250) && !HasFailure(); ++round) {
    const int m = 1 + random.below(14);
    const int n = std::max(1, m + random.below(9) - 4);
    compare_with_oracle(random, m, n, 40 + random.below(60), 3 + random.below(8), random.below(3) == 0);
  }
}

TEST(EditKernel, a_walk_with_swaps_finds_nothing_that_its_bound_leaves_out) {
  samples::Random random(3);
  int numHits = 0;
  for (int round = 0; round < (samples::SLOW ? 60 : 400) && !HasFailure(); ++round) {
    const int n = 1 + random.below(9);
    const samples::Tokens query = samples::word(random, 1 + random.below(9), false);
    const oracle::Positions positions(query.data());
    const Group group(n, entries_like(random, query, n, 64, 3));
    std::vector<const VUint*> columns;
    for (const auto& accepted : positions.tokens)
      for (int tok = 1; tok < NUM_TOKENS; ++tok)
        if (accepted.test(static_cast<size_t>(tok))) columns.push_back(group.column(static_cast<Token>(tok)));
    const int m = positions.size();
    ASSERT_EQ(columns.size(), static_cast<size_t>(m));
    for (const TeraEval::Mode mode : {TeraEval::SUBSET, TeraEval::SUPERSET, TeraEval::BLOCKEDIT}) {
      EditTask task{mode, true, m, n, 1 + random.below(std::min(m, n)), columns.data()};
      const Hits expected = hits_of(group, positions, task);
      task.mode = TeraEval::SEQ;
      task.boundsSwaps = true;
      EditRoom slices;
      task.room = slices.get(edit_room_bytes(task));
      std::vector<EditHit> room(EDIT_BLOCK_LANES);
      int block = 0;
      std::set<Large> passed;
      for (int num = edit_kernel().scan(task, block, 1, room); num > 0; --num)
        passed.insert(room[static_cast<size_t>(num - 1)].lane);
      for (const auto& [lane, x] : expected)
        EXPECT_EQ(passed.count(static_cast<Large>(lane)), 1U) << TeraEval::get_mode_name(mode) << ' ' << x;
      numHits += static_cast<int>(expected.size());
    }
  }
  EXPECT_GT(numHits, 1000);
}

TEST(EditKernel, long_words_and_several_blocks) {
  samples::Random random(2);
  compare_with_oracle(random, 6, 7, samples::SLOW ? 600 : 1300, 4, false);
  for (const auto& [m, n] : {std::pair{63, 66}, {64, 60}, {65, 140}, {128, 126}, {3, 140}, {128, 1}})
    compare_with_oracle(random, m, n, 20, 3, false);
}
