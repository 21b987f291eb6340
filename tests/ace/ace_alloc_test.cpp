#include "ace/ace_alloc.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "ace/ace_admin.h"
#include "ace/ace_reporter.h"
#include "ace/ace_thread.h"
#include "gtest/gtest.h"
#include "support/recording_reporter.h"

namespace {

using support::RecordingReporter;

std::string statistics() {
  RecordingReporter rep;
  ace_alloc_show(&rep);
  return rep.all();
}

/// Blocks in use of a class, as the statistics tell; 0 when the class does not appear.
int in_use(int payload) {
  const std::string text = statistics();
  const auto at = text.find("size:\t" + std::to_string(payload) + "\t");
  return at == std::string::npos ? 0 : std::stoi(text.substr(text.find("in use:\t", at) + 8));
}

AceChunk* chunk_of(void* payload) {
  return AceMark::of(payload)->fromChunk;
}

TEST(AceAlloc, before_initialisation_every_block_comes_from_the_system_heap) {
  // Registries of the library have taken some before.
  const auto from_system = [](const std::string& text) {
    long bytes = 0;
    int mallocs = 0;
    EXPECT_EQ(std::sscanf(text.substr(text.find("SYSTEM\t")).c_str(), "SYSTEM\t%ld\tbytes\t%d\tmallocs",
                          &bytes, &mallocs),
              2);
    return std::pair(bytes, mallocs);
  };
  const auto [bytes, mallocs] = from_system(statistics());
  void* block = ace_alloc(10);
  EXPECT_EQ(chunk_of(block), nullptr);
  const std::string text = statistics();
  EXPECT_EQ(text.find("HEAD"), std::string::npos) << text;
  EXPECT_EQ(from_system(text), std::pair(bytes + 10, mallocs + 1)) << text;
  EXPECT_NE(text.find("ACEMEM\t0\tbytes in use\t0\tblocks out of\t0\ttotal\n"), std::string::npos) << text;
  ace_delete(block);
}

TEST(AceAlloc, the_limit_is_at_least_64_and_comes_back_after_switching_off) {
  ace_alloc_init(10);
  void* largest = ace_alloc(64);
  void* beyond = ace_alloc(65);
  EXPECT_NE(chunk_of(largest), nullptr);
  EXPECT_EQ(chunk_of(beyond), nullptr);
  EXPECT_NE(statistics().find("HEAD\tmaximum\tsize:\t64\tin use:\t1\tmax:\t1\n"), std::string::npos);
  ace_alloc_init(0);
  void* off = ace_alloc(8);
  EXPECT_EQ(chunk_of(off), nullptr);
  ace_alloc_init(500);
  void* on = ace_alloc(65);
  EXPECT_EQ(chunk_of(on), nullptr) << "the old limit of 64 holds";
  for (void* block : {largest, beyond, off, on}) ace_delete(block);
}

TEST(AceAlloc, a_request_is_served_by_the_smallest_class_that_holds_it) {
  ace_alloc_init(2000);
  const int classes[] = {8, 16, 24, 32, 48, 64, 96, 128, 192, 256, 384, 512, 768, 1024, 1536, 2000};
  int size = 1;
  for (const int payload : classes)
    for (; size <= payload; ++size) {
      void* block = ace_alloc(static_cast<std::size_t>(size));
      EXPECT_EQ(in_use(payload), 1) << size;
      ace_delete(block);
    }
  AceMark* mark = ace_alloc();
  void* empty = ace_alloc(std::size_t{0});
  EXPECT_EQ(mark->fromChunk, chunk_of(empty)) << "a block of no bytes is a mark";
  ace_delete(mark->use_mem());
  ace_delete(empty);
}

TEST(AceAlloc, impossible_sizes_throw_and_leave_everything_as_it_was) {
  ace_alloc_init(2000);
  AceAttach at;
  EXPECT_THROW(ace_alloc(SIZE_MAX), std::bad_alloc);
  EXPECT_THROW(ace_alloc(SIZE_MAX - 15), std::bad_alloc);
  EXPECT_THROW(at.alloc(-1), std::bad_alloc);
  EXPECT_THROW(at.calloc(INT64_MIN), std::bad_alloc);
  EXPECT_THROW(at.attach("x", INT64_MAX), std::bad_alloc);
  long* place = nullptr;
  EXPECT_THROW(at.malloc(place, INT64_MAX / 2), std::bad_alloc);
  EXPECT_EQ(at.memList, nullptr);
  EXPECT_EQ(ace_head("big", 2000), nullptr);
  EXPECT_EQ(ace_head("negative", -1), nullptr);
}

/// Random operations against a map of what each block must contain.
TEST(AceAlloc, blocks_keep_their_contents_and_chunks_stay_consistent) {
  ace_alloc_init(2000);
  ace_alloc_debug(40);
  std::mt19937 random(7);
  std::map<unsigned char*, std::pair<std::size_t, int>> blocks;
  const auto check_and_forget = [&](auto it) {
    for (std::size_t i = 0; i < it->second.first; ++i) ASSERT_EQ(it->first[i], it->second.second);
    blocks.erase(it);
  };
  for (int step = 0; step < 60'000; ++step) {
    const int fill = static_cast<int>(random() % 256);
    const std::size_t size = random() % 8 == 0 ? random() % 5000 : random() % 300;
    if (blocks.empty() || random() % 16 < 9) {
      auto* block = static_cast<unsigned char*>(ace_alloc(size, fill));
      ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block) % 8, 0u);
      ASSERT_TRUE(blocks.emplace(block, std::pair(size, fill)).second) << "handed out twice";
      continue;
    }
    auto it = blocks.lower_bound(reinterpret_cast<unsigned char*>(
        reinterpret_cast<std::uintptr_t>(blocks.begin()->first) + (std::uintptr_t{random()} << 12)));
    if (it == blocks.end()) it = blocks.begin();
    auto* block = it->first;
    const auto [oldSize, oldFill] = it->second;
    if (random() % 4 == 0) {
      auto* moved = static_cast<unsigned char*>(ace_realloc(block, static_cast<long>(size)));
      blocks.erase(it);
      for (std::size_t i = 0; i < std::min(size, oldSize); ++i) ASSERT_EQ(moved[i], oldFill);
      std::memset(moved, oldFill, size);
      blocks.emplace(moved, std::pair(size, oldFill));
    } else {
      check_and_forget(it);
      ace_delete(block);
    }
    for (auto held = blocks.begin(); step % 1000 == 0 && held != blocks.end(); ++held) {
      AceChunk* chunk = chunk_of(held->first);
      ASSERT_TRUE(chunk == nullptr || chunk->is_consistent());
    }
  }
  while (!blocks.empty()) {
    auto* block = blocks.begin()->first;
    check_and_forget(blocks.begin());
    ace_delete(block);
  }
  EXPECT_NE(statistics().find("ACEMEM\t0\tbytes in use\t0\tblocks out of\t"), std::string::npos);
  ace_alloc_clean();
  EXPECT_NE(statistics().find("blocks out of\t0\ttotal"), std::string::npos) << statistics();
}

TEST(AceAlloc, realloc_refuses_linked_blocks_and_never_shrinks) {
  ace_alloc_init(2000);
  AceAttach at;
  at.mark();
  EXPECT_EQ(ace_realloc(at.alloc(10), 20), nullptr);
  auto* block = static_cast<char*>(ace_alloc(16));
  std::memcpy(block, "0123456789abcdef", 16);
  EXPECT_EQ(ace_realloc(block, 3), block);
#if defined(ACE_ADDRESS_SANITIZER) || defined(__SANITIZE_THREAD__)
  const long refused = LONG_MAX;  // the sanitizer's heap ends the process rather than refuse
#else
  const long refused = LONG_MAX - 16;
#endif
  for (const long size : {-1L, refused})
    for (void* any : {static_cast<void*>(block), static_cast<void*>(nullptr)})
      EXPECT_EQ(ace_realloc(any, size), nullptr);
  auto* grown = static_cast<char*>(ace_realloc(block, 100));
  EXPECT_NE(grown, block);
  EXPECT_EQ(std::memcmp(grown, "0123456789abcdef", 16), 0);
  ace_alloc_init(0);  // chunks off: the copy must fit into the smaller block
  auto* small = static_cast<char*>(ace_realloc(grown, 4));
  EXPECT_EQ(std::memcmp(small, "0123", 4), 0);
  ace_delete(small);
}

TEST(AceAlloc, oversized_requests_are_reported_and_served) {
  ace_alloc_init(2000);
  RecordingReporter rep;
  rep.set_as_default();
  EXPECT_EQ(ace_alloc_warning(1000), 1000);
  void* small = ace_alloc(1500);  // from a chunk: never reported
  void* large = ace_alloc(5000);
  AceReporter::clear_default();
  ASSERT_EQ(rep.events.size(), 1u);
  EXPECT_EQ(rep.events[0], "wSORV_0000 Allocation of 5000 bytes crossing limit of 1000 bytes!\n");
  ace_delete(small);
  ace_delete(large);
}

TEST(AceAlloc, dedicated_and_debug_heads_count_their_blocks_by_name) {
  ace_alloc_init(2000);
  AceHead* head = ace_head("nodes", 40);
  EXPECT_EQ(ace_head("nodes", 40), head);
  EXPECT_NE(ace_head("nodes", 48), head);
  EXPECT_NE(ace_head("other", 40), head);
  auto* block = static_cast<unsigned char*>(ace_alloc(head, 0xAB));
  EXPECT_EQ(block[39], 0xAB);
  EXPECT_NE(statistics().find("HEAD\tnodes\tsize:\t40\tin use:\t1\tmax:\t1\n"), std::string::npos);
  ace_alloc_debug(12);
  void* nine = ace_alloc(9);
  EXPECT_NE(statistics().find("HEAD\tdebug0009\tsize:\t12\tin use:\t1\tmax:\t1\n"), std::string::npos);
  ace_delete(nine);
  ace_delete(block);
}

TEST(AceAlloc, a_block_freed_by_another_thread_is_reused_after_its_owner_has_ended) {
  ace_alloc_init(2000);
  AceAttach threadAt;
  std::vector<void*> blocks;
  const auto run = [&](std::function<void()> func) {
    pthread_t thread;
    ASSERT_EQ(ace_create_thread(&thread, std::move(func), 0, &threadAt), 0);
    ace_join_threads(1, &thread);
  };
  run([&] {
    for (int i = 0; i < 1000; ++i) blocks.push_back(ace_alloc(100));
    EXPECT_EQ(in_use(128), 1000);
  });
  for (void* block : blocks) ace_delete(block);
  run([&] { EXPECT_EQ(in_use(128), 1000) << "they wait on the parked owner's stack"; });
  run([&] { EXPECT_EQ(in_use(128), 0) << "the thread before took them back when it ended"; });
  ace_release_thread_local_mem();
  EXPECT_EQ(ace_num_threads(), 0);
}

/// Producers and consumers pass blocks around; whoever comes last frees them.
TEST(AceAlloc, threads_free_each_others_blocks_without_losing_any) {
  ace_alloc_init(2000);
  constexpr int THREADS = 4;
  constexpr int ROUNDS = 2000;
  std::vector<void*> exchange(64);
  const auto work = [&](unsigned seed) {
    std::mt19937 random(seed);
    for (int round = 0; round < ROUNDS; ++round) {
      const int size = static_cast<int>(8 + random() % 500);
      auto* made = static_cast<int*>(ace_alloc(static_cast<std::size_t>(size)));
      made[0] = size;
      made[1] = ~size;
      void*& slot = exchange[random() % exchange.size()];
      auto* taken = static_cast<int*>(__atomic_exchange_n(&slot, static_cast<void*>(made), __ATOMIC_ACQ_REL));
      if (taken == nullptr) continue;
      EXPECT_EQ(taken[0], ~taken[1]);
      ace_delete(taken);
    }
  };
  AceAttach threadAt;
  for (int generation = 0; generation < 3; ++generation) {
    pthread_t threads[THREADS];
    for (int i = 0; i < THREADS; ++i)
      ASSERT_EQ(ace_create_thread(
                    &threads[i], [&, i] { work(static_cast<unsigned>(i)); }, 0, &threadAt),
                0);
    ace_join_threads(THREADS, threads);
    ace_release_thread_local_mem();
  }
  for (void* block : exchange) ace_delete(block);
  ace_release_thread_local_mem();
  pthread_t last;  // takes a parked administrator: nothing may be left in it
  ASSERT_EQ(ace_create_thread(
                &last, [] { EXPECT_EQ(statistics().find("HEAD"), std::string::npos); }, 0, &threadAt),
            0);
  ace_join_threads(1, &last);
}

TEST(AceAlloc, registrations_nest_and_the_main_thread_falls_back_to_the_static_instance) {
  ace_alloc_init(2000);
  void* before = ace_alloc(100);
  {
    const AceThreadSafe outer;
    void* own = ace_alloc(100);
    {
      const AceThreadSafe inner;
      EXPECT_EQ(ace_num_threads(), 2);
      EXPECT_EQ(in_use(128), 1);
    }
    EXPECT_EQ(in_use(128), 1);
    ace_delete(own);
    ace_delete(before);  // foreign to this registration
  }
  EXPECT_EQ(in_use(128), 1) << "still waiting";
  ace_release_thread_local_mem();
  EXPECT_EQ(in_use(128), 0);
}

#ifdef ACE_ADDRESS_SANITIZER
TEST(AceAllocDeathTest, use_after_free_and_overruns_inside_chunks_are_caught) {
  ace_alloc_init(2000);
  auto* kept = static_cast<volatile char*>(ace_alloc(20));
  auto* freed = static_cast<volatile char*>(ace_alloc(20));
  ace_delete(const_cast<char*>(freed));
  EXPECT_DEATH(freed[3] = 1, "use-after-poison");
  EXPECT_DEATH(kept[20] = 1, "AddressSanitizer") << "behind the requested size, inside the class";
  volatile char* listed;
  {
    AceAttach at;
    listed = static_cast<volatile char*>(at.alloc(50));
    listed[49] = 1;
  }
  EXPECT_DEATH(listed[0] = 1, "use-after-poison");
  ace_delete(const_cast<char*>(kept));
}
#endif

}  // namespace
