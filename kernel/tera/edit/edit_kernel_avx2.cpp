#include "tera/edit/edit_kernel_loops_internal.h"

namespace {

typedef VUint Bits256 __attribute__((vector_size(32)));

struct BitLanes256 : BitLanesBase<Bits256> {
  static bool any(const V& lanes) {
    const auto bits = reinterpret_cast<__m256i>(lanes);
    return _mm256_testz_si256(bits, bits) == 0;
  }
};

struct ByteLanes32 : ByteLanesBase<32> {
  static bool any(const V& lanes) {
    const auto bits = reinterpret_cast<__m256i>(lanes);
    return _mm256_testz_si256(bits, bits) == 0;
  }
  static VUint to_bits(const V& lanes) {
    return static_cast<Large>(_mm256_movemask_epi8(reinterpret_cast<__m256i>(lanes)));
  }
  static VUint equal_bits(const V& tokens, Token tok) { return to_bits(equal(tokens, tok)); }
  static void to_words(const V& lanes, VUint* words) { *words = to_bits(lanes); }
};

}  // namespace

const EditKernel EDIT_KERNEL_AVX2 = {scan_blocks<BitLanes256>,
                                     check_groups<ByteLanes32, ByteLanes32, BitLanes256>};
