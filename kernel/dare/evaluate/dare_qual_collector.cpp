#include <algorithm>

#include "dare/evaluate/dare_qual_collector_internal.h"

void QualCandCollector::start(int minimum) {
  for (std::vector<Large>& records : qualCands) records = {};
  numAbove = 0;
  best = 0;
  startMinimum = minimum;
  curMinimum.store(minimum, std::memory_order_relaxed);
}

bool QualCandCollector::is_complete() const {
  return best - maxDistance >= startMinimum || (isCounting && numAbove >= numWanted);
}

void QualCandCollector::add(int quality, Large record) {
  const std::lock_guard<std::mutex> guard(lock);
  if (quality < get_minimum()) return;
  qualCands[static_cast<std::size_t>(quality)].push_back(record);
  ++numAbove;
  best = std::max(best, quality);
  raise(quality - maxDistance);
  while (isCounting && get_minimum() < NUM_QUALITIES - 1) {
    const auto worst = static_cast<VInt>(qualCands[static_cast<std::size_t>(get_minimum())].size());
    if (numAbove - worst < numWanted) break;
    raise(get_minimum() + 1);
  }
}

/// Drops the answers below.
void QualCandCollector::raise(int quality) {
  for (int q = get_minimum(); q < quality; ++q) {
    numAbove -= static_cast<VInt>(qualCands[static_cast<std::size_t>(q)].size());
    qualCands[static_cast<std::size_t>(q)] = {};
  }
  if (quality > get_minimum()) curMinimum.store(quality, std::memory_order_relaxed);
}

const std::vector<Large>& QualCandCollector::get_records(int quality) {
  auto& records = qualCands[static_cast<std::size_t>(quality)];
  std::sort(records.begin(), records.end());
  return records;
}
