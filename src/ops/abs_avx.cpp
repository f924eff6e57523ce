// SPDX-License-Identifier: MIT
// Absolute value, AVX: the sign bit cleared with one AND-NOT per 8 f32 or 4 f64
// lanes, exactly what the plain kernel's fabs does. Outputs past the
// streaming threshold are written with 256-bit streaming stores: at that size
// the kernel is a copy, and a copy that first reads every destination line
// moves half as many bytes again.
#include <immintrin.h>

#include <cmath>

#include "ops/elements.h"
#include "ops/kernels.h"
#include "ops/stream.h"

namespace morvex::ops {

namespace {

inline __m256 clear_sign(const float* p) { return _mm256_andnot_ps(_mm256_set1_ps(-0.0f), _mm256_loadu_ps(p)); }
inline __m256d clear_sign(const double* p) { return _mm256_andnot_pd(_mm256_set1_pd(-0.0), _mm256_loadu_pd(p)); }

template <bool Stream>
inline void put(float* p, __m256 v) {
  if constexpr (Stream) _mm256_stream_ps(p, v);
  else _mm256_storeu_ps(p, v);
}
template <bool Stream>
inline void put(double* p, __m256d v) {
  if constexpr (Stream) _mm256_stream_pd(p, v);
  else _mm256_storeu_pd(p, v);
}

template <class T>
void abs_avx(const T* in, T* out, uint64_t n) {
  constexpr uint64_t L = 32 / sizeof(T);
  uint64_t i = 0;
  if (forward_safe(out, in, n)) {
    T* const dst[] = {out};
    const auto head = [&](uint64_t h) {
      for (uint64_t k = 0; k < h; ++k) out[k] = std::fabs(in[k]);
    };
    // Four vectors loaded before any is stored: safe for an output at or
    // below the input (forward_safe).
    const auto body = [&]<bool Stream>(uint64_t k) {
      for (; k + 4 * L <= n; k += 4 * L) {
        const auto a = clear_sign(in + k), b = clear_sign(in + k + L);
        const auto c = clear_sign(in + k + 2 * L), d = clear_sign(in + k + 3 * L);
        put<Stream>(out + k, a);
        put<Stream>(out + k + L, b);
        put<Stream>(out + k + 2 * L, c);
        put<Stream>(out + k + 3 * L, d);
      }
      for (; k + L <= n; k += L) put<Stream>(out + k, clear_sign(in + k));
      return k;
    };
    i = simd::with_streaming<32>(dst, 1, n, head, body);
  }
  for (; i < n; ++i) out[i] = std::fabs(in[i]);
}

}  // namespace

void abs_f32_avx(const float* in, float* out, uint64_t n) { abs_avx(in, out, n); }
void abs_f64_avx(const double* in, double* out, uint64_t n) { abs_avx(in, out, n); }

}  // namespace morvex::ops
