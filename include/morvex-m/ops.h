/*
 * Element-wise operations beyond arithmetic: math functions, conversion with
 * calibration (scale and offset), clipping and fill, bit and shift
 * operations, channel deinterleave and phase unwrap.
 *
 * Conventions (as for arithmetic): input array(s), then output(s), then the
 * element count (unsigned 64-bit, in elements), then scalars. Arrays are the
 * caller's; no pointer is checked; a count of 0 touches nothing (the one
 * exception is unwrap with a NaN state, see there). Most exports return 0
 * ("Success"); clip and andc return nothing, erf returns its value.
 *
 * The exports that go through a kernel slot (abs, the conversions,
 * shr_clip) need morvex_m_init first: their processor kernel is chosen at
 * start-up and on every option change (called before it, they run their
 * plain kernel). deinterleave2..4 read the option
 * and magnitude_c32f32 read the option flags at each call (before init they
 * take the plain loop). Everything else works without init.
 *
 * Threading: every export is a pure function of its arguments and may run on
 * any number of threads at once over distinct outputs. unwrap's state belongs
 * to one signal and so to one thread at a time. Do not change options while
 * other threads run operations.
 */
#ifndef MORVEX_M_OPS_H
#define MORVEX_M_OPS_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------ math functions
 * out[i] = f(in[i]) with f the C math library function of the same name and
 * precision (acosf for _f32, acos for _f64), element by element: results,
 * special values (zeros, infinities, NaN) and errno reports are the
 * library's, bit for bit. out may equal in.
 *
 *   acos acosh asin asinh atan atanh cbrt cos cosh exp exp2 sin sinh sqrt
 *   tan tanh                                 in, out, count
 *   atan2   y, x, out, count                 out[i] = atan2(y[i], x[i])
 *   hypot   a, b, out, count                 out[i] = hypot(a[i], b[i])
 *   sincos  in, sin_out, cos_out, count      both at once; pass three
 *                                            distinct arrays
 *   log log2 log10  in, out, count, scale    out[i] = log(in[i]) * scale
 *                                            (log10 with scale 20 gives dB of
 *                                            an amplitude, 10 of a power)
 *   logn    in, out, count, base, scale      out[i] = log(in[i]) * f with
 *                                            f = scale / log(base) formed once
 *                                            in the element type
 *   abs     in, out, count                   the sign bit cleared (-0 -> +0,
 *                                            -inf -> +inf, NaN keeps its
 *                                            payload). Kernel slot: plain,
 *                                            AVX. Needs init.
 *
 * Complex input (pairs re, im; real output):
 *   atan2_c32f32 / _c64f64     in, out, count   out[i] = cargf / carg of in[i]
 *   magnitude_c32f32 / _c64f64 in, out, count   out[i] = cabsf / cabs of in[i],
 *                                               identical element by element
 *                                               (magnitude_c32f32 picks an
 *                                               AVX-512F+CD kernel, else an
 *                                               AVX2+FMA3 kernel, at each call
 *                                               where enabled; same results;
 *                                               out may equal in)
 *
 * erf_f32(x) = erff(x), erf_f64(x) = erf(x): scalar functions.
 *
 * All array forms return 0.
 *
 * Example, a spectrum in dB:
 *   morvex_m_magnitude_c32f32(bins, mag, nbins);
 *   morvex_m_log10_f32(mag, db, nbins, 20.0f);
 */
#define MORVEX_M_MATH1_DECLARE(NAME)                                                                  \
  MORVEX_M_API int32_t morvex_m_##NAME##_f32(const float* in, float* out, uint64_t count);           \
  MORVEX_M_API int32_t morvex_m_##NAME##_f64(const double* in, double* out, uint64_t count);
MORVEX_M_MATH1_DECLARE(abs)
MORVEX_M_MATH1_DECLARE(acos)
MORVEX_M_MATH1_DECLARE(acosh)
MORVEX_M_MATH1_DECLARE(asin)
MORVEX_M_MATH1_DECLARE(asinh)
MORVEX_M_MATH1_DECLARE(atan)
MORVEX_M_MATH1_DECLARE(atanh)
MORVEX_M_MATH1_DECLARE(cbrt)
MORVEX_M_MATH1_DECLARE(cos)
MORVEX_M_MATH1_DECLARE(cosh)
MORVEX_M_MATH1_DECLARE(exp)
MORVEX_M_MATH1_DECLARE(exp2)
MORVEX_M_MATH1_DECLARE(sin)
MORVEX_M_MATH1_DECLARE(sinh)
MORVEX_M_MATH1_DECLARE(sqrt)
MORVEX_M_MATH1_DECLARE(tan)
MORVEX_M_MATH1_DECLARE(tanh)
#undef MORVEX_M_MATH1_DECLARE

MORVEX_M_API int32_t morvex_m_atan2_f32(const float* y, const float* x, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_atan2_f64(const double* y, const double* x, double* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_hypot_f32(const float* a, const float* b, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_hypot_f64(const double* a, const double* b, double* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_sincos_f32(const float* in, float* sin_out, float* cos_out, uint64_t count);
MORVEX_M_API int32_t morvex_m_sincos_f64(const double* in, double* sin_out, double* cos_out, uint64_t count);

MORVEX_M_API int32_t morvex_m_log_f32(const float* in, float* out, uint64_t count, float scale);
MORVEX_M_API int32_t morvex_m_log_f64(const double* in, double* out, uint64_t count, double scale);
MORVEX_M_API int32_t morvex_m_log2_f32(const float* in, float* out, uint64_t count, float scale);
MORVEX_M_API int32_t morvex_m_log2_f64(const double* in, double* out, uint64_t count, double scale);
MORVEX_M_API int32_t morvex_m_log10_f32(const float* in, float* out, uint64_t count, float scale);
MORVEX_M_API int32_t morvex_m_log10_f64(const double* in, double* out, uint64_t count, double scale);
MORVEX_M_API int32_t morvex_m_logn_f32(const float* in, float* out, uint64_t count, float base, float scale);
MORVEX_M_API int32_t morvex_m_logn_f64(const double* in, double* out, uint64_t count, double base, double scale);

MORVEX_M_API int32_t morvex_m_atan2_c32f32(const morvex_m_c32f32* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_atan2_c64f64(const morvex_m_c64f64* in, double* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_magnitude_c32f32(const morvex_m_c32f32* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_magnitude_c64f64(const morvex_m_c64f64* in, double* out, uint64_t count);

MORVEX_M_API float morvex_m_erf_f32(float x);
MORVEX_M_API double morvex_m_erf_f64(double x);

/* ------------------------------------------------------------------ convert
 * Raw codes to calibrated values in one pass:
 *   ..f32: out[i] = (float)in[i] * scale + offset, in single precision;
 *   ..f64: out[i] = (double)in[i] * scale + offset, in double precision;
 * a multiply then an add. Input types i8 i16 i32 i64 u8 u16 u32 u64 (unsigned
 * converted as unsigned; 32- and 64-bit integers that a float cannot hold are
 * rounded to nearest). convert_f32f64 widens; convert_f64f32 widens scale and
 * offset to double, computes in double and rounds to single once at the end
 * (so 1e40 * 1e-10 gives 1e30, not infinity). Scale 1 and offset 0 give a
 * plain type conversion.
 *
 * Kernel slots; the u8 and u16 conversions have processor kernels (SSE4.2,
 * AVX, AVX2+FMA3, AVX-512F+CD). The AVX2 and AVX-512 kernels compute
 * in[i] * scale + offset as one fused multiply-add (a single rounding), so the
 * last bit of a result may depend on the processor and the options. Large
 * outputs are written with streaming stores (the values are the same).
 * Input and output must not overlap (convert_f64f32 may run in place).
 * All return 0. Need init.
 *
 * Example, 8-bit ADC codes to volts (code 128 is 0 V, 10 mV per code):
 *   morvex_m_convert_u8f32(raw, volts, n, 0.01f, -1.28f);
 */
#define MORVEX_M_CONVERT_DECLARE(TI, SI)                                                                    \
  MORVEX_M_API int32_t morvex_m_convert_##SI##f32(const TI* in, float* out, uint64_t count, float scale,    \
                                                  float offset);                                            \
  MORVEX_M_API int32_t morvex_m_convert_##SI##f64(const TI* in, double* out, uint64_t count, double scale,  \
                                                  double offset);
MORVEX_M_CONVERT_DECLARE(int8_t, i8)
MORVEX_M_CONVERT_DECLARE(int16_t, i16)
MORVEX_M_CONVERT_DECLARE(int32_t, i32)
MORVEX_M_CONVERT_DECLARE(int64_t, i64)
MORVEX_M_CONVERT_DECLARE(uint8_t, u8)
MORVEX_M_CONVERT_DECLARE(uint16_t, u16)
MORVEX_M_CONVERT_DECLARE(uint32_t, u32)
MORVEX_M_CONVERT_DECLARE(uint64_t, u64)
#undef MORVEX_M_CONVERT_DECLARE
MORVEX_M_API int32_t morvex_m_convert_f32f64(const float* in, double* out, uint64_t count, double scale,
                                             double offset);
MORVEX_M_API int32_t morvex_m_convert_f64f32(const double* in, float* out, uint64_t count, float scale,
                                             float offset);

/* ------------------------------------------------------------------ clip, set
 * clip: out[i] = min(max(in[i], low), high): first raised to low, then lowered
 * to high, so with low > high every element becomes high. The float forms
 * compare like the processor's ordered max/min with the element second: a
 * NaN element passes through unchanged. out may equal in. Returns nothing.
 *
 * set: out[i] = value for every i (set_u8 is a memory fill). Returns 0.
 *
 * Example: morvex_m_clip_f32(v, v, n, -1.0f, 1.0f);
 */
MORVEX_M_API void morvex_m_clip_u8(const uint8_t* in, uint8_t* out, uint64_t count, uint8_t low, uint8_t high);
MORVEX_M_API void morvex_m_clip_u16(const uint16_t* in, uint16_t* out, uint64_t count, uint16_t low,
                                    uint16_t high);
MORVEX_M_API void morvex_m_clip_f32(const float* in, float* out, uint64_t count, float low, float high);
MORVEX_M_API void morvex_m_clip_f64(const double* in, double* out, uint64_t count, double low, double high);

MORVEX_M_API int32_t morvex_m_set_u8(uint8_t* out, uint64_t count, uint8_t value);
MORVEX_M_API int32_t morvex_m_set_i16(int16_t* out, uint64_t count, int16_t value);
MORVEX_M_API int32_t morvex_m_set_u16(uint16_t* out, uint64_t count, uint16_t value);
MORVEX_M_API int32_t morvex_m_set_u32(uint32_t* out, uint64_t count, uint32_t value);
MORVEX_M_API int32_t morvex_m_set_f32(float* out, uint64_t count, float value);
MORVEX_M_API int32_t morvex_m_set_f64(double* out, uint64_t count, double value);

/* ------------------------------------------------------------------ bits and shifts
 * For packed sample words (an ADC code in some bits, flags in others).
 *   andc   in, out, count, mask          out[i] = in[i] & mask; returns nothing
 *   shl    in, out, count, shift         out[i] = in[i] << shift, truncated
 *   shr    in, out, count, shift         out[i] = in[i] >> shift (logical)
 * u8 and u16 are shifted as 32-bit values, so shifting by the element width
 * or more gives 0. Defined shift counts: below 32 (u8, u16, u32), below 64
 * (u64).
 *   shr_clip  in, out, count, shift, low, high
 *       v = in[i] >> shift; out[i] = high if v > high, else low if v < low,
 *       else v. The test against high comes first (unlike clip), so with
 *       low > high everything not above high becomes low. Kernel slot:
 *       plain, SSE4.2, AVX2+FMA3. Needs init.
 *   bit_mask_set_u16  in, out, count, mask, bits
 *       out[i] = (in[i] & ~mask) | bits (bits outside mask are set too).
 *   bit_mask_test_u16 data, count, mask, value, position
 *       Searches from *position for the first i with (data[i] & mask) ==
 *       value and stores i in *position, or count when there is none (also
 *       when *position is already at or past count). Resume after a hit with
 *       *position + 1.
 * out may equal in. All but andc return 0.
 *
 * Example, find every sample with the trigger flag (bit 15) set:
 *   for (uint64_t p = 0;; ++p) {
 *     morvex_m_bit_mask_test_u16(words, n, 0x8000, 0x8000, &p);
 *     if (p == n) break;
 *     ... sample p ...
 *   }
 */
#define MORVEX_M_BITS_DECLARE(T, S)                                                                       \
  MORVEX_M_API void morvex_m_andc_##S(const T* in, T* out, uint64_t count, T mask);                       \
  MORVEX_M_API int32_t morvex_m_shl_##S(const T* in, T* out, uint64_t count, uint8_t shift);              \
  MORVEX_M_API int32_t morvex_m_shr_##S(const T* in, T* out, uint64_t count, uint8_t shift);
MORVEX_M_BITS_DECLARE(uint8_t, u8)
MORVEX_M_BITS_DECLARE(uint16_t, u16)
MORVEX_M_BITS_DECLARE(uint32_t, u32)
MORVEX_M_BITS_DECLARE(uint64_t, u64)
#undef MORVEX_M_BITS_DECLARE
MORVEX_M_API int32_t morvex_m_shr_clip_u8(const uint8_t* in, uint8_t* out, uint64_t count, uint8_t shift,
                                          uint8_t low, uint8_t high);
MORVEX_M_API int32_t morvex_m_shr_clip_u16(const uint16_t* in, uint16_t* out, uint64_t count, uint8_t shift,
                                           uint16_t low, uint16_t high);
MORVEX_M_API int32_t morvex_m_bit_mask_set_u16(const uint16_t* in, uint16_t* out, uint64_t count, uint16_t mask,
                                               uint16_t bits);
MORVEX_M_API int32_t morvex_m_bit_mask_test_u16(const uint16_t* data, uint64_t count, uint16_t mask,
                                                uint16_t value, uint64_t* position);

/* ------------------------------------------------------------------ deinterleave
 * deinterleaveN_u8 / _u16 (N = 2..6): src holds `total` samples, all channels
 * together, interleaved (ch0, ch1, ..., ch N-1, ch0, ...). With q = total / N
 * and r = total % N, channel k receives q samples, plus one more from the
 * incomplete last frame when k < r: nothing is dropped. A total of 0 or below
 * copies nothing. The destinations must not overlap the source. The 2- to
 * 4-channel forms pick a processor kernel at each call (AVX2+FMA3 for 2
 * channels of u8, SSE4.2); every kernel gives the same output. Returns 0.
 *
 * deinterleave (any sample size): copies `count` samples of `size` bytes of
 * channel `channel` (from 0) out of a block of `channels` channels into dst:
 * the source starts at src + channel * size with a stride of channels * size
 * bytes. A single channel is one block copy. channel must be below channels
 * (not checked). A count of 0 or below copies nothing. Returns 0.
 *
 * Example, a two-channel 16-bit block of 2n samples:
 *   morvex_m_deinterleave2_u16(block, 2 * n, chan_a, chan_b);
 */
MORVEX_M_API int32_t morvex_m_deinterleave2_u8(const uint8_t* src, int32_t total, uint8_t* dst0, uint8_t* dst1);
MORVEX_M_API int32_t morvex_m_deinterleave3_u8(const uint8_t* src, int32_t total, uint8_t* dst0, uint8_t* dst1,
                                               uint8_t* dst2);
MORVEX_M_API int32_t morvex_m_deinterleave4_u8(const uint8_t* src, int32_t total, uint8_t* dst0, uint8_t* dst1,
                                               uint8_t* dst2, uint8_t* dst3);
MORVEX_M_API int32_t morvex_m_deinterleave5_u8(const uint8_t* src, int32_t total, uint8_t* dst0, uint8_t* dst1,
                                               uint8_t* dst2, uint8_t* dst3, uint8_t* dst4);
MORVEX_M_API int32_t morvex_m_deinterleave6_u8(const uint8_t* src, int32_t total, uint8_t* dst0, uint8_t* dst1,
                                               uint8_t* dst2, uint8_t* dst3, uint8_t* dst4, uint8_t* dst5);
MORVEX_M_API int32_t morvex_m_deinterleave2_u16(const uint16_t* src, int32_t total, uint16_t* dst0,
                                                uint16_t* dst1);
MORVEX_M_API int32_t morvex_m_deinterleave3_u16(const uint16_t* src, int32_t total, uint16_t* dst0,
                                                uint16_t* dst1, uint16_t* dst2);
MORVEX_M_API int32_t morvex_m_deinterleave4_u16(const uint16_t* src, int32_t total, uint16_t* dst0,
                                                uint16_t* dst1, uint16_t* dst2, uint16_t* dst3);
MORVEX_M_API int32_t morvex_m_deinterleave5_u16(const uint16_t* src, int32_t total, uint16_t* dst0,
                                                uint16_t* dst1, uint16_t* dst2, uint16_t* dst3, uint16_t* dst4);
MORVEX_M_API int32_t morvex_m_deinterleave6_u16(const uint16_t* src, int32_t total, uint16_t* dst0,
                                                uint16_t* dst1, uint16_t* dst2, uint16_t* dst3, uint16_t* dst4,
                                                uint16_t* dst5);
MORVEX_M_API int32_t morvex_m_deinterleave(const void* src, uint64_t channel, uint64_t channels, int64_t count,
                                           uint64_t size, void* dst);

/* ------------------------------------------------------------------ unwrap
 * Removes the 2-pi jumps of a phase signal, block by block. *state is the
 * last output of the previous call; set it to NaN to start a new signal, pass
 * it back unchanged to continue one (a record cut into blocks then gives what
 * one call over the whole record gives).
 *
 * With a NaN state, out[0] = in[0] starts the signal, and this happens even
 * for a count of 0 (in[0] is read and out[0] written). Then for every other
 * element: d = in[i] - s (in the element type), w = d wrapped into [-pi, pi]
 * through fmod in double (a difference of exactly +pi stays +pi, -pi stays
 * -pi), out[i] = (w - d) + in[i] rounded to the element type, s = out[i].
 * Each step is wrapped, without threshold. A NaN or infinite output (from
 * a NaN or infinite sample) ends the signal: the next sample starts a new
 * one, as an infinite state does too, so a dropout loses nothing after it
 * and a record cut into blocks gives one call's result whatever it holds.
 * out may equal in. Returns 0.
 *
 * Example:
 *   double s = NAN;
 *   for (each block) morvex_m_unwrap_f64(phase, unwrapped, n, &s);
 */
MORVEX_M_API int32_t morvex_m_unwrap_f32(const float* in, float* out, uint64_t count, float* state);
MORVEX_M_API int32_t morvex_m_unwrap_f64(const double* in, double* out, uint64_t count, double* state);

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_OPS_H */
