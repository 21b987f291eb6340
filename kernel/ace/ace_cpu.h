/// Which instructions the kernels may use.
///
/// Wide loops exist once per level; each call asks `ace_cpu_level` which one to take. The level is detected
/// at the first call. The environment variable SORVANTA_CPU (baseline, avx2 or avx512) lowers it for the
/// process, and `ace_cpu_limit` at run time, so that tests run every kernel on one machine. A level that the
/// processor does not have is never chosen.
#pragma once

#include "ace/ace_types.h"

/// In ascending order; each includes those before.
enum class AceCpuLevel {
  BASELINE,  ///< x86-64: SSE2
  AVX2,      ///< AVX2, BMI1, BMI2, POPCNT
  AVX512,    ///< AVX-512 F, BW, DQ and VL
};

/// The level to use. Thread safety: any thread, at any time.
SORV_API AceCpuLevel ace_cpu_level();
/// Lowers the level to `limit` at most (counted from what the processor and SORVANTA_CPU allow, so a higher
/// limit raises it again). Returns the level now in use.
SORV_API AceCpuLevel ace_cpu_limit(AceCpuLevel limit);
/// "baseline", "avx2", "avx512".
SORV_API const char* ace_cpu_name(AceCpuLevel level);
