/// Other searches over the people of the benchmarks, beside our own: the same records, the same queries, one
/// after the other in one run, each in a process of its own, so that memory can be told.
///
/// A folder has what is asked: `records`, a line a record, the values of the asked fields between tabs; and
/// `queries`, lines of a record's number from 1 and the values that are asked for. Every process prints one
/// line,
///
///     median 480.1 us, 99 % 9000.2 us, memory 950.0 MB, found 132 of 200, built in 60.1 s
///
/// where queries that came after a minute are left out: the time of a query, how often the record was among
/// its first ten answers, and what is resident, or mapped.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "ratio.h"

namespace peers {

constexpr std::size_t BEST = 10;
constexpr int NUM_QUERIES = 200;
constexpr const char* ALONE = "--alone";  // the argument of our own process, before the folder

struct Query {
  long record;
  std::vector<std::string> values;
};

struct Figures {
  double median_us, p99_us, megabytes, found, asked, build_s;
};

inline void write_records(const std::string& folder, std::span<const std::vector<std::string>> columns) {
  std::ofstream records(folder + "/records");
  for (std::size_t i = 0; i < columns[0].size(); ++i)
    for (std::size_t k = 0; k < columns.size(); ++k)
      records << columns[k][i] << (k + 1 < columns.size() ? '\t' : '\n');
}

inline std::vector<Query> read_queries(const std::string& folder) {
  std::vector<Query> queries;
  std::ifstream file(folder + "/queries");
  for (std::string line; std::getline(file, line);) {
    std::istringstream parts(line);
    Query query{};
    std::string value;
    std::getline(parts, value, '\t');
    query.record = std::atol(value.c_str());
    while (std::getline(parts, value, '\t')) query.values.push_back(value);
    queries.push_back(std::move(query));
  }
  return queries;
}

inline double resident_megabytes() {
  std::ifstream status("/proc/self/statm");
  double total = 0;
  double resident = 0;
  status >> total >> resident;
  return resident * 4096 / 1e6;
}

/// Our own process: asks all queries once unmeasured, and prints the line. `ask` returns the best records.
inline int run_alone(const std::string& folder, const std::function<std::vector<long>(const Query&)>& ask) {
  const std::vector<Query> queries = read_queries(folder);
  std::vector<double> times;
  std::size_t found = 0;
  for (const Query& query : queries) ask(query);
  for (const Query& query : queries) {
    std::vector<long> best;
    times.push_back(1e6 * bench::seconds_of([&] { best = ask(query); }));
    found += std::find(best.begin(), best.end(), query.record) != best.end() ? 1 : 0;
  }
  std::sort(times.begin(), times.end());
  std::printf("median %f us, 99 %% %f us, memory %f MB, found %zu of %zu, built in 0 s\n",
              times[times.size() / 2], times[times.size() * 99 / 100], resident_megabytes(), found,
              times.size());
  return 0;
}

/// Runs a command that prints the line. Returns false when it could not; it has then told why.
inline bool run(const std::string& command, Figures* figures) {
  std::FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return false;
  bool isRead = false;
  char line[1024];
  while (std::fgets(line, sizeof line, pipe) != nullptr)
    isRead |=
        std::sscanf(line, "median %lf us, 99 %% %lf us, memory %lf MB, found %lf of %lf, built in %lf s",
                    &figures->median_us, &figures->p99_us, &figures->megabytes, &figures->found,
                    &figures->asked, &figures->build_s) == 6;
  return pclose(pipe) == 0 && isRead;
}

/// One row: a peer, and how many times as fast and as small ours is.
inline void compare(benchmark::State& state, const std::string& peer, const std::string& folder) {
  Figures ours{};
  Figures theirs{};
  const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
  if (!run(self + " " + ALONE + " " + folder, &ours)) return state.SkipWithError("no answers");
  if (!run(BENCH_PEERS "/run-peer " + peer + " " + folder + " " BENCH_FOLDER "/fetched", &theirs))
    return state.SkipWithError("left out");
  for (auto unused : state) {
    static_cast<void>(unused);
    state.SetIterationTime(ours.median_us * 1e-6);
  }
  const auto put = [&state](const std::string& name, const Figures& figures) {
    state.counters[name + "1_median_us"] = figures.median_us;
    state.counters[name + "2_p99_us"] = figures.p99_us;
    state.counters[name + "3_MB"] = figures.megabytes;
    state.counters[name + "4_found_percent"] = 100 * figures.found / figures.asked;
  };
  put("ours", ours);
  put("peer", theirs);
  state.counters["peer5_asked"] = theirs.asked;
  state.counters["peer6_build_s"] = theirs.build_s;
  state.counters["times_as_fast"] = theirs.median_us / ours.median_us;
  state.counters["times_as_small"] = theirs.megabytes / ours.megabytes;
}

}  // namespace peers
