/// One call of the module `svpie.kernel`: objects, arguments by position or by name, results, failures.
///
/// Objects. Each Python object holds a kernel object, keeps the Python objects alive that it needs, and knows
/// how often its owner had changed when it was made: a part of an object that has changed since is refused.
///
/// Threads. Calls that take long release the interpreter's lock while the kernel works. Objects that several
/// threads may use at once (an index, a base) can be asked meanwhile but not changed; others belong to the
/// call, and a second one is refused.
///
/// The module uses the limited interface of CPython 3.11, so that one file serves later versions, too.
#pragma once

#include <initializer_list>
#include <optional>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "seam/seam_enum.h"
#include "seam/seam_texts.h"
#include "svpie/pie_report.h"

/// A class of the module; `type` is made when the module is.
struct PieClass {
  const char* name;
  PieClass* base;  ///< null for none
  void* (*to_base)(void*);
  void (*destroy)(void*);
  bool isShared;  ///< several calls may use an object that they do not change
  PyTypeObject* type;
};

/// What all objects of the module are.
struct PieObject {
  PyObject_HEAD void* kernelObject;
  PieClass* kind;
  bool isMade;            // deleted with this object
  unsigned numChanges;    // after which parts end
  PieObject* owner;       // of a part; borrowed from `needs`
  unsigned ownerChanges;  // of the owner, when this was made
  PyObject* needs;        // a list, or null
  int numUsers;       // arguments of calls under way that are it or a part of it; it is not closed meanwhile
  bool isTaken;       // by one of these calls alone
  int numDependents;  // objects that need this one: until they end, so does the kernel object of a closed one
  int numMade;        // those of them that were made upon it, which a change would leave without ground
  bool isClosed;

  /// Whether it is a whole object of this very class that no call uses, as nearly always.
  bool is_free(const PieClass& of) const {
    return kind == &of && owner == nullptr && numUsers == 0 && !isTaken && !isClosed &&
           kernelObject != nullptr;
  }
};

/// Parameter names of a function; static.
struct PieParameters {
  const char* function;  ///< "TeraEdit.recall"
  const char* const* names;
  int count;
  int numRequired;
};

class PieCall : public AceAttach {
 public:
  static constexpr int MAX_PARAMETERS = 24;

  /// Sorts the arguments by their parameters; too many, unknown or missing ones are a TypeError.
  PieCall(const PieParameters& parameters, PyObject* const* args, Py_ssize_t count, PyObject* names);
  /// The same from a tuple and a dictionary.
  PieCall(const PieParameters& parameters, PyObject* args, PyObject* kwargs);
  PieCall(const PieCall&) = delete;
  PieCall& operator=(const PieCall&) = delete;
  ~PieCall();
  bool failed() const { return isFailed; }

  // Arguments. A default stands for one that is not given, and for None where that is allowed.

  /// The kernel object of `self`.
  void* self(PyObject* object, const PieClass& kind) {
    auto* const held = reinterpret_cast<PieObject*>(object);
    return !isFailed && held->is_free(kind) ? take_free(held) : checked_self(object, kind);
  }
  void* object(int index, const PieClass& kind, bool optional);
  PyObject* given(int index) const { return values[index]; }
  long integer(int index, long def, long least, long most);
  double real(int index, double def);
  bool truth(int index, bool def);
  const char* text(int index, const char* def, bool optional);
  const char** texts(int index, int* count, bool optional);
  SeamNumbers numbers(int index, bool optional);
  SeamBytes bytes(int index);
  int enumeration(int index, const SeamEnum& values, int def);

  // Results; null once something has failed.

  PyObject* number(long value, bool check);
  PyObject* large(Large value);
  PyObject* result(double value) { return isFailed ? nullptr : PyFloat_FromDouble(value); }
  PyObject* result(bool value) { return isFailed ? nullptr : PyBool_FromLong(value ? 1 : 0); }
  PyObject* result(const char* text);
  PyObject* result(const SeamTexts& texts);
  PyObject* result(const SeamNumbers& numbers);
  PyObject* result(const SeamBytes& bytes);
  PyObject* none();
  /// A new Python object; `owner` is the one of which it is a part, or null. A null object that was to be
  /// made is an error, another one None.
  PyObject* made(PieClass& kind, const void* object, bool is_made, PyObject* owner);
  /// The same of a class that may be derived in Python.
  PyObject* made_as(PyTypeObject* type, PieClass& kind, const void* object);

  // Relations between Python objects, which may be null.

  static void needs(PyObject* one, PyObject* other);
  static void shares(PyObject* one, PyObject* other);
  /// The parts of an object end. False, and an error, when others were made upon it, as a session upon a
  /// base.
  bool end_owned(PyObject* object);
  /// The kernel has taken the object over.
  static void given_away(PyObject* object);

  /// Turns what is being caught into an exception of Python. Returns null.
  PyObject* thrown();
  void fail(PyObject* type, const char* text);
  /// The process's default reporter, or one that collects what any thread reports for this call.
  AceReporter* default_reporter();
  /// Ends the call: issues warnings. Returns the result, or null where they are errors.
  PyObject* done(PyObject* result);

 private:
  PyObject* get(int index, bool optional);
  void refuse(int index, const char* expected);
  const PieParameters& parameterList;
  const char* element(int index, Py_ssize_t place, PyObject* value);
  void keep(PyObject* list);
  const char** listed(const char** texts, Py_ssize_t size, int* count);
  void fail(const char* text);
  void fail_with_reports(const char* text);
  void* checked_self(PyObject* object, const PieClass& kind);
  void* take_free(PieObject* object) {
    object->numUsers = 1;
    usedObjects[numUsed++] = object;
    if (!object->kind->isShared) {
      object->isTaken = true;
      takenObjects[numTaken++] = object;
    }
    return object->kernelObject;
  }
  bool use(PieObject* object);
  bool take(PieObject* object);
  int num_uses(const PieObject* object) const;
  void refuse_count(Py_ssize_t count);
  void take_named(PyObject* name, PyObject* value);
  void check_required();
  void begin();
  static PyObject* allocate(PyTypeObject* type, PieClass& kind, const void* object, bool is_made);

  // As many as there are parameters, and those in use.
  PyObject* values[MAX_PARAMETERS];
  PieObject* usedObjects[MAX_PARAMETERS + 1];
  int numUsed = 0;
  PieObject* takenObjects[MAX_PARAMETERS + 1];
  int numTaken = 0;
  PyObject* keptTexts = nullptr;  // a list of what the call reads in place
  std::optional<PieCollector> collector;
  bool isFailed = false;
  PieThread& thread = pie_thread;
};

/// Gives up the interpreter's lock. Where the main thread does, an interrupt of the keyboard asks the kernel
/// to stop meanwhile, too; the interpreter's own handler is called first, and is in its place again
/// afterwards.
class PieWithoutLock {
 public:
  PieWithoutLock();
  PieWithoutLock(const PieWithoutLock&) = delete;
  PieWithoutLock& operator=(const PieWithoutLock&) = delete;
  ~PieWithoutLock();

 private:
  bool isWatching;
  PyThreadState* state;
};

/// Adds a class with its methods to a module. Returns 0 or -1.
int pie_add_class(PyObject* module, PieClass* kind, PyMethodDef* methods, const char* doc, newfunc make);
/// What is common to all modules: the base class, the exception, reporters.
int pie_init(PyObject* module);
/// Adds {name: {value name: number}} of an enumeration to the module's `enumerations`.
int pie_add_enum(PyObject* module, const SeamEnum& values);
/// Makes an `AceReporter` of a host.
PyObject* pie_make_reporter(PyTypeObject* type, PyObject* args, PyObject* kwargs);

template <class T>
PieClass& pie_class();
