#include "svpie/pie_call.h"

#include <cxxabi.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <csignal>
#include <cstring>
#include <new>
#include <string>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "ace/ace_thread.h"
#include "seam/seam_thread.h"
#include "svpie/pie_arrow.h"
#include "svpie/pie_classes.h"

namespace {

PyTypeObject* the_base = nullptr;
constexpr const char* IN_USE = "the object is in use by another call";

PieObject* as_object(PyObject* object) {
  return reinterpret_cast<PieObject*>(object);
}

bool is_object(PyObject* object) {
  return object != nullptr && PyObject_TypeCheck(object, the_base) != 0;
}

/// Whether no owner has changed since its part was made.
bool is_current(const PieObject* object) {
  for (; object->owner != nullptr; object = object->owner)
    if (object->owner->numChanges != object->ownerChanges || object->owner->kernelObject == nullptr)
      return false;
  return true;
}

void* part_of(const PieObject* object, const PieClass& kind) {
  void* part = object->kernelObject;
  for (const PieClass* known = object->kind; part != nullptr && known != &kind; known = known->base) {
    if (known == nullptr) return nullptr;
    if (known->to_base != nullptr) part = known->to_base(part);
  }
  return part;
}

std::string name_of_type(PyObject* value) {
  if (value == nullptr) return "nothing";
  PyObject* const name = PyObject_GetAttrString(reinterpret_cast<PyObject*>(Py_TYPE(value)), "__name__");
  const char* const text = name != nullptr ? PyUnicode_AsUTF8AndSize(name, nullptr) : nullptr;
  const std::string found = text != nullptr ? text : "something else";
  Py_XDECREF(name);
  return found;
}

void close(PieObject* object);

/// The kernel object goes, and then what it needed.
void finish(PieObject* object) {
  void* const kernelObject = object->kernelObject;
  object->kernelObject = nullptr;
  if (kernelObject != nullptr && object->isMade && object->kind->destroy != nullptr)
    object->kind->destroy(kernelObject);
  PyObject* const needed = object->needs;
  object->needs = nullptr;
  object->owner = nullptr;
  for (Py_ssize_t i = 0; needed != nullptr && i < PyList_Size(needed); ++i) {
    PieObject* const other = as_object(PyList_GetItem(needed, i));
    --other->numDependents;
    if (object->isMade) --other->numMade;
    if (other->isClosed) close(other);
  }
  Py_XDECREF(needed);
}

void close(PieObject* object) {
  object->isClosed = true;
  if (object->numDependents <= 0) finish(object);
}

void dealloc(PyObject* self) {
  PyTypeObject* const type = Py_TYPE(self);
  close(as_object(self));
  auto* const release = reinterpret_cast<freefunc>(PyType_GetSlot(type, Py_tp_free));
  release(self);
  Py_DECREF(type);
}

PyObject* close_method(PyObject* self, PyObject*) {
  if (as_object(self)->numUsers > 0) return pie_raise("close", IN_USE), nullptr;
  close(as_object(self));
  Py_RETURN_NONE;
}

PyObject* enter_method(PyObject* self, PyObject*) {
  return Py_NewRef(self);
}

PyMethodDef base_methods[] = {
    {"close", close_method, METH_NOARGS, "Gives the object up; harmless a second time."},
    {"__enter__", enter_method, METH_NOARGS, nullptr},
    {"__exit__", close_method, METH_VARARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

}  // namespace

// Arguments.

PieCall::PieCall(const PieParameters& parameters, PyObject* const* args, Py_ssize_t count, PyObject* names)
    : parameterList(parameters) {
  begin();
  if (count > parameters.count) {
    refuse_count(count);
    return;
  }
  for (Py_ssize_t i = 0; i < count; ++i) values[i] = args[i];
  const Py_ssize_t numNames = names != nullptr ? PyTuple_Size(names) : 0;
  for (Py_ssize_t i = 0; i < numNames && !isFailed; ++i)
    take_named(PyTuple_GetItem(names, i), args[count + i]);
  check_required();
}

PieCall::PieCall(const PieParameters& parameters, PyObject* args, PyObject* kwargs)
    : parameterList(parameters) {
  begin();
  const Py_ssize_t count = args != nullptr ? PyTuple_Size(args) : 0;
  if (count > parameters.count) {
    refuse_count(count);
    return;
  }
  for (Py_ssize_t i = 0; i < count; ++i) values[i] = PyTuple_GetItem(args, i);
  PyObject* name = nullptr;
  PyObject* value = nullptr;
  for (Py_ssize_t position = 0;
       !isFailed && kwargs != nullptr && PyDict_Next(kwargs, &position, &name, &value) != 0;)
    take_named(name, value);
  check_required();
}

/// More than there are parameters.
void PieCall::refuse_count(Py_ssize_t count) {
  const std::string text =
      "takes " + std::to_string(parameterList.count) + " arguments, " + std::to_string(count) + " given";
  fail(PyExc_TypeError, text.c_str());
}

void PieCall::take_named(PyObject* name, PyObject* value) {
  int index = 0;
  while (index < parameterList.count &&
         PyUnicode_CompareWithASCIIString(name, parameterList.names[index]) != 0)
    ++index;
  if (index < parameterList.count && values[index] == nullptr) {
    values[index] = value;
    return;
  }
  const char* const shown = PyUnicode_AsUTF8AndSize(name, nullptr);
  const std::string text = std::string("argument '") + (shown != nullptr ? shown : "?") +
                           (index < parameterList.count ? "' is given twice" : "' is unknown");
  fail(PyExc_TypeError, text.c_str());
}

void PieCall::check_required() {
  for (int i = 0; i < parameterList.numRequired; ++i)
    if (values[i] == nullptr) {
      const std::string text = std::string("argument '") + parameterList.names[i] + "' is missing";
      return fail(PyExc_TypeError, text.c_str());
    }
}

void PieCall::begin() {
  if (!thread.isRegistered) seam_register_thread();
  thread.isRegistered = true;
  ++thread.callDepth;
  std::fill_n(values, parameterList.count, nullptr);
}

PieCall::~PieCall() {
  Py_XDECREF(keptTexts);
  if (--thread.callDepth == 0 && (thread.hasCollected || collector.has_value())) {
    PieCollector::collected().clear();
    thread.hasCollected = false;
  }
  for (int i = 0; i < numTaken; ++i) takenObjects[i]->isTaken = false;
  for (int i = 0; i < numUsed; ++i)
    for (PieObject* one = usedObjects[i]; one != nullptr; one = one->owner) --one->numUsers;
}

/// Arguments of this call that are the object, or a part of it.
int PieCall::num_uses(const PieObject* object) const {
  int count = 0;
  for (int i = 0; i < numUsed; ++i)
    for (const PieObject* one = usedObjects[i]; one != nullptr; one = one->owner)
      count += one == object ? 1 : 0;
  return count;
}

/// Takes part in the use of an object and what it is a part of; false where another call has one for itself.
bool PieCall::use(PieObject* object) {
  for (const PieObject* one = object; one != nullptr; one = one->owner)
    if (one->isTaken && num_uses(one) == 0) return fail(IN_USE), false;
  for (PieObject* one = object; one != nullptr; one = one->owner) ++one->numUsers;
  usedObjects[numUsed++] = object;
  return object->kind->isShared || take(object);
}

/// Keeps a used object from all other calls; false where one uses it.
bool PieCall::take(PieObject* object) {
  if (object->isTaken) return true;
  if (object->numUsers > num_uses(object)) return fail(IN_USE), false;
  object->isTaken = true;
  takenObjects[numTaken++] = object;
  return true;
}

PyObject* PieCall::get(int index, bool optional) {
  PyObject* const value = isFailed ? nullptr : values[index];
  if (value != Py_None) return value;
  if (!optional) refuse(index, "something");
  return nullptr;
}

void PieCall::refuse(int index, const char* expected) {
  const std::string text = std::string("argument '") + parameterList.names[index] + "': expected " +
                           expected + ", found " + name_of_type(values[index]);
  fail(PyExc_TypeError, text.c_str());
}

void* PieCall::checked_self(PyObject* object, const PieClass& kind) {
  if (isFailed) return nullptr;
  PieObject* const held = as_object(object);
  void* const part = held->isClosed ? nullptr : part_of(held, kind);
  if (part != nullptr && is_current(held)) return use(held) ? part : nullptr;
  fail(part == nullptr ? "the object was closed, or given away" : "the object's owner has changed since");
  return nullptr;
}

void* PieCall::object(int index, const PieClass& kind, bool optional) {
  PyObject* const value = get(index, optional);
  if (value == nullptr) return nullptr;
  if (!is_object(value)) return refuse(index, kind.name), nullptr;
  const PieObject* const held = as_object(value);
  if (held->kernelObject != nullptr && part_of(held, kind) == nullptr)
    return refuse(index, kind.name), nullptr;
  return self(value, kind);
}

long PieCall::integer(int index, long def, long least, long most) {
  PyObject* const value = get(index, false);
  if (value == nullptr) return def;
  if (PyIndex_Check(value) == 0) return refuse(index, "int"), def;
  int overflow = 0;
  PyObject* const number = PyNumber_Index(value);
  const long result = number != nullptr ? PyLong_AsLongAndOverflow(number, &overflow) : 0;
  Py_XDECREF(number);
  if (number == nullptr) return isFailed = true, def;
  if (overflow == 0 && result >= least && result <= most) return result;
  const std::string text = std::string("argument '") + parameterList.names[index] +
                           "': expected a number from " + std::to_string(least) + " to " +
                           std::to_string(most);
  fail(PyExc_OverflowError, text.c_str());
  return def;
}

double PieCall::real(int index, double def) {
  PyObject* const value = get(index, false);
  if (value == nullptr) return def;
  const double result = PyFloat_AsDouble(value);
  if (result == -1.0 && PyErr_Occurred() != nullptr) isFailed = true;
  return result;
}

bool PieCall::truth(int index, bool def) {
  PyObject* const value = get(index, false);
  return value != nullptr ? PyObject_IsTrue(value) > 0 : def;
}

const char* PieCall::text(int index, const char* def, bool optional) {
  PyObject* value = get(index, optional);
  if (value == nullptr) return isFailed ? nullptr : def;
  PyObject* path = nullptr;
  if (PyUnicode_Check(value) == 0 && PyBytes_Check(value) == 0) {
    path = PyOS_FSPath(value);  // anything that names a file
    PyErr_Clear();
    value = path;
  }
  if (value == nullptr || PyUnicode_Check(value) == 0) {
    Py_XDECREF(path);
    return refuse(index, "str"), nullptr;
  }
  Py_ssize_t size = 0;
  const char* const utf8 = PyUnicode_AsUTF8AndSize(value, &size);
  // A str of the caller's lives as long as the call; one that a path has given does not.
  const char* const kept = utf8 != nullptr && path != nullptr ? attach(utf8, size) : utf8;
  Py_XDECREF(path);
  if (kept == nullptr) return isFailed = true, nullptr;
  if (std::strlen(kept) != static_cast<std::size_t>(size))
    return fail(PyExc_ValueError, "a text with a zero"), nullptr;
  return kept;
}

const char** PieCall::texts(int index, int* count, bool optional) {
  *count = 0;
  PyObject* const value = get(index, optional);
  if (value == nullptr) return nullptr;
  if (PyUnicode_Check(value) != 0 || PyBytes_Check(value) != 0)
    return refuse(index, "a sequence of str"), nullptr;
  if (PyList_Check(value) == 0 && PyTuple_Check(value) == 0) {
    const PieTexts array = pie_take_texts(value, this);
    if (array.refusal != nullptr) return refuse(index, array.refusal), nullptr;
    if (PyErr_Occurred() != nullptr) return isFailed = true, nullptr;
    if (array.texts != nullptr) return listed(array.texts, array.count, count);
  }
  PyObject* const list = PySequence_List(value);
  if (list == nullptr) return isFailed = true, nullptr;
  const Py_ssize_t size = PyList_Size(list);
  const char** array = nullptr;
  malloc(array, size + 1);
  array[size] = nullptr;
  for (Py_ssize_t i = 0; i < size && !isFailed; ++i) array[i] = element(index, i, PyList_GetItem(list, i));
  keep(list);
  return isFailed ? nullptr : listed(array, size, count);
}

/// Takes over a list whose texts the call uses; it keeps those before it.
void PieCall::keep(PyObject* list) {
  if (keptTexts != nullptr && PyList_Append(list, keptTexts) != 0) isFailed = true;
  Py_XDECREF(keptTexts);
  keptTexts = list;
}

/// One text of a list.
const char* PieCall::element(int index, Py_ssize_t place, PyObject* value) {
  Py_ssize_t length = 0;
  const char* const utf8 = PyUnicode_Check(value) != 0 ? PyUnicode_AsUTF8AndSize(value, &length) : nullptr;
  if (utf8 != nullptr && std::strlen(utf8) == static_cast<std::size_t>(length)) return utf8;
  if (PyErr_Occurred() == nullptr) {
    const std::string found = utf8 != nullptr ? "one with a zero" : name_of_type(value);
    fail(PyExc_TypeError, ("argument '" + std::string(parameterList.names[index]) +
                           "': expected str without zeros, found " + found + " at " + std::to_string(place))
                              .c_str());
  }
  isFailed = true;
  return nullptr;
}

const char** PieCall::listed(const char** texts, Py_ssize_t size, int* count) {
  if (size >= INT_MAX) return fail(PyExc_OverflowError, "too many texts"), nullptr;
  *count = static_cast<int>(size);
  return texts;
}

SeamNumbers PieCall::numbers(int index, bool optional) {
  PyObject* const value = get(index, optional);
  if (value == nullptr) return {nullptr, 0};
  PyObject* const list = PySequence_List(value);
  if (list == nullptr) return isFailed = true, SeamNumbers{nullptr, 0};
  const Py_ssize_t size = PyList_Size(list);
  Huge* array = nullptr;
  if (size < INT_MAX) malloc(array, size);
  for (Py_ssize_t i = 0; array != nullptr && !isFailed && i < size; ++i) {
    PyObject* const number = PyNumber_Index(PyList_GetItem(list, i));
    array[i] = number != nullptr ? PyLong_AsLong(number) : -1;
    Py_XDECREF(number);
    if (PyErr_Occurred() != nullptr) isFailed = true;
  }
  Py_DECREF(list);
  if (array == nullptr || isFailed) return isFailed = true, SeamNumbers{nullptr, 0};
  return {array, static_cast<int>(size)};
}

SeamBytes PieCall::bytes(int index) {
  PyObject* const value = get(index, false);
  if (value == nullptr) return {nullptr, 0};
  Py_buffer view;
  if (PyObject_GetBuffer(value, &view, PyBUF_SIMPLE) != 0) {
    PyErr_Clear();
    return refuse(index, "bytes"), SeamBytes{nullptr, 0};
  }
  const char* const copy = attach(static_cast<const char*>(view.buf), view.len);
  const Huge size = view.len;
  PyBuffer_Release(&view);
  return {reinterpret_cast<const Token*>(copy), size};
}

int PieCall::enumeration(int index, const SeamEnum& known, int def) {
  PyObject* const value = get(index, false);
  if (value == nullptr) return def;
  if (PyUnicode_Check(value) == 0) {
    const long number = integer(index, def, INT_MIN, INT_MAX);
    if (isFailed || known.has(static_cast<int>(number))) return static_cast<int>(number);
    fail(PyExc_ValueError, known.refusal(std::to_string(number).c_str()).c_str());
    return def;
  }
  int result = def;
  const char* const name = text(index, nullptr, false);
  if (name != nullptr && !known.find(name, &result)) fail(PyExc_ValueError, known.refusal(name).c_str());
  return result;
}

// Results.

PyObject* PieCall::number(long value, bool check) {
  if (check && value < 0 && !isFailed) fail_with_reports(("code " + std::to_string(value)).c_str());
  return isFailed ? nullptr : PyLong_FromLong(value);
}

PyObject* PieCall::large(Large value) {
  return value == ~Large{0} ? number(-1, true) : number(value, false);
}

PyObject* PieCall::none() {
  return isFailed ? nullptr : Py_NewRef(Py_None);
}

PyObject* PieCall::result(const char* text) {
  if (isFailed) return nullptr;
  if (text == nullptr) return none();
  return PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(std::strlen(text)), "replace");
}

PyObject* PieCall::result(const SeamTexts& texts) {
  if (texts.count < 0) return number(texts.count, true);
  PyObject* const list = isFailed ? nullptr : PyList_New(texts.count);
  for (int i = 0; list != nullptr && i < texts.count; ++i) {
    PyObject* const text = result(texts.texts[i]);
    if (text == nullptr || PyList_SetItem(list, i, text) != 0) return Py_DECREF(list), nullptr;
  }
  return list;
}

PyObject* PieCall::result(const SeamNumbers& numbers) {
  if (numbers.count < 0) return number(numbers.count, true);
  PyObject* const list = isFailed ? nullptr : PyList_New(numbers.count);
  for (int i = 0; list != nullptr && i < numbers.count; ++i)
    if (PyList_SetItem(list, i, PyLong_FromLong(numbers.numbers[i])) != 0) return Py_DECREF(list), nullptr;
  return list;
}

PyObject* PieCall::result(const SeamBytes& bytes) {
  if (bytes.size < 0) return number(bytes.size, true);
  PyObject* const made = isFailed ? nullptr : PyBytes_FromStringAndSize(nullptr, bytes.size);
  if (made != nullptr) bytes.copy_to(PyBytes_AsString(made));
  return made;
}

PyObject* PieCall::allocate(PyTypeObject* type, PieClass& kind, const void* object, bool is_made) {
  auto* const make = reinterpret_cast<allocfunc>(PyType_GetSlot(type, Py_tp_alloc));
  PyObject* const made = make(type, 0);
  if (made == nullptr) {
    if (is_made && kind.destroy != nullptr) kind.destroy(const_cast<void*>(object));
    return nullptr;
  }
  PieObject* const held = as_object(made);
  held->kernelObject = const_cast<void*>(object);
  held->kind = &kind;
  held->isMade = is_made;
  return made;
}

PyObject* PieCall::made_as(PyTypeObject* type, PieClass& kind, const void* object) {
  if (isFailed) return nullptr;
  if (object == nullptr) return fail_with_reports("no object could be made"), nullptr;
  return allocate(type, kind, object, true);
}

PyObject* PieCall::made(PieClass& kind, const void* object, bool is_made, PyObject* owner) {
  if (isFailed) return nullptr;
  if (object == nullptr && is_made) return fail_with_reports("no object could be made"), nullptr;
  if (object == nullptr) return none();
  PyObject* const made = allocate(kind.type, kind, object, is_made);
  if (made != nullptr && owner != nullptr) {
    PieObject* const held = as_object(made);
    needs(made, owner);
    held->owner = as_object(owner);
    held->ownerChanges = held->owner->numChanges;
  }
  return made;
}

// Relations.

namespace {

/// Whether an object is or needs another one, over however many.
bool ends_with(PyObject* object, const PyObject* needed) {
  if (object == needed) return true;
  PyObject* const list = as_object(object)->needs;
  for (Py_ssize_t i = 0; list != nullptr && i < PyList_Size(list); ++i)
    if (ends_with(PyList_GetItem(list, i), needed)) return true;
  return false;
}

}  // namespace

void PieCall::needs(PyObject* one, PyObject* other) {
  if (!is_object(one) || !is_object(other) || ends_with(other, one)) return;  // never in a circle
  PieObject* const held = as_object(one);
  if (held->needs == nullptr) held->needs = PyList_New(0);
  if (held->needs != nullptr && PySequence_Contains(held->needs, other) == 1) return;
  if (held->needs == nullptr || PyList_Append(held->needs, other) != 0) return PyErr_Clear();
  ++as_object(other)->numDependents;
  if (held->isMade) ++as_object(other)->numMade;
}

void PieCall::shares(PyObject* one, PyObject* other) {
  if (!is_object(one) || !is_object(other)) return;
  PyObject* const needed = as_object(other)->needs;
  for (Py_ssize_t i = 0; needed != nullptr && i < PyList_Size(needed); ++i)
    needs(one, PyList_GetItem(needed, i));
}

bool PieCall::end_owned(PyObject* object) {
  if (isFailed || !is_object(object)) return !isFailed;
  if (as_object(object)->numMade > 0) return fail("other objects need it as it is"), false;
  if (!take(as_object(object))) return false;
  ++as_object(object)->numChanges;
  return true;
}

void PieCall::given_away(PyObject* object) {
  if (!is_object(object)) return;
  as_object(object)->kernelObject = nullptr;
  ++as_object(object)->numChanges;
}

// Failures.

void PieCall::fail(PyObject* type, const char* text) {
  if (isFailed) return;
  isFailed = true;
  const std::string whole = std::string(parameterList.function) + ": " + text;
  PyErr_SetString(type, whole.c_str());
}

void PieCall::fail(const char* text) {
  if (!isFailed) pie_raise(parameterList.function, text);
  isFailed = true;
}

/// With what was reported as the reason, if anything; an interrupt that stopped the call comes first.
void PieCall::fail_with_reports(const char* text) {
  if (!isFailed && PyErr_CheckSignals() == 0) pie_raise_collected(parameterList.function, text);
  isFailed = true;
}

AceReporter* PieCall::default_reporter() {
  AceReporter* const common = AceReporter::use_default();
  if (common != PieCollector::instance()) return common;
  return &collector.emplace(&PieCollector::collected());
}

PyObject* PieCall::done(PyObject* result) {
  if (!thread.hasCollected && !collector.has_value()) return result;
  if (result == nullptr || pie_warn()) return result;
  Py_DECREF(result);
  return nullptr;
}

PyObject* PieCall::thrown() {
  try {
    throw;
  } catch (const abi::__forced_unwind&) {
    pie_await_exit();
  } catch (...) {
  }
  // A reporter's own comes first, and an interrupt that stopped the call.
  if (PyErr_Occurred() != nullptr || PyErr_CheckSignals() != 0) return isFailed = true, nullptr;
  try {
    throw;
  } catch (const AceException& exception) {
    isFailed = true;
    pie_raise(parameterList.function, exception);
  } catch (const AceNullpointerException& exception) {
    fail(PyExc_TypeError, exception.get_name() != nullptr ? exception.get_name() : "null");
  } catch (const std::bad_alloc&) {
    isFailed = true;
    PyErr_NoMemory();
  } catch (const std::exception& exception) {
    fail(exception.what());
  } catch (...) {
    fail("Unknown exception occurred");
  }
  return nullptr;
}

// Interrupts.

namespace {

struct sigaction python_action;         // of SIGINT, while the kernel's is in its place
std::atomic<bool> is_interrupted;       // in the outermost call since it began
const std::atomic<bool>* watched_flag;  // by the main thread before
int num_watching = 0;                   // calls of the main thread: one in a report of another

void interrupt(int signal, siginfo_t* info, void* context) {
  is_interrupted = true;
  if ((python_action.sa_flags & SA_SIGINFO) != 0)
    python_action.sa_sigaction(signal, info, context);
  else
    python_action.sa_handler(signal);
}

void watch_interrupts() {
  if (++num_watching > 1) return;
  is_interrupted = false;
  watched_flag = ace_watch_stop(&is_interrupted);
  struct sigaction ours;
  sigaction(SIGINT, nullptr, &python_action);
  if (python_action.sa_handler == SIG_DFL || python_action.sa_handler == SIG_IGN) return;
  ours = python_action;
  ours.sa_flags |= SA_SIGINFO;
  ours.sa_sigaction = interrupt;
  sigaction(SIGINT, &ours, nullptr);
}

/// A handler that a report has set meanwhile stays.
void end_watching() {
  if (--num_watching > 0) return;
  ace_watch_stop(watched_flag);
  struct sigaction present;
  sigaction(SIGINT, nullptr, &present);
  if ((present.sa_flags & SA_SIGINFO) != 0 && present.sa_sigaction == interrupt)
    sigaction(SIGINT, &python_action, nullptr);
}

}  // namespace

PieWithoutLock::PieWithoutLock() : isWatching(ace_is_main_thread()) {
  if (isWatching) watch_interrupts();
  state = PyEval_SaveThread();
}

PieWithoutLock::~PieWithoutLock() {
  try {
    PyEval_RestoreThread(state);
  } catch (const abi::__forced_unwind&) {
    pie_await_exit();
  }
  if (isWatching) end_watching();
}

// The module.

int pie_init(PyObject* module) {
  if (pie_init_reports(module) != 0 || pie_init_arrow(module) != 0) return -1;
  PyType_Slot slots[] = {
      {Py_tp_dealloc, reinterpret_cast<void*>(dealloc)}, {Py_tp_methods, base_methods}, {0, nullptr}};
  PyType_Spec spec = {"svpie.kernel.Object", sizeof(PieObject), 0,
                      Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE | Py_TPFLAGS_DISALLOW_INSTANTIATION, slots};
  PyObject* const base = PyType_FromSpec(&spec);
  the_base = reinterpret_cast<PyTypeObject*>(base);
  if (base == nullptr || PyModule_AddObjectRef(module, "Object", base) != 0) return -1;
  PyObject* const enums = PyDict_New();
  return enums != nullptr ? PyModule_AddObjectRef(module, "enumerations", enums) : -1;
}

int pie_add_class(PyObject* module, PieClass* kind, PyMethodDef* methods, const char* doc, newfunc make) {
  PyType_Slot slots[4] = {
      {Py_tp_methods, methods}, {Py_tp_doc, const_cast<char*>(doc)}, {0, nullptr}, {0, nullptr}};
  if (make != nullptr) slots[2] = {Py_tp_new, reinterpret_cast<void*>(make)};
  const std::string name = std::string("svpie.kernel.") + kind->name;
  const unsigned long closed = make == nullptr ? Py_TPFLAGS_DISALLOW_INSTANTIATION : 0;
  PyType_Spec spec = {name.c_str(), sizeof(PieObject), 0,
                      static_cast<unsigned>(Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE | closed), slots};
  PyTypeObject* const base = kind->base != nullptr ? kind->base->type : the_base;
  PyObject* const bases = PyTuple_Pack(1, base);
  PyObject* const type = bases != nullptr ? PyType_FromSpecWithBases(&spec, bases) : nullptr;
  Py_XDECREF(bases);
  kind->type = reinterpret_cast<PyTypeObject*>(type);
  return type != nullptr ? PyModule_AddObjectRef(module, kind->name, type) : -1;
}

int pie_add_enum(PyObject* module, const SeamEnum& known) {
  PyObject* const all = PyObject_GetAttrString(module, "enumerations");
  PyObject* const values = PyDict_New();
  int rc = all != nullptr && values != nullptr ? 0 : -1;
  for (const SeamEnumValue& value : known.get_values()) {
    PyObject* const number = PyLong_FromLong(value.value);
    if (rc == 0) rc = number != nullptr ? PyDict_SetItemString(values, value.name, number) : -1;
    Py_XDECREF(number);
  }
  if (rc == 0) rc = PyDict_SetItemString(all, known.get_name(), values);
  Py_XDECREF(values);
  Py_XDECREF(all);
  return rc;
}

PyObject* pie_make_reporter(PyTypeObject* type, PyObject*, PyObject*) {
  static constexpr PieParameters PARAMETERS = {"AceReporter", nullptr, 0, 0};
  PieCall call(PARAMETERS, nullptr, nullptr);
  try {
    AceReporter* const reporter = pie_new_reporter();
    PyObject* const made = call.made_as(type, pie_class<AceReporter>(), reporter);
    if (made != nullptr) pie_set_target(reporter, made);
    return made;
  } catch (...) {
    return call.thrown();
  }
}
