// SPDX-License-Identifier: MIT
// Extremes, AVX-512BW: i16, u8 and u16 sixty-four bytes at a time through the
// integer kernel of minmax_int.h, in groups of eight vectors (32 registers
// hold them) with the maximum taken directly. In cache this is what pays: on
// the reference machine 4096 samples take 25 ns (u8) and 42 ns (u16) instead
// of the 32-byte kernel's 31 and 57, close to a bare pass of loads (20 and
// 39). Loads folded into the operations, or the maximum as a + b - min as
// the 32-byte kernel makes it, gave back most of that; four vectors per
// group ran as fast as eight. Far beyond the caches both
// kernels read at 80-90% of the bare pass's pace; software prefetching made
// them slower.
//
// GCC 12's AVX-512 headers start some intrinsics from an "undefined" vector
// and then warn that it may be used uninitialised; every lane is overwritten.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#include <cstdint>

#include "reduce/kernels.h"
#include "reduce/minmax_int.h"

namespace morvex::reduce {

namespace {

template <class Lanes>
struct Avx512Common {
  using T = typename Lanes::T;
  using V = __m512i;
  static constexpr uint64_t kPairGroup = 8;
  static constexpr bool kKeepLoads = true;
  static constexpr bool kMaxBySum = false;
  static V load(const T* p) { return _mm512_loadu_si512(p); }
  static V load_aligned(const T* p) { return _mm512_load_si512(p); }
  static __m128i quarter(__m512i v, __m128i (*op)(__m128i, __m128i)) {
    const __m256i h = _mm512_extracti64x4_epi64(v, 1), l = _mm512_castsi512_si256(v);
    const __m128i a = op(_mm256_castsi256_si128(l), _mm256_extracti128_si256(l, 1));
    const __m128i b = op(_mm256_castsi256_si128(h), _mm256_extracti128_si256(h, 1));
    return op(a, b);
  }
  static T fold_min(V v) { return Lanes::fold_min(quarter(v, Lanes::min)); }
  static T fold_max(V v) { return Lanes::fold_max(quarter(v, Lanes::max)); }
};

struct U8 : Avx512Common<U8Lanes> {
  static V add(V a, V b) { return _mm512_add_epi8(a, b); }
  static V sub(V a, V b) { return _mm512_sub_epi8(a, b); }
  static V min(V a, V b) { return _mm512_min_epu8(a, b); }
  static V max(V a, V b) { return _mm512_max_epu8(a, b); }
};
struct U16 : Avx512Common<U16Lanes> {
  static V add(V a, V b) { return _mm512_add_epi16(a, b); }
  static V sub(V a, V b) { return _mm512_sub_epi16(a, b); }
  static V min(V a, V b) { return _mm512_min_epu16(a, b); }
  static V max(V a, V b) { return _mm512_max_epu16(a, b); }
};
struct I16 : Avx512Common<I16Lanes> {
  static V add(V a, V b) { return _mm512_add_epi16(a, b); }
  static V sub(V a, V b) { return _mm512_sub_epi16(a, b); }
  static V min(V a, V b) { return _mm512_min_epi16(a, b); }
  static V max(V a, V b) { return _mm512_max_epi16(a, b); }
};

}  // namespace

void minmax_u8_avx512bw(const uint8_t* x, uint64_t n, uint8_t* mn, uint8_t* mx) { int_minmax<U8>(x, n, mn, mx); }
void minmax_u16_avx512bw(const uint16_t* x, uint64_t n, uint16_t* mn, uint16_t* mx) { int_minmax<U16>(x, n, mn, mx); }
void minmax_i16_avx512bw(const int16_t* x, uint64_t n, int16_t* mn, int16_t* mx) { int_minmax<I16>(x, n, mn, mx); }

}  // namespace morvex::reduce
