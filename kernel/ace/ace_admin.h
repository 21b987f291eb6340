/// Administrators: the allocator instances behind attaches and free-standing blocks.
///
/// One administrator is static (`global_admin`); each registered thread has one of its own, which it uses
/// without locks. An administrator has a head per size class; a head carves equal blocks from chunks of
/// 64,000 bytes and takes returned blocks back on the list of the chunk they came from:
///
///     AceAdmin  sizeMap[payload size] --> AceHead  freeChunks <--> chunks of the class that have space
///               allChunks ------------------------------------> every chunk, full ones too
///               freeChunks -----------------------------------> empty chunks, for any head
///               foreignMark ----------------------------------> blocks that other threads gave back
///
/// With the usual limit of 2000 bytes the classes are 8, 16, 24, 32, 48, 64, 96, 128, 192, 256, 384, 512,
/// 768, 1024, 1536 and 2000 bytes, and one for marks. Larger requests go to the system heap.
///
/// Invariants: `chunk.numAlloc` counts its blocks handed out, `head.numAlloc` is their sum over the head's
/// chunks. A chunk is in a head's list, full, or in the pool of empty chunks. A chunk with a block in use
/// keeps its head, so that any thread may ask a block for its owner.
/// Cost: allocation and release of a small block are O(1), without lock and without system call; at most one
/// block per chunk is never used, and a class wastes at most a third of its payload.
/// Thread safety: an administrator belongs to one thread. Other threads only push blocks on `foreignMark`
/// (lock-free); they wait there until the owner terminates or `ace_release_thread_local_mem` runs.
///
/// Under AddressSanitizer the payloads of blocks that are not handed out, and the bytes of a payload behind
/// the requested size, are poisoned, so that use after free and overruns inside chunks are caught.
#pragma once

#include <array>
#include <limits>
#include <mutex>
#include <new>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

struct AceAdmin;
class AceReporter;

/// One slab of equal blocks. The fields in front of the heap share one cache line.
struct alignas(64) AceChunk {
  static constexpr int CHOP_BYTES = 4;
  static constexpr int NUM_CHOPS = 16000;

  AceMark* freeList;   ///< returned blocks, through their `memList`
  AceChunk* next;      ///< in the administrator's `allChunks`
  AceChunk* nextFree;  ///< in the head's list or in the pool; `full_marker()` when full
  AceChunk* prevFree;  ///< in the head's list; `full_marker()` while in the pool
  AceHead* memHead;    ///< the head this chunk serves
  void* invalidChunk;  ///< all ones; looked at by `is_consistent`
  int curChop;         ///< units not yet carved; blocks are carved from the top down
  int numAlloc;        ///< blocks handed out
  std::array<std::uint32_t, NUM_CHOPS> chunkHeap;

  static AceChunk* full_marker() { return reinterpret_cast<AceChunk*>(~std::uintptr_t{0}); }
  bool is_full() const { return nextFree == full_marker(); }
  void serve(AceHead* head);
  /// A new block from the units not yet carved; null when they are used up.
  inline AceMark* carve();
  /// Takes back `count` blocks linked from `first` to `last`; called by the owner only. O(1).
  inline void put(AceMark* first, AceMark* last, int count);
  /// The same for one block.
  void put(AceMark* block) { put(block, block, 1); }
  void join_head();
  void leave_head();
  /// Whether counters, free list and carving agree; for tests and debugging. O(blocks).
  SORV_API bool is_consistent();

 private:
  void make_available(int count);
};

/// One size class of one administrator.
class AceHead {
 public:
  /// Block size in 4-byte units, header included, for a payload of `size` bytes.
  static constexpr int get_chop(long size) {
    return static_cast<int>((size + 16 + 3) / AceChunk::CHOP_BYTES);
  }

  AceHead(AceAdmin* admin, const char* name, long size);

  AceHead* next;                   ///< in the administrator's `allHeads`
  AceChunk* freeChunks = nullptr;  ///< chunks of this class that still have space
  int chopSize;                    ///< block size in units
  int carveSize;                   ///< the same rounded up to even, so that every block is aligned to 8 bytes
  AceAdmin* globalAdmin;           ///< the owner
  const char* printName;           ///< kept, not copied
  Large inUse = 0;                 ///< filled only while statistics are taken
  int numAlloc = 0;                ///< blocks handed out
  int maxAlloc = 0;                ///< high-water mark of `numAlloc` at the last return of a block
  std::array<char, 16> ownName{};

  /// High-water mark of the blocks handed out. It is brought up to date when blocks come back, which
  /// happens in runs, rather than with each allocation.
  int get_max_alloc() const { return numAlloc > maxAlloc ? numAlloc : maxAlloc; }
  void take_back(int count) {
    maxAlloc = get_max_alloc();
    numAlloc -= count;
  }
  long payload() const { return static_cast<long>(chopSize) * AceChunk::CHOP_BYTES - 16; }
  /// A block from the first chunk that has space; null when that one is used up.
  inline AceMark* try_get();
  /// A block, if need be from another chunk.
  AceMark* get();

 private:
  void add_chunk();
};

/// One allocator instance. `global_admin` and parked instances need no destructor: chunks that still hold
/// blocks at exit are left to the system.
struct AceAdmin {
  AceAdmin* nextFree = nullptr;  ///< in the pool of parked administrators
  int maxSize = -1;              ///< largest payload from chunks; negative: chunks are off
  std::size_t numMapped = 0;     ///< sizes below this one are served by `sizeMap`; 0 while chunks are off
  AceHead** sizeMap = nullptr;   ///< |maxSize| + 1 heads by payload size, once initialised
  AceHead* allHeads = nullptr;
  AceChunk* allChunks = nullptr;
  AceChunk* freeChunks = nullptr;
  Large numMalloc = 0;   ///< blocks from the system heap
  Large numFree = 0;     ///< blocks given back to it
  Huge mallocSize = 0;   ///< payload bytes ever requested from it
  Huge warningSize = 0;  ///< larger system-heap requests are reported, if positive
  AceMark* volatile foreignMark = nullptr;
  int isActive = 0;  ///< a thread uses it
  int arrayMemCheck = 0;
  int typeMemCheck = 0;
  Token lastMark = 0;  ///< generation of the marks in `chunkMap`
  std::array<Token, AceChunk::NUM_CHOPS> chunkMap{};

  void init(int max_size);
  void debug(int max_size);
  /// The fast path: a block with a null `memList` if the first chunk of the class has one, else null.
  inline AceMark* try_get(std::size_t size);
  /// A block with a null `memList`.
  AceMark* get(std::size_t size);
  /// Gives a block back, whoever owns it.
  inline void put(AceMark* block);
  /// Gives back a list up to and including `last`, to its end when `last` is null or not in it.
  void mput(AceMark* list, const AceMark* last);
  AceHead* add_head(const char* name, long size);
  /// Takes back what other threads freed.
  void reclaim_foreign();
  /// Frees every chunk without a block in use.
  void clean();
  /// Frees the chunks, heads and map of an administrator without a block in use, and tells whether it was.
  bool dispose();
  void show(AceReporter* rep);

 private:
  AceMark* get_from_system(std::size_t size);
  void put_foreign(AceMark* block);
};

/// The pool of thread administrators.
struct ThreadAdminStack {
  int numAdmins = 0;
  int numFree = 0;
  AceAdmin* freeAdmins = nullptr;
  std::mutex threadAdminMutex;

  constexpr ThreadAdminStack() = default;
  ~ThreadAdminStack();

  AceAdmin* take();
  void park(AceAdmin* admin);
  void tidy();
};

extern AceAdmin global_admin;
extern constinit thread_local AceAdmin* thread_admin;

/// An administrator from the pool, for a thread that is about to start; throws `std::bad_alloc`. It goes to
/// the thread by `ace_alloc_adopt`, which counts as the thread's outermost registration, or back.
AceAdmin* ace_take_admin();
void ace_park_admin(AceAdmin* admin);
void ace_alloc_adopt(AceAdmin* admin);

/// Poisoning for AddressSanitizer; nothing in other builds.
void ace_poison(void* memory, long size);
void ace_unpoison(void* memory, long size);

#if defined(__SANITIZE_ADDRESS__)
#define ACE_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ACE_ADDRESS_SANITIZER 1
#endif
#endif
#ifdef ACE_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
inline void ace_poison(void* memory, long size) {
  __asan_poison_memory_region(memory, static_cast<std::size_t>(size));
}
inline void ace_unpoison(void* memory, long size) {
  __asan_unpoison_memory_region(memory, static_cast<std::size_t>(size));
}
#else
inline void ace_poison(void*, long) {}
inline void ace_unpoison(void*, long) {}
#endif

inline AceMark* AceChunk::carve() {
  const int chop = curChop - memHead->carveSize;
  if (chop <= 0) return nullptr;  // the lowest units, up to one block, are never carved
  curChop = chop;
  void* place = &chunkHeap[static_cast<std::size_t>(chop)];
  ace_unpoison(place, sizeof(AceMark));
  return ::new (place) AceMark(this);
}

inline AceMark* AceHead::try_get() {
  AceChunk* chunk = freeChunks;
  if (chunk == nullptr) [[unlikely]]
    return nullptr;
  AceMark* block = chunk->freeList;
  if (block != nullptr) {
    chunk->freeList = block->memList;
    block->memList = nullptr;
    __builtin_prefetch(chunk->freeList, 1);
  } else if (block = chunk->carve(); block == nullptr) {
    return nullptr;
  }
  ++chunk->numAlloc;
  ++numAlloc;
  ace_unpoison(block->use_mem(), payload());
  return block;
}

inline void AceChunk::put(AceMark* first, AceMark* last, int count) {
  last->memList = freeList;
  freeList = first;
  memHead->take_back(count);
  numAlloc -= count;
  if (numAlloc == 0 || is_full()) [[unlikely]]
    make_available(count);
}

inline AceMark* AceAdmin::try_get(std::size_t size) {
  if (size >= numMapped) [[unlikely]]
    return nullptr;
  AceHead* head = sizeMap[size];
  AceMark* block = head->try_get();
  if (block != nullptr)
    ace_poison(static_cast<char*>(block->use_mem()) + size, head->payload() - static_cast<long>(size));
  return block;
}

inline void AceAdmin::put(AceMark* block) {
  AceChunk* chunk = block->fromChunk;
  if (chunk != nullptr && chunk->memHead->globalAdmin == this) [[likely]] {
    ace_poison(block->use_mem(), chunk->memHead->payload());
    chunk->put(block);
  } else {
    put_foreign(block);
  }
}
