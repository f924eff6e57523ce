// SPDX-License-Identifier: MIT
// mulc_addc, AVX2 with FMA3: x * m + c as one fused multiply-add per element
// (a single rounding), on every element including the tail and the
// element-by-element path, so a call never mixes the two roundings. Four
// vectors per round keep both store ports busy on blocks that sit in cache;
// outputs larger than the caches are written with streaming stores.
#include <immintrin.h>

#include <cmath>

#include "ops/arith.h"
#include "ops/overlap.h"
#include "ops/stream.h"

namespace morvex::ops {

void mulc_addc_f32_avx2(const float* in, float* out, uint64_t n, float m, float c) {
  uint64_t i = 0;
  if (disjoint(out, in, n)) {
    const __m256 vm = _mm256_set1_ps(m), vc = _mm256_set1_ps(c);
    if (n * sizeof(float) >= simd::kStreamBytes) {
      for (; i < n && reinterpret_cast<uintptr_t>(out + i) % 32; ++i) out[i] = std::fma(in[i], m, c);
      for (; i + 8 <= n; i += 8) _mm256_stream_ps(out + i, _mm256_fmadd_ps(_mm256_loadu_ps(in + i), vm, vc));
      _mm_sfence();
    }
    for (; i + 32 <= n; i += 32) {
      const __m256 x0 = _mm256_loadu_ps(in + i), x1 = _mm256_loadu_ps(in + i + 8);
      const __m256 x2 = _mm256_loadu_ps(in + i + 16), x3 = _mm256_loadu_ps(in + i + 24);
      _mm256_storeu_ps(out + i, _mm256_fmadd_ps(x0, vm, vc));
      _mm256_storeu_ps(out + i + 8, _mm256_fmadd_ps(x1, vm, vc));
      _mm256_storeu_ps(out + i + 16, _mm256_fmadd_ps(x2, vm, vc));
      _mm256_storeu_ps(out + i + 24, _mm256_fmadd_ps(x3, vm, vc));
    }
    for (; i + 8 <= n; i += 8) _mm256_storeu_ps(out + i, _mm256_fmadd_ps(_mm256_loadu_ps(in + i), vm, vc));
  }
  for (; i < n; ++i) out[i] = std::fma(in[i], m, c);
}

void mulc_addc_f64_avx2(const double* in, double* out, uint64_t n, double m, double c) {
  uint64_t i = 0;
  if (disjoint(out, in, n)) {
    const __m256d vm = _mm256_set1_pd(m), vc = _mm256_set1_pd(c);
    if (n * sizeof(double) >= simd::kStreamBytes) {
      for (; i < n && reinterpret_cast<uintptr_t>(out + i) % 32; ++i) out[i] = std::fma(in[i], m, c);
      for (; i + 4 <= n; i += 4) _mm256_stream_pd(out + i, _mm256_fmadd_pd(_mm256_loadu_pd(in + i), vm, vc));
      _mm_sfence();
    }
    for (; i + 16 <= n; i += 16) {
      const __m256d x0 = _mm256_loadu_pd(in + i), x1 = _mm256_loadu_pd(in + i + 4);
      const __m256d x2 = _mm256_loadu_pd(in + i + 8), x3 = _mm256_loadu_pd(in + i + 12);
      _mm256_storeu_pd(out + i, _mm256_fmadd_pd(x0, vm, vc));
      _mm256_storeu_pd(out + i + 4, _mm256_fmadd_pd(x1, vm, vc));
      _mm256_storeu_pd(out + i + 8, _mm256_fmadd_pd(x2, vm, vc));
      _mm256_storeu_pd(out + i + 12, _mm256_fmadd_pd(x3, vm, vc));
    }
    for (; i + 4 <= n; i += 4) _mm256_storeu_pd(out + i, _mm256_fmadd_pd(_mm256_loadu_pd(in + i), vm, vc));
  }
  for (; i < n; ++i) out[i] = std::fma(in[i], m, c);
}

}  // namespace morvex::ops
