/// What the benchmarks of fields of words ask: a million lines of 1 to 8 words, and queries of them.
///
/// Lines are runs of words of the package descriptions that this machine knows, and every fourth of them of
/// real words (lookup/data.h). Queries are 2 or 3 words of lines, also with one or two letters wrong in each
/// word, and with the last word cut. BENCH_LINES says how many lines there are.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "lookup/data.h"
#include "ratio.h"

namespace lines {

using Texts = std::vector<std::string>;

inline constexpr std::size_t NUM_QUERIES = 500;
inline constexpr int LEAST_QUALITY = 190;
inline constexpr int ALL = 2500;
inline constexpr int BEST = 10;

inline std::size_t num_lines() {
  const char* asked = std::getenv("BENCH_LINES");
  return asked != nullptr ? static_cast<std::size_t>(std::atol(asked)) : 1'000'000;
}

inline Texts split(const std::string& text) {
  Texts words(1);
  for (const char c : text) {
    if (std::isspace(static_cast<unsigned char>(c)) == 0)
      words.back() += c;
    else
      words.emplace_back();
  }
  std::erase(words, "");
  return words;
}

/// What the package manager knows; nothing where there is none.
inline std::vector<Texts> descriptions() {
  std::vector<Texts> all;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> list(popen("apt-cache dumpavail 2>/dev/null", "r"),
                                                             pclose);
  char line[4096];
  while (list != nullptr && std::fgets(line, sizeof line, list.get()) != nullptr)
    if (const std::string text = line; text.rfind("Description", 0) == 0)
      all.push_back(split(text.substr(std::min(text.find(' '), text.size()))));
  std::erase_if(all, [](const Texts& words) { return words.size() < 2; });
  return all;
}

inline std::string joined(const Texts& words, std::size_t from, std::size_t count) {
  std::string text;
  for (std::size_t i = from; i < std::min(from + count, words.size()); ++i)
    text += (i > from ? " " : "") + words[i];
  return text;
}

struct Data {
  Data() {
    std::mt19937 random(1);
    const std::vector<Texts> known = descriptions();
    const Texts words = lookup::real_words();
    lines.reserve(num_lines());
    while (lines.size() < num_lines()) {
      const std::size_t count = 1 + random() % 8;
      if (known.empty() || random() % 4 == 0) {
        Texts made;
        for (std::size_t i = 0; i < count; ++i) made.push_back(words[random() % words.size()]);
        lines.push_back(joined(made, 0, count));
      } else {
        const Texts& from = known[random() % known.size()];
        lines.push_back(joined(from, random() % from.size(), count));
      }
    }
    while (queries.size() < NUM_QUERIES) {
      const Texts from = split(lines[random() % lines.size()]);
      const std::size_t count = 2 + random() % 2;
      if (from.size() < count) continue;
      const std::size_t start = random() % (from.size() - count + 1);
      if (const std::string text = joined(from, start, count); text.size() > 4 * count)
        queries.push_back(text);
    }
    for (const std::string& query : queries) {
      std::string wrong;
      for (const std::string& word : split(query))
        wrong += (wrong.empty() ? "" : " ") + (word.size() > 4 ? lookup::edited(word, random) : word);
      misspelled.push_back(wrong);
      const std::size_t blank = query.rfind(' ');
      std::size_t cut = std::min(query.size(), blank + 4);
      while (cut < query.size() && (static_cast<unsigned char>(query[cut]) & 0xC0) == 0x80) ++cut;
      unfinished.push_back(query.substr(0, cut));
    }
  }
  Texts lines, queries, misspelled, unfinished;
};

inline const Data& data() {
  static const Data made;
  return made;
}

inline std::string file_of(const char* name) {
  return (std::filesystem::temp_directory_path() / ("sorvanta_bench_" + std::string(name))).string();
}

/// Asks every query once, and tells how long single ones take.
template <class Ask>
void time_queries(benchmark::State& state, const Texts& queries, Ask ask) {
  std::vector<double> times;
  double found = 0;
  for (const std::string& query : queries) ask(query);  // what is decoded when it is first needed
  for (auto _ : state)
    for (const std::string& query : queries) {
      const double start = bench::processor_seconds();
      found += ask(query);
      times.push_back(1000 * (bench::processor_seconds() - start));
    }
  std::sort(times.begin(), times.end());
  state.counters["median_ms"] = times[times.size() / 2];
  state.counters["p99_ms"] = times[times.size() * 99 / 100];
  state.counters["found"] = found / static_cast<double>(times.size());
}

/// How long a build took, and the size of what it wrote.
struct BuildCost {
  double seconds, bytes;
  void report(benchmark::State& state) const {
    for (auto _ : state) benchmark::DoNotOptimize(seconds);
    state.counters["seconds"] = seconds;
    state.counters["MB"] = bytes / 1e6;
  }
};

}  // namespace lines
