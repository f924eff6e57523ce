/*
 * Element-wise operations beyond arithmetic: absolute value, conversion with
 * calibration (scale and offset), shift with clipping.
 *
 * The exports in this header that go through a kernel slot (absolute value,
 * the conversions, shift-right-with-clip) need morvex_m_init first: their
 * processor kernel is chosen at start-up and on every option change.
 */
#ifndef MORVEX_M_OPS_H
#define MORVEX_M_OPS_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------ abs
 * out[i] = in[i] with the sign bit cleared (-0 -> +0, -NaN -> NaN).
 * Kernels: plain, AVX. Returns 0. Needs init. */
MORVEX_M_API int32_t morvex_m_abs_f32(const float* in, float* out, uint64_t count);
MORVEX_M_API int32_t morvex_m_abs_f64(const double* in, double* out, uint64_t count);

/* ------------------------------------------------------------------ convert
 * out[i] = (float)in[i] * scale + offset in single precision (..f32), or
 * (double)in[i] * scale + offset in double precision (..f64): a multiply then
 * an add. The u8 and u16 conversions have processor kernels (SSE4.2, AVX,
 * AVX2+FMA3, AVX-512F+CD); the AVX2 and AVX-512 ones compute one fused
 * multiply-add, so their last bit may differ from the plain kernel's.
 * convert_f64f32 widens scale and offset to double, computes in double and
 * rounds to single at the end. All return 0. Need init. */
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

/* ------------------------------------------------------------------ shr_clip
 * v = in[i] >> shift (as a 32-bit value); out[i] = high if v > high, else low
 * if v < low, else v. The test against high comes first, so with low > high
 * everything not above high becomes low. Kernels: plain, SSE4.2, AVX2+FMA3.
 * Returns 0. Needs init. */
MORVEX_M_API int32_t morvex_m_shr_clip_u8(const uint8_t* in, uint8_t* out, uint64_t count, uint8_t shift,
                                          uint8_t low, uint8_t high);
MORVEX_M_API int32_t morvex_m_shr_clip_u16(const uint16_t* in, uint16_t* out, uint64_t count, uint8_t shift,
                                           uint16_t low, uint16_t high);

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_OPS_H */
