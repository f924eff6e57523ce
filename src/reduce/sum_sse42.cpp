// sum_f64 and square_sum_f64, SSE4.2: two lanes. Lane k adds elements 2i+k
// in order; the tail element (odd count) is added onto the caller's value;
// the result is (l1 + l0) + (old + tail). The count is taken as a signed
// 32-bit number, which is the documented limit of this variant.
#include <immintrin.h>

#include <cstdint>

#include "reduce/kernels.h"

namespace morvex::reduce {

namespace {

template <bool kSquare>
inline void sum2(const double* x, uint64_t count, double* result) {
  const int32_t n = int32_t(count);
  const int32_t q = n / 2, r = n % 2;
  __m128d acc = _mm_setzero_pd();
  for (int32_t i = 0; i < q; ++i) {
    const __m128d v = _mm_loadu_pd(x + 2 * int64_t(i));
    acc = _mm_add_pd(acc, kSquare ? _mm_mul_pd(v, v) : v);
  }
  double t = *result;
  if (r > 0) {
    const double v = x[2 * int64_t(q)];
    t = t + (kSquare ? v * v : v);
  }
  alignas(16) double lane[2];
  _mm_store_pd(lane, acc);
  *result = (lane[1] + lane[0]) + t;
}

}  // namespace

void sum_f64_sse42(const double* x, uint64_t count, double* result) { sum2<false>(x, count, result); }
void square_sum_f64_sse42(const double* x, uint64_t count, double* result) { sum2<true>(x, count, result); }

}  // namespace morvex::reduce
