// What a text says of a premise, and what a value costs by the tables of the header.
#include <algorithm>
#include <climits>
#include <cstring>

#include "dime/dime_premise.h"
#include "dime/number/dime_number_text_internal.h"
#include "tera/tera_eval.h"

namespace {

constexpr int LOST = TeraEval::PERFECT;
constexpr char RANGE_SIGNS[] = "!%*-";

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool is_letter(char c) {
  return c >= 'A' && c <= 'Z';
}

bool is_letter_sign(char c) {
  return c == '-' || c == '*';
}

int parity_of(int number) {
  return number % 2 != 0 ? DimePremise::ODD : DimePremise::EVEN;
}

/// Moves behind a number without sign. Returns it; or 0 and stays, when there is none from 1 to INT_MAX.
int read_number(const char*& text) {
  constexpr int DECIMAL = 10;
  Huge number = 0;
  const char* pos = text;
  for (; is_digit(*pos); ++pos) number = std::min<Huge>(DECIMAL * number + (*pos - '0'), Huge{INT_MAX} + 1);
  if (number == 0 || number > INT_MAX) return 0;
  text = pos;
  return static_cast<int>(number);
}

bool overlap(int from, int to, int other_from, int other_to) {
  return from <= other_to && to >= other_from;
}

/// Whether one inserted, missing or replaced character makes one text the other.
bool differ_by_one(const char* first, const char* second) {
  while (*first != '\0' && *first == *second) {
    ++first;
    ++second;
  }
  const std::size_t restOfFirst = std::strlen(first);
  const std::size_t restOfSecond = std::strlen(second);
  if (restOfFirst == restOfSecond) return restOfFirst > 0 && std::strcmp(first + 1, second + 1) == 0;
  if (restOfFirst == restOfSecond + 1) return std::strcmp(first + 1, second) == 0;
  return restOfSecond == restOfFirst + 1 && std::strcmp(first, second + 1) == 0;
}

}  // namespace

// ---------------------------------------------------------------- reading

void DimePremise::parse(const char* text) {
  queryString = text != nullptr ? text : "";
  primTo = secFrom = secTo = 0;
  extString = nullptr;
  isRange = false;
  const char* rest = dime_skip_blanks(queryString.c_str());
  primFrom = read_number(rest);
  primParity = primFrom > 0 ? parity_of(primFrom) : UNKNOWN;
  if (*rest == '\0') return;
  clean_rest(static_cast<std::size_t>(rest - queryString.c_str()));
  const bool isSigned = primFrom == 0 && *rest == '-';  // which makes no number
  if (!isSigned && *rest != '\0' && std::strchr(RANGE_SIGNS, *rest) != nullptr)
    rest = parse_range(rest);
  else if (is_letter(*rest))
    rest = parse_letters(rest);
  if (*rest != '\0') extString = rest;
}

void DimePremise::clean_rest(std::size_t from) {
  std::size_t end = from;
  for (std::size_t i = from; i < queryString.size(); ++i) {
    const char c = queryString[i];
    if (c != '.' && c != ' ')
      queryString[end++] = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  queryString.resize(end);
}

/// Returns where the extension begins, if there is one: at the sign when no number follows.
const char* DimePremise::parse_range(const char* rest) {
  const char sign = *rest;
  isRange = true;
  const char* end = rest + 1;
  primTo = read_number(end);
  if (primTo > 0 && primTo < primFrom) std::swap(primFrom, primTo);
  if (primFrom > 0) primParity = parity_of(primFrom);
  if (sign == '*') primParity = BOTH;
  if (sign == '!') primParity = EVEN;
  if (sign == '%') primParity = ODD;
  return primTo > 0 ? end : rest;
}

const char* DimePremise::parse_letters(const char* rest) {
  if (rest[1] == '\0') {
    secFrom = rest[0];
    return rest + 1;
  }
  if (!is_letter_sign(rest[1]) || !is_letter(rest[2])) return rest;
  secFrom = rest[0];
  secTo = rest[2];
  return rest + 3;
}

// ---------------------------------------------------------------- penalties

DimePremiseQuery::DimePremiseQuery(const char* text, const DimePremiseRecallOptions& options) : opt(options) {
  asked.parse(text);
  if (opt.useLcs && text != nullptr) lcsCmp = std::make_unique<TeraLCS>(text);
}

int DimePremiseQuery::compare_primary(const DimePremise& entry) const {
  if (asked.primFrom == 0) return entry.primFrom != 0 ? LOST : 2 * compare_secondary(entry);
  if (asked.primTo != 0) return compare_ranges(entry);
  if (entry.primTo != 0) return compare_in_range(entry);
  return asked.primFrom == entry.primFrom ? compare_secondary(entry) : LOST;
}

/// A number in a range of values.
int DimePremiseQuery::compare_in_range(const DimePremise& entry) const {
  if (asked.primFrom < entry.primFrom || asked.primFrom > entry.primTo) return LOST;
  const bool isPenalized = opt.penalizeExtensionInRange && asked.has_letter_or_extension();
  return (shares_parity(entry) ? 0 : opt.parityFault) + (isPenalized ? opt.missingExtension : 0);
}

/// A range and a value, or a range of them.
int DimePremiseQuery::compare_ranges(const DimePremise& entry) const {
  if (entry.primTo == 0) {
    const bool isInside = entry.primFrom >= asked.primFrom && entry.primFrom <= asked.primTo;
    return isInside ? opt.boundaryFault : LOST;
  }
  if (!overlap(asked.primFrom, asked.primTo, entry.primFrom, entry.primTo)) return LOST;
  const bool isInside = entry.primFrom <= asked.primFrom && asked.primTo <= entry.primTo;
  return (isInside ? 0 : opt.boundaryFault) + (shares_parity(entry) ? 0 : opt.parityFault);
}

int DimePremiseQuery::compare_secondary(const DimePremise& entry) const {
  if (asked.secTo != 0) return compare_letter_range(entry);
  if (asked.secFrom != 0) return compare_letter(entry);
  if (entry.secFrom == 0) return compare_extension(entry);
  return asked.extString != nullptr ? opt.incorrectExtension : opt.missingExtension;
}

int DimePremiseQuery::compare_letter_range(const DimePremise& entry) const {
  if (entry.secTo == 0) {
    const bool isInside = entry.secFrom >= asked.secFrom && entry.secFrom <= asked.secTo;
    return isInside ? opt.boundaryFault : opt.incorrectExtension;
  }
  if (!overlap(asked.secFrom, asked.secTo, entry.secFrom, entry.secTo)) return opt.incorrectExtension;
  return asked.secFrom < entry.secFrom || asked.secTo > entry.secTo ? opt.boundaryFault : 0;
}

int DimePremiseQuery::compare_letter(const DimePremise& entry) const {
  if (entry.secTo != 0) {
    const bool isInside = asked.secFrom >= entry.secFrom && asked.secFrom <= entry.secTo;
    return isInside ? 0 : opt.incorrectExtension;
  }
  if (entry.secFrom == asked.secFrom) return compare_extension(entry) / 2;
  return entry.secFrom == 0 && asked.extString == nullptr ? opt.missingExtension : opt.incorrectExtension;
}

int DimePremiseQuery::compare_extension(const DimePremise& entry) const {
  if (asked.extString == nullptr && entry.extString == nullptr) return 0;
  if (asked.extString == nullptr || entry.extString == nullptr) return opt.missingExtension;
  if (std::strcmp(asked.extString, entry.extString) == 0) return 0;
  return differ_by_one(asked.extString, entry.extString) ? opt.incorrectExtension / 2
                                                         : opt.incorrectExtension;
}

// ---------------------------------------------------------------- qualities

int DimePremiseQuery::score(const char* entry, DimePremise* parsed) const {
  if (entry == nullptr) return 0;
  parsed->parse(entry);
  int quality = std::max(TeraEval::PERFECT - compare_primary(*parsed), 0);
  if (quality < TeraEval::PERFECT && lcsCmp != nullptr) {
    static TeraEval::Eval* const mean = TeraEval::get_model_func(TeraEval::MEAN, 0);
    const int common = mean(lcsCmp->get_length(), lcsCmp->match(entry), static_cast<int>(std::strlen(entry)));
    quality = std::max(quality, std::min(common, TeraEval::PERFECT));
  }
  return quality;
}

bool DimePremiseQuery::equals(const char* entry) const {
  if (entry == nullptr) return false;
  DimePremise value;
  value.parse(entry);
  return value.queryString == asked.queryString;
}

char* DimePremiseQuery::display(const char* entry, AceAttach* at) const {
  const bool isAccepted = [&] {
    if (asked.isRange || entry == nullptr || std::strpbrk(entry, RANGE_SIGNS) == nullptr) return false;
    DimePremise parsed;
    return score(entry, &parsed) >= std::max(opt.minDisplay, 1);
  }();
  return at->attach(isAccepted ? asked.queryString.c_str() : entry);
}
