#include "ace/ace_bulk.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace {

constexpr VInt MAX_LENGTH = std::numeric_limits<int>::max();
constexpr std::size_t LINK_SIZE = sizeof(void*);  // two words, the size of the smallest block
static_assert(LINK_SIZE == 2 * sizeof(Large));

/// A block in a free list holds the address of the next one in its first two words, unaligned.
AceBulk::List* next_free(const AceBulk::List* list) {
  AceBulk::List* next = nullptr;
  std::memcpy(&next, static_cast<const void*>(list), LINK_SIZE);
  return next;
}

void set_next_free(AceBulk::List* list, AceBulk::List* next) {
  std::memcpy(static_cast<void*>(list), &next, LINK_SIZE);
}

Large length_of(const AceBulk::List* list) {
  return list != nullptr ? list->count() : 0;
}

int sign(bool is_less) {
  return is_less ? -1 : 1;
}

}  // namespace

int AceBulk::List::cmp(const List* first, const List* second) {
  const Large common = std::min(length_of(first), length_of(second));
  for (Large i = 0; i < common; ++i)
    if ((*first)[i] != (*second)[i]) return sign((*first)[i] < (*second)[i]);
  return cmp_len(first, second);
}

int AceBulk::List::cmp_len(const List* first, const List* second) {
  const Large firstLength = length_of(first);
  const Large secondLength = length_of(second);
  return firstLength == secondLength ? 0 : sign(firstLength < secondLength);
}

AceBulk::AceBulk(VInt bulk_size) : bulkSize(std::clamp(bulk_size, MIN_BULK_SIZE, MAX_LENGTH)) {
  sizeArray[0] = 1;
  sizeArray[1] = 2;
  sizeArray[2] = 3;
  sizeArray[3] = 4;
  for (int i = 4; i < NUM_CLASSES; ++i) sizeArray[i] = 2 * sizeArray[i - 2];
  widen_size_map(LARGEST_CARVED);
}

/// Raises `maxSize` to the capacity of the class of `n`, as far as an int reaches.
void AceBulk::widen_size_map(int n) {
  const auto* capacity = std::lower_bound(sizeArray, sizeArray + NUM_CLASSES, VInt{n});
  const int newSize = static_cast<int>(std::min(*capacity, MAX_LENGTH));
  const Large oldFill = sizeMap.get_fill();
  if (sizeMap.size(static_cast<Large>(newSize) + 1) < 0) throw std::bad_alloc();
  Tiny sizeClass = oldFill > 0 ? sizeMap[oldFill - 1] : Tiny{0};
  for (Large length = oldFill; length < sizeMap.get_fill(); ++length) {
    while (sizeArray[sizeClass] < VInt{length}) ++sizeClass;
    sizeMap[length] = sizeClass;
  }
  maxSize = newSize;
}

int AceBulk::class_of(int n) {
  if (n > maxSize) widen_size_map(n);
  return sizeMap[static_cast<Large>(n)];
}

AceBulk::List* AceBulk::carve(VInt words) {
  if (bulkHeap == nullptr || bulkSize - nextFree < words) {
    malloc(bulkHeap, bulkSize);
    nextFree = 0;
  }
  auto* list = reinterpret_cast<List*>(bulkHeap + nextFree);
  nextFree += static_cast<int>(words);
  return list;
}

AceBulk::List* AceBulk::get(int n) {
  if (n < 0) return nullptr;
  const int sizeClass = class_of(n);
  const VInt words = sizeArray[sizeClass] + 1;
  List* list = freeList[sizeClass];
  if (list != nullptr) {
    freeList[sizeClass] = next_free(list);
  } else {
    list = n > LARGEST_CARVED ? static_cast<List*>(alloc(words * VInt{sizeof(Large)})) : carve(words);
    totalAlloc += static_cast<VUint>(words);
  }
  list->numValues = static_cast<Large>(n);
  totalUsage += static_cast<VUint>(n);
  return list;
}

void AceBulk::put(List*& list) {
  if (list == nullptr) return;
  totalUsage -= list->count();
  List*& first = freeList[class_of(static_cast<int>(list->count()))];
  set_next_free(list, first);
  first = list;
  list = nullptr;
}

int AceBulk::inc_with_move(List*& list, Large value) {
  const Large count = length_of(list);
  if (VInt{count} >= MAX_LENGTH) return -1;
  List* longer = get(static_cast<int>(count) + 1);
  if (list != nullptr) std::memcpy(longer->values(), list->values(), std::size_t{count} * sizeof(Large));
  put(list);
  list = longer;
  (*list)[count] = value;
  return 0;
}

AceBulk::Array& AceBulk::get(Array& array, int n) {
  array.viewedList = get(n);
  return array;
}

void AceBulk::clean() {
  release();
  std::fill(freeList, freeList + NUM_CLASSES, nullptr);
  bulkHeap = nullptr;
  nextFree = 0;
  totalAlloc = 0;
  totalUsage = 0;
}
