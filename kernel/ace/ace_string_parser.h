/// Tokens of an option text: "-name value -flag -other {value with blanks}".
///
/// Tokens are separated by blanks (spaces). A value in braces is protected: it may hold blanks and nested
/// braces, and a backslash makes the next brace an ordinary byte that does not nest.
///
///     -set {a b}      value "a b"          -set {a {b}}    value "a {b}"
///     -set {a\}b}     value "a}b"          -set {}         the empty value
///
/// Thread safety: a parser belongs to one thread.
#pragma once

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class SORV_API AceStringParser {
 public:
  /// `text` stays the caller's and must outlive the parser; null is an empty text. Tokens live until the
  /// parser dies.
  explicit AceStringParser(const char* text);

  /// The next option name, in lower case, without its hyphen; the blanks behind it are skipped. Returns its
  /// length; 0 at the end of the text; -1 when the next token does not start with a hyphen or has no name.
  int get_option(char** name);
  /// The next value, up to a blank or the end (so it is empty at a blank), or a protected one. Returns its
  /// length, or -1 at the end of the text.
  int get_value(char** value);
  /// The text between the brace at the present position and the one that closes it, without the backslashes
  /// before braces. Returns its length, or -1 when there is no such brace.
  int get_protected_value(char** value);
  /// Goes behind `text` if that is what comes next, up to a blank or the end; else changes nothing.
  bool skip_text(const char* text);
  /// Index of the next byte.
  int get_pos() const { return curPos; }

 private:
  void skip_blanks();
  char* token_to_blank(int* length);

  AceAttach memAt;
  const char* configString;
  int curPos = 0;
};
