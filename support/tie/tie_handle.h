/// One call of a Tcl command: its words, its options and its result.
///
/// A command declares its options, keywords and arguments in order. The same declarations parse a call, print
/// the usage, and print the signature that generators of scripts read; which of these, the mode says:
///
///     TeraEdit::recall $edit $result LEVENSHTEIN       CALL_MODE
///     Tie::TeraEdit::recall ??                         USAGE_MODE    lines for people
///     Tie::TeraEdit::recall                            ARG_MODE      "{Flag -help} {TeraEdit object} ..."
///
/// Errors: a word that does not fit is kept until `check`, which turns it into a Tcl error with the usage
/// behind; declarations after it do nothing. The kernel is called by correct calls only.
///
/// Texts are UTF-8 towards the kernel, and are turned into what Tcl uses inside for characters of four bytes
/// and for zeros; a text with a zero is refused, for the kernel would take it for its end.
///
/// While the kernel works for a command, procedures that it reports to may call others. Those cannot use the
/// object whose command it is, nor end any object that it was given.
///
/// What a call allocates for its words lies in the handle, which is an attach. Thread safety: the thread of
/// the interpreter only.
#pragma once

#include <tcl.h>

#include <exception>
#include <new>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "seam/seam_enum.h"
#include "tie/tie_registry.h"

class AceException;
class TieOption;
class TieOptionSet;
struct TieKind;

class SORV_API TieHandle : public AceAttach {
 public:
  enum Kind : int { ARGUMENT = 0, OPTIONAL_ARGUMENT = 1, OPTION = 2 };
  enum Mode : int { CALL_MODE = 0, USAGE_MODE = 1, ARG_MODE = 2 };
  static constexpr int MAX_PRINT = 10240;
  static constexpr int MAX_SUGAR = 100;

  /// `clientData` is null for a call and all ones for a description. Restores the defaults of all options.
  TieHandle(Tcl_Interp* interp, int count, Tcl_Obj* const* words, const char* name, TieOptionSet* options,
            void* clientData);
  TieHandle(const TieHandle&) = delete;
  TieHandle& operator=(const TieHandle&) = delete;
  ~TieHandle();

  // Declarations.

  void opt(const char* name, TieOption* option);
  /// In calls the next word by its type, or the default where an optional one is missing or does not fit.
  int arg(const char* name, int kind, int def);
  Huge arg(const char* name, int kind, Huge def);
  double arg(const char* name, int kind, double def);
  float arg(const char* name, int kind, float def);
  const char* arg(const char* name, int kind, const char* def);
  Token* arg(const char* name, int kind, Token* def);
  Tcl_Obj* arg(const char* name, int kind, Tcl_Obj* def);
  /// A list; the array ends with a null, and `num_strings` tells its size.
  const char** arg(const char* name, int kind, const char** def);
  /// A value of an enumeration, by name or by number.
  int arg(const char* name, const SeamEnum* values, int kind, int def);
  /// A kernel object. "0" is null where the argument is optional.
  void* _arg(const char* name, const TieClass* type, int kind, void* def);
  /// A keyword.
  void sugar(const char* word);
  /// No options from here on.
  void stop();
  /// Evaluates the options at the present word. With a text, "-..." in front of it, only that one.
  int eval();
  /// Describes the form of a command that its first word chooses.
  void temp();
  /// The end of the declarations of a call: 0, or -1 when it cannot be made; the usage is then to be printed.
  int check();
  /// Whether the kernel is to be called now: `check` in a call, never when something is described.
  bool ready() { return isInKernel = in_call_mode() && check() == 0; }
  /// The kernel has done its work.
  void leave_kernel() { isInKernel = false; }

  // Results. All return 0; 1 for an error value, unless the check is switched off.

  int result(Tcl_Obj* object);
  int result(const char* text);
  int result(const Token* bytes);
  int result(int value);
  int result(Huge value);
  int result(Large value);
  int result(double value);
  int result(float value) { return result(double{value}); }
  int result(bool value);
  int result(const char* const* texts, int count);
  /// A kernel object, which the script has made or which belongs to another one.
  int _result(const TieClass* type, const void* object, bool is_made);

  // State.

  int rc() const { return returnCode != 0 ? TCL_ERROR : TCL_OK; }
  bool okay() const { return returnCode == 0; }
  bool in_call_mode() const { return runMode == CALL_MODE; }
  bool in_usage_mode() const { return runMode == USAGE_MODE; }
  bool in_arg_mode() const { return runMode == ARG_MODE; }
  void put_in_usage_mode() { runMode = USAGE_MODE; }
  void unset_return_check() { checkReturn = 0; }
  /// Whether the declarations are to be run again, to print the usage; true once.
  bool take_repeat();
  /// Help was asked for: the usage follows, and the call is an error.
  void give_help();
  Tcl_Interp* get_interp() const { return tclInterp; }

  /// Appends to the interpreter's result; of a text longer than MAX_PRINT bytes the rest is "...".
  void print(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// The words do not fit.
  void error_cond(const char* item, const char* message);
  /// The last word does not fit, although it has the right type.
  void refuse_last(const char* item, const char* message);
  /// An object that is to be deleted is one that the script has made; anything else is an error.
  void must_be_made(const void* object);
  /// An object that is to end or to change is not in use by a command that reports; anything else is an
  /// error.
  void must_be_idle(const void* object);
  /// Whether this is called by what a command of ours reports to.
  bool is_within_call() const;
  void exception(const AceException& thrown);
  void ba_exception(const std::bad_alloc* thrown);
  void std_exception(const std::exception* thrown);

  /// Converts a list into an array in the handle, which ends with a null. Returns the number of strings; -1
  /// for what is no list.
  int strings_from_list(Tcl_Obj* list, const char*** strings);
  /// Number of strings of an array that `arg` has given.
  static int num_strings(const char* const* strings);
  /// The UTF-8 text of a word, which lasts as long as the handle; null, and an error, for one with a zero.
  const char* text_of(Tcl_Obj* word);
  /// A text for Tcl.
  static Tcl_Obj* new_text(const char* text);

 private:
  template <class Take>
  bool take(const char* name, int kind, const TieKind& type, Take convert);
  void describe(const char* name, int kind, const TieKind& type, const char* def);
  void finish_thrown(const char* lead, const char* text, const char* condition);
  int fail(const char* format, const char* detail, const char* code);
  const char* keep(const char* text);

  Tcl_Interp* tclInterp;
  Tcl_Obj* const* objArray;
  int objCount;
  int runMode = CALL_MODE;
  int returnCode = 0;
  int checkReturn = 1;
  int curArg = 1;
  const char* functionName;
  TieOptionSet* optionSet;
  const char* errorMsg = "Unknown Error";
  const char* errorItem = "";
  static constexpr int MAX_USED = 8;  // no command takes as many
  const void* usedObjects[MAX_USED] = {};
  const void* ownObject = nullptr;  // the first of the arguments
  int numUsed = 0;
  bool isInKernel = false;
  TieHandle* outerHandle;
  bool isMuted = false;  // help was given: the declarations come again for the usage
  bool isRepeated = false;
};

/// The class of objects: specialised by the modules that know it.
template <class T>
const TieClass* tie_class();

template <class T>
T* tie_object(TieHandle* handle, const char* name, int kind, T* def) {
  return static_cast<T*>(handle->_arg(name, tie_class<T>(), kind, def));
}
