/// Progress of long loops, reported now and then while a trace flag is set.
#pragma once

#include <algorithm>
#include <chrono>

#include "ace/ace_tracer.h"

/// Says when a report is due: while the flag is set, after as many milliseconds as its value, but not before
/// 200.
class TeraProgress {
 public:
  explicit TeraProgress(const AceTraceFlag* flag) : traceFlag(flag) {}

  /// Looks at the clock every `STRIDE` calls only.
  bool is_due() {
    if (++numCalls % STRIDE != 0 || traceFlag->get() == 0) return false;
    const auto now = Clock::now();
    if (now - lastTime < std::chrono::milliseconds(std::max(traceFlag->get(), MIN_INTERVAL))) return false;
    lastTime = now;
    return true;
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr int MIN_INTERVAL = 200;
  static constexpr unsigned STRIDE = 256;

  const AceTraceFlag* traceFlag;
  unsigned numCalls = 0;
  Clock::time_point lastTime = Clock::now();
};
