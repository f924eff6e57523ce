// SPDX-License-Identifier: MIT
// Deinterleave of two channels, AVX2: two input vectors per step (32 u8 or
// 16 u16 frames). Channel 0 is masked, channel 1 shifted down, and a
// saturating pack (exact: the values already fit) joins the two vectors. The
// pack works within each 128-bit half, so the 64-bit quarters come out as
// a0 b0 a1 b1 and one cross-lane permute puts them in order. Records beyond
// the caches are written with streaming stores.
#include <immintrin.h>

#include "ops/elements.h"
#include "ops/kernels.h"
#include "ops/stream.h"

namespace morvex::ops {

namespace {

template <class T, class Split>
void two_channels(const T* src, uint64_t frames, T* const* dst, Split split) {
  constexpr uint64_t kFrames = 32 / sizeof(T);
  const uint64_t done = simd::with_streaming<32>(
      dst, 2, frames, [&](uint64_t head) { deinterleave_frames(src, 0, head, 2, dst); },
      [&]<bool Stream>(uint64_t f) {
        for (; f + kFrames <= frames; f += kFrames) {
          const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * f));
          const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * f + kFrames));
          __m256i even, odd;
          split(a, b, even, odd);
          simd::store<Stream>(dst[0] + f, _mm256_permute4x64_epi64(even, 0xD8));
          simd::store<Stream>(dst[1] + f, _mm256_permute4x64_epi64(odd, 0xD8));
        }
        return f;
      });
  deinterleave_frames(src, done, frames, 2, dst);
}

}  // namespace

void deinterleave2_u8_avx2(const uint8_t* src, uint64_t frames, uint8_t* const* dst) {
  two_channels(src, frames, dst, [](__m256i a, __m256i b, __m256i& even, __m256i& odd) {
    const __m256i low = _mm256_set1_epi16(0x00FF);
    even = _mm256_packus_epi16(_mm256_and_si256(a, low), _mm256_and_si256(b, low));
    odd = _mm256_packus_epi16(_mm256_srli_epi16(a, 8), _mm256_srli_epi16(b, 8));
  });
}

void deinterleave2_u16_avx2(const uint16_t* src, uint64_t frames, uint16_t* const* dst) {
  two_channels(src, frames, dst, [](__m256i a, __m256i b, __m256i& even, __m256i& odd) {
    const __m256i low = _mm256_set1_epi32(0xFFFF);
    even = _mm256_packus_epi32(_mm256_and_si256(a, low), _mm256_and_si256(b, low));
    odd = _mm256_packus_epi32(_mm256_srli_epi32(a, 16), _mm256_srli_epi32(b, 16));
  });
}

}  // namespace morvex::ops
