#include "tera/tera_long_word.h"

#include "tera/measure/tera_word_loops_internal.h"

template <class Loop>
int TeraLongWord::run(const Token* entry, int options, Loop loop, bool half) const {
  if (entry == nullptr || wordLength < 0) return -1;
  return run_on(*this, TeraTokenSource(entry), options, half, loop);
}

template class TeraMeasures<TeraLongWord, Token>;
