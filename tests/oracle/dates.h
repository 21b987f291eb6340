/// The calendar and the qualities of dates, by their definitions.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

namespace oracle {

inline int days_of(int month) {
  return month == 2 ? 29 : month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

/// Days counted one by one in years of 366.
inline int day_number(int day, int month, int year) {
  int number = 366 * year;
  for (int before = 1; before < month; ++before) number += days_of(before);
  return number + day - 1;
}

/// v is what the distance costs; `model` 0 linear, 1 logarithm, 2 square.
inline int date_quality(long days, int model, double scale) {
  if (days >= 256) return 0;
  if (scale < 0.001) return days == 0 ? 255 : 0;
  double cost = scale * static_cast<double>(days);
  if (model == 1 && cost > 0.0009) cost = std::log(2 * cost) / std::log(2.0) + 0.5;
  if (model == 2) cost = cost * cost + 0.5;
  if (cost > 255) return 0;
  return std::min(255 - static_cast<int>(cost), 255);
}

}  // namespace oracle
