// SPDX-License-Identifier: MIT
// Shift right with clipping, written once over a vector traits type V and
// instantiated by shift_sse42.cpp and shift_avx2.cpp (each compiled for its
// own instruction set). Include only from those files.
//
// Per vector: v = (x >> shift) on 16-bit lanes (u8 lanes are then masked,
// because bits of the neighbouring byte move in), then high where v > high,
// else max(v, low). Unsigned lanes throughout, so the result is the plain
// kernel's for every input, shift counts of 16..31 included (they give 0).
#pragma once

#include <immintrin.h>

#include "ops/elements.h"
#include "ops/stream.h"

namespace morvex::ops::simd {
// Internal linkage: this header is compiled into files built for different
// instruction sets, and the linker must never pick one file's copy for another.
namespace {

template <class V, class T>
inline void shr_clip(const T* in, T* out, uint64_t n, uint8_t shift, T low, T high) {
  constexpr uint64_t kLanes = sizeof(typename V::I) / sizeof(T);
  uint64_t i = 0;
  // Streaming stores only where no later load can see the written lines
  // through the cache: a disjoint output.
  if (disjoint(out, in, n)) {
    using I = typename V::I;
    const __m128i count = _mm_cvtsi32_si128(shift);
    const I vlow = V::set1(low), vhigh = V::set1(high);
    const I keep = sizeof(T) == 1 ? V::set1(uint8_t(shift >= 8 ? 0 : 0xFF >> shift)) : V::set1(T(~T(0)));
    T* const dst[] = {out};
    i = with_streaming<sizeof(I)>(
        dst, 1, n, [&](uint64_t head) { for (uint64_t k = 0; k < head; ++k) out[k] = shr_clip_one(in[k], shift, low, high); },
        [&]<bool Stream>(uint64_t k) {
          for (; k + kLanes <= n; k += kLanes) {
            const I v = V::band(V::srl16(V::load(in + k), count), keep);
            const I not_above = V::eq(V::min(v, vhigh, T{}), v, T{});
            store<Stream>(out + k, V::blend(vhigh, V::max(v, vlow, T{}), not_above));
          }
          return k;
        });
  } else if (forward_safe(out, in, n)) {
    using I = typename V::I;
    const __m128i count = _mm_cvtsi32_si128(shift);
    const I vlow = V::set1(low), vhigh = V::set1(high);
    // Bits that survive a u8 shift within a 16-bit lane; all of them for u16.
    const I keep = sizeof(T) == 1 ? V::set1(uint8_t(shift >= 8 ? 0 : 0xFF >> shift)) : V::set1(T(~T(0)));
    auto one = [&](I x) {
      const I v = V::band(V::srl16(x, count), keep);
      const I not_above = V::eq(V::min(v, vhigh, T{}), v, T{});
      return V::blend(vhigh, V::max(v, vlow, T{}), not_above);
    };
    for (; i + 2 * kLanes <= n; i += 2 * kLanes) {
      const I a = V::load(in + i), b = V::load(in + i + kLanes);
      V::store(out + i, one(a));
      V::store(out + i + kLanes, one(b));
    }
    for (; i + kLanes <= n; i += kLanes) V::store(out + i, one(V::load(in + i)));
  }
  for (; i < n; ++i) out[i] = shr_clip_one(in[i], shift, low, high);
}

}  // namespace
}  // namespace morvex::ops::simd
