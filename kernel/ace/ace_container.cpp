#include "ace/ace_container.h"

#include <algorithm>
#include <limits>
#include <new>

#include "ace/ace_alloc.h"

namespace {

constexpr VInt UNIT = 8;
constexpr VInt MAX_SIZE = std::numeric_limits<VInt>::max() / 4;

VInt rounded_up(VInt size) {
  return (size + UNIT - 1) / UNIT * UNIT;
}

}  // namespace

/// Start of a heap; the pieces follow.
struct AceContainer::Heap {
  Heap* prevHeap;
};

AceContainer::AceContainer(VInt initial)
    : heapSize((std::clamp(initial, VInt{0}, MAX_SIZE) + 15) / UNIT * UNIT) {}

/// Makes a heap that has room for `size` bytes; says whether there is one.
bool AceContainer::add_heap(VInt size) {
  const bool startsHere = currHeap == nullptr && size <= heapSize - VInt{sizeof(Heap)};
  const VInt newSize = !startsHere && heapSize <= LAST_DOUBLED ? 2 * heapSize : heapSize;
  if (size > newSize - VInt{sizeof(Heap)}) return false;
  try {
    currHeap = new (ace_alloc(static_cast<std::size_t>(newSize))) Heap{currHeap};
  } catch (const std::bad_alloc&) {
    return false;
  }
  heapSize = newSize;
  nextFree = newSize;
  return true;
}

void* AceContainer::get(VInt size) {
  if (size < 0 || size > MAX_SIZE) return nullptr;
  size = rounded_up(size);
  if ((currHeap == nullptr || size > nextFree - VInt{sizeof(Heap)}) && !add_heap(size)) return nullptr;
  nextFree -= size;
  usedSize += size;
  return reinterpret_cast<char*>(currHeap) + nextFree;
}

int AceContainer::unget(VInt size) {
  if (currHeap == nullptr || size < 0 || size > heapSize || rounded_up(size) > heapSize - nextFree) return -1;
  nextFree += rounded_up(size);
  usedSize -= rounded_up(size);
  return 0;
}

void AceContainer::release() {
  while (currHeap != nullptr) {
    Heap* previous = currHeap->prevHeap;
    ace_delete(currHeap);
    currHeap = previous;
  }
  nextFree = 0;
  usedSize = 0;
}
