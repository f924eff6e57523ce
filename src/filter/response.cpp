// SPDX-License-Identifier: MIT
// Frequency responses evaluated point by point over the task pool, and the
// stability test.
#include "filter/response.h"

#include <cmath>
#include <complex>
#include <numbers>

#include "filter/state.h"
#include "frame/split.h"

namespace morvex::filter {

namespace {

using std::numbers::pi;

struct TfParams {
  const double* b;
  const double* a;
  uint64_t nb, na;
  Grid grid;
  double sample_rate;
  double* frequencies;
  morvex_m_c64f64* response;
};

// sum c[k] e^k by Horner's rule, highest power first.
inline std::complex<double> horner(const double* c, uint64_t n, double er, double ei) {
  double re = c[n - 1], im = 0.0;
  for (uint64_t k = n - 1; k-- > 0;) {
    const double r = re * er - im * ei;
    const double i = re * ei + im * er;
    re = r + c[k];
    im = i;
  }
  return {re, im};
}

// n / d by Smith's method: scaled by the larger part of d, so that no
// intermediate overflows where the quotient does not, without the library
// call a complex division otherwise costs at every point.
inline std::complex<double> divide(std::complex<double> n, std::complex<double> d) {
  const double a = n.real(), b = n.imag(), c = d.real(), e = d.imag();
  if (std::abs(c) >= std::abs(e)) {
    if (c == 0.0) return n / d;  // 0/0 and x/0: C99 complex division gives the special values
    const double r = e / c, den = c + e * r;
    return {(a + b * r) / den, (b - a * r) / den};
  }
  const double r = c / e, den = c * r + e;
  return {(a * r + b) / den, (b * r - a) / den};
}

void tf_point(uint64_t i, const TfParams& p) {
  const double w = grid_point(p.grid, i);
  const double er = std::cos(w), ei = -std::sin(w);  // exp(-jw)
  const std::complex<double> h = divide(horner(p.b, p.nb, er, ei), horner(p.a, p.na, er, ei));
  p.frequencies[i] = w * p.sample_rate / (2 * pi);
  p.response[i] = {h.real(), h.imag()};
}

struct ZpkParams {
  const std::complex<double>* z;
  const std::complex<double>* p;
  uint64_t nz, np;
  double k;
  Grid grid;
  double sample_rate;
  double* frequencies;
  morvex_m_c64f64* response;
};

inline std::complex<double> from_roots(const std::complex<double>* r, uint64_t n, std::complex<double> e) {
  if (n == 0) return {1.0, 0.0};
  std::complex<double> acc = e - r[0];
  for (uint64_t i = 1; i < n; ++i) acc *= e - r[i];
  return acc;
}

void zpk_point(uint64_t i, const ZpkParams& p) {
  const double w = grid_point(p.grid, i);
  const std::complex<double> e(std::cos(w), std::sin(w));
  const std::complex<double> h = divide(p.k * from_roots(p.z, p.nz, e), from_roots(p.p, p.np, e));
  p.frequencies[i] = w * p.sample_rate / (2 * pi);
  p.response[i] = {h.real(), h.imag()};
}

}  // namespace

Grid make_grid(uint64_t count, bool whole, bool include_end, bool logarithmic, double sample_rate) {
  const double last = whole ? 2 * pi : pi;
  const bool endpoint = include_end && !whole;
  const uint64_t div = endpoint ? count - 1 : count;
  Grid g;
  g.logarithmic = logarithmic;
  g.start = logarithmic ? std::log10((2 * pi) / sample_rate) : 0.0;
  g.end = logarithmic ? std::log10(last) : last;
  g.step = div > 0 ? (g.end - g.start) / double(div) : 0.0;
  g.end_index = endpoint && count > 1 ? count - 1 : UINT64_MAX;
  return g;
}

double grid_point(const Grid& g, uint64_t i) {
  const double x = i == g.end_index ? g.end : double(i) * g.step + g.start;
  return g.logarithmic ? std::pow(10.0, x) : x;
}

int32_t freqz(morvex_m_filter_state& st, uint64_t count, bool whole, bool include_nyquist, bool logarithmic,
              double* frequencies, morvex_m_c64f64* response, double sample_rate) {
  const TfPtr tf = get_tf(st);
  if (!tf || tf->b.empty() || tf->a.empty()) return MORVEX_M_FAILED;
  const TfParams params{tf->b.data(), tf->a.data(), tf->b.size(), tf->a.size(),
                        make_grid(count, whole, include_nyquist, logarithmic, sample_rate),
                        sample_rate, frequencies, response};
  frame::split_range<TfParams, tf_point>(0, count, 1, params);
  return MORVEX_M_SUCCESS;
}

int32_t freqz_zpk(morvex_m_filter_state& st, uint64_t count, bool whole, bool logarithmic, double* frequencies,
                  morvex_m_c64f64* response, double sample_rate) {
  const ZpkPtr zpk = get_zpk(st);
  if (!zpk) return MORVEX_M_FAILED;
  const ZpkParams params{zpk->z.data(), zpk->p.data(), zpk->z.size(), zpk->p.size(), zpk->k,
                         make_grid(count, whole, false, logarithmic, sample_rate),
                         sample_rate, frequencies, response};
  frame::split_range<ZpkParams, zpk_point>(0, count, 1, params);
  return MORVEX_M_SUCCESS;
}

int32_t isstable(morvex_m_filter_state& st, bool& stable) {
  const ZpkPtr zpk = get_zpk(st);
  if (!zpk || zpk->p.empty()) return MORVEX_M_FAILED;
  // The largest pole magnitude (the earliest on ties); a NaN magnitude wins,
  // so a NaN pole makes the filter unstable.
  double largest = std::abs(zpk->p[0]);
  for (size_t i = 1; i < zpk->p.size() && !std::isnan(largest); ++i) {
    const double m = std::abs(zpk->p[i]);
    if (m > largest || std::isnan(m)) largest = m;
  }
  stable = largest < 1.0;
  return MORVEX_M_SUCCESS;
}

}  // namespace morvex::filter
