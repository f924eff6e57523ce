// SPDX-License-Identifier: MIT
// Extremes, AVX: f32 eight and f64 four lanes at a time through the exact
// float kernel of minmax_float.h.
#include <immintrin.h>

#include <cstdint>

#include "reduce/kernels.h"
#include "reduce/minmax_float.h"

namespace morvex::reduce {

namespace {

struct F32x8 {
  using T = float;
  using V = __m256;
  static constexpr uint64_t kLanes = 8;
  static V load(const float* p) { return _mm256_loadu_ps(p); }
  static V set1(float v) { return _mm256_set1_ps(v); }
  static V min(V a, V b) { return _mm256_min_ps(a, b); }
  static V max(V a, V b) { return _mm256_max_ps(a, b); }
  static bool has_nan(V a, V b) { return _mm256_movemask_ps(_mm256_cmp_ps(a, b, _CMP_UNORD_Q)) != 0; }
  static void store(float* p, V v) { _mm256_storeu_ps(p, v); }
};

struct F64x4 {
  using T = double;
  using V = __m256d;
  static constexpr uint64_t kLanes = 4;
  static V load(const double* p) { return _mm256_loadu_pd(p); }
  static V set1(double v) { return _mm256_set1_pd(v); }
  static V min(V a, V b) { return _mm256_min_pd(a, b); }
  static V max(V a, V b) { return _mm256_max_pd(a, b); }
  static bool has_nan(V a, V b) { return _mm256_movemask_pd(_mm256_cmp_pd(a, b, _CMP_UNORD_Q)) != 0; }
  static void store(double* p, V v) { _mm256_storeu_pd(p, v); }
};

}  // namespace

void minmax_f32_avx(const float* x, uint64_t n, float* mn, float* mx) { exact_minmax<F32x8>(x, n, mn, mx); }
void minmax_f64_avx(const double* x, uint64_t n, double* mn, double* mx) { exact_minmax<F64x4>(x, n, mn, mx); }

}  // namespace morvex::reduce
