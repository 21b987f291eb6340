// Automata and dates beside what Debian has for the same jobs: marisa (a trie with numbers), strptime,
// SQLite.
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"
#include "dime/dime_date.h"
#include "lookup/data.h"
#include "ratio.h"
#include "tera/tera_auto.h"
#include "tera/tera_edit.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

#ifdef BENCH_HAS_MARISA
#include <marisa.h>
#endif
#ifdef BENCH_HAS_SQLITE
#include <sqlite3.h>
#endif

namespace {

constexpr std::size_t NUM_QUERIES = 100'000;
constexpr std::size_t NUM_ERRORS = 200;
constexpr int NUM_BEGINNING = 4;
constexpr int NUM_COMPLETIONS = 10;

const std::vector<std::string>& words() {
  static const std::vector<std::string> all = lookup::entries(lookup::real_words(), 700'905);
  return all;
}
const std::vector<std::string>& asked() {
  static const std::vector<std::string> some = [] {
    std::vector<std::string> made(words().begin(), words().begin() + std::min(NUM_QUERIES, words().size()));
    std::shuffle(made.begin(), made.end(), std::mt19937(5));
    return made;
  }();
  return some;
}

std::unique_ptr<TeraAuto> build(int options) {
  auto automaton = std::make_unique<TeraAuto>();
  automaton->init(TeraMap::get_ident_map(), nullptr);
  lookup::EntryReader reader(words());
  automaton->make(&reader, nullptr, 99, options | TeraAuto::NO_INFO, AceReporter::null(), nullptr, nullptr);
  return automaton;
}
const TeraAuto& automaton(int options) {
  static const auto plain = build(0);
  static const auto compressed = build(TeraAuto::PATH_COMPRESS);
  static const auto fast = build(TeraAuto::BIDIRECT);
  return options == 0 ? *plain : options == TeraAuto::PATH_COMPRESS ? *compressed : *fast;
}

void build_words(benchmark::State& state) {
  words();
  for (auto unused : state) {
    static_cast<void>(unused);
    const auto made = build(static_cast<int>(state.range(0)));
    state.counters["bytes_per_word"] = static_cast<double>(8.0 * made->get_forward()->get_num_slots() +
                                                           made->get_forward()->get_chain_bytes()) /
                                       static_cast<double>(words().size());
  }
}
BENCHMARK(build_words)
    ->Arg(0)
    ->Arg(TeraAuto::PATH_COMPRESS)
    ->Arg(TeraAuto::BIDIRECT)
    ->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------- beside a trie with numbers

#ifdef BENCH_HAS_MARISA

const marisa::Trie& trie() {
  static const auto built = [] {
    marisa::Keyset keys;
    for (const std::string& word : words()) keys.push_back(word.c_str());
    auto made = std::make_unique<marisa::Trie>();
    made->build(keys);
    return made;
  }();
  return *built;
}

void number_of_a_word(benchmark::State& state) {
  const TeraAuto& ours = automaton(static_cast<int>(state.range(0)));
  bench::compare(
      state, static_cast<double>(asked().size()),
      [&] {
        for (const std::string& word : asked()) benchmark::DoNotOptimize(ours.get_internal_id(word.c_str()));
      },
      [] {
        marisa::Agent agent;
        for (const std::string& word : asked()) {
          agent.set_query(word.c_str(), word.size());
          benchmark::DoNotOptimize(trie().lookup(agent));
        }
      });
}
BENCHMARK(number_of_a_word)->Arg(0)->Arg(TeraAuto::PATH_COMPRESS)->UseManualTime();

void word_of_a_number(benchmark::State& state) {
  const TeraAuto& ours = automaton(static_cast<int>(state.range(0)));
  bench::compare(
      state, NUM_QUERIES,
      [&] {
        std::mt19937 random(1);
        AceAttach at;
        for (std::size_t i = 0; i < NUM_QUERIES; ++i) {
          benchmark::DoNotOptimize(ours.get_entry(static_cast<Large>(1 + random() % words().size()), &at));
          at.release();
        }
      },
      [] {
        std::mt19937 random(1);
        marisa::Agent agent;
        for (std::size_t i = 0; i < NUM_QUERIES; ++i) {
          agent.set_query(random() % words().size());
          trie().reverse_lookup(agent);
        }
      });
}
BENCHMARK(word_of_a_number)->Arg(0)->Arg(TeraAuto::PATH_COMPRESS)->UseManualTime();

void ten_completions(benchmark::State& state) {
  const TeraAuto& ours = automaton(0);
  bench::compare(
      state, static_cast<double>(asked().size()),
      [&] {
        for (const std::string& word : asked()) {
          AceAttach at;
          char* found[NUM_COMPLETIONS];
          benchmark::DoNotOptimize(
              ours.complete(word.substr(0, NUM_BEGINNING).c_str(), NUM_COMPLETIONS, found, &at));
        }
      },
      [] {
        for (const std::string& word : asked()) {
          const std::string begun = word.substr(0, NUM_BEGINNING);
          marisa::Agent agent;
          agent.set_query(begun.c_str(), begun.size());
          for (int i = 0; i < NUM_COMPLETIONS && trie().predictive_search(agent); ++i) {
          }
        }
      });
}
BENCHMARK(ten_completions)->UseManualTime();

#endif

// ---------------------------------------------------------------- beside the edit index

void words_within_errors(benchmark::State& state) {
  const int edits = static_cast<int>(state.range(0));
  const TeraAuto& ours = automaton(static_cast<int>(state.range(1)));
  static const auto edit = [] {
    auto made = std::make_unique<TeraEdit>();
    lookup::EntryReader reader(words());
    made->make(&reader, TeraMap::get_ident_map(), 3, 0, 0, 0, AceReporter::null(), nullptr);
    return made;
  }();
  const std::vector<std::string> queries = lookup::queries(words(), NUM_ERRORS);
  const auto least = [edits](const std::string& word) {
    return std::max(255 - 255 * edits / std::max<int>(1, static_cast<int>(word.size())) - 1, 0);
  };
  const auto ask = [&](const std::string& word, auto recall) {
    TeraResult result(word.c_str(), least(word), TeraResult::MAX_CANDS, 255);
    recall(&result);
    benchmark::DoNotOptimize(result.num_cands());
  };
  bench::compare(
      state, static_cast<double>(queries.size()),
      [&] {
        for (const std::string& word : queries)
          ask(word, [&](TeraResult* result) {
            ours.recall(result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM,
                        TeraAutoRecall::NO_OPERATORS | TeraAutoRecall::NO_RESOLVE, edits, 0, nullptr);
          });
      },
      [&] {
        for (const std::string& word : queries)
          ask(word, [&](TeraResult* result) {
            edit->recall(result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 0, 0,
                         TeraEdit::NO_OPERATORS | TeraEdit::NO_RESOLVE, 100, nullptr);
          });
      });
}
BENCHMARK(words_within_errors)
    ->ArgsProduct({{1, 2, 3}, {0, TeraAuto::PATH_COMPRESS, TeraAuto::BIDIRECT}})
    ->UseManualTime();

// ---------------------------------------------------------------- dates

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
  bench::compare(
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
  bench::compare(
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
BENCHMARK(dates_near_a_day)->Arg(100'000)->Arg(1'000'000)->UseManualTime();

#endif

}  // namespace

int main(int argc, char** argv) {
  AceReporter::clear_default();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
