// Sums: integer sums exact with wrap-around; floating-point sums bit-exact in
// the order each kernel configuration selects, on inputs where the three
// orders give three different results.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "common/buffers.h"
#include "common/kernel_configs.h"
#include "common/reduce_refs.h"
#include "morvex-m.h"

namespace {

using morvex::test::Buffer;
using morvex::test::for_each_kernel_config;
using morvex::test::same_bits;
using morvex::test::sum_in_order;
using morvex::test::sum_lanes_now;

template <class T>
uint64_t wide_sum(const std::vector<T>& v) {
  uint64_t s = 0;
  for (T x : v) s += uint64_t(int64_t(x));
  return s;
}

TEST(Sum, IntegerSumsAreExactAtEveryLengthAndOffset) {
  std::mt19937 rng(7);
  for (size_t n : {0, 1, 15, 16, 17, 63, 64, 65, 127, 200, 4099}) {
    for (size_t off = 0; off < 3; ++off) {
      Buffer<uint8_t> a(n, off);
      Buffer<uint16_t> b(n, off);
      Buffer<uint32_t> c(n, off);
      Buffer<int16_t> d(n, off);
      morvex::test::fill_random(a.data(), n, rng());
      morvex::test::fill_random(b.data(), n, rng());
      morvex::test::fill_random(c.data(), n, rng());
      morvex::test::fill_random(d.data(), n, rng());
      uint64_t ra = 5, rb = 5, rc = 5;
      int64_t rd = -5;
      ASSERT_EQ(morvex_m_sum_u8(a.data(), n, &ra), 0);
      ASSERT_EQ(morvex_m_sum_u16(b.data(), n, &rb), 0);
      ASSERT_EQ(morvex_m_sum_u32(c.data(), n, &rc), 0);
      ASSERT_EQ(morvex_m_sum_i16(d.data(), n, &rd), 0);
      EXPECT_EQ(ra, 5 + wide_sum(std::vector<uint8_t>(a.begin(), a.end()))) << n;
      EXPECT_EQ(rb, 5 + wide_sum(std::vector<uint16_t>(b.begin(), b.end()))) << n;
      EXPECT_EQ(rc, 5 + wide_sum(std::vector<uint32_t>(c.begin(), c.end()))) << n;
      EXPECT_EQ(uint64_t(rd), uint64_t(-5) + wide_sum(std::vector<int16_t>(d.begin(), d.end()))) << n;
    }
  }
}

TEST(Sum, IntegerSumsAtTheirLimits) {
  // 2^24 bytes of 255, and 70000 samples at the i16/u16 extremes: long
  // enough to overflow any 32-bit partial sum that is not flushed in time.
  std::vector<uint8_t> bytes(1u << 24, 255);
  uint64_t r = 0;
  morvex_m_sum_u8(bytes.data(), bytes.size(), &r);
  EXPECT_EQ(r, 4278190080u);

  std::vector<int16_t> neg(200000, -32768), pos(200000, 32767);
  int64_t s = 0;
  morvex_m_sum_i16(neg.data(), 2, &s);
  EXPECT_EQ(s, -65536);
  s = 0;
  morvex_m_sum_i16(neg.data(), neg.size(), &s);
  EXPECT_EQ(s, -32768ll * 200000);
  s = 0;
  morvex_m_sum_i16(pos.data(), pos.size(), &s);
  EXPECT_EQ(s, 32767ll * 200000);

  std::vector<uint16_t> top(200000, 65535);
  uint64_t u = 0;
  morvex_m_sum_u16(top.data(), top.size(), &u);
  EXPECT_EQ(u, 65535ull * 200000);

  // The accumulator wraps modulo 2^64, in both directions.
  const uint32_t big[2] = {0xFFFFFFFFu, 1};
  u = ~uint64_t(0) - 0xFFFFFFFFull + 1;
  morvex_m_sum_u32(big, 2, &u);
  EXPECT_EQ(u, 1u);
  s = std::numeric_limits<int64_t>::min();
  morvex_m_sum_i16(neg.data(), 1, &s);
  EXPECT_EQ(s, std::numeric_limits<int64_t>::max() - 32767);
}

TEST(Sum, SinglePrecisionAccumulatesInSinglePrecision) {
  const float x[] = {1e8f, 1, 1, 1, 1};
  float r = 0;
  morvex_m_sum_f32(x, 5, &r);
  EXPECT_EQ(r, 1e8f);
  // square_sum_f32 widens first: 3e38^2 overflows float but not double.
  const float big[] = {3e38f, 1.0f};
  double q = 0.5;
  morvex_m_square_sum_f32(big, 2, &q);
  EXPECT_EQ(q, ((0.0 + double(3e38f) * double(3e38f)) + 1.0) + 0.5);
}

TEST(Sum, CountZeroLeavesTheAccumulatorAlone) {
  for_each_kernel_config([](const auto&) {
    double d = -0.0, q = -0.0;
    float f = -0.0f;
    double sq = -0.0;
    uint64_t u = 9;
    morvex_m_sum_f64(nullptr, 0, &d);
    morvex_m_square_sum_f64(nullptr, 0, &q);
    morvex_m_sum_f32(nullptr, 0, &f);
    morvex_m_square_sum_f32(nullptr, 0, &sq);
    morvex_m_sum_u8(nullptr, 0, &u);
    EXPECT_TRUE(std::signbit(d) && std::signbit(q) && std::signbit(f) && std::signbit(sq));
    EXPECT_EQ(u, 9u);
  });
}

// Values of wildly different magnitudes make every regrouping of the
// additions round differently.
std::vector<double> order_sensitive(size_t n, uint32_t seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> m(-1, 1);
  std::uniform_int_distribution<int> e(-30, 30);
  std::vector<double> v(n);
  for (double& x : v) x = std::ldexp(m(rng), e(rng));
  return v;
}

TEST(Sum, Float64OrdersAreBitExactPerKernelConfiguration) {
  // The inputs must tell the three orders apart, or this test proves nothing.
  const std::vector<double> probe = order_sensitive(4099, 1);
  for (bool sq : {false, true}) {
    const double o1 = sum_in_order(probe.data(), probe.size(), 0.25, 1, sq);
    const double o2 = sum_in_order(probe.data(), probe.size(), 0.25, 2, sq);
    const double o4 = sum_in_order(probe.data(), probe.size(), 0.25, 4, sq);
    ASSERT_FALSE(same_bits(o1, o2) || same_bits(o1, o4) || same_bits(o2, o4));
  }
  for_each_kernel_config([](const auto&) {
    const int lanes = sum_lanes_now();
    std::vector<size_t> lengths;
    for (size_t n = 1; n <= 40; ++n) lengths.push_back(n);
    for (size_t n : {63, 64, 65, 66, 67, 4096, 4097, 4098, 4099}) lengths.push_back(n);
    for (size_t n : lengths) {
      const std::vector<double> v = order_sensitive(n, uint32_t(n));
      for (size_t off = 0; off < 4; ++off) {
        Buffer<double> x(n, off);
        std::copy(v.begin(), v.end(), x.begin());
        double s = 0.125, q = 0.125;
        morvex_m_sum_f64(x.data(), n, &s);
        morvex_m_square_sum_f64(x.data(), n, &q);
        ASSERT_TRUE(same_bits(s, sum_in_order(x.data(), n, 0.125, lanes, false))) << "n=" << n << " lanes=" << lanes;
        ASSERT_TRUE(same_bits(q, sum_in_order(x.data(), n, 0.125, lanes, true))) << "n=" << n << " lanes=" << lanes;
      }
    }
  });
}

TEST(Sum, Float64SumsChainAcrossCalls) {
  const std::vector<double> v = order_sensitive(1000, 3);
  for_each_kernel_config([&](const auto&) {
    double whole = 0, halves = 0;
    morvex_m_sum_f64(v.data(), 1000, &whole);
    morvex_m_sum_f64(v.data(), 500, &halves);
    morvex_m_sum_f64(v.data() + 500, 500, &halves);
    EXPECT_NEAR(halves, whole, 1e-9 * std::fabs(whole) + 1e-12);
  });
}

TEST(Sum, VectorVariantsTakeTheCountAsSigned32Bit) {
  // 2^32 + 5 becomes 5 in the variants, which therefore read five elements;
  // the base kernel would read them all, so it is not run here.
  const double x[5] = {1.5, 2.25, 3.0, -4.0, 0.125};
  for_each_kernel_config([&](const auto&) {
    const int lanes = sum_lanes_now();
    if (lanes == 1) return;
    double s = 1.0;
    morvex_m_sum_f64(x, (uint64_t(1) << 32) + 5, &s);
    EXPECT_TRUE(same_bits(s, sum_in_order(x, 5, 1.0, lanes, false)));
    // 2^31 + 3 is negative as a 32-bit number: no block and no tail.
    s = 1.0;
    morvex_m_square_sum_f64(x, (uint64_t(1) << 31) + 3, &s);
    EXPECT_EQ(s, 1.0);
  });
}

}  // namespace
