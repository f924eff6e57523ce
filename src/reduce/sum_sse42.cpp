// SPDX-License-Identifier: MIT
// sum_f64 and square_sum_f64, SSE4.2: the two-lane order of sum_lanes.h.
#include <immintrin.h>

#include <cstdint>

#include "reduce/kernels.h"
#include "reduce/sum_lanes.h"

namespace morvex::reduce {

namespace {

struct F64x2 {
  using V = __m128d;
  static constexpr int32_t kLanes = 2;
  static V zero() { return _mm_setzero_pd(); }
  static V load(const double* p) { return _mm_loadu_pd(p); }
  static V add(V a, V b) { return _mm_add_pd(a, b); }
  static V mul(V a, V b) { return _mm_mul_pd(a, b); }
  static void store(double* p, V v) { _mm_storeu_pd(p, v); }
};

}  // namespace

void sum_f64_sse42(const double* x, uint64_t count, double* result) { sum_lanes<F64x2, false>(x, count, result); }
void square_sum_f64_sse42(const double* x, uint64_t count, double* result) {
  sum_lanes<F64x2, true>(x, count, result);
}

}  // namespace morvex::reduce
