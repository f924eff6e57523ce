/* SPDX-License-Identifier: MIT */
/**
 * @file morvex-m/fit.h
 * @brief Curve fitting.
 */
#ifndef MORVEX_M_FIT_H
#define MORVEX_M_FIT_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup fit Exponential fit
 * @brief Fit `y = a * exp(b * x)` to equally spaced samples.
 *
 * Fits to n positive samples taken at x = 0, 1, ..., n-1, by a least-squares
 * straight line through ln(y). The error minimised is that of ln(y), so large
 * samples weigh no more than small ones.
 *
 * **Accuracy.** Exact data y = c * exp(k * i) gives a within about 1e-11 and
 * b within about 1e-9 relative of c and k; b is least accurate when k is tiny
 * and n small, where ln(y) barely changes from sample to sample. The sums are
 * plain double sums in index order.
 *
 * **Threading.** No allocation, no lock; safe from many threads.
 *
 * **Example**: decay time constant of a captured pulse tail, in seconds
 * @code{.c}
 * double a, b;
 * if (morvex_m_fit_exp_f64(tail, n, &a, &b) == 0) tau = -dt / b;
 * @endcode
 * @{
 */

/**
 * @brief Fits `y = a * exp(b * x)` to `y[0..n)` at x = 0, 1, ..., n-1.
 *
 * @param y     n samples, all > 0
 * @param n     the number of samples
 * @param a_out receives a, the fitted value at x = 0 (NULL: not computed)
 * @param b_out receives b, the exponent per sample (NULL: not computed);
 *              divide by the sample interval for a rate per second; -1/b is
 *              the time constant in samples of a decay
 * @return 0, or -1 ("Failed") when any sample is <= 0 (including -0.0): then
 *         neither output is written. A NaN sample is not rejected and makes
 *         both results NaN. With n < 2 the fit is undetermined: both results
 *         are NaN and the status is 0.
 */
MORVEX_M_API int32_t morvex_m_fit_exp_f64(const double* y, uint64_t n, double* a_out, double* b_out);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_FIT_H */
