/// Query words of 64 to 128 positions: masks of 128 bits, and the word compiled into them.
#pragma once

#include "tera/tera_measures.h"
#include "tera/tera_word_pattern.h"

class SORV_API TeraQuadWord : public TeraPattern<QuadBit>, public TeraMeasures<TeraQuadWord, Token> {
 private:
  friend class TeraMeasures<TeraQuadWord, Token>;
  template <class Loop>
  int run(const Token* entry, int options, Loop loop, bool half = false) const;
};

extern template class TeraMeasures<TeraQuadWord, Token>;
