// SPDX-License-Identifier: MIT
// Kept window multipliers applied eight elements at a time (AVX-512F): the
// f64 multiply (the f32 one runs faster in 256-bit vectors, see
// frame/call_time.h), and both types' mirrored multiply of long windows.
// GCC 12's AVX-512 headers start some intrinsics from an "undefined" vector
// and then warn that it may be used uninitialised; every lane is overwritten.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#include "generate/weight_cache.h"
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

namespace {

inline __m512d times(__m512d w, const float* in) { return _mm512_mul_pd(w, _mm512_cvtps_pd(_mm256_loadu_ps(in))); }
inline __m512d times(__m512d w, const double* in) { return _mm512_mul_pd(w, _mm512_loadu_pd(in)); }
inline void put(float* out, __m512d v) { _mm256_storeu_ps(out, _mm512_cvtpd_ps(v)); }
inline void put(double* out, __m512d v) { _mm512_storeu_pd(out, v); }

// Eight pairs a step: the multipliers j..j+7 are loaded, and their mirror
// images n-1-j..n-8-j are made from them by adding the differences to the
// bit patterns and reversing the lanes, unless a difference did not fit;
// then the step loads those multipliers (the store kept them all).
template <class T>
void mirrored(const double* ws, const int16_t* mirror, const T* in, T* out, std::size_t n, std::size_t first,
              std::size_t count) {
  const __m512i reverse = _mm512_setr_epi64(7, 6, 5, 4, 3, 2, 1, 0);
  const __m128i none = _mm_set1_epi16(kNoMirror);
  const std::size_t end = first + count;
  std::size_t j = first;
  for (; j + 8 <= end; j += 8) {
    const std::size_t m = n - 8 - j;
    const __m512d w = _mm512_loadu_pd(ws + j);
    const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(mirror + j));
    const __m512d wm =
        _mm_movemask_epi8(_mm_cmpeq_epi16(d, none)) == 0
            ? _mm512_permutexvar_pd(reverse, _mm512_castsi512_pd(_mm512_add_epi64(_mm512_castpd_si512(w),
                                                                                   _mm512_cvtepi16_epi64(d))))
            : _mm512_loadu_pd(ws + m);
    put(out + j, times(w, in + j));
    put(out + m, times(wm, in + m));
  }
  // The last few pairs: both short blocks through the full multipliers.
  const std::size_t m = n - end;
  weigh_plain(ws + j, in + j, out + j, end - j);
  weigh_plain(ws + m, in + m, out + m, end - j);
}

}  // namespace

void weigh_mirrored_avx512(const double* ws, const int16_t* mirror, const float* in, float* out, std::size_t n,
                           std::size_t first, std::size_t count) {
  mirrored(ws, mirror, in, out, n, first, count);
}

void weigh_mirrored_avx512(const double* ws, const int16_t* mirror, const double* in, double* out, std::size_t n,
                           std::size_t first, std::size_t count) {
  mirrored(ws, mirror, in, out, n, first, count);
}

}  // namespace morvex::generate::weigh_detail
