// Tokenising names, against copying and folding bytes without any map.
#include <cctype>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ratio.h"
#include "tera/tera_map.h"
#include "tera/tera_map_config.h"
#include "tera/tera_scan.h"

namespace {

constexpr int NUM_NAMES = 20000;
constexpr int MAX_TOKENS = 256;

struct Names {
  std::vector<std::string> texts;
  double bytes = 0;
};

Names make_names(const std::vector<std::string>& letters, int length) {
  Names names;
  std::mt19937 rng(1);
  for (int i = 0; i < NUM_NAMES; ++i) {
    std::string text;
    for (int left = length / 2 + static_cast<int>(rng() % static_cast<unsigned>(length)); left > 0; --left)
      text += letters[rng() % letters.size()];
    names.bytes += static_cast<double>(text.size());
    names.texts.push_back(text);
  }
  return names;
}

std::vector<std::string> plain_letters() {
  std::vector<std::string> letters;
  for (char c = 'a'; c <= 'z'; ++c) letters.insert(letters.end(), {std::string(1, c), std::string(1, c)});
  letters.insert(letters.end(), {" ", " ", "-", ".", "A", "M", "7"});
  return letters;
}

/// About one letter in six.
std::vector<std::string> accented_letters() {
  std::vector<std::string> letters = plain_letters();
  for (const char* letter :
       {"\u00E4", "\u00F6", "\u00FC", "\u00E9", "\u00E8", "\u00F1", "\u0161", "\u017E", "\u0142", "\u00E7"})
    letters.emplace_back(letter);
  return letters;
}

std::vector<std::string> cyrillic_letters() {
  std::vector<std::string> letters = {" "};
  for (char c = '\xB0'; c <= '\xBF'; ++c) letters.push_back(std::string("\xD0") + c);
  return letters;
}

std::unique_ptr<TeraMap> name_map() {
  TeraMapConfig config("utf-8");
  config.set_tokens("A-Z0-9");
  config.map_upper();
  config.deaccentuate();
  config.any_to_latin();
  config.map_globs(nullptr);
  return std::unique_ptr<TeraMap>(config.compile());
}

size_t fold_bytes(const std::string& text, Token* out) {
  size_t num = 0;
  for (const char c : text) out[num++] = static_cast<Token>(std::toupper(static_cast<unsigned char>(c)));
  out[num] = 0;
  return num;
}

/// Against toupper byte by byte, which finds no tokens and skips nothing.
void convert_names(benchmark::State& state, const Names& names) {
  const auto map = name_map();
  Token out[MAX_TOKENS * 4];
  const auto run = [&](const auto& convert) {
    for (const std::string& text : names.texts) {
      convert(text);
      benchmark::DoNotOptimize(out);
    }
  };
  bench::compare(
      state, names.bytes,
      [&] { run([&](const std::string& text) { map->convert(text.c_str(), out, MAX_TOKENS * 4, true); }); },
      [&] { run([&](const std::string& text) { fold_bytes(text, out); }); });
  state.counters["MB_per_s"] = 1e3 / state.counters["ours_ns"];
}

/// Token by token, against `convert`.
void scan_names(benchmark::State& state, const Names& names) {
  const auto map = name_map();
  Token out[MAX_TOKENS * 4];
  bench::compare(
      state, names.bytes,
      [&] {
        for (const std::string& text : names.texts) {
          TeraScan scan(map.get(), text.c_str(), false);
          unsigned sum = 0;
          while (const Token tok = scan.get_next_token()) sum += tok;
          benchmark::DoNotOptimize(sum);
        }
      },
      [&] {
        for (const std::string& text : names.texts) {
          map->convert(text.c_str(), out, MAX_TOKENS * 4, false);
          benchmark::DoNotOptimize(out);
        }
      });
  state.counters["MB_per_s"] = 1e3 / state.counters["ours_ns"];
}

void convert_short_ascii(benchmark::State& state) {
  convert_names(state, make_names(plain_letters(), 16));
}
void convert_ascii(benchmark::State& state) {
  convert_names(state, make_names(plain_letters(), 120));
}
void convert_accented(benchmark::State& state) {
  convert_names(state, make_names(accented_letters(), 100));
}
void convert_cyrillic(benchmark::State& state) {
  convert_names(state, make_names(cyrillic_letters(), 60));
}
void scan_ascii(benchmark::State& state) {
  scan_names(state, make_names(plain_letters(), 120));
}
void scan_accented(benchmark::State& state) {
  scan_names(state, make_names(accented_letters(), 100));
}

BENCHMARK(convert_short_ascii)->UseManualTime();
BENCHMARK(convert_ascii)->UseManualTime();
BENCHMARK(convert_accented)->UseManualTime();
BENCHMARK(convert_cyrillic)->UseManualTime();
BENCHMARK(scan_ascii)->UseManualTime();
BENCHMARK(scan_accented)->UseManualTime();

/// Making the map of a script, all in all.
void compile_arabic(benchmark::State& state) {
  for (auto unused : state) {
    static_cast<void>(unused);
    delete TeraMapConfig::compile_arabic();
  }
}
BENCHMARK(compile_arabic)->Unit(benchmark::kMillisecond);

}  // namespace
