// SPDX-License-Identifier: MIT
// The lane-parallel cascade with 256-bit AVX vectors: 4 sections per vector
// in f64, 8 in f32. Only AVX is needed (no fused operations are wanted).
#include <immintrin.h>

#include "filter/cascade.h"
#include "filter/cascade_lanes.h"

namespace morvex::filter {
namespace {

struct F64x4 {
  using T = double;
  using vec = __m256d;
  using mask = __m256d;
  static constexpr int L = 4;
  static vec load(const T* p) { return _mm256_load_pd(p); }
  static void store(T* p, vec v) { _mm256_store_pd(p, v); }
  static vec set1(T x) { return _mm256_set1_pd(x); }
  static vec add(vec a, vec b) { return _mm256_add_pd(a, b); }
  static vec sub(vec a, vec b) { return _mm256_sub_pd(a, b); }
  static vec mul(vec a, vec b) { return _mm256_mul_pd(a, b); }
  // [p2 p3 c0 c1], then [p3 c0 c1 c2].
  static vec shift(vec prev, vec cur) {
    const vec t = _mm256_permute2f128_pd(prev, cur, 0x21);
    return _mm256_shuffle_pd(t, cur, 0x5);
  }
  static mask lanes(int base, int lo, int hi) {
    const vec idx = _mm256_set_pd(base + 3, base + 2, base + 1, base);
    return _mm256_and_pd(_mm256_cmp_pd(idx, _mm256_set1_pd(lo), _CMP_GE_OQ),
                         _mm256_cmp_pd(idx, _mm256_set1_pd(hi), _CMP_LE_OQ));
  }
  static vec select(mask m, vec n, vec o) { return _mm256_blendv_pd(o, n, m); }
};

struct F32x8 {
  using T = float;
  using vec = __m256;
  using mask = __m256;
  static constexpr int L = 8;
  static vec load(const T* p) { return _mm256_load_ps(p); }
  static void store(T* p, vec v) { _mm256_store_ps(p, v); }
  static vec set1(T x) { return _mm256_set1_ps(x); }
  static vec add(vec a, vec b) { return _mm256_add_ps(a, b); }
  static vec sub(vec a, vec b) { return _mm256_sub_ps(a, b); }
  static vec mul(vec a, vec b) { return _mm256_mul_ps(a, b); }
  // [p4..p7 c0..c3]; then per 128-bit half [t3 t3 c0 c0] and [t3 c0 c1 c2].
  static vec shift(vec prev, vec cur) {
    const vec t = _mm256_permute2f128_ps(prev, cur, 0x21);
    const vec u = _mm256_shuffle_ps(t, cur, _MM_SHUFFLE(0, 0, 3, 3));
    return _mm256_shuffle_ps(u, cur, _MM_SHUFFLE(2, 1, 2, 0));
  }
  static mask lanes(int base, int lo, int hi) {
    const vec idx = _mm256_set_ps(float(base + 7), float(base + 6), float(base + 5), float(base + 4),
                                  float(base + 3), float(base + 2), float(base + 1), float(base));
    return _mm256_and_ps(_mm256_cmp_ps(idx, _mm256_set1_ps(float(lo)), _CMP_GE_OQ),
                         _mm256_cmp_ps(idx, _mm256_set1_ps(float(hi)), _CMP_LE_OQ));
  }
  static vec select(mask m, vec n, vec o) { return _mm256_blendv_ps(o, n, m); }
};

}  // namespace

void cascade_avx_f64(const double* in, double* out, uint64_t count, const double* coeffs, double* delay,
                     uint64_t sections) {
  lanes::cascade<F64x4>(in, out, count, coeffs, delay, sections);
}

void cascade_avx_f32(const float* in, float* out, uint64_t count, const float* coeffs, float* delay,
                     uint64_t sections) {
  lanes::cascade<F32x8>(in, out, count, coeffs, delay, sections);
}

}  // namespace morvex::filter
