/// Reading lines against getline(3), counting bytes against std::count, and the digest.
#include "ace/ace_input.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>

#include "ace/ace_md5.h"
#include "ace/ace_str_count.h"
#include "ratio.h"

namespace {

constexpr std::size_t FILE_SIZE = 200'000'000;
constexpr int BUF_SIZE = 1 << 20;

/// A file of lines of 10 to 60 bytes, removed at the end.
class LineFile {
 public:
  LineFile() : stream(std::tmpfile()) {
    std::mt19937 random(1);
    std::string text;
    while (text.size() < FILE_SIZE) {
      for (auto left = 10 + random() % 51; left > 0; --left) text += static_cast<char>('a' + random() % 26);
      text += '\n';
      ++numLines;
    }
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
    name = "/proc/self/fd/" + std::to_string(fileno(stream));
  }
  LineFile(const LineFile&) = delete;
  LineFile& operator=(const LineFile&) = delete;
  ~LineFile() { std::fclose(stream); }

  std::FILE* stream;
  std::string name;
  long numLines = 0;
};

long read_with_input(const LineFile& file) {
  AceInput input(file.name.c_str(), BUF_SIZE, false);
  long total = 0;
  char* line = nullptr;
  for (int length; (length = input.read_line(&line)) >= 0;) total += length;
  return total;
}

long read_with_getline(const LineFile& file) {
  std::FILE* stream = std::fopen(file.name.c_str(), "rb");
  long total = 0;
  char* line = nullptr;
  std::size_t capacity = 0;
  for (ssize_t length; (length = getline(&line, &capacity, stream)) >= 0;) total += length - 1;
  std::free(line);
  std::fclose(stream);
  return total;
}

void read_lines(benchmark::State& state) {
  const LineFile file;
  if (read_with_input(file) != read_with_getline(file)) state.SkipWithError("different lines");
  bench::compare(
      state, static_cast<double>(file.numLines), [&] { benchmark::DoNotOptimize(read_with_input(file)); },
      [&] { benchmark::DoNotOptimize(read_with_getline(file)); });
}
BENCHMARK(read_lines)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(7);

__attribute__((target("avx2"), noinline)) long count_with_std(const std::string& text, char c) {
  return std::count(text.begin(), text.end(), c);
}

void count_bytes(benchmark::State& state) {
  std::mt19937 random(2);
  std::string text(static_cast<std::size_t>(state.range(0)), ' ');
  for (char& c : text) c = static_cast<char>('a' + random() % 26);
  const long repeats = 20'000'000 / state.range(0);
  const int size = static_cast<int>(text.size());
  bench::compare(
      state, static_cast<double>(repeats) * size,
      [&] {
        for (long i = 0; i < repeats; ++i) benchmark::DoNotOptimize(strncount(text.data(), 'e', size));
      },
      [&] {
        for (long i = 0; i < repeats; ++i) benchmark::DoNotOptimize(count_with_std(text, 'e'));
      });
}
BENCHMARK(count_bytes)->UseManualTime()->Arg(1000)->Arg(1'000'000)->Arg(20'000'000);

void digest(benchmark::State& state) {
  const std::string text(1 << 20, 'x');
  for (auto unused : state) {
    static_cast<void>(unused);
    ace_md5::MD5_CTX ctx;
    ace_md5::MD5_Init(&ctx);
    ace_md5::MD5_Update(&ctx, text.data(), text.size());
    unsigned char result[16];
    ace_md5::MD5_Final(result, &ctx);
    benchmark::DoNotOptimize(result);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<long>(text.size()));
}
BENCHMARK(digest);

}  // namespace
