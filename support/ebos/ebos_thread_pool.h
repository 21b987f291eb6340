/// Reusable worker threads, and what a host does when it shall end.
///
/// A worker waits for a task, runs it, goes back to its pool's free list and waits again. Whoever stops it
/// sees it through to the end of its present task:
///
///                dispatch            task done: ready()
///     waiting  ------------> running -------------------> free list, waiting
///        |                      |
///        |  shutdown()          |  shutdown(), or the task throws
///        v                      v
///     cleanup, FINISHED      cleanup, FINISHED         clean() takes it away
///
/// When the whole pool is stopped, all tasks are asked together to end early (`ace_stop_requested`); those
/// that do not within 5 seconds are cancelled.
///
/// Lock order: the pool lock (one for the process), then a worker's state lock, then the log.
#pragma once

#include <atomic>
#include <memory>

#include "ace/ace_timer.h"
#include "ace/ace_types.h"
#include "ebos/ebos_mutex.h"
#include "ebos/ebos_semaphore.h"
#include "ebos/ebos_thread.h"

class EbosThreadPool;

enum class EbosThreadState { RUNNING = 0, STOPPING = 1, RETURNING = 2, FINISHED = 3 };

/// A reusable worker. Its pool destroys it; a pointer to it is good until the pool may have cleaned it away,
/// that is until it is told to stop.
class SORV_API EbosThreadControl {
 public:
  /// Starts the worker's thread and enters the worker into the pool's list of all workers; it is not free
  /// yet. When the system refuses the thread, the worker is FINISHED.
  explicit EbosThreadControl(EbosThreadPool* pool, int stackSize = 0);
  EbosThreadControl(const EbosThreadControl&) = delete;
  EbosThreadControl& operator=(const EbosThreadControl&) = delete;

  /// Hands a task to a worker that is waiting for one. Returns 0, or -1 when the worker is stopped and will
  /// not run it. A task that was handed over but not begun when the worker is stopped is dropped.
  int dispatch(int (*func)(void*), void* arg);
  /// Tells the worker to stop. Returns 0.
  int shutdown();
  /// What the worker does after each task: it is idle from now on, and free.
  void ready();
  /// `func(arg)` runs in the worker's thread, once, when the worker was stopped or a task has thrown; not
  /// when its thread was killed or terminated itself.
  void set_cleanup(int (*func)(void*), void* arg);

  EbosThreadState get_state();
  /// Moves to that state as far as the present one allows: a stopped worker never becomes active again, and
  /// a STOPPING and RETURNING one, in whichever order, is FINISHED.
  void setState(EbosThreadState state);
  /// Seconds since the last task; 0 before the first and during one.
  double get_idle_time();

 private:
  friend class EbosThreadPool;

  ~EbosThreadControl() = default;
  /// Gives the worker up, which is in no list any more: destroys it if its thread has left it. Else the
  /// thread is killed (unless it is FINISHED and just leaving) and destroys the worker when it ends.
  void destroy();
  bool is_stopped();
  int run();
  bool run_task();
  void leave();
  void run_cleanup();

  EbosThreadControl* nextControl = nullptr;
  EbosThreadControl* nextFree = nullptr;
  EbosThreadPool* origPool;
  bool isFree = false;  // is in the free list
  EbosSemaphore launchSema{false};

  EbosMutex stateLock;  // guards what follows
  EbosThreadState stateControl = EbosThreadState::RUNNING;
  bool hasLeft = false;      // the thread does not touch the worker any more
  bool isAbandoned = false;  // the thread is the worker's only user; also guarded by the pool lock
  int (*actionFunc)(void*) = nullptr;
  void* actionArgs = nullptr;
  int (*cleanupFunc)(void*) = nullptr;
  void* cleanupArgs = nullptr;
  AceTimer timeOuter{"unknown"};
  std::unique_ptr<EbosThread> basicThread;
};

/// A set of workers. All operations may be called from any thread.
class SORV_API EbosThreadPool {
 public:
  EbosThreadPool() = default;
  EbosThreadPool(const EbosThreadPool&) = delete;
  EbosThreadPool& operator=(const EbosThreadPool&) = delete;
  /// Stops all workers as `wait` does.
  ~EbosThreadPool();

  /// The pool of the process. `instance_clean` stops its workers as `wait` does, for hosts that unload what
  /// the tasks use; the pool itself lasts until the process ends.
  static EbosThreadPool* instance();
  static void instance_clean();

  /// Runs `func(arg)` in a detached thread of its own. Returns its handle, 0 when the system refuses it.
  static HANDLE dispatch(int (*func)(void*), void* arg, int stackSize);
  /// Runs `func(arg)` in a detached thread once SIGINT or SIGTERM is received or `shutdown` is called. The
  /// signals' handlers are replaced. `name` (null for none) becomes the thread's name, cut to 15 bytes.
  /// Returns the handle, 0 when the system refuses the thread.
  static HANDLE dispatch_on_shutdown(const char* name, int (*func)(void*), void* arg, int stackSize);
  /// Runs `func(arg)` in a free worker, or a new one. Returns 0; -1 for a null function, after `shutdown`, or
  /// when the system refuses the thread.
  int dispatch_worker(int (*func)(void*), void* arg, int stackSize = 0);

  /// Puts the worker on the free list; ends the process (`exit(0)`) when the pool has no workers at all.
  void return_thread(EbosThreadControl* worker);
  /// Stops the free workers that have been idle for more than `maxIdle` seconds, and takes away those that
  /// are FINISHED.
  void clean(double maxIdle);
  /// Sleeps until `shutdown` is called, then stops all workers, forcibly after some 5 seconds, and waits for
  /// the shutdown hooks. Looks every `interval` seconds (at least a millisecond). Returns 0.
  int wait(double interval);
  /// Asks the process to end: wakes `wait` and the shutdown hooks. It stays asked.
  static void shutdown();
  static bool is_shutdown() { return shutdown_request; }
  /// The last signal received, 0 for none.
  static int get_signal() { return signal_value; }
  /// Workers of the pool, in whichever state.
  int num_workers() const;

 private:
  friend class EbosThreadControl;
  struct ShutdownHook;

  static EbosMutex& poolLock();
  void enter(EbosThreadControl* worker);
  EbosThreadControl* take_free();
  void remove_free(const EbosThreadControl* worker);
  void stop_workers();
  template <class Condition>
  void destroy_if(Condition condition);

  EbosThreadControl* allThreads = nullptr;
  EbosThreadControl* freeThreads = nullptr;

  static constinit std::atomic<bool> shutdown_request;
  static constinit std::atomic<int> signal_value;
  static constinit std::atomic<int> shutdown_threads;
};
