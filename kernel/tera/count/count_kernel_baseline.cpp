#include "tera/count/count_kernel_loops_internal.h"

void count_loop_baseline(CountOp op, VBit* to, const VBit* from, std::size_t num_words) {
  count_loops::apply(op, to, from, num_words);
}
