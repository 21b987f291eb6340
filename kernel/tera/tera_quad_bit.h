/// A mask of 128 bits with the operators of an unsigned integer.
///
/// Shifts take 0 to 127; arithmetic wraps around.
#pragma once

#include <compare>

#include "ace/ace_types.h"

class SORV_API QuadBit {
 public:
  constexpr QuadBit() = default;
  /// As a number widens.
  constexpr QuadBit(VUint low) : lowWord(low) {}
  constexpr QuadBit(VUint high, VUint low) : lowWord(low), highWord(high) {}

  constexpr QuadBit operator~() const { return {~highWord, ~lowWord}; }
  constexpr QuadBit operator&(const QuadBit& other) const {
    return {highWord & other.highWord, lowWord & other.lowWord};
  }
  constexpr QuadBit operator|(const QuadBit& other) const {
    return {highWord | other.highWord, lowWord | other.lowWord};
  }
  constexpr QuadBit operator^(const QuadBit& other) const {
    return {highWord ^ other.highWord, lowWord ^ other.lowWord};
  }
  constexpr QuadBit operator+(const QuadBit& other) const {
    const VUint low = lowWord + other.lowWord;
    return {highWord + other.highWord + (low < lowWord ? 1 : 0), low};
  }
  constexpr QuadBit operator-(const QuadBit& other) const { return of(wide() - other.wide()); }
  constexpr QuadBit operator-() const { return of(-wide()); }
  constexpr QuadBit operator<<(int by) const { return of(wide() << by); }
  constexpr QuadBit operator>>(int by) const { return of(wide() >> by); }

  constexpr QuadBit& operator&=(const QuadBit& other) { return *this = *this & other; }
  constexpr QuadBit& operator|=(const QuadBit& other) { return *this = *this | other; }
  constexpr QuadBit& operator^=(const QuadBit& other) { return *this = *this ^ other; }
  constexpr QuadBit& operator+=(const QuadBit& other) { return *this = *this + other; }
  constexpr QuadBit& operator-=(const QuadBit& other) { return *this = *this - other; }
  constexpr QuadBit& operator<<=(int by) { return *this = *this << by; }
  constexpr QuadBit& operator>>=(int by) { return *this = *this >> by; }

  constexpr bool operator==(const QuadBit& other) const {
    return lowWord == other.lowWord && highWord == other.highWord;
  }
  constexpr std::strong_ordering operator<=>(const QuadBit& other) const {
    return highWord != other.highWord ? highWord <=> other.highWord : lowWord <=> other.lowWord;
  }

  VUint lowWord = 0;
  VUint highWord = 0;

 private:
  __extension__ using Wide = unsigned __int128;
  static constexpr QuadBit of(Wide value) {
    return {static_cast<VUint>(value >> 64), static_cast<VUint>(value)};
  }
  constexpr Wide wide() const { return static_cast<Wide>(highWord) << 64 | lowWord; }
};
