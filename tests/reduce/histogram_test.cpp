// Linear histograms: the worked edge examples, NaN into the last bin,
// degenerate ranges, counter wrap-around, the four combinations of present
// and absent out-of-range counters, and the u8 value table against the
// per-sample division it stands in for.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "morvex-m.h"

namespace {

TEST(Histogram, WorkedEdgeExamples) {
  // u8, 0..255 in 256 bins: width 255/256, so 128 -> 128.5 -> bin 128, and
  // 255 -> 256 is clamped into bin 255.
  std::vector<uint32_t> bins(256, 0);
  const uint8_t s[] = {0, 128, 255, 1};
  EXPECT_EQ(morvex_m_histogram_lin_1d_u8u32(s, 4, 0, 255, bins.data(), 256, nullptr, nullptr), 4u);
  EXPECT_EQ(bins[0], 1u);
  EXPECT_EQ(bins[1], 1u);
  EXPECT_EQ(bins[128], 1u);
  EXPECT_EQ(bins[255], 1u);
  EXPECT_EQ(std::accumulate(bins.begin(), bins.end(), 0u), 4u);

  // f64, 0..1 in 10 bins: 0.1 / 0.1 is exactly 1; 1.0 is clamped from 10.
  uint64_t b[10] = {};
  const double d[] = {0.1, 0.05, 1.0, 0.0};
  EXPECT_EQ(morvex_m_histogram_lin_1d_f64u64(d, 4, 0.0, 1.0, b, 10, nullptr, nullptr), 4u);
  EXPECT_EQ(b[0], 2u);
  EXPECT_EQ(b[1], 1u);
  EXPECT_EQ(b[9], 1u);

  // f32 takes the difference in single precision: -1e-8 - (-1) rounds to
  // exactly 1 there, so the sample lands in the upper of two bins.
  uint32_t f2[2] = {};
  const float tiny[] = {-1e-8f};
  morvex_m_histogram_lin_1d_f32u32(tiny, 1, -1.0f, 1.0f, f2, 2, nullptr, nullptr);
  EXPECT_EQ(f2[1], 1u);

  // i16 across zero: the difference is taken in 32 bits, no 16-bit overflow.
  uint16_t c[4] = {};
  const int16_t i[] = {-32768, 32767, 0, -1};
  EXPECT_EQ(morvex_m_histogram_lin_1d_i16u16(i, 4, -32768, 32767, c, 4, nullptr, nullptr), 4u);
  EXPECT_EQ(c[0], 1u);
  EXPECT_EQ(c[1], 1u);  // -1 -> 32767 / 16383.75 = 1.99...
  EXPECT_EQ(c[2], 1u);  // 0 -> 32768 / 16383.75 = 2.0000...
  EXPECT_EQ(c[3], 1u);
}

TEST(Histogram, OutOfRangeCountersPresentOrAbsent) {
  const float s[] = {-2, 0, 0.5f, 3, 9, -1, 2};
  for (int mask = 0; mask < 4; ++mask) {
    uint32_t bins[2] = {7, 7}, below = 10, above = 20;
    uint32_t* pb = (mask & 1) ? &below : nullptr;
    uint32_t* pa = (mask & 2) ? &above : nullptr;
    const uint64_t counted = morvex_m_histogram_lin_1d_f32u32(s, 7, 0.0f, 2.0f, bins, 2, pb, pa);
    EXPECT_EQ(bins[0], 9u) << mask;  // 0, 0.5 added to the 7 already there
    EXPECT_EQ(bins[1], 8u) << mask;  // 2 is the upper edge: last bin
    EXPECT_EQ(below, pb ? 12u : 10u) << mask;
    EXPECT_EQ(above, pa ? 22u : 20u) << mask;
    EXPECT_EQ(counted, 3u + (pb ? 2 : 0) + (pa ? 2 : 0)) << mask;
  }
  uint16_t bins[1] = {};
  EXPECT_EQ(morvex_m_histogram_lin_1d_u16u16(nullptr, 0, 0, 1, bins, 1, nullptr, nullptr), 0u);
}

TEST(Histogram, NaNGoesToTheLastBin) {
  const float f[] = {NAN, 0.0f, -NAN};
  uint64_t bins[5] = {}, below = 0, above = 0;
  EXPECT_EQ(morvex_m_histogram_lin_1d_f32u64(f, 3, -1.0f, 1.0f, bins, 5, &below, &above), 3u);
  EXPECT_EQ(bins[4], 2u);
  EXPECT_EQ(bins[2], 1u);
  EXPECT_EQ(below + above, 0u);
  const double d[] = {std::nan("")};
  uint16_t b16[3] = {};
  morvex_m_histogram_lin_1d_f64u16(d, 1, 0.0, 3.0, b16, 3, nullptr, nullptr);
  EXPECT_EQ(b16[2], 1u);
}

TEST(Histogram, DegenerateRanges) {
  // min == max: only that value is binned, 0/0 puts it in the last bin.
  const uint16_t s[] = {5, 4, 6, 5};
  uint32_t bins[3] = {}, below = 0, above = 0;
  EXPECT_EQ(morvex_m_histogram_lin_1d_u16u32(s, 4, 5, 5, bins, 3, &below, &above), 4u);
  EXPECT_EQ(bins[2], 2u);
  EXPECT_EQ(bins[0] + bins[1], 0u);
  EXPECT_EQ(below, 1u);
  EXPECT_EQ(above, 1u);
  // max < min: nothing in range; below is tested first.
  const double d[] = {0.0, 1.5, 3.0};
  uint64_t b[2] = {}, lo = 0, hi = 0;
  EXPECT_EQ(morvex_m_histogram_lin_1d_f64u64(d, 3, 2.0, 1.0, b, 2, &lo, &hi), 3u);
  EXPECT_EQ(b[0] + b[1], 0u);
  EXPECT_EQ(lo, 2u);  // 1.5 is below 2 and above 1: it counts as below
  EXPECT_EQ(hi, 1u);
}

TEST(Histogram, CountersWrapAtTheirWidth) {
  std::vector<uint8_t> s(3, 7);
  uint16_t bins[1] = {65535}, below = 65535;
  const uint8_t low[] = {1};
  morvex_m_histogram_lin_1d_u8u16(s.data(), 1, 0, 10, bins, 1, nullptr, nullptr);
  EXPECT_EQ(bins[0], 0u);
  morvex_m_histogram_lin_1d_u8u16(low, 1, 5, 10, bins, 1, &below, nullptr);
  EXPECT_EQ(below, 0u);
  // The u8 table path (long records) wraps the same way.
  std::vector<uint8_t> many(70000, 7);
  uint16_t b2[2] = {0, 0};
  morvex_m_histogram_lin_1d_u8u16(many.data(), many.size(), 0, 255, b2, 2, nullptr, nullptr);
  EXPECT_EQ(b2[0], uint16_t(70000));
}

TEST(Histogram, U8TableMatchesShortRecords) {
  // Long u8 records go through a table of the 256 values; short ones divide
  // per sample. Counting one record whole and in short pieces must agree for
  // every kind of range.
  std::mt19937 rng(3);
  std::vector<uint8_t> s(5000);
  for (auto& v : s) v = uint8_t(rng());
  const std::pair<uint8_t, uint8_t> ranges[] = {{0, 255}, {10, 200}, {37, 37}, {200, 10}, {0, 0}, {255, 255}};
  for (auto [lo, hi] : ranges)
    for (uint64_t nbins : {1, 3, 7, 256, 1000}) {
      std::vector<uint32_t> whole(nbins), pieces(nbins);
      uint32_t wb = 0, wa = 0, pb = 0, pa = 0;
      const uint64_t cw = morvex_m_histogram_lin_1d_u8u32(s.data(), s.size(), lo, hi, whole.data(), nbins, &wb, &wa);
      uint64_t cp = 0;
      for (size_t i = 0; i < s.size(); i += 100)
        cp += morvex_m_histogram_lin_1d_u8u32(s.data() + i, 100, lo, hi, pieces.data(), nbins, &pb, &pa);
      EXPECT_EQ(whole, pieces) << int(lo) << ".." << int(hi) << " bins " << nbins;
      EXPECT_EQ(wb, pb);
      EXPECT_EQ(wa, pa);
      EXPECT_EQ(cw, cp);
    }
}

TEST(Histogram, EveryInputAndCounterTypeExists) {
  // Same ten samples through all fifteen exports: 0..9 into 0..9 in 5 bins.
  uint64_t ref[5] = {2, 2, 2, 2, 2};
#define MORVEX_HISTO_CHECK(T, S, C, CS)                                                            \
  {                                                                                                \
    T x[10];                                                                                       \
    for (int i = 0; i < 10; ++i) x[i] = T(i);                                                      \
    C b[5] = {};                                                                                   \
    EXPECT_EQ(morvex_m_histogram_lin_1d_##S##CS(x, 10, T(0), T(10), b, 5, nullptr, nullptr), 10u); \
    for (int k = 0; k < 5; ++k) EXPECT_EQ(uint64_t(b[k]), ref[k]) << #S #CS << " bin " << k;       \
  }
#define MORVEX_HISTO_ALL(T, S) \
  MORVEX_HISTO_CHECK(T, S, uint16_t, u16) MORVEX_HISTO_CHECK(T, S, uint32_t, u32) MORVEX_HISTO_CHECK(T, S, uint64_t, u64)
  MORVEX_HISTO_ALL(int16_t, i16)
  MORVEX_HISTO_ALL(uint8_t, u8)
  MORVEX_HISTO_ALL(uint16_t, u16)
  MORVEX_HISTO_ALL(float, f32)
  MORVEX_HISTO_ALL(double, f64)
#undef MORVEX_HISTO_ALL
#undef MORVEX_HISTO_CHECK
}

}  // namespace
