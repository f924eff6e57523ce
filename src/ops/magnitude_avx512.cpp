// Complex magnitude (f32), AVX-512F: the same result as cabsf, element for
// element, without the divider that bounds the baseline kernel.
//
// The baseline forms s = re^2 + im^2 in double (exact squares, one rounding)
// and rounds the double square root to single. Here the square root of s
// comes from the reciprocal-square-root estimate (relative error below 2^-14)
// refined by two Goldschmidt steps with fused multiply-adds, which leaves g
// within a few double ulps of sqrt(s) (well below 2^-45 relative). Rounding g
// to single gives the correctly rounded sqrt(s) unless sqrt(s) lies within
// that margin of a rounding boundary; such groups (and zeros, infinities,
// NaNs, overflow, which fail the same test) are recomputed with cabsf.
//
// Only AVX-512F instructions on 512-bit vectors.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"  // GCC 12 "undefined" vectors in its headers

#include <immintrin.h>

#include <cstdint>

#include "ops/kernels.h"

extern "C" float cabsf(__complex__ float) noexcept;

namespace morvex::ops {

namespace {

// Eight magnitudes from 16 interleaved floats, or false when the group must be
// recomputed exactly.
inline bool magnitude8(const float* p, __m256& result) {
  const __m512 v = _mm512_loadu_ps(p);
  const __m512d lo = _mm512_cvtps_pd(_mm512_castps512_ps256(v));
  const __m512d hi = _mm512_cvtps_pd(_mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(v), 1)));
  const __m512i even = _mm512_setr_epi64(0, 2, 4, 6, 8, 10, 12, 14);
  const __m512i odd = _mm512_setr_epi64(1, 3, 5, 7, 9, 11, 13, 15);
  const __m512d re = _mm512_permutex2var_pd(lo, even, hi), im = _mm512_permutex2var_pd(lo, odd, hi);
  const __m512d s = _mm512_fmadd_pd(re, re, _mm512_mul_pd(im, im));  // im^2 exact: one rounding, as re^2 + im^2

  const __m512d half = _mm512_set1_pd(0.5);
  const __m512d y = _mm512_rsqrt14_pd(s);
  __m512d g = _mm512_mul_pd(s, y), h = _mm512_mul_pd(half, y);
  __m512d r = _mm512_fnmadd_pd(g, h, half);
  g = _mm512_fmadd_pd(g, r, g);
  h = _mm512_fmadd_pd(h, r, h);
  r = _mm512_fnmadd_pd(g, h, half);
  g = _mm512_fmadd_pd(g, r, g);

  result = _mm512_cvtpd_ps(g);
  // Half a single ulp in g's binade (a binade below, when g is just under a
  // power of two: the test is then only stricter), less the margin.
  const __m512d half_ulp = _mm512_scalef_pd(_mm512_set1_pd(1.0), _mm512_sub_pd(_mm512_getexp_pd(g), _mm512_set1_pd(24.0)));
  const __m512d margin = _mm512_mul_pd(g, _mm512_set1_pd(0x1p-45));
  const __m512d dist = _mm512_abs_pd(_mm512_sub_pd(g, _mm512_cvtps_pd(result)));
  return _mm512_cmp_pd_mask(dist, _mm512_sub_pd(half_ulp, margin), _CMP_LT_OQ) == 0xFF;
}

inline void exact(const float* in, float* out, uint64_t n) {
  for (uint64_t i = 0; i < n; ++i) {
    __complex__ float z;
    __real__ z = in[2 * i];
    __imag__ z = in[2 * i + 1];
    out[i] = cabsf(z);
  }
}

}  // namespace

void magnitude_c32f32_avx512(const float* in, float* out, uint64_t n) {
  uint64_t i = 0;
  // As the baseline kernel: vector groups unless out lies inside the input
  // above its start (in place, out == in, is fine).
  if (reinterpret_cast<uintptr_t>(out) <= reinterpret_cast<uintptr_t>(in) ||
      reinterpret_cast<uintptr_t>(out) >= reinterpret_cast<uintptr_t>(in + 2 * n)) {
    // The vector loop holds no call (its constants stay in registers): it
    // stops at a group that needs cabsf, which is done outside it.
    while (i + 8 <= n) {
      for (__m256 r; i + 8 <= n && magnitude8(in + 2 * i, r); i += 8) _mm256_storeu_ps(out + i, r);
      if (i + 8 <= n) {
        exact(in + 2 * i, out + i, 8);
        i += 8;
      }
    }
  }
  exact(in + 2 * i, out + i, n - i);
}

}  // namespace morvex::ops
