#include "tera/measure/tera_word_alignment_internal.h"

#include <algorithm>

#include "tera/measure/tera_word_loops_internal.h"
#include "tera/tera_word_result.h"

namespace {

using Options = TeraWordOptions;

/// What is kept of column j; `accepted` are the query positions that accept entry position j - 1.
template <class Bits>
struct Step {
  Bits accepted;
  Bits plus;
  Bits minus;
  Bits zero;
};

template <class Bits, class Positions>
std::vector<Step<Bits>> record_steps(Positions entry, int num_positions, int options) {
  tera_loops::EditColumn<Bits> column((options & Options::FREE_QUERY_PREFIX) != 0);
  const VUint rowZero = (options & Options::FREE_ENTRY_PREFIX) != 0 ? 1 : 0;
  std::vector<Step<Bits>> steps;
  steps.reserve(static_cast<std::size_t>(num_positions) + 1);
  steps.push_back({Bits{0}, column.plus, Bits{0}, Bits{0}});
  for (Bits accepted; entry.next(accepted);) {
    if ((options & Options::TRANSPOSE) != 0)
      column.template step<true>(accepted, rowZero);
    else
      column.template step<false>(accepted, rowZero);
    steps.push_back({accepted, column.plus, column.minus(), ~column.notZero});
  }
  return steps;
}

/// The way from the end of the table to its start, signs last to first.
template <class Pattern, class Bits>
class Trace {
 public:
  Trace(const Pattern& pattern, const std::vector<Step<Bits>>& columns, int word_options)
      : word(pattern), steps(columns), options(word_options), row(pattern.wordLength) {}

  std::vector<char> follow() {
    column = static_cast<int>(steps.size()) - 1;
    signs.reserve(steps.size() + static_cast<std::size_t>(2 * row));
    leave_free_end();
    while (row > 0 || column > 0) step_back();
    std::reverse(signs.begin(), signs.end());
    return std::move(signs);
  }

 private:
  const Step<Bits>& at(int j) const { return steps[static_cast<std::size_t>(j)]; }
  bool allows(int option) const { return (options & option) != 0; }

  int distance_at(int i, int j) const {
    const Bits rows = low_bits<Bits>(i);
    return (allows(Options::FREE_ENTRY_PREFIX) ? 0 : j) + count_bits(at(j).plus & rows) -
           count_bits(at(j).minus & rows);
  }

  /// To the first best column of the last row, or the last best row of the last column.
  void leave_free_end() {
    int bestRow = row;
    int bestColumn = column;
    if (allows(Options::FREE_ENTRY_SUFFIX)) {
      for (int j = column; j >= 0; --j)
        if (distance_at(row, j) <= distance_at(row, bestColumn)) bestColumn = j;
    } else if (allows(Options::FREE_QUERY_SUFFIX)) {
      for (int i = row; i >= 0; --i)
        if (distance_at(i, column) < distance_at(bestRow, column)) bestRow = i;
    }
    while (column > bestColumn) read_entry(TeraSign::ABBREV);
    while (row > bestRow) read_query(TeraSign::JUMPL);
  }

  void step_back() {
    if (row == 0) return read_entry(allows(Options::FREE_ENTRY_PREFIX) ? TeraSign::JUMPR : TeraSign::INSERT);
    if (column == 0)
      return read_query(allows(Options::FREE_QUERY_PREFIX) ? TeraSign::JUMPL : TeraSign::REMOVE);
    if (accepts(row, column)) return read_both(TeraSign::MATCH);
    if (is_swap()) {
      read_both(TeraSign::TRANSR);
      return read_both(TeraSign::TRANSL);
    }
    if (has_bit(at(column).plus, row - 1)) return read_query(TeraSign::REMOVE);
    if (has_bit(at(column - 1).minus, row - 1)) return read_entry(TeraSign::INSERT);
    read_both(TeraSign::SUBST);
  }

  bool accepts(int i, int j) const { return has_bit(at(j).accepted, i - 1); }

  /// Whether the two diagonal steps to here cost 1 together and the tokens are swapped.
  bool is_swap() const {
    return allows(Options::TRANSPOSE) && row >= 2 && column >= 2 && accepts(row - 1, column) &&
           accepts(row, column - 1) &&
           has_bit(at(column).zero, row - 1) != has_bit(at(column - 1).zero, row - 2);
  }

  void read_entry(char sign) {
    signs.push_back(sign);
    --column;
  }
  void read_query(char sign) {
    signs.push_back(sign);
    --row;
    if (row > 0 && word.hasOperators && has_bit(word.tokenPattern[TOKEN_WORD_SEP], row))
      signs.push_back(TeraSign::WORDSEP);
  }
  void read_both(char sign) {
    read_query(sign);
    --column;
  }

  const Pattern& word;
  const std::vector<Step<Bits>>& steps;
  int options;
  int row;
  int column = 0;
  std::vector<char> signs;
};

}  // namespace

TeraAlignment::TeraAlignment(const TeraTokenWord& word, const Token* entry, int options)
    : wordLength(word.wordLength) {
  word.visit([&](const auto& pattern) {
    return run_on(pattern, TeraTokenSource(entry), options, false,
                  [&](const auto& used, const auto& positions) {
                    align(used, positions, options);
                    return 0;
                  });
  });
}

template <class Pattern, class Positions>
void TeraAlignment::align(const Pattern& word, const Positions& entry, int options) {
  using Bits = typename Positions::BitsType;
  const tera_loops::EditResult edit = tera_loops::best_edit(wordLength, entry, options);
  match = tera_loops::edit_match(wordLength, edit, options);
  numPositions = edit.length;
  const auto steps = record_steps<Bits>(entry, numPositions, options);
  signs = Trace<Pattern, Bits>(word, steps, options).follow();
}

char* TeraAlignment::copy_signs(AceAttach* at) const {
  return at->attach(signs.empty() ? "" : signs.data(), static_cast<VInt>(signs.size()));
}

bool TeraAlignment::is_pair(char sign) {
  return reads_entry(sign) && reads_query(sign);
}

bool TeraAlignment::reads_entry(char sign) {
  return sign != TeraSign::REMOVE && sign != TeraSign::JUMPL && sign != TeraSign::WORDSEP;
}

bool TeraAlignment::reads_query(char sign) {
  return sign != TeraSign::INSERT && sign != TeraSign::JUMPR && sign != TeraSign::ABBREV &&
         sign != TeraSign::WORDSEP;
}
