// SPDX-License-Identifier: MIT
// Conversions, AVX-512F (with CD, though nothing here needs it): 16 f32 or
// 8 f64 lanes.
//  - The raw-sample slot variants: x * scale + offset as one fused
//    multiply-add on every element, the tail included.
//  - The wide paths of the other conversions, chosen at call time: a
//    multiply then an add, bit for bit the plain loop.
// Only AVX-512F instructions on 512-bit vectors (no BW, DQ or VL): the f64
// forms of narrow inputs widen a half-filled vector and convert its low eight
// lanes.
// GCC 12's AVX-512 headers start conversions from an "undefined" vector and
// then warn that it may be used uninitialised; every lane is overwritten.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

#include "ops/convert_simd.h"
#include "ops/kernels.h"

namespace morvex::ops {

namespace {

struct Avx512 {
  static __m512 widen(const uint8_t* p, float) {
    return _mm512_cvtepi32_ps(_mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
  }
  static __m512 widen(const uint16_t* p, float) {
    return _mm512_cvtepi32_ps(_mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))));
  }
  static __m512d widen(const uint8_t* p, double) {
    const __m512i v = _mm512_cvtepu8_epi32(_mm_cvtsi64_si128(simd::read<long long>(p)));
    return _mm512_cvtepi32_pd(_mm512_castsi512_si256(v));
  }
  static __m512d widen(const uint16_t* p, double) {
    const __m512i v = _mm512_cvtepu16_epi32(_mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
    return _mm512_cvtepi32_pd(_mm512_castsi512_si256(v));
  }
  static __m512 set1(float v) { return _mm512_set1_ps(v); }
  static __m512d set1(double v) { return _mm512_set1_pd(v); }
  static __m512 madd(__m512 x, __m512 s, __m512 o) { return _mm512_fmadd_ps(x, s, o); }
  static __m512d madd(__m512d x, __m512d s, __m512d o) { return _mm512_fmadd_pd(x, s, o); }
  static void store(float* p, __m512 v) { _mm512_storeu_ps(p, v); }
  static void store(double* p, __m512d v) { _mm512_storeu_pd(p, v); }
  static void stream(float* p, __m512 v) { _mm512_stream_ps(p, v); }
  static void stream(double* p, __m512d v) { _mm512_stream_pd(p, v); }
};

struct Avx512Exact : Avx512 {
  static __m128i load128(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
  static __m256i load256(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
  static __m512 widen(const int8_t* p, float) { return _mm512_cvtepi32_ps(_mm512_cvtepi8_epi32(load128(p))); }
  static __m512 widen(const int16_t* p, float) { return _mm512_cvtepi32_ps(_mm512_cvtepi16_epi32(load256(p))); }
  static __m512 widen(const int32_t* p, float) { return _mm512_cvtepi32_ps(_mm512_loadu_si512(p)); }
  static __m512 widen(const uint32_t* p, float) { return _mm512_cvtepu32_ps(_mm512_loadu_si512(p)); }
  static __m512d widen(const int8_t* p, double) {
    const __m512i v = _mm512_cvtepi8_epi32(_mm_cvtsi64_si128(simd::read<long long>(p)));
    return _mm512_cvtepi32_pd(_mm512_castsi512_si256(v));
  }
  static __m512d widen(const int16_t* p, double) {
    return _mm512_cvtepi32_pd(_mm512_castsi512_si256(_mm512_cvtepi16_epi32(_mm256_castsi128_si256(load128(p)))));
  }
  static __m512d widen(const int32_t* p, double) { return _mm512_cvtepi32_pd(load256(p)); }
  static __m512d widen(const uint32_t* p, double) { return _mm512_cvtepu32_pd(load256(p)); }
  static __m512d widen(const float* p, double) { return _mm512_cvtps_pd(_mm256_loadu_ps(p)); }
  static __m512 fmadd(__m512 x, __m512 s, __m512 o) { return _mm512_fmadd_ps(x, s, o); }
  static __m512d fmadd(__m512d x, __m512d s, __m512d o) { return _mm512_fmadd_pd(x, s, o); }
  static __m512 mul(__m512 x, __m512 s) { return _mm512_mul_ps(x, s); }
  static __m512d mul(__m512d x, __m512d s) { return _mm512_mul_pd(x, s); }
  static __m512 madd(__m512 x, __m512 s, __m512 o) { return _mm512_add_ps(_mm512_mul_ps(x, s), o); }
  static __m512d madd(__m512d x, __m512d s, __m512d o) { return _mm512_add_pd(_mm512_mul_pd(x, s), o); }
  static __m512 madd_on_fma(__m512 x, __m512 s, __m512 o) {
    return _mm512_fmadd_ps(_mm512_mul_ps(x, s), _mm512_set1_ps(1.0f), o);
  }
  static __m512d madd_on_fma(__m512d x, __m512d s, __m512d o) {
    return _mm512_fmadd_pd(_mm512_mul_pd(x, s), _mm512_set1_pd(1.0), o);
  }
  // Eight doubles give eight floats, stored as a 256-bit vector: joining two
  // halves into one 512-bit store would put a shuffle on every step's
  // latency, which short blocks feel and long ones do not repay.
  static __m256 narrow(const double* p, __m512d s, __m512d o) { return _mm512_cvtpd_ps(madd(_mm512_loadu_pd(p), s, o)); }
  static __m256 narrow_on_fma(const double* p, __m512d s, __m512d o) {
    return _mm512_cvtpd_ps(madd_on_fma(_mm512_loadu_pd(p), s, o));
  }
  // The same at a scale of one, the multiply left out (see convert_narrow).
  static __m256 narrow_sum(const double* p, __m512d o) { return _mm512_cvtpd_ps(_mm512_add_pd(_mm512_loadu_pd(p), o)); }
  static __m256 narrow_sum_on_fma(const double* p, __m512d o) {
    return _mm512_cvtpd_ps(_mm512_fmadd_pd(_mm512_loadu_pd(p), _mm512_set1_pd(1.0), o));
  }
  using Avx512::store;
  using Avx512::stream;
  static void store(float* p, __m256 v) { _mm256_storeu_ps(p, v); }
  static void stream(float* p, __m256 v) { _mm256_stream_ps(p, v); }
};

}  // namespace

MORVEX_CONVERT_INSTANTIATE(avx512, Avx512)
MORVEX_CONVERT_EXACT_INSTANTIATE(avx512, Avx512Exact)

}  // namespace morvex::ops
