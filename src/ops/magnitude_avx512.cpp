// SPDX-License-Identifier: MIT
// Complex magnitude (f32), AVX-512F: sixteen lanes per vector, cabsf's result
// element for element. Only AVX-512F instructions on 512-bit vectors; where
// AVX-512DQ is there too, magnitude_avx512dq.cpp runs instead.
#include "ops/magnitude_avx512.h"

namespace morvex::ops {

void magnitude_c32f32_avx512(const float* in, float* out, uint64_t n) { magnitude_c32f32<Avx512<false>>(in, out, n); }

}  // namespace morvex::ops
