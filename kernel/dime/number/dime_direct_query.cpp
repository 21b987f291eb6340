// What a whole number is worth for a query of the DIRECT method.
#include <algorithm>
#include <bit>
#include <limits>

#include "dime/dime_direct.h"
#include "dime/number/dime_number_text_internal.h"
#include "tera/tera_eval.h"

namespace {

constexpr Huge FARTHEST = -1;
constexpr Huge MOST = std::numeric_limits<Huge>::max();

/// One row per number of exponent bits.
struct Compression {
  int expoBits;
  int fromLogMax;  ///< the least log_max that asks for it
  int exactBits;   ///< numbers up to 2^n keep their value; each doubling has 2^(n - 1) codes
  Huge end;        ///< numbers from there on have the largest code
};
constexpr int LARGEST_CODE = 255;
constexpr Huge LARGEST_VALUE = (Huge{1} << 32) - 1;
constexpr Compression COMPRESSIONS[] = {
    {5, 524288, 4, LARGEST_VALUE + 1}, {4, 4096, 5, 524288}, {3, 512, 6, 4096}, {2, 256, 7, 512}};

/// Of the bits of a number, its length and the highest ones:
///
///     exactBits 6   value 100 = 1 1 0 0 1 0 0   7 bits: doubling 0, step 2
///                                 \_______/     code 64 + 50 - 32
Huge compressed(Huge value, const Compression& row) {
  value = std::min(value, LARGEST_VALUE);
  if (value >= row.end) return LARGEST_CODE;
  const auto length = static_cast<int>(std::bit_width(static_cast<VUint>(value)));
  const int doubling = length - 1 - row.exactBits;
  if (doubling < 0) return value;
  const Huge codes = Huge{1} << (row.exactBits - 1);
  return codes * (doubling + 2) + (value >> (doubling + 1)) - codes;
}

bool ends_number(char c) {
  return c == '\0' || c == ',' || c == '.';
}

}  // namespace

DimeDirectMethod::EvalType DimeDirectMethod::get_eval_type(DastOptions::Call call) {
  switch (call) {
    case DastOptions::EXACT:
      return EQUAL;
    case DastOptions::COMPLETE:
      return AT_LEAST;
    case DastOptions::DETECT:
      return AT_MOST;
    default:
      return ABOUT;
  }
}

int DimeDirectMethod::convert(const char* text, Huge* from, Huge* to) {
  *from = *to = -1;
  if (text == nullptr) return -1;
  Huge first = 0;
  Huge second = MOST;
  const char* rest = dime_read_whole(text, &first);
  const bool hasFirst = rest != nullptr;
  if (!hasFirst) rest = dime_skip_blanks(text);
  bool hasSecond = false;
  const bool isRange = *rest == ';';
  if (isRange) {
    const char* end = dime_read_whole(rest + 1, &second);
    hasSecond = end != nullptr;
    rest = hasSecond ? end : rest + 1;
  }
  if (!(hasFirst || hasSecond) || !ends_number(*rest)) return -1;
  if (!isRange) second = first;
  *from = std::min(first, second);
  *to = std::max(first, second);
  return 0;
}

int DimeDirectMethod::get_expo_bits(int log_max) {
  for (const Compression& row : COMPRESSIONS)
    if (log_max >= row.fromLogMax) return row.expoBits;
  return 0;
}

Huge DimeDirectMethod::scale(Huge value, int factor, int expo_bits) {
  constexpr Huge MOST_CODE = 1048576;
  constexpr Huge MOST_PRODUCT = 429496729599;
  constexpr int PERCENT = 100;
  Huge code = std::max<Huge>(value, 0);
  for (const Compression& row : COMPRESSIONS)
    if (row.expoBits == expo_bits) code = compressed(code, row);
  if (factor == 0) return code;
  if (code > MOST_CODE && code > MOST_PRODUCT / factor) return FARTHEST;
  return factor * code / PERCENT;
}

DimeDirectQuery::DimeDirectQuery(const char* text, DimeDirectMethod::EvalType type, int factor, int expo_bits)
    : evalType(type), scaleFactor(std::max(factor, 0)), expoBits(expo_bits) {
  DimeDirectMethod::convert(text, &queryFrom, &queryTo);
  // The upper end is graded as if it were the lower one.
  scaledFrom = scaledTo = DimeDirectMethod::scale(queryFrom, scaleFactor, expoBits);
}

int DimeDirectQuery::graded(Huge nearer, Huge farther) const {
  if (nearer == FARTHEST || farther == FARTHEST) return 0;
  return static_cast<int>(std::clamp<Huge>(TeraEval::PERFECT - (farther - nearer), 0, TeraEval::PERFECT));
}

int DimeDirectQuery::compare_item(Huge value) const {
  if (queryFrom < 0) return 0;
  if (value >= queryFrom && value <= queryTo) return TeraEval::PERFECT;
  if (evalType == DimeDirectMethod::EQUAL) return 0;
  const Huge scaled = DimeDirectMethod::scale(value, scaleFactor, expoBits);
  if (value < queryFrom)
    return evalType == DimeDirectMethod::AT_MOST ? TeraEval::PERFECT : graded(scaled, scaledFrom);
  return evalType == DimeDirectMethod::AT_LEAST ? TeraEval::PERFECT : graded(scaledTo, scaled);
}

int DimeDirectQuery::compare(const char* entry) {
  Huge value = 0;
  return entry != nullptr && dime_read_whole(entry, &value) != nullptr ? compare_item(value) : 0;
}

bool DimeDirectQuery::equals(const char* entry) const {
  Huge value = 0;
  return entry != nullptr && dime_read_whole(entry, &value) != nullptr && value >= queryFrom &&
         value <= queryTo && queryFrom >= 0;
}
