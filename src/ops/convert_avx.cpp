// SPDX-License-Identifier: MIT
// Raw-sample conversions, AVX: 8 f32 or 4 f64 lanes, a multiply then an add
// (two roundings, as the plain kernel). AVX has no 256-bit integer widening,
// so the samples are widened in two 128-bit halves.
#include "ops/convert_simd.h"
#include "ops/kernels.h"

namespace morvex::ops {

namespace {

struct Avx : simd::Avx256 {
  using Avx256::widen;
  static __m256i join(__m128i lo, __m128i hi) { return _mm256_insertf128_si256(_mm256_castsi128_si256(lo), hi, 1); }
  static __m256 widen(const uint8_t* p, float) {
    const __m128i x = _mm_cvtsi64_si128(simd::read<long long>(p));
    return _mm256_cvtepi32_ps(join(_mm_cvtepu8_epi32(x), _mm_cvtepu8_epi32(_mm_srli_si128(x, 4))));
  }
  static __m256 widen(const uint16_t* p, float) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    return _mm256_cvtepi32_ps(join(_mm_cvtepu16_epi32(x), _mm_cvtepu16_epi32(_mm_srli_si128(x, 8))));
  }
  static __m256 madd(__m256 x, __m256 s, __m256 o) { return _mm256_add_ps(_mm256_mul_ps(x, s), o); }
  static __m256d madd(__m256d x, __m256d s, __m256d o) { return _mm256_add_pd(_mm256_mul_pd(x, s), o); }
};

}  // namespace

MORVEX_CONVERT_INSTANTIATE(avx, Avx)

}  // namespace morvex::ops
