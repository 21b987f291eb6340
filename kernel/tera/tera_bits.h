/// Counting, finding and reversing bits in words of 32, 64 and 128 bits, by table.
///
/// The tables are constants: for every 13-bit value the number of its set bits and the index of the lowest
/// one, and the 256 byte values with their bits reversed. Code that runs under a processor level with its own
/// instructions uses those; this is the plain form.
#pragma once

#include <array>

#include "ace/ace_types.h"

class TeraBits {
 public:
  static constexpr int TABLE_BITS = 13;
  static constexpr int NO_BIT = 255;  ///< index of the lowest set bit of zero

  /// Set bits of a value below 2^13.
  static constexpr int count11(Large word) { return COUNTS[word]; }
  /// Set bits of a value below 2^26.
  static constexpr int count22(Large word) { return COUNTS[word & LOW] + COUNTS[word >> TABLE_BITS]; }
  static constexpr int count32(Large word) {
    return COUNTS[word & LOW] + COUNTS[(word >> TABLE_BITS) & LOW] + COUNTS[word >> (2 * TABLE_BITS)];
  }
  static constexpr int count(VUint word) {
    return COUNTS[word & LOW] + COUNTS[(word >> TABLE_BITS) & LOW] +
           COUNTS[(word >> (2 * TABLE_BITS)) & LOW] + COUNTS[(word >> (3 * TABLE_BITS)) & LOW] +
           COUNTS[word >> (4 * TABLE_BITS)];
  }
  static constexpr int count(VUint low, VUint high) { return count(low) + count(high); }

  /// Index of the lowest set bit of a value below 2^13; `NO_BIT` for zero.
  static constexpr int first_bit(Large word) { return FIRSTS[word]; }
  /// Index of the lowest set bit; `NO_BIT` for zero.
  static constexpr int first(VUint word) {
    for (int shift = 0; shift < 64; shift += TABLE_BITS)
      if (const VUint part = (word >> shift) & LOW; part != 0) return shift + FIRSTS[part];
    return NO_BIT;
  }
  static constexpr int first(VUint low, VUint high) {
    if (low != 0) return first(low);
    return high != 0 ? 64 + first(high) : NO_BIT;
  }

  /// The word with its bits in reverse order.
  static constexpr Large flip(Large word) { return static_cast<Large>(flip(VUint{word}) >> 32); }
  static constexpr VUint flip(VUint word) {
    VUint flipped = 0;
    for (int i = 0; i < 8; ++i, word >>= 8) flipped = flipped << 8 | FLIPS[word & 0xFF];
    return flipped;
  }
  static constexpr void flip(VUint* low, VUint* high) {
    const VUint flippedLow = flip(*high);
    *high = flip(*low);
    *low = flippedLow;
  }

 private:
  static constexpr int TABLE_SIZE = 1 << TABLE_BITS;
  static constexpr VUint LOW = TABLE_SIZE - 1;

  static constexpr std::array<Tiny, TABLE_SIZE> make_counts() {
    std::array<Tiny, TABLE_SIZE> table{};
    for (unsigned i = 1; i < TABLE_SIZE; ++i) table[i] = static_cast<Tiny>(table[i / 2] + i % 2);
    return table;
  }
  static constexpr std::array<Tiny, TABLE_SIZE> make_firsts() {
    std::array<Tiny, TABLE_SIZE> table{};
    table[0] = NO_BIT;
    for (unsigned i = 1; i < TABLE_SIZE; ++i)
      table[i] = i % 2 == 1 ? Tiny{0} : static_cast<Tiny>(table[i / 2] + 1);
    return table;
  }
  static constexpr std::array<Tiny, 256> make_flips() {
    std::array<Tiny, 256> table{};
    for (unsigned i = 1; i < 256; ++i) table[i] = static_cast<Tiny>(table[i / 2] / 2 | (i % 2) << 7);
    return table;
  }

  static const std::array<Tiny, TABLE_SIZE> COUNTS;
  static const std::array<Tiny, TABLE_SIZE> FIRSTS;
  static const std::array<Tiny, 256> FLIPS;
};

inline constexpr std::array<Tiny, TeraBits::TABLE_SIZE> TeraBits::COUNTS = TeraBits::make_counts();
inline constexpr std::array<Tiny, TeraBits::TABLE_SIZE> TeraBits::FIRSTS = TeraBits::make_firsts();
inline constexpr std::array<Tiny, 256> TeraBits::FLIPS = TeraBits::make_flips();
