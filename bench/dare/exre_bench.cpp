// Rules: parsing a program, and ten rules over 100 suggestions, without the search.
#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <string>

#include "ace/ace_reporter.h"
#include "dare/dare_exre.h"
#include "dare/dare_multi_query.h"
#include "dare/dare_result.h"

namespace {

constexpr int NUM_FIELDS = 4;
constexpr int NUM_SUGGESTIONS = 100;

/// Hands out results that were made before.
class ReadySession : public DareExreSession {
 public:
  void prepare() {
    ready = std::make_unique<DastResult>(NUM_FIELDS, 0, 255, NUM_SUGGESTIONS);
    ready->add_suggs(-1, NUM_SUGGESTIONS);
    for (int i = 0; i < NUM_SUGGESTIONS; ++i) {
      ready->get_sugg(i)->repObj->set_quality(255 - i);
      ready->get_sugg(i)->repObj->set_quality(1, 200);
    }
  }
  DastResult* search_combination(const DareMultiQuery*, const char*) override { return ready.release(); }
  int reevaluate(const DareMultiQuery*, const char*, DastResult*) override { return 0; }
  DastResult* create_empty_result() const override { return new DastResult(NUM_FIELDS, 0, 255, 0); }
  int get_remaining_time() const override { return 1000; }

 private:
  std::unique_ptr<DastResult> ready;
};

/// A chain of rules that filter and do not accept; with `relation` each leaves its mark on every suggestion.
std::string program(int num_rules, bool relation) {
  std::string text =
      "<KVConfiguration svversion=\"90.0\"><filters><filter name=\"f\">"
      "<filter class=\"record_min_qual\">50</filter><filter class=\"field_min_qual\" "
      "fieldname=\"b\">1</filter>"
      "</filter></filters><rules>";
  for (int i = 0; i < num_rules; ++i) {
    const std::string number = std::to_string(i);
    text += "<rule name=\"r" + number + "\"><input>" + (i == 0 ? "default()" : "result_" + number) +
            "</input><filter>f</filter><penalty>1</penalty>" +
            (relation ? "<relation>relation " + number + "</relation>" : "") +
            "<acceptance class=\"record_min_diff\">250</acceptance><decision>MATCH</decision><otherwise>" +
            (i + 1 < num_rules ? "r" + std::to_string(i + 1) : "SUGGEST") + "</otherwise></rule>";
  }
  return text + "</rules></KVConfiguration>";
}

DareExreConfig* parse(const std::string& text) {
  const DareExreNames names{[](const char*) { return 1; }, [](const char*) { return 0; }, -1};
  return DareExreConfig::parse_text(text.data(), static_cast<Huge>(text.size()), "", names,
                                    AceReporter::null());
}

void parse_rules(benchmark::State& state) {
  const std::string text = program(static_cast<int>(state.range(0)), true);
  for (auto _ : state) parse(text)->destroy();
}
BENCHMARK(parse_rules)->Arg(10)->Arg(1000)->Unit(benchmark::kMillisecond);

void assess(benchmark::State& state) {
  DareExreConfig* config = parse(program(10, state.range(0) != 0));
  ReadySession session;
  const DareMultiQuery query(NUM_FIELDS);
  for (auto _ : state) {
    session.prepare();
    const auto start = std::chrono::steady_clock::now();
    const std::unique_ptr<DastResult> result(
        DareExreEngine(config, &session, AceReporter::null()).run(&query));
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    if (result->get_category() != DastResult::SUGGEST || result->get_num_suggs() != NUM_SUGGESTIONS)
      state.SkipWithError("another decision than expected");
  }
  config->destroy();
}
BENCHMARK(assess)->ArgName("relations")->Arg(0)->Arg(1)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
