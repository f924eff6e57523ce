/* SPDX-License-Identifier: MIT */
/**
 * @file morvex-m/arith.h
 * @brief Element-wise arithmetic over f32 and f64 arrays.
 */
#ifndef MORVEX_M_ARITH_H
#define MORVEX_M_ARITH_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup arith Arithmetic
 * @ingroup elementwise
 * @brief Element-wise arithmetic over f32 and f64 arrays.
 *
 * Each operation exists as `_f32` and `_f64`. Arguments: the input array(s),
 * the output array, the element count, then constants in the array's type
 * (the exponent of `pow` is always a double).
 *
 * | operation   | arguments                 | result                                     |
 * |-------------|---------------------------|--------------------------------------------|
 * | `add`       | a, b, out, count          | `out[i] = a[i] + b[i]`                     |
 * | `sub`       | a, b, out, count          | `out[i] = a[i] - b[i]`                     |
 * | `mul`       | a, b, out, count          | `out[i] = a[i] * b[i]`                     |
 * | `div`       | a, b, out, count          | `out[i] = a[i] / b[i]`                     |
 * | `addc`      | in, out, count, c         | `out[i] = in[i] + c`                       |
 * | `subc`      | in, out, count, c         | `out[i] = in[i] - c`                       |
 * | `mulc`      | in, out, count, c         | `out[i] = in[i] * c`                       |
 * | `divc`      | in, out, count, c         | `out[i] = in[i] / c`                       |
 * | `csub`      | in, out, count, c         | `out[i] = c - in[i]`                       |
 * | `cdiv`      | in, out, count, c         | `out[i] = c / in[i]`                       |
 * | `modc`      | in, out, count, c         | `out[i] = fmodf(in[i], c)` / `fmod(in[i], c)` |
 * | `pow`       | in, out, count, e         | `out[i] = pow(in[i], e)`                   |
 * | `pow2`      | in, out, count            | `out[i] = in[i] * in[i]`                   |
 * | `mulc_addc` | in, out, count, m, c      | `out[i] = in[i] * m + c`                   |
 *
 * **Statuses.** Every operation returns 0 ("Success").
 *
 * **Accuracy.** Each element is exactly one IEEE operation in the element
 * type (`modc` and `pow`: the C library function named; the f32 `pow` raises
 * the widened element in double and rounds back), so results do not depend
 * on the processor, with one exception: `mulc_addc` with AVX2 and FMA3 both
 * enabled is one fused multiply-add (a single rounding), otherwise a multiply
 * then an add, so its last bit may differ between processors. Switch off
 * #MORVEX_M_OPT_AVX2 or #MORVEX_M_OPT_FMA3 to get the two roundings everywhere.
 *
 * **Arrays.** The caller's; `out` may equal an input (in place). No pointer
 * is checked; a count of 0 touches nothing.
 *
 * **Threading.** Pure functions of their arguments, on the calling thread;
 * any number of threads may call them at once on distinct outputs. No
 * morvex_m_init() needed (without it the plain loops run).
 *
 * **Example**: volts = raw * 0.01 - 1.28, in place:
 * @code{.c}
 * morvex_m_mulc_addc_f32(buf, buf, n, 0.01f, -1.28f);
 * @endcode
 * @{
 */

/** @brief `out[i] = a[i] + b[i]` @{ */
MORVEX_M_API int32_t morvex_m_add_f32(const float* a, const float* b, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_add_f64(const double* a, const double* b, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = a[i] - b[i]` @{ */
MORVEX_M_API int32_t morvex_m_sub_f32(const float* a, const float* b, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_sub_f64(const double* a, const double* b, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = a[i] * b[i]` @{ */
MORVEX_M_API int32_t morvex_m_mul_f32(const float* a, const float* b, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_mul_f64(const double* a, const double* b, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = a[i] / b[i]` @{ */
MORVEX_M_API int32_t morvex_m_div_f32(const float* a, const float* b, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_div_f64(const double* a, const double* b, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = in[i] + c` @{ */
MORVEX_M_API int32_t morvex_m_addc_f32(const float* in, float* out, uint64_t count, float c);
MORVEX_M_API int32_t morvex_m_addc_f64(const double* in, double* out, uint64_t count, double c);
/** @} */
/** @brief `out[i] = in[i] - c` @{ */
MORVEX_M_API int32_t morvex_m_subc_f32(const float* in, float* out, uint64_t count, float c);
MORVEX_M_API int32_t morvex_m_subc_f64(const double* in, double* out, uint64_t count, double c);
/** @} */
/** @brief `out[i] = in[i] * c` @{ */
MORVEX_M_API int32_t morvex_m_mulc_f32(const float* in, float* out, uint64_t count, float c);
MORVEX_M_API int32_t morvex_m_mulc_f64(const double* in, double* out, uint64_t count, double c);
/** @} */
/** @brief `out[i] = in[i] / c` @{ */
MORVEX_M_API int32_t morvex_m_divc_f32(const float* in, float* out, uint64_t count, float c);
MORVEX_M_API int32_t morvex_m_divc_f64(const double* in, double* out, uint64_t count, double c);
/** @} */
/** @brief `out[i] = c - in[i]` @{ */
MORVEX_M_API int32_t morvex_m_csub_f32(const float* in, float* out, uint64_t count, float c);
MORVEX_M_API int32_t morvex_m_csub_f64(const double* in, double* out, uint64_t count, double c);
/** @} */
/** @brief `out[i] = c / in[i]` @{ */
MORVEX_M_API int32_t morvex_m_cdiv_f32(const float* in, float* out, uint64_t count, float c);
MORVEX_M_API int32_t morvex_m_cdiv_f64(const double* in, double* out, uint64_t count, double c);
/** @} */
/** @brief `out[i] = fmod(in[i], c)` in the element type @{ */
MORVEX_M_API int32_t morvex_m_modc_f32(const float* in, float* out, uint64_t count, float c);
MORVEX_M_API int32_t morvex_m_modc_f64(const double* in, double* out, uint64_t count, double c);
/** @} */
/** @brief `out[i] = pow(in[i], e)`, computed in double @{ */
MORVEX_M_API int32_t morvex_m_pow_f32(const float* in, float* out, uint64_t count, double e);
MORVEX_M_API int32_t morvex_m_pow_f64(const double* in, double* out, uint64_t count, double e);
/** @} */
/** @brief `out[i] = in[i] * in[i]` @{ */
MORVEX_M_API int32_t morvex_m_pow2_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_pow2_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = in[i] * m + c`, fused with AVX2 and FMA3 enabled @{ */
MORVEX_M_API int32_t morvex_m_mulc_addc_f32(const float* in, float* out, uint64_t count, float m, float c);
MORVEX_M_API int32_t morvex_m_mulc_addc_f64(const double* in, double* out, uint64_t count, double m,
                                            double c);
/** @} */

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_ARITH_H */
