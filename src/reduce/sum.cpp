// SPDX-License-Identifier: MIT
// Sums. Integer sums are exact modulo 2^64, so their loops may add in any
// order and are written to vectorise on the x86-64 baseline. Floating-point
// sums add in a fixed order that is part of the interface: strictly in index
// order here, and in the lane orders of sum_sse42.cpp / sum_avx.cpp when the
// options select those variants (frame/call_time.h: sum_f64). The 8- and
// 16-bit sums take sum_avx512bw.cpp's kernel where the options allow it
// (sum_int); the kernels here are the x86-64 baseline's.
#include <emmintrin.h>

#include <cstdint>

#include "frame/call_time.h"
#include "morvex-m/reduce.h"
#include "reduce/kernels.h"

namespace morvex::reduce {

namespace {

// psadbw against zero adds eight bytes into one 64-bit lane: one instruction
// per 16 bytes, far cheaper than widening bytes step by step. SSE2 belongs to
// the x86-64 baseline, so this is the plain kernel, not a variant. Two
// accumulators of two lanes each keep two additions in flight.
uint64_t sum_u8(const uint8_t* x, uint64_t n) {
  const __m128i zero = _mm_setzero_si128();
  __m128i acc0 = zero, acc1 = zero;
  uint64_t i = 0;
  for (; i + 64 <= n; i += 64) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + i));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + i + 16));
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + i + 32));
    const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + i + 48));
    acc0 = _mm_add_epi64(acc0, _mm_add_epi64(_mm_sad_epu8(a, zero), _mm_sad_epu8(b, zero)));
    acc1 = _mm_add_epi64(acc1, _mm_add_epi64(_mm_sad_epu8(c, zero), _mm_sad_epu8(d, zero)));
  }
  for (; i + 16 <= n; i += 16)
    acc0 = _mm_add_epi64(acc0, _mm_sad_epu8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(x + i)), zero));
  const __m128i acc = _mm_add_epi64(acc0, acc1);
  uint64_t s = uint64_t(_mm_cvtsi128_si64(acc)) + uint64_t(_mm_cvtsi128_si64(_mm_unpackhi_epi64(acc, acc)));
  for (; i < n; ++i) s += x[i];
  return s;
}

// Narrow partial sums in blocks short enough that they cannot overflow let
// the compiler widen one step (16 to 32 bits) instead of two.
uint64_t sum_u16(const uint16_t* x, uint64_t n) {
  constexpr uint64_t kBlock = 65536;  // 65536 * 65535 < 2^32
  uint64_t s = 0;
  for (uint64_t i = 0; i < n; i += kBlock) {
    const uint64_t end = n - i < kBlock ? n : i + kBlock;
    uint32_t part = 0;
    for (uint64_t j = i; j < end; ++j) part += x[j];
    s += part;
  }
  return s;
}

// Returns the sum modulo 2^64 (two's complement), so that even an absurdly
// long record wraps instead of overflowing a signed integer.
uint64_t sum_i16(const int16_t* x, uint64_t n) {
  constexpr uint64_t kBlock = 65536;  // |partial| <= 65536 * 32768 = 2^31, and -2^31 fits
  uint64_t s = 0;
  for (uint64_t i = 0; i < n; i += kBlock) {
    const uint64_t end = n - i < kBlock ? n : i + kBlock;
    int32_t part = 0;
    for (uint64_t j = i; j < end; ++j) part += x[j];
    s += uint64_t(int64_t(part));
  }
  return s;
}

uint64_t sum_u32(const uint32_t* x, uint64_t n) {
  uint64_t s = 0;
  for (uint64_t i = 0; i < n; ++i) s += x[i];
  return s;
}

}  // namespace

// The floating-point base kernels: one accumulator, index order, then the
// caller's value added last. The dependency chain is the contract, so these
// run at one addition latency per element.
void sum_f64_plain(const double* x, uint64_t n, double* result) {
  double acc = 0.0;
  for (uint64_t i = 0; i < n; ++i) acc = acc + x[i];
  *result = acc + *result;
}

void square_sum_f64_plain(const double* x, uint64_t n, double* result) {
  double acc = 0.0;
  for (uint64_t i = 0; i < n; ++i) acc = acc + x[i] * x[i];
  *result = acc + *result;
}

namespace {

void sum_f32_plain(const float* x, uint64_t n, float* result) {
  float acc = 0.0f;
  for (uint64_t i = 0; i < n; ++i) acc = acc + x[i];
  *result = acc + *result;
}

void square_sum_f32_plain(const float* x, uint64_t n, double* result) {
  double acc = 0.0;
  for (uint64_t i = 0; i < n; ++i) {
    const double v = x[i];
    acc = acc + v * v;
  }
  *result = acc + *result;
}

}  // namespace

}  // namespace morvex::reduce

using namespace morvex;

extern "C" {

int32_t morvex_m_sum_u8(const uint8_t* data, uint64_t count, uint64_t* result) {
  using namespace reduce;
  if (count) *result += frame::call_time::sum_int::choose(sum_u8_avx512bw, sum_u8)(data, count);
  return 0;
}

int32_t morvex_m_sum_u16(const uint16_t* data, uint64_t count, uint64_t* result) {
  using namespace reduce;
  if (count) *result += frame::call_time::sum_int::choose(sum_u16_avx512bw, sum_u16)(data, count);
  return 0;
}

int32_t morvex_m_sum_u32(const uint32_t* data, uint64_t count, uint64_t* result) {
  if (count) *result += reduce::sum_u32(data, count);
  return 0;
}

int32_t morvex_m_sum_i16(const int16_t* data, uint64_t count, int64_t* result) {
  // Added as unsigned: the total wraps modulo 2^64 like the unsigned sums
  // instead of overflowing a signed integer.
  using namespace reduce;
  if (count) {
    const uint64_t sum = frame::call_time::sum_int::choose(sum_i16_avx512bw, sum_i16)(data, count);
    *result = int64_t(uint64_t(*result) + sum);
  }
  return 0;
}

int32_t morvex_m_sum_f32(const float* data, uint64_t count, float* result) {
  if (count) reduce::sum_f32_plain(data, count, result);
  return 0;
}

int32_t morvex_m_square_sum_f32(const float* data, uint64_t count, double* result) {
  if (count) reduce::square_sum_f32_plain(data, count, result);
  return 0;
}

int32_t morvex_m_sum_f64(const double* data, uint64_t count, double* result) {
  using namespace reduce;
  if (count) frame::call_time::sum_f64::choose(sum_f64_avx, sum_f64_sse42, sum_f64_plain)(data, count, result);
  return 0;
}

int32_t morvex_m_square_sum_f64(const double* data, uint64_t count, double* result) {
  using namespace reduce;
  if (count) frame::call_time::sum_f64::choose(square_sum_f64_avx, square_sum_f64_sse42, square_sum_f64_plain)(data, count, result);
  return 0;
}

}  // extern "C"
