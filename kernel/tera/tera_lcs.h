/// Longest common subsequence of a query and many entries, by one word of bits.
///
/// Positions are bytes, and count modulo 64: of a longer query those that are 64 apart share a bit, so that
/// less may be found than there is.
///
/// Thread safety: a table may be asked by any number of threads.
/// Cost: a few instructions for each byte of an entry.
/// Source: L. Allison, T. I. Dix, Information Processing Letters 23, 1986.
#pragma once

#include <array>
#include <bit>
#include <cstring>

#include "ace/ace_types.h"

class TeraLCS {
 public:
  explicit TeraLCS(const char* text) : inLen(static_cast<int>(std::strlen(text))) {
    for (int i = 0; i < inLen; ++i) byteMask[static_cast<unsigned char>(text[i])] |= VUint{1} << (i % 64);
  }

  /// The length of the longest common subsequence with an entry.
  int match(const char* entry) const {
    VUint v = 0;
    for (; *entry != '\0'; ++entry) {
      const VUint mask = byteMask[static_cast<unsigned char>(*entry)];
      const VUint u = mask & ~v;
      v = (mask | v) & (v - u);
    }
    return std::popcount(v);
  }
  int get_length() const { return inLen; }

 private:
  std::array<VUint, 256> byteMask{};  // positions of each byte
  int inLen;
};
