#include "tera/tera_eval.h"

#include <algorithm>
#include <array>
#include <climits>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_map.h"
#include "ace/ace_tracer.h"
#include "tera/measure/mode_table_internal.h"

namespace {

constexpr int DEFAULT_PHONETIC_DIFF = 30;

struct ModeName {
  const char* name;
  TeraEval::Mode mode;
};

/// Names that are accepted beside the printed ones.
constexpr ModeName MODE_ALIASES[] = {
    {"abbrev", TeraEval::PREFIX},
    {"infix", TeraEval::FACTOR},
    {"lcs", TeraEval::SEQ},
    {"blockedit", TeraEval::BLOCKEDIT},
};

/// Printed names, in the order of the enum.
constexpr const char* MODEL_NAMES[] = {
    "QUERY", "QUERY_RAW", "SHORT",     "EM_QUERY", "MEAN",    "EM_ENTRY",  "LONG",
    "ENTRY", "ENTRY_RAW", "UNION",     "MAXIMUM",  "MINIMUM", "PRODUCT",   "GEO",
    "ERROR", "RAW",       "REDUNDANT", "PARTIAL",  "BIAS",    "SWAP_BIAS", "VAR",
};
static_assert(std::size(MODEL_NAMES) == TeraEval::NUM_MODELS);

struct ModelName {
  const char* name;
  TeraEval::Model model;
};

constexpr ModelName MODEL_ALIASES[] = {
    {"match", TeraEval::QUERY},         {"raw_query", TeraEval::QUERY_RAW}, {"query_em", TeraEval::EM_QUERY},
    {"dice", TeraEval::MEAN},           {"entry_em", TeraEval::EM_ENTRY},   {"candidate", TeraEval::ENTRY},
    {"raw_entry", TeraEval::ENTRY_RAW}, {"jaccard", TeraEval::UNION},       {"tanimoto", TeraEval::UNION},
    {"errors", TeraEval::ERRORS},
};

/// Whether two names are the same in any case.
bool same_name(const char* a, const char* b) {
  for (; *a != '\0' && tolower_C(*a) == tolower_C(*b); ++a) ++b;
  return *a == '\0' && *b == '\0';
}

constexpr char REASON_CODES[] = "pPsSvtwa";

/// The settings of BIAS and VAR.
constinit std::array<int, 256> length_bias{};
constinit TeraEval::Model bias_base_model = TeraEval::MAXIMUM;
constinit TeraEval::Model var_model = TeraEval::UNION;

bool is_bias(TeraEval::Model model) {
  return model == TeraEval::BIAS || model == TeraEval::SWAP_BIAS;
}

/// Length of a half-open range, which may be empty.
int length_of(int from, int to) {
  return static_cast<int>(std::clamp<VInt>(VInt{to} - from, 0, INT_MAX));
}

}  // namespace

// ---------------------------------------------------------------- names

TeraEval::Mode TeraEval::get_mode(const char* name, Model* default_model) {
  Mode mode = LEVENSHTEIN;
  bool found = name == nullptr;
  for (const TeraModeRow& row : tera_modes::TABLE)
    if (!found && same_name(name, row.name)) mode = row.mode, found = true;
  for (const ModeName& alias : MODE_ALIASES)
    if (!found && same_name(name, alias.name)) mode = alias.mode, found = true;
  if (!found) AceReporter::use_default()->ev_wprintf("No such mode: '%s' taking default levenshtein\n", name);
  if (default_model != nullptr) *default_model = get_default_model(mode);
  return mode;
}

const char* TeraEval::get_mode_name(Mode mode) {
  return tera_mode_row(mode) != nullptr ? tera_mode_row(mode)->name : nullptr;
}

TeraEval::Model TeraEval::get_default_model(Mode mode) {
  return tera_mode_row(mode) != nullptr ? tera_mode_row(mode)->defaultModel : MAXIMUM;
}

TeraEval::Model TeraEval::get_model_enum(const char* name) {
  if (name == nullptr) return MAXIMUM;
  for (int model = 0; model < NUM_MODELS; ++model)
    if (same_name(name, MODEL_NAMES[model])) return static_cast<Model>(model);
  for (const ModelName& alias : MODEL_ALIASES)
    if (same_name(name, alias.name)) return alias.model;
  return UNKNOWN;
}

const char* TeraEval::get_model_name(Model model) {
  return model >= 0 && model < NUM_MODELS ? MODEL_NAMES[model] : nullptr;
}

char TeraEval::get_reason_code(Reason reason) {
  return reason >= 0 && reason < NUM_REASONS ? REASON_CODES[reason] : '\0';
}

int TeraEval::init() {
  for (int mode = LEVENSHTEIN; mode < NUM_MODES; ++mode)
    if (const char* name = tera_modes::TABLE[mode].name; get_mode(name, nullptr) != mode)
      throw AceException("Inconsistent mode and model names", "mode %s", name);
  for (int model = 0; model < NUM_MODELS; ++model)
    if (get_model_enum(MODEL_NAMES[model]) != model)
      throw AceException("Inconsistent mode and model names", "model %s", MODEL_NAMES[model]);
  return 0;
}

// ---------------------------------------------------------------- predicates

int TeraEval::overlap(Eval* func, int from1, int to1, int from2, int to2) {
  const int shared = length_of(std::max(from1, from2), std::min(to1, to2));
  if (to1 <= from1 || to2 <= from2 || shared == 0) return 0;
  return func(length_of(from1, to1), shared, length_of(from2, to2));
}

int TeraEval::can_satisfy(Eval* func, int query, int entry, int min_value) {
  return func(query, std::min(query, entry), entry) >= min_value ? 1 : 0;
}

int TeraEval::get_min_hits(Eval* func, int query, int entry, int min_value) {
  int hits = std::min(query, entry);
  while (hits > 0 && func(query, hits - 1, entry) >= min_value) --hits;
  return std::max(1, hits - length_of(entry, query));
}

int TeraEval::get_max_query(Eval* func, int entry, int min_value, int max_query) {
  int query = entry;
  while (query < max_query && func(query + 1, entry, entry) >= min_value) ++query;
  return query;
}

void TeraEval::limit_lengths(Eval* func, int query_len, int min_value, int& len_min, int& len_max) {
  while (len_max > 1 && can_satisfy(func, query_len, len_max, min_value) == 0) --len_max;
  while (len_min < len_max && can_satisfy(func, query_len, len_min, min_value) == 0) ++len_min;
}

int TeraEval::max_phonetic_diff() {
  static const int value = [] {
    static int announced = 0;
    announced = AceTracer::announce("MAX_PHONETIC_DIFF", &announced, __FILE__, __LINE__);
    return announced > 0 ? announced : DEFAULT_PHONETIC_DIFF;
  }();
  return value;
}

int TeraEval::phone_eval(int a, int b, int percent) {
  const VInt limit = max_phonetic_diff();
  const VInt phonetic = std::max(a - limit, VInt{b});
  return static_cast<int>((std::max(phonetic - limit, VInt{a}) * percent + (100 - VInt{percent}) * phonetic) /
                          100);
}

// ---------------------------------------------------------------- settings

int TeraEval::set_length_bias(int from, int to, int value) {
  if (value < -100 || value > 255) return -1;
  from = std::max(from, 0);
  to = std::min(to < 0 ? (from < 256 ? from + 1 : 256) : to, 256);
  for (int length = from; length < to; ++length) length_bias[static_cast<std::size_t>(length)] = value;
  return value;
}

int TeraEval::get_length_bias(int length) {
  return length < 0 ? -1 : length_bias[static_cast<std::size_t>(std::min(length, 255))];
}

// BIAS, SWAP_BIAS and VAR call other models. A setting that would make one of them call itself, directly or
// through another, is refused.

int TeraEval::set_bias_base_model(const char* name) {
  const Model model = get_model_enum(name);
  if (model == UNKNOWN || is_bias(model) || (model == VAR && is_bias(var_model))) return -1;
  bias_base_model = model;
  return 0;
}

TeraEval::Model TeraEval::get_bias_base_model() {
  return bias_base_model;
}

int TeraEval::set_var_model(const char* name) {
  const Model model = name != nullptr ? get_model_enum(name) : UNKNOWN;
  if (model == UNKNOWN || model == VAR || (is_bias(model) && bias_base_model == VAR)) return -1;
  var_model = model;
  return 0;
}

TeraEval::Model TeraEval::get_var_model() {
  return var_model;
}

// ---------------------------------------------------------------- persistence

void TeraEval::save_algorithm(Mode mode, AceFile* file) {
  file->put_int(static_cast<int>(mode));
}

void TeraEval::save_model(Model model, AceFile* file) {
  file->put_int(static_cast<int>(model));
}

TeraEval::Mode TeraEval::read_algorithm(AceFile* file) {
  const int value = file->get_int();
  return value >= 0 && value < NUM_MODES ? static_cast<Mode>(value) : UNDEF;
}

TeraEval::Model TeraEval::read_model(AceFile* file) {
  const int value = file->get_int();
  return value >= 0 && value <= CUSTOM_MODEL ? static_cast<Model>(value) : UNKNOWN;
}
