#include "ace/ace_str_number.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <string>
#include <string_view>

#include "ace/ace_attach.h"
#include "ace/ace_str_internal.h"

namespace {

constexpr int MAX_WIDTH = 6;
constexpr int MAX_DIGITS = 64;  // of a 64-bit number in base 2
constexpr unsigned MIN_BASE = 2;
constexpr unsigned MAX_BASE = 36;

constexpr std::array<const char*, 21> ROMAN_NUMERALS = {"I",    "II",  "III",  "IV",    "V",   "VI",   "VII",
                                                        "VIII", "IX",  "X",    "XI",    "XII", "XIII", "XIV",
                                                        "XV",   "XVI", "XVII", "XVIII", "XIX", "XX",   "XXI"};

struct RomanSymbol {
  int value;
  std::string_view symbol;
  int maxRepeats;
};
constexpr RomanSymbol ROMAN_SYMBOLS[] = {
    {1000, "M", 3}, {900, "CM", 1}, {500, "D", 1}, {400, "CD", 1}, {100, "C", 3}, {90, "XC", 1}, {50, "L", 1},
    {40, "XL", 1},  {10, "X", 3},   {9, "IX", 1},  {5, "V", 1},    {4, "IV", 1},  {1, "I", 3}};

/// The numeral of 1 to 3999 in its usual form: the largest symbols first.
std::string roman_numeral(int n) {
  std::string text;
  for (const RomanSymbol& symbol : ROMAN_SYMBOLS)
    for (; n >= symbol.value; n -= symbol.value) text += symbol.symbol;
  return text;
}

}  // namespace

int strtonum(const char* s, int def) {
  if (s == nullptr) return def;
  char* end = nullptr;
  const long value = std::strtol(s, &end, 10);
  return end != s ? static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX)) : def;
}

Large strtolarge(const char* s, Large def) {
  if (s == nullptr) return def;
  char* end = nullptr;
  const unsigned long value = std::strtoul(s, &end, 10);
  return end != s ? static_cast<Large>(std::min<unsigned long>(value, UINT_MAX)) : def;
}

VInt strtonum_v(const char* s, int* err) {
  char* end = nullptr;
  const VInt value = s != nullptr ? std::strtoll(s, &end, 10) : 0;
  if (err != nullptr) *err = end == s ? 1 : 0;
  return std::max<VInt>(value, 0);
}

char* strfrom(unsigned long v, unsigned base, int upper, int width, AceAttach* at) {
  if (base < MIN_BASE || base > MAX_BASE) return nullptr;
  char digits[MAX_DIGITS];
  char* const end = digits + sizeof digits;
  char* start = end;
  const char ten = upper != 0 ? 'A' : 'a';
  do {
    const int digit = static_cast<int>(v % base);
    *--start = static_cast<char>(digit < 10 ? '0' + digit : ten + digit - 10);
    v /= base;
  } while (v != 0);
  while (end - start < std::min(width, MAX_WIDTH)) *--start = '0';
  return at->attach(start, end - start);
}

const char* itor(int n) {
  return n >= 1 && n <= static_cast<int>(ROMAN_NUMERALS.size())
             ? ROMAN_NUMERALS[static_cast<std::size_t>(n - 1)]
             : "ERROR";
}

int rtoi(const char* s) {
  const std::string_view text = view_of(s);
  std::string_view rest = text;
  int value = 0;
  for (const RomanSymbol& symbol : ROMAN_SYMBOLS)
    for (int i = 0; i < symbol.maxRepeats && rest.starts_with(symbol.symbol); ++i) {
      rest.remove_prefix(symbol.symbol.size());
      value += symbol.value;
    }
  return value > 0 && text == roman_numeral(value) ? value : -1;
}
