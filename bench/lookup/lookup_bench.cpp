// Error-tolerant look-up in word lists, against scans of the same entries, in one table.
//
// usage: lookup_bench [MOST_ENTRIES]      default 10000000
//
// Tasks: T2, all entries within edit distance 2; TQ, all entries of a quality of at least 191 in
// LEVENSHTEIN/MAXIMUM. One thread. Every line is measured in a process of its own, so that its memory can be
// told. Answers are compared by their number and the sum of their qualities; peers answer fewer queries of
// the same list where the list is long.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>

#include "ace/ace_alloc.h"
#include "ace/ace_cpu.h"
#include "ace/ace_reporter.h"
#include "lookup/data.h"
#include "lookup/scans.h"
#include "ratio.h"
#include "tera/tera_edit.h"
#include "tera/tera_result.h"

#ifdef BENCH_HAS_TRE
#include <tre/tre.h>
#endif

namespace {

constexpr std::size_t NUM_QUERIES = 1000;
constexpr int MAPPED = 1;
constexpr int ALL = 1000000;

enum Task { T2, TQ };
const char* const TASK_NAMES[] = {"T2", "TQ"};

constexpr TeraEval::Model model_of(Task task) {
  return task == T2 ? TeraEval::RAW : TeraEval::MAXIMUM;
}
constexpr int least_of(Task task) {
  return task == T2 ? 253 : 191;
}
/// 0 when the entry does not count.
int quality_of(Task task, int m, int distance, int n) {
  const int x = std::max(m, n) - distance;
  if (x < 1) return 0;
  const int quality = TeraEval::get_model_func(model_of(task), 0)(m, x, n);
  return quality >= least_of(task) ? quality : 0;
}

// ---------------------------------------------------------------- measuring

struct Figures {
  double buildSeconds = 0;
  double peakMegabytes = 0;
  double residentMegabytes = 0;
  double median = 0;  // milliseconds
  double percentile = 0;
  std::size_t numQueries = 0;
  long count = 0;
  long sum = 0;
  long prefixCount = 0;  // of as many queries as the peers answer
  long prefixSum = 0;
  double bytes = 0;  // touched per query, by the layout
  double operations = 0;
};

/// Runs a job in a process of its own.
Figures in_child(const std::function<void(Figures*)>& job) {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  if (const pid_t child = fork(); child == 0) {
    Figures figures;
    job(&figures);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    figures.peakMegabytes = static_cast<double>(usage.ru_maxrss) / 1024;
    if (write(ends[1], &figures, sizeof figures) != sizeof figures) std::abort();
    _exit(0);
  }
  close(ends[1]);
  Figures figures;
  if (read(ends[0], &figures, sizeof figures) != sizeof figures)
    std::fprintf(stderr, "a measurement failed\n");
  close(ends[0]);
  wait(nullptr);
  return figures;
}

double resident_megabytes() {
  std::ifstream statm("/proc/self/statm");
  long size = 0;
  long resident = 0;
  statm >> size >> resident;
  return static_cast<double>(resident * sysconf(_SC_PAGESIZE)) / (1 << 20);
}

void set_times(std::vector<double> times, Figures* figures) {
  std::sort(times.begin(), times.end());
  figures->numQueries = times.size();
  figures->median = times[times.size() / 2] * 1e3;
  figures->percentile = times[times.size() * 99 / 100] * 1e3;
}

/// Bytes per second that one core reads from memory.
double memory_bandwidth() {
  std::vector<long> words(std::size_t{1} << 26);
  long sum = 0;
  const double seconds = bench::seconds_of([&] {
    for (const long word : words) sum += word;
  });
  benchmark::DoNotOptimize(sum);
  return static_cast<double>(words.size() * sizeof(long)) / seconds;
}

/// Additions of 64-bit words per second that one core does in registers.
double word_operations() {
  typedef unsigned long Lanes __attribute__((vector_size(32)));
  Lanes lanes[8] = {};
  constexpr long ROUNDS = 20'000'000;
  const double seconds = bench::seconds_of([&] {
    for (long i = 0; i < ROUNDS; ++i)
      for (Lanes& lane : lanes) {
        lane ^= lane + 1;
        benchmark::DoNotOptimize(lane);
      }
  });
  return static_cast<double>(ROUNDS) * 8 * 2 * 4 / seconds;
}

// ---------------------------------------------------------------- ours

std::size_t peer_queries(std::size_t num_entries) {
  return num_entries > 2'000'000 ? 40 : 200;
}

struct Setting {
  int filter;
  AceCpuLevel level;
};

/// What a query has to touch: of each position the entry positions in reach, of each block of 512 groups a
/// line.
void add_cost(const TeraEdit& edit, Task task, int m, Figures* figures) {
  const TeraBitMatrix& matrix =
      edit.get_filter() != nullptr ? static_cast<const TeraBitMatrix&>(*edit.get_filter()) : edit;
  for (int n = 1; n < matrix.get_max_length(); ++n) {
    int errors = std::abs(m - n);
    while (quality_of(task, m, errors + 1, n) > 0) ++errors;
    if (quality_of(task, m, errors, n) == 0) continue;
    const int slots = (n + 1 < matrix.get_max_length() ? matrix.first_slot(n + 1) : matrix.get_num_slots()) -
                      matrix.first_slot(n);
    const int width = (errors - std::abs(m - n)) / 2 * 2 + std::abs(m - n) + 1;
    const double words = slots / 64.0 * m * width;
    figures->bytes += words * 8;
    figures->operations += words * 4;
  }
}

void recall(const char* file, const std::vector<std::string>& queries, Task task, Setting setting,
            std::size_t num_peer, Figures* figures) {
  ace_cpu_limit(setting.level);
  const double before = resident_megabytes();  // the list, which is the parent's
  TeraEdit edit;
  if (edit.load(file, MAPPED, nullptr) < 0) std::abort();
  std::vector<double> times;
  for (const bool isWarm : {false, true}) {  // the first round decodes what is needed
    for (const std::string& query : queries) {
      long count = 0;
      long sum = 0;
      const double seconds = bench::seconds_of([&] {
        TeraResult result(query.c_str(), least_of(task), ALL, 255);
        count = edit.recall(&result, TeraEval::LEVENSHTEIN, model_of(task), nullptr);
        for (TeraCandGroup* group = result.get_first_group(); group != nullptr; group = group->get_next())
          sum += static_cast<long>(group->get_value()) * group->get_num_cands();
      });
      if (!isWarm) continue;
      times.push_back(seconds);
      figures->count += count;
      figures->sum += sum;
      if (times.size() == num_peer) {
        figures->prefixCount = figures->count;
        figures->prefixSum = figures->sum;
      }
      add_cost(edit, task, edit.get_tera_map()->tok_len(query.c_str(), true), figures);
    }
  }
  figures->bytes /= static_cast<double>(queries.size());
  figures->operations /= static_cast<double>(queries.size());
  figures->residentMegabytes = resident_megabytes() - before;
  set_times(times, figures);
}

// ---------------------------------------------------------------- peers

#if defined(BENCH_HAS_RAPIDFUZZ) || defined(BENCH_HAS_TRE)

int largest_distance(Task task, int m, int n) {
  int distance = std::abs(m - n);
  if (quality_of(task, m, distance, n) == 0) return -1;
  while (quality_of(task, m, distance + 1, n) > 0) ++distance;
  return distance;
}

template <class Scan>
void scan_all(const std::vector<std::vector<std::string>>& all, const std::vector<std::string>& queries,
              const TeraMap& map, Task task, std::size_t num, const Scan& scan, Figures* figures) {
  AceAttach at;
  std::vector<double> times;
  for (std::size_t q = 0; q < num; ++q) {
    const std::string tokens(reinterpret_cast<const char*>(map.convert(queries[q].c_str(), true, &at)));
    const int m = static_cast<int>(tokens.size());
    times.push_back(bench::seconds_of([&] {
      for (std::size_t n = 1; n < all.size(); ++n) {
        const int most = largest_distance(task, m, static_cast<int>(n));
        if (most < 0 || all[n].empty()) continue;
        scan(n, tokens, most, [&](std::size_t distance) {
          const int quality = quality_of(task, m, static_cast<int>(distance), static_cast<int>(n));
          figures->count += quality > 0 ? 1 : 0;
          figures->sum += quality;
        });
      }
    }));
  }
  set_times(times, figures);
}

#endif

#ifdef BENCH_HAS_TRE

/// Tokens as letters and digits, which no pattern understands otherwise.
std::string as_letters(std::string tokens) {
  constexpr char LETTERS[] = "-ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  for (char& c : tokens) c = LETTERS[static_cast<unsigned char>(c)];
  return tokens;
}

/// An approximate regular expression: the whole entry with so many errors.
void scan_pattern(const std::vector<std::string>& entries, const std::vector<std::string>& queries, Task task,
                  std::size_t num, Figures* figures) {
  TeraMap map;
  lookup::make_map(&map);
  auto all = lookup::buckets(entries, map);
  for (auto& bucket : all)
    for (std::string& entry : bucket) entry = as_letters(entry);
  scan_all(
      all, queries, map, task, num,
      [&](std::size_t n, const std::string& query, int most, const auto& take) {
        regex_t pattern;
        if (tre_regcomp(&pattern, ("^" + as_letters(query) + "$").c_str(), REG_EXTENDED) != 0) std::abort();
        regaparams_t limits;
        tre_regaparams_default(&limits);
        limits.max_cost = most;
        for (const std::string& entry : all[n]) {
          regamatch_t match{};
          if (tre_regaexec(&pattern, entry.c_str(), &match, limits, 0) == 0)
            take(static_cast<std::size_t>(match.cost));
        }
        tre_regfree(&pattern);
      },
      figures);
}

#endif

#ifdef BENCH_HAS_RAPIDFUZZ

void scan_scalar(const std::vector<std::string>& entries, const std::vector<std::string>& queries, Task task,
                 std::size_t num, Figures* figures) {
  TeraMap map;
  lookup::make_map(&map);
  const auto all = lookup::buckets(entries, map);
  scan_all(
      all, queries, map, task, num,
      [&](std::size_t n, const std::string& query, int most, const auto& take) {
        const rapidfuzz::CachedLevenshtein<char> scorer(query);
        const auto cutoff = static_cast<std::size_t>(most);
        for (const std::string& entry : all[n])
          if (const std::size_t distance = scorer.distance(entry, cutoff); distance <= cutoff) take(distance);
      },
      figures);
}

void scan_batch(const std::vector<std::string>& entries, const std::vector<std::string>& queries, Task task,
                std::size_t num, Figures* figures) {
  TeraMap map;
  lookup::make_map(&map);
  const auto all = lookup::buckets(entries, map);
  const auto batches = lookup::batches(all);
  std::vector<std::size_t> distances;
  scan_all(
      all, queries, map, task, num,
      [&](std::size_t n, const std::string& query, int most, const auto& take) {
        const auto cutoff = static_cast<std::size_t>(most);
        batches[n]->distances(query, cutoff, &distances);
        for (std::size_t k = 0; k < all[n].size(); ++k)
          if (distances[k] <= cutoff) take(distances[k]);
      },
      figures);
}

#endif

// ---------------------------------------------------------------- the table

struct Machine {
  double bandwidth;
  double operations;
};

void print_line(std::size_t num, const char* what, Task task, const Figures& figures, double peer) {
  std::printf("%9zu  %-26s %s %10.4f %10.4f %6.1f", num, what, TASK_NAMES[task], figures.median,
              figures.percentile, figures.percentile / figures.median);
  if (peer > 0)
    std::printf(" %9.1f", peer / figures.median);
  else
    std::printf(" %9s", "");
}

void run_size(std::size_t num, const std::vector<std::string>& words, const Machine& machine) {
  const std::vector<std::string> entries = lookup::entries(words, num);
  const std::vector<std::string> queries = lookup::queries(entries, NUM_QUERIES);
  double peers[2] = {};
  Figures answers[2];
  const std::size_t numPeer = peer_queries(num);
#ifdef BENCH_HAS_RAPIDFUZZ
  for (const Task task : {T2, TQ}) {
    answers[task] = in_child([&](Figures* figures) { scan_batch(entries, queries, task, numPeer, figures); });
    peers[task] = answers[task].median;
    print_line(num, "RapidFuzz, SIMD batches", task, answers[task], 0);
    std::printf("  %7.0f MB resident at most, %zu queries\n", answers[task].peakMegabytes, numPeer);
    const std::size_t numScalar = numPeer / 10;
    const Figures scalar =
        in_child([&](Figures* figures) { scan_scalar(entries, queries, task, numScalar, figures); });
    print_line(num, "RapidFuzz, scalar", task, scalar, peers[task]);
    std::printf("  %zu queries\n", numScalar);
  }
#endif
#ifdef BENCH_HAS_TRE
  constexpr std::size_t NUM_PATTERNS = 3;
  if (num < 2'000'000) {
    const Figures pattern =
        in_child([&](Figures* figures) { scan_pattern(entries, queries, T2, NUM_PATTERNS, figures); });
    print_line(num, "TRE, approximate pattern", T2, pattern, peers[T2]);
    std::printf("  %zu queries\n", NUM_PATTERNS);
  }
#endif
  const std::string file =
      std::filesystem::temp_directory_path() / ("lookup_bench." + std::to_string(getpid()) + ".edit");
  for (const int filter : {5, 0}) {
    if (filter == 0 && num > 2'000'000) continue;
    const Figures built = in_child([&](Figures* figures) {
      const double before = resident_megabytes();
      figures->buildSeconds = bench::seconds_of([&] {
        TeraMap map;
        lookup::make_map(&map);
        lookup::EntryReader reader(entries);
        TeraEdit edit;
        edit.make(&reader, &map, filter, 4, 0, 0, nullptr, nullptr);
        edit.dump(file.c_str(), nullptr);
      });
      figures->residentMegabytes = before;
    });
    const double fileBytes = static_cast<double>(std::ifstream(file, std::ios::ate).tellg());
    std::printf(
        "%9zu  built with filter %d: %.1f s, %.0f MB at most (%.0f of them the list), %.1f bytes per entry\n",
        num, filter, built.buildSeconds, built.peakMegabytes, built.residentMegabytes,
        fileBytes / static_cast<double>(num));
    for (const Task task : {T2, TQ})
      for (const AceCpuLevel level : {AceCpuLevel::AVX512, AceCpuLevel::AVX2, AceCpuLevel::BASELINE}) {
        if (ace_cpu_limit(level) != level) continue;
        const Figures ours = in_child([&](Figures* figures) {
          recall(file.c_str(), queries, task, {filter, level}, numPeer, figures);
        });
        const std::string what =
            std::string(filter > 0 ? "filter 5, " : "all entries, ") + ace_cpu_name(level);
        print_line(num, what.c_str(), task, ours, peers[task]);
        std::printf("  %5.0f MB %5.1f%% of bandwidth %5.1f%% of operations%s\n", ours.residentMegabytes,
                    100 * ours.bytes / (ours.median * 1e-3) / machine.bandwidth,
                    100 * ours.operations / (ours.median * 1e-3) / machine.operations,
                    peers[task] > 0 &&
                            (ours.prefixCount != answers[task].count || ours.prefixSum != answers[task].sum)
                        ? "  OTHER ANSWERS"
                        : "");
      }
  }
  std::remove(file.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  ace_alloc_init(2000);
  AceReporter::set_progress(0);
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const std::size_t most = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 10'000'000;
  const std::vector<std::string> words = lookup::real_words();
  const Machine machine{memory_bandwidth(), word_operations()};
  std::printf("memory %.1f GB/s, %.0f billion word operations/s, one core; times in milliseconds\n",
              machine.bandwidth / 1e9, machine.operations / 1e9);
  std::printf("%9s  %-26s %s %10s %10s %6s %9s\n", "entries", "", "  ", "median", "99 %", "ratio",
              "speed-up");
  for (const std::size_t num :
       {std::size_t{100'000}, words.size(), std::size_t{1'000'000}, std::size_t{10'000'000}})
    if (num <= most) run_size(num, words, machine);
}
