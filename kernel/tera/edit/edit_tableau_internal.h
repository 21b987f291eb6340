/// The bit-sliced recurrences, once for every kind of lane vector.
///
/// A lane vector V holds one truth value per entry (lane): a 64-bit word, a wide register of bits, or a wide
/// register of bytes that are 0 or 255. Only bitwise operations are used, so that a step costs the same
/// however many lanes there are, and no lane depends on another. All entries of a vector have n positions.
///
/// `Columns` gives, as `at(i, j)`, the lanes whose entry position j is accepted by query position i.
///
/// What a function returns and writes is said in edit_tableau.h. Slices are numbered from 0 along their side
/// of the table. `D[i][j]` is the cost of turning the first i query positions into the first j entry
/// positions, V its differences between rows, H those between columns.
///
/// Source of the cells: G. Myers, J. ACM 46(3), 1999 (differences), H. Hyyro, 2003 (transpositions); of the
/// automaton: S. Wu, U. Manber, Comm. ACM 35(10), 1992.
///
/// The functions have internal linkage: sources that are compiled for different processors include them.
#pragma once

#include <algorithm>
#include <bit>
#include <type_traits>
#include <utility>

#include "tera/tera_token_values.h"

namespace {
namespace edit_lanes {

inline constexpr int MAX_QUERY = 1024;         ///< positions of a query
inline constexpr int MAX_PATTERN = 128;        ///< and of a pattern
inline constexpr int MAX_COUNTED = 64;         ///< entry positions that the positional counts look at
inline constexpr int MAX_SUPERSET_PLACE = 63;  ///< and the walk over the query
inline constexpr int MAX_PLANES = 32;

template <class V>
inline constexpr V NONE = V{};
template <class V>
inline constexpr V ALL = ~V{};

/// The table with its sides turned round, which frees the far ends in place of the near ones.
template <class Columns>
struct Reversed {
  const Columns& columns;
  int m;
  int n;
  auto at(int i, int j) const { return columns.at(m - 1 - i, n - 1 - j); }
};

/// The entries without their first positions.
template <class Columns>
struct Tail {
  const Columns& columns;
  int skipped;
  auto at(int i, int j) const { return columns.at(i, j + skipped); }
};

// Edit distance.

struct FreeStarts {
  bool query;  ///< D[i][0] = 0
  bool entry;  ///< D[0][j] = 0
};

/// Columns 0 to n of D, as the differences down the last one so far.
template <class V, bool TRANSPOSE>
class EditColumn {
 public:
  EditColumn(int num_rows, FreeStarts starts) : m(num_rows), topPlus(starts.entry ? NONE<V> : ALL<V>) {
    for (int i = 0; i < m; ++i) {
      plus[i] = starts.query ? NONE<V> : ALL<V>;
      minus[i] = NONE<V>;
      if constexpr (TRANSPOSE) kept[i] = NONE<V>;
    }
  }

  /// The next column; stores H of the last row.
  template <class Columns>
  void step(const Columns& columns, int j, V& row_minus, V& row_plus) {
    V hPlus = topPlus;
    V hMinus = NONE<V>;
    V costsBefore = NONE<V>;  // lanes in which D[i][j] is not D[i - 1][j - 1]: row above, column before
    V acceptsAbove = NONE<V>;
    for (int i = 0; i < m; ++i) {
      V accepts = columns.at(i, j);
      const V plain = accepts;
      if constexpr (TRANSPOSE) {
        // A swap is worth it where the diagonal before cost 1: where it cost nothing, so does a substitution.
        if (i > 0 && j > 0) accepts |= costsBefore & acceptsAbove & columns.at(i, j - 1);
        acceptsAbove = plain;
      }
      const V zero = accepts | minus[i] | hMinus;
      if constexpr (TRANSPOSE) {
        costsBefore = kept[i];
        kept[i] = ~zero;
      }
      const V rowPlus = minus[i] | ~(zero | plus[i]);
      const V rowMinus = plus[i] & zero;
      plus[i] = hMinus | ~(zero | hPlus);
      minus[i] = hPlus & zero;
      hPlus = rowPlus;
      hMinus = rowMinus;
    }
    row_plus = hPlus;
    row_minus = hMinus;
  }

  V plus[MAX_QUERY];
  V minus[MAX_QUERY];

 private:
  int m;
  V topPlus;
  V kept[TRANSPOSE ? MAX_QUERY : 1];
};

/// V of the last column into `cm` and `cp` (m slices), H of the last row into `rm` and `rp` (n slices); each
/// pair may be null.
template <class V, bool TRANSPOSE, class Columns>
void edit_table(int m, int n, const Columns& columns, FreeStarts starts, V* cm, V* cp, V* rm, V* rp) {
  EditColumn<V, TRANSPOSE> column(m, starts);
  V rowMinus = NONE<V>;
  V rowPlus = starts.entry ? NONE<V> : ALL<V>;
  for (int j = 0; j < n; ++j) {
    column.step(columns, j, rowMinus, rowPlus);
    if (rm != nullptr) {
      rm[j] = rowMinus;
      rp[j] = rowPlus;
    }
  }
  if (cm == nullptr) return;
  std::copy_n(column.minus, m, cm);
  std::copy_n(column.plus, m, cp);
}

/// The diagonals o = j - i of the table on which a path with at most `errors` errors to (m, n) can lie.
struct Band {
  Band(int m, int n, int errors) {
    const int delta = n - m;
    const int detours = (errors - (delta < 0 ? -delta : delta)) / 2;
    low = std::min(delta, 0) - detours;
    high = std::max(delta, 0) + detours;
  }
  int width() const { return high - low + 1; }

  int low;
  int high;
};
inline constexpr int MAX_BAND = 64;  ///< diagonals

/// `edit_distance` for distances that matter up to the band's errors, row by row. Cells outside of the band
/// count as one more than their neighbours, which no path prefers. Calls `pass(i, lanes)` for each step of
/// the diagonal that ends at (m, n), with the lanes in which D grows by 1; it starts at |n - m|. Stops when
/// `pass` says so.
template <class V, bool TRANSPOSE, class Columns, class Pass>
void edit_band(int m, int n, Band band, const Columns& columns, Pass pass) {
  V hPlus[MAX_BAND + 1];  // H of the row above, at o + 1 - low: of the cell above the one on diagonal o
  V hMinus[MAX_BAND + 1];
  V costs[TRANSPOSE ? MAX_BAND + 1 : 1];  // lanes in which the step to the row above cost 1
  const int width = band.width();
  std::fill_n(hPlus, width + 1, ALL<V>);
  std::fill_n(hMinus, width + 1, NONE<V>);
  if constexpr (TRANSPOSE) std::fill_n(costs, width + 1, NONE<V>);
  for (int i = 0; i < m; ++i) {
    V vPlus = ALL<V>;
    V vMinus = NONE<V>;
    const int first = std::max(band.low, -i);
    const int last = std::min(band.high, n - 1 - i);
    for (int o = first; o <= last; ++o) {
      const int k = o - band.low;
      const int j = i + o;
      V accepts = columns.at(i, j);
      if constexpr (TRANSPOSE)
        if (i > 0 && j > 0) accepts |= costs[k] & columns.at(i - 1, j) & columns.at(i, j - 1);
      const bool isTop = o == band.high;
      const V plusAbove = isTop ? ALL<V> : hPlus[k + 1];
      const V minusAbove = isTop ? NONE<V> : hMinus[k + 1];
      const V zero = accepts | vMinus | minusAbove;
      if constexpr (TRANSPOSE) costs[k] = ~zero;
      hPlus[k] = vMinus | ~(zero | vPlus);
      hMinus[k] = vPlus & zero;
      vPlus = minusAbove | ~(zero | plusAbove);
      vMinus = plusAbove & zero;
      if (o == n - m && !pass(i, ~zero)) return;
    }
  }
}

/// Follows a value by its differences, and tells when it falls below all before.
template <class V>
class RunningMinimum {
 public:
  explicit RunningMinimum(int largest_rise)
      : numPlanes(static_cast<int>(std::bit_width(static_cast<unsigned>(largest_rise)))) {
    std::fill_n(above, numPlanes, NONE<V>);
  }
  /// Lanes in which the minimum fell by 1.
  V step(V minus, V plus) {
    V isAbove = NONE<V>;
    for (int b = 0; b < numPlanes; ++b) isAbove |= above[b];
    V carry = plus;
    V borrow = minus & isAbove;
    for (int b = 0; b < numPlanes; ++b) {
      const V up = above[b] & carry;
      const V down = ~above[b] & borrow;
      above[b] ^= carry | borrow;  // at most one of them
      carry = up;
      borrow = down;
    }
    return minus & ~isAbove;
  }

 private:
  int numPlanes;
  V above[MAX_PLANES];  // how far the value is above its minimum, a counter in bit planes
};

/// Counts in unary: slice k is set in lanes that counted more than k.
template <class V>
class Thermometer {
 public:
  Thermometer(V* slices, int num) : therm(slices), numSlices(num) { std::fill_n(therm, num, NONE<V>); }
  void add(V lanes) {
    for (int k = 0; k < std::min(numSlices, numAdded + 1); ++k) {
      const V full = lanes & therm[k];
      therm[k] |= lanes;
      lanes = full;
    }
    ++numAdded;
  }

 private:
  V* therm;
  int numSlices;
  int numAdded = 0;
};

/// D[m][n] with `starts`, as differences along the longer side. Returns -D of its first cell.
template <class V, bool TRANSPOSE, class Columns>
int edit_distance(int m, int n, const Columns& columns, V* minus, V* plus) {
  if (m > n) {
    edit_table<V, TRANSPOSE>(m, n, columns, {false, false}, minus, plus, static_cast<V*>(nullptr),
                             static_cast<V*>(nullptr));
    return -n;
  }
  edit_table<V, TRANSPOSE>(m, n, columns, {false, false}, static_cast<V*>(nullptr), static_cast<V*>(nullptr),
                           minus, plus);
  return -m;
}

/// The entry may begin with more.
template <class V, bool TRANSPOSE, class Columns>
int edit_suffix(int m, int n, const Columns& columns, V* minus, V* plus) {
  edit_table<V, TRANSPOSE>(m, n, columns, {false, true}, minus, plus, static_cast<V*>(nullptr),
                           static_cast<V*>(nullptr));
  return 0;
}

/// The entry may end with more.
template <class V, bool TRANSPOSE, class Columns>
int edit_prefix(int m, int n, const Columns& columns, V* minus, V* plus) {
  return edit_suffix<V, TRANSPOSE>(m, n, Reversed<Columns>{columns, m, n}, minus, plus);
}

/// The entry may begin and end with more: the smallest D[m][j], which starts at m and falls m times at most.
template <class V, bool TRANSPOSE, class Columns>
int edit_factor(int m, int n, const Columns& columns, V* minus, V* plus) {
  EditColumn<V, TRANSPOSE> column(m, {false, true});
  RunningMinimum<V> lowest(m);
  Thermometer<V> falls(minus, m);
  std::fill_n(plus, m, NONE<V>);
  for (int j = 0; j < n; ++j) {
    V rowMinus;
    V rowPlus;
    column.step(columns, j, rowMinus, rowPlus);
    falls.add(lowest.step(rowMinus, rowPlus));
  }
  return -m;
}

/// The query may begin with more.
template <class V, bool TRANSPOSE, class Columns>
int edit_close_full(int m, int n, const Columns& columns, V* minus, V* plus) {
  edit_table<V, TRANSPOSE>(m, n, columns, {true, false}, static_cast<V*>(nullptr), static_cast<V*>(nullptr),
                           minus, plus);
  return 0;
}

/// Entry positions that `edit_close` looks at, counted from the end.
constexpr int close_reach(int m, int n) {
  return std::min(n, (3 * m + 1) / 2);
}

/// The same for the last positions of long entries; each of those before costs 1.
template <class V, bool TRANSPOSE, class Columns>
int edit_close(int m, int n, const Columns& columns, V* minus, V* plus) {
  const int skipped = n - close_reach(m, n);
  return edit_close_full<V, TRANSPOSE>(m, n - skipped, Tail<Columns>{columns, skipped}, minus, plus) -
         skipped;
}

/// The query may end with more.
template <class V, bool TRANSPOSE, class Columns>
int edit_extend(int m, int n, const Columns& columns, V* minus, V* plus) {
  return edit_close_full<V, TRANSPOSE>(m, n, Reversed<Columns>{columns, m, n}, minus, plus);
}

/// The query may begin and end with more: the smallest D[i][n], which starts at n and falls n times at most.
template <class V, bool TRANSPOSE, class Columns>
int edit_cover(int m, int n, const Columns& columns, V* minus, V* plus) {
  EditColumn<V, TRANSPOSE> column(m, {true, false});
  for (int j = 0; j < n; ++j) {
    V rowMinus;
    V rowPlus;
    column.step(columns, j, rowMinus, rowPlus);
  }
  RunningMinimum<V> lowest(m);
  Thermometer<V> falls(minus, n);
  std::fill_n(plus, n, NONE<V>);
  for (int i = 0; i < m; ++i) falls.add(lowest.step(column.minus[i], column.plus[i]));
  return -n;
}

// Counts: each returns the number of slices in `add`.

template <class V, bool TRANSPOSE, class Columns>
int count_pos(int m, int n, const Columns& columns, V* add) {
  const int last = std::min({m, n, MAX_COUNTED});
  for (int i = 0; i < last; ++i) {
    add[i] = columns.at(i, i);
    if constexpr (TRANSPOSE)
      if (i > 0) add[i] |= columns.at(i - 1, i) & columns.at(i, i - 1);
  }
  return last;
}

template <class V, class Columns>
int count_bipos(int m, int n, const Columns& columns, V* add) {
  const int last = std::min(n, MAX_COUNTED) - 1;
  const int numSlices = std::min(m, last + 2);
  for (int i = 0; i < numSlices; ++i) {
    add[i] = NONE<V>;
    for (int j = std::max(0, i - 1); j <= std::min(i + 1, last); ++j) add[i] |= columns.at(i, j);
  }
  return std::max(numSlices, 0);
}

/// Longest common subsequence. Source of the cell: M. Crochemore et al., IPL 80(6), 2001, one lane per entry.
template <class V, class Columns>
int edit_sequence(int m, int n, const Columns& columns, V* add) {
  std::fill_n(add, m, NONE<V>);
  for (int j = 0; j < n; ++j) {
    V row = NONE<V>;
    for (int i = 0; i < m; ++i) {
      const V grows = columns.at(i, j) | row | add[i];
      const V rowNext = grows & ~add[i];
      add[i] = grows & ~row;
      row = rowNext;
    }
  }
  return m;
}

/// Pairs of neighbours of the query and the entry.
template <class Columns>
struct Pairs {
  const Columns& columns;
  auto at(int i, int j) const { return columns.at(i, j) & columns.at(i + 1, j + 1); }
};

template <class V, class Columns>
int pair_sequence(int m, int n, const Columns& columns, V* add) {
  return m < 2 || n < 2 ? 0 : edit_sequence<V>(m - 1, n - 1, Pairs<Columns>{columns}, add);
}

/// Entry pairs that are query pairs, and the ends of the words.
template <class V, bool TRANSPOSE, class Columns>
int edit_bigrams(int m, int n, const Columns& columns, V* add) {
  if (m == 0 || n == 0) return 0;
  for (int j = 1; j < n; ++j) {
    add[j] = NONE<V>;
    for (int i = 1; i < m; ++i) {
      add[j] |= columns.at(i - 1, j - 1) & columns.at(i, j);
      if constexpr (TRANSPOSE) add[j] |= columns.at(i - 1, j) & columns.at(i, j - 1);
    }
  }
  add[0] = columns.at(0, 0);
  add[n] = columns.at(m - 1, n - 1);
  return n + 1;
}

/// Lanes that the query matches as a pattern, in which runs[i] lets any tokens stand in front of position i.
template <class V, class Columns>
V edit_wildcard(int m, int n, const Columns& columns, const bool* runs) {
  V read[MAX_PATTERN + 1];  // lanes in which the positions before i are read
  read[0] = ALL<V>;
  std::fill_n(read + 1, m, NONE<V>);
  for (int j = 0; j < n; ++j) {
    for (int i = m; i > 0; --i)
      read[i] = (read[i - 1] & columns.at(i - 1, j)) | (runs[i] ? read[i] : NONE<V>);
    if (!runs[0]) read[0] = NONE<V>;
  }
  return read[m];
}

// Sets. What a step gains over the hits so far is 0, 1 or 2, and so is what the step before gained: a swap
// counts two hits from before that step.

template <class V>
struct Gain {
  V one;
  V two;
  V none() const { return ~(one | two); }

  /// The most of nothing, of one hit in `plain`, and of a swap in `swapped` that starts before this gain.
  Gain next(V plain, V swapped) const {
    const V gainTwo = swapped & none();
    return {(plain | (swapped & one)) & ~gainTwo, gainTwo};
  }
  /// Lanes of `swapped` in which the swap is as good as `best`.
  V keeps_swap(V swapped, const Gain& best) const {
    return swapped & ((none() & best.two) | (one & best.one) | (two & best.none()));
  }
};

/// The walk over the entry (mode SUPERSET). Writes 2n slices.
template <class V, bool TRANSPOSE, class Columns>
int entry_walk(int m, int n, const Columns& columns, V* add) {
  V reachable[MAX_QUERY];
  V before[TRANSPOSE ? MAX_QUERY : 1];
  std::fill_n(reachable, m, ALL<V>);
  if constexpr (TRANSPOSE) std::fill_n(before, m, NONE<V>);
  Gain<V> gain{NONE<V>, NONE<V>};
  for (int j = 0; j < n; ++j) {
    V plain = NONE<V>;
    for (int i = 0; i < m; ++i) plain |= reachable[i] & columns.at(i, j);
    V swapped = NONE<V>;
    const auto swap_at = [&](int i) { return before[i] & columns.at(i, j) & columns.at(i + 1, j - 1); };
    if constexpr (TRANSPOSE)
      if (j > 0)
        for (int i = 0; i + 1 < m; ++i) swapped |= swap_at(i);
    const Gain<V> best = gain.next(plain, swapped);
    const V takesPlain = plain & best.one;
    const V stays = best.none();
    const V takesSwap = TRANSPOSE ? gain.keeps_swap(swapped, best) : NONE<V>;
    for (int i = m - 1; i >= 0; --i) {
      V reached = stays & reachable[i];
      if (i > 0)
        reached |= (stays & reachable[i - 1]) | (takesPlain & reachable[i - 1] & columns.at(i - 1, j));
      if constexpr (TRANSPOSE) {
        if (i > 1 && j > 0) reached |= takesSwap & swap_at(i - 2);
        before[i] = reachable[i];
      }
      reachable[i] = reached;
    }
    gain = best;
    add[2 * j] = best.one | best.two;
    add[2 * j + 1] = best.two;
  }
  return 2 * n;
}

/// The walk over the query (mode SUBSET). Writes 2m slices.
template <class V, bool TRANSPOSE, class Columns>
int query_walk(int m, int n, const Columns& columns, V* add) {
  const int last = std::min(n, MAX_SUPERSET_PLACE);
  V allowed[MAX_SUPERSET_PLACE];  // lanes in which the entry position lies behind the one counted last
  V before[TRANSPOSE ? MAX_SUPERSET_PLACE : 1];
  std::fill_n(allowed, last, ALL<V>);
  if constexpr (TRANSPOSE) std::fill_n(before, last, NONE<V>);
  Gain<V> gain{NONE<V>, NONE<V>};
  for (int i = 0; i < m; ++i) {
    V plain = NONE<V>;
    for (int j = 0; j < last; ++j) plain |= allowed[j] & columns.at(i, j);
    V swapped = NONE<V>;
    const auto swap_at = [&](int j) { return before[j] & columns.at(i, j) & columns.at(i - 1, j + 1); };
    if constexpr (TRANSPOSE)
      if (i > 0)
        for (int j = 0; j + 1 < last; ++j) swapped |= swap_at(j);
    const Gain<V> best = gain.next(plain, swapped);
    const V takesPlain = plain & best.one;
    const V stays = best.none();
    const V takesSwap = TRANSPOSE ? gain.keeps_swap(swapped, best) : NONE<V>;
    V hit = NONE<V>;  // at a position before this one
    V swapTwoBefore = NONE<V>;
    V swapBefore = NONE<V>;
    for (int j = 0; j < last; ++j) {
      const V behind = (stays & allowed[j]) | (takesPlain & hit);
      hit |= allowed[j] & columns.at(i, j);
      if constexpr (TRANSPOSE) {
        const V behindSwap = behind | (takesSwap & swapTwoBefore);
        swapTwoBefore = swapBefore;
        if (i > 0 && j + 1 < last) swapBefore |= swap_at(j);
        before[j] = allowed[j];
        allowed[j] = behindSwap;
      } else {
        allowed[j] = behind;
      }
    }
    gain = best;
    add[2 * i] = best.one | best.two;
    add[2 * i + 1] = best.two;
  }
  return 2 * m;
}

}  // namespace edit_lanes
}  // namespace
