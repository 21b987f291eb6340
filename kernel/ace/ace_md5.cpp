#include "ace/ace_md5.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <utility>

#include "ace/ace_attach.h"

namespace ace_md5 {

namespace {

constexpr std::size_t BLOCK_SIZE = 64;
constexpr std::size_t LENGTH_OFFSET = 56;  // of the bit count in the last block
constexpr int LOW_BITS = 29;               // bits of the byte count in `lo`
constexpr Large LOW_MASK = (Large{1} << LOW_BITS) - 1;
constexpr int DIGEST_SIZE = 16;

static_assert(std::endian::native == std::endian::little, "blocks are read as little-endian words");

/// floor(2^32 * |sin(i + 1)|), the additive constants of RFC 1321.
constexpr std::array<Large, 64> SINES = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

/// Rotations, four per round, used in turn.
constexpr int ROTATIONS[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

/// The round's word order is (factor * step + offset) mod 16.
constexpr std::size_t WORD_FACTOR[4] = {1, 5, 3, 7};
constexpr std::size_t WORD_OFFSET[4] = {0, 1, 5, 0};

template <std::size_t Round>
Large mix(Large x, Large y, Large z) {
  if constexpr (Round == 0) return z ^ (x & (y ^ z));   // x selects y or z
  if constexpr (Round == 1) return (x & z) + (y & ~z);  // z selects x or y; the bits are disjoint
  if constexpr (Round == 2) return x ^ y ^ z;
  if constexpr (Round == 3) return y ^ (x | ~z);
}

/// One of the 64 steps. The roles of the state words a, b, c, d move on by one word per step.
template <std::size_t Step>
__attribute__((always_inline)) inline void step(Large (&state)[4], const Large* words) {
  constexpr std::size_t round = Step / 16;
  Large& a = state[(64 - Step) % 4];
  const Large b = state[(65 - Step) % 4];
  const Large c = state[(66 - Step) % 4];
  const Large d = state[(67 - Step) % 4];
  const Large word = words[(WORD_FACTOR[round] * Step + WORD_OFFSET[round]) % 16];
  a = b + std::rotl(a + word + SINES[Step] + mix<round>(b, c, d), ROTATIONS[round][Step % 4]);
}

template <std::size_t... Steps>
__attribute__((always_inline)) inline void all_steps(Large (&state)[4], const Large* words,
                                                     std::index_sequence<Steps...>) {
  (step<Steps>(state, words), ...);
}

/// The compression function over `count` blocks.
void absorb(MD5_CTX* ctx, const unsigned char* data, std::size_t count) {
  for (; count > 0; --count, data += BLOCK_SIZE) {
    std::memcpy(ctx->block, data, BLOCK_SIZE);
    Large state[4] = {ctx->a, ctx->b, ctx->c, ctx->d};
    all_steps(state, ctx->block, std::make_index_sequence<64>());
    ctx->a += state[0];
    ctx->b += state[1];
    ctx->c += state[2];
    ctx->d += state[3];
  }
}

/// The encoding of this digest: the low byte, then its sign three times.
void write_word(unsigned char* to, Large value) {
  const unsigned char low = static_cast<unsigned char>(value & 0xFF);
  const unsigned char fill = (low & 0x80) != 0 ? 0xFF : 0x00;
  to[0] = low;
  to[1] = to[2] = to[3] = fill;
}

}  // namespace

void MD5_Init(MD5_CTX* ctx) {
  *ctx = MD5_CTX{};
  ctx->a = 0x67452301;
  ctx->b = 0xefcdab89;
  ctx->c = 0x98badcfe;
  ctx->d = 0x10325476;
}

void MD5_Update(MD5_CTX* ctx, const void* data, unsigned long size) {
  if (size == 0) return;
  const auto* bytes = static_cast<const unsigned char*>(data);
  const std::size_t pending = ctx->lo % BLOCK_SIZE;
  const unsigned long low = ctx->lo + (size & LOW_MASK);
  ctx->lo = static_cast<Large>(low & LOW_MASK);
  ctx->hi += static_cast<Large>((size >> LOW_BITS) + (low >> LOW_BITS));

  if (pending > 0) {
    const std::size_t part = std::min(BLOCK_SIZE - pending, size);
    std::memcpy(ctx->buffer + pending, bytes, part);
    if (pending + part < BLOCK_SIZE) return;
    absorb(ctx, ctx->buffer, 1);
    bytes += part;
    size -= part;
  }
  absorb(ctx, bytes, size / BLOCK_SIZE);
  std::memcpy(ctx->buffer, bytes + (size - size % BLOCK_SIZE), size % BLOCK_SIZE);
}

void MD5_Final(unsigned char result[16], MD5_CTX* ctx) {
  std::size_t used = ctx->lo % BLOCK_SIZE;
  ctx->buffer[used++] = 0x80;
  if (used > LENGTH_OFFSET) {
    std::fill(ctx->buffer + used, ctx->buffer + BLOCK_SIZE, 0);
    absorb(ctx, ctx->buffer, 1);
    used = 0;
  }
  std::fill(ctx->buffer + used, ctx->buffer + LENGTH_OFFSET, 0);
  write_word(ctx->buffer + LENGTH_OFFSET, ctx->lo << 3);
  write_word(ctx->buffer + LENGTH_OFFSET + 4, ctx->hi);
  absorb(ctx, ctx->buffer, 1);

  write_word(result, ctx->a);
  write_word(result + 4, ctx->b);
  write_word(result + 8, ctx->c);
  write_word(result + 12, ctx->d);
  *ctx = MD5_CTX{};
}

char* MD5_from_string(const char* text, AceAttach* at) {
  if (text == nullptr) return nullptr;
  MD5_CTX ctx;
  MD5_Init(&ctx);
  MD5_Update(&ctx, text, std::strlen(text));
  unsigned char digest[DIGEST_SIZE];
  MD5_Final(digest, &ctx);

  char* hex = nullptr;
  char* to = at->malloc(hex, 2 * DIGEST_SIZE + 1);
  for (const unsigned char byte : digest) {
    *to++ = "0123456789ABCDEF"[byte >> 4];
    *to++ = "0123456789ABCDEF"[byte & 0xF];
  }
  *to = '\0';
  return hex;
}

}  // namespace ace_md5
