// SPDX-License-Identifier: MIT
// index_max / index_min over i16, u8 and u16, AVX-512BW: sixty-four bytes per
// vector, eight accumulators (one group is 512 bytes), through the kernel of
// search_extreme_simd.h; the 512-bit max and min of byte and word lanes are
// AVX-512BW instructions.
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

template <class T_, bool kMax_>
struct Avx512Bw {
  using T = T_;
  using V = __m512i;
  static constexpr bool kMax = kMax_, kByte = sizeof(T) == 1, kSigned = std::is_signed_v<T>;
  static constexpr uint64_t kLanes = 64 / sizeof(T), kGroup = 8, kLaneBits = 1;

  static V load(const T* p) { return _mm512_loadu_si512(p); }
  static V set1(T v) {
    if constexpr (kByte) return _mm512_set1_epi8(char(v));
    else return _mm512_set1_epi16(short(v));
  }
  static V fold(V x, V acc) {
    if constexpr (kByte) return kMax ? _mm512_max_epu8(x, acc) : _mm512_min_epu8(x, acc);
    else if constexpr (kSigned) return kMax ? _mm512_max_epi16(x, acc) : _mm512_min_epi16(x, acc);
    else return kMax ? _mm512_max_epu16(x, acc) : _mm512_min_epu16(x, acc);
  }
  // One bit per lane equal to m.
  static uint64_t equal_bits(V v, V m) {
    if constexpr (kByte) return _mm512_cmpeq_epi8_mask(v, m);
    else return _mm512_cmpeq_epi16_mask(v, m);
  }
  static bool moved(V acc, V best) {
    if constexpr (kByte) return _mm512_cmpneq_epi8_mask(acc, best) != 0;
    else return _mm512_cmpneq_epi16_mask(acc, best) != 0;
  }
  // The extreme of all lanes in every lane: 256-bit halves exchanged, then
  // 128-bit quarters, then rotations within each quarter by half of what is
  // left (rotations rather than shifts, so no lane is filled with zeros).
  static V spread(V v) {
    v = fold(_mm512_shuffle_i64x2(v, v, 0x4E), v);
    v = fold(_mm512_shuffle_i64x2(v, v, 0xB1), v);
    v = fold(_mm512_alignr_epi8(v, v, 8), v);
    v = fold(_mm512_alignr_epi8(v, v, 4), v);
    v = fold(_mm512_alignr_epi8(v, v, 2), v);
    if constexpr (kByte) v = fold(_mm512_alignr_epi8(v, v, 1), v);
    return v;
  }
};

}  // namespace

#define MORVEX_EXTREME_AVX512BW(T, S)                                                  \
  uint64_t max_##S##_avx512bw(const T* x, uint64_t start, uint64_t count, T* value) {  \
    return extreme_vec<Avx512Bw<T, true>>(x, start, count, value);                     \
  }                                                                                    \
  uint64_t min_##S##_avx512bw(const T* x, uint64_t start, uint64_t count, T* value) {  \
    return extreme_vec<Avx512Bw<T, false>>(x, start, count, value);                    \
  }
MORVEX_EXTREME_AVX512BW(int16_t, i16)
MORVEX_EXTREME_AVX512BW(uint8_t, u8)
MORVEX_EXTREME_AVX512BW(uint16_t, u16)
#undef MORVEX_EXTREME_AVX512BW

}  // namespace morvex::reduce
