// Asking fields and records, against scans of the distinct values, and of all records, in SIMD registers.
#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "dast/dast_hit_list.h"
#include "dast/dast_info_list.h"
#include "dast/people.h"
#include "dime/dime_edit.h"
#include "peers/people_peers.h"
#include "ratio.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

#ifdef BENCH_HAS_RAPIDFUZZ
#include <rapidfuzz/distance.hpp>
#endif

namespace {

constexpr int NUM_QUESTIONS = 1000;
constexpr int NUM_PEER_QUESTIONS = 50;
/// Of all questions; the benchmark's time is that of one.
constexpr int ROUNDS = 5;
constexpr std::size_t WANTED = 100;
constexpr int LEAST_QUALITY = 190;

const std::vector<std::string> (&columns())[people::NUM_ASKED] {
  static std::vector<std::string> read[people::NUM_ASKED];
  if (read[0].empty())
    for (int i = 0; i < people::NUM_ASKED; ++i) read[i] = people::column(people::ASKED[i]);
  return read;
}

const std::vector<people::Question>& asked() {
  static const std::vector<people::Question> made = people::questions(columns(), NUM_QUESTIONS);
  return made;
}

// ---------------------------------------------------------------- measuring

/// Calls `ask(i)` for each of `count` questions; the benchmark's time is that of one.
void time_each(benchmark::State& state, int count, const std::function<void(int)>& ask) {
  for (int i = 0; i < count; ++i) ask(i);  // decodes what is decoded once
  std::vector<double> times;
  for (auto unused : state) {
    static_cast<void>(unused);
    double sum = 0;
    for (int i = 0; i < count; ++i) {
      times.push_back(bench::processor_seconds_of([&] { ask(i); }));
      sum += times.back();
    }
    state.SetIterationTime(sum / count);
  }
  std::sort(times.begin(), times.end());
  state.counters["median_us"] = times[times.size() / 2] * 1e6;
  state.counters["p99_us"] = times[times.size() * 99 / 100] * 1e6;
}

// ---------------------------------------------------------------- one field

struct Unref {
  void operator()(TeraScanGraph* graph) const { graph->decr_ref(); }
};
using Graph = std::unique_ptr<TeraScanGraph, Unref>;

Graph ask_field(const DastBase& base, int field, const std::string& text) {
  return Graph(base.get_field(field)->full_scan_resolve(DastOptions::APPROX, text.c_str(), nullptr, 0, 0,
                                                        AceReporter::null()));
}

/// Walks the records of a field's candidates. Returns how many there are.
VInt walk_records(const DastBase& base, int field, const TeraScanGraph* graph) {
  AceAttach at;
  VInt count = 0;
  graph->find_any([&](int, const TeraCand* cand) {
    HitList::Settings settings;
    settings.maxRecord = base.get_num_records();
    HitList* list = base.get_field(field)->create_hitlist(nullptr, cand, settings, &at);
    while (list != nullptr && list->promote() > 0) {
      count += list->get_record() - list->get_start();
      list->promote();
    }
    return false;
  });
  return count;
}

void one_field(benchmark::State& state, bool two_words) {
  const DastBase& base = two_words ? people::names() : people::base();
  const int field = two_words ? 0 : static_cast<int>(people::SURNAME);
  std::vector<std::string> queries;
  for (const people::Question& question : asked())
    queries.push_back(two_words ? question.values[0] + " " + question.values[1] : question.values[1]);
  VInt numRecords = 0;
  time_each(state, NUM_QUESTIONS, [&](int i) {
    const Graph graph = ask_field(base, field, queries[static_cast<std::size_t>(i)]);
    if (graph != nullptr) numRecords += walk_records(base, field, graph.get());
  });
  state.counters["values"] = base.get_field(field)->get_num_base_ids();
  benchmark::DoNotOptimize(numRecords);
}
BENCHMARK_CAPTURE(one_field, surname_with_records, false)
    ->UseManualTime()
    ->Iterations(ROUNDS)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(one_field, two_words_with_records, true)
    ->UseManualTime()
    ->Iterations(ROUNDS)
    ->Unit(benchmark::kMicrosecond);

/// Look-up with lists of records against the recall of the edit index alone.
void record_layer(benchmark::State& state, int field) {
  const DastBase& base = people::base();
  const auto* method = dynamic_cast<const DimeEditMethod*>(base.get_method(field));
  if (method == nullptr) return state.SkipWithError("no edit index");
  std::vector<std::string> queries;
  for (const people::Question& question : asked())
    queries.push_back(question.values[field == people::GIVEN ? 0 : 1]);
  VInt numRecords = 0;
  std::vector<double> ours;
  std::vector<double> recalls;
  const auto run = [&] {
    for (const std::string& query : queries) {
      const Graph graph = ask_field(base, field, query);
      if (graph != nullptr) numRecords += walk_records(base, field, graph.get());
    }
  };
  const auto recall = [&] {
    for (const std::string& query : queries)
      const std::unique_ptr<TeraResult> found(
          method->scan(DastOptions::APPROX, query.c_str(), AceReporter::null()));
  };
  run();
  const double recordsEach = static_cast<double>(numRecords) / NUM_QUESTIONS;
  for (auto unused : state) {
    static_cast<void>(unused);
    ours.push_back(bench::processor_seconds_of(run) / NUM_QUESTIONS);
    recalls.push_back(bench::processor_seconds_of(recall) / NUM_QUESTIONS);
    state.SetIterationTime(ours.back());
  }
  const double all = bench::median(ours);
  const double alone = bench::median(recalls);
  state.counters["recall_us"] = alone * 1e6;
  state.counters["of_recall"] = all / alone;
  state.counters["records"] = recordsEach;
  state.counters["ns_a_record_beyond_30_percent"] = (all - 1.3 * alone) / recordsEach * 1e9;
}
BENCHMARK_CAPTURE(record_layer, surname, people::SURNAME)
    ->UseManualTime()
    ->Iterations(ROUNDS)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(record_layer, given_name, people::GIVEN)
    ->UseManualTime()
    ->Iterations(ROUNDS)
    ->Unit(benchmark::kMicrosecond);

// ---------------------------------------------------------------- three fields

/// Weights of records, of which most are 0; the touched ones are set back after each question.
class Scatter {
 public:
  explicit Scatter(Large num_records) : weights(num_records, 0), touched(num_records) {}
  void add(Large record, int weight) {
    touched[numTouched] = record;
    numTouched += weights[record] == 0 ? 1 : 0;
    weights[record] = static_cast<std::uint16_t>(weights[record] + weight);
  }
  /// The best records, best first, and those that are as good as the last of them.
  std::vector<Large> take_best(std::size_t count) {
    const std::span<const Large> all(touched.data(), numTouched);
    std::array<std::size_t, people::NUM_ASKED * 255 + 1> frequencies{};
    for (const Large record : all) ++frequencies[weights[record]];
    std::size_t least = frequencies.size();
    for (std::size_t kept = 0; least > 1 && kept < count;) kept += frequencies[--least];
    std::vector<std::pair<int, Large>> best;
    for (const Large record : all) {
      if (weights[record] >= least) best.emplace_back(-weights[record], record);
      weights[record] = 0;
    }
    numTouched = 0;
    std::sort(best.begin(), best.end());
    std::vector<Large> records;
    for (const auto& [weight, record] : best) records.push_back(record);
    return records;
  }
  /// Whether the record is among the best, or as good as the last of them.
  bool has_among_best(Large record) {
    const std::vector<Large> best = take_best(WANTED);
    return std::find(best.begin(), best.end(), record) != best.end();
  }

 private:
  std::vector<std::uint16_t> weights;
  std::vector<Large> touched;  // has room for all of them, so that noting one takes no branch
  std::size_t numTouched = 0;
};

/// Adds the weights of the records that the three values find.
void ask_base(const DastBase& base, std::span<const std::string> values, Scatter* scatter) {
  for (std::size_t i = 0; i < people::NUM_ASKED; ++i) {
    const Graph graph = ask_field(base, people::ASKED[i], values[i]);
    if (graph == nullptr) continue;
    AceAttach at;
    HitList::Settings settings;
    settings.weight = 1;
    settings.maxRecord = base.get_num_records();
    HitList** lists = nullptr;
    const int count = HitList::separate(graph->get_first_result(), nullptr, settings, &lists, &at);
    for (int k = 0; k < count; ++k)
      while (lists[k]->promote() > 0) {
        const Large end = lists[k]->get_record();
        for (Large record = lists[k]->get_start(); record < end; ++record)
          scatter->add(record, lists[k]->get_weight());
        lists[k]->promote();
      }
  }
}

bool finds(const DastBase& base, const people::Question& question, Scatter* scatter) {
  ask_base(base, question.values, scatter);
  return scatter->has_among_best(question.record);
}

void three_fields(benchmark::State& state) {
  const DastBase& base = people::base();
  Scatter scatter(base.get_num_records());
  VInt numFound = 0;
  VInt numAsked = 0;
  time_each(state, NUM_QUESTIONS, [&](int i) {
    numFound += finds(base, asked()[static_cast<std::size_t>(i)], &scatter) ? 1 : 0;
    ++numAsked;
  });
  state.counters["found_percent"] = 100.0 * static_cast<double>(numFound) / static_cast<double>(numAsked);
}
BENCHMARK(three_fields)->UseManualTime()->Iterations(ROUNDS)->Unit(benchmark::kMicrosecond);

#ifdef BENCH_HAS_RAPIDFUZZ

std::string tokens_of(const TeraMap& map, const std::string& text) {
  AceAttach at;
  return reinterpret_cast<const char*>(map.convert(text.c_str(), true, &at));
}

/// Texts of one length range side by side, each with the records that have it.
struct Batch {
  virtual ~Batch() = default;
  virtual void insert(const std::string& text) = 0;
  virtual void distances(const std::string& query, std::size_t cutoff,
                         std::vector<std::size_t>* out) const = 0;
  std::vector<std::string> texts;
  std::vector<std::vector<Large>> records;
};
template <int MAX>
struct BatchOf : Batch {
  explicit BatchOf(std::size_t count) : scorer(count) {}
  void insert(const std::string& text) override { scorer.insert(text); }
  void distances(const std::string& query, std::size_t cutoff, std::vector<std::size_t>* out) const override {
    out->resize(scorer.result_count());
    scorer.distance(out->data(), out->size(), query, cutoff);
  }
  rapidfuzz::experimental::MultiLevenshtein<MAX> scorer;
};

/// The values of a field, or of every record of it, in batches by length.
class ScannedField {
 public:
  ScannedField(const std::vector<std::string>& values, const TeraMap& map, bool of_records) {
    std::vector<std::vector<std::pair<std::string, Large>>> byLength;
    for (std::size_t i = 0; i < values.size(); ++i) {
      std::string tokens = tokens_of(map, values[i]);
      if (tokens.size() > 64) continue;
      if (tokens.size() >= byLength.size()) byLength.resize(tokens.size() + 1);
      byLength[tokens.size()].emplace_back(std::move(tokens), static_cast<Large>(i + 1));
    }
    for (auto& bucket : byLength) {
      std::sort(bucket.begin(), bucket.end());
      std::vector<std::vector<Large>> records;
      std::vector<std::string> texts;
      for (const auto& [text, record] : bucket) {
        if (of_records || texts.empty() || texts.back() != text) {
          texts.push_back(text);
          records.emplace_back();
        }
        records.back().push_back(record);
      }
      batches.push_back(make(texts));
      batches.back()->records = std::move(records);
    }
  }

  void ask(const std::string& query, Scatter* scatter) {
    for (std::size_t length = 1; length < batches.size(); ++length) {
      const std::size_t longest = std::max(length, query.size());
      const std::size_t cutoff = longest * (255 - LEAST_QUALITY) / 255;
      const std::size_t apart = length > query.size() ? length - query.size() : query.size() - length;
      if (batches[length]->records.empty() || apart > cutoff) continue;
      batches[length]->distances(query, cutoff, &found);
      for (std::size_t i = 0; i < batches[length]->records.size(); ++i)
        if (found[i] <= cutoff)
          for (const Large record : batches[length]->records[i])
            scatter->add(record, static_cast<int>(255 - 255 * found[i] / longest));
    }
  }

 private:
  static std::unique_ptr<Batch> make(const std::vector<std::string>& texts) {
    const std::size_t length = texts.empty() ? 1 : texts[0].size();
    std::unique_ptr<Batch> batch;
    if (length <= 8)
      batch = std::make_unique<BatchOf<8>>(texts.size());
    else if (length <= 16)
      batch = std::make_unique<BatchOf<16>>(texts.size());
    else if (length <= 32)
      batch = std::make_unique<BatchOf<32>>(texts.size());
    else
      batch = std::make_unique<BatchOf<64>>(texts.size());
    for (const std::string& text : texts) batch->insert(text);
    return batch;
  }

  std::vector<std::unique_ptr<Batch>> batches;
  std::vector<std::size_t> found;
};

/// Ours and the scan in turns over the same questions.
void three_fields_against_a_scan(benchmark::State& state, bool of_records) {
  const DastBase& base = people::base();
  TeraMap map;
  lookup::make_map(&map);
  std::vector<ScannedField> fields;
  for (const std::vector<std::string>& values : columns()) fields.emplace_back(values, map, of_records);
  Scatter scatter(base.get_num_records());
  std::vector<std::string> queries[people::NUM_ASKED];
  for (int k = 0; k < people::NUM_ASKED; ++k)
    for (int i = 0; i < NUM_PEER_QUESTIONS; ++i)
      queries[k].push_back(tokens_of(map, asked()[static_cast<std::size_t>(i)].values[k]));
  int ourFound = 0;
  int peerFound = 0;
  bench::compare_thread(
      state, NUM_PEER_QUESTIONS,
      [&] {
        ourFound = 0;
        for (std::size_t i = 0; i < NUM_PEER_QUESTIONS; ++i)
          ourFound += finds(base, asked()[i], &scatter) ? 1 : 0;
      },
      [&] {
        peerFound = 0;
        for (std::size_t i = 0; i < NUM_PEER_QUESTIONS; ++i) {
          for (std::size_t k = 0; k < people::NUM_ASKED; ++k) fields[k].ask(queries[k][i], &scatter);
          peerFound += scatter.has_among_best(asked()[i].record) ? 1 : 0;
        }
      });
  state.counters["found_percent"] = 100.0 * ourFound / NUM_PEER_QUESTIONS;
  state.counters["peer_found_percent"] = 100.0 * peerFound / NUM_PEER_QUESTIONS;
}
BENCHMARK_CAPTURE(three_fields_against_a_scan, of_distinct_values, false)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(three_fields_against_a_scan, of_all_records, true)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

#endif

// ---------------------------------------------------------------- three fields, beside other searches

/// What the peers are given and asked, in a folder.
const std::string& exported() {
  static const std::string folder = [] {
    const std::string made = people::file("three_fields");
    std::filesystem::create_directories(made);
    peers::write_records(made, columns());
    std::ofstream queries(made + "/queries");
    for (std::size_t i = 0; i < peers::NUM_QUERIES; ++i) {
      queries << asked()[i].record;
      for (const std::string& value : asked()[i].values) queries << '\t' << value;
      queries << '\n';
    }
    return made;
  }();
  return folder;
}

void three_fields_beside(benchmark::State& state, const std::string& peer) {
  people::base();  // so that our own process finds it
  peers::compare(state, peer, exported());
}
BENCHMARK_CAPTURE(three_fields_beside, lucene, "lucene")->Apply(bench::once);
BENCHMARK_CAPTURE(three_fields_beside, trigrams, "trigrams")->Apply(bench::once);
BENCHMARK_CAPTURE(three_fields_beside, minisearch_2_errors, "minisearch-2")->Apply(bench::once);
BENCHMARK_CAPTURE(three_fields_beside, minisearch_a_fifth_wrong, "minisearch-0.2")->Apply(bench::once);

// ---------------------------------------------------------------- records

void exact_value(benchmark::State& state, int field) {
  const DastBase& base = people::base();
  const std::vector<std::string> values = people::column(field);
  std::size_t wrong = 0;
  time_each(state, NUM_QUESTIONS, [&](int i) {
    const Large record = asked()[static_cast<std::size_t>(i)].record;
    AceAttach at;
    const Large* ids = nullptr;
    const Large count = base.get_exact(field, values[record - 1].c_str(), &ids, &at, AceReporter::null());
    wrong += std::binary_search(ids, ids + count, record) ? 0 : 1;
  });
  if (wrong > 0) state.SkipWithError("a record was not found");
}
BENCHMARK_CAPTURE(exact_value, surname, people::SURNAME)
    ->UseManualTime()
    ->Iterations(ROUNDS)
    ->Unit(benchmark::kNanosecond);
BENCHMARK_CAPTURE(exact_value, email, people::EMAIL)
    ->UseManualTime()
    ->Iterations(ROUNDS)
    ->Unit(benchmark::kNanosecond);

void line_of_8_fields(benchmark::State& state) {
  const DastBase& base = people::base();
  const std::vector<std::string> emails = people::column(people::EMAIL);
  std::size_t wrong = 0;
  time_each(state, NUM_QUESTIONS, [&](int i) {
    const Large record = asked()[static_cast<std::size_t>(i)].record;
    AceAttach at;
    Large lengths[people::NUM_FIELDS];
    const char* values[people::NUM_FIELDS];
    base.get_line(record, lengths, values, &at);
    wrong += emails[record - 1] == values[people::EMAIL] ? 0 : 1;
  });
  if (wrong > 0) state.SkipWithError("a line is another one");
}
BENCHMARK(line_of_8_fields)->UseManualTime()->Iterations(ROUNDS)->Unit(benchmark::kNanosecond);

}  // namespace

int people::ask_alone(const std::string& folder) {
  Scatter scatter(base().get_num_records());
  return peers::run_alone(folder, [&](const peers::Query& query) {
    ask_base(base(), query.values, &scatter);
    const std::vector<Large> best = scatter.take_best(peers::BEST);
    return std::vector<long>(best.begin(),
                             best.begin() + std::min<VInt>(peers::BEST, best.end() - best.begin()));
  });
}
