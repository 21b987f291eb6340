/// Attaches and marks: memory that is released together.
///
/// An object that builds many small pieces (a result list, a parsed configuration) allocates them into one
/// `AceAttach` and frees them all at once by releasing it. Every block starts with a 16-byte header that is
/// itself an `AceMark`, the link of the attach's list, so that belonging to an attach costs nothing extra:
///
///     AceAttach            AceMark                AceMark
///     memList  ------->    memList  ---------->   memList (null)
///                          fromChunk              fromChunk
///                          payload ...            payload ...
///                          ^ what callers hold
///
/// The list is newest first. A producer hands its memory to a consumer by relinking headers (`acquire`,
/// `AceMerge::merge`), never by copying payloads.
///
/// Invariant: a block is in at most one list at a time; no function searches a list for a block.
/// Alignment: payloads are aligned to 8 bytes, no more.
/// Errors: memory exhaustion and impossible sizes throw `std::bad_alloc`.
/// Thread safety: an attach belongs to one thread at a time. Its blocks may have been allocated, and may be
/// freed, by any thread (see ace_admin.h).
#pragma once

#include <new>

#include "ace/ace_types.h"

class AceHead;
class AceMark;
struct AceChunk;

/// Owner of a newest-first list of blocks that are released together.
class SORV_API AceAttach {
 public:
  AceAttach() = default;
  AceAttach(const AceAttach&) = delete;
  AceAttach& operator=(const AceAttach&) = delete;
  ~AceAttach() { release(); }

  /// Block of `size` bytes, contents undefined, pushed at the front of the list. O(1).
  void* alloc(VInt size);
  /// The same with the first `size` bytes zeroed.
  void* calloc(VInt size);
  /// Block from a dedicated head (see `ace_head`); `calloc` zeroes the class's whole payload.
  void* alloc(AceHead* head);
  void* calloc(AceHead* head);
  /// Array of `count` elements, contents undefined, stored into `place` and returned.
  template <class T>
  T* malloc(T*& place, long count);

  /// Copy of `length` bytes of `text` with a terminator behind; a negative length means strlen(text).
  /// Null text gives null.
  char* attach(const char* text, VInt length = -1);
  /// Copy of `count` strings: one character block that holds them all, each terminated, then the array of
  /// pointers into it, which is returned. `lengths` may be null (the strings are measured). A null array or
  /// a negative count gives null; a null string is copied as an empty one.
  char** attach_arr(const char* const* texts, int count, const int* lengths);

  /// Pushes a mark, a block without payload, that stands for the present position in the list.
  AceMark* mark();
  /// Takes over every block of `other`, which becomes empty. The blocks are pushed one by one and so end up
  /// in reverse order in front of this attach's older ones. O(blocks of other). `other` must not be an
  /// `AceMerge`, which would lose its bottom mark: `AceMerge::merge` takes those.
  void acquire(AceAttach* other);
  /// Gives every block back. O(blocks).
  void release();
  /// Gives back the blocks behind `first` (from the front of the list if null) up to and including `last`
  /// (to the end if null). Returns 0.
  int release_between(AceMark* first, AceMark* last);
  /// Gives back what was allocated since `last` was made, and `last` itself.
  int release_before(AceMark* last) { return release_between(nullptr, last); }
  /// Gives back what was allocated before `first`, which stays; nothing when `first` is null.
  int release_after(AceMark* first) { return first != nullptr ? release_between(first, nullptr) : 0; }
  /// Always 1; kept for callers that assert on it.
  int verify() const { return 1; }

  /// First block of the list, the newest; null when empty.
  AceMark* memList = nullptr;
};

/// Header of every block, and link of whatever list the block is in.
///
/// Marks are made by the allocator over raw memory and never destroyed as objects: giving a block back is
/// relinking its header.
class SORV_API AceMark : public AceAttach {
 public:
  explicit AceMark(AceChunk* chunk) : fromChunk(chunk) {}

  /// The payload, directly behind the header.
  void* use_mem() { return this + 1; }
  /// The header of a payload.
  static AceMark* of(void* payload) { return static_cast<AceMark*>(payload) - 1; }

  /// The chunk the block was carved from; null for a block from the system heap.
  AceChunk* fromChunk;
};
static_assert(sizeof(AceMark) == 16, "the header is two words");

/// An attach that knows its oldest mark, so that a whole list is appended to another in O(1).
class SORV_API AceMerge : public AceAttach {
 public:
  AceMerge();
  AceMerge(const AceMerge&) = delete;
  AceMerge& operator=(const AceMerge&) = delete;
  ~AceMerge();

  AceMark* get_first() const { return firstMark; }
  /// Gives every block back and starts again with a fresh bottom mark.
  void release();
  /// Appends `other`'s whole list behind this list's bottom mark and gives `other` a fresh bottom. O(1).
  /// `other` must not be this object. Returns 0.
  int merge(AceMerge* other);

 protected:
  /// The oldest element of the list.
  AceMark* firstMark;
};

template <class T>
T* AceAttach::malloc(T*& place, long count) {
  static_assert(alignof(T) <= 8, "blocks are aligned to 8 bytes");
  long size = 0;
  // NOLINTNEXTLINE(bugprone-sizeof-expression): the elements may well be pointers
  if (__builtin_mul_overflow(count, static_cast<long>(sizeof(T)), &size)) throw std::bad_alloc();
  place = static_cast<T*>(alloc(size));
  return place;
}

/// `new (at) T(...)` allocates in an attach, or free-standing when `at` is null. The attach frees the memory
/// without calling the destructor.
SORV_API void* operator new(std::size_t size, AceAttach* at);
SORV_API void operator delete(void* memory, AceAttach* at) noexcept;
