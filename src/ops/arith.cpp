// SPDX-License-Identifier: MIT
// Element-wise arithmetic. Every element is one IEEE operation in the element
// type (or one C library call), so the vectorised and the element-by-element
// loops give the same bits; which one runs depends only on whether the output
// overlaps an input, on the option flags (add ... pow2 have AVX and AVX-512
// kernels, arith_simd.h) and, for streaming stores, on the output's size.
#include <emmintrin.h>

#include <cmath>
#include <cstdint>
#include <cstring>

#include "frame/call_time.h"
#include "morvex-m/arith.h"
#include "ops/arith.h"
#include "ops/overlap.h"
#include "ops/stream.h"

namespace morvex::ops {

namespace {

// Four f32 or two f64 lanes (SSE2), with the element-wise operators of
// scalars, so the same operation lambda serves both.
typedef float V4f __attribute__((vector_size(16)));
typedef double V2d __attribute__((vector_size(16)));
template <class T> struct VecOf;
template <> struct VecOf<float> { using type = V4f; };
template <> struct VecOf<double> { using type = V2d; };
template <class T>
using Vec = typename VecOf<T>::type;

inline void stream(float* p, V4f v) { _mm_stream_ps(p, (__m128)v); }
inline void stream(double* p, V2d v) { _mm_stream_pd(p, (__m128d)v); }

template <class T>
inline Vec<T> load(const T* p) {
  Vec<T> v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// The bulk loops see restrict pointers, which is what lets the compiler run
// them four (f32) or two (f64) lanes at a time with a scalar tail. An
// operation written for both scalars and SSE2 vectors (Vectorisable) streams
// large outputs; the library calls (fmod, pow) are compute-bound and do not.
template <bool Vectorisable, class T, class Op>
void binary_bulk(const T* __restrict a, const T* __restrict b, T* __restrict out, uint64_t n, Op op) {
  uint64_t i = 0;
  if constexpr (Vectorisable) {
    if (n * sizeof(T) >= simd::kStreamBytes) {
      for (; i < n && reinterpret_cast<uintptr_t>(out + i) % 16; ++i) out[i] = op(a[i], b[i]);
      for (; i + 16 / sizeof(T) <= n; i += 16 / sizeof(T)) stream(out + i, op(load(a + i), load(b + i)));
      _mm_sfence();
    }
  }
  for (; i < n; ++i) out[i] = op(a[i], b[i]);
}

template <bool Vectorisable, class T, class Op>
void unary_bulk(const T* __restrict in, T* __restrict out, uint64_t n, Op op) {
  uint64_t i = 0;
  if constexpr (Vectorisable) {
    if (n * sizeof(T) >= simd::kStreamBytes) {
      for (; i < n && reinterpret_cast<uintptr_t>(out + i) % 16; ++i) out[i] = op(in[i]);
      for (; i + 16 / sizeof(T) <= n; i += 16 / sizeof(T)) stream(out + i, op(load(in + i)));
      _mm_sfence();
    }
  }
  for (; i < n; ++i) out[i] = op(in[i]);
}

// modc, pow and mulc_addc's plain kernel: one loop, no processor variants.
template <bool Vectorisable = true, class T, class Op>
inline int32_t unary(const T* in, T* out, uint64_t n, Op op) {
  if (n == 0) return 0;
  if (disjoint(out, in, n)) {
    unary_bulk<Vectorisable>(in, out, n, op);
  } else {
    for (uint64_t i = 0; i < n; ++i) out[i] = op(in[i]);
  }
  return 0;
}

// add ... pow2 (arith.h). An output that overlaps an input (in place
// included) is computed element by element in ascending order, reading
// element i before out[i] is written; any other goes to the widest kernel the
// flags allow (frame/call_time.h: arith), all of which give the plain loop's
// bits. `op` is the operation on scalars, for the element loop.
//
// This is the whole fixed cost of a call, and most of a 64-sample call's
// time: one compare per input for the overlap, the flag bytes, and a jump to
// the kernel. A count of 0 needs no test of its own: no array is touched
// either way.
//
// Whether n elements at out share no byte with n elements at in, in one
// compare: the distance out - in, moved up by one array less a byte, lands
// at or past two arrays less a byte exactly when |out - in| is at least one
// array (unsigned wrap-around takes care of out below in). For n = 0 it
// answers "apart" only for out == in, and then the kernel has nothing to do.
template <class T>
inline bool apart(const T* out, const T* in, uint64_t n) {
  const uint64_t bytes = n * sizeof(T);
  return reinterpret_cast<uintptr_t>(out) - reinterpret_cast<uintptr_t>(in) + (bytes - 1) >= 2 * bytes - 1;
}

template <class T, class Op, class K>
inline int32_t binary(const T* a, const T* b, T* out, uint64_t n, Op op, K* avx512, K* avx, K* plain) {
  if (apart(out, a, n) && apart(out, b, n)) return frame::call_time::arith::choose(avx512, avx, plain)(a, b, out, n);
  for (uint64_t i = 0; i < n; ++i) out[i] = op(a[i], b[i]);
  return 0;
}

template <class T, class Op, class K>
inline int32_t with_const(const T* in, T* out, uint64_t n, T c, Op op, K* avx512, K* avx, K* plain) {
  if (apart(out, in, n)) return frame::call_time::arith::choose(avx512, avx, plain)(in, out, n, c);
  for (uint64_t i = 0; i < n; ++i) out[i] = op(in[i], c);
  return 0;
}

// The plain kernels of add ... pow2: the loops above, which the baseline
// compiler runs two or four lanes wide.
#define MORVEX_ARITH_PLAIN_BINARY(op, expr)                                           \
  int32_t op##_f32_plain(const float* a, const float* b, float* out, uint64_t n) {    \
    binary_bulk<true>(a, b, out, n, [](auto x, auto y) { return expr; });              \
    return 0;                                                                         \
  }                                                                                   \
  int32_t op##_f64_plain(const double* a, const double* b, double* out, uint64_t n) { \
    binary_bulk<true>(a, b, out, n, [](auto x, auto y) { return expr; });              \
    return 0;                                                                         \
  }
#define MORVEX_ARITH_PLAIN_CONST(op, expr)                                            \
  int32_t op##_f32_plain(const float* in, float* out, uint64_t n, float c) {          \
    unary_bulk<true>(in, out, n, [c](auto x) { return expr; });                        \
    return 0;                                                                         \
  }                                                                                   \
  int32_t op##_f64_plain(const double* in, double* out, uint64_t n, double c) {       \
    unary_bulk<true>(in, out, n, [c](auto x) { return expr; });                        \
    return 0;                                                                         \
  }
MORVEX_ARITH_BINARY_OPS(MORVEX_ARITH_PLAIN_BINARY)
MORVEX_ARITH_UNARY_KERNELS(MORVEX_ARITH_PLAIN_CONST)
#undef MORVEX_ARITH_PLAIN_BINARY
#undef MORVEX_ARITH_PLAIN_CONST

}  // namespace

void mulc_addc_f32_plain(const float* in, float* out, uint64_t n, float m, float c) {
  unary(in, out, n, [m, c](auto x) { return x * m + c; });
}
void mulc_addc_f64_plain(const double* in, double* out, uint64_t n, double m, double c) {
  unary(in, out, n, [m, c](auto x) { return x * m + c; });
}

}  // namespace morvex::ops

#define MORVEX_ARITH_EXPORT_BINARY(T, S, op, expr)                                                         \
  int32_t morvex_m_##op##_##S(const T* a, const T* b, T* out, uint64_t n) {                               \
    using namespace morvex::ops;                                                                           \
    return binary(a, b, out, n, [](T x, T y) { return expr; }, op##_##S##_avx512, op##_##S##_avx,          \
                  op##_##S##_plain);                                                                       \
  }
#define MORVEX_ARITH_EXPORT_CONST(T, S, op, expr)                                                          \
  int32_t morvex_m_##op##_##S(const T* in, T* out, uint64_t n, T c) {                                     \
    using namespace morvex::ops;                                                                           \
    return with_const(in, out, n, c, [](T x, T c) { return expr; }, op##_##S##_avx512, op##_##S##_avx,     \
                      op##_##S##_plain);                                                                   \
  }
#define MORVEX_ARITH_EXPORTS_BINARY(op, expr) \
  MORVEX_ARITH_EXPORT_BINARY(float, f32, op, expr) MORVEX_ARITH_EXPORT_BINARY(double, f64, op, expr)
#define MORVEX_ARITH_EXPORTS_CONST(op, expr) \
  MORVEX_ARITH_EXPORT_CONST(float, f32, op, expr) MORVEX_ARITH_EXPORT_CONST(double, f64, op, expr)

// The square has no constant; its kernels are handed 0 and ignore it.
#define MORVEX_ARITH_DEFINE_POW2(T, S)                                                                        \
  int32_t morvex_m_pow2_##S(const T* in, T* out, uint64_t n) {                                              \
    using namespace morvex::ops;                                                                              \
    return with_const(in, out, n, T(0), [](T x, T) { return x * x; }, pow2_##S##_avx512, pow2_##S##_avx,     \
                      pow2_##S##_plain);                                                                      \
  }

// modc and pow call the C library per element: compute-bound, one plain loop.
#define MORVEX_ARITH_DEFINE_LIBRARY(T, S, FMOD)                                                  \
  int32_t morvex_m_modc_##S(const T* in, T* out, uint64_t n, T c) {                              \
    return morvex::ops::unary<false>(in, out, n, [c](T x) { return FMOD(x, c); });               \
  }                                                                                              \
  int32_t morvex_m_pow_##S(const T* in, T* out, uint64_t n, double e) {                          \
    return morvex::ops::unary<false>(in, out, n, [e](T x) { return T(std::pow(double(x), e)); }); \
  }

extern "C" {

MORVEX_ARITH_BINARY_OPS(MORVEX_ARITH_EXPORTS_BINARY)
MORVEX_ARITH_CONST_OPS(MORVEX_ARITH_EXPORTS_CONST)
MORVEX_ARITH_DEFINE_POW2(float, f32)
MORVEX_ARITH_DEFINE_POW2(double, f64)
MORVEX_ARITH_DEFINE_LIBRARY(float, f32, ::fmodf)
MORVEX_ARITH_DEFINE_LIBRARY(double, f64, ::fmod)

// The one arithmetic export whose kernels may round differently (a fused
// multiply-add under AVX2 and FMA3), chosen at every call (frame/call_time.h:
// mulc_addc).
int32_t morvex_m_mulc_addc_f32(const float* in, float* out, uint64_t n, float m, float c) {
  using namespace morvex::ops;
  morvex::frame::call_time::mulc_addc::choose(mulc_addc_f32_avx2, mulc_addc_f32_sse42, mulc_addc_f32_plain)(
      in, out, n, m, c);
  return 0;
}

int32_t morvex_m_mulc_addc_f64(const double* in, double* out, uint64_t n, double m, double c) {
  using namespace morvex::ops;
  morvex::frame::call_time::mulc_addc::choose(mulc_addc_f64_avx2, mulc_addc_f64_sse42, mulc_addc_f64_plain)(
      in, out, n, m, c);
  return 0;
}

}  // extern "C"
