/// Finding separators in a line, in wide registers.
#pragma once

#include <emmintrin.h>

#include <bit>
#include <cstdint>
#include <cstring>

#include "ace/ace_types.h"

/// The occurrences of one byte in a line, in ascending order. The line is looked at 64 bytes at a time, so
/// that a field costs a few bit operations, however short it is:
///
///     line     Smith;Ann;;1972-03-01;...
///     bits     ....|...||..........|...
class DamoByteScan {
 public:
  DamoByteScan(char byte, const char* from, const char* end) : wantedByte(_mm_set1_epi8(byte)), lineEnd(end) {
    load(from);
  }

  /// The first occurrence at or behind `from`, or the end of the line. `from` does not go back between calls;
  /// it may be in front of what was found last.
  template <class Char>
  Char* next(Char* from) {
    if (from - block >= WIDTH)
      load(from);
    else if (from > block)
      found &= ~std::uint64_t{0} << (from - block);
    while (found == 0) {
      if (lineEnd - block <= WIDTH) return from + (lineEnd - from);
      load(block + WIDTH);
    }
    return from + (block + std::countr_zero(found) - from);
  }

 private:
  static constexpr VInt WIDTH = 64;

  void load(const char* at) {
    block = at;
    const VInt left = lineEnd - at;
    if (left >= WIDTH) {
      found = bits(at);
    } else {
      alignas(16) char rest[WIDTH];
      std::memcpy(rest, at, static_cast<std::size_t>(left));
      found = bits(rest) & ~(~std::uint64_t{0} << left);
    }
  }

  std::uint64_t bits(const char* at) const {
    return bits16(at) | bits16(at + 16) << 16 | bits16(at + 32) << 32 | bits16(at + 48) << 48;
  }

  std::uint64_t bits16(const char* at) const {
    const __m128i text = _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(at)));
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(text, wantedByte)));
  }

  __m128i wantedByte;
  const char* lineEnd;
  const char* block = nullptr;
  std::uint64_t found = 0;  // of the 64 bytes at `block`, those not yet passed
};

/// The first `a` or `b` in the range, or its end.
template <class Char>
Char* damo_find_either(Char* from, const char* end, char a, char b) {
  constexpr VInt width = sizeof(__m128i);
  const __m128i wanted[] = {_mm_set1_epi8(a), _mm_set1_epi8(b)};
  for (; end - from >= width; from += width) {
    const __m128i text = _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(from)));
    const __m128i found = _mm_or_si128(_mm_cmpeq_epi8(text, wanted[0]), _mm_cmpeq_epi8(text, wanted[1]));
    const auto bits = static_cast<unsigned>(_mm_movemask_epi8(found));
    if (bits != 0) return from + std::countr_zero(bits);
  }
  while (from != end && *from != a && *from != b) ++from;
  return from;
}

/// The number of TABs in a line; -1 where it has a line end.
inline VInt damo_count_tabs(const char* line, VInt length) {
  constexpr VInt width = sizeof(__m128i);
  const __m128i zero = _mm_setzero_si128();
  __m128i ends = zero;
  __m128i tabs = zero;
  alignas(__m128i) char rest[width] = {};
  for (VInt from = 0; from < length; from += width) {
    const void* block = line + from;
    if (length - from < width) block = std::memcpy(rest, block, static_cast<std::size_t>(length - from));
    const __m128i text = _mm_loadu_si128(static_cast<const __m128i*>(block));
    ends = _mm_or_si128(ends, _mm_or_si128(_mm_cmpeq_epi8(text, _mm_set1_epi8('\n')),
                                           _mm_cmpeq_epi8(text, _mm_set1_epi8('\r'))));
    const __m128i found = _mm_sub_epi8(zero, _mm_cmpeq_epi8(text, _mm_set1_epi8('\t')));
    tabs = _mm_add_epi64(tabs, _mm_sad_epu8(found, zero));
  }
  if (_mm_movemask_epi8(ends) != 0) return -1;
  return _mm_cvtsi128_si64(tabs) + _mm_cvtsi128_si64(_mm_unpackhi_epi64(tabs, tabs));
}

/// Cuts a line in place at each separator and stores the first `room` fields. Returns their number, or
/// `room` + 1 when there are more.
inline int damo_split(char* line, VInt length, char separator, const char** fields, int room) {
  char* const end = line + length;
  DamoByteScan scan(separator, line, end);
  char* start = line;
  for (int count = 0; count < room; ++count) {
    char* stop = scan.next(start);
    fields[count] = start;
    if (stop == end) return count + 1;
    *stop = '\0';
    start = stop + 1;
  }
  return room + 1;
}
