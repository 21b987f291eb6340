/// Kinds of fields that are no words, each beside a plain way to do the same: identifiers read and found,
/// places, house numbers and digit strings scored by query objects, quantities looked up, flags combined.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"
#include "dast/dast_magic_constructor.h"
#include "dime/dime_uuid.h"
#include "lookup/data.h"
#include "ratio.h"
#include "tera/tera_count.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

namespace {

constexpr std::size_t NUM_VALUES = 100'000;  // that a query object scores in one run

/// Values for `make`, with the base ids 1, 2, ...
class ListReader : public TeraReader {
 public:
  ListReader(std::size_t count, std::function<std::string(std::size_t)> value)
      : numLines(count), valueAt(std::move(value)) {}
  int get_line(const char** string, Large* info, VInt* line) override {
    if (next == numLines) return 0;
    text = valueAt(next++);
    *string = text.c_str();
    if (info != nullptr) *info = static_cast<Large>(next);
    if (line != nullptr) *line = static_cast<VInt>(next) - 1;
    return 1;
  }
  int rewind() override { return next = 0; }
  VInt get_estimate() override { return static_cast<VInt>(numLines); }

 private:
  std::size_t numLines;
  std::function<std::string(std::size_t)> valueAt;
  std::size_t next = 0;
  std::string text;
};

// ---------------------------------------------------------------- identifiers

std::string uuid_text(std::mt19937_64& random) {
  char text[40];
  const VUint first = random();
  const VUint second = random();
  std::snprintf(text, sizeof text, "%08lx-%04lx-4%03lx-%04lx-%012lx", first >> 32, first >> 16 & 0xFFFF,
                first & 0xFFF, second >> 48, second & 0xFFFFFFFFFFFF);
  return text;
}

/// A digit after the other, by a table.
bool read_by_table(const char* text, VUint* words) {
  static const auto table = [] {
    std::array<signed char, 256> digits{};
    digits.fill(-1);
    for (int i = 0; i < 16; ++i) {
      digits[static_cast<unsigned char>("0123456789abcdef"[i])] = static_cast<signed char>(i);
      digits[static_cast<unsigned char>("0123456789ABCDEF"[i])] = static_cast<signed char>(i);
    }
    return digits;
  }();
  int count = 0;
  words[0] = words[1] = 0;
  for (; *text != '\0'; ++text) {
    const int digit = table[static_cast<unsigned char>(*text)];
    if (digit < 0) continue;
    if (count == 32) return false;
    words[count / 16] = words[count / 16] << 4 | static_cast<VUint>(digit);
    ++count;
  }
  return count == 32;
}

void read_uuids(benchmark::State& state) {
  std::mt19937_64 random(1);
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < NUM_VALUES; ++i) texts.push_back(uuid_text(random));
  VUint sum = 0;
  bench::compare_thread(
      state, NUM_VALUES,
      [&] {
        Uuid value;
        for (const std::string& text : texts) {
          value.parse(text.c_str());
          sum += value.get_word(0) ^ value.get_word(1);
        }
        benchmark::DoNotOptimize(sum);
      },
      [&] {
        VUint words[2];
        for (const std::string& text : texts) {
          read_by_table(text.c_str(), words);
          sum += words[0] ^ words[1];
        }
        benchmark::DoNotOptimize(sum);
      });
}
BENCHMARK(read_uuids)->UseManualTime()->Unit(benchmark::kMillisecond);

void find_uuids(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  std::mt19937_64 random(2);
  DimeUuidMethod method;
  method.configure_build_options("-sorted", nullptr);
  ListReader reader(count, [&](std::size_t) { return uuid_text(random); });
  method.make(&reader, 0, AceReporter::null(), nullptr);
  std::mt19937_64 again(2);
  std::vector<std::pair<VUint, VUint>> sorted(count);
  std::vector<Uuid> queries;
  for (std::size_t i = 0; i < count; ++i) {
    VUint words[2];
    read_by_table(uuid_text(again).c_str(), words);
    sorted[i] = {words[0], words[1]};
    if (i % (count / 10000) == 0) queries.emplace_back(words[0], words[1]);
  }
  std::sort(sorted.begin(), sorted.end());
  std::shuffle(queries.begin(), queries.end(), random);
  VUint sum = 0;
  bench::compare_thread(
      state, static_cast<double>(queries.size()),
      [&] {
        for (const Uuid& query : queries) sum += method.count_below(query);
        benchmark::DoNotOptimize(sum);
      },
      [&] {
        for (const Uuid& query : queries)
          sum += static_cast<VUint>(std::lower_bound(sorted.begin(), sorted.end(),
                                                     std::pair(query.get_word(0), query.get_word(1))) -
                                    sorted.begin());
        benchmark::DoNotOptimize(sum);
      });
}
BENCHMARK(find_uuids)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Arg(10'000'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------- scores by query objects

std::unique_ptr<DastBaseMethod> make_method(const char* name, const char* recall = "") {
  std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create(name));
  static const auto map = [] {
    auto made = std::make_unique<TeraMap>();
    lookup::make_map(made.get());
    return made;
  }();
  method->configure_build_options("", map.get());
  method->configure_recall_options(recall);
  return method;
}

/// Scores all values with a query object; the counter is the time of one.
void score(benchmark::State& state, const DastBaseMethod& method, const char* query,
           const std::vector<std::string>& values, const std::function<int(const char*)>& peer) {
  const TeraQueryRef object(method.eval(DastOptions::APPROX, query, AceReporter::null()));
  int sum = 0;
  bench::compare_thread(
      state, static_cast<double>(values.size()),
      [&] {
        for (const std::string& value : values) sum += object->compare(value.c_str());
        benchmark::DoNotOptimize(sum);
      },
      [&] {
        for (const std::string& value : values) sum += peer(value.c_str());
        benchmark::DoNotOptimize(sum);
      });
}

void score_places(benchmark::State& state) {
  std::mt19937 random(3);
  std::vector<std::string> values;
  for (std::size_t i = 0; i < NUM_VALUES; ++i)
    values.push_back(std::to_string(random() % 40000) + "," + std::to_string(random() % 40000));
  const auto peer = [](const char* text) {
    const char* end = text + std::strlen(text);
    int x = 0;
    int y = 0;
    const char* comma = std::from_chars(text, end, x).ptr;
    std::from_chars(comma + 1, end, y);
    const double dx = (x - 20000) / 100.0;
    const double dy = (y - 20000) / 100.0;
    return static_cast<int>(255 * std::exp(-(dx * dx + dy * dy) / 14427));
  };
  score(state, *make_method("GEOMETRIC"), "20000,20000", values, peer);
}
BENCHMARK(score_places)->UseManualTime()->Unit(benchmark::kMillisecond);

void score_house_numbers(benchmark::State& state) {
  std::mt19937 random(4);
  std::vector<std::string> values;
  constexpr const char* REST[] = {"", "", "", "a", " b", "a-c", "-20", "*99", " bis", " 1/2"};
  for (std::size_t i = 0; i < NUM_VALUES; ++i)
    values.push_back(std::to_string(1 + random() % 30) + REST[random() % std::size(REST)]);
  const auto peer = [](const char* text) { return std::strtol(text, nullptr, 10) == 12 ? 255 : 0; };
  score(state, *make_method("PREMISE", state.range(0) != 0 ? "-use_lcs" : ""), "12a", values, peer);
}
BENCHMARK(score_house_numbers)
    ->ArgName("lcs")
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void score_digit_strings(benchmark::State& state) {
  std::mt19937 random(5);
  std::vector<std::string> values;
  for (std::size_t i = 0; i < NUM_VALUES; ++i) values.push_back(std::to_string(random() % 100'000'000));
  const auto peer = [](const char* text) { return std::strcmp(text, "47110815") == 0 ? 255 : 0; };
  score(state, *make_method("NUMBER"), "47110815", values, peer);
}
BENCHMARK(score_digit_strings)->UseManualTime()->Unit(benchmark::kMillisecond);

/// The peer adds the weights of equal positions.
void score_postcodes(benchmark::State& state) {
  std::mt19937 random(7);
  std::vector<std::string> values;
  for (std::size_t i = 0; i < NUM_VALUES; ++i) values.push_back(std::to_string(10'000 + random() % 90'000));
  const auto peer = [](const char* text) {
    int weight = 0;
    for (int i = 0; text[i] != '\0' && i < 5; ++i) weight += text[i] == "80013"[i] ? 5 - i : 0;
    return 255 * weight / 15;
  };
  score(state, *make_method("POSTCODE"), "80013", values, peer);
}
BENCHMARK(score_postcodes)->UseManualTime()->Unit(benchmark::kMillisecond);

void score_quantities(benchmark::State& state) {
  std::mt19937 random(6);
  std::vector<std::string> values;
  for (std::size_t i = 0; i < NUM_VALUES; ++i)
    values.push_back(std::to_string(random() % 1000) + "." + std::to_string(random() % 100));
  const auto peer = [](const char* text) {
    return static_cast<int>(std::max(0.0, 255 - 10 * std::fabs(std::strtod(text, nullptr) - 500)));
  };
  score(state, *make_method("DOUBLE", "-factor 1000"), "500", values, peer);
}
BENCHMARK(score_quantities)->UseManualTime()->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------- look-ups of quantities

/// Numbers near one among many, beside a range of an ordered map with the same scores.
void find_quantities(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const auto method = make_method("DOUBLE", "-factor 10000 -min_value 190");
  const auto value_at = [count](std::size_t i) {  // each number once, in no order
    return std::to_string(i * 7919 % count) + ".25";
  };
  ListReader reader(count, value_at);
  method->make(&reader, 0, AceReporter::null(), nullptr);
  method->configure_recall_options("-factor 20 -min_value 190");  // 324 on both sides
  std::map<double, Large> ordered;
  for (std::size_t i = 0; i < count; ++i) ordered[std::stod(value_at(i))] = static_cast<Large>(i);
  const double asked = static_cast<double>(count) / 2;
  const std::string query = std::to_string(asked);
  long numFound = 0;
  bench::compare_thread(
      state, 1,
      [&] {
        TeraScanGraph* graph = method->lookup(query.c_str(), DastOptions::APPROX, AceReporter::null());
        numFound = graph->get_first_result()->num_cands();
        graph->decr_ref();
      },
      [&] {
        TeraResult result("", 190, 2500, 255, nullptr);
        const auto end = ordered.upper_bound(asked + 325);
        for (auto value = ordered.lower_bound(asked - 325); value != end; ++value) {
          const int quality = static_cast<int>(255 - 0.2 * std::fabs(value->first - asked));
          if (result.accept(quality)) result.add(quality, new TeraCand(nullptr, value->second));
        }
        benchmark::DoNotOptimize(result.num_cands());
      });
  state.counters["found"] = static_cast<double>(numFound);
}
BENCHMARK(find_quantities)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Arg(10'000'000)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

// ---------------------------------------------------------------- flags

/// Entries that have all of some flags; the peer is how fast memory is read, in as many bytes.
void combine_flags(benchmark::State& state) {
  const auto numEntries = static_cast<int>(state.range(0));
  const auto numFlags = static_cast<int>(state.range(1));
  TeraCount count(numEntries, numFlags, nullptr);
  std::mt19937_64 random(8);
  std::vector<VBit> bits(static_cast<std::size_t>(count.get_num_words()));
  std::vector<int> list;
  for (int flag = 0; flag < numFlags; ++flag) {
    for (VBit& word : bits) word = random() | random();
    count.set_flags_vertical(flag, bits.data());
    list.push_back(flag);
  }
  const std::size_t bytes =
      static_cast<std::size_t>(count.get_num_words()) * sizeof(VBit) * static_cast<std::size_t>(numFlags + 1);
  std::vector<VBit> from(bytes / 2 / sizeof(VBit), 1);
  std::vector<VBit> to(from.size(), 2);
  bench::compare_thread(
      state, 1,
      [&] {
        AceAttach at;
        benchmark::DoNotOptimize(count.get_exact(numFlags, list.data(), &at));
      },
      [&] {
        std::memcpy(to.data(), from.data(), from.size() * sizeof(VBit));
        benchmark::ClobberMemory();
      });
  state.counters["GB/s"] = static_cast<double>(bytes) / state.counters["ours_ns"];
}
BENCHMARK(combine_flags)
    ->ArgNames({"entries", "flags"})
    ->Args({10'000'000, 2})
    ->Args({10'000'000, 8})
    ->Args({100'000'000, 2})
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

}  // namespace
