// SPDX-License-Identifier: MIT
// Inputs the fuzzers found, kept as rows: what the library must do with them.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "morvex-m.h"

namespace {

// Unwrap over a dropout: within one call every output from a NaN or infinite
// sample on is NaN (each step is taken against the previous output), and the
// NaN state handed back starts a new signal at the next call. So cutting a
// record changes nothing before its first NaN output, and a block that starts
// after it starts afresh.
TEST(UnwrapFindings, ADropoutCarriesNaNToTheEndOfTheCallAndTheStateRestarts) {
  const double pi = 3.141592653589793;
  const struct {
    std::vector<double> in;
    double state;
    std::vector<double> want;  // NaN where NaN is wanted
  } rows[] = {
      {{1.0, NAN, 3.0, -3.0}, NAN, {1.0, NAN, NAN, NAN}},
      {{1.0, INFINITY, 2.0}, NAN, {1.0, NAN, NAN}},
      {{3.0, -3.0}, NAN, {3.0, -3.0 + 2 * pi}},  // the next call after either row
      {{INFINITY, 1.0}, NAN, {INFINITY, NAN}},
  };
  for (const auto& [in, state, want] : rows) {
    std::vector<double> out(in.size());
    double s = state;
    EXPECT_EQ(morvex_m_unwrap_f64(in.data(), out.data(), in.size(), &s), 0);
    for (size_t i = 0; i < in.size(); ++i)
      EXPECT_TRUE(std::isnan(want[i]) ? std::isnan(out[i]) : out[i] == want[i] || std::abs(out[i] - want[i]) < 1e-12) << i;
    EXPECT_EQ(std::isnan(s), std::isnan(want.back()));
  }
}

}  // namespace
