// SPDX-License-Identifier: MIT
// The 8- and 16-bit integer sums, AVX-512BW: sixty-four bytes per step. The
// sums are exact modulo 2^64, so any order of additions gives the plain
// kernels' result.
//
// Bytes: vpsadbw against zero adds eight of them into each 64-bit lane.
// Words: see sum_words. The last partial vector is a masked load, zero
// beyond the count, so there is no scalar tail and no read past the record.
// GCC 12's AVX-512 headers start the horizontal sum from an "undefined"
// vector and then warn that it is used uninitialised; every lane is
// overwritten.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#include <cstdint>

#include "reduce/kernels.h"

namespace morvex::reduce {

namespace {

// Set bits for the first m < 64 lanes.
inline uint64_t first_lanes(uint64_t m) { return (uint64_t(1) << m) - 1; }

// Signed words, or unsigned ones offset to signed by flipping the sign bit
// (u - 32768). vpmaddwd by ones adds neighbouring words into 32-bit lanes, at
// most 65536 in size; four accumulators of them take at most 2^29 from a
// block of 2^20 words, so they cannot overflow before they are widened and
// added into the 64-bit total, block by block.
template <bool kSigned>
uint64_t sum_words(const uint16_t* x, uint64_t n) {
  constexpr uint64_t kBlock = uint64_t(1) << 20;
  const __m512i zero = _mm512_setzero_si512(), ones = _mm512_set1_epi16(1), flip = _mm512_set1_epi16(short(0x8000));
  auto as_signed = [&](__m512i v) { return kSigned ? v : _mm512_xor_si512(v, flip); };
  uint64_t total = kSigned ? 0 : 32768 * n, i = 0;
  while (i < n) {
    const uint64_t end = n - i > kBlock ? i + kBlock : n;
    __m512i acc[4] = {zero, zero, zero, zero};
    for (; i + 128 <= end; i += 128)
      for (unsigned k = 0; k < 4; ++k)
        acc[k] = _mm512_add_epi32(acc[k], _mm512_madd_epi16(as_signed(_mm512_loadu_si512(x + i + 32 * k)), ones));
    for (unsigned k = 0; i + 32 <= end; i += 32, ++k)
      acc[k] = _mm512_add_epi32(acc[k], _mm512_madd_epi16(as_signed(_mm512_loadu_si512(x + i)), ones));
    if (i < end) {
      // The flip applies to the loaded words only: the lanes past the count
      // stay zero.
      const __mmask32 k = __mmask32(first_lanes(end - i));
      const __m512i v = _mm512_maskz_mov_epi16(k, as_signed(_mm512_maskz_loadu_epi16(k, x + i)));
      acc[3] = _mm512_add_epi32(acc[3], _mm512_madd_epi16(v, ones));
      i = end;
    }
    const __m512i a = _mm512_add_epi32(_mm512_add_epi32(acc[0], acc[1]), _mm512_add_epi32(acc[2], acc[3]));
    const __m512i wide = _mm512_add_epi64(_mm512_cvtepi32_epi64(_mm512_castsi512_si256(a)),
                                          _mm512_cvtepi32_epi64(_mm512_extracti64x4_epi64(a, 1)));
    total += uint64_t(_mm512_reduce_add_epi64(wide));
  }
  return total;
}

}  // namespace

uint64_t sum_u8_avx512bw(const uint8_t* x, uint64_t n) {
  const __m512i zero = _mm512_setzero_si512();
  __m512i acc0 = zero, acc1 = zero;
  uint64_t i = 0;
  for (; i + 128 <= n; i += 128) {
    acc0 = _mm512_add_epi64(acc0, _mm512_sad_epu8(_mm512_loadu_si512(x + i), zero));
    acc1 = _mm512_add_epi64(acc1, _mm512_sad_epu8(_mm512_loadu_si512(x + i + 64), zero));
  }
  if (i + 64 <= n) acc0 = _mm512_add_epi64(acc0, _mm512_sad_epu8(_mm512_loadu_si512(x + i), zero)), i += 64;
  if (i < n) acc1 = _mm512_add_epi64(acc1, _mm512_sad_epu8(_mm512_maskz_loadu_epi8(first_lanes(n - i), x + i), zero));
  return uint64_t(_mm512_reduce_add_epi64(_mm512_add_epi64(acc0, acc1)));
}

uint64_t sum_u16_avx512bw(const uint16_t* x, uint64_t n) { return sum_words<false>(x, n); }

uint64_t sum_i16_avx512bw(const int16_t* x, uint64_t n) {
  return sum_words<true>(reinterpret_cast<const uint16_t*>(x), n);
}

}  // namespace morvex::reduce
