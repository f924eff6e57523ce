// Reference answers for the reduction tests, written from the documented
// rules and nothing else: the running extremes rule, the three summation
// orders of sum_f64/square_sum_f64, and the element-by-element search scan.
#pragma once

#include <cstdint>

#include "morvex-m.h"

namespace morvex::test {

// Which sum_f64 order the options select right now: 4 lanes (AVX), 2 lanes
// (SSE4.2) or 1 (the sequential base order).
inline int sum_lanes_now() {
  uint32_t avx = 0, sse42 = 0;
  morvex_m_getopt(MORVEX_M_OPT_AVX, &avx);
  morvex_m_getopt(MORVEX_M_OPT_SSE42, &sse42);
  return avx ? 4 : sse42 ? 2 : 1;
}

// The documented orders; `square` sums x*x. Counts here stay far below 2^31.
inline double sum_in_order(const double* x, uint64_t n, double old, int lanes, bool square) {
  auto term = [square](double v) { return square ? v * v : v; };
  if (lanes == 1) {
    double acc = 0.0;
    for (uint64_t i = 0; i < n; ++i) acc = acc + term(x[i]);
    return acc + old;
  }
  double l[4] = {0, 0, 0, 0};
  const uint64_t q = n / lanes;
  for (uint64_t i = 0; i < q; ++i)
    for (int k = 0; k < lanes; ++k) l[k] = l[k] + term(x[i * lanes + k]);
  double t = old;
  for (uint64_t i = q * lanes; i < n; ++i) t = t + term(x[i]);
  if (lanes == 2) return (l[1] + l[0]) + t;
  return l[3] + (l[2] + (l[1] + (l[0] + t)));
}

// min = (min < x) ? min : x from data[0], and the mirror for max.
template <class T>
void running_minmax(const T* x, uint64_t n, T* mn, T* mx) {
  *mn = *mx = x[0];
  for (uint64_t i = 1; i < n; ++i) {
    *mn = *mn < x[i] ? *mn : x[i];
    *mx = *mx > x[i] ? *mx : x[i];
  }
}

// The first index i >= start with hit(x[i]), else n.
template <class T, class Hit>
uint64_t first_hit(const T* x, uint64_t n, uint64_t start, Hit hit) {
  for (uint64_t i = start; i < n; ++i)
    if (hit(x[i])) return i;
  return n;
}

}  // namespace morvex::test
