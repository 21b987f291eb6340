#include "tera/edit/edit_kernel_loops_internal.h"

namespace {

typedef VUint Bits512 __attribute__((vector_size(64)));

struct BitLanes512 : BitLanesBase<Bits512> {
  static bool any(const V& lanes) {
    const auto bits = reinterpret_cast<__m512i>(lanes);
    return _mm512_test_epi64_mask(bits, bits) != 0;
  }
};

/// 32 lanes are as many as the groups of most filters have.
struct ByteLanes32 : ByteLanesBase<32> {
  static VUint to_bits(const V& lanes) {
    return static_cast<Large>(_mm256_movemask_epi8(reinterpret_cast<__m256i>(lanes)));
  }
  static VUint equal_bits(const V& tokens, Token tok) { return to_bits(equal(tokens, tok)); }
  static bool any(const V& lanes) { return to_bits(lanes) != 0; }
  static void to_words(const V& lanes, VUint* words) { *words = to_bits(lanes); }
};

/// Two groups: of a section, or from anywhere.
struct ByteLanes64 : ByteLanesBase<64> {
  static V joined(const ByteLanes32::V& low, const ByteLanes32::V& high) {
    typedef VUint Half __attribute__((vector_size(32)));
    return reinterpret_cast<V>(__builtin_shufflevector(reinterpret_cast<Half>(low),
                                                       reinterpret_cast<Half>(high), 0, 1, 2, 3, 4, 5, 6, 7));
  }
  static bool any(const V& lanes) { return to_bits(lanes) != 0; }
  static void to_words(const V& lanes, VUint* words) { *words = to_bits(lanes); }
  static VUint to_bits(const V& lanes) { return _mm512_movepi8_mask(reinterpret_cast<__m512i>(lanes)); }
  static VUint equal_bits(const V& tokens, Token tok) {
    return _mm512_cmpeq_epi8_mask(reinterpret_cast<__m512i>(tokens),
                                  _mm512_set1_epi8(static_cast<char>(tok)));
  }
};

}  // namespace

const EditKernel EDIT_KERNEL_AVX512 = {scan_blocks<BitLanes512>,
                                       check_groups<ByteLanes32, ByteLanes64, BitLanes512>};
