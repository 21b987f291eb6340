/// Base64 with the standard alphabet and padding (RFC 4648).
#pragma once

#include "ace/ace_types.h"

/// Characters that `len` bytes take, without a terminator; 0 for a negative length, -1 when the number does
/// not fit.
SORV_API long tera_b64_encode_length(long len);
/// Bytes that `len` characters stand for at most.
SORV_API long tera_b64_decode_length(long len);
/// Writes the code of `len` bytes and a terminator into `out`. Returns the number of characters.
SORV_API long tera_b64_encode(long len, const unsigned char* in, char* out);
/// Writes the bytes of a code into `out`, which holds `tera_b64_decode_length(strlen(in))`. White space is
/// skipped and padding may be missing. Returns the number of bytes, or -1 for another character, for
/// characters behind the padding and for a single character at the end.
SORV_API long tera_b64_decode(const char* in, unsigned char* out);
