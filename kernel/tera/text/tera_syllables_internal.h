/// The generated tables of letters and syllables in Latin letters, as Unicode names them; by code points.
#pragma once

#include "ace/ace_types.h"

struct TeraSound {
  int uni;
  char letters[5];
};
extern const int tera_num_kana;
extern const TeraSound tera_kana[];
// Latin, Greek, Cyrillic, Arabic, Hebrew ones, also those that transliterations have.
SORV_API extern const int tera_num_more_letters;
SORV_API extern const TeraSound tera_more_letters[];
// Letters and digits of scripts that nothing else covers.
extern const int tera_num_letter_names;
extern const TeraSound tera_letter_names[];

// A Korean syllable is a lead, a vowel and perhaps a tail; they are numbered in this order.
inline constexpr int TERA_HANGUL_FIRST = 0xAC00;
inline constexpr int TERA_HANGUL_LEADS = 19;
inline constexpr int TERA_HANGUL_VOWELS = 21;
inline constexpr int TERA_HANGUL_TAILS = 28;
inline constexpr int TERA_JAMO_LEADS = 0x1100;
inline constexpr int TERA_JAMO_VOWELS = 0x1161;
inline constexpr int TERA_JAMO_TAILS = 0x11A8;  // the first that is one
extern const char* const tera_hangul_leads[];
extern const char* const tera_hangul_vowels[];
extern const char* const tera_hangul_tails[];
