// SPDX-License-Identifier: MIT
// Complex magnitude (f32), AVX-512F with AVX-512DQ: the 512-bit kernel with
// the parts ordered by size first (vrangeps), which takes the squares' and
// the sum's rounding errors in fewer operations. cabsf's result element for
// element, like every other variant.
#include "ops/magnitude_avx512.h"

namespace morvex::ops {

void magnitude_c32f32_avx512dq(const float* in, float* out, uint64_t n) { magnitude_c32f32<Avx512<true>>(in, out, n); }

}  // namespace morvex::ops
