/// The body of `CountLoop`: the compiler widens it for the level that it is compiled for. Each source has
/// copies of its own, and no library function is called, so that none for a higher level can be shared with
/// others.
#pragma once

#include "tera/count/count_kernel_internal.h"

namespace count_loops {

template <class Make>
static inline void for_all(VBit* __restrict to, const VBit* __restrict from, std::size_t num_words,
                           Make make) {
  for (std::size_t i = 0; i < num_words; ++i) to[i] = make(to[i], from[i]);
}

static inline void fill(VBit* to, std::size_t num_words, VBit word) {
  for (std::size_t i = 0; i < num_words; ++i) to[i] = word;
}

static inline void apply(CountOp op, VBit* to, const VBit* from, std::size_t num_words) {
  switch (op) {
    case CountOp::ZEROS:
      return fill(to, num_words, 0);
    case CountOp::ONES:
      return fill(to, num_words, ~VBit{0});
    case CountOp::LOW_BITS:
      return fill(to, num_words, 0x0101010101010101);
    case CountOp::COPY:
      return for_all(to, from, num_words, [](VBit, VBit b) { return b; });
    case CountOp::COPY_NOT:
      return for_all(to, from, num_words, [](VBit, VBit b) { return ~b; });
    case CountOp::AND:
      return for_all(to, from, num_words, [](VBit a, VBit b) { return a & b; });
    case CountOp::AND_NOT:
      return for_all(to, from, num_words, [](VBit a, VBit b) { return a & ~b; });
    case CountOp::OR:
      return for_all(to, from, num_words, [](VBit a, VBit b) { return a | b; });
    case CountOp::OR_NOT:
      return for_all(to, from, num_words, [](VBit a, VBit b) { return a | ~b; });
  }
}

}  // namespace count_loops
