#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>
#include <vector>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "ace/ace_tracer.h"
#include "tera/edit/edit_query_internal.h"
#include "tera/edit/edit_reeval_internal.h"
#include "tera/edit/edit_store_internal.h"
#include "tera/tera_edit.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_result.h"
#include "tera/tera_standard_query.h"
#include "tera/tera_token.h"
#include "tera/tera_transform.h"

namespace {

constexpr int HIT_ROOM = 4 * EDIT_BLOCK_LANES;
constexpr int WORD_OPTIONS = 0x1F;
constexpr int NO_PHONETICS = 100;  // weight of the plain quality
constexpr int MIN_CHECK_LOG = 5;
constexpr const char* FULL_EVAL =
    "full_eval(tokenstr, query_len, options, mode, model, min_value, bits, len_min, len_max, max_add, first, "
    "last, result, rep)";
constexpr const char* SLIM_EVAL =
    "slim_eval(tokenstr, query_len, mode, model, min_value, options, bits, len_min, len_max, max_add, "
    "result, "
    "rep)";

/// Modes in which entries of one length were told apart by where their section ends.
bool needs_alignment(TeraEval::Mode mode) {
  return mode != TeraEval::LEVENSHTEIN && mode != TeraEval::WILDCARD && mode != TeraEval::SEQ &&
         mode != TeraEval::POSITION && mode != TeraEval::BIPOS;
}

/// The model's value of a measure, as `TeraStandardQuery` asks for it.
int quality_of(TeraEval::Mode mode, TeraEval::Eval* func, int m, int x, int n) {
  int value = 0;
  switch (mode) {
    case TeraEval::WILDCARD:
      return TeraEval::PERFECT;
    case TeraEval::POSITION:
    case TeraEval::BIPOS:
      value = func(m, x, std::min(n, EDIT_WORD_LANES));
      break;
    case TeraEval::BISEQ:
      value = func(2 * m, x, 2 * n);
      break;
    case TeraEval::BIGRAMS:
      value = func(m + 1, x, n + 1);
      break;
    default:
      value = func(m, x, n);
  }
  return std::clamp(value, 0, TeraEval::PERFECT);
}

/// The qualities of the measures for one length.
class Qualities {
 public:
  Qualities(TeraEval::Mode mode, TeraEval::Eval* func, int m, int n) {
    for (int x = 0; x <= edit_measure_max(mode, m, n); ++x)
      values.push_back(static_cast<Tiny>(quality_of(mode, func, m, x, n)));
  }
  int operator[](int x) const { return values[static_cast<std::size_t>(x)]; }
  /// The least measure, of at least 1, with that quality; 0 when there is none.
  int fewest(int min_value) const {
    for (std::size_t x = 1; x < values.size(); ++x)
      if (values[x] >= min_value) return static_cast<int>(x);
    return 0;
  }

 private:
  std::vector<Tiny> values;
};

/// -1, reported, for a query with more positions than recall takes.
int check_length(const EditQuery& query, TeraEval::Mode mode) {
  const bool isPattern = mode == TeraEval::WILDCARD;
  const int most = isPattern ? EDIT_MAX_PATTERN : EDIT_MAX_QUERY;
  if (!query.is_cut() && query.length() <= most) return 0;
  AceReporter::use_default()->printf("%s of more than %d positions\n", isPattern ? "Pattern" : "Query", most);
  return EditRecall::GENERAL_ERROR;
}

/// -1, reported, for a mode that there is no measure for, or what is no model.
int check_mode(TeraEval::Mode mode, TeraEval::Model model, AceReporter* rep) {
  if (TeraEval::get_model_func(model, 0) != nullptr && edit_measure_max(mode, 1, 1) >= 0) return 0;
  rep->ev_wprintf("This recall mode is not support by current edit structure!\n");
  return EditRecall::UNALIGED_MODEL;
}

/// Attaches a new query object, unless the result has one.
void attach_query(TeraResult* result, TeraQuery* query) {
  result->add_query(query, 0);
  query->unref();
}

/// The least measure that a group's filter slot must have for one of its entries to reach `task`. More tokens
/// never make a measure smaller, except the walks of the sets, which take the first match they find; their
/// hits are a common subsequence, of which a swap counts twice.
EditTask filter_task(EditTask task) {
  const bool isWalk =
      task.mode == TeraEval::SUBSET || task.mode == TeraEval::SUPERSET || task.mode == TeraEval::BLOCKEDIT;
  if (!isWalk) return task;
  task.mode = TeraEval::SEQ;
  if (task.transpose) task.fewest = (task.fewest + 1) / 2;
  return task;
}

/// While it lives, a result keeps all that a mix with phonetic qualities can bring within its distance: a mix
/// is at most that much below the better of the two.
class MixedDist {
 public:
  MixedDist(TeraResult* result, bool is_mixed) : itsResult(result), maxDist(result->get_max_dist()) {
    if (is_mixed) result->set_max_dist(std::min(maxDist, TeraEval::PERFECT) + TeraEval::max_phonetic_diff());
  }
  MixedDist(const MixedDist&) = delete;
  MixedDist& operator=(const MixedDist&) = delete;
  ~MixedDist() { itsResult->set_max_dist(maxDist); }

 private:
  TeraResult* itsResult;
  int maxDist;
};

/// Whether no entry can have a larger measure than the shorter of the two lengths, which the model gets as
/// they are: what `TeraEval::limit_lengths` assumes.
bool has_plain_lengths(TeraEval::Mode mode) {
  return mode != TeraEval::BIGRAMS && mode != TeraEval::BISEQ && mode != TeraEval::BIPOS &&
         mode != TeraEval::POSITION && mode != TeraEval::WILDCARD;
}

/// Calls `use` for the lengths from `least` to `most`, those next to `best` first, until it gives false.
template <class Use>
bool for_lengths_around(int best, int least, int most, Use use) {
  int below = std::min(best, most);
  int above = std::max(below + 1, least);
  while (below >= least || above <= most) {
    const bool takesBelow = above > most || (below >= least && best - below <= above - best);
    if (!use(takesBelow ? below-- : above++)) return false;
  }
  return true;
}

}  // namespace

/// A recall as it goes from length to length.
struct TeraEdit::Recall {
  const EditQuery& query;
  TeraEval::Mode mode;
  TeraEval::Eval* func;
  bool transpose;
  std::function<int()> min_value;                    // of a hit that is still wanted
  std::function<void(Large slot, int quality)> add;  // in any order
  std::vector<EditHit> room = std::vector<EditHit>(HIT_ROOM);
  std::vector<Large> groups = {};
  EditTaskColumns columns = {};

  EditTask task(int length, int fewest) const {
    EditTask made;
    made.mode = mode;
    made.transpose = transpose;
    made.m = query.length();
    made.n = length;
    made.fewest = fewest;
    made.accepts = query.get_accepts();
    made.runs = query.get_runs();
    return made;
  }
  /// Hands the first `num` hits of the room over.
  void take(int num, const Qualities& qualities, Large first, Large numSlots) const {
    for (const EditHit& hit : std::span(room).first(static_cast<std::size_t>(num))) {
      if (hit.lane >= numSlots) continue;
      if (const int quality = qualities[hit.measure]; quality >= min_value()) add(first + hit.lane, quality);
    }
  }
};

// ---------------------------------------------------------------- recall

int TeraEdit::recall(TeraResult* result, TeraEval::Mode mode, TeraEval::Model model, int len_min, int len_max,
                     int options, int percent, AceReporter* rep) const {
  static const AceTraceFlag traceQueries("TIME_ANALYSIS_QUERY_STRINGS", __FILE__, __LINE__);
  const AceTimeSection section("EDIT_RECALL");
  if (result == nullptr) return EditRecall::GENERAL_ERROR;
  const char* const query = result->get_string();
  if (query == nullptr) return EditRecall::NO_QUERY;
  if (traceQueries.get() != 0)
    time_analysis_print(0, 0, "Query '%s' in %s mode", query, TeraEval::get_mode_name(mode));
  if ((options & USE_SEGMENT) != 0) {
    if (const int rc = check_mode(mode, model, rep); rc < 0) return rc;
    return segment(result, mode, model, len_min, len_max, options);
  }

  AceAttach at;
  const Token* const tokens = mapConfig.convert(query, (options & NO_OPERATORS) != 0, &at);
  const bool operators = (options & NO_OPERATORS) == 0 && mapConfig.is_operator(TOKEN_WILDCARD);
  if (operators && TeraToken::alt_len(tokens) < 0)
    return ace_error(__FILE__, __LINE__, "query_len = TeraToken::alt_len(tokenstr)",
                     EditRecall::GENERAL_ERROR, 0, EditRecall::GENERAL_ERROR);
  if (mode == TeraEval::EXACT || mode == TeraEval::WILDCARD)
    mode = operators && TeraToken::has_glob(tokens) != 0 ? TeraEval::WILDCARD : TeraEval::EXACT;
  attach_query(result, new TeraStandardQuery(query, mode, model, &mapConfig, options & WORD_OPTIONS));
  if (numEntry == 0 || editStore == nullptr) return EditRecall::NO_ENTRIES;
  if (mode == TeraEval::EXACT) return exact(result, tokens, options);
  if (mode == TeraEval::WILDCARD) return wildcard(result, tokens, options);

  EditQuery compiled(tokens, operators);
  if (compiled.length() == 0) return result->num_cands();
  if (check_length(compiled, mode) < 0) return EditRecall::GENERAL_ERROR;
  const bool isOpen = mode == TeraEval::PREFIX || mode == TeraEval::FRONT || mode == TeraEval::FACTOR;
  if (compiled.length() == 1 && isOpen) {
    compiled.open(mode == TeraEval::FACTOR);
    return match_pattern(result, compiled, options);
  }
  if (const int rc = check_mode(mode, model, rep); rc < 0) return rc;
  if (alignMode == 0 && needs_alignment(mode))
    rep->ev_wprintf("Unaligned edit structure doesn't work properly with some modes\n");
  Recall call{compiled,
              mode,
              TeraEval::get_model_func(model, 0),
              (options & TRANSPOSE) != 0,
              [result] { return result->get_min_value(); },
              [result](Large slot, int quality) { result->add(quality, slot); }};
  {
    const bool isHeard =
        phoneEdit != nullptr && phoneEdit->get_info_handle() != nullptr && percent < NO_PHONETICS;
    const int min_value = result->get_min_value();
    const MixedDist dist(result, isHeard);
    if (recall_lengths(&call, len_min, len_max) < 0) return EditRecall::GENERAL_ERROR;
    if (stringHandle != nullptr) result->add_strings(stringHandle.get());
    if (isHeard && add_phonetic(result, min_value, mode, model, options, percent, rep) < 0)
      return EditRecall::GENERAL_ERROR;
  }
  return finish(result, options);
}

/// Every length that can reach the quality that is wanted when its turn comes.
int TeraEdit::recall_lengths(Recall* call, int len_min, int len_max) const {
  const int q = call->query.length();
  const int longest = maxLength - 1;
  int most = len_max <= 0 || len_max > longest ? longest : len_max;
  int least = len_min <= 0 || len_min > longest ? 1 : len_min;
  if (has_plain_lengths(call->mode)) TeraEval::limit_lengths(call->func, q, call->min_value(), least, most);
  const bool isDone = for_lengths_around(q, least, most, [&](int length) {
    if (first_slot(length) == lengthSum[length]) return true;
    const Qualities qualities(call->mode, call->func, q, length);
    const int fewest = qualities.fewest(call->min_value());
    if (fewest == 0) return true;
    const EditTask task = call->task(length, fewest);
    const auto take = [&](int num) {
      call->take(num, qualities, static_cast<Large>(first_slot(length)),
                 static_cast<Large>(lengthSum[length] - first_slot(length)));
    };
    const int rc = filterEdit != nullptr ? slim_eval(call, task, take) : full_eval(call, task, take);
    if (rc < 0) ace_error_msg(__FILE__, __LINE__, filterEdit != nullptr ? SLIM_EVAL : FULL_EVAL, rc);
    return rc >= 0;
  });
  return isDone ? 0 : EditRecall::GENERAL_ERROR;
}

/// Looks at all entries of a length.
int TeraEdit::full_eval(Recall* call, EditTask task, const std::function<void(int)>& take) const {
  const AceTimeSection section("FULL_SECTION");
  EditColumns& columns = editStore->entry_columns();
  if (call->columns.find(call->query, &columns, task.n) < 0)
    return ace_error(__FILE__, __LINE__, "columns.find(query, columns, length)", -1, 0, -1);
  task.columns = call->columns.get();
  const int last = columns.num_blocks(task.n);
  for (int block = 0; block < last;) {
    const int num = edit_kernel().scan(task, block, last, call->room);
    const AceTimeSection results("FULL_RESULT");
    take(num);
  }
  return 0;
}

/// Looks at the filter, and at the entries of the groups that it lets pass.
int TeraEdit::slim_eval(Recall* call, EditTask task, const std::function<void(int)>& take) const {
  {
    const AceTimeSection section("EDIT_REEVAL");
    EditColumns& columns = editStore->filter_columns();
    if (call->columns.find(call->query, &columns, task.n) < 0)
      return ace_error(
          __FILE__, __LINE__,
          "marks = filterEdit->recall (query, bits, model_func, min_value, len_min, len_max, num_help, "
          "edit_tableau, &reeval)",
          -1, 0, -1);
    call->groups.clear();
    EditTask coarse = filter_task(task);
    coarse.columns = call->columns.get();
    const int last = columns.num_blocks(task.n);
    for (int block = 0; block < last;) {
      const int num = edit_kernel().scan(coarse, block, last, call->room);
      for (int i = 0; i < num; ++i) call->groups.push_back(call->room[static_cast<std::size_t>(i)].lane);
    }
  }
  const int numGroups = ((lengthSum[task.n] - first_slot(task.n) - 1) >> filterLog) + 1;
  while (!call->groups.empty() && call->groups.back() >= static_cast<Large>(numGroups))
    call->groups.pop_back();
  return call->groups.empty() ? 0 : reeval_marks(call, task, take);
}

int TeraEdit::reeval_marks(Recall* call, EditTask task, const std::function<void(int)>& take) const {
  const AceTimeSection section("SECTION_REEVAL");
  if (stringHandle == nullptr) return reeval_blocks(call, task, take);
  const EditTokens& tokens = editStore->tokens(task.n);
  task.bytes = tokens.bytes;
  // Smaller groups are looked at with their neighbours, which costs no more.
  const int lanesLog = std::max(filterLog, MIN_CHECK_LOG);
  if (lanesLog != filterLog) {
    for (Large& group : call->groups) group >>= lanesLog - filterLog;
    call->groups.erase(std::unique(call->groups.begin(), call->groups.end()), call->groups.end());
  }
  for (int next = 0; next < static_cast<int>(call->groups.size());) {
    const int num = edit_kernel().check(task, lanesLog, call->groups, next, call->room);
    const AceTimeSection results("SECTION_RESULT");
    take(num);
  }
  return tokens.withOperators.empty() ? 0 : reeval_operators(call, task, tokens, lanesLog, take);
}

/// The blocks of the matrix with the groups that passed.
int TeraEdit::reeval_blocks(Recall* call, EditTask task, const std::function<void(int)>& take) const {
  EditColumns& columns = editStore->entry_columns();
  if (call->columns.find(call->query, &columns, task.n) < 0)
    return ace_error(__FILE__, __LINE__, "columns.find(query, columns, length)", -1, 0, -1);
  task.columns = call->columns.get();
  const int blockLog = std::countr_zero(static_cast<unsigned>(EDIT_BLOCK_LANES)) - filterLog;
  int next = 0;
  for (const Large group : call->groups) {
    const int block = static_cast<int>(group >> blockLog);
    if (block < next) continue;
    next = block;
    take(edit_kernel().scan(task, next, block + 1, call->room));
  }
  return 0;
}

/// The entries with operators among the groups that passed.
int TeraEdit::reeval_operators(Recall* call, EditTask task, const EditTokens& tokens, int lanes_log,
                               const std::function<void(int)>& take) const {
  EditReeval reeval(call->query, task.n);
  const auto flush = [&] {
    take(reeval.process(task, call->room));
    reeval.clean();
  };
  AceAttach at;
  auto group = call->groups.begin();
  for (const Large lane : tokens.withOperators) {
    group = std::lower_bound(group, call->groups.end(), lane >> lanes_log);
    if (group == call->groups.end()) break;
    if (*group != lane >> lanes_log) continue;
    const char* const string = get_string(static_cast<Large>(first_slot(task.n)) + lane, &at);
    reeval.add_token_block(mapConfig.convert(string, false, &at), lane);
    if (reeval.is_full()) flush();
    at.release();
  }
  flush();
  return 0;
}

// ---------------------------------------------------------------- exact words and patterns

int TeraEdit::exact(TeraResult* result, const Token* query, int options) const {
  const AceTimeSection section("EXACT");
  if (result == nullptr || query == nullptr || *query == 0) return EditRecall::GENERAL_ERROR;
  if (stringHandle == nullptr || sortedEntries == nullptr) return exact_bits(result, query, options);
  AceAttach at;
  const auto order_to = [&](Large slot) {
    const char* const string = get_string(slot, &at);
    const int order = string != nullptr ? mapConfig.compare(query, string, true) : 1;
    at.release();
    return order;
  };
  const Large* const end = sortedEntries + numEntry;
  const Large* found =
      std::partition_point(sortedEntries, end, [&](Large slot) { return order_to(slot) > 0; });
  for (; found != end && order_to(*found) == 0 && result->accept(TeraEval::PERFECT); ++found)
    result->add(TeraEval::PERFECT, *found);
  result->add_strings(stringHandle.get());
  return finish(result, options);
}

/// The same from the matrix: the entries without an error.
int TeraEdit::exact_bits(TeraResult* result, const Token* query, int options) const {
  const EditQuery compiled(query, false);
  if (check_length(compiled, TeraEval::LEVENSHTEIN) < 0) return EditRecall::GENERAL_ERROR;
  if (numEntry == 0 || editStore == nullptr) return EditRecall::NO_ENTRIES;
  Recall call{compiled,
              TeraEval::LEVENSHTEIN,
              TeraEval::get_model_func(TeraEval::MAXIMUM, 0),
              false,
              [] { return TeraEval::PERFECT; },
              [result](Large slot, int quality) { result->add(quality, slot); }};
  const int q = compiled.length();
  if (q < maxLength && recall_lengths(&call, q, q) < 0) return EditRecall::GENERAL_ERROR;
  if (stringHandle != nullptr) result->add_strings(stringHandle.get());
  return finish(result, options);
}

int TeraEdit::wildcard(TeraResult* result, const Token* query, int options) const {
  if (result == nullptr || query == nullptr) return EditRecall::GENERAL_ERROR;
  const bool operators = (options & NO_OPERATORS) == 0 && mapConfig.is_operator(TOKEN_WILDCARD);
  EditQuery pattern(query, operators);
  if (pattern.length() == 0) {
    if (!pattern.has_runs()) return result->num_cands();
    pattern.match_all();
  }
  return match_pattern(result, pattern, options);
}

int TeraEdit::match_pattern(TeraResult* result, const EditQuery& pattern, int options) const {
  const AceTimeSection section("WILDCARD");
  if (check_length(pattern, TeraEval::WILDCARD) < 0) return EditRecall::GENERAL_ERROR;
  if (numEntry == 0 || editStore == nullptr) return EditRecall::NO_ENTRIES;
  Recall call{pattern,
              TeraEval::WILDCARD,
              nullptr,
              false,
              [result] { return result->get_min_value(); },
              [result](Large slot, int quality) { result->add(quality, slot); }};
  const int q = pattern.length();
  if (q < maxLength && recall_lengths(&call, q, pattern.has_runs() ? 0 : q) < 0)
    return EditRecall::GENERAL_ERROR;
  if (stringHandle != nullptr) result->add_strings(stringHandle.get());
  return finish(result, options);
}

// ---------------------------------------------------------------- several words

namespace {

/// Ends the first segment at its separator, which stands in no alternative. Returns what follows; null for
/// nothing.
Token* cut_segment(Token* tokens) {
  bool isInside = false;
  for (; *tokens != 0; ++tokens) {
    if (*tokens == TOKEN_ALT_START || *tokens == TOKEN_ALT_STOP) isInside = *tokens == TOKEN_ALT_START;
    if (*tokens != TOKEN_WORD_SEP || isInside) continue;
    *tokens = 0;
    return tokens + 1;
  }
  return nullptr;
}

}  // namespace

/// Each word of the query by itself; an entry has the quality of the best one.
int TeraEdit::segment(TeraResult* result, TeraEval::Mode mode, TeraEval::Model model, int len_min,
                      int len_max, int options) const {
  if (result == nullptr) return EditRecall::GENERAL_ERROR;
  const char* const query = result->get_string();
  if (query == nullptr) return EditRecall::NO_QUERY;
  attach_query(result, new TeraStandardQuery(query, mode, model, &mapConfig, options & WORD_OPTIONS));
  if (const int rc = check_mode(mode, model, AceReporter::use_default()); rc < 0) return rc;
  if (numEntry == 0 || editStore == nullptr) return EditRecall::NO_ENTRIES;
  AceAttach at;
  const bool operators = (options & NO_OPERATORS) == 0 && mapConfig.is_operator(TOKEN_WILDCARD);
  std::vector<short> best(numEntry, -1);  // a quality of 0 is one, too
  Token* tokens = mapConfig.convert(query, !operators, &at);
  if (operators && TeraToken::alt_len(tokens) < 0)
    return ace_error(__FILE__, __LINE__, "query_len = TeraToken::alt_len(tokenstr)",
                     EditRecall::GENERAL_ERROR, 0, EditRecall::GENERAL_ERROR);
  while (tokens != nullptr) {
    Token* const rest = operators ? cut_segment(tokens) : nullptr;
    const EditQuery word(std::exchange(tokens, rest), operators);
    if (word.length() == 0) continue;
    if (check_length(word, mode) < 0) return EditRecall::GENERAL_ERROR;
    Recall call{
        word,
        mode,
        TeraEval::get_model_func(model, 0),
        (options & TRANSPOSE) != 0,
        [result] { return result->get_min_value(); },
        [&best](Large slot, int quality) { best[slot] = std::max(best[slot], static_cast<short>(quality)); }};
    if (recall_lengths(&call, len_min, len_max) < 0) return EditRecall::GENERAL_ERROR;
  }
  for (Large slot = 0; slot < numEntry; ++slot)
    if (best[slot] >= 0) result->add(best[slot], slot);
  if (stringHandle != nullptr) result->add_strings(stringHandle.get());
  return finish(result, options);
}

// ---------------------------------------------------------------- what is added to the candidates

int TeraEdit::add_phonetic(TeraResult* result, int min_value, TeraEval::Mode mode, TeraEval::Model model,
                           int options, int percent, AceReporter* rep) const {
  const AceTimeSection section("ADD_PHONETICS");
  AceAttach at;
  char* const code = phoneCoding->code(result->get_string(), &at);
  if (code == nullptr) return 0;
  code[std::strcspn(code, "|")] = '\0';
  // With none of its states: its numbers are slots of this index only once it is resolved.
  TeraResult phonetic(code, min_value, result->get_num_cands(), result->get_max_dist());
  const int rc =
      phoneEdit->recall(&phonetic, mode, model, 0, 0, (options & TRANSPOSE) | NO_OPERATORS, 100, rep);
  if (rc < 0)
    return ace_error(__FILE__, __LINE__, "phoneEdit->recall(&phonetic, mode, model, rep)", rc, 0, -1);
  const GetString string_hook = get_string_hook();
  return result->add_phonetic(&phonetic, percent, &string_hook);
}

int TeraEdit::finish(TeraResult* result, int options) const {
  if ((options & NO_ALIASES) == 0 && aliasMap != nullptr && add_aliases(result, options) < 0) return -1;
  if ((options & NO_RESOLVE) == 0 && infoHandle != nullptr && resolve(result) < 0) return -1;
  return result->num_cands();
}

int TeraEdit::add_aliases(TeraResult* result, int options) const {
  if (result == nullptr) return EditRecall::GENERAL_ERROR;
  if (aliasMap == nullptr) return result->num_cands();
  const TeraAliasMap::GetAlias aliases = aliasMap->get_alias_hook(numEntry);
  const GetString strings = get_string_hook();
  return TeraAliasMap::add_aliases(result, &aliases, &strings, options);
}

int TeraEdit::resolve(TeraResult* result) const {
  return infoHandle != nullptr && result != nullptr ? result->resolve(infoHandle.get(), stringHandle.get())
                                                    : -1;
}

TeraQuery* TeraEdit::get_query(const char* query, TeraEval::Mode mode, TeraEval::Model model, int options,
                               int percent) const {
  auto plain = std::make_unique<TeraStandardQuery>(query, mode, model, &mapConfig, options & WORD_OPTIONS);
  if (phoneEdit == nullptr || phoneCoding == nullptr || percent >= NO_PHONETICS) return plain.release();
  AceAttach at;
  char* const code = phoneCoding->code(query, &at);
  if (code == nullptr) return plain.release();
  code[std::strcspn(code, "|")] = '\0';
  auto phonetic = std::make_unique<TeraStandardQuery>(code, mode, model, phoneEdit->get_tera_map(),
                                                      (options & WORD_OPTIONS) | NO_OPERATORS);
  auto mixed = std::make_unique<TeraMixQuery>(plain.get(), phonetic.get(), percent, phoneCoding.get());
  static_cast<void>(plain.release());
  static_cast<void>(phonetic.release());
  return mixed.release();
}

int TeraEdit::is_equiv(const char* string, Large slot) const {
  if (string == nullptr || slot >= numEntry || editStore == nullptr) return 0;
  AceAttach at;
  if (const char* const own = get_string(slot, &at); own != nullptr)
    return mapConfig.strings_are_equal(string, own);
  const Token* const tokens = mapConfig.convert(string, true, &at);
  const int length = static_cast<int>(std::strlen(reinterpret_cast<const char*>(tokens)));
  if (length == 0 || length != get_length(slot)) return 0;
  const int lane = static_cast<int>(slot) - first_slot(length);
  const VInt first = static_cast<VInt>(lane / EDIT_BLOCK_LANES) * length * EDIT_BLOCK_WORDS +
                     lane % EDIT_BLOCK_LANES / EDIT_WORD_LANES;
  for (int pos = 0; pos < length; ++pos) {
    const VUint* const column = editStore->entry_columns().get(tokens[pos], length);
    if (column == nullptr) return 0;
    if ((column[first + static_cast<VInt>(pos) * EDIT_BLOCK_WORDS] >> lane % EDIT_WORD_LANES & 1) == 0)
      return 0;
  }
  return 1;
}
