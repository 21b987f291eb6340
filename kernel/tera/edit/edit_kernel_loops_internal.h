/// The loops of edit_kernel_internal.h for one processor level. Included by one source per level, compiled
/// with that level's instructions: everything here is local to it, and nothing of the standard library is
/// called that the linker could take from there for the rest of the program.
#pragma once

#include <immintrin.h>

#include <cstring>

#include "tera/edit/edit_kernel_internal.h"
#include "tera/edit/edit_tableau_internal.h"

namespace {

using namespace edit_lanes;

// Lane vectors.

template <class V>
V load(const void* from) {
  V lanes;
  std::memcpy(&lanes, from, sizeof(V));
  return lanes;
}

// A kind of lanes tells its vector type V, its numbers of lanes and of words that hold them as bits, whether
// any lane is set, and what the words are; lanes of bytes also which bytes equal a token.

template <class Vector>
struct BitLanesBase {
  using V = Vector;
  static constexpr int NUM_LANES = 8 * static_cast<int>(sizeof(V));
  static constexpr int NUM_WORDS = NUM_LANES / EDIT_WORD_LANES;

  static void to_words(const V& lanes, VUint* words) { std::memcpy(words, &lanes, sizeof(V)); }
};

struct WordLanes : BitLanesBase<VUint> {
  static bool any(VUint lanes) { return lanes != 0; }
};

template <int SIZE>
struct ByteLanesBase {
  typedef unsigned char V __attribute__((vector_size(SIZE)));
  static constexpr int NUM_WORDS = 1;
  static constexpr int NUM_LANES = SIZE;

  static V equal(const V& tokens, Token tok) { return reinterpret_cast<V>(tokens == tok); }
};

struct ByteLanes16 : ByteLanesBase<16> {
  static VUint to_bits(const V& lanes) {
    return static_cast<VUint>(_mm_movemask_epi8(reinterpret_cast<__m128i>(lanes)));
  }
  static VUint equal_bits(const V& tokens, Token tok) { return to_bits(equal(tokens, tok)); }
  static bool any(const V& lanes) { return to_bits(lanes) != 0; }
  static void to_words(const V& lanes, VUint* words) { *words = to_bits(lanes); }
};

/// Bits of the entries at the query's positions.
template <class V>
struct BitColumns {
  static constexpr bool IS_PADDED = true;
  const VUint* const* columns;
  VInt offset;  // words from the start of the columns to the lanes looked at, in the entries' first position

  V at(int i, int j) const { return load<V>(columns[i] + offset + static_cast<VInt>(j) * EDIT_BLOCK_WORDS); }
};

/// Bytes of the entries, compared with the query's tokens.
template <class ByteLanes>
struct ByteColumns {
#ifdef __SANITIZE_THREAD__
  static constexpr bool IS_PADDED = false;  // it cannot know that nothing depends on them
#else
  static constexpr bool IS_PADDED = true;
#endif
  using V = typename ByteLanes::V;
  const EditAccept* accepts;
  const Token* bytes;  // of the lanes looked at, in the entries' first position

  V tokens(int j) const {
    return load<V>(bytes + static_cast<VInt>(j) * EDIT_WORD_LANES);
  }
  V at(int i, int j) const {
    const V here = tokens(j);
    const EditAccept& accept = accepts[i];
    if (accept.single != 0) [[likely]]
      return ByteLanes::equal(here, accept.single);
    if (accept.any) return ~ByteLanes::equal(here, 0);
    V found{};
    for (const Token tok : accept.several) found |= ByteLanes::equal(here, tok);
    return found;
  }
};

/// The same of two groups side by side, wherever they lie.
template <class HalfLanes, class ByteLanes>
struct PairColumns {
  static constexpr bool IS_PADDED = ByteColumns<HalfLanes>::IS_PADDED;
  using V = typename ByteLanes::V;
  ByteColumns<HalfLanes> first;
  ByteColumns<HalfLanes> second;

  V at(int i, int j) const {
    const EditAccept& accept = first.accepts[i];
    if (accept.single != 0) [[likely]]
      return ByteLanes::equal(ByteLanes::joined(first.tokens(j), second.tokens(j)), accept.single);
    return ByteLanes::joined(first.at(i, j), second.at(i, j));
  }
};

/// The same where comparisons are done before: one for each set and entry position. `edit_room_bytes` has
/// room around them.
template <class V>
struct KnownColumns {
  static constexpr bool IS_PADDED = true;
  const V* known;
  const int* setOf;
  int n;

  V at(int i, int j) const { return known[setOf[i] * n + j]; }
};

/// Columns of entries that are only read at their positions: others give the one nearby.
template <class Columns>
struct Clamped {
  static constexpr bool IS_PADDED = true;
  const Columns& columns;
  int n;
  auto at(int i, int j) const { return columns.at(i, j < 0 ? 0 : j < n ? j : n - 1); }
};

/// Counts two neighbours in the wrong order as if they were in the right one.
template <class Columns>
struct Unswapped {
  const Columns& columns;
  int m;
  int n;
  auto at(int i, int j) const {
    auto lanes = columns.at(i, j);
    if (i > 0 && j > 0) lanes |= columns.at(i - 1, j) & columns.at(i, j - 1);
    if (i + 1 < m && j + 1 < n) lanes |= columns.at(i + 1, j) & columns.at(i, j + 1);
    return lanes;
  }
};

// Counting slices lane by lane.

template <class V>
class LaneCounter {
 public:
  explicit LaneCounter(int largest)
      : numPlanes(static_cast<int>(std::bit_width(static_cast<unsigned>(largest)))) {
    std::fill_n(planes, numPlanes, NONE<V>);
  }
  void add(V lanes) {
    for (int b = 0; b < numPlanes; ++b) {
      const V carry = planes[b] & lanes;
      planes[b] ^= lanes;
      lanes = carry;
    }
  }
  /// Lanes whose count is at least `value`, which is 0 or more.
  V at_least(int value) const {
    if (value >> numPlanes != 0) return NONE<V>;
    V same = ALL<V>;
    V larger = NONE<V>;
    for (int b = numPlanes - 1; b >= 0; --b) {
      if ((value >> b & 1) == 0) {
        larger |= same & planes[b];
        same &= ~planes[b];
      } else {
        same &= planes[b];
      }
    }
    return larger | same;
  }

  int numPlanes;
  V planes[MAX_PLANES];
};

/// Measures of a lane vector: `base` + count, or `base` - count.
template <class V>
struct LaneMeasures {
  LaneCounter<V> counter;
  int base;
  bool falling;

  V reach(int fewest) const {
    if (falling) return base < fewest ? NONE<V> : ~counter.at_least(base - fewest + 1);
    return counter.at_least(std::max(fewest - base, 0));
  }
};

/// x = `length` - D, D the end of a side that starts at -`base`.
template <class V>
LaneMeasures<V> count_edits(int length, int base, const V* minus, const V* plus, int num) {
  LaneMeasures<V> measures{LaneCounter<V>(2 * num), length + base + num, true};
  for (int i = 0; i < num; ++i) {
    measures.counter.add(plus[i]);
    measures.counter.add(~minus[i]);
  }
  return measures;
}
/// The same for a side in unary that only falls.
template <class V>
LaneMeasures<V> count_falls(int length, int base, const V* minus, int num) {
  LaneMeasures<V> measures{LaneCounter<V>(num), length + base, false};
  for (int i = 0; i < num; ++i) measures.counter.add(minus[i]);
  return measures;
}
template <class V>
LaneMeasures<V> count_hits(const V* add, int num) {
  return count_falls(0, 0, add, num);
}

/// Room for the slices of one side, or twice as many of a walk.
template <class V>
struct Slices {
  V* minus;
  V* plus;
};

template <class V, bool TRANSPOSE, class Columns>
LaneMeasures<V> measure(const EditTask& task, const Columns& columns, Slices<V> out) {
  const int m = task.m;
  const int n = task.n;
  const auto sum = [&](int length, int base, int num) {
    return count_edits(length, base, out.minus, out.plus, num);
  };
  const bool isLonger = m > n;
  TeraEval::Mode mode = task.mode;
  if (mode == TeraEval::FRONT) mode = isLonger ? TeraEval::PREFIX : TeraEval::EXTEND;
  if (mode == TeraEval::BACK) mode = isLonger ? TeraEval::SUFFIX : TeraEval::CLOSE;
  if (mode == TeraEval::MID) mode = isLonger ? TeraEval::FACTOR : TeraEval::COVER;
  if (mode == TeraEval::BLOCKEDIT) mode = n <= m ? TeraEval::SUPERSET : TeraEval::SUBSET;
  switch (mode) {
    case TeraEval::LEVENSHTEIN:
      return sum(std::max(m, n), edit_distance<V, TRANSPOSE>(m, n, columns, out.minus, out.plus),
                 std::max(m, n));
    case TeraEval::PREFIX:
      return sum(m, edit_prefix<V, TRANSPOSE>(m, n, columns, out.minus, out.plus), m);
    case TeraEval::SUFFIX:
      return sum(m, edit_suffix<V, TRANSPOSE>(m, n, columns, out.minus, out.plus), m);
    case TeraEval::FACTOR:
      return count_falls(m, edit_factor<V, TRANSPOSE>(m, n, columns, out.minus, out.plus), out.minus, m);
    case TeraEval::COVER:
      return count_falls(n, edit_cover<V, TRANSPOSE>(m, n, columns, out.minus, out.plus), out.minus, n);
    case TeraEval::CLOSE:
      return sum(n, edit_close<V, TRANSPOSE>(m, n, columns, out.minus, out.plus), close_reach(m, n));
    case TeraEval::EXTEND:
      return sum(n, edit_extend<V, TRANSPOSE>(m, n, columns, out.minus, out.plus), n);
    case TeraEval::POSITION:
      return count_hits(out.minus, count_pos<V, TRANSPOSE>(m, n, columns, out.minus));
    case TeraEval::BIPOS:
      return count_hits(out.minus, count_bipos<V>(m, n, columns, out.minus));
    case TeraEval::BISEQ: {
      const int num = edit_sequence<V>(m, n, columns, out.minus);
      return count_hits(out.minus, num + pair_sequence<V>(m, n, columns, out.minus + num));
    }
    case TeraEval::BIGRAMS:
      return count_hits(out.minus, edit_bigrams<V, TRANSPOSE>(m, n, columns, out.minus));
    case TeraEval::SUBSET:
      return count_hits(out.minus, query_walk<V, TRANSPOSE>(m, n, columns, out.minus));
    case TeraEval::SUPERSET:
      return count_hits(out.minus, entry_walk<V, TRANSPOSE>(m, n, columns, out.minus));
    case TeraEval::WILDCARD:
      *out.minus = edit_wildcard<V>(m, n, columns, task.runs);
      return count_hits(out.minus, 1);
    default:  // SEQ
      if (task.boundsSwaps)
        return count_hits(out.minus, edit_sequence<V>(m, n, Unswapped<Columns>{columns, m, n}, out.minus));
      return count_hits(out.minus, edit_sequence<V>(m, n, columns, out.minus));
  }
}

// Few errors: an automaton in place of the table. State (e, o) holds the lanes in which the first i query
// positions turn into the first i + o entry positions with at most e errors. States that cannot reach offset
// n - m with K errors are left out. Entry positions outside of the entry are read, but never lead back to its
// end.

inline constexpr int MAX_ERRORS = 4;
inline constexpr int MORE_ERRORS = 3;  // the plane of the lanes with more

template <int FROM, int TO, class Body>
__attribute__((always_inline)) inline void unrolled(Body body) {
  if constexpr (FROM < TO) {
    body(std::integral_constant<int, FROM>{});
    unrolled<FROM + 1, TO>(body);
  }
}

constexpr int distance_to(int a, int b) {
  return a < b ? b - a : a - b;
}

template <class V, int K, int DELTA, bool TRANSPOSE>
class ErrorStates {
 public:
  static constexpr bool is_state(int e, int o) {
    return e >= 0 && distance_to(o, 0) <= e && e + distance_to(o, DELTA) <= K;
  }

  ErrorStates() {
    unrolled<0, K + 1>([&](auto e) {
      unrolled<-K, K + 1>([&](auto o) { at(e, o) = o >= 0 && o <= e ? ALL<V> : NONE<V>; });
    });
    if constexpr (TRANSPOSE) before = states;
  }

  /// From i to i + 1 positions of the query.
  template <class Columns>
  __attribute__((always_inline)) void step(const Columns& columns, int i) {
    Table next;
    unrolled<0, K + 1>([&](auto e) {
      unrolled<-K, K + 1>([&](auto o) {
        if constexpr (is_state(e, o)) {
          V lanes = at(e, o) & columns.at(i, i + o);
          if constexpr (is_state(e - 1, o)) lanes |= at(e - 1, o);
          if constexpr (is_state(e - 1, o + 1)) lanes |= at(e - 1, o + 1);
          if constexpr (is_state(e - 1, o - 1)) lanes |= next.lanes[e - 1][o - 1 + K];
          if constexpr (TRANSPOSE && is_state(e - 1, o))
            if (i > 0)
              lanes |= before.lanes[e - 1][o + K] & columns.at(i - 1, i + o) & columns.at(i, i + o - 1);
          next.lanes[e][o + K] = lanes;
        }
      });
    });
    if constexpr (TRANSPOSE) before = states;
    states = next;
  }

  /// The lanes that can still be hits.
  V alive() const {
    V lanes = NONE<V>;
    unrolled<-K, K + 1>([&](auto o) {
      constexpr int most = K - distance_to(o, DELTA);
      if constexpr (is_state(most, o)) lanes |= states.lanes[most][o + K];
      if constexpr (TRANSPOSE && is_state(most, o)) lanes |= before.lanes[most][o + K];
    });
    return lanes;
  }
  /// Lanes with at most `e` errors at the end.
  V end(int e) const { return states.lanes[e][DELTA + K]; }

 private:
  struct Table {
    V lanes[K + 1][2 * K + 1];
  };
  V& at(int e, int o) { return states.lanes[e][o + K]; }

  Table states;
  Table before;
};

template <class Lanes, int K, int DELTA, bool TRANSPOSE, class Columns>
bool few_errors(const EditTask& task, const Columns& columns, LaneMeasures<typename Lanes::V>& out) {
  using V = typename Lanes::V;
  ErrorStates<V, K, DELTA, TRANSPOSE> states;
  for (int i = 0; i < task.m; ++i) {
    if (Columns::IS_PADDED || (i >= K && i + K < task.n))
      states.step(columns, i);
    else
      states.step(Clamped<Columns>{columns, task.n}, i);
    if (i > K && (i & 1) != 0 && !Lanes::any(states.alive())) return false;
  }
  if (!Lanes::any(states.end(K))) return false;
  // Errors 0 to 4 in three planes, and the lanes with more in a fourth.
  V reached[MAX_ERRORS + 1];
  for (int e = 0; e <= MAX_ERRORS; ++e)
    reached[e] = e < distance_to(DELTA, 0) ? NONE<V> : states.end(e < K ? e : K);
  V* planes = out.counter.planes;
  planes[MORE_ERRORS] = ~reached[4];
  planes[2] = ~reached[3];
  planes[1] = reached[3] & ~reached[1];
  planes[0] = (reached[1] & ~reached[0]) | (reached[3] & ~reached[2]);
  return true;
}

/// Chooses the automaton for the difference of the lengths.
template <class Lanes, int K, int DELTA, class Columns>
bool choose_delta(const EditTask& task, const Columns& columns, LaneMeasures<typename Lanes::V>& out) {
  if constexpr (DELTA > K) {
    return false;
  } else {
    if (task.n - task.m != DELTA) return choose_delta<Lanes, K, DELTA + 1>(task, columns, out);
    return task.transpose ? few_errors<Lanes, K, DELTA, true>(task, columns, out)
                          : few_errors<Lanes, K, DELTA, false>(task, columns, out);
  }
}

template <class Lanes, class Columns>
bool measure_few_errors(const EditTask& task, int errors, const Columns& columns,
                        LaneMeasures<typename Lanes::V>& out) {
  switch (errors) {
    case 0:
      return choose_delta<Lanes, 0, 0>(task, columns, out);
    case 1:
      return choose_delta<Lanes, 1, -1>(task, columns, out);
    case 2:
      return choose_delta<Lanes, 2, -2>(task, columns, out);
    case 3:
      return choose_delta<Lanes, 3, -3>(task, columns, out);
    default:
      return choose_delta<Lanes, 4, -4>(task, columns, out);
  }
}

/// More errors, but few enough for a band of the table to be worth it.
template <class Lanes, bool TRANSPOSE, class Columns>
LaneMeasures<typename Lanes::V> measure_band(const EditTask& task, int errors, const Columns& columns) {
  using V = typename Lanes::V;
  constexpr int LOOK_EVERY = 4;
  const int difference = distance_to(task.m, task.n);
  LaneMeasures<V> measures{LaneCounter<V>(std::min(task.m, task.n)), std::max(task.m, task.n) - difference,
                           true};
  edit_band<V, TRANSPOSE>(task.m, task.n, Band(task.m, task.n, errors), columns, [&](int i, const V& lanes) {
    measures.counter.add(lanes);
    return i % LOOK_EVERY != LOOK_EVERY - 1 || Lanes::any(measures.reach(task.fewest));
  });
  return measures;
}

// From lanes to hits.

template <class Lanes>
int write_hits(const LaneMeasures<typename Lanes::V>& measures, const typename Lanes::V& found, Large first,
               EditHit* hits) {
  VUint lanes[Lanes::NUM_WORDS];
  VUint planes[MAX_PLANES][Lanes::NUM_WORDS];
  Lanes::to_words(found, lanes);
  const int numPlanes = measures.counter.numPlanes;
  for (int b = 0; b < numPlanes; ++b) Lanes::to_words(measures.counter.planes[b], planes[b]);
  int num = 0;
  for (int w = 0; w < Lanes::NUM_WORDS; ++w) {
    for (VUint left = lanes[w]; left != 0; left &= left - 1) {
      const int bit = std::countr_zero(left);
      int count = 0;
      for (int b = 0; b < numPlanes; ++b) count |= static_cast<int>(planes[b][w] >> bit & 1) << b;
      hits[num++] = {first + static_cast<Large>(w * EDIT_WORD_LANES + bit),
                     measures.falling ? measures.base - count : measures.base + count};
    }
  }
  return num;
}

/// The errors of a hit; -1 in modes that count otherwise.
inline int most_errors(const EditTask& task) {
  const int longer = task.m > task.n ? task.m : task.n;
  return task.mode == TeraEval::LEVENSHTEIN ? longer - task.fewest : -1;
}
/// Whether the automaton serves, which gives most lanes up after a few positions.
inline bool has_few_errors(const EditTask& task) {
  return most_errors(task) >= 0 && most_errors(task) <= MAX_ERRORS;
}

/// What is the same for all lane vectors of a task.
template <class Lanes>
class TaskRunner {
 public:
  using V = typename Lanes::V;

  explicit TaskRunner(const EditTask& t) : task(t) {
    const int longer = std::max(task.m, task.n);
    errors = most_errors(task);
    if (has_few_errors(task)) {
      way = FEW_ERRORS;
    } else if (errors >= 0 && errors >= distance_to(task.m, task.n) &&
               is_narrow(Band(task.m, task.n, errors))) {
      way = BAND;
    }
    numSlices = 4 * longer + 4;
    slices = static_cast<V*>(task.room);
  }

  /// Room for the comparisons with the sets (`keeps_cells`), behind the slices.
  V* known_cells() const { return slices + numSlices; }

  /// Writes the hits among the lanes, numbered from `first`; returns their number.
  template <class Columns>
  int run(const Columns& columns, Large first, EditHit* hits) {
    return way == FEW_ERRORS ? run_few(columns, first, hits) : run_table(columns, first, hits);
  }
  /// The same for a task of few errors.
  template <class Columns>
  int run_few(const Columns& columns, Large first, EditHit* hits) {
    LaneMeasures<V> measures{LaneCounter<V>(2 * MAX_ERRORS + 1), std::max(task.m, task.n), true};
    if (!measure_few_errors<Lanes>(task, errors, columns, measures)) return 0;
    return write_hits<Lanes>(measures, ~measures.counter.planes[MORE_ERRORS], first, hits);
  }
  /// The same for a task of more errors.
  template <class Columns>
  int run_table(const Columns& columns, Large first, EditHit* hits) {
    const LaneMeasures<V> measures =
        task.transpose ? measure_all<true>(columns) : measure_all<false>(columns);
    const V found = measures.reach(task.fewest);
    return Lanes::any(found) ? write_hits<Lanes>(measures, found, first, hits) : 0;
  }

 private:
  enum Way { FEW_ERRORS, BAND, TABLE };

  /// A cell of the band costs somewhat more than one of the table.
  bool is_narrow(const Band& band) const {
    return band.width() <= MAX_BAND && 4 * band.width() <= 3 * std::max(task.m, task.n);
  }
  template <bool TRANSPOSE, class Columns>
  LaneMeasures<V> measure_all(const Columns& columns) const {
    if (way == BAND) return measure_band<Lanes, TRANSPOSE>(task, errors, columns);
    return measure<V, TRANSPOSE>(task, columns, {slices, slices + 2 * std::max(task.m, task.n) + 2});
  }

  const EditTask& task;
  int errors;
  Way way = TABLE;
  int numSlices = 0;
  V* slices = nullptr;
};

template <class Lanes>
int scan_blocks(const EditTask& task, int& block, int last, std::span<EditHit> hits) {
  TaskRunner<Lanes> runner(task);
  int num = 0;
  for (; block < last && num + EDIT_BLOCK_LANES <= static_cast<int>(hits.size()); ++block)
    for (int w = 0; w < EDIT_BLOCK_WORDS; w += Lanes::NUM_WORDS) {
      const VInt offset = static_cast<VInt>(block) * task.n * EDIT_BLOCK_WORDS + w;
      const BitColumns<typename Lanes::V> columns{task.columns, offset};
      const Large first =
          static_cast<Large>(block) * EDIT_BLOCK_LANES + static_cast<Large>(w * EDIT_WORD_LANES);
      num += runner.run(columns, first, hits.data() + num);
    }
  return num;
}

/// The first position of a lane and those beside it.
inline const Token* bytes_of(const EditTask& task, Large lane) {
  const Large section = lane / EDIT_WORD_LANES;
  const VInt place = task.places != nullptr ? task.places[section] : section;
  return task.bytes + place * task.n * EDIT_WORD_LANES + lane % EDIT_WORD_LANES;
}

/// Has the entries of `count` groups come from memory while those in front of them are looked at. Always
/// inline: g++ takes a function that only prefetches for one without effect, and drops its calls.
[[gnu::always_inline]] inline void fetch_groups(const EditTask& task, int lanes_log,
                                                std::span<const Large> groups, int group, int count) {
  const int last = std::min(group + count, static_cast<int>(groups.size()));
  for (; group < last; ++group) {
    const Token* const bytes = bytes_of(task, groups[static_cast<std::size_t>(group)] << lanes_log);
    for (int j = 0; j < task.n; ++j) __builtin_prefetch(bytes + static_cast<VInt>(j) * EDIT_WORD_LANES);
  }
}

/// Compares the entries with each set once, whatever the query repeats.
template <class Lanes>
void compare_sets(const EditTask& task, const Token* bytes, typename Lanes::V* known) {
  const ByteColumns<Lanes> columns{task.sets, bytes};
  for (int set = 0; set < task.numSets; ++set)
    for (int j = 0; j < task.n; ++j) *known++ = columns.at(set, j);
}

/// Whether the comparisons with the sets are told and few enough to be kept.
inline bool keeps_cells(const EditTask& task) {
  const auto cells = static_cast<std::size_t>(task.numSets) * static_cast<std::size_t>(task.n);
  return cells > 0 && cells <= EDIT_MAX_CELLS;
}

/// Whether a set has several tokens. A comparison with one is as fast as reading it again.
inline bool has_wide_sets(const EditTask& task) {
  bool isWide = false;
  for (int set = 0; set < task.numSets; ++set) isWide |= task.sets[set].single == 0;
  return isWide;
}

/// The same, as bits from `out` on, which lie a vector `V` apart.
template <class ByteLanes, class V>
void pack_sets(const EditTask& task, const Token* bytes, unsigned char* out) {
  const ByteColumns<ByteLanes> columns{task.sets, bytes};
  const auto put = [&out](VUint bits) {
    std::memcpy(out, &bits, ByteLanes::NUM_LANES / 8);
    out += sizeof(V);
  };
  for (int set = 0; set < task.numSets; ++set) {
    if (const Token tok = task.sets[set].single; tok != 0) [[likely]] {
      for (int j = 0; j < task.n; ++j) put(ByteLanes::equal_bits(columns.tokens(j), tok));
      continue;
    }
    for (int j = 0; j < task.n; ++j) put(ByteLanes::to_bits(columns.at(set, j)));
  }
}

/// Hits by their place in the groups that lie side by side in a vector become hits by lane; those in places
/// without a group are dropped. Returns their number.
inline int place_hits(std::span<const Large> groups, int lanes_log, EditHit* hits, int num) {
  int kept = 0;
  for (int i = 0; i < num; ++i) {
    const Large place = hits[i].lane >> lanes_log;
    if (place >= groups.size()) continue;
    const Large lane = hits[i].lane & ((Large{1} << lanes_log) - 1);
    hits[kept++] = {(groups[place] << lanes_log) + lane, hits[i].measure};
  }
  return kept;
}

/// As many groups at once as a vector of bits has room for: the comparisons take as long as one by one, of
/// neighbours in a section as long as for one, and the rest is shared.
///
///     group          7     9    12    31
///     'm' at 0     1101  0010  0000  1000     one vector for each set and position
///     'm' at 1     0010  0000  0100  0000
template <class ByteLanes, class WideLanes, class BitLanes>
int check_packed(const EditTask& task, int lanes_log, std::span<const Large> groups, int& group,
                 std::span<EditHit> hits) {
  using V = typename BitLanes::V;
  TaskRunner<BitLanes> runner(task);
  V* const known = runner.known_cells();
  const int parts = (1 << lanes_log) / ByteLanes::NUM_LANES;
  const int most = BitLanes::NUM_LANES >> lanes_log;
  int num = 0;
  while (group < static_cast<int>(groups.size()) &&
         num + BitLanes::NUM_LANES <= static_cast<int>(hits.size())) {
    const int count = std::min(most, static_cast<int>(groups.size()) - group);
    if (count < most) std::fill_n(known, task.numSets * task.n, NONE<V>);
    const auto lane_of = [&](int part) {
      return (groups[static_cast<std::size_t>(group + part / parts)] << lanes_log) +
             static_cast<Large>(part % parts * ByteLanes::NUM_LANES);
    };
    constexpr int wideParts = WideLanes::NUM_LANES / ByteLanes::NUM_LANES;
    for (int part = 0; part < count * parts;) {
      const Large lane = lane_of(part);
      auto* const out = reinterpret_cast<unsigned char*>(known) + part * ByteLanes::NUM_LANES / 8;
      const bool isWide = lane % WideLanes::NUM_LANES == 0 && part + wideParts <= count * parts &&
                          lane_of(part + wideParts - 1) - lane < Large{WideLanes::NUM_LANES};
      if (isWide)
        pack_sets<WideLanes, V>(task, bytes_of(task, lane), out);
      else
        pack_sets<ByteLanes, V>(task, bytes_of(task, lane), out);
      part += isWide ? wideParts : 1;
    }
    EditHit* const found = hits.data() + num;
    const int numFound = runner.run_table(KnownColumns<V>{known, task.setOf, task.n}, 0, found);
    num += place_hits(groups.subspan(static_cast<std::size_t>(group), static_cast<std::size_t>(count)),
                      lanes_log, found, numFound);
    group += count;
  }
  return num;
}

/// Two groups of few errors at once, as long as there are two.
template <class Lanes, class WideLanes>
int check_pairs(const EditTask& task, int lanes_log, std::span<const Large> groups, int& group,
                std::span<EditHit> hits) {
  TaskRunner<WideLanes> runner(task);
  const auto columns_of = [&](Large number) {
    return ByteColumns<Lanes>{task.accepts, bytes_of(task, number << lanes_log)};
  };
  int num = 0;
  for (; group + 1 < static_cast<int>(groups.size()) &&
         num + WideLanes::NUM_LANES <= static_cast<int>(hits.size());
       group += 2) {
    fetch_groups(task, lanes_log, groups, group + 2, 2);
    const auto pair = groups.subspan(static_cast<std::size_t>(group), 2);
    const PairColumns<Lanes, WideLanes> columns{columns_of(pair[0]), columns_of(pair[1])};
    EditHit* const found = hits.data() + num;
    num += place_hits(pair, lanes_log, found, runner.run_few(columns, 0, found));
  }
  return num;
}

/// `WideLanes` are all bytes of a section, where the processor compares that many at once.
template <class Lanes, class WideLanes, class BitLanes>
int check_groups(const EditTask& task, int lanes_log, std::span<const Large> groups, int& group,
                 std::span<EditHit> hits) {
  const bool areSeveral = group + 1 < static_cast<int>(groups.size());
  if (areSeveral && keeps_cells(task) && !has_few_errors(task))
    return check_packed<Lanes, WideLanes, BitLanes>(task, lanes_log, groups, group, hits);
  TaskRunner<Lanes> runner(task);
  const int groupLanes = 1 << lanes_log;
  typename Lanes::V* const known = keeps_cells(task) && has_wide_sets(task) ? runner.known_cells() : nullptr;
  int num = 0;
  if constexpr (WideLanes::NUM_LANES == 2 * Lanes::NUM_LANES)
    if (groupLanes == Lanes::NUM_LANES && known == nullptr && has_few_errors(task))
      num = check_pairs<Lanes, WideLanes>(task, lanes_log, groups, group, hits);
  for (; group < static_cast<int>(groups.size()) && num + EDIT_WORD_LANES <= static_cast<int>(hits.size());
       ++group) {
    const Large lane = groups[static_cast<std::size_t>(group)] << lanes_log;
    fetch_groups(task, lanes_log, groups, group + 1, 1);
    for (int k = 0; k < groupLanes; k += Lanes::NUM_LANES) {
      const Large first = lane + static_cast<Large>(k);
      const Token* const bytes = bytes_of(task, first);
      if (known != nullptr) {
        compare_sets<Lanes>(task, bytes, known);
        num +=
            runner.run(KnownColumns<typename Lanes::V>{known, task.setOf, task.n}, first, hits.data() + num);
        continue;
      }
      const ByteColumns<Lanes> columns{task.accepts, bytes};
      num += runner.run(columns, first, hits.data() + num);
    }
  }
  return num;
}

}  // namespace
