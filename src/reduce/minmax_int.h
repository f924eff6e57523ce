// SPDX-License-Identifier: MIT
// Extremes of 8- and 16-bit integers, written once and compiled per
// instruction set by the files that include this header with their own lane
// traits (minmax_sse42.cpp: 16-byte vectors, minmax_avx2.cpp: 32-byte).
// Internal linkage throughout, so no instantiation leaks from one instruction
// set to another.
//
// Integer extremes are exact whatever the grouping, so the lanes are folded
// in any order and the last vector may overlap elements already seen. The
// speed limit is the min/max instruction, which this kind of processor runs
// on two ports only: one vector per cycle for both extremes. Wrapping
// addition and subtraction also run on a third port, and max(a, b) = a + b -
// min(a, b) exactly in wrapping arithmetic; so when both extremes are wanted
// the maximum of each pair of vectors comes from that identity, three
// min/max operations per two vectors instead of four (on the reference
// machine 15% faster with 16-byte vectors, 10% with 32-byte ones).
//
// Include only from files compiled for SSE4.2 or above.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "reduce/minmax_common.h"

namespace morvex::reduce {
namespace {

// Folds the lanes of v with op until lane 0 holds the extreme of all lanes.
template <class T, class Op>
inline T fold128(__m128i v, Op op) {
  v = op(v, _mm_srli_si128(v, 8));
  v = op(v, _mm_srli_si128(v, 4));
  v = op(v, _mm_srli_si128(v, 2));
  if constexpr (sizeof(T) == 1) v = op(v, _mm_srli_si128(v, 1));
  return T(_mm_cvtsi128_si32(v));
}

// The smallest u16 lane of v after flipping the bits in `flip` (the sign bit
// turns signed order into unsigned order, all bits turn the maximum into a
// minimum), flipped back: one horizontal-minimum instruction instead of
// three shift-and-fold steps, which shortens the tail of every call.
template <class T>
inline T fold16(__m128i v, int flip) {
  const __m128i f = _mm_set1_epi16(short(flip));
  return T(_mm_cvtsi128_si32(_mm_minpos_epu16(_mm_xor_si128(v, f))) ^ flip);
}

// The 16-byte lane operations of each type, and the fold of one such vector
// to its extreme (the 32-byte kernels fold their halves into one first).
struct U8Lanes {
  using T = uint8_t;
  static __m128i min(__m128i a, __m128i b) { return _mm_min_epu8(a, b); }
  static __m128i max(__m128i a, __m128i b) { return _mm_max_epu8(a, b); }
  static T fold_min(__m128i v) { return fold128<T>(v, min); }
  static T fold_max(__m128i v) { return fold128<T>(v, max); }
};
struct U16Lanes {
  using T = uint16_t;
  static __m128i min(__m128i a, __m128i b) { return _mm_min_epu16(a, b); }
  static __m128i max(__m128i a, __m128i b) { return _mm_max_epu16(a, b); }
  static T fold_min(__m128i v) { return fold16<T>(v, 0); }
  static T fold_max(__m128i v) { return fold16<T>(v, 0xFFFF); }
};
struct I16Lanes {
  using T = int16_t;
  static __m128i min(__m128i a, __m128i b) { return _mm_min_epi16(a, b); }
  static __m128i max(__m128i a, __m128i b) { return _mm_max_epi16(a, b); }
  static T fold_min(__m128i v) { return fold16<T>(v, 0x8000); }
  static T fold_max(__m128i v) { return fold16<T>(v, 0x7FFF); }
};

// v, kept in a register: stops the compiler from folding the load that
// produced it into the instructions that use it.
template <class V>
inline V in_register(V v) {
  __asm__("" : "+x"(v));
  return v;
}

// op over K vectors as a balanced tree: independent operations that the
// processor can run side by side.
template <class V, uint64_t K, class Op>
inline V tree(const V (&v)[K], Op op) {
  static_assert(K == 2 || K == 4 || K == 8, "tree() folds groups of 2, 4 or 8 vectors");
  if constexpr (K == 2) return op(v[0], v[1]);
  if constexpr (K == 4) return op(op(v[0], v[1]), op(v[2], v[3]));
  if constexpr (K == 8) return op(op(op(v[0], v[1]), op(v[2], v[3])), op(op(v[4], v[5]), op(v[6], v[7])));
}

// Ops provides: T, V, load (unaligned), load_aligned, min, max, add and sub
// (wrapping), fold_min and fold_max (the extreme of all lanes of a vector),
// kPairGroup (vectors per group when both extremes are wanted), kMaxBySum
// (each pair's maximum as a + b - min rather than by max, which moves work
// off the ports min and max share on 32-byte vectors), and
// kKeepLoads (load each vector into a register rather than letting the
// compiler fold the loads into the operations: with 32-byte vectors the
// folded form kept the adder port from helping, 82 ns against 68 per 4096
// u16 samples).
template <class Ops, bool kMin, bool kMax>
void int_minmax(const typename Ops::T* x, uint64_t n, typename Ops::T* pmin, typename Ops::T* pmax) {
  using T = typename Ops::T;
  using V = typename Ops::V;
  constexpr uint64_t W = sizeof(V) / sizeof(T);
  if (n < W) return running_minmax<T, kMin, kMax>(x, n, pmin, pmax);

  V vmin = Ops::load(x), vmax = vmin;
  auto fold = [&](V a) {
    if constexpr (kMin) vmin = Ops::min(vmin, a);
    if constexpr (kMax) vmax = Ops::max(vmax, a);
  };
  // After the first vector, groups of vectors from the next vector
  // boundary on (re-reading up to W - 1 elements), so that no load in the
  // main loop straddles a cache line; samples not aligned to their own size
  // stay on unaligned loads.
  const uintptr_t mis = reinterpret_cast<uintptr_t>(x) % sizeof(V);
  const bool aligned = mis % sizeof(T) == 0;
  uint64_t i = aligned ? (sizeof(V) - mis) / sizeof(T) : W;
  auto groups = [&](auto load) {
    if constexpr (kMin && kMax) {
      constexpr uint64_t P = Ops::kPairGroup;
      for (; i + P * W <= n; i += P * W) {
        V a[P];
        for (uint64_t g = 0; g < P; ++g) {
          a[g] = load(x + i + g * W);
          if constexpr (Ops::kKeepLoads) a[g] = in_register(a[g]);
        }
        V lo[P / 2], hi[P / 2];
        for (uint64_t g = 0; g < P / 2; ++g) {
          lo[g] = Ops::min(a[2 * g], a[2 * g + 1]);
          if constexpr (Ops::kMaxBySum)
            hi[g] = Ops::sub(Ops::add(a[2 * g], a[2 * g + 1]), lo[g]);
          else
            hi[g] = Ops::max(a[2 * g], a[2 * g + 1]);
        }
        vmin = Ops::min(vmin, tree(lo, Ops::min));
        vmax = Ops::max(vmax, tree(hi, Ops::max));
      }
    } else {
      for (; i + 8 * W <= n; i += 8 * W) {
        V a[8];
        for (uint64_t g = 0; g < 8; ++g) a[g] = load(x + i + g * W);
        if constexpr (kMin) vmin = Ops::min(vmin, tree(a, Ops::min));
        if constexpr (kMax) vmax = Ops::max(vmax, tree(a, Ops::max));
      }
    }
  };
  if (aligned)
    groups([](const T* p) { return Ops::load_aligned(p); });
  else
    groups([](const T* p) { return Ops::load(p); });
  for (; i + W <= n; i += W) fold(Ops::load(x + i));
  if (i < n) fold(Ops::load(x + n - W));
  if constexpr (kMin) *pmin = Ops::fold_min(vmin);
  if constexpr (kMax) *pmax = Ops::fold_max(vmax);
}

template <class Ops>
void int_minmax(const typename Ops::T* x, uint64_t n, typename Ops::T* pmin, typename Ops::T* pmax) {
  for_requested(pmin, pmax, [&](auto want_min, auto want_max) {
    int_minmax<Ops, decltype(want_min)::value, decltype(want_max)::value>(x, n, pmin, pmax);
  });
}

}  // namespace
}  // namespace morvex::reduce
