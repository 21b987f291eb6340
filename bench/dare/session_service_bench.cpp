// What a server of sessions asks: memory of sessions, loading a base while others type, two processors for
// one form, forms in a batch that rules decide. Data as in people_forms.h; memory is what the heap has,
// beside the mapped base.
#include <malloc.h>

#include <atomic>
#include <thread>

#include "dare/dare_multi_query.h"
#include "dare/people_forms.h"
#include "dast/dast_parallel_resource.h"

namespace {

constexpr int NUM_SESSIONS = 2000;
constexpr double SLOW_SECONDS = 0.002;  // from which on a second processor is worth its start

double heap_bytes() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

std::unique_ptr<DastSession> configured(const std::string& text) {
  auto session = std::make_unique<DastSession>(forms::base(), false);
  if (session->config_session(text.c_str(), AceReporter::use_default()) < 0) std::abort();
  return session;
}

// ---------------------------------------------------------------- memory

void fresh_sessions(benchmark::State& state) {
  std::string text = "FIELDS\t{\n";
  for (int i = 0; i < 10; ++i)
    text += "f" + std::to_string(i) + "\t{\nBUILD_FIELD\t" + people::FIELDS[i % people::NUM_FIELDS].name +
            "\n}\n";
  text += "}\nCOMBINATIONS\t{\ndefault\t{\nFIXED_CONFIG\t{\n}\n}\nother\t{\nFIXED_CONFIG\t{\n}\n}\n}\n";
  const auto model = configured(text);
  for (auto unused : state) {
    static_cast<void>(unused);
    std::vector<std::unique_ptr<DastSession>> sessions;
    const double before = heap_bytes();
    state.SetIterationTime(bench::seconds_of([&] {
      for (int i = 0; i < NUM_SESSIONS; ++i)
        sessions.push_back(std::make_unique<DastSession>(model.get(), AceReporter::null()));
    }));
    state.counters["KB_each"] = (heap_bytes() - before) / NUM_SESSIONS / 1000;
  }
}
BENCHMARK(fresh_sessions)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

/// Each has four filled fields and suggestions.
void active_sessions(benchmark::State& state) {
  const DastSession* const model = forms::pattern("ON_DEMAND");
  for (auto unused : state) {
    static_cast<void>(unused);
    std::vector<std::unique_ptr<DastSession>> sessions;
    std::vector<double> bytes;
    const auto make = [&] {
      for (int i = 0; i < NUM_SESSIONS; ++i) {
        const double before = heap_bytes();
        sessions.push_back(std::make_unique<DastSession>(model, AceReporter::null()));
        forms::fill(sessions.back().get(), forms::all()[static_cast<std::size_t>(i % forms::NUM_FORMS)]);
        delete sessions.back()->suggest(0, nullptr, 0, -1);
        bytes.push_back(heap_bytes() - before);
      }
    };
    make();  // what the base decodes is there then
    sessions.clear();
    bytes.clear();
    const double before = heap_bytes();
    state.SetIterationTime(bench::seconds_of(make));
    state.counters["MB"] = (heap_bytes() - before) / 1e6;
    std::sort(bytes.begin(), bytes.end());
    state.counters["KB_median"] = bench::median(bytes) / 1000;
    state.counters["KB_p99"] = bytes[bytes.size() * 99 / 100] / 1000;
  }
}
BENCHMARK(active_sessions)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------- loading

void load_base(DastBase* base, int mode) {
  if (base->load(people::file("imageNONE").c_str(), mode, AceReporter::null()) < 0) std::abort();
}

bool keystroke(DastSession* session, const forms::Form& form) {
  const std::unique_ptr<DastResult> result(
      session->update_result("surname", form.values[1].c_str(), DastOptions::APPROX));
  return result != nullptr && result->get_num_alts(1) > 0;
}

void load_and_first_keystroke(benchmark::State& state) {
  forms::base();
  std::vector<double> first;
  for (auto unused : state) {
    static_cast<void>(unused);
    auto* const base = new DastBase;  // the session's
    std::unique_ptr<DastSession> session;
    state.SetIterationTime(bench::seconds_of([&] {
      load_base(base, forms::MAPPED);
      session = std::make_unique<DastSession>(base, false);
      const std::string text =
          forms::field_blocks("ON_DEMAND") + "COMBINATIONS\t{\ndefault\t{\nFIXED_CONFIG\t{\n}\n}\n}\n";
      if (session->config_session(text.c_str(), AceReporter::null()) < 0) std::abort();
    }));
    bool isFound = false;
    first.push_back(
        bench::seconds_of([&] { isFound = keystroke(session.get(), forms::all()[first.size()]); }));
    if (!isFound) state.SkipWithError("nothing was found");
  }
  state.counters["first_keystroke_ms"] = 1e3 * bench::median(first);
}
BENCHMARK(load_and_first_keystroke)->UseManualTime()->Iterations(9)->Unit(benchmark::kMillisecond);

/// 99th percentiles of a round of keystrokes: as the user sees them, and in time of the processor, to which
/// other work on the machine does not add.
struct Slowest {
  std::vector<double> seconds, processor;
  void add_round() {
    std::vector<double> walls;
    std::vector<double> processors;
    for (const forms::Form& form : forms::all()) {
      DastSession session(forms::pattern("ON_DEMAND"), AceReporter::null());
      processors.push_back(bench::processor_seconds_of(
          [&] { walls.push_back(bench::seconds_of([&] { keystroke(&session, form); })); }));
    }
    seconds.push_back(p99(std::move(walls)));
    processor.push_back(p99(std::move(processors)));
  }

 private:
  static double p99(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() * 99 / 100];
  }
};

/// Another thread loads the base again and again.
void keystrokes_while_loading(benchmark::State& state) {
  Slowest().add_round();
  Slowest alone;
  Slowest beside;
  int loads = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    alone.add_round();
    std::atomic<bool> isDone = false;
    std::thread loader([&] {
      for (; !isDone; ++loads) {
        DastBase loaded;
        load_base(&loaded, static_cast<int>(state.range(0)));
      }
    });
    beside.add_round();
    isDone = true;
    loader.join();
    state.SetIterationTime(beside.seconds.back());
  }
  state.counters["p99_us_alone"] = 1e6 * bench::median(alone.seconds);
  state.counters["p99_us_loading"] = 1e6 * bench::median(beside.seconds);
  state.counters["of_alone"] = bench::median(beside.seconds) / bench::median(alone.seconds);
  state.counters["of_alone_processor"] = bench::median(beside.processor) / bench::median(alone.processor);
  state.counters["loads"] = loads;
}
BENCHMARK(keystrokes_while_loading)
    ->ArgName("mapped")
    ->Arg(forms::MAPPED)
    ->Arg(0)
    ->UseManualTime()
    ->Iterations(9)
    ->Unit(benchmark::kMicrosecond);

// ---------------------------------------------------------------- two processors

/// A filled form's first suggestion by a number of parts. Returns a sum over the answer.
long suggest_in_parts(const forms::Form& form, int parts, double* seconds) {
  DastSession session(forms::pattern("ON_DEMAND"), AceReporter::null());
  forms::fill(&session, form);
  DastParallelResource::set_multifield_collect_parts(parts);
  DastParallelResource::set_multifield_eval_parts(parts);
  std::unique_ptr<DastResult> result;
  *seconds = bench::seconds_of([&] { result.reset(session.suggest(0, nullptr, 0, -1)); });
  long sum = 0;
  for (int i = 0; i < result->get_num_suggs(); ++i)
    sum = 31 * sum + result->get_sugg(i)->recordIndex + result->get_sugg(i)->get_quality();
  return sum;
}

/// Of the forms that take longer than `SLOW_SECONDS` by one part; the answers are the same.
void suggestion_in_two_parts(benchmark::State& state) {
  std::vector<double> ratios;
  double ours = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    for (const forms::Form& form : forms::all()) {
      double one = 0;
      double two = 0;
      const long answer = suggest_in_parts(form, 1, &one);
      if (one < SLOW_SECONDS) continue;
      if (suggest_in_parts(form, 2, &two) != answer) state.SkipWithError("another answer");
      suggest_in_parts(form, 1, &one);
      ratios.push_back(one / two);
      ours += two;
    }
    state.SetIterationTime(ours / static_cast<double>(std::max<std::size_t>(1, ratios.size())));
  }
  DastParallelResource::set_multifield_collect_parts(1);
  DastParallelResource::set_multifield_eval_parts(1);
  state.counters["forms"] = static_cast<double>(ratios.size());
  if (!ratios.empty()) state.counters["times_as_fast"] = bench::median(ratios);
}
BENCHMARK(suggestion_in_two_parts)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);

// ---------------------------------------------------------------- a batch

/// All fields and one clear record: a match. Else without the street, else without the given name, for a
/// clerk.
constexpr const char* COMBINATIONS =
    "COMBINATIONS\t{\n"
    "default\t{\nMIN_CONF\t235\nNUM_ALTS\t10\nFIXED_CONFIG\t{\n}\n}\n"
    "person\t{\nNUM_ALTS\t10\nFIXED_CONFIG\t{\nLOGIC\t(given&surname&city)\n}\n}\n"
    "address\t{\nNUM_ALTS\t10\nFIXED_CONFIG\t{\nLOGIC\t(surname&street&city)\n}\n}\n}\n";
constexpr const char* RULES =
    "<KVConfiguration svversion=\"90.0\"><rules>"
    "<rule name=\"all\"><input>default()</input><acceptance class=\"min_num_records\">1</acceptance>"
    "<decision>MATCH</decision><otherwise>person</otherwise></rule>"
    "<rule name=\"person\"><input>person()</input><acceptance class=\"min_num_records\">1</acceptance>"
    "<decision>SELECT</decision><otherwise>address</otherwise></rule>"
    "<rule "
    "name=\"address\"><input>address()</input><decision>SELECT</decision></rule></rules></KVConfiguration>";

void batch(benchmark::State& state) {
  const std::string name = people::file("rules.xml");
  std::ofstream(name) << RULES;
  const auto model = configured(forms::field_blocks("ON_DEMAND") + COMBINATIONS);
  if (model->get_config()->load_assess_logic(name.c_str(), AceReporter::null()) < 0) std::abort();
  DastSession session(model.get(), AceReporter::null());
  int found = 0;
  int matches = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    found = matches = 0;
    const double seconds = bench::processor_seconds_of([&] {
      for (const forms::Form& form : forms::all()) {
        const char* modes[forms::NUM_FIELDS];
        const char* values[forms::NUM_FIELDS];
        for (int i = 0; i < forms::NUM_FIELDS; ++i) {
          modes[i] = "?";
          values[i] = form.values[i].c_str();
        }
        const DareMultiQuery query(forms::NUM_FIELDS, modes, values);
        const std::unique_ptr<DastResult> result(session.assess(&query));
        found += forms::has_record(result.get(), form) ? 1 : 0;
        matches += result->get_category() == DastResult::MATCH ? 1 : 0;
      }
    });
    state.SetIterationTime(seconds / forms::NUM_FORMS);
    state.counters["forms_a_second"] = forms::NUM_FORMS / seconds;
  }
  state.counters["found"] = found;
  state.counters["matches"] = matches;
}
BENCHMARK(batch)->UseManualTime()->Iterations(3)->Unit(benchmark::kMicrosecond);

}  // namespace
