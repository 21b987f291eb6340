#include "ace/ace_cpu.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>

#include "ace/ace_reporter.h"

namespace {

constexpr const char* LEVEL_VARIABLE = "SORVANTA_CPU";
constexpr AceCpuLevel LEVELS[] = {AceCpuLevel::BASELINE, AceCpuLevel::AVX2, AceCpuLevel::AVX512};

/// What the processor has and the system saves and restores.
AceCpuLevel processor_level() {
  __builtin_cpu_init();
  if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("bmi") || !__builtin_cpu_supports("bmi2") ||
      !__builtin_cpu_supports("popcnt"))
    return AceCpuLevel::BASELINE;
  if (!__builtin_cpu_supports("avx512f") || !__builtin_cpu_supports("avx512bw") ||
      !__builtin_cpu_supports("avx512dq") || !__builtin_cpu_supports("avx512vl"))
    return AceCpuLevel::AVX2;
  return AceCpuLevel::AVX512;
}

AceCpuLevel detect() {
  const AceCpuLevel level = processor_level();
  const char* wanted = std::getenv(LEVEL_VARIABLE);
  if (wanted == nullptr || *wanted == '\0') return level;
  for (const AceCpuLevel known : LEVELS)
    if (std::strcmp(wanted, ace_cpu_name(known)) == 0) return std::min(level, known);
  AceReporter::use_default()->ev_wprintf("%s is '%s', expected baseline, avx2 or avx512; using %s\n",
                                         LEVEL_VARIABLE, wanted, ace_cpu_name(level));
  return level;
}

AceCpuLevel detected_level() {
  static const AceCpuLevel level = detect();
  return level;
}

constinit std::atomic<AceCpuLevel> level_limit{AceCpuLevel::AVX512};

}  // namespace

AceCpuLevel ace_cpu_level() {
  return std::min(detected_level(), level_limit.load(std::memory_order_relaxed));
}

AceCpuLevel ace_cpu_limit(AceCpuLevel limit) {
  level_limit.store(limit, std::memory_order_relaxed);
  return ace_cpu_level();
}

const char* ace_cpu_name(AceCpuLevel level) {
  switch (level) {
    case AceCpuLevel::AVX2:
      return "avx2";
    case AceCpuLevel::AVX512:
      return "avx512";
    default:
      return "baseline";
  }
}
