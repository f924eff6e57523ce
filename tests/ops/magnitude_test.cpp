// Complex magnitude (f32): the result is cabsf's, bit for bit, in every kernel
// configuration. The vector kernels decide the rounding from an estimate and
// send the lanes they cannot decide to an exact fallback, so the inputs here
// aim at that decision: millions of random bit patterns over the whole range,
// magnitudes a hair away from a rounding midpoint (where cabsf's two
// roundings and a single rounding part ways), parts whose squares leave the
// single range, and every lane position of a vector group for a value that
// needs the fallback.
#include <gtest/gtest.h>

#include <xmmintrin.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include "common/buffers.h"
#include "common/kernel_configs.h"
#include "morvex-m.h"

extern "C" float cabsf(__complex__ float) noexcept;

namespace {

using morvex::test::all_same_bits;
using morvex::test::Buffer;
using morvex::test::for_each_kernel_config;

float reference(float re, float im) {
  __complex__ float z;
  __real__ z = re;
  __imag__ z = im;
  return cabsf(z);
}

std::vector<float> references(const std::vector<float>& parts) {
  std::vector<float> r(parts.size() / 2);
  for (size_t i = 0; i < r.size(); ++i) r[i] = reference(parts[2 * i], parts[2 * i + 1]);
  return r;
}

int32_t magnitude(const float* parts, float* out, size_t n) {
  return morvex_m_magnitude_c32f32(reinterpret_cast<const morvex_m_c32f32*>(parts), out, n);
}

void expect_cabsf(const std::vector<float>& parts) {
  const std::vector<float> want = references(parts);
  for_each_kernel_config([&](const auto&) {
    std::vector<float> got(want.size());
    ASSERT_EQ(magnitude(parts.data(), got.data(), got.size()), 0);
    ASSERT_TRUE(all_same_bits(got.data(), want.data(), want.size()));
  });
}

float bits_to_float(uint32_t b) {
  float f;
  std::memcpy(&f, &b, sizeof f);
  return f;
}

// Random bit patterns (every exponent, subnormals, infinities, NaNs), then
// pairs whose parts are close in size, equal in size, or a fixed number of
// binades apart, where the squares and their sum cancel or carry most.
TEST(Magnitude, RandomBitPatternsOverTheWholeRange) {
  constexpr size_t kPairs = 1 << 21;
  std::mt19937_64 rng(20240611);
  std::uniform_real_distribution<float> ratio(-2.0f, 2.0f);
  std::vector<float> p(2 * kPairs);
  for (size_t i = 0; i < kPairs; ++i) {
    const float re = bits_to_float(uint32_t(rng())), other = bits_to_float(uint32_t(rng()));
    float im = other;
    switch (i % 4) {
      case 1: im = re * ratio(rng); break;
      case 2: im = (rng() & 1) ? -re : re; break;
      case 3: im = std::ldexp(re * ratio(rng), int(rng() % 60) - 30); break;
    }
    p[2 * i] = (i & 4) ? im : re;
    p[2 * i + 1] = (i & 4) ? re : im;
  }
  expect_cabsf(p);
}

// Magnitudes next to a midpoint m between two floats. With x = m - (j + 1/2)
// ulp (a float) and y the float nearest sqrt(m^2 - x^2), y is about 2^-12 m
// and x^2 + y^2 misses m^2 only by y's rounding, so sqrt(x^2 + y^2) lands
// within 2^-17 ulp of m or much closer: inside the band the vector kernels
// must hand over, and often inside the band where rounding the double square
// root (as cabsf does) differs from rounding the exact one. Every eighth
// midpoint is the one just below or just above a power of two, where the
// spacing of the floats changes. Magnitudes 2^lo to 2^hi.
std::vector<float> near_midpoints(int count, int lo, int hi, uint64_t seed) {
  std::mt19937_64 rng(seed);
  std::vector<float> p;
  for (int k = 0; k < count; ++k) {
    // Floats scaled to [2^23, 2^24): spacing 1, midpoints at f + 1/2.
    double f = double(8388608 + rng() % 8388608);
    if (k % 8 == 0) f = (k % 16 == 0) ? 16777215.0 : 8388608.0;
    const double m = f + 0.5, x = f - double(rng() % 48);
    const double y = std::sqrt(m * m - x * x);  // m^2 - x^2 is exact in double
    const int e = lo + int(rng() % uint64_t(hi - lo)) - 23;
    const float xs = float(std::ldexp(x, e)), ys = float(std::ldexp(y, e));
    const float re = (rng() & 1) ? -xs : xs, im = (rng() & 1) ? -ys : ys;
    const bool swap = rng() & 1;
    p.push_back(swap ? im : re);
    p.push_back(swap ? re : im);
  }
  return p;
}

TEST(Magnitude, NextToRoundingMidpoints) { expect_cabsf(near_midpoints(40000, -45, 45, 7)); }

// Callers may run with flush-to-zero and denormals-are-zero. cabsf works in
// double, where nothing here is subnormal; the single-precision kernels must
// not let flushed intermediates move a decision (they did, for a few
// inputs in a million around 2^-50, when the vector path took magnitudes
// down to 2^-50). Small magnitudes next to midpoints, under both modes.
__attribute__((noinline)) void with_ftz_daz(const std::function<void()>& body) {
  const unsigned saved = _mm_getcsr();
  _mm_setcsr(saved | 0x8040);  // FTZ and DAZ
  body();
  _mm_setcsr(saved);
}

TEST(Magnitude, FlushToZeroCallers) {
  // Inputs that such a kernel got wrong (one ulp off) under these modes,
  // each filling whole vector groups.
  const float seen[][2] = {{0x1.4c6dcp-50f, 0x1.f6a3bp-59f},   {0x1.f24804p-50f, 0x1.a2cd4ap-60f},
                           {0x1.590ee2p-50f, 0x1.a4523p-62f},  {0x1.582472p-50f, 0x1.fa01a2p-59f},
                           {0x1.0b7532p-50f, 0x1.6f2658p-59f}, {0x1.5b33dap-50f, 0x1.c24bdp-59f},
                           {0x1.23340ap-50f, 0x1.2198e4p-60f}};
  std::vector<float> p;
  for (const auto& z : seen)
    for (int k = 0; k < 16; ++k) p.insert(p.end(), {z[0], z[1]});
  const std::vector<float> more = near_midpoints(200000, -52, -30, 11);
  p.insert(p.end(), more.begin(), more.end());
  const size_t n = p.size() / 2;
  std::vector<float> want;
  with_ftz_daz([&] { want = references(p); });
  for_each_kernel_config([&](const auto&) {
    std::vector<float> got(n);
    with_ftz_daz([&] { magnitude(p.data(), got.data(), n); });
    ASSERT_TRUE(all_same_bits(got.data(), want.data(), n));
  });
}

// Parts whose squares underflow, overflow, or sit at the edges of the range
// the vector path takes (sum of squares at 2^-72 and near 2^128), paired
// with each other and with ordinary values.
std::vector<float> edge_values() {
  const float inf = std::numeric_limits<float>::infinity();
  return {0.0f, -0.0f, std::numeric_limits<float>::denorm_min(), -1e-40f, std::numeric_limits<float>::min(),
          0x1p-75f, 0x1p-63f, 0x1p-50f, 0x1.fffffep-37f, 0x1p-36f, -0x1.000002p-36f, 1.0f, -3.0f, 4.0f,
          0x1p40f, 0x1p63f, -0x1.fffffep63f, 0x1p64f, 0x1p100f, std::numeric_limits<float>::max(),
          -std::numeric_limits<float>::max(), inf, -inf, std::numeric_limits<float>::quiet_NaN(),
          -std::numeric_limits<float>::quiet_NaN()};
}

TEST(Magnitude, SubnormalHugeAndNonFiniteParts) {
  const std::vector<float> edge = edge_values();
  std::vector<float> p;
  for (float a : edge)
    for (float b : edge) p.push_back(a), p.push_back(b);
  // And each edge in every lane of two vector groups amid ordinary values,
  // so that a group handed to the fallback is redone whole and the groups
  // around it keep their fast results.
  for (float a : edge)
    for (size_t at = 0; at < 40; ++at)
      for (size_t i = 0; i < 40; ++i) {
        const float v = 1.0f + float(i) / 64.0f;
        p.push_back(i == at ? a : v);
        p.push_back(i == at ? v : -0.75f * v);
      }
  expect_cabsf(p);
}

// Lengths around the vector widths, misaligned inputs and outputs, in place,
// and an output large enough for the streaming stores (with an unaligned
// head) and not a multiple of the vector width.
TEST(Magnitude, LengthsAlignmentsInPlaceAndStreaming) {
  for_each_kernel_config([&](const auto&) {
    for (size_t n : {0, 1, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 100, 4099})
      for (size_t off = 0; off < 3; ++off) {
        Buffer<float> in(2 * n, off), out(n, (off + 1) % 16), want(n);
        morvex::test::fill_random(in.data(), 2 * n, unsigned(n * 3 + off));
        for (size_t i = 0; i < n; ++i) want[i] = reference(in[2 * i], in[2 * i + 1]);
        ASSERT_EQ(magnitude(in.data(), out.data(), n), 0);
        ASSERT_TRUE(all_same_bits(out.data(), want.data(), n)) << "n=" << n << " off=" << off;
        // In place: the magnitudes fill the first half of the complex array.
        ASSERT_EQ(magnitude(in.data(), in.data(), n), 0);
        ASSERT_TRUE(all_same_bits(in.data(), want.data(), n)) << "in place n=" << n;
      }
    const size_t big = (size_t(1) << 21) + 37;  // 8 MiB of output and more
    for (size_t off : {0, 1}) {
      Buffer<float> in(2 * big, off), out(big, off * 3), want(big);
      for (size_t i = 0; i < 2 * big; ++i) in[i] = std::ldexp(float(i % 1000) - 499.5f, int(i % 61) - 30);
      in[2 * 1000003] = std::numeric_limits<float>::infinity();  // one fallback group mid-stream
      for (size_t i = 0; i < big; ++i) want[i] = reference(in[2 * i], in[2 * i + 1]);
      ASSERT_EQ(magnitude(in.data(), out.data(), big), 0);
      ASSERT_TRUE(all_same_bits(out.data(), want.data(), big)) << "off=" << off;
    }
  });
}

}  // namespace
