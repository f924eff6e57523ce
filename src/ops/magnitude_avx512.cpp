// Complex magnitude (f32), AVX-512F: sixteen lanes per vector through the
// single-precision kernel of magnitude_simd.h, cabsf's result element for
// element. Only AVX-512F instructions on 512-bit vectors.
// GCC 12's AVX-512 headers start some intrinsics from an "undefined" vector
// and then warn that it may be used uninitialised; every lane is overwritten.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include "ops/magnitude_simd.h"

namespace morvex::ops {

namespace {

struct Avx512 {
  using V = __m512;
  static constexpr uint64_t kLanes = 16;
  // The estimate is good to 2^-14.
  static constexpr float kSlack = 0x1p-16f;
  // Both permutes pick from the 32 floats of two loads, so the lanes come
  // out in index order.
  static void load2(const float* p, V& x, V& y) {
    const V a = _mm512_loadu_ps(p), b = _mm512_loadu_ps(p + 16);
    x = _mm512_permutex2var_ps(a, _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30), b);
    y = _mm512_permutex2var_ps(a, _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31), b);
  }
  static V set1(float v) { return _mm512_set1_ps(v); }
  static V mul(V a, V b) { return _mm512_mul_ps(a, b); }
  static V add(V a, V b) { return _mm512_add_ps(a, b); }
  static V sub(V a, V b) { return _mm512_sub_ps(a, b); }
  static V min(V a, V b) { return _mm512_min_ps(a, b); }
  static V max(V a, V b) { return _mm512_max_ps(a, b); }
  static V fmadd(V a, V b, V c) { return _mm512_fmadd_ps(a, b, c); }
  static V fmsub(V a, V b, V c) { return _mm512_fmsub_ps(a, b, c); }
  static V fnmadd(V a, V b, V c) { return _mm512_fnmadd_ps(a, b, c); }
  static V rsqrt(V a) { return _mm512_rsqrt14_ps(a); }
  static bool all_equal_and_ge(V rl, V rh, V s, V limit) {
    const __mmask16 same = _mm512_cmp_ps_mask(rl, rh, _CMP_EQ_OQ);
    const __mmask16 ok = _mm512_mask_cmp_ps_mask(same, s, limit, _CMP_GE_OQ);
    return ok == 0xFFFF;
  }
  static void store(float* p, V v) { _mm512_storeu_ps(p, v); }
  static void stream(float* p, V v) { _mm512_stream_ps(p, v); }
};

}  // namespace

void magnitude_c32f32_avx512(const float* in, float* out, uint64_t n) { magnitude_c32f32<Avx512>(in, out, n); }

}  // namespace morvex::ops
