#include <locale.h>  // newlocale
#include <stdlib.h>  // strtod_l

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "dime/number/dime_number_text_internal.h"

namespace {

constexpr int DECIMAL = 10;

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

/// The C library's own reader, for what `from_chars` leaves: hexadecimal numbers, and results that are
/// rounded to 0.
const char* read_rarely(const char* text, double* value) {
  static const locale_t plainLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  char* end = nullptr;
  const double read = strtod_l(text, &end, plainLocale);
  if (end == text || !std::isfinite(read)) return nullptr;
  *value = read;
  return end;
}

}  // namespace

const char* dime_read_double(const char* text, double* value) {
  text = dime_skip_blanks(text);
  const char* start = *text == '+' ? text + 1 : text;
  if (start != text && *start == '-') return nullptr;
  double read = 0;
  const auto [stop, error] = std::from_chars(start, start + std::strlen(start), read);
  if (error == std::errc::result_out_of_range || (stop != start && (*stop == 'x' || *stop == 'X')))
    return read_rarely(text, value);
  if (error != std::errc() || !std::isfinite(read)) return nullptr;
  *value = read;
  return stop;
}

const char* dime_read_whole(const char* text, Huge* value) {
  constexpr Huge MOST = std::numeric_limits<Huge>::max();
  text = dime_skip_blanks(text);
  const bool isNegative = *text == '-';
  if (isNegative || *text == '+') ++text;
  if (!is_digit(*text)) return nullptr;
  Huge read = 0;
  for (; is_digit(*text); ++text) {
    const int digit = *text - '0';
    read = read > (MOST - digit) / DECIMAL ? MOST : read * DECIMAL + digit;
  }
  *value = isNegative ? 0 : read;
  return text;
}
