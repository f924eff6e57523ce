// SPDX-License-Identifier: MIT
// Kept window multipliers applied four elements at a time (AVX).
#include <immintrin.h>

#include "generate/window_weigh.h"

namespace morvex::generate::weigh_detail {

void weigh_avx(const double* ws, const float* in, float* out, std::size_t n) {
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m256d a = _mm256_mul_pd(_mm256_loadu_pd(ws + i), _mm256_cvtps_pd(_mm_loadu_ps(in + i)));
    const __m256d b = _mm256_mul_pd(_mm256_loadu_pd(ws + i + 4), _mm256_cvtps_pd(_mm_loadu_ps(in + i + 4)));
    _mm_storeu_ps(out + i, _mm256_cvtpd_ps(a));
    _mm_storeu_ps(out + i + 4, _mm256_cvtpd_ps(b));
  }
  for (; i < n; ++i) out[i] = static_cast<float>(ws[i] * double(in[i]));
}

void weigh_avx(const double* ws, const double* in, double* out, std::size_t n) {
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m256d a = _mm256_mul_pd(_mm256_loadu_pd(ws + i), _mm256_loadu_pd(in + i));
    const __m256d b = _mm256_mul_pd(_mm256_loadu_pd(ws + i + 4), _mm256_loadu_pd(in + i + 4));
    _mm256_storeu_pd(out + i, a);
    _mm256_storeu_pd(out + i + 4, b);
  }
  for (; i < n; ++i) out[i] = ws[i] * in[i];
}

}  // namespace morvex::generate::weigh_detail
