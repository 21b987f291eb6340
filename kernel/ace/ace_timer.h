/// Named timers: wall-clock or processor time, accumulated over pairs of `start` and `stop`.
///
/// Timers found by name (`get`) live in one process-wide table, which `timers` prints. They last as long as
/// the process, so that callers keep them in statics; a removed one leaves the table and is new when it is
/// asked for again. A timer of one's own is an object like any other, in no table.
///
/// Starting and stopping take time themselves. `calibrate` measures how much, and `get_tics` subtracts it:
/// for each own pair, and for each start and stop of another timer that happened while this one ran.
///
/// Thread safety: the table is guarded by a mutex; one timer is started, stopped and read by one thread at a
/// time (a host prints the table while its workers rest). Reading `is_traced` is safe at any time.
#pragma once

#include <ctime>

#include "ace/ace_types.h"

class AceAttach;

class SORV_API AceTimer {
 public:
  enum State { RAW = 0, STOP = 1, START = 2 };

  /// Longest name of a timer in the table.
  static constexpr int MAX_NAME = 480;

  /// A timer of one's own. `name` must outlive it. `scope` 0 measures wall-clock time, else processor time.
  explicit AceTimer(const char* name = "", int scope = 0) : timerScope(scope), refName(name) {}
  AceTimer(const AceTimer&) = delete;
  AceTimer& operator=(const AceTimer&) = delete;
  /// A running timer stops.
  ~AceTimer() { stop(); }

  // The table.

  /// The timer of that name, made when new (the name is copied); its trace value follows the flags
  /// "ALL_TIMERS" and "TIMER_<name>". `scope` counts when it is made. Null for names longer than `MAX_NAME`
  /// and for a null name.
  static AceTimer* get(const char* name, int scope);
  /// The same, started.
  static AceTimer* get_started(const char* name, int scope);
  /// The timer named "<file>:<line>".
  static AceTimer* get_line(const char* file, int line, int scope);
  /// Seconds of the timer of that name; 0 where `get` gives null.
  static double time(const char* name);
  /// Prints the table of the timers that were started to standard output. Returns their number.
  static int timers();
  /// Resets all timers of the table. Returns 0.
  static int clear();
  /// Takes all timers off the table; running ones stop, and pointers to them stay valid. Returns 0.
  static int remove_all();

  // One timer.

  /// A running timer goes on; the trace flags "VERBOSE_TIMER" and "VERBOSE_ERRORS" tell about it.
  void start();
  /// Does nothing when stopped.
  void stop();
  /// Stopped, with all counts and times zero.
  void reset();
  bool is_running() const { return internalState == START; }
  /// Value of the timer's trace expression: callers measure while it is not 0.
  int is_traced() const { return __atomic_load_n(&traceValue, __ATOMIC_RELAXED); }
  int get_num_starts() const { return numStarts; }
  const char* get_name() const { return refName; }
  State get_state() const { return internalState; }
  /// Microseconds, up to now if running, without the calibrated overhead; never negative.
  double get_tics() const;
  double get_sec() const { return get_tics() / static_cast<double>(get_tics_per_second(timerScope)); }
  /// Microseconds up to the last stop, uncorrected.
  Huge get_raw() const { return totalTime; }
  /// 1000000 for both scopes.
  static Huge get_tics_per_second(int scope);
  /// One line of the table under that name, to standard output, unless the timer was never started (since
  /// its last reset). Returns the number of lines.
  int report(const char* name) const;
  /// The timer as a short text under that name, cut to `size` bytes with the terminator. A timer never
  /// started gives a text only while the trace flag "ALL_TIMERS" is set. Returns the length stored.
  int list_elem(const char* name, char* buffer, std::size_t size) const;
  /// While the analysis of the timer's scope is on, adds a point at the timer's start time: named like the
  /// timer unless it is stopped ("---END---"); as a section's bounds when `section` is not 0, else as a
  /// mark. Returns 0.
  int analyze(short section) const;

  // Clocks.

  /// Clears all timers and measures the overhead constants over `rounds` rounds; without rounds they are 0.
  /// Not beside threads that use timers. Returns 0.
  static int calibrate(int rounds);
  /// Processor cycles per microsecond, measured over 50 ms.
  static double measure_speed();
  /// Sleeps the whole time, through interrupts. Not a positive number: returns at once.
  static void sleep(double seconds);
  /// Present time of day; null is skipped.
  static void get_absolute_time(int* seconds, int* microseconds);
  /// Milliseconds since the given time of day; 0 if it lies in the future.
  static Huge get_elapsed_time(int seconds, int microseconds);
  /// Whether more than `limit` milliseconds have passed since.
  static bool time_limit_exceeded(int seconds, int microseconds, int limit);

 private:
  struct Table;
  static Table& table();
  /// Ticks since the last start.
  Huge interval() const;

  int traceValue = 0;
  State internalState = RAW;
  Huge startTime = 0;
  Huge totalTime = 0;
  int numStarts = 0;
  int incStarts = 0;  // starts of all timers while this one ran, its own included
  int incStops = 0;   // stops of all timers while this one ran
  int timerScope;
  int callLevel = 0;
  int createOrder = 0;
  const char* refName;
};

/// Thread-safe local time of `*seconds`, in `*out` or in `at`; null when the time has no calendar form.
SORV_API std::tm* ace_localtime(const long* seconds, std::tm* out);
SORV_API std::tm* ace_localtime(const long* seconds, AceAttach* at);
