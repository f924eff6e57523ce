// SPDX-License-Identifier: MIT
// Extremes, SSE4.2: i16, u8 and u16 sixteen bytes at a time through the
// integer kernel of minmax_int.h; f32 and f64 through the exact float kernel
// of minmax_float.h.
#include <immintrin.h>

#include <cstdint>

#include "reduce/kernels.h"
#include "reduce/minmax_float.h"
#include "reduce/minmax_int.h"

namespace morvex::reduce {

namespace {

template <class Lanes>
struct SseCommon : Lanes {
  using T = typename Lanes::T;
  using V = __m128i;
  static constexpr uint64_t kPairGroup = 8;
  static constexpr bool kKeepLoads = false;
  static constexpr bool kMaxBySum = true;
  static V load(const T* p) { return _mm_loadu_si128(reinterpret_cast<const V*>(p)); }
  static V load_aligned(const T* p) { return _mm_load_si128(reinterpret_cast<const V*>(p)); }
};

struct U8 : SseCommon<U8Lanes> {
  static V add(V a, V b) { return _mm_add_epi8(a, b); }
  static V sub(V a, V b) { return _mm_sub_epi8(a, b); }
};
struct U16 : SseCommon<U16Lanes> {
  static V add(V a, V b) { return _mm_add_epi16(a, b); }
  static V sub(V a, V b) { return _mm_sub_epi16(a, b); }
};
struct I16 : SseCommon<I16Lanes> {
  static V add(V a, V b) { return _mm_add_epi16(a, b); }
  static V sub(V a, V b) { return _mm_sub_epi16(a, b); }
};

struct F32 {
  using T = float;
  using V = __m128;
  static constexpr uint64_t kLanes = 4;
  static V load(const float* p) { return _mm_loadu_ps(p); }
  static V set1(float v) { return _mm_set1_ps(v); }
  static V min(V a, V b) { return _mm_min_ps(a, b); }
  static V max(V a, V b) { return _mm_max_ps(a, b); }
  static bool has_nan(V a, V b) { return _mm_movemask_ps(_mm_cmpunord_ps(a, b)) != 0; }
  static void store(float* p, V v) { _mm_storeu_ps(p, v); }
};

struct F64 {
  using T = double;
  using V = __m128d;
  static constexpr uint64_t kLanes = 2;
  static V load(const double* p) { return _mm_loadu_pd(p); }
  static V set1(double v) { return _mm_set1_pd(v); }
  static V min(V a, V b) { return _mm_min_pd(a, b); }
  static V max(V a, V b) { return _mm_max_pd(a, b); }
  static bool has_nan(V a, V b) { return _mm_movemask_pd(_mm_cmpunord_pd(a, b)) != 0; }
  static void store(double* p, V v) { _mm_storeu_pd(p, v); }
};

}  // namespace

void minmax_u8_sse42(const uint8_t* x, uint64_t n, uint8_t* mn, uint8_t* mx) { int_minmax<U8>(x, n, mn, mx); }
void minmax_u16_sse42(const uint16_t* x, uint64_t n, uint16_t* mn, uint16_t* mx) { int_minmax<U16>(x, n, mn, mx); }
void minmax_i16_sse42(const int16_t* x, uint64_t n, int16_t* mn, int16_t* mx) { int_minmax<I16>(x, n, mn, mx); }
void minmax_f32_sse42(const float* x, uint64_t n, float* mn, float* mx) { exact_minmax<F32>(x, n, mn, mx); }
void minmax_f64_sse42(const double* x, uint64_t n, double* mn, double* mx) { exact_minmax<F64>(x, n, mn, mx); }

}  // namespace morvex::reduce
