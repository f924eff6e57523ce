/* SPDX-License-Identifier: MIT */
/**
 * @file morvex-m/dft.h
 * @brief Real discrete Fourier transforms, in one call or through reusable
 *        plans.
 */
#ifndef MORVEX_M_DFT_H
#define MORVEX_M_DFT_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup transforms Transforms
 * @brief Real-to-complex and complex-to-real one-dimensional transforms.
 *
 * A forward transform turns n real samples into n/2+1 complex bins (integer
 * division; bin k is the frequency k/n of the sampling rate); an inverse
 * transform turns n/2+1 bins back into n samples. Both are unnormalised:
 *
 *     forward  X[k] = sum_j x[j] e^(-2 pi i jk/n),  k = 0 .. n/2
 *     inverse  x[j] = sum_k X[k] e^(+2 pi i jk/n),  over all n bins, the upper
 *              half taken as the conjugates of the lower one
 *
 * so a forward then an inverse transform returns n times the signal. The
 * inverse ignores the imaginary parts of bin 0 and (for even n) of bin n/2.
 *
 * **Backends.** Transforms run on FFTW when the caller has switched on the
 * option #MORVEX_M_OPT_FFTW3 (double forms) or #MORVEX_M_OPT_FFTW3F (single
 * forms) and the library could be loaded (`libfftw3.so.3` /
 * `libfftw3f.so.3`, opened at run time; the library is never linked against
 * FFTW), and on the built-in Eigen FFT otherwise. Both compute the same
 * transforms to within rounding. A plan keeps the backend it was made with,
 * whatever the options do later, and stays usable after the last
 * morvex_m_fini(). The last morvex_m_fini() releases the library's hold on
 * FFTW, but FFTW itself stays in the process (with its planner's tables,
 * which it frees only in `fftw_cleanup`, a call left to the application), so
 * repeated start-up and shut-down never lose memory.
 *
 * **Lengths.** The complex count must be exactly n/2+1, and n between 1 and
 * 2^31-1 on FFTW or 2^29-1 on the built-in backend; anything else returns -2
 * ("Error data length"). The built-in backend is fastest for lengths with
 * small prime factors (2, 3, 5); a large prime factor p costs time of order
 * n*p.
 *
 * **Arrays** belong to the caller; input and output must not overlap. Data
 * pointers are not checked. On FFTW an inverse transform overwrites its input
 * bins: do not rely on them afterwards.
 *
 * **Statuses.** 0 "Success"; -1 "Failed" (FFTW could not make a plan, or an
 * internal lock failed); -2 "Error data length" (see Lengths); -3 "Out of
 * memory"; -4 "Invalid plan" and -5 "nullptr" (plan execution). No exception
 * leaves these functions.
 *
 * **Accuracy.** That of the backend's FFT; in tests the error of every bin
 * stays within a few units of eps * sum(abs(x[j])) * log2(n) of the exact
 * transform (eps of the element type).
 *
 * **Threading.** Distinct plans may run concurrently on different threads;
 * one plan is used by one thread at a time (its first execution makes the
 * FFTW plan, and the Eigen backend keeps caches in the plan). Plan creation
 * and destruction may run on any thread; FFTW planning is serialised inside
 * the library. Do not switch the FFTW options, or shut the library down,
 * while transforms run.
 */

/**
 * @brief A transform plan: forward (r2c) or inverse (c2r), single or double
 *        precision.
 * @ingroup dft_plans
 *
 * Opaque; made by a plan-create export, released by a destroy export.
 */
typedef struct morvex_m_dft_plan morvex_m_dft_plan;

/**
 * @defgroup dft_oneshot One-shot transforms
 * @ingroup transforms
 * @brief A transform in one call.
 *
 * - `dft_<T>(in, n, out, outCount)`: forward transform of n samples into
 *   `outCount = n/2+1` bins.
 * - `dft_divn_<T>(in, n, out, outCount, half)`: the same, normalised:
 *   `half == 0`: every bin divided by n (a sine of amplitude A at bin k,
 *   0 < k < n/2, shows magnitude A/2 there); `half != 0`: one-sided
 *   amplitudes: bin 0 divided by n, every other bin (the last one too) by n/2
 *   (that sine shows magnitude A; the divisor n/2 is formed in single
 *   precision in both forms).
 * - `idft_<T>(in, inCount, out, n)`: inverse transform of `inCount = n/2+1`
 *   bins into n samples (n times the signal; there is no normalised inverse).
 *
 * Each call makes a backend, runs it once and releases it; on FFTW it plans
 * anew every time. Transform repeatedly through a plan instead.
 *
 * **Statuses.** 0; -2 for bad lengths (nothing written); -1 if FFTW could not
 * plan; -3 when memory runs out.
 *
 * **Example**: the spectrum of 4096 samples
 * @code{.c}
 * static morvex_m_c64f64 bins[4096 / 2 + 1];
 * morvex_m_dft_f64(samples, 4096, bins, 4096 / 2 + 1);
 * @endcode
 * @{
 */

/** @brief Forward transform of n samples into n/2+1 bins @{ */
MORVEX_M_API int32_t morvex_m_dft_f32(const float* in, uint64_t n, morvex_m_c32f32* out, uint64_t outCount);
MORVEX_M_API int32_t morvex_m_dft_f64(const double* in, uint64_t n, morvex_m_c64f64* out, uint64_t outCount);
/** @} */
/** @brief Forward transform, bins divided by n (or by n/2 for one-sided amplitudes) @{ */
MORVEX_M_API int32_t morvex_m_dft_divn_f32(const float* in, uint64_t n, morvex_m_c32f32* out,
                                           uint64_t outCount, int32_t half);
MORVEX_M_API int32_t morvex_m_dft_divn_f64(const double* in, uint64_t n, morvex_m_c64f64* out,
                                           uint64_t outCount, int32_t half);
/** @} */
/** @brief Inverse transform of n/2+1 bins into n samples (n times the signal) @{ */
MORVEX_M_API int32_t morvex_m_idft_f32(morvex_m_c32f32* in, uint64_t inCount, float* out, uint64_t n);
MORVEX_M_API int32_t morvex_m_idft_f64(morvex_m_c64f64* in, uint64_t inCount, double* out, uint64_t n);
/** @} */

/** @} */

/**
 * @defgroup dft_plans Plans
 * @ingroup transforms
 * @brief Transforms made once and run on every block.
 *
 * **Create**: `dft_plan_create_r2c_1d_<T>(in, n, out, outCount, &plan)`,
 * `idft_plan_create_c2r_1d_<T>(in, inCount, out, n, &plan)` make a plan for
 * these two arrays and store it in `*plan`. No data are read or written; on
 * FFTW the plan is made (`FFTW_ESTIMATE`) at the first execution. Returns 0;
 * -2 for bad lengths, -3 when memory runs out, -5 if the result pointer
 * itself is NULL; `*plan` is NULL after any failure. The backend is chosen
 * now (see @ref transforms).
 *
 * **Execute**: `dft_plan_execute_r2c_1d_<T>(plan, in, n, out, outCount)`,
 * `dft_plan_execute_r2c_1d_divn_<T>(plan, in, n, out, outCount, half)`,
 * `idft_plan_execute_c2r_1d_<T>(plan, in, inCount, out, n)` run the plan on
 * these arrays (scaling as the one-shot forms). The arrays may differ from
 * those given at creation if they have the same lengths and the same
 * alignment classes (see morvex_m_dft_alignment_of()). Checked in this order:
 * - -5: `plan` is NULL;
 * - -4: the real or complex count differs from the plan's, an array's
 *   alignment class differs from that of the array the plan was made for, or
 *   the plan is of the other direction or precision;
 * - -1: FFTW could not make its plan (the next execution tries again);
 * - -3: memory ran out;
 *
 * and 0 otherwise.
 *
 * **Destroy**: morvex_m_dft_plan_destroy(), morvex_m_idft_plan_destroy()
 * release a plan of either direction; NULL is ignored. Every plan must be
 * destroyed exactly once.
 *
 * **Alignment**: `dft_alignment_of(plan, p)`, `idft_alignment_of(plan, p)`:
 * the alignment class of address p for this plan: on FFTW the class FFTW
 * assigns (p modulo 16 in current FFTW builds), 0 on the built-in backend
 * (which accepts any address); with a NULL plan, p modulo 16. Allocate the
 * arrays of later executions so that their class matches.
 *
 * **Example**: one plan for every acquisition block
 * @code{.c}
 * morvex_m_dft_plan* plan;
 * if (morvex_m_dft_plan_create_r2c_1d_f32(block, n, bins, n / 2 + 1, &plan) != 0) return;
 * while (acquire(block, n))
 *   morvex_m_dft_plan_execute_r2c_1d_divn_f32(plan, block, n, bins, n / 2 + 1, 1);
 * morvex_m_dft_plan_destroy(plan);
 * @endcode
 * @{
 */

/** @brief Make a forward plan for these arrays @{ */
MORVEX_M_API int32_t morvex_m_dft_plan_create_r2c_1d_f32(const float* in, uint64_t n, morvex_m_c32f32* out,
                                                         uint64_t outCount, morvex_m_dft_plan** result);
MORVEX_M_API int32_t morvex_m_dft_plan_create_r2c_1d_f64(const double* in, uint64_t n, morvex_m_c64f64* out,
                                                         uint64_t outCount, morvex_m_dft_plan** result);
/** @} */
/** @brief Run a forward plan @{ */
MORVEX_M_API int32_t morvex_m_dft_plan_execute_r2c_1d_f32(morvex_m_dft_plan* plan, const float* in,
                                                          uint64_t n, morvex_m_c32f32* out,
                                                          uint64_t outCount);
MORVEX_M_API int32_t morvex_m_dft_plan_execute_r2c_1d_f64(morvex_m_dft_plan* plan, const double* in,
                                                          uint64_t n, morvex_m_c64f64* out,
                                                          uint64_t outCount);
/** @} */
/** @brief Run a forward plan, bins divided by n (or by n/2 for one-sided amplitudes) @{ */
MORVEX_M_API int32_t morvex_m_dft_plan_execute_r2c_1d_divn_f32(morvex_m_dft_plan* plan, const float* in,
    uint64_t n, morvex_m_c32f32* out, uint64_t outCount, int32_t half);
MORVEX_M_API int32_t morvex_m_dft_plan_execute_r2c_1d_divn_f64(morvex_m_dft_plan* plan, const double* in,
    uint64_t n, morvex_m_c64f64* out, uint64_t outCount, int32_t half);
/** @} */
/** @brief Make an inverse plan for these arrays @{ */
MORVEX_M_API int32_t morvex_m_idft_plan_create_c2r_1d_f32(morvex_m_c32f32* in, uint64_t inCount, float* out,
                                                          uint64_t n, morvex_m_dft_plan** result);
MORVEX_M_API int32_t morvex_m_idft_plan_create_c2r_1d_f64(morvex_m_c64f64* in, uint64_t inCount, double* out,
                                                          uint64_t n, morvex_m_dft_plan** result);
/** @} */
/** @brief Run an inverse plan @{ */
MORVEX_M_API int32_t morvex_m_idft_plan_execute_c2r_1d_f32(morvex_m_dft_plan* plan, morvex_m_c32f32* in,
                                                           uint64_t inCount, float* out, uint64_t n);
MORVEX_M_API int32_t morvex_m_idft_plan_execute_c2r_1d_f64(morvex_m_dft_plan* plan, morvex_m_c64f64* in,
                                                           uint64_t inCount, double* out, uint64_t n);
/** @} */
/** @brief Release a plan (NULL is ignored) @{ */
MORVEX_M_API void morvex_m_dft_plan_destroy(morvex_m_dft_plan* plan);
MORVEX_M_API void morvex_m_idft_plan_destroy(morvex_m_dft_plan* plan);
/** @} */
/** @brief The alignment class of address `p` for this plan @{ */
MORVEX_M_API int32_t morvex_m_dft_alignment_of(const morvex_m_dft_plan* plan, const void* p);
MORVEX_M_API int32_t morvex_m_idft_alignment_of(const morvex_m_dft_plan* plan, const void* p);
/** @} */

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_DFT_H */
