/// Fields and tokens of C strings. See ace_str.h for the conventions, ace_str_map.h for the maps.
///
/// The functions that split in place store the start of each field and write a terminator over the separator
/// behind it. `fields` (and `offsets`, where given) have room for `max` entries. They stop after `max`
/// fields; the separator that ends the last one is cut too and the rest is dropped. They return the number
/// of fields; a null text or `max` < 1 gives 0, an empty text is one empty field.
#pragma once

#include "ace/ace_types.h"

class AceAttach;

/// Copy in `at` of field `k` (from 0) of `s` split at `sep`; null when there are not that many.
SORV_API char* strfield(const char* s, int sep, int k, AceAttach* at);

// Tokens, without changing the text.

/// Skips separators, stores the start of the token and the byte behind the separator that ends it (null at
/// the end of the text), and returns the token's length. When only separators are left: 0, both null. A null
/// text is an empty one, so that `*next` can be handed in again until the result is 0.
SORV_API int strsep(const char* s, const unsigned char* map, const char** start, const char** next);
/// Length of the part of the first `n` bytes before a separator; `*next` is the byte behind it, or null when
/// there is none within `n` bytes or the text ends before.
SORV_API int strnsep(const char* s, int n, const unsigned char* map, const char** next);

// Splitting in place.

SORV_API int strsplit(char* s, int sep, char** fields, int max);
SORV_API int strsplit(char* s, int sep, const char** fields, int max);
/// Stores each field's start offset too; when the text ends before `max` fields, `offsets[count]` receives
/// the offset of the end.
SORV_API int strsplit(char* s, int sep, const char** fields, int max, int* offsets);
/// At every byte marked in `map`; empty fields are kept.
SORV_API int strsplit(char* s, const unsigned char* map, char** fields, int max);
/// Leading separators and runs of separators make no empty fields; a text that ends with a separator still
/// has a last, empty field.
SORV_API int strsplit_noempty(char* s, const unsigned char* map, char** fields, int max);
/// Over the first `len` bytes only, whatever they are: a NUL among them is an ordinary byte. `s[len]` must be
/// there (the terminator, or a byte that is given up): the last field is ended at it.
SORV_API int strnsplit(char* s, int sep, char** fields, int max, int len);
/// At `sep` bytes that are not escaped: an `esc` byte makes the next one ordinary. Escapes stay in the
/// fields. `offsets` as above, or null.
SORV_API int strsplit_escaped(char* s, char sep, char** fields, int max, int* offsets, char esc);
/// At `sep` bytes outside protected stretches: a `protect` byte starts a stretch and the next one ends it;
/// `esc` makes the next byte ordinary, inside and outside. Where a field is protected as a whole its two
/// `protect` bytes are removed; everything else, escapes included, stays. A stretch that is not closed
/// reaches to the end of the text. A `protect` or `esc` of 0 switches that rule off; where both are the same
/// byte, two of them in a stretch are ordinary bytes.
SORV_API int strsplit_protected(char* s, char sep, char** fields, int max, char protect, char esc);

/// Copies fields of given ends out of `s` into `at`: field k is s[ends[k-1] .. ends[k]), field 0 starts at 0.
/// Stops after `n` fields, at a negative or falling end, and at one beyond `len` (0 means strlen(s)).
/// Returns the number of fields copied.
SORV_API int strsplitf(const char* s, int* ends, char** fields, int n, AceAttach* at, long len);

// Flags by name.

/// The mask of a list of flag names, separated by the bytes of `seps`. A token that equals names[i] sets bit
/// i; a decimal number k from 1 to 31 sets bit k - 1. At most 32 names count; a null entry ends them before.
/// Other tokens set nothing and are warned about on the default reporter, but only during the first
/// evaluation in the life of the process.
SORV_API Large strflags_arr(const char* text, const char* seps, const char** names);
/// The same with the names as arguments, the last of which is null.
SORV_API Large strflags(const char* text, const char* seps, ...) __attribute__((sentinel));
