/*
 * Element-wise arithmetic over f32 and f64 arrays.
 *
 * Each operation exists as _f32 and _f64 and returns 0 ("Success") always.
 * Arguments: input array(s), output array, element count, then constants in
 * the array's type (the exponent of pow is always double). out may equal an
 * input (in-place use). Each element is exactly one IEEE operation in the
 * element type (modc and pow: the C library function named), so results do
 * not depend on the processor, with the one exception of mulc_addc below.
 * No pointer is checked; a count of 0 touches nothing.
 *
 *   add   a, b, out, n      out[i] = a[i] + b[i]
 *   sub   a, b, out, n      out[i] = a[i] - b[i]
 *   mul   a, b, out, n      out[i] = a[i] * b[i]
 *   div   a, b, out, n      out[i] = a[i] / b[i]
 *   addc  in, out, n, c     out[i] = in[i] + c
 *   subc  in, out, n, c     out[i] = in[i] - c
 *   mulc  in, out, n, c     out[i] = in[i] * c
 *   divc  in, out, n, c     out[i] = in[i] / c
 *   csub  in, out, n, c     out[i] = c - in[i]
 *   cdiv  in, out, n, c     out[i] = c / in[i]
 *   modc  in, out, n, c     out[i] = fmodf(in[i], c) / fmod(in[i], c)
 *   pow   in, out, n, e     out[i] = pow(in[i], e); the f32 form raises the
 *                           widened element in double and rounds back
 *   pow2  in, out, n        out[i] = in[i] * in[i] (the square)
 *   mulc_addc in, out, n, m, c
 *                           out[i] = in[i] * m + c. With AVX2 and FMA3 both
 *                           enabled this is one fused multiply-add (a single
 *                           rounding), otherwise a multiply then an add; the
 *                           last bit may therefore differ between processors.
 *
 * Example: volts = raw * 0.01 - 1.28, in place:
 *   morvex_m_mulc_addc_f32(buf, buf, n, 0.01f, -1.28f);
 */
#ifndef MORVEX_M_ARITH_H
#define MORVEX_M_ARITH_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

#define MORVEX_M_ARITH_DECLARE(T, S)                                                              \
  MORVEX_M_API int32_t morvex_m_add_##S(const T* a, const T* b, T* out, uint64_t count);          \
  MORVEX_M_API int32_t morvex_m_sub_##S(const T* a, const T* b, T* out, uint64_t count);          \
  MORVEX_M_API int32_t morvex_m_mul_##S(const T* a, const T* b, T* out, uint64_t count);          \
  MORVEX_M_API int32_t morvex_m_div_##S(const T* a, const T* b, T* out, uint64_t count);          \
  MORVEX_M_API int32_t morvex_m_addc_##S(const T* in, T* out, uint64_t count, T c);               \
  MORVEX_M_API int32_t morvex_m_subc_##S(const T* in, T* out, uint64_t count, T c);               \
  MORVEX_M_API int32_t morvex_m_mulc_##S(const T* in, T* out, uint64_t count, T c);               \
  MORVEX_M_API int32_t morvex_m_divc_##S(const T* in, T* out, uint64_t count, T c);               \
  MORVEX_M_API int32_t morvex_m_csub_##S(const T* in, T* out, uint64_t count, T c);               \
  MORVEX_M_API int32_t morvex_m_cdiv_##S(const T* in, T* out, uint64_t count, T c);               \
  MORVEX_M_API int32_t morvex_m_modc_##S(const T* in, T* out, uint64_t count, T c);               \
  MORVEX_M_API int32_t morvex_m_pow_##S(const T* in, T* out, uint64_t count, double e);           \
  MORVEX_M_API int32_t morvex_m_pow2_##S(const T* in, T* out, uint64_t count);                    \
  MORVEX_M_API int32_t morvex_m_mulc_addc_##S(const T* in, T* out, uint64_t count, T m, T c);

MORVEX_M_ARITH_DECLARE(float, f32)
MORVEX_M_ARITH_DECLARE(double, f64)

#undef MORVEX_M_ARITH_DECLARE

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_ARITH_H */
