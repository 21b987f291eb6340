/// Threads that do kernel work: registration, creation, joining, and how many a job may use.
///
/// Every thread that runs kernel code beside others lives inside an `AceThreadSafe` scope, which gives it an
/// allocator instance of its own. Threads made by `ace_create_thread` are registered by it; host threads
/// (Java, Python, C++ hosts) register themselves.
///
/// Ending early. Who runs a thread may ask it to end (`ace_watch_stop`); loops that take long, such as those
/// of `AceParallel`, look (`ace_stop_requested`) and give up with an exception. Cancelling a thread
/// (`pthread_cancel`) is for code of hosts that hangs. It cannot run through frames of the library, which
/// could not be unwound in good order: no file, message or join of the library is a cancellation point. What
/// waits for others is one (the waits of support/ebos, `AceTimer::sleep`).
#pragma once

#include <pthread.h>

#include <atomic>
#include <functional>

#include "ace/ace_types.h"

class AceAttach;

/// Largest number of threads of a job.
inline constexpr int ACE_MAX_THREADS = 2048;

/// An object whose lifetime marks the calling thread as doing kernel work.
class SORV_API AceThreadSafe {
 public:
  AceThreadSafe() { make_thread_safe(); }
  AceThreadSafe(const AceThreadSafe&) = delete;
  AceThreadSafe& operator=(const AceThreadSafe&) = delete;
  ~AceThreadSafe() { terminate_thread(); }

  /// For hosts that cannot use a scope: register and unregister the calling thread. Both return 0.
  static int make_thread_safe();
  static int terminate_thread();
};

/// The calling thread cannot be cancelled while it lives.
class SORV_API AceUncancellable {
 public:
  AceUncancellable() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &oldState); }
  AceUncancellable(const AceUncancellable&) = delete;
  AceUncancellable& operator=(const AceUncancellable&) = delete;
  ~AceUncancellable() { pthread_setcancelstate(oldState, nullptr); }

 private:
  int oldState = PTHREAD_CANCEL_DISABLE;
};

/// Makes `*flag` tell the calling thread, and those that it creates by `ace_create_thread` from now on, to
/// end early; null for nothing. The flag must outlive them. Returns what it was before.
SORV_API const std::atomic<bool>* ace_watch_stop(const std::atomic<bool>* flag);
/// Whether the calling thread was asked to end.
SORV_API bool ace_stop_requested();
/// Throws `AceException` "Stopped on request" when it was.
SORV_API void ace_check_stop();

/// Runs `func` in a new, registered thread with `stack_size` bytes of stack (0: the system's default). A copy
/// of `func` is kept in `at` until the thread has started; the thread's id is stored in `*thread`. The caller
/// joins the thread (`ace_join_threads`). An empty `func` throws `std::bad_function_call` in the new thread.
/// Returns 0, or -1 when the system refuses the thread; memory exhaustion throws `std::bad_alloc`.
SORV_API int ace_create_thread(pthread_t* thread, std::function<void()> func, int stack_size, AceAttach* at);
/// Waits for `count` threads made by `ace_create_thread`, to their end whatever becomes of the calling
/// thread.
SORV_API void ace_join_threads(int count, pthread_t* threads);

/// Number of registered threads.
SORV_API int ace_num_threads();
SORV_API int ace_get_default_num_threads();
/// Stores `count`, moved into 1..ACE_MAX_THREADS, and returns it.
SORV_API int ace_set_default_num_threads(int count);
/// Online processors plus one (so that one waiting thread leaves no processor idle), at most ACE_MAX_THREADS.
SORV_API int ace_get_system_num_threads();
/// Threads that a job uses: the system's number for a negative request, the default for 0, else the request,
/// at most ACE_MAX_THREADS.
SORV_API int ace_get_trace_num_threads(int request);
/// Whether the calling thread is the one that loaded the library.
SORV_API bool ace_is_main_thread();
