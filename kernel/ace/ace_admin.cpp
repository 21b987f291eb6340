#include "ace/ace_admin.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "ace/ace_alloc.h"
#include "ace/ace_reporter.h"
#include "ace/ace_timer.h"

constinit AceAdmin global_admin;
constinit thread_local AceAdmin* thread_admin = &global_admin;

namespace {

constexpr int MIN_LIMIT = 64;
constexpr int EXIT_TRIES = 10;
constexpr double EXIT_WAIT_SECONDS = 0.1;

/// The class sizes after 8: powers of two and one and a half times powers of two.
constexpr int next_class_size(int size) {
  const bool isPowerOfTwo = (size & (size - 1)) == 0;
  return isPowerOfTwo ? size / 2 * 3 : size / 3 * 4;
}
static_assert(next_class_size(16) == 24 && next_class_size(24) == 32 && next_class_size(1536) == 2048);

}  // namespace

// ---------------------------------------------------------------- chunks
// A class's list has its chunks with free blocks, and may begin with a full one; empty chunks are the
// administrator's.

/// An empty chunk is carved anew rather than keeping its returned blocks: carving writes memory in one
/// direction and reads nothing, where a list of returned blocks is walked in the order of their return.
void AceChunk::serve(AceHead* head) {
  freeList = nullptr;
  memHead = head;
  curChop = NUM_CHOPS;
  numAlloc = 0;
  ace_poison(chunkHeap.data(), sizeof(chunkHeap));
}

void AceChunk::join_head() {
  prevFree = nullptr;
  nextFree = memHead->freeChunks;
  if (nextFree != nullptr) nextFree->prevFree = this;
  memHead->freeChunks = this;
}

void AceChunk::leave_head() {
  (prevFree != nullptr ? prevFree->nextFree : memHead->freeChunks) = nextFree;
  if (nextFree != nullptr) nextFree->prevFree = prevFree;
}

/// `count` blocks came back: to a full chunk, or the last ones in use.
void AceChunk::make_available(int count) {
  if (is_full()) {
    join_head();
    if (count == 1) return;  // of a class with one block per chunk: ready for the next request
  }
  if (numAlloc > 0) return;
  leave_head();
  AceAdmin* admin = memHead->globalAdmin;
  prevFree = full_marker();
  nextFree = admin->freeChunks;
  admin->freeChunks = this;
}

bool AceChunk::is_consistent() {
  if (invalidChunk != full_marker()) return false;
  AceAdmin* admin = memHead->globalAdmin;
  if (++admin->lastMark == 0) {
    admin->chunkMap.fill(0);
    admin->lastMark = 1;
  }
  const int carved = NUM_CHOPS - curChop;
  if (curChop < 0 || carved < 0 || carved % memHead->carveSize != 0) return false;
  int numReturned = 0;
  for (AceMark* block = freeList; block != nullptr; block = block->memList) {
    const long offset = reinterpret_cast<char*>(block) - reinterpret_cast<char*>(chunkHeap.data());
    const long chop = offset / CHOP_BYTES;
    if (offset < 0 || chop < curChop || chop >= NUM_CHOPS || (NUM_CHOPS - chop) % memHead->carveSize != 0 ||
        block->fromChunk != this)
      return false;
    Token& seen = admin->chunkMap[static_cast<std::size_t>(chop)];
    if (seen == admin->lastMark) return false;  // returned twice
    seen = admin->lastMark;
    ++numReturned;
  }
  return numReturned + numAlloc == carved / memHead->carveSize;
}

// ---------------------------------------------------------------- heads
// A class takes an empty chunk of any class before it asks the system for one.

AceHead::AceHead(AceAdmin* admin, const char* name, long size)
    : next(admin->allHeads),
      chopSize(get_chop(size)),
      carveSize((chopSize + 1) & ~1),
      globalAdmin(admin),
      printName(name) {
  admin->allHeads = this;
}

AceMark* AceHead::get() {
  for (;;) {
    if (AceMark* block = try_get(); block != nullptr) return block;
    if (AceChunk* chunk = freeChunks; chunk != nullptr) {  // it is full
      freeChunks = chunk->nextFree;
      if (freeChunks != nullptr) freeChunks->prevFree = nullptr;
      chunk->nextFree = AceChunk::full_marker();
    }
    if (freeChunks == nullptr) add_chunk();
  }
}

void AceHead::add_chunk() {
  AceChunk* chunk = globalAdmin->freeChunks;
  if (chunk != nullptr) {
    globalAdmin->freeChunks = chunk->nextFree;
  } else {
    void* memory = std::aligned_alloc(alignof(AceChunk), sizeof(AceChunk));
    if (memory == nullptr) throw std::bad_alloc();
    chunk = static_cast<AceChunk*>(memory);  // the heap stays untouched until it is carved
    chunk->memHead = nullptr;
    chunk->invalidChunk = AceChunk::full_marker();
    chunk->next = globalAdmin->allChunks;
    globalAdmin->allChunks = chunk;
  }
  chunk->serve(this);
  chunk->join_head();
}

// ---------------------------------------------------------------- administrators
// Sizes below the limit lead to their class by one look into an array; others are the system's.

void AceAdmin::init(int max_size) {
  if (max_size <= 0) {
    maxSize = maxSize > 0 ? -maxSize : std::min(maxSize, -1);
    numMapped = 0;
    return;
  }
  if (maxSize > 0) return;
  if (sizeMap != nullptr) {
    maxSize = -maxSize;
    numMapped = static_cast<std::size_t>(maxSize) + 1;
    return;
  }
  const int limit = std::clamp(max_size, MIN_LIMIT, ACE_MAX_CHUNK_PAYLOAD);
  auto map = std::make_unique<AceHead*[]>(static_cast<std::size_t>(limit) + 1);
  map[0] = add_head("marks", 0);
  map[8] = add_head("normal", 8);
  for (int size = 16; size < limit; size = next_class_size(size))
    map[static_cast<std::size_t>(size)] = add_head("normal", size);
  map[static_cast<std::size_t>(limit)] = add_head("maximum", limit);
  for (auto size = static_cast<std::size_t>(limit) - 1; size >= 1; --size)
    if (map[size] == nullptr) map[size] = map[size + 1];
  sizeMap = map.release();
  maxSize = limit;
  numMapped = static_cast<std::size_t>(limit) + 1;
}

void AceAdmin::debug(int max_size) {
  if (max_size <= 1 || maxSize <= 2) return;
  const int last = std::min(max_size, maxSize - 1);
  for (int size = 1; size <= last; ++size) {
    AceHead*& entry = sizeMap[size];
    if (entry != sizeMap[size + 1]) continue;
    AceHead* head = add_head(nullptr, size);
    std::snprintf(head->ownName.data(), head->ownName.size(), "debug%04d", size);
    head->printName = head->ownName.data();
    entry = head;
  }
}

AceHead* AceAdmin::add_head(const char* name, long size) {
  return new AceHead(this, name, size);
}

AceMark* AceAdmin::get(std::size_t size) {
  if (size >= numMapped) return get_from_system(size);
  AceHead* head = sizeMap[size];
  AceMark* block = head->get();
  ace_poison(static_cast<char*>(block->use_mem()) + size, head->payload() - static_cast<long>(size));
  return block;
}

AceMark* AceAdmin::get_from_system(std::size_t size) {
  constexpr std::size_t LARGEST = std::numeric_limits<std::ptrdiff_t>::max() - sizeof(AceMark);
  if (size > LARGEST) throw std::bad_alloc();  // a negative size, too
  if (warningSize > 0 && size > static_cast<std::size_t>(warningSize))
    AceReporter::use_default()->ev_wprintf("Allocation of %ld bytes crossing limit of %ld bytes!\n",
                                           static_cast<long>(size), warningSize);
  void* memory = std::malloc(size + sizeof(AceMark));
  if (memory == nullptr) throw std::bad_alloc();
  ++numMalloc;
  mallocSize += static_cast<Huge>(size);
  return ::new (memory) AceMark(nullptr);
}

/// The rare paths of `put`: a block of the system heap, or of another administrator.
void AceAdmin::put_foreign(AceMark* block) {
  if (block->fromChunk == nullptr) {
    ++numFree;
    std::free(block);
    return;
  }
  AceAdmin* owner = block->fromChunk->memHead->globalAdmin;
  ace_poison(block->use_mem(), block->fromChunk->memHead->payload());
  AceMark* top = __atomic_load_n(&owner->foreignMark, __ATOMIC_RELAXED);
  do {
    block->memList = top;
  } while (!__atomic_compare_exchange_n(&owner->foreignMark, &top, block, true, __ATOMIC_RELEASE,
                                        __ATOMIC_RELAXED));
}

/// Neighbours in a list mostly come from one chunk: a run of them goes back at once, already linked, so that
/// its blocks are read and not written.
void AceAdmin::mput(AceMark* list, const AceMark* last) {
  while (list != nullptr) {
    AceMark* first = list;
    AceMark* end = first;
    AceChunk* chunk = first->fromChunk;
    int count = 1;
    if (chunk != nullptr && chunk->memHead->globalAdmin == this) {
      ace_poison(first->use_mem(), chunk->memHead->payload());
      for (; end != last && end->memList != nullptr && end->memList->fromChunk == chunk; ++count) {
        end = end->memList;
        ace_poison(end->use_mem(), chunk->memHead->payload());
      }
      list = end->memList;
      chunk->put(first, end, count);
    } else {
      list = first->memList;
      put_foreign(first);
    }
    if (end == last) break;
  }
}

void AceAdmin::reclaim_foreign() {
  AceMark* blocks = __atomic_exchange_n(&foreignMark, nullptr, __ATOMIC_ACQUIRE);
  while (blocks != nullptr) {
    AceMark* block = blocks;
    blocks = block->memList;
    block->fromChunk->put(block);  // poisoned when it was freed
  }
}

void AceAdmin::clean() {
  freeChunks = nullptr;
  AceChunk** link = &allChunks;
  while (*link != nullptr) {
    AceChunk* chunk = *link;
    if (chunk->numAlloc > 0) {
      link = &chunk->next;
      continue;
    }
    // A chunk that was full when its last block came back is empty and yet in its head's list.
    if (chunk->prevFree != AceChunk::full_marker()) chunk->leave_head();
    *link = chunk->next;
    ace_unpoison(chunk->chunkHeap.data(), sizeof(chunk->chunkHeap));
    std::free(chunk);
  }
}

bool AceAdmin::dispose() {
  reclaim_foreign();
  clean();
  if (allChunks != nullptr) return false;
  while (allHeads != nullptr) {
    AceHead* head = allHeads;
    allHeads = head->next;
    delete head;
  }
  delete[] sizeMap;
  sizeMap = nullptr;
  numMapped = 0;
  maxSize = -1;
  return true;
}

void AceAdmin::show(AceReporter* rep) {
  rep->printf("No debug info for malloc ready\n");
  int numChunks = 0;
  int numUsed = 0;
  for (AceChunk* chunk = allChunks; chunk != nullptr; chunk = chunk->next) {
    ++numChunks;
    if (chunk->numAlloc == 0) continue;
    ++numUsed;
    chunk->memHead->inUse += static_cast<Large>(chunk->numAlloc);
  }
  for (AceHead* head = allHeads; head != nullptr; head = head->next) {
    if (head->inUse == 0) continue;
    rep->printf("HEAD\t%s\tsize:\t%d\tin use:\t%d\tmax:\t%d\n", head->printName,
                static_cast<int>(head->payload()), static_cast<int>(head->inUse), head->get_max_alloc());
    head->inUse = 0;
  }
  rep->printf("SYSTEM\t%ld\tbytes\t%d\tmallocs\t%d\tfrees\t(%d resident)\n", mallocSize,
              static_cast<int>(numMalloc), static_cast<int>(numFree), static_cast<int>(numMalloc - numFree));
  // Adding up the bytes would mean to walk every block; the figure is left out and printed as 0.
  rep->printf("ACEMEM\t%d\tbytes in use\t%d\tblocks out of\t%d\ttotal\n", 0, numUsed, numChunks);
}

// ---------------------------------------------------------------- thread administrators
// The administrator of a thread that has ended, with all its chunks, is the next thread's.

AceAdmin* ThreadAdminStack::take() {
  const std::scoped_lock lock(threadAdminMutex);
  AceAdmin* admin = freeAdmins;
  if (admin != nullptr) {
    freeAdmins = admin->nextFree;
    --numFree;
  } else {
    auto made = std::make_unique<AceAdmin>();
    if (global_admin.maxSize > 0) made->init(global_admin.maxSize);
    admin = made.release();
    ++numAdmins;
  }
  admin->nextFree = nullptr;
  admin->isActive = 1;
  return admin;
}

void ThreadAdminStack::park(AceAdmin* admin) {
  const std::scoped_lock lock(threadAdminMutex);
  admin->isActive = 0;
  admin->nextFree = freeAdmins;
  freeAdmins = admin;
  ++numFree;
}

void ThreadAdminStack::tidy() {
  const std::scoped_lock lock(threadAdminMutex);
  for (AceAdmin* admin = freeAdmins; admin != nullptr; admin = admin->nextFree) {
    admin->reclaim_foreign();
    admin->clean();
  }
  if (numFree == numAdmins) global_admin.reclaim_foreign();
}

/// At exit threads may still be winding down: waits a moment for them, then deletes the administrators if all
/// are parked. One that still has blocks in use is kept, for blocks may be given back later than this.
ThreadAdminStack::~ThreadAdminStack() {
  for (int attempt = 0; attempt < EXIT_TRIES; ++attempt) {
    {
      const std::scoped_lock lock(threadAdminMutex);
      if (numFree == numAdmins) {
        while (freeAdmins != nullptr) {
          AceAdmin* admin = freeAdmins;
          freeAdmins = admin->nextFree;
          --numFree;
          --numAdmins;
          if (admin->dispose()) delete admin;
        }
        return;
      }
    }
    AceTimer::sleep(EXIT_WAIT_SECONDS);
  }
}
