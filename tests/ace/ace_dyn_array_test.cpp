#include "ace/ace_dyn_array.h"

#include <deque>
#include <queue>
#include <random>

#include "ace/ace_dyn_heap.h"
#include "support/recording_reporter.h"

namespace {

TEST(DynArray, at_least_doubles_and_zeroes_what_is_new) {
  DynArray<int> array(4);
  EXPECT_EQ(array.get_mem(), 4U);
  ASSERT_EQ(array.size(4), 0);
  for (Large i = 0; i < 4; ++i) array[i] = static_cast<int>(i) + 1;
  ASSERT_EQ(array.size(5), 0);
  EXPECT_EQ(array.get_mem(), 8U);
  ASSERT_EQ(array.size(20), 0);
  EXPECT_EQ(array.get_mem(), 20U);
  for (Large i = 0; i < 20; ++i) EXPECT_EQ(array[i], i < 4 ? static_cast<int>(i) + 1 : 0);
  array.size(3);
  EXPECT_EQ(array.get_fill(), 20U) << "an array never shrinks";
  array[0] = 9;
  array.clear();
  ASSERT_EQ(array.size(1), 0);
  EXPECT_EQ(array[0], 0);
  EXPECT_EQ(array.get_mem(), 20U);
}

TEST(DynArray, refuses_what_memory_cannot_hold) {
  struct Large8G {
    char bytes[1L << 33];
  };
  DynArray<Large8G> array;
  EXPECT_EQ(array.size(0xFFFFFFFF), -1) << "2^65 bytes";
  EXPECT_THROW(DynArray<Large8G>(0xFFFFFFFF), std::bad_alloc);
  EXPECT_EQ(array.get_fill(), 0U);
}

TEST(DynQueue, agrees_with_a_queue) {
  std::mt19937 random(5);
  for (const Large initial : {0U, 1U, 7U}) {
    DynQueue<int> queue(initial);
    std::deque<int> oracle;
    for (int step = 0; step < 5000; ++step) {
      if (oracle.empty() || random() % 9 < (step / 1000 % 2 == 0 ? 6 : 3)) {
        queue.append(step);
        oracle.push_back(step);
      } else {
        ASSERT_EQ(queue.next(), oracle.front());
        ASSERT_EQ(queue.fetch(), oracle.front());
        oracle.pop_front();
      }
      ASSERT_EQ(queue.count(), oracle.size());
      if (step == 2500) queue.clear(), oracle.clear();
    }
  }
}

TEST(DynStack, gives_back_in_reverse_and_survives_its_own_elements) {
  DynStack<int> stack;
  for (int i = 0; i < 1000; ++i) stack.push(i == 0 ? 42 : stack[0] + i);
  EXPECT_EQ(stack.get_size(), 1000U);
  for (int i = 999; i >= 0; --i) {
    EXPECT_EQ(stack.get_top(), 42 + i);
    EXPECT_EQ(stack.pop(), 42 + i);
  }
  EXPECT_TRUE(stack.empty());
}

int compare(int first, int second) {
  return first < second ? -1 : first > second ? 1 : 0;
}

TEST(DynHeap, agrees_with_a_priority_queue) {
  std::mt19937 random(6);
  DynHeap<int> heap(compare, 2);
  std::priority_queue<int, std::vector<int>, std::greater<>> oracle;
  for (int step = 0; step < 20000; ++step) {
    const int value = static_cast<int>(random() % 500);
    const auto action = random() % 10;
    if (oracle.empty() || action < 5) {
      heap.push(value);
      oracle.push(value);
    } else if (action < 7) {
      ASSERT_EQ(heap.del_min(), oracle.top());
      oracle.pop();
    } else if (action < 9) {
      ASSERT_EQ(heap.replace_min(value), oracle.top());
      oracle.pop();
      oracle.push(value);
    } else {
      heap.get_array()[0] += value;
      heap.demote_min();
      oracle.push(oracle.top() + value);
      oracle.pop();
    }
    ASSERT_EQ(heap.card(), oracle.size());
    if (!oracle.empty()) {
      ASSERT_EQ(heap.get_min(), oracle.top());
    }
  }
}

TEST(DynHeap, is_mended_after_changes_and_sorts) {
  std::mt19937 random(7);
  for (Large count = 0; count < 60; ++count) {
    DynHeap<int> heap(compare);
    for (Large i = 0; i < count; ++i) heap.insert(static_cast<int>(random() % 20));
    for (int round = 0; round < 20 && count > 0; ++round) {
      const Large pos = static_cast<Large>(random()) % count;
      heap.get_array()[pos] = static_cast<int>(random() % 20);
      heap.update(pos);
    }
    for (Large i = 0; i < count; i += 3) heap.get_array()[i] = static_cast<int>(random() % 20);
    heap.update();
    std::vector<int> sorted(heap.get_array(), heap.get_array() + count);
    std::sort(sorted.begin(), sorted.end());
    heap.sort();
    EXPECT_EQ(std::vector<int>(heap.get_array(), heap.get_array() + count), sorted);
    for (const int expected : sorted) EXPECT_EQ(heap.del_min(), expected);
  }
}

TEST(DynHeap, is_printed_level_by_level) {
  DynHeap<int> heap(compare);
  for (const int value : {-3, 5, 4, 9}) heap.push(value);
  support::RecordingReporter rep;
  heap.write(&rep);
  EXPECT_EQ(rep.all(), "0: -3\n  1: 5\n  2: 4\n    3: 9\n");
}

}  // namespace
