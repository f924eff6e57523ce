// SPDX-License-Identifier: MIT
// Deinterleave of two channels, AVX2: two input vectors per step (32 u8 or
// 16 u16 frames). Channel 0 is masked, channel 1 shifted down, and a
// saturating pack (exact: the values already fit) joins the two vectors. The
// pack works within each 128-bit half, so the 64-bit quarters come out as
// a0 b0 a1 b1 and one cross-lane permute puts them in order. Records beyond
// the caches are written with streaming stores.
#include <immintrin.h>

#include "ops/deinterleave_simd.h"
#include "ops/kernels.h"

namespace morvex::ops {

namespace {

struct Avx2 {
  using V = __m256i;
  static constexpr uint64_t kBytes = 32;
  static V load(const void* p) { return _mm256_loadu_si256(static_cast<const V*>(p)); }
  static V order(V v) { return _mm256_permute4x64_epi64(v, 0xD8); }
};

}  // namespace

void deinterleave2_u8_avx2(const uint8_t* src, uint64_t frames, uint8_t* const* dst) {
  two_channels<Avx2>(src, frames, dst, [](__m256i a, __m256i b, __m256i& even, __m256i& odd) {
    const __m256i low = _mm256_set1_epi16(0x00FF);
    even = _mm256_packus_epi16(_mm256_and_si256(a, low), _mm256_and_si256(b, low));
    odd = _mm256_packus_epi16(_mm256_srli_epi16(a, 8), _mm256_srli_epi16(b, 8));
  });
}

void deinterleave2_u16_avx2(const uint16_t* src, uint64_t frames, uint16_t* const* dst) {
  two_channels<Avx2>(src, frames, dst, [](__m256i a, __m256i b, __m256i& even, __m256i& odd) {
    const __m256i low = _mm256_set1_epi32(0xFFFF);
    even = _mm256_packus_epi32(_mm256_and_si256(a, low), _mm256_and_si256(b, low));
    odd = _mm256_packus_epi32(_mm256_srli_epi32(a, 16), _mm256_srli_epi32(b, 16));
  });
}

}  // namespace morvex::ops
