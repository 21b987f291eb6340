#include "ebos/ebos_semaphore.h"

#include <sched.h>
#include <x86intrin.h>

void EbosSemaphore::acquire() {
  std::unique_lock lock(permitLock);
  released.wait(lock, [this] { return isAvailable; });
  isAvailable = false;
}

bool EbosSemaphore::try_once() {
  const std::scoped_lock lock(permitLock);
  const bool wasAvailable = isAvailable;
  isAvailable = false;
  return wasAvailable;
}

bool EbosSemaphore::try_acquire() {
  return ebos_attempt([this] { return try_once(); });
}

void EbosSemaphore::release() {
  // Notified under the lock: a thread that is let through cannot destroy the semaphore before.
  const std::scoped_lock lock(permitLock);
  isAvailable = true;
  released.notify_one();
}

void ebos_pause(int round) {
  constexpr int NUM_PAUSES = 12;
  if (round < NUM_PAUSES)
    _mm_pause();
  else
    sched_yield();
}
