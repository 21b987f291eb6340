#include "tie/tie_registry.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace {

struct Structure {
  const TieClass* type = nullptr;
  bool isMade = false;
};

VInt key_of(const void* object) {
  return static_cast<VInt>(reinterpret_cast<std::intptr_t>(object));
}

class Registry {
 public:
  int declare(VInt object, const TieClass* type, bool isMade) {
    const auto found = structures.find(object);
    if (found == structures.end()) {
      structures[object] = {type, isMade};
      return 0;
    }
    if (found->second.type == type && !isMade) return 1;
    const bool isSame = found->second.type == type;
    erase_dependents(object);  // the address is in use again: what it was has ended
    forget(object);
    structures[object] = {type, isMade};
    return isSame ? 1 : -1;
  }

  void needs(VInt object, VInt needed) {
    if (object == 0 || needed == 0 || ends_with(needed, object)) return;  // never in a circle
    dependents.emplace(needed, object);
    requirements.emplace(object, needed);
  }

  void shares(VInt object, VInt other) {
    for (auto next = requirements.lower_bound({other, INT64_MIN});
         next != requirements.end() && next->first == other;
         next = requirements.upper_bound({other, next->second}))
      needs(object, next->second);
  }

  int erase(VInt object) {
    if (!structures.contains(object)) return 0;
    const int count = 1 + erase_dependents(object);
    forget(object);
    return count;
  }

  int erase_dependents(VInt needed) {
    int count = 0;
    while (const VInt object = first_of(dependents, needed)) {
      const auto found = structures.find(object);
      const Structure known = found != structures.end() ? found->second : Structure{};
      count += erase(object);
      forget(object);
      if (known.isMade && known.type->destroy != nullptr)
        known.type->destroy(reinterpret_cast<void*>(static_cast<std::intptr_t>(object)));
    }
    return count;
  }

  bool ends_with(VInt object, VInt needed) const {
    if (object == needed) return true;
    for (auto next = requirements.lower_bound({object, INT64_MIN});
         next != requirements.end() && next->first == object; ++next)
      if (ends_with(next->second, needed)) return true;
    return false;
  }

  const Structure* find(VInt object) const {
    const auto found = structures.find(object);
    return found != structures.end() ? &found->second : nullptr;
  }

  int size() const { return static_cast<int>(structures.size()); }
  int num_made() const {
    return static_cast<int>(std::count_if(structures.begin(), structures.end(),
                                          [](const auto& known) { return known.second.isMade; }));
  }

  void clear() {
    structures.clear();
    dependents.clear();
    requirements.clear();
  }

 private:
  using Pairs = std::set<std::pair<VInt, VInt>>;

  static VInt first_of(const Pairs& pairs, VInt key) {
    const auto first = pairs.lower_bound({key, INT64_MIN});
    return first != pairs.end() && first->first == key ? first->second : 0;
  }

  void forget(VInt object) {
    while (const VInt needed = first_of(requirements, object)) {
      requirements.erase({object, needed});
      dependents.erase({needed, object});
    }
    structures.erase(object);
  }

  std::map<VInt, Structure> structures;
  Pairs dependents;    // an object, and one that needs it
  Pairs requirements;  // the other way round
};

Registry& registry() {
  static Registry* const theRegistry = new Registry;  // lasts as long as the process
  return *theRegistry;
}

}  // namespace

int tie_declare(const TieClass* type, const void* object, bool is_made) {
  return registry().declare(key_of(object), type, is_made);
}

void tie_needs(const void* object, const void* needed) {
  registry().needs(key_of(object), key_of(needed));
}

void tie_shares(const void* object, const void* other) {
  registry().shares(key_of(object), key_of(other));
}

int tie_erase(const void* object) {
  return registry().erase(key_of(object));
}

int tie_erase_owned(const void* object) {
  return registry().erase_dependents(key_of(object));
}

bool tie_ends_with(const void* object, const void* needed) {
  return registry().ends_with(key_of(object), key_of(needed));
}

const char* tie_type(const void* object) {
  const Structure* const known = registry().find(key_of(object));
  return known != nullptr ? known->type->name : nullptr;
}

bool tie_is_made(const void* object) {
  const Structure* const known = registry().find(key_of(object));
  return known != nullptr && known->isMade;
}

void* tie_cast(const void* object, const TieClass* type) {
  const Structure* const known = registry().find(key_of(object));
  const TieClass* kind = known != nullptr ? known->type : nullptr;
  void* part = const_cast<void*>(object);
  for (; kind != nullptr && kind != type; kind = kind->base)
    if (kind->to_base != nullptr) part = kind->to_base(part);
  return kind != nullptr ? part : nullptr;
}

int tie_num_objects() {
  return registry().num_made();
}

int tie_cleanup() {
  const int count = registry().size();
  registry().clear();
  return count;
}
