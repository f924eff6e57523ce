// SPDX-License-Identifier: MIT
// Linear histograms: the edges and the precision of each difference, NaN
// into the last bin, degenerate ranges, counter wrap-around, present and
// absent out-of-range counters, and the u8 value table against the
// per-sample division it stands in for. Also the reductions on many threads.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <random>
#include <thread>
#include <vector>

#include "common/buffers.h"
#include "common/variant_harness.h"

namespace {

TEST(Histogram, EdgesAndPrecision) {
  // u8 0..255 in 256 bins: width 255/256, so 128 -> 128.5 -> bin 128 and 255 -> 256 is clamped into bin 255.
  std::vector<uint32_t> b8(256, 0);
  const uint8_t s[] = {0, 128, 255, 1};
  EXPECT_EQ(morvex_m_histogram_lin_1d_u8u32(s, 4, 0, 255, b8.data(), 256, nullptr, nullptr), 4u);
  EXPECT_TRUE(b8[0] == 1 && b8[1] == 1 && b8[128] == 1 && b8[255] == 1);
  // f64 0..1 in 10 bins: 0.1 / 0.1 is exactly 1; 1.0 is clamped from 10.
  uint64_t b[10] = {};
  const double d[] = {0.1, 0.05, 1.0, 0.0};
  morvex_m_histogram_lin_1d_f64u64(d, 4, 0.0, 1.0, b, 10, nullptr, nullptr);
  EXPECT_TRUE(b[0] == 2 && b[1] == 1 && b[9] == 1);
  // f32 differences are single precision: -1e-8 - (-1) rounds to 1 there.
  uint32_t f2[2] = {};
  const float tiny[] = {-1e-8f};
  morvex_m_histogram_lin_1d_f32u32(tiny, 1, -1.0f, 1.0f, f2, 2, nullptr, nullptr);
  EXPECT_EQ(f2[1], 1u);
  // i16 differences are 32-bit: no wrap across the whole range; -1 -> 1.99.., 0 -> 2.00..
  uint16_t c[4] = {};
  const int16_t i[] = {-32768, 32767, 0, -1};
  morvex_m_histogram_lin_1d_i16u16(i, 4, -32768, 32767, c, 4, nullptr, nullptr);
  EXPECT_TRUE(c[0] == 1 && c[1] == 1 && c[2] == 1 && c[3] == 1);
}

TEST(Histogram, OutOfRangeCountersNaNAndDegenerateRanges) {
  const float s[] = {-2, 0, 0.5f, 3, 9, -1, 2};
  for (int mask = 0; mask < 4; ++mask) {
    uint32_t bins[2] = {7, 7}, below = 10, above = 20;
    uint32_t *pb = (mask & 1) ? &below : nullptr, *pa = (mask & 2) ? &above : nullptr;
    const uint64_t counted = morvex_m_histogram_lin_1d_f32u32(s, 7, 0.0f, 2.0f, bins, 2, pb, pa);
    EXPECT_TRUE(bins[0] == 9 && bins[1] == 8) << mask;  // added to, not cleared; 2 is the upper edge
    EXPECT_TRUE(below == (pb ? 12u : 10u) && above == (pa ? 22u : 20u)) << mask;
    EXPECT_EQ(counted, 3u + (pb ? 2 : 0) + (pa ? 2 : 0)) << mask;
  }
  const float f[] = {NAN, 0.0f, -NAN};
  uint64_t b5[5] = {}, lo = 0, hi = 0;
  EXPECT_EQ(morvex_m_histogram_lin_1d_f32u64(f, 3, -1.0f, 1.0f, b5, 5, &lo, &hi), 3u);
  EXPECT_TRUE(b5[4] == 2 && b5[2] == 1 && lo + hi == 0) << "NaN: the last bin";
  // min == max: only that value is binned, and 0/0 puts it in the last bin.
  const uint16_t u[] = {5, 4, 6, 5};
  uint32_t b3[3] = {}, below = 0, above = 0;
  morvex_m_histogram_lin_1d_u16u32(u, 4, 5, 5, b3, 3, &below, &above);
  EXPECT_TRUE(b3[2] == 2 && b3[0] + b3[1] == 0 && below == 1 && above == 1);
  // max < min: nothing in range, and below is tested first.
  const double d[] = {0.0, 1.5, 3.0};
  uint64_t b2[2] = {};
  lo = hi = 0; morvex_m_histogram_lin_1d_f64u64(d, 3, 2.0, 1.0, b2, 2, &lo, &hi);
  EXPECT_TRUE(b2[0] + b2[1] == 0 && lo == 2 && hi == 1);
  EXPECT_EQ(morvex_m_histogram_lin_1d_u16u16(nullptr, 0, 0, 1, nullptr, 1, nullptr, nullptr), 0u);
}

TEST(Histogram, CountersWrapAndEveryExportCounts) {
  const uint8_t seven[] = {7}, one[] = {1};
  uint16_t bins[1] = {65535}, below = 65535;
  morvex_m_histogram_lin_1d_u8u16(seven, 1, 0, 10, bins, 1, nullptr, nullptr);
  morvex_m_histogram_lin_1d_u8u16(one, 1, 5, 10, bins, 1, &below, nullptr);
  EXPECT_TRUE(bins[0] == 0 && below == 0);
  std::vector<uint8_t> many(70000, 7);  // long enough for the u8 table
  uint16_t b2[2] = {0, 0};
  morvex_m_histogram_lin_1d_u8u16(many.data(), many.size(), 0, 255, b2, 2, nullptr, nullptr);
  EXPECT_EQ(b2[0], uint16_t(70000));
  // All fifteen exports: 0..9 into [0, 10] in 5 bins, two per bin.
#define MORVEX_HISTO_CHECK(T, S, C, CS)                                                            \
  {                                                                                                \
    T x[10];                                                                                       \
    C b[5] = {};                                                                                   \
    for (int i = 0; i < 10; ++i) x[i] = T(i);                                                      \
    EXPECT_EQ(morvex_m_histogram_lin_1d_##S##CS(x, 10, T(0), T(10), b, 5, nullptr, nullptr), 10u);  \
    for (int k = 0; k < 5; ++k) EXPECT_EQ(b[k], 2u) << #S #CS;                                     \
  }
#define MORVEX_HISTO_ALL(T, S) \
  MORVEX_HISTO_CHECK(T, S, uint16_t, u16) MORVEX_HISTO_CHECK(T, S, uint32_t, u32) MORVEX_HISTO_CHECK(T, S, uint64_t, u64)
  MORVEX_HISTO_ALL(int16_t, i16) MORVEX_HISTO_ALL(uint8_t, u8) MORVEX_HISTO_ALL(uint16_t, u16)
  MORVEX_HISTO_ALL(float, f32) MORVEX_HISTO_ALL(double, f64)
#undef MORVEX_HISTO_ALL
#undef MORVEX_HISTO_CHECK
}

TEST(Histogram, U8TableMatchesShortRecords) {
  // Long u8 records go through a table of the 256 values, short ones divide
  // per sample: a record counted whole and in short pieces must agree.
  std::vector<uint8_t> s(5000); morvex::test::fill_random(s.data(), s.size(), 3);
  const std::pair<uint8_t, uint8_t> ranges[] = {{0, 255}, {10, 200}, {37, 37}, {200, 10}, {255, 255}};
  for (auto [lo, hi] : ranges)
    for (uint64_t nbins : {1, 3, 7, 256, 1000}) {
      std::vector<uint32_t> whole(nbins), pieces(nbins); uint32_t wb = 0, wa = 0, pb = 0, pa = 0;
      const uint64_t cw = morvex_m_histogram_lin_1d_u8u32(s.data(), s.size(), lo, hi, whole.data(), nbins, &wb, &wa);
      uint64_t cp = 0;
      for (size_t i = 0; i < s.size(); i += 100)
        cp += morvex_m_histogram_lin_1d_u8u32(s.data() + i, 100, lo, hi, pieces.data(), nbins, &pb, &pa);
      EXPECT_TRUE(whole == pieces && wb == pb && wa == pa && cw == cp) << int(lo) << ".." << int(hi) << " / " << nbins;
    }
}

// The reductions keep no state: threads running them on shared data each get
// the single-threaded answer, even while another thread switches the options
// that choose their kernels (callers are told not to, but these kernels all
// give identical results, so nothing may change).
TEST(ReduceConcurrency, SearchesAndExtremesWhileOptionsChange) {
  const size_t n = 10007; std::vector<uint16_t> x(n, 100); x[9000] = 4000; std::vector<float> f(n);
  morvex::test::fill_random(f.data(), n, 18); float want_min, want_max;
  morvex_m_minmax_f32(f.data(), n, &want_min, &want_max);
  std::atomic<int> wrong{0};
  std::thread toggler([] {
    for (int i = 0; i < 200; ++i) {
      morvex_m_setopt(MORVEX_M_OPT_AVX2, i % 2); morvex_m_setopt(MORVEX_M_OPT_SSE42, (i / 2) % 2);
      morvex_m_setopt(MORVEX_M_OPT_AVX, (i / 4) % 2);
    }
  });
  std::vector<std::thread> workers;
  for (int t = 0; t < 4; ++t)
    workers.emplace_back([&] {
      for (uint64_t i = 0; i < 300; ++i) {
        uint64_t p = i; uint16_t mn, mx; float fmn, fmx; morvex_m_index_gte_u16(x.data(), n, 3500, &p);
        morvex_m_minmax_u16(x.data(), n, &mn, &mx); morvex_m_minmax_f32(f.data(), n, &fmn, &fmx);
        wrong += p != 9000 || mn != 100 || mx != 4000 || !morvex::test::same_bits(fmn, want_min) ||
                 !morvex::test::same_bits(fmx, want_max);
      }
    });
  for (auto& w : workers) w.join();
  toggler.join(); morvex::test::restore_processor_options();
  EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
