// SPDX-License-Identifier: MIT
// The lane-parallel cascade, written once over a vector-traits type and
// compiled per instruction set by cascade_<isa>.cpp. Include only from those
// files, with traits in an anonymous namespace, so that every instantiation
// stays local to the file compiled for its instruction set.
//
// Layout: section j of a pass is lane j (vector j / L, lane j % L); lanes past
// the pass's last section have all-zero coefficients and their results are
// never read. At step t, lane j processes sample t - j*S (S = kSkew): its
// input is lane j-1's output of step t-S, taken from a short history of
// output vectors and shifted up by one lane, with input[t] entering lane 0.
// The skew keeps the lane shift (a cross-lane permute of several cycles on
// wide vectors) and the history load off the loop-carried path, which is
// then only each section's own recurrence: one add, one multiply, one
// subtract per step for all sections at once.
//
// The first (m-1)*S steps (pipeline fill) and the last (m-1)*S (drain) have
// lanes without a sample; those keep their delay values by a masked update,
// and their meaningless outputs only ever reach other idle lanes.
//
// The traits V provide: T, vec, mask, L, load, store, set1, add, sub,
// mul, shift (prev, cur) -> [prev[L-1], cur[0..L-2]], lanes(base, lo, hi) ->
// mask of lanes base+l within [lo, hi], and select(mask, new, old).
#pragma once

#include <cstdint>

#include "filter/cascade.h"

namespace morvex::filter::lanes {

constexpr int kSkew = kLaneSkew;

template <class V, int NV>
struct Pass {
  using T = typename V::T;
  using vec = typename V::vec;
  static constexpr int L = V::L;
  static constexpr int W = NV * L;

  vec b0[NV], b1[NV], b2[NV], a1[NV], a2[NV], d0[NV], d1[NV];

  // m sections starting at coeffs / delay.
  Pass(const T* coeffs, const T* delay, int m) {
    alignas(64) T c[5][W], d[2][W];
    for (int j = 0; j < W; ++j) {
      const bool real = j < m;
      c[0][j] = real ? coeffs[6 * j + 0] : T(0);
      c[1][j] = real ? coeffs[6 * j + 1] : T(0);
      c[2][j] = real ? coeffs[6 * j + 2] : T(0);
      c[3][j] = real ? coeffs[6 * j + 4] : T(0);
      c[4][j] = real ? coeffs[6 * j + 5] : T(0);
      d[0][j] = real ? delay[2 * j + 0] : T(0);
      d[1][j] = real ? delay[2 * j + 1] : T(0);
    }
    for (int v = 0; v < NV; ++v) {
      b0[v] = V::load(c[0] + v * L);
      b1[v] = V::load(c[1] + v * L);
      b2[v] = V::load(c[2] + v * L);
      a1[v] = V::load(c[3] + v * L);
      a2[v] = V::load(c[4] + v * L);
      d0[v] = V::load(d[0] + v * L);
      d1[v] = V::load(d[1] + v * L);
    }
  }

  void save(T* delay, int m) const {
    alignas(64) T d[2][W];
    for (int v = 0; v < NV; ++v) {
      V::store(d[0] + v * L, d0[v]);
      V::store(d[1] + v * L, d1[v]);
    }
    for (int j = 0; j < m; ++j) {
      delay[2 * j + 0] = d[0][j];
      delay[2 * j + 1] = d[1][j];
    }
  }

  // One step; Masked: only lanes lo..hi hold a sample. h holds the outputs
  // of step t - kSkew (this step's inputs) and receives those of step t; the
  // last vector of them is returned. (The history lives outside this object
  // so that its address, taken here, does not pin the delay vectors to
  // memory.)
  template <bool Masked>
  inline vec step(T* h, T in, int lo = 0, int hi = 0) {
    vec x[NV];
    vec prev = V::set1(in);
    for (int v = 0; v < NV; ++v) {
      const vec cur = V::load(h + v * L);
      x[v] = V::shift(prev, cur);
      prev = cur;
    }
    vec y;
    for (int v = 0; v < NV; ++v) {
      y = V::add(V::mul(b0[v], x[v]), d0[v]);
      const vec n0 = V::sub(V::add(V::mul(b1[v], x[v]), d1[v]), V::mul(a1[v], y));
      const vec n1 = V::sub(V::mul(b2[v], x[v]), V::mul(a2[v], y));
      if constexpr (Masked) {
        const auto live = V::lanes(v * L, lo, hi);
        d0[v] = V::select(live, n0, d0[v]);
        d1[v] = V::select(live, n1, d1[v]);
      } else {
        d0[v] = n0;
        d1[v] = n1;
      }
      V::store(h + v * L, y);
    }
    return y;
  }
};

// Filters count >= 1 samples through m sections (1 <= m <= NV * L,
// m > (NV - 1) * L so that the last section lies in the last vector).
template <class V, int NV>
void run_pass(const typename V::T* in, typename V::T* out, uint64_t count, const typename V::T* coeffs,
              typename V::T* delay, int m) {
  using T = typename V::T;
  constexpr uint64_t S = kSkew;
  Pass<V, NV> s(coeffs, delay, m);
  alignas(64) T history[S][NV * V::L] = {};
  const uint64_t lane = uint64_t(m - 1 - (NV - 1) * V::L);
  const uint64_t lag = uint64_t(m - 1) * S, total = count + lag;
  // Lane j holds a sample at step t when 0 <= t - j*S < count. The bounds
  // are clamped to a value past every lane so that they fit an int.
  constexpr uint64_t kFar = 1u << 20;
  auto clamp = [](uint64_t v) { return int(v < kFar ? v : kFar); };
  auto first_live = [&](uint64_t t) { return t >= count ? clamp((t - count) / S + 1) : 0; };
  auto last_live = [&](uint64_t t) { return clamp(t / S); };

  // Outputs go through a ring of whole vectors and are picked out once per
  // ring: reading one lane straight back from a just-stored vector would
  // wait on store forwarding at every step.
  constexpr uint64_t R = 32;
  alignas(64) T ring[R * V::L];
  auto flush = [&](uint64_t first_step, uint64_t n) {
    for (uint64_t i = 0; i < n; ++i) out[first_step + i - lag] = ring[i * V::L + lane];
  };

  uint64_t t = 0;
  for (; t < lag; ++t) s.template step<true>(history[t % S], t < count ? in[t] : T(0), first_live(t), last_live(t));
  while (t < count) {
    const uint64_t n = count - t < R ? count - t : R;
    for (uint64_t i = 0; i < n; ++i) V::store(ring + i * V::L, s.template step<false>(history[(t + i) % S], in[t + i]));
    flush(t, n);
    t += n;
  }
  while (t < total) {
    const uint64_t n = total - t < R ? total - t : R;
    for (uint64_t i = 0; i < n; ++i)
      V::store(ring + i * V::L, s.template step<true>(history[(t + i) % S], T(0), first_live(t + i), last_live(t + i)));
    flush(t, n);
    t += n;
  }
  s.save(delay, m);
}

// The whole cascade: passes of up to 4 vectors of sections each, the first
// reading the input, the others filtering the output in place.
template <class V>
void cascade(const typename V::T* in, typename V::T* out, uint64_t count, const typename V::T* coeffs,
             typename V::T* delay, uint64_t sections) {
  constexpr uint64_t kMaxVectors = 4, kWidth = kMaxVectors * V::L;
  const typename V::T* src = in;
  for (uint64_t first = 0; first < sections; first += kWidth) {
    const uint64_t rest = sections - first;
    const int m = int(rest < kWidth ? rest : kWidth);
    const typename V::T* c = coeffs + 6 * first;
    typename V::T* d = delay + 2 * first;
    switch ((m + V::L - 1) / V::L) {
      case 1: run_pass<V, 1>(src, out, count, c, d, m); break;
      case 2: run_pass<V, 2>(src, out, count, c, d, m); break;
      case 3: run_pass<V, 3>(src, out, count, c, d, m); break;
      default: run_pass<V, 4>(src, out, count, c, d, m); break;
    }
    src = out;
  }
}

}  // namespace morvex::filter::lanes
