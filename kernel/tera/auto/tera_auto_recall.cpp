#include "tera/tera_auto_recall.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "tera/auto/tera_auto_look_internal.h"
#include "tera/auto/tera_auto_request_internal.h"
#include "tera/measure/mode_table_internal.h"
#include "tera/result/tera_mixed_dist_internal.h"
#include "tera/tera_standard_query.h"
#include "tera/tera_token.h"
#include "tera/tera_token_word.h"
#include "tera/tera_transform.h"

namespace {

constexpr int QUERY_OPTIONS = TeraAutoRecall::NO_OPERATORS | TeraAutoRecall::TRANSPOSE;

int check_options(int options) {
  if ((options & ~TeraAutoRecall::KNOWN_OPTIONS) == 0) return 0;
  AceReporter::use_default()->printf("Recall options of an automaton expected, %d found\n", options);
  return TeraAutoRecall::GENERAL_ERROR;
}

void attach_query(TeraResult* result, TeraEval::Mode mode, TeraEval::Model model, const TeraMap* map,
                  int options) {
  if (result->get_query() != nullptr) return;
  auto* const query = new TeraStandardQuery(result->get_string(), mode, model, map, options & QUERY_OPTIONS);
  result->add_query(query, 0);
  query->unref();
}

}  // namespace

TeraAutoRecall::~TeraAutoRecall() = default;

// ---------------------------------------------------------------- ranges
// Paths are numbered in the order of their tokens: all words with one beginning are a range.

TeraAutoRecallBasic::Range TeraAutoRecallBasic::beginning_with(const Token* tokens) const {
  Large state = TeraAutoData::START;
  Large index = 0;
  for (; *tokens != 0 && autoData->is_state(state); ++tokens) state = autoData->next(state, *tokens, &index);
  if (!autoData->is_state(state) || index >= autoData->get_num_paths()) return {};
  const Large count = std::min(autoData->count_paths(state), autoData->get_num_paths() - index);
  return index > 0 || count == 0 ? Range{index, count} : Range{1, count - 1};
}

Large TeraAutoRecallBasic::lower_bound(const Token* tokens) const {
  Large state = TeraAutoData::START;
  Large index = 0;
  Large bound = autoData->get_num_paths();  // of the first path that is greater
  for (; *tokens != 0; ++tokens) {
    Large target = TeraAutoData::NOWHERE;
    Large own = 0;
    autoData->for_each_transition(state, [&](Token token, Large before, Large to) {
      if (token > *tokens) bound = std::min(bound, index + before);
      if (token == *tokens) target = to;
      if (token == *tokens) own = before;
      return token <= *tokens;
    });
    if (!autoData->is_state(target)) return std::max(bound, Large{1});
    index += own;
    state = target;
  }
  return std::max(std::min(index, autoData->get_num_paths()), Large{1});
}

int TeraAutoRecall::find_range(TeraResult* result, TeraAutoRecallBasic::Range range, int options) const {
  for (Large i = 0; i < range.count && result->accept(TeraEval::PERFECT); ++i)
    result->add(TeraEval::PERFECT, range.first + i);
  TeraAutoBudget none(0);
  return finish({result, TeraEval::EXACT, TeraEval::MAXIMUM, options, 0, 0, NO_PHONETICS, nullptr, &none});
}

int TeraAutoRecall::interval(TeraResult* result, int max, int prefix, int options) const {
  const AceTimeSection section("AUTO_INTERVAL");
  if (result == nullptr || max < 0 || check_options(options) < 0) return GENERAL_ERROR;
  if (result->get_string() == nullptr) return NO_QUERY;
  if (!mainAuto.forward) return 0;
  AceAttach at;
  const Token* const tokens = get_tera_map()->convert(result->get_string(), true, &at);
  attach_query(result, prefix != 0 ? TeraEval::PREFIX : TeraEval::EXACT, TeraEval::SHORT, get_tera_map(),
               options);
  TeraAutoRecallBasic::Range range;
  if (prefix != 0) {
    range = mainAuto.forward.beginning_with(tokens);
  } else {
    range.first = mainAuto.forward.lower_bound(tokens);
    range.count = mainAuto.forward.autoData->get_num_paths() - range.first;
  }
  range.count = std::min(range.count, static_cast<Large>(max > 0 ? max : result->get_num_cands()));
  return find_range(result, range, options);
}

int TeraAutoRecall::complete(const char* string, int max, char** array, AceAttach* at) const {
  if (string == nullptr || max < 0 || array == nullptr || at == nullptr) return GENERAL_ERROR;
  if (!mainAuto.forward) return 0;
  const TeraAutoData& data = *mainAuto.forward.autoData;
  AceAttach queryAt;
  const Token* const beginning = get_tera_map()->convert(string, true, &queryAt);
  Large state = TeraAutoData::START;
  Large index = 0;
  for (const Token* token = beginning; *token != 0 && data.is_state(state); ++token)
    state = data.next(state, *token, &index);
  if (!data.is_state(state) || max == 0) return 0;
  int num = 0;
  TeraAutoBudget budget(data.get_num_paths());
  TeraAutoEntryWalk walk(data, data.get_longest_path(), &budget, [&](Large, const Token* tokens, int) {
    array[num++] = data.text_of(tokens, at);
    return num < max;
  });
  walk.run(state, index, beginning);
  return num;
}

// ---------------------------------------------------------------- exact words and patterns
// A word is one walk; a pattern goes on with every token that it accepts.

int TeraAutoRecall::exact(TeraResult* result, int options) const {
  const AceTimeSection section("AUTO_EXACT");
  if (result == nullptr || check_options(options) < 0) return GENERAL_ERROR;
  if (result->get_string() == nullptr) return NO_QUERY;
  if (!mainAuto.forward) return 0;
  const bool isLiteral = (options & NO_OPERATORS) != 0 || !get_tera_map()->is_operator(TOKEN_WILDCARD);
  AceAttach at;
  const Token* const tokens = get_tera_map()->convert(result->get_string(), isLiteral, &at);
  const bool hasOperators = !isLiteral && TeraToken::has_glob(tokens) != 0;
  TeraAutoBudget budget(mainAuto.forward.autoData->get_num_paths());
  const Request request{result,
                        hasOperators ? TeraEval::WILDCARD : TeraEval::EXACT,
                        TeraEval::MAXIMUM,
                        options,
                        0,
                        0,
                        NO_PHONETICS,
                        nullptr,
                        &budget,
                        tokens,
                        hasOperators};
  attach_query(result, request.mode, TeraEval::MAXIMUM, get_tera_map(), options);
  if (hasOperators || (options & HAS_WILD) != 0) return find_pattern(request);
  const Large index = mainAuto.forward.autoData->get_token_path_index(tokens);
  return find_range(result, {index, index > 0 ? 1U : 0U}, options);
}

int TeraAutoRecall::find_pattern(const Request& request) const {
  TeraAutoLook lookUp(mainAuto, request.tokens, request.hasOperators, TeraEval::WILDCARD, TeraEval::MAXIMUM,
                      TeraEval::PERFECT, request.budget);
  if (lookUp.length() < 0 || lookUp.length() > MAX_POSITIONS) {
    AceReporter::use_default()->printf("A pattern of up to %d positions expected in '%.40s'\n", MAX_POSITIONS,
                                       request.result->get_string());
    return GENERAL_ERROR;
  }
  if (*request.tokens == 0) return request.result->num_cands();
  lookUp.set_options(request.options, 0, 0);
  if (!lookUp.match()) request.result->set_unreliable();
  for (const auto& hit : lookUp.hits)
    if (request.result->accept(hit.quality)) request.result->add(hit.quality, hit.index);
  return finish(request);
}

// ---------------------------------------------------------------- recall
// The query is read once; its mode says which walk answers it.

int TeraAutoRecall::recall(TeraResult* result, TeraEval::Mode mode, TeraEval::Model model, int options,
                           int max_edit, int alias_penalty, AceReporter* rep, int orig_weight) const {
  const AceTimeSection section("AUTO_RECALL");
  if (result == nullptr || check_options(options) < 0) return GENERAL_ERROR;
  if (result->get_string() == nullptr) return NO_QUERY;
  TeraAutoBudget budget(mainAuto.forward ? mainAuto.forward.autoData->get_num_paths() : 0);
  return look({result, mode, model, options, max_edit, alias_penalty, orig_weight, rep, &budget});
}

int TeraAutoRecall::recall_r(TeraResult* result, int options, int max_edit, int restrict_len, int complete,
                             int alias_penalty) const {
  const AceTimeSection section("AUTO_RECALL");
  if (result == nullptr || check_options(options) < 0) return GENERAL_ERROR;
  if (result->get_string() == nullptr) return NO_QUERY;
  TeraAutoBudget budget(mainAuto.forward ? mainAuto.forward.autoData->get_num_paths() : 0);
  Request request{result,        TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, options, max_edit,
                  alias_penalty, NO_PHONETICS,          nullptr,           &budget};
  request.restrictLen = restrict_len;
  if (complete == 0) return look(request);
  request.goesOn = true;
  request.mode = TeraEval::PREFIX;
  request.model = TeraEval::SHORT;
  return look(request);
}

/// Reads the query and decides how it is answered.
int TeraAutoRecall::look(const Request& asked) const {
  Request request = asked;
  TeraResult* const result = request.result;
  const TeraMap* const map = get_tera_map();
  const bool isLiteral = (request.options & NO_OPERATORS) != 0 || !map->is_operator(TOKEN_WILDCARD);
  AceAttach at;
  request.tokens = map->convert(result->get_string(), isLiteral, &at);
  request.hasOperators = !isLiteral && TeraToken::has_glob(request.tokens) != 0;
  const TeraModeRow* const row = tera_mode_row(request.mode);
  if (row == nullptr || (TeraEval::get_model_func(request.model, 0) == nullptr)) return UNALIGNED_MODEL;
  attach_query(result, request.mode, request.model, map, request.options);
  if (!mainAuto.forward || *request.tokens == 0) return result->num_cands();
  if (request.mode == TeraEval::EXACT || request.mode == TeraEval::WILDCARD) return find_pattern(request);
  if (row->largest == TeraModeRow::NOT_INDEXED) {
    request.rep->ev_wprintf("An automaton has no recall in %s mode\n", row->name);
    return UNALIGNED_MODEL;
  }
  if (row->form != TeraModeRow::PLAIN || !row->hasWords) return measure_all(request);
  const int minValue = result->get_min_value();
  TeraAutoLook lookUp(mainAuto, request.tokens, request.hasOperators, request.mode, request.model, minValue,
                      request.budget);
  if (lookUp.length() < 0 || lookUp.length() > MAX_POSITIONS) {
    AceReporter::use_default()->printf("A query of up to %d positions expected in '%.40s'\n", MAX_POSITIONS,
                                       result->get_string());
    return GENERAL_ERROR;
  }
  if (lookUp.length() == 0) return result->num_cands();
  lookUp.set_options(request.options, request.maxEdit, request.restrictLen, request.goesOn);
  if (!lookUp.look()) result->set_unreliable();
  const bool isHeard = phoneAuto.forward && request.percent < NO_PHONETICS;
  // What is spelt alike may be left out for its sound.
  const int mostUnseen = isHeard ? TeraEval::PERFECT : lookUp.most_beyond();
  result->set_best_frequent(std::max(result->get_best_frequent(), mostUnseen));
  const MixedDist dist(result, isHeard);
  for (const auto& hit : lookUp.hits)
    if (result->accept(hit.quality)) result->add(hit.quality, hit.index);
  if (isHeard && add_phonetic(request, minValue) < 0) return GENERAL_ERROR;
  return finish(request);
}

// ---------------------------------------------------------------- modes that measure no edits
// Nothing bounds these measures before the end of a word, so that every word of a length in reach is
// measured.

namespace {

using Measure = int (TeraTokenWord::*)(const Token* entry, TeraEval::Eval* eval, int options) const;

Measure measure_of(TeraEval::Mode mode) {
  switch (mode) {
    case TeraEval::POSITION:
      return &TeraTokenWord::count;
    case TeraEval::BIPOS:
      return &TeraTokenWord::app_count;
    case TeraEval::SEQ:
      return &TeraTokenWord::lcs;
    case TeraEval::BISEQ:
      return &TeraTokenWord::biseq;
    case TeraEval::BIGRAMS:
      return &TeraTokenWord::bigrams;
    case TeraEval::SUBSET:
      return &TeraTokenWord::superset;
    case TeraEval::SUPERSET:
      return &TeraTokenWord::subset;
    case TeraEval::BLOCKEDIT:
      return &TeraTokenWord::blockedit;
    default:
      return nullptr;
  }
}

}  // namespace

int TeraAutoRecall::measure_all(const Request& request) const {
  const TeraModeRow* const row = tera_mode_row(request.mode);
  const Measure measure = measure_of(request.mode);
  TeraTokenWord word;
  if (measure == nullptr || word.build(request.tokens, request.hasOperators) < 0) return UNALIGNED_MODEL;
  if (word.length() == 0) return request.result->num_cands();
  TeraEval::Eval* const eval = TeraEval::get_model_func(request.model, 0);
  const int options = (request.options & TRANSPOSE) != 0 ? row->transposedOptions | TRANSPOSE : row->options;
  const TeraAutoData& data = *mainAuto.forward.autoData;
  int lenMin = 0;
  int lenMax = data.get_longest_path();
  if (row->has_plain_lengths())
    TeraEval::limit_lengths(eval, word.length(), request.result->get_min_value(), lenMin, lenMax);
  const auto use = [&](Large index, const Token* tokens, int length) {
    if (length < lenMin || (word.*measure)(tokens, nullptr, options) <= 0) return true;
    const int quality = std::clamp((word.*measure)(tokens, eval, options), 0, TeraEval::PERFECT);
    if (request.result->accept(quality)) request.result->add(quality, index);
    return true;
  };
  TeraAutoEntryWalk walk(data, std::min(lenMax, data.get_longest_path()), request.budget, use);
  walk.run(TeraAutoData::START, 0);
  if (request.budget->is_spent()) request.result->set_unreliable();
  return finish(request);
}

// ---------------------------------------------------------------- what is added to the candidates
// Sounds come first, for they bring entries, which then get strings and aliases.

int TeraAutoRecall::add_phonetic(const Request& request, int min_value) const {
  TeraResult* const result = request.result;
  AceAttach at;
  char* const code = phoneAuto.transform->code(result->get_string(), &at);
  if (code == nullptr) return 0;
  code[std::strcspn(code, "|")] = '\0';
  const TeraMap* const map = phoneAuto.forward.autoData->get_map();
  TeraResult phonetic(code, min_value, result->get_num_cands(), result->get_max_dist());
  TeraAutoLook lookUp(phoneAuto, map->convert(code, true, &at), false, request.mode, request.model, min_value,
                      request.budget);
  if (lookUp.length() <= 0 || lookUp.length() > MAX_POSITIONS) return 0;
  lookUp.set_options(request.options & TRANSPOSE, request.maxEdit, 0);
  if (!lookUp.look()) result->set_unreliable();
  for (const auto& hit : lookUp.hits)
    if (phonetic.accept(hit.quality)) phonetic.add(hit.quality, hit.index);
  if (resolve_phonetic(&phonetic) < 0) return GENERAL_ERROR;
  const TeraCand::GetString strings = [this](Large entry, AceAttach* to) {
    return mainAuto.forward.autoData->get_entry(static_cast<int>(entry), to);
  };
  return result->add_phonetic(&phonetic, request.percent, &strings);
}

void TeraAutoRecall::add_strings(TeraResult* result) const {
  for (TeraCandGroup* group = result->get_first_group(); group != nullptr; group = group->get_next())
    for (TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next()) {
      if (cand->get_string() != nullptr || cand->get_entry() == TeraCand::NO_ENTRY) continue;
      const char* string = mainAuto.forward.autoData->get_entry(cand->get_entry(), result);
      if (string != nullptr && result->has_literal_matches())
        string = result->attach((std::string(string) + '|' + result->get_string()).c_str());
      cand->set_string(string);
    }
}

int TeraAutoRecall::finish(const Request& request) const {
  TeraResult* const result = request.result;
  if (mainAuto.forward) add_strings(result);
  if ((request.options & NO_ALIASES) == 0 && add_aliases(result, request.aliasPenalty) < 0)
    return GENERAL_ERROR;
  if ((request.options & NO_RESOLVE) == 0 && resolve(result) < 0) return GENERAL_ERROR;
  return result->num_cands();
}

int TeraAutoRecall::decompose(TeraResult* result, int min_left, int min_right, TeraEval::Model model,
                              int options, int max_edit, const char* separators, AceReporter* rep) const {
  if (result == nullptr || check_options(options) < 0) return GENERAL_ERROR;
  const std::string seps = separators != nullptr ? separators : "";
  const auto part_of = [&](TeraResult* part, TeraDecompose::Direction direction, TeraEval::Model part_model) {
    std::string text = part->get_string();
    const auto is_sep = [&](char c) { return seps.find(c) != std::string::npos; };
    if (direction == TeraDecompose::PREFIX && !text.empty() && is_sep(text.back())) text.pop_back();
    if (direction == TeraDecompose::SUFFIX && !text.empty() && is_sep(text.front())) text.erase(0, 1);
    part->set_string(text.c_str());
    recall(part, TeraEval::LEVENSHTEIN, part_model, options | NO_OPERATORS, max_edit, 0, rep);
  };
  return TeraDecompose::decompose(result, min_left, min_right, model, get_tera_map(), part_of);
}
