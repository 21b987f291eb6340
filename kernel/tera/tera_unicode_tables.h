/// Folding tables: which character stands for which other.
///
/// Pair tables have rows {from, to}, triple tables {char, first, second}; both are sorted by their first
/// column and end with a row of zeros. In a triple table a zero component means "none", a row whose first
/// column is -1 continues the row before with further components, and a component of -1 stands for the row
/// of the following code point (char + 1).
///
/// They are generated at build time (tools/generate) from the installed Unicode character database and the
/// transliterations of the Unicode locale data.
///
/// Thread safety: constant data.
#pragma once

#include "ace/ace_types.h"

SORV_API extern const int tera_lower_to_upper_map[][2];  ///< simple upper-case mappings
SORV_API extern const int tera_upper_to_lower_map[][2];  ///< simple lower-case mappings
SORV_API extern const int tera_deaccentuate_map[][2];    ///< letters with diacritics to their base letters
SORV_API extern const int tera_spaces_map[][2];          ///< hyphen, slash, backslash, underscore to blank
SORV_API extern const int tera_whitespace_map[][2];      ///< control characters and white space to blank
SORV_API extern const int tera_currency_map[][2];        ///< currency signs to letters
SORV_API extern const int tera_combined_to_spaced_map[][2];    ///< combining marks to their spacing forms
SORV_API extern const int tera_expand_accent_map[][3];         ///< canonical decomposition
SORV_API extern const int tera_expand_compatibility_map[][3];  ///< compatibility decomposition
SORV_API extern const int tera_translit_cyrillic_to_latin[][3];
SORV_API extern const int tera_translit_greek_to_latin[][3];
SORV_API extern const int tera_translit_arabic_to_latin[][3];
SORV_API extern const int tera_translit_hebrew_to_latin[][3];

/// Version of the character database that the tables come from, such as "15.0.0".
SORV_API extern const char* const tera_unicode_version;

/// Most code points that `tera_expand_map` gives.
inline constexpr int TERA_MAX_EXPANSION = 5;

/// Rows of a table before its row of zeros.
SORV_API int tera_table_len(const int (*table)[2]);
SORV_API int tera_table_len(const int (*table)[3]);

/// The partner of `uni` among the first `num` rows of a sorted table, found by binary search; 0 when absent.
SORV_API int tera_uni_map_search(int uni, const int (*array)[2], int num);
/// The same in the respective table.
SORV_API int tera_uni_to_upper(int uni);
SORV_API int tera_uni_to_lower(int uni);
SORV_API int tera_uni_deaccentuate(int uni);

/// Index of the row of `uni`, found from the front; -1 when absent.
SORV_API int tera_expand_search(const int (*table)[3], int uni);
/// Expands row `index` of a table of `table_len` rows, and its components again as far as they have rows,
/// into `out`, which holds TERA_MAX_EXPANSION code points. Returns their number; -1 for a row that does not
/// exist, more than TERA_MAX_EXPANSION code points or a cycle.
SORV_API int tera_expand_map(const int (*table)[3], int index, int* out, int table_len);
