/// Escapes and character sets. See ace_str.h for the conventions.
///
/// An escape is a backslash and one of:
///
///     xHH..   hexadecimal digits of either case, the low 8 bits of their value; one byte behind the digits
///             (a blank or semicolon that separates them from what follows) belongs to the escape
///     ooo..   octal digits, as many as there are, the low 8 bits of their value
///     abfnrtv the bytes 7, 8, 12, 10, 13, 9, 11
///     other   that byte itself (an x without digits is such a byte)
#pragma once

#include "ace/ace_types.h"

class AceAttach;

/// Reads one possibly escaped character and moves `*p` behind it, never past the terminator: at the end, and
/// for a backslash that is the last byte, the result is 0 and `*p` is the terminator.
SORV_API char strtochar(const char** p);
/// A copy in `at` with all escapes resolved; null gives null. An escape of value 0 is a NUL inside the copy.
SORV_API char* strunescape(const char* s, AceAttach* at);

/// Expands a character set such as "a-z_": writes its bytes and a terminator to `out` and returns their
/// count, or -1 for a range whose end is smaller than its start (as signed bytes).
///
/// Characters may be escaped; a byte 0 or from 0x80 on ends the set. A hyphen between two characters is a
/// range (escaped or not); at the start, at the end and right behind a range it stands for itself. Bytes are
/// not made unique, so `out` must hold 126 bytes for each hyphen and one for each other byte of `spec`,
/// plus 1.
SORV_API int strset(const char* spec, char* out);

/// Number of `c` bytes that are not escaped: an unescaped `esc` makes the next byte ordinary.
SORV_API int strcount_escaped(const char* s, char c, char esc);
/// Removes every `esc` byte in place but keeps the byte behind it. Returns the new length.
SORV_API int remove_escape_char(char* s, char esc);
/// Removes in place the `esc` bytes that stand directly before `sep`. Returns the new length.
SORV_API int remove_escaping(char* s, char esc, char sep);
