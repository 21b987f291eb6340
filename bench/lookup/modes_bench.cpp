// Every mode of look-up, and first answers after loading, in two tables.
//
// usage: lookup_modes_bench [MOST_ENTRIES]      default 10000000
//
// Modes: the index of filter 5 is asked for all entries of at least quality 191 under the mode's own model,
// at most 1000, without and with transpositions. The first round, which decodes, is not counted.
//
// First answers: each is that of a new process that maps the file, which is in the page cache; with coded and
// with plain columns.
//
// Milliseconds of processor time, the system's share included, so that other work on the machine counts
// little. With BENCH_KEEP in the environment the indexes stay for the next run.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "ace/ace_alloc.h"
#include "ace/ace_reporter.h"
#include "lookup/data.h"
#include "ratio.h"
#include "tera/tera_edit.h"
#include "tera/tera_result.h"

namespace {

constexpr int MAPPED = 1;
constexpr int MANY = 1000;
constexpr int FILTER = 5;

struct Ask {
  TeraEval::Mode mode;
  TeraEval::Model model;
  int least;
  int most;
  int options = 0;
};

Ask ask_of(TeraEval::Mode mode, int least, int options) {
  TeraEval::Model model{};
  TeraEval::get_mode(TeraEval::get_mode_name(mode), &model);
  return {mode, model, least, MANY, options};
}

const Ask T2{TeraEval::LEVENSHTEIN, TeraEval::RAW, 253, 1'000'000};
const Ask TQ{TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 191, 1'000'000};

double milliseconds_of(const auto& job) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
  };
  const double start = now();
  job();
  return now() - start;
}

/// Milliseconds of a recall.
double answer(const TeraEdit& edit, const Ask& ask, const char* query, int* num) {
  return milliseconds_of([&] {
    TeraResult result(query, ask.least, ask.most, TeraEval::PERFECT);
    *num = edit.recall(&result, ask.mode, ask.model, 0, 0, ask.options, 100, AceReporter::null());
  });
}

// ---------------------------------------------------------------- modes

struct Figures {
  double median = 0;
  double percentile = 0;
  double hits = 0;
  int refused = 0;
};

Figures figures_of(const TeraEdit& edit, const Ask& ask, const std::vector<std::string>& queries) {
  std::vector<double> times;
  Figures figures;
  for (const bool isWarm : {false, true})
    for (const std::string& query : queries) {
      int num = 0;
      const double milliseconds = answer(edit, ask, query.c_str(), &num);
      if (!isWarm) continue;
      times.push_back(milliseconds);
      figures.hits += std::max(num, 0);
      figures.refused += num < 0 ? 1 : 0;
    }
  std::sort(times.begin(), times.end());
  figures.median = times[times.size() / 2];
  figures.percentile = times[times.size() * 99 / 100];
  figures.hits /= static_cast<double>(queries.size());
  return figures;
}

void print_figures(const Figures& figures) {
  std::printf(" %9.4f %9.4f %7.1f", figures.median, figures.percentile, figures.hits);
  std::printf(figures.refused > 0 ? " (%d refused)" : "", figures.refused);
}

void print_modes(const char* file, std::size_t num, const std::vector<std::string>& queries) {
  TeraEdit edit;
  if (edit.load(file, MAPPED, nullptr) < 0) std::abort();
  std::printf("%9s  %-16s %9s %9s %7s %9s %9s %7s\n", "entries", "mode", "median", "99 %", "hits", "swaps",
              "99 %", "hits");
  const auto print = [&](const char* name, TeraEval::Mode mode, int least) {
    std::printf("%9zu  %-16s", num, name);
    for (const int options : {0, int{TeraEdit::TRANSPOSE}})
      print_figures(figures_of(edit, ask_of(mode, least, options), queries));
    std::printf("\n");
  };
  for (int mode = 0; mode < TeraEval::NUM_MODES; ++mode) {
    const auto asked = static_cast<TeraEval::Mode>(mode);
    if (asked != TeraEval::SUBWORD && asked != TeraEval::SCAN)
      print(TeraEval::get_mode_name(asked), asked, 191);
  }
  print("LEVENSHTEIN 150", TeraEval::LEVENSHTEIN, 150);
}

// ---------------------------------------------------------------- first answers

/// What a new process measured: load, first recall, and the same recall again.
typedef std::array<double, 3> First;

/// The new process: writes what it measured.
int answer_first(const char* file, const char* task, const char* query) {
  First times{};
  TeraEdit edit;
  times[0] = milliseconds_of([&] {
    if (edit.load(file, MAPPED, nullptr) < 0) std::abort();
  });
  int num = 0;
  for (const std::size_t i : {1, 2})
    times[i] = answer(edit, std::string_view(task) == "T2" ? T2 : TQ, query, &num);
  return std::fwrite(times.data(), sizeof times, 1, stdout) == 1 ? 0 : 1;
}

First first_of(const char* file, const char* task, const char* query) {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    execl("/proc/self/exe", "first", file, task, query, nullptr);
    _exit(1);
  }
  close(ends[1]);
  First times{};
  if (read(ends[0], times.data(), sizeof times) != sizeof times) std::fprintf(stderr, "a process failed\n");
  close(ends[0]);
  waitpid(child, nullptr, 0);
  return times;
}

void print_first(const char* file, std::size_t num, const std::vector<std::string>& queries) {
  std::printf("%9s  %-16s %9s %9s %9s %9s\n", "entries", "first answers", "load", "median", "worst",
              "second");
  for (const char* task : {"T2", "TQ"}) {
    std::vector<double> times[3];
    for (const std::string& query : queries) {
      const First first = first_of(file, task, query.c_str());
      for (std::size_t i = 0; i < first.size(); ++i) times[i].push_back(first[i]);
    }
    std::printf("%9zu  %-16s %9.3f %9.3f %9.3f %9.4f\n", num, task, bench::median(times[0]),
                bench::median(times[1]), *std::max_element(times[1].begin(), times[1].end()),
                bench::median(times[2]));
  }
}

// ---------------------------------------------------------------- indexes

void build(const std::vector<std::string>& entries, int options, const char* file) {
  TeraMap map;
  lookup::make_map(&map);
  lookup::EntryReader reader(entries);
  TeraEdit edit;
  if (edit.make(&reader, &map, FILTER, 4, options, 0, nullptr, nullptr) < 0 || edit.dump(file, nullptr) < 0)
    std::abort();
}

/// The name of the index with these build options, which is there then.
std::string file_of(const std::vector<std::string>& entries, int options) {
  const std::string file =
      "lookup_modes_bench." + std::to_string(entries.size()) + "." + std::to_string(options) + ".edit";
  if (std::getenv("BENCH_KEEP") != nullptr && std::filesystem::exists(file)) return file;
  const pid_t child = fork();
  if (child == 0) {
    build(entries, options, file.c_str());
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  return file;
}

void run_size(std::size_t num, const std::vector<std::string>& words) {
  const std::vector<std::string> entries = lookup::entries(words, num);
  const std::vector<std::string> queries = lookup::queries(entries, num > 2'000'000 ? 100 : 1000);
  const std::vector<std::string> few(queries.begin(), queries.begin() + 40);
  const std::string file = file_of(entries, 0);
  const std::string plainFile = file_of(entries, TeraEdit::PLAIN_COLUMNS);
  std::printf("%9zu  coded columns, %zu bytes\n", num, std::filesystem::file_size(file));
  print_first(file.c_str(), num, few);
  std::printf("%9zu  plain columns, %zu bytes\n", num, std::filesystem::file_size(plainFile));
  print_first(plainFile.c_str(), num, few);
  print_modes(file.c_str(), num, queries);
  if (std::getenv("BENCH_KEEP") != nullptr) return;
  std::remove(file.c_str());
  std::remove(plainFile.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  ace_alloc_init(2000);
  AceReporter::set_progress(0);
  AceReporter::clear_default();  // queries that are refused are counted
  if (argc == 4) return answer_first(argv[1], argv[2], argv[3]);
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const std::size_t most = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 10'000'000;
  const std::vector<std::string> words = lookup::real_words();
  for (const std::size_t num : {words.size(), std::size_t{10'000'000}})
    if (num <= most) run_size(num, words);
}
