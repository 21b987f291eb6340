/// A bump allocator: many pieces of memory that are freed together, without a header for each.
///
/// Pieces are handed out downwards from the top of the current heap, whose first word links to the heap
/// before it. When a heap has no room left, the next one is twice as large, as long as the old one had at
/// most `LAST_DOUBLED` bytes; what was left of the old heap stays unused. The first heap, too, is twice as
/// large as planned when its first piece needs that.
///
/// Thread safety: belongs to one thread at a time.
#pragma once

#include "ace/ace_types.h"

class SORV_API AceContainer {
 public:
  static constexpr VInt LAST_DOUBLED = 9999999;

  /// The first heap has room for pieces of `initial` bytes in all; it is made at the first request.
  explicit AceContainer(VInt initial);
  AceContainer(const AceContainer&) = delete;
  AceContainer& operator=(const AceContainer&) = delete;
  ~AceContainer() { release(); }

  /// `size` bytes, rounded up to a multiple of 8 and aligned to 8, contents undefined. Null for a negative
  /// size, for one that a new heap would have no room for, and when memory is refused.
  void* get(VInt size);
  /// Gives the most recent piece, of `size` bytes, back. Returns 0, or -1 when the current heap has not that
  /// much in use.
  int unget(VInt size);
  /// Bytes of all pieces in use, each rounded up to a multiple of 8.
  VInt used_mem() const { return usedSize; }
  /// Frees all heaps. The size that heaps have grown to is kept for the next one.
  void release();

 private:
  struct Heap;
  bool add_heap(VInt size);

  VInt heapSize;      // of the current heap, its link included
  VInt nextFree = 0;  // lowest position handed out in the current heap
  Heap* currHeap = nullptr;
  VInt usedSize = 0;
};
