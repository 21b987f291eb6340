// Multi-word index on a million lines of 1 to 8 words, beside SQLite's full-text index of the same lines.
//
// Lines: runs of words of the package descriptions that this machine knows, and every fourth of them of real
// words (bench/lookup/data.h). Queries: 2 or 3 words of lines, each with one or two letters wrong; the same
// without errors; the same with the last word cut. Times are of single queries, in milliseconds of
// the processor: their median and the 99th percentile. SQLite finds no misspelled word; its rows are for the
// same lines without errors.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "ace/ace_reporter.h"
#include "lookup/data.h"
#include "ratio.h"
#include "tera/tera_multi.h"
#include "tera/tera_result.h"
#include "tera/tera_words_reader.h"

namespace {

using Clock = std::chrono::steady_clock;
using Texts = std::vector<std::string>;

constexpr std::size_t NUM_QUERIES = 500;
constexpr int LEAST_QUALITY = 190;

std::size_t num_lines() {
  const char* asked = std::getenv("BENCH_LINES");
  return asked != nullptr ? static_cast<std::size_t>(std::atol(asked)) : 1'000'000;
}

Texts split(const std::string& text) {
  Texts words(1);
  for (const char c : text) {
    if (std::isspace(static_cast<unsigned char>(c)) == 0)
      words.back() += c;
    else
      words.emplace_back();
  }
  std::erase(words, "");
  return words;
}

/// What the package manager knows; nothing where there is none.
std::vector<Texts> descriptions() {
  std::vector<Texts> all;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> list(popen("apt-cache dumpavail 2>/dev/null", "r"),
                                                             pclose);
  char line[4096];
  while (list != nullptr && std::fgets(line, sizeof line, list.get()) != nullptr)
    if (const std::string text = line; text.rfind("Description", 0) == 0)
      all.push_back(split(text.substr(std::min(text.find(' '), text.size()))));
  std::erase_if(all, [](const Texts& words) { return words.size() < 2; });
  return all;
}

std::string joined(const Texts& words, std::size_t from, std::size_t count) {
  std::string text;
  for (std::size_t i = from; i < std::min(from + count, words.size()); ++i)
    text += (i > from ? " " : "") + words[i];
  return text;
}

struct Data {
  Data() {
    std::mt19937 random(1);
    const std::vector<Texts> known = descriptions();
    const Texts words = lookup::real_words();
    lines.reserve(num_lines());
    while (lines.size() < num_lines()) {
      const std::size_t count = 1 + random() % 8;
      if (known.empty() || random() % 4 == 0) {
        Texts made;
        for (std::size_t i = 0; i < count; ++i) made.push_back(words[random() % words.size()]);
        lines.push_back(joined(made, 0, count));
      } else {
        const Texts& from = known[random() % known.size()];
        lines.push_back(joined(from, random() % from.size(), count));
      }
    }
    while (queries.size() < NUM_QUERIES) {
      const Texts from = split(lines[random() % lines.size()]);
      const std::size_t count = 2 + random() % 2;
      if (from.size() < count) continue;
      const std::size_t start = random() % (from.size() - count + 1);
      if (const std::string text = joined(from, start, count); text.size() > 4 * count)
        queries.push_back(text);
    }
    for (const std::string& query : queries) {
      std::string wrong;
      for (const std::string& word : split(query))
        wrong += (wrong.empty() ? "" : " ") + (word.size() > 4 ? lookup::edited(word, random) : word);
      misspelled.push_back(wrong);
      const std::size_t blank = query.rfind(' ');
      std::size_t cut = std::min(query.size(), blank + 4);
      while (cut < query.size() && (static_cast<unsigned char>(query[cut]) & 0xC0) == 0x80) ++cut;
      unfinished.push_back(query.substr(0, cut));
    }
  }
  Texts lines, queries, misspelled, unfinished;
};

const Data& data() {
  static const Data made;
  return made;
}

class LineReader : public TeraReader {
 public:
  int get_line(const char** string, Large* info, VInt* line) override {
    if (next == data().lines.size()) return 0;
    *string = data().lines[next].c_str();
    *info = static_cast<Large>(++next);
    if (line != nullptr) *line = static_cast<VInt>(next);
    return 1;
  }
  int rewind() override { return static_cast<int>(next = 0); }
  VInt get_estimate() override { return static_cast<VInt>(data().lines.size()); }

 private:
  std::size_t next = 0;
};

std::string file_of(const char* name) {
  return (std::filesystem::temp_directory_path() / ("sorvanta_bench_" + std::string(name))).string();
}

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

struct Built {
  Built() {
    data();
    const auto start = Clock::now();
    TeraMap map;
    lookup::make_map(&map);
    TeraMulti made;
    made.init(&map, ' ', nullptr, false);
    LineReader lines;
    WordsReader reader(&lines, nullptr);
    constexpr int options = TeraMulti::MAKE_INFO | TeraMulti::MULTIPLE | TeraMulti::OPTIMIZE_HITS;
    if (made.make_reader(&reader, nullptr, ' ', 3, 150, options, nullptr, 4, 80, 10, nullptr, nullptr,
                         nullptr, AceReporter::null(), LEAST_QUALITY) < 0)
      std::abort();
    made.dump(file_of("multi").c_str(), AceReporter::null());
    seconds = seconds_since(start);
    bytes = static_cast<double>(std::filesystem::file_size(file_of("multi")));
    made.clean();
    if (multi.load(file_of("multi").c_str(), 1, AceReporter::null()) < 0) std::abort();
  }
  TeraMulti multi;
  double seconds, bytes;
};

const Built& built() {
  static const Built made;
  return made;
}

/// SQLite's full-text index.
struct FullText {
  FullText() {
    const std::string name = file_of("fts5");
    std::filesystem::remove(name);
    const auto start = Clock::now();
    sqlite3_open(name.c_str(), &base);
    run("PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; CREATE VIRTUAL TABLE t USING fts5(line); BEGIN;");
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(base, "INSERT INTO t(rowid, line) VALUES(?, ?)", -1, &insert, nullptr);
    for (std::size_t i = 0; i < data().lines.size(); ++i) {
      sqlite3_bind_int64(insert, 1, static_cast<long>(i + 1));
      sqlite3_bind_text(insert, 2, data().lines[i].c_str(), -1, SQLITE_STATIC);
      sqlite3_step(insert);
      sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    run("COMMIT; INSERT INTO t(t) VALUES('optimize');");
    seconds = seconds_since(start);
    bytes = static_cast<double>(std::filesystem::file_size(name));
  }
  void run(const char* text) { sqlite3_exec(base, text, nullptr, nullptr, nullptr); }
  sqlite3* base = nullptr;
  double seconds, bytes;
};

const FullText& full_text() {
  static const FullText made;
  return made;
}

/// Asks every query once, and tells how long single ones take.
template <class Ask>
void time_queries(benchmark::State& state, const Texts& queries, Ask ask) {
  std::vector<double> times;
  double found = 0;
  for (const std::string& query : queries) ask(query);  // what is decoded when it is first needed
  for (auto _ : state)
    for (const std::string& query : queries) {
      const double start = bench::processor_seconds();
      found += ask(query);
      times.push_back(1000 * (bench::processor_seconds() - start));
    }
  std::sort(times.begin(), times.end());
  state.counters["median_ms"] = times[times.size() / 2];
  state.counters["p99_ms"] = times[times.size() * 99 / 100];
  state.counters["found"] = found / static_cast<double>(times.size());
}

int recall(const std::string& query, int options, int most) {
  TeraResult result(query.c_str(), LEAST_QUALITY, most, 255);
  result.use_collection();
  if (most < 100) result.set_biggest_group(most);
  built().multi.recall(&result, options | TeraMulti::TRANSPOSE, TeraEval::SHORT, AceReporter::null());
  return result.num_cands();
}

int ask_full_text(const std::string& query, const char* more, bool open) {
  static sqlite3_stmt* statements[4] = {};
  std::string text;
  for (const std::string& word : split(query)) text += "\"" + word + "\" ";
  if (open && !text.empty()) text.back() = '*';
  sqlite3_stmt*& statement = statements[more[0] == '\0' ? 0 : open ? 1 : 2];
  if (statement == nullptr)
    sqlite3_prepare_v2(full_text().base,
                       (std::string("SELECT rowid, line FROM t WHERE t MATCH ?") + more).c_str(), -1,
                       &statement, nullptr);
  sqlite3_bind_text(statement, 1, text.c_str(), -1, SQLITE_TRANSIENT);
  int rows = 0;
  while (sqlite3_step(statement) == SQLITE_ROW) ++rows;
  sqlite3_reset(statement);
  return rows;
}

void build(benchmark::State& state, double seconds, double bytes) {
  for (auto _ : state) benchmark::DoNotOptimize(seconds);
  state.counters["seconds"] = seconds;
  state.counters["MB"] = bytes / 1e6;
}

void Multi_build(benchmark::State& state) {
  build(state, built().seconds, built().bytes);
}
void FullText_build(benchmark::State& state) {
  build(state, full_text().seconds, full_text().bytes);
}
void Multi_misspelled(benchmark::State& state) {
  built();
  time_queries(state, data().misspelled, [](const auto& query) { return recall(query, 0, 2500); });
}
void Multi_misspelled_10(benchmark::State& state) {
  built();
  time_queries(state, data().misspelled, [](const auto& query) { return recall(query, 0, 10); });
}
void Multi_right_words(benchmark::State& state) {
  built();
  time_queries(state, data().queries, [](const auto& query) { return recall(query, 0, 2500); });
}
void Multi_exact(benchmark::State& state) {
  built();
  time_queries(state, data().queries, [](const auto& query) {
    const std::unique_ptr<TeraResult> result(built().multi.exact(query.c_str(), 0, nullptr));
    return result->num_cands();
  });
}
void FullText_and(benchmark::State& state) {
  full_text();
  time_queries(state, data().queries, [](const auto& query) { return ask_full_text(query, "", false); });
}
void FullText_ranked_10(benchmark::State& state) {
  full_text();
  time_queries(state, data().queries,
               [](const auto& query) { return ask_full_text(query, " ORDER BY rank LIMIT 10", false); });
}
void Multi_unfinished_10(benchmark::State& state) {
  built();
  time_queries(state, data().unfinished,
               [](const auto& query) { return recall(query, TeraMulti::COMPLETE, 10); });
}
void FullText_unfinished_10(benchmark::State& state) {
  full_text();
  time_queries(state, data().unfinished,
               [](const auto& query) { return ask_full_text(query, " ORDER BY rank LIMIT 10", true); });
}

BENCHMARK(Multi_build)->Iterations(1);
BENCHMARK(Multi_misspelled)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(Multi_misspelled_10)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(Multi_right_words)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(Multi_exact)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(Multi_unfinished_10)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(FullText_build)->Iterations(1);
BENCHMARK(FullText_and)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(FullText_ranked_10)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(FullText_unfinished_10)->Iterations(4)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
