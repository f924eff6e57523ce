// Extremes, SSE4.2: i16, u8 and u16 sixteen bytes at a time; f32 and f64
// through the exact float kernel of minmax_float.h.
#include <immintrin.h>

#include <cstdint>

#include "reduce/kernels.h"
#include "reduce/minmax_float.h"

namespace morvex::reduce {

namespace {

struct U8 {
  using T = uint8_t;
  static __m128i min(__m128i a, __m128i b) { return _mm_min_epu8(a, b); }
  static __m128i max(__m128i a, __m128i b) { return _mm_max_epu8(a, b); }
};
struct U16 {
  using T = uint16_t;
  static __m128i min(__m128i a, __m128i b) { return _mm_min_epu16(a, b); }
  static __m128i max(__m128i a, __m128i b) { return _mm_max_epu16(a, b); }
};
struct I16 {
  using T = int16_t;
  static __m128i min(__m128i a, __m128i b) { return _mm_min_epi16(a, b); }
  static __m128i max(__m128i a, __m128i b) { return _mm_max_epi16(a, b); }
};

inline __m128i load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }

// Folds the lanes of v with op until lane 0 holds the extreme of all lanes.
template <class Ops, class Op>
inline typename Ops::T horizontal(__m128i v, Op op) {
  v = op(v, _mm_srli_si128(v, 8));
  v = op(v, _mm_srli_si128(v, 4));
  v = op(v, _mm_srli_si128(v, 2));
  if constexpr (sizeof(typename Ops::T) == 1) v = op(v, _mm_srli_si128(v, 1));
  return typename Ops::T(_mm_cvtsi128_si32(v));
}

// Integers: any grouping gives the exact extremes, so four vectors are
// folded per step and the last vector may overlap elements already seen.
template <class Ops, bool kMin, bool kMax>
void int_minmax(const typename Ops::T* x, uint64_t n, typename Ops::T* pmin, typename Ops::T* pmax) {
  using T = typename Ops::T;
  constexpr uint64_t W = 16 / sizeof(T);
  if (n < W) return running_minmax<T, kMin, kMax>(x, n, pmin, pmax);
  __m128i vmin = load(x), vmax = vmin;
  uint64_t i = W;
  for (; i + 4 * W <= n; i += 4 * W) {
    const __m128i a = load(x + i), b = load(x + i + W), c = load(x + i + 2 * W), d = load(x + i + 3 * W);
    if constexpr (kMin) vmin = Ops::min(vmin, Ops::min(Ops::min(a, b), Ops::min(c, d)));
    if constexpr (kMax) vmax = Ops::max(vmax, Ops::max(Ops::max(a, b), Ops::max(c, d)));
  }
  for (; i + W <= n; i += W) {
    const __m128i a = load(x + i);
    if constexpr (kMin) vmin = Ops::min(vmin, a);
    if constexpr (kMax) vmax = Ops::max(vmax, a);
  }
  if (i < n) {
    const __m128i a = load(x + n - W);
    if constexpr (kMin) vmin = Ops::min(vmin, a);
    if constexpr (kMax) vmax = Ops::max(vmax, a);
  }
  if constexpr (kMin) *pmin = horizontal<Ops>(vmin, Ops::min);
  if constexpr (kMax) *pmax = horizontal<Ops>(vmax, Ops::max);
}

template <class Ops>
void int_minmax(const typename Ops::T* x, uint64_t n, typename Ops::T* pmin, typename Ops::T* pmax) {
  for_requested(pmin, pmax, [&](auto want_min, auto want_max) {
    int_minmax<Ops, decltype(want_min)::value, decltype(want_max)::value>(x, n, pmin, pmax);
  });
}

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
