/// A best alignment of a query word and an entry, as signs (tera_word_result.h).
#pragma once

#include <vector>

#include "ace/ace_attach.h"
#include "tera/tera_eval.h"
#include "tera/tera_token_word.h"

class TeraAlignment {
 public:
  /// Aligns for `leven` with these options. The word must be built.
  TeraAlignment(const TeraTokenWord& word, const Token* entry, int options);

  /// The model's value, or without one the match value.
  int value(TeraEval::Eval* eval) const {
    return eval != nullptr ? eval(wordLength, match, numPositions) : match;
  }
  char* copy_signs(AceAttach* at) const;
  /// Whether a sign stands for a query token opposite to an entry token.
  static bool is_pair(char sign);
  static bool reads_entry(char sign);
  static bool reads_query(char sign);

  int wordLength = 0;
  int numPositions = 0;  ///< of the entry
  int match = 0;         ///< match value
  std::vector<char> signs;

 private:
  template <class Pattern, class Positions>
  void align(const Pattern& word, const Positions& entry, int options);
};
