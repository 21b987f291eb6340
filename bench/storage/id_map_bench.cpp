/// Id maps against a plain array of offsets with an array of values (CSR), both used in place from mappings:
/// random look-ups, and bytes per value for lists as indexes have them; minimal perfect hashes against the
/// standard library's.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include "ace/ace_alloc.h"
#include "ace/ace_bulk.h"
#include "ace/ace_file.h"
#include "ace/ace_id_map.h"
#include "ace/ace_mph.h"
#include "ratio.h"

namespace {

/// The plain arrays: list i is values[offsets[i] .. offsets[i + 1]).
struct Csr {
  void save(AceFile* file) const {
    file->put_int(numKeys);
    file->write((VInt{numKeys} + 1) * 4, offsets, 8);
    file->write(VInt{offsets[numKeys]} * 4, values, 8);
  }
  void read(AceFile* file) {
    numKeys = file->get_large();
    offsets = file->read_array<Large>(VInt{numKeys} + 1, 8);
    values = file->read_array<Large>(VInt{offsets[numKeys]}, 8);
  }
  IdList get(Large key) const {
    if (key >= numKeys) return {};
    return {values + offsets[key], offsets[key + 1] - offsets[key]};
  }

  Large numKeys = 0;
  const Large* offsets = nullptr;
  const Large* values = nullptr;
};

/// What is saved into a file and mapped again.
template <class Object>
class MappedFile {
 public:
  explicit MappedFile(const auto& saved) {
    const char* folder = std::getenv("TMPDIR");
    std::string name = std::string(folder != nullptr ? folder : "/tmp") + "/sorvanta_bench_XXXXXX";
    const int descriptor = mkstemp(name.data());
    if (descriptor < 0) throw std::runtime_error("no temporary file");
    close(descriptor);
    AceFile out;
    out.build(name.c_str(), nullptr);
    saved.save(&out);
    out.close();
    const int isMapped = file.map(name.c_str(), nullptr, nullptr, getpagesize(), nullptr, nullptr);
    unlink(name.c_str());
    if (isMapped < 0) throw std::runtime_error("no mapping");
    object.read(&file);
  }

  double size() const { return static_cast<double>(file.get_size()); }

  AceFile file;
  Object object;
};

using Lists = std::vector<AceBulk::List*>;

struct Source {
  /// `length_of(key)` values for each of `num_keys` keys, ascending within a list.
  Source(Large num_keys, auto length_of, auto next_value) : lists(num_keys) {
    for (Large key = 0; key < num_keys; ++key)
      for (Large left = length_of(key); left > 0; --left) bulk.inc(lists[key], next_value(key));
    for (AceBulk::List* list : lists)
      if (list != nullptr) std::sort(list->begin(), list->end());
  }
  MappedFile<Csr> csr() const {
    std::vector<Large> offsets = {0};
    std::vector<Large> values;
    for (AceBulk::List* list : lists) {
      if (list != nullptr) values.insert(values.end(), list->begin(), list->end());
      offsets.push_back(static_cast<Large>(values.size()));
    }
    return MappedFile<Csr>(Csr{static_cast<Large>(lists.size()), offsets.data(), values.data()});
  }
  MappedFile<AceIdMap> map(int mode) {
    AceIdMap built;
    const auto numKeys = static_cast<Large>(lists.size());
    if (mode < 0)
      built.build(numKeys, lists.data(), nullptr);
    else
      built.make(static_cast<int>(numKeys), lists.data(), mode, nullptr);
    return MappedFile<AceIdMap>(built);
  }

  AceBulk bulk;
  Lists lists;
};

VUint sum_of(const auto& map, const std::vector<Large>& keys) {
  VUint sum = 0;
  for (const Large key : keys)
    for (const Large value : map.get(key)) sum += value;
  return sum;
}

/// Random look-ups in a map of 10 million keys whose representation is the argument (-1 is chosen).
void get_of_10_million_keys(benchmark::State& state) {
  constexpr Large NUM_KEYS = 10'000'000;
  constexpr std::size_t NUM_ASKED = 1'000'000;
  std::mt19937 random(1);
  Source source(
      NUM_KEYS, [&](Large) { return static_cast<Large>(2 + random() % 4); },
      [&](Large) { return static_cast<Large>(random() % NUM_KEYS); });
  const auto csr = source.csr();
  const auto map = source.map(static_cast<int>(state.range(0)));
  std::vector<Large> asked(NUM_ASKED);
  for (Large& key : asked) key = static_cast<Large>(random() % NUM_KEYS);
  bench::compare(
      state, NUM_ASKED, [&] { benchmark::DoNotOptimize(sum_of(map.object, asked)); },
      [&] { benchmark::DoNotOptimize(sum_of(csr.object, asked)); });
  state.counters["mode"] = map.object.get_mode();
  state.counters["size_to_csr"] = map.size() / csr.size();
}
BENCHMARK(get_of_10_million_keys)->Arg(-1)->Arg(6)->UseManualTime()->Unit(benchmark::kMillisecond);

/// Lists as indexes have them: bytes per value beside those of the plain arrays.
enum Kind { WORD_TO_RECORDS, RECORD_TO_WORD, ALIASES, TITLES, CATEGORIES, NUM_KINDS };

Source source_of(int kind, std::mt19937* random) {
  constexpr Large NUM_KEYS = 1'000'000;
  const auto below = [random](Large limit) { return static_cast<Large>((*random)() % limit); };
  const auto any_record = [=](Large) { return below(NUM_KEYS); };
  switch (kind) {
    case WORD_TO_RECORDS:  // word frequencies by rank: most words once, some very often
      return {NUM_KEYS, [](Large key) { return 1 + NUM_KEYS / 4 / (key + 1); }, any_record};
    case RECORD_TO_WORD:  // one value each, a few without, a few with two
      return {NUM_KEYS, [=](Large) { return below(20) == 0 ? 2 * below(2) : 1; }, any_record};
    case ALIASES:  // one key in fifty has one to four
      return {NUM_KEYS, [=](Large) { return below(50) == 0 ? 1 + below(4) : 0; }, any_record};
    case TITLES:  // one of 200 lists of three
      return {NUM_KEYS, [](Large) { return 3; }, [](Large key) { return key % 200; }};
    default:  // one of 5000 lists of four
      return {NUM_KEYS, [](Large) { return 4; }, [](Large key) { return key * 7919 % 5000; }};
  }
}

void size_of_lists(benchmark::State& state) {
  static constexpr const char* LABELS[NUM_KINDS] = {"word to records", "record to word", "aliases",
                                                    "titles (200 lists)", "categories (5000 lists)"};
  const int kind = static_cast<int>(state.range(0));
  std::mt19937 random(2);
  Source source = source_of(kind, &random);
  const auto csr = source.csr();
  for (auto unused : state) {
    static_cast<void>(unused);
    AceIdMap map;
    map.build(static_cast<Large>(source.lists.size()), source.lists.data(), nullptr);
    benchmark::DoNotOptimize(map);
  }
  const auto map = source.map(-1);
  const double numValues = csr.object.offsets[csr.object.numKeys];
  state.SetLabel(LABELS[kind]);
  state.counters["mode"] = map.object.get_mode();
  state.counters["bytes_per_value"] = map.size() / numValues;
  state.counters["csr_bytes_per_value"] = csr.size() / numValues;
}
BENCHMARK(size_of_lists)->DenseRange(0, NUM_KINDS - 1)->Unit(benchmark::kMillisecond);

/// A million strings, each looked up once; the string is compared in both.
void recall_of_strings(benchmark::State& state) {
  constexpr int NUM_STRINGS = 1'000'000;
  std::vector<std::string> strings;
  for (int i = 0; i < NUM_STRINGS; ++i) strings.push_back("street " + std::to_string(i * 2654435761U));
  std::unordered_map<std::string, int> peer;
  std::vector<void*> keys;
  for (int i = 0; i < NUM_STRINGS; ++i) {
    peer[strings[static_cast<std::size_t>(i)]] = i;
    keys.push_back(strings[static_cast<std::size_t>(i)].data());
  }
  unsigned* table = nullptr;
  int size = 0;
  if (mph_build(NUM_STRINGS, keys.data(), mph_string_function, &table, 0, &size, 0) < 0) {
    state.SkipWithError("no table");
    return;
  }
  std::vector<std::string> asked = strings;
  std::shuffle(asked.begin(), asked.end(), std::mt19937(3));
  bench::compare(
      state, NUM_STRINGS,
      [&] {
        int numFound = 0;
        for (const std::string& key : asked) {
          const int found = mph_recall(key.c_str(), mph_string_function, table, size);
          numFound += strings[static_cast<std::size_t>(found)] == key ? 1 : 0;
        }
        benchmark::DoNotOptimize(numFound);
      },
      [&] {
        int numFound = 0;
        for (const std::string& key : asked) numFound += peer.count(key) > 0 ? 1 : 0;
        benchmark::DoNotOptimize(numFound);
      });
  state.counters["slots_per_key"] = double{1} * size / NUM_STRINGS;
  ace_delete(table);
}
BENCHMARK(recall_of_strings)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
