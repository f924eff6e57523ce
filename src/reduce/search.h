// SPDX-License-Identifier: MIT
// Index searches for use inside the library: the same calls as the
// morvex_m_index_* exports, with the same arguments, overloaded on the
// element type. The exports forward to these, and the software triggers run
// their per-sample searches through them, so a trigger and an export search
// always use the same kernel under the same options.
//
// Every function here:
//  - reads the start from *position and stores the first index i >= start
//    that meets its condition, or count when there is none (also when the
//    start is at or beyond count);
//  - returns 0 (a Status, "Success"); nothing can fail and no pointer is
//    checked;
//  - chooses its kernel at every call from the option flags, with one or two
//    relaxed byte loads (no lock, no processor query, no allocation), so it
//    is cheap enough to call once per trigger step and follows morvex_m_setopt
//    at once:
//      u8 and u16 level and     AVX-512BW, else AVX2 and FMA3, else SSE4.2,
//        band searches          else plain
//      i16, u8, u16 extremes    AVX-512BW, else AVX2 and FMA3, else plain
//      f32, f64 extremes        AVX-512, else AVX2 and FMA3, else plain;
//                               from 8 MiB: AVX2 and FMA3, else plain
//      everything else          plain
//    Every kernel returns exactly the index of the element-by-element scan;
//  - is safe to call from any number of threads at once.
//
// Conditions (x = data[i]):
//   index_gte  x >= level          index_lte  x <= level
//   index_gt   x >  level          index_lt   x <  level
//   index_in   low <= x <= high    (high first; high < low never matches)
//   index_out  x < low or x > high (high first; high < low always matches)
// Comparisons are made in the element type. For f32 and f64 they are
// ordered: a NaN element never matches, `out` included.
//
// index_max / index_min(data, count, position, value): *value is a bar. The
// first index of the largest (smallest) element strictly greater (less) than
// *value is stored in *position and the element in *value; when nothing
// beats the bar, *position = count and *value is left alone. NaN elements
// never win; a NaN bar is never beaten.
//
// Typical trigger step: find where a rising edge crosses its upper level,
// given that the signal was below the lower level before:
//   uint64_t p = from;
//   reduce::index_lt(data, count, lower, &p);   // arm
//   reduce::index_gte(data, count, upper, &p);  // fire (p == count: not yet)
#pragma once

#include <cstdint>

namespace morvex::reduce {

#define MORVEX_SEARCH_DECLARE(T)                                                     \
  int32_t index_gte(const T* data, uint64_t count, T level, uint64_t* position);     \
  int32_t index_gt(const T* data, uint64_t count, T level, uint64_t* position);      \
  int32_t index_lte(const T* data, uint64_t count, T level, uint64_t* position);     \
  int32_t index_lt(const T* data, uint64_t count, T level, uint64_t* position);      \
  int32_t index_in(const T* data, uint64_t count, T high, T low, uint64_t* position);  \
  int32_t index_out(const T* data, uint64_t count, T high, T low, uint64_t* position); \
  int32_t index_max(const T* data, uint64_t count, uint64_t* position, T* value);    \
  int32_t index_min(const T* data, uint64_t count, uint64_t* position, T* value);
MORVEX_SEARCH_DECLARE(int16_t)
MORVEX_SEARCH_DECLARE(uint8_t)
MORVEX_SEARCH_DECLARE(uint16_t)
MORVEX_SEARCH_DECLARE(float)
MORVEX_SEARCH_DECLARE(double)
#undef MORVEX_SEARCH_DECLARE

}  // namespace morvex::reduce
