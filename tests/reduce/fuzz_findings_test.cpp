// Inputs the fuzzers found, kept as rows: what the library must do with them.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "morvex-m.h"

namespace {

// Zero bins: nothing to count into (bins is never touched, NULL is fine);
// samples within [min, max], and NaNs, are counted nowhere, and the count
// returned is what the out-of-range counters took. Both the u8 paths (per
// sample below 512 samples, through the value table from 512 on) and f32.
TEST(HistogramFindings, ZeroBinsCountOnlyOutOfRange) {
  for (const uint64_t n : {300u, 1000u}) {
    std::vector<uint8_t> x(n);
    for (uint64_t i = 0; i < n; ++i) x[i] = uint8_t(i);
    uint32_t below = 0, above = 0;
    uint64_t want_below = 0, want_above = 0;
    for (uint8_t v : x) want_below += v < 100, want_above += v > 200;
    EXPECT_EQ(morvex_m_histogram_lin_1d_u8u32(x.data(), n, 100, 200, nullptr, 0, &below, &above),
              want_below + want_above) << n;
    EXPECT_TRUE(below == want_below && above == want_above) << n;
    EXPECT_EQ(morvex_m_histogram_lin_1d_u8u32(x.data(), n, 100, 200, nullptr, 0, nullptr, &above), want_above);
  }
  const float f[] = {NAN, -INFINITY, 1, 5, 10, INFINITY, 2, 8};
  uint16_t below = 0, above = 0;
  EXPECT_EQ(morvex_m_histogram_lin_1d_f32u16(f, 8, 2.0f, 8.0f, nullptr, 0, &below, &above), 4u);
  EXPECT_TRUE(below == 2 && above == 2);
}

}  // namespace
