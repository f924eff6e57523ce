// SPDX-License-Identifier: MIT
// Inputs the fuzzers found, kept as rows: what the library must do with them.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "morvex-m.h"

namespace {

// Zero bins: the width is infinite, so every sample within [min, max] lands in
// bins[0]; a NaN (whose quotient is NaN) and a flat range (0/0) used to be
// clamped to a wrapped bin number far outside the array. Both u8 paths (per
// sample below 512 samples, through the value table from 512 on) and f32.
TEST(HistogramFindings, ZeroBinsCountInRangeSamplesInTheFirstCounter) {
  for (const uint64_t n : {300u, 1000u}) {
    std::vector<uint8_t> x(n);
    for (uint64_t i = 0; i < n; ++i) x[i] = uint8_t(i);
    uint32_t bin = 0, below = 0, above = 0;
    uint64_t want_below = 0, want_above = 0;
    for (uint8_t v : x) want_below += v < 100, want_above += v > 200;
    EXPECT_EQ(morvex_m_histogram_lin_1d_u8u32(x.data(), n, 100, 200, &bin, 0, &below, &above), n);
    EXPECT_TRUE(below == want_below && above == want_above && bin == n - want_below - want_above) << n;
  }
  const float f[] = {NAN, -INFINITY, 1, 5, 10, INFINITY, 2, 8};
  uint16_t bin = 0, below = 0, above = 0;
  EXPECT_EQ(morvex_m_histogram_lin_1d_f32u16(f, 8, 2.0f, 8.0f, &bin, 0, &below, &above), 8u);
  EXPECT_TRUE(bin == 4 && below == 2 && above == 2);
  const float flat[] = {3, 3, NAN};
  bin = 0;
  EXPECT_EQ(morvex_m_histogram_lin_1d_f32u16(flat, 3, 3.0f, 3.0f, &bin, 0, nullptr, nullptr), 3u);
  EXPECT_EQ(bin, 3);
}

}  // namespace
