/// Registry of classes that are made by name (in configurations) or by magic number (in files).
///
///     static MagicConstructor<DastBaseMethod> constructor([] { return new DimeEditMethod; }, "EDIT",
///     "MEDIT");
///
/// Entries are static objects and link themselves when their library is loaded, newest first; nothing else is
/// needed to make a method known.
///
/// Thread safety: linking is guarded; after start-up the list is only read.
#pragma once

#include <string>
#include <vector>

#include "ace/ace_types.h"
#include "dast/dast_base_method.h"

template <class T>
class SORV_API MagicConstructor {
 public:
  using ConstructFunc = T* (*)();

  /// `name` in upper case and `code` (ace_magic.h) are what the made objects say of themselves.
  MagicConstructor(ConstructFunc construct_func, const char* name, const char* code);
  MagicConstructor(const MagicConstructor&) = delete;
  MagicConstructor& operator=(const MagicConstructor&) = delete;
  ~MagicConstructor();

  /// A new object of the caller's; null, without a message, when nothing of that magic or name (in any case)
  /// is registered.
  static T* produce(int magic);
  static T* create(const char* name);
  /// The first entry; null when there is none.
  static const MagicConstructor* get_constructors();
  const MagicConstructor* get_next() const { return nextConstructor; }
  const char* get_name() const { return magicName; }
  int get_magic() const { return magicNumber; }
  /// "EDIT, REGEXP, ...": what there is, in alphabetical order, for messages.
  static std::string list_names();

 private:
  MagicConstructor* nextConstructor = nullptr;
  int magicNumber;
  const char* magicName;
  ConstructFunc constructFunc;
};

extern template class SORV_API MagicConstructor<DastBaseMethod>;
extern template class SORV_API MagicConstructor<DastDetectorInterface>;
