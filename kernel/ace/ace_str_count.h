/// Counting bytes, with the widest registers that the processor has (ace_cpu.h).
#pragma once

#include "ace/ace_types.h"

/// Occurrences of the byte `c` in the text; null gives 0.
SORV_API int strcount(const char* s, int c);
/// Occurrences of the byte `c` among the first `n` bytes, whatever they are: a NUL does not end the count.
/// `n` < 1 or null gives 0.
SORV_API int strncount(const char* s, int c, int n);
