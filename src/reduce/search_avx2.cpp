// SPDX-License-Identifier: MIT
// Level and band searches over u8 and u16 samples, AVX2: thirty-two bytes
// per vector, eight vectors (256 bytes) per group test. Twice the bytes per
// compare of the SSE4.2 kernels, which is what lets a search of a block in
// cache keep up with memchr, and a 64-sample block takes two vectors.
#include <immintrin.h>

#include <cstdint>

#include "reduce/kernels.h"
#include "reduce/search_simd.h"

namespace morvex::reduce {

namespace {

struct Base256 {
  using V = __m256i;
  static constexpr uint64_t kGroup = 8;
  static V loadv(const void* p) { return _mm256_loadu_si256(static_cast<const V*>(p)); }
  static V load_aligned(const void* p) { return _mm256_load_si256(static_cast<const V*>(p)); }
  static bool any(V v) { return !_mm256_testz_si256(v, v); }
  static uint32_t nonzero_bits(V v) { return ~uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(v, _mm256_setzero_si256()))); }
};

struct U8x32 : Base256 {
  using T = uint8_t;
  static constexpr uint64_t kLanes = 32;
  static V load(const T* p) { return loadv(p); }
  static V set1(T v) { return _mm256_set1_epi8(char(v)); }
  static V sub(V a, V b) { return _mm256_sub_epi8(a, b); }
  static V subs(V a, V b) { return _mm256_subs_epu8(a, b); }
  static V min(V a, V b) { return _mm256_min_epu8(a, b); }
  static V max(V a, V b) { return _mm256_max_epu8(a, b); }
};

struct U16x16 : Base256 {
  using T = uint16_t;
  static constexpr uint64_t kLanes = 16;
  static V load(const T* p) { return loadv(p); }
  static V set1(T v) { return _mm256_set1_epi16(short(v)); }
  static V sub(V a, V b) { return _mm256_sub_epi16(a, b); }
  static V subs(V a, V b) { return _mm256_subs_epu16(a, b); }
  static V min(V a, V b) { return _mm256_min_epu16(a, b); }
  static V max(V a, V b) { return _mm256_max_epu16(a, b); }
};

}  // namespace

MORVEX_SEARCH_DEFINE(uint8_t, u8, avx2, U8x32)
MORVEX_SEARCH_DEFINE(uint16_t, u16, avx2, U16x16)

}  // namespace morvex::reduce
