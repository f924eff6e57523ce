// SPDX-License-Identifier: MIT
// The lane orders of the sum_f64/square_sum_f64 variants, written once and
// compiled per instruction set by sum_sse42.cpp (2 lanes) and sum_avx.cpp
// (4 lanes) with their own lane traits. Internal linkage throughout, so no
// instantiation leaks from one instruction set to another.
//
// Lane k adds elements L*i + k in order (their squares for square sums);
// the count mod L tail elements are added one by one onto the caller's
// value; then the lanes are added to that:
//   2 lanes: (l1 + l0) + (old + tail)
//   4 lanes: l3 + (l2 + (l1 + (l0 + (old + tail))))
// The count is taken as a signed 32-bit number, the documented limit of the
// variants: a count of 2^31 or more is not summed as a whole.
//
// Each lane is one dependency chain, so the loop runs at one vector addition
// latency per L elements: L times the base kernel, which is all the fixed
// order allows.
#pragma once

#include <cstdint>

namespace morvex::reduce {
namespace {

// Ops provides: V, kLanes, zero, load, add, mul, store.
template <class Ops, bool kSquare>
inline void sum_lanes(const double* x, uint64_t count, double* result) {
  constexpr int32_t L = Ops::kLanes;
  const int32_t n = int32_t(count);
  const int32_t q = n / L, r = n % L;
  typename Ops::V acc = Ops::zero();
  for (int32_t i = 0; i < q; ++i) {
    const typename Ops::V v = Ops::load(x + int64_t(L) * i);
    acc = Ops::add(acc, kSquare ? Ops::mul(v, v) : v);
  }
  double t = *result;
  for (int32_t k = 0; k < r; ++k) {
    const double v = x[int64_t(L) * q + k];
    t = t + (kSquare ? v * v : v);
  }
  double lane[L];
  Ops::store(lane, acc);
  if constexpr (L == 2) {
    *result = (lane[1] + lane[0]) + t;
  } else {
    static_assert(L == 4);
    double v = lane[0] + t;
    v = lane[1] + v;
    v = lane[2] + v;
    *result = lane[3] + v;
  }
}

}  // namespace
}  // namespace morvex::reduce
