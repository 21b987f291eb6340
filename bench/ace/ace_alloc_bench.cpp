/// Small blocks against malloc and free.
#include "ace/ace_alloc.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <vector>

#include "ace/ace_attach.h"
#include "ratio.h"

namespace {

constexpr int CHUNK_LIMIT = 2000;  // as hosts set it

struct Workload {
  explicit Workload(std::size_t count) : sizes(count), order(count), blocks(count) {
    std::mt19937 random(1);
    for (std::size_t i = 0; i < count; ++i) {
      sizes[i] = 16 + random() % 241;
      order[i] = static_cast<unsigned>(i);
    }
    std::shuffle(order.begin(), order.end(), random);
  }
  std::vector<std::size_t> sizes;
  std::vector<unsigned> order;
  std::vector<void*> blocks;
};

/// Allocates every block, then frees them in random order.
void fill_and_free(Workload* work, const auto& allocate, const auto& release) {
  for (std::size_t i = 0; i < work->sizes.size(); ++i) work->blocks[i] = allocate(work->sizes[i]);
  for (const unsigned index : work->order) release(work->blocks[index]);
}

void random_order(benchmark::State& state) {
  ace_alloc_init(CHUNK_LIMIT);
  Workload work(static_cast<std::size_t>(state.range(0)));
  bench::compare(
      state, static_cast<double>(state.range(0)),
      [&] {
        fill_and_free(
            &work, [](std::size_t size) { return ace_alloc(size); }, [](void* block) { ace_delete(block); });
      },
      [&] {
        fill_and_free(
            &work, [](std::size_t size) { return std::malloc(size); }, [](void* block) { std::free(block); });
      });
}
BENCHMARK(random_order)->Arg(1000)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->UseManualTime();

/// Keeps a population of blocks and replaces a random one at each step.
void churn(Workload* work, const auto& allocate, const auto& release) {
  for (void*& block : work->blocks) block = allocate(32);
  for (std::size_t step = 0; step < work->order.size(); ++step) {
    void*& block = work->blocks[work->order[step]];
    release(block);
    block = allocate(work->sizes[step]);
  }
  for (void* block : work->blocks) release(block);
}

void random_replacement(benchmark::State& state) {
  ace_alloc_init(CHUNK_LIMIT);
  Workload work(static_cast<std::size_t>(state.range(0)));
  bench::compare(
      state, 2.0 * static_cast<double>(state.range(0)),
      [&] {
        churn(
            &work, [](std::size_t size) { return ace_alloc(size); }, [](void* block) { ace_delete(block); });
      },
      [&] {
        churn(
            &work, [](std::size_t size) { return std::malloc(size); }, [](void* block) { std::free(block); });
      });
}
BENCHMARK(random_replacement)->Arg(10'000)->Arg(1'000'000)->UseManualTime();

/// The peer frees in the order of allocation (0), as nobody has to who has an attach, or in random order (1),
/// as the parts of a tree or a hash map come to be freed.
void attach_of_a_million_blocks(benchmark::State& state) {
  ace_alloc_init(CHUNK_LIMIT);
  constexpr std::size_t COUNT = 1'000'000;
  Workload work(COUNT);
  if (state.range(0) == 0) std::sort(work.order.begin(), work.order.end());
  bench::compare(
      state, COUNT,
      [] {
        AceAttach at;
        for (std::size_t i = 0; i < COUNT; ++i) benchmark::DoNotOptimize(at.alloc(32));
      },
      [&] {
        for (void*& block : work.blocks) block = std::malloc(32);
        for (const unsigned index : work.order) std::free(work.blocks[index]);
      });
}
BENCHMARK(attach_of_a_million_blocks)->ArgName("random")->Arg(0)->Arg(1)->UseManualTime();

}  // namespace
