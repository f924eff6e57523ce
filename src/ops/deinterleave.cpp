// SPDX-License-Identifier: MIT
// Deinterleave: multi-channel blocks (channel 0, 1, ..., N-1, channel 0, ...)
// split into one array per channel.
//
// The N-channel exports divide the sample total by N with the C library's
// div: q whole frames go through the kernel chosen at this call
// (frame/call_time.h: AVX2+FMA3 for 2 channels, else SSE4.2 for 2 to 4
// channels, else the plain loop);
// the r samples of an incomplete last frame then go to channels 0..r-1, so no
// sample is dropped. The 5- and 6-channel forms use the plain loop only.
#include <cstdlib>
#include <cstring>

#include "frame/call_time.h"
#include "morvex-m/ops.h"
#include "ops/elements.h"
#include "ops/kernels.h"

namespace morvex::ops {

#define MORVEX_DEINTERLEAVE_PLAIN(N, T, S)                                              \
  void deinterleave##N##_##S##_plain(const T* src, uint64_t frames, T* const* dst) {   \
    deinterleave_frames(src, 0, frames, N, dst);                                       \
  }
MORVEX_DEINTERLEAVE_PLAIN(2, uint8_t, u8)
MORVEX_DEINTERLEAVE_PLAIN(3, uint8_t, u8)
MORVEX_DEINTERLEAVE_PLAIN(4, uint8_t, u8)
MORVEX_DEINTERLEAVE_PLAIN(2, uint16_t, u16)
MORVEX_DEINTERLEAVE_PLAIN(3, uint16_t, u16)
MORVEX_DEINTERLEAVE_PLAIN(4, uint16_t, u16)
#undef MORVEX_DEINTERLEAVE_PLAIN

namespace {

template <unsigned N, class T, class Kernel>
int32_t deinterleave(const T* src, int32_t total, T* const* dst, Kernel* kernel) {
  if (total <= 0) return 0;
  const std::div_t d = std::div(total, int(N));
  kernel(src, uint64_t(d.quot), dst);
  for (int k = 0; k < d.rem; ++k) dst[k][d.quot] = src[uint64_t(d.quot) * N + unsigned(k)];
  return 0;
}

template <unsigned N, class T>
void plain_frames(const T* src, uint64_t frames, T* const* dst) {
  deinterleave_frames(src, 0, frames, N, dst);
}

// Generic form: one channel of `size`-byte samples. Common sample sizes get a
// fixed-size copy, which the compiler turns into one load and one store.
template <size_t Size>
void gather(const unsigned char* src, uint64_t stride, uint64_t count, unsigned char* dst) {
  for (uint64_t i = 0; i < count; ++i) std::memcpy(dst + i * Size, src + i * stride, Size);
}

}  // namespace

}  // namespace morvex::ops

using namespace morvex::ops;
namespace call_time = morvex::frame::call_time;

extern "C" {

int32_t morvex_m_deinterleave2_u8(const uint8_t* src, int32_t total, uint8_t* dst0, uint8_t* dst1) {
  uint8_t* const dst[] = {dst0, dst1};
  return deinterleave<2>(src, total, dst,
                         call_time::deinterleave2::choose(deinterleave2_u8_avx512bw, deinterleave2_u8_avx2,
                                                          deinterleave2_u8_sse42, deinterleave2_u8_plain));
}
int32_t morvex_m_deinterleave3_u8(const uint8_t* src, int32_t total, uint8_t* dst0, uint8_t* dst1, uint8_t* dst2) {
  uint8_t* const dst[] = {dst0, dst1, dst2};
  return deinterleave<3>(src, total, dst, call_time::deinterleave::choose(deinterleave3_u8_sse42, deinterleave3_u8_plain));
}
int32_t morvex_m_deinterleave4_u8(const uint8_t* src, int32_t total, uint8_t* dst0, uint8_t* dst1, uint8_t* dst2,
                                  uint8_t* dst3) {
  uint8_t* const dst[] = {dst0, dst1, dst2, dst3};
  return deinterleave<4>(src, total, dst, call_time::deinterleave::choose(deinterleave4_u8_sse42, deinterleave4_u8_plain));
}
int32_t morvex_m_deinterleave5_u8(const uint8_t* src, int32_t total, uint8_t* dst0, uint8_t* dst1, uint8_t* dst2,
                                  uint8_t* dst3, uint8_t* dst4) {
  uint8_t* const dst[] = {dst0, dst1, dst2, dst3, dst4};
  return deinterleave<5>(src, total, dst, plain_frames<5, uint8_t>);
}
int32_t morvex_m_deinterleave6_u8(const uint8_t* src, int32_t total, uint8_t* dst0, uint8_t* dst1, uint8_t* dst2,
                                  uint8_t* dst3, uint8_t* dst4, uint8_t* dst5) {
  uint8_t* const dst[] = {dst0, dst1, dst2, dst3, dst4, dst5};
  return deinterleave<6>(src, total, dst, plain_frames<6, uint8_t>);
}

int32_t morvex_m_deinterleave2_u16(const uint16_t* src, int32_t total, uint16_t* dst0, uint16_t* dst1) {
  uint16_t* const dst[] = {dst0, dst1};
  return deinterleave<2>(src, total, dst,
                         call_time::deinterleave2::choose(deinterleave2_u16_avx512bw, deinterleave2_u16_avx2,
                                                          deinterleave2_u16_sse42, deinterleave2_u16_plain));
}
int32_t morvex_m_deinterleave3_u16(const uint16_t* src, int32_t total, uint16_t* dst0, uint16_t* dst1,
                                   uint16_t* dst2) {
  uint16_t* const dst[] = {dst0, dst1, dst2};
  return deinterleave<3>(src, total, dst, call_time::deinterleave::choose(deinterleave3_u16_sse42, deinterleave3_u16_plain));
}
int32_t morvex_m_deinterleave4_u16(const uint16_t* src, int32_t total, uint16_t* dst0, uint16_t* dst1,
                                   uint16_t* dst2, uint16_t* dst3) {
  uint16_t* const dst[] = {dst0, dst1, dst2, dst3};
  return deinterleave<4>(src, total, dst, call_time::deinterleave::choose(deinterleave4_u16_sse42, deinterleave4_u16_plain));
}
int32_t morvex_m_deinterleave5_u16(const uint16_t* src, int32_t total, uint16_t* dst0, uint16_t* dst1,
                                   uint16_t* dst2, uint16_t* dst3, uint16_t* dst4) {
  uint16_t* const dst[] = {dst0, dst1, dst2, dst3, dst4};
  return deinterleave<5>(src, total, dst, plain_frames<5, uint16_t>);
}
int32_t morvex_m_deinterleave6_u16(const uint16_t* src, int32_t total, uint16_t* dst0, uint16_t* dst1,
                                   uint16_t* dst2, uint16_t* dst3, uint16_t* dst4, uint16_t* dst5) {
  uint16_t* const dst[] = {dst0, dst1, dst2, dst3, dst4, dst5};
  return deinterleave<6>(src, total, dst, plain_frames<6, uint16_t>);
}

int32_t morvex_m_deinterleave(const void* src, uint64_t channel, uint64_t channels, int64_t count, uint64_t size,
                              void* dst) {
  if (count <= 0) return 0;
  const unsigned char* from = static_cast<const unsigned char*>(src) + channel * size;
  unsigned char* to = static_cast<unsigned char*>(dst);
  const uint64_t stride = channels * size, n = uint64_t(count);
  if (stride == size) {  // a single channel: the samples are contiguous
    std::memcpy(to, from, n * size);
    return 0;
  }
  switch (size) {
    case 1: gather<1>(from, stride, n, to); break;
    case 2: gather<2>(from, stride, n, to); break;
    case 4: gather<4>(from, stride, n, to); break;
    case 8: gather<8>(from, stride, n, to); break;
    default:
      for (uint64_t i = 0; i < n; ++i) std::memcpy(to + i * size, from + i * stride, size);
  }
  return 0;
}

}  // extern "C"
