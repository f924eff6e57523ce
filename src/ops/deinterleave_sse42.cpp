// SPDX-License-Identifier: MIT
// Deinterleave, SSE4.2 (byte shuffles of SSSE3, packs of SSE4.1).
//
// Two channels: each 16-bit (u8 samples) or 32-bit (u16 samples) lane holds
// one frame; masking keeps channel 0, shifting brings down channel 1, and a
// saturating pack (exact here, the values already fit) concatenates them.
// Records beyond the caches are written with streaming stores.
//
// Three and four channels: a block of N input vectors holds 16 bytes of every
// channel; output vector k is the OR of N byte shuffles, one per input
// vector, each picking the bytes of channel k that lie in that vector. The
// shuffle masks are computed at compile time from the frame layout.
#include <immintrin.h>

#include <array>

#include "ops/deinterleave_simd.h"
#include "ops/elements.h"
#include "ops/kernels.h"

namespace morvex::ops {

namespace {

// masks[k][v][b]: where output byte b of channel k comes from in input vector
// v, or 0x80 (a zero byte) when it lies in another vector.
template <unsigned N, unsigned Elem>
struct ShuffleTable {
  alignas(16) std::array<std::array<std::array<uint8_t, 16>, N>, N> masks{};
  constexpr ShuffleTable() {
    for (unsigned k = 0; k < N; ++k)
      for (unsigned b = 0; b < 16; ++b) {
        const unsigned g = ((b / Elem) * N + k) * Elem + b % Elem;  // byte within the block
        for (unsigned v = 0; v < N; ++v) masks[k][v][b] = g / 16 == v ? uint8_t(g % 16) : uint8_t(0x80);
      }
  }
};

template <unsigned N, unsigned Elem, class T>
void shuffle_frames(const T* src, uint64_t frames, T* const* dst) {
  static constexpr ShuffleTable<N, Elem> table;
  constexpr uint64_t kFrames = 16 / Elem;  // frames per block
  __m128i mask[N][N];
  for (unsigned k = 0; k < N; ++k)
    for (unsigned v = 0; v < N; ++v) mask[k][v] = _mm_load_si128(reinterpret_cast<const __m128i*>(table.masks[k][v].data()));
  uint64_t f = 0;
  for (; f + kFrames <= frames; f += kFrames) {
    const __m128i* block = reinterpret_cast<const __m128i*>(src + f * N);
    __m128i in[N];
    for (unsigned v = 0; v < N; ++v) in[v] = _mm_loadu_si128(block + v);
    for (unsigned k = 0; k < N; ++k) {
      __m128i out = _mm_shuffle_epi8(in[0], mask[k][0]);
      for (unsigned v = 1; v < N; ++v) out = _mm_or_si128(out, _mm_shuffle_epi8(in[v], mask[k][v]));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(dst[k] + f), out);
    }
  }
  deinterleave_frames(src, f, frames, N, dst);
}

struct Sse42 {
  using V = __m128i;
  static constexpr uint64_t kBytes = 16;
  static V load(const void* p) { return _mm_loadu_si128(static_cast<const V*>(p)); }
  static V order(V v) { return v; }
};

}  // namespace

void deinterleave2_u8_sse42(const uint8_t* src, uint64_t frames, uint8_t* const* dst) {
  two_channels<Sse42>(src, frames, dst, [](__m128i a, __m128i b, __m128i& even, __m128i& odd) {
    const __m128i low = _mm_set1_epi16(0x00FF);
    even = _mm_packus_epi16(_mm_and_si128(a, low), _mm_and_si128(b, low));
    odd = _mm_packus_epi16(_mm_srli_epi16(a, 8), _mm_srli_epi16(b, 8));
  });
}

void deinterleave2_u16_sse42(const uint16_t* src, uint64_t frames, uint16_t* const* dst) {
  two_channels<Sse42>(src, frames, dst, [](__m128i a, __m128i b, __m128i& even, __m128i& odd) {
    const __m128i low = _mm_set1_epi32(0xFFFF);
    even = _mm_packus_epi32(_mm_and_si128(a, low), _mm_and_si128(b, low));
    odd = _mm_packus_epi32(_mm_srli_epi32(a, 16), _mm_srli_epi32(b, 16));
  });
}

void deinterleave3_u8_sse42(const uint8_t* src, uint64_t frames, uint8_t* const* dst) {
  shuffle_frames<3, 1>(src, frames, dst);
}
void deinterleave4_u8_sse42(const uint8_t* src, uint64_t frames, uint8_t* const* dst) {
  shuffle_frames<4, 1>(src, frames, dst);
}
void deinterleave3_u16_sse42(const uint16_t* src, uint64_t frames, uint16_t* const* dst) {
  shuffle_frames<3, 2>(src, frames, dst);
}
void deinterleave4_u16_sse42(const uint16_t* src, uint64_t frames, uint16_t* const* dst) {
  shuffle_frames<4, 2>(src, frames, dst);
}

}  // namespace morvex::ops
