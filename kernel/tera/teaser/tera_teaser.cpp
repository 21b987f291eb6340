#include "tera/tera_teaser.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_time_analysis.h"
#include "tera/teaser/teaser_text_internal.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

namespace {

/// From this length on there is room for a context of the usual size.
constexpr int ROOMY_LENGTH = 60;
constexpr int ROOMY_CONTEXT = 15;
constexpr int CONTEXT_PART = 4;
constexpr int WORD_OPTIONS = TeraWordOptions::NO_GLOB | TeraWordOptions::TRANSPOSE;
constexpr char LITERAL_SEPARATOR = '|';
constexpr int ALIAS_QUALITY = 255;

}  // namespace

const std::array<bool, 256> TeraTeaser::sepMap = [] {
  std::array<bool, 256> separates{};
  for (int byte = 0; byte < 256; ++byte) {
    const int lower = byte | 0x20;
    separates[static_cast<std::size_t>(byte)] =
        !((byte >= '0' && byte <= '9') || (byte < 128 && lower >= 'a' && lower <= 'z'));
  }
  return separates;
}();

TeraTeaser::TeraTeaser(const TeraMap* map, const char* prefix, const char* suffix, int max_length)
    : markMap(map != nullptr ? map : TeraMap::get_ident_map()),
      matchTrie(markMap),
      evalFunc(TeraEval::get_model_func(TeraEval::QUERY, 0)) {
  if (prefix != nullptr) markPrefix = attach(prefix);
  if (suffix != nullptr) markSuffix = attach(suffix);
  set_lengths(max_length);
}

TeraTeaser::TeraTeaser(const TeraTeaser* other)
    : TeraTeaser(other->markMap, other->markPrefix, other->markSuffix, other->maxLength) {
  minQual = other->minQual;
}

void TeraTeaser::set_lengths(int max_length) {
  maxLength = max_length >= 1 && max_length <= LONGEST ? max_length : LONGEST;
  totalMarkLength = static_cast<int>(std::strlen(markPrefix) + std::strlen(markSuffix));
  minContextLength = maxLength >= ROOMY_LENGTH ? ROOMY_CONTEXT : maxLength / CONTEXT_PART;
  minInfixLength = 2 * minContextLength + TeaserText::LENGTH_OF_DOTS;
}

// ---------------------------------------------------------------- query words
// Numbers of words are places in two lists, which grow together or not at all.

int TeraTeaser::make_room(int space) {
  const bool isFirst = queryWordsSpace == 0;
  try {
    queryWords.reserve(static_cast<std::size_t>(space));
  } catch (const std::bad_alloc&) {
    return ace_error(__FILE__, __LINE__,
                     isFirst ? "malloc(queryWords,MIN_QUERY_SPACE)"
                             : "resize(queryWords, queryWords, queryWordsSpace, old_space)",
                     -1, 0, -1);
  }
  try {
    tWords.reserve(static_cast<std::size_t>(space));
  } catch (const std::bad_alloc&) {
    return ace_error(
        __FILE__, __LINE__,
        isFirst ? "malloc(tWords, MIN_QUERY_SPACE)" : "resize(tWords, tWords, queryWordsSpace, old_space)",
        -1, 0, -1);
  }
  queryWordsSpace = space;
  return 0;
}

int TeraTeaser::append_word(const char* word, const TeraMap* map) {
  if (get_num_words() == queryWordsSpace && make_room(std::max(2 * queryWordsSpace, MIN_QUERY_SPACE)) < 0)
    return -1;
  auto compiled = std::make_unique<TeraWord>(word, map != nullptr ? map : markMap, true);
  queryWords.push_back(word);
  tWords.push_back(std::move(compiled));
  return get_num_words() - 1;
}

int TeraTeaser::add_query_word(const char* word, const TeraMap* map) try {
  return word != nullptr ? append_word(attach(word), map) : -1;
} catch (const std::bad_alloc&) {
  return ace_error(__FILE__, __LINE__, "attach(word)", -1, 0, -1);
}

const char* TeraTeaser::normalized(const char* word) {
  return markMap->normalize(word, true, this);
}

int TeraTeaser::set_query_words(int n, const char* const* words) try {
  if (n < 0 || (n > 0 && words == nullptr)) return -1;
  queryWords.clear();
  tWords.clear();
  if (VInt{2} * n > queryWordsSpace && make_room(static_cast<int>(std::min(VInt{2} * n, VInt{INT_MAX}))) < 0)
    return -1;
  for (int i = 0; i < n; ++i)
    if (append_word(normalized(words[i] != nullptr ? words[i] : ""), nullptr) < 0) return -1;
  return n;
} catch (const std::bad_alloc&) {
  return ace_error(__FILE__, __LINE__, "markMap->normalize(words[i])", -1, 0, -1);
}

int TeraTeaser::get_query_word_id(const char* word) try {
  if (word == nullptr) return -1;
  const char* norm = normalized(word);
  for (int i = 0; i < get_num_words(); ++i)
    if (std::strcmp(get_query_word(i), norm) == 0) return i;
  return append_word(norm, nullptr);
} catch (const std::bad_alloc&) {
  return ace_error(__FILE__, __LINE__, "markMap->normalize(word)", -1, 0, -1);
}

const char* TeraTeaser::get_query_word(int id) const {
  return id >= 0 && id < get_num_words() ? queryWords[static_cast<std::size_t>(id)] : "";
}

int TeraTeaser::get_quality(const char* text, int word) const {
  if (word < 0 || word >= get_num_words()) return -1;
  const int quality = tWords[static_cast<std::size_t>(word)]->leven(text, evalFunc, WORD_OPTIONS);
  return std::min(quality, TeraEval::PERFECT);
}

// ---------------------------------------------------------------- strings that matched
// Strings that a recall has found are what a text is searched for: a trie walks all of them at once from
// every place where a word may begin.

int TeraTeaser::add_match(const char* string, int word, int quality, bool alias) try {
  if (string == nullptr || (quality >= 0 && quality < minQual)) return 0;
  MatchValue* value = matchTrie.enter(string, MAX_TOKENS);
  if (value == nullptr) return 0;
  if (value->is_fresh()) {
    value->set(word, alias, quality);
    return 1;
  }
  const int known = quality < 0 && alias ? ALIAS_QUALITY : quality;
  if (value->quality < known) value->set(word, alias, known);
  return 0;
} catch (const std::bad_alloc&) {
  return ace_error(__FILE__, __LINE__, "matchTrie.enter(string)", -1, 0, -1);
}

int TeraTeaser::add_query_matches(int n, const char* const* strings, const char* query, int quality) {
  const AceTimeSection section("Teaser add matches");
  if (query == nullptr || query[0] == '\0' || strings == nullptr) return 0;
  const int word = get_query_word_id(query);
  if (word < 0) return -1;
  int added = 0;
  for (int i = 0; i < n; ++i) {
    const int rc = add_match(strings[i], word, quality, false);
    if (rc < 0) return rc;
    added += rc;
  }
  return added;
}

/// What is marked in a candidate that a recall has marked; all of any other.
int TeraTeaser::add_marked(const char* string, int word, int quality) try {
  AceAttach at;
  int added = 0;
  bool isMarked = false;
  for (const char* start = std::strstr(string, MARK_PREFIX); start != nullptr;
       start = std::strstr(start, MARK_PREFIX)) {
    start += std::strlen(MARK_PREFIX);
    const char* const stop = std::strstr(start, MARK_SUFFIX);
    if (stop == nullptr) break;
    const int rc = add_match(at.attach(start, stop - start), word, quality, false);
    if (rc < 0) return rc;
    added += rc;
    isMarked = true;
    start = stop;
  }
  return isMarked ? added : add_match(string, word, quality, false);
} catch (const std::bad_alloc&) {
  return ace_error(__FILE__, __LINE__, "attach(start, stop - start)", -1, 0, -1);
}

int TeraTeaser::add_candidate(const char* string, int word, int quality, bool with_alias) try {
  if (string == nullptr || string[0] == '\0') return 0;
  const char* bar = std::strchr(string, LITERAL_SEPARATOR);
  if (bar == nullptr) return add_marked(string, word, quality);
  const int added = add_match(bar + 1, word, quality, false);
  if (added < 0 || !with_alias) return added;
  AceAttach at;
  const int aliases = add_match(at.attach(string, bar - string), word, quality, true);
  return aliases < 0 ? aliases : added + aliases;
} catch (const std::bad_alloc&) {
  return ace_error(__FILE__, __LINE__, "attach(string, bar - string)", -1, 0, -1);
}

int TeraTeaser::add_result_matches(const TeraResult* result, bool with_alias, int limit) {
  const AceTimeSection section("Teaser add matches");
  if (result == nullptr || result->get_string() == nullptr) return 0;
  const int word = get_query_word_id(result->get_string());
  if (word < 0) return -1;
  int added = 0;
  for (TeraCandGroup* group = result->get_first_group(); group != nullptr; group = group->get_next()) {
    if (group->get_value() >= limit) continue;
    for (TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next()) {
      if (cand->is(TeraCand::COLLECTION)) continue;  // its string is a description
      const int rc = add_candidate(cand->get_string(), word, group->get_value(), with_alias);
      if (rc < 0) return rc;
      added += rc;
    }
  }
  return added;
}

int TeraTeaser::add_graph_matches(const TeraScanGraph* graph, int with_alias, int limit) {
  int added = 0;
  const int inner = graph != nullptr ? graph->get_num_nodes() - 1 : 0;
  for (int i = 0; i < inner; ++i)
    for (const auto* edge = graph->get_node(i)->get_first_edge(); edge != nullptr; edge = edge->get_next()) {
      const int rc = add_result_matches(edge->get_result(), with_alias != 0, limit);
      if (rc < 0)
        return ace_error(__FILE__, __LINE__, "add_result_matches(result, with_alias != 0, min_val)", rc, 0,
                         -1);
      added += rc;
    }
  return added;
}

// ---------------------------------------------------------------- texts
// With matches these are marked; without, the query's words are aligned with the text's.

const char* TeraTeaser::clip(const char* text, AceAttach* at, int n) const {
  if (text == nullptr || n > static_cast<VInt>(std::strlen(text))) return text;
  return TeaserText::clip(text, n, is_unicode(), at);
}

const char* TeraTeaser::generate(const char* text, AceAttach* at, int free_start, int free_end,
                                 int max_length) const try {
  if (text == nullptr || text[0] == '\0') return text;
  const std::size_t length = std::strlen(text);
  const int max = max_length < 0 ? maxLength : max_length;
  if (markPrefix[0] == '\0' || length > INT_MAX)
    return length <= static_cast<std::size_t>(max) ? text : clip(text, at, max);
  return make_teaser(text, at, free_start != 0, free_end != 0, max);
} catch (const std::exception&) {
  return text;
}

const char* TeraTeaser::make_teaser(const char* text, AceAttach* at, bool free_start, bool free_end,
                                    int max) const {
  if (num_matches() == 0) {
    std::vector<const TeraWord*> words;
    for (const auto& word : tWords) words.push_back(word.get());
    return TeraWord::generate_teaser(text, get_num_words(), words.data(), markMap, markPrefix, markSuffix,
                                     max, GENERATED_CONTEXT, at);
  }
  const TeaserStyle style{markPrefix, markSuffix, max, std::min(minContextLength, max / CONTEXT_PART),
                          is_unicode()};
  TeaserText marked(text, style);
  find_matches(text, free_start, free_end, &marked);
  return marked.build(at);
}

void TeraTeaser::find_matches(const char* text, bool free_start, bool free_end, TeaserText* marked) const {
  AceAttach at;
  for (const char* start = text; *start != '\0'; ++start) {
    if (!free_start && start > text && !is_separator(start[-1])) continue;
    if (is_unicode() && (*start & 0xC0) == 0x80) continue;
    matchTrie.localize(start, [&](const MatchValue& value, const char* end) {
      if (*end != '\0' && !free_end && !is_separator(*end)) return;
      const int quality = value.quality >= 0 || value.queryWord < 0
                              ? value.quality
                              : get_quality(at.attach(start, end - start), value.queryWord);
      marked->add({static_cast<int>(start - text), static_cast<int>(end - text), quality, value.queryWord});
    });
  }
}
