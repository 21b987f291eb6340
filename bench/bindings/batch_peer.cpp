// usage: batch_peer FOLDER QUERIES
//
// Makes an index of the real words and so many queries in a folder, and answers lines "kernel NUM" and "scan
// NUM": the processor's seconds for all words within two edits of the first queries, their number (-1 without
// the peer) and the sum of their qualities.
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

constexpr std::size_t MAX_EDITS = 2;
constexpr int BEST = 255;
constexpr int ALL = 1'000'000;
using Texts = std::vector<std::string>;

struct Answers {
  double seconds;
  long count = 0;
  long sum = 0;
};

Answers ask(const TeraEdit& edit, const Texts& queries, std::size_t num) {
  Answers answers;
  answers.seconds = bench::processor_seconds_of([&] {
    for (std::size_t i = 0; i < num; ++i) {
      TeraResult result(queries[i].c_str(), BEST - static_cast<int>(MAX_EDITS), ALL, TeraResult::MAX_VALUE);
      answers.count += edit.recall(&result, TeraEval::LEVENSHTEIN, TeraEval::RAW, nullptr);
      for (auto* group = result.get_first_group(); group != nullptr; group = group->get_next())
        answers.sum += static_cast<long>(group->get_value()) * group->get_num_cands();
    }
  });
  return answers;
}

#ifdef BENCH_HAS_RAPIDFUZZ

Answers scan(const Texts& entries, const Texts& queries, std::size_t num) {
  TeraMap map;
  lookup::make_map(&map);
  const auto batches = lookup::batches(lookup::buckets(entries, map));
  Answers answers;
  std::vector<std::size_t> distances;
  AceAttach at;
  answers.seconds = bench::processor_seconds_of([&] {
    for (std::size_t i = 0; i < num; ++i) {
      const std::string query(reinterpret_cast<const char*>(map.convert(queries[i].c_str(), true, &at)));
      for (std::size_t n = 1; n < batches.size(); ++n) {
        // At least one token is the same, or nothing is found.
        const std::size_t size = query.size();
        if (batches[n] == nullptr || (n > size ? n - size : size - n) > MAX_EDITS) continue;
        batches[n]->distances(query, MAX_EDITS, &distances);
        for (const std::size_t distance : distances) {
          if (distance > MAX_EDITS || distance >= std::max(n, size)) continue;
          ++answers.count;
          answers.sum += BEST - static_cast<long>(distance);
        }
      }
    }
  });
  return answers;
}

#else

Answers scan(const Texts&, const Texts&, std::size_t) {
  return {0, -1, -1};
}

#endif

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  ace_alloc_init(2000);
  AceReporter::set_progress(0);
  const std::string folder = argv[1];
  const std::string file = folder + "/words.edit";
  const Texts entries = lookup::real_words();
  const Texts queries = lookup::queries(entries, std::strtoul(argv[2], nullptr, 10));
  std::ofstream list(folder + "/queries");
  for (const std::string& query : queries) list << query << '\n';
  list.close();
  {
    TeraMap map;
    lookup::make_map(&map);
    lookup::EntryReader reader(entries);
    TeraEdit made;
    made.make(&reader, &map, 5, 4, 0, 0, nullptr, nullptr);
    made.dump(file.c_str(), nullptr);
  }
  TeraEdit edit;
  if (edit.load(file.c_str(), 1, nullptr) < 0) return 2;
  char what[8];
  for (std::size_t num = 0; std::scanf("%7s %zu", what, &num) == 2;) {
    const Answers answers =
        std::strcmp(what, "scan") == 0 ? scan(entries, queries, num) : ask(edit, queries, num);
    std::printf("%.6f %ld %ld\n", answers.seconds, answers.count, answers.sum);
    std::fflush(stdout);
  }
}
