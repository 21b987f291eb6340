/// A reporter that hands the kernel's messages to commands of Tcl.
///
/// Only the thread of the interpreter evaluates anything. What other threads report waits in a queue, in
/// order, until that thread reports, ends a command or runs its event loop, whichever comes first.
#pragma once

#include <tcl.h>

#include "ace/ace_attach.h"
#include "ace/ace_reporter.h"

class TieHandle;

class SORV_API TieReporter : public AceReporter {
 public:
  /// Messages go to "puts", events too.
  explicit TieReporter(Tcl_Interp* interp);
  /// `report` is called with a text, `event` with a text and a code; null `event`: events go to `report`.
  /// Both are names of commands and copied.
  TieReporter(Tcl_Interp* interp, const char* report, const char* event, int time_stamps);
  TieReporter(const TieReporter&) = delete;
  TieReporter& operator=(const TieReporter&) = delete;
  /// Drops what waits for it. To be called when the kernel does not use it.
  ~TieReporter() override;

  /// A command that fails throws an `AceException` with its result; from other threads nothing is thrown.
  /// What is reported while the reporter's own command runs goes to the standard output.
  int report_func(const char* text) override;
  int event_func(const char* text, const char* code) override;

 private:
  friend class TieReports;
  int deliver(const char* text, const char* code);
  void evaluate(const char* text, const char* code);

  AceAttach memAt;
  Tcl_Interp* tclInterp;  // kept, though it may have been deleted
  const char* reportHandler;
  const char* eventHandler;
  Tcl_ThreadId homeThread;
  bool isEvaluating = false;
  bool* goneFlag = nullptr;  // of the evaluation
};

/// Evaluates what other threads have reported; an error is that of the command at whose end this happens.
SORV_API void tie_drain_reports(TieHandle* handle);
