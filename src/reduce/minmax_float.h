// SPDX-License-Identifier: MIT
// Vector minmax for floats that returns exactly what the plain running rule
//   min = (min < x) ? min : x,   max = (max > x) ? max : x
// returns, NaNs and signed zeros included. Included only by the files of one
// instruction set, each with its own lane traits; everything here has
// internal linkage so that no instantiation leaks between instruction sets.
//
// What the running rule computes, which is what this kernel reproduces:
//  - a NaN element makes the running value NaN and the next element replaces
//    it, so the result depends only on the elements after the last NaN (the
//    "suffix"), and is that last NaN itself when it is the final element;
//  - on the NaN-free suffix the rule is the ordinary minimum, and of equal
//    values the later one wins. Equal values with different bits are only
//    -0.0 and +0.0, so the sign of a zero result is the sign of the last zero
//    in the suffix.
//
// The vector loop keeps lane minima, which give the value. minps/maxps keep
// their second operand on ties and the loop passes the newer vector second,
// so each lane holds the bits of the last zero it saw, and the lane that saw
// the last zero of the suffix holds that zero (nothing after it in the array
// is a zero, so no later vector can replace it). So when every lane holding
// a zero has the same sign, that is the answer; when they disagree, a
// backward scan finds the last zero (rare: it needs zeros of both signs and
// a zero extreme). A block holding a NaN restarts the lanes after its last
// NaN; ordinary data pays one unordered compare per two vectors for that
// check.
#pragma once

#include <cstdint>
#include <limits>

#include "reduce/minmax_common.h"

namespace morvex::reduce {
namespace {

// Ops provides: T, V, kLanes, load, set1, min, max, has_nan(a, b) (either
// vector holds a NaN), store.
template <class Ops, bool kMin, bool kMax>
struct ExactMinMax {
  using T = typename Ops::T;
  using V = typename Ops::V;
  static constexpr uint64_t W = Ops::kLanes;
  // Constant-evaluated here, so no out-of-line library function is compiled
  // for this instruction set (one that the linker could hand to plain code).
  static constexpr T kInf = std::numeric_limits<T>::infinity();

  const T* x;
  uint64_t n;
  uint64_t s = 0;  // first index after the last NaN seen so far
  V vmin = Ops::set1(kInf);
  V vmax = Ops::set1(-kInf);

  // [i, i + len) holds a NaN: forget everything up to its last NaN and fold
  // the elements after it, each broadcast to every lane (they are later
  // than anything the lanes hold, so each lane keeps them on ties).
  void restart(uint64_t i, uint64_t len) {
    uint64_t t = i + len - 1;
    while (!(x[t] != x[t])) --t;
    s = t + 1;
    vmin = Ops::set1(kInf);
    vmax = Ops::set1(-kInf);
    for (uint64_t j = t + 1; j < i + len; ++j) fold(Ops::set1(x[j]));
  }

  void fold(V v) {
    if constexpr (kMin) vmin = Ops::min(vmin, v);
    if constexpr (kMax) vmax = Ops::max(vmax, v);
  }

  void one(uint64_t i) {
    const V a = Ops::load(x + i);
    if (Ops::has_nan(a, a))
      restart(i, W);
    else
      fold(a);
  }

  void run() {
    uint64_t i = 0;
    for (; i + 4 * W <= n; i += 4 * W) {
      const V a = Ops::load(x + i), b = Ops::load(x + i + W);
      const V c = Ops::load(x + i + 2 * W), d = Ops::load(x + i + 3 * W);
      if (Ops::has_nan(a, b) || Ops::has_nan(c, d)) {
        restart(i, 4 * W);
        continue;
      }
      if constexpr (kMin) vmin = Ops::min(vmin, Ops::min(Ops::min(a, b), Ops::min(c, d)));
      if constexpr (kMax) vmax = Ops::max(vmax, Ops::max(Ops::max(a, b), Ops::max(c, d)));
    }
    for (; i + W <= n; i += W) one(i);
    // The last vector overlaps elements already seen: harmless for extremes,
    // and any NaN in it is handled as the last NaN of the array.
    if (i < n) one(n - W);
  }

  // The extreme of the lanes; `before` is < for the minimum and > for the
  // maximum.
  template <class Before>
  T finish(V v, Before before) const {
    if (s == n) return x[n - 1];  // the last element is NaN
    T lane[W];
    Ops::store(lane, v);
    T best = lane[0];
    for (uint64_t k = 1; k < W; ++k)
      if (before(lane[k], best)) best = lane[k];
    if (best != T(0)) return best;
    bool neg = false, pos = false;
    for (uint64_t k = 0; k < W; ++k)
      if (lane[k] == T(0)) (__builtin_signbit(lane[k]) ? neg : pos) = true;
    if (!(neg && pos)) return best;
    for (uint64_t j = n; j-- > s;)
      if (x[j] == T(0)) return x[j];
    return best;  // not reached: a zero lane came from the suffix
  }
};

template <class Ops, bool kMin, bool kMax>
inline void exact_minmax_as(const typename Ops::T* x, uint64_t n, typename Ops::T* pmin, typename Ops::T* pmax) {
  using T = typename Ops::T;
  if (n < 2 * Ops::kLanes) return running_minmax<T, kMin, kMax>(x, n, pmin, pmax);
  ExactMinMax<Ops, kMin, kMax> k{x, n};
  k.run();
  if constexpr (kMin) *pmin = k.finish(k.vmin, [](T a, T b) { return a < b; });
  if constexpr (kMax) *pmax = k.finish(k.vmax, [](T a, T b) { return a > b; });
}

template <class Ops>
inline void exact_minmax(const typename Ops::T* x, uint64_t n, typename Ops::T* pmin, typename Ops::T* pmax) {
  for_requested(pmin, pmax, [&](auto want_min, auto want_max) {
    exact_minmax_as<Ops, decltype(want_min)::value, decltype(want_max)::value>(x, n, pmin, pmax);
  });
}

}  // namespace
}  // namespace morvex::reduce
