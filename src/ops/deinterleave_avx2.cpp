// Deinterleave of two u8 channels, AVX2: 32 frames per step. The pack works
// within each 128-bit half, so the 64-bit quarters come out as a0 b0 a1 b1
// and one cross-lane permute puts them in order.
#include <immintrin.h>

#include "ops/kernels.h"

namespace morvex::ops {

void deinterleave2_u8_avx2(const uint8_t* src, uint64_t frames, uint8_t* const* dst) {
  const __m256i low = _mm256_set1_epi16(0x00FF);
  uint64_t f = 0;
  for (; f + 32 <= frames; f += 32) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * f));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * f + 32));
    const __m256i even = _mm256_packus_epi16(_mm256_and_si256(a, low), _mm256_and_si256(b, low));
    const __m256i odd = _mm256_packus_epi16(_mm256_srli_epi16(a, 8), _mm256_srli_epi16(b, 8));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst[0] + f), _mm256_permute4x64_epi64(even, 0xD8));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst[1] + f), _mm256_permute4x64_epi64(odd, 0xD8));
  }
  deinterleave_frames(src, f, frames, 2, dst);
}

}  // namespace morvex::ops
