// SPDX-License-Identifier: MIT
// Two-channel deinterleave, written once and compiled per instruction set by
// the files that include this header with their own vector traits.
#pragma once

#include <cstdint>

#include "ops/elements.h"
#include "ops/stream.h"

namespace morvex::ops {
// Internal linkage: every instruction set gets its own copy.
namespace {

// Ops provides: V, kBytes (bytes per vector), load (unaligned), and order
// (puts the lanes of a pack's result in frame order; the identity where the
// pack works across the whole vector). split(a, b, even, odd) takes two
// input vectors, 2 * kBytes bytes of frames, to channel 0 and channel 1.
// Records beyond the caches are written with streaming stores.
template <class Ops, class T, class Split>
void two_channels(const T* src, uint64_t frames, T* const* dst, Split split) {
  using V = typename Ops::V;
  constexpr uint64_t kFrames = Ops::kBytes / sizeof(T);
  const uint64_t done = simd::with_streaming<Ops::kBytes>(
      dst, 2, frames, [&](uint64_t head) { deinterleave_frames(src, 0, head, 2, dst); },
      [&]<bool Stream>(uint64_t f) {
        for (; f + kFrames <= frames; f += kFrames) {
          V even, odd;
          split(Ops::load(src + 2 * f), Ops::load(src + 2 * f + kFrames), even, odd);
          simd::store<Stream>(dst[0] + f, Ops::order(even));
          simd::store<Stream>(dst[1] + f, Ops::order(odd));
        }
        return f;
      });
  deinterleave_frames(src, done, frames, 2, dst);
}

}  // namespace
}  // namespace morvex::ops
