/// Scanners: the tokens of a text, one after the other.
///
///     TeraScan scan(map, text, false);
///     while (Token tok = scan.get_next_token(0)) ...
///
/// The position is that of the next unread byte; a character that yields several tokens is read when its
/// first token is asked for. Where a byte that starts UTF-8 characters is not followed by one, the exception
/// is printed on the default reporter (once) and the text ends before that byte.
///
/// Thread safety: a scanner belongs to one thread. It keeps pointers to the map and the text.
#pragma once

#include "ace/ace_attach.h"
#include "tera/tera_map.h"

class SORV_API TeraScan {
 public:
  /// `no_glob` treats operators as ordinary characters. A null text is an empty one. Throws an `AceException`
  /// for a null map.
  TeraScan(const TeraMap* map, const char* string, bool no_glob);

  /// The next token; 0 at the end, as often as it is asked for. With `check_alt` a character inside an
  /// alternative that becomes several tokens is warned about.
  Token get_next_token(int check_alt = 0) {
    if (curSequence == 0) [[likely]] {
      const Sequence entry = teraMap->tokenMap[static_cast<unsigned char>(*curInput)];
      if (entry - 1 < 0xFF) [[likely]] {
        ++curInput;
        return static_cast<Token>(entry);
      }
    }
    return next_token(check_alt);
  }
  /// Puts a token in front of the pending ones. Returns 0; -1 when four are pending already, or for a `tok`
  /// that is no token.
  int unget(int tok);
  /// Back to the start. Returns 0.
  int rewind();
  /// 1 when no input and no token is left. What is left may still be skipped.
  int eos() const { return curSequence == 0 && (*curInput == 0 || isBroken) ? 1 : 0; }
  /// Whether no tokens are pending.
  bool is_char_finished() const { return curSequence == 0; }

  /// Whether the last operator read has opened an alternative.
  bool is_in_alt() const { return inAlt; }

  // The rest of the text.

  /// Its tokens, in `at`, with three zero bytes behind them.
  Token* convert(AceAttach* at);
  /// At most `max_tokens` - 1 tokens and a 0; returns their number.
  int convert(Token* out, int max_tokens);
  /// Its tokens, `step` bytes apart and no 0 behind them. Returns their number; -1, and `max_tokens` of them
  /// are written, when there are more.
  int spread(Token* out, int step, int max_tokens);
  /// Its tokens and a 0, and for each the offset in bytes behind the character that it comes from. Both need
  /// room for four tokens per byte, and `out` for the 0. Returns the number of tokens.
  int convert_off(Token* out, int* offsets);
  /// Number of its tokens, or of its positions as `TeraMap::alt_len` counts them; then rewinds. The second
  /// form adds the number of tokens to `*toklen`.
  int tok_len();
  int alt_len();
  int alt_len(int* toklen);

  // Positions.

  const char* get_current_pos() const { return curInput; }
  int get_current_off() const { return static_cast<int>(curInput - scanString); }
  /// 1 when the byte `target` occurs in the input from `pos` up to the current position.
  int check_skipped(char target, const char* pos) const;
  /// Moves over characters that yield no token and returns the new position. With operators on, operator
  /// characters are not skipped.
  const char* skip_no_token();

 private:
  Token next_token(int check_alt);
  long fill(Token* out, long room, long step);
  Token read_operator(Sequence entry);
  bool read_unicode();

  const TeraMap* teraMap;
  const char* scanString;
  const char* curInput;
  Sequence curSequence = 0;  // tokens pending, the next in the lowest byte
  bool noGlob;
  bool inAlt = false;     // between the open and close of an alternative
  bool isBroken = false;  // an invalid character was met, which ends the text
};
