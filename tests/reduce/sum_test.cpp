// SPDX-License-Identifier: MIT
// Sums: integers exact modulo 2^64 however long the run of extreme values;
// floating-point sums bit-exact in the order each kernel configuration
// documents, on inputs where the three orders give three different results.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "common/buffers.h"
#include "common/variant_harness.h"

MORVEX_KERNEL_ROW_TESTS(reduce);

namespace {

using morvex::test::same_bits;

TEST(Sum, IntegersExactAndWrapping) {
  morvex::test::for_each_kernel_config([](const auto&) {
    // Every tail of the 64-byte kernel's steps: whole steps, a partial vector.
    for (size_t n : {0, 1, 15, 17, 31, 33, 63, 64, 65, 127, 128, 129, 200, 4099}) {
      std::vector<uint8_t> a(n); std::vector<uint16_t> b(n); std::vector<uint32_t> c(n); std::vector<int16_t> d(n);
      morvex::test::fill_random(a.data(), n, 1), morvex::test::fill_random(b.data(), n, 2);
      morvex::test::fill_random(c.data(), n, 3), morvex::test::fill_random(d.data(), n, 4);
      uint64_t ra = 5, rb = 5, rc = 5, wa = 5, wb = 5, wc = 5; int64_t rd = -5, wd = -5;
      for (size_t i = 0; i < n; ++i) wa += a[i], wb += b[i], wc += c[i], wd += d[i];
      EXPECT_EQ(morvex_m_sum_u8(a.data(), n, &ra) | morvex_m_sum_u16(b.data(), n, &rb) |
                    morvex_m_sum_u32(c.data(), n, &rc) | morvex_m_sum_i16(d.data(), n, &rd), 0);
      EXPECT_TRUE(ra == wa && rb == wb && rc == wc && rd == wd) << n;
    }
    // Long runs at the type limits overflow any 32-bit partial sum not flushed
    // in time (the words' kernel adds pairs into 32-bit lanes, overflowing
    // past 4M words).
    constexpr int64_t kWords = 5 << 20;
    std::vector<uint8_t> bytes(1u << 24, 255);
    std::vector<int16_t> neg(kWords, -32768); std::vector<uint16_t> top(kWords, 65535); uint64_t r = 0, u = 0;
    int64_t s = 0; morvex_m_sum_u8(bytes.data(), bytes.size(), &r); morvex_m_sum_i16(neg.data(), neg.size(), &s);
    morvex_m_sum_u16(top.data(), top.size(), &u);
    EXPECT_TRUE(r == 4278190080u && s == -32768 * kWords && u == 65535 * uint64_t(kWords));
    // The accumulator wraps modulo 2^64 in both directions.
    const uint32_t big[2] = {0xFFFFFFFFu, 1};
    r = ~uint64_t(0) - 0xFFFFFFFFull + 1; morvex_m_sum_u32(big, 2, &r);
    EXPECT_EQ(r, 1u);
    s = std::numeric_limits<int64_t>::min(); morvex_m_sum_i16(neg.data(), 1, &s);
    EXPECT_EQ(s, std::numeric_limits<int64_t>::max() - 32767);
  }, morvex::test::kBwVariant);
}

TEST(Sum, SinglePrecisionAndCountZero) {
  const float x[] = {1e8f, 1, 1, 1, 1};
  float r = 0; morvex_m_sum_f32(x, 5, &r);
  EXPECT_EQ(r, 1e8f) << "the ones vanish in single precision";
  const float big[] = {3e38f, 1.0f};
  double q = 0.5;
  morvex_m_square_sum_f32(big, 2, &q);  // widened first: no overflow
  EXPECT_EQ(q, ((0.0 + double(3e38f) * double(3e38f)) + 1.0) + 0.5);
  morvex::test::for_each_kernel_config([](const auto&) {
    double d = -0.0, sq = -0.0; float f = -0.0f; morvex_m_sum_f64(nullptr, 0, &d);
    morvex_m_square_sum_f64(nullptr, 0, &sq); morvex_m_sum_f32(nullptr, 0, &f);
    EXPECT_TRUE(std::signbit(d) && std::signbit(sq) && std::signbit(f)) << "not even 0 + -0";
  });
}

// The documented orders of sum_f64 (square: of square_sum_f64): one lane in
// index order, then the old value; or lanes of 2 (SSE4.2) or 4 (AVX) taking
// whole groups, the tail added to the old value, then the lanes.
double in_order(const double* x, uint64_t n, double old, int lanes, bool square) {
  auto term = [square](double v) { return square ? v * v : v; };
  double l[4] = {0, 0, 0, 0}, t = old;
  if (lanes == 1) {
    for (uint64_t i = 0; i < n; ++i) l[0] = l[0] + term(x[i]);
    return l[0] + old;
  }
  const uint64_t whole = n / lanes * lanes;
  for (uint64_t i = 0; i < whole; ++i) l[i % lanes] = l[i % lanes] + term(x[i]);
  for (uint64_t i = whole; i < n; ++i) t = t + term(x[i]);
  return lanes == 2 ? (l[1] + l[0]) + t : l[3] + (l[2] + (l[1] + (l[0] + t)));
}

TEST(Sum, Float64InTheOrderOfEachKernelConfiguration) {
  std::mt19937_64 rng(1);  // magnitudes from 2^-30 to 2^30: every regrouping rounds differently
  std::uniform_real_distribution<double> m(-1, 1); std::uniform_int_distribution<int> e(-30, 30);
  std::vector<double> x(4099);
  for (double& v : x) v = std::ldexp(m(rng), e(rng));
  for (bool sq : {false, true}) {  // the inputs must tell the orders apart
    const double o1 = in_order(x.data(), 4099, 0.25, 1, sq), o2 = in_order(x.data(), 4099, 0.25, 2, sq),
                 o4 = in_order(x.data(), 4099, 0.25, 4, sq);
    ASSERT_FALSE(same_bits(o1, o2) || same_bits(o1, o4) || same_bits(o2, o4));
  }
  morvex::test::for_each_kernel_config([&](const auto&) {
    uint32_t avx = 0, sse42 = 0; morvex_m_getopt(MORVEX_M_OPT_AVX, &avx), morvex_m_getopt(MORVEX_M_OPT_SSE42, &sse42);
    const int lanes = avx ? 4 : sse42 ? 2 : 1;
    for (size_t n : {1, 2, 3, 4, 5, 6, 7, 8, 9, 31, 64, 65, 66, 67, 4096, 4099})
      for (size_t off : {0, 1}) {
        double s = 0.125, q = 0.125; morvex_m_sum_f64(x.data() + off, n - off, &s);
        morvex_m_square_sum_f64(x.data() + off, n - off, &q);
        ASSERT_TRUE(same_bits(s, in_order(x.data() + off, n - off, 0.125, lanes, false))) << n << " lanes " << lanes;
        ASSERT_TRUE(same_bits(q, in_order(x.data() + off, n - off, 0.125, lanes, true))) << n << " lanes " << lanes;
      }
    // The variants take a 32-bit count: 2^32 + 5 reads 5 elements, 2^31 + 3 none.
    if (lanes == 1) return;
    double s = 1.0; morvex_m_sum_f64(x.data(), (uint64_t(1) << 32) + 5, &s);
    EXPECT_TRUE(same_bits(s, in_order(x.data(), 5, 1.0, lanes, false)));
    s = 1.0; morvex_m_square_sum_f64(x.data(), (uint64_t(1) << 31) + 3, &s);
    EXPECT_EQ(s, 1.0);
  });
}

}  // namespace
