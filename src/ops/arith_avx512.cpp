// SPDX-License-Identifier: MIT
// Element-wise arithmetic, AVX-512F: 16 f32 or 8 f64 lanes, the tail as one
// masked vector (arith_simd.h).
#include "ops/arith_simd.h"

namespace morvex::ops {

#define MORVEX_ARITH_AVX512_BINARY(op, expr) MORVEX_ARITH_SIMD_BINARY(avx512, simd::V16f, simd::V8d, op, expr)
#define MORVEX_ARITH_AVX512_CONST(op, expr) MORVEX_ARITH_SIMD_CONST(avx512, simd::V16f, simd::V8d, op, expr)
MORVEX_ARITH_BINARY_OPS(MORVEX_ARITH_AVX512_BINARY)
MORVEX_ARITH_UNARY_KERNELS(MORVEX_ARITH_AVX512_CONST)

}  // namespace morvex::ops
