/// Magic codes: the five-character tags that open the sections of index files.
///
/// A code such as "ARRAY" is stored as an odd 32-bit number: bit 0 is set, and the characters ('0' to 'p',
/// less 48) follow in six bits each, the first in bits 1 to 6:
///
///     bit   31  30......25  24......19  18......13  12.......7   6.......1   0
///            0   char 4      char 3      char 2      char 1      char 0      1
///
/// 'p' (64) would need a seventh bit, which lands in the lowest bit of the next field (of the last one: in
/// bit 31). No code in use has a 'p'.
#pragma once

#include "ace/ace_types.h"

/// Size of the text buffer that `magic_string` fills, terminator included.
inline constexpr int MAGIC_STRING_SIZE = 6;

/// The number of `code`, which ends at its terminator, at a '.', or after five characters; an empty code
/// gives 1. A character outside '0' to 'p', or a null code, gives -1, announced on standard output when the
/// trace flag "VERBOSE_ERRORS" is set.
SORV_API int magic_number(const char* code);

/// Writes the code of `magic` into `buf` (MAGIC_STRING_SIZE bytes), up to its first zero field, and returns
/// `buf`. A negative or even number is none: the result is null, announced likewise.
SORV_API char* magic_string(int magic, char* buf);
