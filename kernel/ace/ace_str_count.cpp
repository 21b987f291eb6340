#include "ace/ace_str_count.h"

#include <immintrin.h>

#include <algorithm>
#include <cstring>

#include "ace/ace_cpu.h"

// Each matching byte of a register compares to -1, so subtracting the comparison counts it in its own byte.
// After at most 255 registers, before a byte can overflow, the bytes are added up:
//
//   text         a b b a ...  x 255
//   == 'a'      -1 0 0-1 ...
//   counts       1 0 0 1 ...          then sad(counts, 0): the sums of 8 bytes each

namespace {

constexpr std::size_t MAX_REGISTERS = 255;

/// Where an unaligned load of a register reads.
template <class Register>
const Register* at(const char* s) {
  return static_cast<const Register*>(static_cast<const void*>(s));
}

std::size_t count_bytes(const char* s, const char* end, char c) {
  return static_cast<std::size_t>(std::count(s, end, c));
}

std::size_t count_baseline(const char* s, std::size_t n, char c) {
  constexpr std::size_t width = sizeof(__m128i);
  const char* const end = s + n;
  const __m128i wanted = _mm_set1_epi8(c);
  __m128i sums = _mm_setzero_si128();
  for (std::size_t left = n / width; left > 0;) {
    const std::size_t batch = std::min(left, MAX_REGISTERS);
    __m128i counts = _mm_setzero_si128();
    for (std::size_t i = 0; i < batch; ++i, s += width) {
      const __m128i text = _mm_loadu_si128(at<__m128i>(s));
      counts = _mm_sub_epi8(counts, _mm_cmpeq_epi8(text, wanted));
    }
    sums = _mm_add_epi64(sums, _mm_sad_epu8(counts, _mm_setzero_si128()));
    left -= batch;
  }
  unsigned long parts[2];
  std::memcpy(parts, &sums, sizeof parts);
  return parts[0] + parts[1] + count_bytes(s, end, c);
}

/// Two registers at a time, so that the additions of one do not wait for those of the other.
__attribute__((target("avx2"))) std::size_t count_avx2(const char* s, std::size_t n, char c) {
  constexpr std::size_t width = sizeof(__m256i);
  const char* const end = s + n;
  const __m256i wanted = _mm256_set1_epi8(c);
  __m256i sums = _mm256_setzero_si256();
  for (std::size_t left = n / (2 * width); left > 0;) {
    const std::size_t batch = std::min(left, MAX_REGISTERS);
    __m256i counts[2] = {_mm256_setzero_si256(), _mm256_setzero_si256()};
    for (std::size_t i = 0; i < batch; ++i, s += 2 * width) {
      const __m256i first = _mm256_loadu_si256(at<__m256i>(s));
      const __m256i second = _mm256_loadu_si256(at<__m256i>(s + width));
      counts[0] = _mm256_sub_epi8(counts[0], _mm256_cmpeq_epi8(first, wanted));
      counts[1] = _mm256_sub_epi8(counts[1], _mm256_cmpeq_epi8(second, wanted));
    }
    sums = _mm256_add_epi64(sums, _mm256_sad_epu8(counts[0], _mm256_setzero_si256()));
    sums = _mm256_add_epi64(sums, _mm256_sad_epu8(counts[1], _mm256_setzero_si256()));
    left -= batch;
  }
  unsigned long parts[4];
  std::memcpy(parts, &sums, sizeof parts);
  return parts[0] + parts[1] + parts[2] + parts[3] + count_bytes(s, end, c);
}

std::size_t count_in(const char* s, std::size_t n, char c) {
  return ace_cpu_level() >= AceCpuLevel::AVX2 ? count_avx2(s, n, c) : count_baseline(s, n, c);
}

}  // namespace

int strcount(const char* s, int c) {
  return s != nullptr ? static_cast<int>(count_in(s, std::strlen(s), static_cast<char>(c))) : 0;
}

int strncount(const char* s, int c, int n) {
  if (s == nullptr || n < 1) return 0;
  return static_cast<int>(count_in(s, static_cast<std::size_t>(n), static_cast<char>(c)));
}
