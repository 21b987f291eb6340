/// Numbers in texts, whatever the locale of the process.
#pragma once

#include "ace/ace_types.h"

/// Skips blanks as the C library does.
inline const char* dime_skip_blanks(const char* text) {
  while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
  return text;
}

/// Reads the number at the beginning of a text, as `strtod` does: with blanks in front, a decimal point, an
/// exponent. Returns what follows it; null, and nothing is stored, without a number and for infinite ones.
const char* dime_read_double(const char* text, double* value);

/// Reads the whole number at the beginning of a text, as `strtol` does. Negative numbers are 0, those of more
/// than 63 bits the largest one. Returns what follows; null, and nothing is stored, without a number.
const char* dime_read_whole(const char* text, Huge* value);
