// SPDX-License-Identifier: MIT
// index_gte over u16 samples, AVX2: thirty-two bytes per vector, eight
// vectors (256 bytes) per group test.
#include <immintrin.h>

#include <cstdint>

#include "reduce/kernels.h"
#include "reduce/search_simd.h"

namespace morvex::reduce {

namespace {

struct U16x16 {
  using T = uint16_t;
  using V = __m256i;
  static constexpr uint64_t kLanes = 16, kGroup = 8;
  static V load(const T* p) { return _mm256_loadu_si256(reinterpret_cast<const V*>(p)); }
  static V load_aligned(const T* p) { return _mm256_load_si256(reinterpret_cast<const V*>(p)); }
  static V set1(T v) { return _mm256_set1_epi16(short(v)); }
  static V sub(V a, V b) { return _mm256_sub_epi16(a, b); }
  static V subs(V a, V b) { return _mm256_subs_epu16(a, b); }
  static V min(V a, V b) { return _mm256_min_epu16(a, b); }
  static V max(V a, V b) { return _mm256_max_epu16(a, b); }
  static bool any(V v) { return !_mm256_testz_si256(v, v); }
  static uint32_t nonzero_bits(V v) {
    return ~uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi16(v, _mm256_setzero_si256())));
  }
};

}  // namespace

uint64_t gte_u16_avx2(const uint16_t* x, uint64_t s, uint64_t n, uint16_t level) {
  return Search<U16x16>::gte(x, s, n, level);
}

}  // namespace morvex::reduce
