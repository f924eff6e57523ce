// SPDX-License-Identifier: MIT
// index_max / index_min over f32 and f64, AVX-512F: sixty-four bytes per
// vector, eight accumulators (one group is 512 bytes), through the kernel of
// search_extreme_simd.h. The 8- and 16-bit types have theirs under
// AVX-512BW (search_extreme_avx512bw.cpp), which their 512-bit max and min
// need.
// GCC 12's AVX-512 headers start some intrinsics from an "undefined" vector
// and then warn that it may be used uninitialised; every lane is overwritten.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#include <cstdint>
#include <type_traits>

#include "reduce/kernels.h"
#include "reduce/search_extreme_simd.h"

namespace morvex::reduce {

namespace {

// The vector type of an element type (a specialisation rather than
// std::conditional, which would drop the vector types' alignment attributes).
template <class T> struct Vec { using type = __m512; };
template <> struct Vec<double> { using type = __m512d; };

template <class T_, bool kMax_>
struct Avx512 {
  using T = T_;
  static constexpr bool kMax = kMax_, kFloat = std::is_same_v<T, float>;
  using V = typename Vec<T>::type;
  static constexpr uint64_t kLanes = 64 / sizeof(T), kGroup = 8, kLaneBits = 1;

  static V load(const T* p) {
    if constexpr (kFloat) return _mm512_loadu_ps(p);
    else return _mm512_loadu_pd(p);
  }
  static V set1(T v) {
    if constexpr (kFloat) return _mm512_set1_ps(v);
    else return _mm512_set1_pd(v);
  }
  // x first: a NaN x gives acc back.
  static V fold(V x, V acc) {
    if constexpr (kFloat) return kMax ? _mm512_max_ps(x, acc) : _mm512_min_ps(x, acc);
    else return kMax ? _mm512_max_pd(x, acc) : _mm512_min_pd(x, acc);
  }
  static bool moved(V acc, V best) {
    if constexpr (kFloat) return _mm512_cmp_ps_mask(acc, best, _CMP_NEQ_OQ) != 0;
    else return _mm512_cmp_pd_mask(acc, best, _CMP_NEQ_OQ) != 0;
  }
  static uint32_t equal_bits(V v, V m) {
    if constexpr (kFloat) return _mm512_cmp_ps_mask(v, m, _CMP_EQ_OQ);
    else return _mm512_cmp_pd_mask(v, m, _CMP_EQ_OQ);
  }
  // The extreme of all lanes in every lane: 256-bit halves exchanged, then
  // 128-bit quarters, then pairs and neighbours within each quarter.
  static V spread(V v) {
    if constexpr (kFloat) {
      v = fold(_mm512_shuffle_f32x4(v, v, 0x4E), v);
      v = fold(_mm512_shuffle_f32x4(v, v, 0xB1), v);
      v = fold(_mm512_permute_ps(v, 0x4E), v);
      return fold(_mm512_permute_ps(v, 0xB1), v);
    } else {
      v = fold(_mm512_shuffle_f64x2(v, v, 0x4E), v);
      v = fold(_mm512_shuffle_f64x2(v, v, 0xB1), v);
      return fold(_mm512_permute_pd(v, 0x55), v);
    }
  }
};

}  // namespace

#define MORVEX_EXTREME_AVX512(T, S)                                                  \
  uint64_t max_##S##_avx512(const T* x, uint64_t start, uint64_t count, T* value) {  \
    return extreme_vec<Avx512<T, true>>(x, start, count, value);                     \
  }                                                                                  \
  uint64_t min_##S##_avx512(const T* x, uint64_t start, uint64_t count, T* value) {  \
    return extreme_vec<Avx512<T, false>>(x, start, count, value);                    \
  }
MORVEX_EXTREME_AVX512(float, f32)
MORVEX_EXTREME_AVX512(double, f64)
#undef MORVEX_EXTREME_AVX512

}  // namespace morvex::reduce
