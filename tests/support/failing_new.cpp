#include "support/failing_new.h"

#include <cstdlib>
#include <new>

constinit std::atomic<long> support::numNewsLeft = -1;

void* operator new(std::size_t size) {
  if (support::numNewsLeft >= 0 && support::numNewsLeft.fetch_sub(1) <= 0) {
    support::numNewsLeft = 0;
    throw std::bad_alloc();
  }
  if (void* memory = std::malloc(size != 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept try {
  return operator new(size);
} catch (const std::bad_alloc&) {
  return nullptr;
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
