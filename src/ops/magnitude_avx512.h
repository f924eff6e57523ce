// SPDX-License-Identifier: MIT
// Lane traits of the complex magnitude (f32) for 512-bit vectors, shared by
// the AVX-512F kernel (magnitude_avx512.cpp) and the one that also uses
// AVX-512DQ (magnitude_avx512dq.cpp): sixteen lanes per vector through the
// single-precision kernel of magnitude_simd.h. kOrderedParts selects the
// form that orders the parts first, with AVX-512DQ's vrangeps; only the DQ
// file instantiates it.
// GCC 12's AVX-512 headers start some intrinsics from an "undefined" vector
// and then warn that it may be used uninitialised; every lane is overwritten.
#pragma once

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include "ops/magnitude_simd.h"

namespace morvex::ops {
// Internal linkage: each instruction-set file gets its own copy.
namespace {

template <bool kOrderedParts>
struct Avx512 {
  using V = __m512;
  static constexpr uint64_t kLanes = 16;
  // The reciprocal square root estimate is good to 2^-14.
  static constexpr float kSlack = 0x1p-13f;
  static constexpr bool kOrdered = kOrderedParts;
  // In-lane shuffles of two loads (complex 0-7 and 8-15) give the parts in
  // the order 0 1 8 9 2 3 10 11 4 5 12 13 6 7 14 15; store puts the results
  // back in order with one permute, cheaper than two two-source permutes of
  // the inputs.
  static void load2(const float* p, V& x, V& y) {
    const V a = _mm512_loadu_ps(p), b = _mm512_loadu_ps(p + 16);
    x = _mm512_shuffle_ps(a, b, 0x88);
    y = _mm512_shuffle_ps(a, b, 0xDD);
  }
  static V in_order(V v) {
    return _mm512_permutexvar_ps(_mm512_setr_epi32(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15), v);
  }
  static V set1(float v) { return _mm512_set1_ps(v); }
  static V mul(V a, V b) { return _mm512_mul_ps(a, b); }
  static V add(V a, V b) { return _mm512_add_ps(a, b); }
  static V sub(V a, V b) { return _mm512_sub_ps(a, b); }
  // The squares are never negative, so their bits order like their values:
  // min and max as integers, which measured a little faster here than the
  // float forms.
  static V min(V a, V b) { return _mm512_castsi512_ps(_mm512_min_epu32(_mm512_castps_si512(a), _mm512_castps_si512(b))); }
  static V max(V a, V b) { return _mm512_castsi512_ps(_mm512_max_epu32(_mm512_castps_si512(a), _mm512_castps_si512(b))); }
  static V fmadd(V a, V b, V c) { return _mm512_fmadd_ps(a, b, c); }
  static V fmsub(V a, V b, V c) { return _mm512_fmsub_ps(a, b, c); }
  static V sqrt(V a) { return _mm512_sqrt_ps(a); }
  static V rsqrt(V a) { return _mm512_rsqrt14_ps(a); }
  // vrangeps: imm 0x0B takes the larger absolute value, 0x0A the smaller,
  // both with the sign cleared. A NaN operand is dropped for the other one.
  static void order(V x, V y, V& a, V& b) {
    a = _mm512_range_ps(x, y, 0x0B);
    b = _mm512_range_ps(x, y, 0x0A);
  }
  static constexpr uint32_t kAll = 0xFFFF;
  // One range test for all groups (on the smallest key of each lane, as
  // integers: the keys are never negative) and the equality tests chained
  // through the mask: one compare and one mask operation per group fewer than
  // separate tests.
  template <class G, int N>
  static uint32_t certain(const G (&g)[N], V limit) {
    __m512i least = _mm512_castps_si512(g[0].key);
#pragma GCC unroll 8
    for (int k = 1; k < N; ++k) least = _mm512_min_epu32(least, _mm512_castps_si512(g[k].key));
    __mmask16 m = _mm512_cmpge_epu32_mask(least, _mm512_castps_si512(limit));
#pragma GCC unroll 8
    for (int k = 0; k < N; ++k) m = _mm512_mask_cmp_ps_mask(m, g[k].rl, g[k].rh, _CMP_EQ_OQ);
    return m;
  }
  static void store(float* p, V v) { _mm512_storeu_ps(p, in_order(v)); }
  static void stream(float* p, V v) { _mm512_stream_ps(p, in_order(v)); }
};

}  // namespace
}  // namespace morvex::ops
