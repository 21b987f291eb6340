// Asking a multi-word index: recall, exact lines, single words, words in two.
#include <algorithm>
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "tera/multi/multi_abbreviations_internal.h"
#include "tera/multi/multi_recall_internal.h"
#include "tera/tera_decompose.h"
#include "tera/tera_multi.h"
#include "tera/tera_result.h"
#include "tera/tera_standard_query.h"

namespace {

constexpr int PLAIN_WEIGHT = 100;
/// Parts of a word that is cut.
constexpr int MIN_PART = 3;
constexpr int MOST_CUTS = 10;
constexpr int ANY_DISTANCE = 255;
/// Positions of a query word up to which the index of words measures errors; longer words match literally.
constexpr int MOST_MEASURED = TeraAutoRecall::MAX_POSITIONS;

}  // namespace

// ---------------------------------------------------------------- the index of words
// Two kinds of index answer alike; words too long to measure are only found exactly.

int TeraMulti::recall_word(TeraResult* result, TeraEval::Mode mode, TeraEval::Model model,
                           const MultiAsk& ask, bool plain, AceReporter* rep) const {
  const int options = (ask.options & WORD_OPTIONS) | (plain ? TeraEdit::NO_ALIASES : 0);
  // Markers of a query may make abbreviations of other words, too.
  const bool isShort = plain && mode == TeraEval::EXTEND && ask.markers.empty();
  AceReporter* const told = rep != nullptr ? rep : AceReporter::use_default();
  const int weight = plain ? PLAIN_WEIGHT : ask.origWeight;
  // Of a word too long to measure no other one is a beginning that counts.
  if (isShort && is_long(result->get_string())) return result->num_cands();
  if (isShort) return abbreviations->get(*this).recall(result, mode, model, 0, 0, options, weight, told);
  return recall_keys(result, mode, model, options, ask.singleMaxEdit, weight, told);
}

bool TeraMulti::is_long(const char* word) const {
  return get_tera_map()->tok_len(word, true) > MOST_MEASURED;
}

int TeraMulti::recall_keys(TeraResult* result, TeraEval::Mode mode, TeraEval::Model model, int options,
                           int max_edit, int weight, AceReporter* rep) const {
  if (is_long(result->get_string())) {
    if (autoStruct != nullptr) return autoStruct->exact(result, options | TeraAutoRecall::NO_OPERATORS);
    mode = TeraEval::EXACT;
    model = TeraEval::MAXIMUM;
  }
  return autoStruct != nullptr ? autoStruct->recall(result, mode, model, options, max_edit, 0, rep, weight)
                               : editStruct->recall(result, mode, model, 0, 0, options, weight, rep);
}

TeraQuery* TeraMulti::get_word_query(const char* text, TeraEval::Mode mode, TeraEval::Model model,
                                     int options, int weight) const {
  if (autoStruct != nullptr) return new TeraStandardQuery(text, mode, model, get_tera_map(), options);
  return editStruct->get_query(text, mode, model, options, weight);
}

const char* TeraMulti::decompose(const char* word, int single_min_qual, AceAttach* at) const {
  TeraResult result(word, single_min_qual, MOST_CUTS, ANY_DISTANCE);
  const auto recall_part = [this](TeraResult* part, TeraDecompose::Direction, TeraEval::Model model) {
    constexpr int options = TeraEdit::NO_OPERATORS | TeraEdit::TRANSPOSE | TeraEdit::NO_ALIASES;
    recall_keys(part, TeraEval::LEVENSHTEIN, model, options | TeraEdit::NO_RESOLVE, SINGLE_MAX_EDIT,
                PLAIN_WEIGHT, AceReporter::use_default());
  };
  if (get_tera_map()->tok_len(word, true) > TeraDecompose::MAX_POSITIONS) return nullptr;
  const int rc =
      TeraDecompose::decompose(&result, MIN_PART, MIN_PART, TeraEval::MAXIMUM, get_tera_map(), recall_part);
  TeraCand* const best = rc > 0 ? result.get_best_cand() : nullptr;
  if (best == nullptr || best->get_string() == nullptr) return nullptr;
  char* parts = at->attach(best->get_string());
  if (char* const blank = std::strchr(parts, ' '); blank != nullptr) *blank = sepChar;
  return parts;
}

// ---------------------------------------------------------------- lines
// A query of one word gets the keys that resemble it, with their lines; others value lines by all their
// words.

int TeraMulti::recall(TeraResult* result, int options, TeraEval::Model model, AceReporter* rep,
                      int single_min_qual, int single_max_edit, int orig_weight, const char* comp_markers,
                      TeraEval::Mode mode) const {
  const AceTimeSection section("MULTI_RECALL");
  if (result == nullptr || result->get_string() == nullptr) return -1;
  if ((options & SINGLE) != 0)
    return single_recall(result, options, mode, model, single_max_edit, orig_weight, rep);
  if (numRecords == 0) return result->num_cands();
  if (infoHandle == nullptr || TeraEval::get_model_func(model, 0) == nullptr) {
    (rep != nullptr ? rep : AceReporter::use_default())
        ->printf("Recall of lines without hit lists, or by a model that is none (%d)\n", model);
    return -1;
  }
  const MultiAsk ask{options,
                     model,
                     mode,
                     single_min_qual,
                     single_max_edit,
                     orig_weight,
                     comp_markers != nullptr ? comp_markers : ""};
  return recall_lines(ask, result, rep);
}

int TeraMulti::single_recall(TeraResult* result, int options, TeraEval::Mode mode, TeraEval::Model model,
                             int single_max_edit, int orig_weight, AceReporter* rep) const {
  const AceTimeSection section("SINGLE_RECALL");
  if (result == nullptr || result->get_string() == nullptr) return -1;
  if (numRecords == 0) return result->num_cands();
  const int rc = recall_keys(result, mode, model, options & WORD_OPTIONS, single_max_edit, orig_weight,
                             rep != nullptr ? rep : AceReporter::use_default());
  if (rc < 0) return ace_error(__FILE__, __LINE__, "recall_keys(result, mode, model)", rc, 0, -1);
  for (TeraCandGroup* group = result->get_first_group(); group != nullptr; group = group->get_next())
    for (TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next())
      put_lines(cand, result);
  return result->remove_no_info_cands();
}

/// The lines of the keys that a candidate stands for, which are several where the map does not tell words
/// apart.
void TeraMulti::put_lines(TeraCand* cand, AceAttach* at) const {
  std::vector<Large> all;
  IdList lines;
  for (Large i = 0; i < cand->get_num_infos(); ++i) {
    const Large key = cand->get_info(i);
    const bool isWord = key < static_cast<Large>(numWords) && fastSingle != nullptr;
    const AceIdMap* const lists = isWord ? fastSingle.get() : infoHandle.get();
    lines = lists != nullptr ? lists->get(key) : IdList{};
    all.insert(all.end(), lines.begin(), lines.end());
  }
  if (cand->get_num_infos() <= 1) return cand->set_infos(lines.count, lines.values);
  std::sort(all.begin(), all.end());
  all.erase(std::unique(all.begin(), all.end()), all.end());
  Large* kept = nullptr;
  at->malloc(kept, static_cast<long>(all.size()));
  std::copy(all.begin(), all.end(), kept);
  cand->set_infos(static_cast<Large>(all.size()), kept);
}

// ---------------------------------------------------------------- exact lines

/// The lines with the words of a query in its order: those of its rarest word, looked at one by one.
class MultiExact {
 public:
  MultiExact(const TeraMulti& multi, const MultiRules& rules, const char* text)
      : index(multi), lineRules(rules) {
    lineRules.joins = false;
    MultiRules queryRules = lineRules;
    queryRules.minPart = 1;
    query.split(text, queryRules);
  }

  std::vector<Large> run() {
    std::vector<Large> lines;
    if (query.num_atoms() == 0 || index.infoHandle == nullptr) return lines;
    for (const Large key : rarest_keys())
      for (const Large number : index.infoHandle->get(key))
        if (index.get_token_length(number) == std::min(query.num_tokens(), 65535) && is_same(number))
          lines.push_back(number);
    std::sort(lines.begin(), lines.end());
    lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
    return lines;
  }

 private:
  std::vector<Large> keys_of(const char* text) const {
    TeraResult result(text, TeraEval::PERFECT, TeraResult::MAX_CANDS, 0);
    AceAttach at;
    std::vector<Large> keys;
    constexpr int options = TeraEdit::NO_OPERATORS | TeraEdit::NO_ALIASES;
    const int found = index.autoStruct != nullptr ? index.autoStruct->exact(&result, options) : 0;
    if (found < 0) return keys;
    if (index.autoStruct == nullptr &&
        index.editStruct->exact(&result, index.get_tera_map()->convert(text, true, &at), options) < 0)
      return keys;
    result.find_any([&](int, const TeraCand* cand) {
      for (Large i = 0; i < cand->get_num_infos(); ++i) keys.push_back(cand->get_info(i));
      return false;
    });
    return keys;
  }

  VInt entries_of(const std::vector<Large>& keys) const {
    VInt entries = 0;
    for (const Large key : keys) entries += index.infoHandle->get_size(key);
    return entries;
  }

  /// Of the words that have keys wherever they are; else of those in which a line may begin.
  std::vector<Large> rarest_keys() const {
    std::vector<Large> best;
    VInt fewest = -1;
    for (const MultiText::Unit& unit : query.get_units()) {
      if (!unit.is_single() || unit.tokens < lineRules.minPart) continue;
      std::vector<Large> keys = keys_of(query.text_of(unit));
      const VInt entries = entries_of(keys);
      if (entries == 0) return {};
      if (fewest >= 0 && entries >= fewest) continue;
      fewest = entries;
      best = std::move(keys);
    }
    return fewest >= 0 ? best : keys_beginning_with(query.atom_text(0));
  }

  /// Of words that are the text, or whose first part it is: short parts have no keys of their own.
  std::vector<Large> keys_beginning_with(const char* text) const {
    std::vector<Large> keys = keys_of(text);
    if (index.addLen == 0) return keys;
    TeraResult result(text, TeraEval::PERFECT, TeraResult::MAX_CANDS, 0);
    constexpr int options = TeraEdit::NO_OPERATORS | TeraEdit::NO_ALIASES;
    if (index.recall_keys(&result, TeraEval::PREFIX, TeraEval::QUERY, options, 0, PLAIN_WEIGHT,
                          AceReporter::use_default()) < 0)
      return keys;
    AceAttach at;
    MultiText word;
    result.find_any([&](int, const TeraCand* cand) {
      for (Large i = 0; i < cand->get_num_infos(); ++i) {
        const Large key = cand->get_info(i);
        const char* const string =
            key < static_cast<Large>(index.numWords) ? index.get_word(key, &at) : nullptr;
        if (string == nullptr) continue;
        word.split(string, lineRules);
        if (word.num_atoms() > 1 && lineRules.map->strings_are_equal(word.atom_text(0), text) != 0)
          keys.push_back(key);
      }
      return false;
    });
    return keys;
  }

  bool is_same(Large number) {
    if (!index.read_text(number, &lineText)) return false;
    line.split(lineText.c_str(), lineRules);
    if (line.num_atoms() != query.num_atoms()) return false;
    for (int i = 0; i < line.num_atoms(); ++i)
      if (lineRules.map->strings_are_equal(query.atom_text(i), line.atom_text(i)) == 0) return false;
    return true;
  }

  const TeraMulti& index;
  MultiRules lineRules;
  MultiText query;
  MultiText line;
  std::string lineText;
};

TeraResult* TeraMulti::exact(const char* query, int, AceReporter*) const {
  const AceTimeSection section("MULTI_EXACT");
  if (query == nullptr) return nullptr;
  auto result = std::make_unique<TeraResult>(query, TeraEval::PERFECT, TeraResult::MAX_CANDS, 0);
  result->set_resolved();
  std::string text;
  for (const Large number : MultiExact(*this, get_rules(), query).run())
    if (read_text(number, &text))
      result->add(TeraEval::PERFECT,
                  new TeraCand(result->attach(text.data(), static_cast<VInt>(text.size())), number));
  return result.release();
}
