// Representation conversion: roots, expansion, pairing into sections, and
// how the state derives and keeps its representations.
#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <stdexcept>

#include "filter/convert.h"
#include "filter/state.h"
#include "morvex-m.h"

namespace {

using cd = std::complex<double>;
using morvex::FilterState::IIR::TF;
using morvex::FilterState::IIR::ZPK;
namespace mf = morvex::filter;

// Every expected root is found once, within tol.
void expect_roots(std::vector<cd> got, std::vector<cd> want, double tol) {
  ASSERT_EQ(got.size(), want.size());
  for (const cd& w : want) {
    auto it = std::min_element(got.begin(), got.end(),
                               [&](const cd& a, const cd& b) { return std::abs(a - w) < std::abs(b - w); });
    EXPECT_LE(std::abs(*it - w), tol) << "missing root " << w << ", nearest " << *it;
    got.erase(it);
  }
}

TEST(FilterConvert, RootsOfKnownPolynomials) {
  // (x-1)(x-2)(x-3) = x^3 - 6x^2 + 11x - 6.
  expect_roots(mf::roots({1, -6, 11, -6}), {1, 2, 3}, 1e-12);
  // Trailing zeros are exact roots at the origin; the leading coefficient
  // does not matter.
  const std::vector<cd> r = mf::roots({2, -2, 0, 0});
  expect_roots(r, {1, 0, 0}, 1e-15);
  EXPECT_EQ(std::count(r.begin(), r.end(), cd(0, 0)), 2);
  // x^2 + 1: an exactly conjugate pair (the pairing relies on it).
  const std::vector<cd> j = mf::roots({1, 0, 1});
  expect_roots(j, {cd(0, 1), cd(0, -1)}, 1e-15);
  EXPECT_EQ(j[0], std::conj(j[1]));
  // Widely spread magnitudes: (x - 1e-4)(x - 1e4)(x^2 + x + 1).
  const std::vector<cd> want = {1e-4, 1e4, cd(-0.5, std::sqrt(0.75)), cd(-0.5, -std::sqrt(0.75))};
  const std::vector<cd> c = mf::poly(want);
  std::vector<double> coeffs;
  for (const cd& v : c) coeffs.push_back(v.real());
  const std::vector<cd> got = mf::roots(coeffs);
  expect_roots(got, want, 1e-9);
  EXPECT_TRUE(mf::roots({5}).empty());
}

TEST(FilterConvert, TfToZpkNormalises) {
  // Leading zeros of a are dropped before dividing by its first coefficient.
  const ZPK z = mf::tf2zpk(TF{{0, 4, -4}, {0, 2, 1}});
  EXPECT_EQ(z.k, 2.0);
  expect_roots(z.z, {1}, 1e-15);
  expect_roots(z.p, {-0.5}, 1e-15);
  EXPECT_THROW(mf::tf2zpk(TF{{1, 2}, {0, 0}}), std::invalid_argument);
  EXPECT_THROW(mf::tf2zpk(TF{{1}, {}}), std::invalid_argument);
  const ZPK zero = mf::tf2zpk(TF{{0, 0}, {1, 0.5}});
  EXPECT_EQ(zero.k, 0.0);
  EXPECT_TRUE(zero.z.empty());
}

TEST(FilterConvert, ZpkToTfExpandsAndAligns) {
  const TF tf = mf::zpk2tf(ZPK{{cd(-1, 0), cd(-1, 0)}, {cd(0.5, 0.5), cd(0.5, -0.5)}, 3.0});
  EXPECT_EQ(tf.b, (std::vector<double>{3, 6, 3}));
  EXPECT_EQ(tf.a, (std::vector<double>{1, -1, 0.5}));
  // Fewer zeros than poles: the numerator gains leading zeros (a delay).
  const TF d = mf::zpk2tf(ZPK{{cd(0.25, 0)}, {cd(0.5, 0), cd(-0.5, 0)}, 2.0});
  EXPECT_EQ(d.b, (std::vector<double>{0, 2, -0.5}));
  EXPECT_EQ(d.a.size(), 3u);
}

TEST(FilterConvert, SectionsPairNearestAndPutTheSharpestLast) {
  // Two resonances, one near the unit circle; zeros near each.
  const cd sharp = std::polar(0.99, 1.0), soft = std::polar(0.5, 2.0);
  const cd zs = std::polar(1.0, 1.05), zw = std::polar(1.0, 2.2);
  const ZPK zpk{{zw, std::conj(zw), zs, std::conj(zs)}, {soft, std::conj(soft), sharp, std::conj(sharp)}, 0.5};
  const auto sos = mf::zpk2sos(zpk);
  ASSERT_EQ(sos.sections.size(), 2u);
  ASSERT_EQ(sos.flat.size(), 12u);
  // Section 1 (last) holds the sharp pole pair and the zero nearest to it.
  EXPECT_NEAR(sos.sections[1][5], 0.99 * 0.99, 1e-15);
  EXPECT_NEAR(sos.sections[1][1], -2 * std::cos(1.05), 1e-15);
  EXPECT_NEAR(sos.sections[0][5], 0.25, 1e-15);
  // The gain lives in section 0; a0 = 1 everywhere.
  EXPECT_NEAR(sos.sections[0][0], 0.5, 1e-15);
  EXPECT_EQ(sos.sections[1][0], 1.0);
  EXPECT_EQ(sos.sections[0][3], 1.0);
  EXPECT_EQ(sos.sections[1][3], 1.0);
  for (size_t i = 0; i < 12; ++i) EXPECT_EQ(sos.flat[i], sos.sections[i / 6][i % 6]);
}

TEST(FilterConvert, SectionsOfOddAndEmptyFilters) {
  // One real pole and one zero: padded with roots at 0, so b2 = a2 = 0.
  const auto one = mf::zpk2sos(ZPK{{cd(-1, 0)}, {cd(0.3, 0)}, 2.0});
  ASSERT_EQ(one.sections.size(), 1u);
  EXPECT_EQ(one.sections[0], (std::vector<double>{2, 2, 0, 1, -0.3, 0}));
  // Neither zeros nor poles: one pass-through section carrying the gain.
  const auto none = mf::zpk2sos(ZPK{{}, {}, 0.25});
  EXPECT_EQ(none.flat, (std::vector<double>{0.25, 0, 0, 1, 0, 0}));
  // A complex root without its conjugate cannot go into a real section.
  EXPECT_THROW(mf::zpk2sos(ZPK{{cd(0, 1), cd(0, -1)}, {cd(0.5, 0.5), cd(0.2, 0)}, 1.0}), std::runtime_error);
}

TEST(FilterState, RepresentationsAreDerivedOnceAndKept) {
  morvex_m_filter_state* st = nullptr;
  ASSERT_EQ(morvex_m_filter_iir_notch(&st, 1000.0, 50.0, 5.0), 0);
  EXPECT_FALSE(std::atomic_load(&st->zpk));
  EXPECT_FALSE(std::atomic_load(&st->sos));
  const morvex_m_c64f64 *z1, *p1, *z2, *p2;
  uint64_t nz, np;
  double k;
  ASSERT_EQ(morvex_m_filter_iir_get_zpk(st, &z1, &nz, &p1, &np, &k), 0);
  const auto stored = std::atomic_load(&st->zpk);
  ASSERT_TRUE(stored);
  ASSERT_EQ(morvex_m_filter_iir_get_zpk(st, &z2, &nz, &p2, &np, &k), 0);
  EXPECT_EQ(z1, z2);
  EXPECT_EQ(p1, p2);
  EXPECT_EQ(std::atomic_load(&st->zpk), stored);
  const double *b1, *a1, *b2, *a2;
  uint64_t n1, n2;
  ASSERT_EQ(morvex_m_filter_iir_get_tf(st, &b1, &a1, &n1), 0);
  ASSERT_EQ(morvex_m_filter_iir_get_tf(st, &b2, &a2, &n2), 0);
  EXPECT_EQ(b1, b2);
  EXPECT_EQ(a1, a2);
  EXPECT_EQ(n1, 3u);
  morvex_m_filter_state_destroy(st);
}

TEST(FilterState, GettersFailWithoutRepresentationOrArguments) {
  morvex_m_filter_state empty;
  const double *b, *a;
  uint64_t n = 99;
  EXPECT_EQ(morvex_m_filter_iir_get_tf(&empty, &b, &a, &n), -1);
  EXPECT_EQ(morvex_m_filter_iir_get_sos(&empty, &b, &n), -1);
  EXPECT_EQ(n, 99u);
  int32_t stable = 7;
  EXPECT_EQ(morvex_m_filter_iir_isstable(&empty, &stable), -1);
  EXPECT_EQ(morvex_m_filter_iir_isstable(nullptr, &stable), -1);
  EXPECT_EQ(morvex_m_filter_iir_get_sos(nullptr, &b, &n), -1);
  float x = 1;
  EXPECT_EQ(morvex_m_filter_execute_f32(&x, &x, 1, &empty), -1);
  EXPECT_EQ(empty.filter, nullptr);
  // A TF whose denominator is all zero cannot be converted.
  morvex_m_filter_state bad;
  std::atomic_store(&bad.tf, std::make_shared<const TF>(TF{{1, 0, 0}, {0, 0, 0}}));
  EXPECT_EQ(morvex_m_filter_iir_get_sos(&bad, &b, &n), -1);
  EXPECT_EQ(morvex_m_filter_execute_f32(&x, &x, 1, &bad), -1);
  EXPECT_FALSE(std::atomic_load(&bad.zpk));
  EXPECT_EQ(stable, 7);
}

// isstable is strict: a pole of magnitude exactly 1 is unstable, one a
// rounding step inside is stable.
TEST(FilterState, StabilityIsStrictlyInsideTheCircle) {
  auto check = [](std::vector<cd> poles) {
    morvex_m_filter_state st;
    std::atomic_store(&st.zpk, std::make_shared<const ZPK>(ZPK{{}, std::move(poles), 1.0}));
    int32_t stable = -1;
    EXPECT_EQ(morvex_m_filter_iir_isstable(&st, &stable), 0);
    return stable;
  };
  EXPECT_EQ(check({cd(0.5, 0), cd(0, 1)}), 0);
  EXPECT_EQ(check({cd(-1, 0)}), 0);
  EXPECT_EQ(check({cd(std::nextafter(1.0, 0.0), 0), cd(0.1, 0.2)}), 1);
  EXPECT_EQ(check({cd(0.6, 0.8)}), 0) << "|0.6+0.8j| rounds to 1";
  EXPECT_EQ(check({cd(0.1, 0), cd(NAN, 0), cd(0.2, 0)}), 0) << "a NaN pole anywhere is unstable";
}

}  // namespace
