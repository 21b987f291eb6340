/// The kernel objects that Tcl knows, by their addresses: a handle is an address in decimals, and the registry
/// tells what lies there.
///
/// Classes are known with their bases, so that an object is taken where one of a base is expected. An object that
/// belongs to another one (a candidate to its result) is entered with its owner and goes with it.
///
/// The registry owns nothing. Thread safety: the thread of the interpreter only.
#pragma once

#include "ace/ace_types.h"

/// A class that Tcl can hold objects of; static, one for each.
struct TieClass {
  const char* name;
  const TieClass* base;      ///< null for none
  void* (*to_base)(void*);  ///< from an object's address to that of its base part
};

/// Enters an address. Returns 0 for a new one and 1 for one that is there with the same class; -1 for one of another
/// class, which is replaced, with all that it owned.
SORV_API int tie_declare(const TieClass* type, const void* object, const void* owner = nullptr);
/// Removes an address and all that it owned. Returns how many there were.
SORV_API int tie_erase(const void* object);
/// Removes what an object owns: it is about to change. Returns how many there were.
SORV_API int tie_erase_owned(const void* owner);
/// The name of the class of an object; null for an unknown address.
SORV_API const char* tie_type(const void* object);
/// The object as one of `type`; null when it is none, and for an unknown address.
SORV_API void* tie_cast(const void* object, const TieClass* type);
/// Number of objects known.
SORV_API int tie_num_objects();
/// Empties the registry. Returns how many objects it had.
SORV_API int tie_cleanup();
