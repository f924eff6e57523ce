// The kernels behind the kernel slots: the plain kernel of every slot, and the
// processor variants beside it (each defined in a file compiled for its
// instruction set). A variant returns exactly what the plain kernel returns,
// except for the single rounding of the fused AVX2 and AVX-512 conversions.
#pragma once

#include <cstdint>

namespace morvex::ops {

void abs_f32_plain(const float* in, float* out, uint64_t n);
void abs_f64_plain(const double* in, double* out, uint64_t n);

#define MORVEX_CONVERT_PLAIN(TI, SI)                                                         \
  void convert_##SI##f32_plain(const TI* in, float* out, uint64_t n, float scale, float offset); \
  void convert_##SI##f64_plain(const TI* in, double* out, uint64_t n, double scale, double offset);
MORVEX_CONVERT_PLAIN(int8_t, i8)
MORVEX_CONVERT_PLAIN(int16_t, i16)
MORVEX_CONVERT_PLAIN(int32_t, i32)
MORVEX_CONVERT_PLAIN(int64_t, i64)
MORVEX_CONVERT_PLAIN(uint8_t, u8)
MORVEX_CONVERT_PLAIN(uint16_t, u16)
MORVEX_CONVERT_PLAIN(uint32_t, u32)
MORVEX_CONVERT_PLAIN(uint64_t, u64)
#undef MORVEX_CONVERT_PLAIN
void convert_f32f64_plain(const float* in, double* out, uint64_t n, double scale, double offset);
void convert_f64f32_plain(const double* in, float* out, uint64_t n, float scale, float offset);

void shr_clip_u8_plain(const uint8_t* in, uint8_t* out, uint64_t n, uint8_t shift, uint8_t low, uint8_t high);
void shr_clip_u16_plain(const uint16_t* in, uint16_t* out, uint64_t n, uint8_t shift, uint16_t low,
                        uint16_t high);

}  // namespace morvex::ops
