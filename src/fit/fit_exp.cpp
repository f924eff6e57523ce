// SPDX-License-Identifier: MIT
// Exponential fit y = a * exp(b * x) at x = 0 .. n-1, by least squares on
// ln(y).
//
// The logarithms go into a scratch array on the stack, a fixed number of
// samples at a time, and the sums are formed from it in index order. Taking
// the record in slices keeps the stack use bounded whatever n is, needs no
// heap (so there is no allocation failure to report), and gives exactly the
// sums of one pass over the whole record, because each sum is one running
// total carried from slice to slice.
#include <cmath>
#include <cstdint>

#include "morvex-m/fit.h"

namespace morvex::fit {

namespace {

constexpr uint64_t kSlice = 1024;  // 8 KiB of stack

struct Sums {
  double sx = 0.0, sxx = 0.0, sy = 0.0, sxy = 0.0;

  // Adds samples i0 .. i0 + m - 1 whose logarithms are in l[0 .. m). Two
  // samples per step; every sum still advances in index order.
  void add(const double* l, uint64_t i0, uint64_t m) {
    uint64_t k = 0;
    for (; k + 2 <= m; k += 2) {
      const uint64_t i = i0 + k, j = i + 1;
      const double xi = double(i), xj = double(j);
      sx = sx + xi;
      sxx = sxx + double(i * i);
      sy = sy + l[k];
      sxy = sxy + xi * l[k];
      sx = sx + xj;
      sxx = sxx + double(j * j);
      sy = sy + l[k + 1];
      sxy = sxy + xj * l[k + 1];
    }
    if (k < m) {
      const uint64_t i = i0 + k;
      const double xi = double(i);
      sx = sx + xi;
      sxx = sxx + double(i * i);
      sy = sy + l[k];
      sxy = sxy + xi * l[k];
    }
  }
};

}  // namespace

int32_t fit_exp(const double* y, uint64_t n, double* a_out, double* b_out) {
  double l[kSlice];
  Sums s;
  for (uint64_t i0 = 0; i0 < n; i0 += kSlice) {
    const uint64_t m = n - i0 < kSlice ? n - i0 : kSlice;
    for (uint64_t k = 0; k < m; ++k) {
      const double v = y[i0 + k];
      if (v <= 0.0) return MORVEX_M_FAILED;  // NaN passes, as documented
      l[k] = std::log(v);
    }
    s.add(l, i0, m);
  }
  const double dn = double(n);
  const double d = dn * s.sxx - s.sx * s.sx;
  if (a_out) *a_out = std::exp((s.sxx * s.sy - s.sxy * s.sx) / d);
  if (b_out) *b_out = (dn * s.sxy - s.sx * s.sy) / d;
  return MORVEX_M_SUCCESS;
}

}  // namespace morvex::fit

extern "C" int32_t morvex_m_fit_exp_f64(const double* y, uint64_t n, double* a_out, double* b_out) {
  return morvex::fit::fit_exp(y, n, a_out, b_out);
}
