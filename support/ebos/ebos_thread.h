/// One thread of the operating system that runs kernel code.
///
/// The thread is registered for kernel work (`AceThreadSafe`) while its function runs, and has SIGINT and
/// SIGTERM blocked. An exception that leaves the function is logged and ends the thread with result -1.
///
/// An EbosThread object is a name for the thread, no owner: destroying it does not touch the thread. A
/// joinable thread must be joined once, else the system keeps its remains.
///
/// Thread safety: one thread at a time uses an object; `wait` and `terminate` may be called from anywhere.
#pragma once

#include <pthread.h>

#include "ace/ace_types.h"

/// A thread's identity while it runs; 0 is no thread. The system may reuse it afterwards.
using HANDLE = pthread_t;

class SORV_API EbosThread {
 public:
  /// Starts `func(arg)`, detached unless `detached` is 0. A positive `stackSize` is the size of the stack in
  /// bytes, at least 65536. When the system refuses the thread, "CANNOT CREATE THREAD" is
  /// told on standard error and `get_handle` is 0. Memory exhaustion throws `std::bad_alloc`.
  EbosThread(int (*func)(void*), void* arg, int detached, int stackSize);

  /// Waits for a joinable thread and returns its result: that of its function or of `terminate`; -1 when it
  /// was killed, when there is nothing to join, or for the second call.
  int join();
  /// The last resort: asks the thread to end (`stop`) and cancels it. It ends at its next cancellation point
  /// (such as a read or a sleep) if it comes to one, releasing what lives on its stack; the library itself
  /// has none but waits (see ace_thread.h). Logged, as is a failure.
  void kill();
  /// Asks the thread to end: `ace_stop_requested` is true in it from now on.
  void stop();
  /// Ends the calling thread, whose stack is unwound; not from within the work of `AceParallel`, which waits
  /// for its other threads.
  [[noreturn]] static void terminate(int code);
  /// Waits until the thread is gone, whoever started it. Returns 0. The handle is that of a thread which
  /// runs, or did until now: the system may have given one that ended long ago to another thread.
  static int wait(HANDLE thread);

  /// 1 for a joinable thread, 0 for a detached one.
  unsigned gettid() const { return threadId; }
  HANDLE get_handle() const { return systemHandle; }

 private:
  unsigned threadId;
  HANDLE systemHandle = 0;
  VUint serialNumber = 0;  // unlike the handle never used again
  bool isJoined = false;
};
