/// Atomic compare-and-swap on plain variables, and a counter built on it.
#pragma once

#include "ace/ace_types.h"

/// If `*p` equals `expected`, stores `value`; returns what was found, so that the swap succeeded exactly when
/// the result equals `expected`. A full barrier. Mind the order: the new value comes first.
template <class T>
inline T ace_compare_and_swap_value(T volatile* p, T value, T expected) {
  T found = expected;
  __atomic_compare_exchange_n(p, &found, value, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return found;
}
inline int ace_compare_and_swap(int volatile* p, int value, int expected) {
  return ace_compare_and_swap_value(p, value, expected);
}
inline unsigned int ace_compare_and_swap(unsigned int volatile* p, unsigned int value,
                                         unsigned int expected) {
  return ace_compare_and_swap_value(p, value, expected);
}
inline long ace_compare_and_swap(long volatile* p, long value, long expected) {
  return ace_compare_and_swap_value(p, value, expected);
}
inline unsigned long ace_compare_and_swap(unsigned long volatile* p, unsigned long value,
                                          unsigned long expected) {
  return ace_compare_and_swap_value(p, value, expected);
}
inline void* ace_compare_and_swap(void* volatile* p, void* value, void* expected) {
  return ace_compare_and_swap_value(p, value, expected);
}

/// A counter that threads share.
class AceCount {
 public:
  int get() const { return __atomic_load_n(&curCount, __ATOMIC_SEQ_CST); }
  /// Adds `change`; returns the new value.
  int modify(int change) {
    for (;;) {
      const int old = get();
      const int changed = static_cast<int>(static_cast<unsigned>(old) + static_cast<unsigned>(change));
      if (ace_compare_and_swap(&curCount, changed, old) == old) return changed;
    }
  }

 private:
  int volatile curCount = 0;
};
