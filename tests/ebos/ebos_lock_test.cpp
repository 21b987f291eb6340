/// A lost wake-up shows as a test that does not end.
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <vector>

#include "ebos/ebos_mutex.h"
#include "ebos/ebos_semaphore.h"
#include "ebos/ebos_stop_cond.h"
#include "ebos/ebos_vip_lock.h"
#include "gtest/gtest.h"

namespace {

constexpr int NUM_ROUNDS = 20000;

void run_beside(int count, const std::function<void()>& job) {
  std::vector<std::jthread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(job);
}

TEST(EbosMutex, excludes_others_and_lets_its_holder_in_again) {
  EbosMutex mutex;
  long sum = 0;
  run_beside(4, [&] {
    for (int i = 0; i < NUM_ROUNDS; ++i) {
      const std::scoped_lock outer(mutex);
      const std::scoped_lock inner(mutex);
      ++sum;
    }
  });
  EXPECT_EQ(sum, 4L * NUM_ROUNDS);
  const std::scoped_lock held(mutex);
  std::thread([&] { EXPECT_EQ(mutex.trylock(), 0); }).join();
}

TEST(EbosSharedMutex, readers_meet_readers_but_no_writer) {
  EbosSharedMutex mutex;
  long first = 0;
  long second = 0;
  std::atomic<int> numReaders = 0;
  run_beside(2, [&] {
    for (int i = 0; i < NUM_ROUNDS; ++i) {
      {
        const std::scoped_lock writer(mutex);
        EXPECT_EQ(numReaders, 0);
        ++first;
        ++second;
      }
      const std::shared_lock reader(mutex);
      ++numReaders;
      EXPECT_EQ(first, second);
      --numReaders;
    }
  });
  EXPECT_EQ(first, 2L * NUM_ROUNDS);
  const std::shared_lock here(mutex);
  std::thread([&] { const std::shared_lock there(mutex); }).join();
}

TEST(EbosSemaphore, passes_one_permit_to_and_fro) {
  EbosSemaphore ping(true);
  EbosSemaphore pong(false);
  int turn = 0;
  std::jthread other([&] {
    for (int i = 0; i < NUM_ROUNDS; ++i) {
      pong.acquire();
      EXPECT_EQ(turn++, 2 * i + 1);
      ping.release();
    }
  });
  for (int i = 0; i < NUM_ROUNDS; ++i) {
    ping.acquire();
    EXPECT_EQ(turn++, 2 * i);
    pong.release();
  }
  ping.acquire();
  ping.release();
  ping.release();
  EXPECT_TRUE(ping.try_acquire());
  EXPECT_FALSE(ping.try_acquire());
}

TEST(EbosVipLock, a_request_that_fails_leaves_the_lock_to_its_holder) {
  EbosVipLock lock;
  EXPECT_FALSE(lock.vip_lock());  // no grant
  lock.lock();
  lock.vip_unlock();
  EXPECT_FALSE(lock.vip_lock());  // not free
  EXPECT_FALSE(lock.vip_lock());  // its grant is used up
  lock.unlock();
  lock.lock();
  lock.unlock();
}

TEST(EbosVipLock, holders_of_both_kinds_exclude_each_other_and_all_get_through) {
  EbosVipLock lock;
  long sum = 0;
  std::atomic<bool> isOver = false;
  std::jthread granter([&] {
    while (!isOver) {
      lock.vip_unlock();
      std::this_thread::yield();
    }
  });
  std::jthread ordinary([&] {
    run_beside(2, [&] {
      for (int i = 0; i < NUM_ROUNDS; ++i) {
        lock.lock();
        ++sum;
        lock.unlock();
      }
    });
  });
  constexpr int NUM_PRIORITY = 1000;
  for (int numHeld = 0; numHeld < NUM_PRIORITY;) {
    if (!lock.vip_lock()) continue;
    ++sum;
    ++numHeld;
    lock.unlock();
  }
  ordinary.join();
  isOver = true;
  EXPECT_EQ(sum, 2L * NUM_ROUNDS + NUM_PRIORITY);
}

TEST(EbosStopCond, wakes_whoever_waits_and_may_be_destroyed_by_them) {
  using namespace std::chrono_literals;
  using Waiting = std::function<void(EbosStopCond*)>;
  const std::vector<Waiting> kinds = {
      [](EbosStopCond* cond) { cond->wait(); },
      [](EbosStopCond* cond) { EXPECT_TRUE(cond->wait_for(std::chrono::milliseconds::max())); },
      [](EbosStopCond* cond) { EXPECT_TRUE(cond->wait_for(1h)); },
      [](EbosStopCond* cond) { EXPECT_TRUE(cond->wait_until(std::chrono::system_clock::now() + 1h)); },
      [](EbosStopCond* cond) {
        EXPECT_TRUE(cond->wait_until(std::chrono::system_clock::time_point::max()));
      }};
  EbosSemaphore made(false);
  EbosSemaphore taken(true);
  EbosStopCond* cond = nullptr;
  constexpr std::size_t NUM_CONDS = 5000;
  std::jthread setter([&] {
    for (std::size_t i = 0; i < NUM_CONDS; ++i) {
      made.acquire();
      EbosStopCond* const mine = cond;
      taken.release();
      mine->set();
    }
  });
  for (std::size_t i = 0; i < NUM_CONDS; ++i) {
    const auto own = std::make_unique<EbosStopCond>();
    taken.acquire();
    cond = own.get();
    made.release();
    kinds[i % kinds.size()](own.get());
  }
  EbosStopCond unset;
  EXPECT_FALSE(unset.wait_for(1ms));
  EXPECT_FALSE(unset.wait_for(std::chrono::milliseconds::min()));
  EXPECT_FALSE(unset.wait_until(std::chrono::system_clock::time_point::min()));
  EXPECT_FALSE(unset.get());
}

}  // namespace
