/// Distances of places, as they are defined.
#pragma once

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace oracle {

using Place = std::pair<long, long>;

/// Of a place from the smallest box around the corners, in units.
inline double place_distance(const std::vector<Place>& corners, Place place, long xunit, long yunit) {
  const auto outside = [](long value, long low, long high) {
    return std::max({low - value, value - high, 0L});
  };
  long west = corners[0].first, east = west, south = corners[0].second, north = south;
  for (const auto& [x, y] : corners) {
    west = std::min(west, x);
    east = std::max(east, x);
    south = std::min(south, y);
    north = std::max(north, y);
  }
  const double dx = static_cast<double>(outside(place.first, west, east)) / static_cast<double>(xunit);
  const double dy = static_cast<double>(outside(place.second, south, north)) / static_cast<double>(yunit);
  return std::sqrt(dx * dx + dy * dy);
}

/// Of a distance: half at `half` units from the circle on.
inline int place_quality(double distance, double half, double circle) {
  const double apart = circle > 0 ? distance - circle : distance;
  if (apart <= 0) return 255;
  if (half == 0) return 0;
  return std::min(254, static_cast<int>(255 * std::exp(-0.69314718 * (apart / half) * (apart / half))));
}

}  // namespace oracle
