/// What the library has to say to Python: messages, warnings, errors.
///
/// A host that wants messages derives a class from `AceReporter`. What no reporter of a host gets is
/// collected for the call that causes it: it explains an error, and warnings become those of Python's
/// `warnings`.
#pragma once

#define PY_SSIZE_T_CLEAN
#define Py_LIMITED_API 0x030B0000
#include <Python.h>

#include <mutex>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"

class AceException;

struct PieMessage {
  std::string text;  ///< without line ends behind it
  bool isWarning;
};
using PieMessages = std::vector<PieMessage>;

/// Collects messages, at most `MOST`, other than those of progress. Threads: any, where it has a list.
class PieCollector : public AceReporter {
 public:
  static constexpr std::size_t MOST = 100;

  /// Null for the list of the thread that reports.
  explicit PieCollector(PieMessages* list) : target(list) {}
  int report_func(const char* text) override { return collect(text, false); }
  int event_func(const char* text, const char* code) override {
    return collect(text, code != nullptr && *code == 'w');
  }

  /// Of the calls of this thread that have no reporter; the process's default one, unless a host has another.
  static PieCollector* instance();
  /// What this thread's call has collected so far.
  static PieMessages& collected();

 private:
  int collect(const char* text, bool is_warning);

  PieMessages* target;
  std::mutex targetMutex;
};

/// Adds the exception and the category of warnings to a module. Returns 0 or -1.
int pie_init_reports(PyObject* module);
/// Raise a SorvantaError, which has what was collected in `reports`.
void pie_raise(const char* function, const char* text);
void pie_raise(const char* function, const AceException& exception);
/// With what was collected as its text, where that says something.
void pie_raise_collected(const char* function, const char* text);
/// Issues the warnings that were collected. False where Python makes errors of them.
bool pie_warn();

/// Makes an `AceReporter`: methods `report(text)` and `event(text, code)` of derived classes are called, from
/// any thread. What they throw ends the kernel's work with an AceException where the thread is one of
/// Python's calls, and is dropped in others.
AceReporter* pie_new_reporter();
/// Whose methods are called.
void pie_set_target(AceReporter* reporter, PyObject* target);

/// For a thread that Python ends because it waits for the interpreter's lock while the process is about to
/// exit: unwinding its stack would stop at the first function that lets no exception pass, and abort the
/// process.
[[noreturn]] void pie_await_exit();

/// What is known of a thread, in one place: finding it is a call.
struct PieThread {
  int callDepth = 0;          ///< calls by Python that are under way
  bool hasCollected = false;  ///< something since the outermost of them began
  bool isRegistered = false;  ///< with the kernel
};
inline constinit thread_local PieThread pie_thread;
