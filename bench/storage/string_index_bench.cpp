/// String indexes over dictionaries: decoding compressed heaps, their size, and exact search in sorted heaps.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "ace/ace_bit_stream.h"
#include "ratio.h"
#include "tera/tera_index.h"

namespace {

constexpr const char* ENGLISH = "/usr/share/dict/american-english-huge";
constexpr const char* GERMAN = "/usr/share/dict/ngerman";
constexpr Large BLOCK = 32;
constexpr std::size_t NUM_KEYS = 100000;
constexpr std::size_t BYTE_VALUES = 256;

void require(bool isTrue) {
  if (!isTrue) std::abort();
}

/// All strings of an index, each of its blocks decoded once.
std::size_t read_all(const TeraIndex& index, auto use) {
  char* strings[BLOCK];
  std::size_t total = 0;
  for (Large first = 0; first < index.get_size(); first += BLOCK) {
    AceAttach at;
    const Large count = index.get_block(first, strings, BLOCK, &at);
    for (Large i = 0; i < count; ++i) total += use(strings[i]);
  }
  return total;
}

/// The peer: every byte in the context of the one before, by the codes' own tables.
struct CodedWords {
  explicit CodedWords(const TeraIndex& words) : codes(BYTE_VALUES) {
    std::vector<HuffmanStat> stats(BYTE_VALUES);
    for (Large id = 0; id < words.get_size(); ++id) {
      Token before = 0;
      for (const char* c = words.get_line(id, nullptr);; ++c) {
        stats[before].insert(static_cast<Token>(*c), 1);
        before = static_cast<Token>(*c);
        ++size;
        if (before == 0) break;
      }
    }
    for (std::size_t i = 0; i < BYTE_VALUES; ++i) codes[i].make(&stats[i]);
    stream.resize(2 * size);
    BitStream bits(stream.data());
    for (Large id = 0; id < words.get_size(); ++id) {
      Token before = 0;
      for (const char* c = words.get_line(id, nullptr);; ++c) {
        bits.put(&codes[before], static_cast<Token>(*c));
        before = static_cast<Token>(*c);
        if (before == 0) break;
      }
    }
    stream.resize(static_cast<std::size_t>(bits.end()));
    out.resize(size);
  }
  void decode() {
    BitSource bits(stream.data(), 0, static_cast<VInt>(stream.size()));
    Bit before = 0;
    for (char& byte : out) {
      before = bits.get(&codes[before]);
      byte = static_cast<char>(before);
    }
  }

  std::vector<HuffmanTree> codes;
  std::vector<Token> stream;
  std::vector<char> out;
  std::size_t size = 0;
};

/// Text out per second of all words, and how much faster that is than one code after the other by the codes'
/// own tables; and the size against the plain heap with its offsets, and against the file.
void decode_words(benchmark::State& state, const char* filename) {
  if (!std::filesystem::exists(filename)) return state.SkipWithError("the dictionary is not installed");
  TeraIndex plain;
  require(plain.make(filename, false, nullptr) == 0);
  TeraIndex packed;
  require(packed.make(filename, true, nullptr) == 0);
  CodedWords peer(plain);
  for (Large id = 0; id < plain.get_size(); id += 7) {
    AceAttach at;
    require(std::strcmp(plain.get_line(id, nullptr), packed.get_line(id, &at)) == 0);
  }
  const auto first = [](const char* string) { return static_cast<std::size_t>(*string); };
  const double text = static_cast<double>(plain.get_heap_size());
  bench::compare(
      state, text, [&] { benchmark::DoNotOptimize(read_all(packed, first)); }, [&] { peer.decode(); });
  state.counters["mb_per_s"] = 1e3 / state.counters["ours_ns"];
  const double packedSize = static_cast<double>(packed.size());
  state.counters["of_plain"] = packedSize / static_cast<double>(plain.size());
  state.counters["of_text"] = packedSize / text;
}
BENCHMARK_CAPTURE(decode_words, english, ENGLISH)->Name("TeraIndex/decode_words/english")->UseManualTime();
BENCHMARK_CAPTURE(decode_words, german, GERMAN)->Name("TeraIndex/decode_words/german")->UseManualTime();

/// Exact search of random words, of which half are there, against a binary search over string views.
void search_sorted(benchmark::State& state) {
  if (!std::filesystem::exists(ENGLISH) || !std::filesystem::exists(GERMAN))
    return state.SkipWithError("the dictionaries are not installed");
  std::vector<std::string> words;
  for (const char* filename : {ENGLISH, GERMAN}) {
    TeraIndex file;
    require(file.make(filename, false, nullptr) == 0);
    file.for_each([&](const char* string, int) { words.emplace_back(string); });
  }
  std::vector<const char*> strings;
  for (const std::string& word : words) strings.push_back(word.c_str());
  TeraIndex index;
  require(index.make(static_cast<int>(strings.size()), strings.data(), state.range(0) != 0, 1, nullptr) == 0);
  std::vector<std::string_view> views(words.begin(), words.end());
  std::sort(views.begin(), views.end());
  std::mt19937 random(1);
  std::vector<std::string> keys;
  while (keys.size() < NUM_KEYS) {
    keys.push_back(words[random() % words.size()]);
    if (random() % 2 == 0) keys.back() += static_cast<char>('a' + random() % 26);
  }
  std::size_t ours = 0;
  std::size_t theirs = 0;
  bench::compare(
      state, NUM_KEYS,
      [&] {
        ours = 0;
        for (const std::string& key : keys) ours += index.search(key.c_str(), 0, 0) != TeraIndex::NONE;
      },
      [&] {
        theirs = 0;
        for (const std::string& key : keys) {
          const auto found = std::lower_bound(views.begin(), views.end(), std::string_view(key));
          theirs += found != views.end() && *found == key;
        }
      });
  require(ours == theirs);
  state.counters["words"] = static_cast<double>(words.size());
}
BENCHMARK(search_sorted)
    ->Name("TeraIndex/search_sorted")
    ->ArgName("compressed")
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime();

}  // namespace
