/// Growable arrays, stacks and queues of plain values.
///
/// Elements are copied and zeroed as bytes, so `T` must be trivially copyable (numbers, pointers, plain
/// structs). Growing moves them: pointers and references to elements last until the next growth.
///
/// Cost: amortised O(1) per element; the capacity at least doubles when it is exceeded.
/// Errors: `size` returns -1 when memory is refused and leaves the array as it was; everything else that
/// grows throws `std::bad_alloc` then. Indexes, and taking from an empty stack or queue, are checked by
/// assertions where these are on; without them an empty stack or queue gives `T()`.
/// Thread safety: belongs to one thread at a time.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

#include "ace/ace_alloc.h"
#include "ace/ace_types.h"

/// An array with a size and a capacity; the elements behind the size do not exist yet.
template <class T>
class DynArray {
  static_assert(std::is_trivially_copyable_v<T>, "elements are moved as bytes");
  static_assert(alignof(T) <= 8, "blocks are aligned to 8 bytes");

 public:
  /// Capacity `initial`, size 0.
  explicit DynArray(Large initial = 0) {
    if (reserve(initial) < 0) throw std::bad_alloc();
  }
  DynArray(const DynArray&) = delete;
  DynArray& operator=(const DynArray&) = delete;
  ~DynArray() { ace_delete(elemArray); }

  /// Grows the array to `n` elements, the new ones zero; never shrinks it. Returns 0, or -1 when memory is
  /// refused.
  int size(Large n);
  /// The capacity and the present size.
  Large get_mem() const { return allocatedMem; }
  Large get_fill() const { return maxIndex; }
  /// Size 0; the memory is kept.
  void clear() { maxIndex = 0; }
  /// Elements 0..get_fill()-1.
  T& operator[](Large index) {
    assert(index < maxIndex);
    return elemArray[index];
  }
  const T& operator[](Large index) const {
    assert(index < maxIndex);
    return elemArray[index];
  }

 protected:
  /// `size` for those that throw.
  void grow(Large n) {
    if (size(n) < 0) throw std::bad_alloc();
  }
  /// Twice `n`, as far as a `Large` reaches; more than `n` unless that is the end of all sizes.
  static Large twice(Large n) {
    constexpr Large LAST = std::numeric_limits<Large>::max();
    return n > LAST / 2 ? LAST : std::max<Large>(2 * n, 1);
  }

  Large allocatedMem = 0;
  Large maxIndex = 0;
  T* elemArray = nullptr;

 private:
  int reserve(Large capacity);
};

/// A stack; the top element is the last one.
template <class T>
class DynStack : public DynArray<T> {
 public:
  using DynArray<T>::DynArray;

  void push(T value);
  /// Takes the top element off.
  T pop() {
    assert(topPos > 0);
    return topPos > 0 ? this->elemArray[--topPos] : T();
  }
  T get_top() const {
    assert(topPos > 0);
    return topPos > 0 ? this->elemArray[topPos - 1] : T();
  }
  bool empty() const { return topPos == 0; }
  Large get_size() const { return topPos; }
  void clear() { topPos = 0; }

 protected:
  Large topPos = 0;  // number of elements on the stack
};

/// A queue in a ring: the elements stand from `output` on, in the order in which they come out, and go on at
/// the front of the array behind its end.
template <class T>
class DynQueue : public DynArray<T> {
 public:
  using DynArray<T>::DynArray;

  void append(T value);
  /// Takes the oldest element out.
  T fetch();
  /// The element that `fetch` would give.
  T next() const {
    assert(filled > 0);
    return filled > 0 ? this->elemArray[output] : T();
  }
  Large count() const { return filled; }
  bool empty() const { return filled == 0; }
  void clear() { input = output = filled = 0; }

 private:
  Large after(Large pos) const { return pos + 1 == this->maxIndex ? 0 : pos + 1; }
  void widen();

  Large input = 0;   // where the next element goes
  Large output = 0;  // the oldest element
  Large filled = 0;
};

template <class T>
int DynArray<T>::reserve(Large capacity) {
  std::size_t bytes = 0;
  // NOLINTNEXTLINE(bugprone-sizeof-expression): the elements may well be pointers
  if (__builtin_mul_overflow(std::size_t{capacity}, sizeof(T), &bytes)) return -1;
  if (bytes == 0) return 0;
  T* grown = nullptr;
  try {
    grown = static_cast<T*>(ace_alloc(bytes));
  } catch (const std::bad_alloc&) {
    return -1;
  }
  // NOLINTNEXTLINE(bugprone-sizeof-expression): the elements may well be pointers
  if (maxIndex > 0) std::memcpy(static_cast<void*>(grown), elemArray, maxIndex * sizeof(T));
  ace_delete(elemArray);
  elemArray = grown;
  allocatedMem = capacity;
  return 0;
}

template <class T>
int DynArray<T>::size(Large n) {
  if (n <= maxIndex) return 0;
  if (n > allocatedMem && reserve(std::max(twice(allocatedMem), n)) < 0) return -1;
  // NOLINTNEXTLINE(bugprone-sizeof-expression): the elements may well be pointers
  std::memset(static_cast<void*>(elemArray + maxIndex), 0, (n - maxIndex) * sizeof(T));
  maxIndex = n;
  return 0;
}

template <class T>
void DynStack<T>::push(T value) {
  if (topPos == this->maxIndex) {
    if (topPos == std::numeric_limits<Large>::max()) throw std::bad_alloc();
    this->grow(topPos + 1);
  }
  this->elemArray[topPos++] = value;
}

template <class T>
void DynQueue<T>::append(T value) {
  if (filled == this->maxIndex) widen();
  this->elemArray[input] = value;
  input = after(input);
  ++filled;
}

template <class T>
T DynQueue<T>::fetch() {
  assert(filled > 0);
  if (filled == 0) return T();
  const T value = this->elemArray[output];
  output = after(output);
  --filled;
  return value;
}

/// Doubles a full ring. The elements from `output` to the old end move to the new end, so that the gap opens
/// at `input`.
template <class T>
void DynQueue<T>::widen() {
  const Large oldSize = this->maxIndex;
  if (oldSize == std::numeric_limits<Large>::max()) throw std::bad_alloc();
  this->grow(std::max(this->allocatedMem, this->twice(oldSize)));
  if (filled == 0) return;
  T* array = this->elemArray;
  const Large numMoved = oldSize - output;
  const Large newOutput = this->maxIndex - numMoved;
  // NOLINTNEXTLINE(bugprone-sizeof-expression): the elements may well be pointers
  std::memmove(static_cast<void*>(array + newOutput), array + output, numMoved * sizeof(T));
  output = newOutput;
}
