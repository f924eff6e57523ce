// SPDX-License-Identifier: MIT
// The exact cosine's processor kernel, written once over lane traits and
// compiled per instruction set by cos_exact_avx2.cpp and cos_exact_avx512.cpp.
//
// For each lane, with x its argument:
//  1. Reduction. j = nearest integer to x * 128/pi and t = x - j pi/128,
//     |t| <= pi/256 (plus a hair). pi/128 is carried as kStep1 + kStep2 +
//     kStep3. x - j*kStep1 is exact in one fused multiply-add (both terms
//     are multiples of 2^-59 and the difference is below 2^-6, so it fits
//     in 53 bits), j*kStep2 is split exactly into two doubles, j*kStep3 is
//     tiny. t comes out as a pair th + tl good to about 2^-110.
//  2. cos x = C cos t - S sin t with C + S i = e^(i j pi/128) from the table
//     (each a pair of doubles good to 2^-106; a lane's four values are one
//     32-byte row, loaded whole and transposed into place, because gathers
//     are slow on processors with the gather-sampling fix), cos t = 1 + c',
//     sin t = t + s', c' and s' by their series in z = th^2 (c' through z^4/8!,
//     s' through t^7/7!; what is left is below 2^-75).
//  3. The sum C + C c' - S t - S s' is formed as Ch - Sh th (exact, with its
//     rounding error kept) plus a small correction: the 2^-53-sized terms
//     first, then C c' and S s'. The result is the pair vh + vl, vh the
//     double nearest to it. The two-term sums use the three-operation form
//     where the larger term is known; the reasons are given in place.
//
// Error of vh + vl against cos x: below 2^-63.5 in absolute terms. The parts
// that count are c' (three roundings of a value below 2^-13.6: 2^-65.1),
// the three additions into the correction (2^-65.4), th^2 standing for t^2
// (2^-66.3) and the dropped Cl c' (2^-67.7). The kernels allow kError =
// 2^-61, eight times that.
//
// Acceptance. Let u be the spacing of doubles at vh. Where
// |vl| + kError <= 0.4 u, the exact cosine lies within 0.4 u of vh, so every
// other double is at least 0.6 u from it, and a cos accurate to better than
// 0.6 ulp cannot return anything but vh. vh a power of two (spacing below
// is u/2) is not accepted, nor an argument beyond kMaxArg or not finite (the
// reduction's exactness needs |j| < 2^33). About a fifth of the lanes fail
// (those whose cosine is near a midpoint, and those with |cos x| below
// about 2^-8 where kError is no longer small against u); they take std::cos.
#pragma once

#include <immintrin.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "generate/cos_exact.h"

namespace morvex::generate::cos_detail {
// Internal linkage: every instruction set gets its own copy.
namespace {

constexpr double kMaxArg = 0x1p24;
constexpr double kError = 0x1p-61;
constexpr double kAccept = 0.4;
// Adding 1.5 * 2^52 rounds to an integer and leaves it in the low mantissa
// bits (modulo 2^51, which keeps j mod 256 right for negative j too).
constexpr double kRoundMagic = 0x1.8p52;

// Series coefficients: cos t - 1 = z (C2 + z (C4 + z (C6 + z C8))),
// sin t - t = t z (S3 + z (S5 + z S7)).
constexpr double kC2 = -0.5, kC4 = 1.0 / 24, kC6 = -1.0 / 720, kC8 = 1.0 / 40320;
constexpr double kS3 = -1.0 / 6, kS5 = 1.0 / 120, kS7 = -1.0 / 5040;

// (d, e) with d + e == a - b exactly, for any a and b.
template <class S>
inline void two_diff(typename S::V a, typename S::V b, typename S::V& d, typename S::V& e) {
  d = S::sub(a, b);
  const typename S::V bb = S::sub(a, d);  // b as far as d has it
  e = S::add(S::sub(a, S::add(d, bb)), S::sub(bb, b));
}

// The cosines of one vector of arguments. Lanes whose bit in the returned
// mask is set must be replaced by std::cos. Lanes beyond kMaxArg or not
// finite compute garbage (their table row is still one of the 256) and are
// rejected.
template <class S>
inline typename S::V cos_lanes(typename S::V x, unsigned& rejected) {
  using V = typename S::V;

  // 1. Reduction.
  const V jm = S::add(S::mul(x, S::set1(kInvStep)), S::set1(kRoundMagic));
  const V j = S::sub(jm, S::set1(kRoundMagic));
  const V r1 = S::fnmadd(j, S::set1(kStep1), x);
  const V p2h = S::mul(j, S::set1(kStep2));
  const V p2l = S::fmsub(j, S::set1(kStep2), p2h);
  const V p3 = S::mul(j, S::set1(kStep3));
  // th = r1 - p2h rounded; its rounding error is at most half an ulp of th
  // and p2l, p3 are far smaller, so th + tl needs no renormalising.
  V th, e0;
  two_diff<S>(r1, p2h, th, e0);
  const V tl = S::sub(S::sub(e0, p2l), p3);

  // 2. Series of the small angle.
  const V z = S::mul(th, th);
  V c = S::fmadd(z, S::set1(kC8), S::set1(kC6));
  c = S::fmadd(z, c, S::set1(kC4));
  c = S::fmadd(z, c, S::set1(kC2));
  c = S::mul(z, c);  // c' = cos t - 1
  V s = S::fmadd(z, S::set1(kS7), S::set1(kS5));
  s = S::fmadd(z, s, S::set1(kS3));
  s = S::mul(S::mul(th, z), s);  // s' = sin t - t

  // 3. C + C c' - S t - S s'.
  V ch, cl, sh, sl;
  S::table_rows(jm, ch, cl, sh, sl);
  const V ph = S::mul(sh, th);
  const V pl = S::fmsub(sh, th, ph);
  // Ch - ph exactly as hi + e1 by the fast two-term form: |Ch| >= 0.0245 >
  // |ph| on every row but the two where cos is 0 to within 1e-60, and there
  // the error term is off by at most that.
  const V hi = S::sub(ch, ph);
  const V e1 = S::sub(S::sub(ch, hi), ph);
  const V small = S::sub(S::add(S::sub(e1, pl), cl), S::fmadd(sh, tl, S::mul(sl, th)));
  const V corr = S::add(S::fnmadd(sh, s, S::mul(ch, c)), small);
  // hi + corr as vh + vl, again by the fast form: it is exact where
  // |hi| >= |corr| (|corr| < 2^-13), which holds wherever |vh| is large
  // enough to be accepted at all.
  const V vh = S::add(hi, corr);
  const V vl = S::sub(corr, S::sub(vh, hi));

  rejected = S::rejected(x, vh, vl);
  return vh;
}

// Two vectors of lanes S as one: every operation is issued for both halves
// back to back. One vector's evaluation is a chain of some forty dependent
// operations, longer than the out-of-order window covers, so a second,
// independent chain in the same instruction stream nearly doubles the rate.
template <class S>
struct Twice {
  using H = typename S::V;
  struct V {
    H a, b;
  };
  static constexpr unsigned kLanes = 2 * S::kLanes;
  static V load(const double* p) { return {S::load(p), S::load(p + S::kLanes)}; }
  static void store(double* p, V v) {
    S::store(p, v.a);
    S::store(p + S::kLanes, v.b);
  }
  static V set1(double v) { return {S::set1(v), S::set1(v)}; }
  static V add(V x, V y) { return {S::add(x.a, y.a), S::add(x.b, y.b)}; }
  static V sub(V x, V y) { return {S::sub(x.a, y.a), S::sub(x.b, y.b)}; }
  static V mul(V x, V y) { return {S::mul(x.a, y.a), S::mul(x.b, y.b)}; }
  static V div(V x, V y) { return {S::div(x.a, y.a), S::div(x.b, y.b)}; }
  static V iota() { return {S::iota(), S::add(S::iota(), S::set1(double(S::kLanes)))}; }
  static V fmadd(V x, V y, V z) { return {S::fmadd(x.a, y.a, z.a), S::fmadd(x.b, y.b, z.b)}; }
  static V fmsub(V x, V y, V z) { return {S::fmsub(x.a, y.a, z.a), S::fmsub(x.b, y.b, z.b)}; }
  static V fnmadd(V x, V y, V z) { return {S::fnmadd(x.a, y.a, z.a), S::fnmadd(x.b, y.b, z.b)}; }
  static void table_rows(V jm, V& ch, V& cl, V& sh, V& sl) {
    S::table_rows(jm.a, ch.a, cl.a, sh.a, sl.a);
    S::table_rows(jm.b, ch.b, cl.b, sh.b, sl.b);
  }
  static unsigned rejected(V x, V vh, V vl) {
    return S::rejected(x.a, vh.a, vl.a) | S::rejected(x.b, vh.b, vl.b) << S::kLanes;
  }
  static unsigned note(V v, uint64_t offset, unsigned rejected, double* arg, uint64_t* where) {
    constexpr unsigned kHalf = (1u << S::kLanes) - 1;
    const unsigned count = S::note(v.a, offset, rejected & kHalf, arg, where);
    return count + S::note(v.b, offset + S::kLanes, rejected >> S::kLanes, arg + count, where + count);
  }
};

// Where the arguments come from: an array, or a ramp of indices computed in
// the lanes (the generators' arguments, which then never touch memory). A
// ramp's lanes perform exactly the scalar formula's operations.
template <class S>
struct ArrayArgs {
  const double* x;
  typename S::V at(std::size_t k) const { return S::load(x + k); }
  double scalar(std::size_t k) const { return x[k]; }
};

// double(first + k * step) * mul, then / div or + add. The index is formed
// as first + (k * step) in double, exact (and so equal to the integer's
// conversion) while indices stay below 2^53.
template <class S, Ramp R>
struct RampArgs {
  double first, step, mul, other;
  typename S::V at(std::size_t k) const {
    const typename S::V i =
        S::add(S::set1(first), S::mul(S::add(S::set1(double(k)), S::iota()), S::set1(step)));
    const typename S::V a = S::mul(i, S::set1(mul));
    return R == Ramp::kDivide ? S::div(a, S::set1(other)) : S::add(a, S::set1(other));
  }
  double scalar(std::size_t k) const { return ramp_arg<R>(first + double(k) * step, mul, other); }
};

// out[k] = std::cos(argument k) for k < n; out may be the argument array.
// The rejected lanes of a stretch are noted (offset and argument, since out
// may be x) and handed to std::cos after the stretch: a call inside the
// vector loop would cost a mispredicted branch and a spill of the loop's
// constants each time.
template <class S, class Args>
void cos_run(const Args& args, double* out, std::size_t n) {
  constexpr unsigned W = S::kLanes;
  constexpr std::size_t kStretch = 256;
  std::size_t k = 0;
  while (k + W <= n) {
    const std::size_t start = k, end = k + (n - k < kStretch ? (n - k) / W * W : kStretch);
    alignas(64) double arg[kStretch + 8];      // a note may write a vector's worth past the count
    alignas(64) uint64_t where[kStretch + 8];  // offsets from start
    unsigned count = 0;
    for (; k < end; k += W) {
      const typename S::V v = args.at(k);
      unsigned rejected;
      const typename S::V c = cos_lanes<S>(v, rejected);
      if (rejected) count += S::note(v, k - start, rejected, arg + count, where + count);
      S::store(out + k, c);
    }
    for (unsigned r = 0; r < count; ++r) out[start + where[r]] = std::cos(arg[r]);
  }
  for (; k < n; ++k) out[k] = std::cos(args.scalar(k));
}

// The three entry points of one instruction set.
#define MORVEX_COS_EXACT_ENTRY_POINTS(S, suffix)                                                     \
  void cos_##suffix(const double* x, double* out, std::size_t n) {                                    \
    cos_run<S>(ArrayArgs<S>{x}, out, n);                                                              \
  }                                                                                                   \
  void cos_ramp_##suffix(Ramp r, uint64_t first, uint64_t step, std::size_t n, double mul,            \
                         double other, double* out) {                                                 \
    if (r == Ramp::kDivide)                                                                           \
      cos_run<S>(RampArgs<S, Ramp::kDivide>{double(first), double(step), mul, other}, out, n);        \
    else                                                                                              \
      cos_run<S>(RampArgs<S, Ramp::kAdd>{double(first), double(step), mul, other}, out, n);           \
  }

}  // namespace
}  // namespace morvex::generate::cos_detail
