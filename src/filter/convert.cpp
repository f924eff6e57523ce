// SPDX-License-Identifier: MIT
// Representation conversion: polynomial expansion, polynomial roots and the
// pairing of roots into second-order sections.
#include "filter/convert.h"

#include <Eigen/Eigenvalues>
#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>

namespace morvex::filter {

using FilterState::IIR::SOS;
using FilterState::IIR::TF;
using FilterState::IIR::ZPK;

std::vector<cd> poly(const std::vector<cd>& roots) {
  std::vector<cd> c;
  c.reserve(roots.size() + 1);
  c.push_back(cd(1.0, 0.0));
  for (const cd& r : roots) {
    // Multiply by (x - r): the new coefficient j is c[j] - r c[j-1]; walk
    // down so that each c[j-1] is still the old one when it is read.
    c.push_back(-r * c.back());
    for (size_t j = c.size() - 2; j > 0; --j) c[j] = c[j] - r * c[j - 1];
  }
  return c;
}

namespace {

// Parlett-Reinsch balancing by powers of two: a similarity transform (so the
// eigenvalues are exactly those of the input) that evens out row and column
// norms. Companion matrices of filter polynomials have entries spanning many
// orders of magnitude; balancing keeps the QR iteration's error relative to
// the small entries rather than the largest one.
void balance(Eigen::MatrixXd& m) {
  const Eigen::Index n = m.rows();
  constexpr double radix = 2.0, radix2 = 4.0;
  for (bool done = false; !done;) {
    done = true;
    for (Eigen::Index i = 0; i < n; ++i) {
      double r = 0.0, c = 0.0;
      for (Eigen::Index j = 0; j < n; ++j) {
        if (j == i) continue;
        c += std::abs(m(j, i));
        r += std::abs(m(i, j));
      }
      if (c == 0.0 || r == 0.0 || !std::isfinite(c) || !std::isfinite(r)) continue;
      const double s = c + r;
      double f = 1.0, g = r / radix;
      while (c < g) {
        f *= radix;
        c *= radix2;
      }
      g = r * radix;
      while (c > g) {
        f /= radix;
        c /= radix2;
      }
      if ((c + r) / f < 0.95 * s) {
        done = false;
        m.row(i) /= f;
        m.col(i) *= f;
      }
    }
  }
}

}  // namespace

// The roots are the eigenvalues of the companion matrix, found by Eigen's
// real Schur decomposition (Hessenberg QR with shifts) after balancing. This
// is a backward-stable method that needs no starting guesses and always
// returns all roots, and because it works on a real matrix, real roots come
// out with an imaginary part of exactly 0 and complex roots as exact
// conjugate pairs, which is what the pairing into sections relies on.
// Polynomial-iteration finders (Durand-Kerner, Aberth, Jenkins-Traub) can
// be more accurate for clustered roots but need convergence control and
// return pairs that are conjugate only to rounding.
std::vector<cd> roots(const std::vector<double>& c) {
  // Trailing zero coefficients are roots at exactly 0.
  size_t m = c.size();
  size_t zeros_at_origin = 0;
  while (m > 1 && c[m - 1] == 0.0) {
    --m;
    ++zeros_at_origin;
  }
  const size_t degree = m - 1;
  std::vector<cd> out;
  out.reserve(degree + zeros_at_origin);
  if (degree > 0) {
    Eigen::MatrixXd comp = Eigen::MatrixXd::Zero(Eigen::Index(degree), Eigen::Index(degree));
    for (size_t j = 0; j < degree; ++j) comp(0, Eigen::Index(j)) = -c[j + 1] / c[0];
    for (size_t j = 1; j < degree; ++j) comp(Eigen::Index(j), Eigen::Index(j - 1)) = 1.0;
    balance(comp);
    Eigen::EigenSolver<Eigen::MatrixXd> solver(comp, false);
    if (solver.info() != Eigen::Success) throw std::runtime_error("");
    const auto& ev = solver.eigenvalues();
    for (Eigen::Index i = 0; i < ev.size(); ++i) out.push_back(ev[i]);
  }
  out.insert(out.end(), zeros_at_origin, cd(0.0, 0.0));
  return out;
}

TF zpk2tf(const ZPK& zpk) {
  const std::vector<cd> bz = poly(zpk.z);
  const std::vector<cd> ap = poly(zpk.p);
  const size_t n = bz.size() > ap.size() ? bz.size() : ap.size();
  // Both polynomials are in powers of z^-1 over the same highest power of z,
  // so a shorter one gains leading zeros (a zero at infinity is a delay).
  TF tf;
  tf.b.assign(n - bz.size(), 0.0);
  tf.a.assign(n - ap.size(), 0.0);
  const cd k(zpk.k, 0.0);
  for (const cd& v : bz) tf.b.push_back((k * v).real());
  for (const cd& v : ap) tf.a.push_back(v.real());
  return tf;
}

ZPK tf2zpk(const TF& tf) {
  size_t first = 0;
  while (first < tf.a.size() && tf.a[first] == 0.0) ++first;
  if (first == tf.a.size()) throw std::invalid_argument("");
  const double a0 = tf.a[first];
  std::vector<double> a(tf.a.begin() + std::ptrdiff_t(first), tf.a.end());
  for (double& v : a) v /= a0;
  std::vector<double> b;
  b.reserve(tf.b.size());
  for (double v : tf.b) b.push_back(v / a0);
  size_t lead = 0;
  while (lead < b.size() && b[lead] == 0.0) ++lead;
  b.erase(b.begin(), b.begin() + std::ptrdiff_t(lead));

  ZPK zpk;
  zpk.k = b.empty() ? 0.0 : b[0];
  if (!b.empty()) zpk.z = roots(b);
  zpk.p = roots(a);
  return zpk;
}

namespace {

bool is_real(const cd& r) { return r.imag() == 0.0; }

// Complex roots once each (the member with positive imaginary part, averaged
// with its partner to remove rounding asymmetry), then the real roots. A
// root counts as real within 100 ulps of its magnitude, as conjugate partners
// do; a complex root without a partner cannot go into a real section.
std::vector<cd> conjugate_split(const std::vector<cd>& r) {
  constexpr double tol = 100.0 * std::numeric_limits<double>::epsilon();
  std::vector<cd> pos, neg, out;
  std::vector<cd> real;
  for (const cd& x : r) {
    if (std::abs(x.imag()) <= tol * std::abs(x))
      real.push_back(cd(x.real(), 0.0));
    else if (x.imag() > 0.0)
      pos.push_back(x);
    else
      neg.push_back(x);
  }
  if (pos.size() != neg.size()) throw std::runtime_error("");
  std::vector<bool> used(neg.size(), false);
  for (const cd& x : pos) {
    size_t best = neg.size();
    double best_d = 0.0;
    for (size_t j = 0; j < neg.size(); ++j) {
      if (used[j]) continue;
      const double d = std::abs(x - std::conj(neg[j]));
      if (best == neg.size() || d < best_d) {
        best = j;
        best_d = d;
      }
    }
    if (best == neg.size() || !(best_d <= tol * std::abs(neg[best]))) throw std::runtime_error("");
    used[best] = true;
    out.push_back((x + std::conj(neg[best])) / 2.0);
  }
  out.insert(out.end(), real.begin(), real.end());
  return out;
}

double unit_circle_distance(const cd& p) { return std::abs(1.0 - std::abs(p)); }

// Index of the root closest to the unit circle (the earliest on ties), among
// the real ones only if asked; npos if there is none.
constexpr size_t npos = size_t(-1);

size_t nearest_circle(const std::vector<cd>& r, bool real_only) {
  size_t best = npos;
  double best_d = 0.0;
  for (size_t i = 0; i < r.size(); ++i) {
    if (real_only && !is_real(r[i])) continue;
    const double d = unit_circle_distance(r[i]);
    if (best == npos || d < best_d) {
      best = i;
      best_d = d;
    }
  }
  return best;
}

// Index of the root nearest to `to` (the earliest on ties).
size_t nearest_to(const std::vector<cd>& r, const cd& to, bool real_only) {
  size_t best = npos;
  double best_d = 0.0;
  for (size_t i = 0; i < r.size(); ++i) {
    if (real_only && !is_real(r[i])) continue;
    const double d = std::abs(r[i] - to);
    if (best == npos || d < best_d) {
      best = i;
      best_d = d;
    }
  }
  return best;
}

cd take(std::vector<cd>& r, size_t i) {
  if (i == npos) throw std::runtime_error("");
  const cd v = r[i];
  r.erase(r.begin() + std::ptrdiff_t(i));
  return v;
}

struct Pair {
  cd z[2], p[2];
};

}  // namespace

SOS zpk2sos(const ZPK& zpk) {
  SOS sos;
  if (zpk.z.empty() && zpk.p.empty()) {
    sos.sections.push_back({zpk.k, 0.0, 0.0, 1.0, 0.0, 0.0});
    sos.flat = sos.sections.front();
    return sos;
  }
  std::vector<cd> z = zpk.z, p = zpk.p;
  // Equal counts, then an even count, with roots at the origin.
  if (z.size() < p.size()) z.resize(p.size(), cd(0.0, 0.0));
  if (p.size() < z.size()) p.resize(z.size(), cd(0.0, 0.0));
  const size_t n = (p.size() + 1) / 2;
  if (p.size() % 2) {
    p.push_back(cd(0.0, 0.0));
    z.push_back(cd(0.0, 0.0));
  }
  z = conjugate_split(z);
  p = conjugate_split(p);

  // Poles closest to the unit circle are paired first and placed last in
  // the cascade, so the sharpest resonance sees a signal already shaped by
  // the other sections.
  std::vector<Pair> pairs(n);
  for (size_t s = 0; s < n; ++s) {
    Pair& pr = pairs[n - 1 - s];
    const cd p1 = take(p, nearest_circle(p, false));
    const cd p2 = is_real(p1) ? take(p, nearest_circle(p, true)) : std::conj(p1);
    const cd z1 = take(z, nearest_to(z, p1, false));
    const cd z2 = is_real(z1) ? take(z, nearest_to(z, p1, true)) : std::conj(z1);
    pr = Pair{{z1, z2}, {p1, p2}};
  }
  if (!p.empty() || !z.empty()) throw std::runtime_error("");

  sos.sections.reserve(n);
  sos.flat.reserve(6 * n);
  const cd k(zpk.k, 0.0);
  for (size_t i = 0; i < n; ++i) {
    const std::vector<cd> b = poly({pairs[i].z[0], pairs[i].z[1]});
    const std::vector<cd> a = poly({pairs[i].p[0], pairs[i].p[1]});
    std::vector<double> sec(6);
    for (int j = 0; j < 3; ++j) {
      sec[size_t(j)] = (i == 0 ? k * b[size_t(j)] : b[size_t(j)]).real();
      sec[size_t(3 + j)] = a[size_t(j)].real();
    }
    sos.flat.insert(sos.flat.end(), sec.begin(), sec.end());
    sos.sections.push_back(std::move(sec));
  }
  return sos;
}

}  // namespace morvex::filter
