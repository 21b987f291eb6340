/// Qualities: from what was measured between a query word and an entry word to a number from 0 (no match) to
/// 255 (perfect match).
///
/// A quality is made in two stages. A mode decides what is measured (edit operations with free ends, common
/// subsequences, positions, sets, ...; tera_word.h computes the measures). A model turns the measure and the
/// two lengths into the quality. Both are persisted as their integers: never renumber.
///
/// Models are plain integer functions of (query length, measure, entry length), all divisions truncating
/// toward zero, intermediates in 64 bits, results beyond int moved to its ends. The hits form takes the
/// number of matching positions and gives the quality; the errors form takes the same and gives 255 minus the
/// quality, with exceptions that are part of the system's behaviour and stated at the functions. The fine
/// forms take lengths and matches in weights of `FINE_UNIT` per position. Lengths of 0 are the caller's
/// responsibility where a model does not say what it gives for them: a division by zero gives 0 in the hits
/// form and 255 in the errors form.
///
/// Thread safety: everything here is pure, but for the settings of BIAS, SWAP_BIAS and VAR, which are made
/// before recalls run. The tables are constants, so that `init` only checks.
#pragma once

#include "ace/ace_types.h"

class AceFile;
class AceReporter;

class SORV_API TeraEval {
 public:
  enum Mode : int {
    UNDEF = -1,
    EXACT = 0,
    LEVENSHTEIN = 1,
    PREFIX = 2,
    SUFFIX = 3,
    FACTOR = 4,
    COVER = 5,
    CLOSE = 6,
    EXTEND = 7,
    POSITION = 8,
    BIPOS = 9,
    SEQ = 10,
    BISEQ = 11,
    WILDCARD = 12,
    FRONT = 13,
    BACK = 14,
    MID = 15,
    BIGRAMS = 16,
    SUBSET = 17,
    SUPERSET = 18,
    BLOCKEDIT = 19,
    SUBWORD = 20,
    SCAN = 21,
  };
  static constexpr int NUM_MODES = 22;

  enum Model : int {
    UNKNOWN = -1,
    QUERY = 0,
    QUERY_RAW = 1,
    SHORT = 2,
    EM_QUERY = 3,
    MEAN = 4,
    EM_ENTRY = 5,
    LONG = 6,
    ENTRY = 7,
    ENTRY_RAW = 8,
    UNION = 9,
    MAXIMUM = 10,
    MINIMUM = 11,
    PRODUCT = 12,
    GEO = 13,
    ERRORS = 14,
    RAW = 15,
    REDUNDANT = 16,
    PARTIAL = 17,
    BIAS = 18,
    SWAP_BIAS = 19,
    VAR = 20,
    NUM_MODELS = 21,
    CUSTOM_MODEL = 22,
  };

  /// Why a hit is not perfect; carried as bit sets (1 << reason).
  enum Reason : int {
    MISSING_PREFIX = 0,
    EXTRA_PREFIX = 1,
    MISSING_SUFFIX = 2,
    EXTRA_SUFFIX = 3,
    VARIATION = 4,
    TYPING_ERROR = 5,
    CAPITALIZATION = 6,
    WORD_REORDER = 7,
    ABBREVIATION = 8,
    NUM_REASONS = 9,
  };

  static constexpr int PERFECT = 255;
  /// Weight of one position in fine lengths and matches.
  static constexpr int FINE_UNIT = 255;

  /// A model: query length, measure, entry length.
  using Eval = int(int query, int match, int entry);

  // Names.

  /// The mode of a name in any case; its default model is stored in `*default_model` when that is not null.
  /// Null gives LEVENSHTEIN with MAXIMUM; so does an unknown name, with a warning.
  static Mode get_mode(const char* name, Model* default_model);
  /// The printed name; null when there is no such mode.
  static const char* get_mode_name(Mode mode);
  static Model get_default_model(Mode mode);
  /// The model of a name in any case. Null gives MAXIMUM, an unknown name UNKNOWN.
  static Model get_model_enum(const char* name);
  /// The printed name; null for UNKNOWN and whatever is not a model.
  static const char* get_model_name(Model model);
  /// One character per reason; 0 for ABBREVIATION and whatever is not a reason.
  static char get_reason_code(Reason reason);

  // Models as functions.

  /// The hits form, or with `inverse` the errors form; null for what is not a model.
  static Eval* get_model_func(Model model, int inverse);
  /// The model with the roles of query and entry exchanged.
  static Model get_swap_model(Model model);
  /// The same for hits and errors forms; a function that is no model stays.
  static Eval* swap_model_func(Eval* func);
  static bool is_symmetric(Model model);
  /// The fine form of a hits or errors form; the function itself where units cancel out.
  static Eval* fine_model_func(Eval* func);
  /// 0 only for the hits form of QUERY.
  static int needs_entry_length(Eval* func);
  /// Explains how the quality `qual` came out of the fine weights of query, match and entry.
  static int print_fine_eval_model(Model model, AceReporter* rep, int qual, int query_weight,
                                   int match_weight, int entry_weight);

  // Predicates, for pruning before anything is measured. `func` is a hits form.

  /// The model's value of two half-open ranges by what they share; 0 when they share nothing.
  static int overlap(Eval* func, int from1, int to1, int from2, int to2);
  /// Whether an entry of length `entry` can reach `min_value` at all.
  static int can_satisfy(Eval* func, int query, int entry, int min_value);
  /// Fewest hits with which an entry can reach `min_value`, less the positions by which the query is longer;
  /// at least 1.
  static int get_min_hits(Eval* func, int query, int entry, int min_value);
  /// Largest query length from `entry` to `max_query` up to which full entry matches reach `min_value`.
  static int get_max_query(Eval* func, int entry, int min_value, int max_query);
  /// Narrows the entry lengths [len_min, len_max] to those that can reach `min_value` (not below 1).
  static void limit_lengths(Eval* func, int query_len, int min_value, int& len_min, int& len_max);
  /// Plain quality `a` and phonetic quality `b`, mixed with `percent` of the plain one, after each was moved
  /// to within `max_phonetic_diff` of the other: never above the better one, nor further below it than that.
  static int phone_eval(int a, int b, int percent);
  /// The tunable "MAX_PHONETIC_DIFF"; 30 while that is not positive.
  static int max_phonetic_diff();

  // Length tables.

  /// Points that `diff` positions too many cost: slowly growing, at most 48.
  static int length_reduction(int diff);
  /// The same, four times as strong, at most 128.
  static int strong_reduction(int diff);
  /// What `raw` positions are worth in REDUNDANT, where each further one counts less.
  static int redundant(int raw);
  /// The same for fine lengths shifted right by 4, 0..4095; values outside are moved to the nearer end.
  static int fine_redundant(int raw);

  // Settings.

  /// Bias of the entry lengths [from, to). `from` below 0 counts as 0, `to` below 0 as from + 1, `to` is
  /// capped at 256. Returns `value`, or -1 when it lies outside -100..255.
  static int set_length_bias(int from, int to, int value);
  /// -1 for a negative length; the value of 255 above.
  static int get_length_bias(int length);
  /// The model that BIAS applies first. -1 for BIAS itself and its mirror, and for unknown names; else 0.
  static int set_bias_base_model(const char* name);
  static Model get_bias_base_model();
  /// The model that VAR applies to redundant lengths. -1 for VAR itself, null and unknown names; else 0.
  static int set_var_model(const char* name);
  static Model get_var_model();

  // Persistence: the enum as one integer.

  static void save_algorithm(Mode mode, AceFile* file);
  static void save_model(Model model, AceFile* file);
  /// What is no mode reads as UNDEF.
  static Mode read_algorithm(AceFile* file);
  /// What is no model reads as UNKNOWN.
  static Model read_model(AceFile* file);

  /// Checks that every printed name parses back; throws "Inconsistent mode and model names". Returns 0.
  static int init();

  TeraEval() = delete;
};
