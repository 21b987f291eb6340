// Many queries at once through Python, beside the kernel alone and a scan of all entries: all real words within
// two edits of each query, one thread, in turns. Answers are compared by their number and the sum of their
// qualities.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "ace/ace_alloc.h"
#include "ace/ace_reporter.h"
#include "lookup/data.h"
#include "lookup/scans.h"
#include "ratio.h"
#include "tera/tera_edit.h"
#include "tera/tera_result.h"

namespace {

constexpr std::size_t NUM_QUERIES = 100'000;
constexpr std::size_t NUM_SCANNED = 200;
constexpr int ROUNDS = 5;
constexpr int EDITS = 2;
constexpr int LEAST = 255 - EDITS;
constexpr int ALL = 1'000'000;

struct Answers {
  double seconds = 0;
  long count = 0;
  long sum = 0;
  bool operator==(const Answers& other) const { return count == other.count && sum == other.sum; }
};

Answers ask(const TeraEdit& edit, const std::vector<std::string>& queries, std::size_t num) {
  Answers answers;
  answers.seconds = bench::processor_seconds_of([&] {
    for (std::size_t i = 0; i < num; ++i) {
      TeraResult result(queries[i].c_str(), LEAST, ALL, TeraResult::MAX_VALUE);
      answers.count += edit.recall(&result, TeraEval::LEVENSHTEIN, TeraEval::RAW, nullptr);
      for (auto* group = result.get_first_group(); group != nullptr; group = group->get_next())
        answers.sum += static_cast<long>(group->get_value()) * group->get_num_cands();
    }
  });
  return answers;
}

/// A host in Python, which asks all queries once a line.
class Host {
 public:
  Host(const std::string& index, const std::string& queries) : fromHost(index + ".answers") {
    std::filesystem::remove(fromHost);
    const std::string command = "PYTHONPATH=" BENCH_PACKAGES " " BENCH_PYTHON " " BENCH_BATCH " " + index + " " +
                                queries + " > " + fromHost;
    toHost = popen(command.c_str(), "w");
    if (toHost == nullptr) std::abort();
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host() {
    pclose(toHost);
    std::filesystem::remove(fromHost);
  }
