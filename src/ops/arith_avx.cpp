// SPDX-License-Identifier: MIT
// Element-wise arithmetic, AVX: 8 f32 or 4 f64 lanes (arith_simd.h).
#include "ops/arith_simd.h"

namespace morvex::ops {

#define MORVEX_ARITH_AVX_BINARY(op, expr) MORVEX_ARITH_SIMD_BINARY(avx, simd::V8f, simd::V4d, op, expr)
#define MORVEX_ARITH_AVX_CONST(op, expr) MORVEX_ARITH_SIMD_CONST(avx, simd::V8f, simd::V4d, op, expr)
MORVEX_ARITH_BINARY_OPS(MORVEX_ARITH_AVX_BINARY)
MORVEX_ARITH_UNARY_KERNELS(MORVEX_ARITH_AVX_CONST)

}  // namespace morvex::ops
