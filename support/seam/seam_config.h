/// Settings that are public members, for languages that have functions only.
#pragma once

#include <cstddef>
#include <vector>

/// Null for an index that is none.
template <class T>
T* seam_at(std::vector<T>& elements, int index) {
  return index >= 0 && static_cast<std::size_t>(index) < elements.size()
             ? &elements[static_cast<std::size_t>(index)]
             : nullptr;
}

inline void seam_set_flag(int* flags, int flag, bool on) {
  *flags = on ? *flags | flag : *flags & ~flag;
}
