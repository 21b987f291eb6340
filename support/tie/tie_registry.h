/// The kernel objects that Tcl knows, by their addresses: a handle is an address in decimals, and the
/// registry tells what lies there.
///
/// Classes are known with their bases, so that an object is taken where one of a base is expected.
///
/// Objects need others: a candidate its result, a session its base. When an object ends, or is about to
/// change in a way that its parts do not survive, the handles of all that need it end first; those of them
/// that were made by a script are deleted, for nothing could be done with them any more.
///
/// Thread safety: the thread of the interpreter only.
#pragma once

#include "ace/ace_types.h"

/// A class that Tcl can hold objects of; static, one for each.
struct TieClass {
  const char* name;
  const TieClass* base;     ///< null for none
  void* (*to_base)(void*);  ///< from an object's address to that of its base part; null for the same address
  void (*destroy)(void*);   ///< null where scripts cannot delete objects
};

/// Enters an address; `is_made` for an object that the script has made, and is to delete. Returns 0 for a new
/// one and 1 for one that is there with the same class; -1 for one of another class, which is replaced after
/// all that needed it.
SORV_API int tie_declare(const TieClass* type, const void* object, bool is_made = false);
/// Notes that one object needs another one. Nothing happens for null and for equal ones.
SORV_API void tie_needs(const void* object, const void* needed);
/// Notes that an object needs whatever another one needs.
SORV_API void tie_shares(const void* object, const void* other);
/// Ends the handle of an object, and all that needs it. Returns how many handles ended.
SORV_API int tie_erase(const void* object);
/// Ends all that needs an object. Returns how many handles ended.
SORV_API int tie_erase_owned(const void* object);
/// Whether an object ends when another one does: it is that one, or needs it.
SORV_API bool tie_ends_with(const void* object, const void* needed);
/// The name of the class of an object; null for an unknown address.
SORV_API const char* tie_type(const void* object);
/// Whether the object is the script's to delete.
SORV_API bool tie_is_made(const void* object);
/// The object as one of `type`; null when it is none, and for an unknown address.
SORV_API void* tie_cast(const void* object, const TieClass* type);
/// Number of objects that scripts have made and not deleted.
SORV_API int tie_num_objects();
/// Empties the registry; objects stay. Returns how many handles it had.
SORV_API int tie_cleanup();
