// SPDX-License-Identifier: MIT
// The element-wise arithmetic kernels (add ... pow2, f32 and f64), written
// once over a GCC vector type V and instantiated by arith_avx.cpp (256-bit)
// and arith_avx512.cpp (512-bit), each compiled for its own instruction set.
// Include only from those files.
//
// Every element is the same single IEEE operation the plain loop performs,
// written once as an expression that serves scalars and vectors alike, so the
// bits cannot depend on the width. The callers guarantee that the output
// shares no byte with an input (overlapping calls run the plain loop), which
// is what lets a block of vectors be loaded before any of it is stored.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "ops/arith.h"
#include "ops/stream.h"

namespace morvex::ops::simd {
// Internal linkage: this header is compiled into files built for different
// instruction sets, and the linker must never pick one file's copy for another.
namespace {

typedef float V8f __attribute__((vector_size(32)));
typedef double V4d __attribute__((vector_size(32)));

template <class V, class T>
inline V load(const T* p) {
  V v;
  __builtin_memcpy(&v, p, sizeof v);
  return v;
}
template <class V, class T>
inline void store(T* p, V v) {
  __builtin_memcpy(p, &v, sizeof v);
}
inline void stream(float* p, V8f v) { _mm256_stream_ps(p, __m256(v)); }
inline void stream(double* p, V4d v) { _mm256_stream_pd(p, __m256d(v)); }

#ifdef __AVX512F__
typedef float V16f __attribute__((vector_size(64)));
typedef double V8d __attribute__((vector_size(64)));
inline void stream(float* p, V16f v) { _mm512_stream_ps(p, __m512(v)); }
inline void stream(double* p, V8d v) { _mm512_stream_pd(p, __m512d(v)); }

// The last m < lanes elements as one masked vector. The lanes past the end
// load 1.0, which no operation here turns into an exception flag (0/0 would
// raise "invalid"), and are never stored.
inline V16f load_few(const float* p, unsigned m) {
  return V16f(_mm512_mask_loadu_ps(_mm512_set1_ps(1.0f), __mmask16((1u << m) - 1), p));
}
inline V8d load_few(const double* p, unsigned m) {
  return V8d(_mm512_mask_loadu_pd(_mm512_set1_pd(1.0), __mmask8((1u << m) - 1), p));
}
inline void store_few(float* p, unsigned m, V16f v) { _mm512_mask_storeu_ps(p, __mmask16((1u << m) - 1), __m512(v)); }
inline void store_few(double* p, unsigned m, V8d v) { _mm512_mask_storeu_pd(p, __mmask8((1u << m) - 1), __m512d(v)); }
#endif

// The vectors written past the caches: 256-bit ones for both kernels. On
// the AVX-512 processors measured (16M-sample records, alternating runs),
// pairs of 256-bit streaming stores per line came 4-10% closer to the memory
// bound than single 512-bit ones; the values are the same either way.
template <class V> struct Streamed { using type = V; };
#ifdef __AVX512F__
template <> struct Streamed<V16f> { using type = V8f; };
template <> struct Streamed<V8d> { using type = V4d; };
#endif

// out[i] = op(in[i]...) for one or two inputs, out disjoint from all of them.
template <class V, class T, class Op, class... In>
inline void elementwise(T* out, uint64_t n, Op op, const In*... in) {
  constexpr uint64_t L = sizeof(V) / sizeof(T);
  uint64_t i = 0;
  T* const dst[] = {out};
  if (const uint64_t head = stream_head<64>(dst, 1, n); head != kNoStream) {
    // Larger than the caches: align the output to a line, then write whole
    // lines past the caches (no read of the destination lines).
    using S = typename Streamed<V>::type;
    constexpr uint64_t LS = sizeof(S) / sizeof(T), kLine = 64 / sizeof(T);
    for (; i < head; ++i) out[i] = op(in[i]...);
    for (; i + kLine <= n; i += kLine)
      for (uint64_t k = 0; k < kLine; k += LS) stream(out + i + k, op(load<S>(in + i + k)...));
    _mm_sfence();
  } else {
    // Four vectors per round, each stored as soon as it is computed. Loads
    // can wait on earlier stores whose addresses match modulo 4 KiB; over
    // every 16-byte offset of the output against the input this order
    // was faster on average than four loads followed by four stores.
    for (; i + 4 * L <= n; i += 4 * L) {
      store(out + i, op(load<V>(in + i)...));
      store(out + i + L, op(load<V>(in + i + L)...));
      store(out + i + 2 * L, op(load<V>(in + i + 2 * L)...));
      store(out + i + 3 * L, op(load<V>(in + i + 3 * L)...));
    }
  }
  for (; i + L <= n; i += L) store(out + i, op(load<V>(in + i)...));
  if (i == n) return;
#ifdef __AVX512F__
  if constexpr (sizeof(V) == 64) {
    store_few(out + i, unsigned(n - i), op(load_few(in + i, unsigned(n - i))...));
    return;
  }
#endif
  if (n >= L) {
    // The last whole vector again, ending at n: it rewrites a few elements
    // with the values they already hold (the inputs are untouched).
    store(out + n - L, op(load<V>(in + n - L)...));
  } else {
    for (; i < n; ++i) out[i] = op(in[i]...);
  }
}

}  // namespace
}  // namespace morvex::ops::simd

// The kernels of one instruction set: <op>_<type>_<isa> for every operation
// of arith.h, over the vector types VF (f32) and VD (f64).
#define MORVEX_ARITH_SIMD_BINARY(isa, VF, VD, op, expr)                                         \
  int32_t op##_f32_##isa(const float* a, const float* b, float* out, uint64_t n) {              \
    simd::elementwise<VF>(out, n, [](auto x, auto y) { return expr; }, a, b);                   \
    return 0;                                                                                   \
  }                                                                                             \
  int32_t op##_f64_##isa(const double* a, const double* b, double* out, uint64_t n) {           \
    simd::elementwise<VD>(out, n, [](auto x, auto y) { return expr; }, a, b);                   \
    return 0;                                                                                   \
  }
#define MORVEX_ARITH_SIMD_CONST(isa, VF, VD, op, expr)                                          \
  int32_t op##_f32_##isa(const float* in, float* out, uint64_t n, float c) {                    \
    simd::elementwise<VF>(out, n, [c](auto x) { return expr; }, in);                            \
    return 0;                                                                                   \
  }                                                                                             \
  int32_t op##_f64_##isa(const double* in, double* out, uint64_t n, double c) {                 \
    simd::elementwise<VD>(out, n, [c](auto x) { return expr; }, in);                            \
    return 0;                                                                                   \
  }
