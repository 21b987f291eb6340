#include <algorithm>
#include <cstring>
#include <string>

#include "ace/ace_error.h"

#include "dast/alias/dast_country_codes_internal.h"
#include "dast/dast_alias_kinds.h"

namespace {

constexpr const char* SEPARATORS = " -/.()";
constexpr const char* DIGITS = "0123456789";
constexpr const char* GERMANY = "49";
constexpr std::size_t LONGEST_CODE = 3;
constexpr const char* TWO_DIGIT_AREAS[] = {"30", "40", "69", "89"};
constexpr const char* MOBILE_AREAS[] = {"15", "16", "17"};  // and one digit more
constexpr std::size_t MOBILE_DIGITS = 3;

bool starts_with(const char* text, const char* start) {
  return std::strncmp(text, start, std::strlen(start)) == 0;
}

const char* skip_separators(const char* text) {
  return text + std::strspn(text, SEPARATORS);
}

/// Null when the number does not begin with a country code.
const char* remove_country_prefix(const char* number, std::string* code) {
  const auto codes = dast::country_codes();
  for (std::size_t length = 1; length <= std::min(LONGEST_CODE, std::strspn(number, DIGITS)); ++length) {
    const std::string start(number, length);
    const auto found = std::lower_bound(codes.begin(), codes.end(), start);
    if (found == codes.end() || *found != start) continue;
    *code = start;
    number = skip_separators(number + length);
    return *number == '0' && std::strchr(SEPARATORS, number[1]) != nullptr && number[1] != 0 &&
                   number[-1] == '('
               ? skip_separators(number + 1)  // the "(0)" of those who stay in the country
               : number;
  }
  return nullptr;
}

/// Of a German number without the 0 in front, what follows the area code; null when that is not known.
const char* remove_local_prefix(const char* number) {
  const std::size_t numDigits = std::strspn(number, DIGITS);
  const auto is_start = [=](const char* area) { return starts_with(number, area); };
  std::size_t area = number[numDigits] != 0 ? numDigits : 0;
  if (std::ranges::any_of(TWO_DIGIT_AREAS, is_start)) area = std::strlen(TWO_DIGIT_AREAS[0]);
  if (std::ranges::any_of(MOBILE_AREAS, is_start)) area = std::min(MOBILE_DIGITS, numDigits);
  const char* local = skip_separators(number + area);
  return area > 0 && std::strchr(DIGITS, *local) != nullptr && *local != 0 ? local : nullptr;
}

}  // namespace

int DastTelephoneAliasGenerator::configure(const char* options, AceReporter* rep) {
  const auto parser = DastTelephoneAliasGeneratorDefaults().get_parser();
  ACE_CALL(parser->parse(options, rep));
  aliasPenalty = parser->get_int_value("alias_penalty");
  return 0;
}

int DastTelephoneAliasGenerator::generate_aliases(const char* value, DastAliasResult* result,
                                                  AceReporter*) const {
  value += std::strspn(value, " ");
  const bool isInternational = *value == '+' || starts_with(value, "00");
  if (!isInternational && *value != '0') return 0;
  int numAliases = 0;
  const char* national = skip_separators(value + 1);
  if (isInternational) {
    std::string code;
    const char* number = skip_separators(*value == '+' ? value + 1 : value + 2);
    national = remove_country_prefix(number, &code);
    if (national == nullptr || std::strpbrk(national, DIGITS) == nullptr) return 0;
    numAliases += result->add_alias(national, aliasPenalty);
    if (code != GERMANY) return numAliases;
  }
  const char* local = remove_local_prefix(national);
  return local != nullptr ? numAliases + result->add_alias(local, aliasPenalty) : numAliases;
}

std::unique_ptr<DastAliasGenerator> DastTelephoneAliasGenerator::clone() const {
  return std::make_unique<DastTelephoneAliasGenerator>(*this);
}

std::unique_ptr<DastAliasGenerator> create_telephone_generator() {
  return std::make_unique<DastTelephoneAliasGenerator>();
}
