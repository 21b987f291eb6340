#include "ebos/ebos_thread.h"

#include <cxxabi.h>
#include <signal.h>

#include <algorithm>
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
#include "ebos/ebos_log.h"
#include "ebos/ebos_thread_internal.h"

namespace {

constexpr int NO_RESULT = -1;
constexpr std::size_t MIN_STACK = std::size_t{1} << 16;  // messages are formatted on the stack

/// A thread from before its start until its very end.
struct LiveThread {
  int (*func)(void*);
  void* arg;
  AceAdmin* admin;  // taken beforehand, so that a thread that has started cannot fail to register
  HANDLE handle = 0;
  VUint serial = 0;
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

  void wait_for(HANDLE handle) {
    std::unique_lock lock(listLock);
    threadEnded.wait(lock, [&] {
      return std::none_of(threads.begin(), threads.end(),
                          [&](const LiveThread& live) { return pthread_equal(live.handle, handle) != 0; });
    });
  }

  bool cancel(VUint serial) {
    const std::scoped_lock lock(listLock);
    const auto live = std::find_if(threads.begin(), threads.end(),
                                   [=](const LiveThread& thread) { return thread.serial == serial; });
    return live != threads.end() && pthread_cancel(live->handle) == 0;
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
  explicit KernelWork(AceAdmin* admin) {
    ace_alloc_adopt(admin);
    AceThreadSafe::make_thread_safe();
  }
  KernelWork(const KernelWork&) = delete;
  KernelWork& operator=(const KernelWork&) = delete;
  ~KernelWork() {
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
  const KernelWork kernelWork(live->admin);
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
  AceAdmin*& admin = starting.emplace_back(LiveThread{func, arg, nullptr}).admin;
  admin = ace_take_admin();
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
  if (!LiveThreads::instance().cancel(serialNumber))
    log->eprintf("Thread (%llu) could not be destroyed!\n", printable(systemHandle));
}

void EbosThread::terminate(int code) {
  pthread_exit(as_pointer(code));
}

int EbosThread::wait(HANDLE thread) {
  LiveThreads::instance().wait_for(thread);
  return 0;
}
