/// The kernel's digest: the MD5 algorithm of RFC 1321 with an output encoding of its own.
///
/// Wherever a 32-bit value is serialised (the bit count in the padding, the four state words of the result)
/// its low byte is written, followed by three copies of that byte's sign: 0xFF if bit 7 is set, else 0x00.
///
///     state word 0x1234ABCD   ->   CD FF FF FF
///     state word 0x12345678   ->   78 00 00 00
///
/// Digests of this form are stored in files and compared with stored ones, so the published encoding must not
/// take its place. The digest tells versions of data apart; it is no protection against forgery.
///
/// The names equal those of cryptography libraries, hence the namespace.
/// Thread safety: a context belongs to one thread at a time.
#pragma once

#include "ace/ace_types.h"

class AceAttach;

namespace ace_md5 {

struct MD5_CTX {
  Large lo, hi;              ///< bytes so far: the low 29 bits, and the part above them
  Large a, b, c, d;          ///< state
  unsigned char buffer[64];  ///< input of an unfinished block
  Large block[16];           ///< the words of the block being worked on
};

SORV_API void MD5_Init(MD5_CTX* ctx);
/// Takes `size` bytes in. Null `data` is allowed with a size of 0.
SORV_API void MD5_Update(MD5_CTX* ctx, const void* data, unsigned long size);
/// Stores the digest and clears the context.
SORV_API void MD5_Final(unsigned char result[16], MD5_CTX* ctx);
/// The digest of a text as 32 upper-case hexadecimal digits in `at`; null gives null.
SORV_API char* MD5_from_string(const char* text, AceAttach* at);

}  // namespace ace_md5
