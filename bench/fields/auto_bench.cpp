// Automata beside what Debian has for the same jobs: marisa (a trie with numbers) and dawgdic (an automaton
// without).
#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"
#include "lookup/data.h"
#include "ratio.h"
#include "tera/tera_auto.h"
#include "tera/tera_edit.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"

#ifdef BENCH_HAS_MARISA
#include <marisa.h>
#endif
#ifdef BENCH_HAS_DAWGDIC
#include <dawgdic/completer.h>
#include <dawgdic/dawg-builder.h>
#include <dawgdic/dictionary-builder.h>
#include <dawgdic/guide-builder.h>
#endif

namespace {

constexpr std::size_t NUM_QUERIES = 100'000;
constexpr std::size_t NUM_ERRORS = 200;
constexpr int NUM_BEGINNING = 4;
constexpr int NUM_COMPLETIONS = 10;

const std::vector<std::string>& words() {
  static const std::vector<std::string> all = lookup::entries(lookup::real_words(), 700'905);
  return all;
}
const std::vector<std::string>& asked() {
  static const std::vector<std::string> some = [] {
    std::vector<std::string> made(words().begin(), words().begin() + std::min(NUM_QUERIES, words().size()));
    std::shuffle(made.begin(), made.end(), std::mt19937(5));
    return made;
  }();
  return some;
}

std::unique_ptr<TeraAuto> build(int options) {
  auto automaton = std::make_unique<TeraAuto>();
  automaton->init(TeraMap::get_ident_map(), nullptr);
  lookup::EntryReader reader(words());
  automaton->make(&reader, nullptr, 99, options | TeraAuto::NO_INFO, AceReporter::null(), nullptr, nullptr);
  return automaton;
}
const TeraAuto& automaton(int options) {
  static const auto plain = build(0);
  static const auto compressed = build(TeraAuto::PATH_COMPRESS);
  static const auto fast = build(TeraAuto::BIDIRECT);
  return options == 0 ? *plain : options == TeraAuto::PATH_COMPRESS ? *compressed : *fast;
}

void build_words(benchmark::State& state) {
  words();
  for (auto unused : state) {
    static_cast<void>(unused);
    const auto made = build(static_cast<int>(state.range(0)));
    state.counters["bytes_per_word"] = static_cast<double>(8.0 * made->get_forward()->get_num_slots() +
                                                           made->get_forward()->get_chain_bytes()) /
                                       static_cast<double>(words().size());
  }
}
BENCHMARK(build_words)
    ->Arg(0)
    ->Arg(TeraAuto::PATH_COMPRESS)
    ->Arg(TeraAuto::BIDIRECT)
    ->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------- beside a trie with numbers

#ifdef BENCH_HAS_MARISA

const marisa::Trie& trie() {
  static const auto built = [] {
    marisa::Keyset keys;
    for (const std::string& word : words()) keys.push_back(word.c_str());
    auto made = std::make_unique<marisa::Trie>();
    made->build(keys);
    return made;
  }();
  return *built;
}

void number_of_a_word(benchmark::State& state) {
  const TeraAuto& ours = automaton(static_cast<int>(state.range(0)));
  bench::compare_thread(
      state, static_cast<double>(asked().size()),
      [&] {
        for (const std::string& word : asked()) benchmark::DoNotOptimize(ours.get_internal_id(word.c_str()));
      },
      [] {
        marisa::Agent agent;
        for (const std::string& word : asked()) {
          agent.set_query(word.c_str(), word.size());
          benchmark::DoNotOptimize(trie().lookup(agent));
        }
      });
}
BENCHMARK(number_of_a_word)->Arg(0)->Arg(TeraAuto::PATH_COMPRESS)->UseManualTime();

void word_of_a_number(benchmark::State& state) {
  const TeraAuto& ours = automaton(static_cast<int>(state.range(0)));
  bench::compare_thread(
      state, NUM_QUERIES,
      [&] {
        std::mt19937 random(1);
        AceAttach at;
        for (std::size_t i = 0; i < NUM_QUERIES; ++i) {
          benchmark::DoNotOptimize(ours.get_entry(static_cast<Large>(1 + random() % words().size()), &at));
          at.release();
        }
      },
      [] {
        std::mt19937 random(1);
        marisa::Agent agent;
        for (std::size_t i = 0; i < NUM_QUERIES; ++i) {
          agent.set_query(random() % words().size());
          trie().reverse_lookup(agent);
        }
      });
}
BENCHMARK(word_of_a_number)->Arg(0)->Arg(TeraAuto::PATH_COMPRESS)->UseManualTime();

void ten_completions(benchmark::State& state) {
  const TeraAuto& ours = automaton(0);
  bench::compare_thread(
      state, static_cast<double>(asked().size()),
      [&] {
        for (const std::string& word : asked()) {
          AceAttach at;
          char* found[NUM_COMPLETIONS];
          benchmark::DoNotOptimize(
              ours.complete(word.substr(0, NUM_BEGINNING).c_str(), NUM_COMPLETIONS, found, &at));
        }
      },
      [] {
        for (const std::string& word : asked()) {
          const std::string begun = word.substr(0, NUM_BEGINNING);
          marisa::Agent agent;
          agent.set_query(begun.c_str(), begun.size());
          for (int i = 0; i < NUM_COMPLETIONS && trie().predictive_search(agent); ++i) {
          }
        }
      });
}
BENCHMARK(ten_completions)->UseManualTime();

#endif

// ---------------------------------------------------------------- beside an automaton without numbers

#ifdef BENCH_HAS_DAWGDIC

struct Dawgdic {
  Dawgdic() {
    std::vector<std::string> sorted = words();
    std::sort(sorted.begin(), sorted.end());
    seconds = bench::seconds_of([&] {
      dawgdic::DawgBuilder builder;
      for (const std::string& word : sorted) builder.Insert(word.c_str());
      dawgdic::Dawg dawg;
      if (!builder.Finish(&dawg) || !dawgdic::DictionaryBuilder::Build(dawg, &dictionary) ||
          !dawgdic::GuideBuilder::Build(dawg, dictionary, &guide))
        std::abort();
    });
  }
  dawgdic::Dictionary dictionary;
  dawgdic::Guide guide;
  double seconds;
};

const Dawgdic& dawg() {
  static const Dawgdic built;
  return built;
}

void number_beside_membership(benchmark::State& state) {
  const TeraAuto& ours = automaton(static_cast<int>(state.range(0)));
  std::size_t found = 0;
  std::size_t theirs = 0;
  bench::compare_thread(
      state, static_cast<double>(asked().size()),
      [&] {
        found = 0;
        for (const std::string& word : asked()) found += ours.get_internal_id(word.c_str()) > 0 ? 1 : 0;
      },
      [&] {
        theirs = 0;
        for (const std::string& word : asked()) theirs += dawg().dictionary.Contains(word.c_str()) ? 1 : 0;
      });
  if (found != theirs) state.SkipWithError("different answers");
  state.counters["peer_bytes_per_word"] =
      static_cast<double>(dawg().dictionary.file_size() + dawg().guide.file_size()) /
      static_cast<double>(words().size());
  state.counters["peer_build_s"] = dawg().seconds;
}
BENCHMARK(number_beside_membership)->Arg(0)->Arg(TeraAuto::PATH_COMPRESS)->UseManualTime();

void ten_completions_beside_an_automaton(benchmark::State& state) {
  const TeraAuto& ours = automaton(0);
  std::size_t found = 0;
  std::size_t theirs = 0;
  bench::compare_thread(
      state, static_cast<double>(asked().size()),
      [&] {
        found = 0;
        for (const std::string& word : asked()) {
          AceAttach at;
          char* texts[NUM_COMPLETIONS];
          found += static_cast<std::size_t>(
              ours.complete(word.substr(0, NUM_BEGINNING).c_str(), NUM_COMPLETIONS, texts, &at));
        }
      },
      [&] {
        theirs = 0;
        dawgdic::Completer completer(dawg().dictionary, dawg().guide);
        for (const std::string& word : asked()) {
          const std::string begun = word.substr(0, NUM_BEGINNING);
          dawgdic::BaseType index = dawg().dictionary.root();
          if (!dawg().dictionary.Follow(begun.c_str(), &index)) continue;
          completer.Start(index, begun.c_str());
          for (int i = 0; i < NUM_COMPLETIONS && completer.Next(); ++i) ++theirs;
        }
      });
  if (found != theirs) state.SkipWithError("different answers");
}
BENCHMARK(ten_completions_beside_an_automaton)->UseManualTime();

#endif

// ---------------------------------------------------------------- beside the edit index

void words_within_errors(benchmark::State& state) {
  const int edits = static_cast<int>(state.range(0));
  const TeraAuto& ours = automaton(static_cast<int>(state.range(1)));
  static const auto edit = [] {
    auto made = std::make_unique<TeraEdit>();
    lookup::EntryReader reader(words());
    made->make(&reader, TeraMap::get_ident_map(), 3, 0, 0, 0, AceReporter::null(), nullptr);
    return made;
  }();
  const std::vector<std::string> queries = lookup::queries(words(), NUM_ERRORS);
  const auto least = [edits](const std::string& word) {
    return std::max(255 - 255 * edits / std::max<int>(1, static_cast<int>(word.size())) - 1, 0);
  };
  const auto ask = [&](const std::string& word, auto recall) {
    TeraResult result(word.c_str(), least(word), TeraResult::MAX_CANDS, 255);
    recall(&result);
    benchmark::DoNotOptimize(result.num_cands());
  };
  bench::compare_thread(
      state, static_cast<double>(queries.size()),
      [&] {
        for (const std::string& word : queries)
          ask(word, [&](TeraResult* result) {
            ours.recall(result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM,
                        TeraAutoRecall::NO_OPERATORS | TeraAutoRecall::NO_RESOLVE, edits, 0, nullptr);
          });
      },
      [&] {
        for (const std::string& word : queries)
          ask(word, [&](TeraResult* result) {
            edit->recall(result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 0, 0,
                         TeraEdit::NO_OPERATORS | TeraEdit::NO_RESOLVE, 100, nullptr);
          });
      });
}
BENCHMARK(words_within_errors)
    ->ArgsProduct({{1, 2, 3}, {0, TeraAuto::PATH_COMPRESS, TeraAuto::BIDIRECT}})
    ->UseManualTime();

}  // namespace

int main(int argc, char** argv) {
  AceReporter::clear_default();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
