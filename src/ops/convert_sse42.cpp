// SPDX-License-Identifier: MIT
// Raw-sample conversions, SSE4.2: 4 f32 or 2 f64 lanes, a multiply then an
// add (two roundings, as the plain kernel).
#include "ops/convert_simd.h"
#include "ops/kernels.h"

namespace morvex::ops {

namespace {

struct Sse {
  static __m128 widen(const uint8_t* p, float) { return _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(simd::read<int>(p)))); }
  static __m128 widen(const uint16_t* p, float) {
    return _mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_cvtsi64_si128(simd::read<long long>(p))));
  }
  static __m128d widen(const uint8_t* p, double) {
    return _mm_cvtepi32_pd(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(simd::read<uint16_t>(p))));
  }
  static __m128d widen(const uint16_t* p, double) {
    return _mm_cvtepi32_pd(_mm_cvtepu16_epi32(_mm_cvtsi32_si128(simd::read<int>(p))));
  }
  static __m128 set1(float v) { return _mm_set1_ps(v); }
  static __m128d set1(double v) { return _mm_set1_pd(v); }
  static __m128 madd(__m128 x, __m128 s, __m128 o) { return _mm_add_ps(_mm_mul_ps(x, s), o); }
  static __m128d madd(__m128d x, __m128d s, __m128d o) { return _mm_add_pd(_mm_mul_pd(x, s), o); }
  static void store(float* p, __m128 v) { _mm_storeu_ps(p, v); }
  static void store(double* p, __m128d v) { _mm_storeu_pd(p, v); }
  static void stream(float* p, __m128 v) { _mm_stream_ps(p, v); }
  static void stream(double* p, __m128d v) { _mm_stream_pd(p, v); }
};

}  // namespace

MORVEX_CONVERT_INSTANTIATE(sse42, Sse)

}  // namespace morvex::ops
