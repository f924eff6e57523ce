// Raw-sample conversions, AVX2 with FMA3: 8 f32 or 4 f64 lanes, x * scale +
// offset as one fused multiply-add (a single rounding) on every element,
// the scalar tail included.
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

}  // namespace

MORVEX_CONVERT_INSTANTIATE(avx2, Avx2)

}  // namespace morvex::ops
