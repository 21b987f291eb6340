/// The generated tables of syllables in Latin letters, as Unicode names them.
#pragma once

struct TeraKana {
  int uni;
  char letters[5];
};
extern const int tera_num_kana;
extern const TeraKana tera_kana[];

// A Korean syllable is a lead, a vowel and perhaps a tail; they are numbered in this order.
inline constexpr int TERA_HANGUL_FIRST = 0xAC00;
inline constexpr int TERA_HANGUL_LEADS = 19;
inline constexpr int TERA_HANGUL_VOWELS = 21;
inline constexpr int TERA_HANGUL_TAILS = 28;
extern const char* const tera_hangul_leads[];
extern const char* const tera_hangul_vowels[];
extern const char* const tera_hangul_tails[];
