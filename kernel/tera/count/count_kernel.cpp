#include "tera/count/count_kernel_internal.h"

#include <algorithm>

#include "ace/ace_cpu.h"

CountLoop* count_kernel() {
  switch (ace_cpu_level()) {
    case AceCpuLevel::AVX512:
      return count_loop_avx512;
    case AceCpuLevel::AVX2:
      return count_loop_avx2;
    default:
      return count_loop_baseline;
  }
}

void count_combine(std::span<const CountStep> steps, VBit* to, std::size_t num_words) {
  constexpr std::size_t PIECE = 1024;  // 8 KB, and as much of each array
  CountLoop* const loop = count_kernel();
  for (std::size_t start = 0; start < num_words; start += PIECE) {
    const std::size_t length = std::min(PIECE, num_words - start);
    for (const CountStep& step : steps)
      loop(step.op, to + start, step.from != nullptr ? step.from + start : nullptr, length);
  }
}
