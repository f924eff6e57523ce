// SPDX-License-Identifier: MIT
// Shifts, masks and the bit-mask search over unsigned sample words.
//
// u8 and u16 elements are shifted as 32-bit values and stored back in their
// width, so shifting by the element width or more gives 0. Counts of 32 and
// more (64 for u64) are outside the interface.
//
// Shift right with clipping goes through a kernel slot (plain, SSE4.2,
// AVX2+FMA3 kernels); everything else is a plain loop that the compiler
// vectorises at the baseline (the loops are versioned against overlap, so an
// output that overlaps its input still gets the element-by-element result).
#include <type_traits>

#include "frame/dispatch.h"
#include "morvex-m/ops.h"
#include "ops/elements.h"
#include "ops/kernels.h"

namespace morvex::ops {

namespace {

template <class T>
inline void shr_clip(const T* in, T* out, uint64_t n, uint8_t shift, T low, T high) {
  for (uint64_t i = 0; i < n; ++i) out[i] = shr_clip_one(in[i], shift, low, high);
}

template <class T>
inline void andc(const T* in, T* out, uint64_t n, T mask) {
  for (uint64_t i = 0; i < n; ++i) out[i] = T(in[i] & mask);
}

// The narrow types are promoted to 32 bits before shifting (the u8/u16 rule),
// u32 and u64 shift in their own width.
template <class T>
using Wide = std::conditional_t<(sizeof(T) < 4), uint32_t, T>;

template <class T>
inline void shl(const T* in, T* out, uint64_t n, uint8_t shift) {
  for (uint64_t i = 0; i < n; ++i) out[i] = T(Wide<T>(in[i]) << shift);
}

template <class T>
inline void shr(const T* in, T* out, uint64_t n, uint8_t shift) {
  for (uint64_t i = 0; i < n; ++i) out[i] = T(Wide<T>(in[i]) >> shift);
}

}  // namespace

void shr_clip_u8_plain(const uint8_t* in, uint8_t* out, uint64_t n, uint8_t shift, uint8_t low, uint8_t high) {
  shr_clip(in, out, n, shift, low, high);
}

void shr_clip_u16_plain(const uint16_t* in, uint16_t* out, uint64_t n, uint8_t shift, uint16_t low,
                        uint16_t high) {
  shr_clip(in, out, n, shift, low, high);
}

}  // namespace morvex::ops

using morvex::frame::Slot;
using morvex::frame::slot;
using namespace morvex::ops;

extern "C" {

int32_t morvex_m_shr_clip_u8(const uint8_t* in, uint8_t* out, uint64_t count, uint8_t shift, uint8_t low,
                             uint8_t high) {
  slot<Slot::shr_clip_u8>()(in, out, count, shift, low, high);
  return 0;
}

int32_t morvex_m_shr_clip_u16(const uint16_t* in, uint16_t* out, uint64_t count, uint8_t shift, uint16_t low,
                              uint16_t high) {
  slot<Slot::shr_clip_u16>()(in, out, count, shift, low, high);
  return 0;
}

#define MORVEX_BITS_EXPORT(T, S)                                                     \
  void morvex_m_andc_##S(const T* in, T* out, uint64_t count, T mask) {              \
    andc(in, out, count, mask);                                                      \
  }                                                                                  \
  int32_t morvex_m_shl_##S(const T* in, T* out, uint64_t count, uint8_t shift) {     \
    shl(in, out, count, shift);                                                      \
    return 0;                                                                        \
  }                                                                                  \
  int32_t morvex_m_shr_##S(const T* in, T* out, uint64_t count, uint8_t shift) {     \
    shr(in, out, count, shift);                                                      \
    return 0;                                                                        \
  }
MORVEX_BITS_EXPORT(uint8_t, u8)
MORVEX_BITS_EXPORT(uint16_t, u16)
MORVEX_BITS_EXPORT(uint32_t, u32)
MORVEX_BITS_EXPORT(uint64_t, u64)
#undef MORVEX_BITS_EXPORT

int32_t morvex_m_bit_mask_set_u16(const uint16_t* in, uint16_t* out, uint64_t count, uint16_t mask,
                                  uint16_t bits) {
  const uint16_t keep = uint16_t(~mask);
  for (uint64_t i = 0; i < count; ++i) out[i] = uint16_t((in[i] & keep) | bits);
  return 0;
}

int32_t morvex_m_bit_mask_test_u16(const uint16_t* data, uint64_t count, uint16_t mask, uint16_t value,
                                   uint64_t* position) {
  // The position word is the start on entry and the first match (or count
  // for none) on return; a caller resumes after a hit with position + 1.
  uint64_t i = *position;
  while (i < count && uint16_t(data[i] & mask) != value) ++i;
  *position = i < count ? i : count;
  return 0;
}

}  // extern "C"
