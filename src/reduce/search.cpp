// SPDX-License-Identifier: MIT
// Index searches: the plain kernels, the per-call kernel choice behind
// search.h, and the exports, which forward to search.h one line each.
#include "reduce/search.h"

#include <cstdint>
#include <cstring>

#include "frame/call_time.h"
#include "morvex-m/reduce.h"
#include "ops/stream.h"
#include "reduce/kernels.h"

namespace morvex::reduce {

namespace {

// Sixteen-byte vectors in the compiler's generic vector notation: the plain
// kernels stay portable C++, and the compiler turns them into baseline SSE2
// compares. (It does not vectorise an early-exit loop by itself, and keeps
// even a branch-free float compare loop scalar.)
template <class T> struct Vec16;
template <> struct Vec16<int16_t> { typedef int16_t type __attribute__((vector_size(16))); };
template <> struct Vec16<uint8_t> { typedef uint8_t type __attribute__((vector_size(16))); };
template <> struct Vec16<uint16_t> { typedef uint16_t type __attribute__((vector_size(16))); };
template <> struct Vec16<float> { typedef float type __attribute__((vector_size(16))); };
template <> struct Vec16<double> { typedef double type __attribute__((vector_size(16))); };

template <class M>
inline bool any_lane(const M& mask) {
  uint64_t w[2];
  std::memcpy(w, &mask, sizeof w);
  return (w[0] | w[1]) != 0;
}

// The first index in [i, n) where hit(x) holds, or n. `hit` works on single
// elements and on whole vectors (giving a lane mask): four vectors are
// tested at a time and the scalar loop pins down the exact index in the
// first group that has a match, or covers the last elements.
template <class T, class Hit>
inline uint64_t scan(const T* x, uint64_t i, uint64_t n, Hit hit) {
  using V = typename Vec16<T>::type;
  constexpr uint64_t W = 16 / sizeof(T);
  for (; n - i >= 4 * W; i += 4 * W) {
    V a, b, c, d;
    std::memcpy(&a, x + i, 16);
    std::memcpy(&b, x + i + W, 16);
    std::memcpy(&c, x + i + 2 * W, 16);
    std::memcpy(&d, x + i + 3 * W, 16);
    if (any_lane(hit(a) | hit(b) | hit(c) | hit(d))) break;
  }
  for (; i < n; ++i)
    if (hit(x[i])) return i;
  return n;
}

// Runs a kernel from the start in *position, answering count for a start at
// or past the end without calling it.
template <class Kernel>
inline int32_t from_position(uint64_t count, uint64_t* position, Kernel kernel) {
  const uint64_t start = *position;
  *position = start < count ? kernel(start) : count;
  return 0;
}

}  // namespace

// ---------------------------------------------------------------- plain kernels
#define MORVEX_SEARCH_PLAIN(T, S)                                                                  \
  uint64_t gte_##S##_plain(const T* x, uint64_t s, uint64_t n, T l) {                              \
    return scan(x, s, n, [l](auto v) { return v >= l; });                                          \
  }                                                                                                \
  uint64_t gt_##S##_plain(const T* x, uint64_t s, uint64_t n, T l) {                               \
    return scan(x, s, n, [l](auto v) { return v > l; });                                           \
  }                                                                                                \
  uint64_t lte_##S##_plain(const T* x, uint64_t s, uint64_t n, T l) {                              \
    return scan(x, s, n, [l](auto v) { return v <= l; });                                          \
  }                                                                                                \
  uint64_t lt_##S##_plain(const T* x, uint64_t s, uint64_t n, T l) {                               \
    return scan(x, s, n, [l](auto v) { return v < l; });                                           \
  }                                                                                                \
  uint64_t in_##S##_plain(const T* x, uint64_t s, uint64_t n, T h, T l) {                          \
    return scan(x, s, n, [h, l](auto v) { return (v >= l) & (v <= h); });                          \
  }                                                                                                \
  uint64_t out_##S##_plain(const T* x, uint64_t s, uint64_t n, T h, T l) {                         \
    return scan(x, s, n, [h, l](auto v) { return (v < l) | (v > h); });                            \
  }
MORVEX_SEARCH_PLAIN(int16_t, i16)
MORVEX_SEARCH_PLAIN(uint8_t, u8)
MORVEX_SEARCH_PLAIN(uint16_t, u16)
MORVEX_SEARCH_PLAIN(float, f32)
MORVEX_SEARCH_PLAIN(double, f64)
#undef MORVEX_SEARCH_PLAIN

// ---------------------------------------------------------------- kernel choice
// frame/call_time.h: index_u8_u16 (AVX-512BW, else AVX2 and FMA3, else SSE4.2, else plain).
#define MORVEX_SEARCH_LEVEL(T, S, OP)                                                                 \
  int32_t index_##OP(const T* x, uint64_t n, T l, uint64_t* p) {                                      \
    return from_position(n, p, [&](uint64_t s) {                                                      \
      return frame::call_time::index_u8_u16::choose(OP##_##S##_avx512bw, OP##_##S##_avx2, OP##_##S##_sse42, \
                                                    OP##_##S##_plain)(x, s, n, l);                    \
    });                                                                                               \
  }
#define MORVEX_SEARCH_BAND(T, S, OP)                                                                  \
  int32_t index_##OP(const T* x, uint64_t n, T h, T l, uint64_t* p) {                                 \
    return from_position(n, p, [&](uint64_t s) {                                                      \
      return frame::call_time::index_u8_u16::choose(OP##_##S##_avx512bw, OP##_##S##_avx2, OP##_##S##_sse42, \
                                                    OP##_##S##_plain)(x, s, n, h, l);                 \
    });                                                                                               \
  }
#define MORVEX_SEARCH_ALL(T, S) \
  MORVEX_SEARCH_LEVEL(T, S, gte) MORVEX_SEARCH_LEVEL(T, S, gt) MORVEX_SEARCH_LEVEL(T, S, lte) \
  MORVEX_SEARCH_LEVEL(T, S, lt) MORVEX_SEARCH_BAND(T, S, in) MORVEX_SEARCH_BAND(T, S, out)
MORVEX_SEARCH_ALL(uint8_t, u8)
MORVEX_SEARCH_ALL(uint16_t, u16)
#undef MORVEX_SEARCH_ALL
#undef MORVEX_SEARCH_LEVEL
#undef MORVEX_SEARCH_BAND

// i16, f32 and f64: plain kernels only.
#define MORVEX_SEARCH_ONLY_PLAIN(T, S)                                                                   \
  int32_t index_gte(const T* x, uint64_t n, T l, uint64_t* p) {                                          \
    return from_position(n, p, [&](uint64_t s) { return gte_##S##_plain(x, s, n, l); });                 \
  }                                                                                                      \
  int32_t index_gt(const T* x, uint64_t n, T l, uint64_t* p) {                                           \
    return from_position(n, p, [&](uint64_t s) { return gt_##S##_plain(x, s, n, l); });                  \
  }                                                                                                      \
  int32_t index_lte(const T* x, uint64_t n, T l, uint64_t* p) {                                          \
    return from_position(n, p, [&](uint64_t s) { return lte_##S##_plain(x, s, n, l); });                 \
  }                                                                                                      \
  int32_t index_lt(const T* x, uint64_t n, T l, uint64_t* p) {                                           \
    return from_position(n, p, [&](uint64_t s) { return lt_##S##_plain(x, s, n, l); });                  \
  }                                                                                                      \
  int32_t index_in(const T* x, uint64_t n, T h, T l, uint64_t* p) {                                      \
    return from_position(n, p, [&](uint64_t s) { return in_##S##_plain(x, s, n, h, l); });               \
  }                                                                                                      \
  int32_t index_out(const T* x, uint64_t n, T h, T l, uint64_t* p) {                                     \
    return from_position(n, p, [&](uint64_t s) { return out_##S##_plain(x, s, n, h, l); });              \
  }
MORVEX_SEARCH_ONLY_PLAIN(int16_t, i16)
MORVEX_SEARCH_ONLY_PLAIN(float, f32)
MORVEX_SEARCH_ONLY_PLAIN(double, f64)
#undef MORVEX_SEARCH_ONLY_PLAIN

// Extreme searches: the plain kernel keeps the element strictly better than
// the running best, so the first of equal extremes wins and NaN (false in
// every comparison) never does, as a bar or as an element.
#define MORVEX_EXTREME_PLAIN(T, S, OP, CMP)                                      \
  uint64_t OP##_##S##_plain(const T* x, uint64_t i, uint64_t n, T* value) {      \
    T best = *value;                                                             \
    uint64_t at = n;                                                             \
    for (; i < n; ++i)                                                           \
      if (x[i] CMP best) best = x[i], at = i;                                    \
    if (at != n) *value = best;                                                  \
    return at;                                                                   \
  }
#define MORVEX_EXTREME_BOTH(T, S) MORVEX_EXTREME_PLAIN(T, S, max, >) MORVEX_EXTREME_PLAIN(T, S, min, <)
MORVEX_EXTREME_BOTH(int16_t, i16)
MORVEX_EXTREME_BOTH(uint8_t, u8)
MORVEX_EXTREME_BOTH(uint16_t, u16)
MORVEX_EXTREME_BOTH(float, f32)
MORVEX_EXTREME_BOTH(double, f64)
#undef MORVEX_EXTREME_BOTH
#undef MORVEX_EXTREME_PLAIN

// frame/call_time.h: index_extreme_int (AVX-512BW, else AVX2 and FMA3, else plain).
#define MORVEX_SEARCH_EXTREME(T, S, OP)                                                                    \
  int32_t index_##OP(const T* x, uint64_t n, uint64_t* p, T* v) {                                          \
    return from_position(n, p, [&](uint64_t s) {                                                           \
      return frame::call_time::index_extreme_int::choose(OP##_##S##_avx512bw, OP##_##S##_avx2,             \
                                                         OP##_##S##_plain)(x, s, n, v);                   \
    });                                                                                                    \
  }
MORVEX_SEARCH_EXTREME(int16_t, i16, max)
MORVEX_SEARCH_EXTREME(int16_t, i16, min)
MORVEX_SEARCH_EXTREME(uint8_t, u8, max)
MORVEX_SEARCH_EXTREME(uint8_t, u8, min)
MORVEX_SEARCH_EXTREME(uint16_t, u16, max)
MORVEX_SEARCH_EXTREME(uint16_t, u16, min)
#undef MORVEX_SEARCH_EXTREME
// f32 and f64: index_extreme_far from 8 MiB to read (the streaming threshold
// of the element-wise kernels), index_extreme_flt below.
#define MORVEX_SEARCH_EXTREME_FLT(T, S, OP)                                                               \
  int32_t index_##OP(const T* x, uint64_t n, uint64_t* p, T* v) {                                         \
    return from_position(n, p, [&](uint64_t s) {                                                          \
      using namespace frame::call_time;                                                                   \
      return (n - s) * sizeof(T) >= ops::simd::kStreamBytes                                               \
                 ? index_extreme_far::choose(OP##_##S##_avx2_far, OP##_##S##_plain)(x, s, n, v)           \
                 : index_extreme_flt::choose(OP##_##S##_avx512, OP##_##S##_avx2, OP##_##S##_plain)(x, s, n, v); \
    });                                                                                                   \
  }
MORVEX_SEARCH_EXTREME_FLT(float, f32, max)
MORVEX_SEARCH_EXTREME_FLT(float, f32, min)
MORVEX_SEARCH_EXTREME_FLT(double, f64, max)
MORVEX_SEARCH_EXTREME_FLT(double, f64, min)
#undef MORVEX_SEARCH_EXTREME_FLT

}  // namespace morvex::reduce

// ---------------------------------------------------------------- exports
extern "C" {

#define MORVEX_SEARCH_EXPORT(T, S)                                                                        \
  int32_t morvex_m_index_gte_##S(const T* d, uint64_t n, T l, uint64_t* p) {                              \
    return morvex::reduce::index_gte(d, n, l, p);                                                         \
  }                                                                                                       \
  int32_t morvex_m_index_gt_##S(const T* d, uint64_t n, T l, uint64_t* p) {                               \
    return morvex::reduce::index_gt(d, n, l, p);                                                          \
  }                                                                                                       \
  int32_t morvex_m_index_lte_##S(const T* d, uint64_t n, T l, uint64_t* p) {                              \
    return morvex::reduce::index_lte(d, n, l, p);                                                         \
  }                                                                                                       \
  int32_t morvex_m_index_lt_##S(const T* d, uint64_t n, T l, uint64_t* p) {                               \
    return morvex::reduce::index_lt(d, n, l, p);                                                          \
  }                                                                                                       \
  int32_t morvex_m_index_in_##S(const T* d, uint64_t n, T h, T l, uint64_t* p) {                          \
    return morvex::reduce::index_in(d, n, h, l, p);                                                       \
  }                                                                                                       \
  int32_t morvex_m_index_out_##S(const T* d, uint64_t n, T h, T l, uint64_t* p) {                         \
    return morvex::reduce::index_out(d, n, h, l, p);                                                      \
  }                                                                                                       \
  int32_t morvex_m_index_max_##S(const T* d, uint64_t n, uint64_t* p, T* v) {                             \
    return morvex::reduce::index_max(d, n, p, v);                                                         \
  }                                                                                                       \
  int32_t morvex_m_index_min_##S(const T* d, uint64_t n, uint64_t* p, T* v) {                             \
    return morvex::reduce::index_min(d, n, p, v);                                                         \
  }
MORVEX_SEARCH_EXPORT(int16_t, i16)
MORVEX_SEARCH_EXPORT(uint8_t, u8)
MORVEX_SEARCH_EXPORT(uint16_t, u16)
MORVEX_SEARCH_EXPORT(float, f32)
MORVEX_SEARCH_EXPORT(double, f64)
#undef MORVEX_SEARCH_EXPORT

}  // extern "C"
