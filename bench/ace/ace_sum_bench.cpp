/// The digest of sum files, beside copying the same bytes; and the check of a file in the page cache, beside
/// reading it.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "ace/ace_sum.h"
#include "ratio.h"

namespace {

constexpr std::size_t SIZE = std::size_t{256} << 20;

void sum_digest(benchmark::State& state) {
  const std::vector<char> bytes(SIZE, 'x');
  std::vector<char> copy(SIZE);
  bench::compare(
      state, SIZE,
      [&] {
        AceSum::Digest sum;
        sum.add(bytes.data(), bytes.size());
        benchmark::DoNotOptimize(sum);
      },
      [&] {
        std::memcpy(copy.data(), bytes.data(), SIZE);
        benchmark::DoNotOptimize(copy.data());
      });
}
BENCHMARK(sum_digest)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

void check_of_a_file(benchmark::State& state) {
  char name[] = "/tmp/sum_bench_XXXXXX";
  const int file = mkstemp(name);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(fdopen(file, "wb"), std::fclose);
  const std::vector<char> bytes(SIZE, 'x');
  std::fwrite(bytes.data(), 1, SIZE, out.get());
  std::fflush(out.get());
  AceSum::write(name, AceReporter::null());
  std::vector<char> piece(1 << 20);
  bench::compare(
      state, SIZE, [&] { AceSum::check(name, AceReporter::null()); },
      [&] {
        std::FILE* const in = AceFile::open(name, "rb");
        while (AceFile::read_from(in, piece.data(), piece.size()) == piece.size()) {
        }
        std::fclose(in);
      });
  AceSum::remove(name, AceReporter::null());
  std::remove(name);
}
BENCHMARK(check_of_a_file)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace
