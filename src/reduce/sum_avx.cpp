// sum_f64 and square_sum_f64, AVX: four lanes. Lane k adds elements 4i+k in
// order; the count mod 4 tail elements are added one by one onto the
// caller's value; the result is l3 + (l2 + (l1 + (l0 + (old + tail)))). The
// count is taken as a signed 32-bit number, which is the documented limit of
// this variant.
//
// Each lane is one dependency chain, so the loop runs at one vector addition
// latency per four elements: four times the base kernel, which is all the
// fixed order allows.
#include <immintrin.h>

#include <cstdint>

#include "reduce/kernels.h"

namespace morvex::reduce {

namespace {

template <bool kSquare>
inline void sum4(const double* x, uint64_t count, double* result) {
  const int32_t n = int32_t(count);
  const int32_t q = n / 4, r = n % 4;
  __m256d acc = _mm256_setzero_pd();
  for (int32_t i = 0; i < q; ++i) {
    const __m256d v = _mm256_loadu_pd(x + 4 * int64_t(i));
    acc = _mm256_add_pd(acc, kSquare ? _mm256_mul_pd(v, v) : v);
  }
  double t = *result;
  for (int32_t k = 0; k < r; ++k) {
    const double v = x[4 * int64_t(q) + k];
    t = t + (kSquare ? v * v : v);
  }
  alignas(32) double lane[4];
  _mm256_store_pd(lane, acc);
  double v = lane[0] + t;
  v = lane[1] + v;
  v = lane[2] + v;
  *result = lane[3] + v;
}

}  // namespace

void sum_f64_avx(const double* x, uint64_t count, double* result) { sum4<false>(x, count, result); }
void square_sum_f64_avx(const double* x, uint64_t count, double* result) { sum4<true>(x, count, result); }

}  // namespace morvex::reduce
