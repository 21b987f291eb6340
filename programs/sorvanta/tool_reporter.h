/// Where the library's messages go: warnings to standard error, progress with the time left to a terminal
/// there, and what explains a failure is kept until the failure is told.
///
/// Thread safety: any thread may report.
#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "ace/ace_reporter.h"

class ToolReporter : public AceReporter {
 public:
  /// The program's reporter, which is the default one from its first use.
  static ToolReporter& get();

  int report_func(const char* text) override;
  int event_func(const char* text, const char* code) override;

  /// Shows progress if standard error is a terminal.
  void show_progress();
  /// Begins a job of the tool's own; `done` of `total` units so far. Drawn at most ten times a second.
  void begin(const std::string& title, double total);
  void step(double done, const std::string& rate);
  /// Removes the progress line.
  void end();
  /// The messages kept, each on a line of its own, and forgets them.
  std::string take_messages();
  /// Those of this thread only, of which several ask at the same time.
  std::string take_own_messages();
  /// Warnings are kept as messages, too, instead of shown.
  void keep_warnings(bool keep) { keepsWarnings = keep; }

 private:
  using Clock = std::chrono::steady_clock;

  bool take_progress(const char* text);
  void draw(const std::string& rate);
  void clear_line();
  void keep(const char* text);

  std::mutex reportMutex;
  std::map<std::thread::id, std::deque<std::string>> messages;
  std::string lastWarning;  // the look-up of a value and its comparison say the same
  bool isTerminal = false;
  bool isDrawn = false;
  bool keepsWarnings = false;
  std::string jobTitle;
  double jobTotal = 0;
  double jobDone = 0;
  Clock::time_point jobStart;
  Clock::time_point lastDrawn;
};
