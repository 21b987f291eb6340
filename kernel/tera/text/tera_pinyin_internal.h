/// The generated table of readings: rows pack a code point above the index of its syllable.
#pragma once

#include "ace/ace_types.h"

extern const int tera_pinyin_syllable_bits;
extern const int tera_num_pinyin;
extern const char* const tera_pinyin_syllables[];
extern const Large tera_pinyin_rows[];
