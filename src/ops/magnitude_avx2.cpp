// SPDX-License-Identifier: MIT
// Complex magnitude (f32), AVX2 with FMA3: eight lanes per vector through the
// single-precision kernel of magnitude_simd.h, cabsf's result element for
// element.
#include "ops/magnitude_simd.h"

namespace morvex::ops {

namespace {

struct Avx2 {
  using V = __m256;
  static constexpr uint64_t kLanes = 8;
  // The reciprocal square root estimate is good to 1.5 * 2^-12.
  static constexpr float kSlack = 0x1p-10f;
  // In-lane shuffles of two loads (complex 0-3 and 4-7) give the parts in
  // the order 0 1 4 5 2 3 6 7; store puts the results back in order with
  // one permute of 64-bit pairs, cheaper than sorting both inputs.
  static void load2(const float* p, V& x, V& y) {
    const V a = _mm256_loadu_ps(p), b = _mm256_loadu_ps(p + 8);
    x = _mm256_shuffle_ps(a, b, 0x88);
    y = _mm256_shuffle_ps(a, b, 0xDD);
  }
  static V in_order(V v) { return _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(v), 0xD8)); }
  static V set1(float v) { return _mm256_set1_ps(v); }
  static V mul(V a, V b) { return _mm256_mul_ps(a, b); }
  static V add(V a, V b) { return _mm256_add_ps(a, b); }
  static V sub(V a, V b) { return _mm256_sub_ps(a, b); }
  static V min(V a, V b) { return _mm256_min_ps(a, b); }
  static V max(V a, V b) { return _mm256_max_ps(a, b); }
  static V fmadd(V a, V b, V c) { return _mm256_fmadd_ps(a, b, c); }
  static V fmsub(V a, V b, V c) { return _mm256_fmsub_ps(a, b, c); }
  static V sqrt(V a) { return _mm256_sqrt_ps(a); }
  static V rsqrt(V a) { return _mm256_rsqrt_ps(a); }
  static constexpr uint32_t kAll = 0xFF;
  static constexpr bool kOrdered = false;
  template <class G, int N>
  static uint32_t certain(const G (&g)[N], V limit) {
    V ok = _mm256_cmp_ps(g[0].key, limit, _CMP_GE_OQ);
    for (int k = 1; k < N; ++k) ok = _mm256_and_ps(ok, _mm256_cmp_ps(g[k].key, limit, _CMP_GE_OQ));
    for (int k = 0; k < N; ++k) ok = _mm256_and_ps(ok, _mm256_cmp_ps(g[k].rl, g[k].rh, _CMP_EQ_OQ));
    return uint32_t(_mm256_movemask_ps(ok));
  }
  static void store(float* p, V v) { _mm256_storeu_ps(p, in_order(v)); }
  static void stream(float* p, V v) { _mm256_stream_ps(p, in_order(v)); }
};

}  // namespace

void magnitude_c32f32_avx2(const float* in, float* out, uint64_t n) { magnitude_c32f32<Avx2>(in, out, n); }

}  // namespace morvex::ops
