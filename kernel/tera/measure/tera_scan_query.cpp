#include "tera/tera_scan_query.h"

#include <algorithm>
#include <limits>

#include "ace/ace_str_map.h"
#include "ace/ace_str_split.h"
#include "tera/tera_map.h"
#include "tera/tera_word_pattern.h"

namespace {

using Options = TeraWordOptions;

constexpr int WORD_OPTIONS = 0x1F;

/// The words of a text, in `at`.
std::vector<const char*> split(const char* text, AceAttach* at) {
  std::vector<const char*> words;
  const char* start = nullptr;
  for (int length; (length = strsep(text, ace_wordsepmap(), &start, &text)) > 0;)
    words.push_back(at->attach(start, length));
  return words;
}

int sum_lengths(VInt length, VInt more) {
  return static_cast<int>(std::min(length + more, VInt{std::numeric_limits<int>::max()}));
}

}  // namespace

TeraScanQuery::TeraScanQuery(const TeraMap* map, TeraEval::Model model, const char* text, int options)
    : mapConfig(map), evalFunc(TeraEval::get_model_func(model, 0)), wordOptions(options & WORD_OPTIONS) {
  if (text != nullptr) build(split(text, &memAt));
}

TeraScanQuery::TeraScanQuery(const TeraMap* map, TeraEval::Model model, int num, const char* const* words,
                             int options)
    : mapConfig(map), evalFunc(TeraEval::get_model_func(model, 0)), wordOptions(options & WORD_OPTIONS) {
  std::vector<const char*> given;
  for (int i = 0; i < num && words != nullptr; ++i)
    if (words[i] != nullptr) given.push_back(words[i]);
  build(given);
}

TeraScanQuery::~TeraScanQuery() = default;

void TeraScanQuery::build(const std::vector<const char*>& words) {
  if (mapConfig == nullptr || evalFunc == nullptr) return;
  const bool noGlob = (wordOptions & Options::NO_GLOB) != 0;
  std::vector<const char*> measured;
  int total = 0;
  for (const char* word : words) {
    queryText += (queryText.empty() ? "" : " ") + std::string(word);
    const int length = mapConfig->alt_len(word, noGlob);
    if (length < 0) return;
    total = sum_lengths(total, length);
    if (length == 0 || measured.size() == MAX_WORDS) continue;
    measured.push_back(word);
    wordLengths.push_back(length);
  }
  queryWords =
      std::make_unique<TeraWords>(static_cast<int>(measured.size()), measured.data(), mapConfig, noGlob);
  queryLength = total;
}

int TeraScanQuery::is_empty() const {
  return queryLength == 0 ? 1 : 0;
}

bool TeraScanQuery::equals(const char* entry) const {
  return queryLength >= 0 && entry != nullptr && mapConfig->strings_are_equal(queryText.c_str(), entry) != 0;
}

int TeraScanQuery::compare(const char* entry) {
  if (queryLength < 0) return -1;
  if (entry == nullptr || queryLength == 0) return 0;
  AceAttach at;
  std::vector<const char*> words;
  std::vector<int> lengths;
  int entryLength = 0;
  for (const char* word : split(entry, &at)) {
    const int length = mapConfig->tok_len(word, true);
    entryLength = sum_lengths(entryLength, length);
    if (length == 0 || words.size() == MAX_WORDS) continue;
    words.push_back(word);
    lengths.push_back(length);
  }
  if (words.empty()) return 0;

  const auto num = words.size();
  std::vector<int> partners(num);
  std::vector<int> quals(num);
  // Entries are read without operators, as by the other queries.
  const int options = wordOptions | Options::NO_GLOB;
  if (queryWords->phrase(static_cast<int>(num), words.data(), TeraEval::MAXIMUM, false, options,
                         partners.data(), quals.data()) < 0)
    return -1;
  int matches = 0;
  for (std::size_t i = 0; i < num; ++i) {
    if (partners[i] < 0) continue;
    const int longer = std::max(lengths[i], wordLengths[static_cast<std::size_t>(partners[i])]);
    matches = sum_lengths(matches, (quals[i] * VInt{longer} + TeraEval::PERFECT / 2) / TeraEval::PERFECT);
  }
  return std::clamp(evalFunc(queryLength, matches, entryLength), 0, TeraEval::PERFECT);
}
