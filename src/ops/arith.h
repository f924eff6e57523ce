// SPDX-License-Identifier: MIT
// Internal declarations of the arithmetic kernels.
//
// add ... pow2: every element is one IEEE operation in the element type, so
// the plain loop (arith.cpp) and the AVX and AVX-512 kernels (arith_simd.h)
// give the same bits; the export picks one at every call from the option
// flags (frame/call_time.h: arith). Each operation is listed once here, as
// the expression its loops compute from x (and y, or the constant c). These
// kernels return the export's status (always 0), so that the export ends in
// a jump to the kernel rather than a call and a return.
//
// mulc_addc kernels, chosen at each call from the option flags: AVX2+FMA3
// (one fused multiply-add per element), else SSE4.2, else plain (a multiply
// then an add).
#pragma once

#include <cstdint>

// X(op, expression of x and y): out[i] from a[i] and b[i].
#define MORVEX_ARITH_BINARY_OPS(X) X(add, x + y) X(sub, x - y) X(mul, x * y) X(div, x / y)
// X(op, expression of x and c): out[i] from in[i] and the constant.
#define MORVEX_ARITH_CONST_OPS(X) \
  X(addc, x + c) X(subc, x - c) X(mulc, x * c) X(divc, x / c) X(csub, c - x) X(cdiv, c / x)
// Their kernels, and the square's, which share their signature (pow2 takes no
// constant: its kernels are handed 0 and ignore it).
#define MORVEX_ARITH_UNARY_KERNELS(X) MORVEX_ARITH_CONST_OPS(X) X(pow2, x * x)

namespace morvex::ops {

#define MORVEX_ARITH_DECLARE_BINARY(op, expr)                                   \
  int32_t op##_f32_avx(const float*, const float*, float*, uint64_t);          \
  int32_t op##_f64_avx(const double*, const double*, double*, uint64_t);       \
  int32_t op##_f32_avx512(const float*, const float*, float*, uint64_t);       \
  int32_t op##_f64_avx512(const double*, const double*, double*, uint64_t);
#define MORVEX_ARITH_DECLARE_CONST(op, expr)                                    \
  int32_t op##_f32_avx(const float*, float*, uint64_t, float);                 \
  int32_t op##_f64_avx(const double*, double*, uint64_t, double);              \
  int32_t op##_f32_avx512(const float*, float*, uint64_t, float);              \
  int32_t op##_f64_avx512(const double*, double*, uint64_t, double);
MORVEX_ARITH_BINARY_OPS(MORVEX_ARITH_DECLARE_BINARY)
MORVEX_ARITH_UNARY_KERNELS(MORVEX_ARITH_DECLARE_CONST)
#undef MORVEX_ARITH_DECLARE_BINARY
#undef MORVEX_ARITH_DECLARE_CONST

void mulc_addc_f32_plain(const float* in, float* out, uint64_t n, float m, float c);
void mulc_addc_f64_plain(const double* in, double* out, uint64_t n, double m, double c);
void mulc_addc_f32_sse42(const float* in, float* out, uint64_t n, float m, float c);
void mulc_addc_f64_sse42(const double* in, double* out, uint64_t n, double m, double c);
void mulc_addc_f32_avx2(const float* in, float* out, uint64_t n, float m, float c);
void mulc_addc_f64_avx2(const double* in, double* out, uint64_t n, double m, double c);

}  // namespace morvex::ops
