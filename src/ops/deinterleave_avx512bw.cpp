// SPDX-License-Identifier: MIT
// Deinterleave of two channels, AVX-512BW: two input vectors per step (64 u8
// or 32 u16 frames), the AVX2 kernel's steps at twice the width. The pack
// works within each 128-bit quarter, so the 64-bit eighths come out as
// a0 b0 a1 b1 a2 b2 a3 b3 and one cross-lane permute puts them in order.
// Records beyond the caches are written with streaming stores. (For u16 a
// two-source word permute, one shuffle per output vector, ran slower than
// the pack and permute here on the processor measured.)
//
// GCC 12's AVX-512 headers start some vectors from an "undefined" one and
// then warn that it may be used uninitialised; every lane is overwritten.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

#include <immintrin.h>

#include "ops/deinterleave_simd.h"
#include "ops/kernels.h"

namespace morvex::ops {

namespace {

struct Avx512 {
  using V = __m512i;
  static constexpr uint64_t kBytes = 64;
  static V load(const void* p) { return _mm512_loadu_si512(p); }
  static V order(V v) { return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), v); }
};

}  // namespace

void deinterleave2_u8_avx512bw(const uint8_t* src, uint64_t frames, uint8_t* const* dst) {
  two_channels<Avx512>(src, frames, dst, [](__m512i a, __m512i b, __m512i& even, __m512i& odd) {
    const __m512i low = _mm512_set1_epi16(0x00FF);
    even = _mm512_packus_epi16(_mm512_and_si512(a, low), _mm512_and_si512(b, low));
    odd = _mm512_packus_epi16(_mm512_srli_epi16(a, 8), _mm512_srli_epi16(b, 8));
  });
}

void deinterleave2_u16_avx512bw(const uint16_t* src, uint64_t frames, uint16_t* const* dst) {
  two_channels<Avx512>(src, frames, dst, [](__m512i a, __m512i b, __m512i& even, __m512i& odd) {
    const __m512i low = _mm512_set1_epi32(0xFFFF);
    even = _mm512_packus_epi32(_mm512_and_si512(a, low), _mm512_and_si512(b, low));
    odd = _mm512_packus_epi32(_mm512_srli_epi32(a, 16), _mm512_srli_epi32(b, 16));
  });
}

}  // namespace morvex::ops
