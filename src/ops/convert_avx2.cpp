// SPDX-License-Identifier: MIT
// Conversions, AVX2 with FMA3: 8 f32 or 4 f64 lanes.
//  - The raw-sample slot variants: x * scale + offset as one fused
//    multiply-add (a single rounding) on every element, the tail included.
//  - The wide paths of the other conversions, chosen at call time: a
//    multiply then an add, bit for bit the plain loop.
#include "ops/convert_simd.h"
#include "ops/kernels.h"

namespace morvex::ops {

namespace {

struct Avx2 : simd::Avx256 {
  using Avx256::widen;
  static __m256 widen(const uint8_t* p, float) {
    return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_cvtsi64_si128(simd::read<long long>(p))));
  }
  static __m256 widen(const uint16_t* p, float) {
    return _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
  }
  static __m256 madd(__m256 x, __m256 s, __m256 o) { return _mm256_fmadd_ps(x, s, o); }
  static __m256d madd(__m256d x, __m256d s, __m256d o) { return _mm256_fmadd_pd(x, s, o); }
};

struct Avx2Exact : simd::Avx256 {
  static __m128i load128(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
  static __m256 widen(const int8_t* p, float) {
    return _mm256_cvtepi32_ps(_mm256_cvtepi8_epi32(_mm_cvtsi64_si128(simd::read<long long>(p))));
  }
  static __m256 widen(const int16_t* p, float) { return _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(load128(p))); }
  static __m256 widen(const int32_t* p, float) {
    return _mm256_cvtepi32_ps(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
  }
  // AVX2 converts only signed integers: the high and low 16 bits convert
  // exactly, hi * 65536 is exact too, and the one rounding is in the sum,
  // which is what the scalar u32 -> float conversion rounds.
  static __m256 widen(const uint32_t* p, float) {
    const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    const __m256 hi = _mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_srli_epi32(x, 16)), _mm256_set1_ps(65536.0f));
    return _mm256_add_ps(hi, _mm256_cvtepi32_ps(_mm256_and_si256(x, _mm256_set1_epi32(0xFFFF))));
  }
  static __m256d widen(const int8_t* p, double) {
    return _mm256_cvtepi32_pd(_mm_cvtepi8_epi32(_mm_cvtsi32_si128(simd::read<int>(p))));
  }
  static __m256d widen(const int16_t* p, double) {
    return _mm256_cvtepi32_pd(_mm_cvtepi16_epi32(_mm_cvtsi64_si128(simd::read<long long>(p))));
  }
  static __m256d widen(const int32_t* p, double) { return _mm256_cvtepi32_pd(load128(p)); }
  // Flip the sign bit, convert as signed, add 2^31 back: all exact in double.
  static __m256d widen(const uint32_t* p, double) {
    const __m128i x = _mm_xor_si128(load128(p), _mm_set1_epi32(int(0x80000000u)));
    return _mm256_add_pd(_mm256_cvtepi32_pd(x), _mm256_set1_pd(2147483648.0));
  }
  static __m256d widen(const float* p, double) { return _mm256_cvtps_pd(_mm_loadu_ps(p)); }
  static __m256 fmadd(__m256 x, __m256 s, __m256 o) { return _mm256_fmadd_ps(x, s, o); }
  static __m256d fmadd(__m256d x, __m256d s, __m256d o) { return _mm256_fmadd_pd(x, s, o); }
  static __m256 mul(__m256 x, __m256 s) { return _mm256_mul_ps(x, s); }
  static __m256d mul(__m256d x, __m256d s) { return _mm256_mul_pd(x, s); }
  static __m256 madd(__m256 x, __m256 s, __m256 o) { return _mm256_add_ps(_mm256_mul_ps(x, s), o); }
  static __m256d madd(__m256d x, __m256d s, __m256d o) { return _mm256_add_pd(_mm256_mul_pd(x, s), o); }
  static __m256 madd_on_fma(__m256 x, __m256 s, __m256 o) {
    return _mm256_fmadd_ps(_mm256_mul_ps(x, s), _mm256_set1_ps(1.0f), o);
  }
  static __m256d madd_on_fma(__m256d x, __m256d s, __m256d o) {
    return _mm256_fmadd_pd(_mm256_mul_pd(x, s), _mm256_set1_pd(1.0), o);
  }
  static __m256 narrow(const double* p, __m256d s, __m256d o) {
    const __m128 lo = _mm256_cvtpd_ps(madd(_mm256_loadu_pd(p), s, o));
    const __m128 hi = _mm256_cvtpd_ps(madd(_mm256_loadu_pd(p + 4), s, o));
    return _mm256_insertf128_ps(_mm256_castps128_ps256(lo), hi, 1);
  }
};

}  // namespace

MORVEX_CONVERT_INSTANTIATE(avx2, Avx2)
MORVEX_CONVERT_EXACT_INSTANTIATE(avx2, Avx2Exact)

}  // namespace morvex::ops
