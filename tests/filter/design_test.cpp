// Design parameter checks, their boundaries, and the designs' fixed points.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <stdexcept>

#include "filter/design.h"
#include "morvex-m.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kFs = 1000.0;

using Design = int32_t (*)(int32_t, double, double, double);

// Each family through its export, with its own extra parameter fixed.
int32_t butter(int32_t band, double fs, double f1, double f2) {
  morvex_m_filter_state* st = reinterpret_cast<morvex_m_filter_state*>(0x1);
  const int32_t r = morvex_m_filter_iir_butterworth(band, 4, &st, fs, f1, f2);
  if (r == 0) morvex_m_filter_state_destroy(st);
  else EXPECT_EQ(st, reinterpret_cast<morvex_m_filter_state*>(0x1)) << "state_out written on failure";
  return r;
}
int32_t cheby1(int32_t band, double fs, double f1, double f2) {
  morvex_m_filter_state* st = nullptr;
  const int32_t r = morvex_m_filter_iir_chebyshev1(band, 4, &st, fs, f1, f2, 1.0);
  morvex_m_filter_state_destroy(st);
  return r;
}
int32_t cheby2(int32_t band, double fs, double f1, double f2) {
  morvex_m_filter_state* st = nullptr;
  const int32_t r = morvex_m_filter_iir_chebyshev2(band, 4, &st, fs, f1, f2, 40.0);
  morvex_m_filter_state_destroy(st);
  return r;
}

TEST(FilterDesign, FrequencyChecksOfEveryFamily) {
  for (Design d : {butter, cheby1, cheby2}) {
    // Sample rate strictly positive.
    EXPECT_EQ(d(0, 0.0, 100.0, 0.0), -1);
    EXPECT_EQ(d(0, -kFs, 100.0, 0.0), -1);
    EXPECT_EQ(d(0, kNaN, 100.0, 0.0), -1);
    // Both edges >= 0, f2 even where it is otherwise unused.
    EXPECT_EQ(d(0, kFs, -1.0, 0.0), -1);
    EXPECT_EQ(d(0, kFs, 100.0, -1e-300), -1);
    EXPECT_EQ(d(1, kFs, 100.0, -1.0), -1);
    EXPECT_EQ(d(0, kFs, 100.0, kNaN), -1);
    EXPECT_EQ(d(0, kFs, 100.0, 10 * kFs), 0) << "a lowpass ignores f2 beyond its sign";
    // The cut-off lies strictly between 0 and Nyquist.
    for (int band = 0; band < 4; ++band) {
      EXPECT_EQ(d(band, kFs, 0.0, 300.0), -1) << band;
      EXPECT_EQ(d(band, kFs, kFs / 2, 300.0), -1) << band;
      EXPECT_EQ(d(band, kFs, kNaN, 300.0), -1) << band;
      EXPECT_EQ(d(band, kFs, 1e-9, 300.0), 0) << band;
      EXPECT_EQ(d(band, kFs, std::nextafter(kFs / 2, 0.0), 300.0), 0) << band;
    }
    // The upper edge too, for the two band types that use it.
    for (int band : {2, 3}) {
      EXPECT_EQ(d(band, kFs, 100.0, 0.0), -1) << band;
      EXPECT_EQ(d(band, kFs, 100.0, kFs / 2), -1) << band;
      EXPECT_EQ(d(band, kFs, 100.0, std::nextafter(kFs / 2, 0.0)), 0) << band;
      EXPECT_EQ(d(band, kFs, 300.0, 100.0), 0) << "the edges need not be ordered";
    }
    // Unknown band types fail (after the prototype has been made).
    for (int band : {-1, 4, 1000}) EXPECT_EQ(d(band, kFs, 100.0, 300.0), -1) << band;
  }
}

TEST(FilterDesign, RippleAndAttenuationChecks) {
  morvex_m_filter_state* st = nullptr;
  EXPECT_EQ(morvex_m_filter_iir_chebyshev1(0, 4, &st, kFs, 100.0, 0.0, -0.1), -1);
  EXPECT_EQ(morvex_m_filter_iir_chebyshev1(0, 4, &st, kFs, 100.0, 0.0, kNaN), -1);
  EXPECT_EQ(morvex_m_filter_iir_chebyshev2(0, 4, &st, kFs, 100.0, 0.0, -0.1), -1);
  EXPECT_EQ(morvex_m_filter_iir_chebyshev2(0, 4, &st, kFs, 100.0, 0.0, kNaN), -1);
  EXPECT_EQ(st, nullptr);
  // Zero passes the check (>=), but a 0 dB ripple puts the poles at infinity
  // and so does a 0 dB attenuation at odd order: no finite filter, rejected.
  EXPECT_EQ(morvex_m_filter_iir_chebyshev1(0, 4, &st, kFs, 100.0, 0.0, 0.0), -1);
  EXPECT_EQ(morvex_m_filter_iir_chebyshev2(0, 3, &st, kFs, 100.0, 0.0, 0.0), -1);
  ASSERT_EQ(morvex_m_filter_iir_chebyshev2(0, 4, &st, kFs, 100.0, 0.0, 0.0), 0);
  morvex_m_filter_state_destroy(st);
  EXPECT_EQ(morvex_m_filter_iir_butterworth(0, 4, nullptr, kFs, 100.0, 0.0), -1);
  EXPECT_EQ(morvex_m_filter_iir_notch(nullptr, kFs, 100.0, 10.0), -1);
}

TEST(FilterDesign, InternalRoutineNeedsItsFamilyParameter) {
  using morvex::filter::design_iir;
  EXPECT_THROW(design_iir(1, 0, 4, true, false, kFs, 100.0, 0.0, 1.0, std::nullopt), std::invalid_argument);
  EXPECT_THROW(design_iir(2, 0, 4, true, false, kFs, 100.0, 0.0, 0.0, std::nullopt), std::invalid_argument);
  EXPECT_THROW(design_iir(3, 0, 4, true, false, kFs, 100.0, 0.0, 0.0, std::nullopt), std::invalid_argument);
  EXPECT_THROW(design_iir(0, 0, 4, true, false, kFs, 100.0, 0.0, 0.0, -1.0), std::invalid_argument);
  // Without a sample rate the edges are already normalised to Nyquist.
  const auto [z, p, k] = design_iir(0, 0, 3, false, false, 0.0, 0.2, 0.0, 0.0, std::nullopt);
  const auto [z2, p2, k2] = design_iir(0, 0, 3, true, false, kFs, 100.0, 0.0, 0.0, std::nullopt);
  EXPECT_EQ(k, k2);
  EXPECT_THROW(design_iir(0, 0, 3, false, false, 0.0, 1.0, 0.0, 0.0, std::nullopt), std::invalid_argument);
}

TEST(FilterDesign, OrderZeroIsAGainOnly) {
  for (int family = 0; family < 3; ++family) {
    for (int band = 0; band < 4; ++band) {
      const auto [z, p, k] =
          morvex::filter::design_iir(family, band, 0, true, family == 1, kFs, 100.0, 300.0, 3.0,
                                     family == 2 ? std::optional<double>(40.0) : std::nullopt);
      EXPECT_TRUE(z.empty() && p.empty());
      EXPECT_DOUBLE_EQ(k, family == 1 ? std::pow(10.0, -3.0 / 20.0) : 1.0) << family << " " << band;
    }
  }
}

TEST(FilterDesign, ResonatorCentreChecks) {
  morvex_m_filter_state* st = nullptr;
  for (double f0 : {kFs / 2, 100.0}) {
    ASSERT_EQ(morvex_m_filter_iir_notch(&st, kFs, f0, 10.0), 0) << f0;
    morvex_m_filter_state_destroy(st);
    ASSERT_EQ(morvex_m_filter_iir_peak(&st, kFs, f0, 10.0), 0) << f0;
    morvex_m_filter_state_destroy(st);
  }
  st = nullptr;
  // A centre of 0 passes the range check but makes the quality factor 0 and
  // the width 0/0: rejected rather than a state of NaN coefficients.
  for (double f0 : {0.0, -1e-12, std::nextafter(kFs / 2, kFs), kNaN}) {
    EXPECT_EQ(morvex_m_filter_iir_notch(&st, kFs, f0, 10.0), -1) << f0;
    EXPECT_EQ(morvex_m_filter_iir_peak(&st, kFs, f0, 10.0), -1) << f0;
  }
  EXPECT_EQ(morvex_m_filter_iir_notch(&st, 0.0, 100.0, 10.0), -1) << "no sample rate: infinite centre";
  EXPECT_EQ(st, nullptr);
  EXPECT_THROW(morvex::filter::design_resonator(5, 0.5, 1.0), std::invalid_argument);
}

// The two -3 dB factors are one ulp either side of 1; a design that used 1.0
// (or let them fold) would give different coefficients. The test picks
// widths where the factors change the result, so it cannot pass by luck.
TEST(FilterDesign, ResonatorFactorsAreExact) {
  int discriminating = 0;
  for (int i = 1; i < 4000; ++i) {
    const double w0 = 0.05 + (i % 19) / 20.0, q = 0.5 + i / 97.0;
    const double t = std::tan(M_PI * (w0 / q) / 2.0);
    const double gn = 1.0 / (1.0 + t * std::nextafter(1.0, 2.0));
    const double gp = 1.0 / (1.0 + t * std::nextafter(1.0, 0.0));
    const double g1 = 1.0 / (1.0 + t);
    if (gn == g1 || gp == g1) continue;
    ++discriminating;
    const auto [bn, an] = morvex::filter::design_resonator(3, w0, q);
    const auto [bp, ap] = morvex::filter::design_resonator(4, w0, q);
    EXPECT_EQ(bn[0], gn);
    EXPECT_EQ(bn[1], -2.0 * gn * std::cos(M_PI * w0));
    EXPECT_EQ(an[2], 2.0 * gn - 1.0);
    EXPECT_EQ(bp[0], 1.0 - gp);
    EXPECT_EQ(bp[1], 0.0);
    EXPECT_EQ(bp[2], -(1.0 - gp));
    EXPECT_EQ(ap[1], -2.0 * gp * std::cos(M_PI * w0));
  }
  EXPECT_GT(discriminating, 5);
}

}  // namespace
