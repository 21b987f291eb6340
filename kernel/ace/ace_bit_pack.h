/// Small unsigned numbers packed into 32-bit words.
///
/// Element i of `width` bits (1..32) takes the bits i x width and up of the words, the least significant bit
/// of each word first, and goes on in the next word where it does not fit:
///
///     width 12     word 0                              word 1
///     bits         0......11  12.....23  24..31        0..3   4.....15
///     element      0          1          2, low bits   2      3
///
/// Nothing is checked: the caller vouches for (n x width + 31) / 32 words.
#pragma once

#include "ace/ace_types.h"

/// ORs the low `width` bits of `value` into an element. Bits that are set stay set, so that elements can be
/// built up piece by piece in zeroed words; an element of width 32 is stored as it is.
inline void bit_mset(int* words, int width, int index, int value) {
  if (width == 32) {
    words[index] = value;
    return;
  }
  const VUint start = static_cast<VUint>(index) * static_cast<VUint>(width);
  const VUint bits = (static_cast<Large>(value) & ((VUint{1} << width) - 1)) << (start % 32);
  int* word = words + start / 32;
  *word = static_cast<int>(static_cast<Large>(*word) | static_cast<Large>(bits));
  if (bits >> 32 != 0)
    word[1] = static_cast<int>(static_cast<Large>(word[1]) | static_cast<Large>(bits >> 32));
}

/// The element; of width 32 as the int that was stored.
inline int bit_mget(const int* words, int width, int index) {
  const VUint start = static_cast<VUint>(index) * static_cast<VUint>(width);
  const VUint shift = start % 32;
  const int* word = words + start / 32;
  VUint bits = static_cast<Large>(*word);
  if (shift + static_cast<VUint>(width) > 32) bits |= VUint{static_cast<Large>(word[1])} << 32;
  return static_cast<int>((bits >> shift) & ((VUint{1} << width) - 1));
}
