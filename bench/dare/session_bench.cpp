// Sessions over a table of people: keystrokes, whole forms, forms in a selected context, making sessions.
//
// The answers are checked: the record that a form was made from must be among the suggestions, where it is as
// good as the worst of them. BENCH_PEOPLE says how many people there are (dast/people.h). Times are the
// processor's, to which other work on the machine does not add.
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <memory>

#include "dare/dare_result.h"
#include "dare/dare_session.h"
#include "dare/people_forms.h"
#include "peers/people_peers.h"
#include "ratio.h"

namespace {

/// Calls `ask(session, form)` for every form, in a session of its own, and counts what it returns true for.
void time_forms(benchmark::State& state, const char* reeval,
                const std::function<void(DastSession*, const forms::Form&)>& before,
                const std::function<bool(DastSession*, const forms::Form&)>& ask) {
  std::vector<double> times;
  int found = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    double sum = 0;
    found = 0;
    for (const forms::Form& form : forms::all()) {
      DastSession session(forms::pattern(reeval), AceReporter::null());
      before(&session, form);
      bool is_found = false;
      times.push_back(bench::processor_seconds_of([&] { is_found = ask(&session, form); }));
      sum += times.back();
      found += is_found ? 1 : 0;
    }
    state.SetIterationTime(sum / forms::NUM_FORMS);
  }
  forms::report_times(state, std::move(times));
  state.counters["found"] = found;
}

bool suggest(DastSession* session, const forms::Form& form) {
  const std::unique_ptr<DastResult> result(session->suggest(0, nullptr, 0, -1));
  return forms::has_record(result.get(), form);
}

void keystroke(benchmark::State& state) {
  const auto field = static_cast<std::size_t>(state.range(0));
  time_forms(
      state, "ON_DEMAND", [](DastSession*, const forms::Form&) {},
      [field](DastSession* session, const forms::Form& form) {
        const std::unique_ptr<DastResult> result(
            session->update_result(forms::FIELDS[field], form.values[field].c_str(), DastOptions::APPROX));
        return result != nullptr && result->get_num_alts(static_cast<int>(field)) > 0;
      });
}

void whole_form(benchmark::State& state, const char* reeval) {
  time_forms(
      state, reeval, [](DastSession*, const forms::Form&) {},
      [](DastSession* session, const forms::Form& form) {
        forms::fill(session, form);
        return suggest(session, form);
      });
}

void suggestion(benchmark::State& state, const char* reeval) {
  time_forms(state, reeval, forms::fill, suggest);
}

void suggestion_in_context(benchmark::State& state) {
  const auto before = [](DastSession* session, const forms::Form& form) {
    forms::fill(session, form);
    session->select("city");
  };
  time_forms(state, "ON_DEMAND", before, suggest);
}

// ---------------------------------------------------------------- beside other searches

/// What the peers are given and asked, in a folder.
const std::string& exported() {
  static const std::string folder = [] {
    const std::vector<forms::Form>& asked = forms::all();  // makes the tables
    const std::string made = people::file("four_fields");
    std::filesystem::create_directories(made);
    std::vector<std::string> columns[forms::NUM_FIELDS];
    for (int i = 0; i < forms::NUM_FIELDS; ++i) columns[i] = people::column(forms::COLUMNS[i]);
    peers::write_records(made, columns);
    std::ofstream queries(made + "/queries");
    for (std::size_t i = 0; i < peers::NUM_QUERIES; ++i) {
      queries << asked[i].record;
      for (const std::string& value : asked[i].values) queries << '\t' << value;
      queries << '\n';
    }
    return made;
  }();
  return folder;
}

int ask_alone(const std::string& folder) {
  return peers::run_alone(folder, [](const peers::Query& query) {
    DastSession session(forms::pattern("ON_DEMAND"), AceReporter::null());
    for (std::size_t i = 0; i < forms::NUM_FIELDS; ++i)
      session.update(forms::FIELDS[i], query.values[i].c_str(), DastOptions::APPROX, 0);
    const std::unique_ptr<DastResult> result(session.suggest(0, nullptr, 0, peers::BEST));
    std::vector<long> best;
    for (int i = 0; result != nullptr && i < result->get_num_suggs(); ++i)
      best.push_back(result->get_sugg(i)->recordIndex);
    return best;
  });
}

void four_fields_beside(benchmark::State& state, const std::string& peer) {
  const std::string& folder = exported();
  forms::base();  // so that our own process finds it
  peers::compare(state, peer, folder);
}

void making_sessions(benchmark::State& state) {
  const DastSession* const from = forms::pattern("ON_DEMAND");
  for (auto unused : state) {
    static_cast<void>(unused);
    const DastSession session(from, AceReporter::null());
    benchmark::DoNotOptimize(&session);
  }
}

}  // namespace

BENCHMARK(keystroke)->DenseRange(0, forms::NUM_FIELDS - 1)->Apply(bench::once);
BENCHMARK_CAPTURE(whole_form, exact, "ON_DEMAND")->Apply(bench::once);
BENCHMARK_CAPTURE(whole_form, listed, "PRIMARY_ONLY")->Apply(bench::once);
BENCHMARK_CAPTURE(suggestion, exact, "ON_DEMAND")->Apply(bench::once);
BENCHMARK_CAPTURE(suggestion, listed, "PRIMARY_ONLY")->Apply(bench::once);
BENCHMARK(suggestion_in_context)->Apply(bench::once);
BENCHMARK(making_sessions);
BENCHMARK_CAPTURE(four_fields_beside, minisearch_2_errors, "minisearch-2")->Apply(bench::once);
BENCHMARK_CAPTURE(four_fields_beside, minisearch_a_fifth_wrong, "minisearch-0.2")->Apply(bench::once);
BENCHMARK_CAPTURE(four_fields_beside, lucene, "lucene")->Apply(bench::once);
BENCHMARK_CAPTURE(four_fields_beside, trigrams, "trigrams")->Apply(bench::once);

int main(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == peers::ALONE) return ask_alone(argv[2]);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
