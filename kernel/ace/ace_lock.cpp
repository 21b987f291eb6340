#include "ace/ace_lock.h"

#include <system_error>

AceLock::AceLock() {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  const int rc = pthread_mutex_init(&systemHandle, &attributes);
  pthread_mutexattr_destroy(&attributes);
  if (rc != 0) throw std::system_error(rc, std::generic_category(), "AceLock");
}

AceLock::~AceLock() {
  lock();
  unlock();
  pthread_mutex_destroy(&systemHandle);
}
