#include "ebos/ebos_thread_pool.h"

#include <signal.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ace/ace_parallel.h"
#include "ace/ace_timer.h"
#include "ebos/ebos_semaphore.h"
#include "gtest/gtest.h"
#include "support/recording_reporter.h"

namespace {

using enum EbosThreadState;

int count(void* counter) {
  return ++*static_cast<std::atomic<int>*>(counter);
}

int release(void* semaphore) {
  static_cast<EbosSemaphore*>(semaphore)->release();
  return 0;
}

/// Until idle workers, which are told to stop each time, are gone.
void clean_all(EbosThreadPool* pool) {
  while (pool->num_workers() > 0) {
    pool->clean(0.0);
    std::this_thread::yield();
  }
}

TEST(EbosThreadPool, runs_every_task_once_while_idle_workers_are_stopped) {
  constexpr int NUM_TASKS = 2000;
  EbosThreadPool pool;
  std::atomic<int> numRun = 0;
  {
    std::vector<std::jthread> hosts;
    for (int host = 0; host < 3; ++host)
      hosts.emplace_back([&] {
        for (int i = 0; i < NUM_TASKS; ++i) EXPECT_EQ(pool.dispatch_worker(count, &numRun), 0);
      });
    for (int i = 0; i < NUM_TASKS; ++i) pool.clean(0.0);
  }
  while (numRun < 3 * NUM_TASKS) std::this_thread::yield();
  clean_all(&pool);
  EXPECT_EQ(numRun, 3 * NUM_TASKS);
}

TEST(EbosThreadPool, uses_a_worker_again_until_it_has_been_idle_for_too_long) {
  EbosThreadPool pool;
  EbosSemaphore done(false);
  auto* worker = new EbosThreadControl(&pool);
  std::atomic<int> numCleaned = 0;
  worker->set_cleanup(count, &numCleaned);
  EXPECT_EQ(worker->dispatch(release, &done), 0);
  done.acquire();
  while (!(worker->get_idle_time() > 0)) std::this_thread::yield();
  pool.clean(1e9);
  EXPECT_EQ(pool.num_workers(), 1);
  clean_all(&pool);
  EXPECT_EQ(numCleaned, 1);
  EXPECT_EQ(pool.dispatch_worker(nullptr, nullptr), -1);
}

TEST(EbosThreadPool, a_task_that_throws_ends_its_worker) {
  support::RecordingReporter rep;
  rep.set_as_default();
  EbosThreadPool pool;
  std::atomic<int> numCleaned = 0;
  auto* worker = new EbosThreadControl(&pool);
  worker->set_cleanup(count, &numCleaned);
  worker->dispatch([](void*) -> int { throw std::runtime_error("x"); }, nullptr);
  while (worker->get_state() != FINISHED) std::this_thread::yield();
  EXPECT_EQ(worker->dispatch(count, &numCleaned), -1);
  EXPECT_EQ(numCleaned, 1);
  pool.clean(1e9);
  EXPECT_EQ(pool.num_workers(), 0);
  EXPECT_NE(rep.all().find("Caught unknown exception from thread!\n"), std::string::npos);
}

TEST(EbosThreadPool, a_stopped_worker_never_becomes_active_again) {
  constexpr EbosThreadState STATES[] = {RUNNING, STOPPING, RETURNING, FINISHED};
  constexpr EbosThreadState AFTER[4][4] = {{RUNNING, STOPPING, RETURNING, FINISHED},
                                           {STOPPING, STOPPING, FINISHED, FINISHED},
                                           {RUNNING, FINISHED, RETURNING, FINISHED},
                                           {FINISHED, FINISHED, FINISHED, FINISHED}};
  EbosThreadPool pool;
  for (const EbosThreadState from : STATES)
    for (const EbosThreadState to : STATES) {
      auto* worker = new EbosThreadControl(&pool);
      while (worker->get_state() != RUNNING) std::this_thread::yield();
      worker->setState(from);
      const bool isOver = worker->get_state() == FINISHED;  // it may have begun to end by itself
      worker->setState(to);
      EXPECT_EQ(worker->get_state(), isOver ? FINISHED : AFTER[static_cast<int>(from)][static_cast<int>(to)]);
      worker->shutdown();
    }
  clean_all(&pool);
}

TEST(EbosThreadPool, waits_for_the_end_stops_workers_by_force_and_lets_the_hooks_run) {
  support::RecordingReporter rep;
  rep.set_as_default();
  struct Signs {
    EbosSemaphore entered{false};
    EbosSemaphore gone{false};
  } signs;
  struct Stuck {
    ~Stuck() { gone->release(); }
    EbosSemaphore* gone;
  };
  std::atomic<int> numTasks = 0;
  std::atomic<int> numHooks = 0;
  EbosThreadPool pool;
  const auto stick = [](void* given) -> int {
    auto* const both = static_cast<Signs*>(given);
    const Stuck stuck{&both->gone};
    both->entered.release();
    EbosSemaphore never(false);
    never.acquire();
    return 0;
  };
  ASSERT_EQ(pool.dispatch_worker(stick, &signs), 0);
  ASSERT_EQ(pool.dispatch_worker(count, &numTasks), 0);
  EXPECT_NE(EbosThreadPool::dispatch_on_shutdown("a hook with a long name", count, &numHooks, 0), 0u);
  EbosThreadPool::dispatch([](void*) { return EbosThreadPool::shutdown(), 0; }, nullptr, 0);
  signs.entered.acquire();
  while (numTasks < 1) AceTimer::sleep(1e-3);  // one that has not begun when the pool ends never does
  EXPECT_EQ(pool.wait(0.001), 0);
  EXPECT_EQ(numHooks, 1);
  EXPECT_EQ(pool.num_workers(), 0);
  EXPECT_EQ(pool.dispatch_worker(count, &numTasks), -1);
  signs.gone.acquire();
  const std::string log = rep.all();
  EXPECT_NE(log.find("] Notifying all threads to shutdown gracefully\n"), std::string::npos);
  EXPECT_NE(log.find("] Some threads exit too slowly, forcing exit\n"), std::string::npos);
  EXPECT_EQ(log.find("Signaled shutdown"), std::string::npos);
}

TEST(EbosThreadPool, a_stopped_pool_ends_parallel_work_together) {
  support::RecordingReporter rep;
  rep.set_as_default();
  using Map = AceParallel<void, std::atomic<int>, int>;
  std::atomic<int> numRunning = 0;
  {
    EbosThreadPool pool;
    const auto task = [](void* counter) {
      // Without an end of its own. What is left of it when the pool is gone would run on freed memory.
      const auto spin = [](void*, std::atomic<int>* running, int*, VInt) {
        ++*running, AceTimer::sleep(1e-4), --*running;
      };
      Map::map(nullptr, static_cast<std::atomic<int>*>(counter), VInt{1} << 40, nullptr, nullptr, spin, 3,
               nullptr);
      return 0;
    };
    for (int i = 0; i < 3; ++i) ASSERT_EQ(pool.dispatch_worker(task, &numRunning), 0);
    while (numRunning == 0) std::this_thread::yield();
  }
  EXPECT_EQ(numRunning, 0);
  EXPECT_EQ(ace_num_threads(), 0);
  EXPECT_NE(rep.all().find("Stopped on request"), std::string::npos);
  EXPECT_EQ(rep.all().find("forcing exit"), std::string::npos);
}

TEST(EbosThreadPool, a_signal_starts_the_hooks) {
  support::RecordingReporter rep;
  rep.set_as_default();
  EbosSemaphore called(false);
  const HANDLE hook = EbosThreadPool::dispatch_on_shutdown(nullptr, release, &called, 0);
  raise(SIGTERM);
  EbosThread::wait(hook);
  EXPECT_TRUE(called.try_acquire());
  EXPECT_EQ(EbosThreadPool::get_signal(), SIGTERM);
  EXPECT_NE(rep.all().find("] Signaled shutdown (15)\n"), std::string::npos);
}

TEST(EbosThreadPool, returning_to_an_empty_pool_ends_the_process) {
  EXPECT_EXIT(EbosThreadPool::instance()->return_thread(nullptr), testing::ExitedWithCode(0), "");
}

}  // namespace
