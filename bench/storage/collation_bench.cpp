// Sorting two dictionaries by the Unicode collation beside what an international library does with its root
// collation: the same words, the same sort, only the comparison differs.
#include <algorithm>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "ratio.h"
#include "tera/tera_collation.h"

#ifdef BENCH_HAS_ICU
#include <unicode/ucol.h>
#include <unicode/unistr.h>
#endif

namespace {

/// American and German words in random order, the same in every run; empty where the lists are missing.
std::vector<std::string> dictionary_words() {
  std::vector<std::string> words;
  for (const char* name : {"/usr/share/dict/american-english-huge", "/usr/share/dict/ngerman"}) {
    std::ifstream list(name);
    for (std::string word; std::getline(list, word);) words.push_back(word);
  }
  std::shuffle(words.begin(), words.end(), std::mt19937(1));
  return words;
}

/// The words as the caller has them, `Text` being a pointer to each.
template <class Text>
auto sort_job(const std::vector<Text>& texts, auto isBefore) {
  return [&texts, isBefore] {
    std::vector<Text> sorted = texts;
    std::sort(sorted.begin(), sorted.end(), isBefore);
    benchmark::DoNotOptimize(sorted.data());
  };
}

#ifdef BENCH_HAS_ICU

struct Collator {
  ~Collator() { ucol_close(handle); }
  UErrorCode status = U_ZERO_ERROR;
  UCollator* handle = ucol_open("", &status);
};

/// `utf8` 0: the peer compares UTF-16, its own form, converted beforehand; 1: UTF-8, as we do.
void sorting_dictionaries_beside_icu(benchmark::State& state) {
  const std::vector<std::string> words = dictionary_words();
  TeraCollation* collation = TeraCollation::factory(BENCH_COLLATIONS "/root.utf-8");
  const Collator peer;
  if (words.empty() || collation == nullptr || U_FAILURE(peer.status)) {
    if (collation != nullptr) collation->destroy();
    return state.SkipWithError("the word lists, the table or the peer's data are missing");
  }
  std::vector<const char*> texts;
  std::vector<icu::UnicodeString> wide;
  std::vector<const icu::UnicodeString*> wideTexts;
  wide.reserve(words.size());
  for (const std::string& word : words) {
    texts.push_back(word.c_str());
    wideTexts.push_back(&wide.emplace_back(icu::UnicodeString::fromUTF8(word)));
  }
  const auto ours = sort_job(texts, [&](auto a, auto b) { return collation->compare_sort(a, b, 0) < 0; });
  const auto narrow = sort_job(texts, [&](auto a, auto b) {
    UErrorCode status = U_ZERO_ERROR;
    return ucol_strcollUTF8(peer.handle, a, -1, b, -1, &status) == UCOL_LESS;
  });
  const auto wider = sort_job(wideTexts, [&](auto a, auto b) {
    return ucol_strcoll(peer.handle, a->getBuffer(), a->length(), b->getBuffer(), b->length()) == UCOL_LESS;
  });
  const auto items = static_cast<double>(words.size());
  if (state.range(0) != 0)
    bench::compare(state, items, ours, narrow);
  else
    bench::compare(state, items, ours, wider);
  state.counters["words"] = items;
  collation->destroy();
}
BENCHMARK(sorting_dictionaries_beside_icu)
    ->ArgName("utf8")
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);

#endif

/// What the order costs beside that of the bytes.
void sorting_dictionaries_beside_bytes(benchmark::State& state) {
  const std::vector<std::string> words = dictionary_words();
  TeraCollation* collation = TeraCollation::factory(BENCH_COLLATIONS "/root.utf-8");
  TeraCollation* bytes = TeraCollation::factory("ascii");
  if (words.empty() || collation == nullptr) {
    state.SkipWithError("the word lists or the table are missing");
  } else {
    std::vector<const char*> texts;
    for (const std::string& word : words) texts.push_back(word.c_str());
    const auto by = [&](const TeraCollation* order) {
      return sort_job(texts, [order](auto a, auto b) { return order->compare_sort(a, b, 0) < 0; });
    };
    bench::compare(state, static_cast<double>(words.size()), by(collation), by(bytes));
  }
  if (collation != nullptr) collation->destroy();
  bytes->destroy();
}
BENCHMARK(sorting_dictionaries_beside_bytes)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace
