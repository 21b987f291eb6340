#include "tie/tie_handle.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "ace/ace_exception.h"
#include "tie/tie_option.h"

namespace {

/// Tcl's own form of texts differs from UTF-8 by what starts with one of these: zeros, and halves of
/// characters that take four bytes.
constexpr int ZERO_LEAD = 0xC0;
constexpr int SURROGATE_LEAD = 0xED;
constexpr unsigned char FOUR_BYTES = 0xF0;

/// Lives until Tcl ends.
Tcl_Encoding utf8() {
  static const Tcl_Encoding theEncoding = Tcl_GetEncoding(nullptr, "utf-8");
  return theEncoding;
}

/// The command that runs in this thread; those that wait for it follow.
thread_local TieHandle* innermost = nullptr;

class DString {
 public:
  DString() { Tcl_DStringInit(&string); }
  DString(const DString&) = delete;
  DString& operator=(const DString&) = delete;
  ~DString() { Tcl_DStringFree(&string); }
  Tcl_DString* get() { return &string; }
  const char* text() const { return Tcl_DStringValue(&string); }
  int length() const { return Tcl_DStringLength(&string); }

 private:
  Tcl_DString string;
};

}  // namespace

TieHandle::TieHandle(Tcl_Interp* interp, int count, Tcl_Obj* const* words, const char* name,
                     TieOptionSet* options, void* clientData)
    : tclInterp(interp),
      objArray(words),
      objCount(count),
      functionName(name),
      optionSet(options),
      outerHandle(innermost) {
  innermost = this;
  if (optionSet != nullptr) optionSet->reset_all();
  Tcl_ResetResult(interp);
  if (clientData == nullptr) return;
  const bool isUsage = count > 1 && std::strcmp(Tcl_GetString(words[1]), "??") == 0;
  runMode = isUsage ? USAGE_MODE : ARG_MODE;
}

TieHandle::~TieHandle() {
  innermost = outerHandle;
}

// Texts.

const char* TieHandle::text_of(Tcl_Obj* word) {
  int length = 0;
  const char* const text = Tcl_GetStringFromObj(word, &length);
  const auto size = static_cast<std::size_t>(length);
  if (std::memchr(text, ZERO_LEAD, size) == nullptr && std::memchr(text, SURROGATE_LEAD, size) == nullptr)
    return text;
  DString external;
  Tcl_UtfToExternalDString(utf8(), text, length, external.get());
  const auto bytes = static_cast<std::size_t>(external.length());
  if (std::memchr(external.text(), 0, bytes) != nullptr) return nullptr;
  return attach(external.text(), external.length());
}

Tcl_Obj* TieHandle::new_text(const char* text) {
  bool isPlain = true;
  for (const char* c = text; *c != '\0'; ++c) isPlain &= static_cast<unsigned char>(*c) < FOUR_BYTES;
  if (isPlain) return Tcl_NewStringObj(text, -1);
  DString internal;
  Tcl_ExternalToUtfDString(utf8(), text, -1, internal.get());
  return Tcl_NewStringObj(internal.text(), internal.length());
}

const char* TieHandle::keep(const char* text) {
  return attach(text);
}

// Options and keywords.

void TieHandle::opt(const char* name, TieOption* option) {
  if (in_call_mode()) {
    eval();
  } else if (!isMuted) {
    option->help(name, this);
  }
}

int TieHandle::eval() {
  while (in_call_mode() && returnCode == 0 && optionSet != nullptr && curArg < objCount) {
    const char* const name = Tcl_GetString(objArray[curArg]);
    TieOption* const option = optionSet->find(name);
    if (option == nullptr) return 0;
    ++curArg;
    if (option->eval(name, this) < 0) return -1;
  }
  return 0;
}

void TieHandle::give_help() {
  --curArg;
  isMuted = true;
  returnCode = 1;
  put_in_usage_mode();
}

bool TieHandle::take_repeat() {
  if (isMuted) {
    isMuted = false;
    isRepeated = true;
    curArg = 1;
  }
  const bool repeat = isRepeated;
  isRepeated = false;
  return repeat;
}

void TieHandle::sugar(const char* word) {
  if (std::strlen(word) > MAX_SUGAR) return error_cond(word, "unreasonable long sugar string");
  if (in_call_mode()) {
    if (returnCode != 0) return;
    if (curArg >= objCount) return error_cond(word, "Missing Sugar");
    if (std::strcmp(Tcl_GetString(objArray[curArg]), word) != 0) return error_cond(word, "Wrong Sugar");
    ++curArg;
    eval();
  } else if (!isMuted) {
    ++curArg;
    if (in_usage_mode()) {
      print("Sugar       :  %s\n", word);
    } else {
      print("%s ", word);
    }
  }
}

void TieHandle::stop() {
  if (in_call_mode()) {
    eval();
    optionSet = nullptr;
  } else if (in_usage_mode() && !isMuted) {
    print("No Options after this point\n");
  }
}

void TieHandle::temp() {
  --curArg;
  put_in_usage_mode();
  print("Template type %s call as %s has the following arguments:\n", functionName,
        Tcl_GetString(objArray[1]));
}

// The check.

void TieHandle::error_cond(const char* item, const char* message) {
  if (returnCode != 0) return;
  returnCode = 1;
  errorItem = keep(item);
  errorMsg = keep(message);
}

void TieHandle::must_be_made(const void* object) {
  if (in_call_mode() && object != nullptr && !tie_is_made(object))
    refuse_last(tie_type(object), "It belongs to another object or to the library:");
}

void TieHandle::must_be_idle(const void* object) {
  if (!in_call_mode() || object == nullptr || returnCode != 0) return;
  for (const TieHandle* outer = outerHandle; outer != nullptr; outer = outer->outerHandle)
    for (int i = 0; outer->isInKernel && i < outer->numUsed; ++i)
      if (tie_ends_with(outer->usedObjects[i], object)) return refuse_last(outer->functionName, "In use by");
}

bool TieHandle::is_within_call() const {
  for (const TieHandle* outer = outerHandle; outer != nullptr; outer = outer->outerHandle)
    if (outer->isInKernel) return true;
  return false;
}

void TieHandle::refuse_last(const char* item, const char* message) {
  if (returnCode != 0) return;
  --curArg;
  error_cond(item, message);
}

int TieHandle::check() {
  if (returnCode == 0) {
    eval();
    if (!in_call_mode()) return -1;  // help was given
  }
  const int left = objCount - curArg;
  if (returnCode == 0 && left <= 0) return 0;
  Tcl_ResetResult(tclInterp);
  if (returnCode == 0) {
    print("Too many arguments for %s: last %d arguments cannot be assigned\nUsage:\n", functionName, left);
  } else if (left <= 0) {
    print("Too few arguments (%d) for %s!\n%s %s\nUsage:\n", objCount - 1, functionName, errorMsg, errorItem);
  } else {
    print("Error in %d. Argument of %s\n%s %s\nUsage:\n", curArg, functionName, errorMsg, errorItem);
  }
  returnCode = 1;
  put_in_usage_mode();
  curArg = 1;
  isRepeated = true;
  return -1;
}

void TieHandle::print(const char* format, ...) {
  char text[MAX_PRINT];
  va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  if (length >= MAX_PRINT) std::strcpy(text + MAX_PRINT - 4, "...");
  Tcl_Obj* const addition = new_text(text);
  Tcl_IncrRefCount(addition);
  Tcl_AppendResult(tclInterp, Tcl_GetString(addition), nullptr);
  Tcl_DecrRefCount(addition);
}

// Results.

int TieHandle::fail(const char* format, const char* detail, const char* code) {
  const std::string info = std::string(format) + detail;
  Tcl_AddErrorInfo(tclInterp, info.c_str());
  Tcl_SetErrorCode(tclInterp, "TIE", functionName, code, nullptr);
  return returnCode = 1;
}

int TieHandle::result(Tcl_Obj* object) {
  if (object != nullptr) return Tcl_SetObjResult(tclInterp, object), 0;
  if (checkReturn == 0) return 0;
  const std::string lead = std::string(": Error in tied function '") + functionName + "', ";
  return fail(lead.c_str(), "no object returned\n", "NO_OBJECT");
}

int TieHandle::result(const char* text) {
  if (text != nullptr) return Tcl_SetObjResult(tclInterp, new_text(text)), 0;
  if (checkReturn == 0) return 0;
  const std::string lead = std::string(": Error in tied function '") + functionName + "', ";
  return fail(lead.c_str(), "no string returned\n", "NO_STRING");
}

int TieHandle::result(const Token* bytes) {
  if (bytes != nullptr) {
    const auto length = static_cast<int>(std::strlen(reinterpret_cast<const char*>(bytes)));
    return Tcl_SetObjResult(tclInterp, Tcl_NewByteArrayObj(bytes, length)), 0;
  }
  if (checkReturn == 0) return 0;
  const std::string lead = std::string(": Error in tied function '") + functionName + "', ";
  return fail(lead.c_str(), "no byte returned\n", "NO_BYTES");
}

int TieHandle::result(int value) {
  return result(Huge{value});
}

int TieHandle::result(Huge value) {
  Tcl_SetObjResult(tclInterp, Tcl_NewWideIntObj(value));
  if (value >= 0 || checkReturn == 0) return 0;
  const std::string lead = std::string(": Error in tied function '") + functionName + "', code ";
  const std::string code = std::to_string(value);
  return fail(lead.c_str(), (code + " returned\n").c_str(), code.c_str());
}

int TieHandle::result(Large value) {
  Tcl_SetObjResult(tclInterp, Tcl_NewWideIntObj(value));
  if (value != ~Large{0} || checkReturn == 0) return 0;
  const std::string lead = std::string(": Error in tied function '") + functionName + "', ";
  return fail(lead.c_str(), "invalid LARGE_MAX returned\n", "-1");
}

int TieHandle::result(double value) {
  return Tcl_SetObjResult(tclInterp, Tcl_NewDoubleObj(value)), 0;
}

int TieHandle::result(bool value) {
  return Tcl_SetObjResult(tclInterp, Tcl_NewWideIntObj(value ? 1 : 0)), 0;
}

int TieHandle::result(const char* const* texts, int count) {
  if (texts == nullptr && count > 0) count = 0;
  if (count < 0) return result(count);
  Tcl_Obj* const list = Tcl_NewListObj(0, nullptr);
  for (int i = 0; i < count; ++i)
    Tcl_ListObjAppendElement(nullptr, list, texts[i] != nullptr ? new_text(texts[i]) : Tcl_NewObj());
  return Tcl_SetObjResult(tclInterp, list), 0;
}

int TieHandle::_result(const TieClass* type, const void* object, bool is_made) {
  if (object != nullptr) {
    tie_declare(type, object, is_made);
    return result(static_cast<Huge>(reinterpret_cast<std::intptr_t>(object)));
  }
  if (checkReturn == 0) return result(Huge{0});
  const std::string lead = std::string("Error in tied function '") + functionName + "', no object of type ";
  return fail(lead.c_str(), (std::string(type->name) + " returned\n").c_str(), "NO_OBJECT");
}

// What the kernel throws. The message comes first, so that it also heads the interpreter's account of the
// error.

void TieHandle::finish_thrown(const char* lead, const char* text, const char* condition) {
  Tcl_ResetResult(tclInterp);
  print("%s in tied function '%s', %s\n", lead, functionName, text);
  const std::string frame =
      std::string("\n    invoked from within\n\"") + functionName + "\"\n    (TIE_FRAME C++Function)";
  Tcl_AddErrorInfo(tclInterp, frame.c_str());
  Tcl_SetErrorCode(tclInterp, "TIE", functionName, condition, nullptr);
  returnCode = 1;
}

void TieHandle::exception(const AceException& thrown) {
  const char* const text = thrown.what(this);
  const char* const condition = thrown.get_cond();
  finish_thrown("Internal Exception", text != nullptr ? text : "No condition",
                condition != nullptr ? condition : "No condition");
}

void TieHandle::std_exception(const std::exception* thrown) {
  const char* const text = thrown != nullptr ? thrown->what() : nullptr;
  finish_thrown("Standard Exception", text != nullptr ? text : "No condition", "System error");
}

void TieHandle::ba_exception(const std::bad_alloc* thrown) {
  finish_thrown("Bad Alloc Exception", thrown != nullptr ? thrown->what() : "No condition", "System error");
}
