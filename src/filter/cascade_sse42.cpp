// SPDX-License-Identifier: MIT
// The lane-parallel cascade with 128-bit vectors: 2 sections per vector in
// f64, 4 in f32. Lane shifts are single one-cycle shuffles here, which keeps
// the hand-over from one section to the next off the critical path.
#include <immintrin.h>

#include "filter/cascade.h"
#include "filter/cascade_lanes.h"

namespace morvex::filter {
namespace {

struct F64x2 {
  using T = double;
  using vec = __m128d;
  using mask = __m128d;
  static constexpr int L = 2;
  static vec load(const T* p) { return _mm_load_pd(p); }
  static void store(T* p, vec v) { _mm_store_pd(p, v); }
  static vec set1(T x) { return _mm_set1_pd(x); }
  static vec add(vec a, vec b) { return _mm_add_pd(a, b); }
  static vec sub(vec a, vec b) { return _mm_sub_pd(a, b); }
  static vec mul(vec a, vec b) { return _mm_mul_pd(a, b); }
  static vec shift(vec prev, vec cur) { return _mm_shuffle_pd(prev, cur, 0x1); }
  static mask lanes(int base, int lo, int hi) {
    const vec idx = _mm_set_pd(base + 1, base);
    return _mm_and_pd(_mm_cmpge_pd(idx, _mm_set1_pd(lo)), _mm_cmple_pd(idx, _mm_set1_pd(hi)));
  }
  static vec select(mask m, vec n, vec o) { return _mm_blendv_pd(o, n, m); }
};

struct F32x4 {
  using T = float;
  using vec = __m128;
  using mask = __m128;
  static constexpr int L = 4;
  static vec load(const T* p) { return _mm_load_ps(p); }
  static void store(T* p, vec v) { _mm_store_ps(p, v); }
  static vec set1(T x) { return _mm_set1_ps(x); }
  static vec add(vec a, vec b) { return _mm_add_ps(a, b); }
  static vec sub(vec a, vec b) { return _mm_sub_ps(a, b); }
  static vec mul(vec a, vec b) { return _mm_mul_ps(a, b); }
  static vec shift(vec prev, vec cur) {
    return _mm_castsi128_ps(_mm_alignr_epi8(_mm_castps_si128(cur), _mm_castps_si128(prev), 12));
  }
  static mask lanes(int base, int lo, int hi) {
    const vec idx = _mm_set_ps(float(base + 3), float(base + 2), float(base + 1), float(base));
    return _mm_and_ps(_mm_cmpge_ps(idx, _mm_set1_ps(float(lo))), _mm_cmple_ps(idx, _mm_set1_ps(float(hi))));
  }
  static vec select(mask m, vec n, vec o) { return _mm_blendv_ps(o, n, m); }
};

}  // namespace

void cascade_sse42_f64(const double* in, double* out, uint64_t count, const double* coeffs, double* delay,
                       uint64_t sections) {
  lanes::cascade<F64x2>(in, out, count, coeffs, delay, sections);
}

void cascade_sse42_f32(const float* in, float* out, uint64_t count, const float* coeffs, float* delay,
                       uint64_t sections) {
  lanes::cascade<F32x4>(in, out, count, coeffs, delay, sections);
}

}  // namespace morvex::filter
