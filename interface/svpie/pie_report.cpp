#include "svpie/pie_report.h"

#include <cxxabi.h>
#include <unistd.h>

#include <cstring>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"

namespace {

PyObject* the_error = nullptr;    // SorvantaError
PyObject* the_warning = nullptr;  // SorvantaWarning

PyObject* text_of(const std::string& text) {
  return PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace");
}

/// Without line ends behind it; empty for null.
std::string trimmed(const char* text) {
  std::string line = text != nullptr ? text : "";
  line.erase(line.find_last_not_of("\r\n") + 1);
  return line;
}

/// A line for developers: which call failed, and where.
bool is_trace(const PieMessage& message) {
  const std::size_t place = message.text.find(": ERROR in ");
  return place != std::string::npos && (message.text.rfind(".cpp:", place) != std::string::npos ||
                                        message.text.rfind(".h:", place) != std::string::npos);
}

void set(PyObject* object, const char* name, PyObject* value) {
  if (value == nullptr || PyObject_SetAttrString(object, name, value) != 0) PyErr_Clear();
  Py_XDECREF(value);
}

PyObject* list_of(const PieMessages& messages) {
  PyObject* const list = PyList_New(0);
  for (const PieMessage& message : messages) {
    PyObject* const text = text_of(message.text);
    if (list == nullptr || text == nullptr || PyList_Append(list, text) != 0) PyErr_Clear();
    Py_XDECREF(text);
  }
  return list;
}

void raise(const std::string& text, const std::string& condition, const std::string& detail) {
  PyObject* const shown = text_of(text);
  PyObject* const error =
      shown != nullptr ? PyObject_CallFunctionObjArgs(the_error, shown, nullptr) : nullptr;
  Py_XDECREF(shown);
  if (error == nullptr) return;
  set(error, "condition", text_of(condition));
  set(error, "detail", text_of(detail));
  set(error, "reports", list_of(PieCollector::collected()));
  PyErr_SetObject(the_error, error);
  Py_DECREF(error);
}

class PieReporter : public AceReporter {
 public:
  ~PieReporter() override {
    if (use_default() == this) PieCollector::instance()->set_as_default();
  }
  int report_func(const char* text) override { return deliver("report", text, nullptr); }
  int event_func(const char* text, const char* code) override { return deliver("event", text, code); }

  PyObject* target = nullptr;  // whose reporter this is, and which deletes it

 private:
  int deliver(const char* method, const char* text, const char* code);
  int call(const char* method, const char* text, const char* code);
};

int PieReporter::deliver(const char* method, const char* text, const char* code) {
  try {
    return call(method, text, code);
  } catch (const abi::__forced_unwind&) {
    pie_await_exit();
  }
}

int PieReporter::call(const char* method, const char* text, const char* code) {
  const PyGILState_STATE state = PyGILState_Ensure();
  bool hasFailed = PyErr_Occurred() != nullptr;
  if (!hasFailed) {
    PyObject* const shown = text_of(text);
    PyObject* const answer = code != nullptr ? PyObject_CallMethod(target, method, "Os", shown, code)
                                             : PyObject_CallMethod(target, method, "O", shown);
    hasFailed = answer == nullptr;
    if (hasFailed && pie_thread.callDepth == 0) PyErr_Clear();
    Py_XDECREF(shown);
    Py_XDECREF(answer);
  }
  PyGILState_Release(state);
  if (hasFailed && pie_thread.callDepth > 0) throw AceException("Reporter failed");
  return 0;
}

}  // namespace

PieCollector* PieCollector::instance() {
  static auto* const theCollector = new PieCollector(nullptr);  // for what reports at the process's end, too
  return theCollector;
}

PieMessages& PieCollector::collected() {
  static thread_local PieMessages messages;
  return messages;
}

int PieCollector::collect(const char* text, bool is_warning) {
  if (text == nullptr || std::strncmp(text, "PROGRESS\t", 9) == 0) return 0;
  if (target == nullptr && pie_thread.callDepth == 0) return 0;
  const std::scoped_lock lock(targetMutex);
  PieMessages& list = target != nullptr ? *target : collected();
  if (list.size() < MOST) list.push_back({trimmed(text), is_warning});
  pie_thread.hasCollected = true;
  return 0;
}

int pie_init_reports(PyObject* module) {
  PyObject* const empty = Py_BuildValue("{s:s,s:s,s:()}", "condition", "", "detail", "", "reports");
  the_error =
      empty != nullptr ? PyErr_NewException("svpie.SorvantaError", PyExc_RuntimeError, empty) : nullptr;
  Py_XDECREF(empty);
  the_warning = PyErr_NewException("svpie.SorvantaWarning", PyExc_UserWarning, nullptr);
  if (the_error == nullptr || the_warning == nullptr) return -1;
  PieCollector::instance()->set_as_default();
  return PyModule_AddObjectRef(module, "SorvantaError", the_error) == 0
             ? PyModule_AddObjectRef(module, "SorvantaWarning", the_warning)
             : -1;
}

void pie_raise(const char* function, const char* text) {
  raise(std::string(function) + ": " + text, text, "");
}

void pie_raise(const char* function, const AceException& exception) {
  const std::string condition = trimmed(exception.get_cond());
  const std::string detail = trimmed(exception.get_info());
  const char* const between = condition.empty() || detail.empty() ? "" : ": ";
  raise(std::string(function) + ": " + condition + between + detail, condition, detail);
}

void pie_raise_collected(const char* function, const char* text) {
  std::string reasons;
  for (const PieMessage& message : PieCollector::collected())
    if (!is_trace(message)) reasons += (reasons.empty() ? "" : "\n") + message.text;
  pie_raise(function, reasons.empty() ? text : reasons.c_str());
}

bool pie_warn() {
  bool isFine = true;
  for (const PieMessage& message : PieMessages(std::move(PieCollector::collected())))
    if (isFine && message.isWarning) isFine = PyErr_WarnEx(the_warning, message.text.c_str(), 1) == 0;
  return isFine;
}

void pie_await_exit() {
  while (true) pause();
}

AceReporter* pie_new_reporter() {
  return new PieReporter;
}

void pie_set_target(AceReporter* reporter, PyObject* target) {
  static_cast<PieReporter*>(reporter)->target = target;
}
