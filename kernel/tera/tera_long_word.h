/// Query words of 129 to 1024 positions: as tera_quad_word.h, in masks of as many bits.
#pragma once

#include "tera/tera_measures.h"
#include "tera/tera_wide_mask.h"
#include "tera/tera_word_pattern.h"

class SORV_API TeraLongWord : public TeraPattern<TeraLongMask>, public TeraMeasures<TeraLongWord, Token> {
 private:
  friend class TeraMeasures<TeraLongWord, Token>;
  template <class Loop>
  int run(const Token* entry, int options, Loop loop, bool half = false) const;
};

extern template class TeraMeasures<TeraLongWord, Token>;
