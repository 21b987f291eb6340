/// A pool of growable lists of 32-bit values, for building maps from millions of keys to mostly short lists.
///
/// A list is a block of 32-bit words: the number of its values, then the values. Blocks come in classes of
/// the capacities
///
///     class      0  1  2  3  4  5  6   7   8   9   10 ...
///     capacity   1  2  3  4  6  8  12  16  24  32  48 ...
///
/// and are carved from bulk heaps; those for lists of more than `LARGEST_CARVED` values are blocks of their
/// own. A block given back waits in its class's free list for the next list of the class. The class of a list
/// follows from its length, so that lists may be shortened by hand, but not lengthened.
///
/// Waste: capacities grow by a half and by a third in turn, so that more than two thirds of a grown list's
/// capacity are in use; the end of a bulk heap, at most 2048 words, stays unused.
///
/// Errors: memory exhaustion throws `std::bad_alloc` and leaves all lists as they were. Giving a list back
/// twice is not detected.
/// Thread safety: a pool and its lists belong to one thread at a time; lists that nobody changes may be read
/// by any number of threads.
#pragma once

#include "ace/ace_attach.h"
#include "ace/ace_dyn_array.h"
#include "ace/ace_types.h"

class SORV_API AceBulk : public AceAttach {
 public:
  static constexpr int NUM_CLASSES = 64;
  static constexpr int LARGEST_CARVED = 2048;
  static constexpr VInt MIN_BULK_SIZE = 10000;

  class List {
   public:
    Large count() const { return numValues; }
    Large* values() { return reinterpret_cast<Large*>(this) + 1; }
    const Large* values() const { return reinterpret_cast<const Large*>(this) + 1; }
    Large& operator[](Large index) { return values()[index]; }
    Large operator[](Large index) const { return values()[index]; }
    Large* begin() { return values(); }
    Large* end() { return values() + numValues; }
    const Large* begin() const { return values(); }
    const Large* end() const { return values() + numValues; }

    /// Orders lists by content: value by value as unsigned numbers, a list before its continuations.
    /// Negative, 0 or positive; null is an empty list.
    SORV_API static int cmp(const List* first, const List* second);
    /// Orders lists by their number of values alone.
    SORV_API static int cmp_len(const List* first, const List* second);

    Large numValues;  // the values follow
  };

  /// A list that knows no pool, seen as an array; empty without a list. The view owns nothing.
  class Array {
   public:
    explicit Array(List* list = nullptr) : viewedList(list) {}
    Large count() const { return viewedList != nullptr ? viewedList->count() : 0; }
    bool empty() const { return count() == 0; }
    Large& operator[](Large index) { return (*viewedList)[index]; }
    Large operator[](Large index) const { return viewedList->values()[index]; }
    Large* begin() { return viewedList != nullptr ? viewedList->begin() : nullptr; }
    Large* end() { return viewedList != nullptr ? viewedList->end() : nullptr; }
    const Large* begin() const { return viewedList != nullptr ? viewedList->values() : nullptr; }
    const Large* end() const { return viewedList != nullptr ? viewedList->values() + count() : nullptr; }
    List* get_list() const { return viewedList; }

   private:
    friend class AceBulk;
    List* viewedList;
  };

  /// `bulk_size`: words per bulk heap, moved into MIN_BULK_SIZE .. 2^31 - 1.
  explicit AceBulk(VInt bulk_size = MIN_BULK_SIZE);

  /// A list of `n` values, contents undefined; null for a negative `n`.
  List* get(int n);
  /// Gives the list back and clears the caller's reference; null is ignored.
  void put(List*& list);
  /// Appends one value; a null list becomes a list of that value. The list moves when its block is full.
  /// Returns 0, or -1 (the list unchanged) when it has as many values as an int can count.
  int inc(List*& list, Large value) {
    if (list == nullptr || !has_room(list)) return inc_with_move(list, value);
    list->values()[list->numValues++] = value;
    ++totalUsage;
    return 0;
  }

  // The same for views.
  Array& get(Array& array, int n);
  void put(Array& array) { put(array.viewedList); }
  int inc(Array& array, Large value) { return inc(array.viewedList, value); }

  /// Words in blocks made so far, the count words included, and values in lists now in use.
  VUint size() const { return totalAlloc; }
  VUint usage() const { return totalUsage; }
  /// Frees all lists.
  void clean();

 private:
  /// Whether the list's class also covers one more value.
  bool has_room(const List* list) const {
    const Large count = list->count();
    return count < static_cast<Large>(maxSize) && sizeMap[count] == sizeMap[count + 1];
  }
  int inc_with_move(List*& list, Large value);
  int class_of(int n);
  void widen_size_map(int n);
  List* carve(VInt words);

  int maxSize = 0;   // longest list that `sizeMap` knows
  int nextFree = 0;  // in words
  VInt bulkSize;
  VUint totalAlloc = 0;
  VUint totalUsage = 0;
  Large* bulkHeap = nullptr;
  DynArray<Tiny> sizeMap;  // class of each length
  VInt sizeArray[NUM_CLASSES];
  List* freeList[NUM_CLASSES] = {};
};
