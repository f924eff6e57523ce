// SPDX-License-Identifier: MIT
// Streaming (non-temporal) stores for the kernels whose outputs may be far
// larger than the caches: the written lines go to memory without first being
// read in, which nearly doubles the fill rate there. The values stored are
// the same either way. The 128-bit stores are SSE2, part of the x86-64
// baseline; the 256-bit ones exist only in files compiled for AVX2.
#pragma once

#include <immintrin.h>

#include <cstdint>

namespace morvex::ops::simd {
// Internal linkage: this header is compiled into files built for different
// instruction sets, and the linker must never pick one file's copy for another.
namespace {

// Outputs at least this large (all destinations together) are streamed: they
// do not fit in this core's caches anyway. Every streaming kernel of the
// library uses this one threshold.
constexpr uint64_t kStreamBytes = 8u << 20;
constexpr uint64_t kNoStream = ~uint64_t(0);

// For `count` destinations of elements of type T: the number of leading
// elements to write with ordinary stores so that every destination is then
// aligned to VecBytes, or kNoStream when the output is small or the
// destinations cannot all be aligned at the same element.
template <uint64_t VecBytes, class T>
inline uint64_t stream_head(T* const* dst, unsigned count, uint64_t n) {
  if (n * count * sizeof(T) < kStreamBytes) return kNoStream;
  const uintptr_t mis = reinterpret_cast<uintptr_t>(dst[0]) % VecBytes;
  if (mis % sizeof(T) != 0) return kNoStream;
  for (unsigned k = 1; k < count; ++k)
    if (reinterpret_cast<uintptr_t>(dst[k]) % VecBytes != mis) return kNoStream;
  // Fewer than a vector's worth of elements; n is millions here.
  return (VecBytes - mis) % VecBytes / sizeof(T);
}

template <bool Stream>
inline void store(void* p, __m128i v) {
  if constexpr (Stream)
    _mm_stream_si128(static_cast<__m128i*>(p), v);
  else
    _mm_storeu_si128(static_cast<__m128i*>(p), v);
}

#ifdef __AVX2__
template <bool Stream>
inline void store(void* p, __m256i v) {
  if constexpr (Stream)
    _mm256_stream_si256(static_cast<__m256i*>(p), v);
  else
    _mm256_storeu_si256(static_cast<__m256i*>(p), v);
}
#endif

#ifdef __AVX512F__
template <bool Stream>
inline void store(void* p, __m512i v) {
  if constexpr (Stream)
    _mm512_stream_si512(static_cast<__m512i*>(p), v);
  else
    _mm512_storeu_si512(p, v);
}
#endif

// Runs body<false>(0) for a small or unalignable output; otherwise writes the
// head with head_fn, runs body<true>(head) and fences the streamed lines.
// body returns how far it got (whole vectors only); the rest is the caller's.
template <uint64_t VecBytes, class T, class Head, class Body>
inline uint64_t with_streaming(T* const* dst, unsigned count, uint64_t n, Head head_fn, Body body) {
  const uint64_t head = stream_head<VecBytes>(dst, count, n);
  if (head == kNoStream) return body.template operator()<false>(uint64_t(0));
  head_fn(head);
  const uint64_t done = body.template operator()<true>(head);
  _mm_sfence();
  return done;
}

}  // namespace
}  // namespace morvex::ops::simd
