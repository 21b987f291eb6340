/// Base of kernel objects that are allocated one by one: `new` and `delete` go through the kernel's
/// allocator, and `new (at)` places the object in an attach.
#pragma once

#include "ace/ace_alloc.h"
#include "ace/ace_attach.h"

template <class T>
class AceCheckType {
 public:
  static void* operator new(std::size_t size) {
    static_assert(alignof(T) <= 8, "blocks are aligned to 8 bytes");
    return ace_alloc(size);
  }
  static void operator delete(void* memory) { ace_delete(memory); }

  static void* operator new(std::size_t size, AceAttach* at) { return ::operator new(size, at); }
  static void operator delete(void* memory, AceAttach* at) { ::operator delete(memory, at); }

  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void*, void*) noexcept {}

 protected:
  AceCheckType() = default;
  ~AceCheckType() = default;
};
