/// Trace flags: diagnostics that a host or a script switches on by name while the program runs.
///
/// Code that depends on flags announces an expression of flag names once and then reads one integer, the sum
/// of the flags' values; setting a flag rewrites every announced integer:
///
///     static const AceTraceFlag verbose("VERBOSE_TIMER|VERBOSE_ERRORS", __FILE__, __LINE__);
///     if (verbose.get() != 0) ...
///
/// An expression is a list of flag names separated by '|', blanks or ';'. Flags are 0 until set. A flag lasts
/// as long as the process, so that no tracer ever points to freed memory.
///
/// Thread safety: every operation takes the trace mutex; announced integers are written with relaxed atomic
/// stores, and a reader in another thread uses `AceTraceFlag` (or a relaxed atomic load). A thread may see
/// the new value a moment late.
#pragma once

#include "ace/ace_types.h"

class SORV_API AceTracer {
 public:
  static constexpr int MAX_FLAGS = 10;
  /// Called with a flag's name and value, or with an announced expression and its value. 0 goes on; another
  /// value stops and is passed back.
  using TraceFunction = int(const char* name, int value);

  /// Missing flags are created with the value 0. Names beyond the tenth are dropped, with
  /// "ignoring remainder: ..." on standard output. Null is the empty expression.
  explicit AceTracer(const char* expression);

  /// The sum of the flags' present values (a sum and no logical or, so that values can be levels).
  int eval();
  int get_value() const { return curValue; }
  int get_num_flags() const { return numFlags; }

  /// Makes `*variable` follow the expression: it is -1 for a moment, and then always the expression's value,
  /// which is also returned. The variable must be static; announced again, it follows the new expression.
  /// `file` must be static.
  static int announce(const char* expression, int* variable, const char* file, int line);
  /// Sets every flag of the expression, updates all announced variables and notes
  /// "Trace '...' set to ..." in the time analysis. Returns 0.
  static int set(const char* expression, int value);
  /// Sets every flag that is known, and updates all announced variables. Returns 0.
  static int set_all(int value);
  /// The flag's value; 0 if it is unknown.
  static int get_flag(const char* name);
  /// Prints "<name>\t<value>" for each flag, in the order of names, on the default reporter. Returns the
  /// number of flags.
  static int report();
  /// Each known flag, in the order of names. Flags created or announced meanwhile are left out.
  static int for_all_flags(TraceFunction* function);
  /// Each announced expression, in the order of the variables' addresses.
  static int for_all_announces(TraceFunction* function);
  /// Applies settings given as text: "NAME=VALUE" or "NAME" (which means 1), separated by blanks, line
  /// breaks, ',' or ';'; "NAME|NAME=VALUE" sets several flags, and '#' starts a comment that ends with its
  /// line. A setting that cannot be read is reported on the default reporter and left out. Returns 0, or -1
  /// if there was such a setting.
  static int read(const char* text);
  /// Forgets all announced variables (they keep their values) and all flags (they become 0). Returns 0.
  static int remove_all();
  /// Tracer operations are safe between threads from now on. As they always are here, the call only states
  /// that a host relies on it. Returns 0.
  static int make_trace_threadsafe();
  /// Orders tracers by their number of flags, and then by the addresses of the flags' slots.
  static int compare(AceTracer* first, AceTracer* second);

 private:
  struct FlagSlot;
  struct Announce;
  struct State;

  AceTracer() = default;
  static State& state();
  void parse(const char* expression);
  void assign(int value);
  static void update_announces();

  int numFlags = 0;
  int* flagArray[MAX_FLAGS] = {};  // into slots that are never freed
  int curValue = 0;
};

/// An announced integer. Objects must be static: there is no way back.
class AceTraceFlag {
 public:
  AceTraceFlag(const char* expression, const char* file, int line) {
    AceTracer::announce(expression, &flagValue, file, line);
  }
  AceTraceFlag(const AceTraceFlag&) = delete;
  AceTraceFlag& operator=(const AceTraceFlag&) = delete;
  int get() const { return __atomic_load_n(&flagValue, __ATOMIC_RELAXED); }

 private:
  int flagValue = 0;
};

/// Prints "<file>:<line>:<text>" and a line break on the default reporter. Returns 1, so that it can stand
/// in front of the output of a trace.
SORV_API int ace_trace_head(const char* file, int line, const char* text);
