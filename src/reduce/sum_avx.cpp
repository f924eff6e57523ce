// SPDX-License-Identifier: MIT
// sum_f64 and square_sum_f64, AVX: the four-lane order of sum_lanes.h.
#include <immintrin.h>

#include <cstdint>

#include "reduce/kernels.h"
#include "reduce/sum_lanes.h"

namespace morvex::reduce {

namespace {

struct F64x4 {
  using V = __m256d;
  static constexpr int32_t kLanes = 4;
  static V zero() { return _mm256_setzero_pd(); }
  static V load(const double* p) { return _mm256_loadu_pd(p); }
  static V add(V a, V b) { return _mm256_add_pd(a, b); }
  static V mul(V a, V b) { return _mm256_mul_pd(a, b); }
  static void store(double* p, V v) { _mm256_storeu_pd(p, v); }
};

}  // namespace

void sum_f64_avx(const double* x, uint64_t count, double* result) { sum_lanes<F64x4, false>(x, count, result); }
void square_sum_f64_avx(const double* x, uint64_t count, double* result) { sum_lanes<F64x4, true>(x, count, result); }

}  // namespace morvex::reduce
