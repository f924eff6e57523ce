// Element-wise arithmetic. Every element is one IEEE operation in the element
// type (or one C library call), so the vectorised and the element-by-element
// loops give the same bits; which one runs depends only on whether the output
// overlaps an input (and, for streaming stores, on the output's size).
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

template <bool Vectorisable = true, class T, class Op>
inline int32_t binary(const T* a, const T* b, T* out, uint64_t n, Op op) {
  if (n == 0) return 0;
  if (disjoint(out, a, n) && disjoint(out, b, n)) {
    binary_bulk<Vectorisable>(a, b, out, n, op);
  } else {
    for (uint64_t i = 0; i < n; ++i) out[i] = op(a[i], b[i]);
  }
  return 0;
}

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

}  // namespace

void mulc_addc_f32_plain(const float* in, float* out, uint64_t n, float m, float c) {
  unary(in, out, n, [m, c](auto x) { return x * m + c; });
}
void mulc_addc_f64_plain(const double* in, double* out, uint64_t n, double m, double c) {
  unary(in, out, n, [m, c](auto x) { return x * m + c; });
}

}  // namespace morvex::ops

using morvex::ops::binary;
using morvex::ops::unary;

#define MORVEX_ARITH_DEFINE(T, S, FMOD)                                                                \
  int32_t morvex_m_add_##S(const T* a, const T* b, T* out, uint64_t n) {                             \
    return binary(a, b, out, n, [](auto x, auto y) { return x + y; });                                      \
  }                                                                                                  \
  int32_t morvex_m_sub_##S(const T* a, const T* b, T* out, uint64_t n) {                             \
    return binary(a, b, out, n, [](auto x, auto y) { return x - y; });                                      \
  }                                                                                                  \
  int32_t morvex_m_mul_##S(const T* a, const T* b, T* out, uint64_t n) {                             \
    return binary(a, b, out, n, [](auto x, auto y) { return x * y; });                                      \
  }                                                                                                  \
  int32_t morvex_m_div_##S(const T* a, const T* b, T* out, uint64_t n) {                             \
    return binary(a, b, out, n, [](auto x, auto y) { return x / y; });                                      \
  }                                                                                                  \
  int32_t morvex_m_addc_##S(const T* in, T* out, uint64_t n, T c) {                                  \
    return unary(in, out, n, [c](auto x) { return x + c; });                                             \
  }                                                                                                  \
  int32_t morvex_m_subc_##S(const T* in, T* out, uint64_t n, T c) {                                  \
    return unary(in, out, n, [c](auto x) { return x - c; });                                             \
  }                                                                                                  \
  int32_t morvex_m_mulc_##S(const T* in, T* out, uint64_t n, T c) {                                  \
    return unary(in, out, n, [c](auto x) { return x * c; });                                             \
  }                                                                                                  \
  int32_t morvex_m_divc_##S(const T* in, T* out, uint64_t n, T c) {                                  \
    return unary(in, out, n, [c](auto x) { return x / c; });                                             \
  }                                                                                                  \
  int32_t morvex_m_csub_##S(const T* in, T* out, uint64_t n, T c) {                                  \
    return unary(in, out, n, [c](auto x) { return c - x; });                                             \
  }                                                                                                  \
  int32_t morvex_m_cdiv_##S(const T* in, T* out, uint64_t n, T c) {                                  \
    return unary(in, out, n, [c](auto x) { return c / x; });                                             \
  }                                                                                                  \
  int32_t morvex_m_modc_##S(const T* in, T* out, uint64_t n, T c) {                                  \
    return unary<false>(in, out, n, [c](T x) { return FMOD(x, c); });                                        \
  }                                                                                                  \
  int32_t morvex_m_pow_##S(const T* in, T* out, uint64_t n, double e) {                              \
    return unary<false>(in, out, n, [e](T x) { return T(std::pow(double(x), e)); });                         \
  }                                                                                                  \
  int32_t morvex_m_pow2_##S(const T* in, T* out, uint64_t n) {                                       \
    return unary(in, out, n, [](auto x) { return x * x; });                                              \
  }

extern "C" {

MORVEX_ARITH_DEFINE(float, f32, ::fmodf)
MORVEX_ARITH_DEFINE(double, f64, ::fmod)

// The one arithmetic export with processor kernels, chosen at every call
// (frame/call_time.h: mulc_addc).
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
