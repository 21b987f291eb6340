/// Reading CSV files against counting line ends over the same bytes, and two parts against one.
#include <sys/mman.h>
#include <unistd.h>

#include <memory>
#include <random>
#include <string>
#include <thread>

#include "ace/ace_reporter.h"
#include "ace/ace_str_count.h"
#include "ace/ace_thread.h"
#include "damo/damo_csv_input.h"
#include "damo/damo_standard_input.h"
#include "ratio.h"

namespace {

constexpr std::size_t FILE_SIZE = 200'000'000;
constexpr int NUM_COLUMNS = 40;
constexpr double MEGA = 1e6;

/// A file in memory of 40 columns of 2 to 16 bytes; of `percent` in a hundred of them, the value is quoted.
class CsvFile {
 public:
  explicit CsvFile(unsigned percent) : file(memfd_create("csv", MFD_CLOEXEC)) {
    std::mt19937 random(1);
    while (text.size() < FILE_SIZE) {
      for (int column = 0; column < NUM_COLUMNS; ++column) {
        const bool isQuoted = random() % 100 < percent;
        if (isQuoted) text += '"';
        for (auto left = 2 + random() % 15; left > 0; --left) text += static_cast<char>('a' + random() % 26);
        if (isQuoted) text += random() % 4 == 0 ? "\"\",\"" : "\"";
        text += column + 1 < NUM_COLUMNS ? ',' : '\n';
      }
    }
    if (write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) std::abort();
    name = "/proc/self/fd/" + std::to_string(file);
  }
  CsvFile(const CsvFile&) = delete;
  CsvFile& operator=(const CsvFile&) = delete;
  ~CsvFile() { close(file); }

  std::string text;
  std::string name;

 private:
  int file;
};

using Input = std::unique_ptr<DamoInput>;

long read_all(const Input& input) {
  long numBytes = 0;
  for (int size; (size = input->read_line(nullptr, 0)) >= 0;)
    numBytes += size + *input->get_field(NUM_COLUMNS - 1);
  benchmark::DoNotOptimize(numBytes);
  return numBytes;
}

Input csv_input(const CsvFile& file) {
  return Input(DamoCsvInput(file.name.c_str(), ',', '"', '"', AceReporter::null()));
}

long count_lines(const CsvFile& file) {
  return strncount(file.text.data(), '\n', static_cast<int>(file.text.size()));
}

void report_speed(benchmark::State& state, const CsvFile& file) {
  state.counters["MB_per_s"] = 1e9 / state.counters["ours_ns"] / MEGA;
  state.SetBytesProcessed(state.iterations() * static_cast<long>(file.text.size()));
}

void read_csv(benchmark::State& state) {
  const CsvFile file(static_cast<unsigned>(state.range(0)));
  bench::compare(
      state, static_cast<double>(file.text.size()), [&] { read_all(csv_input(file)); },
      [&] { benchmark::DoNotOptimize(count_lines(file)); });
  report_speed(state, file);
}
BENCHMARK(read_csv)->Arg(0)->Arg(5)->Arg(100)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

void read_delimited(benchmark::State& state) {
  const CsvFile file(0);
  bench::compare(
      state, static_cast<double>(file.text.size()),
      [&] { read_all(Input(DamoStandardInput(file.name.c_str(), ',', AceReporter::null(), 0))); },
      [&] { benchmark::DoNotOptimize(count_lines(file)); });
  report_speed(state, file);
}
BENCHMARK(read_delimited)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

/// Two parts on two threads; the peer reads the whole file on one.
void read_csv_in_two_parts(benchmark::State& state) {
  constexpr int NUM_PARTS = 2;
  const CsvFile file(static_cast<unsigned>(state.range(0)));
  const auto read_part = [&file](int part) {
    const Input input = csv_input(file);
    input->partition(part, NUM_PARTS);
    read_all(input);
  };
  bench::compare(
      state, static_cast<double>(file.text.size()),
      [&] {
        std::thread other([&] {
          const AceThreadSafe registered;
          read_part(1);
        });
        read_part(0);
        other.join();
      },
      [&] { read_all(csv_input(file)); });
  report_speed(state, file);
}
BENCHMARK(read_csv_in_two_parts)
    ->Arg(0)
    ->Arg(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);

}  // namespace
