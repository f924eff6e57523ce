// SPDX-License-Identifier: MIT
// index_max / index_min over every element type, AVX2: thirty-two bytes per
// vector, eight accumulators (one group is 256 bytes), through the kernel of
// search_extreme_simd.h.
#include <immintrin.h>

#include <cstdint>
#include <type_traits>

#include "reduce/kernels.h"
#include "reduce/search_extreme_simd.h"

namespace morvex::reduce {

namespace {

// The vector type of an element type (a specialisation rather than
// std::conditional, which would drop the vector types' alignment attributes).
template <class T> struct Vec { using type = __m256i; };
template <> struct Vec<float> { using type = __m256; };
template <> struct Vec<double> { using type = __m256d; };

template <class T_, bool kMax_>
struct Avx2 {
  using T = T_;
  static constexpr bool kMax = kMax_;
  static constexpr bool kFloat = std::is_same_v<T, float>, kDouble = std::is_same_v<T, double>;
  using V = typename Vec<T>::type;
  static constexpr uint64_t kLanes = 32 / sizeof(T), kGroup = 8;
  static constexpr uint64_t kLaneBits = kFloat || kDouble ? 1 : sizeof(T);

  static V load(const T* p) {
    if constexpr (kFloat) return _mm256_loadu_ps(p);
    else if constexpr (kDouble) return _mm256_loadu_pd(p);
    else return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
  }
  static V set1(T v) {
    if constexpr (kFloat) return _mm256_set1_ps(v);
    else if constexpr (kDouble) return _mm256_set1_pd(v);
    else if constexpr (sizeof(T) == 1) return _mm256_set1_epi8(char(v));
    else return _mm256_set1_epi16(short(v));
  }
  // x first: a NaN x gives acc back.
  static V fold(V x, V acc) {
    if constexpr (kFloat) return kMax ? _mm256_max_ps(x, acc) : _mm256_min_ps(x, acc);
    else if constexpr (kDouble) return kMax ? _mm256_max_pd(x, acc) : _mm256_min_pd(x, acc);
    else if constexpr (std::is_same_v<T, uint8_t>) return kMax ? _mm256_max_epu8(x, acc) : _mm256_min_epu8(x, acc);
    else if constexpr (std::is_same_v<T, uint16_t>) return kMax ? _mm256_max_epu16(x, acc) : _mm256_min_epu16(x, acc);
    else return kMax ? _mm256_max_epi16(x, acc) : _mm256_min_epi16(x, acc);
  }
  // Bits of the lanes equal to m: one per float lane, one per byte otherwise.
  static uint32_t equal_bits(V v, V m) {
    if constexpr (kFloat) return uint32_t(_mm256_movemask_ps(_mm256_cmp_ps(v, m, _CMP_EQ_OQ)));
    else if constexpr (kDouble) return uint32_t(_mm256_movemask_pd(_mm256_cmp_pd(v, m, _CMP_EQ_OQ)));
    else if constexpr (sizeof(T) == 1) return uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(v, m)));
    else return uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi16(v, m)));
  }
  static bool moved(V acc, V best) {
    constexpr uint32_t all = kFloat || kDouble ? (1u << kLanes) - 1 : ~0u;
    return equal_bits(acc, best) != all;
  }
  // The extreme of all lanes in every lane: the halves exchanged, then
  // rotations within each half by half of what is left (rotations rather
  // than shifts, so no lane is filled with zeros).
  static V spread(V v) {
    if constexpr (kFloat) {
      v = fold(_mm256_permute2f128_ps(v, v, 1), v);
      v = fold(_mm256_permute_ps(v, 0x4E), v);
      return fold(_mm256_permute_ps(v, 0xB1), v);
    } else if constexpr (kDouble) {
      v = fold(_mm256_permute2f128_pd(v, v, 1), v);
      return fold(_mm256_permute_pd(v, 0x5), v);
    } else {
      v = fold(_mm256_permute2x128_si256(v, v, 1), v);
      v = fold(_mm256_alignr_epi8(v, v, 8), v);
      v = fold(_mm256_alignr_epi8(v, v, 4), v);
      v = fold(_mm256_alignr_epi8(v, v, 2), v);
      if constexpr (sizeof(T) == 1) v = fold(_mm256_alignr_epi8(v, v, 1), v);
      return v;
    }
  }
};

}  // namespace

// FAR: the instantiation for records far beyond the caches, which prefetches
// (suffix _far).
#define MORVEX_EXTREME_AVX2(T, S, SUFFIX, FAR)                                             \
  uint64_t max_##S##_avx2##SUFFIX(const T* x, uint64_t start, uint64_t count, T* value) {  \
    return extreme_vec<Avx2<T, true>, FAR>(x, start, count, value);                        \
  }                                                                                        \
  uint64_t min_##S##_avx2##SUFFIX(const T* x, uint64_t start, uint64_t count, T* value) {  \
    return extreme_vec<Avx2<T, false>, FAR>(x, start, count, value);                       \
  }
MORVEX_EXTREME_AVX2(int16_t, i16, , false)
MORVEX_EXTREME_AVX2(uint8_t, u8, , false)
MORVEX_EXTREME_AVX2(uint16_t, u16, , false)
MORVEX_EXTREME_AVX2(float, f32, , false)
MORVEX_EXTREME_AVX2(double, f64, , false)
MORVEX_EXTREME_AVX2(float, f32, _far, true)
MORVEX_EXTREME_AVX2(double, f64, _far, true)
#undef MORVEX_EXTREME_AVX2

}  // namespace morvex::reduce
