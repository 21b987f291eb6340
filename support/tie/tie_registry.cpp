#include "tie/tie_registry.h"

#include <map>
#include <set>
#include <utility>

namespace {

struct Structure {
  const TieClass* type = nullptr;
  VInt owner = 0;
};

VInt key_of(const void* object) {
  return static_cast<VInt>(reinterpret_cast<std::intptr_t>(object));
}

class Registry {
 public:
  int declare(VInt object, const TieClass* type, VInt owner) {
    const auto [known, isNew] = structures.try_emplace(object);
    Structure& entry = known->second;
    const bool isSame = entry.type == type;
    if (!isNew && !isSame) erase_owned(object);
    if (!isNew) ownedObjects.erase({entry.owner, object});
    entry = {type, owner};
    if (owner != 0) ownedObjects.emplace(owner, object);
    return isNew ? 0 : isSame ? 1 : -1;
  }

  int erase(VInt object) {
    const auto found = structures.find(object);
    if (found == structures.end()) return 0;
    ownedObjects.erase({found->second.owner, object});
    structures.erase(found);
    return 1 + erase_owned(object);
  }

  int erase_owned(VInt owner) {
    int count = 0;
    for (auto first = ownedObjects.lower_bound({owner, INT64_MIN});
         first != ownedObjects.end() && first->first == owner; first = ownedObjects.lower_bound({owner, INT64_MIN}))
      count += erase(first->second);
    return count;
  }

  const TieClass* type_of(VInt object) const {
    const auto found = structures.find(object);
    return found != structures.end() ? found->second.type : nullptr;
  }

  int size() const { return static_cast<int>(structures.size()); }

  void clear() {
    structures.clear();
    ownedObjects.clear();
  }

 private:
  std::map<VInt, Structure> structures;
  std::set<std::pair<VInt, VInt>> ownedObjects;  // owner and what it owns
};

Registry& registry() {
  static Registry* const theRegistry = new Registry;  // lasts as long as the process
  return *theRegistry;
}

}  // namespace

int tie_declare(const TieClass* type, const void* object, const void* owner) {
  return registry().declare(key_of(object), type, key_of(owner));
}

int tie_erase(const void* object) {
  return registry().erase(key_of(object));
}

int tie_erase_owned(const void* owner) {
  return registry().erase_owned(key_of(owner));
}

const char* tie_type(const void* object) {
  const TieClass* const type = registry().type_of(key_of(object));
  return type != nullptr ? type->name : nullptr;
}

void* tie_cast(const void* object, const TieClass* type) {
  const TieClass* known = registry().type_of(key_of(object));
  void* part = const_cast<void*>(object);
  for (; known != nullptr && known != type; known = known->base)
    if (known->to_base != nullptr) part = known->to_base(part);
  return known != nullptr ? part : nullptr;
}

int tie_num_objects() {
  return registry().size();
}

int tie_cleanup() {
  const int count = registry().size();
  registry().clear();
  return count;
}
