/// Sorting of records that share values, beside random reads of memory: the time per reference as the number
/// of references grows, in one run.
#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"
#include "ratio.h"
#include "tera/tera_sort_head.h"

namespace {

constexpr int NUM_FIELDS = 5;
constexpr int NUM_REFS[] = {100'000, 500'000, 2'000'000};

/// Addresses: each field draws from a stock of values that is as large as the data make it, the first of
/// them the most often.
std::vector<int> references(int numRecords) {
  std::mt19937 random(1);
  const int stock[NUM_FIELDS] = {3, 200, 5000, 1 + numRecords / 10, 1 + numRecords / 2};
  std::vector<int> values;
  for (int record = 0; record < numRecords; ++record)
    for (int field = 0, first = 0; field < NUM_FIELDS; first += stock[field++]) {
      const double part = static_cast<double>(random()) / 4294967296.0;
      values.push_back(first + static_cast<int>(part * part * stock[field]));
    }
  return values;
}

void fill(SortHead* head, const std::vector<int>& values) {
  const int numDescs = *std::max_element(values.begin(), values.end()) + 1;
  std::vector<VInt> sizes(static_cast<std::size_t>(numDescs));
  for (const int value : values) ++sizes[static_cast<std::size_t>(value)];
  head->init(static_cast<VInt>(values.size()), numDescs, static_cast<int>(values.size()) / NUM_FIELDS);
  std::vector<SortDesc*> descs;
  for (const VInt size : sizes) descs.push_back(head->make_desc(size, nullptr, 0));
  head->make_desc(0, nullptr, 0);
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i % NUM_FIELDS == 0) head->begin_record(static_cast<VInt>(i) / NUM_FIELDS);
    head->add_rec_ref(descs[static_cast<std::size_t>(values[i])]);
    if (i % NUM_FIELDS == NUM_FIELDS - 1) head->finish_record();
  }
  head->finish_build();
}

double sort_seconds(const std::vector<int>& values) {
  SortHead head(static_cast<int>(values.size()) / NUM_FIELDS, AceReporter::null(), 0);
  fill(&head, values);
  return bench::seconds_of([&] { benchmark::DoNotOptimize(head.sort(AceReporter::null())); });
}

/// As many dependent reads at random places as there are references, in as much memory as a head has for
/// them.
double random_reads_seconds(int numRefs) {
  constexpr std::size_t WORDS_PER_REF = 8;
  const std::vector<std::size_t> words(WORDS_PER_REF * static_cast<std::size_t>(numRefs), 1);
  return bench::seconds_of([&] {
    std::size_t state = 0;
    for (int i = 0; i < numRefs; ++i)
      state = state * 6364136223846793005U + words[(state >> 16) % words.size()];
    benchmark::DoNotOptimize(state);
  });
}

/// "to_smallest" is the time per reference beside that for the smallest number; "reads_to_smallest" is the
/// same for random reads: what memory alone costs as it gets larger.
void sort_of_records(benchmark::State& state) {
  std::map<int, std::vector<double>> times;
  std::map<int, std::vector<double>> readTimes;
  for (auto unused : state) {
    static_cast<void>(unused);
    for (const int numRefs : NUM_REFS) {
      times[numRefs].push_back(sort_seconds(references(numRefs / NUM_FIELDS)) / numRefs);
      readTimes[numRefs].push_back(random_reads_seconds(numRefs) / numRefs);
    }
  }
  for (const int numRefs : NUM_REFS) {
    const std::string size = std::to_string(numRefs / 1000) + "k";
    const double time = bench::median(times[numRefs]);
    state.counters[size + "_ns"] = time * 1e9;
    state.counters[size + "_to_smallest"] = time / bench::median(times[NUM_REFS[0]]);
    state.counters[size + "_reads_to_smallest"] =
        bench::median(readTimes[numRefs]) / bench::median(readTimes[NUM_REFS[0]]);
  }
}
BENCHMARK(sort_of_records)->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace
