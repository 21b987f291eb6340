// Dates beside strptime and an index of SQLite.
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <random>

#include "ace/ace_reporter.h"
#include "dime/dime_date.h"
#include "ratio.h"
#include "tera/tera_edit.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

#ifdef BENCH_HAS_SQLITE
#include <sqlite3.h>
#endif

namespace {

constexpr int FIRST_YEAR = 1900;
constexpr int NUM_YEARS = 112;
constexpr int REACH = 65;  // days on either side, with the default limits

/// Random days, in ISO form.
class DateReader : public TeraReader {
 public:
  explicit DateReader(Large num) : numValues(num) {}
  int get_line(const char** string, Large* info, VInt* line) override {
    if (next == numValues) return 0;
    const int year = FIRST_YEAR + static_cast<int>(random() % NUM_YEARS);
    const int month = 1 + static_cast<int>(random() % 12);
    const int day = 1 + static_cast<int>(random() % 28);
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", year, month, day);
    *string = text;
    ++next;
    if (info != nullptr) *info = next;
    if (line != nullptr) *line = next;
    return 1;
  }
  int rewind() override {
    next = 0;
    random.seed(1);
    return 0;
  }
  VInt get_estimate() override { return numValues; }

 private:
  Large numValues;
  Large next = 0;
  std::mt19937 random{1};
  char text[64] = {};
};

void read_a_date(benchmark::State& state) {
  static const auto months = [] {
    auto made = std::make_unique<TeraEdit>();
    DimeDateText::make_month_finder(made.get());
    return made;
  }();
  constexpr int NUM = 10'000;
  const bool isNamed = state.range(0) != 0;
  const char* const text = isNamed ? "3 April 1985" : "1985-04-03";
  const auto format = isNamed ? DimeDateText::LONG_EUR : DimeDateText::SIMPLE;
  bench::compare_thread(
      state, NUM,
      [&] {
        for (int i = 0; i < NUM; ++i)
          benchmark::DoNotOptimize(DimeDateText::read_date(text, format, months.get()));
      },
      [&] {
        for (int i = 0; i < NUM; ++i) {
          std::tm tm{};
          benchmark::DoNotOptimize(strptime(text, isNamed ? "%d %B %Y" : "%Y-%m-%d", &tm));
        }
      });
}
BENCHMARK(read_a_date)->Arg(0)->Arg(1)->UseManualTime();

#ifdef BENCH_HAS_SQLITE

/// A table of the values' days, with an index.
sqlite3* days_in_sqlite(Large num) {
  sqlite3* base = nullptr;
  sqlite3_open(":memory:", &base);
  sqlite3_exec(base, "create table v (id integer primary key, day int); begin", nullptr, nullptr, nullptr);
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(base, "insert into v values (?, ?)", -1, &insert, nullptr);
  DateReader reader(num);
  const char* text = nullptr;
  for (Large id = 0; reader.get_line(&text, &id, nullptr) > 0;) {
    sqlite3_bind_int(insert, 1, static_cast<int>(id));
    sqlite3_bind_int(insert, 2, DimeDateText::read_date(text, DimeDateText::SIMPLE, nullptr));
    sqlite3_step(insert);
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  sqlite3_exec(base, "commit; create index d on v (day)", nullptr, nullptr, nullptr);
  return base;
}

void dates_near_a_day(benchmark::State& state) {
  const auto num = static_cast<Large>(state.range(0));
  DimeDateMethod method;
  method.configure_build_options("", nullptr);
  DateReader reader(num);
  method.make(&reader, 0, AceReporter::null(), nullptr);
  sqlite3* const base = days_in_sqlite(num);
  sqlite3_stmt* select = nullptr;
  sqlite3_prepare_v2(base, "select id, 255 - abs(day - ?1) from v where day between ?1 - ?2 and ?1 + ?2", -1,
                     &select, nullptr);
  constexpr int NUM = 20;
  VInt hits = 0;
  const auto day_of = [](int i) { return DimeDateText::make_time(3, 4, FIRST_YEAR + 10 + 4 * i); };
  bench::compare_thread(
      state, NUM,
      [&] {
        hits = 0;
        for (int i = 0; i < NUM; ++i) {
          AceAttach at;
          const std::unique_ptr<TeraResult> result(
              method.scan(DastOptions::APPROX, method.print_time(day_of(i), &at), AceReporter::null()));
          hits += result->get_num_infos();
        }
      },
      [&] {
        VInt sum = 0;
        for (int i = 0; i < NUM; ++i) {
          sqlite3_bind_int(select, 1, day_of(i));
          sqlite3_bind_int(select, 2, REACH);
          while (sqlite3_step(select) == SQLITE_ROW)
            sum += sqlite3_column_int(select, 0) + sqlite3_column_int(select, 1);
          sqlite3_reset(select);
        }
        benchmark::DoNotOptimize(sum);
      });
  state.counters["hits"] = static_cast<double>(hits) / NUM;
  sqlite3_finalize(select);
  sqlite3_close(base);
}
BENCHMARK(dates_near_a_day)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Arg(10'000'000)
    ->Iterations(50)  // the peer takes a hundred times as long
    ->UseManualTime();

#endif

}  // namespace
