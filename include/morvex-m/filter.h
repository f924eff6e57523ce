/* SPDX-License-Identifier: MIT */
/**
 * @file morvex-m/filter.h
 * @brief IIR filters: design, representation queries, execution, frequency
 *        response and stability.
 */
#ifndef MORVEX_M_FILTER_H
#define MORVEX_M_FILTER_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup filters IIR filters
 * @brief Design, representation queries, execution, frequency response and
 *        stability.
 *
 * A filter lives in an opaque ::morvex_m_filter_state made by one of the
 * design exports and released by morvex_m_filter_state_destroy(). The state
 * keeps the filter as zeros/poles/gain (ZPK), as a transfer function (TF, b
 * and a in powers of z^-1) and as a cascade of second-order sections (SOS,
 * six doubles per section: b0 b1 b2 a0 a1 a2, with a0 = 1 and the overall
 * gain in the first section). A design fills one of the three; the others
 * are derived on first demand and then kept, never changed.
 *
 * **Threading.** The queries (get_zpk, get_tf, get_sos, freqz, freqz_zpk,
 * isstable) may run concurrently on one state. Execute and reset change the
 * delay line and must not overlap with each other on one state. Distinct
 * states are independent.
 *
 * **Typical use**, a record filtered block by block:
 * @code{.c}
 * morvex_m_filter_state* lp = NULL;
 * if (morvex_m_filter_iir_butterworth(MORVEX_M_FILTER_LOWPASS, 8, &lp, 1e6, 50e3, 0.0) != 0) fail();
 * morvex_m_filter_reset_delay_line(lp, 1);             // start from steady state
 * while (read_block(block, n))
 *   morvex_m_filter_execute_f32(block, block, n, lp);  // in place
 * morvex_m_filter_state_destroy(lp);
 * @endcode
 */

/**
 * @brief The filter state: opaque, created by the design exports.
 * @ingroup filter_design
 */
typedef struct morvex_m_filter_state morvex_m_filter_state;

/**
 * @defgroup filter_design Design
 * @ingroup filters
 * @brief Butterworth, Chebyshev I and II, notch and peak filters.
 *
 * Butterworth, Chebyshev type I and type II filters of order 0..255 (the
 * order is an unsigned 8-bit value: wider values arrive as their low 8 bits),
 * designed in ZPK form from an analog prototype, a band transform and the
 * bilinear transform with pre-warped band edges. Bandpass and bandstop
 * designs of order N have 2N poles.
 *
 * - `band_type`: #MORVEX_M_FILTER_LOWPASS .. #MORVEX_M_FILTER_BANDSTOP;
 * - `order`: N;
 * - `state_out`: receives the new state on success, untouched on failure;
 * - `sample_rate`: Hz, > 0;
 * - `f1`: Hz: the cut-off (lowpass, highpass) or the lower band edge;
 *   0 < f1 < sample_rate/2 (both ends excluded);
 * - `f2`: Hz: the upper band edge (bandpass, bandstop; same open interval);
 *   for lowpass and highpass only required >= 0;
 * - `ripple_db`: Chebyshev I: passband ripple in dB, >= 0;
 * - `attenuation_db`: Chebyshev II: stopband attenuation in dB, >= 0.
 *
 * Order 0 gives a filter without poles or zeros: gain 1 (Butterworth,
 * Chebyshev II) or 10^(-ripple_db/20) (Chebyshev I).
 *
 * Notch and peak: second-order filters from a centre frequency and a -3 dB
 * bandwidth (Q = centre/bandwidth), stored as TF. The normalised centre
 * 2 * centre / sample_rate must lie in [0, 1] (both ends allowed).
 *
 * **Statuses.** 0 "Success", or -1 "Failed" for any rejected parameter, a
 * NULL `state_out` or an allocation failure; no state is made on failure.
 * The checks are exactly these: parameters that pass them but describe a
 * degenerate filter are designed as written, and the state then holds
 * non-finite values (Chebyshev I with a 0 dB ripple puts its poles at
 * infinity; a notch or peak centred at 0 Hz has the quality factor 0, so
 * its width is 0/0). Such a state is still a valid object that can be
 * queried, reset and destroyed, but a representation that cannot be derived
 * from non-finite roots (sections, and so execution) answers -1 "Failed".
 * Check a design made from untrusted numbers with morvex_m_filter_iir_get_sos
 * before running it.
 *
 * **Accuracy.** All design arithmetic is in double precision.
 *
 * **Example**: 50 Hz mains notch at 1 kHz sampling, 2 Hz wide:
 * @code{.c}
 * morvex_m_filter_state* st = NULL;
 * morvex_m_filter_iir_notch(&st, 1000.0, 50.0, 2.0);
 * @endcode
 * @{
 */

/** @brief Band types of the order-N designs. */
enum {
  MORVEX_M_FILTER_LOWPASS = 0,  /**< pass below f1 */
  MORVEX_M_FILTER_HIGHPASS = 1, /**< pass above f1 */
  MORVEX_M_FILTER_BANDPASS = 2, /**< pass between f1 and f2 */
  MORVEX_M_FILTER_BANDSTOP = 3  /**< stop between f1 and f2 */
};

/** @brief A Butterworth filter of order N (maximally flat passband) */
MORVEX_M_API int32_t morvex_m_filter_iir_butterworth(int32_t band_type, uint8_t order,
                                                     morvex_m_filter_state** state_out, double sample_rate,
                                                     double f1, double f2);
/** @brief A Chebyshev type I filter (ripple_db of passband ripple) */
MORVEX_M_API int32_t morvex_m_filter_iir_chebyshev1(int32_t band_type, uint8_t order,
                                                    morvex_m_filter_state** state_out, double sample_rate,
                                                    double f1, double f2, double ripple_db);
/** @brief A Chebyshev type II filter (attenuation_db in the stopband) */
MORVEX_M_API int32_t morvex_m_filter_iir_chebyshev2(int32_t band_type, uint8_t order,
                                                    morvex_m_filter_state** state_out, double sample_rate,
                                                    double f1, double f2, double attenuation_db);
/** @brief A second-order notch at `centre_frequency`, `bandwidth` wide at -3 dB */
MORVEX_M_API int32_t morvex_m_filter_iir_notch(morvex_m_filter_state** state_out, double sample_rate,
                                               double centre_frequency, double bandwidth);
/** @brief A second-order peak at `centre_frequency`, `bandwidth` wide at -3 dB */
MORVEX_M_API int32_t morvex_m_filter_iir_peak(morvex_m_filter_state** state_out, double sample_rate,
                                              double centre_frequency, double bandwidth);

/** @} */

/**
 * @defgroup filter_lifetime Lifetime
 * @ingroup filters
 * @brief Release a state; re-arm its delay line.
 *
 * morvex_m_filter_state_destroy() releases a state and everything it holds
 * (pointers handed out by the getters become invalid). NULL is ignored.
 *
 * morvex_m_filter_reset_delay_line() re-arms the delay line: `steady_start`
 * non-zero makes the next non-empty execute call start every section in the
 * steady state for a constant input equal to that call's first sample (no
 * start-up transient); zero clears the delay line (start from rest). The
 * choice also applies to an executor made later. `state` must not be NULL.
 * @{
 */

/** @brief Release a filter state (NULL is ignored) */
MORVEX_M_API void morvex_m_filter_state_destroy(morvex_m_filter_state* state);
/** @brief Clear the delay line, or arm a steady start at the next block's first sample */
MORVEX_M_API void morvex_m_filter_reset_delay_line(morvex_m_filter_state* state, int32_t steady_start);

/** @} */

/**
 * @defgroup filter_repr Representations
 * @ingroup filters
 * @brief The filter as ZPK, TF or SOS, derived on first demand.
 *
 * - `get_zpk`: `zeros[*zero_count]`, `poles[*pole_count]`, `*gain`;
 * - `get_tf`: `numerator[*count]`, `denominator[*count]` (b and a, leading
 *   term first: b[0] + b[1] z^-1 + ...);
 * - `get_sos`: `coefficients[*count]`, `*count` = 6 x sections, section
 *   after section as b0 b1 b2 a0 a1 a2 in cascade order.
 *
 * The arrays belong to the state: valid until it is destroyed, never to be
 * written or freed. Two calls return the same pointers.
 *
 * **Derivations.** TF from ZPK by polynomial expansion; ZPK from TF by the
 * roots of b and a (eigenvalues of the balanced companion matrices, double
 * precision, so high-order TFs carry the usual conditioning of polynomial
 * roots); SOS from ZPK by pairing each pole pair, taken from the one nearest
 * the unit circle outwards, with the zeros nearest to it, the pair nearest
 * the unit circle being the last section.
 *
 * **Statuses.** 0, or -1 "Failed" (NULL state or out-pointer, no
 * representation to derive from, an all-zero denominator, roots that cannot
 * be paired into real sections, allocation failure); on failure nothing is
 * written.
 *
 * **Example**: print the sections of a design
 * @code{.c}
 * const double* sos; uint64_t n;
 * if (morvex_m_filter_iir_get_sos(st, &sos, &n) == 0)
 *   for (uint64_t s = 0; s < n / 6; ++s) printf("b0 %g a1 %g\n", sos[6 * s], sos[6 * s + 4]);
 * @endcode
 * @{
 */

/** @brief Zeros, poles and gain */
MORVEX_M_API int32_t morvex_m_filter_iir_get_zpk(morvex_m_filter_state* state, const morvex_m_c64f64** zeros,
                                                 uint64_t* zero_count, const morvex_m_c64f64** poles,
                                                 uint64_t* pole_count, double* gain);
/** @brief Transfer-function coefficients b and a */
MORVEX_M_API int32_t morvex_m_filter_iir_get_tf(morvex_m_filter_state* state, const double** numerator,
                                                const double** denominator, uint64_t* count);
/** @brief Second-order sections, six doubles each */
MORVEX_M_API int32_t morvex_m_filter_iir_get_sos(morvex_m_filter_state* state, const double** coefficients,
                                                 uint64_t* count);

/** @} */

/**
 * @defgroup filter_exec Execution
 * @ingroup filters
 * @brief Run samples through the filter, carrying the delay line.
 *
 * Runs `count` samples through the cascade of second-order sections in
 * transposed direct form II, per sample and section:
 *
 *     y = b0*x + d0;  d0 = (b1*x + d1) - a1*y;  d1 = b2*x - a2*y
 *
 * in the element type (f32: coefficients rounded to float, all arithmetic in
 * float). The delay line carries over between calls, so a record filtered in
 * blocks gives exactly the samples of one call. `input` may equal `output`
 * (in place).
 *
 * **Kernels.** The processor kernels interleave successive samples across
 * the sections; every value is computed by the same operations in the same
 * order as the plain sample-by-sample loop, so the results are bit-identical
 * on every processor and option setting.
 *
 * **Statuses.** The first call fixes the state's element type; a call with
 * the other type returns -1. Returns 0, or -1 "Failed" (NULL state, no SOS
 * obtainable, allocation failure). A filter without sections copies input to
 * output.
 * @{
 */

/** @brief Filter `count` samples, in place or out of place @{ */
MORVEX_M_API int32_t morvex_m_filter_execute_f32(const float* input, float* output, uint64_t count,
                                                 morvex_m_filter_state* state);
MORVEX_M_API int32_t morvex_m_filter_execute_f64(const double* input, double* output, uint64_t count,
                                                 morvex_m_filter_state* state);
/** @} */

/** @} */

/**
 * @defgroup filter_response Response and stability
 * @ingroup filters
 * @brief Frequency response on a linear or logarithmic grid; pole stability.
 *
 * `freqz` evaluates H = B(e)/A(e), e = exp(-jw), from the TF; `freqz_zpk`
 * evaluates k * prod(e - z) / prod(e - p), e = exp(jw), from the ZPK. Both
 * write `count` frequencies in Hz (w * sample_rate / 2pi) and `count` complex
 * responses. The grid, in radians per sample, runs from 0 towards
 * last = 2pi (`whole`) or pi:
 * - linear: w_i = i * last / count, or i * last / (count - 1) with the end
 *   point: the end point is included only by `freqz` with `include_nyquist`
 *   set and `whole` clear;
 * - logarithmic: 10^(lo + i * (hi - lo) / count) (or / (count - 1) with the
 *   end point), lo = log10(2pi / sample_rate) (1 Hz), hi = log10(last).
 *
 * The points are computed in parallel on the task pool (call morvex_m_init()
 * first). All arithmetic is double precision.
 *
 * `isstable` writes 1 to `*stable_out` when every pole lies strictly inside
 * the unit circle, else 0 (a pole on the circle or a NaN pole is unstable).
 *
 * **Statuses.** 0, or -1 "Failed" (NULL state, no representation
 * obtainable, isstable on a filter without poles: then `*stable_out` is not
 * written). `count` = 0 writes nothing.
 *
 * **Example**: the gain in dB at 512 points up to Nyquist
 * @code{.c}
 * double f[512]; morvex_m_c64f64 h[512];
 * morvex_m_filter_iir_freqz(st, 512, 0, 1, 0, f, h, fs);
 * // 20 * log10(hypot(h[i].re, h[i].im)) at f[i] Hz
 * @endcode
 * @{
 */

/** @brief Frequency response from the transfer function */
MORVEX_M_API int32_t morvex_m_filter_iir_freqz(morvex_m_filter_state* state, uint64_t count, int32_t whole,
                                               int32_t include_nyquist, int32_t logarithmic,
                                               double* frequencies_out, morvex_m_c64f64* response_out,
                                               double sample_rate);
/** @brief Frequency response from zeros, poles and gain */
MORVEX_M_API int32_t morvex_m_filter_iir_freqz_zpk(morvex_m_filter_state* state, uint64_t count,
                                                   int32_t whole, int32_t logarithmic,
                                                   double* frequencies_out, morvex_m_c64f64* response_out,
                                                   double sample_rate);
/** @brief 1 in `*stable_out` when every pole lies strictly inside the unit circle */
MORVEX_M_API int32_t morvex_m_filter_iir_isstable(morvex_m_filter_state* state, int32_t* stable_out);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_FILTER_H */
