/* SPDX-License-Identifier: MIT */
/**
 * @file morvex-m/ops.h
 * @brief Element-wise operations beyond arithmetic: math functions,
 *        calibrated conversion, clipping and fill, bits and shifts, channel
 *        deinterleave and phase unwrap.
 */
#ifndef MORVEX_M_OPS_H
#define MORVEX_M_OPS_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup elementwise Element-wise operations
 * @brief One output element per input element (or per frame of interleaved
 *        input).
 *
 * Conventions: input array(s), then output(s), then the element count
 * (unsigned 64-bit, in elements), then scalars. Arrays are the caller's; no
 * pointer is checked; a count of 0 touches nothing (the one exception is
 * unwrap with a NaN state). Most exports return 0 ("Success"); the clip and
 * `andc` exports return nothing, the `erf` exports return their value.
 *
 * **Start-up.** The exports that go through a kernel slot (`abs`, the
 * conversions, `shr_clip`) need morvex_m_init() first: their processor kernel
 * is chosen at start-up and on every option change (called before it, they
 * run their plain kernel). The others choose their
 * kernel from the options at each call (before init they take the plain loop)
 * or have only one; they work without init.
 *
 * **Threading.** Every export is a pure function of its arguments and may run
 * on any number of threads at once over distinct outputs. An unwrap state
 * belongs to one signal, and so to one thread at a time. Do not change
 * options while other threads run operations.
 */

/**
 * @defgroup math Math functions
 * @ingroup elementwise
 * @brief The C math library's functions, element by element.
 *
 * `out[i] = f(in[i])` with `f` the C math library function of the same name
 * and precision (`acosf` for `_f32`, `acos` for `_f64`): results, special
 * values (zeros, infinities, NaN) and `errno` reports are the C library's,
 * bit for bit. `out` may equal `in` (for `magnitude` too).
 *
 * | operation | arguments | result |
 * |---|---|---|
 * | `acos acosh asin asinh atan atanh cbrt` | in, out, count | `out[i] = f(in[i])` |
 * | `cos cosh exp exp2 sin sinh sqrt tan tanh` | in, out, count | `out[i] = f(in[i])` |
 * | `atan2` | y, x, out, count | `out[i] = atan2(y[i], x[i])` |
 * | `hypot` | a, b, out, count | `out[i] = hypot(a[i], b[i])` |
 * | `sincos` | in, sin_out, cos_out, count | both at once; pass three distinct arrays |
 * | `log log2 log10` | in, out, count, scale | `out[i] = log(in[i]) * scale` |
 * | `logn` | in, out, count, base, scale | `out[i] = log(in[i]) * f`, `f = scale / log(base)` |
 * | `abs` | in, out, count | the sign bit cleared (-0 gives +0, -inf +inf, a NaN keeps its payload) |
 * | `atan2_c32f32 _c64f64` | in, out, count | `cargf` / `carg` of each complex element |
 * | `magnitude_c32f32 _c64f64` | in, out, count | `cabsf` / `cabs` of each complex element |
 * | `erf_f32 _f64` | x | `erff(x)` / `erf(x)`: scalar functions |
 *
 * `logn` forms `f` once, in the element type. `log10` with scale 20 gives
 * the dB of an amplitude, with scale 10 those of a power.
 *
 * **Statuses.** The array forms return 0.
 *
 * **Kernels.** `abs` goes through a kernel slot (plain, AVX) and needs
 * morvex_m_init(). `magnitude_c32f32` picks an AVX-512F+CD kernel, else an
 * AVX2+FMA3 kernel, at each call where the options enable them; every kernel
 * gives `cabsf`'s result element by element.
 *
 * **Example**, a spectrum in dB:
 * @code{.c}
 * morvex_m_magnitude_c32f32(bins, mag, nbins);
 * morvex_m_log10_f32(mag, db, nbins, 20.0f);
 * @endcode
 * @{
 */

/** @brief `out[i] = |in[i]|` (sign bit cleared; kernel slot, needs init) @{ */
MORVEX_M_API int32_t morvex_m_abs_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_abs_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = acos(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_acos_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_acos_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = acosh(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_acosh_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_acosh_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = asin(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_asin_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_asin_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = asinh(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_asinh_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_asinh_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = atan(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_atan_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_atan_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = atanh(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_atanh_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_atanh_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = cbrt(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_cbrt_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_cbrt_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = cos(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_cos_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_cos_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = cosh(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_cosh_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_cosh_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = exp(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_exp_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_exp_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = exp2(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_exp2_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_exp2_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = sin(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_sin_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_sin_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = sinh(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_sinh_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_sinh_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = sqrt(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_sqrt_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_sqrt_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = tan(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_tan_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_tan_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = tanh(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_tanh_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_tanh_f64(const double* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = atan2(y[i], x[i])` @{ */
MORVEX_M_API int32_t morvex_m_atan2_f32(const float* y, const float* x, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_atan2_f64(const double* y, const double* x, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = hypot(a[i], b[i])` @{ */
MORVEX_M_API int32_t morvex_m_hypot_f32(const float* a, const float* b, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_hypot_f64(const double* a, const double* b, double* out, uint64_t count);
/** @} */
/** @brief `sin_out[i] = sin(in[i])`, `cos_out[i] = cos(in[i])` @{ */
MORVEX_M_API int32_t morvex_m_sincos_f32(const float* in, float* sin_out, float* cos_out, uint64_t count);
MORVEX_M_API int32_t morvex_m_sincos_f64(const double* in, double* sin_out, double* cos_out, uint64_t count);
/** @} */
/** @brief `out[i] = log(in[i]) * scale` @{ */
MORVEX_M_API int32_t morvex_m_log_f32(const float* in, float* out, uint64_t count, float scale);
MORVEX_M_API int32_t morvex_m_log_f64(const double* in, double* out, uint64_t count, double scale);
/** @} */
/** @brief `out[i] = log2(in[i]) * scale` @{ */
MORVEX_M_API int32_t morvex_m_log2_f32(const float* in, float* out, uint64_t count, float scale);
MORVEX_M_API int32_t morvex_m_log2_f64(const double* in, double* out, uint64_t count, double scale);
/** @} */
/** @brief `out[i] = log10(in[i]) * scale` @{ */
MORVEX_M_API int32_t morvex_m_log10_f32(const float* in, float* out, uint64_t count, float scale);
MORVEX_M_API int32_t morvex_m_log10_f64(const double* in, double* out, uint64_t count, double scale);
/** @} */
/** @brief `out[i] = log(in[i]) * (scale / log(base))` @{ */
MORVEX_M_API int32_t morvex_m_logn_f32(const float* in, float* out, uint64_t count, float base, float scale);
MORVEX_M_API int32_t morvex_m_logn_f64(const double* in, double* out, uint64_t count, double base,
                                       double scale);
/** @} */
/** @brief `out[i] = carg(in[i])`, the phase of each complex element @{ */
MORVEX_M_API int32_t morvex_m_atan2_c32f32(const morvex_m_c32f32* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_atan2_c64f64(const morvex_m_c64f64* in, double* out, uint64_t count);
/** @} */
/** @brief `out[i] = cabs(in[i])`, the magnitude of each complex element @{ */
MORVEX_M_API int32_t morvex_m_magnitude_c32f32(const morvex_m_c32f32* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_magnitude_c64f64(const morvex_m_c64f64* in, double* out, uint64_t count);
/** @} */
/** @brief `erf(x)`, scalar @{ */
MORVEX_M_API float morvex_m_erf_f32(float x);
MORVEX_M_API double morvex_m_erf_f64(double x);
/** @} */

/** @} */

/**
 * @defgroup convert Conversion
 * @ingroup elementwise
 * @brief Raw codes to calibrated values in one pass: `out[i] = in[i] * scale + offset`.
 *
 * - `convert_<T>f32(in, out, count, scale, offset)`:
 *   `out[i] = (float)in[i] * scale + offset`, in single precision;
 * - `convert_<T>f64(in, out, count, scale, offset)`:
 *   `out[i] = (double)in[i] * scale + offset`, in double precision;
 *
 * a multiply then an add. Input types `i8 i16 i32 i64 u8 u16 u32 u64`
 * (unsigned converted as unsigned; 32- and 64-bit integers that a float
 * cannot hold are rounded to nearest). `convert_f32f64` widens;
 * `convert_f64f32` widens scale and offset to double, computes in double and
 * rounds to single once at the end (so 1e40 * 1e-10 gives 1e30, not
 * infinity). Scale 1 and offset 0 give a plain type conversion.
 *
 * **Statuses.** All return 0.
 *
 * **Kernels and accuracy.** Kernel slots, so morvex_m_init() must have run.
 * The u8 and u16 conversions have processor kernels (SSE4.2, AVX, AVX2+FMA3,
 * AVX-512F+CD). The AVX2 and AVX-512 kernels compute `in[i] * scale + offset`
 * as one fused multiply-add (a single rounding), so the last bit of a result
 * may depend on the processor and the options; every other kernel gives the
 * plain result bit for bit. Large outputs are written with streaming stores
 * (the values are the same).
 *
 * **Arrays.** Input and output must not overlap (`convert_f64f32` may run in
 * place).
 *
 * **Example**, 8-bit ADC codes to volts (code 128 is 0 V, 10 mV per code):
 * @code{.c}
 * morvex_m_convert_u8f32(raw, volts, n, 0.01f, -1.28f);
 * @endcode
 * @{
 */

/** @brief `out[i] = (float)in[i] * scale + offset` @{ */
MORVEX_M_API int32_t morvex_m_convert_i8f32(const int8_t* in, float* out, uint64_t count, float scale,
                                            float offset);
MORVEX_M_API int32_t morvex_m_convert_i16f32(const int16_t* in, float* out, uint64_t count, float scale,
                                             float offset);
MORVEX_M_API int32_t morvex_m_convert_i32f32(const int32_t* in, float* out, uint64_t count, float scale,
                                             float offset);
MORVEX_M_API int32_t morvex_m_convert_i64f32(const int64_t* in, float* out, uint64_t count, float scale,
                                             float offset);
MORVEX_M_API int32_t morvex_m_convert_u8f32(const uint8_t* in, float* out, uint64_t count, float scale,
                                            float offset);
MORVEX_M_API int32_t morvex_m_convert_u16f32(const uint16_t* in, float* out, uint64_t count, float scale,
                                             float offset);
MORVEX_M_API int32_t morvex_m_convert_u32f32(const uint32_t* in, float* out, uint64_t count, float scale,
                                             float offset);
MORVEX_M_API int32_t morvex_m_convert_u64f32(const uint64_t* in, float* out, uint64_t count, float scale,
                                             float offset);
/** @} */
/** @brief `out[i] = (double)in[i] * scale + offset` @{ */
MORVEX_M_API int32_t morvex_m_convert_i8f64(const int8_t* in, double* out, uint64_t count, double scale,
                                            double offset);
MORVEX_M_API int32_t morvex_m_convert_i16f64(const int16_t* in, double* out, uint64_t count, double scale,
                                             double offset);
MORVEX_M_API int32_t morvex_m_convert_i32f64(const int32_t* in, double* out, uint64_t count, double scale,
                                             double offset);
MORVEX_M_API int32_t morvex_m_convert_i64f64(const int64_t* in, double* out, uint64_t count, double scale,
                                             double offset);
MORVEX_M_API int32_t morvex_m_convert_u8f64(const uint8_t* in, double* out, uint64_t count, double scale,
                                            double offset);
MORVEX_M_API int32_t morvex_m_convert_u16f64(const uint16_t* in, double* out, uint64_t count, double scale,
                                             double offset);
MORVEX_M_API int32_t morvex_m_convert_u32f64(const uint32_t* in, double* out, uint64_t count, double scale,
                                             double offset);
MORVEX_M_API int32_t morvex_m_convert_u64f64(const uint64_t* in, double* out, uint64_t count, double scale,
                                             double offset);
/** @} */
/** @brief `out[i] = (double)in[i] * scale + offset`, widening floats @{ */
MORVEX_M_API int32_t morvex_m_convert_f32f64(const float* in, double* out, uint64_t count, double scale,
                                             double offset);
/** @} */
/** @brief `out[i] = (float)(in[i] * (double)scale + (double)offset)`, rounded once @{ */
MORVEX_M_API int32_t morvex_m_convert_f64f32(const double* in, float* out, uint64_t count, float scale,
                                             float offset);
/** @} */

/** @} */

/**
 * @defgroup clip Clipping and fill
 * @ingroup elementwise
 * @brief Clamp every element into a range; fill an array with one value.
 *
 * `clip(in, out, count, low, high)`: `out[i] = min(max(in[i], low), high)`:
 * first raised to `low`, then lowered to `high`, so with `low > high` every
 * element becomes `high`. The float forms compare like the processor's
 * ordered max/min with the element second: a NaN element passes through
 * unchanged. `out` may equal `in`. Returns nothing.
 *
 * `set(out, count, value)`: `out[i] = value` for every i (`set_u8` is a
 * memory fill). Returns 0.
 *
 * No pointer is checked; pure functions, safe from any number of threads.
 *
 * **Example**:
 * @code{.c}
 * morvex_m_clip_f32(v, v, n, -1.0f, 1.0f);
 * @endcode
 * @{
 */

/** @brief `out[i] = min(max(in[i], low), high)` @{ */
MORVEX_M_API void morvex_m_clip_u8(const uint8_t* in, uint8_t* out, uint64_t count, uint8_t low,
                                   uint8_t high);
MORVEX_M_API void morvex_m_clip_u16(const uint16_t* in, uint16_t* out, uint64_t count, uint16_t low,
                                    uint16_t high);
MORVEX_M_API void morvex_m_clip_f32(const float* in, float* out, uint64_t count, float low, float high);
MORVEX_M_API void morvex_m_clip_f64(const double* in, double* out, uint64_t count, double low, double high);
/** @} */
/** @brief `out[i] = value` @{ */
MORVEX_M_API int32_t morvex_m_set_u8(uint8_t* out, uint64_t count, uint8_t value);
MORVEX_M_API int32_t morvex_m_set_i16(int16_t* out, uint64_t count, int16_t value);
MORVEX_M_API int32_t morvex_m_set_u16(uint16_t* out, uint64_t count, uint16_t value);
MORVEX_M_API int32_t morvex_m_set_u32(uint32_t* out, uint64_t count, uint32_t value);
MORVEX_M_API int32_t morvex_m_set_f32(float* out, uint64_t count, float value);
MORVEX_M_API int32_t morvex_m_set_f64(double* out, uint64_t count, double value);
/** @} */

/** @} */

/**
 * @defgroup bits Bits and shifts
 * @ingroup elementwise
 * @brief For packed sample words: an ADC code in some bits, flags in others.
 *
 * | operation | arguments | result |
 * |---|---|---|
 * | `andc` | in, out, count, mask | `out[i] = in[i] & mask`; returns nothing |
 * | `shl` | in, out, count, shift | `out[i] = in[i] << shift`, truncated to the element |
 * | `shr` | in, out, count, shift | `out[i] = in[i] >> shift` (logical) |
 * | `shr_clip` | in, out, count, shift, low, high | `v = in[i] >> shift` clipped: see below |
 * | `bit_mask_test_u16` | data, count, mask, value, position | see below |
 *
 * `bit_mask_set_u16(in, out, count, mask, bits)` clears the bits of `mask`
 * and sets those of `bits`: `out[i] = (in[i] & ~mask) | bits` (bits outside
 * `mask` are set too).
 *
 * u8 and u16 are shifted as 32-bit values, so shifting by the element width
 * or more gives 0. Defined shift counts: below 32 (u8, u16, u32), below 64
 * (u64).
 *
 * `shr_clip`: `out[i] = high` if `v > high`, else `low` if `v < low`, else
 * `v`. It tests against `high` first (unlike clip), so with `low > high`
 * everything not above `high` becomes `low`. It goes through a kernel slot
 * (plain, SSE4.2, AVX2+FMA3, all with the same results) and needs
 * morvex_m_init().
 *
 * `bit_mask_test_u16` searches from `*position` for the first i with
 * `(data[i] & mask) == value` and stores the index found in
 * `*position`, or `count` when there is none (also when `*position` is
 * already at or past `count`). Resume after a hit with `*position + 1`.
 *
 * `out` may equal `in`. All but `andc` return 0.
 *
 * **Example**, find every sample with the trigger flag (bit 15) set:
 * @code{.c}
 * for (uint64_t p = 0;; ++p) {
 *   morvex_m_bit_mask_test_u16(words, n, 0x8000, 0x8000, &p);
 *   if (p == n) break;
 *   handle(p);
 * }
 * @endcode
 * @{
 */

/** @brief `out[i] = in[i] & mask` @{ */
MORVEX_M_API void morvex_m_andc_u8(const uint8_t* in, uint8_t* out, uint64_t count, uint8_t mask);
MORVEX_M_API void morvex_m_andc_u16(const uint16_t* in, uint16_t* out, uint64_t count, uint16_t mask);
MORVEX_M_API void morvex_m_andc_u32(const uint32_t* in, uint32_t* out, uint64_t count, uint32_t mask);
MORVEX_M_API void morvex_m_andc_u64(const uint64_t* in, uint64_t* out, uint64_t count, uint64_t mask);
/** @} */
/** @brief `out[i] = in[i] << shift` @{ */
MORVEX_M_API int32_t morvex_m_shl_u8(const uint8_t* in, uint8_t* out, uint64_t count, uint8_t shift);
MORVEX_M_API int32_t morvex_m_shl_u16(const uint16_t* in, uint16_t* out, uint64_t count, uint8_t shift);
MORVEX_M_API int32_t morvex_m_shl_u32(const uint32_t* in, uint32_t* out, uint64_t count, uint8_t shift);
MORVEX_M_API int32_t morvex_m_shl_u64(const uint64_t* in, uint64_t* out, uint64_t count, uint8_t shift);
/** @} */
/** @brief `out[i] = in[i] >> shift` (logical) @{ */
MORVEX_M_API int32_t morvex_m_shr_u8(const uint8_t* in, uint8_t* out, uint64_t count, uint8_t shift);
MORVEX_M_API int32_t morvex_m_shr_u16(const uint16_t* in, uint16_t* out, uint64_t count, uint8_t shift);
MORVEX_M_API int32_t morvex_m_shr_u32(const uint32_t* in, uint32_t* out, uint64_t count, uint8_t shift);
MORVEX_M_API int32_t morvex_m_shr_u64(const uint64_t* in, uint64_t* out, uint64_t count, uint8_t shift);
/** @} */
/** @brief `out[i] = in[i] >> shift`, then clipped to `[low, high]` (kernel slot, needs init) @{ */
MORVEX_M_API int32_t morvex_m_shr_clip_u8(const uint8_t* in, uint8_t* out, uint64_t count, uint8_t shift,
                                          uint8_t low, uint8_t high);
MORVEX_M_API int32_t morvex_m_shr_clip_u16(const uint16_t* in, uint16_t* out, uint64_t count, uint8_t shift,
                                           uint16_t low, uint16_t high);
/** @} */
/** @brief `out[i] = (in[i] & ~mask) | bits` @{ */
MORVEX_M_API int32_t morvex_m_bit_mask_set_u16(const uint16_t* in, uint16_t* out, uint64_t count,
                                               uint16_t mask, uint16_t bits);
/** @} */
/** @brief The first index from `*position` on with `(data[i] & mask) == value` @{ */
MORVEX_M_API int32_t morvex_m_bit_mask_test_u16(const uint16_t* data, uint64_t count, uint16_t mask,
                                                uint16_t value, uint64_t* position);
/** @} */

/** @} */

/**
 * @defgroup deinterleave Deinterleave
 * @ingroup elementwise
 * @brief Split interleaved channels into one array per channel.
 *
 * `deinterleaveN_u8` / `_u16` (N = 2..6): `src` holds `total` samples, all
 * channels together, interleaved (ch0, ch1, ..., ch N-1, ch0, ...). With
 * `q = total / N` and `r = total % N`, channel k receives q samples, plus one
 * more from the incomplete last frame when `k < r`: nothing is dropped. A
 * total of 0 or below copies nothing. The 2- to 4-channel forms pick a
 * processor kernel at each call (for 2 channels AVX-512BW, else AVX2+FMA3;
 * then SSE4.2); every kernel gives the same output.
 *
 * `deinterleave` (any sample size) copies `count` samples of `size` bytes of
 * channel `channel` (from 0) out of a block of `channels` channels into
 * `dst`: the source starts at `src + channel * size` with a stride of
 * `channels * size` bytes. A single channel is one block copy. `channel`
 * must be below `channels` (not checked). A count of 0 or below copies
 * nothing.
 *
 * The destinations must not overlap the source. All return 0. Pure
 * functions, safe from any number of threads.
 *
 * **Example**, a two-channel 16-bit block of 2n samples:
 * @code{.c}
 * morvex_m_deinterleave2_u16(block, 2 * n, chan_a, chan_b);
 * @endcode
 * @{
 */

/** @brief Two channels out of `total` interleaved samples @{ */
MORVEX_M_API int32_t morvex_m_deinterleave2_u8(const uint8_t* src, int32_t total, uint8_t* dst0,
                                               uint8_t* dst1);
MORVEX_M_API int32_t morvex_m_deinterleave2_u16(const uint16_t* src, int32_t total, uint16_t* dst0,
                                                uint16_t* dst1);
/** @} */
/** @brief Three channels out of `total` interleaved samples @{ */
MORVEX_M_API int32_t morvex_m_deinterleave3_u8(const uint8_t* src, int32_t total, uint8_t* dst0,
                                               uint8_t* dst1, uint8_t* dst2);
MORVEX_M_API int32_t morvex_m_deinterleave3_u16(const uint16_t* src, int32_t total, uint16_t* dst0,
                                                uint16_t* dst1, uint16_t* dst2);
/** @} */
/** @brief Four channels out of `total` interleaved samples @{ */
MORVEX_M_API int32_t morvex_m_deinterleave4_u8(const uint8_t* src, int32_t total, uint8_t* dst0,
                                               uint8_t* dst1, uint8_t* dst2, uint8_t* dst3);
MORVEX_M_API int32_t morvex_m_deinterleave4_u16(const uint16_t* src, int32_t total, uint16_t* dst0,
                                                uint16_t* dst1, uint16_t* dst2, uint16_t* dst3);
/** @} */
/** @brief Five channels out of `total` interleaved samples @{ */
MORVEX_M_API int32_t morvex_m_deinterleave5_u8(const uint8_t* src, int32_t total, uint8_t* dst0,
                                               uint8_t* dst1, uint8_t* dst2, uint8_t* dst3, uint8_t* dst4);
MORVEX_M_API int32_t morvex_m_deinterleave5_u16(const uint16_t* src, int32_t total, uint16_t* dst0,
                                                uint16_t* dst1, uint16_t* dst2, uint16_t* dst3,
                                                uint16_t* dst4);
/** @} */
/** @brief Six channels out of `total` interleaved samples @{ */
MORVEX_M_API int32_t morvex_m_deinterleave6_u8(const uint8_t* src, int32_t total, uint8_t* dst0,
                                               uint8_t* dst1, uint8_t* dst2, uint8_t* dst3, uint8_t* dst4,
                                               uint8_t* dst5);
MORVEX_M_API int32_t morvex_m_deinterleave6_u16(const uint16_t* src, int32_t total, uint16_t* dst0,
                                                uint16_t* dst1, uint16_t* dst2, uint16_t* dst3,
                                                uint16_t* dst4, uint16_t* dst5);
/** @} */
/** @brief One channel of samples of any size out of an interleaved block @{ */
MORVEX_M_API int32_t morvex_m_deinterleave(const void* src, uint64_t channel, uint64_t channels,
                                           int64_t count, uint64_t size, void* dst);
/** @} */

/** @} */

/**
 * @defgroup unwrap Phase unwrap
 * @ingroup elementwise
 * @brief Remove the 2-pi jumps of a phase signal, block by block.
 *
 * `unwrap(in, out, count, state)`: `*state` is the last output of the
 * previous call; set it to NaN to start a new signal, pass it back unchanged
 * to continue one (a record cut into blocks then gives what one call over the
 * whole record gives).
 *
 * With a NaN state, `out[0] = in[0]` starts the signal, and this happens even
 * for a count of 0 (`in[0]` is read and `out[0]` written). Then for every
 * other element: `d = in[i] - s` (in the element type), `w` = `d` wrapped into
 * [-pi, pi] through `fmod` in double (a difference of exactly +pi stays +pi,
 * -pi stays -pi), `out[i] = (w - d) + in[i]` rounded to the element type,
 * `s = out[i]`. Each step is wrapped, without threshold. A NaN or infinite
 * sample makes its output NaN (or infinite) and, within the call, every
 * output after it NaN; the NaN state then handed back starts a new signal at
 * the next call. So a record of finite samples gives the same result
 * whatever the blocks, while one holding a dropout restarts at the first
 * block boundary after it: pass a NaN state yourself to restart earlier.
 * `out` may equal `in`. Returns 0.
 *
 * A state belongs to one signal and so to one thread at a time.
 *
 * **Example**:
 * @code{.c}
 * double s = NAN;
 * while (read_block(phase, n)) morvex_m_unwrap_f64(phase, unwrapped, n, &s);
 * @endcode
 * @{
 */

/** @brief Unwrap a block of phases, carrying the last output in `*state` @{ */
MORVEX_M_API int32_t morvex_m_unwrap_f32(const float* in, float* out, uint64_t count, float* state);
MORVEX_M_API int32_t morvex_m_unwrap_f64(const double* in, double* out, uint64_t count, double* state);
/** @} */

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_OPS_H */
