/// Reading query token strings position by position, for the words compiled from them.
#pragma once

#include "tera/tera_token_values.h"

/// Calls `accept(i, token)` for each token that position i accepts (each member of an alternative),
/// `separate(i)` for a word separator and `run(i)` for a wildcard sequence in front of position i. Without
/// `operators` every token is an ordinary one. Alternatives must be closed. Returns the number of positions.
template <class Accept, class Separate, class Run>
int walk_positions(const Token* tokens, bool operators, Accept accept, Separate separate, Run run) {
  int pos = 0;
  bool inAlternative = false;
  for (; *tokens != 0; ++tokens) {
    const Token tok = operators ? *tokens : Token{0};
    if (tok == TOKEN_ALT_START && !inAlternative) {
      inAlternative = true;
    } else if (tok == TOKEN_ALT_STOP && inAlternative) {
      inAlternative = false;
      ++pos;
    } else if (tok == TOKEN_WORD_SEP || tok == TOKEN_WILDSEQ) {
      if (!inAlternative) tok == TOKEN_WORD_SEP ? separate(pos) : run(pos);
    } else {
      accept(pos, *tokens);
      pos += inAlternative ? 0 : 1;
    }
  }
  return pos;
}
