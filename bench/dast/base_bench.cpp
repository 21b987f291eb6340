// Record bases: building, loading, asking, counting, in one table. Ratios are against peers in the same run
// and the answers of both are compared, or told as the share of the records meant that were found.
//
//     BENCH_PEOPLE=1000000 base_bench        as many people; 50,000 without
//
// Peers that are not installed are left out with a word.
#include "dast/dast_base.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "ace/ace_exception.h"
#include "dast/dast_parallel_resource.h"
#include "dast/people.h"
#include "peers/people_peers.h"
#include "ratio.h"
#include "tera/tera_scan_graph.h"

namespace {

constexpr int MAPPED = 1;
constexpr people::Field NAME[] = {{"name", "BASIC|CHANGING|FULL|ORIGINAL"}};

/// Runs a build in a process of its own, so that its memory can be told. Returns the peak in megabytes; a
/// negative value when it failed.
double run_apart(const auto& job) {
  const pid_t child = fork();
  if (child == 0) _exit(job() < 0 ? 1 : 0);
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  return status == 0 ? static_cast<double>(usage.ru_maxrss) / 1024 : -1;
}

/// Sorted, records with the same city, and of these with the same postcode, stand together.
int build_people(const char* sort) {
  people::Field fields[people::NUM_FIELDS];
  std::copy(std::begin(people::FIELDS), std::end(people::FIELDS), fields);
  if (sort[0] == 'F') {
    fields[people::CITY].type = "ADVANCED|OPTIMIZED|FULL|ORIGINAL";
    fields[people::POSTCODE].type = "ADVANCED|OPTIMIZED|FULL|NUMERIC";
  }
  return people::build(fields, people::NUM_FIELDS, people::file("people"),
                       people::file(std::string("image") + sort), sort);
}

double seconds_of_build[2];  // unsorted and FULL

void build_8_fields(benchmark::State& state, const char* sort) {
  const bool isSorted = sort[0] == 'F';
  double peak = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    const double seconds = bench::seconds_of([&] { peak = run_apart([&] { return build_people(sort); }); });
    if (peak < 0) return state.SkipWithError("the build failed");
    state.SetIterationTime(seconds);
    seconds_of_build[isSorted ? 1 : 0] = seconds;
  }
  const auto size =
      static_cast<double>(std::filesystem::file_size(people::file(std::string("image") + sort)));
  state.counters["peak_MB"] = peak;
  state.counters["bytes_a_record"] = size / static_cast<double>(people::number());
  if (isSorted && seconds_of_build[0] > 0)
    state.counters["of_unsorted"] = seconds_of_build[1] / seconds_of_build[0];
}
BENCHMARK_CAPTURE(build_8_fields, in_the_order_of_the_file, "NONE")
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kSecond);
BENCHMARK_CAPTURE(build_8_fields, sorted, "FULL")->UseManualTime()->Iterations(1)->Unit(benchmark::kSecond);

void load_mapped(benchmark::State& state) {
  std::vector<double> first;
  for (auto unused : state) {
    static_cast<void>(unused);
    DastBase loaded;
    state.SetIterationTime(bench::seconds_of(
        [&] { loaded.load(people::file("imageNONE").c_str(), MAPPED, AceReporter::null()); }));
    first.push_back(bench::seconds_of([&] {
      TeraScanGraph* graph =
          loaded.get_field(people::SURNAME)
              ->full_scan_resolve(DastOptions::APPROX, "Mueler", nullptr, 0, 0, AceReporter::null());
      if (graph == nullptr) std::abort();
      graph->decr_ref();
    }));
  }
  state.counters["first_answer_ms"] = 1e3 * bench::median(first);
}
BENCHMARK(load_mapped)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

std::unique_ptr<DastBase> load(const std::string& image) {
  auto loaded = std::make_unique<DastBase>();
  if (loaded->load(image.c_str(), MAPPED, AceReporter::null()) < 0) std::abort();
  return loaded;
}

}  // namespace

const DastBase& people::base() {
  static const std::unique_ptr<DastBase> shared = [] {
    if (!std::filesystem::exists(file("imageNONE"))) build_people("NONE");
    return load(file("imageNONE"));
  }();
  return *shared;
}

const DastBase& people::names() {
  static const std::unique_ptr<DastBase> shared = [] {
    if (!std::filesystem::exists(file("image.names")))
      build(NAME, 1, file("names"), file("image.names"), "NONE");
    return load(file("image.names"));
  }();
  return *shared;
}

int main(int argc, char** argv) try {
  if (argc == 3 && std::string(argv[1]) == peers::ALONE) return people::ask_alone(argv[2]);
  benchmark::Initialize(&argc, argv);
  if (!people::make_tables()) {
    std::fprintf(
        stderr,
        "left out: the table of people cannot be made (its generator needs Debian's lists of names)\n");
    return 0;
  }
  std::printf("%ld people\n", people::number());
#ifndef BENCH_HAS_RAPIDFUZZ
  std::printf("left out, as it is not installed: RapidFuzz\n");
#endif
  benchmark::RunSpecifiedBenchmarks();
  return 0;
} catch (const AceException& failure) {
  failure.print(static_cast<AceReporter*>(nullptr));
  return 1;
}
