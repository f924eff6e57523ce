// SPDX-License-Identifier: MIT
// Shift right with clipping, written once over a vector traits type V and
// instantiated by shift_sse42.cpp and shift_avx2.cpp (each compiled for its
// own instruction set). Include only from those files.
//
// Per vector: v = (x >> shift) on 16-bit lanes (u8 lanes are then masked,
// because bits of the neighbouring byte move in), then high where v > high,
// else max(v, low) (see shr_clip for the shorter form most calls take).
// Unsigned lanes throughout, so the result is the plain kernel's for every
// input, shift counts of 16 and more included (they give 0).
#pragma once

#include <immintrin.h>

#include "ops/elements.h"
#include "ops/stream.h"

namespace morvex::ops::simd {
// Internal linkage: this header is compiled into files built for different
// instruction sets, and the linker must never pick one file's copy for another.
namespace {

// One call's loop, with the clip in the form kOrdered says (see shr_clip).
template <class V, bool kOrdered, class T>
inline void shr_clip_as(const T* in, T* out, uint64_t n, uint8_t shift, T low, T high) {
  using I = typename V::I;
  constexpr uint64_t kLanes = sizeof(I) / sizeof(T);
  const __m128i count = _mm_cvtsi32_si128(shift);
  const I vlow = V::set1(low), vhigh = V::set1(high);
  // Bits that survive a u8 shift within a 16-bit lane (u16 lanes keep all).
  const I keep = V::set1(uint8_t(shift >= 8 ? 0 : 0xFF >> shift));
  auto one = [&](I x) {
    I v = V::srl16(x, count);
    if constexpr (sizeof(T) == 1) v = V::band(v, keep);
    if constexpr (kOrdered) {
      return V::min(V::max(v, vlow, T{}), vhigh, T{});
    } else {
      const I not_above = V::eq(V::min(v, vhigh, T{}), v, T{});
      return V::blend(vhigh, V::max(v, vlow, T{}), not_above);
    }
  };
  uint64_t i = 0;
  // Streaming stores only where no later load can see the written lines
  // through the cache: a disjoint output.
  if (disjoint(out, in, n)) {
    T* const dst[] = {out};
    i = with_streaming<sizeof(I)>(
        dst, 1, n, [&](uint64_t head) { for (uint64_t k = 0; k < head; ++k) out[k] = shr_clip_one(in[k], shift, low, high); },
        [&]<bool Stream>(uint64_t k) {
          for (; k + kLanes <= n; k += kLanes) store<Stream>(out + k, one(V::load(in + k)));
          return k;
        });
  } else if (forward_safe(out, in, n)) {
    for (; i + 2 * kLanes <= n; i += 2 * kLanes) {
      const I a = V::load(in + i), b = V::load(in + i + kLanes);
      V::store(out + i, one(a));
      V::store(out + i + kLanes, one(b));
    }
    for (; i + kLanes <= n; i += kLanes) V::store(out + i, one(V::load(in + i)));
  }
  for (; i < n; ++i) out[i] = shr_clip_one(in[i], shift, low, high);
}

// Per vector: v = (x >> shift), then high where v > high, else max(v, low).
// When low <= high, as callers set them, that is min(max(v, low), high): two
// operations instead of four, since a v above high is above low too and one
// at most high stays so after the max. With low above high only the longer
// form gives high above high and low at or below it.
template <class V, class T>
inline void shr_clip(const T* in, T* out, uint64_t n, uint8_t shift, T low, T high) {
  if (low <= high)
    shr_clip_as<V, true>(in, out, n, shift, low, high);
  else
    shr_clip_as<V, false>(in, out, n, shift, low, high);
}

}  // namespace
}  // namespace morvex::ops::simd
