/// Token strings: walking over their positions, turning, comparing and printing them.
///
/// A token string (tera_token_values.h) is read position by position. An ordinary token is one position; an
/// alternative (251, its members, 252) is one position that accepts any member; the wildcard 250 is one
/// position that accepts any token. The word separator 253 and the wildcard sequence 255 occupy no position:
/// they belong to the position behind them. A 252 without its 251 is an ordinary token.
///
/// Null strings count as empty ones. Nothing is ever read behind the terminating 0.
#pragma once

#include "ace/ace_attach.h"
#include "tera/tera_token_values.h"

class SORV_API TeraToken {
 public:
  /// Number of positions; -1 for an alternative that is empty or not closed.
  static int alt_len(const Token* tokens);
  /// 1 when a token is an operator (250 to 255), else 0.
  static int has_glob(const Token* tokens);
  /// The string backwards, in `at`, with alternatives kept as they are; one that is not closed is turned
  /// token by token. Null gives null.
  static Token* turn(const Token* tokens, AceAttach* at);
  /// Sorts the members of every closed alternative in place. Returns the number of alternatives.
  static int sort_alt(Token* tokens);

  // Walking.

  /// The address behind the next position; at the end of the string the address of its 0. Null for an
  /// alternative that is not closed.
  static const Token* next_pos(const Token* tokens);
  /// The address behind `pos` positions; null when `pos` is negative, when there are not that many, or when
  /// an alternative before it is not closed.
  static const Token* token_pos(const Token* tokens, int pos);
  /// The address in front of the last `pos` positions; null as above.
  static const Token* token_pos_reverse(const Token* tokens, int pos);

  /// Of the first `n` positions, those that differ: that share no token, or that only one string has. With
  /// `no_glob` every token is a position, and only equal tokens agree.
  static int ndiffer(const Token* s1, const Token* s2, int n, bool no_glob);

  /// The values in decimal with blanks between, in `at`; null gives null.
  static char* print(const Token* tokens, AceAttach* at);
  /// Reads what `print` writes, with any white space between. Null, explained on the default reporter, for
  /// anything but numbers from 1 to 255; null for null.
  static Token* read(const char* text, AceAttach* at);

  TeraToken() = delete;
};
