// SPDX-License-Identifier: MIT
// Complex magnitude (f32) with cabsf's exact result, written once and compiled
// per instruction set by the files that include this header with their own
// lane traits (magnitude_avx2.cpp, magnitude_avx512.h).
//
// The result to reproduce is cabsf's: s = re^2 + im^2 formed in double (both
// squares exact, one rounding), its double square root, rounded to single.
// For every finite input that is R = RN(sqrt(S)) with S the exact sum, except
// when sqrt(S) lies within about 2^-29 single ulps of a rounding midpoint,
// where the two roundings may decide differently. Computing that in double
// costs two conversions in and one out per lane, and double square roots
// (a whole pass in double ran at half the speed of this kernel on the
// reference machine); so this kernel stays in single precision, twice the
// lanes per vector:
//
//  1. De-interleave 2W floats into re (x) and im (y).
//  2. Squares px = x*x, py = y*y and s = px + py. Then r = S - s exactly
//     up to one rounding, in one of two forms:
//     - unordered: the squares' errors ex = fma(x, x, -px) and ey, and s's
//       rounding error es by Fast2Sum on the larger and smaller square,
//       r = (ex + ey) + es;
//     - ordered (where vrangeps orders the parts: a = the larger of |x| and
//       |y|, b the smaller): pa = max(px, py) = a*a rounded, z = s - pa is
//       exact (Sterbenz), and fma(b, b, -z) = eb + es is that small value
//       rounded once, so r = fma(a, a, -pa) + fma(b, b, -z): five
//       operations instead of eight, and two more that order. s still comes
//       from x and y, so a NaN part, which vrangeps drops, still makes s a
//       NaN.
//  3. c = RN(sqrt(s)), the processor's correctly rounded square root, and
//     g ~ 1/sqrt(s) from the reciprocal square root estimate: taken from s,
//     it runs beside the root instead of after it.
//  4. The residual D = S - c^2 = r - (c^2 - s), where c^2 - s is one fused
//     multiply-add and exact: c^2 and s are both multiples of u^2 (u = c's
//     last place, see below) and |c^2 - s| <= u*c < 2^24 u^2. One Newton
//     step gives sqrt(S) = c + t, t = D/(2c), up to the neglected term
//     t^2/(2c); t2 = D*g is 2t up to g's error.
//  5. rl = RN(c + t2*(1 - kSlack)/2) and rh = RN(c + t2*(1 + kSlack)/2),
//     each one fused multiply-add (the halving is exact inside it). The exact
//     root (and cabsf's double value, within 2^-29 ulps of it) lies between
//     the two unrounded sums, and rounding is monotonic, so where rl == rh
//     that is cabsf's result. Where they differ a midpoint lies in between;
//     such lanes are rare (about one in 2^13 of random data with AVX-512, 2^10
//     with AVX2), and their group goes to the exact fallback.
//
// Error budget, in units u of c's last place (c/u lies in [2^23, 2^24)).
// c is within u of sqrt(S): u/2 from rounding sqrt(s), and s's own rounding
// (2^-24 S) moves the root by at most u/2. So |t| <= u, the neglected Newton
// term stays below 2^-24 u, and the three roundings in D (each of a value
// below 2cu) add below 2^-22 u. t2/2 carries g's relative error, below 2^-14
// with AVX-512 (1.5 * 2^-12 with AVX2), plus 2^-24 for c against sqrt(s) and
// 2^-24 from its product. Where |t| < u/8 the nearest midpoint (u/2 away, u/4
// below a power of two) is out of reach and rl == rh == c. Where |t| >= u/8,
// kSlack = 2^-13 (2^-10) leaves at least 2^-17 u (2^-13.7 u) beyond g's error
// for the rest, a margin of sixteen or more.
//
// The fast path needs s >= 2^-72 and finite values throughout. Below 2^-72
// the intermediates that may be subnormal (the squares' errors, small parts)
// start to matter: each is off by at most 2^-150 when rounded, or by up to
// 2^-126 when the caller runs with flush-to-zero, which costs t at most
// 2^-126/(2c) <= 2^-91, or 2^-32 u for c >= 2^-36. Infinities and NaNs give
// NaN in t2 and fail rl == rh on their own; s >= 2^-72 (an unsigned compare
// of the bits, as s is never negative; in the ordered form a >= 2^-36) is
// one more compare, made once for the groups tested together, on the
// smallest value of each lane. A group with a failing lane
// is done by the baseline kernel (double square root, cabsf for non-finite
// results), exact for every input.
//
// Where the time goes, on the reference machine (512-bit operations issued as
// two 256-bit halves): a group of 16 lanes takes about 14.5 cycles in the
// ordered form, 15 in the unordered one, against 10 for a loop of bare
// single-precision roots. Taking out any vector operation saves 0.5 to 0.7
// cycles (the multiply class, compares into masks and permutes cost the most);
// latency counts too, as the estimate from s and the range test on a showed.
// The machine issues two 512-bit operations per cycle, at most one of them on
// the multiply pipes, which also take the reciprocal square root estimate,
// every compare into a mask and about two cycles of each square root (one root
// per 10 cycles); vrangeps shares the add pipes. No single count predicts the
// time, though: taking one operation off the multiply pipes did not pay either
// (below). Variants that measured the same or slower: the multipliers of the
// bracket from the estimate by integer adds, or by two multiplies off the
// root's path; a one-sided bracket (an add for rl, with a reciprocal of 2c, or
// the estimate from s, halved and nudged down by one integer subtraction); four
// groups per test (1.6% faster alone, slower in the full loop); integer
// compares; two-source permutes instead of the shuffles and the final permute
// (or blends of shifted loads, or integer shifts); the tests as integer
// differences gathered over several groups; the test made in the squared domain
// (D against c*u, both from c's bits by integer operations); a root from the
// reciprocal square root estimate and a Newton step; the parts ordered by
// absolute values and min and max (without AVX-512DQ), by integer max and min
// of the bits with the sign cleared, or by a compare and two blends; s formed
// as fma(x, x, py); in the ordered form, pa = a*a and s = fma(b, b, pa), two
// operations fewer but both on the multiply pipes (1.5% faster with b from
// vrangeps, which then drops a NaN part from s; with b as x ^ y ^ a, which
// keeps it, no faster); the equality tests as a subtraction per group and one
// test of their union; and the next pair's root started ahead of this pair's
// tail.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "ops/kernels.h"
#include "ops/stream.h"

namespace morvex::ops {
// Internal linkage: every instruction set gets its own copy.
namespace {

// Ops provides: V (kLanes floats), kLanes, kSlack, kOrdered, load2 (x and y
// from 2 * kLanes interleaved floats, in the lane order that store and stream
// undo), set1, mul, add, sub, min, max, fmadd (a*b+c), fmsub (a*b-c), sqrt,
// rsqrt (the estimate), certain (the bits of the lanes where rl == rh and
// key >= limit in every one of an array of groups; kAll when every lane is),
// store, stream; where kOrdered, also order (|x| and |y|, the larger first).
// key is what the range test reads: s, or in the ordered form a, which
// comes out sooner (a >= 2^-36 gives s >= a^2 >= 2^-72; the few lanes with
// a just below and s above go to the fallback, which costs nothing in
// exactness).
template <class Ops>
struct MagnitudeGroup {
  typename Ops::V rl, rh, key;
};

template <class Ops>
inline MagnitudeGroup<Ops> magnitude_group(const float* p) {
  using V = typename Ops::V;
  V x, y;
  Ops::load2(p, x, y);
  const V px = Ops::mul(x, x), py = Ops::mul(y, y);
  const V s = Ops::add(px, py);
  // r = S - s, from the squares' and the sum's rounding errors.
  V r, key = s;
  if constexpr (Ops::kOrdered) {
    // With the parts ordered, a >= b, one fused operation takes both the
    // smaller square's error and the sum's: z = s - a^2's rounding is exact
    // (Sterbenz), so b*b - z = eb + es with one rounding of that small value.
    // Order does not affect s, which comes from x and y themselves: a NaN
    // part, which order drops, still makes s a NaN.
    V a, b;
    Ops::order(x, y, a, b);
    const V pa = Ops::max(px, py);
    r = Ops::add(Ops::fmsub(a, a, pa), Ops::fmsub(b, b, Ops::sub(s, pa)));
    key = a;
  } else {
    const V ex = Ops::fmsub(x, x, px), ey = Ops::fmsub(y, y, py);
    const V es = Ops::sub(Ops::min(px, py), Ops::sub(s, Ops::max(px, py)));
    r = Ops::add(Ops::add(ex, ey), es);
  }

  const V c = Ops::sqrt(s);
  const V w = Ops::fmsub(c, c, s);
  const V t2 = Ops::mul(Ops::sub(r, w), Ops::rsqrt(s));
  const V rl = Ops::fmadd(t2, Ops::set1(0.5f - 0.5f * Ops::kSlack), c);
  const V rh = Ops::fmadd(t2, Ops::set1(0.5f + 0.5f * Ops::kSlack), c);
  return {rl, rh, key};
}

template <class Ops, int N>
inline uint32_t magnitude_certain(const MagnitudeGroup<Ops> (&g)[N]) {
  return Ops::certain(g, Ops::set1(Ops::kOrdered ? 0x1p-36f : 0x1p-72f));
}

// How far ahead of the loop the input is prefetched on long records: 8 KiB
// put a 16M-sample call at 3.38-3.41 ms with AVX-512, ahead of the byte
// floor's 3.6 ms, where 2 KiB left it at 4.04-4.26 ms (alternated runs).
constexpr uint64_t kPrefetchBytes = 8192;

template <class Ops>
void magnitude_c32f32(const float* in, float* out, uint64_t n) {
  constexpr uint64_t W = Ops::kLanes;
  uint64_t i = 0;
  // Vector groups read 2W floats before they store W, and a store never
  // reaches floats a later group reads, as long as out does not lie inside
  // the input above its start (out == in is fine); the baseline kernel sorts
  // out any other overlap.
  const bool vector = reinterpret_cast<uintptr_t>(out) <= reinterpret_cast<uintptr_t>(in) ||
                      reinterpret_cast<uintptr_t>(out) >= reinterpret_cast<uintptr_t>(in + 2 * n);
  // The loop holds no call, so its constants stay in registers: it stops at
  // a group that needs the fallback, which runs outside it. Far beyond the
  // caches (kFar) the results go out with streaming stores, and the input is
  // prefetched: on the reference machine the hardware prefetchers alone left
  // this loop waiting for memory (prefetching cut a 16M-sample call from 12
  // to 9.5 ms with AVX-512 and from 24 to 12 ms with AVX2).
  auto emit = [&]<bool kFar>(uint64_t at, typename Ops::V r) {
    if constexpr (kFar) {
      const char* ahead = reinterpret_cast<const char*>(in + 2 * at) + kPrefetchBytes;
      for (uint64_t b = 0; b < 2 * W * sizeof(float); b += 64) _mm_prefetch(ahead + b, _MM_HINT_T0);
      Ops::stream(out + at, r);
    } else {
      Ops::store(out + at, r);
    }
  };
  // Two groups per step, one test for both: fewer branches and range tests,
  // and the two groups' long dependency chains overlap. (Four per step ran
  // 1-4% slower: with that many vectors live the loop spilled.)
  auto groups = [&]<bool kFar>(uint64_t end) {
    constexpr int N = 2;
    while (i + W <= end) {
      for (; i + N * W <= end; i += N * W) {
        MagnitudeGroup<Ops> g[N];
#pragma GCC unroll 8
        for (int k = 0; k < N; ++k) g[k] = magnitude_group<Ops>(in + 2 * (i + k * W));
        if (magnitude_certain(g) != Ops::kAll) break;
#pragma GCC unroll 8
        for (int k = 0; k < N; ++k) emit.template operator()<kFar>(i + k * W, g[k].rh);
      }
      // The last few groups, or those of a step that holds a hard lane, one
      // at a time.
      for (int k = 0; k < N && i + W <= end; ++k, i += W) {
        if (const MagnitudeGroup<Ops> g[1] = {magnitude_group<Ops>(in + 2 * i)}; magnitude_certain(g) == Ops::kAll)
          emit.template operator()<kFar>(i, g[0].rh);
        else
          magnitude_c32f32_plain(in + 2 * i, out + i, W);
      }
    }
  };
  if (vector) {
    const uintptr_t mis = reinterpret_cast<uintptr_t>(out) % (W * sizeof(float));
    if (n * sizeof(float) >= simd::kStreamBytes && mis % sizeof(float) == 0) {
      // Streaming stores need whole aligned vectors: a short head first.
      const uint64_t head = (W * sizeof(float) - mis) % (W * sizeof(float)) / sizeof(float);
      magnitude_c32f32_plain(in, out, head);
      i = head;
      groups.template operator()<true>(n);
      _mm_sfence();  // order the streamed lines before any later store
    } else {
      groups.template operator()<false>(n);
    }
  }
  magnitude_c32f32_plain(in + 2 * i, out + i, n - i);
}

}  // namespace
}  // namespace morvex::ops
