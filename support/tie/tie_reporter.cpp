#include "tie/tie_reporter.h"

#include <algorithm>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

#include "ace/ace_exception.h"
#include "ace/ace_thread.h"
#include "tie/tie_handle.h"

/// What waits for the interpreter's thread.
class TieReports {
 public:
  static TieReports& instance() {
    static TieReports* const theReports = new TieReports;  // threads may report until the process ends
    return *theReports;
  }

  void add(TieReporter* reporter, const char* text, const char* code) {
    const std::scoped_lock lock(queueLock);
    const bool isFirst = next_of(reporter->homeThread) == waiting.end();
    waiting.push_back({reporter, text, code != nullptr ? std::optional<std::string>(code) : std::nullopt});
    if (isFirst) wake(reporter->homeThread);
  }

  /// Evaluates all of this thread; the first error ends it, the others stay, with an event that comes for
  /// them.
  void drain_or_wake() {
    try {
      drain();
    } catch (...) {
      const std::scoped_lock lock(queueLock);
      const Tcl_ThreadId thread = Tcl_GetCurrentThread();
      if (next_of(thread) != waiting.end()) wake(thread);
      throw;
    }
  }

  void remove(const TieReporter* reporter) {
    const std::scoped_lock lock(queueLock);
    std::erase_if(waiting, [=](const Report& report) { return report.reporter == reporter; });
  }

 private:
  struct Report {
    TieReporter* reporter;
    std::string text;
    std::optional<std::string> code;
  };

  /// So that an event loop that waits delivers what came.
  static void wake(Tcl_ThreadId thread) {
    auto* const event = reinterpret_cast<Tcl_Event*>(Tcl_Alloc(sizeof(Tcl_Event)));
    event->proc = [](Tcl_Event*, int) {
      try {
        instance().drain_or_wake();
      } catch (const AceException& exception) {
        AceAttach at;
        AceReporter::print_static(exception.what(&at));  // nobody called
      }
      return 1;
    };
    Tcl_ThreadQueueEvent(thread, event, TCL_QUEUE_TAIL);
    Tcl_ThreadAlert(thread);
  }

  /// The first that waits for a thread.
  std::deque<Report>::iterator next_of(Tcl_ThreadId thread) {
    return std::find_if(waiting.begin(), waiting.end(),
                        [=](const Report& report) { return report.reporter->homeThread == thread; });
  }

  void drain() {
    while (std::optional<Report> next = take())
      next->reporter->evaluate(next->text.c_str(), next->code ? next->code->c_str() : nullptr);
  }

  std::optional<Report> take() {
    const std::scoped_lock lock(queueLock);
    const auto next = next_of(Tcl_GetCurrentThread());
    if (next == waiting.end()) return std::nullopt;
    Report first = std::move(*next);
    waiting.erase(next);
    return first;
  }

  std::mutex queueLock;
  std::deque<Report> waiting;
};

TieReporter::TieReporter(Tcl_Interp* interp) : TieReporter(interp, "puts", nullptr, 0) {}

TieReporter::TieReporter(Tcl_Interp* interp, const char* report, const char* event, int time_stamps)
    : AceReporter(time_stamps),
      tclInterp(interp),
      reportHandler(memAt.attach(report != nullptr ? report : "puts")),
      eventHandler(memAt.attach(event)),
      homeThread(Tcl_GetCurrentThread()) {
  Tcl_Preserve(interp);
}

TieReporter::~TieReporter() {
  if (goneFlag != nullptr) *goneFlag = true;
  TieReports::instance().remove(this);
  Tcl_Release(tclInterp);
}

int TieReporter::report_func(const char* text) {
  return deliver(text, nullptr);
}

int TieReporter::event_func(const char* text, const char* code) {
  return deliver(text, eventHandler != nullptr ? code : nullptr);
}

int TieReporter::deliver(const char* text, const char* code) {
  if (Tcl_GetCurrentThread() != homeThread) {
    TieReports::instance().add(this, text, code);
    return 0;
  }
  TieReports::instance().drain_or_wake();
  evaluate(text, code);
  return 0;
}

void TieReporter::evaluate(const char* text, const char* code) {
  Tcl_Interp* const interp = tclInterp;  // the command may delete the reporter
  if (Tcl_InterpDeleted(interp) != 0) return;
  if (isEvaluating) return static_cast<void>(print_static(text));
  Tcl_Obj* words[] = {Tcl_NewStringObj(code != nullptr ? eventHandler : reportHandler, -1),
                      TieHandle::new_text(text), code != nullptr ? TieHandle::new_text(code) : nullptr};
  const int count = code != nullptr ? 3 : 2;
  for (int i = 0; i < count; ++i) Tcl_IncrRefCount(words[i]);
  // A command of ours may be half way through its result.
  Tcl_Preserve(interp);
  Tcl_InterpState state = Tcl_SaveInterpState(interp, TCL_OK);
  bool isGone = false;
  isEvaluating = true;
  goneFlag = &isGone;
  const int rc = Tcl_EvalObjv(interp, count, words, TCL_EVAL_GLOBAL);
  if (!isGone) {
    isEvaluating = false;
    goneFlag = nullptr;
  }
  const std::string failure = rc == TCL_OK ? "" : Tcl_GetStringResult(interp);
  Tcl_RestoreInterpState(interp, state);
  Tcl_Release(interp);
  for (int i = 0; i < count; ++i) Tcl_DecrRefCount(words[i]);
  if (rc != TCL_OK) throw AceException("Reporter failed", "%s", failure.c_str());
}

void tie_drain_reports(TieHandle* handle) {
  try {
    TieReports::instance().drain_or_wake();
  } catch (const AceException& exception) {
    if (handle->okay()) handle->exception(exception);
  }
}
