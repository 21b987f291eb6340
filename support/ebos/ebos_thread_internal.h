/// What threads and workers share: how a function that may do anything is run.
#pragma once

#include <pthread.h>

/// Sets whether the calling thread can be cancelled, for a scope.
class EbosCancelState {
 public:
  explicit EbosCancelState(int state) { pthread_setcancelstate(state, &oldState); }
  EbosCancelState(const EbosCancelState&) = delete;
  EbosCancelState& operator=(const EbosCancelState&) = delete;
  ~EbosCancelState() { pthread_setcancelstate(oldState, nullptr); }

 private:
  int oldState = PTHREAD_CANCEL_DISABLE;
};

/// Runs `func(arg)`, during which alone the thread can be cancelled, and stores the result. False for a
/// null function, and when an exception, which is logged, ended it.
bool ebos_run(int (*func)(void*), void* arg, int* result);
