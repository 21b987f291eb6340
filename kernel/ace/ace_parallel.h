/// Parallel map: a work function over every index of an array, in contiguous chunks on several threads.
#pragma once

#include <algorithm>
#include <exception>
#include <memory>
#include <mutex>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_thread.h"
#include "ace/ace_time_analysis.h"
#include "ace/ace_types.h"

class AceReporter;

/// `In` and `Out` are the types of the input and output arrays (whatever the work function understands by
/// them), `Worker` the default-constructible state that each thread has for itself.
///
/// When `map` returns, all chunks are finished, or were given up before their next index because the calling
/// thread was asked to end (`ace_stop_requested`): then `map` throws "Stopped on request". Each chunk, worker
/// state and output element is touched by one thread only. An exception in an init, work or clean function
/// ends its chunk; the others finish, every worker state is cleaned, and the first exception is thrown to the
/// caller of `map`. Where the system refuses a thread, the calling thread does that chunk itself.
template <class In, class Out, class Worker>
class AceParallel {
 public:
  using InitFunc = void(Worker* worker);
  using CleanFunc = void(Worker* worker);
  using MapWorkFunc = void(In* in, Out* out, Worker* worker, VInt index);

  /// Runs `work` for the indices 0..n-1. `init` and `clean` may be null. The thread count follows
  /// `ace_get_trace_num_threads(num_threads)` and is at most `n`.
  static void map(In* in, Out* out, VInt n, InitFunc* init, CleanFunc* clean, MapWorkFunc* work,
                  int num_threads, AceReporter* rep);

  /// The threads + 1 chunk limits, in `at`: chunk i covers [limit[i], limit[i + 1]), and chunk sizes differ
  /// by at most one. `threads` is at least 1.
  static VInt* compute_chunk_limits(VInt n, int threads, AceAttach* at);

  /// `work` for each index from `first` up to but excluding `last`, in ascending order. Throws where the
  /// thread is asked to end.
  static void map_worker(VInt first, VInt last, MapWorkFunc* work, In* in, Out* out, Worker* worker) {
    for (VInt index = first; index < last; ++index) {
      ace_check_stop();
      work(in, out, worker, index);
    }
  }

 private:
  /// Keeps the first exception of any thread.
  class FirstFailure {
   public:
    template <class Action>
    void guard(Action action) noexcept {
      try {
        action();
      } catch (...) {
        const std::scoped_lock lock(failureMutex);
        if (!firstFailure) firstFailure = std::current_exception();
      }
    }
    void rethrow() const {
      if (firstFailure) std::rethrow_exception(firstFailure);
    }

   private:
    std::mutex failureMutex;
    std::exception_ptr firstFailure;
  };

  static void run_chunks(const VInt* limits, int threads, MapWorkFunc* work, In* in, Out* out,
                         Worker* workers, FirstFailure* failure);
};

template <class In, class Out, class Worker>
VInt* AceParallel<In, Out, Worker>::compute_chunk_limits(VInt n, int threads, AceAttach* at) {
  VInt* limits = nullptr;
  at->malloc(limits, threads + 1L);
  const VInt whole = n / threads;
  const VInt rest = n % threads;
  for (VInt i = 0; i <= threads; ++i)
    limits[i] = i * whole + i * rest / threads;  // i * n / threads; that may overflow
  return limits;
}

template <class In, class Out, class Worker>
void AceParallel<In, Out, Worker>::run_chunks(const VInt* limits, int threads, MapWorkFunc* work, In* in,
                                              Out* out, Worker* workers, FirstFailure* failure) {
  const auto run = [=](int chunk) {
    failure->guard([&] { map_worker(limits[chunk], limits[chunk + 1], work, in, out, &workers[chunk]); });
  };
  AceAttach threadAt;
  pthread_t* ids = nullptr;
  threadAt.malloc(ids, threads);
  // Nothing may be thrown from here on: the threads use what is on this stack.
  const auto start = [&](int chunk) {
    try {
      return ace_create_thread(
                 &ids[chunk - 1], [=] { run(chunk); }, 0, &threadAt) == 0;
    } catch (const std::bad_alloc&) {
      return false;
    }
  };
  int started = 0;
  while (started + 1 < threads && start(started + 1)) ++started;
  run(0);
  for (int chunk = started + 1; chunk < threads; ++chunk) run(chunk);
  ace_join_threads(started, ids);
}

template <class In, class Out, class Worker>
void AceParallel<In, Out, Worker>::map(In* in, Out* out, VInt n, InitFunc* init, CleanFunc* clean,
                                       MapWorkFunc* work, int num_threads, AceReporter*) {
  const AceUncancellable uncancellable;
  const AceTimeSection whole("PARALLEL_MAP");
  if (n < 1) return;
  const int threads = static_cast<int>(std::min<VInt>(ace_get_trace_num_threads(num_threads), n));
  time_analysis_print(0, 0, "Array length: %ld", n);
  time_analysis_print(0, 0, "Num. threads: %i", threads);

  AceAttach at;
  const VInt* limits = compute_chunk_limits(n, threads, &at);
  FirstFailure failure;
  std::unique_ptr<Worker[]> workers;
  int numReady = 0;  // states whose init function has run, and whose clean function therefore must
  {
    const AceTimeSection section("Init");
    workers = std::make_unique<Worker[]>(static_cast<std::size_t>(threads));
    failure.guard([&] {
      for (; numReady < threads; ++numReady)
        if (init != nullptr) init(&workers[static_cast<std::size_t>(numReady)]);
    });
  }
  if (numReady == threads) {
    const AceTimeSection section("Work");
    if (threads == 1) {
      failure.guard([&] { map_worker(0, n, work, in, out, &workers[0]); });
    } else {
      const AceTimeThreads analysisThreads;
      run_chunks(limits, threads, work, in, out, workers.get(), &failure);
    }
  }
  {
    const AceTimeSection section("Cleanup");
    for (int i = 0; i < numReady; ++i)
      if (clean != nullptr) failure.guard([&] { clean(&workers[static_cast<std::size_t>(i)]); });
  }
  failure.rethrow();
}
