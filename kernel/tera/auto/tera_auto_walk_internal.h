/// The error-tolerant walk: all paths of an automaton within some edits of a query, depth first.
///
/// Beside each state on the way lie the rows of a nondeterministic automaton of the query. Bit i of row d
/// says that i positions of the query, opposite to the tokens read so far, cost at most d edits:
///
///     query  m a y e r        read  m a i          row 0   ......     nothing without an error
///                                                  row 1   ...1..     "may" as "mai"
///
/// A token moves all bits of all rows at once; where no row has a bit, no entry below can match, and the walk
/// turns round. The distance of an entry is the first row with the query's last bit.
///
/// Source: S. Wu, U. Manber, Comm. ACM 35(10), 1992 (rows of bits); G. Navarro, ACM Comp. Surveys 33(1), 2001
/// (walks over tries); transpositions after H. Hyyro, 2003.
#pragma once

#include <algorithm>
#include <vector>

#include "tera/measure/tera_word_loops_internal.h"
#include "tera/tera_auto_data.h"
#include "tera/tera_word_pattern.h"

/// What a recall may cost in steps: a word of a row of a state, some 5 ns.
class TeraAutoBudget {
 public:
  static constexpr VInt STEPS_PER_PATH = 16;
  static constexpr VInt LEAST_PATHS = 700'000;

  explicit TeraAutoBudget(Large num_paths)
      : stepsLeft(STEPS_PER_PATH * std::max<VInt>(num_paths, LEAST_PATHS)) {}
  bool spend(VInt steps) { return (stepsLeft -= steps) >= 0; }
  bool is_spent() const { return stepsLeft < 0; }

 private:
  VInt stepsLeft;
};

/// All entries below a state in order, depth first, with their tokens. `Use` is
/// `bool use(index, tokens, length)`: false ends the walk.
template <class Use>
class TeraAutoEntryWalk {
 public:
  /// Entries of more than `longest` tokens are left out.
  TeraAutoEntryWalk(const TeraAutoData& data, int longest, TeraAutoBudget* budget, Use use)
      : autoData(data), maxLength(longest), stepBudget(budget), useEntry(use) {}

  /// From the state to which `beginning` leads, `index` paths in. False when the walk was ended.
  bool run(Large state, Large index, const Token* beginning = nullptr) {
    int depth = 0;
    while (beginning != nullptr && beginning[depth] != 0 && depth < maxLength) {
      tokens[depth] = beginning[depth];
      ++depth;
    }
    return visit(state, index, depth);
  }

 private:
  bool visit(Large state, Large index, int depth) {
    tokens[depth] = 0;
    if (depth > 0 && autoData.is_accepting(state) && index < autoData.get_num_paths() &&
        !useEntry(index, tokens, depth))
      return false;
    if (depth >= maxLength) return true;
    bool isOn = true;
    autoData.for_each_transition(state, [&](Token token, Large before, Large target) {
      if (!stepBudget->spend(1) || !autoData.is_state(target)) return isOn = false;
      tokens[depth] = token;
      return isOn = visit(target, index + before, depth + 1);
    });
    return isOn;
  }

  const TeraAutoData& autoData;
  const int maxLength;
  TeraAutoBudget* const stepBudget;
  Use useEntry;
  Token tokens[TeraAutoData::MAX_TOKENS + 1];
};

/// Which ends cost nothing.
struct TeraAutoEnds {
  bool queryPrefix = false;
  bool querySuffix = false;
  bool entryPrefix = false;
  bool entrySuffix = false;

  bool are_fixed() const { return !queryPrefix && !querySuffix && !entryPrefix && !entrySuffix; }
  TeraAutoEnds turned() const { return {querySuffix, queryPrefix, entrySuffix, entryPrefix}; }
};

/// What a walk looks for.
struct TeraAutoAsk {
  TeraAutoEnds ends;
  int maxEdit = 0;
  int lenMin = 0;
  int lenMax = TeraAutoData::MAX_TOKENS;
  bool transpose = false;
  bool hasWild = false;  ///< entries have wildcards
  bool hasRuns = false;  ///< the query's wildcard sequences match runs
  int halfLength = 0;    ///< the first positions of the query
  int halfEdit = 0;      ///< may have so many edits only
  bool isPlain = false;  ///< every position of the query accepts one token
};

/// `K` is the number of edits, or below 0 any. `Sink` has `found(index, positions, distance)`.
template <class Bits, int K, class Sink>
class TeraAutoWalk {
 public:
  TeraAutoWalk(const TeraAutoData& data, const TeraPattern<Bits>& query, const Token* tokens,
               const TeraAutoAsk& ask, TeraAutoBudget* budget, Sink* sink)
      : autoData(data),
        pattern(query.patterns(false)),
        queryTokens(tokens),
        length(query.wordLength),
        asked(ask),
        stepBudget(budget),
        itsSink(sink),
        numRows((K >= 0 ? K : ask.maxEdit) + 1),
        rowStore(static_cast<std::size_t>(longest_way() + 2) * static_cast<std::size_t>(numRows)),
        allowed(static_cast<std::size_t>(numRows), low_bits<Bits>(length + 1)),
        initial(allowed),
        isPlain(ask.isPlain && ask.ends.are_fixed() && !ask.hasWild && !ask.hasRuns) {
    for (int row = ask.halfEdit + 1; row < numRows && ask.halfLength > 0; ++row)
      allowed[at(row)] &= ~low_bits<Bits>(ask.halfLength);
    for (int row = 0; row < numRows && !ask.ends.queryPrefix; ++row)
      initial[at(row)] = low_bits<Bits>(std::min(row, length) + 1) & allowed[at(row)];
  }

  /// False when the budget was spent before the end.
  bool run() {
    std::copy(initial.begin(), initial.end(), rows(0));
    Place start{TeraAutoData::START, 0, 0, 0, numRows, false, Bits{0}};
    if (asked.ends.entrySuffix) start.best = arrived(rows(0));
    visit(start);
    return !stepBudget->is_spent();
  }

 private:
  static constexpr int FIXED = K;
  static constexpr int ROW_COST = sizeof(Bits) / sizeof(VUint);

  struct Place {
    Large state;
    Large index;
    int depth;      ///< tokens read
    int positions;  ///< without wildcard sequences
    int best;       ///< least distance of the way here to the whole query; numRows for none
    bool hasRun;    ///< a wildcard sequence was read
    Bits previous;  ///< the positions that accept the last token; none without transpositions
  };

  static std::size_t at(int row) { return static_cast<std::size_t>(row); }
  int row_count() const { return FIXED >= 0 ? FIXED + 1 : numRows; }
  int longest_way() const { return autoData.get_longest_path(); }
  Bits* rows(int depth) {
    return rowStore.data() + static_cast<std::size_t>(depth) * static_cast<std::size_t>(row_count());
  }

  int arrived(const Bits* row) const {
    for (int d = 0; d < row_count(); ++d)
      if (has_bit(row[d], length)) return d;
    return row_count();
  }
  /// The first row before `end` with a bit; `end` when there is none.
  static int first_alive(const Bits* row, int end) {
    int d = 0;
    while (d < end && !has_any(row[d])) ++d;
    return d;
  }

  /// The rows behind a token that `accepted` positions accept.
  void step(const Bits* parent, const Bits* before, const Bits& accepted, const Bits& previous, Bits* row) {
    row[0] = ((parent[0] & accepted) << 1) & allowed[0];
    if (asked.hasRuns) row[0] |= parent[0] & pattern[TOKEN_WILDSEQ];
    const Bits swapped = accepted & (previous >> 1);
    for (int d = 1; d < row_count(); ++d) {
      const Bits edited = parent[d - 1] | ((parent[d - 1] | row[d - 1]) << 1);
      const Bits swaps = ((before[d - 1] & swapped) << 1) << 1;
      row[d] = (((parent[d] & accepted) << 1) | edited | swaps) & allowed[at(d)];
    }
    if (asked.ends.entryPrefix)
      for (int d = 0; d < row_count(); ++d) row[d] |= initial[at(d)];
  }
  /// Behind a wildcard sequence of the entry every later position may come next.
  void step_run(const Bits* parent, Bits* row) {
    for (int d = 0; d < row_count(); ++d) {
      const Bits lowest = parent[d] & (Bits{0} - parent[d]);
      row[d] = (Bits{0} - lowest) & allowed[at(d)];
    }
  }

  void visit(const Place& place) {
    const Bits* const own = rows(place.depth);
    if (place.depth > 0 && autoData.is_accepting(place.state)) accept(place, own);
    if (place.depth >= longest_way() || place.positions >= asked.lenMax) return;
    if (isPlain && first_alive(own, row_count() - 1) == row_count() - 1 && has_no_swaps(place)) {
      follow_all(place, own[row_count() - 1]);
      return;
    }
    autoData.for_each_transition(place.state, [&](Token token, Large before, Large target) {
      if (!stepBudget->spend(ROW_COST * row_count()) || !autoData.is_state(target)) return false;
      descend(place, token, before, target);
      return true;
    });
  }

  void descend(const Place& place, Token token, Large before, Large target) {
    Place child{target,     place.index + before, place.depth + 1, place.positions,
                place.best, place.hasRun,         Bits{0}};
    Bits* const row = rows(child.depth);
    if (asked.hasWild && token == TOKEN_WILDSEQ) {
      child.hasRun = true;
      step_run(rows(place.depth), row);
    } else {
      const Bits& accepted = pattern[token];
      ++child.positions;
      step(rows(place.depth), rows(std::max(place.depth - 1, 0)), accepted, place.previous, row);
      if (asked.transpose) child.previous = accepted;
    }
    if (!asked.ends.entrySuffix) {
      if (first_alive(row, row_count()) < row_count()) visit(child);
      return;
    }
    child.best = std::min(child.best, arrived(row));
    if (first_alive(row, std::min(child.best, row_count())) < child.best)
      visit(child);
    else if (child.best < row_count())
      settle(child);
  }

  bool has_no_swaps(const Place& place) {
    return !has_any(place.previous) || first_alive(rows(place.depth - 1), row_count() - 1) == row_count() - 1;
  }

  /// No edits are left: what is missing must follow literally.
  void follow_all(const Place& place, Bits open) {
    for (; has_any(open); open &= open - Bits{1}) {
      const int from = first_bit(open);
      if (from == length) continue;  // accepted above
      stepBudget->spend(1);
      Large state = place.state;
      Large index = place.index;
      int i = from;
      while (i < length && autoData.is_state(state)) state = autoData.next(state, queryTokens[i++], &index);
      if (i == length && autoData.is_accepting(state))
        report(index, place.positions + length - from, row_count() - 1);
    }
  }

  /// The entries below a place all have its distance.
  void settle(const Place& place) {
    if (autoData.is_accepting(place.state)) report(place.index, entry_length(place), place.best);
    if (place.depth >= longest_way() || place.positions >= asked.lenMax) return;
    autoData.for_each_transition(place.state, [&](Token token, Large before, Large target) {
      if (!stepBudget->spend(1) || !autoData.is_state(target)) return false;
      const bool isRun = asked.hasWild && token == TOKEN_WILDSEQ;
      settle({target, place.index + before, place.depth + 1, place.positions + (isRun ? 0 : 1), place.best,
              place.hasRun || isRun, Bits{0}});
      return true;
    });
  }

  void accept(const Place& place, const Bits* own) {
    int distance = place.best;
    if (!asked.ends.entrySuffix)
      distance = asked.ends.querySuffix ? first_alive(own, row_count()) : arrived(own);
    if (distance < row_count()) report(place.index, entry_length(place), distance);
  }
  /// An entry with a wildcard sequence is as long as the query, unless its own positions are more.
  int entry_length(const Place& place) const {
    return place.hasRun ? std::max(place.positions, length) : place.positions;
  }
  void report(Large index, int positions, int distance) {
    if (positions >= asked.lenMin && positions <= asked.lenMax && index > 0 &&
        index < autoData.get_num_paths())
      itsSink->found(index, positions, distance);
  }

  const TeraAutoData& autoData;
  const Bits* const pattern;
  const Token* const queryTokens;
  const int length;
  const TeraAutoAsk asked;
  TeraAutoBudget* const stepBudget;
  Sink* const itsSink;
  const int numRows;
  std::vector<Bits> rowStore;  // by depth
  std::vector<Bits> allowed;   // by row
  std::vector<Bits> initial;   // by row
  const bool isPlain;
};
