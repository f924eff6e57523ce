// SPDX-License-Identifier: MIT
// The kernels behind the kernel slots and the call-time choices: the plain
// kernel of each, and the processor variants beside it (each defined in a file
// compiled for its instruction set). A variant returns exactly what the plain
// kernel returns, except for the single rounding of the fused AVX2 and
// AVX-512 conversions.
#pragma once

#include <cstdint>

namespace morvex::ops {

// ---------------------------------------------------------------- abs
void abs_f32_plain(const float* in, float* out, uint64_t n);
void abs_f64_plain(const double* in, double* out, uint64_t n);
void abs_f32_avx(const float* in, float* out, uint64_t n);
void abs_f64_avx(const double* in, double* out, uint64_t n);

// ---------------------------------------------------------------- convert
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

// The raw-sample conversions, once per instruction set (ISA: sse42, avx,
// avx2, avx512). The avx2 and avx512 ones fuse the multiply-add.
#define MORVEX_CONVERT_VARIANTS(ISA)                                                                   \
  void convert_u8f32_##ISA(const uint8_t* in, float* out, uint64_t n, float scale, float offset);       \
  void convert_u16f32_##ISA(const uint16_t* in, float* out, uint64_t n, float scale, float offset);     \
  void convert_u8f64_##ISA(const uint8_t* in, double* out, uint64_t n, double scale, double offset);    \
  void convert_u16f64_##ISA(const uint16_t* in, double* out, uint64_t n, double scale, double offset);
MORVEX_CONVERT_VARIANTS(sse42)
MORVEX_CONVERT_VARIANTS(avx)
MORVEX_CONVERT_VARIANTS(avx2)
MORVEX_CONVERT_VARIANTS(avx512)
#undef MORVEX_CONVERT_VARIANTS

// The wide paths of the other conversions, chosen at call time by their plain
// kernels (ISA: avx2, avx512); bit for bit the plain loop, never fused.
#define MORVEX_CONVERT_EXACT_DECL_PAIR(ISA, TI, SI)                                                        \
  void convert_##SI##f32_##ISA(const TI* in, float* out, uint64_t n, float scale, float offset);       \
  void convert_##SI##f64_##ISA(const TI* in, double* out, uint64_t n, double scale, double offset);
#define MORVEX_CONVERT_EXACT_DECL(ISA)                                                                     \
  MORVEX_CONVERT_EXACT_DECL_PAIR(ISA, int8_t, i8)                                                          \
  MORVEX_CONVERT_EXACT_DECL_PAIR(ISA, int16_t, i16)                                                        \
  MORVEX_CONVERT_EXACT_DECL_PAIR(ISA, int32_t, i32)                                                        \
  MORVEX_CONVERT_EXACT_DECL_PAIR(ISA, uint32_t, u32)                                                       \
  void convert_f32f64_##ISA(const float* in, double* out, uint64_t n, double scale, double offset);   \
  void convert_f64f32_##ISA(const double* in, float* out, uint64_t n, float scale, float offset);
MORVEX_CONVERT_EXACT_DECL(avx2)
MORVEX_CONVERT_EXACT_DECL(avx512)
#undef MORVEX_CONVERT_EXACT_DECL
#undef MORVEX_CONVERT_EXACT_DECL_PAIR

// ---------------------------------------------------------------- shr_clip
#define MORVEX_SHR_CLIP(ISA)                                                                            \
  void shr_clip_u8_##ISA(const uint8_t* in, uint8_t* out, uint64_t n, uint8_t shift, uint8_t low,         \
                         uint8_t high);                                                                 \
  void shr_clip_u16_##ISA(const uint16_t* in, uint16_t* out, uint64_t n, uint8_t shift, uint16_t low,     \
                          uint16_t high);
MORVEX_SHR_CLIP(plain)
MORVEX_SHR_CLIP(sse42)
MORVEX_SHR_CLIP(avx2)
#undef MORVEX_SHR_CLIP

// ---------------------------------------------------------------- complex magnitude
// Chosen at each call: AVX-512F+CD with DQ, else AVX-512F+CD, else AVX2+FMA3,
// else the baseline kernel (math.cpp); all give cabsf's result exactly.
void magnitude_c32f32_plain(const float* in, float* out, uint64_t n);
void magnitude_c32f32_avx2(const float* in, float* out, uint64_t n);
void magnitude_c32f32_avx512(const float* in, float* out, uint64_t n);
void magnitude_c32f32_avx512dq(const float* in, float* out, uint64_t n);

// ---------------------------------------------------------------- deinterleave
// Whole frames only (the frame loop itself is in elements.h): `frames` frames of N channels from src into dst[0..N-1].
// The exports add the incomplete last frame themselves (see deinterleave.cpp).
// Chosen at each call: for two channels AVX-512BW, else AVX2+FMA3; else
// SSE4.2, else plain.
#define MORVEX_DEINTERLEAVE(ISA)                                                        \
  void deinterleave2_u8_##ISA(const uint8_t* src, uint64_t frames, uint8_t* const* dst);  \
  void deinterleave3_u8_##ISA(const uint8_t* src, uint64_t frames, uint8_t* const* dst);  \
  void deinterleave4_u8_##ISA(const uint8_t* src, uint64_t frames, uint8_t* const* dst);  \
  void deinterleave2_u16_##ISA(const uint16_t* src, uint64_t frames, uint16_t* const* dst); \
  void deinterleave3_u16_##ISA(const uint16_t* src, uint64_t frames, uint16_t* const* dst); \
  void deinterleave4_u16_##ISA(const uint16_t* src, uint64_t frames, uint16_t* const* dst);
MORVEX_DEINTERLEAVE(plain)
MORVEX_DEINTERLEAVE(sse42)
#undef MORVEX_DEINTERLEAVE
void deinterleave2_u8_avx2(const uint8_t* src, uint64_t frames, uint8_t* const* dst);
void deinterleave2_u16_avx2(const uint16_t* src, uint64_t frames, uint16_t* const* dst);
void deinterleave2_u8_avx512bw(const uint8_t* src, uint64_t frames, uint8_t* const* dst);
void deinterleave2_u16_avx512bw(const uint16_t* src, uint64_t frames, uint16_t* const* dst);

}  // namespace morvex::ops
