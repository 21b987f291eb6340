#include "dare/dare_external.h"

#include <cstring>
#include <utility>

int DareSessionExternal::add(const char* name, const char* file) {
  if (name == nullptr || file == nullptr || extObjects.count(name) > 0) return -1;
  Entry entry;
  entry.file = std::make_unique<AceFile>();
  if (entry.file->prep(file, nullptr) < 0) return -1;
  entry.object.reset(AceWrap::factory(entry.file.get(), &entry.typeName));
  if (entry.object == nullptr) return -1;
  extObjects.emplace(name, std::move(entry));
  return 0;
}

AceWrap* DareSessionExternal::get(const char* name, const char* type) const {
  const auto place = name != nullptr ? extObjects.find(name) : extObjects.end();
  if (place == extObjects.end()) return nullptr;
  const char* const type_name = place->second.typeName;
  if (type_name != nullptr && type != nullptr && std::strcmp(type_name, type) != 0) return nullptr;
  return place->second.object.get();
}
