/// A mask of any number of 64-bit words, with the operators of an unsigned integer that words of many
/// positions need.
///
/// Shifts take 0 to the number of bits less 1; arithmetic wraps around.
#pragma once

#include <bit>

#include "ace/ace_types.h"

template <int NUM_WORDS>
class SORV_API TeraWideMask {
 public:
  constexpr TeraWideMask() = default;
  /// As a number widens.
  constexpr TeraWideMask(VUint low) : words{low} {}

  constexpr TeraWideMask operator~() const {
    return each([this](int i) { return ~words[i]; });
  }
  constexpr TeraWideMask operator&(const TeraWideMask& other) const {
    return each([&](int i) { return words[i] & other.words[i]; });
  }
  constexpr TeraWideMask operator|(const TeraWideMask& other) const {
    return each([&](int i) { return words[i] | other.words[i]; });
  }
  constexpr TeraWideMask operator^(const TeraWideMask& other) const {
    return each([&](int i) { return words[i] ^ other.words[i]; });
  }
  constexpr TeraWideMask operator+(const TeraWideMask& other) const { return sum(other, 0); }
  constexpr TeraWideMask operator-(const TeraWideMask& other) const { return sum(~other, 1); }
  constexpr TeraWideMask operator<<(int by) const {
    return each([&](int i) { return part(64 * i - by); });
  }
  constexpr TeraWideMask operator>>(int by) const {
    return each([&](int i) { return part(64 * i + by); });
  }

  constexpr TeraWideMask& operator&=(const TeraWideMask& other) { return *this = *this & other; }
  constexpr TeraWideMask& operator|=(const TeraWideMask& other) { return *this = *this | other; }
  constexpr TeraWideMask& operator<<=(int by) { return *this = *this << by; }
  constexpr bool operator==(const TeraWideMask& other) const = default;

  constexpr bool has_bit(int i) const { return (words[i / 64] >> i % 64 & 1) != 0; }
  constexpr int count() const {
    int num = 0;
    for (const VUint word : words) num += std::popcount(word);
    return num;
  }
  /// Index of the lowest set bit; of a mask that has one.
  constexpr int first() const {
    int i = 0;
    while (words[i] == 0) ++i;
    return 64 * i + std::countr_zero(words[i]);
  }

 private:
  template <class Word>
  static constexpr TeraWideMask each(Word word) {
    TeraWideMask made;
    for (int i = 0; i < NUM_WORDS; ++i) made.words[i] = word(i);
    return made;
  }
  constexpr TeraWideMask sum(const TeraWideMask& other, VUint carry) const {
    TeraWideMask made;
    for (int i = 0; i < NUM_WORDS; ++i) {
      const VUint partly = words[i] + carry;
      made.words[i] = partly + other.words[i];
      carry = (partly < carry ? 1 : 0) | (made.words[i] < partly ? 1 : 0);
    }
    return made;
  }
  /// 64 bits from bit `from` on, which may lie outside.
  constexpr VUint part(int from) const {
    const int index = from >> 6;  // rounded down
    const int bit = from & 63;
    const auto word = [this](int i) { return i >= 0 && i < NUM_WORDS ? words[i] : 0; };
    return bit == 0 ? word(index) : word(index) >> bit | word(index + 1) << (64 - bit);
  }

  VUint words[NUM_WORDS] = {};
};
