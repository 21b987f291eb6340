// Libraries beside kinds of fields: flags beside compressed sets of bits, places within a radius beside a
// tree of rectangles, which the method of places has nothing like: it scores every value.
#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"
#include "dast/dast_magic_constructor.h"
#include "ratio.h"
#include "tera/tera_count.h"
#include "tera/tera_query_kinds.h"

#ifdef BENCH_HAS_ROARING
#include <roaring/roaring.hh>
#endif
#ifdef BENCH_HAS_SQLITE
#include <sqlite3.h>
#endif

namespace {

#ifdef BENCH_HAS_ROARING

/// How many entries have both of two flags, of which three of four entries have each.
void both_flags_beside_roaring(benchmark::State& state) {
  const auto numEntries = static_cast<int>(state.range(0));
  constexpr int FLAGS[] = {0, 1};
  TeraCount count(numEntries, 2, nullptr);
  std::mt19937_64 random(8);
  std::vector<VBit> bits(static_cast<std::size_t>(count.get_num_words()));
  Roaring sets[2];
  for (const int flag : FLAGS) {
    for (VBit& word : bits) word = random() | random();
    count.set_flags_vertical(flag, bits.data());
    for (int i = 0; i < numEntries; ++i)
      if ((bits[static_cast<std::size_t>(i) / 64] >> i % 64 & 1) != 0)
        sets[flag].add(static_cast<std::uint32_t>(i));
    sets[flag].runOptimize();
  }
  VInt ours = 0;
  VInt theirs = 0;
  bench::compare_thread(
      state, 1,
      [&] {
        AceAttach at;
        const VBit* const both = count.get_exact(2, FLAGS, &at);
        ours = 0;
        for (std::size_t i = 0; i < bits.size(); ++i) ours += __builtin_popcountll(both[i]);
      },
      [&] { theirs = static_cast<VInt>(sets[0].and_cardinality(sets[1])); });
  if (ours != theirs) state.SkipWithError("different answers");
}
BENCHMARK(both_flags_beside_roaring)->Arg(10'000'000)->UseManualTime()->Unit(benchmark::kMicrosecond);

#endif
#ifdef BENCH_HAS_SQLITE

constexpr int EXTENT = 1'000'000;  // of the places, in both directions

struct Place {
  int x, y;
};

std::vector<Place> places(std::size_t count) {
  std::mt19937 random(3);
  std::vector<Place> made(count);
  for (Place& place : made)
    place = {static_cast<int>(random() % EXTENT), static_cast<int>(random() % EXTENT)};
  return made;
}

sqlite3* tree_of(const std::vector<Place>& all) {
  sqlite3* base = nullptr;
  sqlite3_open(":memory:", &base);
  sqlite3_exec(base, "create virtual table r using rtree_i32(id, x0, x1, y0, y1); begin", nullptr, nullptr,
               nullptr);
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(base, "insert into r values (?1, ?2, ?2, ?3, ?3)", -1, &insert, nullptr);
  for (std::size_t i = 0; i < all.size(); ++i) {
    sqlite3_bind_int64(insert, 1, static_cast<VInt>(i));
    sqlite3_bind_int(insert, 2, all[i].x);
    sqlite3_bind_int(insert, 3, all[i].y);
    sqlite3_step(insert);
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  sqlite3_exec(base, "commit", nullptr, nullptr, nullptr);
  return base;
}

/// All places within a radius in which some 63 lie.
void places_near_one_beside_a_tree(benchmark::State& state) {
  const std::vector<Place> all = places(static_cast<std::size_t>(state.range(0)));
  std::vector<std::string> texts;
  for (const Place& place : all) texts.push_back(std::to_string(place.x) + "," + std::to_string(place.y));
  const double radius = EXTENT * std::sqrt(63 / (3.14159 * static_cast<double>(all.size())));
  sqlite3* const tree = tree_of(all);
  sqlite3_stmt* select = nullptr;
  sqlite3_prepare_v2(
      tree, "select x0, y0 from r where x0 >= ?1 - ?3 and x1 <= ?1 + ?3 and y0 >= ?2 - ?3 and y1 <= ?2 + ?3",
      -1, &select, nullptr);
  const std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create("GEOMETRIC"));
  method->configure_build_options("", nullptr);
  const Place asked = all[all.size() / 2];
  const std::string query = std::to_string(asked.x) + "," + std::to_string(asked.y);
  const TeraQueryRef object(method->eval(DastOptions::APPROX, query.c_str(), AceReporter::null()));
  int found = 0;
  bench::compare_thread(
      state, 1,
      [&] {
        int sum = 0;
        for (const std::string& text : texts) sum += object->compare(text.c_str());
        benchmark::DoNotOptimize(sum);
      },
      [&] {
        found = 0;
        sqlite3_bind_int(select, 1, asked.x);
        sqlite3_bind_int(select, 2, asked.y);
        sqlite3_bind_int(select, 3, static_cast<int>(radius));
        while (sqlite3_step(select) == SQLITE_ROW)
          found += std::hypot(sqlite3_column_int(select, 0) - asked.x,
                              sqlite3_column_int(select, 1) - asked.y) <= radius;
        sqlite3_reset(select);
      });
  state.counters["found"] = found;
  sqlite3_finalize(select);
  sqlite3_close(tree);
}
BENCHMARK(places_near_one_beside_a_tree)->Arg(1'000'000)->UseManualTime()->Unit(benchmark::kMicrosecond);

#endif

}  // namespace
