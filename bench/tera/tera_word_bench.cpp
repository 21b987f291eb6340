// Measures beside a peer's cached scorers: one query, a thousand entries of its length.
#include "tera/tera_word.h"

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ratio.h"
#include "tera/tera_map_config.h"
#include "tera/tera_utf.h"

#ifdef BENCH_HAS_RAPIDFUZZ
#include <rapidfuzz/distance.hpp>
#endif

namespace {

constexpr int NUM_ENTRIES = 1000;

/// Words of one length: a query and entries, half of which resemble it.
struct Sample {
  std::u32string query;
  std::vector<std::u32string> entries;

  /// The letters are a to z, and with `umlauts` some of two bytes.
  Sample(int length, bool umlauts) {
    std::mt19937 random(17);
    const auto letter = [&] {
      return umlauts && random() % 10 == 0 ? U'\u00E4' : static_cast<char32_t>(U'a' + random() % 26);
    };
    const auto word = [&] {
      std::u32string text;
      for (int i = 0; i < length; ++i) text += letter();
      return text;
    };
    query = word();
    for (int i = 0; i < NUM_ENTRIES; ++i) {
      entries.push_back(i % 2 == 0 ? word() : query);
      for (unsigned edit = random() % 4; edit > 0; --edit) {
        const std::size_t at = random() % static_cast<unsigned>(length - 1);
        random() % 2 == 0 ? std::swap(entries.back()[at], entries.back()[at + 1])
                          : static_cast<void>(entries.back()[at] = letter());
      }
    }
  }
};

std::string utf8_of(const std::u32string& text) {
  std::string bytes;
  for (const char32_t c : text) {
    char buffer[8];
    bytes.append(buffer, static_cast<std::size_t>(TeraUtf::from_uni(static_cast<int>(c), buffer)));
  }
  return bytes;
}

std::unique_ptr<TeraMap> make_map() {
  TeraMapConfig config("utf-8");
  config.set_tokens("a-z\u00E4");
  return std::unique_ptr<TeraMap>(config.compile());
}

using Bytes = std::basic_string<unsigned char>;

/// The entries in the forms that both sides read.
struct Entries {
  explicit Entries(const Sample& sample, const TeraMap* map) {
    for (const std::u32string& entry : sample.entries) {
      AceAttach at;
      texts.push_back(utf8_of(entry));
      tokens.emplace_back(map->convert(texts.back().c_str(), true, &at));
    }
  }
  std::vector<std::string> texts;
  std::vector<Bytes> tokens;
};

#ifdef BENCH_HAS_RAPIDFUZZ

std::u32string decode(const std::string& text) {
  std::u32string decoded;
  for (const char* in = text.c_str(); *in != 0;) {
    int uni = static_cast<unsigned char>(*in);
    in += uni < 0x80 ? 1 : TeraUtf::to_uni(&uni, in);
    decoded += static_cast<char32_t>(uni);
  }
  return decoded;
}

/// The peer's value of an entry in any form of characters.
enum Kind { LEVEN, TRANSPOSE, SEQUENCE };

template <Kind KIND, class Text>
class Peer {
 public:
  using Char = typename Text::value_type;
  explicit Peer(const Text& query) : scorer(query) {}
  int value(const Text& entry) const {
    if constexpr (KIND == SEQUENCE)
      return static_cast<int>(scorer.similarity(entry));
    else
      return static_cast<int>(scorer.distance(entry));
  }

 private:
  std::conditional_t<
      KIND == LEVEN, rapidfuzz::CachedLevenshtein<Char>,
      std::conditional_t<KIND == TRANSPOSE, rapidfuzz::CachedOSA<Char>, rapidfuzz::CachedLCSseq<Char>>>
      scorer;
};

template <Kind KIND, class Word, class Char>
int measure(const Word& word, const Char* entry) {
  constexpr int OPTIONS = TeraWordOptions::NO_GLOB | (KIND == TRANSPOSE ? TeraWordOptions::TRANSPOSE : 0);
  return KIND == SEQUENCE ? word.lcs(entry, nullptr, OPTIONS) : word.leven(entry, nullptr, OPTIONS);
}

/// Both sides get the same decoded strings.
template <Kind KIND>
void tokens_beside_peer(benchmark::State& state) {
  const auto map = make_map();
  const Sample sample(static_cast<int>(state.range(0)), true);
  const Entries entries(sample, map.get());
  AceAttach at;
  const Bytes query(map->convert(utf8_of(sample.query).c_str(), true, &at));
  TeraTokenWord word;
  word.build(query.c_str());
  const Peer<KIND, Bytes> peer(query);
  for (const Bytes& entry : entries.tokens)
    if (measure<KIND>(word, entry.c_str()) != peer.value(entry))
      return state.SkipWithError("the values differ");
  bench::compare(
      state, NUM_ENTRIES,
      [&] {
        for (const Bytes& entry : entries.tokens)
          benchmark::DoNotOptimize(measure<KIND>(word, entry.c_str()));
      },
      [&] {
        for (const Bytes& entry : entries.tokens) benchmark::DoNotOptimize(peer.value(entry));
      });
}

/// Both sides get UTF-8, which the peer's side decodes before it measures.
template <Kind KIND>
void texts_beside_peer(benchmark::State& state) {
  const auto map = make_map();
  const Sample sample(static_cast<int>(state.range(0)), true);
  const Entries entries(sample, map.get());
  const TeraWord word(utf8_of(sample.query).c_str(), map.get(), true);
  const Peer<KIND, std::u32string> peer(sample.query);
  bench::compare(
      state, NUM_ENTRIES,
      [&] {
        for (const std::string& entry : entries.texts)
          benchmark::DoNotOptimize(measure<KIND>(word, entry.c_str()));
      },
      [&] {
        for (const std::string& entry : entries.texts) benchmark::DoNotOptimize(peer.value(decode(entry)));
      });
}

/// Both sides get ASCII bytes; the peer compares them as they are.
template <Kind KIND>
void bytes_beside_peer(benchmark::State& state) {
  const auto map = make_map();
  const Sample sample(static_cast<int>(state.range(0)), false);
  const Entries entries(sample, map.get());
  const std::string query = utf8_of(sample.query);
  const TeraWord word(query.c_str(), map.get(), true);
  const Peer<KIND, std::string> peer(query);
  bench::compare(
      state, NUM_ENTRIES,
      [&] {
        for (const std::string& entry : entries.texts)
          benchmark::DoNotOptimize(measure<KIND>(word, entry.c_str()));
      },
      [&] {
        for (const std::string& entry : entries.texts) benchmark::DoNotOptimize(peer.value(entry));
      });
}

BENCHMARK(tokens_beside_peer<LEVEN>)->Arg(10)->Arg(100)->UseManualTime();
BENCHMARK(tokens_beside_peer<TRANSPOSE>)->Arg(10)->Arg(100)->UseManualTime();
BENCHMARK(tokens_beside_peer<SEQUENCE>)->Arg(10)->Arg(100)->UseManualTime();
BENCHMARK(texts_beside_peer<LEVEN>)->Arg(10)->Arg(100)->UseManualTime();
BENCHMARK(texts_beside_peer<TRANSPOSE>)->Arg(10)->Arg(100)->UseManualTime();
BENCHMARK(texts_beside_peer<SEQUENCE>)->Arg(10)->Arg(100)->UseManualTime();
BENCHMARK(bytes_beside_peer<LEVEN>)->Arg(10)->Arg(100)->UseManualTime();
BENCHMARK(bytes_beside_peer<TRANSPOSE>)->Arg(10)->Arg(100)->UseManualTime();
BENCHMARK(bytes_beside_peer<SEQUENCE>)->Arg(10)->Arg(100)->UseManualTime();

#endif

/// The measures that have no peer, on tokens.
template <class Measure>
void alone(benchmark::State& state, Measure measure) {
  const auto map = make_map();
  const Sample sample(static_cast<int>(state.range(0)), true);
  const Entries entries(sample, map.get());
  const TeraWord word(utf8_of(sample.query).c_str(), map.get(), true);
  TeraTokenWord tokens;
  tokens.build(word.get_token_string());
  for (auto unused : state) {
    static_cast<void>(unused);
    for (const Bytes& entry : entries.tokens)
      benchmark::DoNotOptimize((tokens.*measure)(entry.c_str(), nullptr, TeraWordOptions::NO_GLOB));
  }
  state.SetItemsProcessed(state.iterations() * NUM_ENTRIES);
}

BENCHMARK_CAPTURE(alone, count, &TeraTokenWord::count)->Arg(10)->Arg(100);
BENCHMARK_CAPTURE(alone, app_count, &TeraTokenWord::app_count)->Arg(10)->Arg(100);
BENCHMARK_CAPTURE(alone, biseq, &TeraTokenWord::biseq)->Arg(10)->Arg(100);
BENCHMARK_CAPTURE(alone, bigrams, &TeraTokenWord::bigrams)->Arg(10)->Arg(100);
BENCHMARK_CAPTURE(alone, wildcard, &TeraTokenWord::wildcard)->Arg(10)->Arg(100);
BENCHMARK_CAPTURE(alone, subset, &TeraTokenWord::subset)->Arg(10)->Arg(100);
BENCHMARK_CAPTURE(alone, superset, &TeraTokenWord::superset)->Arg(10)->Arg(100);
BENCHMARK_CAPTURE(alone, subword, &TeraTokenWord::subword)->Arg(10)->Arg(100);

}  // namespace
