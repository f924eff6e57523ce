// SPDX-License-Identifier: MIT
// Extremes, AVX2: i16, u8 and u16 thirty-two bytes at a time through the
// integer kernel of minmax_int.h.
#include <cstdint>

#include "reduce/kernels.h"
#include "reduce/minmax_int.h"

namespace morvex::reduce {

namespace {

template <class Lanes>
struct Avx2Common {
  using T = typename Lanes::T;
  using V = __m256i;
  static constexpr uint64_t kPairGroup = 4;  // eight needs more than the 16 registers
  static constexpr bool kKeepLoads = true;
  static constexpr bool kMaxBySum = true;
  static V load(const T* p) { return _mm256_loadu_si256(reinterpret_cast<const V*>(p)); }
  static V load_aligned(const T* p) { return _mm256_load_si256(reinterpret_cast<const V*>(p)); }
  static T fold_min(V v) { return Lanes::fold_min(Lanes::min(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1))); }
  static T fold_max(V v) { return Lanes::fold_max(Lanes::max(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1))); }
};

struct U8 : Avx2Common<U8Lanes> {
  static V add(V a, V b) { return _mm256_add_epi8(a, b); }
  static V sub(V a, V b) { return _mm256_sub_epi8(a, b); }
  static V min(V a, V b) { return _mm256_min_epu8(a, b); }
  static V max(V a, V b) { return _mm256_max_epu8(a, b); }
};
struct U16 : Avx2Common<U16Lanes> {
  static V add(V a, V b) { return _mm256_add_epi16(a, b); }
  static V sub(V a, V b) { return _mm256_sub_epi16(a, b); }
  static V min(V a, V b) { return _mm256_min_epu16(a, b); }
  static V max(V a, V b) { return _mm256_max_epu16(a, b); }
};
struct I16 : Avx2Common<I16Lanes> {
  static V add(V a, V b) { return _mm256_add_epi16(a, b); }
  static V sub(V a, V b) { return _mm256_sub_epi16(a, b); }
  static V min(V a, V b) { return _mm256_min_epi16(a, b); }
  static V max(V a, V b) { return _mm256_max_epi16(a, b); }
};

}  // namespace

void minmax_u8_avx2(const uint8_t* x, uint64_t n, uint8_t* mn, uint8_t* mx) { int_minmax<U8>(x, n, mn, mx); }
void minmax_u16_avx2(const uint16_t* x, uint64_t n, uint16_t* mn, uint16_t* mx) { int_minmax<U16>(x, n, mn, mx); }
void minmax_i16_avx2(const int16_t* x, uint64_t n, int16_t* mn, int16_t* mx) { int_minmax<I16>(x, n, mn, mx); }

}  // namespace morvex::reduce
