#include "tera/tera_word.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"
#include "tera/measure/tera_word_alignment_internal.h"
#include "tera/measure/tera_word_loops_internal.h"
#include "tera/tera_words.h"

namespace {

using Options = TeraWordOptions;

bool no_glob_of(int options) {
  return (options & Options::NO_GLOB) != 0;
}

}  // namespace

TeraWord::TeraWord(const char* word, const TeraMap* map, bool no_glob) {
  if (word == nullptr || map == nullptr) return;
  mapConfig = map;
  tokenString = map->convert(word, no_glob, &memAt);
  tokenWord.build(tokenString, map->is_operator(TOKEN_WILDCARD));
}

TeraWord::TeraWord(int num, const char* const* words, const TeraMap* map, bool no_glob) {
  if (num < 0 || words == nullptr || map == nullptr) return;
  mapConfig = map;
  std::vector<Token> tokens;
  for (int i = 0; i < num; ++i) {
    if (i > 0) tokens.push_back(TOKEN_WORD_SEP);
    TeraScan scan(map, words[i], no_glob);
    while (const Token tok = scan.get_next_token(0)) tokens.push_back(tok);
  }
  memAt.malloc(tokenString, static_cast<long>(tokens.size()) + 1);
  *std::copy(tokens.begin(), tokens.end(), tokenString) = 0;
  tokenWord.build(tokenString, map->is_operator(TOKEN_WILDCARD));
}

Token* TeraWord::get_pos(Token* string, int pos) const {
  return mapConfig != nullptr ? mapConfig->get_pos(string, pos) : nullptr;
}

int TeraWord::add_halfs(const char* pairs) {
  if (mapConfig == nullptr || pairs == nullptr) return -1;
  AceAttach at;
  return tokenWord.add_halfs(mapConfig->convert(pairs, true, &at));
}

int TeraWord::validate_options(int options) {
  const auto all = [options](int bits) { return (options & bits) == bits; };
  return all(Options::FREE_ENTRY_SUFFIX | Options::FREE_QUERY_PREFIX) ||
                 all(Options::FREE_ENTRY_PREFIX | Options::FREE_QUERY_SUFFIX)
             ? -1
             : 0;
}

int TeraWord::cut(const char* entry, int from, int to, int opt, AceAttach* at, char** prefix, char** infix,
                  char** suffix) const {
  return mapConfig != nullptr ? mapConfig->cut(entry, from, to, at, prefix, infix, suffix, opt != 0) : -1;
}

int TeraWord::cmp(const char* s1, const char* s2, const TeraMap* map, TeraEval::Model model, int options) {
  Eval* eval = TeraEval::get_model_func(model, 0);
  if (eval == nullptr) return -1;
  return TeraWord(s1, map, no_glob_of(options)).leven(s2, eval, options);
}

namespace {

constexpr char SEPARATOR = '|';

/// The words that have tokens.
std::vector<std::string> split_words(const char* text, const TeraMap* map, bool no_glob) {
  std::vector<std::string> words(1);
  for (; *text != 0; ++text) {
    if (*text == SEPARATOR)
      words.emplace_back();
    else
      words.back() += *text;
  }
  std::erase_if(words, [&](const std::string& word) { return map->tok_len(word.c_str(), no_glob) <= 0; });
  return words;
}

std::vector<const char*> texts_of(const std::vector<std::string>& words) {
  std::vector<const char*> texts;
  texts.reserve(words.size());
  for (const std::string& word : words) texts.push_back(word.c_str());
  return texts;
}

}  // namespace

int TeraWord::mcmp(const char* s1, const char* s2, const TeraMap* map, TeraEval::Model model, int options) {
  Eval* eval = TeraEval::get_model_func(model, 0);
  if (s1 == nullptr || s2 == nullptr || map == nullptr || eval == nullptr) return -1;
  const bool noGlob = no_glob_of(options);
  const std::vector<std::string> queryWords = split_words(s1, map, noGlob);
  const std::vector<std::string> entryWords = split_words(s2, map, noGlob);
  const int numQuery = static_cast<int>(queryWords.size());
  const int num = static_cast<int>(entryWords.size());
  std::vector<int> quals(entryWords.size());
  if (numQuery > 0) {
    const TeraWords query(numQuery, texts_of(queryWords).data(), map, noGlob);
    if (query.phrase(num, texts_of(entryWords).data(), model, false, options, nullptr, quals.data()) < 0)
      return -1;
  }
  VInt total = 0;
  for (const int quality : quals) total += quality;
  const auto in_int = [](VInt value) { return static_cast<int>(std::clamp<VInt>(value, 0, INT_MAX)); };
  return TeraEval::fine_model_func(eval)(in_int(VInt{TeraEval::FINE_UNIT} * numQuery), in_int(total),
                                         in_int(VInt{TeraEval::FINE_UNIT} * num));
}

namespace {

struct NamedMeasure {
  const char* name;
  int (TeraWord::*measure)(const char*, TeraEval::Eval*, int) const;
  int options;
};

int measure_scan(const TeraWord& word, const char* entry, TeraEval::Eval* eval) {
  return word.scan(entry, eval, Options::NO_GLOB);
}

constexpr NamedMeasure MEASURES[] = {
    {"leven", &TeraWord::leven, Options::NO_GLOB},
    {"leven, transpositions", &TeraWord::leven, Options::NO_GLOB | Options::TRANSPOSE},
    {"leven, free entry ends", &TeraWord::leven, Options::NO_GLOB | Options::FREE_ENTRY},
    {"count", &TeraWord::count, Options::NO_GLOB},
    {"app_count", &TeraWord::app_count, Options::NO_GLOB},
    {"lcs", &TeraWord::lcs, Options::NO_GLOB},
    {"biseq", &TeraWord::biseq, Options::NO_GLOB},
    {"bigrams", &TeraWord::bigrams, Options::NO_GLOB},
    {"wildcard", &TeraWord::wildcard, Options::NO_GLOB},
    {"subset", &TeraWord::subset, Options::NO_GLOB},
    {"superset", &TeraWord::superset, Options::NO_GLOB},
    {"blockedit", &TeraWord::blockedit, Options::NO_GLOB},
    {"subword", &TeraWord::subword, Options::NO_GLOB},
};

constexpr const char* SAMPLE_QUERY = "wintermann";
constexpr const char* SAMPLE_ENTRIES[] = {"wintermann", "wintermanns",    "Sommermann", "winetrmann",
                                          "wihtermaan", "van der Winter", "bitterfeld", "wm"};
constexpr int SAMPLE_ROUNDS = 20000;

double nanoseconds_per_call(const auto& measure) {
  const auto start = std::chrono::steady_clock::now();
  volatile int used = 0;
  for (int round = 0; round < SAMPLE_ROUNDS; ++round)
    for (const char* entry : SAMPLE_ENTRIES) used = measure(entry);
  static_cast<void>(used);
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count() /
         (SAMPLE_ROUNDS * static_cast<double>(std::size(SAMPLE_ENTRIES)));
}

}  // namespace

int TeraWord::measure_speed() {
  const TeraWord word(SAMPLE_QUERY, TeraMap::get_ident_map(), true);
  Eval* eval = TeraEval::get_model_func(TeraEval::MAXIMUM, 0);
  AceReporter* rep = AceReporter::use_default();
  double total = 0;
  const auto report = [&](const char* name, double nanoseconds) {
    rep->printf("%-24s %8.1f ns\n", name, nanoseconds);
    total += nanoseconds;
  };
  for (const NamedMeasure& named : MEASURES)
    report(named.name, nanoseconds_per_call([&](const char* entry) {
             return (word.*named.measure)(entry, eval, named.options);
           }));
  report("scan", nanoseconds_per_call([&](const char* entry) { return measure_scan(word, entry, eval); }));
  return static_cast<int>(total);
}

template <class Loop>
int TeraWord::run(const char* entry, int options, Loop loop, bool half) const {
  if (entry == nullptr || tokenWord.wordLength < 0) return -1;
  const TeraTextSource source(mapConfig, entry, no_glob_of(options));
  return tokenWord.visit([&](const auto& pattern) { return run_on(pattern, source, options, half, loop); });
}

template class TeraMeasures<TeraWord, char>;
