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

}  // namespace oracle
