/// Distances of numbers, as they are defined.
#pragma once

#include <algorithm>
#include <cmath>
#include <string>

namespace oracle {

enum class Distance { LINEAR, LOGS, ROOT };

inline int graded(double asked, double value, Distance function, double origin, double scale) {
  double apart = std::fabs(asked - value);
  if (function == Distance::LOGS) {
    if (asked <= origin || value <= origin) return 0;
    apart = std::fabs(std::log(asked - origin) - std::log(value - origin));
  }
  if (function == Distance::ROOT) apart = std::sqrt(apart);
  return static_cast<int>(std::max(0.0, 255 - apart * scale));
}

/// One number asked for in one way: '!' equal, '>' at least, '<' at most, '?' about.
inline int double_quality(char way, double asked, double value, Distance function, double origin,
                          double scale) {
  if (value == asked) return 255;
  if (way == '!') return 0;
  if (way == '>' && value > asked) return 255;
  if (way == '<' && value < asked) return 255;
  return graded(asked, value, function, origin, scale);
}

/// The compressed code of a whole number: from `exact` = 128, 64, 32 or 16 on (2 to 5 bits of exponent) each
/// doubling is cut into exact / 2 steps.
inline long compressed(long value, int expo_bits) {
  if (expo_bits == 0) return value;
  const long exact = 512 >> expo_bits;
  const long ends[] = {0, 0, 512, 4096, 524288, 4294967296};
  if (value >= ends[expo_bits] && expo_bits < 5) return 255;
  value = std::min(value, 4294967295);
  if (value < exact) return value;
  long code = exact;
  long start = exact;
  for (; value >= 2 * start; start *= 2) code += exact / 2;
  return code + (value - start) / (2 * start / exact);
}

/// A range of whole numbers, asked in one way.
inline int direct_quality(char way, long from, long to, long value, int factor, int expo_bits) {
  if (value >= from && value <= to) return 255;
  if (way == '!') return 0;
  if ((way == '>' && value > to) || (way == '<' && value < from)) return 255;
  const auto scaled = [&](long number) {
    const long code = compressed(number, expo_bits);
    return factor == 0 ? static_cast<long double>(code)
                       : std::floor(static_cast<long double>(code) * factor / 100);
  };
  const auto isLost = [&](long number) {
    return compressed(number, expo_bits) > 1048576 && scaled(number) > 4294967295.0L;
  };
  if (factor != 0 && (isLost(value) || isLost(from))) return 0;
  const long double apart = value < from ? scaled(from) - scaled(value) : scaled(value) - scaled(from);
  return apart >= 255 ? 0 : 255 - static_cast<int>(apart);
}

}  // namespace oracle
