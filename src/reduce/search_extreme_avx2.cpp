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
  // The horizontal extreme: the two halves, then rotations by half of what
  // is left (rotations rather than shifts, so no lane is filled with zeros).
  static T reduce(V v) {
    __m128i r;
    auto op = [](__m128i a, __m128i b) {
      if constexpr (kFloat)
        return _mm_castps_si128(kMax ? _mm_max_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b))
                                     : _mm_min_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b)));
      else if constexpr (kDouble)
        return _mm_castpd_si128(kMax ? _mm_max_pd(_mm_castsi128_pd(a), _mm_castsi128_pd(b))
                                     : _mm_min_pd(_mm_castsi128_pd(a), _mm_castsi128_pd(b)));
      else if constexpr (std::is_same_v<T, uint8_t>) return kMax ? _mm_max_epu8(a, b) : _mm_min_epu8(a, b);
      else if constexpr (std::is_same_v<T, uint16_t>) return kMax ? _mm_max_epu16(a, b) : _mm_min_epu16(a, b);
      else return kMax ? _mm_max_epi16(a, b) : _mm_min_epi16(a, b);
    };
    if constexpr (kFloat) r = _mm256_castsi256_si128(_mm256_castps_si256(v)), r = op(r, _mm_castps_si128(_mm256_extractf128_ps(v, 1)));
    else if constexpr (kDouble) r = _mm256_castsi256_si128(_mm256_castpd_si256(v)), r = op(r, _mm_castpd_si128(_mm256_extractf128_pd(v, 1)));
    else r = op(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
    r = op(r, _mm_alignr_epi8(r, r, 8));
    if constexpr (sizeof(T) <= 4) r = op(r, _mm_alignr_epi8(r, r, 4));
    if constexpr (sizeof(T) <= 2) r = op(r, _mm_alignr_epi8(r, r, 2));
    if constexpr (sizeof(T) == 1) r = op(r, _mm_alignr_epi8(r, r, 1));
    T out;
    __builtin_memcpy(&out, &r, sizeof out);
    return out;
  }
};

}  // namespace

#define MORVEX_EXTREME_AVX2(T, S)                                                  \
  uint64_t max_##S##_avx2(const T* x, uint64_t start, uint64_t count, T* value) {  \
    return extreme_vec<Avx2<T, true>>(x, start, count, value);                     \
  }                                                                                \
  uint64_t min_##S##_avx2(const T* x, uint64_t start, uint64_t count, T* value) {  \
    return extreme_vec<Avx2<T, false>>(x, start, count, value);                    \
  }
MORVEX_EXTREME_AVX2(int16_t, i16)
MORVEX_EXTREME_AVX2(uint8_t, u8)
MORVEX_EXTREME_AVX2(uint16_t, u16)
MORVEX_EXTREME_AVX2(float, f32)
MORVEX_EXTREME_AVX2(double, f64)
#undef MORVEX_EXTREME_AVX2

}  // namespace morvex::reduce
