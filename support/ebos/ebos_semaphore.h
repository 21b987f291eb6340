/// A binary semaphore: one permit, there or taken, passed between any threads.
///
/// Releasing an available semaphore leaves it available. A release is never lost: it wakes a waiter, or the
/// next `acquire` finds the permit. The thread that a release let through may destroy the semaphore.
#pragma once

#include <condition_variable>
#include <mutex>

#include "ace/ace_types.h"

class SORV_API EbosSemaphore {
 public:
  explicit EbosSemaphore(bool available) : isAvailable(available) {}
  EbosSemaphore(const EbosSemaphore&) = delete;
  EbosSemaphore& operator=(const EbosSemaphore&) = delete;

  /// Blocks until the permit is there and takes it.
  void acquire();
  /// Takes the permit if it is there now.
  bool try_once();
  /// Some attempts in a row, pausing and then yielding the processor between them; see `ebos_attempt`.
  bool try_acquire();
  void release();

 private:
  std::mutex permitLock;
  std::condition_variable released;
  bool isAvailable;
};

/// A pause before attempt `round` + 1: the processor's own for the first rounds, then a yield.
SORV_API void ebos_pause(int round);

/// Whether one of a bounded number of calls of `attempt` succeeds.
template <class Attempt>
bool ebos_attempt(Attempt attempt) {
  constexpr int MAX_ATTEMPTS = 16;
  for (int round = 0; round < MAX_ATTEMPTS; ++round) {
    if (attempt()) return true;
    ebos_pause(round);
  }
  return false;
}
