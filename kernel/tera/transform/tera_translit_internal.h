/// The generated transliteration rules (tools/generate/translit_rules.py).
#pragma once

#include "ace/ace_types.h"

/// What stands at the present character: `rest` behind it and, in `lookahead`, any one character behind
/// that (not consumed; empty for no condition) becomes `target`. All in UTF-8.
struct TranslitRule {
  int type;  // TranslitTransform::RuleType
  const char* rest;
  const char* lookahead;
  const char* target;
};

/// The rules of one character, in the order in which they are tried. Sorted by `uni`.
struct TranslitHead {
  int uni;
  int firstRule;
  int numRules;
};

extern const TranslitRule tera_translit_japanese_rules[];
extern const TranslitHead tera_translit_japanese_heads[];
extern const int tera_translit_japanese_num_heads;
extern const TranslitRule tera_translit_hindi_rules[];
extern const TranslitHead tera_translit_hindi_heads[];
extern const int tera_translit_hindi_num_heads;

/// Letters of the conjoining jamo: 19 leading consonants, 21 vowels, none or 27 trailing consonants.
extern const char* const tera_translit_jamo_lead[];
extern const char* const tera_translit_jamo_vowel[];
extern const char* const tera_translit_jamo_tail[];

/// Readings of Chinese characters in Cantonese, without tones; packed as the ones of Mandarin are.
extern const int tera_cantonese_syllable_bits;
extern const int tera_num_cantonese;
extern const char* const tera_cantonese_syllables[];
extern const Large tera_cantonese_rows[];
