// SPDX-License-Identifier: MIT
// Clipping and fill. Plain loops that the compiler vectorises at the baseline;
// each element is independent, so every loop shape gives the same result.
#include <cstring>

#include "morvex-m/ops.h"

namespace {

// Raise to low first, then lower to high: with low > high every element ends
// at high. The float comparisons are written as the processor's ordered
// max(low, x) and min(high, t), with the element second: a NaN element fails
// both comparisons and passes through unchanged.
template <class T>
inline T clip_one(T x, T low, T high) {
  const T t = low > x ? low : x;
  return high < t ? high : t;
}

template <class T>
inline void clip(const T* in, T* out, uint64_t n, T low, T high) {
  for (uint64_t i = 0; i < n; ++i) out[i] = clip_one(in[i], low, high);
}

template <class T>
inline int32_t set(T* out, uint64_t n, T value) {
  for (uint64_t i = 0; i < n; ++i) out[i] = value;
  return 0;
}

}  // namespace

extern "C" {

void morvex_m_clip_u8(const uint8_t* in, uint8_t* out, uint64_t count, uint8_t low, uint8_t high) {
  clip(in, out, count, low, high);
}
void morvex_m_clip_u16(const uint16_t* in, uint16_t* out, uint64_t count, uint16_t low, uint16_t high) {
  clip(in, out, count, low, high);
}
void morvex_m_clip_f32(const float* in, float* out, uint64_t count, float low, float high) {
  clip(in, out, count, low, high);
}
void morvex_m_clip_f64(const double* in, double* out, uint64_t count, double low, double high) {
  clip(in, out, count, low, high);
}

int32_t morvex_m_set_u8(uint8_t* out, uint64_t count, uint8_t value) {
  if (count) std::memset(out, value, count);
  return 0;
}
int32_t morvex_m_set_i16(int16_t* out, uint64_t count, int16_t value) { return set(out, count, value); }
int32_t morvex_m_set_u16(uint16_t* out, uint64_t count, uint16_t value) { return set(out, count, value); }
int32_t morvex_m_set_u32(uint32_t* out, uint64_t count, uint32_t value) { return set(out, count, value); }
int32_t morvex_m_set_f32(float* out, uint64_t count, float value) { return set(out, count, value); }
int32_t morvex_m_set_f64(double* out, uint64_t count, double value) { return set(out, count, value); }

}  // extern "C"
