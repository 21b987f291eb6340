/// Numbers in C strings. See ace_str.h for the conventions.
///
/// Reading skips leading white space, takes a sign and stops at the first byte that is no digit. Values
/// outside the range of the result become the nearest limit.
#pragma once

#include "ace/ace_types.h"

class AceAttach;

/// Decimal, or `def` when there is no digit.
SORV_API int strtonum(const char* s, int def);
/// Decimal, or `def`. A minus sign negates as unsigned 64-bit numbers do, so "-1" gives the largest value.
SORV_API Large strtolarge(const char* s, Large def);
/// Decimal; negative values give 0. `*err` (if given) is 1 when there is no digit, else 0.
SORV_API VInt strtonum_v(const char* s, int* err);

/// Digits of `v` in `base` (2 to 36; otherwise null) in `at`, with leading zeros up to `width` digits, which
/// counts as 6 when it is larger. Digits above 9 are letters, upper-case if `upper` is set.
SORV_API char* strfrom(unsigned long v, unsigned base, int upper, int width, AceAttach* at);

/// Roman numeral of 1 to 21, "I" to "XXI", a static text; "ERROR" for other values.
SORV_API const char* itor(int n);
/// Value, 1 to 3999, of an upper-case Roman numeral in its usual form; -1 for any other text.
SORV_API int rtoi(const char* s);
