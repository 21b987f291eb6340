/// Looking up one query in the automata: what is asked for becomes walks, and what these find qualities.
#pragma once

#include <vector>

#include "tera/auto/tera_auto_walk_internal.h"
#include "tera/tera_auto_recall.h"

class TeraAutoLook {
 public:
  /// An entry within the edits; of several the best quality counts.
  struct Hit {
    Large index;
    int quality;
  };

  /// The query's tokens, in which `operators` may be. Entries below `min_value` are left out.
  TeraAutoLook(const TeraBidirectAuto& automata, const Token* tokens, bool operators, TeraEval::Mode mode,
               TeraEval::Model model, int min_value, TeraAutoBudget* budget);

  /// Positions of the query; -1 for what cannot be looked up.
  int length() const { return queryLength; }
  /// With `restrict_len` above 0, lengths differ by at most that; longer ones by any where the entry goes on.
  void set_options(int options, int max_edit, int restrict_len, bool goes_on = false);
  /// For modes of edits. False when the budget ended before the walk.
  bool look();
  /// The most that an entry of more edits may be worth.
  int most_beyond() const;
  /// For patterns.
  bool match();

  std::vector<Hit> hits;  ///< each entry once, by number

 private:
  struct Sink;
  template <class Bits>
  struct Compiled;

  bool look_in(TeraAutoEnds ends, int len_min, int len_max);
  void limit_lengths(const TeraAutoEnds& ends, int* len_min, int* len_max) const;
  int useful_edits(const TeraAutoEnds& ends, int len_min, int len_max) const;
  int quality(const TeraAutoEnds& ends, int positions, int distance) const;
  int most_beyond(const TeraAutoEnds& ends) const;
  template <class Bits>
  bool walk_both(TeraAutoAsk ask);
  template <class Bits>
  bool walk(const TeraAutoData& data, const Token* tokens, const TeraAutoAsk& ask, const int* turner,
            const TeraAutoEnds& ends);
  void unite();

  const TeraBidirectAuto& pair;
  const Token* queryTokens;
  bool hasOperators;
  TeraEval::Mode evalMode;
  TeraEval::Eval* evalFunc;
  int minValue;
  TeraAutoBudget* stepBudget;
  int queryLength;
  int maxEdit = 0;
  int shortest = 0;
  int longest = TeraAutoData::MAX_TOKENS;
  bool transpose = false;
  bool hasWild = false;
};
