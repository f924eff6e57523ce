/*
 * Signal generation: periodic waveforms, spectral windows and noise.
 *
 * Every export here returns 0 ("Success"); no argument is validated and no
 * pointer is checked. A count of 0 writes nothing.
 *
 * Threading: waveforms and the cosine-sum windows (hanning, hamming,
 * blackman, blackmanharris, nuttall, blackmannuttall, flattop) spread their
 * index range over the library's task pool (one contiguous chunk per hardware
 * thread, the last one computed by the calling thread) and return when every
 * element is written; a window that reuses its kept weights (see windows)
 * only multiplies, on the calling thread. Each element is computed from its
 * own index, so the result does not depend on the number of threads. The
 * other windows and the noise generators run on the calling thread. Any number of threads may call
 * these exports at once on different arrays. The pool needs morvex_m_init;
 * without it the work simply runs on the calling thread.
 *
 * Accuracy: every element is the written formula evaluated in IEEE double
 * with the C library's cos/exp/pow/erf (see each family for the f32 rules),
 * so results are the same on every processor and for every option setting.
 */
#ifndef MORVEX_M_GENERATE_H
#define MORVEX_M_GENERATE_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------ waveforms
 * Fill data[0..count) with a cosine, triangle or square wave, resumable from
 * block to block.
 *
 *   morvex_m_waveform_cosine_<T>(data, count, phase, period, amplitude,
 *                                offset, symmetry, lower, upper)
 *   morvex_m_waveform_triangle_<T>(same arguments)
 *   morvex_m_waveform_square_<T>(data, count, period, low, high,
 *                                duty_cycle, phase)
 *
 * T is i16, u8, u16, f32 or f64.
 *   data       output array of count elements
 *   phase      in/out, in periods (1.0 = one period); read as the phase of
 *              element 0 and replaced by the phase at which the next block
 *              must start: fmod(count / period + phase, 1.0), also for a
 *              count of 0. Must not be NULL.
 *   period     samples per period
 *   amplitude, offset   in output units: values run over offset +- amplitude
 *   symmetry   cosine: within 1e-6 of 0.5 gives the plain cosine
 *              cos(2 pi (i / period + phase)); otherwise the wave falls from
 *              its maximum to its minimum during the first (1 - symmetry) of
 *              each period and rises back during the rest (0: one falling
 *              half-cosine per period, 1: one rising half-cosine).
 *              triangle: the rising share of the period, the wave starting
 *              at the offset, rising, at phase 0 (0: falling ramp, 1: rising
 *              ramp).
 *   lower, upper  every cosine/triangle value is clamped to them, the lower
 *              bound first: with lower above upper everything becomes upper.
 *              Integer types clamp in double, then round half away from zero;
 *              f32 rounds the double value to float, then clamps in float.
 *              A NaN value (from a period of 0, say) is not clamped.
 *   low, high, duty_cycle  square: element i is high while the fractional
 *              part of i / period + phase is below duty_cycle, else low,
 *              stored unchanged (duty 0: all low, 1: all high).
 *
 * Every element is computed from its own index (no accumulated phase), so a
 * long block does not drift and two calls of 500 samples give what one call
 * of 1000 gives, up to the rounding of the carried phase (exactly, when the
 * period is a power of two).
 *
 * Example: 4096 raw codes of a 50-sample cosine around mid-scale, twice:
 *   double ph = 0.0;
 *   morvex_m_waveform_cosine_u8(buf, 4096, &ph, 50.0, 100.0, 128.0, 0.5, 0, 255);
 *   morvex_m_waveform_cosine_u8(buf2, 4096, &ph, 50.0, 100.0, 128.0, 0.5, 0, 255);
 */
#define MORVEX_M_WAVEFORM_DECLARE(T, S)                                                           \
  MORVEX_M_API int32_t morvex_m_waveform_cosine_##S(T* data, uint64_t count, double* phase,       \
                                                    double period, double amplitude,              \
                                                    double offset, double symmetry, T lower,      \
                                                    T upper);                                     \
  MORVEX_M_API int32_t morvex_m_waveform_triangle_##S(T* data, uint64_t count, double* phase,     \
                                                      double period, double amplitude,            \
                                                      double offset, double symmetry, T lower,    \
                                                      T upper);                                   \
  MORVEX_M_API int32_t morvex_m_waveform_square_##S(T* data, uint64_t count, double period,       \
                                                    T low, T high, double duty_cycle,             \
                                                    double* phase);

MORVEX_M_WAVEFORM_DECLARE(int16_t, i16)
MORVEX_M_WAVEFORM_DECLARE(uint8_t, u8)
MORVEX_M_WAVEFORM_DECLARE(uint16_t, u16)
MORVEX_M_WAVEFORM_DECLARE(float, f32)
MORVEX_M_WAVEFORM_DECLARE(double, f64)

#undef MORVEX_M_WAVEFORM_DECLARE

/* ------------------------------------------------------------------ windows
 * Weight a block before spectral analysis: out[i] = w(i) * s * in[i], where
 * s is the window's normalisation factor when `normalize` is non-zero (the
 * coherent gain becomes 1, so a sine keeps its amplitude) and 1 otherwise.
 *
 *   morvex_m_window_<name>_<T>(in, out, count, normalize)
 *   morvex_m_window_gaussian_<T>(in, out, count, normalize, alpha)
 *
 * T is f32 or f64; in may equal out. All windows are symmetric: weights run
 * over the denominator N - 1 (N = count) and mirror about (N - 1) / 2.
 *
 *   name             weight w(i), x = 2 pi i / (N - 1)                  s
 *   hanning          (1 - cos x) * 0.5                                  2
 *   hamming          0.54 - 0.46 cos x                                  1/0.54
 *   blackman         0.42 - 0.5 cos x + 0.08 cos 2x                     1/0.42
 *   blackmanharris   0.35875, 0.48829, 0.14128, 0.01168 (4 terms)       1/a0
 *   nuttall          0.355768, 0.487396, 0.144232, 0.012604             1/a0
 *   blackmannuttall  0.3635819, 0.4891775, 0.1365995, 0.0106411         1/a0
 *   flattop          0.21557895, 0.41663158, 0.277263158,
 *                    0.083578947, 0.006947368 (5 terms)                 1/a0
 *   bartlett         1 - |(i - c) / c|, c = (N - 1) / 2                 N / (N/2 - 1)
 *   welch            1 - ((i - c) / c)^2                                1.5
 *   parzen           2 (1 - |d|/h)^3 for i < N/4 (integer division),
 *                    else 1 - 6 (d/h)^2 (1 - |d|/h); d = i - c, h = N/2 8/3
 *   gaussian         exp(-2 alpha^2 d^2 / M^2), M = N - 1, d = i - M/2
 *                    s = sqrt(2) alpha / (erf(alpha / sqrt 2) sqrt(pi))
 *
 * The cosine-sum windows alternate signs: a0 - a1 cos x + a2 cos 2x
 * - a3 cos 3x + a4 cos 4x. Their factors are stored constants (for f32 the
 * float roundings, e.g. 2.7874565f for blackmanharris).
 *
 * Accuracy: weights are computed in double for both types. The f32 forms
 * widen the (float) factor and the sample and round (w * s) * in once to
 * float; the f32 flat-top instead rounds w * s to float and multiplies in
 * float; the f32 parzen forms i - c and N/2 in float. Parzen, bartlett,
 * welch, gaussian and flattop weights are exactly mirror-symmetric.
 * N = 1 divides 0 by 0 in every window but parzen: the element becomes NaN.
 * bartlett's factor is infinite for N = 2.
 *
 * Threading: the seven cosine-sum windows split over the task pool; the
 * flat-top computes each mirrored pair of weights once. bartlett, welch,
 * parzen and gaussian run on the calling thread.
 *
 * Kept weights: every window but bartlett and welch keeps the multipliers
 * w(i) * s it computed, per calling thread. A later call from the same
 * thread with the same window, count, normalize, alpha and element type,
 * under the same processor options, multiplies by them instead of computing
 * them again: the same doubles, so bit for bit the same result. The
 * multiply runs on the calling thread. Memory: each thread keeps at most 4
 * windows and 2^20 multipliers (8 MiB) in all, dropping the least recently
 * used; a longer window is computed at every call. A thread's windows are
 * freed when the thread ends. If the memory cannot be had, the window is
 * simply computed.
 *
 * Example: Hanning-weight a block in place with unit coherent gain:
 *   morvex_m_window_hanning_f32(block, block, n, 1);
 */
#define MORVEX_M_WINDOW_DECLARE(NAME, T, S) \
  MORVEX_M_API int32_t morvex_m_window_##NAME##_##S(const T* in, T* out, uint64_t count, int32_t normalize);

#define MORVEX_M_WINDOWS_DECLARE(T, S)                                                                  \
  MORVEX_M_WINDOW_DECLARE(hanning, T, S)                                                                \
  MORVEX_M_WINDOW_DECLARE(hamming, T, S)                                                                \
  MORVEX_M_WINDOW_DECLARE(bartlett, T, S)                                                               \
  MORVEX_M_WINDOW_DECLARE(parzen, T, S)                                                                 \
  MORVEX_M_WINDOW_DECLARE(welch, T, S)                                                                  \
  MORVEX_M_WINDOW_DECLARE(blackman, T, S)                                                               \
  MORVEX_M_WINDOW_DECLARE(blackmanharris, T, S)                                                         \
  MORVEX_M_WINDOW_DECLARE(nuttall, T, S)                                                                \
  MORVEX_M_WINDOW_DECLARE(blackmannuttall, T, S)                                                        \
  MORVEX_M_WINDOW_DECLARE(flattop, T, S)                                                                \
  MORVEX_M_API int32_t morvex_m_window_gaussian_##S(const T* in, T* out, uint64_t count, int32_t normalize, \
                                                    T alpha);

MORVEX_M_WINDOWS_DECLARE(float, f32)
MORVEX_M_WINDOWS_DECLARE(double, f64)

#undef MORVEX_M_WINDOWS_DECLARE
#undef MORVEX_M_WINDOW_DECLARE

/* ------------------------------------------------------------------ noise
 * Uniform noise from the 32-bit Mersenne Twister (std::mt19937), created
 * afresh for every call and seeded with *seed, or, when seed is NULL, with the
 * low 32 bits of the system clock's tick count. A given seed reproduces the
 * same samples on every call; *seed is only read.
 *
 *   morvex_m_waveform_noise_<T>(data, count, low, high, seed)
 *       data[i] = uniform value in [low, high]: integers from
 *       std::uniform_int_distribution<int>(low, high) (inclusive), stored
 *       truncated to the element width; f32/f64 from
 *       std::uniform_real_distribution<double>(low, high), i.e.
 *       u * (high - low) + low with u in [0, 1) from two 32-bit draws.
 *       high below low is undefined for the integer types.
 *   morvex_m_add_noise_<T>(data, count, amplitude, lower, upper, seed)
 *       data[i] = clamp(data[i] + u * 2 amplitude - amplitude), in double,
 *       clamped to lower first, then upper; integers rounded half away from
 *       zero, f32 rounded to float. An amplitude of 0 still draws.
 *
 * T is i16, u8, u16, f32 or f64. Runs on the calling thread.
 *
 * Example: +-3 codes of reproducible noise on a raw block:
 *   const uint32_t seed = 42;
 *   morvex_m_add_noise_u8(raw, n, 3, 0, 255, &seed);
 */
#define MORVEX_M_NOISE_DECLARE(T, S)                                                                   \
  MORVEX_M_API int32_t morvex_m_waveform_noise_##S(T* data, uint64_t count, T low, T high,             \
                                                   const uint32_t* seed);                              \
  MORVEX_M_API int32_t morvex_m_add_noise_##S(T* data, uint64_t count, T amplitude, T lower, T upper,  \
                                              const uint32_t* seed);

MORVEX_M_NOISE_DECLARE(int16_t, i16)
MORVEX_M_NOISE_DECLARE(uint8_t, u8)
MORVEX_M_NOISE_DECLARE(uint16_t, u16)
MORVEX_M_NOISE_DECLARE(float, f32)
MORVEX_M_NOISE_DECLARE(double, f64)

#undef MORVEX_M_NOISE_DECLARE

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_GENERATE_H */
