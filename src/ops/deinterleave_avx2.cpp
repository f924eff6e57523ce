// SPDX-License-Identifier: MIT
// Deinterleave of two u8 channels, AVX2: 32 frames per step. The pack works
// within each 128-bit half, so the 64-bit quarters come out as a0 b0 a1 b1
// and one cross-lane permute puts them in order. Records beyond the caches
// are written with streaming stores.
#include <immintrin.h>

#include "ops/elements.h"
#include "ops/kernels.h"
#include "ops/stream.h"

namespace morvex::ops {

void deinterleave2_u8_avx2(const uint8_t* src, uint64_t frames, uint8_t* const* dst) {
  const __m256i low = _mm256_set1_epi16(0x00FF);
  const uint64_t done = simd::with_streaming<32>(
      dst, 2, frames, [&](uint64_t head) { deinterleave_frames(src, 0, head, 2, dst); },
      [&]<bool Stream>(uint64_t f) {
        for (; f + 32 <= frames; f += 32) {
          const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * f));
          const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * f + 32));
          const __m256i even = _mm256_packus_epi16(_mm256_and_si256(a, low), _mm256_and_si256(b, low));
          const __m256i odd = _mm256_packus_epi16(_mm256_srli_epi16(a, 8), _mm256_srli_epi16(b, 8));
          simd::store<Stream>(dst[0] + f, _mm256_permute4x64_epi64(even, 0xD8));
          simd::store<Stream>(dst[1] + f, _mm256_permute4x64_epi64(odd, 0xD8));
        }
        return f;
      });
  deinterleave_frames(src, done, frames, 2, dst);
}

}  // namespace morvex::ops
