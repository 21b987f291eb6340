#include "ebos/ebos_thread.h"

#include <cxxabi.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <list>
#include <mutex>

#include "ace/ace_admin.h"
#include "ace/ace_alloc.h"
#include "ace/ace_exception.h"
#include "ace/ace_thread.h"
#include "ace/ace_timer.h"
#include "ebos/ebos_log.h"
#include "ebos/ebos_thread_internal.h"

namespace {

constexpr int NO_RESULT = -1;
constexpr double POLL_INTERVAL = 0.01;  // seconds
constexpr int CLOCK_KIND_BITS = 3;
constexpr std::size_t DESCRIPTOR_SIZE = 1024;            // so much of it is looked at
constexpr std::size_t MIN_STACK = std::size_t{1} << 16;  // messages are formatted on the stack

/// A thread from before its start until its very end.
struct LiveThread {
  int (*func)(void*) = nullptr;
  void* arg = nullptr;
  AceAdmin* admin = nullptr;  // taken beforehand, so that a thread that has started cannot fail to register
  HANDLE handle = 0;
  VUint serial = 0;
  std::atomic<bool> isStopped = false;
  std::list<LiveThread>::iterator self = {};
};

/// All of them. The system's handles do not tell whether a thread is still there: asking for one that is
/// gone is undefined, and one that has ended may look alive until it is joined.
class LiveThreads {
 public:
  /// Lives until the process ends, whatever still runs then.
  static LiveThreads& instance() {
    static LiveThreads* const theThreads = new LiveThreads;
    return *theThreads;
  }

  /// Starts the one thread of `starting` and takes it over. Returns 0 or the system's error.
  int start(std::list<LiveThread>* starting, const pthread_attr_t* attributes, void* (*run)(void*),
            HANDLE* handle, VUint* serial) {
    const std::scoped_lock lock(listLock);
    LiveThread& live = starting->front();
    live.serial = lastSerial + 1;
    live.self = starting->begin();
    const int rc = pthread_create(&live.handle, attributes, run, &live);
    if (rc != 0) return rc;
    *handle = live.handle;
    *serial = ++lastSerial;
    threads.splice(threads.end(), *starting);  // before the thread can leave the list, which takes the lock
    return 0;
  }

  void end(const LiveThread* live) {
    const std::scoped_lock lock(listLock);
    threads.erase(live->self);
    threadEnded.notify_all();
  }

  /// False at once for a thread that is not, or no more, among them.
  bool wait_for(HANDLE handle) {
    const auto isThere = [&] {
      return std::any_of(threads.begin(), threads.end(),
                         [&](const LiveThread& live) { return pthread_equal(live.handle, handle) != 0; });
    };
    std::unique_lock lock(listLock);
    if (!isThere()) return false;
    threadEnded.wait(lock, [&] { return !isThere(); });
    return true;
  }

  /// False when the thread is gone.
  bool ask_to_end(VUint serial, bool cancel) {
    const std::scoped_lock lock(listLock);
    const auto live = std::find_if(threads.begin(), threads.end(),
                                   [=](const LiveThread& thread) { return thread.serial == serial; });
    if (live == threads.end()) return false;
    live->isStopped = true;
    return !cancel || pthread_cancel(live->handle) == 0;
  }

 private:
  std::mutex listLock;
  std::condition_variable threadEnded;
  std::list<LiveThread> threads;
  VUint lastSerial = 0;
};

/// The calling thread's time as one that does kernel work.
class KernelWork {
 public:
  explicit KernelWork(const LiveThread* live) {
    ace_alloc_adopt(live->admin);
    AceThreadSafe::make_thread_safe();
    ace_watch_stop(&live->isStopped);
  }
  KernelWork(const KernelWork&) = delete;
  KernelWork& operator=(const KernelWork&) = delete;
  ~KernelWork() {
    ace_watch_stop(nullptr);
    AceThreadSafe::terminate_thread();
    ace_alloc_terminate_thread();
  }
};

class ListedThread {
 public:
  explicit ListedThread(const LiveThread* live) : liveThread(live) {}
  ListedThread(const ListedThread&) = delete;
  ListedThread& operator=(const ListedThread&) = delete;
  ~ListedThread() { LiveThreads::instance().end(liveThread); }

 private:
  const LiveThread* liveThread;
};

void* as_pointer(int result) {
  return reinterpret_cast<void*>(std::intptr_t{result});
}

/// A cancelled or terminated thread leaves by unwinding, and so passes all the destructors too.
void* run_thread(void* arg) {
  const EbosCancelState uncancellable(PTHREAD_CANCEL_DISABLE);
  const auto* live = static_cast<const LiveThread*>(arg);
  const ListedThread listed(live);
  const KernelWork kernelWork(live);
  int result = NO_RESULT;
  return as_pointer(ebos_run(live->func, live->arg, &result) ? result : NO_RESULT);
}

/// The attributes of a new thread. The signals are blocked from its first moment on.
class Attributes {
 public:
  Attributes(bool detached, int stackSize) {
    pthread_attr_init(&attributes);
    if (detached) pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (stackSize > 0)
      pthread_attr_setstacksize(&attributes, std::max(static_cast<std::size_t>(stackSize), MIN_STACK));
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    sigaddset(&blocked, SIGINT);
    sigaddset(&blocked, SIGTERM);
    pthread_attr_setsigmask_np(&attributes, &blocked);
  }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  ~Attributes() { pthread_attr_destroy(&attributes); }
  const pthread_attr_t* get() const { return &attributes; }

 private:
  pthread_attr_t attributes;
};

/// The system's number of a thread; 0 when it has ended. The descriptor that a handle points to stays mapped,
/// with the number gone, or is unmapped some time after the thread's end.
pid_t system_id(HANDLE thread) {
  const std::uintptr_t offset = thread % static_cast<std::uintptr_t>(getpagesize());
  void* const page = reinterpret_cast<void*>(thread - offset);
  clockid_t clock = 0;
  if (thread == 0 || msync(page, offset + DESCRIPTOR_SIZE, MS_ASYNC) != 0) return 0;
  if (pthread_getcpuclockid(thread, &clock) != 0) return 0;
  return ~(clock >> CLOCK_KIND_BITS);  // what the clock of a thread is made of
}

unsigned long long printable(HANDLE handle) {
  return handle;
}

}  // namespace

bool ebos_run(int (*func)(void*), void* arg, int* result) {
  if (func == nullptr) return false;
  try {
    const EbosCancelState cancellable(PTHREAD_CANCEL_ENABLE);
    *result = func(arg);
    return true;
  } catch (const abi::__forced_unwind&) {
    throw;  // the thread was cancelled or terminated
  } catch (const AceException& exception) {
    EbosLog* log = EbosLog::instance();
    log->eprintf("Caught exception from thread!\n");
    if (exception.get_cond() != nullptr) log->eprintf("%s\n", exception.get_cond());
    if (exception.get_info() != nullptr) log->eprintf("%s\n", exception.get_info());
  } catch (...) {
    EbosLog::instance()->eprintf("Caught unknown exception from thread!\n");
  }
  return false;
}

EbosThread::EbosThread(int (*func)(void*), void* arg, int detached, int stackSize)
    : threadId(detached != 0 ? 0 : 1) {
  std::list<LiveThread> starting;
  AceAdmin* const admin = ace_take_admin();
  try {
    LiveThread& live = starting.emplace_back();
    live.func = func;
    live.arg = arg;
    live.admin = admin;
  } catch (...) {
    ace_park_admin(admin);
    throw;
  }
  const Attributes attributes(detached != 0, stackSize);
  const int rc =
      LiveThreads::instance().start(&starting, attributes.get(), run_thread, &systemHandle, &serialNumber);
  if (rc == 0) return;
  ace_park_admin(admin);
  errno = rc;
  std::perror("CANNOT CREATE THREAD");
}

int EbosThread::join() {
  if (systemHandle == 0 || threadId == 0 || isJoined) return NO_RESULT;
  isJoined = true;
  void* result = as_pointer(NO_RESULT);
  if (pthread_join(systemHandle, &result) != 0 || result == PTHREAD_CANCELED) return NO_RESULT;
  return static_cast<int>(reinterpret_cast<std::intptr_t>(result));
}

void EbosThread::kill() {
  EbosLog* log = EbosLog::instance();
  log->eprintf("Thread (%llu) is not responding, will be destroyed\n", printable(systemHandle));
  if (!LiveThreads::instance().ask_to_end(serialNumber, true))
    log->eprintf("Thread (%llu) could not be destroyed!\n", printable(systemHandle));
}

void EbosThread::stop() {
  LiveThreads::instance().ask_to_end(serialNumber, false);
}

void EbosThread::terminate(int code) {
  pthread_exit(as_pointer(code));
}

int EbosThread::wait(HANDLE thread) {
  if (LiveThreads::instance().wait_for(thread)) return 0;
  const pid_t id = system_id(thread);
  while (id > 0 && tgkill(getpid(), id, 0) == 0) AceTimer::sleep(POLL_INTERVAL);
  return 0;
}
