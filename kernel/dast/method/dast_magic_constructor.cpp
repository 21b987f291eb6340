#include "dast/dast_magic_constructor.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <mutex>

#include "ace/ace_magic.h"

namespace {

/// Made with its first user, so that entries of any source may link themselves while the library is loaded.
template <class T>
struct Registry {
  std::mutex mutex;
  MagicConstructor<T>* head = nullptr;

  static Registry& instance() {
    static Registry registry;
    return registry;
  }
};

}  // namespace

template <class T>
MagicConstructor<T>::MagicConstructor(ConstructFunc construct_func, const char* name, const char* code)
    : magicNumber(magic_number(code)), magicName(name), constructFunc(construct_func) {
  Registry<T>& registry = Registry<T>::instance();
  const std::scoped_lock lock(registry.mutex);
  nextConstructor = registry.head;
  registry.head = this;
}

template <class T>
MagicConstructor<T>::~MagicConstructor() {
  Registry<T>& registry = Registry<T>::instance();
  const std::scoped_lock lock(registry.mutex);
  MagicConstructor** link = &registry.head;
  while (*link != nullptr && *link != this) link = &(*link)->nextConstructor;
  if (*link == this) *link = nextConstructor;
}

template <class T>
const MagicConstructor<T>* MagicConstructor<T>::get_constructors() {
  return Registry<T>::instance().head;
}

template <class T>
T* MagicConstructor<T>::produce(int magic) {
  for (const MagicConstructor* entry = get_constructors(); entry != nullptr; entry = entry->nextConstructor)
    if (entry->magicNumber == magic) return entry->constructFunc();
  return nullptr;
}

template <class T>
T* MagicConstructor<T>::create(const char* name) {
  if (name == nullptr) return nullptr;
  std::string upper(name);
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  for (const MagicConstructor* entry = get_constructors(); entry != nullptr; entry = entry->nextConstructor)
    if (upper == entry->magicName) return entry->constructFunc();
  return nullptr;
}

template <class T>
std::string MagicConstructor<T>::list_names() {
  std::vector<std::string> names;
  for (const MagicConstructor* entry = get_constructors(); entry != nullptr; entry = entry->nextConstructor)
    names.emplace_back(entry->magicName);
  std::sort(names.begin(), names.end());
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

template class MagicConstructor<DastBaseMethod>;
template class MagicConstructor<DastDetectorInterface>;
