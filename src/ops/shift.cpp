// Shift right with clipping: v = in >> shift (as a 32-bit value), then the
// test against high first, then against low. With low above high everything
// not above high becomes low; that order is part of the interface (it differs
// from the clip exports, which raise to low first).
#include "frame/dispatch.h"
#include "morvex-m/ops.h"
#include "ops/kernels.h"

namespace morvex::ops {

namespace {

template <class T>
inline void shr_clip(const T* in, T* out, uint64_t n, uint8_t shift, T low, T high) {
  for (uint64_t i = 0; i < n; ++i) {
    const uint32_t v = uint32_t(in[i]) >> shift;
    out[i] = v > high ? high : (v < low ? low : T(v));
  }
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

}  // extern "C"
