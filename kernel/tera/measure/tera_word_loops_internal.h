/// The loops of the measures, once for every width of mask and every source of tokens.
///
/// A source yields the tokens of an entry one by one, then 0s. `TeraPositions` makes entry positions of them:
/// for each the mask of the query positions that accept it. The loops see nothing but these masks; bits from
/// the query's length on are whatever they happen to be, because no step moves a bit downwards.
#pragma once

#include <algorithm>
#include <climits>

#include "tera/tera_bits.h"
#include "tera/tera_measures.h"
#include "tera/tera_quad_bit.h"
#include "tera/tera_scan.h"
#include "tera/tera_token_values.h"
#include "tera/tera_word_pattern.h"

// Masks: bit i stands for query position i, in one word or in several that act as one.

template <class Bits>
inline constexpr int MASK_SIZE = static_cast<int>(8 * sizeof(Bits));

template <class Bits>
constexpr Bits bit_at(int i) {
  return Bits{1} << i;
}
template <class Bits>
constexpr bool has_any(const Bits& mask) {
  return mask != Bits{0};
}
template <class Bits>
constexpr bool has_bit(const Bits& mask, int i) {
  return has_any(mask & bit_at<Bits>(i));
}
/// One to the left, with `bit` at the right.
constexpr VUint shift_in(VUint mask, VUint bit) {
  return (mask << 1) + bit;
}
constexpr QuadBit shift_in(const QuadBit& mask, VUint bit) {
  return {mask.highWord << 1 | mask.lowWord >> 63, (mask.lowWord << 1) + bit};
}
constexpr TeraLongMask shift_in(const TeraLongMask& mask, VUint bit) {
  return mask << 1 | TeraLongMask{bit};
}
constexpr bool has_bit(const TeraLongMask& mask, int i) {
  return mask.has_bit(i);
}
/// The lowest `n` bits.
template <class Bits>
constexpr Bits low_bits(int n) {
  return n >= MASK_SIZE<Bits> ? ~Bits{0} : bit_at<Bits>(n) - Bits{1};
}
inline int count_bits(VUint mask) {
  return TeraBits::count(mask);
}
inline int count_bits(const QuadBit& mask) {
  return TeraBits::count(mask.lowWord, mask.highWord);
}
inline int count_bits(const TeraLongMask& mask) {
  return mask.count();
}
/// Of a mask that has no bits from `n` on.
inline int count_bits(VUint mask, int n) {
  return n <= TeraBits::TABLE_BITS       ? TeraBits::count11(static_cast<Large>(mask))
         : n <= 2 * TeraBits::TABLE_BITS ? TeraBits::count22(static_cast<Large>(mask))
                                         : TeraBits::count(mask);
}
inline int count_bits(const QuadBit& mask, int) {
  return count_bits(mask);
}
inline int count_bits(const TeraLongMask& mask, int) {
  return mask.count();
}
inline int first_bit(VUint mask) {
  return TeraBits::first(mask);
}
inline int first_bit(const QuadBit& mask) {
  return TeraBits::first(mask.lowWord, mask.highWord);
}
inline int first_bit(const TeraLongMask& mask) {
  return mask.first();
}

// Sources: token strings are read as they are, and texts scanned on the way, so that neither is copied.

class TeraTokenSource {
 public:
  explicit TeraTokenSource(const Token* tokens) : next(tokens) {}
  Token token() { return *next++; }
  /// After a 0: it is to be read again.
  void stay() { --next; }
  /// Whether the token read last begins a word, beyond what separators say.
  static bool begins_word() { return false; }

 private:
  const Token* next;
};

class TeraTextSource {
 public:
  TeraTextSource(const TeraMap* map, const char* text, bool no_glob) : scan(map, text, no_glob), last(text) {}
  Token token() {
    last = scan.get_current_pos();
    return scan.get_next_token(0);
  }
  static void stay() {}
  /// At a blank or bar, which may have a token, and behind it. Asked for once per token.
  bool begins_word() {
    const bool behindSeparator = atSeparator;
    const char* end = scan.get_current_pos();
    if (end != last) atSeparator = is_separator(end[-1]);  // else another token of the same character
    return behindSeparator || scan.check_skipped(' ', last) != 0 || scan.check_skipped('|', last) != 0;
  }

 private:
  static bool is_separator(char c) { return c == ' ' || c == '|'; }

  TeraScan scan;
  const char* last;
  bool atSeparator = false;  // the token read last is a blank or bar
};

/// The positions of an entry, as masks of the query positions that accept them.
template <class Bits, class Source>
class TeraPositions {
 public:
  using BitsType = Bits;

  /// `alternatives`: an alternative is one position; else its tokens are ordinary ones. `operators` as in
  /// `TeraPattern::build`.
  TeraPositions(const Bits* table, const Source& tokens, bool alternatives, bool operators)
      : patterns(table),
        source(tokens),
        numPlain(operators ? TOKEN_WILDCARD : Token{UCHAR_MAX}),
        hasAlternatives(alternatives) {}

  /// Stores the mask of the next position; false at the end.
  bool next(Bits& accepted) {
    for (;;) {
      const Token tok = source.token();
      if (is_plain(tok)) [[likely]] {
        accepted = patterns[tok];
        return true;
      }
      if (!is_skipped(tok)) return accept_operator(tok, accepted);
    }
  }
  /// The same, and whether a word begins at the position.
  bool next(Bits& accepted, bool& begins) {
    begins = isFirst;
    for (;;) {
      const Token tok = source.token();
      begins |= source.begins_word();
      if (is_plain(tok)) {
        isFirst = false;
        accepted = patterns[tok];
        return true;
      }
      begins |= tok == TOKEN_WORD_SEP;
      if (is_skipped(tok)) continue;
      isFirst = false;
      return accept_operator(tok, accepted);
    }
  }
  /// Number of the positions left.
  int count() const {
    TeraPositions rest = *this;
    int n = 0;
    for (Bits accepted; rest.next(accepted);) ++n;
    return n;
  }

 private:
  /// One comparison for the usual case: neither the end nor an operator.
  bool is_plain(Token tok) const { return static_cast<Token>(tok - 1) < numPlain; }
  static bool is_skipped(Token tok) { return tok == TOKEN_WORD_SEP || tok == TOKEN_WILDSEQ; }

  bool accept_operator(Token tok, Bits& accepted) {
    if (tok == 0) {
      source.stay();
      return false;
    }
    if (tok != TOKEN_ALT_START || !hasAlternatives) {
      accepted = patterns[tok];
      return true;
    }
    accepted = Bits{0};
    for (Token member; (member = source.token()) != TOKEN_ALT_STOP;) {
      if (member == 0) {
        source.stay();
        break;
      }
      if (!is_skipped(member)) accepted |= patterns[member];
    }
    return true;
  }

  const Bits* patterns;
  Source source;
  Token numPlain;  // tokens from 1 to this one are looked up without further questions
  bool hasAlternatives;
  bool isFirst = true;
};

/// Calls `loop` with a pattern and the positions of an entry as it sees them.
template <class Bits, class Source, class Loop>
int run_on(const TeraPattern<Bits>& pattern, const Source& source, int options, bool half, Loop loop) {
  return loop(pattern,
              TeraPositions<Bits, Source>(pattern.patterns(half), source,
                                          (options & TeraWordOptions::NO_GLOB) == 0, pattern.hasOperators));
}

namespace tera_loops {

using Eval = TeraEval::Eval;
using Options = TeraWordOptions;

inline constexpr int MAX_COUNTED = 64;   ///< entry positions that `count` and `app_count` look at
inline constexpr int MAX_SUPERSET = 63;  ///< and `superset`

inline int value_of(Eval* eval, int query, int match, int entry) {
  return eval != nullptr ? eval(query, match, entry) : match;
}
/// For measures that are 0, whatever the model, when nothing matches.
inline int value_of_any(Eval* eval, int query, int match, int entry) {
  return match == 0 ? 0 : value_of(eval, query, match, entry);
}

// Edit distance.

/// One column of the table D, as the differences between its rows.
///
/// The vectors of the source are kept in the form that makes the way from one column to the next shortest
/// (seven operations): with P and N the rows that are one more and one less than the row above, M the query
/// positions that accept the token, and S = (M & P) + P,
///
///     Z   = (S ^ P) | M | N           D[i + 1][j] = D[i][j - 1]
///     H   = N | ~(Z | P)              D[i + 1][j] = D[i + 1][j - 1] + 1; its complement is (S | P | M) & ~N
///     P'  = (Z & P) << 1 | ~(Z | H << 1 | rowZero)
///     N'  = Z & (H << 1 | rowZero)
template <class Bits>
struct EditColumn {
  Bits plus;                ///< bit i: D[i + 1][j] = D[i][j] + 1
  Bits notMinus{~Bits{0}};  ///< bit i: not D[i + 1][j] = D[i][j] - 1
  Bits notZero{0};          ///< bit i: not D[i + 1][j] = D[i][j - 1]
  Bits before{0};           ///< what the position before this one was accepted by
  Bits rowNotPlus{0};       ///< bit i: not D[i + 1][j] = D[i + 1][j - 1] + 1
  Bits rowMinus{0};         ///< bit i: D[i + 1][j] = D[i + 1][j - 1] - 1

  /// Column 0: rows cost 1 each, or nothing.
  explicit EditColumn(bool freeRows) : plus(freeRows ? Bits{0} : ~Bits{0}) {}

  /// The next column; `rowZero` is 0 when D[0][j] = D[0][j - 1] + 1, and 1 when both are 0.
  template <bool TRANSPOSE>
  void step(Bits accepted, VUint rowZero) {
    const Bits sum = (accepted & plus) + plus;
    if constexpr (TRANSPOSE) {
      // A swap is worth it where the diagonal before cost 1 (where it cost nothing, so does a substitution).
      const Bits swapped = ((notZero & accepted) << 1) & before;
      before = accepted;
      accepted |= swapped;
    }
    notZero = (sum ^ ~plus) & (~accepted & notMinus);
    rowNotPlus = (sum | (plus | accepted)) & notMinus;
    rowMinus = plus & (accepted | ~sum);
    const Bits shifted = shift_in(rowNotPlus, rowZero);
    notMinus = notZero | shifted;
    plus = (rowMinus << 1) | (notZero & shifted);
  }
  Bits minus() const { return ~notMinus; }
};

struct EditResult {
  int distance;
  int length;  ///< positions of the entry
};

/// The smallest D[i][n] of a column with D[0][n] = `top`.
template <class Bits>
int lowest_row(const EditColumn<Bits>& column, int m, int top) {
  int lowest = top;
  for (int i = 0; i < m; ++i) {
    top += has_bit(column.plus, i) ? 1 : has_bit(column.minus(), i) ? -1 : 0;
    lowest = std::min(lowest, top);
  }
  return lowest;
}

/// D[m][n] of a column with D[0][n] = `top`.
template <class Bits>
int last_row(const EditColumn<Bits>& column, int m, int top) {
  const Bits rows = low_bits<Bits>(m);
  return top + count_bits(column.plus & rows, m) - count_bits(column.minus() & rows, m);
}

/// The smallest D[m][j]; at most one of the two suffixes is free.
template <bool TRANSPOSE, class Positions>
EditResult edit_free_end(int m, Positions entry, int options) {
  using Bits = typename Positions::BitsType;
  const VUint rowZero = (options & Options::FREE_ENTRY_PREFIX) != 0 ? 1 : 0;
  const bool freeRows = (options & Options::FREE_QUERY_PREFIX) != 0;
  const Bits last = bit_at<Bits>(m - 1);
  EditColumn<Bits> column(freeRows);
  int distance = freeRows ? 0 : m;
  int lowest = distance;
  int n = 0;
  for (Bits accepted; entry.next(accepted); ++n) {
    column.template step<TRANSPOSE>(accepted, rowZero);
    distance += static_cast<int>(!has_any(column.rowNotPlus & last)) -
                static_cast<int>(has_any(column.rowMinus & last));
    lowest = std::min(lowest, distance);
  }
  return {lowest, n};
}

/// D[m][n], or with a free query suffix the smallest D[i][n].
template <bool TRANSPOSE, class Positions>
EditResult edit_full(int m, Positions entry, int options) {
  using Bits = typename Positions::BitsType;
  const bool freeStart = (options & Options::FREE_ENTRY_PREFIX) != 0;
  const VUint rowZero = freeStart ? 1 : 0;
  EditColumn<Bits> column((options & Options::FREE_QUERY_PREFIX) != 0);
  int n = 0;
  for (Bits accepted; entry.next(accepted); ++n) column.template step<TRANSPOSE>(accepted, rowZero);
  const int top = freeStart ? 0 : n;
  return {(options & Options::FREE_QUERY_SUFFIX) != 0 ? lowest_row(column, m, top) : last_row(column, m, top),
          n};
}

template <class Positions>
EditResult edit_distance(int m, const Positions& entry, int options) {
  if (m == 0) {
    const int n = entry.count();
    return {(options & Options::FREE_ENTRY) != 0 ? 0 : n, n};
  }
  const bool transpose = (options & Options::TRANSPOSE) != 0;
  if ((options & Options::FREE_ENTRY_SUFFIX) != 0)
    return transpose ? edit_free_end<true>(m, entry, options) : edit_free_end<false>(m, entry, options);
  return transpose ? edit_full<true>(m, entry, options) : edit_full<false>(m, entry, options);
}

inline int edit_match(int m, const EditResult& edit, int options) {
  const bool freeQuery = (options & Options::FREE_QUERY) != 0;
  const bool freeEntry = (options & Options::FREE_ENTRY) != 0;
  if (freeQuery && freeEntry) return std::min(m, edit.length) - edit.distance;
  if (freeQuery) return edit.length - edit.distance;
  if (freeEntry) return m - edit.distance;
  return std::max(m, edit.length) - edit.distance;
}

inline constexpr int BOTH_SUFFIXES = Options::FREE_QUERY_SUFFIX | Options::FREE_ENTRY_SUFFIX;

/// The options under which the best alignment is found: with both suffixes free, those of the better half.
template <class Positions>
int choose_half(int m, const Positions& entry, int options, EditResult& edit) {
  const int ofEntry = options & ~Options::FREE_QUERY;
  const int ofQuery = options & ~Options::FREE_ENTRY;
  edit = edit_distance(m, entry, ofEntry);
  const EditResult other = edit_distance(m, entry, ofQuery);
  if (edit_match(m, edit, ofEntry) >= edit_match(m, other, ofQuery)) return ofEntry;
  edit = other;
  return ofQuery;
}

/// Does what `leven` says, and stores the options of the half that was chosen.
template <class Positions>
EditResult best_edit(int m, const Positions& entry, int& options) {
  EditResult edit{};
  if ((options & BOTH_SUFFIXES) == BOTH_SUFFIXES)
    options = choose_half(m, entry, options, edit);
  else
    edit = edit_distance(m, entry, options);
  return edit;
}

template <class Pattern, class Positions>
int leven(const Pattern& word, const Positions& entry, Eval* eval, int options) {
  const int m = word.wordLength;
  const EditResult edit = best_edit(m, entry, options);
  return eval != nullptr ? eval(m, edit_match(m, edit, options), edit.length) : edit.distance;
}

template <class Pattern, class Positions>
int subword(const Pattern& word, const Positions& entry, Eval* eval, int options) {
  const int m = word.wordLength;
  const EditResult edit = edit_distance(m, entry, (options & Options::TRANSPOSE) | Options::FREE_ENTRY);
  return value_of(eval, m, m - edit.distance, edit.length);
}

// Positions: what matches at the same place counts, or at one beside it.

template <class Pattern, class Positions>
int count(const Pattern& word, Positions entry, Eval* eval, int options) {
  using Bits = typename Positions::BitsType;
  const bool transpose = (options & Options::TRANSPOSE) != 0;
  int hits = 0;
  int n = 0;
  Bits place{1};
  Bits before{0};
  for (Bits accepted; n < MAX_COUNTED && entry.next(accepted); ++n, place <<= 1) {
    const Bits here = transpose ? accepted | ((accepted << 1) & before) : accepted;
    hits += has_any(here & place & low_bits<Bits>(word.wordLength)) ? 1 : 0;
    before = accepted;
  }
  return value_of(eval, word.wordLength, hits, n);
}

template <class Pattern, class Positions>
int app_count(const Pattern& word, Positions entry, Eval* eval) {
  using Bits = typename Positions::BitsType;
  Bits found{0};
  Bits window{0b011};  // positions at most one away
  int n = 0;
  for (Bits accepted; n < MAX_COUNTED && entry.next(accepted); ++n) {
    found |= accepted & window;
    window = n == 0 ? Bits{0b111} : window << 1;
  }
  return value_of_any(eval, word.wordLength, count_bits(found & low_bits<Bits>(word.wordLength)), n);
}

// Sequences.

/// Lengths of common subsequences of the query's first rows, as the rows at which they do not grow.
template <class Bits>
struct SequenceColumn {
  Bits same = ~Bits{0};

  void step(const Bits& accepted) { same = (same + (same & accepted)) | (same & ~accepted); }
  int length(int rows) const { return count_bits(~same & low_bits<Bits>(rows)); }
};

template <class Pattern, class Positions>
int lcs(const Pattern& word, Positions entry, Eval* eval) {
  using Bits = typename Positions::BitsType;
  SequenceColumn<Bits> column;
  int n = 0;
  for (Bits accepted; entry.next(accepted); ++n) column.step(accepted);
  return value_of(eval, word.wordLength, column.length(word.wordLength), n);
}

template <class Pattern, class Positions>
int biseq(const Pattern& word, Positions entry, Eval* eval) {
  using Bits = typename Positions::BitsType;
  const int m = word.wordLength;
  SequenceColumn<Bits> tokens;
  SequenceColumn<Bits> pairs;
  Bits before{0};
  int n = 0;
  for (Bits accepted; entry.next(accepted); ++n) {
    tokens.step(accepted);
    pairs.step(before & (accepted >> 1));
    before = accepted;
  }
  const int hits = tokens.length(m) + pairs.length(std::max(m - 1, 0));
  return value_of_any(eval, 2 * m, hits, static_cast<int>(std::min<VInt>(VInt{2} * n, INT_MAX)));
}

template <class Pattern, class Positions>
int bigrams(const Pattern& word, Positions entry, Eval* eval, int options) {
  using Bits = typename Positions::BitsType;
  const int m = word.wordLength;
  const Bits firsts = low_bits<Bits>(std::max(m - 1, 0));  // positions that have a successor
  const bool transpose = (options & Options::TRANSPOSE) != 0;
  const bool bounds = (options & Options::WORD_BOUNDS) != 0;
  int hits = 0;
  int n = 0;
  Bits before{0};
  for (Bits accepted; entry.next(accepted); ++n) {
    if (n == 0) {
      hits += bounds && m > 0 && has_bit(accepted, 0) ? 1 : 0;
    } else {
      Bits pairs = before & (accepted >> 1);
      if (transpose) pairs |= accepted & (before >> 1);
      hits += has_any(pairs & firsts) ? 1 : 0;
    }
    before = accepted;
  }
  if (bounds && n > 0 && m > 0 && has_bit(before, m - 1)) ++hits;
  const int ends = bounds ? 1 : -1;
  return value_of_any(eval, m + ends, hits, n + ends);
}

// Patterns: all readings of a wildcard go on at once, a bit each.

template <class Pattern, class Positions>
int match(const Pattern& word, Positions entry) {
  using Bits = typename Positions::BitsType;
  const int m = word.wordLength;
  int n = 0;
  for (Bits accepted; entry.next(accepted); ++n)
    if (n >= m || !has_bit(accepted, n)) return 0;
  return n == m ? 1 : 0;
}

/// Follows all readings at once: bit i of `behind` is set when the query's positions up to i are read.
template <class Pattern, class Positions>
int wildcard(const Pattern& word, Positions entry) {
  using Bits = typename Positions::BitsType;
  const int m = word.wordLength;
  const Bits& runs = word.tokenPattern[TOKEN_WILDSEQ];
  const bool hasRuns = word.hasOperators && (has_any(runs) || word.isOpenEnded);
  const bool runInFront = hasRuns && (m > 0 ? has_bit(runs, 0) : true);
  Bits runsBehind = hasRuns ? runs >> 1 : Bits{0};
  if (hasRuns && word.isOpenEnded && m > 0) runsBehind |= bit_at<Bits>(m - 1);

  bool atStart = true;
  Bits behind{0};
  int n = 0;
  for (Bits accepted; entry.next(accepted); ++n) {
    behind = (((behind << 1) | Bits{atStart ? 1U : 0U}) & accepted) | (behind & runsBehind);
    atStart = atStart && runInFront;
    if (!atStart && !has_any(behind)) return 0;
  }
  if (n == 0) return m == 0 && !hasRuns ? 1 : 0;
  return (m == 0 ? atStart : has_bit(behind, m - 1)) ? 1 : 0;
}

// Sets: a walk takes the first match that it comes to, and never gives it back.

/// The walk of `subset`.
template <class Bits>
struct SubsetWalk {
  Bits reachable;
  Bits reachableBefore{0};  ///< in front of the position before
  Bits acceptedBefore{0};
  int hits = 0;
  int hitsBefore = 0;

  explicit SubsetWalk(int m) : reachable(low_bits<Bits>(m)) {}

  void step(const Bits& accepted, bool transpose) {
    const Bits plain = reachable & accepted;
    const Bits swapped = transpose ? reachableBefore & accepted & (acceptedBefore >> 1) : Bits{0};
    int best = hits + (has_any(plain) ? 1 : 0);
    if (has_any(swapped)) best = std::max(best, hitsBefore + 2);
    Bits reached{0};
    if (has_any(plain) && best == hits + 1) reached = plain << 1;
    if (best == hits) reached = reachable | (reachable << 1);
    if (has_any(swapped) && best == hitsBefore + 2) reached |= swapped << 1 << 1;
    reachableBefore = reachable;
    acceptedBefore = accepted;
    hitsBefore = hits;
    reachable = reached;
    hits = best;
  }
};

template <class Pattern, class Positions>
int subset(const Pattern& word, Positions entry, Eval* eval, int options) {
  using Bits = typename Positions::BitsType;
  const Bits rows = low_bits<Bits>(word.wordLength);
  SubsetWalk<Bits> walk(word.wordLength);
  int n = 0;
  for (Bits accepted; entry.next(accepted); ++n)
    walk.step(accepted & rows, (options & Options::TRANSPOSE) != 0);
  return value_of_any(eval, word.wordLength, walk.hits, n);
}

/// The walk of `superset`. Places are counted from 1; 0 is in front of the entry.
struct SupersetWalk {
  int hits = 0;
  int place = 0;
  int hitsBefore = 0;
  int placeBefore = 0;
  VUint placesBefore = 0;

  static VUint behind(VUint places, int place) { return places & (~VUint{0} << place); }

  /// `places`: bit i when the query position accepts the entry's position i.
  void step(VUint places, bool transpose) {
    const VUint plain = behind(places, place);
    const VUint swapped = transpose ? behind(places & (placesBefore >> 1), placeBefore) : 0;
    int best = hits;
    int bestPlace = place;
    const auto take = [&](int count, int at) {
      if (count > best || (count == best && at < bestPlace)) {
        best = count;
        bestPlace = at;
      }
    };
    if (plain != 0) take(hits + 1, TeraBits::first(plain) + 1);
    if (swapped != 0) take(hitsBefore + 2, TeraBits::first(swapped) + 2);
    hitsBefore = hits;
    placeBefore = place;
    placesBefore = places;
    hits = best;
    place = bestPlace;
  }
};

template <class Pattern, class Positions>
int superset(const Pattern& word, Positions entry, Eval* eval, int options) {
  using Bits = typename Positions::BitsType;
  const int m = word.wordLength;
  VUint places[Pattern::MAX_LENGTH + 1];  // per query position, the entry positions that it accepts
  std::fill_n(places, m, 0);
  int n = 0;
  for (Bits accepted; entry.next(accepted); ++n) {
    if (n >= MAX_SUPERSET) continue;
    for (Bits left = accepted & low_bits<Bits>(m); has_any(left); left &= left - Bits{1})
      places[first_bit(left)] |= VUint{1} << n;
  }
  SupersetWalk walk;
  for (int i = 0; i < m; ++i) walk.step(places[i], (options & Options::TRANSPOSE) != 0);
  return value_of_any(eval, m, walk.hits, n);
}

template <class Pattern, class Positions>
int blockedit(const Pattern& word, const Positions& entry, Eval* eval, int options) {
  return entry.count() <= word.wordLength ? subset(word, entry, eval, options)
                                          : superset(word, entry, eval, options);
}

// Runs of words: the part of an entry, from word to word, that costs least.

struct WordRun {
  int match = -1;
  int from = 0;
  int to = 0;
  int length = 0;  ///< positions
};

/// Measures the runs that begin with word `first`, from the positions `run` on. What costs more than m is not
/// looked for, so that 2m positions are enough.
template <bool TRANSPOSE, class Positions>
void scan_from(int m, Positions run, int first, WordRun& best) {
  using Bits = typename Positions::BitsType;
  EditColumn<Bits> column(false);
  const auto evaluate = [&](int length, int words) {
    const int value = m - last_row(column, m, length);
    if (value > best.match || (value == best.match && length < best.length))
      best = {value, first, first + words, length};
  };
  Bits accepted;
  bool begins = false;
  int words = 0;
  for (int length = 0; length <= 2 * m; ++length) {
    const bool more = run.next(accepted, begins);
    if (length > 0 && (begins || !more)) evaluate(length, words);
    if (!more) return;
    words += begins || length == 0 ? 1 : 0;
    column.template step<TRANSPOSE>(accepted, 0);
  }
}

/// The best run of words. With x = max(m, length) - d, either x = m - d, or the whole entry is as good as any
/// part of it, because tokens that a longer run has in addition cost as much as they give.
template <class Pattern, class Positions>
WordRun scan_words(const Pattern& word, const Positions& entry, int options, int* num_positions) {
  using Bits = typename Positions::BitsType;
  const int m = word.wordLength;
  const bool transpose = (options & Options::TRANSPOSE) != 0;
  WordRun best;
  int numWords = 0;
  Positions walk = entry;
  Bits accepted;
  bool begins = false;
  for (Positions from = walk; walk.next(accepted, begins); from = walk) {
    if (!begins) continue;
    if (m > 0 && best.match < m)
      transpose ? scan_from<true>(m, from, numWords, best) : scan_from<false>(m, from, numWords, best);
    ++numWords;
  }
  const EditResult whole = edit_distance(m, entry, options & Options::TRANSPOSE);
  *num_positions = whole.length;
  if (const int value = edit_match(m, whole, 0); value > best.match)
    best = {value, 0, numWords, whole.length};
  return best;
}

}  // namespace tera_loops

// The measures themselves, for a word whose `run` calls a loop with its pattern and an entry's positions.

template <class Word, class Char>
int TeraMeasures<Word, Char>::leven(const Char* entry, Eval* eval, int options) const {
  return word().run(entry, options, [=](const auto& pattern, const auto& positions) {
    return tera_loops::leven(pattern, positions, eval, options);
  });
}

template <class Word, class Char>
int TeraMeasures<Word, Char>::half_lev(const Char* entry, Eval* eval, int options) const {
  const auto loop = [=](const auto& pattern, const auto& positions) {
    return tera_loops::leven(pattern, positions, eval, options);
  };
  return word().run(entry, options, loop, true);
}

template <class Word, class Char>
int TeraMeasures<Word, Char>::count(const Char* entry, Eval* eval, int options) const {
  return word().run(entry, options, [=](const auto& pattern, const auto& positions) {
    return tera_loops::count(pattern, positions, eval, options);
  });
}

template <class Word, class Char>
int TeraMeasures<Word, Char>::app_count(const Char* entry, Eval* eval, int options) const {
  return word().run(entry, options, [=](const auto& pattern, const auto& positions) {
    return tera_loops::app_count(pattern, positions, eval);
  });
}

template <class Word, class Char>
int TeraMeasures<Word, Char>::lcs(const Char* entry, Eval* eval, int options) const {
  return word().run(entry, options, [=](const auto& pattern, const auto& positions) {
    return tera_loops::lcs(pattern, positions, eval);
  });
}

template <class Word, class Char>
int TeraMeasures<Word, Char>::biseq(const Char* entry, Eval* eval, int options) const {
  return word().run(entry, options, [=](const auto& pattern, const auto& positions) {
    return tera_loops::biseq(pattern, positions, eval);
  });
}

template <class Word, class Char>
int TeraMeasures<Word, Char>::bigrams(const Char* entry, Eval* eval, int options) const {
  return word().run(entry, options, [=](const auto& pattern, const auto& positions) {
    return tera_loops::bigrams(pattern, positions, eval, options);
  });
}

template <class Word, class Char>
int TeraMeasures<Word, Char>::match(const Char* entry, Eval*, int options) const {
  return word().run(entry, options, [](const auto& pattern, const auto& positions) {
    return tera_loops::match(pattern, positions);
  });
}

template <class Word, class Char>
int TeraMeasures<Word, Char>::wildcard(const Char* entry, Eval*, int options) const {
  return word().run(entry, options, [](const auto& pattern, const auto& positions) {
    return tera_loops::wildcard(pattern, positions);
  });
}

template <class Word, class Char>
int TeraMeasures<Word, Char>::subset(const Char* entry, Eval* eval, int options) const {
  return word().run(entry, options, [=](const auto& pattern, const auto& positions) {
    return tera_loops::subset(pattern, positions, eval, options);
  });
}

template <class Word, class Char>
int TeraMeasures<Word, Char>::superset(const Char* entry, Eval* eval, int options) const {
  return word().run(entry, options, [=](const auto& pattern, const auto& positions) {
    return tera_loops::superset(pattern, positions, eval, options);
  });
}

template <class Word, class Char>
int TeraMeasures<Word, Char>::blockedit(const Char* entry, Eval* eval, int options) const {
  return word().run(entry, options, [=](const auto& pattern, const auto& positions) {
    return tera_loops::blockedit(pattern, positions, eval, options);
  });
}

template <class Word, class Char>
int TeraMeasures<Word, Char>::subword(const Char* entry, Eval* eval, int options) const {
  return word().run(entry, options, [=](const auto& pattern, const auto& positions) {
    return tera_loops::subword(pattern, positions, eval, options);
  });
}

template <class Word, class Char>
int TeraMeasures<Word, Char>::scan(const Char* entry, Eval* eval, int options, int* from, int* to) const {
  return word().run(entry, options, [=](const auto& pattern, const auto& positions) {
    int n = 0;
    const tera_loops::WordRun run = tera_loops::scan_words(pattern, positions, options, &n);
    if (from != nullptr) *from = run.from;
    if (to != nullptr) *to = run.to;
    return tera_loops::value_of(eval, pattern.wordLength, run.match, n);
  });
}
