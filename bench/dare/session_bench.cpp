// Sessions over a table of people: keystrokes, whole forms, forms in a selected context, making sessions.
//
// The answers are checked: the record that a form was made from must be among the suggestions, where it is as
// good as the worst of them. BENCH_PEOPLE says how many people there are (dast/people.h).
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <memory>

#include "dare/dare_result.h"
#include "dare/dare_session.h"
#include "dast/people.h"
#include "ratio.h"

namespace {

constexpr int NUM_FORMS = 1000;
constexpr int ROUNDS = 1;
constexpr int MAPPED = 1;
constexpr const char* FIELDS[] = {"given", "surname", "street", "city"};
constexpr int NUM_FIELDS = 4;
constexpr int COLUMNS[] = {people::GIVEN, people::SURNAME, people::STREET, people::CITY};

struct Form {
  Large record;
  std::string values[NUM_FIELDS];
};

/// Each with an edit in two of its fields.
const std::vector<Form>& forms() {
  static const std::vector<Form> made = [] {
    if (!people::make_tables()) std::abort();
    std::vector<std::string> columns[NUM_FIELDS];
    for (int i = 0; i < NUM_FIELDS; ++i) columns[i] = people::column(COLUMNS[i]);
    std::mt19937 random(7);
    std::vector<Form> list(NUM_FORMS);
    for (Form& form : list) {
      form.record = static_cast<Large>(random() % columns[0].size()) + 1;
      for (int i = 0; i < NUM_FIELDS; ++i) form.values[i] = columns[i][form.record - 1];
      const unsigned first = random() % NUM_FIELDS;
      form.values[first] = lookup::edited(form.values[first], random);
      const unsigned second = (first + 1 + random() % (NUM_FIELDS - 1)) % NUM_FIELDS;
      form.values[second] = lookup::edited(form.values[second], random);
    }
    return list;
  }();
  return made;
}

DastBase* people_base() {
  static DastBase* const base = [] {  // stays as long as the templates
    auto* const loaded = new DastBase;
    const std::string image = people::file("imageNONE");
    if (!std::filesystem::exists(image) &&
        people::build(people::FIELDS, people::NUM_FIELDS, people::file("people"), image, "NONE") < 0)
      std::abort();
    if (loaded->load(image.c_str(), MAPPED, AceReporter::null()) < 0) std::abort();
    return loaded;
  }();
  return base;
}

/// A template of the four fields, with the limits as they are at first.
const DastSession* pattern(const char* reeval) {
  static std::vector<std::pair<std::string, std::unique_ptr<DastSession>>> made;
  for (const auto& [mode, session] : made)
    if (mode == reeval) return session.get();
  std::string text = "FIELDS\t{\n";
  for (const char* name : FIELDS)
    text += std::string(name) + "\t{\nBUILD_FIELD\t" + name + "\nREEVAL\t" + reeval + "\n}\n";
  text += "}\nCOMBINATIONS\t{\ndefault\t{\nFIXED_CONFIG\t{\n}\n}\n}\n";
  auto session = std::make_unique<DastSession>(people_base(), false);
  if (session->config_session(text.c_str(), AceReporter::use_default()) < 0) std::abort();
  return made.emplace_back(reeval, std::move(session)).second.get();
}

void report_times(benchmark::State& state, std::vector<double> times) {
  std::sort(times.begin(), times.end());
  state.counters["median_us"] = times[times.size() / 2] * 1e6;
  state.counters["p99_us"] = times[times.size() * 99 / 100] * 1e6;
}

/// Calls `ask(session, form)` for every form, in a session of its own, and counts what it returns true for.
void time_forms(benchmark::State& state, const char* reeval,
                const std::function<void(DastSession*, const Form&)>& before,
                const std::function<bool(DastSession*, const Form&)>& ask) {
  std::vector<double> times;
  int found = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    double sum = 0;
    found = 0;
    for (const Form& form : forms()) {
      DastSession session(pattern(reeval), AceReporter::null());
      before(&session, form);
      bool is_found = false;
      times.push_back(bench::seconds_of([&] { is_found = ask(&session, form); }));
      sum += times.back();
      found += is_found ? 1 : 0;
    }
    state.SetIterationTime(sum / NUM_FORMS);
  }
  report_times(state, std::move(times));
  state.counters["found"] = found;
}

void fill(DastSession* session, const Form& form) {
  for (int i = 0; i < NUM_FIELDS; ++i)
    session->update(FIELDS[i], form.values[i].c_str(), DastOptions::APPROX, 0);
}

/// Whether the record is among the suggestions, or no better than the last of them.
bool has_record(const DastResult* result, const Form& form) {
  for (int i = 0; result != nullptr && i < result->get_num_suggs(); ++i)
    if (result->get_sugg(i)->recordIndex == form.record) return true;
  return false;
}

bool suggest(DastSession* session, const Form& form) {
  const std::unique_ptr<DastResult> result(session->suggest(0, nullptr, 0, -1));
  return has_record(result.get(), form);
}

void keystroke(benchmark::State& state) {
  const auto field = static_cast<std::size_t>(state.range(0));
  time_forms(
      state, "ON_DEMAND", [](DastSession*, const Form&) {},
      [field](DastSession* session, const Form& form) {
        const std::unique_ptr<DastResult> result(
            session->update_result(FIELDS[field], form.values[field].c_str(), DastOptions::APPROX));
        return result != nullptr && result->get_num_alts(static_cast<int>(field)) > 0;
      });
}

void whole_form(benchmark::State& state, const char* reeval) {
  time_forms(
      state, reeval, [](DastSession*, const Form&) {},
      [](DastSession* session, const Form& form) {
        fill(session, form);
        return suggest(session, form);
      });
}

void suggestion(benchmark::State& state, const char* reeval) {
  time_forms(state, reeval, fill, suggest);
}

void suggestion_in_context(benchmark::State& state) {
  const auto before = [](DastSession* session, const Form& form) {
    fill(session, form);
    session->select("city");
  };
  time_forms(state, "ON_DEMAND", before, suggest);
}

void making_sessions(benchmark::State& state) {
  const DastSession* const from = pattern("ON_DEMAND");
  for (auto unused : state) {
    static_cast<void>(unused);
    const DastSession session(from, AceReporter::null());
    benchmark::DoNotOptimize(&session);
  }
}

}  // namespace

BENCHMARK(keystroke)
    ->DenseRange(0, NUM_FIELDS - 1)
    ->UseManualTime()
    ->Iterations(ROUNDS)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(whole_form, exact, "ON_DEMAND")
    ->UseManualTime()
    ->Iterations(ROUNDS)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(whole_form, listed, "PRIMARY_ONLY")
    ->UseManualTime()
    ->Iterations(ROUNDS)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(suggestion, exact, "ON_DEMAND")
    ->UseManualTime()
    ->Iterations(ROUNDS)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(suggestion, listed, "PRIMARY_ONLY")
    ->UseManualTime()
    ->Iterations(ROUNDS)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(suggestion_in_context)->UseManualTime()->Iterations(ROUNDS)->Unit(benchmark::kMicrosecond);
BENCHMARK(making_sessions);
BENCHMARK_MAIN();
