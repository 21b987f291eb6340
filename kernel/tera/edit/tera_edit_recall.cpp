#include <algorithm>
#include <climits>
#include <cstring>
#include <utility>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "ace/ace_tracer.h"
#include "tera/edit/edit_request_internal.h"
#include "tera/result/tera_mixed_dist_internal.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_result.h"
#include "tera/tera_scan.h"
#include "tera/tera_standard_query.h"
#include "tera/tera_token.h"
#include "tera/tera_transform.h"

namespace {

constexpr int WORD_OPTIONS = 0x1F;
constexpr int NO_PHONETICS = 100;  // weight of the plain quality

/// Lets entries become candidates.
struct ResultSink {
  int min_value() const { return result->get_min_value(); }
  void add(Large slot, int quality) { result->add(quality, slot); }
  TeraResult* result;
};

/// The same for those without an error.
struct PerfectSink : ResultSink {
  int min_value() const { return TeraEval::PERFECT; }
};

/// Keeps the best quality of each slot.
struct BestSink {
  int min_value() const { return result->get_min_value(); }
  void add(Large slot, int quality) { best[slot] = std::max(best[slot], static_cast<short>(quality)); }
  TeraResult* result;
  std::vector<short>& best;
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

/// Attaches a query object to a result that has none.
template <class Make>
void attach_query(TeraResult* result, Make make) {
  if (result->get_query() != nullptr) return;
  TeraQuery* const query = make();
  result->add_query(query, 0);
  query->unref();
}

/// The tokens of a text in the memory of a list, with a 0 behind them.
const Token* convert_query(const TeraMap& map, const char* text, bool no_glob, std::vector<Token>* tokens) {
  const std::size_t room = MAX_SEQUENCE * std::strlen(text) + 1;
  if (tokens->size() < room) tokens->resize(room);
  TeraScan(&map, text, no_glob)
      .convert(tokens->data(), static_cast<int>(std::min<std::size_t>(room, INT_MAX)));
  return tokens->data();
}

/// What a failed recall returns.
int give_up(TeraResult* result) {
  result->set_unreliable();
  return EditRecall::GENERAL_ERROR;
}

}  // namespace

// ---------------------------------------------------------------- recall
// A recall prepares what is asked for, looks at entries, and completes the candidates.

int TeraEdit::recall(TeraResult* result, TeraEval::Mode mode, TeraEval::Model model, int len_min, int len_max,
                     int options, int percent, AceReporter* rep) const {
  EditBudget budget(numEntry);
  Request request{result, mode, model, len_min, len_max, options, percent, rep, &budget};
  return recall(&request);
}

int TeraEdit::recall(Request* request) const {
  static const AceTraceFlag traceQueries("TIME_ANALYSIS_QUERY_STRINGS", __FILE__, __LINE__);
  const AceTimeSection section("EDIT_RECALL");
  if (request->result == nullptr) return EditRecall::GENERAL_ERROR;
  const char* const query = request->result->get_string();
  if (query == nullptr) return EditRecall::NO_QUERY;
  if (traceQueries.get() != 0)
    time_analysis_print(0, 0, "Query '%s' in %s mode", query, TeraEval::get_mode_name(request->mode));
  if ((request->options & USE_SEGMENT) != 0) {
    if (const int rc = check_mode(request->mode, request->model, request->rep); rc < 0) return rc;
    return find_segments(request);
  }
  if (editStore == nullptr) {
    EditScratch scratch;
    Prepared nowhere;
    nowhere.scratch = &scratch;
    return prepare(request, &nowhere);
  }
  const EditScratchPool::Loan scratch(&editStore->scratches());
  Prepared prepared;
  prepared.scratch = scratch.get();
  if (const int rc = prepare(request, &prepared); prepared.way == Prepared::DONE) return rc;
  if (const int rc = look(prepared, request); rc < 0) return rc;
  return complete(*request);
}

/// Reads the query, and says how it is answered.
int TeraEdit::prepare(Request* request, Prepared* out) const {
  TeraResult* const result = request->result;
  const int options = request->options;
  const char* const query = result->get_string();
  out->tokens = convert_query(mapConfig, query, (options & NO_OPERATORS) != 0, &out->scratch->tokens);
  const bool operators = (options & NO_OPERATORS) == 0 && mapConfig.is_operator(TOKEN_WILDCARD);
  if (operators && TeraToken::alt_len(out->tokens) < 0)
    return ace_error(__FILE__, __LINE__, "query_len = TeraToken::alt_len(tokenstr)",
                     EditRecall::GENERAL_ERROR, 0, EditRecall::GENERAL_ERROR);
  TeraEval::Mode& mode = request->mode;
  if (mode == TeraEval::EXACT || mode == TeraEval::WILDCARD)
    mode = operators && TeraToken::has_glob(out->tokens) != 0 ? TeraEval::WILDCARD : TeraEval::EXACT;
  attach_query(result, [&] {
    return new TeraStandardQuery(query, mode, request->model, &mapConfig, options & WORD_OPTIONS);
  });
  if (numEntry == 0 || editStore == nullptr) return EditRecall::NO_ENTRIES;
  if (mode == TeraEval::EXACT) {
    out->way = Prepared::EXACTLY;
    return 0;
  }
  EditQuery& compiled = out->scratch->query;
  compiled.build(out->tokens, operators);
  if (mode == TeraEval::WILDCARD) {
    if (compiled.length() == 0 && !compiled.has_runs()) return result->num_cands();
    if (compiled.length() == 0) compiled.match_all();
    out->way = Prepared::BY_PATTERN;
    return 0;
  }
  if (compiled.length() == 0) return result->num_cands();
  if (check_length(compiled, mode) < 0) return EditRecall::GENERAL_ERROR;
  const bool isOpen = mode == TeraEval::PREFIX || mode == TeraEval::FRONT || mode == TeraEval::FACTOR;
  if (compiled.length() == 1 && isOpen) {
    compiled.open(mode == TeraEval::FACTOR);
    out->way = Prepared::BY_PATTERN;
    return 0;
  }
  if (const int rc = check_mode(mode, request->model, request->rep); rc < 0) return rc;
  if (alignMode == 0 && tera_mode_row(mode)->isAligned)
    request->rep->ev_wprintf("Unaligned edit structure doesn't work properly with some modes\n");
  out->way = Prepared::BY_MEASURE;
  return 0;
}

/// Looks at the entries; what is found has its slot, and its string.
int TeraEdit::look(const Prepared& prepared, Request* request) const {
  if (request->budget->spend(EditBudget::STEPS_PER_RECALL) < 0) return give_up(request->result);
  if (prepared.way == Prepared::EXACTLY) return find_exact(prepared.tokens, request);
  if (prepared.way == Prepared::BY_PATTERN) return find_pattern(prepared.scratch, request);
  return look_and_listen(request->ask(), prepared.scratch, request);
}

/// The entries that resemble the query, and those whose codes resemble its code.
int TeraEdit::look_and_listen(const EditAsk& ask, EditScratch* scratch, Request* request) const {
  TeraResult* const result = request->result;
  const bool isHeard =
      phoneEdit != nullptr && phoneEdit->get_info_handle() != nullptr && request->percent < NO_PHONETICS;
  const int min_value = result->get_min_value();
  const MixedDist dist(result, isHeard);
  ResultSink sink{result};
  if (EditLook(*this, editStore.get(), ask, scratch, request->budget, &sink).run() < 0)
    return give_up(result);
  add_texts(result, request->options);
  return isHeard && add_phonetic(min_value, request) < 0 ? give_up(result) : 0;
}

void TeraEdit::add_texts(TeraResult* result, int options) const {
  if ((options & NO_TEXTS) == 0 && stringHandle != nullptr) result->add_strings(stringHandle.get());
}

/// Adds aliases, and turns slots into attribute numbers.
int TeraEdit::complete(const Request& request) const {
  return finish(request.result, request.options);
}

// ---------------------------------------------------------------- exact words and patterns
// An exact word is found by bisection of the sorted entries, or by its bits where there are no strings.

namespace {

/// Of a bisection the strings that come next, whichever half it goes on in, and the slots of those behind
/// them: each step would wait for memory otherwise.
void fetch_probes(const TeraIndex& strings, const Large* first, Large size) {
  const char* const heap = strings.get_string_heap();
  const auto fetch = [&](const Large* from, Large count) {
    if (count == 0) return;
    const Large* const middle = from + count / 2;
    __builtin_prefetch(heap + strings.get_heap_pos(*middle));
    __builtin_prefetch(from + count / 4);
    __builtin_prefetch(middle + count / 4);
  };
  const Large half = size / 2;
  fetch(first, half);
  fetch(first + half + 1, size - half - 1);
}

}  // namespace

int TeraEdit::exact(TeraResult* result, const Token* query, int options) const {
  if (result == nullptr || query == nullptr || *query == 0) return EditRecall::GENERAL_ERROR;
  EditBudget budget(numEntry);
  Request request{result, TeraEval::EXACT, TeraEval::MAXIMUM, 0, 0, options, NO_PHONETICS, nullptr, &budget};
  const int rc = find_exact(query, &request);
  return rc < 0 || numEntry == 0 ? rc : complete(request);
}

int TeraEdit::find_exact(const Token* tokens, Request* request) const {
  const AceTimeSection section("EXACT");
  if (*tokens == 0) return EditRecall::GENERAL_ERROR;
  if (stringHandle == nullptr || sortedEntries == nullptr) return find_exact_bits(tokens, request);
  TeraResult* const result = request->result;
  AceAttach at;
  const auto order_to = [&](Large slot) {
    const char* const string = get_string(slot, &at);
    const int order = string != nullptr ? mapConfig.compare(tokens, string, true) : 1;
    at.release();
    return order;
  };
  const Large* const end = sortedEntries + numEntry;
  const Large* found = sortedEntries;
  for (Large size = numEntry; size > 0;) {
    const Large half = size / 2;
    fetch_probes(*stringHandle, found, size);
    const bool isBehind = order_to(found[half]) > 0;
    found += isBehind ? half + 1 : 0;
    size = isBehind ? size - half - 1 : half;
  }
  for (; found != end && order_to(*found) == 0 && result->accept(TeraEval::PERFECT); ++found)
    result->add(TeraEval::PERFECT, *found);
  add_texts(result, request->options);
  return 0;
}

/// The same from the matrix: the entries without an error.
int TeraEdit::find_exact_bits(const Token* tokens, Request* request) const {
  if (numEntry == 0 || editStore == nullptr) return EditRecall::NO_ENTRIES;
  const EditScratchPool::Loan scratch(&editStore->scratches());
  EditQuery& query = scratch.get()->query;
  query.build(tokens, false);
  if (check_length(query, TeraEval::LEVENSHTEIN) < 0) return EditRecall::GENERAL_ERROR;
  const int q = query.length();
  if (q >= maxLength) return 0;
  const EditAsk ask{TeraEval::LEVENSHTEIN, TeraEval::get_model_func(TeraEval::MAXIMUM, 0), false, q, q};
  PerfectSink sink{{request->result}};
  if (EditLook(*this, editStore.get(), ask, scratch.get(), request->budget, &sink).run() < 0)
    return give_up(request->result);
  add_texts(request->result, request->options);
  return 0;
}

int TeraEdit::wildcard(TeraResult* result, const Token* query, int options) const {
  if (result == nullptr || query == nullptr) return EditRecall::GENERAL_ERROR;
  if (numEntry == 0 || editStore == nullptr) return EditRecall::NO_ENTRIES;
  const bool operators = (options & NO_OPERATORS) == 0 && mapConfig.is_operator(TOKEN_WILDCARD);
  const EditScratchPool::Loan scratch(&editStore->scratches());
  EditQuery& pattern = scratch.get()->query;
  pattern.build(query, operators);
  if (pattern.length() == 0) {
    if (!pattern.has_runs()) return result->num_cands();
    pattern.match_all();
  }
  EditBudget budget(numEntry);
  Request request{result,  TeraEval::WILDCARD, TeraEval::MAXIMUM, 0,      0,
                  options, NO_PHONETICS,       nullptr,           &budget};
  const int rc = find_pattern(scratch.get(), &request);
  return rc < 0 ? rc : complete(request);
}

int TeraEdit::find_pattern(EditScratch* scratch, Request* request) const {
  const AceTimeSection section("WILDCARD");
  const EditQuery& pattern = scratch->query;
  if (check_length(pattern, TeraEval::WILDCARD) < 0) return EditRecall::GENERAL_ERROR;
  const int q = pattern.length();
  const EditAsk ask{TeraEval::WILDCARD, nullptr, false, q, pattern.has_runs() ? 0 : q};
  ResultSink sink{request->result};
  if (q < maxLength && EditLook(*this, editStore.get(), ask, scratch, request->budget, &sink).run() < 0)
    return give_up(request->result);
  add_texts(request->result, request->options);
  return 0;
}

// ---------------------------------------------------------------- several words
// The words of a query share one list of the best quality of each slot, which becomes candidates once.

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

int TeraEdit::segment(TeraResult* result, TeraEval::Mode mode, TeraEval::Model model, int len_min,
                      int len_max, int options) const {
  if (result == nullptr) return EditRecall::GENERAL_ERROR;
  if (result->get_string() == nullptr) return EditRecall::NO_QUERY;
  EditBudget budget(numEntry);
  Request request{result, mode, model, len_min, len_max, options, NO_PHONETICS, AceReporter::use_default(),
                  &budget};
  return find_segments(&request);
}

/// Each word of the query by itself; an entry has the quality of the best one.
int TeraEdit::find_segments(Request* request) const {
  TeraResult* const result = request->result;
  const int options = request->options;
  const char* const query = result->get_string();
  attach_query(result, [&] {
    return new TeraStandardQuery(query, request->mode, request->model, &mapConfig, options & WORD_OPTIONS);
  });
  if (const int rc = check_mode(request->mode, request->model, AceReporter::use_default()); rc < 0) return rc;
  if (numEntry == 0 || editStore == nullptr) return EditRecall::NO_ENTRIES;
  AceAttach at;
  const bool operators = (options & NO_OPERATORS) == 0 && mapConfig.is_operator(TOKEN_WILDCARD);
  Token* tokens = mapConfig.convert(query, !operators, &at);
  if (operators && TeraToken::alt_len(tokens) < 0)
    return ace_error(__FILE__, __LINE__, "query_len = TeraToken::alt_len(tokenstr)",
                     EditRecall::GENERAL_ERROR, 0, EditRecall::GENERAL_ERROR);
  const EditScratchPool::Loan scratch(&editStore->scratches());
  std::vector<short>& best = scratch.get()->best;
  best.assign(numEntry, -1);  // a quality of 0 is one, too
  const EditAsk ask = request->ask();
  BestSink sink{result, best};
  while (tokens != nullptr) {
    Token* const rest = operators ? cut_segment(tokens) : nullptr;
    EditQuery& word = scratch.get()->query;
    word.build(std::exchange(tokens, rest), operators);
    if (word.length() == 0) continue;
    if (check_length(word, ask.mode) < 0) return EditRecall::GENERAL_ERROR;
    if (request->budget->spend(EditBudget::STEPS_PER_RECALL) < 0 ||
        EditLook(*this, editStore.get(), ask, scratch.get(), request->budget, &sink).run() < 0)
      return give_up(result);
  }
  for (Large slot = 0; slot < numEntry; ++slot)
    if (best[slot] >= 0) result->add(best[slot], slot);
  add_texts(result, request->options);
  return finish(result, options);
}

// ---------------------------------------------------------------- what is added to the candidates
// Sounds and aliases add candidates; then slots become attribute numbers, once.

int TeraEdit::add_phonetic(int min_value, Request* request) const {
  const AceTimeSection section("ADD_PHONETICS");
  TeraResult* const result = request->result;
  AceAttach at;
  char* const code = phoneCoding->code(result->get_string(), &at);
  if (code == nullptr) return 0;
  code[std::strcspn(code, "|")] = '\0';
  // With none of its states: its numbers are slots of this index only once it is resolved.
  TeraResult phonetic(code, min_value, result->get_num_cands(), result->get_max_dist());
  Request heard = *request;
  heard.result = &phonetic;
  heard.len_min = heard.len_max = 0;
  heard.options = (request->options & TRANSPOSE) | NO_OPERATORS;
  heard.percent = NO_PHONETICS;
  const int rc = phoneEdit->recall(&heard);
  if (rc < 0)
    return ace_error(__FILE__, __LINE__, "phoneEdit->recall(&phonetic, mode, model, rep)", rc, 0, -1);
  const GetString string_hook = get_string_hook();
  return result->add_phonetic(&phonetic, request->percent, &string_hook);
}

int TeraEdit::finish(TeraResult* result, int options) const {
  if ((options & NO_ALIASES) == 0 && aliasMap != nullptr && add_aliases(result, options) < 0) return -1;
  if ((options & NO_RESOLVE) == 0 && infoHandle != nullptr)
    result->resolve(infoHandle.get(), (options & NO_TEXTS) == 0 ? stringHandle.get() : nullptr);
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
