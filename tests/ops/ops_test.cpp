// SPDX-License-Identifier: MIT
// Element-wise operations: every family of the kernel table against its
// reference, then what the table's references take for granted (the rules
// in worked values) and the calls that are not element by element: errno,
// sincos with aliased outputs, deinterleave totals and the generic form,
// phase unwrap across blocks, and the magnitude and the narrowing
// conversion under flush-to-zero.
#include <xmmintrin.h>

#include <cerrno>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "common/buffers.h"
#include "common/variant_harness.h"

using morvex::test::all_same_bits;
using morvex::test::same_bits;

MORVEX_KERNEL_ROW_TESTS(ops);

namespace {

TEST(OpsRules, WorkedValues) {  // (the other rules are the references of the kernel table)
  // Shift right with clipping tests high before low: with low above high,
  // whatever is not above high becomes low.
  const uint16_t w[3] = {0x0FFF, 0x0050, 0x0400};
  uint16_t wo[3];
  EXPECT_EQ(morvex_m_shr_clip_u16(w, wo, 3, 4, 10, 100), 0);
  EXPECT_EQ(std::vector<uint16_t>(wo, wo + 3), (std::vector<uint16_t>{100, 10, 64}));
  const uint8_t b[2] = {255, 50};
  uint8_t bo[2];
  EXPECT_EQ(morvex_m_shr_clip_u8(b, bo, 2, 0, 200, 100), 0);
  EXPECT_EQ(std::vector<uint8_t>(bo, bo + 2), (std::vector<uint8_t>{100, 200}));
  // A conversion to f32 is formed in double before narrowing (1e40 is beyond the single range).
  const double big = 1e40; float narrow; morvex_m_convert_f64f32(&big, &narrow, 1, 1e-10f, 0.0f);
  EXPECT_NEAR(narrow, 1e30f, 1e24f);
}

TEST(OpsRules, BitMaskSearchFromThePosition) {
  std::vector<uint16_t> d(50, 0x0001); d[7] = 0x8001, d[8] = 0x8000, d[30] = 0xC000; std::vector<uint64_t> hits;
  for (uint64_t p = 0;; ++p) {
    ASSERT_EQ(morvex_m_bit_mask_test_u16(d.data(), d.size(), 0x8000, 0x8000, &p), 0);
    if (p == d.size()) break;
    hits.push_back(p);
  }
  EXPECT_EQ(hits, (std::vector<uint64_t>{7, 8, 30}));
  // (mask, value, start) -> position: value compared exactly under the mask;
  // the start itself is tested; none found or a start past the end gives the count.
  const uint64_t cases[][4] = {{0xC001, 0x8001, 0, 7}, {0xC001, 0x8001, 8, 50}, {0, 0, 49, 49}, {0, 0, 1000, 50}};
  for (const auto& c : cases) {
    uint64_t p = c[2]; morvex_m_bit_mask_test_u16(d.data(), d.size(), uint16_t(c[0]), uint16_t(c[1]), &p);
    EXPECT_EQ(p, c[3]) << "start " << c[2];
  }
}

TEST(OpsMath, ErrnoAliasingAndScalars) {
  const float in[3] = {4.0f, -1.0f, -0.0f};
  float out[3]; errno = 0; morvex_m_sqrt_f32(in, out, 3);
  EXPECT_EQ(errno, EDOM) << "a negative input reports its domain error like the C library";
  EXPECT_TRUE(out[0] == 2.0f && std::isnan(out[1]) && same_bits(out[2], -0.0f));
  // The sine is stored before the input is read again for the cosine; with
  // both outputs the same array, the cosines win.
  double v[2] = {0.5, 1.0}, c[2];
  morvex_m_sincos_f64(v, v, c, 2);
  EXPECT_EQ(c[1], std::cos(std::sin(1.0)));
  double u[2] = {0.5, 1.0};
  morvex_m_sincos_f64(u, u, u, 2);
  EXPECT_EQ(u[0], std::cos(std::sin(0.5)));
  for (float e : {0.0f, -0.0f, 0.5f, -3.0f, INFINITY, NAN}) EXPECT_TRUE(same_bits(morvex_m_erf_f32(e), ::erff(e)));
  for (double e : {-0.0, 0.5, -3.0, 10.0}) EXPECT_TRUE(same_bits(morvex_m_erf_f64(e), ::erf(e)));
}

// Callers may run with flush-to-zero and denormals-are-zero. cabsf works in
// double, where nothing here is subnormal; the single-precision kernels must
// not let flushed intermediates move a rounding decision (inputs that such a
// kernel once got one ulp wrong, then small magnitudes of every kind).
__attribute__((noinline)) void with_ftz_daz(const std::function<void()>& body, unsigned bits = 0x8040) {
  const unsigned saved = _mm_getcsr(); _mm_setcsr(saved | bits); body(); _mm_setcsr(saved);
}

TEST(OpsMagnitude, SameResultUnderFlushToZero) {
  const float seen[][2] = {{0x1.4c6dcp-50f, 0x1.f6a3bp-59f}, {0x1.f24804p-50f, 0x1.a2cd4ap-60f},
                           {0x1.590ee2p-50f, 0x1.a4523p-62f}, {0x1.0b7532p-50f, 0x1.6f2658p-59f}};
  std::vector<float> p(2 << 16); morvex::test::fill_magnitude(p.data(), p.size(), 11, nullptr);
  for (size_t i = p.size() / 2; i < p.size(); ++i) p[i] = std::ldexp(p[i], -45);
  for (size_t i = 0; i < 4 * 16; ++i) p[2 * i] = seen[i / 16][0], p[2 * i + 1] = seen[i / 16][1];
  const size_t n = p.size() / 2; std::vector<float> want(n), got(n);
  with_ftz_daz([&] {
    for (size_t i = 0; i < n; ++i) {
      __complex__ float z; __real__ z = p[2 * i], __imag__ z = p[2 * i + 1]; want[i] = cabsf(z);
    }
  });
  morvex::test::for_each_kernel_config([&](const auto&) {
    with_ftz_daz([&] { morvex_m_magnitude_c32f32(reinterpret_cast<const morvex_m_c32f32*>(p.data()), got.data(), n); });
    EXPECT_TRUE(all_same_bits(got.data(), want.data(), n));
  }, morvex::test::kDqVariant);
}

// At a scale of one the f64 -> f32 conversion may skip its multiply by one,
// except under flush-to-zero alone, where that multiply flushes a negative
// subnormal input to -0 before the add of +0 makes it +0; the sum of the
// input itself would flush to -0. Long enough for the path without it.
TEST(OpsConvert, UnitScaleUnderFlushToZeroAlone) {
  std::vector<double> x(4100, -0x1p-1070); std::vector<float> want(x.size()), got(x.size());
  volatile double one = 1.0;
  for (size_t i = 0; i < x.size(); i += 3) x[i] = double(i) * -0.25;
  for (const unsigned bits : {0x8000u, 0x8040u}) {
    with_ftz_daz([&] { for (size_t i = 0; i < x.size(); ++i) want[i] = float(x[i] * one + 0.0); }, bits);
    morvex::test::for_each_kernel_config([&](const auto&) {
      with_ftz_daz([&] { morvex_m_convert_f64f32(x.data(), got.data(), x.size(), 1.0f, 0.0f); }, bits);
      EXPECT_TRUE(all_same_bits(got.data(), want.data(), got.size())) << "control bits " << bits;
    });
  }
}

TEST(OpsDeinterleave, TotalsAndTheGenericForm) {
  // A total of 0 or below writes nothing.
  const uint8_t seven[7] = {0, 1, 2, 3, 4, 5, 6};
  uint8_t a[3] = {9, 9, 9}, b[3] = {9, 9, 9}, c[3] = {9, 9, 9};
  for (int32_t total : {-5, 0}) EXPECT_EQ(morvex_m_deinterleave3_u8(seven, total, a, b, c), 0);
  EXPECT_TRUE(a[0] == 9 && b[0] == 9 && c[0] == 9);
  // Channel 1 of 3 channels of samples of any size, one size a single copy;
  // a count of 0 or below copies nothing.
  for (uint64_t size : {1, 2, 3, 4, 5, 8, 12})
    for (uint64_t channels : {1, 3}) {
      const uint64_t channel = channels - 1, count = 7;
      std::vector<uint8_t> s(channels * size * count), d(size * count + 1, 0xEE);
      for (size_t i = 0; i < s.size(); ++i) s[i] = uint8_t(i * 7 + 1);
      EXPECT_EQ(morvex_m_deinterleave(s.data(), channel, channels, -1, size, d.data()), 0); EXPECT_EQ(d[0], 0xEE);
      EXPECT_EQ(morvex_m_deinterleave(s.data(), channel, channels, count, size, d.data()), 0);
      for (uint64_t i = 0; i < count * size; ++i)
        ASSERT_EQ(d[i], s[(i / size * channels + channel) * size + i % size]) << "size " << size << " byte " << i;
      EXPECT_EQ(d.back(), 0xEE);
    }
}

// ------------------------------------------------------------------ unwrap
template <class T>
void unwrap_in_blocks(int32_t (*fn)(const T*, T*, uint64_t, T*)) {
  // A wrapped phase ramp with noise and a few large jumps.
  std::mt19937 rng(1); std::normal_distribution<double> noise(0.0, 0.3); std::vector<T> in(5000), whole(in.size());
  double p = 0.0;
  for (size_t i = 0; i < in.size(); ++i) in[i] = T(std::remainder(p += 0.7 + noise(rng) + (i % 97 ? 0 : 9), 2 * M_PI));
  T s = NAN; fn(in.data(), whole.data(), in.size(), &s);
  EXPECT_TRUE(same_bits(s, whole.back()));
  for (size_t i = 1; i < whole.size(); ++i) ASSERT_LE(std::fabs(double(whole[i]) - whole[i - 1]), M_PI + 1e-6);
  for (int trial = 0; trial < 20; ++trial) {
    std::vector<T> parts(in.size()); T st = NAN;
    for (size_t i = 0, len; i < in.size(); i += len) {
      len = std::min(in.size() - i, size_t(rng() % 300)); fn(in.data() + i, parts.data() + i, len, &st);
      if (len == 0 && i == 0) len = 1;  // a count of 0 with a NaN state still takes in[0]
    }
    ASSERT_TRUE(all_same_bits(parts.data(), whole.data(), in.size())) << "trial " << trial;
  }
  T st = NAN;
  fn(in.data(), in.data(), in.size(), &st);  // in place
  EXPECT_TRUE(all_same_bits(in.data(), whole.data(), in.size()));
}

TEST(OpsUnwrap, BlocksGiveWhatOneCallGives) {
  unwrap_in_blocks(morvex_m_unwrap_f32); unwrap_in_blocks(morvex_m_unwrap_f64);
}

TEST(OpsUnwrap, StatesAndStepsOfExactlyPi) {
  const double pi = 3.141592653589793;
  // (state, input) -> output: a step of exactly +-pi keeps its sign, a step
  // just above pi wraps; differences are taken against the previous output.
  const double cases[][3] = {
      {0.0, pi, pi}, {0.0, -pi, -pi}, {0.0, pi + 1e-9, pi + 1e-9 - 2 * pi}, {6.0 - 2 * pi, 12.0, 12.0 - 4 * pi}};
  for (const auto& c : cases) {
    double s = c[0], out;
    EXPECT_EQ(morvex_m_unwrap_f64(&c[1], &out, 1, &s), 0);
    EXPECT_NEAR(out, c[2], 1e-12) << "state " << c[0] << " input " << c[1]; EXPECT_EQ(s, out);
  }
  // A count of 0 with a NaN state starts the signal at in[0]; with a state it does nothing.
  float x = 1.25f, y = 0.0f, fs = NAN; morvex_m_unwrap_f32(&x, &y, 0, &fs);
  EXPECT_TRUE(y == 1.25f && fs == 1.25f);
  y = 7.0f, fs = 2.0f; morvex_m_unwrap_f32(&x, &y, 0, &fs);
  EXPECT_TRUE(y == 7.0f && fs == 2.0f);
  // f32: the difference is formed in single precision, then wrapped in double.
  const float fpi = float(pi); float fo; fs = 0.0f; morvex_m_unwrap_f32(&fpi, &fo, 1, &fs);
  EXPECT_EQ(fo, float((std::fmod(double(fpi) + pi, 2 * pi) - pi - double(fpi)) + double(fpi)));
}

}  // namespace
