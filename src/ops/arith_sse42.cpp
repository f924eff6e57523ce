// SPDX-License-Identifier: MIT
// mulc_addc, SSE4.2: four f32 or two f64 lanes, a multiply then an add (two
// roundings, as the plain kernel). Outputs larger than the caches are written
// with streaming stores (same values, no read of the destination lines).
#include <immintrin.h>

#include "ops/arith.h"
#include "ops/overlap.h"
#include "ops/stream.h"

namespace morvex::ops {

void mulc_addc_f32_sse42(const float* in, float* out, uint64_t n, float m, float c) {
  uint64_t i = 0;
  if (disjoint(out, in, n)) {
    const __m128 vm = _mm_set1_ps(m), vc = _mm_set1_ps(c);
    if (n * sizeof(float) >= simd::kStreamBytes) {
      for (; i < n && reinterpret_cast<uintptr_t>(out + i) % 16; ++i) out[i] = in[i] * m + c;
      for (; i + 4 <= n; i += 4) _mm_stream_ps(out + i, _mm_add_ps(_mm_mul_ps(_mm_loadu_ps(in + i), vm), vc));
      _mm_sfence();
    }
    for (; i + 8 <= n; i += 8) {
      const __m128 x0 = _mm_loadu_ps(in + i), x1 = _mm_loadu_ps(in + i + 4);
      _mm_storeu_ps(out + i, _mm_add_ps(_mm_mul_ps(x0, vm), vc));
      _mm_storeu_ps(out + i + 4, _mm_add_ps(_mm_mul_ps(x1, vm), vc));
    }
  }
  for (; i < n; ++i) out[i] = in[i] * m + c;
}

void mulc_addc_f64_sse42(const double* in, double* out, uint64_t n, double m, double c) {
  uint64_t i = 0;
  if (disjoint(out, in, n)) {
    const __m128d vm = _mm_set1_pd(m), vc = _mm_set1_pd(c);
    if (n * sizeof(double) >= simd::kStreamBytes) {
      for (; i < n && reinterpret_cast<uintptr_t>(out + i) % 16; ++i) out[i] = in[i] * m + c;
      for (; i + 2 <= n; i += 2) _mm_stream_pd(out + i, _mm_add_pd(_mm_mul_pd(_mm_loadu_pd(in + i), vm), vc));
      _mm_sfence();
    }
    for (; i + 4 <= n; i += 4) {
      const __m128d x0 = _mm_loadu_pd(in + i), x1 = _mm_loadu_pd(in + i + 2);
      _mm_storeu_pd(out + i, _mm_add_pd(_mm_mul_pd(x0, vm), vc));
      _mm_storeu_pd(out + i + 2, _mm_add_pd(_mm_mul_pd(x1, vm), vc));
    }
  }
  for (; i < n; ++i) out[i] = in[i] * m + c;
}

}  // namespace morvex::ops
