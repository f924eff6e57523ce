// SPDX-License-Identifier: MIT
// Extremes, AVX-512F: f32 sixteen and f64 eight lanes at a time through the
// exact float kernel of minmax_float.h. vminps/vmaxps at 512 bits keep their
// second operand on ties and NaNs as the narrower forms do, which is all the
// kernel relies on.
// GCC 12's AVX-512 headers start some intrinsics from an "undefined" vector
// and then warn that it may be used uninitialised; every lane is overwritten.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#include <cstdint>

#include "reduce/kernels.h"
#include "reduce/minmax_float.h"

namespace morvex::reduce {

namespace {

struct F32x16 {
  using T = float;
  using V = __m512;
  static constexpr uint64_t kLanes = 16;
  static V load(const float* p) { return _mm512_loadu_ps(p); }
  static V set1(float v) { return _mm512_set1_ps(v); }
  static V min(V a, V b) { return _mm512_min_ps(a, b); }
  static V max(V a, V b) { return _mm512_max_ps(a, b); }
  static bool has_nan(V a, V b) { return _mm512_cmp_ps_mask(a, b, _CMP_UNORD_Q) != 0; }
  static void store(float* p, V v) { _mm512_storeu_ps(p, v); }
};

struct F64x8 {
  using T = double;
  using V = __m512d;
  static constexpr uint64_t kLanes = 8;
  static V load(const double* p) { return _mm512_loadu_pd(p); }
  static V set1(double v) { return _mm512_set1_pd(v); }
  static V min(V a, V b) { return _mm512_min_pd(a, b); }
  static V max(V a, V b) { return _mm512_max_pd(a, b); }
  static bool has_nan(V a, V b) { return _mm512_cmp_pd_mask(a, b, _CMP_UNORD_Q) != 0; }
  static void store(double* p, V v) { _mm512_storeu_pd(p, v); }
};

}  // namespace

void minmax_f32_avx512(const float* x, uint64_t n, float* mn, float* mx) { exact_minmax<F32x16>(x, n, mn, mx); }
void minmax_f64_avx512(const double* x, uint64_t n, double* mn, double* mx) { exact_minmax<F64x8>(x, n, mn, mx); }

}  // namespace morvex::reduce
