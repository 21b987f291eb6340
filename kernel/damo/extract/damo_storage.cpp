#include "damo/damo_storage.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "ace/ace_attach.h"
#include "ace/ace_reporter.h"

namespace {

bool is_empty(const char* name) {
  return name == nullptr || *name == '\0';
}

[[gnu::format(printf, 1, 2)]] int refuse(const char* format, ...) {
  char text[1024];
  std::va_list values;
  va_start(values, format);
  std::vsnprintf(text, sizeof text, format, values);
  va_end(values);
  AceReporter::use_default()->ev_wprintf("%s", text);
  return -1;
}

}  // namespace

DamoStorage* DamoStorage::get_instance() {
  static DamoStorage* const instance = new DamoStorage;  // never deleted: scripts may end after statics do
  return instance;
}

int DamoStorage::create_storage(const char* name) {
  if (is_empty(name)) return refuse("Storages with empty name aren't allowed");
  const std::lock_guard guard(lock);
  storIndex.try_emplace(name);
  return 0;
}

int DamoStorage::declare_variable(const char* storage, const char* variable) {
  if (is_empty(storage)) return refuse("Storages with empty names aren't allowed");
  if (is_empty(variable)) return refuse("No variable name given");
  const std::lock_guard guard(lock);
  const auto found = storIndex.find(std::string_view(storage));
  if (found == storIndex.end()) return refuse("The storage '%s' isn't defined", storage);
  if (!found->second.try_emplace(variable).second)
    return refuse("The variable '%s' is already defined", variable);
  return 0;
}

const std::string* DamoStorage::find(const char* storage, const char* variable) const {
  if (is_empty(storage)) {
    refuse("Storages with empty names aren't allowed");
    return nullptr;
  }
  if (is_empty(variable)) {
    refuse("No variable name given");
    return nullptr;
  }
  const auto found = storIndex.find(std::string_view(storage));
  if (found == storIndex.end()) {
    refuse("The storage '%s' is not existing", storage);
    return nullptr;
  }
  const auto value = found->second.find(std::string_view(variable));
  if (value == found->second.end()) {
    refuse("The variable '%s' is undeclared in storage '%s'", variable, storage);
    return nullptr;
  }
  return &value->second;
}

int DamoStorage::write_variable(const char* storage, const char* variable, const char* value) {
  const std::size_t length = value != nullptr ? std::strlen(value) : 0;
  return write_variable_raw(storage, variable, value, static_cast<int>(length));
}

int DamoStorage::write_variable_raw(const char* storage, const char* variable, const void* value,
                                    int length) {
  if (length < 0 || (value == nullptr && length > 0))
    return refuse("No value given for variable '%s'", variable != nullptr ? variable : "");
  const std::lock_guard guard(lock);
  auto* const place = const_cast<std::string*>(find(storage, variable));
  if (place == nullptr) return -1;
  place->assign(static_cast<const char*>(value), static_cast<std::size_t>(length));
  return 0;
}

char* DamoStorage::read_variable(const char* storage, const char* variable, AceAttach* at) const {
  int length = 0;
  return read_variable_raw(storage, variable, &length, at);
}

char* DamoStorage::read_variable_raw(const char* storage, const char* variable, int* length,
                                     AceAttach* at) const {
  const std::lock_guard guard(lock);
  const std::string* const value = find(storage, variable);
  if (length != nullptr) *length = value != nullptr ? static_cast<int>(value->size()) : -1;
  if (value == nullptr) return nullptr;
  char* const copy = static_cast<char*>(at->alloc(static_cast<VInt>(value->size() + 1)));
  std::memcpy(copy, value->c_str(), value->size() + 1);
  return copy;
}

void DamoStorage::reset_data() {
  const std::lock_guard guard(lock);
  storIndex.clear();
}
