// SPDX-License-Identifier: MIT
// Shift right with clipping, AVX2: 32 u8 or 16 u16 lanes per vector.
#include "ops/kernels.h"
#include "ops/shift_simd.h"

namespace morvex::ops {

namespace {

struct Avx2 {
  using I = __m256i;
  static I load(const void* p) { return _mm256_loadu_si256(static_cast<const I*>(p)); }
  static void store(void* p, I v) { _mm256_storeu_si256(static_cast<I*>(p), v); }
  static I set1(uint8_t v) { return _mm256_set1_epi8(char(v)); }
  static I set1(uint16_t v) { return _mm256_set1_epi16(short(v)); }
  static I srl16(I v, __m128i c) { return _mm256_srl_epi16(v, c); }
  static I band(I a, I b) { return _mm256_and_si256(a, b); }
  static I min(I a, I b, uint8_t) { return _mm256_min_epu8(a, b); }
  static I min(I a, I b, uint16_t) { return _mm256_min_epu16(a, b); }
  static I max(I a, I b, uint8_t) { return _mm256_max_epu8(a, b); }
  static I max(I a, I b, uint16_t) { return _mm256_max_epu16(a, b); }
  static I eq(I a, I b, uint8_t) { return _mm256_cmpeq_epi8(a, b); }
  static I eq(I a, I b, uint16_t) { return _mm256_cmpeq_epi16(a, b); }
  static I blend(I a, I b, I take_b) { return _mm256_blendv_epi8(a, b, take_b); }
};

}  // namespace

void shr_clip_u8_avx2(const uint8_t* in, uint8_t* out, uint64_t n, uint8_t shift, uint8_t low, uint8_t high) {
  simd::shr_clip<Avx2>(in, out, n, shift, low, high);
}

void shr_clip_u16_avx2(const uint16_t* in, uint16_t* out, uint64_t n, uint8_t shift, uint16_t low,
                       uint16_t high) {
  simd::shr_clip<Avx2>(in, out, n, shift, low, high);
}

}  // namespace morvex::ops
