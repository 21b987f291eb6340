/// Minimal perfect hashes: tables in which each of n known items has a slot of its own, found by one or two
/// hashes and without a comparison.
///
/// A table has a third more slots than items. A slot holds, as a signed number e of a table of `size` slots,
///
///     e >= 0          the value of the item that belongs there
///     -1              nothing
///     e <= -size      a displacement, -e = q * size + r: the item lies in slot (hash with seed q, plus r)
///                     modulo size
///
/// An item is looked up in the slot of its hash with seed 0. Items whose hash with seed 0 no other item has
/// lie right there; the others share a displacement there that leads each of them to a slot which no item
/// hashes to with seed 0. Tables keep no keys: what is found for a key that was not entered is -1 or the
/// value of another one, so callers compare the item.
///
/// Ownership: tables are free-standing blocks (ace_alloc.h), given back with `ace_delete`.
/// Thread safety: any number of threads may look up in a table that nobody changes.
/// Cost: building is O(n) expected, about ten hashes per item.
/// Source: D. Belazzougui, F. C. Botelho, M. Dietzfelbinger, ESA 2009 (hash and displace), with the
/// displacements kept in slots of the table itself.
#pragma once

#include "ace/ace_types.h"

/// Hash of a string: each byte is folded in as a CRC-32 step whose register is `seed` ahead. The result is in
/// 0 .. n-1; 0 for an empty string, -1 for null or n = 0.
SORV_API int mph_string_function(const char* s, int seed, int n);
/// With seed 0 the signed remainder of `v` by n (negative for a negative `v`); else as `mph_string_function`,
/// of the four bytes of `v`, low byte first. -1 for n = 0.
SORV_API int mph_int_function(int v, int seed, int n);

/// Either of the functions above, or one of the caller's: key, seed, table size to slot. Slots out of range
/// are taken modulo the size.
class SORV_API MphHash {
 public:
  using Function = unsigned (*)(void* key, int seed, int size);
  using StringFunction = int (*)(const char* key, int seed, int size);
  using IntFunction = int (*)(int key, int seed, int size);

  // Conversions, so that a function itself can be passed. NOLINTBEGIN(google-explicit-constructor)
  MphHash(Function function) : ownFunction(function) {}
  /// Keys are `const char*`.
  MphHash(StringFunction function) : stringFunction(function) {}
  /// Keys are made by `int_key`.
  MphHash(IntFunction function) : intFunction(function) {}
  // NOLINTEND(google-explicit-constructor)

  /// A number in the place of a key's address.
  static void* int_key(int value) { return reinterpret_cast<void*>(static_cast<VInt>(value)); }

  /// The slot, below `size`, which is positive.
  Large operator()(const void* key, int seed, int size) const;

 private:
  Function ownFunction = nullptr;
  StringFunction stringFunction = nullptr;
  IntFunction intFunction = nullptr;
};

/// Flags of `mph_build`.
enum MphFlags : int {
  /// Fail when the first table is not found, instead of trying larger ones.
  MPH_FIXED_SIZE = 1
};

/// A table of max(4 n / 3, minSize) empty slots. Returns the size; 0, and no table, for null `table` or when
/// the size exceeds an int.
SORV_API int mph_prepare(unsigned** table, int n, int minSize);
/// The value of an item; -1 or anything for other keys. -1 for null or empty tables.
SORV_API int mph_recall(const void* key, MphHash hash, const unsigned* table, int size);
/// Stores a value in the key's slot. Returns 1; or 0, and nothing changes, when the slot is in use.
SORV_API int mph_insert(const void* key, MphHash hash, unsigned* table, int size, int value);
/// Adds `delta` to each entry above `threshold`, as unsigned numbers: values are renumbered. Empty slots and
/// displacements are above every threshold that is a value, and change, too.
SORV_API void mph_space(unsigned* table, int size, int threshold, int delta);

/// Builds a table in which the value of item i, 0 <= i < n, is i. The table has the size that `mph_prepare`
/// gives; if there is none of that size (in small tables the items may not fit), and unless `flags` forbid
/// it, larger ones are tried, up to `MPH_MAX_GROWTH` times as large. Stores the table and its size. Returns
/// 0; or -1, explained on the default reporter, and a null table, when no table was found, as with items that
/// hash alike with all seeds.
SORV_API int mph_build(int n, void* (*item)(int index, void* data), void* data, MphHash hash,
                       unsigned** table, int minSize, int* size, int flags);
SORV_API int mph_build(int n, void** items, MphHash hash, unsigned** table, int minSize, int* size,
                       int flags);

inline constexpr int MPH_MAX_GROWTH = 8;
