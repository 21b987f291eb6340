// Multi-word index on a million lines (multi_lines.h); other full-text indexes of the same lines are asked in
// multi_peers_bench.cpp. Times are of single queries, in milliseconds of the processor: median and 99th
// percentile.
#include <memory>

#include "ace/ace_reporter.h"
#include "fields/multi_lines.h"
#include "tera/tera_multi.h"
#include "tera/tera_result.h"
#include "tera/tera_teaser.h"
#include "tera/tera_words_reader.h"

namespace {

using lines::data;

constexpr int LONGEST_TEASER = 100;  // bytes

class LineReader : public TeraReader {
 public:
  int get_line(const char** string, Large* info, VInt* line) override {
    if (next == data().lines.size()) return 0;
    *string = data().lines[next].c_str();
    *info = static_cast<Large>(++next);
    if (line != nullptr) *line = static_cast<VInt>(next);
    return 1;
  }
  int rewind() override { return static_cast<int>(next = 0); }
  VInt get_estimate() override { return static_cast<VInt>(data().lines.size()); }

 private:
  std::size_t next = 0;
};

class Built {
 public:
  Built() {
    data();
    const std::string file = lines::file_of("multi");
    cost.seconds = bench::seconds_of([&file] { make(file); });
    cost.bytes = static_cast<double>(std::filesystem::file_size(file));
    if (multi.load(file.c_str(), 1, AceReporter::null()) < 0) std::abort();
  }
  TeraMulti multi;
  lines::BuildCost cost;

 private:
  static void make(const std::string& file) {
    TeraMap map;
    lookup::make_map(&map);
    TeraMulti made;
    made.init(&map, ' ', nullptr, false);
    LineReader all;
    WordsReader reader(&all, nullptr);
    constexpr int options = TeraMulti::MAKE_INFO | TeraMulti::MULTIPLE | TeraMulti::OPTIMIZE_HITS;
    if (made.make_reader(&reader, nullptr, ' ', 3, 150, options, nullptr, 4, 80, 10, nullptr, nullptr,
                         nullptr, AceReporter::null(), lines::LEAST_QUALITY) < 0 ||
        made.dump(file.c_str(), AceReporter::null()) < 0)
      std::abort();
  }
};

const Built& built() {
  static const Built made;
  return made;
}

int recall(const std::string& query, int options, int most) {
  TeraResult result(query.c_str(), lines::LEAST_QUALITY, most, 255);
  result.use_collection();
  if (most < 100) result.set_biggest_group(most);
  built().multi.recall(&result, options | TeraMulti::TRANSPOSE, TeraEval::SHORT, AceReporter::null());
  return result.num_cands();
}

void Multi_build(benchmark::State& state) {
  built().cost.report(state);
}
BENCHMARK(Multi_build)->Iterations(1);

void ask(benchmark::State& state, const lines::Texts& queries, int options, int most) {
  built();
  lines::time_queries(state, queries, [&](const auto& query) { return recall(query, options, most); });
}
void Multi_misspelled(benchmark::State& state) {
  ask(state, data().misspelled, TeraMulti::NO_TEASER, lines::ALL);
}
void Multi_misspelled_10(benchmark::State& state) {
  ask(state, data().misspelled, TeraMulti::NO_TEASER, lines::BEST);
}
void Multi_right_words(benchmark::State& state) {
  ask(state, data().queries, TeraMulti::NO_TEASER, lines::ALL);
}
void Multi_unfinished_10(benchmark::State& state) {
  ask(state, data().unfinished, TeraMulti::NO_TEASER | TeraMulti::COMPLETE, lines::BEST);
}
void Multi_right_words_10_teasers(benchmark::State& state) {
  ask(state, data().queries, 0, lines::BEST);
}
void Multi_exact(benchmark::State& state) {
  built();
  lines::time_queries(state, data().queries, [](const auto& query) {
    const std::unique_ptr<TeraResult> result(built().multi.exact(query.c_str(), 0, nullptr));
    return result->num_cands();
  });
}
/// What `exact` finds, the first ten of it marked.
void Multi_exact_10_teasers(benchmark::State& state) {
  const TeraMulti& multi = built().multi;
  lines::time_queries(state, data().queries, [&multi](const auto& query) {
    const std::unique_ptr<TeraResult> result(multi.exact(query.c_str(), 0, nullptr));
    TeraTeaser teaser(TeraMap::get_ident_map(), nullptr, nullptr, LONGEST_TEASER);
    for (const std::string& word : lines::split(query)) teaser.add_query_word(word.c_str(), nullptr);
    AceAttach at;
    int shown = 0;
    result->find_any([&](int, const TeraCand* cand) {
      const Large* const numbers = cand->get_infos();
      for (Large i = 0; i < cand->get_num_infos() && shown < lines::BEST; ++i, ++shown)
        benchmark::DoNotOptimize(teaser.generate(multi.get_multiword(numbers[i], &at), &at, 0, 0, -1));
      return shown == lines::BEST;
    });
    return shown;
  });
}
BENCHMARK(Multi_misspelled)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(Multi_misspelled_10)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(Multi_right_words)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(Multi_exact)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(Multi_unfinished_10)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(Multi_right_words_10_teasers)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(Multi_exact_10_teasers)->Iterations(4)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
