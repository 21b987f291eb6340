// The models' formulas and length tables; names, predicates and settings are in tera_eval.cpp.
#include "tera/tera_eval.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>

namespace {

using Eval = TeraEval::Eval;

constexpr int PERFECT = TeraEval::PERFECT;
constexpr VInt UNIT = TeraEval::FINE_UNIT;
constexpr int RED_SIZE = 256;        // entries of R
constexpr int FINE_RED_SIZE = 4096;  // entries of Rf
constexpr int RED_MAX_FINE = 65535;  // longest fine length that REDUNDANT and VAR tell apart
constexpr int FINE_RED_SHIFT = 4;
constexpr int MAX_SQUARED = 1 << 27;   // 255 times the square of more would not fit 64 bits
constexpr double FIRST_GAIN = 170.0;   // what the first positions are worth on top of
constexpr double LASTING_GAIN = 85.0;  // what every position is worth
constexpr double RED_WIDTH = 100.0;
constexpr double FINE_RED_WIDTH = 25600.0;

/// A sum of gains that fall from 255 to 85 per position, rounded down.
template <std::size_t N>
std::array<int, N> make_redundant_lengths(double width) {
  std::array<int, N> table{};
  double sum = 0;
  for (std::size_t i = 1; i < N; ++i) {
    const auto position = static_cast<double>(i);
    sum += LASTING_GAIN + FIRST_GAIN * std::exp(-position * position / width);
    table[i] = static_cast<int>(sum);
  }
  return table;
}

// Made when the library is loaded.
const std::array<int, RED_SIZE> redundant_length = make_redundant_lengths<RED_SIZE>(RED_WIDTH);
const std::array<int, FINE_RED_SIZE> fine_red_length = make_redundant_lengths<FINE_RED_SIZE>(FINE_RED_WIDTH);

/// Moved to the nearer end of what an int holds.
constexpr int to_int(VInt value) {
  return static_cast<int>(std::clamp<VInt>(value, INT_MIN, INT_MAX));
}

/// Division that gives 0 for a length of 0.
constexpr int quotient(VInt dividend, VInt divisor) {
  return divisor != 0 ? to_int(dividend / divisor) : 0;
}

constexpr int clamp(VInt value) {
  return static_cast<int>(std::clamp<VInt>(value, 0, PERFECT));
}

/// A reduction that grows by a half as fast with each doubling of the length.
///
///     diff  0..first: factor * diff;  ..2 first: factor/2 * diff + step;  ..4 first: factor/4 * diff + 2
///     step
constexpr int reduction(int diff, int factor, int step, int last, int maximum) {
  if (diff < 0) return 0;
  int limit = 8;
  int offset = 0;
  int divisor = 1;
  while (diff > limit) {
    if (limit == last) return maximum;
    limit *= 2;
    divisor *= 2;
    offset += step;
  }
  return factor * diff / divisor + offset;
}

// ---------------------------------------------------------------- formulas shared by the forms
// A quality is a share of 255, cut, not rounded: q and e are lengths, x is what matches.

int hits_query(int q, int x, int) {
  return quotient(255L * x, q);
}
int hits_query_raw(int q, int x, int) {
  return to_int(255L - q + x);
}
int hits_short(int q, int x, int e) {
  return q == 0 ? 0 : clamp(255L * x / q - TeraEval::length_reduction(to_int(VInt{e} - x)));
}
int hits_em_query(int q, int x, int e) {
  return quotient(2040L * x, 7L * q + e);
}
int hits_mean(int q, int x, int e) {
  return quotient(510L * x, VInt{q} + e);
}
int hits_em_entry(int q, int x, int e) {
  return quotient(2040L * x, q + 7L * e);
}
int hits_long(int q, int x, int e) {
  return hits_short(e, x, q);
}
int hits_entry(int, int x, int e) {
  return quotient(255L * x, e);
}
int hits_entry_raw(int, int x, int e) {
  return to_int(255L - e + x);
}
int hits_union(int q, int x, int e) {
  return quotient(255L * x, VInt{q} + e - x);
}
int hits_maximum(int q, int x, int e) {
  return quotient(255L * x, std::max(q, e));
}
int hits_minimum(int q, int x, int e) {
  return quotient(255L * x, std::min(q, e));
}
int hits_product(int q, int x, int e) {
  while (x > MAX_SQUARED || x < -MAX_SQUARED) {  // the ratio stays
    q /= 2;
    x /= 2;
    e /= 2;
  }
  return quotient(255L * x * x, VInt{q} * e);
}
int hits_geo(int q, int x, int e) {
  const double product = static_cast<double>(q) * e;
  return product > 0 ? to_int(static_cast<VInt>(255.0 * x / std::sqrt(product))) : 0;
}
int hits_raw(int q, int x, int e) {
  return to_int(255L - std::max(q, e) + x);
}

int hits_errors(int q, int x, int e) {
  if (q < e) return quotient(255L * x, q);
  const VInt effective = VInt{q} - e + x;
  return effective <= 0 ? 0 : quotient(255 * effective, q);
}
/// Takes the match of the longer query, and that of the entry otherwise: not the mirror of `hits_errors`.
int errs_errors(int q, int x, int e) {
  return to_int(255L - quotient(255L * (q <= e ? VInt{x} + q - e : VInt{x}), q));
}

bool is_redundant_range(int q, int x, int e) {
  return std::max({q, x, e}) < RED_SIZE;
}
int hits_redundant(int q, int x, int e) {
  if (!is_redundant_range(q, x, e)) return 0;
  return quotient(255L * TeraEval::redundant(x), TeraEval::redundant(std::max(q, e)));
}
int errs_redundant(int q, int x, int e) {
  return is_redundant_range(q, x, e) ? 255 - hits_redundant(q, x, e) : 0;
}

/// PARTIAL before the decision on perfect hits; `unit` is the weight of one position.
VInt partial_sum(VInt longer, VInt shorter, VInt match, VInt unit) {
  const int base = TeraEval::strong_reduction(static_cast<int>(shorter / unit));
  return base + (255 - TeraEval::strong_reduction(static_cast<int>(longer / unit))) * match / shorter;
}
int partial(int q, int x, int e, VInt unit) {
  const int longer = std::max(q, e);
  const int shorter = std::min(q, e);
  if (shorter == 0) return 0;
  const VInt sum = partial_sum(longer, shorter, x, unit);
  // 255 is kept for what is perfect in one of the words.
  if (sum > 255 || (sum == 255 && x != longer && x != shorter)) return 254;
  return to_int(sum);
}
int hits_partial(int q, int x, int e) {
  return partial(q, x, e, 1);
}
int errs_partial(int q, int x, int e) {
  return to_int(255L - partial(q, x, e, 1));
}

/// The base model's value moved by the bias of a length and scaled back.
int biased(int base, int bias) {
  return base <= -bias ? 0 : to_int(255L * (VInt{base} + bias) / (bias + 255));
}
Eval* base_model() {
  return TeraEval::get_model_func(TeraEval::get_bias_base_model(), 0);
}
int hits_bias(int q, int x, int e) {
  return biased(base_model()(q, x, e), TeraEval::get_length_bias(std::clamp(e, 0, 255)));
}

int hits_var(int q, int x, int e) {
  if (!is_redundant_range(q, x, e)) return 0;
  return TeraEval::get_model_func(TeraEval::get_var_model(), 0)(
      TeraEval::redundant(q), TeraEval::redundant(x), TeraEval::redundant(e));
}
int errs_var(int q, int x, int e) {
  return is_redundant_range(q, x, e) ? 255 - hits_var(q, x, e) : 255;
}

// ---------------------------------------------------------------- fine forms
// Lengths and matches are in units of 1/UNIT; where a formula divides them by each other the plain form
// serves.

int fine_short(int q, int x, int e) {
  return q == 0 ? 0
                : clamp(255L * x / q - TeraEval::length_reduction(static_cast<int>((VInt{e} - x) / UNIT)));
}
int fine_long(int q, int x, int e) {
  return fine_short(e, x, q);
}

/// An errors form that charges the length difference unreduced.
int fine_distance(VInt length, VInt match, VInt difference) {
  if (length == 0) return 0;
  const VInt sum = 255 * match / length + difference / UNIT;
  return sum < 0 ? 255 : sum >= 256 ? 0 : static_cast<int>(255 - sum);
}
int fine_short_errors(int q, int x, int e) {
  return fine_distance(q, x, VInt{e} - q);
}
int fine_long_errors(int q, int x, int e) {
  return fine_distance(e, x, VInt{q} - e);
}

int fine_partial(int q, int x, int e) {
  return partial(q, x, e, UNIT);
}
int fine_partial_errors(int q, int x, int e) {
  return fine_distance(std::min(q, e), x, VInt{std::max(q, e)} - std::min(q, e));
}

bool is_fine_redundant_range(int q, int x, int e) {
  return std::max({q, x, e}) <= RED_MAX_FINE;
}
int fine_redundant_ratio(int q, int x, int e) {
  return quotient(255L * TeraEval::fine_redundant(x >> FINE_RED_SHIFT),
                  TeraEval::fine_redundant(std::max(q, e) >> FINE_RED_SHIFT));
}
int fine_redundant_hits(int q, int x, int e) {
  return is_fine_redundant_range(q, x, e) ? fine_redundant_ratio(q, x, e) : hits_maximum(q, x, e);
}
int fine_redundant_errors(int q, int x, int e) {
  return is_fine_redundant_range(q, x, e) ? 255 - fine_redundant_ratio(q, x, e) : 0;
}

int fine_raw_errors(int q, int x, int e) {
  return static_cast<int>((VInt{std::max(q, e)} - x) / UNIT);
}
int fine_raw(int q, int x, int e) {
  return 255 - fine_raw_errors(q, x, e);
}
// These hits forms add the match to the length.
int fine_query_raw(int q, int x, int) {
  return static_cast<int>(255 - (VInt{q} + x) / UNIT);
}
int fine_query_raw_errors(int q, int x, int) {
  return static_cast<int>((VInt{q} - x) / UNIT);
}
int fine_entry_raw(int, int x, int e) {
  return fine_query_raw(e, x, 0);
}
int fine_entry_raw_errors(int, int x, int e) {
  return fine_query_raw_errors(e, x, 0);
}

int fine_bias(int q, int x, int e) {
  return biased(TeraEval::fine_model_func(base_model())(q, x, e),
                TeraEval::get_length_bias(e > RED_MAX_FINE ? 255 : std::max(e, 0) / 256));
}

int fine_var(int q, int x, int e) {
  while (!is_fine_redundant_range(q, x, e)) {
    q >>= 8;
    x >>= 8;
    e >>= 8;
  }
  const auto fine = [](int length) { return TeraEval::fine_redundant(length >> FINE_RED_SHIFT); };
  return TeraEval::get_model_func(TeraEval::get_var_model(), 0)(fine(q), fine(x), fine(e));
}

// ---------------------------------------------------------------- derived forms
// Errors are 255 less the hits, unless a model has a formula of its own for them.

template <Eval* HITS>
int errors_of(int q, int x, int e) {
  return to_int(255L - HITS(q, x, e));
}
template <Eval* FUNC>
int swapped(int q, int x, int e) {
  return FUNC(e, x, q);
}
int errs_query_raw(int q, int x, int) {
  return to_int(VInt{q} - x);
}
int errs_entry_raw(int, int x, int e) {
  return to_int(VInt{e} - x);
}
int errs_raw(int q, int x, int e) {
  return to_int(VInt{std::max(q, e)} - x);
}

struct ModelForms {
  Eval* hits;
  Eval* errors;
  Eval* fineHits;  // the hits form itself where units cancel out
  Eval* fineErrors;
  TeraEval::Model swapModel;
};

template <Eval* HITS>
constexpr ModelForms unit_free(TeraEval::Model swapModel) {
  return {HITS, errors_of<HITS>, HITS, errors_of<HITS>, swapModel};
}

/// In the order of the enum.
constexpr ModelForms FORMS[] = {
    unit_free<hits_query>(TeraEval::ENTRY),
    {hits_query_raw, errs_query_raw, fine_query_raw, fine_query_raw_errors, TeraEval::ENTRY_RAW},
    {hits_short, errors_of<hits_short>, fine_short, fine_short_errors, TeraEval::LONG},
    unit_free<hits_em_query>(TeraEval::EM_ENTRY),
    unit_free<hits_mean>(TeraEval::MEAN),
    unit_free<hits_em_entry>(TeraEval::EM_QUERY),
    {hits_long, errors_of<hits_long>, fine_long, fine_long_errors, TeraEval::SHORT},
    unit_free<hits_entry>(TeraEval::QUERY),
    {hits_entry_raw, errs_entry_raw, fine_entry_raw, fine_entry_raw_errors, TeraEval::QUERY_RAW},
    unit_free<hits_union>(TeraEval::UNION),
    unit_free<hits_maximum>(TeraEval::MAXIMUM),
    unit_free<hits_minimum>(TeraEval::MINIMUM),
    unit_free<hits_product>(TeraEval::PRODUCT),
    unit_free<hits_geo>(TeraEval::GEO),
    {hits_errors, errs_errors, hits_errors, errs_errors, TeraEval::ERRORS},
    {hits_raw, errs_raw, fine_raw, fine_raw_errors, TeraEval::RAW},
    {hits_redundant, errs_redundant, fine_redundant_hits, fine_redundant_errors, TeraEval::REDUNDANT},
    {hits_partial, errs_partial, fine_partial, fine_partial_errors, TeraEval::PARTIAL},
    {hits_bias, errors_of<hits_bias>, fine_bias, errors_of<fine_bias>, TeraEval::SWAP_BIAS},
    {swapped<hits_bias>, errors_of<swapped<hits_bias>>, swapped<fine_bias>, errors_of<swapped<fine_bias>>,
     TeraEval::BIAS},
    {hits_var, errs_var, fine_var, errors_of<fine_var>, TeraEval::VAR},
};
static_assert(std::size(FORMS) == TeraEval::NUM_MODELS);

}  // namespace

int TeraEval::length_reduction(int diff) {
  return reduction(diff, 1, 4, 8192, 48);
}

int TeraEval::strong_reduction(int diff) {
  return reduction(diff, 4, 16, 512, 128);
}

int TeraEval::redundant(int raw) {
  return redundant_length[static_cast<std::size_t>(std::clamp(raw, 0, RED_SIZE - 1))];
}

int TeraEval::fine_redundant(int raw) {
  return fine_red_length[static_cast<std::size_t>(std::clamp(raw, 0, FINE_RED_SIZE - 1))];
}

TeraEval::Eval* TeraEval::get_model_func(Model model, int inverse) {
  if (model < 0 || model >= NUM_MODELS) return nullptr;
  return inverse != 0 ? FORMS[model].errors : FORMS[model].hits;
}

TeraEval::Model TeraEval::get_swap_model(Model model) {
  if (model == NUM_MODELS) return QUERY;
  return model >= 0 && model < NUM_MODELS ? FORMS[model].swapModel : model;
}

bool TeraEval::is_symmetric(Model model) {
  return get_swap_model(model) == model;
}

TeraEval::Eval* TeraEval::swap_model_func(Eval* func) {
  for (const ModelForms& forms : FORMS) {
    if (func == forms.hits) return FORMS[forms.swapModel].hits;
    if (func == forms.errors) return FORMS[forms.swapModel].errors;
  }
  return func;
}

TeraEval::Eval* TeraEval::fine_model_func(Eval* func) {
  for (const ModelForms& forms : FORMS) {
    if (func == forms.hits) return forms.fineHits;
    if (func == forms.errors) return forms.fineErrors;
  }
  return func;
}

int TeraEval::needs_entry_length(Eval* func) {
  return func != hits_query ? 1 : 0;
}
