// SPDX-License-Identifier: MIT
// The kernels behind the reductions: each plain kernel and the processor
// variants beside it (each defined in a file compiled for its instruction
// set). The exports and src/reduce/search.h choose among them at every call
// from the option flags.
//
// A variant returns exactly what the plain kernel returns, with one
// documented exception: the sum_f64/square_sum_f64 variants add in their own
// fixed lane orders (see morvex-m/reduce.h).
#pragma once

#include <cstdint>

namespace morvex::reduce {

// ---------------------------------------------------------------- sums
// `result` is the caller's in/out accumulator; count is never 0 here.
void sum_f64_plain(const double* x, uint64_t count, double* result);
void sum_f64_sse42(const double* x, uint64_t count, double* result);
void sum_f64_avx(const double* x, uint64_t count, double* result);
void square_sum_f64_plain(const double* x, uint64_t count, double* result);
void square_sum_f64_sse42(const double* x, uint64_t count, double* result);
void square_sum_f64_avx(const double* x, uint64_t count, double* result);
// The 8- and 16-bit integer sums (modulo 2^64) past the baseline kernels of
// sum.cpp, chosen at each call (frame/call_time.h: sum_int).
uint64_t sum_u8_avx512bw(const uint8_t* x, uint64_t count);
uint64_t sum_u16_avx512bw(const uint16_t* x, uint64_t count);
uint64_t sum_i16_avx512bw(const int16_t* x, uint64_t count);

// ---------------------------------------------------------------- extremes
// min or max may be null (not both); count may be 0 (data[0] is then the
// result, as for count 1).
#define MORVEX_MINMAX_KERNEL(T, S, ISA) \
  void minmax_##S##_##ISA(const T* x, uint64_t count, T* min, T* max);
MORVEX_MINMAX_KERNEL(int8_t, i8, plain)
MORVEX_MINMAX_KERNEL(int16_t, i16, plain)
MORVEX_MINMAX_KERNEL(int32_t, i32, plain)
MORVEX_MINMAX_KERNEL(int64_t, i64, plain)
MORVEX_MINMAX_KERNEL(uint8_t, u8, plain)
MORVEX_MINMAX_KERNEL(uint16_t, u16, plain)
MORVEX_MINMAX_KERNEL(uint32_t, u32, plain)
MORVEX_MINMAX_KERNEL(uint64_t, u64, plain)
MORVEX_MINMAX_KERNEL(float, f32, plain)
MORVEX_MINMAX_KERNEL(double, f64, plain)
MORVEX_MINMAX_KERNEL(int16_t, i16, sse42)
MORVEX_MINMAX_KERNEL(uint8_t, u8, sse42)
MORVEX_MINMAX_KERNEL(uint16_t, u16, sse42)
MORVEX_MINMAX_KERNEL(float, f32, sse42)
MORVEX_MINMAX_KERNEL(double, f64, sse42)
MORVEX_MINMAX_KERNEL(float, f32, avx)
MORVEX_MINMAX_KERNEL(double, f64, avx)
MORVEX_MINMAX_KERNEL(float, f32, avx512)
MORVEX_MINMAX_KERNEL(double, f64, avx512)
MORVEX_MINMAX_KERNEL(int16_t, i16, avx2)
MORVEX_MINMAX_KERNEL(uint8_t, u8, avx2)
MORVEX_MINMAX_KERNEL(uint16_t, u16, avx2)
MORVEX_MINMAX_KERNEL(int16_t, i16, avx512bw)
MORVEX_MINMAX_KERNEL(uint8_t, u8, avx512bw)
MORVEX_MINMAX_KERNEL(uint16_t, u16, avx512bw)
#undef MORVEX_MINMAX_KERNEL

// ---------------------------------------------------------------- searches
// Level and band searches as kernels: the first index in [start, count)
// meeting the condition, or count. The caller guarantees start < count.
#define MORVEX_SEARCH_KERNELS(T, S, ISA)                                                    \
  uint64_t gte_##S##_##ISA(const T* x, uint64_t start, uint64_t count, T level);            \
  uint64_t gt_##S##_##ISA(const T* x, uint64_t start, uint64_t count, T level);             \
  uint64_t lte_##S##_##ISA(const T* x, uint64_t start, uint64_t count, T level);            \
  uint64_t lt_##S##_##ISA(const T* x, uint64_t start, uint64_t count, T level);             \
  uint64_t in_##S##_##ISA(const T* x, uint64_t start, uint64_t count, T high, T low);       \
  uint64_t out_##S##_##ISA(const T* x, uint64_t start, uint64_t count, T high, T low);
MORVEX_SEARCH_KERNELS(int16_t, i16, plain)
MORVEX_SEARCH_KERNELS(uint8_t, u8, plain)
MORVEX_SEARCH_KERNELS(uint16_t, u16, plain)
MORVEX_SEARCH_KERNELS(float, f32, plain)
MORVEX_SEARCH_KERNELS(double, f64, plain)
MORVEX_SEARCH_KERNELS(uint8_t, u8, sse42)
MORVEX_SEARCH_KERNELS(uint16_t, u16, sse42)
MORVEX_SEARCH_KERNELS(uint8_t, u8, avx2)
MORVEX_SEARCH_KERNELS(uint16_t, u16, avx2)
MORVEX_SEARCH_KERNELS(uint8_t, u8, avx512bw)
MORVEX_SEARCH_KERNELS(uint16_t, u16, avx512bw)
#undef MORVEX_SEARCH_KERNELS

// Extreme searches as kernels: *value is the bar; the first index in
// [start, count) of the best element strictly better than it (NaN never is),
// or count. The element goes to *value only when found. The caller
// guarantees start < count. The 8- and 16-bit types have no AVX-512 kernel.
#define MORVEX_EXTREME_KERNELS(T, S, ISA)                                             \
  uint64_t max_##S##_##ISA(const T* x, uint64_t start, uint64_t count, T* value);    \
  uint64_t min_##S##_##ISA(const T* x, uint64_t start, uint64_t count, T* value);
MORVEX_EXTREME_KERNELS(int16_t, i16, plain)
MORVEX_EXTREME_KERNELS(uint8_t, u8, plain)
MORVEX_EXTREME_KERNELS(uint16_t, u16, plain)
MORVEX_EXTREME_KERNELS(float, f32, plain)
MORVEX_EXTREME_KERNELS(double, f64, plain)
MORVEX_EXTREME_KERNELS(int16_t, i16, avx2)
MORVEX_EXTREME_KERNELS(uint8_t, u8, avx2)
MORVEX_EXTREME_KERNELS(uint16_t, u16, avx2)
MORVEX_EXTREME_KERNELS(float, f32, avx2)
MORVEX_EXTREME_KERNELS(double, f64, avx2)
MORVEX_EXTREME_KERNELS(float, f32, avx512)
MORVEX_EXTREME_KERNELS(double, f64, avx512)
MORVEX_EXTREME_KERNELS(int16_t, i16, avx512bw)
MORVEX_EXTREME_KERNELS(uint8_t, u8, avx512bw)
MORVEX_EXTREME_KERNELS(uint16_t, u16, avx512bw)
// The AVX2 kernels again for records far beyond the caches, which prefetch.
MORVEX_EXTREME_KERNELS(float, f32, avx2_far)
MORVEX_EXTREME_KERNELS(double, f64, avx2_far)
#undef MORVEX_EXTREME_KERNELS

}  // namespace morvex::reduce
