/// A recursive mutex: the thread that holds it may lock it again.
#pragma once

#include <pthread.h>

#include "ace/ace_types.h"

class SORV_API AceLock {
 public:
  AceLock();
  AceLock(const AceLock&) = delete;
  AceLock& operator=(const AceLock&) = delete;
  /// Waits for a present holder.
  ~AceLock();
  /// Both return 0, or an errno value (as `unlock` by a thread that does not hold the lock does).
  int lock() { return pthread_mutex_lock(&systemHandle); }
  int unlock() { return pthread_mutex_unlock(&systemHandle); }

 private:
  pthread_mutex_t systemHandle;
};
