// Exponential fit: recovery of known exponentials, rejection of non-positive
// samples with the outputs untouched, the undetermined n < 2, and long
// records (beyond the stack scratch) against the same sums taken in one
// pass.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "morvex-m.h"

namespace {

std::vector<double> exponential(double c, double k, size_t n) {
  std::vector<double> y(n);
  for (size_t i = 0; i < n; ++i) y[i] = c * std::exp(k * double(i));
  return y;
}

TEST(FitExp, RecoversKnownExponentials) {
  for (double c : {0.001, 1.0, 3.5, 2e6})
    for (double k : {0.1, -0.02, 1e-5})
      for (size_t n : {2, 3, 10, 1000}) {
        const std::vector<double> y = exponential(c, k, n);
        double a = 0, b = 0;
        ASSERT_EQ(morvex_m_fit_exp_f64(y.data(), n, &a, &b), 0);
        EXPECT_NEAR(a / c, 1.0, 1e-9) << c << " " << k << " " << n;
        EXPECT_NEAR(b, k, 1e-9 * std::max(1.0, std::fabs(k))) << c << " " << k << " " << n;
      }
  const std::vector<double> flat(50, 4.25);
  double a = 0, b = 1;
  morvex_m_fit_exp_f64(flat.data(), flat.size(), &a, &b);
  EXPECT_NEAR(a, 4.25, 1e-12);
  EXPECT_NEAR(b, 0.0, 1e-15);
}

TEST(FitExp, NonPositiveSampleFailsAndWritesNothing) {
  for (size_t at : {0, 1, 999, 1023, 1024, 1025, 2999})
    for (double bad : {0.0, -0.0, -1.0, -double(INFINITY)}) {
      std::vector<double> y = exponential(2.0, 0.001, 3000);
      y[at] = bad;
      double a = 123, b = 456;
      EXPECT_EQ(morvex_m_fit_exp_f64(y.data(), y.size(), &a, &b), -1) << at;
      EXPECT_EQ(a, 123);
      EXPECT_EQ(b, 456);
    }
}

TEST(FitExp, UndeterminedAndPartialRequests) {
  const double one[] = {5.0};
  double a = 0, b = 0;
  EXPECT_EQ(morvex_m_fit_exp_f64(one, 0, &a, &b), 0);
  EXPECT_TRUE(std::isnan(a) && std::isnan(b));
  a = b = 0;
  EXPECT_EQ(morvex_m_fit_exp_f64(one, 1, &a, &b), 0);
  EXPECT_TRUE(std::isnan(a) && std::isnan(b));

  const std::vector<double> y = exponential(3.0, 0.5, 20);
  double a_only = 0, b_only = 0, a_both = 0, b_both = 0;
  EXPECT_EQ(morvex_m_fit_exp_f64(y.data(), 20, &a_only, nullptr), 0);
  EXPECT_EQ(morvex_m_fit_exp_f64(y.data(), 20, nullptr, &b_only), 0);
  EXPECT_EQ(morvex_m_fit_exp_f64(y.data(), 20, nullptr, nullptr), 0);
  morvex_m_fit_exp_f64(y.data(), 20, &a_both, &b_both);
  EXPECT_EQ(a_only, a_both);
  EXPECT_EQ(b_only, b_both);

  std::vector<double> with_nan = y;
  with_nan[7] = NAN;
  EXPECT_EQ(morvex_m_fit_exp_f64(with_nan.data(), 20, &a, &b), 0);
  EXPECT_TRUE(std::isnan(a) && std::isnan(b));
}

TEST(FitExp, LongRecordsGiveTheOnePassSums) {
  // The sums of the definition, in index order; a record cut into scratch
  // slices must give these bits exactly.
  for (size_t n : {1023, 1024, 1025, 2048, 2049, 100000}) {
    std::vector<double> y(n);
    for (size_t i = 0; i < n; ++i) y[i] = 1.0 + double((i * 7919) % 1000) / 100.0;
    double sx = 0, sxx = 0, sy = 0, sxy = 0;
    for (size_t i = 0; i < n; ++i) {
      const double l = std::log(y[i]);
      sx = sx + double(i);
      sxx = sxx + double(uint64_t(i) * uint64_t(i));
      sy = sy + l;
      sxy = sxy + double(i) * l;
    }
    const double d = double(n) * sxx - sx * sx;
    double a = 0, b = 0;
    ASSERT_EQ(morvex_m_fit_exp_f64(y.data(), n, &a, &b), 0);
    EXPECT_EQ(a, std::exp((sxx * sy - sxy * sx) / d)) << n;
    EXPECT_EQ(b, (double(n) * sxy - sx * sy) / d) << n;
  }
}

}  // namespace
