// SPDX-License-Identifier: MIT
// Exponential fit: recovery of known exponentials, rejection of non-positive
// samples with the outputs untouched, the undetermined n < 2 and NaN, partial
// requests, and records longer than the stack scratch giving the least-squares
// sums taken in one pass in index order. (Noisy fits are checked against
// numpy's polyfit by the Python oracles.)
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

TEST(FitExp, KnownExponentialsAndBadSamples) {
  for (double c : {0.001, 3.5, 2e6})
    for (double k : {0.1, -0.02, 1e-5, 0.0})
      for (size_t n : {2, 3, 1000}) {
        const std::vector<double> y = exponential(c, k, n); double a = 0, b = 0;
        ASSERT_EQ(morvex_m_fit_exp_f64(y.data(), n, &a, &b), 0);
        EXPECT_TRUE(std::fabs(a / c - 1.0) < 1e-9 && std::fabs(b - k) < 1e-11) << c << " " << k << " " << n;
      }
  for (size_t at : {0, 1023, 1024, 2999})
    for (double bad : {0.0, -0.0, -1.0}) {
      std::vector<double> y = exponential(2.0, 0.001, 3000); y[at] = bad; double a = 123, b = 456;
      EXPECT_EQ(morvex_m_fit_exp_f64(y.data(), y.size(), &a, &b), -1) << at; EXPECT_TRUE(a == 123 && b == 456);
    }
}

TEST(FitExp, UndeterminedNaNAndPartialRequests) {
  const double one[] = {5.0};
  for (uint64_t n : {0, 1}) {
    double a = 0, b = 0;
    EXPECT_EQ(morvex_m_fit_exp_f64(one, n, &a, &b), 0); EXPECT_TRUE(std::isnan(a) && std::isnan(b));
  }
  std::vector<double> y = exponential(3.0, 0.5, 20); double a_only = 0, b_only = 0, a = 0, b = 0;
  EXPECT_EQ(morvex_m_fit_exp_f64(y.data(), 20, &a_only, nullptr) | morvex_m_fit_exp_f64(y.data(), 20, nullptr, &b_only) |
                morvex_m_fit_exp_f64(y.data(), 20, nullptr, nullptr) | morvex_m_fit_exp_f64(y.data(), 20, &a, &b), 0);
  EXPECT_TRUE(a_only == a && b_only == b);
  y[7] = NAN;
  EXPECT_EQ(morvex_m_fit_exp_f64(y.data(), 20, &a, &b), 0); EXPECT_TRUE(std::isnan(a) && std::isnan(b));
}

TEST(FitExp, LongRecordsGiveTheOnePassSums) {
  for (size_t n : {1023, 1024, 1025, 2049, 100000}) {
    std::vector<double> y(n);
    for (size_t i = 0; i < n; ++i) y[i] = 1.0 + double((i * 7919) % 1000) / 100.0;
    double sx = 0, sxx = 0, sy = 0, sxy = 0;
    for (size_t i = 0; i < n; ++i) {
      const double l = std::log(y[i]);
      sx = sx + double(i), sxx = sxx + double(uint64_t(i) * uint64_t(i)), sy = sy + l, sxy = sxy + double(i) * l;
    }
    const double d = double(n) * sxx - sx * sx; double a = 0, b = 0;
    ASSERT_EQ(morvex_m_fit_exp_f64(y.data(), n, &a, &b), 0); EXPECT_EQ(a, std::exp((sxx * sy - sxy * sx) / d)) << n;
    EXPECT_EQ(b, (double(n) * sxy - sx * sy) / d) << n;
  }
}

}  // namespace
