/* SPDX-License-Identifier: MIT */
/**
 * @file morvex-m/generate.h
 * @brief Signal generation: periodic waveforms, spectral windows and noise.
 */
#ifndef MORVEX_M_GENERATE_H
#define MORVEX_M_GENERATE_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup generators Generators
 * @brief Filling or weighting arrays with computed signals.
 *
 * Every export here returns 0 ("Success"); no argument is validated and no
 * pointer is checked. A count of 0 writes nothing.
 *
 * **Threading.** Waveforms and the cosine-sum windows (hanning, hamming,
 * blackman, blackmanharris, nuttall, blackmannuttall, flattop) spread their
 * index range over the task pool of libmorvex-tp (one contiguous chunk per
 * hardware thread, the last one computed by the calling thread) and return
 * when every element is written; a window that reuses its kept weights (see
 * @ref windows) only multiplies, on the calling thread below 65536 elements
 * and over the pool from there on. Each element is
 * computed from its own index, so the result does not depend on the number
 * of threads. The other windows
 * and the noise generators run on the calling thread. Any number of threads
 * may call these exports at once on different arrays. The pool needs
 * morvex_m_init(); without it the work simply runs on the calling thread.
 *
 * **Accuracy.** Every element is the written formula evaluated in IEEE
 * double with the C library's `cos`/`exp`/`pow`/`erf` (see each family for
 * the f32 rules), so results are the same on every processor and for every
 * option setting.
 */

/**
 * @defgroup waveforms Waveforms
 * @ingroup generators
 * @brief Cosine, triangle and square waves, resumable from block to block.
 *
 * - `waveform_cosine_<T>(data, count, phase, period, amplitude, offset, symmetry, lower, upper)`
 * - `waveform_triangle_<T>`: the same arguments as the cosine
 * - `waveform_square_<T>(data, count, period, low, high, duty_cycle, phase)`
 *
 * T is `i16`, `u8`, `u16`, `f32` or `f64`.
 *
 * - `data`: the output array of `count` elements.
 * - `phase`: in/out, in periods (1.0 = one period); read as the phase of
 *   element 0 and replaced by the phase at which the next block must start:
 *   `fmod(count / period + phase, 1.0)`, also for a count of 0. Must not be
 *   NULL.
 * - `period`: samples per period.
 * - `amplitude`, `offset`: in output units: values run over offset +-
 *   amplitude.
 * - `symmetry`: cosine: within 1e-6 of 0.5 gives the plain cosine
 *   `cos(2 pi (i / period + phase))`; otherwise the wave falls from its
 *   maximum to its minimum during the first (1 - symmetry) of each period and
 *   rises back during the rest (0: one falling half-cosine per period, 1: one
 *   rising half-cosine). Triangle: the rising share of the period, the wave
 *   starting at the offset, rising, at phase 0 (0: falling ramp, 1: rising
 *   ramp).
 * - `lower`, `upper`: every cosine/triangle value is clamped to them, the
 *   lower bound first: with lower above upper everything becomes upper.
 *   Integer types clamp in double, then round half away from zero; f32 rounds
 *   the double value to float, then clamps in float. A NaN value (from a
 *   period of 0, say) is not clamped.
 * - `low`, `high`, `duty_cycle`: square: element i is `high` while the
 *   fractional part of `i / period + phase` is below `duty_cycle`, else
 *   `low`, stored unchanged (duty 0: all low, 1: all high).
 *
 * Every element is computed from its own index (no accumulated phase), so a
 * long block does not drift and two calls of 500 samples give what one call
 * of 1000 gives, up to the rounding of the carried phase (exactly, when the
 * period is a power of two).
 *
 * **Example**: 4096 raw codes of a 50-sample cosine around mid-scale, twice:
 * @code{.c}
 * double ph = 0.0;
 * morvex_m_waveform_cosine_u8(buf, 4096, &ph, 50.0, 100.0, 128.0, 0.5, 0, 255);
 * morvex_m_waveform_cosine_u8(buf2, 4096, &ph, 50.0, 100.0, 128.0, 0.5, 0, 255);
 * @endcode
 * @{
 */

/** @brief A cosine wave (or, with symmetry other than 0.5, an asymmetric one) @{ */
MORVEX_M_API int32_t morvex_m_waveform_cosine_i16(int16_t* data, uint64_t count, double* phase, double period,
                                                  double amplitude, double offset, double symmetry,
                                                  int16_t lower, int16_t upper);
MORVEX_M_API int32_t morvex_m_waveform_cosine_u8(uint8_t* data, uint64_t count, double* phase, double period,
                                                 double amplitude, double offset, double symmetry,
                                                 uint8_t lower, uint8_t upper);
MORVEX_M_API int32_t morvex_m_waveform_cosine_u16(uint16_t* data, uint64_t count, double* phase,
                                                  double period, double amplitude, double offset,
                                                  double symmetry, uint16_t lower, uint16_t upper);
MORVEX_M_API int32_t morvex_m_waveform_cosine_f32(float* data, uint64_t count, double* phase, double period,
                                                  double amplitude, double offset, double symmetry,
                                                  float lower, float upper);
MORVEX_M_API int32_t morvex_m_waveform_cosine_f64(double* data, uint64_t count, double* phase, double period,
                                                  double amplitude, double offset, double symmetry,
                                                  double lower, double upper);
/** @} */
/** @brief A triangle wave whose rising share of the period is `symmetry` @{ */
MORVEX_M_API int32_t morvex_m_waveform_triangle_i16(int16_t* data, uint64_t count, double* phase,
                                                    double period, double amplitude, double offset,
                                                    double symmetry, int16_t lower, int16_t upper);
MORVEX_M_API int32_t morvex_m_waveform_triangle_u8(uint8_t* data, uint64_t count, double* phase,
                                                   double period, double amplitude, double offset,
                                                   double symmetry, uint8_t lower, uint8_t upper);
MORVEX_M_API int32_t morvex_m_waveform_triangle_u16(uint16_t* data, uint64_t count, double* phase,
                                                    double period, double amplitude, double offset,
                                                    double symmetry, uint16_t lower, uint16_t upper);
MORVEX_M_API int32_t morvex_m_waveform_triangle_f32(float* data, uint64_t count, double* phase, double period,
                                                    double amplitude, double offset, double symmetry,
                                                    float lower, float upper);
MORVEX_M_API int32_t morvex_m_waveform_triangle_f64(double* data, uint64_t count, double* phase,
                                                    double period, double amplitude, double offset,
                                                    double symmetry, double lower, double upper);
/** @} */
/** @brief A square wave, `high` for the first `duty_cycle` of each period @{ */
MORVEX_M_API int32_t morvex_m_waveform_square_i16(int16_t* data, uint64_t count, double period, int16_t low,
                                                  int16_t high, double duty_cycle, double* phase);
MORVEX_M_API int32_t morvex_m_waveform_square_u8(uint8_t* data, uint64_t count, double period, uint8_t low,
                                                 uint8_t high, double duty_cycle, double* phase);
MORVEX_M_API int32_t morvex_m_waveform_square_u16(uint16_t* data, uint64_t count, double period, uint16_t low,
                                                  uint16_t high, double duty_cycle, double* phase);
MORVEX_M_API int32_t morvex_m_waveform_square_f32(float* data, uint64_t count, double period, float low,
                                                  float high, double duty_cycle, double* phase);
MORVEX_M_API int32_t morvex_m_waveform_square_f64(double* data, uint64_t count, double period, double low,
                                                  double high, double duty_cycle, double* phase);
/** @} */

/** @} */

/**
 * @defgroup windows Windows
 * @ingroup generators
 * @brief Weight a block before spectral analysis.
 *
 * `window_<name>_<T>(in, out, count, normalize)`, and
 * `window_gaussian_<T>(in, out, count, normalize, alpha)`:
 * `out[i] = w(i) * s * in[i]`, where `s` is the window's normalisation factor
 * when `normalize` is non-zero (the coherent gain becomes 1, so a sine keeps
 * its amplitude) and 1 otherwise.
 *
 * T is `f32` or `f64`; `in` may equal `out`. All windows are symmetric:
 * weights run over the denominator N - 1 (N = count) and mirror about
 * (N - 1) / 2.
 *
 * | name | weight w(i), x = 2 pi i / (N - 1) | s |
 * |---|---|---|
 * | hanning | (1 - cos x) * 0.5 | 2 |
 * | hamming | 0.54 - 0.46 cos x | 1/0.54 |
 * | blackman | 0.42 - 0.5 cos x + 0.08 cos 2x | 1/0.42 |
 * | blackmanharris | 0.35875, 0.48829, 0.14128, 0.01168 (4 terms) | 1/a0 |
 * | nuttall | 0.355768, 0.487396, 0.144232, 0.012604 | 1/a0 |
 * | blackmannuttall | 0.3635819, 0.4891775, 0.1365995, 0.0106411 | 1/a0 |
 * | flattop | 0.21557895, 0.41663158, 0.277263158, 0.083578947, 0.006947368 (5 terms) | 1/a0 |
 * | bartlett | 1 - abs((i - c) / c), c = (N - 1) / 2 | N / (N/2 - 1) |
 * | welch | 1 - ((i - c) / c)^2 | 1.5 |
 * | parzen | 2 (1 - abs(d)/h)^3 for i < N/4, else 1 - 6 (d/h)^2 (1 - abs(d)/h) | 8/3 |
 * | gaussian | exp(-2 alpha^2 d^2 / M^2), M = N - 1, d = i - M/2 | see below |
 *
 * Parzen: d = i - c, h = N/2, and N/4 is an integer division. Gaussian:
 * s = sqrt(2) alpha / (erf(alpha / sqrt 2) sqrt(pi)).
 *
 * The cosine-sum windows alternate signs:
 * `a0 - a1 cos x + a2 cos 2x - a3 cos 3x + a4 cos 4x`. Their factors are
 * stored constants (for f32 the float roundings, e.g. 2.7874565f for
 * blackmanharris).
 *
 * **Accuracy.** Weights are computed in double for both types. The f32 forms
 * widen the (float) factor and the sample and round `(w * s) * in` once to
 * float; the f32 flat-top instead rounds `w * s` to float and multiplies in
 * float; the f32 parzen forms `i - c` and N/2 in float. Parzen, bartlett,
 * welch, gaussian and flattop weights are exactly mirror-symmetric. N = 1
 * divides 0 by 0 in every window but parzen: the element becomes NaN.
 * bartlett's factor is infinite for N = 2.
 *
 * **Threading.** The seven cosine-sum windows split over the task pool; the
 * flat-top computes each mirrored pair of weights once. bartlett, welch,
 * parzen and gaussian run on the calling thread.
 *
 * **Kept weights.** Every window but bartlett and welch keeps the multipliers
 * w(i) * s it computed, per calling thread. A later call from the same
 * thread with the same window, count, normalize, alpha and element type,
 * under the same processor options, multiplies by them instead of computing
 * them again: the same doubles, so bit for bit the same result. The multiply
 * runs on the calling thread below 65536 elements, where a hand-off to the
 * pool would cost more than it saves, and over the pool from there on
 * (except into an output that overlaps the input other than in place, which
 * stays on the calling thread). From 65536 elements on, a thread also keeps,
 * for each pair of mirror-image elements, how the two multipliers' bits
 * differ (2 bytes), and with AVX-512F rebuilds the second half of the
 * multipliers from the first: a quarter of the bytes read there, the same
 * doubles. Memory: each thread keeps at most 4 windows and 2^20 multipliers
 * (8 MiB, plus 1 MiB of those differences) in all, dropping the least
 * recently used; a longer window is computed at every call. A thread's
 * windows are freed when the thread ends. If the memory cannot be had, the
 * window is simply computed.
 *
 * **Example**: Hanning-weight a block in place with unit coherent gain:
 * @code{.c}
 * morvex_m_window_hanning_f32(block, block, n, 1);
 * @endcode
 * @{
 */

/** @brief Hanning (Hann) window @{ */
MORVEX_M_API int32_t morvex_m_window_hanning_f32(const float* in, float* out, uint64_t count,
                                                 int32_t normalize);
MORVEX_M_API int32_t morvex_m_window_hanning_f64(const double* in, double* out, uint64_t count,
                                                 int32_t normalize);
/** @} */
/** @brief Hamming window @{ */
MORVEX_M_API int32_t morvex_m_window_hamming_f32(const float* in, float* out, uint64_t count,
                                                 int32_t normalize);
MORVEX_M_API int32_t morvex_m_window_hamming_f64(const double* in, double* out, uint64_t count,
                                                 int32_t normalize);
/** @} */
/** @brief Bartlett (triangular) window @{ */
MORVEX_M_API int32_t morvex_m_window_bartlett_f32(const float* in, float* out, uint64_t count,
                                                  int32_t normalize);
MORVEX_M_API int32_t morvex_m_window_bartlett_f64(const double* in, double* out, uint64_t count,
                                                  int32_t normalize);
/** @} */
/** @brief Parzen window @{ */
MORVEX_M_API int32_t morvex_m_window_parzen_f32(const float* in, float* out, uint64_t count,
                                                int32_t normalize);
MORVEX_M_API int32_t morvex_m_window_parzen_f64(const double* in, double* out, uint64_t count,
                                                int32_t normalize);
/** @} */
/** @brief Welch window @{ */
MORVEX_M_API int32_t morvex_m_window_welch_f32(const float* in, float* out, uint64_t count,
                                               int32_t normalize);
MORVEX_M_API int32_t morvex_m_window_welch_f64(const double* in, double* out, uint64_t count,
                                               int32_t normalize);
/** @} */
/** @brief Blackman window @{ */
MORVEX_M_API int32_t morvex_m_window_blackman_f32(const float* in, float* out, uint64_t count,
                                                  int32_t normalize);
MORVEX_M_API int32_t morvex_m_window_blackman_f64(const double* in, double* out, uint64_t count,
                                                  int32_t normalize);
/** @} */
/** @brief Four-term Blackman-Harris window @{ */
MORVEX_M_API int32_t morvex_m_window_blackmanharris_f32(const float* in, float* out, uint64_t count,
                                                        int32_t normalize);
MORVEX_M_API int32_t morvex_m_window_blackmanharris_f64(const double* in, double* out, uint64_t count,
                                                        int32_t normalize);
/** @} */
/** @brief Four-term Nuttall window @{ */
MORVEX_M_API int32_t morvex_m_window_nuttall_f32(const float* in, float* out, uint64_t count,
                                                 int32_t normalize);
MORVEX_M_API int32_t morvex_m_window_nuttall_f64(const double* in, double* out, uint64_t count,
                                                 int32_t normalize);
/** @} */
/** @brief Four-term Blackman-Nuttall window @{ */
MORVEX_M_API int32_t morvex_m_window_blackmannuttall_f32(const float* in, float* out, uint64_t count,
                                                         int32_t normalize);
MORVEX_M_API int32_t morvex_m_window_blackmannuttall_f64(const double* in, double* out, uint64_t count,
                                                         int32_t normalize);
/** @} */
/** @brief Five-term flat-top window @{ */
MORVEX_M_API int32_t morvex_m_window_flattop_f32(const float* in, float* out, uint64_t count,
                                                 int32_t normalize);
MORVEX_M_API int32_t morvex_m_window_flattop_f64(const double* in, double* out, uint64_t count,
                                                 int32_t normalize);
/** @} */
/** @brief Gaussian window of width parameter `alpha` @{ */
MORVEX_M_API int32_t morvex_m_window_gaussian_f32(const float* in, float* out, uint64_t count,
                                                  int32_t normalize, float alpha);
MORVEX_M_API int32_t morvex_m_window_gaussian_f64(const double* in, double* out, uint64_t count,
                                                  int32_t normalize, double alpha);
/** @} */

/** @} */

/**
 * @defgroup noise Noise
 * @ingroup generators
 * @brief Uniform noise, reproducible from a seed.
 *
 * From the 32-bit Mersenne Twister (`std::mt19937`), created afresh for every
 * call and seeded with `*seed`, or, when `seed` is NULL, with the low 32 bits
 * of the system clock's tick count. A given seed reproduces the same samples
 * on every call; `*seed` is only read.
 *
 * - `waveform_noise_<T>(data, count, low, high, seed)`:
 *   `data[i]` = a uniform value in [low, high]: integers from
 *   `std::uniform_int_distribution<int>(low, high)` (inclusive), stored
 *   truncated to the element width; f32/f64 from
 *   `std::uniform_real_distribution<double>(low, high)`, i.e.
 *   `u * (high - low) + low` with u in [0, 1) from two 32-bit draws.
 *   `high` below `low` is undefined for the integer types.
 * - `add_noise_<T>(data, count, amplitude, lower, upper, seed)`:
 *   `data[i] = clamp(data[i] + u * 2 amplitude - amplitude)`, in double,
 *   clamped to `lower` first, then `upper`; integers rounded half away from
 *   zero, f32 rounded to float. An amplitude of 0 still draws.
 *
 * T is `i16`, `u8`, `u16`, `f32` or `f64`. Runs on the calling thread.
 *
 * **Example**: +-3 codes of reproducible noise on a raw block:
 * @code{.c}
 * const uint32_t seed = 42;
 * morvex_m_add_noise_u8(raw, n, 3, 0, 255, &seed);
 * @endcode
 * @{
 */

/** @brief Fill with uniform noise in [low, high] @{ */
MORVEX_M_API int32_t morvex_m_waveform_noise_i16(int16_t* data, uint64_t count, int16_t low, int16_t high,
                                                 const uint32_t* seed);
MORVEX_M_API int32_t morvex_m_waveform_noise_u8(uint8_t* data, uint64_t count, uint8_t low, uint8_t high,
                                                const uint32_t* seed);
MORVEX_M_API int32_t morvex_m_waveform_noise_u16(uint16_t* data, uint64_t count, uint16_t low, uint16_t high,
                                                 const uint32_t* seed);
MORVEX_M_API int32_t morvex_m_waveform_noise_f32(float* data, uint64_t count, float low, float high,
                                                 const uint32_t* seed);
MORVEX_M_API int32_t morvex_m_waveform_noise_f64(double* data, uint64_t count, double low, double high,
                                                 const uint32_t* seed);
/** @} */
/** @brief Add uniform noise in [-amplitude, amplitude], clamped to [lower, upper] @{ */
MORVEX_M_API int32_t morvex_m_add_noise_i16(int16_t* data, uint64_t count, int16_t amplitude, int16_t lower,
                                            int16_t upper, const uint32_t* seed);
MORVEX_M_API int32_t morvex_m_add_noise_u8(uint8_t* data, uint64_t count, uint8_t amplitude, uint8_t lower,
                                           uint8_t upper, const uint32_t* seed);
MORVEX_M_API int32_t morvex_m_add_noise_u16(uint16_t* data, uint64_t count, uint16_t amplitude,
                                            uint16_t lower, uint16_t upper, const uint32_t* seed);
MORVEX_M_API int32_t morvex_m_add_noise_f32(float* data, uint64_t count, float amplitude, float lower,
                                            float upper, const uint32_t* seed);
MORVEX_M_API int32_t morvex_m_add_noise_f64(double* data, uint64_t count, double amplitude, double lower,
                                            double upper, const uint32_t* seed);
/** @} */

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_GENERATE_H */
