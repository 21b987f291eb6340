// Sets of entries by their flags, and what a query's flags find.
#include <algorithm>
#include <bit>

#include "tera/count/count_kernel_internal.h"
#include "tera/tera_count.h"
#include "tera/tera_proc.h"
#include "tera/tera_result.h"

namespace {

/// What a first step amounts to behind a filling, which it makes unnecessary.
CountOp joined(CountOp filling, CountOp op) {
  if (filling == CountOp::ONES && op == CountOp::AND) return CountOp::COPY;
  if (filling == CountOp::ONES && op == CountOp::AND_NOT) return CountOp::COPY_NOT;
  if (filling == CountOp::ZEROS && op == CountOp::OR) return CountOp::COPY;
  if (filling == CountOp::ZEROS && op == CountOp::OR_NOT) return CountOp::COPY_NOT;
  return op;
}

}  // namespace

/// The steps that make a set.
struct TeraCount::Plan {
  /// All that went before does not count any more.
  void start(CountOp op, const VBit* from = nullptr) { steps.assign(1, {op, from}); }
  void add(CountOp op, const VBit* from) {
    const CountOp whole = steps.size() == 1 ? joined(steps[0].op, op) : op;
    if (whole != op) steps.clear();
    steps.push_back({whole, from});
  }

  std::vector<CountStep> steps;
};

VBit* TeraCount::run(const Plan& plan, AceAttach* at) const {
  VBit* bits = nullptr;
  at->malloc(bits, numWords);
  count_combine(plan.steps, bits, index(numWords));
  if (numWords > 0) trim_bits(bits);
  return bits;
}

// ---------------------------------------------------------------- flag lists

const VBit* TeraCount::get_exact(int n, const int* values, AceAttach* at) const {
  if (n < 1 || !has_flags(n, values)) return nullptr;
  Plan plan;
  plan.start(CountOp::ONES);
  for (const int value : std::span(values, index(n))) {
    const bool isNegated = value < 0;
    const VBit* array = get_array(isNegated ? ~value : value);
    if (array != nullptr) {
      plan.add(isNegated ? CountOp::AND_NOT : CountOp::AND, array);
    } else if (!isNegated) {
      plan.start(CountOp::ZEROS);
      break;
    }
  }
  return run(plan, at);
}

const VBit* TeraCount::get_group(int n, const int* values, AceAttach* at) const {
  if (n < 1 || !has_flags(n, values)) return nullptr;
  if (n == 1 && values[0] >= 0 && numWords > 0) {
    VBit* const stored = bitArray[index(values[0])];
    const int behind = numEntry % WORD_BITS;
    // A file may have bits beyond the entries.
    if (stored != nullptr && (behind == 0 || stored[numWords - 1] >> behind == 0)) return stored;
  }
  Plan plan;
  plan.start(CountOp::ZEROS);
  for (const int value : std::span(values, index(n))) {
    const bool isNegated = value < 0;
    const VBit* array = get_array(isNegated ? ~value : value);
    if (array != nullptr) {
      plan.add(isNegated ? CountOp::OR_NOT : CountOp::OR, array);
    } else if (isNegated) {
      plan.start(CountOp::ONES);
      break;
    }
  }
  return run(plan, at);
}

// ---------------------------------------------------------------- numbers

namespace {

/// The largest number of `nbits` + 1 bits.
VUint most_of(int nbits) {
  constexpr int ALL_BITS = 32;
  return nbits < 0 ? 0 : (VUint{1} << std::min(nbits + 1, ALL_BITS)) - 1;
}

bool bit_of(unsigned value, int k) {
  constexpr int NUM_BITS = 32;
  return k < NUM_BITS && (value >> k & 1) != 0;
}

}  // namespace

const VBit* TeraCount::get_numeric_exact(unsigned value, int first, int nbits, int negate,
                                         AceAttach* at) const {
  if (nbits >= 0 && !has_run(first, nbits)) return nullptr;
  Plan plan;
  plan.start(CountOp::ONES);
  if (value > most_of(nbits)) plan.start(CountOp::ZEROS);
  for (int k = nbits; k >= 0 && value <= most_of(nbits); --k) {
    const VBit* array = get_array(first + k);
    const bool isSet = bit_of(value, k);
    if (array != nullptr) {
      plan.add(isSet ? CountOp::AND : CountOp::AND_NOT, array);
    } else if (isSet) {
      plan.start(CountOp::ZEROS);
      break;
    }
  }
  VBit* const bits = run(plan, at);
  if (negate != 0 && numWords > 0) {
    TeraProc::bit_not({bits, index(numWords)});
    trim_bits(bits);
  }
  return bits;
}

const VBit* TeraCount::get_numeric_geq(unsigned value, int first, int nbits, AceAttach* at) const {
  if (nbits >= 0 && !has_run(first, nbits)) return nullptr;
  Plan plan;
  plan.start(value > most_of(nbits) ? CountOp::ZEROS : CountOp::ONES);
  for (int k = 0; k <= nbits && value != 0 && value <= most_of(nbits); ++k) {
    const VBit* array = get_array(first + k);
    const bool isSet = bit_of(value, k);
    if (array != nullptr)
      plan.add(isSet ? CountOp::AND : CountOp::OR, array);
    else if (isSet)
      plan.start(CountOp::ZEROS);
  }
  return run(plan, at);
}

const VBit* TeraCount::get_numeric_smaller(unsigned value, int first, int nbits, AceAttach* at) const {
  if (nbits >= 0 && !has_run(first, nbits)) return nullptr;
  Plan plan;
  const bool isMore = nbits >= 0 && value > most_of(nbits);
  plan.start(isMore ? CountOp::ONES : CountOp::ZEROS);
  for (int k = 0; k <= nbits && value != 0 && !isMore; ++k) {
    const VBit* array = get_array(first + k);
    const bool isSet = bit_of(value, k);
    if (array != nullptr)
      plan.add(isSet ? CountOp::OR_NOT : CountOp::AND_NOT, array);
    else if (isSet)
      plan.start(CountOp::LOW_BITS);
  }
  return run(plan, at);
}

// ---------------------------------------------------------------- arrays

const VBit* TeraCount::intersect(const VBit* first, const VBit* second, AceAttach* at) const {
  if (first == nullptr || second == nullptr) return nullptr;
  Plan plan;
  plan.start(CountOp::COPY, first);
  plan.add(CountOp::AND, second);
  return run(plan, at);
}

const VBit* TeraCount::bit_union(const VBit* first, const VBit* second, AceAttach* at) const {
  if (first == nullptr || second == nullptr) return nullptr;
  Plan plan;
  plan.start(CountOp::COPY, first);
  plan.add(CountOp::OR, second);
  return run(plan, at);
}

int TeraCount::get_first_entry(const VBit* bits) const {
  return bits != nullptr ? TeraProc::first({bits, index(numWords)}) : -1;
}

int TeraCount::get_all_combis(int value, Large** out, AceAttach* at) const {
  *out = nullptr;
  if (!has_value(value)) return -1;
  const VBit* array = bitArray[index(value)];
  std::vector<Large> entries;
  for (int word = 0; array != nullptr && word < numWords; ++word)
    for (VBit bits = array[word]; bits != 0; bits &= bits - 1) {
      const VInt entry = VInt{word} * WORD_BITS + std::countr_zero(bits);
      if (entry < numEntry) entries.push_back(static_cast<Large>(entry));
    }
  at->malloc(*out, static_cast<long>(entries.size()));
  std::copy(entries.begin(), entries.end(), *out);
  return static_cast<int>(entries.size());
}

// ---------------------------------------------------------------- matching

int TeraCount::match(TeraResult* result, int ngroups, const VBit* const* bits, TeraEval::Model model) const {
  TeraEval::Eval* const eval = TeraEval::get_model_func(model, 0);
  if (result == nullptr || eval == nullptr || ngroups < 1 || bits == nullptr) return -1;
  if (maxGroups == 0) return match_ungrouped(result, ngroups, bits, eval);
  TeraProc proc;
  // One bit would make all that are found perfect.
  proc.start(numWords, std::max(static_cast<int>(std::bit_width(static_cast<unsigned>(ngroups))), 2));
  for (int i = 0; i < ngroups; ++i)
    if (bits[i] != nullptr) proc.add(bits[i]);
  proc.finish();
  return proc.get_cands(0, numEntry, fillOffset.data() + 1, ngroups, eval, 0, result, maxGroups);
}

/// Entries in any order: their flags are counted.
int TeraCount::match_ungrouped(TeraResult* result, int ngroups, const VBit* const* bits,
                               TeraEval::Eval* eval) const {
  int numTaken = 0;
  for (int entry = 0; entry < numEntry; ++entry) {
    int numHits = 0;
    for (int i = 0; i < ngroups; ++i) numHits += bits[i] != nullptr && get_bit(bits[i], entry) ? 1 : 0;
    const int numFlags = numHits > 0 ? get_flags(entry, 0, nullptr, 0) : 0;
    if (numFlags == 0) continue;
    const int quality = std::clamp(eval(ngroups, numHits, numFlags), 0, TeraEval::PERFECT);
    if (result->accept(quality)) numTaken += result->add(quality, static_cast<Large>(entry));
  }
  return numTaken;
}
