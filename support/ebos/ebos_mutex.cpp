#include "ebos/ebos_mutex.h"

#include <sched.h>
#include <x86intrin.h>

#include <cerrno>
#include <cstdio>

namespace {

/// Rounds that a writer spends at full speed before it lets others use the processor between its looks.
constexpr int NUM_FAST_ROUNDS = 1000;

}  // namespace

EbosMutex::EbosMutex() {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  const int rc = pthread_mutex_init(&systemHandle, &attributes);
  pthread_mutexattr_destroy(&attributes);
  if (rc != 0) {
    errno = rc;
    std::perror("\nMutex initialization failed!\n");
  }
}

EbosMutex::~EbosMutex() {
  lock();
  unlock();
  pthread_mutex_destroy(&systemHandle);
}

int EbosMutex::lock() {
  pthread_mutex_lock(&systemHandle);
  return 0;
}

int EbosMutex::unlock() {
  pthread_mutex_unlock(&systemHandle);
  return 0;
}

int EbosMutex::trylock() {
  static_cast<void>(pthread_mutex_trylock(&systemHandle));
  return 0;
}

void EbosSharedMutex::lock() {
  exclusiveLock.lock();
  for (int round = 0; numSharers.load(std::memory_order_acquire) > 0; ++round) {
    if (round < NUM_FAST_ROUNDS) {
      _mm_pause();
    } else {
      sched_yield();
      round = NUM_FAST_ROUNDS;
    }
  }
}

void EbosSharedMutex::unlock() {
  exclusiveLock.unlock();
}

void EbosSharedMutex::lock_shared() {
  const std::scoped_lock lock(exclusiveLock);
  numSharers.fetch_add(1, std::memory_order_relaxed);
}

void EbosSharedMutex::unlock_shared() {
  numSharers.fetch_sub(1, std::memory_order_release);
}
