/// A query word compiled into masks: for each token value, the positions that accept it.
///
///     query      m   a   [ e i ]   ?   r          positions 0 to 4
///     'a'        0   1     0       1   0
///     'e'        0   0     1       1   0
///     wildcard   1   1     1       1   1 ...      an entry's wildcard is accepted everywhere
///
/// Beyond those of the positions, two tables have bits of their own: `tokenPattern[253]` bit 0, the bit of
/// each position that starts a new word, and the bit behind the last position; `tokenPattern[255]` the bit of
/// each position in front of which a wildcard sequence stands (the bit behind the last position for one at
/// the end). A bit that the mask does not have is left out.
#pragma once

#include <memory>

#include "tera/tera_quad_bit.h"
#include "tera/tera_token_values.h"
#include "tera/tera_wide_mask.h"

inline constexpr int NUM_TOKEN_VALUES = 256;
using TeraLongMask = TeraWideMask<16>;

template <class Bits>
class SORV_API TeraPattern {
 public:
  /// Positions that are kept; the masks of 64 bits leave one for the end of the word.
  static constexpr int MAX_LENGTH = sizeof(Bits) == sizeof(VUint) ? 63 : 8 * sizeof(Bits);

  /// Compiles a token string; what lies behind `MAX_LENGTH` positions is dropped. Without `operators` all
  /// token values are ordinary ones (the identity maps). Returns the number of positions; -1, and no word,
  /// for null and for an alternative that is empty or not closed.
  int build(const Token* tokens, bool operators = true);
  /// Number of positions; -1 when there is no word.
  int length() const { return wordLength; }
  /// Registers half tokens: `pairs` is a token string of pairs (a, b), and from now on a token b in an entry
  /// is accepted in `half_lev` where a is. Returns the number of pairs; -1 when there is no word, for null
  /// and for an odd number of tokens.
  int add_halfs(const Token* pairs);

  /// The table that a measure uses.
  const Bits* patterns(bool half) const {
    return half && halfPattern != nullptr ? halfPattern.get() : tokenPattern;
  }

  Bits tokenPattern[NUM_TOKEN_VALUES] = {};
  int wordLength = -1;
  int numWords = 0;                     ///< 1 + number of word separators
  bool isCut = false;                   ///< positions were dropped
  bool isOpenEnded = false;             ///< a wildcard sequence stands at the end
  bool hasOperators = true;             ///< tokens from 250 on are operators
  std::unique_ptr<Bits[]> halfPattern;  ///< per token value: its pattern, and those of its half tokens
};

extern template class TeraPattern<VUint>;
extern template class TeraPattern<QuadBit>;
extern template class TeraPattern<TeraLongMask>;
