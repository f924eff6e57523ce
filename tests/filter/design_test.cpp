// SPDX-License-Identifier: MIT
// Filter design checks and their boundaries, the representation conversions
// at the cases no design reaches (roots at the origin, leading zeros, odd and
// empty filters, an unpaired complex root), and the state's representations:
// derived once and kept, refused without one, stability strictly inside the
// circle. (Designs, conversions and responses are checked against scipy by
// the Python oracles.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <optional>
#include <stdexcept>

#include "filter/convert.h"
#include "filter/design.h"
#include "filter/state.h"
#include "morvex-m.h"

namespace {

using cd = std::complex<double>;
using morvex::FilterState::IIR::TF;
using morvex::FilterState::IIR::ZPK;
namespace mf = morvex::filter;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN(), kFs = 1000.0, kNyq = kFs / 2;

// Each family through its export with its own extra parameter (status; a
// failure leaves the caller's handle alone).
int32_t design(int family, int32_t band, double fs, double f1, double f2) {
  auto* sentinel = reinterpret_cast<morvex_m_filter_state*>(0x1); morvex_m_filter_state* st = sentinel;
  const int32_t r = family == 0   ? morvex_m_filter_iir_butterworth(band, 4, &st, fs, f1, f2)
                    : family == 1 ? morvex_m_filter_iir_chebyshev1(band, 4, &st, fs, f1, f2, 1.0)
                                  : morvex_m_filter_iir_chebyshev2(band, 4, &st, fs, f1, f2, 40.0);
  if (r == 0) morvex_m_filter_state_destroy(st);
  else EXPECT_EQ(st, sentinel) << "state_out written on failure";
  return r;
}

TEST(FilterDesign, FrequencyChecksOfEveryFamily) {
  const double below_nyq = std::nextafter(kNyq, 0.0);
  // (band, fs, f1, f2, status): the sample rate strictly positive; both
  // edges >= 0 (f2 even where unused); the edges strictly between 0 and
  // Nyquist where used, in either order; unknown band types fail.
  const struct { int32_t band; double fs, f1, f2; int32_t want; } rows[] = {
      {0, 0.0, 100, 0, -1}, {0, -kFs, 100, 0, -1}, {0, kNaN, 100, 0, -1}, {0, kFs, -1, 0, -1}, {0, kFs, 100, -1e-300, -1},
      {1, kFs, 100, -1, -1}, {0, kFs, 100, kNaN, -1}, {0, kFs, 100, 10 * kFs, 0},
      {0, kFs, 0, 300, -1}, {1, kFs, kNyq, 300, -1}, {2, kFs, kNaN, 300, -1}, {3, kFs, 1e-9, 300, 0}, {1, kFs, below_nyq, 300, 0},
      {2, kFs, 100, 0, -1}, {3, kFs, 100, kNyq, -1}, {2, kFs, 100, below_nyq, 0}, {3, kFs, 300, 100, 0},
      {-1, kFs, 100, 300, -1}, {4, kFs, 100, 300, -1}, {1000, kFs, 100, 300, -1}};
  for (int family = 0; family < 3; ++family)
    for (const auto& r : rows)
      EXPECT_EQ(design(family, r.band, r.fs, r.f1, r.f2), r.want) << family << ": " << r.band << " " << r.f1 << " " << r.f2;
}

TEST(FilterDesign, RippleAttenuationCentreAndFamilyParameters) {
  morvex_m_filter_state* st = nullptr;
  for (double bad : {-0.1, kNaN}) {
    EXPECT_EQ(morvex_m_filter_iir_chebyshev1(0, 4, &st, kFs, 100.0, 0.0, bad), -1);
    EXPECT_EQ(morvex_m_filter_iir_chebyshev2(0, 4, &st, kFs, 100.0, 0.0, bad), -1);
  }
  for (double f0 : {-1e-12, std::nextafter(kNyq, kFs), kNaN})
    EXPECT_EQ(morvex_m_filter_iir_notch(&st, kFs, f0, 10.0) | morvex_m_filter_iir_peak(&st, kFs, f0, 10.0), -1) << f0;
  EXPECT_EQ(morvex_m_filter_iir_notch(&st, 0.0, 100.0, 10.0), -1) << "no sample rate: an infinite centre";
  EXPECT_EQ(morvex_m_filter_iir_butterworth(0, 4, nullptr, kFs, 100.0, 0.0), -1);
  EXPECT_EQ(morvex_m_filter_iir_notch(nullptr, kFs, 100.0, 10.0), -1);
  EXPECT_EQ(st, nullptr);
  // Zero ripple or attenuation is allowed (>=); centres 0 and Nyquist too.
  for (double f0 : {0.0, kNyq, 100.0}) {
    EXPECT_EQ(morvex_m_filter_iir_notch(&st, kFs, f0, 10.0), 0) << f0;
    morvex_m_filter_state_destroy(st);
    EXPECT_EQ(morvex_m_filter_iir_peak(&st, kFs, f0, 10.0), 0) << f0;
    morvex_m_filter_state_destroy(st);
  }
  EXPECT_EQ(morvex_m_filter_iir_chebyshev1(0, 4, &st, kFs, 100.0, 0.0, 0.0), 0);
  morvex_m_filter_state_destroy(st);
  EXPECT_EQ(morvex_m_filter_iir_chebyshev2(0, 4, &st, kFs, 100.0, 0.0, 0.0), 0);
  morvex_m_filter_state_destroy(st);
  using mf::design_iir;
  for (int family : {1, 2, 3})
    EXPECT_THROW(design_iir(family, 0, 4, true, false, kFs, 100.0, 0.0, 0.0, std::nullopt), std::invalid_argument);
  EXPECT_THROW(design_iir(0, 0, 4, true, false, kFs, 100.0, 0.0, 0.0, -1.0), std::invalid_argument);
  EXPECT_THROW(mf::design_resonator(5, 0.5, 1.0), std::invalid_argument);
  // Without a sample rate the edges are already normalised to Nyquist.
  EXPECT_EQ(std::get<2>(design_iir(0, 0, 3, false, false, 0.0, 0.2, 0.0, 0.0, std::nullopt)),
            std::get<2>(design_iir(0, 0, 3, true, false, kFs, 100.0, 0.0, 0.0, std::nullopt)));
  EXPECT_THROW(design_iir(0, 0, 3, false, false, 0.0, 1.0, 0.0, 0.0, std::nullopt), std::invalid_argument);
}

// Every expected root is found once, within tol.
void expect_roots(std::vector<cd> got, const std::vector<cd>& want, double tol) {
  ASSERT_EQ(got.size(), want.size());
  for (const cd& w : want) {
    auto it = std::min_element(got.begin(), got.end(), [&](const cd& a, const cd& b) { return std::abs(a - w) < std::abs(b - w); });
    EXPECT_LE(std::abs(*it - w), tol) << "missing root " << w << ", nearest " << *it;
    got.erase(it);
  }
}

TEST(FilterConvert, EdgeCasesOfTheConversions) {
  // (x-1)(x-2)(x-3); trailing zeros are exact roots at the origin; x^2 + 1 an exactly conjugate pair.
  expect_roots(mf::roots({1, -6, 11, -6}), {1, 2, 3}, 1e-12);
  const std::vector<cd> r = mf::roots({2, -2, 0, 0}), j = mf::roots({1, 0, 1});
  expect_roots(r, {1, 0, 0}, 1e-15);
  EXPECT_EQ(std::count(r.begin(), r.end(), cd(0, 0)), 2); EXPECT_EQ(j[0], std::conj(j[1]));
  EXPECT_TRUE(mf::roots({5}).empty());
  // Widely spread magnitudes: (x - 1e-4)(x - 1e4)(x^2 + x + 1), through poly and back.
  const std::vector<cd> want = {1e-4, 1e4, cd(-0.5, std::sqrt(0.75)), cd(-0.5, -std::sqrt(0.75))};
  std::vector<double> coeffs;
  for (const cd& v : mf::poly(want)) coeffs.push_back(v.real());
  expect_roots(mf::roots(coeffs), want, 1e-9);
  // Leading zeros of a are dropped before dividing by its first coefficient.
  const ZPK z = mf::tf2zpk(TF{{0, 4, -4}, {0, 2, 1}});
  EXPECT_EQ(z.k, 2.0);
  expect_roots(z.z, {1}, 1e-15);
  expect_roots(z.p, {-0.5}, 1e-15);
  EXPECT_THROW(mf::tf2zpk(TF{{1, 2}, {0, 0}}), std::invalid_argument);
  EXPECT_THROW(mf::tf2zpk(TF{{1}, {}}), std::invalid_argument);
  EXPECT_TRUE(mf::tf2zpk(TF{{0, 0}, {1, 0.5}}).k == 0.0 && mf::tf2zpk(TF{{0, 0}, {1, 0.5}}).z.empty());
  // Fewer zeros than poles: the numerator gains leading zeros (a delay).
  const TF d = mf::zpk2tf(ZPK{{cd(0.25, 0)}, {cd(0.5, 0), cd(-0.5, 0)}, 2.0});
  EXPECT_TRUE(d.b == (std::vector<double>{0, 2, -0.5}) && d.a.size() == 3);
  // One real pole and zero: padded with roots at 0; none at all: one
  // pass-through section carrying the gain; an unpaired complex root: refused.
  EXPECT_EQ(mf::zpk2sos(ZPK{{cd(-1, 0)}, {cd(0.3, 0)}, 2.0}).flat, (std::vector<double>{2, 2, 0, 1, -0.3, 0}));
  EXPECT_EQ(mf::zpk2sos(ZPK{{}, {}, 0.25}).flat, (std::vector<double>{0.25, 0, 0, 1, 0, 0}));
  EXPECT_THROW(mf::zpk2sos(ZPK{{cd(0, 1), cd(0, -1)}, {cd(0.5, 0.5), cd(0.2, 0)}, 1.0}), std::runtime_error);
}

TEST(FilterState, RepresentationsDerivedOnceKeptOrRefused) {
  morvex_m_filter_state* st = nullptr;
  ASSERT_EQ(morvex_m_filter_iir_notch(&st, 1000.0, 50.0, 5.0), 0);
  EXPECT_FALSE(std::atomic_load(&st->zpk) || std::atomic_load(&st->sos));
  const morvex_m_c64f64 *z1, *p1, *z2, *p2; const double *b1, *a1, *b2, *a2; uint64_t nz, np, n1, n2; double k;
  ASSERT_EQ(morvex_m_filter_iir_get_zpk(st, &z1, &nz, &p1, &np, &k) | morvex_m_filter_iir_get_zpk(st, &z2, &nz, &p2, &np, &k) |
                morvex_m_filter_iir_get_tf(st, &b1, &a1, &n1) | morvex_m_filter_iir_get_tf(st, &b2, &a2, &n2), 0);
  EXPECT_TRUE(z1 == z2 && p1 == p2 && b1 == b2 && a1 == a2 && n1 == 3u);
  morvex_m_filter_state_destroy(st); morvex_m_filter_state_destroy(nullptr);
  // No representation at all, or a TF whose denominator is all zero: every
  // query and execution fails and leaves its outputs alone.
  morvex_m_filter_state empty, bad;
  std::atomic_store(&bad.tf, std::make_shared<const TF>(TF{{1, 0, 0}, {0, 0, 0}}));
  uint64_t n = 99; int32_t stable = 7; float x = 1;
  for (morvex_m_filter_state* s : {&empty, &bad}) {
    EXPECT_EQ(morvex_m_filter_iir_get_sos(s, &b1, &n) | morvex_m_filter_iir_isstable(s, &stable), -1);
    EXPECT_EQ(morvex_m_filter_execute_f32(&x, &x, 1, s), -1);
  }
  EXPECT_EQ(morvex_m_filter_iir_get_tf(&empty, &b1, &a1, &n) | morvex_m_filter_iir_isstable(nullptr, &stable) |
                morvex_m_filter_iir_get_sos(nullptr, &b1, &n) | morvex_m_filter_execute_f32(nullptr, nullptr, 0, nullptr), -1);
  EXPECT_TRUE(n == 99 && stable == 7 && x == 1 && empty.filter == nullptr && !std::atomic_load(&bad.zpk));
}

TEST(FilterState, StableOnlyStrictlyInsideTheUnitCircle) {
  const struct { std::vector<cd> poles; int32_t stable; } rows[] = {
      {{cd(0.5, 0), cd(0, 1)}, 0}, {{cd(-1, 0)}, 0}, {{cd(std::nextafter(1.0, 0.0), 0), cd(0.1, 0.2)}, 1},
      {{cd(0.6, 0.8)}, 0} /* |0.6+0.8j| rounds to 1 */, {{cd(0.1, 0), cd(NAN, 0), cd(0.2, 0)}, 0}};
  for (const auto& r : rows) {
    morvex_m_filter_state st;
    std::atomic_store(&st.zpk, std::make_shared<const ZPK>(ZPK{{}, r.poles, 1.0}));
    int32_t stable = -1;
    EXPECT_EQ(morvex_m_filter_iir_isstable(&st, &stable), 0); EXPECT_EQ(stable, r.stable) << r.poles[0];
  }
}

}  // namespace
