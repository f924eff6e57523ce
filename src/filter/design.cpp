// SPDX-License-Identifier: MIT
// Butterworth, Chebyshev I/II, notch and peak designs.
#include "filter/design.h"

#include <cmath>
#include <numbers>
#include <stdexcept>

namespace morvex::filter {

namespace {

using cd = std::complex<double>;
using Roots = std::vector<cd>;
using std::numbers::pi;

[[noreturn]] void reject() { throw std::invalid_argument(""); }

cd product_of_negated(const Roots& r) {
  cd acc(1.0, 0.0);
  for (const cd& v : r) acc *= -v;
  return acc;
}

// The angle pi m / (2N) of the m-th prototype root, m = -N+1, -N+3, ..., N-1.
double prototype_angle(int m, int n) { return pi * double(m) / (2.0 * double(n)); }

// Butterworth: N poles evenly spaced on the left half of the unit circle.
ZpkTuple butterworth_prototype(int n) {
  Roots p;
  for (int m = -n + 1; m < n; m += 2) p.push_back(-std::exp(cd(0.0, prototype_angle(m, n))));
  return {Roots{}, std::move(p), 1.0};
}

// Chebyshev I: poles on an ellipse; the gain puts the passband peak at 0 dB
// (odd N) or the passband ripple floor at -ripple dB (even N, where the
// response at 0 rad/s sits at the bottom of a ripple).
ZpkTuple chebyshev1_prototype(int n, double ripple_db) {
  if (n == 0) return {Roots{}, Roots{}, std::pow(10.0, -ripple_db / 20.0)};
  const double eps = std::sqrt(std::pow(10.0, 0.1 * ripple_db) - 1.0);
  const double mu = std::asinh(1.0 / eps) / double(n);
  Roots p;
  for (int m = -n + 1; m < n; m += 2) p.push_back(-std::sinh(cd(mu, prototype_angle(m, n))));
  double k = product_of_negated(p).real();
  if (n % 2 == 0) k = k / std::sqrt(1.0 + eps * eps);
  return {Roots{}, std::move(p), k};
}

// Chebyshev II (inverse Chebyshev): zeros on the imaginary axis, poles the
// reciprocals of a Chebyshev-bent Butterworth circle.
ZpkTuple chebyshev2_prototype(int n, double attenuation_db) {
  if (n == 0) return {Roots{}, Roots{}, 1.0};
  const double delta = 1.0 / std::sqrt(std::pow(10.0, 0.1 * attenuation_db) - 1.0);
  const double mu = std::asinh(1.0 / delta) / double(n);
  Roots z, p;
  for (int m = -n + 1; m < n; m += 2) {
    if (m == 0) continue;  // odd N: the zero would lie at infinity
    z.push_back(-std::conj(cd(0.0, 1.0) / std::sin(double(m) * pi / (2.0 * double(n)))));
  }
  const double sh = std::sinh(mu), ch = std::cosh(mu);
  for (int m = -n + 1; m < n; m += 2) {
    const cd q = -std::exp(cd(0.0, prototype_angle(m, n)));
    p.push_back(1.0 / cd(sh * q.real(), ch * q.imag()));
  }
  const double k = (product_of_negated(p) / product_of_negated(z)).real();
  return {std::move(z), std::move(p), k};
}

// The analog lowpass prototype moved to the band edges w1, w2 (rad/s).
ZpkTuple band_transform(int band, const ZpkTuple& proto, double w1, double w2) {
  const auto& [z, p, k] = proto;
  const int degree = int(p.size()) - int(z.size());
  Roots zt, pt;
  double kt;
  switch (band) {
    case kLowpass: {
      const double w0 = w1;
      for (const cd& r : z) zt.push_back(r * w0);
      for (const cd& r : p) pt.push_back(r * w0);
      kt = k * std::pow(w0, double(degree));
      break;
    }
    case kHighpass: {
      const double w0 = w1;
      for (const cd& r : z) zt.push_back(w0 / r);
      for (const cd& r : p) pt.push_back(w0 / r);
      zt.insert(zt.end(), size_t(degree), cd(0.0, 0.0));
      kt = k * (product_of_negated(z) / product_of_negated(p)).real();
      break;
    }
    case kBandpass:
    case kBandstop: {
      const double w0 = std::sqrt(w1 * w2), bw = w2 - w1, w0sq = w0 * w0;
      // Each root r of the lowpass becomes the two roots of
      // s^2 - 2 h s + w0^2 with h = r bw/2 (bandpass) or (bw/2)/r (bandstop).
      // All "+" roots first, then all "-" roots.
      auto split = [&](const Roots& in, Roots& out) {
        Roots h;
        for (const cd& r : in) h.push_back(band == kBandpass ? r * bw / 2.0 : (bw / 2.0) / r);
        for (const cd& v : h) out.push_back(v + std::sqrt(v * v - w0sq));
        for (const cd& v : h) out.push_back(v - std::sqrt(v * v - w0sq));
      };
      split(z, zt);
      split(p, pt);
      if (band == kBandpass) {
        zt.insert(zt.end(), size_t(degree), cd(0.0, 0.0));
        kt = k * std::pow(bw, double(degree));
      } else {
        zt.insert(zt.end(), size_t(degree), cd(0.0, w0));
        zt.insert(zt.end(), size_t(degree), cd(0.0, -w0));
        kt = k * (product_of_negated(z) / product_of_negated(p)).real();
      }
      break;
    }
    default:
      reject();
  }
  return {std::move(zt), std::move(pt), kt};
}

// Bilinear transform with sampling frequency 2 (the edges were pre-warped
// for it): s = 4 (z - 1)/(z + 1); zeros at infinity land at z = -1.
ZpkTuple bilinear(const ZpkTuple& analog) {
  const auto& [z, p, k] = analog;
  constexpr double fs2 = 4.0;
  Roots zd, pd;
  for (const cd& r : z) zd.push_back((fs2 + r) / (fs2 - r));
  for (const cd& r : p) pd.push_back((fs2 + r) / (fs2 - r));
  const int degree = int(p.size()) - int(z.size());
  if (degree > 0) zd.insert(zd.end(), size_t(degree), cd(-1.0, 0.0));
  cd num(1.0, 0.0), den(1.0, 0.0);
  for (const cd& r : z) num *= fs2 - r;
  for (const cd& r : p) den *= fs2 - r;
  return {std::move(zd), std::move(pd), k * (num / den).real()};
}

}  // namespace

ZpkTuple design_iir(int family, int band, uint8_t order, bool has_sample_rate, bool has_ripple,
                    double sample_rate, double f1, double f2, double ripple,
                    std::optional<double> attenuation) {
  // Negated comparisons throughout, so that NaN fails every check.
  if (has_sample_rate && !(sample_rate > 0.0)) reject();
  if (!(f1 >= 0.0) || !(f2 >= 0.0)) reject();
  if (has_ripple && !(ripple >= 0.0)) reject();
  if (attenuation && !(*attenuation >= 0.0)) reject();
  const double wn1 = has_sample_rate ? 2.0 * f1 / sample_rate : f1;
  const double wn2 = has_sample_rate ? 2.0 * f2 / sample_rate : f2;
  if (!(wn1 > 0.0 && wn1 < 1.0)) reject();
  if ((band == kBandpass || band == kBandstop) && !(wn2 > 0.0 && wn2 < 1.0)) reject();
  const double w1 = 4.0 * std::tan(pi * wn1 / 2.0);
  const double w2 = 4.0 * std::tan(pi * wn2 / 2.0);

  const int n = order;
  ZpkTuple proto;
  switch (family) {
    case kButterworth:
      proto = butterworth_prototype(n);
      break;
    case kChebyshev1:
      if (!has_ripple) reject();
      proto = chebyshev1_prototype(n, ripple);
      break;
    case kChebyshev2:
      if (!attenuation) reject();
      proto = chebyshev2_prototype(n, *attenuation);
      break;
    default:
      reject();
  }
  return bilinear(band_transform(band, proto, w1, w2));
}

std::tuple<std::vector<double>, std::vector<double>> design_resonator(int kind, double w0, double q) {
  if (!(w0 >= 0.0 && w0 <= 1.0)) reject();
  if (kind != kNotch && kind != kPeak) reject();
  // The -3 dB points: gb = 1/sqrt(2), and the factors sqrt(1 - gb^2)/gb and
  // gb/sqrt(1 - gb^2) exactly as they round in double arithmetic (one ulp
  // either side of 1); written as bit patterns so no compiler folds them to 1.
  constexpr double kNotchFactor = 0x1.0000000000001p+0;  // 0x3FF0000000000001
  constexpr double kPeakFactor = 0x1.fffffffffffffp-1;   // 0x3FEFFFFFFFFFFFFF
  const double bw = w0 / q;
  const double t = std::tan(pi * bw / 2.0);
  const double g = 1.0 / (1.0 + t * (kind == kNotch ? kNotchFactor : kPeakFactor));
  const double c = std::cos(pi * w0);
  std::vector<double> a{1.0, -2.0 * g * c, 2.0 * g - 1.0};
  std::vector<double> b;
  if (kind == kNotch)
    b = {g, -2.0 * g * c, g};
  else
    b = {1.0 - g, 0.0, -(1.0 - g)};
  return {std::move(b), std::move(a)};
}

}  // namespace morvex::filter
