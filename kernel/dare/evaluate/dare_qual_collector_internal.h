/// The answers of an evaluation by their quality, and the minimum that they imply.
///
/// Thread safety: all operations may be called by any thread.
#pragma once

#include <array>
#include <atomic>
#include <mutex>
#include <vector>

#include "ace/ace_types.h"

class QualCandCollector {
 public:
  static constexpr int NUM_QUALITIES = 256;

  /// `wanted` answers at least `minimum` good, and no more than `distance` below the best. `counts`: whether
  /// the number of answers raises the minimum.
  QualCandCollector(int minimum, int distance, int wanted, bool counts)
      : curMinimum(minimum), maxDistance(distance), numWanted(wanted), isCounting(counts) {}

  void add(int quality, Large record);
  int get_minimum() const { return curMinimum.load(std::memory_order_relaxed); }
  /// Ascending, of a quality that has reached the minimum.
  const std::vector<Large>& get_records(int quality);

 private:
  void raise(int quality);

  std::mutex lock;
  std::atomic<int> curMinimum;
  int maxDistance;
  int numWanted;
  bool isCounting;
  VInt numAbove = 0;  // answers that reach the minimum
  std::array<std::vector<Large>, NUM_QUALITIES> qualCands;
};
