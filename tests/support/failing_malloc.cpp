/// Puts the C library's `malloc`, from which kernel memory comes, under the counter of failing_new.h as well.
/// Not with sanitizers, which bring an allocator of their own.
#include <cerrno>
#include <cstddef>

#include "support/failing_new.h"

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && !defined(SORVANTA_SANITIZED)

extern "C" void* __libc_malloc(std::size_t size);

#pragma GCC visibility push(default)
extern "C" void* malloc(std::size_t size) {
  if (support::numNewsLeft >= 0 && support::numNewsLeft.fetch_sub(1) <= 0) {
    support::numNewsLeft = 0;
    errno = ENOMEM;
    return nullptr;
  }
  return __libc_malloc(size);
}
#pragma GCC visibility pop

#endif
