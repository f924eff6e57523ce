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
#include "morvex-m.h"

namespace {

using morvex::test::Buffer;
using morvex::test::same_bits;

// Which order the options select now: 4 lanes (AVX), 2 (SSE4.2) or 1 (base).
int lanes_now() {
  uint32_t avx = 0, sse42 = 0;
  morvex_m_getopt(MORVEX_M_OPT_AVX, &avx);
  morvex_m_getopt(MORVEX_M_OPT_SSE42, &sse42);
  return avx ? 4 : sse42 ? 2 : 1;
}

// The documented orders of sum_f64 (square: of square_sum_f64).
double in_order(const double* x, uint64_t n, double old, int lanes, bool square) {
  auto term = [square](double v) { return square ? v * v : v; };
  double l[4] = {0, 0, 0, 0}, t = old;
  const uint64_t q = lanes == 1 ? 0 : n / lanes;
  for (uint64_t i = 0; i < q * lanes; ++i) l[i % lanes] = l[i % lanes] + term(x[i]);
  if (lanes == 1) {
    for (uint64_t i = 0; i < n; ++i) l[0] = l[0] + term(x[i]);
    return l[0] + old;
  }
  for (uint64_t i = q * lanes; i < n; ++i) t = t + term(x[i]);
  return lanes == 2 ? (l[1] + l[0]) + t : l[3] + (l[2] + (l[1] + (l[0] + t)));
}

// Magnitudes from 2^-30 to 2^30: every regrouping rounds differently.
std::vector<double> order_sensitive(size_t n, uint32_t seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> m(-1, 1);
  std::uniform_int_distribution<int> e(-30, 30);
  std::vector<double> v(n);
  for (double& x : v) x = std::ldexp(m(rng), e(rng));
  return v;
}

TEST(Sum, IntegerSumsExactAndWrapping) {
  for (size_t n : {0, 1, 15, 17, 63, 64, 65, 200, 4099}) {
    Buffer<uint8_t> a(n, n % 3);
    Buffer<uint16_t> b(n, n % 3);
    Buffer<uint32_t> c(n, n % 3);
    Buffer<int16_t> d(n, n % 3);
    morvex::test::fill_random(a.data(), n, 1);
    morvex::test::fill_random(b.data(), n, 2);
    morvex::test::fill_random(c.data(), n, 3);
    morvex::test::fill_random(d.data(), n, 4);
    uint64_t ra = 5, rb = 5, rc = 5, wa = 5, wb = 5, wc = 5;
    int64_t rd = -5, wd = -5;
    for (size_t i = 0; i < n; ++i) wa += a[i], wb += b[i], wc += c[i], wd += d[i];
    morvex_m_sum_u8(a.data(), n, &ra);
    morvex_m_sum_u16(b.data(), n, &rb);
    morvex_m_sum_u32(c.data(), n, &rc);
    morvex_m_sum_i16(d.data(), n, &rd);
    EXPECT_TRUE(ra == wa && rb == wb && rc == wc && rd == wd) << n;
  }
  // Long runs at the type limits overflow any 32-bit partial sum that is
  // not flushed in time.
  std::vector<uint8_t> bytes(1u << 24, 255);
  uint64_t r = 0;
  morvex_m_sum_u8(bytes.data(), bytes.size(), &r);
  EXPECT_EQ(r, 4278190080u);
  std::vector<int16_t> neg(200000, -32768);
  std::vector<uint16_t> top(200000, 65535);
  int64_t s = 0;
  morvex_m_sum_i16(neg.data(), 2, &s);
  EXPECT_EQ(s, -65536);
  s = 0;
  morvex_m_sum_i16(neg.data(), neg.size(), &s);
  EXPECT_EQ(s, -32768ll * 200000);
  r = 0;
  morvex_m_sum_u16(top.data(), top.size(), &r);
  EXPECT_EQ(r, 65535ull * 200000);
  // The accumulator wraps modulo 2^64 in both directions.
  const uint32_t big[2] = {0xFFFFFFFFu, 1};
  r = ~uint64_t(0) - 0xFFFFFFFFull + 1;
  morvex_m_sum_u32(big, 2, &r);
  EXPECT_EQ(r, 1u);
  s = std::numeric_limits<int64_t>::min();
  morvex_m_sum_i16(neg.data(), 1, &s);
  EXPECT_EQ(s, std::numeric_limits<int64_t>::max() - 32767);
}

TEST(Sum, SinglePrecisionAndCountZero) {
  const float x[] = {1e8f, 1, 1, 1, 1};
  float r = 0;
  morvex_m_sum_f32(x, 5, &r);
  EXPECT_EQ(r, 1e8f);  // the ones vanish in single precision
  const float big[] = {3e38f, 1.0f};
  double q = 0.5;
  morvex_m_square_sum_f32(big, 2, &q);  // widened first: no overflow
  EXPECT_EQ(q, ((0.0 + double(3e38f) * double(3e38f)) + 1.0) + 0.5);
  morvex::test::for_each_kernel_config([](const auto&) {
    double d = -0.0, sq = -0.0;
    float f = -0.0f;
    morvex_m_sum_f64(nullptr, 0, &d);
    morvex_m_square_sum_f64(nullptr, 0, &sq);
    morvex_m_sum_f32(nullptr, 0, &f);
    EXPECT_TRUE(std::signbit(d) && std::signbit(sq) && std::signbit(f));  // not even 0 + -0
  });
}

TEST(Sum, Float64OrdersBitExactPerKernelConfiguration) {
  const std::vector<double> probe = order_sensitive(4099, 1);
  for (bool sq : {false, true}) {  // the inputs must tell the orders apart
    const double o1 = in_order(probe.data(), 4099, 0.25, 1, sq), o2 = in_order(probe.data(), 4099, 0.25, 2, sq),
                 o4 = in_order(probe.data(), 4099, 0.25, 4, sq);
    ASSERT_FALSE(same_bits(o1, o2) || same_bits(o1, o4) || same_bits(o2, o4));
  }
  morvex::test::for_each_kernel_config([&](const auto&) {
    const int lanes = lanes_now();
    for (size_t n : {1, 2, 3, 4, 5, 6, 7, 8, 9, 31, 64, 65, 66, 67, 4096, 4099}) {
      const std::vector<double> v = order_sensitive(n, uint32_t(n));
      Buffer<double> x(n, n % 4);
      std::copy(v.begin(), v.end(), x.begin());
      double s = 0.125, q = 0.125;
      morvex_m_sum_f64(x.data(), n, &s);
      morvex_m_square_sum_f64(x.data(), n, &q);
      ASSERT_TRUE(same_bits(s, in_order(x.data(), n, 0.125, lanes, false))) << n << " lanes " << lanes;
      ASSERT_TRUE(same_bits(q, in_order(x.data(), n, 0.125, lanes, true))) << n << " lanes " << lanes;
    }
    // 2^32 + 5 is 5 as a signed 32-bit count, 2^31 + 3 is negative: the
    // variants then read 5 elements and none (the base kernel would read all).
    if (lanes == 1) return;
    double s = 1.0;
    morvex_m_sum_f64(probe.data(), (uint64_t(1) << 32) + 5, &s);
    EXPECT_TRUE(same_bits(s, in_order(probe.data(), 5, 1.0, lanes, false)));
    s = 1.0;
    morvex_m_square_sum_f64(probe.data(), (uint64_t(1) << 31) + 3, &s);
    EXPECT_EQ(s, 1.0);
  });
}

}  // namespace
