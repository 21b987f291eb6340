/// Mutexes of the platform services: a recursive one, and one for many readers or one writer.
#pragma once

#include <pthread.h>

#include <atomic>
#include <mutex>

#include "ace/ace_types.h"

/// A recursive mutex: the thread that holds it may lock it again, and unlocks it as often.
class SORV_API EbosMutex {
 public:
  /// A refusal of the system is told on standard error.
  EbosMutex();
  EbosMutex(const EbosMutex&) = delete;
  EbosMutex& operator=(const EbosMutex&) = delete;
  /// Waits for a present holder.
  ~EbosMutex();

  /// All return 0.
  int lock();
  int unlock();
  /// Locks if no other thread holds the mutex. The result does not tell whether it did: this is for callers
  /// that know from elsewhere.
  int trylock();

 private:
  pthread_mutex_t systemHandle;
};

/// Many readers or one writer. Not recursive.
///
/// A writer keeps newcomers out and spins, without sleeping, until the present readers are gone: shared
/// sections must be short, and a reader must not become a writer. Works with std::unique_lock and
/// std::shared_lock as far as these do not try.
class SORV_API EbosSharedMutex {
 public:
  /// A failing lock of the mutex inside throws std::system_error.
  void lock();
  void unlock();
  void lock_shared();
  void unlock_shared();

 private:
  std::atomic<int> numSharers = 0;
  std::mutex exclusiveLock;
};
