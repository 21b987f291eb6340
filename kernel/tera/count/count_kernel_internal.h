/// Loops over lane vectors that combine one with another, once per level of ace_cpu.h; all give the same.
#pragma once

#include <cstddef>
#include <span>

#include "tera/tera_token_values.h"

/// What becomes of `to`.
enum class CountOp {
  ZEROS,     ///< 0
  ONES,      ///< all bits
  LOW_BITS,  ///< the lowest bit of each byte
  COPY,      ///< from
  COPY_NOT,  ///< ~from
  AND,       ///< to & from
  AND_NOT,   ///< to & ~from
  OR,        ///< to | from
  OR_NOT,    ///< to | ~from
};

/// `from` is not looked at in the first three.
using CountLoop = void(CountOp op, VBit* to, const VBit* from, std::size_t num_words);

/// The loop for the level that is in use.
CountLoop* count_kernel();

CountLoop count_loop_baseline;
CountLoop count_loop_avx2;
CountLoop count_loop_avx512;

/// One step of a combination.
struct CountStep {
  CountOp op;
  const VBit* from;
};

/// Makes `to` of all steps in their order: a piece that fits into the first cache goes through all of them
/// before the next one, so that each array is read once and the result written once.
void count_combine(std::span<const CountStep> steps, VBit* to, std::size_t num_words);
