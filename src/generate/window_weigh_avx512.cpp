// SPDX-License-Identifier: MIT
// Kept window multipliers applied eight elements at a time (AVX-512F), f64
// only: the f32 multiply runs faster in 256-bit vectors (frame/call_time.h).
#include <immintrin.h>

#include "generate/window_weigh.h"

namespace morvex::generate::weigh_detail {

void weigh_avx512(const double* ws, const double* in, double* out, std::size_t n) {
  std::size_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m512d a = _mm512_mul_pd(_mm512_loadu_pd(ws + i), _mm512_loadu_pd(in + i));
    const __m512d b = _mm512_mul_pd(_mm512_loadu_pd(ws + i + 8), _mm512_loadu_pd(in + i + 8));
    _mm512_storeu_pd(out + i, a);
    _mm512_storeu_pd(out + i + 8, b);
  }
  for (; i < n; ++i) out[i] = ws[i] * in[i];
}

}  // namespace morvex::generate::weigh_detail
