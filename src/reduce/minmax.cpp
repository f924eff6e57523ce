// SPDX-License-Identifier: MIT
// Extremes. The plain kernels apply the running rule of the interface,
// min = (min < x) ? min : x and max = (max > x) ? max : x, in index order,
// starting from data[0]. For integers any grouping gives the same values, so
// the compiler is free to vectorise those loops; for floats the rule fixes
// the NaN and signed-zero results and the loop stays sequential (the vector
// variants reproduce it exactly, see minmax_float.h).
#include <cstdint>

#include "frame/call_time.h"
#include "morvex-m/reduce.h"
#include "reduce/kernels.h"
#include "reduce/minmax_common.h"

namespace morvex::reduce {

namespace {

template <class T>
void plain(const T* x, uint64_t n, T* pmin, T* pmax) {
  for_requested(pmin, pmax, [&](auto want_min, auto want_max) {
    running_minmax<T, decltype(want_min)::value, decltype(want_max)::value>(x, n, pmin, pmax);
  });
}

}  // namespace

#define MORVEX_MINMAX_PLAIN(T, S) \
  void minmax_##S##_plain(const T* x, uint64_t n, T* mn, T* mx) { plain(x, n, mn, mx); }
MORVEX_MINMAX_PLAIN(int8_t, i8)
MORVEX_MINMAX_PLAIN(int16_t, i16)
MORVEX_MINMAX_PLAIN(int32_t, i32)
MORVEX_MINMAX_PLAIN(int64_t, i64)
MORVEX_MINMAX_PLAIN(uint8_t, u8)
MORVEX_MINMAX_PLAIN(uint16_t, u16)
MORVEX_MINMAX_PLAIN(uint32_t, u32)
MORVEX_MINMAX_PLAIN(uint64_t, u64)
MORVEX_MINMAX_PLAIN(float, f32)
MORVEX_MINMAX_PLAIN(double, f64)
#undef MORVEX_MINMAX_PLAIN

}  // namespace morvex::reduce

using namespace morvex;

extern "C" {

// Types without a processor variant.
#define MORVEX_MINMAX_EXPORT(T, S)                                             \
  int32_t morvex_m_minmax_##S(const T* data, uint64_t count, T* min, T* max) { \
    reduce::minmax_##S##_plain(data, count, min, max);                         \
    return 0;                                                                  \
  }
MORVEX_MINMAX_EXPORT(int8_t, i8)
MORVEX_MINMAX_EXPORT(int32_t, i32)
MORVEX_MINMAX_EXPORT(int64_t, i64)
MORVEX_MINMAX_EXPORT(uint32_t, u32)
MORVEX_MINMAX_EXPORT(uint64_t, u64)
#undef MORVEX_MINMAX_EXPORT

// The 8- and 16-bit integers (frame/call_time.h: minmax_int). Their AVX2
// kernel fuses nothing but runs under the library's AVX2 condition. Integer
// extremes are exact, so every variant returns the same values.
#define MORVEX_MINMAX_EXPORT_INT(T, S)                                                                 \
  int32_t morvex_m_minmax_##S(const T* data, uint64_t count, T* min, T* max) {                         \
    using namespace reduce;                                                                            \
    frame::call_time::minmax_int::choose(minmax_##S##_avx512bw, minmax_##S##_avx2, minmax_##S##_sse42, \
                                         minmax_##S##_plain)(data, count, min, max);                   \
    return 0;                                                                                          \
  }
MORVEX_MINMAX_EXPORT_INT(int16_t, i16)
MORVEX_MINMAX_EXPORT_INT(uint8_t, u8)
MORVEX_MINMAX_EXPORT_INT(uint16_t, u16)
#undef MORVEX_MINMAX_EXPORT_INT

int32_t morvex_m_minmax_f32(const float* data, uint64_t count, float* min, float* max) {
  using namespace reduce;
  frame::call_time::minmax_f32::choose(minmax_f32_avx512, minmax_f32_avx, minmax_f32_sse42, minmax_f32_plain)(
      data, count, min, max);
  return 0;
}

int32_t morvex_m_minmax_f64(const double* data, uint64_t count, double* min, double* max) {
  using namespace reduce;
  frame::call_time::minmax_f64::choose(minmax_f64_avx512, minmax_f64_avx, minmax_f64_sse42, minmax_f64_plain)(
      data, count, min, max);
  return 0;
}

}  // extern "C"
