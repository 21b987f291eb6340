/// Binary heaps: the smallest element first.
///
/// The element at position p stands above those at 2p + 1 and 2p + 2, and is not greater than either. With
/// equal elements the order of removal is fixed by the order of operations: a new element rises while the
/// one above it is greater; a sinking element goes below the smaller of two, the first of two equal ones,
/// and stops where it is not greater.
///
/// The heap is also an attach, for what its elements point to.
///
/// Cost: O(log n) per change, O(1) for `get_min`, O(n log n) for `sort`.
/// Errors and thread safety: as `DynStack`; taking from an empty heap is checked like taking from an empty
/// stack.
/// Source: J. W. J. Williams, Algorithm 232, Comm. ACM 7(6), 1964.
#pragma once

#include <utility>

#include "ace/ace_attach.h"
#include "ace/ace_dyn_array.h"
#include "ace/ace_types.h"

class AceReporter;

/// Writes the text of element `pos` into `buffer`, cut to `size` bytes with the terminator.
using HeapElementText = void(const void* heap, Large pos, char* buffer, std::size_t size);

/// Prints a heap of `card` elements on `rep`, one line per element in the order of positions, indented by
/// two blanks for each level below the top: "<position>: <element>". Returns 0.
SORV_API int vheap_write(AceReporter* rep, const void* heap, Large card, HeapElementText* element_text);
/// The texts of simple elements.
SORV_API void heap_text(long value, char* buffer, std::size_t size);
SORV_API void heap_text(unsigned long value, char* buffer, std::size_t size);
SORV_API void heap_text(double value, char* buffer, std::size_t size);
SORV_API void heap_text(const volatile void* value, char* buffer, std::size_t size);

/// Moves the element at `pos` up to where the one above it is not greater.
template <class T, class Compare>
constexpr void heap_rise(T* heap, Large pos, Compare compare) {
  const T value = heap[pos];
  while (pos > 0) {
    const Large above = (pos - 1) / 2;
    if (compare(heap[above], value) <= 0) break;
    heap[pos] = heap[above];
    pos = above;
  }
  heap[pos] = value;
}

/// Moves the element at `pos`, of `count`, down to where none below it is smaller.
template <class T, class Compare>
constexpr void heap_sink(T* heap, Large pos, Large count, Compare compare) {
  if (count < 2) return;
  const T value = heap[pos];
  while (pos < count / 2) {  // there is an element below
    Large below = 2 * pos + 1;
    if (below + 1 < count && compare(heap[below], heap[below + 1]) > 0) ++below;
    if (compare(value, heap[below]) <= 0) break;
    heap[pos] = heap[below];
    pos = below;
  }
  heap[pos] = value;
}

template <class T>
class DynHeap : public AceAttach, public DynStack<T> {
 public:
  /// Negative, 0 or positive as the first element is smaller than, equal to or greater than the second.
  using HeapCompare = int (*)(T, T);

  explicit DynHeap(HeapCompare compare, Large initial = 0) : DynStack<T>(initial), cmp(compare) {}

  void push(T value);
  void insert(T value) { push(value); }
  /// The smallest element.
  T get_min() const;
  /// Takes the smallest element out.
  T del_min();
  /// `del_min` and `push` in one step. Returns the element taken out; an empty heap gives `T()`.
  T replace_min(T value);
  /// To be called when the smallest element, changed from outside, may no longer be the smallest.
  void demote_min() { update(0); }
  /// To be called when the element at position `pos` of the array was changed from outside.
  void update(Large pos);
  /// To be called when any elements were changed from outside. O(n).
  void update();
  void del_all() { this->clear(); }
  /// The number of elements.
  Large card() const { return this->topPos; }
  /// Puts the whole array into ascending order, which is still a heap.
  void sort();
  /// The `card()` elements by position, until the heap grows.
  T* get_array() { return this->elemArray; }
  const T* get_array() const { return this->elemArray; }
  /// Prints the elements (numbers and pointers as they are, others as "?"), see `vheap_write`. Returns 0.
  int write(AceReporter* rep) const;

 private:
  // The last element of the array is no particular one.
  using DynStack<T>::pop;
  using DynStack<T>::get_top;
  using DynArray<T>::size;

  void rise(Large pos);
  void sink(Large pos, Large count);

  HeapCompare cmp;
};

template <class T>
void DynHeap<T>::push(T value) {
  DynStack<T>::push(value);
  rise(card() - 1);
}

template <class T>
T DynHeap<T>::get_min() const {
  assert(card() > 0);
  return card() > 0 ? this->elemArray[0] : T();
}

template <class T>
T DynHeap<T>::del_min() {
  assert(card() > 0);
  if (card() == 0) return T();
  const T smallest = this->elemArray[0];
  this->elemArray[0] = this->elemArray[--this->topPos];
  sink(0, card());
  return smallest;
}

template <class T>
T DynHeap<T>::replace_min(T value) {
  if (card() == 0) {
    push(value);
    return T();
  }
  const T smallest = std::exchange(this->elemArray[0], value);
  sink(0, card());
  return smallest;
}

template <class T>
void DynHeap<T>::update(Large pos) {
  if (pos >= card()) return;
  sink(pos, card());
  rise(pos);
}

template <class T>
void DynHeap<T>::update() {
  for (Large pos = card() / 2; pos-- > 0;) sink(pos, card());
}

template <class T>
void DynHeap<T>::sort() {
  // The smallest of the rest goes behind the rest, which leaves the array in descending order.
  for (Large count = card(); count > 1; --count) {
    std::swap(this->elemArray[0], this->elemArray[count - 1]);
    sink(0, count - 1);
  }
  if (card() > 1) std::reverse(this->elemArray, this->elemArray + card());
}

template <class T>
int DynHeap<T>::write(AceReporter* rep) const {
  return vheap_write(rep, this->elemArray, card(),
                     [](const void* heap, Large pos, char* buffer, std::size_t bytes) {
                       const T& value = static_cast<const T*>(heap)[pos];
                       if constexpr (std::is_pointer_v<T> || std::is_floating_point_v<T>)
                         heap_text(value, buffer, bytes);
                       else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>)
                         heap_text(long{value}, buffer, bytes);
                       else if constexpr (std::is_integral_v<T>)
                         heap_text(static_cast<unsigned long>(value), buffer, bytes);
                       else if (bytes > 1)
                         std::memcpy(buffer, "?", 2);
                     });
}

template <class T>
void DynHeap<T>::rise(Large pos) {
  heap_rise(this->elemArray, pos, cmp);
}

/// Within the first `count` elements.
template <class T>
void DynHeap<T>::sink(Large pos, Large count) {
  heap_sink(this->elemArray, pos, count, cmp);
}
