/// Trees and bulk lists against the standard library's and, where installed, Abseil's containers.
#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#ifdef BENCH_HAS_ABSL
#include <absl/container/btree_map.h>
#include <absl/container/flat_hash_map.h>
#endif

#include "ace/ace_alloc.h"
#include "ace/ace_avl.h"
#include "ace/ace_btree.h"
#include "ace/ace_bulk.h"
#include "ace/ace_str_avl.h"
#include "ratio.h"

namespace {

constexpr int CHUNK_LIMIT = 2000;  // as hosts set it

/// Distinct keys in random order, and the same keys in another one.
template <class Key, class Make>
struct Keys {
  explicit Keys(std::size_t count, Make make) {
    std::mt19937_64 random(1);
    for (std::size_t i = 0; i < count; ++i) entered.push_back(make(i * 2654435761 % (1UL << 32)));
    std::shuffle(entered.begin(), entered.end(), random);
    asked = entered;
    std::shuffle(asked.begin(), asked.end(), random);
  }
  std::vector<Key> entered;
  std::vector<Key> asked;
};

struct Avl : AVLTree<VInt, int> {
  Avl() : AVLTree([](VInt a, VInt b) { return a < b ? -1 : a > b ? 1 : 0; }, 0) {}
  int get(VInt key) const { return (*this)(key); }
};
struct Wide : BMap<int> {
  int get(VInt key) const { return (*this)(key); }
};
struct Strings : StrAvlTree<int> {
  Strings() : StrAvlTree(0) {}
  int get(const std::string& key) const { return search(key.c_str()); }
  int& operator[](const std::string& key) { return insert(key.c_str()); }
};
template <class Map>
struct Peer : Map {
  int get(const typename Map::key_type& key) const { return this->find(key)->second; }
};

template <class Map, class Key>
void fill(Map* map, const std::vector<Key>& keys) {
  int value = 0;
  for (const Key& key : keys) (*map)[key] = ++value;
}

template <class Ours, class Theirs>
void insert_keys(benchmark::State& state, const auto& keys) {
  const auto job = [&]<class Map>(Map* map) {
    fill(map, keys.entered);
    benchmark::DoNotOptimize(map);
  };
  bench::compare(
      state, static_cast<double>(keys.entered.size()),
      [&] {
        Ours map;
        job(&map);
      },
      [&] {
        Theirs map;
        job(&map);
      });
}

template <class Ours, class Theirs>
void look_up_keys(benchmark::State& state, const auto& keys) {
  Ours ours;
  Theirs theirs;
  fill(&ours, keys.entered);
  fill(&theirs, keys.entered);
  const auto job = [&](const auto& map) {
    long sum = 0;
    for (const auto& key : keys.asked) sum += map.get(key);
    benchmark::DoNotOptimize(sum);
  };
  bench::compare(
      state, static_cast<double>(keys.asked.size()), [&] { job(ours); }, [&] { job(theirs); });
}

template <class Ours, class Theirs>
void numbers(benchmark::State& state) {
  ace_alloc_init(CHUNK_LIMIT);
  const auto make = [](std::size_t number) { return static_cast<VInt>(number); };
  const Keys<VInt, decltype(make)> keys(static_cast<std::size_t>(state.range(0)), make);
  state.range(1) == 0 ? insert_keys<Ours, Theirs>(state, keys) : look_up_keys<Ours, Theirs>(state, keys);
}

template <class Ours, class Theirs>
void strings(benchmark::State& state) {
  ace_alloc_init(CHUNK_LIMIT);
  const auto make = [](std::size_t number) { return "key" + std::to_string(number); };
  const Keys<std::string, decltype(make)> keys(static_cast<std::size_t>(state.range(0)), make);
  state.range(1) == 0 ? insert_keys<Ours, Theirs>(state, keys) : look_up_keys<Ours, Theirs>(state, keys);
}

void sizes(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"keys", "lookup"})->ArgsProduct({{1000, 100'000, 1'000'000}, {0, 1}})->UseManualTime();
}

BENCHMARK(numbers<Avl, Peer<std::map<VInt, int>>>)->Apply(sizes);
BENCHMARK(numbers<Wide, Peer<std::map<VInt, int>>>)->Apply(sizes);
BENCHMARK(numbers<Wide, Peer<std::unordered_map<VInt, int>>>)->Apply(sizes);
BENCHMARK(strings<Strings, Peer<std::map<std::string, int>>>)->Apply(sizes);
BENCHMARK(strings<Strings, Peer<std::unordered_map<std::string, int>>>)->Apply(sizes);
#ifdef BENCH_HAS_ABSL
BENCHMARK(numbers<Wide, Peer<absl::btree_map<VInt, int>>>)->Apply(sizes);
BENCHMARK(numbers<Wide, Peer<absl::flat_hash_map<VInt, int>>>)->Apply(sizes);
BENCHMARK(strings<Strings, Peer<absl::flat_hash_map<std::string, int>>>)->Apply(sizes);
#endif

/// Ascending keys, as when a map is built from sorted input.
template <class Theirs>
void ascending(benchmark::State& state) {
  const auto job = [&](auto* map) {
    for (VInt key = 0; key < state.range(0); ++key) (*map)[key] = 1;
    benchmark::DoNotOptimize(map);
  };
  bench::compare(
      state, static_cast<double>(state.range(0)),
      [&] {
        BMap<int> map;
        job(&map);
      },
      [&] {
        Theirs map;
        job(&map);
      });
}
BENCHMARK(ascending<std::map<VInt, int>>)->Arg(1'000'000)->UseManualTime();
#ifdef BENCH_HAS_ABSL
BENCHMARK(ascending<absl::btree_map<VInt, int>>)->Arg(1'000'000)->UseManualTime();
#endif

/// A million values appended to lists chosen at random, against vectors.
void bulk_append(benchmark::State& state) {
  const auto numLists = static_cast<std::size_t>(state.range(0));
  constexpr std::size_t NUM_VALUES = 1'000'000;
  std::mt19937_64 random(1);
  std::vector<std::size_t> targets;
  for (std::size_t i = 0; i < NUM_VALUES; ++i) targets.push_back(random() % numLists);
  bench::compare(
      state, static_cast<double>(NUM_VALUES),
      [&] {
        AceBulk bulk(100'000);
        std::vector<AceBulk::List*> lists(numLists);
        for (const std::size_t target : targets) bulk.inc(lists[target], static_cast<Large>(target));
        benchmark::DoNotOptimize(lists);
      },
      [&] {
        std::vector<std::vector<Large>> lists(numLists);
        for (const std::size_t target : targets) lists[target].push_back(static_cast<Large>(target));
        benchmark::DoNotOptimize(lists);
      });
}
BENCHMARK(bulk_append)->Arg(1000)->Arg(100'000)->Arg(500'000)->UseManualTime();

}  // namespace
