// SPDX-License-Identifier: MIT
// Conversion to floating point with calibration: out = T(in) * scale + offset,
// a multiply then an add in the output precision. The exports forward to their
// kernel slot. The raw-sample (u8, u16) conversions have processor variants in
// the slots; the other 32-bit-and-narrower ones and f32 <-> f64 have only
// their plain kernel there, which takes a wide path when the options allow it
// (frame/call_time.h: convert_wide) and the plain loop otherwise. The wide
// paths multiply then add exactly as the loop does, so the choice never
// changes a bit. The 64-bit integer inputs stay plain: their vector
// conversions need AVX-512DQ, which no dispatch condition guarantees.
#include "frame/call_time.h"
#include "frame/dispatch.h"
#include "morvex-m/ops.h"
#include "ops/kernels.h"

namespace morvex::ops {

namespace {

template <class TI, class TO>
void convert(const TI* in, TO* out, uint64_t n, TO scale, TO offset) {
  for (uint64_t i = 0; i < n; ++i) out[i] = TO(in[i]) * scale + offset;
}

// Formed in double and rounded once at the end, so that values beyond the
// single range (1e40 * 1e-10) still come out right.
void convert_narrow(const double* in, float* out, uint64_t n, float scale, float offset) {
  const double s = scale, o = offset;
  for (uint64_t i = 0; i < n; ++i) out[i] = float(in[i] * s + o);
}

using frame::call_time::convert_wide;

}  // namespace

#define MORVEX_CONVERT_PLAIN(TI, SI)                                                                  \
  void convert_##SI##f32_plain(const TI* in, float* out, uint64_t n, float scale, float offset) {      \
    convert(in, out, n, scale, offset);                                                               \
  }                                                                                                   \
  void convert_##SI##f64_plain(const TI* in, double* out, uint64_t n, double scale, double offset) {   \
    convert(in, out, n, scale, offset);                                                               \
  }
MORVEX_CONVERT_PLAIN(int64_t, i64)
MORVEX_CONVERT_PLAIN(uint8_t, u8)
MORVEX_CONVERT_PLAIN(uint16_t, u16)
MORVEX_CONVERT_PLAIN(uint64_t, u64)
#undef MORVEX_CONVERT_PLAIN

#define MORVEX_CONVERT_WIDE(TI, SI)                                                                         \
  void convert_##SI##f32_plain(const TI* in, float* out, uint64_t n, float scale, float offset) {            \
    convert_wide::choose(convert_##SI##f32_avx512, convert_##SI##f32_avx2, convert<TI, float>)(in, out, n, scale, \
                                                                                                offset);     \
  }                                                                                                         \
  void convert_##SI##f64_plain(const TI* in, double* out, uint64_t n, double scale, double offset) {         \
    convert_wide::choose(convert_##SI##f64_avx512, convert_##SI##f64_avx2, convert<TI, double>)(in, out, n, scale, \
                                                                                                 offset);    \
  }
MORVEX_CONVERT_WIDE(int8_t, i8)
MORVEX_CONVERT_WIDE(int16_t, i16)
MORVEX_CONVERT_WIDE(int32_t, i32)
MORVEX_CONVERT_WIDE(uint32_t, u32)
#undef MORVEX_CONVERT_WIDE

void convert_f32f64_plain(const float* in, double* out, uint64_t n, double scale, double offset) {
  convert_wide::choose(convert_f32f64_avx512, convert_f32f64_avx2, convert<float, double>)(in, out, n, scale, offset);
}

void convert_f64f32_plain(const double* in, float* out, uint64_t n, float scale, float offset) {
  convert_wide::choose(convert_f64f32_avx512, convert_f64f32_avx2, convert_narrow)(in, out, n, scale, offset);
}

}  // namespace morvex::ops

using morvex::frame::Slot;
using morvex::frame::slot;

extern "C" {

#define MORVEX_CONVERT_EXPORT(TI, SI)                                                                      \
  int32_t morvex_m_convert_##SI##f32(const TI* in, float* out, uint64_t count, float scale, float offset) { \
    slot<Slot::convert_##SI##f32>()(in, out, count, scale, offset);                                        \
    return 0;                                                                                              \
  }                                                                                                        \
  int32_t morvex_m_convert_##SI##f64(const TI* in, double* out, uint64_t count, double scale,              \
                                     double offset) {                                                      \
    slot<Slot::convert_##SI##f64>()(in, out, count, scale, offset);                                        \
    return 0;                                                                                              \
  }
MORVEX_CONVERT_EXPORT(int8_t, i8)
MORVEX_CONVERT_EXPORT(int16_t, i16)
MORVEX_CONVERT_EXPORT(int32_t, i32)
MORVEX_CONVERT_EXPORT(int64_t, i64)
MORVEX_CONVERT_EXPORT(uint8_t, u8)
MORVEX_CONVERT_EXPORT(uint16_t, u16)
MORVEX_CONVERT_EXPORT(uint32_t, u32)
MORVEX_CONVERT_EXPORT(uint64_t, u64)
#undef MORVEX_CONVERT_EXPORT

int32_t morvex_m_convert_f32f64(const float* in, double* out, uint64_t count, double scale, double offset) {
  slot<Slot::convert_f32f64>()(in, out, count, scale, offset);
  return 0;
}

int32_t morvex_m_convert_f64f32(const double* in, float* out, uint64_t count, float scale, float offset) {
  slot<Slot::convert_f64f32>()(in, out, count, scale, offset);
  return 0;
}

}  // extern "C"
