#include "dare/dare_timer.h"

#include <algorithm>

DareTimer::DareTimer(const char* name, int run_time)
    : internalTimer(name), fullRunTime(run_time), runTime(run_time), unlockedTime(run_time) {}

void DareTimer::reset_timer(int precision_level) {
  const int level = std::clamp(precision_level, 0, HIGHEST_LEVEL);
  runTime = unlockedTime = fullRunTime / (HIGHEST_LEVEL + 1) * (level + 1);
  internalTimer.reset();
  internalTimer.start();
}

void DareTimer::limit_time(double percent) {
  const double share = percent > 0 ? std::min(percent, 100.0) : 0;  // a NaN grants nothing
  const double now = elapsed();
  unlockedTime = static_cast<int>(std::min<double>(runTime, now + (runTime - now) * share / 100));
}

int DareTimer::left_of(int granted) const {
  return static_cast<int>(std::max(0.0, static_cast<double>(granted) - elapsed()));
}
