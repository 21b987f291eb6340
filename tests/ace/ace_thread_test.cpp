#include "ace/ace_thread.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>
#include <random>
#include <span>
#include <stdexcept>
#include <thread>
#include <vector>

#include "ace/ace_atomic.h"
#include "ace/ace_exception.h"
#include "ace/ace_lock.h"
#include "ace/ace_mem_point.h"
#include "ace/ace_parallel.h"
#include "ace/ace_parallel_sort.h"
#include "gtest/gtest.h"
#include "support/failing_new.h"

namespace {

TEST(AceAtomic, swaps_exactly_when_the_expected_value_is_found) {
  const auto check = [](auto five, auto six, auto seven) {
    auto value = five;
    EXPECT_EQ(ace_compare_and_swap(&value, seven, five), five);
    EXPECT_EQ(value, seven);
    value = six;
    EXPECT_EQ(ace_compare_and_swap(&value, seven, five), six);
    EXPECT_EQ(value, six);
  };
  check(5, 6, 7);
  check(5u, 6u, 7u);
  check(5l, 6l, 7l);
  check(5ul, 6ul, 7ul);
  int things[3];
  check(static_cast<void*>(&things[0]), static_cast<void*>(&things[1]), static_cast<void*>(&things[2]));
}

TEST(AceThread, counts_are_moved_into_their_range) {
  EXPECT_EQ(ace_get_default_num_threads(), 1);
  EXPECT_EQ(ace_get_trace_num_threads(0), 1);
  EXPECT_EQ(ace_set_default_num_threads(0), 1);
  EXPECT_EQ(ace_set_default_num_threads(5000), 2048);
  EXPECT_EQ(ace_get_trace_num_threads(0), 2048);
  EXPECT_EQ(ace_get_trace_num_threads(5000), 2048);
  EXPECT_EQ(ace_get_trace_num_threads(3), 3);
  EXPECT_EQ(ace_get_trace_num_threads(-1), sysconf(_SC_NPROCESSORS_ONLN) + 1);
}

TEST(AceThread, created_threads_are_registered_while_they_run) {
  AceAttach at;
  pthread_t thread;
  int registered = -1;
  int registeredAtEnd = -1;
  bool isMain = true;
  // What the function owns may be kernel memory, so it must go while the thread is registered.
  std::shared_ptr<int> owned(&registeredAtEnd, [](int* count) { *count = ace_num_threads(); });
  auto func = [&registered, &isMain, mine = std::move(owned)] {
    registered = ace_num_threads();
    isMain = ace_is_main_thread();
  };
  ASSERT_EQ(ace_create_thread(&thread, std::move(func), 1, &at), 0);
  ace_join_threads(1, &thread);
  EXPECT_EQ(registered, 1);
  EXPECT_EQ(registeredAtEnd, 1);
  EXPECT_FALSE(isMain);
  EXPECT_TRUE(ace_is_main_thread());
  EXPECT_EQ(ace_num_threads(), 0);
}

TEST(AceLock, excludes_other_threads_and_lets_its_holder_in_again) {
  AceLock lock;
  AceCount count;
  long sum = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 2000; ++i) {
        lock.lock();
        lock.lock();
        ++sum;
        lock.unlock();
        lock.unlock();
        count.modify(t % 2 == 0 ? 2 : -1);
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(sum, 8000);
  EXPECT_EQ(count.get(), 4000);
}

struct State {
  int numDone = 0;
  bool isReady = false;
};
using Map = AceParallel<const int, int, State>;
std::atomic<int> num_cleaned = 0;

void square(const int* in, int* out, State* state, VInt index) {
  EXPECT_TRUE(state->isReady);
  out[index] += in[index] * in[index];
  ++state->numDone;
}
void init_state(State* state) {
  state->isReady = true;
}
void clean_state(State* state) {
  EXPECT_GT(state->numDone, 0) << "every thread has work";
  ++num_cleaned;
}

TEST(AceParallel, finishes_every_index_once_for_all_lengths_and_thread_counts) {
  for (const int n : {1, 2, 5, 10, 97, 1000})
    for (const int threads : {1, 2, 3, 8, 40}) {
      std::vector<int> in(static_cast<std::size_t>(n));
      std::vector<int> out(in.size(), 0);
      for (int i = 0; i < n; ++i) in[static_cast<std::size_t>(i)] = i;
      num_cleaned = 0;
      Map::map(in.data(), out.data(), n, init_state, clean_state, square, threads, nullptr);
      EXPECT_EQ(num_cleaned, std::min(n, threads));
      for (int i = 0; i < n; ++i) ASSERT_EQ(out[static_cast<std::size_t>(i)], i * i) << n << " / " << threads;
    }
  Map::map(nullptr, nullptr, 0, nullptr, nullptr, square, 4, nullptr);
  EXPECT_EQ(ace_num_threads(), 0);
}

TEST(AceParallel, the_caller_does_the_chunks_whose_threads_the_system_refuses) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{1} << 50), 0);
  ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
  std::vector<int> in(10, 2);
  std::vector<int> out(10, 0);
  num_cleaned = 0;
  Map::map(in.data(), out.data(), 10, init_state, clean_state, square, 4, nullptr);
  EXPECT_EQ(out, std::vector<int>(10, 4));
  EXPECT_EQ(num_cleaned, 4);
}

TEST(AceParallel, memory_that_ends_anywhere_leaves_no_thread_behind) {
  const auto count = [](const int*, int* out, State*, VInt index) { ++out[index]; };
  time_analysis_switch(1, 0);
  bool isEnough = false;
  for (long allowed = 0; !isEnough; ++allowed) {
    std::vector<int> out(10, 0);
    auto* points = new AceMemPoint(0, 0, 0, "a", 0, 0, new AceMemPoint(0, 0, 0, "b", 0, 0, nullptr));
    bool isDone = true;
    support::numNewsLeft = allowed;
    try {
      Map::map(nullptr, out.data(), 10, nullptr, nullptr, count, 4, nullptr);
    } catch (const std::bad_alloc&) {
      isDone = false;
    }
    isEnough = support::numNewsLeft > 0;
    AceMemPoint::remove(points);
    support::numNewsLeft = -1;
    ASSERT_EQ(out, std::vector<int>(10, isDone ? 1 : 0)) << allowed;
    ASSERT_EQ(ace_num_threads(), 0) << allowed;
  }
}

TEST(AceParallelSort, equal_elements_keep_their_order_for_any_number_of_pieces) {
  const auto isLess = [](VInt a, VInt b) { return a >> 32 < b >> 32; };  // below it, their places
  const auto sort = [&](std::span<VInt> piece) { std::stable_sort(piece.begin(), piece.end(), isLess); };
  std::mt19937 random(3);
  for (const VInt size : {VInt{0}, VInt{1}, 7 * ACE_MIN_SORT_PIECE + 5})
    for (const int threads : {1, 2, 3, 5, 40}) {
      std::vector<VInt> values;
      for (VInt i = 0; i < size; ++i) values.push_back(static_cast<VInt>(random() % 1000) << 32 | i);
      std::vector<VInt> expected(values);
      std::sort(expected.begin(), expected.end());
      ace_parallel_sort(std::span(values), sort, isLess, threads);
      EXPECT_TRUE(values == expected) << size << " / " << threads;
    }
}

TEST(AceParallel, chunk_limits_cover_the_array_evenly) {
  AceAttach at;
  const VInt* limits = Map::compute_chunk_limits(10, 3, &at);
  EXPECT_EQ(std::vector<VInt>(limits, limits + 4), (std::vector<VInt>{0, 3, 6, 10}));
  const VInt huge = INT64_MAX - 1;
  limits = Map::compute_chunk_limits(huge, 2048, &at);
  for (int i = 0; i < 2048; ++i) ASSERT_LT(limits[i], limits[i + 1]);
  EXPECT_EQ(limits[2048], huge);
}

TEST(AceParallel, an_exception_reaches_the_caller_after_the_other_chunks_have_finished) {
  std::vector<int> in(100, 1);
  for (const int threads : {1, 4}) {
    std::vector<int> out(in.size(), 0);
    num_cleaned = 0;
    const auto fail = [](const int*, int* result, State* state, VInt index) {
      ++state->numDone;
      if (index == 60) throw AceException("index 60");
      result[index] = 1;
    };
    EXPECT_THROW(Map::map(in.data(), out.data(), 100, nullptr, clean_state, fail, threads, nullptr),
                 AceException);
    EXPECT_EQ(num_cleaned, threads);
    EXPECT_EQ(out[59], 1);
    EXPECT_EQ(out[99], threads == 1 ? 0 : 1);
  }
  int numStarted = 0;
  static int* started = &numStarted;
  const auto failingInit = [](State*) {
    if (++*started == 3) throw std::runtime_error("third");
  };
  num_cleaned = 0;
  const auto count = [](State*) { ++num_cleaned; };
  EXPECT_THROW(Map::map(in.data(), nullptr, 100, failingInit, count, square, 5, nullptr), std::runtime_error);
  EXPECT_EQ(num_cleaned, 2) << "exactly the states that were initialised";
}

}  // namespace
