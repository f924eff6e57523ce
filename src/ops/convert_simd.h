// SPDX-License-Identifier: MIT
// The vector conversions, written once over a vector traits type V and
// instantiated by convert_sse42.cpp, convert_avx.cpp, convert_avx2.cpp and
// convert_avx512.cpp, each compiled for its own instruction set. Include only
// from those files. Two families use it:
//   the raw-sample conversions (u8 and u16 to f32 and f64), the slot variants,
//     fused on AVX2 and AVX-512 (MORVEX_CONVERT_INSTANTIATE);
//   the wide paths that the other conversions take at call time (i8, i16,
//     i32 and u32 to f32 and f64, f32 -> f64, f64 -> f32), which must give
//     the plain loop's bits: a multiply then an add, never fused
//     (MORVEX_CONVERT_EXACT_INSTANTIATE).
//
// V provides, for its float vector F and double vector D (half as many lanes):
//   F widen(const TI*, float), D widen(const TI*, double) for each input type,
//     reading exactly one vector's worth of samples and converting them as
//     the scalar conversion does
//   narrow(const double*, D s, D o) for f64 -> f32: a float vector (F or one
//     of half its width) from as many doubles as it has lanes, with store and
//     stream for that vector too; where the traits have madd_on_fma, also
//     narrow_on_fma, the same with that add; optionally narrow_sum(p, o) and
//     narrow_sum_on_fma(p, o), the same at a scale of one, with no multiply
//   set1, madd (mul+add or fused), store, stream for F and D; the traits of
//     the wide paths also mul and fmadd, and, where they can fuse,
//     madd_on_fma (mul, then the add as a fused multiply-add by one)
//
// Integers up to 16 bits fit any float exactly, so their conversion cannot
// round; wider ones round once, as the scalar conversion does. Every element,
// the tail included, goes through the same step, so one call never mixes
// roundings.
#pragma once

#include <immintrin.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

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
template <class V, class TI, class TO, class Step>
inline void convert_few(const TI* in, TO* out, uint64_t m, Step step) {
  using Vec = decltype(step(in));
  constexpr uint64_t kLanes = sizeof(Vec) / sizeof(TO);
  TI a[kLanes] = {};
  alignas(64) TO b[kLanes];
  __builtin_memcpy(a, in, m * sizeof(TI));
  V::store(b, step(a));
  __builtin_memcpy(out, b, m * sizeof(TO));
}

// The loop every conversion shares. step(p) reads one vector's worth of
// inputs at p (as many as the output vector has lanes) and returns the
// converted vector; it sees only whole vectors. The main loop goes in passes
// of kPass vectors, and vector j of a pass goes through alt instead where
// bit j of kAlt is set; alt must give the same bits by other instructions
// (see convert below), so every element still gets the same result
// whichever vector it falls in. Outputs beyond the caches, written with
// streaming stores, go in passes of kStreamPass vectors with kStreamAlt
// instead (the same as in cache unless given).
template <class V, uint64_t kPass = 2, unsigned kAlt = 0b10, uint64_t kStreamPass = kPass, unsigned kStreamAlt = kAlt,
          class TI, class TO, class Step, class Alt>
inline void convert_with(const TI* in, TO* out, uint64_t n, Step step, Alt alt) {
  using Vec = decltype(step(in));
  constexpr uint64_t kLanes = sizeof(Vec) / sizeof(TO);
  if (n == 0) return;  // (the padded copy would pass memcpy a null pointer)
  if (!disjoint(out, in, n)) {
    // An output that overlaps its input: element by element, ascending, as
    // the plain kernel does.
    for (uint64_t i = 0; i < n; ++i) convert_few<V>(in + i, out + i, 1, step);
    return;
  }
  if (n < kLanes) {
    convert_few<V>(in, out, n, step);
    return;
  }
  const auto pass = [&]<bool Stream>(uint64_t i) {
    constexpr uint64_t P = Stream ? kStreamPass : kPass;
    constexpr unsigned A = Stream ? kStreamAlt : kAlt;
    Vec r[P];
#pragma GCC unroll 8
    for (uint64_t j = 0; j < P; ++j) r[j] = A >> j & 1 ? alt(in + i + j * kLanes) : step(in + i + j * kLanes);
#pragma GCC unroll 8
    for (uint64_t j = 0; j < P; ++j) {
      if constexpr (Stream) V::stream(out + i + j * kLanes, r[j]);
      else V::store(out + i + j * kLanes, r[j]);
    }
  };
  uint64_t i = 0;
  const bool aligned_elements = reinterpret_cast<uintptr_t>(out) % sizeof(TO) == 0;
  if (n * sizeof(TO) >= kStreamBytes && aligned_elements) {  // outputs beyond the caches
    // Streaming stores need whole aligned vectors: a short head first.
    const uint64_t head = (sizeof(Vec) - reinterpret_cast<uintptr_t>(out) % sizeof(Vec)) % sizeof(Vec) / sizeof(TO);
    convert_few<V>(in, out, head, step);
    for (i = head; i + kStreamPass * kLanes <= n; i += kStreamPass * kLanes) pass.template operator()<true>(i);
    _mm_sfence();  // order the streamed lines before any later store
  } else {
    for (; i + kPass * kLanes <= n; i += kPass * kLanes) pass.template operator()<false>(i);
  }
  for (; i + kLanes <= n; i += kLanes) V::store(out + i, step(in + i));
  // The last few elements: one more whole vector, ending at n. It recomputes
  // some elements already written, from inputs the output does not overlap,
  // so they get the same bits again; cheaper than a padded copy.
  if (i < n) V::store(out + n - kLanes, step(in + n - kLanes));
}

template <class V, class TI, class TO, class Step>
inline void convert_with(const TI* in, TO* out, uint64_t n, Step step) {
  convert_with<V>(in, out, n, step, step);
}

// out = TO(in) * scale + offset, with V's widening and V::madd.
//
// Where madd is a multiply then an add (the exact wide paths), the traits
// also give madd_on_fma: the same multiply, then the add made as a fused
// multiply-add by one. The product by one is exact, so that rounds the same
// sum once, as the add does: the same bits, zeros' signs included. The
// point is where it runs: on the reference machine the integer conversion
// and the add share two pipes while the multiply has two others, so every
// other vector takes its add over to the multiply's side (4096 i8 samples to
// f32 in 188-202 ns instead of 210-218; a fused add on every vector gained
// nothing). The order of the instructions has little more to give: of 115
// orders written out by hand (two to eight vectors per pass, 256- and
// 512-bit), none ran steadily below 163 ns. And the very same loop bytes run
// at 140, 171, 197 or 207 ns depending only on which instructions ran before
// the loop (the processor's register allocation, it seems), which no source
// can pin down. An offset that is a NaN keeps the plain add throughout: with
// a NaN product too, which NaN comes out would depend on the operand order
// the compiler gives the fused instruction.
template <class V, class TI, class TO>
inline void convert(const TI* in, TO* out, uint64_t n, TO scale, TO offset) {
  const auto s = V::set1(scale), o = V::set1(offset);
  const auto step = [&](const TI* p) { return V::madd(V::widen(p, TO{}), s, o); };
  if constexpr (requires { V::madd_on_fma(s, s, o); }) {
    if (!std::isnan(offset))
      return convert_with<V>(in, out, n, step, [&](const TI* p) { return V::madd_on_fma(V::widen(p, TO{}), s, o); });
  }
  convert_with<V>(in, out, n, step);
}

// Whether TO(x) * scale + offset is TO(x) * scale itself for every integer x:
// with an offset of +0 and a scale of at least the smallest normal number
// (or +infinity), the product is +0 for x = 0 and at least the scale in
// magnitude otherwise, so never -0 (which adding +0 would turn into +0) and
// never flushed to zero, in any rounding mode. Signed raw samples are
// usually calibrated so, and the multiply alone saves one vector operation
// in four or five.
template <class TO>
inline bool offset_adds_nothing(TO scale, TO offset) {
  const TO zero{};
  return std::memcmp(&offset, &zero, sizeof offset) == 0 && scale >= std::numeric_limits<TO>::min();
}

// Whether TO(x) * scale is exact for every x of TI, so that the multiply and
// the add round once between them and one fused multiply-add gives the same
// bits (signed zeros included: an exact product adds as the fused operation
// does). The significands need no more bits together than TO has, and no
// product leaves the normal range: |x| is 0 or between 1 and 2^digits(TI).
// Calibrations such as full scale / 2^k (2 / 256, 10 / 32768) pass; 0.01
// does not.
template <class TI, class TO>
inline bool products_exact(TO scale) {
  using L = std::numeric_limits<TO>;
  constexpr int kInput = std::numeric_limits<TI>::digits < L::digits ? std::numeric_limits<TI>::digits : L::digits;
  using Bits = std::conditional_t<sizeof(TO) == 4, uint32_t, uint64_t>;
  // |scale| as bits: for numbers that are not NaNs, the order of the bits is
  // the order of the values, and NaNs sort above every bound. (Integer
  // compares rather than a float compare and blend: after those, the loop
  // that follows ran at 193-202 ns per 4096 i8 samples instead of 171-179;
  // see convert above.)
  const auto bits = [](TO v) { Bits r; std::memcpy(&r, &v, sizeof r); return r; };
  const Bits b = bits(scale) & ~(Bits(1) << (sizeof(Bits) * 8 - 1));
  if (b < bits(L::min()) || b > bits(L::max() / TO(uint64_t(1) << std::numeric_limits<TI>::digits))) return false;
  const Bits significand = (b & ((Bits(1) << (L::digits - 1)) - 1)) | (Bits(1) << (L::digits - 1));
  const int used = L::digits - __builtin_ctzll(significand);
  // A power of two only moves the exponent.
  return used == 1 || kInput + used <= L::digits;
}

// The integer conversions of the wide paths: a multiply then an add, or one
// operation where that gives the same bits: the multiply alone where the add
// cannot change a bit, a fused multiply-add where the product is exact.
template <class V, class TI, class TO>
inline void convert_integers(const TI* in, TO* out, uint64_t n, TO scale, TO offset) {
  const bool multiply_only = offset_adds_nothing(scale, offset);
  if (!multiply_only && !products_exact<TI>(scale)) return convert<V>(in, out, n, scale, offset);
  const auto s = V::set1(scale), o = V::set1(offset);
  if (multiply_only)
    convert_with<V>(in, out, n, [&](const TI* p) { return V::mul(V::widen(p, TO{}), s); });
  else
    convert_with<V>(in, out, n, [&](const TI* p) { return V::fmadd(V::widen(p, TO{}), s, o); });
}

// Whether x * 1 is x for every double the call may read, so that an add
// alone gives the plain kernel's sum. It is, except for a subnormal x under
// flush-to-zero without denormals-are-zero: the product is flushed before the
// add (a negative one to -0, which an offset of +0 turns into +0), the input
// alone is not. With denormals-are-zero set too, both read such an x as zero.
// Reading the control register waits for the operations in flight, about
// 4 ns, which the saved multiply pays back only from about a thousand samples
// on (kUnitNarrowMin).
constexpr uint64_t kUnitNarrowMin = 1024;
inline bool unit_product_is_input() {
  return (_mm_getcsr() & (_MM_FLUSH_ZERO_ON | _MM_DENORMALS_ZERO_ON)) != _MM_FLUSH_ZERO_ON;
}

// f64 -> f32: formed in double and rounded once at the end, as the plain
// kernel does; V::narrow(p, s, o) gives one float vector from as many doubles.
//
// Where the traits also give narrow_on_fma (the add as a fused multiply-add
// by one: the same bits, see convert above), every other vector takes it, in
// passes of four. On the current reference machine the narrowing conversion
// and the double add share two pipes while the multiply has two others:
// 4096 samples in cache take 134-143 ns instead of 150-153. One vector in
// three did the same at 4096 and worse at 64 samples (4.3 ns against 3.9);
// one in four, or every vector, was slower; and the same alternation in
// passes of two ran at 161-166 ns, slower than no fused add at all, so the
// pass length is part of the gain. A NaN offset keeps the plain add (see
// convert).
//
// At a scale of one the traits' narrow_sum leaves the multiply out (see
// unit_product_is_input), in passes of eight with every other add fused:
// 4096 samples in cache take 117-120 ns instead of 134-143. Passes of four
// ran 3-6 ns slower, and with no fused add at all 141 ns. Past the caches,
// where the loop streams its stores, passes of eight fell behind the memory
// (4.46 ms for 16M samples) while pairs keep up with it (3.46 ms, as the
// scaled path), so long records go in pairs.
template <class V>
inline void convert_narrow(const double* in, float* out, uint64_t n, float scale, float offset) {
  const auto s = V::set1(double(scale)), o = V::set1(double(offset));
  const auto step = [&](const double* p) { return V::narrow(p, s, o); };
  if constexpr (requires { V::narrow_sum(in, o); }) {
    if (scale == 1.0f && n >= kUnitNarrowMin && !std::isnan(offset) && unit_product_is_input()) {
      return convert_with<V, 8, 0b01010101, 2, 0b10>(in, out, n, [&](const double* p) { return V::narrow_sum(p, o); },
                                                     [&](const double* p) { return V::narrow_sum_on_fma(p, o); });
    }
  }
  if constexpr (requires { V::narrow_on_fma(in, s, o); }) {
    if (!std::isnan(offset))
      return convert_with<V, 4, 0b0101>(in, out, n, step, [&](const double* p) { return V::narrow_on_fma(p, s, o); });
  }
  convert_with<V>(in, out, n, step);
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

// Defines the call-time wide conversions of one instruction set from a traits
// type whose madd multiplies then adds (two roundings, as the plain loop).
#define MORVEX_CONVERT_EXACT_PAIR(ISA, V, TI, SI)                                                       \
  void convert_##SI##f32_##ISA(const TI* in, float* out, uint64_t n, float scale, float offset) {      \
    simd::convert_integers<V>(in, out, n, scale, offset);                                              \
  }                                                                                                    \
  void convert_##SI##f64_##ISA(const TI* in, double* out, uint64_t n, double scale, double offset) {   \
    simd::convert_integers<V>(in, out, n, scale, offset);                                              \
  }
#define MORVEX_CONVERT_EXACT_INSTANTIATE(ISA, V)                                                        \
  MORVEX_CONVERT_EXACT_PAIR(ISA, V, int8_t, i8)                                                        \
  MORVEX_CONVERT_EXACT_PAIR(ISA, V, int16_t, i16)                                                      \
  MORVEX_CONVERT_EXACT_PAIR(ISA, V, int32_t, i32)                                                      \
  MORVEX_CONVERT_EXACT_PAIR(ISA, V, uint32_t, u32)                                                     \
  void convert_f32f64_##ISA(const float* in, double* out, uint64_t n, double scale, double offset) {    \
    simd::convert<V>(in, out, n, scale, offset);                                                       \
  }                                                                                                    \
  void convert_f64f32_##ISA(const double* in, float* out, uint64_t n, float scale, float offset) {     \
    simd::convert_narrow<V>(in, out, n, scale, offset);                                                \
  }
