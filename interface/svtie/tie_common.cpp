#include "svtie/tie_common.h"

#include <charconv>
#include <cstring>
#include <limits>
#include <string>

#include "svtie/tie_modules.h"

namespace {

/// The module whose command is called: its name stands in front of the last "::".
TieModule* module_of(Tcl_Obj* command) {
  std::string name = Tcl_GetString(command);
  name.resize(name.rfind("::"));
  if (const std::size_t scope = name.rfind(':'); scope != std::string::npos) name.erase(0, scope + 1);
  if (name == tie_framework_module()->get_name()) return tie_framework_module();
  for (TieModule* module : tie_table_modules())
    if (name == module->get_name()) return module;
  return nullptr;
}

int version(ClientData, Tcl_Interp* interp, int, Tcl_Obj* const*) {
  Tcl_SetObjResult(interp, Tcl_NewStringObj(SORVANTA_VERSION, -1));
  return TCL_OK;
}

/// The compiler's version: a date would make each build of the same sources another one.
int built(ClientData, Tcl_Interp* interp, int, Tcl_Obj* const*) {
  Tcl_SetObjResult(interp, Tcl_NewStringObj("C++ " __VERSION__, -1));
  return TCL_OK;
}

int cancel(ClientData, Tcl_Interp* interp, int, Tcl_Obj* const* words) {
  TieModule* const module = module_of(words[0]);
  Tcl_SetObjResult(interp, Tcl_NewIntObj(module != nullptr ? module->cancel() : 0));
  return TCL_OK;
}

constexpr long LARGEST = 0xFFFFFFFF;

}  // namespace

TieModuleCommands::TieModuleCommands(TieModule* module, const char* version_name, const char* built_name,
                                     const char* cancel_name)
    : versionEntry(module, version, version_name, __LINE__, nullptr),
      builtEntry(module, built, built_name, __LINE__, nullptr),
      cancelEntry(module, cancel, cancel_name, __LINE__, nullptr) {}

Large tie_large(TieHandle* handle, const char* name, int kind, Large def) {
  const Huge value = handle->arg(name, kind, Huge{def});
  if (value >= 0 && value <= LARGEST) return static_cast<Large>(value);
  handle->refuse_last(name, "Expected a number from 0 to 4294967295 for");
  return def;
}

int tie_enum_result(TieHandle* handle, const SeamEnum& values, int value) {
  const char* const name = values.name_of(value);
  handle->unset_return_check();
  return name != nullptr ? handle->result(name) : handle->result(value);
}

SeamBytes tie_bytes(TieHandle* handle, const char* name, int kind) {
  if (!handle->in_call_mode()) return {handle->arg(name, kind, static_cast<Token*>(nullptr)), 0};
  Tcl_Obj* const word = handle->arg(name, kind, static_cast<Tcl_Obj*>(nullptr));
  if (word == nullptr) return {nullptr, 0};
  int length = 0;
  const unsigned char* const bytes = Tcl_GetByteArrayFromObj(word, &length);
  // A copy: the word may become something else while the kernel reports.
  const char* const copy = handle->attach(reinterpret_cast<const char*>(bytes), length);
  return {reinterpret_cast<const Token*>(copy), length};
}

SeamNumbers tie_numbers(TieHandle* handle, const char* name, int kind) {
  const char** const texts = handle->arg(name, kind, static_cast<const char**>(nullptr));
  const int count = TieHandle::num_strings(texts);
  Huge* numbers = nullptr;
  handle->malloc(numbers, count);
  for (int i = 0; i < count; ++i) {
    const char* const end = texts[i] + std::strlen(texts[i]);
    const auto [rest, error] = std::from_chars(texts[i], end, numbers[i]);
    if (error == std::errc() && rest == end && end != texts[i]) continue;
    handle->refuse_last(name, "Expected a list of numbers for");
    return {nullptr, 0};
  }
  return {numbers, count};
}

int tie_result(TieHandle* handle, const SeamNumbers& numbers) {
  if (numbers.count < 0) return handle->result(numbers.count);
  Tcl_Obj* const list = Tcl_NewListObj(0, nullptr);
  for (int i = 0; i < numbers.count; ++i)
    Tcl_ListObjAppendElement(nullptr, list, Tcl_NewWideIntObj(numbers.numbers[i]));
  return handle->result(list);
}

int tie_result(TieHandle* handle, const SeamBytes& bytes) {
  if (bytes.size < 0) return handle->result(bytes.size);
  if (bytes.size > std::numeric_limits<int>::max()) {
    handle->error_cond("", "An image of more than 2 GiB; write it to a file with dump");
    return 1;
  }
  Tcl_Obj* const array = Tcl_NewByteArrayObj(nullptr, static_cast<int>(bytes.size));
  bytes.copy_to(Tcl_GetByteArrayFromObj(array, nullptr));
  return handle->result(array);
}
