// SPDX-License-Identifier: MIT
// Math functions over arrays: each element is the C math library's function of
// the same precision (sinf for f32, sin for f64), called per element, so the
// results, the special values and the errno reports are the library's own.
// Nothing is widened or narrowed on the way.
//
// Two members do not call the library for every element, and still give its
// result bit for bit:
//  - sqrt uses the processor's square root (correctly rounded, as the
//    library's is) for inputs not below zero, and calls sqrtf/sqrt for
//    negative and NaN inputs so that the domain error is reported as usual;
//  - the f32 complex magnitude forms re^2 + im^2 in double (both squares are
//    exact there and the sum cannot overflow or underflow), takes the double
//    square root and rounds it to single; that is cabsf's result for every
//    finite input, and any group with a non-finite result (infinite or NaN
//    parts, overflow beyond the single range) is recomputed with cabsf itself.
#include <emmintrin.h>

#include <cmath>
#include <cstring>

#include "morvex-m/ops.h"
#include "ops/elements.h"
#include "ops/kernels.h"
#include "frame/call_time.h"

using morvex::ops::forward_safe;

extern "C" {
float cabsf(__complex__ float) noexcept;
double cabs(__complex__ double) noexcept;
float cargf(__complex__ float) noexcept;
double carg(__complex__ double) noexcept;
}

namespace {

// The C library's complex types, built from the interleaved pairs.
inline __complex__ float complex_at(const float* in, uint64_t i) {
  __complex__ float z;
  __real__ z = in[2 * i];
  __imag__ z = in[2 * i + 1];
  return z;
}
inline __complex__ double complex_at(const double* in, uint64_t i) {
  __complex__ double z;
  __real__ z = in[2 * i];
  __imag__ z = in[2 * i + 1];
  return z;
}

template <class T, class F>
inline int32_t map(const T* in, T* out, uint64_t n, F f) {
  for (uint64_t i = 0; i < n; ++i) out[i] = f(in[i]);
  return 0;
}

template <class T, class F>
inline int32_t map2(const T* a, const T* b, T* out, uint64_t n, F f) {
  for (uint64_t i = 0; i < n; ++i) out[i] = f(a[i], b[i]);
  return 0;
}

inline bool all_finite(__m128 v) {
  const __m128i exponent = _mm_and_si128(_mm_castps_si128(v), _mm_set1_epi32(0x7F800000));
  return _mm_movemask_epi8(_mm_cmpeq_epi32(exponent, _mm_set1_epi32(0x7F800000))) == 0;
}

// Four magnitudes from eight floats (re, im, re, im, ...).
inline __m128 magnitude4(const float* p) {
  const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4);
  const __m128 re = _mm_shuffle_ps(a, b, 0x88), im = _mm_shuffle_ps(a, b, 0xDD);
  const __m128d rl = _mm_cvtps_pd(re), rh = _mm_cvtps_pd(_mm_movehl_ps(re, re));
  const __m128d il = _mm_cvtps_pd(im), ih = _mm_cvtps_pd(_mm_movehl_ps(im, im));
  const __m128d sl = _mm_add_pd(_mm_mul_pd(rl, rl), _mm_mul_pd(il, il));
  const __m128d sh = _mm_add_pd(_mm_mul_pd(rh, rh), _mm_mul_pd(ih, ih));
  return _mm_movelh_ps(_mm_cvtpd_ps(_mm_sqrt_pd(sl)), _mm_cvtpd_ps(_mm_sqrt_pd(sh)));
}

}  // namespace

void morvex::ops::magnitude_c32f32_plain(const float* in, float* out, uint64_t n) {
  uint64_t i = 0;
  // out may be the input array itself (the magnitudes then fill its first
  // half): every group reads its 8 floats before it stores 4, and a store
  // never reaches floats that a later group reads.
  // On records far beyond the caches (8 MiB of output and more) the input is
  // prefetched a line at a time, 2 KiB ahead: the hardware prefetchers alone
  // left this loop waiting for memory most of the time (a 16M-sample call
  // took 55 ms without, 16 ms with).
  const bool far = n >= (uint64_t(1) << 21);
  if (reinterpret_cast<uintptr_t>(out) <= reinterpret_cast<uintptr_t>(in) ||
      reinterpret_cast<uintptr_t>(out) >= reinterpret_cast<uintptr_t>(in + 2 * n)) {
    for (; i + 4 <= n; i += 4) {
      if (far && (i & 4)) _mm_prefetch(reinterpret_cast<const char*>(in + 2 * i) + 2048, _MM_HINT_T0);
      const __m128 r = magnitude4(in + 2 * i);
      if (all_finite(r)) {
        _mm_storeu_ps(out + i, r);
      } else {
        for (uint64_t k = i; k < i + 4; ++k) out[k] = cabsf(complex_at(in, k));
      }
    }
  }
  for (; i < n; ++i) out[i] = cabsf(complex_at(in, i));
}

namespace {

template <class T, class F>
inline int32_t map_complex(const T* in, T* out, uint64_t n, F f) {
  for (uint64_t i = 0; i < n; ++i) out[i] = f(complex_at(in, i));
  return 0;
}

// Four lanes at a time (two doubles twice) when every lane is not below zero;
// a group with a negative or NaN lane goes element by element through the
// library, which reports the domain error.
int32_t sqrt_f32(const float* in, float* out, uint64_t n) {
  uint64_t i = 0;
  const bool vector = forward_safe(out, in, n);
  for (; vector && i + 4 <= n; i += 4) {
    const __m128 x = _mm_loadu_ps(in + i);
    if (_mm_movemask_ps(_mm_cmpge_ps(x, _mm_setzero_ps())) == 0xF) {
      _mm_storeu_ps(out + i, _mm_sqrt_ps(x));
    } else {
      for (uint64_t k = i; k < i + 4; ++k) out[k] = ::sqrtf(in[k]);
    }
  }
  for (; i < n; ++i) out[i] = ::sqrtf(in[i]);
  return 0;
}

int32_t sqrt_f64(const double* in, double* out, uint64_t n) {
  uint64_t i = 0;
  const bool vector = forward_safe(out, in, n);
  for (; vector && i + 4 <= n; i += 4) {
    const __m128d a = _mm_loadu_pd(in + i), b = _mm_loadu_pd(in + i + 2);
    const __m128d zero = _mm_setzero_pd();
    if ((_mm_movemask_pd(_mm_cmpge_pd(a, zero)) & _mm_movemask_pd(_mm_cmpge_pd(b, zero))) == 0x3) {
      _mm_storeu_pd(out + i, _mm_sqrt_pd(a));
      _mm_storeu_pd(out + i + 2, _mm_sqrt_pd(b));
    } else {
      for (uint64_t k = i; k < i + 4; ++k) out[k] = ::sqrt(in[k]);
    }
  }
  for (; i < n; ++i) out[i] = ::sqrt(in[i]);
  return 0;
}

}  // namespace

extern "C" {

#define MORVEX_MATH1(NAME)                                                                   \
  int32_t morvex_m_##NAME##_f32(const float* in, float* out, uint64_t count) {               \
    return map(in, out, count, [](float x) { return ::NAME##f(x); });                        \
  }                                                                                          \
  int32_t morvex_m_##NAME##_f64(const double* in, double* out, uint64_t count) {             \
    return map(in, out, count, [](double x) { return ::NAME(x); });                          \
  }
MORVEX_MATH1(acos)
MORVEX_MATH1(acosh)
MORVEX_MATH1(asin)
MORVEX_MATH1(asinh)
MORVEX_MATH1(atan)
MORVEX_MATH1(atanh)
MORVEX_MATH1(cbrt)
MORVEX_MATH1(cos)
MORVEX_MATH1(cosh)
MORVEX_MATH1(exp)
MORVEX_MATH1(exp2)
MORVEX_MATH1(sin)
MORVEX_MATH1(sinh)
MORVEX_MATH1(tan)
MORVEX_MATH1(tanh)
#undef MORVEX_MATH1

int32_t morvex_m_sqrt_f32(const float* in, float* out, uint64_t count) {
  return sqrt_f32(in, out, count);
}
int32_t morvex_m_sqrt_f64(const double* in, double* out, uint64_t count) {
  return sqrt_f64(in, out, count);
}

int32_t morvex_m_atan2_f32(const float* y, const float* x, float* out, uint64_t count) {
  return map2(y, x, out, count, [](float a, float b) { return ::atan2f(a, b); });
}
int32_t morvex_m_atan2_f64(const double* y, const double* x, double* out, uint64_t count) {
  return map2(y, x, out, count, [](double a, double b) { return ::atan2(a, b); });
}
int32_t morvex_m_hypot_f32(const float* a, const float* b, float* out, uint64_t count) {
  return map2(a, b, out, count, [](float p, float q) { return ::hypotf(p, q); });
}
int32_t morvex_m_hypot_f64(const double* a, const double* b, double* out, uint64_t count) {
  return map2(a, b, out, count, [](double p, double q) { return ::hypot(p, q); });
}

// The sine of element i is stored before in[i] is read again for the cosine.
int32_t morvex_m_sincos_f32(const float* in, float* sin_out, float* cos_out, uint64_t count) {
  for (uint64_t i = 0; i < count; ++i) {
    sin_out[i] = ::sinf(in[i]);
    cos_out[i] = ::cosf(in[i]);
  }
  return 0;
}
int32_t morvex_m_sincos_f64(const double* in, double* sin_out, double* cos_out, uint64_t count) {
  for (uint64_t i = 0; i < count; ++i) {
    sin_out[i] = ::sin(in[i]);
    cos_out[i] = ::cos(in[i]);
  }
  return 0;
}

#define MORVEX_LOG(NAME)                                                                        \
  int32_t morvex_m_##NAME##_f32(const float* in, float* out, uint64_t count, float scale) {     \
    return map(in, out, count, [scale](float x) { return ::NAME##f(x) * scale; });              \
  }                                                                                             \
  int32_t morvex_m_##NAME##_f64(const double* in, double* out, uint64_t count, double scale) {  \
    return map(in, out, count, [scale](double x) { return ::NAME(x) * scale; });                \
  }
MORVEX_LOG(log)
MORVEX_LOG(log2)
MORVEX_LOG(log10)
#undef MORVEX_LOG

// The factor scale / log(base) is formed once, in the element type.
int32_t morvex_m_logn_f32(const float* in, float* out, uint64_t count, float base, float scale) {
  if (count == 0) return 0;
  const float factor = scale / ::logf(base);
  return map(in, out, count, [factor](float x) { return ::logf(x) * factor; });
}
int32_t morvex_m_logn_f64(const double* in, double* out, uint64_t count, double base, double scale) {
  if (count == 0) return 0;
  const double factor = scale / ::log(base);
  return map(in, out, count, [factor](double x) { return ::log(x) * factor; });
}

int32_t morvex_m_atan2_c32f32(const morvex_m_c32f32* in, float* out, uint64_t count) {
  return map_complex(reinterpret_cast<const float*>(in), out, count, [](__complex__ float z) { return cargf(z); });
}
int32_t morvex_m_atan2_c64f64(const morvex_m_c64f64* in, double* out, uint64_t count) {
  return map_complex(reinterpret_cast<const double*>(in), out, count, [](__complex__ double z) { return carg(z); });
}
int32_t morvex_m_magnitude_c32f32(const morvex_m_c32f32* in, float* out, uint64_t count) {
  // The one math function with processor kernels, chosen at each call
  // (frame/call_time.h). All give cabsf's result, so the choice is a matter
  // of speed only.
  using namespace morvex::ops;
  morvex::frame::call_time::magnitude_c32f32::choose(magnitude_c32f32_avx512dq, magnitude_c32f32_avx512,
                                                     magnitude_c32f32_avx2, magnitude_c32f32_plain)(
      reinterpret_cast<const float*>(in), out, count);
  return 0;
}
int32_t morvex_m_magnitude_c64f64(const morvex_m_c64f64* in, double* out, uint64_t count) {
  return map_complex(reinterpret_cast<const double*>(in), out, count, [](__complex__ double z) { return cabs(z); });
}

float morvex_m_erf_f32(float x) { return ::erff(x); }
double morvex_m_erf_f64(double x) { return ::erf(x); }

}  // extern "C"
