/// The generated tables of letters and syllables in Latin letters, as Unicode names them; by code points.
#pragma once

struct TeraSound {
  int uni;
  char letters[5];
};
extern const int tera_num_kana;
extern const TeraSound tera_kana[];
extern const int tera_num_letter_names;  // of scripts that nothing else covers, with their digits
extern const TeraSound tera_letter_names[];

// A Korean syllable is a lead, a vowel and perhaps a tail; they are numbered in this order.
inline constexpr int TERA_HANGUL_FIRST = 0xAC00;
inline constexpr int TERA_HANGUL_LEADS = 19;
inline constexpr int TERA_HANGUL_VOWELS = 21;
inline constexpr int TERA_HANGUL_TAILS = 28;
extern const char* const tera_hangul_leads[];
extern const char* const tera_hangul_vowels[];
extern const char* const tera_hangul_tails[];
