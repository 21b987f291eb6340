#include "tera/tera_base64.h"

#include <array>
#include <climits>
#include <cstring>

namespace {

constexpr char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char PADDING = '=';
constexpr signed char NO_DIGIT = -1;
constexpr signed char SKIPPED = -2;

constexpr std::array<signed char, 256> make_digits() {
  std::array<signed char, 256> digits{};
  for (auto& digit : digits) digit = NO_DIGIT;
  for (int i = 0; i < 64; ++i) digits[static_cast<unsigned char>(ALPHABET[i])] = static_cast<signed char>(i);
  for (const unsigned char c : {' ', '\t', '\r', '\n'}) digits[c] = SKIPPED;
  return digits;
}
constexpr std::array<signed char, 256> DIGITS = make_digits();

}  // namespace

long tera_b64_encode_length(long len) {
  constexpr long maxEncodable = LONG_MAX / 4 * 3;
  return len > maxEncodable ? -1 : len > 0 ? (len / 3 + (len % 3 != 0 ? 1 : 0)) * 4 : 0;
}

long tera_b64_decode_length(long len) {
  return len > 0 ? len / 4 * 3 + len % 4 : 0;
}

long tera_b64_encode(long len, const unsigned char* in, char* out) {
  char* end = out;
  for (; len > 0; len -= 3, in += 3) {
    const unsigned bits = in[0] << 16 | (len > 1 ? in[1] << 8 : 0) | (len > 2 ? in[2] : 0);
    *end++ = ALPHABET[bits >> 18];
    *end++ = ALPHABET[bits >> 12 & 63];
    *end++ = len > 1 ? ALPHABET[bits >> 6 & 63] : PADDING;
    *end++ = len > 2 ? ALPHABET[bits & 63] : PADDING;
  }
  *end = '\0';
  return end - out;
}

long tera_b64_decode(const char* in, unsigned char* out) {
  unsigned char* end = out;
  unsigned bits = 0;
  int numDigits = 0;
  for (; *in != '\0' && *in != PADDING; ++in) {
    const signed char digit = DIGITS[static_cast<unsigned char>(*in)];
    if (digit == SKIPPED) continue;
    if (digit == NO_DIGIT) return -1;
    bits = bits << 6 | static_cast<unsigned>(digit);
    if (++numDigits % 4 != 0) continue;
    *end++ = static_cast<unsigned char>(bits >> 16);
    *end++ = static_cast<unsigned char>(bits >> 8);
    *end++ = static_cast<unsigned char>(bits);
  }
  for (; *in != '\0'; ++in)
    if (*in != PADDING && DIGITS[static_cast<unsigned char>(*in)] != SKIPPED) return -1;
  switch (numDigits % 4) {
    case 1:
      return -1;
    case 2:
      *end++ = static_cast<unsigned char>(bits >> 4);
      break;
    case 3:
      *end++ = static_cast<unsigned char>(bits >> 10);
      *end++ = static_cast<unsigned char>(bits >> 2);
      break;
    default:
      break;
  }
  return end - out;
}
