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

  /// `wanted` answers, no more than `distance` below the best. `counts`: whether the number of answers raises
  /// the minimum.
  QualCandCollector(int distance, int wanted, bool counts)
      : maxDistance(distance), numWanted(wanted), isCounting(counts) {}

  /// Forgets all answers; those that come are at least `minimum` good. To be called by one thread alone.
  void start(int minimum);
  /// Whether answers that are worse than the minimum at the start would be dropped.
  bool is_complete() const;
  void add(int quality, Large record);
  int get_minimum() const { return curMinimum.load(std::memory_order_relaxed); }
  /// Ascending, of a quality that has reached the minimum.
  const std::vector<Large>& get_records(int quality);

 private:
  void raise(int quality);

  std::mutex lock;
  std::atomic<int> curMinimum = 0;
  int startMinimum = 0;
  int best = 0;  // quality
  int maxDistance;
  int numWanted;
  bool isCounting;
  VInt numAbove = 0;  // answers that reach the minimum
  std::array<std::vector<Large>, NUM_QUALITIES> qualCands;
};
