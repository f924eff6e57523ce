// SPDX-License-Identifier: MIT
// Vector level and band searches over unsigned 8- and 16-bit samples,
// written once and compiled per instruction set by the files that include
// this header with their own lane traits. Internal linkage throughout, so no
// instantiation leaks from one instruction set to another.
//
// All six conditions reduce to one of two questions about d = x, or
// d = x - low with wrap-around for the bands:
//   is there a d > k?   gte (k = level - 1), gt (k = level), out (on x - low, k = high - low)
//   is there a d < k?   lt (k = level), lte (k = level + 1), in (on x - low, k = high - low + 1)
// (for low <= high, low <= x <= high exactly when x - low, wrapped, is at
// most high - low). The levels at which k would leave the type are answered
// without reading: gte 0 matches at the start, gt 255 never, and so on.
//
// The answer for a group of vectors comes from their lane-wise maximum (for
// "d > k") or minimum (for "d < k"), tested with one saturating subtraction:
// max - k is non-zero in some lane exactly when some d > k. So a group costs
// one min or max per vector plus one test. The first group that answers yes
// is searched vector by vector for the exact index; the last few elements
// are covered by one vector that ends at count and overlaps elements already
// found clean, so the scalar loop only runs when fewer than one vector of
// elements remains from the start.
#pragma once

#include <cstdint>

namespace morvex::reduce {
namespace {

// Ops provides: T, V, kLanes, kGroup (vectors per group), load,
// load_aligned, set1, sub (wrapping), min, max, subs (unsigned saturating),
// any (some lane non-zero), nonzero_bits (one bit per non-zero byte, as
// movemask gives, so sizeof(T) bits per lane; 32 or 64 bits wide).
template <class Ops, bool kAbove, bool kShift>
inline uint64_t find_vec(const typename Ops::T* x, uint64_t start, uint64_t n, typename Ops::T k,
                         typename Ops::T shift) {
  using T = typename Ops::T;
  using V = typename Ops::V;
  constexpr uint64_t W = Ops::kLanes, G = Ops::kGroup;
  const V vk = Ops::set1(k), vshift = Ops::set1(shift);
  auto shifted = [&](V v) {
    if constexpr (kShift)
      return Ops::sub(v, vshift);
    else
      return v;
  };
  auto get = [&](uint64_t j) { return shifted(Ops::load(x + j)); };
  // The lane of the lowest set bit.
  auto lane = [](uint64_t bits) { return uint64_t(__builtin_ctzll(bits)) / sizeof(T); };
  // Non-zero lanes are the matches.
  auto matches = [&](V d) {
    if constexpr (kAbove)
      return Ops::subs(d, vk);
    else
      return Ops::subs(vk, d);
  };
  auto fold = [](V a, V b) {
    if constexpr (kAbove)
      return Ops::max(a, b);
    else
      return Ops::min(a, b);
  };

  uint64_t i = start;
  if (n - start < W) {
    for (; i < n; ++i) {
      T d = x[i];
      if constexpr (kShift) d = T(d - shift);
      if (kAbove ? d > k : d < k) return i;
    }
    return n;
  }
  // One unaligned vector at the start, then groups from the next vector
  // boundary on: aligned loads fold into the min/max instructions (SSE
  // cannot fold unaligned ones) and never straddle a cache line. Samples
  // that are not even aligned to their own size stay on unaligned loads.
  if (const uint64_t bits = Ops::nonzero_bits(matches(get(i)))) return i + lane(bits);
  const uintptr_t mis = reinterpret_cast<uintptr_t>(x + i) % sizeof(V);
  const bool aligned = mis % sizeof(T) == 0;
  i += aligned ? (sizeof(V) - mis) / sizeof(T) : W;
  auto group = [&](auto load) {
    for (; n - i >= G * W; i += G * W) {
      V m = shifted(load(x + i));
      for (uint64_t g = 1; g < G; ++g) m = fold(m, shifted(load(x + i + g * W)));
      if (Ops::any(matches(m))) return;
    }
  };
  if (aligned)
    group([](const T* p) { return Ops::load_aligned(p); });
  else
    group([](const T* p) { return Ops::load(p); });
  for (; n - i >= W; i += W) {
    const uint64_t bits = Ops::nonzero_bits(matches(get(i)));
    if (bits) return i + lane(bits);
  }
  if (i < n) {
    // Elements n - W .. i - 1 are at or after the start and already clean.
    const uint64_t bits = Ops::nonzero_bits(matches(get(n - W)));
    if (bits) return n - W + lane(bits);
  }
  return n;
}

template <class Ops>
struct Search {
  using T = typename Ops::T;
  static constexpr T kMax = T(~T(0));

  static uint64_t gte(const T* x, uint64_t s, uint64_t n, T level) {
    if (level == 0) return s;
    return find_vec<Ops, true, false>(x, s, n, T(level - 1), 0);
  }
  static uint64_t gt(const T* x, uint64_t s, uint64_t n, T level) {
    if (level == kMax) return n;
    return find_vec<Ops, true, false>(x, s, n, level, 0);
  }
  static uint64_t lte(const T* x, uint64_t s, uint64_t n, T level) {
    if (level == kMax) return s;
    return find_vec<Ops, false, false>(x, s, n, T(level + 1), 0);
  }
  static uint64_t lt(const T* x, uint64_t s, uint64_t n, T level) {
    if (level == 0) return n;
    return find_vec<Ops, false, false>(x, s, n, level, 0);
  }
  static uint64_t in(const T* x, uint64_t s, uint64_t n, T high, T low) {
    if (high < low) return n;
    const T width = T(high - low);
    if (width == kMax) return s;
    return find_vec<Ops, false, true>(x, s, n, T(width + 1), low);
  }
  static uint64_t out(const T* x, uint64_t s, uint64_t n, T high, T low) {
    if (high < low) return s;
    const T width = T(high - low);
    if (width == kMax) return n;
    return find_vec<Ops, true, true>(x, s, n, width, low);
  }
};

}  // namespace
}  // namespace morvex::reduce

// The six kernels of one element type for one instruction set, as kernels.h
// declares them: gte_u8_sse42 and so on, over the lane traits OPS.
#define MORVEX_SEARCH_DEFINE(T, S, ISA, OPS)                                                                 \
  uint64_t gte_##S##_##ISA(const T* x, uint64_t s, uint64_t n, T l) { return Search<OPS>::gte(x, s, n, l); } \
  uint64_t gt_##S##_##ISA(const T* x, uint64_t s, uint64_t n, T l) { return Search<OPS>::gt(x, s, n, l); }   \
  uint64_t lte_##S##_##ISA(const T* x, uint64_t s, uint64_t n, T l) { return Search<OPS>::lte(x, s, n, l); } \
  uint64_t lt_##S##_##ISA(const T* x, uint64_t s, uint64_t n, T l) { return Search<OPS>::lt(x, s, n, l); }   \
  uint64_t in_##S##_##ISA(const T* x, uint64_t s, uint64_t n, T h, T l) { return Search<OPS>::in(x, s, n, h, l); } \
  uint64_t out_##S##_##ISA(const T* x, uint64_t s, uint64_t n, T h, T l) { return Search<OPS>::out(x, s, n, h, l); }
