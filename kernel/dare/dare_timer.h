/// The time that a command may take.
///
///     0 ........ elapsed ............ unlockedTime ............ runTime ............ fullRunTime
///                   |- usable time --|                              configured for a session
///                   |------------- remaining time -----------|
///
/// A command starts with a level that says how much of the configured time it may use; a part of its work is
/// granted a share of what remains. Times are milliseconds of the wall clock.
///
/// Thread safety: belongs to one thread.
#pragma once

#include "ace/ace_timer.h"
#include "ace/ace_types.h"

class SORV_API DareTimer {
 public:
  static constexpr int HIGHEST_LEVEL = 9;

  /// Stopped. The name is kept by pointer.
  DareTimer(const char* name, int run_time);

  void set_full_run_time(int run_time) { fullRunTime = run_time; }
  int get_full_run_time() const { return fullRunTime; }
  /// Starts a command: level 0 grants a tenth of the full time, 9 all; levels outside count as those.
  void reset_timer(int precision_level);
  /// Grants that share of what remains, in percent (0 to 100).
  void limit_time(double percent);
  int get_usable_time() const { return left_of(unlockedTime); }
  int get_remaining_time() const { return left_of(runTime); }
  int get_run_time() const { return runTime; }
  bool is_running() const { return internalTimer.is_running(); }
  void stop() { internalTimer.stop(); }

 private:
  double elapsed() const { return internalTimer.get_sec() * 1000; }
  int left_of(int granted) const;

  AceTimer internalTimer;
  int fullRunTime;
  int runTime;
  int unlockedTime;
};
