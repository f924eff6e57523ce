// The raw-sample conversions (u8 and u16 to f32 and f64), written once over a
// vector traits type V and instantiated by convert_sse42.cpp, convert_avx.cpp,
// convert_avx2.cpp and convert_avx512.cpp, each compiled for its own
// instruction set. Include only from those files.
//
// V provides, for its float vector F (V::kFloats lanes) and double vector D
// (half as many lanes):
//   F widen(const uint8_t*, float) / widen(const uint16_t*, float)
//   D widen(const uint8_t*, double) / widen(const uint16_t*, double)
//   set1, madd (mul+add or fused), store, stream for F and D
// where each widen reads exactly one vector's worth of samples.
//
// Every element is converted exactly (u8/u16 fit any float), then multiplied
// and added as the plain kernel does, or fused where V says so. Every element,
// the tail included, goes through V::madd, so one call never mixes roundings.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "ops/elements.h"
#include "ops/stream.h"

namespace morvex::ops::simd {
// Internal linkage: this header is compiled into files built for different
// instruction sets, and the linker must never pick one file's copy for another.
namespace {

// An unaligned scalar load of a few input bytes; compiles to one movd/movq.
template <class T>
inline T read(const void* p) {
  T v;
  __builtin_memcpy(&v, p, sizeof v);
  return v;
}


// Fewer than a vector's worth of elements, through one vector step on a
// zero-padded copy: the tail is computed by the very instructions of the bulk
// (the same rounding, and nothing beyond the kernel's instruction set).
template <class V, class TI, class TO, class Vec>
inline void convert_few(const TI* in, TO* out, uint64_t m, Vec s, Vec o) {
  constexpr uint64_t kLanes = sizeof(Vec) / sizeof(TO);
  TI a[kLanes] = {};
  alignas(64) TO b[kLanes];
  __builtin_memcpy(a, in, m * sizeof(TI));
  V::store(b, V::madd(V::widen(a, TO{}), s, o));
  __builtin_memcpy(out, b, m * sizeof(TO));
}

template <class V, class TI, class TO>
inline void convert(const TI* in, TO* out, uint64_t n, TO scale, TO offset) {
  using Vec = decltype(V::set1(TO{}));
  constexpr uint64_t kLanes = sizeof(Vec) / sizeof(TO);
  const Vec s = V::set1(scale), o = V::set1(offset);
  if (!disjoint(out, in, n)) {
    // An output that overlaps its input: element by element, ascending, as
    // the plain kernel does.
    for (uint64_t i = 0; i < n; ++i) convert_few<V>(in + i, out + i, 1, s, o);
    return;
  }
  auto at = [&](uint64_t k) { return V::madd(V::widen(in + k, TO{}), s, o); };
  uint64_t i = 0;
  const bool aligned_elements = reinterpret_cast<uintptr_t>(out) % sizeof(TO) == 0;
  if (n * sizeof(TO) >= kStreamBytes && aligned_elements) {  // outputs beyond the caches
    // Streaming stores need whole aligned vectors: a short head first.
    const uint64_t head = (sizeof(Vec) - reinterpret_cast<uintptr_t>(out) % sizeof(Vec)) % sizeof(Vec) / sizeof(TO);
    convert_few<V>(in, out, head, s, o);
    for (i = head; i + 2 * kLanes <= n; i += 2 * kLanes) {
      const Vec a = at(i), b = at(i + kLanes);
      V::stream(out + i, a);
      V::stream(out + i + kLanes, b);
    }
    _mm_sfence();  // order the streamed lines before any later store
  } else {
    for (; i + 2 * kLanes <= n; i += 2 * kLanes) {
      const Vec a = at(i), b = at(i + kLanes);
      V::store(out + i, a);
      V::store(out + i + kLanes, b);
    }
  }
  if (i + kLanes <= n) {
    V::store(out + i, at(i));
    i += kLanes;
  }
  if (i < n) convert_few<V>(in + i, out + i, n - i, s, o);
}

#ifdef __AVX__
// What the AVX and AVX2 kernels share: 256-bit float vectors, and the f64
// widening (four samples through 128-bit integer lanes, the same in both).
struct Avx256 {
  static __m256d widen(const uint8_t* p, double) {
    return _mm256_cvtepi32_pd(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(read<int>(p))));
  }
  static __m256d widen(const uint16_t* p, double) {
    return _mm256_cvtepi32_pd(_mm_cvtepu16_epi32(_mm_cvtsi64_si128(read<long long>(p))));
  }
  static __m256 set1(float v) { return _mm256_set1_ps(v); }
  static __m256d set1(double v) { return _mm256_set1_pd(v); }
  static void store(float* p, __m256 v) { _mm256_storeu_ps(p, v); }
  static void store(double* p, __m256d v) { _mm256_storeu_pd(p, v); }
  static void stream(float* p, __m256 v) { _mm256_stream_ps(p, v); }
  static void stream(double* p, __m256d v) { _mm256_stream_pd(p, v); }
};
#endif

}  // namespace
}  // namespace morvex::ops::simd

// Defines the four kernels of one instruction set from its traits type.
#define MORVEX_CONVERT_INSTANTIATE(ISA, V)                                                              \
  void convert_u8f32_##ISA(const uint8_t* in, float* out, uint64_t n, float scale, float offset) {      \
    simd::convert<V>(in, out, n, scale, offset);                                                       \
  }                                                                                                    \
  void convert_u16f32_##ISA(const uint16_t* in, float* out, uint64_t n, float scale, float offset) {    \
    simd::convert<V>(in, out, n, scale, offset);                                                       \
  }                                                                                                    \
  void convert_u8f64_##ISA(const uint8_t* in, double* out, uint64_t n, double scale, double offset) {   \
    simd::convert<V>(in, out, n, scale, offset);                                                       \
  }                                                                                                    \
  void convert_u16f64_##ISA(const uint16_t* in, double* out, uint64_t n, double scale, double offset) { \
    simd::convert<V>(in, out, n, scale, offset);                                                       \
  }
