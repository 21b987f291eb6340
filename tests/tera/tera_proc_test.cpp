#include "tera/tera_proc.h"

#include <algorithm>
#include <functional>
#include <map>
#include <span>

#include "oracle/edit_index.h"
#include "support/word_samples.h"
#include "tera/edit_tableau.h"
#include "tera/tera_result.h"

namespace {

constexpr int LANES = TeraProc::WORD_LANES;
constexpr int NUM_SECTIONS = 3;

/// A query and sections of entries, one length each, as columns by query position.
class Sections {
 public:
  Sections(samples::Random& random, int query_length, std::vector<int> lengths)
      : query(samples::word(random, query_length, true).data()), sizes(std::move(lengths)) {
    int words = 0;
    for (const int size : sizes) {
      starts.push_back(words);
      words += size;
    }
    for (int i = 0; i < query.size(); ++i) columns.emplace_back(static_cast<size_t>(words));
    for (auto& column : columns) modules.push_back(column.data());
    for (size_t s = 0; s < sizes.size(); ++s)
      for (int lane = 0; lane < LANES; ++lane) {
        entries.emplace_back(samples::word(random, sizes[s], false).data());
        const oracle::Matrix accepts(query, entries.back());
        for (int i = 0; i < accepts.m; ++i)
          for (int j = 0; j < accepts.n; ++j)
            if (accepts(i, j)) columns[static_cast<size_t>(i)][starts[s] + j] |= VBit{1} << lane;
      }
  }

  oracle::Positions query;
  std::vector<int> sizes, starts;
  std::vector<std::vector<VBit>> columns;
  std::vector<VBit*> modules;
  std::vector<oracle::Positions> entries;  // by lane
};

struct Arrays {
  explicit Arrays(int size) : cmc(static_cast<size_t>(size)), cpc(cmc), rmc(cmc), rpc(cmc) {}
  std::vector<VBit> cmc, cpc, rmc, rpc;
};

bool is_distance(TeraEval::Mode mode) {
  return mode >= TeraEval::LEVENSHTEIN && mode <= TeraEval::EXTEND;
}
TeraEval::Mode simple_mode(TeraEval::Mode mode, int m, int n) {
  if (mode == TeraEval::FRONT) return m > n ? TeraEval::PREFIX : TeraEval::EXTEND;
  if (mode == TeraEval::BACK) return m > n ? TeraEval::SUFFIX : TeraEval::CLOSE;
  if (mode == TeraEval::MID) return m > n ? TeraEval::FACTOR : TeraEval::COVER;
  if (mode == TeraEval::BLOCKEDIT) return n <= m ? TeraEval::SUPERSET : TeraEval::SUBSET;
  return mode;
}

/// Counts a section's measures, hits or what is left of the longer, or free, side after its errors.
void count_section(TeraProc* proc, const Sections& all, int s, TeraEval::Mode mode, EditTableau* tableau) {
  const int m = all.query.size();
  const int n = all.sizes[static_cast<size_t>(s)];
  const TeraEval::Mode simple = simple_mode(mode, m, n);
  Arrays out(2 * std::max(m, n) + 2);
  auto* const modules = const_cast<VBit**>(all.modules.data());
  const int base = tableau(all.starts[static_cast<size_t>(s)], n, m, modules, out.cmc.data(), out.cpc.data(),
                           out.rmc.data(), out.rpc.data());
  if (is_distance(simple)) {
    const bool ofEntry = simple == TeraEval::CLOSE || simple == TeraEval::EXTEND || simple == TeraEval::COVER;
    const int reach = simple == TeraEval::CLOSE ? std::min(n, (3 * m + 1) / 2) : ofEntry ? n : m;
    const int num = simple == TeraEval::LEVENSHTEIN ? std::max(m, n) : reach;
    const int length = simple == TeraEval::LEVENSHTEIN ? num : ofEntry ? n : m;
    proc->diff_array(s, num, out.cmc.data(), out.cpc.data(), length + base);
    return;
  }
  const std::map<TeraEval::Mode, int> numSlices = {
      {TeraEval::POSITION, std::min({m, n, 64})},
      {TeraEval::BIPOS, std::min(m, std::min(n, 64) + 1)},
      {TeraEval::SEQ, m},
      {TeraEval::BISEQ, m},
      {TeraEval::BIGRAMS, n + 1},
      {TeraEval::SUBSET, 2 * m},
      {TeraEval::SUPERSET, 2 * n},
  };
  proc->add_array(s, numSlices.at(simple), out.cmc.data());
  if (simple == TeraEval::BISEQ && m > 1 && n > 1) proc->add_array(s, m - 1, out.cpc.data());
  EXPECT_EQ(base, 0);
}

/// What `get_cands` should find, best counters and then longest entries first.
std::map<Large, int> cands_of(const std::vector<int>& counters, const std::vector<int>& sizes, int m,
                              TeraEval::Eval* eval, bool doubled, int least) {
  std::map<Large, int> found;
  for (size_t lane = 0; lane < counters.size(); ++lane) {
    const int n = sizes[lane / LANES];
    const int quality =
        std::clamp(doubled ? eval(2 * m, counters[lane], 2 * n) : eval(m, counters[lane], n), 0, 255);
    if (counters[lane] > 0 && quality >= least) found[static_cast<Large>(LANES + lane)] = quality;
  }
  return found;
}

std::map<Large, int> found_in(TeraResult* result) {
  std::map<Large, int> found;
  result->find_any([&](int quality, const TeraCand* cand) {
    found[static_cast<Large>(cand->get_entry())] = quality;
    return false;
  });
  return found;
}

}  // namespace

TEST(TeraProc, counts_what_each_tableau_measures) {
  samples::Random random(1);
  TeraProc proc;
  for (int round = 0; round < (samples::SLOW ? 6 : 30); ++round) {
    std::vector<int> sizes;
    for (int s = 0; s < NUM_SECTIONS; ++s) sizes.push_back(1 + random.below(round == 0 ? 80 : 12));
    std::sort(sizes.begin(), sizes.end());
    const Sections all(random, 1 + random.below(round == 1 ? 70 : 12), sizes);
    const int m = all.query.size();
    for (int mode = TeraEval::LEVENSHTEIN; mode <= TeraEval::BLOCKEDIT; ++mode)
      for (const int options : {0, 2}) {
        const auto named = static_cast<TeraEval::Mode>(mode);
        EditTableau* tableau = nullptr;
        ASSERT_GT(select_edit_tableau(named, options, &tableau), 0);
        if (named == TeraEval::WILDCARD) continue;
        proc.start(NUM_SECTIONS, 9);
        for (int s = 0; s < NUM_SECTIONS; ++s) count_section(&proc, all, s, named, tableau);
        std::vector<int> counters;
        for (size_t lane = 0; lane < all.entries.size(); ++lane) {
          counters.push_back(oracle::index_measure(named, all.query, all.entries[lane], options != 0));
          ASSERT_EQ(proc.get_value(static_cast<int>(lane)), counters.back())
              << TeraEval::get_mode_name(named) << " options " << options << " m " << m << " n "
              << all.sizes[lane / LANES];
        }
        // Slots from 64 on: nothing is shorter than the first length.
        std::vector<int> slots(static_cast<size_t>(sizes.back()) + 1, LANES);
        for (size_t n = 1; n < slots.size(); ++n)
          slots[n] = LANES + LANES * static_cast<int>(
                                         std::upper_bound(sizes.begin(), sizes.end(), static_cast<int>(n)) -
                                         sizes.begin());
        TeraEval::Eval* const eval = TeraEval::get_model_func(TeraEval::MEAN, 0);
        const int least = random.below(256);
        const bool doubled = named == TeraEval::BISEQ;
        TeraResult result("", least, 100000, 255);
        const auto expected = cands_of(counters, all.sizes, m, eval, doubled, least);
        EXPECT_EQ(proc.get_cands(LANES, NUM_SECTIONS * LANES, slots.data(), m, eval, doubled ? 1 : 0, &result,
                                 static_cast<int>(slots.size())),
                  static_cast<int>(expected.size()));
        EXPECT_EQ(found_in(&result), expected);
      }
  }
  EditTableau* none = nullptr;
  EXPECT_EQ(select_edit_tableau(TeraEval::SUBWORD, 0, &none), -1);
  EXPECT_EQ(select_edit_tableau(TeraEval::SCAN, 0, &none), -1);
}

TEST(TeraProc, counts_segments_side_by_side) {
  samples::Random random(2);
  struct Kind {
    EditSegments* tableau;
    TeraEval::Mode mode;
  };
  for (int round = 0; round < 20; ++round) {
    const int n = 1 + random.below(9);
    const Sections all(random, 4 + random.below(8), {n});
    std::vector<int> control = {1 + random.below(MAX_SEGMENT), 0};
    for (int s = 1; s < control[0]; ++s) control.push_back(s);
    control.push_back(all.query.size());
    for (const Kind& kind : {Kind{edit_leven_segment, TeraEval::LEVENSHTEIN},
                             {edit_prefix_segment, TeraEval::PREFIX},
                             {edit_suffix_segment, TeraEval::SUFFIX},
                             {edit_factor_segment, TeraEval::FACTOR}}) {
      Arrays out(all.query.size());
      ASSERT_EQ(kind.tableau(0, n, const_cast<VBit**>(all.modules.data()), control.data(), out.cmc.data(),
                             out.cpc.data()),
                control[0]);
      for (int s = 0; s < control[0]; ++s) {
        const int from = control[static_cast<size_t>(s) + 1];
        const int m = control[static_cast<size_t>(s) + 2] - from;
        oracle::Positions word = all.query;
        word.tokens.erase(word.tokens.begin(), word.tokens.begin() + from);
        word.truncate(m);
        const bool isLeven = kind.mode == TeraEval::LEVENSHTEIN;
        const int start = isLeven ? n : kind.mode == TeraEval::FACTOR ? m : 0;
        TeraProc proc;
        proc.start(1, 8);
        proc.diff_array(0, m, out.cmc.data() + from, out.cpc.data() + from,
                        (isLeven ? std::max(m, n) : m) - start);
        for (int lane = 0; lane < LANES; ++lane)
          ASSERT_EQ(proc.get_value(lane),
                    oracle::index_measure(kind.mode, word, all.entries[static_cast<size_t>(lane)], false));
      }
    }
  }
}

TEST(TeraProc, counts_slices_and_selects_lanes) {
  samples::Random random(3);
  constexpr int WORDS = 3;
  TeraProc proc;
  for (int round = 0; round < 40; ++round) {
    const int numSlices = random.below(40);
    proc.start(WORDS, 5);  // counters of 32 and more start again
    std::vector<int> counters(WORDS * LANES);
    std::vector<bool> always(counters.size(), true);
    for (int i = 0; i < numSlices; ++i) {
      VBit slice[WORDS] = {};
      for (size_t lane = 0; lane < counters.size(); ++lane) {
        const bool isSet = lane % 16 == 0 || random.below(4) != 0;
        slice[lane / LANES] |= VBit{isSet} << lane % LANES;
        counters[lane] += isSet ? 1 : 0;
        always[lane] = always[lane] && isSet;
      }
      proc.add(slice);
    }
    const auto lanes_of = [&](const auto& holds) {
      std::vector<int> lanes;
      for (size_t lane = 0; lane < counters.size(); ++lane)
        if (holds(lane)) lanes.push_back(static_cast<int>(lane));
      return lanes;
    };
    VBit out[WORDS];
    const auto stored = [&](int num) {
      std::vector<int> lanes(static_cast<size_t>(TeraProc::num_bits(out)));
      TeraProc::get_bits(out, lanes.data());
      EXPECT_EQ(num, static_cast<int>(lanes.size()));
      return lanes;
    };
    const std::vector<int> inHalf = lanes_of([&](size_t l) { return 2 * counters[l] >= numSlices; });
    if (numSlices < 32) EXPECT_EQ(stored(proc.half(out)), inHalf);
    for (int& counter : counters) counter %= 32;
    const int value = random.below(34) - 1;
    EXPECT_EQ(stored(proc.mini_filter(out, value)), lanes_of([&](size_t l) { return counters[l] >= value; }));
    const std::vector<int> level = lanes_of([&](size_t l) { return counters[l] == value; });
    EXPECT_EQ(stored(proc.level_bits(value, out)), level);
    int sums[WORDS];
    EXPECT_EQ(TeraProc::init_select(out, sums), static_cast<int>(level.size()));
    for (int rank = 0; rank <= static_cast<int>(level.size()); ++rank)
      EXPECT_EQ(TeraProc::select(out, sums, rank),
                rank < static_cast<int>(level.size()) ? level[static_cast<size_t>(rank)] : -1);
    EXPECT_EQ(TeraProc::first(out), level.empty() ? -1 : level[0]);
    const int num = 1 + random.below(WORDS * LANES);
    const int best = *std::max_element(counters.begin(), counters.begin() + num);
    int found = 0;
    EXPECT_EQ(stored(proc.get_best(&found, out, num)),
              lanes_of([&](size_t l) { return static_cast<int>(l) < num && counters[l] == best; }));
    EXPECT_EQ(found, best);
    EXPECT_LE(proc.reduce(), proc.finish_full());
    TeraProc copy;
    copy.copy_value(proc);
    EXPECT_TRUE(proc.middle_exact());
    proc.finish_exact();
    EXPECT_EQ(stored(proc.mini_filter(out, 1)), lanes_of([&](size_t l) { return always[l]; }));
    TeraResult exact("", 255, 5, 255);
    EXPECT_EQ(proc.get_cands(0, WORDS * LANES, nullptr, 1, nullptr, 0, &exact, 0),
              static_cast<int>(lanes_of([&](size_t l) { return always[l]; }).size()));
    copy.set(1, 1, 9);
    EXPECT_EQ(copy.get_value(LANES - 1), counters[LANES - 1]);
    EXPECT_EQ(copy.get_value(LANES), 9);
    copy.reset();
    EXPECT_EQ(copy.mini_filter(out, 1), 0);
  }
}

TEST(TeraProc, lane_vectors) {
  samples::Random random(4);
  const auto word = [&] {
    return VBit{static_cast<unsigned>(random.below(1 << 30))} << 33 ^
           VBit { static_cast<unsigned>(random.below(1 << 30)) };
  };
  for (int round = 0; round < 20; ++round) {
    const VBit a = word();
    const VBit b = word();
    using Lanes = std::span<VBit>;
    const auto with = [&](const std::function<void(Lanes, std::span<const VBit>)>& operation) {
      VBit lanes = a;
      operation(Lanes(&lanes, 1), Lanes(const_cast<VBit*>(&b), 1));
      return lanes;
    };
    EXPECT_EQ(with(TeraProc::bit_or), a | b);
    EXPECT_EQ(with(TeraProc::bit_or_not), a | ~b);
    EXPECT_EQ(with(TeraProc::bit_and), a & b);
    EXPECT_EQ(with(TeraProc::bit_and_not), a & ~b);
    EXPECT_EQ(with([](Lanes lanes, auto) { TeraProc::bit_not(lanes); }), ~a);
    const VBit turned = TeraProc::transpose_byte(a);
    for (int i = 0; i < 8; ++i)
      for (int j = 0; j < 8; ++j) EXPECT_EQ(turned >> (8 * i + j) & 1, a >> (8 * j + i) & 1);
  }
}
