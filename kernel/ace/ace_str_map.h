/// Separator maps and ASCII case.
///
/// A separator map is an array of 256 bytes indexed by an unsigned byte, not 0 for a separator. The shared
/// maps are constants of the library: they need no set-up and no lock. Case follows ASCII, never the locale.
/// See ace_str.h for the conventions.
#pragma once

#include "ace/ace_types.h"

/// Marks "\n\r".
SORV_API const unsigned char* ace_linesepmap();
/// Marks blank, tab, hyphen, full stop, semicolon and comma.
SORV_API const unsigned char* ace_wordsepmap();
/// Sets `map[c] = 1` for every byte of `chars` and returns `map`, which is not cleared before. The value is
/// always 1: `value` is not used.
SORV_API unsigned char* strgenmap(const char* chars, unsigned char* map, int value);
/// Removes the bytes marked in `map` in place. Returns the new length.
SORV_API int strrmsep(char* s, const unsigned char* map);

/// Makes the case maps ready, which they always are. Returns 0.
SORV_API int ace_string_init();
/// The other case of an ASCII letter, every other byte unchanged.
SORV_API char toupper_C(char c);
SORV_API char tolower_C(char c);
/// The entry of the upper-case map: 0 for every byte that is not a lower-case ASCII letter.
SORV_API char to_upper_char(char c);
/// In place; return `s`.
SORV_API char* strtoupper(char* s);
SORV_API char* strtolower(char* s);
/// In place: the first byte of every word (between white space) in upper case, the others in lower case.
/// Returns the length.
SORV_API int strcapital(char* s);
