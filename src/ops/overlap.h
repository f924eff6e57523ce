// SPDX-License-Identifier: MIT
// Overlap test for element-wise loops: the vector path may load a whole block
// before storing it, which is only safe when the output shares no byte with an
// input. Overlapping calls (in-place ones included) take the element-by-element
// path, which reads element i before it writes out[i]; both paths give the same
// bits.
#pragma once

#include <cstdint>

namespace morvex::ops {

// Internal linkage: files built for different instruction sets include this,
// and the linker must never hand one file's copy (say, an AVX2 build) to a
// caller compiled for the baseline.
namespace {

template <class TO, class TI>
inline bool disjoint(const TO* out, const TI* in, uint64_t n) {
  const uintptr_t o = reinterpret_cast<uintptr_t>(out), i = reinterpret_cast<uintptr_t>(in);
  return o + n * sizeof(TO) <= i || i + n * sizeof(TI) <= o;
}

}  // namespace

}  // namespace morvex::ops
