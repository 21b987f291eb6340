#include "tera/edit/edit_kernel_internal.h"

#include <algorithm>

#include "ace/ace_cpu.h"
#include "tera/edit/edit_tableau_internal.h"

int edit_measure_max(TeraEval::Mode mode, int m, int n) {
  const int common = std::min(m, n);
  switch (mode) {
    case TeraEval::LEVENSHTEIN:
    case TeraEval::PREFIX:
    case TeraEval::SUFFIX:
    case TeraEval::FACTOR:
    case TeraEval::COVER:
    case TeraEval::CLOSE:
    case TeraEval::EXTEND:
    case TeraEval::FRONT:
    case TeraEval::BACK:
    case TeraEval::MID:
    case TeraEval::SEQ:
    case TeraEval::SUBSET:
    case TeraEval::SUPERSET:
    case TeraEval::BLOCKEDIT:
      return common;
    case TeraEval::POSITION:
      return std::min(common, edit_lanes::MAX_COUNTED);
    case TeraEval::BIPOS:
      return std::min(m, std::min(n, edit_lanes::MAX_COUNTED) + 1);
    case TeraEval::BISEQ:
      return std::max(2 * common - 1, 0);
    case TeraEval::BIGRAMS:
      return n + 1;  // an entry may repeat the query's pairs
    case TeraEval::WILDCARD:
      return 1;
    default:
      return -1;
  }
}

const EditKernel& edit_kernel() {
  switch (ace_cpu_level()) {
    case AceCpuLevel::AVX512:
      return EDIT_KERNEL_AVX512;
    case AceCpuLevel::AVX2:
      return EDIT_KERNEL_AVX2;
    default:
      return EDIT_KERNEL_BASELINE;
  }
}
