// The arguments of a call by their types: how a word is converted, and how an argument is described.
#include <cstdio>
#include <cstring>
#include <string>

#include "tie/tie_handle.h"
#include "tie/tie_option.h"

/// What the texts of a type's declarations are made of.
struct TieKind {
  const char* usage;      ///< in "Argument %2d :  <usage> <name>"
  const char* option;     ///< the same for options
  const char* signature;  ///< in "{<signature> <name>}"
  const char* missing;    ///< in front of the name of an argument that is missing
};

namespace {

constexpr TieKind INTEGER = {"integer", "integer", "Integer", "Missing int for"};
constexpr TieKind HUGE_NUMBER = {"huge", "huge", "Huge", "Missing huge for"};
constexpr TieKind DOUBLE_NUMBER = {"double", "double", "Double", "Missing double for"};
constexpr TieKind STRING = {"string", "string", "String", "Missing string for"};
constexpr TieKind BYTES = {"Bytes*", "Bytes*", "Bytes*", "Missing byte string for"};
constexpr TieKind TCL_OBJECT = {"Tcl Object", "Tcl Object", "Obj", "Missing Tcl Object for"};
constexpr TieKind STRING_ARRAY = {"String Array", "StringArray", "StringArray", "Missing string for"};

std::string quoted(const char* text) {
  if (text == nullptr) return "NULL";
  std::string out = "\"";
  for (const char* c = text; *c != '\0'; ++c) {
    if (std::strchr("\"\\{}[]$", *c) != nullptr) out += '\\';  // a signature is a list of Tcl
    out += *c;
  }
  return out + "\"";
}

/// As "%5.2f", and with a blank behind in signatures.
std::string real(double value, bool isSignature) {
  char text[400];
  std::snprintf(text, sizeof text, isSignature ? "%5.2f " : "%5.2f", value);
  return text;
}

}  // namespace

/// Positional arguments and the values of options, in calls: whether `convert(word)` has given a value.
template <class Take>
bool TieHandle::take(const char* name, int kind, const TieKind& type, Take convert) {
  if (returnCode != 0) return false;
  if (kind != OPTION) eval();
  if (!in_call_mode()) return false;
  if (curArg >= objCount) {
    if (kind == ARGUMENT) error_cond(name, type.missing);
    return false;
  }
  Tcl_Obj* const word = objArray[curArg];
  if (!convert(word)) {
    if (kind == ARGUMENT) error_cond(name, Tcl_GetStringResult(tclInterp));
    Tcl_ResetResult(tclInterp);
    return false;
  }
  ++curArg;
  if (kind != OPTION) eval();
  return true;
}

/// In the two other modes. `def` is null for an argument whose default is not told.
void TieHandle::describe(const char* name, int kind, const TieKind& type, const char* def) {
  if (isMuted) return;
  const bool hasDefault = kind != ARGUMENT && def != nullptr;
  if (in_arg_mode()) {
    print("{%s %s%s%s} ", type.signature, name, hasDefault ? " " : "", hasDefault ? def : "");
  } else if (kind == OPTION) {
    print("Option      :  %s %s%s%s\n", type.option, name, hasDefault ? ", default=" : "",
          hasDefault ? def : "");
  } else {
    print("%s %2d :  %s %s%s%s\n", kind == ARGUMENT ? "Argument" : "Optional", curArg, type.usage, name,
          hasDefault ? ", default=" : "", hasDefault ? def : "");
  }
  if (kind != OPTION) ++curArg;
}

int TieHandle::arg(const char* name, int kind, int def) {
  int value = def;
  if (!in_call_mode()) return describe(name, kind, INTEGER, std::to_string(def).c_str()), def;
  return take(name, kind, INTEGER,
              [&](Tcl_Obj* word) { return Tcl_GetIntFromObj(tclInterp, word, &value) == TCL_OK; })
             ? value
             : def;
}

Huge TieHandle::arg(const char* name, int kind, Huge def) {
  Tcl_WideInt value = def;
  if (!in_call_mode()) return describe(name, kind, HUGE_NUMBER, std::to_string(def).c_str()), def;
  return take(name, kind, HUGE_NUMBER,
              [&](Tcl_Obj* word) { return Tcl_GetWideIntFromObj(tclInterp, word, &value) == TCL_OK; })
             ? static_cast<Huge>(value)
             : def;
}

double TieHandle::arg(const char* name, int kind, double def) {
  double value = def;
  if (!in_call_mode()) return describe(name, kind, DOUBLE_NUMBER, real(def, in_arg_mode()).c_str()), def;
  return take(name, kind, DOUBLE_NUMBER,
              [&](Tcl_Obj* word) { return Tcl_GetDoubleFromObj(tclInterp, word, &value) == TCL_OK; })
             ? value
             : def;
}

float TieHandle::arg(const char* name, int kind, float def) {
  return static_cast<float>(arg(name, kind, double{def}));
}

const char* TieHandle::arg(const char* name, int kind, const char* def) {
  if (!in_call_mode()) return describe(name, kind, STRING, quoted(def).c_str()), def;
  const char* value = def;
  const auto convert = [&](Tcl_Obj* word) {
    value = text_of(word);
    if (value == nullptr) Tcl_SetObjResult(tclInterp, Tcl_NewStringObj("A zero in the string for", -1));
    return value != nullptr;
  };
  return take(name, kind, STRING, convert) ? value : def;
}

Token* TieHandle::arg(const char* name, int kind, Token* def) {
  if (!in_call_mode())
    return describe(name, kind, BYTES, quoted(reinterpret_cast<const char*>(def)).c_str()), def;
  Token* value = def;
  const auto convert = [&](Tcl_Obj* word) {
    int length = 0;
    const unsigned char* const bytes = Tcl_GetByteArrayFromObj(word, &length);
    value = reinterpret_cast<Token*>(attach(reinterpret_cast<const char*>(bytes), length));
    return true;
  };
  return take(name, kind, BYTES, convert) ? value : def;
}

Tcl_Obj* TieHandle::arg(const char* name, int kind, Tcl_Obj* def) {
  if (!in_call_mode()) {
    // Its default is told in signatures only.
    describe(name, kind, TCL_OBJECT, in_arg_mode() && def != nullptr ? Tcl_GetString(def) : nullptr);
    return def;
  }
  Tcl_Obj* value = def;
  return take(name, kind, TCL_OBJECT, [&](Tcl_Obj* word) { return (value = word) != nullptr; }) ? value : def;
}

const char** TieHandle::arg(const char* name, int kind, const char** def) {
  if (!in_call_mode()) return describe(name, kind, STRING_ARRAY, nullptr), def;
  const char** value = def;
  return take(name, kind, STRING_ARRAY, [&](Tcl_Obj* word) { return strings_from_list(word, &value) >= 0; })
             ? value
             : def;
}

int TieHandle::arg(const char* name, const SeamEnum* values, int kind, int def) {
  const TieKind type = {values->get_name(), values->get_name(), values->get_name(), "Missing value for"};
  if (!in_call_mode()) {
    const char* const known = values->name_of(def);
    return describe(name, kind, type, known != nullptr ? known : std::to_string(def).c_str()), def;
  }
  int value = def;
  const auto convert = [&](Tcl_Obj* word) {
    const char* const text = Tcl_GetString(word);
    if (values->find(text, &value)) return true;
    error_cond(
        name,
        (values->refusal(text) + " At").c_str());  // also where it may be left out: no other type has names
    return false;
  };
  return take(name, kind, type, convert) ? value : def;
}

void* TieHandle::_arg(const char* name, const TieClass* type, int kind, void* def) {
  if (!in_call_mode()) {
    const TieKind texts = {type->name, type->name, type->name, ""};
    if (kind == ARGUMENT) {
      describe(name, kind, texts, nullptr);
    } else if (in_arg_mode()) {
      describe(name, kind, texts, "default");
    } else {
      const std::string described =
          std::string(name) + ", with" + (def == nullptr ? "out" : "") + " default structure";
      describe(described.c_str(), kind, texts, nullptr);
    }
    return def;
  }
  void* value = def;
  const auto refuse = [&](const std::string& message) {
    Tcl_SetObjResult(tclInterp, new_text(message.c_str()));
    return false;
  };
  const auto convert = [&](Tcl_Obj* word) {
    Tcl_WideInt address = 0;
    const std::string text = Tcl_GetString(word);
    const std::string expected = std::string("'") + type->name + "'";
    if (Tcl_GetWideIntFromObj(nullptr, word, &address) != TCL_OK)
      return refuse("Unknown parameter '" + text + "'. Expected pointer of type " + expected);
    if (address == 0) {
      value = nullptr;
      return kind != ARGUMENT || refuse("Pointer of type " + expected + " is nullptr.");
    }
    const auto* const object = reinterpret_cast<const void*>(static_cast<std::intptr_t>(address));
    value = tie_cast(object, type);
    for (const TieHandle* outer = outerHandle; outer != nullptr; outer = outer->outerHandle)
      if (outer->isInKernel && outer->ownObject == object)
        return refuse(std::string("In use by ") + outer->functionName + ":");
    if (value != nullptr && numUsed < MAX_USED) usedObjects[numUsed++] = object;
    if (kind != OPTION && ownObject == nullptr) ownObject = object;
    if (value != nullptr) return true;
    const char* const known = tie_type(object);
    if (known == nullptr) return refuse("Unknown object '" + text + "', expected type " + expected + " for");
    return refuse(std::string("Invalid type: '") + known + "' instead of " + expected + " for");
  };
  return take(name, kind, {"", "", "", "Missing Object for"}, convert) ? value : def;
}

// Lists.

int TieHandle::strings_from_list(Tcl_Obj* list, const char*** strings) {
  int count = 0;
  Tcl_Obj** elements = nullptr;
  if (Tcl_ListObjGetElements(tclInterp, list, &count, &elements) != TCL_OK) return -1;
  const char** array = nullptr;
  malloc(array, count + 1L);
  for (int i = 0; i < count; ++i) {
    const char* const text = text_of(elements[i]);
    if (text == nullptr) {
      Tcl_SetObjResult(tclInterp, Tcl_NewStringObj("A zero in a string of the list for", -1));
      return -1;
    }
    array[i] = attach(text);  // an element may lose its text when the list is used as something else
  }
  array[count] = nullptr;
  *strings = array;
  return count;
}

int TieHandle::num_strings(const char* const* strings) {
  int count = 0;
  if (strings == nullptr) return 0;
  while (strings[count] != nullptr) ++count;
  return count;
}

// Options with a value of these types.

template <class T>
int TypeOption<T>::eval(const char* name, TieHandle* handle) {
  *resPtr = handle->arg(name, TieHandle::OPTION, defVal);
  return 0;
}

template <class T>
void TypeOption<T>::help(const char* name, TieHandle* handle) {
  handle->arg(name, TieHandle::OPTION, defVal);
}

template class SORV_API TypeOption<int>;
template class SORV_API TypeOption<const char*>;
template class SORV_API TypeOption<Tcl_Obj*>;
