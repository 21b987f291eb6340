/// Reporters: where messages, warnings and progress go.
///
/// Every long or failing operation is given an `AceReporter*`. A host derives its own class and overrides
/// `report_func` and `event_func`; the kernel only formats text. Where no reporter is passed, operations use
/// the process-wide default, which writes to standard output until a host replaces it.
///
/// Messages are formatted into buffers of `MAX_MESSAGE` bytes on the stack, so that reporting never
/// allocates; what is longer is cut to MAX_MESSAGE - 1 bytes.
///
/// All output operations return what `report_func` or `event_func` returned, or 0 when nothing was written.
/// A null reporter may be called and writes nothing.
///
/// Thread safety: formatting uses the stack only; concurrent calls on one reporter are as safe as its own
/// `report_func`. The process-wide settings (default reporter, progress switch, option limit) are set before
/// worker threads start.
#pragma once

#include <cstdarg>
#include <cstdio>

#include "ace/ace_types.h"

class SORV_API AceReporter {
 public:
  /// Size of the formatting buffers, terminator included.
  static constexpr int MAX_MESSAGE = 10000;
  /// Event codes of `ev_iprintf` and `ev_wprintf`.
  static constexpr const char* INFO_CODE = "iSORV_0000";
  static constexpr const char* WARNING_CODE = "wSORV_0000";

  AceReporter() = default;
  /// With `add_time_stamp` not 0, `printf`, `print` and `print_conf_opt` prefix "INFO [date time.ms] ".
  explicit AceReporter(int add_time_stamp) : addTimeStamp(add_time_stamp) {}

  /// Delivers one finished message. The base writes it to standard output and flushes.
  virtual int report_func(const char* text);
  /// Delivers one message with an event code. The base drops the code and calls `report_func`.
  virtual int event_func(const char* text, const char* code);
  virtual ~AceReporter() = default;

  // Output.
  int printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  int printf_no_time(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// Information event, for notable facts that a host may filter by code.
  int ev_iprintf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// Warning event.
  int ev_wprintf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// Delivers `text`, which is not a format.
  int print(const char* text);
  /// Configuration-option line "[CONFOPT] ...", at most `get_num_conf_opt_limit()` of them per process.
  int print_conf_opt(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// Writes to standard output, past all reporters.
  static int print_static(const char* text);

  // Progress of a long job, one line per call that hosts parse: "PROGRESS\t<marker>\t<number>\t<text>".
  /// A job of `n` units starts; opens a section of the time analysis.
  int pstart(Huge n, const char* text);
  /// The next section of `n` units starts; opens a section of the time analysis.
  int psect(Huge n, const char* text);
  /// The job ends; closes the section of the time analysis.
  int pstop(const char* text);
  /// The total changes to `n`.
  int pscale(Huge n, const char* text);
  /// `n` more units are done.
  int pstep(Huge n, const char* text);
  /// `n` units are done so far.
  int pset(Huge n, const char* text);
  /// `pset` for inner loops, on every sixteenth call: ends a thread that was asked to (`ace_check_stop`);
  /// acts while the trace flag "TIMER_PROGRESS" is set, at most once in that many milliseconds (1 means 200).
  int ppset(Huge n, const char* text);
  /// The counter is reset to `n`.
  int preset(Huge n, const char* text);

  // Process-wide settings.
  /// Makes this the default reporter; the host keeps it alive. Returns 0.
  int set_as_default();
  /// From now on `use_default()` is the null reporter. Returns 0.
  static int clear_default();
  /// The default reporter; never null.
  static AceReporter* use_default();
  /// A reporter that discards everything.
  static AceReporter* null();
  static int set_progress(int on);
  static int is_progress();
  /// Limits the `print_conf_opt` lines of the process; negative means no limit. Returns `limit`.
  static int set_num_conf_opt_limit(int limit);
  static int get_num_conf_opt_limit();

 protected:
  int addTimeStamp = 0;

 private:
  int vprintf(const char* lead, const char* format, va_list args, const char* code, bool no_time)
      __attribute__((format(printf, 3, 0)));
};

/// Discards everything.
class SORV_API NullReporter : public AceReporter {
 public:
  int report_func(const char* text) override;
  int event_func(const char* text, const char* code) override;
};

/// Writes messages to a file of its own; event codes are dropped. A file that cannot be opened, and write
/// errors, leave the messages unwritten: `is_open` tells.
class SORV_API FileReporter : public AceReporter {
 public:
  explicit FileReporter(const char* name);
  FileReporter(const FileReporter&) = delete;
  FileReporter& operator=(const FileReporter&) = delete;
  ~FileReporter() override;

  int report_func(const char* text) override;
  int event_func(const char* text, const char* code) override;
  bool is_open() const { return fileStream != nullptr; }

 private:
  std::FILE* fileStream;
};

/// True only for a null pointer.
inline bool is_null(const AceReporter* rep) {
  return rep == nullptr;
}
