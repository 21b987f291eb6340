#include "tera/multi/multi_eval_internal.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <numeric>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "tera/tera_edit.h"
#include "tera/tera_multi.h"
#include "tera/tera_result.h"
#include "tera/tera_standard_query.h"

namespace {

constexpr int ALL_CANDS = TeraResult::MAX_CANDS;
constexpr int ANY_DISTANCE = 255;
constexpr int MOST_TOKENS = 65535;                  // of a line
constexpr const char* OPERATORS = "*?!%|[](){}\\";  // of patterns

/// Whether a line is worth no less when its weight grows, and no more when it is longer than the query and
/// grows.
bool is_regular(TeraEval::Model model) {
  constexpr TeraEval::Model regular[] = {
      TeraEval::QUERY,    TeraEval::SHORT, TeraEval::EM_QUERY, TeraEval::MEAN,    TeraEval::LONG,
      TeraEval::EM_ENTRY, TeraEval::ENTRY, TeraEval::UNION,    TeraEval::MAXIMUM, TeraEval::PRODUCT};
  return std::find(std::begin(regular), std::end(regular), model) != std::end(regular);
}

TeraEval::Eval* fine_form(TeraEval::Model model) {
  TeraEval::Eval* plain = TeraEval::get_model_func(model, 0);
  return TeraEval::fine_model_func(plain != nullptr ? plain : TeraEval::get_model_func(TeraEval::SHORT, 0));
}

}  // namespace

TeraMultiEval::TeraMultiEval(const TeraMulti& multi, const char* query, MultiAsk ask)
    : index(multi),
      recallAsk(std::move(ask)),
      evalFunc(fine_form(recallAsk.model)),
      doReeval((recallAsk.options & TeraMulti::REEVALUATE) != 0),
      isFullReeval((recallAsk.options & TeraMulti::FULL_REEVAL) != 0),
      queryRules(multi.get_rules()),
      lineRules(multi.get_rules()) {
  queryRules.minPart = 1;
  queryRules.operators = (recallAsk.options & TeraMulti::NO_GLOB) == 0;
  if ((recallAsk.options & TeraMulti::SPLIT_UNMAPPED) != 0) queryRules.add_unmapped();
  if ((recallAsk.options & TeraMulti::BOUND) != 0) queryRules.joins = lineRules.joins = false;
  split(query != nullptr ? query : "");
}

void TeraMultiEval::split(const char* query) {
  queryString = query;
  queryParts.split(query, queryRules);
  if (queryRules.operators && !is_closed()) {
    queryRules.operators = false;
    recallAsk.options |= TeraMulti::NO_GLOB;
    queryParts.split(query, queryRules);
  }
  indexedWeight = queryParts.num_tokens();
  isByNumber = are_words_keys();
  forget_words();
  allUnits.resize(hits.size());
  std::iota(allUnits.begin(), allUnits.end(), 0);
  measures.clear();
}

void TeraMultiEval::forget_words() {
  hits.assign(queryParts.get_units().size(), {});
  leastQualities.assign(hits.size(), recallAsk.singleMinQual);
  mostBeyond.assign(hits.size(), 0);
  areRowsComplete = !isByNumber;
  rows.start(hits.size());
  keyRows.start(hits.size(), 0);
  deferredRows.start(hits.size(), 0);
  deferred.clear();
}

/// Whether a line's words are keys, and found as such.
bool TeraMultiEval::are_words_keys() const {
  const auto& units = queryParts.get_units();
  const TeraEdit* const edit = index.get_edit();
  return !isFullReeval && !index.has_more_keys() && (edit == nullptr || edit->get_alias_map() == nullptr) &&
         std::all_of(units.begin(), units.end(), [](const auto& unit) { return unit.is_single(); });
}

/// Whether every alternative ends in the word where it begins.
bool TeraMultiEval::is_closed() const {
  const auto& units = queryParts.get_units();
  return std::all_of(units.begin(), units.end(), [this](const MultiText::Unit& unit) {
    return queryRules.map->alt_len(queryParts.text_of(unit), false) >= 0;
  });
}

/// The last word of a query that may go on.
bool TeraMultiEval::is_unfinished(const MultiText::Unit& unit) const {
  return (recallAsk.options & TeraMulti::COMPLETE) != 0 && unit.last == queryParts.num_atoms();
}

/// What longer words begin with for which the unit stands; empty when it stands for none.
std::string TeraMultiEval::abbreviated_text(const MultiText::Unit& unit) const {
  const std::string_view text = queryParts.view_of(unit);
  if (!unit.is_single() || !multi_is_abbreviation(text, unit.tokens, recallAsk.markers.c_str())) return {};
  const bool isMarked = multi_is_abbreviation(text, 0, recallAsk.markers.c_str());
  return std::string(text.substr(0, text.size() - (isMarked ? 1 : 0)));
}

// ---------------------------------------------------------------- words
// Words are recalled once a query; what a line has of them is then looked up in a table of what was found.
//
//     row of a key      unit 1   unit 2      qualities, 0 for none
//     "berlin"             255        0
//     "berliner"           224        0

int TeraMultiEval::find_words(int min_value, AceReporter* rep) {
  if (queryParts.num_atoms() > MAX_PARTS) {
    (rep != nullptr ? rep : AceReporter::use_default())
        ->printf("Query of %d words, at most %d expected\n", queryParts.num_atoms(), MAX_PARTS);
    return -1;
  }
  forget_words();
  isPartial = min_value > 0;
  const VInt needed = isPartial ? least_weight_of_any(min_value) : 0;
  for (const std::size_t unit : allUnits) leastQualities[unit] = least_quality(unit, needed);
  for (const std::size_t unit : allUnits)
    if (can_defer(queryParts.get_units()[unit])) deferred.push_back(unit);
  for (const std::size_t unit : allUnits) {
    if (!is_deferred(unit) && find_unit(unit, rep) < 0) return -1;
    if (!is_deferred(unit) && hits[unit].empty() && leastQualities[unit] > recallAsk.singleMinQual) return 0;
  }
  if ((recallAsk.options & TeraMulti::DECOMPOSE) != 0 && decompose_words(rep) < 0) return -1;
  for (std::vector<Hit>& list : hits) sort_hits(&list);
  return 0;
}

/// What the unit has to bring in a line of that weight where all others bring the most.
int TeraMultiEval::least_quality(std::size_t unit, VInt needed) const {
  const VInt tokens = queryParts.get_units()[unit].tokens;
  const VInt missing = needed - VInt{TeraEval::PERFECT} * (indexedWeight - tokens);
  const VInt quality = missing > 0 ? std::min((missing + tokens - 1) / tokens, VInt{TeraEval::PERFECT}) : 0;
  return std::max(static_cast<int>(quality), recallAsk.singleMinQual);
}

/// Whether it stands for longer words: it is not finished, or a letter.
bool TeraMultiEval::is_beginning(const MultiText::Unit& unit) const {
  return unit.tokens > 1 ? is_unfinished(unit) : !abbreviated_text(unit).empty();
}

/// Only where measuring a word of a line gives what a look-up of the key gives.
bool TeraMultiEval::can_defer(const MultiText::Unit& unit) const {
  const char* const text = queryParts.text_of(unit);
  const TeraEdit* const edit = index.get_edit();
  return is_beginning(unit) && isByNumber && hits.size() > 1 &&
         (recallAsk.options & TeraMulti::DECOMPOSE) == 0 && edit != nullptr &&
         edit->get_phone_map() == nullptr && !index.is_long(text) && std::strpbrk(text, OPERATORS) == nullptr;
}

bool TeraMultiEval::can_be_partial() const {
  const TeraEdit* const edit = index.get_edit();
  return isByNumber && is_regular(recallAsk.model) && edit != nullptr && edit->get_phone_map() == nullptr &&
         (recallAsk.options & TeraMulti::DECOMPOSE) == 0;
}

int TeraMultiEval::find_deferred(std::size_t unit, AceReporter* rep) {
  std::erase(deferred, unit);
  if (find_unit(unit, rep) < 0) return -1;
  sort_hits(&hits[unit]);
  return 0;
}

int TeraMultiEval::find_unit(std::size_t unit, AceReporter* rep) {
  const MultiText::Unit& part = queryParts.get_units()[unit];
  const char* text = queryParts.text_of(part);
  if (is_unfinished(part)) return find_key(unit, text, TeraEval::PREFIX, TeraEval::SHORT, 0, rep);
  if (find_key(unit, text, recallAsk.mode, TeraEval::get_default_model(recallAsk.mode), 0, rep) < 0)
    return -1;
  if (!part.is_single()) return 0;
  const std::string beginning = abbreviated_text(part);
  const int tokens = queryRules.count_tokens(beginning.c_str());
  if (tokens > 0 && find_key(unit, beginning.c_str(), TeraEval::PREFIX, TeraEval::SHORT, tokens, rep) < 0)
    return -1;
  if (part.tokens < 2) return 0;
  return find_key(unit, text, TeraEval::EXTEND, TeraEval::LONG, part.tokens, rep);
}

/// Recalls a text in the index of words. With `tokens`, of PREFIX only longer keys are wanted, and of EXTEND
/// only shorter ones that are abbreviations.
int TeraMultiEval::find_key(std::size_t unit, const char* text, TeraEval::Mode mode, TeraEval::Model model,
                            int tokens, AceReporter* rep) {
  TeraResult result(text, leastQualities[unit], ALL_CANDS, ANY_DISTANCE);
  if (index.recall_word(&result, mode, model, recallAsk, tokens > 0, rep) < 0)
    return ace_error(__FILE__, __LINE__, "recall_word(result, mode, model)", -1, 0, -1);
  isUnreliable = isUnreliable || result.is_unreliable();
  if (const int beyond = result.get_best_frequent(); beyond >= recallAsk.singleMinQual)
    mostBeyond[unit] = std::max(mostBeyond[unit], beyond);
  // The beginnings of one token are found as a pattern, which gives all the same quality.
  const bool isPattern = mode == TeraEval::PREFIX && queryRules.count_tokens(text) == 1;
  TeraQuery* const query = isPattern ? result.get_query() : nullptr;
  AceAttach at;
  result.find_any([&](int recalled, const TeraCand* cand) {
    const char* key = cand->get_string();
    const int quality = query != nullptr && key != nullptr ? query->compare(key) : recalled;
    if (key == nullptr || quality < leastQualities[unit]) return false;
    for (Large i = 0; i < cand->get_num_infos(); ++i) {
      const char* const word = index.key_text(cand->get_info(i), key, &at);
      if (tokens > 0 && !is_wanted(mode, word, tokens)) continue;
      if (areRowsComplete) rows.note(word, unit, quality, tokens > 0);
      hits[unit].push_back({cand->get_info(i), static_cast<Small>(quality), tokens > 0});
    }
    return false;
  });
  return 0;
}

bool TeraMultiEval::is_wanted(TeraEval::Mode mode, const char* key, int tokens) const {
  const int keyTokens = lineRules.count_tokens(key);
  if (mode == TeraEval::PREFIX) return keyTokens > tokens;
  return keyTokens < tokens && multi_is_abbreviation(key, keyTokens, recallAsk.markers.c_str());
}

/// Best first, by counting.
void TeraMultiEval::sort_hits(std::vector<Hit>* list) {
  std::size_t starts[TeraEval::PERFECT + 2] = {};
  for (const Hit& hit : *list) ++starts[TeraEval::PERFECT - hit.quality + 1];
  for (int i = 1; i <= TeraEval::PERFECT + 1; ++i) starts[i] += starts[i - 1];
  std::vector<Hit> sorted(list->size());
  for (const Hit& hit : *list) sorted[starts[TeraEval::PERFECT - hit.quality]++] = hit;
  *list = std::move(sorted);
}

/// Cuts words that resemble no key in two that do, while the query can have more words; then all is recalled
/// once more.
int TeraMultiEval::decompose_words(AceReporter* rep) {
  std::string cut;
  std::size_t done = 0;
  int numAtoms = queryParts.num_atoms();
  MultiText pieces;
  AceAttach at;
  for (std::size_t unit = 0; unit < hits.size(); ++unit) {
    const MultiText::Unit& part = queryParts.get_units()[unit];
    if (!part.is_single() || !hits[unit].empty()) continue;
    const char* parts = index.decompose(queryParts.text_of(part), recallAsk.singleMinQual, &at);
    if (parts == nullptr) continue;
    pieces.split(parts, queryRules);
    if (numAtoms + pieces.num_atoms() - 1 > MAX_PARTS) continue;
    numAtoms += pieces.num_atoms() - 1;
    cut.append(queryString, done, static_cast<std::size_t>(part.from) - done).append(parts);
    done = static_cast<std::size_t>(part.to);
  }
  if (cut.empty()) return 0;
  cut.append(queryString, done);
  recallAsk.options &= ~TeraMulti::DECOMPOSE;
  split(cut.c_str());
  return find_words(0, rep);
}

bool TeraMultiEval::is_plain() const {
  const auto& units = queryParts.get_units();
  return !isFullReeval && !index.has_more_keys() &&
         std::all_of(units.begin(), units.end(), [](const auto& unit) { return unit.is_single(); });
}

void TeraMultiEval::number_keys() {
  std::size_t numHits = 0;
  for (const std::vector<Hit>& list : hits) numHits += list.size();
  keyRows.start(hits.size(), numHits);
  for (std::size_t unit = 0; unit < hits.size(); ++unit)
    for (const Hit& hit : hits[unit]) keyRows.note(hit.key, unit, hit.quality, hit.isAbbreviated);
}

void TeraMultiEval::know_words(const std::vector<Large>& words) {
  AceAttach at;
  for (const Large word : words) {
    const Cell* const row = keyRows.find(word);
    const char* const text = row != nullptr ? index.get_word(word, &at) : nullptr;
    for (std::size_t unit = 0; text != nullptr && unit < hits.size(); ++unit)
      rows.note(text, unit, row[unit].quality, row[unit].isAbbreviated != 0);
  }
}

/// Texts of lines are looked up by the texts of keys.
void TeraMultiEval::know_all_words() {
  areRowsComplete = true;
  AceAttach at;
  for (std::size_t unit = 0; unit < hits.size(); ++unit)
    for (const Hit& hit : hits[unit])
      if (const char* const word = index.get_word(hit.key, &at); word != nullptr)
        rows.note(word, unit, hit.quality, hit.isAbbreviated);
}

// ---------------------------------------------------------------- lines
// A match is worth its tokens times its quality, which are the units of the fine models.

int TeraMultiEval::value_of(VInt weight, int tokens) const {
  constexpr VInt unit = TeraEval::FINE_UNIT;
  const VInt match = std::min(weight, VInt{INT_MAX});
  return std::clamp(evalFunc(static_cast<int>(std::min(unit * indexedWeight, VInt{INT_MAX})),
                             static_cast<int>(match), static_cast<int>(unit * tokens)),
                    0, TeraEval::PERFECT);
}

/// Words that are measured anew may bring more than they did when they were looked up.
int TeraMultiEval::most_value_of(VInt weight, int tokens) const {
  if (isFullReeval || !is_regular(recallAsk.model)) return TeraEval::PERFECT;
  return value_of(std::min(weight, VInt{TeraEval::FINE_UNIT} * indexedWeight), tokens);
}

VInt TeraMultiEval::least_weight(int tokens, int min_value) const {
  VInt low = 0;
  VInt high = VInt{TeraEval::FINE_UNIT} * indexedWeight + 1;
  while (low < high) {
    const VInt middle = (low + high) / 2;
    if (value_of(middle, tokens) >= min_value)
      high = middle;
    else
      low = middle + 1;
  }
  return low;
}

VInt TeraMultiEval::least_weight_of_any(int min_value) const {
  constexpr int mostLengths = 256;
  if (!is_regular(recallAsk.model) || indexedWeight > mostLengths) return 0;
  VInt least = least_weight(indexedWeight, min_value);
  for (int tokens = 1; tokens < indexedWeight; ++tokens)
    if (least > 0 && value_of(least - 1, tokens) >= min_value) least = least_weight(tokens, min_value);
  return least;
}

int TeraMultiEval::least_tokens(Large key) const {
  AceAttach at;
  const char* const word = index.get_word(key, &at);
  return word != nullptr ? std::max(lineRules.count_tokens(word), 1) : 1;
}

TeraMultiEval::Score TeraMultiEval::score(const char* line, bool measured) {
  if (measured && isPartial) find_words(0, nullptr);
  if (measured && !areRowsComplete) know_all_words();
  lineParts.split(line, lineRules);
  lineMatch.clear();
  const auto& units = lineParts.get_units();
  for (std::size_t v = 0; v < units.size(); ++v) {
    const Cell* row = find_row(units[v], measured);
    if (has_deferred() && (row == nullptr || row != measuredRow.data())) row = with_deferred(units[v], row);
    for (std::size_t u = 0; row != nullptr && u < hits.size(); ++u) add_pair(u, v, row[u]);
  }
  Score found = solve(lineParts, lineParts.num_tokens());
  if (found.quality == TeraEval::PERFECT && !same_atoms()) found.quality = TeraEval::PERFECT - 1;
  return found;
}

TeraMultiEval::Score TeraMultiEval::score_words(const std::vector<Large>& words, int tokens, int min_value) {
  lineWords.make_words(words.size());
  lineMatch.clear();
  VInt bound = 0;  // each word counts once
  for (std::size_t v = 0; v < words.size(); ++v) {
    VInt best = 0;
    const auto add = [&](const Cell* row) {
      for (std::size_t u = 0; row != nullptr && u < hits.size(); ++u)
        best = std::max(best, add_pair(u, v, row[u]));
    };
    add(keyRows.find(words[v]));
    if (has_deferred()) add(measure_deferred(words[v]));
    bound += best;
  }
  return most_value_of(bound, tokens) >= min_value ? solve(lineWords, tokens) : Score{};
}

/// Returns what the pair weighs; 0 for none.
VInt TeraMultiEval::add_pair(std::size_t unit, std::size_t line_unit, const Cell& cell) {
  if (cell.quality == 0 || cell.quality < recallAsk.singleMinQual) return 0;
  const VInt weight = VInt{queryParts.get_units()[unit].tokens} * cell.quality;
  lineMatch.add(
      {static_cast<int>(unit), static_cast<int>(line_unit), cell.quality, cell.isAbbreviated != 0, weight});
  return weight;
}

TeraMultiEval::Score TeraMultiEval::solve(const MultiText& line, int tokens) {
  lineMatch.solve(queryParts, line);
  Score found;
  found.weight = lineMatch.get_weight();
  found.tokens = std::min(tokens, MOST_TOKENS);
  found.isInOrder = lineMatch.is_in_order();
  for (const MultiMatch::Pair& pair : lineMatch.get_chosen()) found.isAbbreviated |= pair.isAbbreviated;
  if (found.weight > 0 && !(doReeval && !lineMatch.is_complete()))
    found.quality = value_of(found.weight, found.tokens);
  return found;
}

bool TeraMultiEval::is_same(const char* line) {
  lineParts.split(line, lineRules);
  return same_atoms();
}

bool TeraMultiEval::same_atoms() const {
  if (queryParts.num_atoms() != lineParts.num_atoms() || queryParts.num_atoms() == 0) return false;
  for (int i = 0; i < queryParts.num_atoms(); ++i)
    if (lineRules.map->strings_are_equal(queryParts.atom_text(i), lineParts.atom_text(i)) == 0) return false;
  return true;
}

/// By the text as it is; an automaton has parts and joined words in their canonical form.
const MultiRows::Cell* TeraMultiEval::look_up(const MultiText::Unit& unit) const {
  const Cell* const row = rows.find(lineParts.view_of(unit));
  if (row != nullptr || index.get_auto() == nullptr || !index.has_more_keys()) return row;
  AceAttach at;
  return rows.find(lineRules.map->normalize(lineParts.text_of(unit), true, &at));
}

const MultiRows::Cell* TeraMultiEval::find_row(const MultiText::Unit& unit, bool measured) {
  if (!isFullReeval)
    if (const Cell* const row = look_up(unit); row != nullptr) return row;
  return measured || isFullReeval ? measure(lineParts.text_of(unit), allUnits) : nullptr;
}

/// The row, or an empty one, with what the units that wait are worth.
const MultiRows::Cell* TeraMultiEval::with_deferred(const MultiText::Unit& unit, const Cell* row) {
  measure(lineParts.text_of(unit), deferred);
  for (std::size_t u = 0; row != nullptr && u < hits.size(); ++u)
    if (row[u].quality > 0) measuredRow[u] = row[u];
  return measuredRow.data();
}

/// What the units that wait are worth in a word of the index; each is measured once.
const MultiRows::Cell* TeraMultiEval::measure_deferred(Large word) {
  if (const Cell* const known = deferredRows.find(word); known != nullptr) return known;
  AceAttach at;
  const char* const text = index.get_word(word, &at);
  const Cell* const row = text != nullptr ? measure(text, deferred) : nullptr;
  for (const std::size_t unit : deferred)
    deferredRows.note(word, unit, row != nullptr ? row[unit].quality : 0,
                      row != nullptr && row[unit].isAbbreviated != 0);
  return deferredRows.find(word);
}

void TeraMultiEval::make_measures() {
  const int options =
      (recallAsk.options & TeraMulti::WORD_OPTIONS) | (queryRules.operators ? 0 : TeraMulti::NO_GLOB);
  const auto query_of = [&](const char* text, TeraEval::Mode mode, TeraEval::Model model, int weight) {
    return TeraQueryRef(index.get_word_query(text, mode, model, options, weight));
  };
  constexpr int plain = 100;
  for (const MultiText::Unit& unit : queryParts.get_units()) {
    const char* text = queryParts.text_of(unit);
    Measures made;
    const bool isOpen = is_unfinished(unit);
    made.whole = isOpen ? query_of(text, TeraEval::PREFIX, TeraEval::SHORT, recallAsk.origWeight)
                        : query_of(text, recallAsk.mode, TeraEval::get_default_model(recallAsk.mode),
                                   recallAsk.origWeight);
    if (const std::string beginning = abbreviated_text(unit); !isOpen && !beginning.empty()) {
      made.beginning = query_of(beginning.c_str(), TeraEval::PREFIX, TeraEval::SHORT, plain);
      made.tokens = queryRules.count_tokens(beginning.c_str());
    }
    if (!isOpen && unit.is_single() && unit.tokens > 1)
      made.abbreviation = query_of(text, TeraEval::EXTEND, TeraEval::LONG, plain);
    measures.push_back(std::move(made));
  }
}

/// As the recall of words would find the text, by these units.
const MultiRows::Cell* TeraMultiEval::measure(const char* text, std::span<const std::size_t> units) {
  if (measures.empty()) make_measures();
  measuredRow.assign(hits.size(), {});
  for (const std::size_t u : units) {
    const Measures& with = measures[u];
    const auto take = [&](const TeraQueryRef& query, bool abbreviated) {
      const int quality = query->compare(text);
      if (quality <= measuredRow[u].quality || quality < recallAsk.singleMinQual) return;
      measuredRow[u] = {static_cast<Tiny>(quality), static_cast<Tiny>(abbreviated ? 1 : 0)};
    };
    take(with.whole, false);
    if (with.beginning == nullptr && with.abbreviation == nullptr) continue;
    const int tokens = lineRules.count_tokens(text);
    if (with.beginning != nullptr && with.tokens > 0 && tokens > with.tokens) take(with.beginning, true);
    if (with.abbreviation != nullptr && tokens < queryParts.get_units()[u].tokens &&
        multi_is_abbreviation(text, tokens, recallAsk.markers.c_str()))
      take(with.abbreviation, true);
  }
  return measuredRow.data();
}
