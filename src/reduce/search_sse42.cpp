// SPDX-License-Identifier: MIT
// Level and band searches over u8 and u16 samples, SSE4.2: sixteen bytes per
// vector, sixteen vectors (256 bytes) per group test.
#include <immintrin.h>

#include <cstdint>

#include "reduce/kernels.h"
#include "reduce/search_simd.h"

namespace morvex::reduce {

namespace {

struct Base128 {
  using V = __m128i;
  static constexpr uint64_t kGroup = 16;
  static V loadv(const void* p) { return _mm_loadu_si128(static_cast<const V*>(p)); }
  static V load_aligned(const void* p) { return _mm_load_si128(static_cast<const V*>(p)); }
  static bool any(V v) { return !_mm_testz_si128(v, v); }
  static uint32_t nonzero_bits(V v) {
    return ~uint32_t(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128()))) & 0xFFFFu;
  }
};

struct U8 : Base128 {
  using T = uint8_t;
  static constexpr uint64_t kLanes = 16;
  static V load(const T* p) { return loadv(p); }
  static V set1(T v) { return _mm_set1_epi8(char(v)); }
  static V sub(V a, V b) { return _mm_sub_epi8(a, b); }
  static V subs(V a, V b) { return _mm_subs_epu8(a, b); }
  static V min(V a, V b) { return _mm_min_epu8(a, b); }
  static V max(V a, V b) { return _mm_max_epu8(a, b); }
};

struct U16 : Base128 {
  using T = uint16_t;
  static constexpr uint64_t kLanes = 8;
  static V load(const T* p) { return loadv(p); }
  static V set1(T v) { return _mm_set1_epi16(short(v)); }
  static V sub(V a, V b) { return _mm_sub_epi16(a, b); }
  static V subs(V a, V b) { return _mm_subs_epu16(a, b); }
  static V min(V a, V b) { return _mm_min_epu16(a, b); }
  static V max(V a, V b) { return _mm_max_epu16(a, b); }
};

}  // namespace

MORVEX_SEARCH_DEFINE(uint8_t, u8, sse42, U8)
MORVEX_SEARCH_DEFINE(uint16_t, u16, sse42, U16)

}  // namespace morvex::reduce
