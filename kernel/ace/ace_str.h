/// Plain-text helpers over C strings: copying, joining, trimming, searching, comparing.
///
/// Kept by subject; the siblings are ace_str_map.h (separator and case maps), ace_str_split.h (fields and
/// tokens), ace_str_escape.h (escapes and character sets), ace_str_count.h (counting bytes) and
/// ace_str_number.h (numbers).
///
/// Conventions of all these files:
/// - Texts are NUL-terminated and shorter than 2 GiB; lengths and positions are bytes, bytes are unsigned.
/// - Destination buffers are the caller's and are NOT checked: `dst` holds strlen(src) + 1 bytes, or n + 1
///   where a limit `n` is given. Results "in `at`" live until that attach is released; where no attach is
///   taken the result is from `ace_alloc` and the caller frees it with `ace_delete`.
/// - A `char` given as an `int` is reduced to its low byte. "White space" is blank, tab, line feed, vertical
///   tab, form feed and carriage return, whatever the process locale.
/// - A null text behaves as an empty one unless stated otherwise.
/// Errors: memory exhaustion throws `std::bad_alloc`.
/// Thread safety: reentrant; the exceptions are named at the function.
#pragma once

#include "ace/ace_types.h"

class AceAttach;

// Copying into the caller's buffer.

/// Copies and terminates. Returns the length. Null `src`: 0, `dst` untouched.
SORV_API int strcopy(char* dst, const char* src);
/// Copies at most `n` bytes and terminates. Returns the count. Null `src`: 0, `dst` untouched; `n` <= 0 or an
/// empty `src`: 0, `dst` empty.
SORV_API int strncopy(char* dst, const char* src, int n);
/// Copies `map[byte]` (256 entries) for every byte and terminates. Returns the length of `src`. Null `src` or
/// `map`: 0, `dst` untouched.
SORV_API int strmapcopy(char* dst, const char* src, char* map);
/// Copies `src` without the bytes `c`. Returns the length. Null `dst` or `src`: 0. `dst` may be `src`.
SORV_API int strstrip(char* dst, const char* src, int c);
/// Copies `src` to `dst` (which may be `src`) without its leading `c` bytes (`front` set) and its trailing
/// ones (`back`), and with each run of `c` bytes written as one `c` (`squeeze`). With `anySpace` every white
/// space byte counts as `c`; under `squeeze` such a run, even of a single tab, is written as `c`.
/// Returns the length. A null argument: 0, nothing is written.
SORV_API int strtrim(char* dst, const char* src, int front, int squeeze, int back, int anySpace, char c);
/// The initials: the first byte of each of the blank-separated words of `s`, terminated. Returns their count.
/// When `n` initials are reached, `out` holds exactly those `n` bytes and NO terminator. `n` < 1: 0, `out`
/// untouched.
SORV_API int str_head(const char* s, char* out, int n);

// Copies in new memory.

/// Copy from `ace_alloc`; null gives null.
SORV_API char* strnew(const char* s);
/// `a` followed by `b`, which may be null, in `at`. Null `a`: null.
SORV_API char* strnew(const char* a, const char* b, AceAttach* at);
/// `a`, `sep`, `b` in `at`.
SORV_API char* strjoin(const char* a, const char* b, char sep, AceAttach* at);
/// `a`, `b` in `at`.
SORV_API char* strjoin_no_sep(const char* a, const char* b, AceAttach* at);
/// The `n` parts with `sep` between them, from `ace_alloc`. In all joins of an array a null part counts as
/// empty (its separator is written), and `n` <= 0 gives the empty text.
SORV_API char* strjoin(int n, const char** parts, char sep);
/// The same in `at`.
SORV_API char* strjoin(int n, const char* const* parts, char sep, AceAttach* at);
/// With a separator text.
SORV_API char* strjoin(int n, const char* const* parts, const char* sep, AceAttach* at);
/// Without separators.
SORV_API char* strjoin_no_sep(int n, const char* const* parts, AceAttach* at);
/// `len` bytes of `s`, with `c` in front if `front` and behind if `back` is set, in a block of `len` + 3
/// bytes of `at`. Null when `s` is null or `len` negative.
SORV_API char* strembed(const char* s, long len, char c, int front, int back, AceAttach* at);
/// The reversed text, from `ace_alloc` or in `at`; null gives null.
SORV_API char* strturn(const char* s);
SORV_API char* strturn(const char* s, AceAttach* at);
/// A copy in `at` without CR and LF bytes at either end; with `flat` set each CR or LF inside becomes a
/// blank. Null gives null.
SORV_API char* strunwrap(const char* s, AceAttach* at, int flat);
/// `name` with the extension `ext` (given without its dot), in `at`. What is replaced is the text from the
/// last dot on, when that, dot included, has at most 5 bytes; else ".ext" is added behind the whole name.
/// Null when the text from the last dot on equals `ext` (which then starts with a dot): nothing to replace;
/// and when an argument is null.
SORV_API char* strext(const char* name, const char* ext, AceAttach* at);

// Changes in place.

/// Reverses the bytes before the first `stop` byte (all when there is none). Returns their count.
SORV_API int strrev(char* s, int stop);
/// Ends `s` at the first `c`. Returns 1 if it was cut, 0 if there is no `c`.
SORV_API int strcut(char* s, int c);
/// Replaces every byte `from`. Returns 0, or -1 for null.
SORV_API int strreplace(char* s, char from, char to);
/// Replaces tab, line feed and carriage return by blanks.
SORV_API void strclean(char* s);

// Searching.

/// Length of the part before the first byte `c`.
SORV_API int strnot(const char* s, int c);
/// Index of the first `c` among the first `max` bytes; -1 when the text or the limit ends before.
SORV_API int strpos(const char* s, int c, int max);
/// Length of the longest line; lines end at "\n".
SORV_API int strwidth(const char* s);
/// 1 if `part` occurs in `s`, else 0; the empty part occurs in every text.
SORV_API int hasstr(const char* s, const char* part);
/// Index of `s` in the following texts, the last of which is null; -1 if absent.
SORV_API int strenum(const char* s, ...) __attribute__((sentinel));
/// 1 if `word` equals one of the first 1024 blank-separated words of `list`, else 0.
SORV_API int strlocate(const char* list, const char* word);
/// Length of the common prefix, and of the common suffix.
SORV_API int strcommon(const char* a, const char* b);
SORV_API int strcommonrev(const char* a, const char* b);

// Comparing with a tolerance. A difference is one inserted, deleted or substituted byte; the numbers are
// edit distances (the first difference of two texts is always a place where an optimal edit can start).

/// 0 when there is at most one difference; else the `strcmp` of what follows the first differing bytes.
SORV_API int strcmp1(const char* a, const char* b);
/// 0 when there are at most two differences; else the `strcmp1` of what follows the first differing bytes.
SORV_API int strcmp2(const char* a, const char* b);
/// Number of differences: 0, 1, or 2 for more.
SORV_API int strdiff1(const char* a, const char* b);
/// Number of differences: 0, 1, 2, or 3 for more.
SORV_API int strdiff2(const char* a, const char* b);
