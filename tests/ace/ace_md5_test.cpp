#include "ace/ace_md5.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

#include "ace/ace_attach.h"

namespace {

using Bytes = std::vector<unsigned char>;

/// The sign-extended low byte that takes the place of each serialised word.
void put(Bytes* out, uint32_t word) {
  const auto low = static_cast<int8_t>(word & 0xFF);
  const auto extended = static_cast<uint32_t>(static_cast<int32_t>(low));
  for (int i = 0; i < 4; ++i) out->push_back(static_cast<unsigned char>(extended >> (8 * i)));
}

/// RFC 1321, written from its prose, over the whole padded message.
Bytes plain_digest(Bytes message) {
  const uint64_t size = message.size();
  message.push_back(0x80);
  while (message.size() % 64 != 56) message.push_back(0);
  put(&message, static_cast<uint32_t>((size & 0x1FFFFFFF) * 8));
  put(&message, static_cast<uint32_t>(size >> 29));

  const int turns[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
  uint32_t state[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  for (size_t block = 0; block < message.size(); block += 64) {
    auto [a, b, c, d] = std::to_array(state);
    for (unsigned i = 0; i < 64; ++i) {
      uint32_t f = 0;
      unsigned index = 0;
      switch (i / 16) {
        case 0:
          f = (b & c) | (~b & d);
          index = i;
          break;
        case 1:
          f = (b & d) | (c & ~d);
          index = 5 * i + 1;
          break;
        case 2:
          f = b ^ c ^ d;
          index = 3 * i + 5;
          break;
        default:
          f = c ^ (b | ~d);
          index = 7 * i;
      }
      uint32_t word = 0;
      for (unsigned k = 0; k < 4; ++k) word |= uint32_t{message[block + index % 16 * 4 + k]} << (8 * k);
      const auto sine = static_cast<uint32_t>(std::floor(4294967296.0 * std::fabs(std::sin(i + 1.0))));
      const uint32_t sum = a + f + sine + word;
      const int turn = turns[i / 16][i % 4];
      a = d;
      d = c;
      c = b;
      b += sum << turn | sum >> (32 - turn);
    }
    const uint32_t results[4] = {a, b, c, d};
    for (int i = 0; i < 4; ++i) state[i] += results[i];
  }
  Bytes digest;
  for (const uint32_t word : state) put(&digest, word);
  return digest;
}

}  // namespace

TEST(AceMd5, agrees_with_a_plain_digest_however_the_input_is_cut) {
  std::mt19937 random(7);
  for (size_t size = 0; size <= 200; ++size) {
    Bytes message(size);
    for (auto& byte : message) byte = static_cast<unsigned char>(random());
    ace_md5::MD5_CTX ctx;
    ace_md5::MD5_Init(&ctx);
    for (size_t at = 0; at < size;) {
      const size_t part = std::min<size_t>(random() % 100, size - at);
      ace_md5::MD5_Update(&ctx, message.data() + at, part);
      at += part;
    }
    Bytes digest(16);
    ace_md5::MD5_Final(digest.data(), &ctx);
    EXPECT_EQ(digest, plain_digest(message)) << size << " bytes, seed 7";
    EXPECT_EQ(ctx.a | ctx.lo | ctx.buffer[0] | ctx.block[0], 0u) << "cleared";
  }
}

TEST(AceMd5, counts_bytes_beyond_the_low_29_bits) {
  const Bytes zeros(1 << 20);
  ace_md5::MD5_CTX ctx;
  ace_md5::MD5_Init(&ctx);
  for (int i = 0; i < 512; ++i) ace_md5::MD5_Update(&ctx, zeros.data(), zeros.size());
  ace_md5::MD5_Update(&ctx, "abc", 3);
  EXPECT_EQ(ctx.hi, 1u);
  EXPECT_EQ(ctx.lo, 3u);
}

TEST(AceMd5, texts_have_the_digests_that_stored_files_hold) {
  AceAttach at;
  EXPECT_EQ(ace_md5::MD5_from_string(nullptr, &at), nullptr);
  EXPECT_STREQ(ace_md5::MD5_from_string("", &at), "D4FFFFFF8FFFFFFFE9FFFFFFECFFFFFF");
  EXPECT_STREQ(ace_md5::MD5_from_string("abc", &at), "90FFFFFF3C000000D6FFFFFF28000000");
  EXPECT_STREQ(ace_md5::MD5_from_string("abcdefghijklmnopqrstuvwxyz", &at),
               "8CFFFFFFFCFFFFFF270000006E000000");
}
