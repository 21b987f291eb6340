/// Code pages: single-byte character sets, byte by byte.
///
/// For each of the sets that `tera_charsets` names there are two tables of 256 entries, indexed by the byte:
/// its code point, and its character classes. They are the published tables; of sets that also have
/// characters of several bytes, the part of one byte, in which a lead byte stands for no character. Where a
/// set has no character, the code point is 0 and so are the classes. "ascii" and "identity" map every byte to
/// itself.
///
/// Thread safety: constant data.
#pragma once

#include "ace/ace_types.h"

/// Character classes.
enum TeraType : unsigned char {
  TERA_LETTER = 1,
  TERA_MARK = 2,
  TERA_NUMBER = 4,
  TERA_PUNCT = 8,
  TERA_SYM = 16,
  TERA_SEP = 32,
  TERA_CONTROL = 64,
  TERA_LOWER = 128,  ///< beside TERA_LETTER
};

inline constexpr int TERA_NUM_CHARSETS = 68;

/// The names, and a null pointer behind the last.
SORV_API extern const char* const tera_charsets[TERA_NUM_CHARSETS + 1];
/// Code points, in the order of the names.
SORV_API extern const int tera_uni_maps[TERA_NUM_CHARSETS][256];
/// Bits of `TeraType`, in the order of the names.
SORV_API extern const unsigned char tera_uni_types[TERA_NUM_CHARSETS][256];

/// The tables of the set with exactly this name; null when there is none ("utf-8" has none), or for null.
SORV_API const int* tera_get_charset_map(const char* charset);
SORV_API const unsigned char* tera_get_type_map(const char* charset);
/// `tera_charsets`.
SORV_API const char* const* tera_all_charsets();
