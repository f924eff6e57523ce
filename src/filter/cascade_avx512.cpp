// SPDX-License-Identifier: MIT
// The lane-parallel cascade with 512-bit vectors: 8 sections per vector in
// f64, 16 in f32. Uses AVX-512F only (valign for the lane shift, mask
// registers for the idle lanes of the fill and drain steps).
#include <immintrin.h>

#include "filter/cascade.h"
#include "filter/cascade_lanes.h"

namespace morvex::filter {
namespace {

// Bits of lanes base + l (l < width) that lie within [lo, hi].
inline unsigned lane_bits(int base, int lo, int hi, int width) {
  const int first = lo - base, last = hi - base;  // in lane numbers
  if (last < 0 || first >= width) return 0;
  const unsigned all = (1u << width) - 1u;
  const unsigned from = first <= 0 ? all : all & ~((1u << first) - 1u);
  const unsigned to = last >= width - 1 ? all : (1u << (last + 1)) - 1u;
  return from & to;
}

// valign through its zero-masking form with every lane selected: the same
// instruction, without the undefined pass-through operand that GCC 12 warns
// about.
struct F64x8 {
  using T = double;
  using vec = __m512d;
  using mask = __mmask8;
  static constexpr int L = 8;
  static vec load(const T* p) { return _mm512_load_pd(p); }
  static void store(T* p, vec v) { _mm512_store_pd(p, v); }
  static vec set1(T x) { return _mm512_set1_pd(x); }
  static vec add(vec a, vec b) { return _mm512_add_pd(a, b); }
  static vec sub(vec a, vec b) { return _mm512_sub_pd(a, b); }
  static vec mul(vec a, vec b) { return _mm512_mul_pd(a, b); }
  static vec shift(vec prev, vec cur) {
    return _mm512_castsi512_pd(_mm512_maskz_alignr_epi64(0xFF, _mm512_castpd_si512(cur), _mm512_castpd_si512(prev), 7));
  }
  static mask lanes(int base, int lo, int hi) { return mask(lane_bits(base, lo, hi, L)); }
  static vec select(mask m, vec n, vec o) { return _mm512_mask_blend_pd(m, o, n); }
};

struct F32x16 {
  using T = float;
  using vec = __m512;
  using mask = __mmask16;
  static constexpr int L = 16;
  static vec load(const T* p) { return _mm512_load_ps(p); }
  static void store(T* p, vec v) { _mm512_store_ps(p, v); }
  static vec set1(T x) { return _mm512_set1_ps(x); }
  static vec add(vec a, vec b) { return _mm512_add_ps(a, b); }
  static vec sub(vec a, vec b) { return _mm512_sub_ps(a, b); }
  static vec mul(vec a, vec b) { return _mm512_mul_ps(a, b); }
  static vec shift(vec prev, vec cur) {
    return _mm512_castsi512_ps(_mm512_maskz_alignr_epi32(0xFFFF, _mm512_castps_si512(cur), _mm512_castps_si512(prev), 15));
  }
  static mask lanes(int base, int lo, int hi) { return mask(lane_bits(base, lo, hi, L)); }
  static vec select(mask m, vec n, vec o) { return _mm512_mask_blend_ps(m, o, n); }
};

}  // namespace

void cascade_avx512_f64(const double* in, double* out, uint64_t count, const double* coeffs, double* delay,
                        uint64_t sections) {
  lanes::cascade<F64x8>(in, out, count, coeffs, delay, sections);
}

void cascade_avx512_f32(const float* in, float* out, uint64_t count, const float* coeffs, float* delay,
                        uint64_t sections) {
  lanes::cascade<F32x16>(in, out, count, coeffs, delay, sections);
}

}  // namespace morvex::filter
