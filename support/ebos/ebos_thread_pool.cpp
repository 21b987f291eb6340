#include "ebos/ebos_thread_pool.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <string>
#include <utility>

#include "ace/ace_thread.h"

#include "ebos/ebos_log.h"
#include "ebos/ebos_signal.h"
#include "ebos/ebos_stop_cond.h"
#include "ebos/ebos_thread_internal.h"

namespace {

constexpr int MAX_STOP_ROUNDS = 25;
constexpr double STOP_INTERVAL = 0.2;  // seconds
constexpr double MIN_INTERVAL = 0.001;
constexpr std::chrono::milliseconds HOOK_INTERVAL(500);
constexpr std::size_t MAX_THREAD_NAME = 15;

/// Wakes the hooks when the process is asked to end; a signal's handler cannot, so they look as well.
EbosStopCond& shutdown_cond() {
  static EbosStopCond* const theCond = new EbosStopCond;
  return *theCond;
}

}  // namespace

constinit std::atomic<bool> EbosThreadPool::shutdown_request = false;
constinit std::atomic<int> EbosThreadPool::signal_value = 0;
constinit std::atomic<int> EbosThreadPool::shutdown_threads = 0;
static_assert(std::atomic<int>::is_always_lock_free, "stored by a signal's handler");

// A worker waits for its semaphore, runs what it was given, and goes back to the pool. Whether it is stopped
// or goes back first, it ends when both have happened.

EbosThreadControl::EbosThreadControl(EbosThreadPool* pool, int stackSize) : origPool(pool) {
  const auto runWorker = [](void* worker) { return static_cast<EbosThreadControl*>(worker)->run(); };
  basicThread = std::make_unique<EbosThread>(runWorker, this, 1, stackSize);
  if (basicThread->get_handle() == 0) {  // no thread that could leave
    stateControl = EbosThreadState::FINISHED;
    hasLeft = true;
  }
  pool->enter(this);
}

int EbosThreadControl::dispatch(int (*func)(void*), void* arg) {
  const std::scoped_lock lock(stateLock);
  if (is_stopped()) return -1;
  timeOuter.reset();
  actionFunc = func;
  actionArgs = arg;
  launchSema.release();
  return 0;
}

int EbosThreadControl::shutdown() {
  setState(EbosThreadState::STOPPING);
  launchSema.release();
  return 0;
}

void EbosThreadControl::ready() {
  {
    const std::scoped_lock lock(stateLock);
    timeOuter.start();
  }
  setState(EbosThreadState::RETURNING);
  {
    const std::scoped_lock lock(EbosThreadPool::poolLock());
    if (!isAbandoned) origPool->return_thread(this);
  }
  setState(EbosThreadState::RUNNING);
}

void EbosThreadControl::set_cleanup(int (*func)(void*), void* arg) {
  const std::scoped_lock lock(stateLock);
  cleanupFunc = func;
  cleanupArgs = arg;
}

EbosThreadState EbosThreadControl::get_state() {
  const std::scoped_lock lock(stateLock);
  return stateControl;
}

bool EbosThreadControl::is_stopped() {
  const EbosThreadState state = get_state();
  return state == EbosThreadState::STOPPING || state == EbosThreadState::FINISHED;
}

void EbosThreadControl::setState(EbosThreadState state) {
  using enum EbosThreadState;
  const std::scoped_lock lock(stateLock);
  const EbosThreadState now = stateControl;
  if (now == FINISHED) return;
  if (now == STOPPING && state == RUNNING) return;
  const bool isEnd = (now == STOPPING && state == RETURNING) || (now == RETURNING && state == STOPPING);
  stateControl = isEnd ? FINISHED : state;
}

double EbosThreadControl::get_idle_time() {
  const std::scoped_lock lock(stateLock);
  return timeOuter.get_sec();
}

int EbosThreadControl::run() {
  // Not even a cancelled or terminated thread goes without leaving.
  struct Leaving {
    explicit Leaving(EbosThreadControl* left) : worker(left) {}
    Leaving(const Leaving&) = delete;
    Leaving& operator=(const Leaving&) = delete;
    ~Leaving() { worker->leave(); }
    EbosThreadControl* worker;
  };
  const EbosCancelState uncancellable(PTHREAD_CANCEL_DISABLE);
  const Leaving leaving(this);
  while (get_state() == EbosThreadState::RUNNING) {
    launchSema.acquire();
    if (is_stopped() || !run_task()) break;
    ready();
  }
  run_cleanup();
  return 0;
}

bool EbosThreadControl::run_task() {
  int (*func)(void*) = nullptr;
  void* arg = nullptr;
  {
    const std::scoped_lock lock(stateLock);
    func = std::exchange(actionFunc, nullptr);
    arg = std::exchange(actionArgs, nullptr);
  }
  int result = 0;
  return func == nullptr || ebos_run(func, arg, &result);
}

void EbosThreadControl::run_cleanup() {
  int (*func)(void*) = nullptr;
  void* arg = nullptr;
  {
    const std::scoped_lock lock(stateLock);
    func = std::exchange(cleanupFunc, nullptr);
    arg = cleanupArgs;
  }
  int result = 0;
  ace_watch_stop(nullptr);  // it shall do all that it has to do
  if (func != nullptr) ebos_run(func, arg, &result);
}

void EbosThreadControl::leave() {
  bool isLast = false;
  {
    const std::scoped_lock lock(stateLock);
    stateControl = EbosThreadState::FINISHED;
    hasLeft = true;
    isLast = isAbandoned;
  }
  // From here on the worker belongs to whoever destroys it.
  if (isLast) delete this;
}

void EbosThreadControl::destroy() {
  {
    const std::scoped_lock lock(stateLock);
    if (!hasLeft) {
      if (stateControl != EbosThreadState::FINISHED) basicThread->kill();
      isAbandoned = true;
      setState(EbosThreadState::STOPPING);
      launchSema.release();
      return;
    }
  }
  delete this;
}

// All workers are on one list, those that wait on a second one too; one lock guards both.

EbosMutex& EbosThreadPool::poolLock() {
  static EbosMutex* const theLock = new EbosMutex;  // lasts until the process ends
  return *theLock;
}

EbosThreadPool::~EbosThreadPool() {
  stop_workers();
}

EbosThreadPool* EbosThreadPool::instance() {
  static EbosThreadPool* const thePool = new EbosThreadPool;
  return thePool;
}

void EbosThreadPool::instance_clean() {
  instance()->stop_workers();
}

HANDLE EbosThreadPool::dispatch(int (*func)(void*), void* arg, int stackSize) {
  return EbosThread(func, arg, 1, stackSize).get_handle();
}

/// What a hook's thread has to do; it counts as running from before its thread starts, so that `wait` cannot
/// overlook it.
struct EbosThreadPool::ShutdownHook {
  ShutdownHook(const char* threadName, int (*hookFunc)(void*), void* hookArg)
      : name(threadName != nullptr ? threadName : ""), func(hookFunc), arg(hookArg) {
    ++shutdown_threads;
  }
  ShutdownHook(const ShutdownHook&) = delete;
  ShutdownHook& operator=(const ShutdownHook&) = delete;
  ~ShutdownHook() { --shutdown_threads; }

  int run() {
    if (!name.empty()) pthread_setname_np(pthread_self(), name.substr(0, MAX_THREAD_NAME).c_str());
    while (signal_value == 0 && !shutdown_request) shutdown_cond().wait_for(HOOK_INTERVAL);
    if (const int signal = signal_value; signal != 0)
      EbosLog::instance()->iprintf("Signaled shutdown (%d)\n", signal);
    return func(arg);
  }

  std::string name;
  int (*func)(void*);
  void* arg;
};

HANDLE EbosThreadPool::dispatch_on_shutdown(const char* name, int (*func)(void*), void* arg, int stackSize) {
  ebos_configure_signals([](int signal) { signal_value = signal; });
  auto hook = std::make_unique<ShutdownHook>(name, func, arg);
  const auto runHook = [](void* started) {
    const std::unique_ptr<ShutdownHook> mine(static_cast<ShutdownHook*>(started));
    return mine->run();
  };
  const HANDLE handle = dispatch(runHook, hook.get(), stackSize);
  if (handle != 0) static_cast<void>(hook.release());
  return handle;
}

int EbosThreadPool::dispatch_worker(int (*func)(void*), void* arg, int stackSize) {
  const std::scoped_lock lock(poolLock());
  if (func == nullptr || shutdown_request) return -1;
  while (EbosThreadControl* worker = take_free())
    if (worker->dispatch(func, arg) == 0) return 0;
  auto* worker = new EbosThreadControl(this, stackSize);
  return worker->dispatch(func, arg);
}

void EbosThreadPool::return_thread(EbosThreadControl* worker) {
  std::unique_lock lock(poolLock());
  if (allThreads == nullptr) {
    lock.unlock();
    std::exit(0);
  }
  if (worker->isFree) return;
  worker->isFree = true;
  worker->nextFree = std::exchange(freeThreads, worker);
}

void EbosThreadPool::clean(double maxIdle) {
  {
    const std::scoped_lock lock(poolLock());
    for (EbosThreadControl* worker = freeThreads; worker != nullptr; worker = worker->nextFree)
      if (worker->get_idle_time() > maxIdle) worker->shutdown();
  }
  const std::scoped_lock lock(poolLock());
  destroy_if([](EbosThreadControl* worker) {
    const std::scoped_lock stateLock(worker->stateLock);
    return worker->hasLeft;
  });
}

int EbosThreadPool::wait(double interval) {
  const double pause = std::max(interval, MIN_INTERVAL);
  while (!shutdown_request) AceTimer::sleep(pause);
  EbosLog::instance()->iprintf("Notifying all threads to shutdown gracefully\n");
  stop_workers();
  while (shutdown_threads > 0) AceTimer::sleep(pause);
  return 0;
}

void EbosThreadPool::shutdown() {
  shutdown_request = true;
  shutdown_cond().set();
}

int EbosThreadPool::num_workers() const {
  const std::scoped_lock lock(poolLock());
  int count = 0;
  for (const EbosThreadControl* worker = allThreads; worker != nullptr; worker = worker->nextControl) ++count;
  return count;
}

void EbosThreadPool::enter(EbosThreadControl* worker) {
  const std::scoped_lock lock(poolLock());
  worker->nextControl = std::exchange(allThreads, worker);
}

EbosThreadControl* EbosThreadPool::take_free() {
  EbosThreadControl* worker = freeThreads;
  if (worker == nullptr) return nullptr;
  freeThreads = std::exchange(worker->nextFree, nullptr);
  worker->isFree = false;
  return worker;
}

void EbosThreadPool::remove_free(const EbosThreadControl* worker) {
  if (!worker->isFree) return;
  EbosThreadControl** link = &freeThreads;
  while (*link != worker) link = &(*link)->nextFree;
  *link = worker->nextFree;
}

void EbosThreadPool::stop_workers() {
  {
    const std::scoped_lock lock(poolLock());
    for (EbosThreadControl* worker = allThreads; worker != nullptr; worker = worker->nextControl) {
      worker->shutdown();
      worker->basicThread->stop();
    }
  }
  for (int round = 0; round < MAX_STOP_ROUNDS && num_workers() > 0; ++round) {
    clean(0.0);
    if (num_workers() > 0) AceTimer::sleep(STOP_INTERVAL);
  }
  const std::scoped_lock lock(poolLock());
  if (allThreads == nullptr) return;
  EbosLog::instance()->eprintf("Some threads exit too slowly, forcing exit\n");
  destroy_if([](const EbosThreadControl*) { return true; });
}

/// Takes the workers for which `condition(worker)` holds off both lists and destroys them.
template <class Condition>
void EbosThreadPool::destroy_if(Condition condition) {
  EbosThreadControl** link = &allThreads;
  while (EbosThreadControl* worker = *link) {
    if (!condition(worker)) {
      link = &worker->nextControl;
      continue;
    }
    *link = worker->nextControl;
    remove_free(worker);
    worker->destroy();
  }
}
