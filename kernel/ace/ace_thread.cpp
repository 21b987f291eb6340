#include "ace/ace_thread.h"

#include <unistd.h>
#include <climits>

#include <algorithm>
#include <memory>
#include <utility>

#include "ace/ace_admin.h"
#include "ace/ace_alloc.h"
#include "ace/ace_atomic.h"
#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_time_analysis.h"

namespace {

constinit AceCount ace_thread_counter;
constinit int default_num_threads = 1;
constinit thread_local const std::atomic<bool>* stop_flag = nullptr;
const pthread_t main_thread_id = pthread_self();

/// What a new thread runs, and the allocator instance that it runs with: made beforehand, so that a thread
/// that has started cannot fail to register for want of memory. Placed in the caller's attach, which frees
/// the memory.
struct InitThreadArg {
  std::function<void()> threadFunc;
  AceAdmin* threadAdmin;
  const std::atomic<bool>* stopFlag;
};

/// The function is destroyed while the thread is registered, for what it owns may be kernel memory.
void* run_thread(void* arg) {
  const AceUncancellable uncancellable;
  auto* init = static_cast<InitThreadArg*>(arg);
  ace_watch_stop(init->stopFlag);
  ace_alloc_adopt(init->threadAdmin);
  {
    const AceThreadSafe registered;
    const std::function<void()> func = std::move(init->threadFunc);
    init->~InitThreadArg();
    func();
  }
  ace_alloc_terminate_thread();
  return nullptr;
}

}  // namespace

const std::atomic<bool>* ace_watch_stop(const std::atomic<bool>* flag) {
  return std::exchange(stop_flag, flag);
}

bool ace_stop_requested() {
  return stop_flag != nullptr && stop_flag->load(std::memory_order_relaxed);
}

void ace_check_stop() {
  if (ace_stop_requested()) throw AceException("Stopped on request");
}

int AceThreadSafe::make_thread_safe() {
  ace_thread_counter.modify(1);
  time_analysis_thread_mode(1);
  return ace_alloc_thread_local();
}

int AceThreadSafe::terminate_thread() {
  ace_alloc_terminate_thread();
  time_analysis_thread_mode(0);
  ace_thread_counter.modify(-1);
  return 0;
}

int ace_create_thread(pthread_t* thread, std::function<void()> func, int stack_size, AceAttach* at) {
  std::unique_ptr<AceAdmin, void (*)(AceAdmin*)> admin(ace_take_admin(), ace_park_admin);
  auto* arg = new (at) InitThreadArg{std::move(func), admin.get(), stop_flag};
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  if (stack_size > 0) {
    const auto smallest = static_cast<std::size_t>(sysconf(_SC_THREAD_STACK_MIN));
    pthread_attr_setstacksize(&attributes, std::max(static_cast<std::size_t>(stack_size), smallest));
  }
  const int rc = pthread_create(thread, &attributes, run_thread, arg);
  pthread_attr_destroy(&attributes);
  if (rc == 0) {
    static_cast<void>(admin.release());
    return 0;
  }
  arg->~InitThreadArg();
  return -1;
}

void ace_join_threads(int count, pthread_t* threads) {
  const AceUncancellable uncancellable;
  for (int i = 0; i < count; ++i) pthread_join(threads[i], nullptr);
}

int ace_num_threads() {
  return ace_thread_counter.get();
}

int ace_get_default_num_threads() {
  return __atomic_load_n(&default_num_threads, __ATOMIC_RELAXED);
}

int ace_set_default_num_threads(int count) {
  const int stored = std::clamp(count, 1, ACE_MAX_THREADS);
  __atomic_store_n(&default_num_threads, stored, __ATOMIC_RELAXED);
  return stored;
}

int ace_get_system_num_threads() {
  const long online = sysconf(_SC_NPROCESSORS_ONLN);
  return static_cast<int>(std::clamp<long>(online + 1, 1, ACE_MAX_THREADS));
}

int ace_get_trace_num_threads(int request) {
  if (request < 0) return ace_get_system_num_threads();
  if (request == 0) return ace_get_default_num_threads();
  return std::min(request, ACE_MAX_THREADS);
}

bool ace_is_main_thread() {
  return pthread_equal(pthread_self(), main_thread_id) != 0;
}
