// SPDX-License-Identifier: MIT
// One element of the kernels that have processor variants, written once so
// that the plain loops and the scalar tails of every variant compute exactly
// the same thing.
#pragma once

#include <cmath>
#include <cstdint>

#include "ops/overlap.h"

namespace morvex::ops {
// Internal linkage: this header is compiled into files built for different
// instruction sets, and the linker must never pick one file's copy for another.
namespace {

// Shift right with clipping: the test against `high` comes first, so with
// low > high everything not above high becomes low.
template <class T>
inline T shr_clip_one(T x, uint8_t shift, T low, T high) {
  const uint32_t v = uint32_t(x) >> shift;
  return v > high ? high : (v < low ? low : T(v));
}

// A forward vector loop (load a block, then store it) gives the same result
// as the element-by-element loop when the output does not overlap the input,
// or lies at or below it (each store lands on elements already read). Only an
// output that starts inside the input, above its start, needs the element
// loop. Same element size on both sides.
template <class T>
inline bool forward_safe(const T* out, const T* in, uint64_t n) {
  return reinterpret_cast<uintptr_t>(out) <= reinterpret_cast<uintptr_t>(in) || disjoint(out, in, n);
}

// The plain frame loop for any channel count (the 5- and 6-channel forms and
// the tails of the vector kernels).
template <class T>
inline void deinterleave_frames(const T* src, uint64_t begin, uint64_t end, unsigned channels, T* const* dst) {
  for (uint64_t f = begin; f < end; ++f)
    for (unsigned k = 0; k < channels; ++k) dst[k][f] = src[f * channels + k];
}

}  // namespace
}  // namespace morvex::ops
