// SPDX-License-Identifier: MIT
// Waveforms and noise: the shapes from their definitions, each type's
// clamping and rounding, the carried phase, blocks that join without a seam,
// the same result for every thread count and from many threads at once; noise
// bit-exact against the standard library's generator and distributions.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "common/buffers.h"
#include "common/variant_harness.h"
#include "frame/split.h"

MORVEX_KERNEL_ROW_TESTS(generate);

namespace {

using morvex::test::all_same_bits;
constexpr double kPi = 3.14159265358979323846, kInf = std::numeric_limits<double>::infinity();

template <class T> struct Gen;
#define MORVEX_TEST_GEN(T, S)                                                                                   \
  template <> struct Gen<T> {                                                                                   \
    static constexpr auto cosine = morvex_m_waveform_cosine_##S, triangle = morvex_m_waveform_triangle_##S;    \
    static constexpr auto square = morvex_m_waveform_square_##S, noise = morvex_m_waveform_noise_##S;          \
    static constexpr auto add_noise = morvex_m_add_noise_##S;                                                   \
  };
MORVEX_TEST_GEN(int16_t, i16) MORVEX_TEST_GEN(uint8_t, u8) MORVEX_TEST_GEN(uint16_t, u16)
MORVEX_TEST_GEN(float, f32) MORVEX_TEST_GEN(double, f64)
#undef MORVEX_TEST_GEN
using SampleTypes = ::testing::Types<int16_t, uint8_t, uint16_t, float, double>;

// Pins the splitter's thread count for the life of the object.
struct PinnedThreads {
  explicit PinnedThreads(unsigned h) { morvex::frame::set_split_thread_count(h); }
  ~PinnedThreads() { morvex::frame::set_split_thread_count(0); }
};

struct Shape {
  bool cosine; double period, amplitude, offset, symmetry;
};

template <class T>
std::vector<T> wave(const Shape& s, size_t n, double* phase, T lower, T upper) {
  std::vector<T> out(n);
  EXPECT_EQ((s.cosine ? Gen<T>::cosine : Gen<T>::triangle)(out.data(), n, phase, s.period, s.amplitude, s.offset,
                                                            s.symmetry, lower, upper), 0);
  return out;
}
// The unclamped values: the f64 form with infinite bounds.
std::vector<double> raw(const Shape& s, size_t n, double phase) { return wave<double>(s, n, &phase, -kInf, kInf); }

template <class T>
class Waveform : public ::testing::Test {};
TYPED_TEST_SUITE(Waveform, SampleTypes);

// Every type stores the same double value by its own rule: integers clamp in
// double (lower bound first) and round half away from zero; f32 rounds to
// float, then clamps in float; f64 clamps in double. Lower above upper gives upper.
TYPED_TEST(Waveform, StoresTheDoubleValueByTheTypeRule) {
  using T = TypeParam;
  constexpr bool is_int = std::is_integral_v<T>; const T lo = is_int ? T(std::numeric_limits<T>::min() + 3) : T(-1.5);
  const T hi = is_int ? T(std::numeric_limits<T>::max() - 5) : T(2.25);
  const double amp = is_int ? double(hi) - double(lo) : 2.0;
  for (const Shape s : {Shape{true, 37.3, amp, 0.5, 0.5}, Shape{true, 37.3, amp, 0.5, 0.3}, Shape{false, 41.7, amp, -0.25, 0.7}}) {
    double phase = 0.2; const auto got = wave<T>(s, 500, &phase, lo, hi), upside_down = wave<T>(s, 50, &phase, hi, lo);
    const auto ref = raw(s, 500, 0.2);
    for (size_t i = 0; i < got.size(); ++i) {
      T want;
      if constexpr (is_int) want = T(std::llround(std::min(std::max(ref[i], double(lo)), double(hi))));
      else want = std::min(std::max(T(ref[i]), lo), hi);
      ASSERT_TRUE(all_same_bits(&got[i], &want, 1)) << "index " << i;
    }
    for (T v : upside_down) ASSERT_EQ(v, lo) << "lower above upper";
  }
}

TEST(WaveformRounding, HalvesGoAwayFromZero) {
  double ph = 0.0;  // amplitude 0: every value is exactly the offset
  EXPECT_EQ(wave<int16_t>({true, 9, 0, 2.5, 0.5}, 3, &ph, -100, 100)[1], 3);
  EXPECT_EQ(wave<int16_t>({true, 9, 0, -2.5, 0.5}, 3, &ph, -100, 100)[1], -3);
  EXPECT_EQ(wave<uint8_t>({false, 9, 0, 0.5, 0.3}, 3, &ph, 0, 255)[2], 1);
  EXPECT_EQ(wave<uint16_t>({true, 9, 0, 4.5, 0.2}, 3, &ph, 0, 9)[0], 5);
}

TYPED_TEST(Waveform, SquareStoresItsLevelsUnchanged) {
  using T = TypeParam;
  std::vector<T> out(16); double phase = 0.0;
  // Period 8, duty 0.25: a fraction i/8 strictly below 0.25 is high (3), the rest low (7).
  Gen<T>::square(out.data(), 16, 8.0, T(7), T(3), 0.25, &phase);
  for (size_t i = 0; i < 16; ++i) EXPECT_EQ(out[i], (i % 8) < 2 ? T(3) : T(7)) << i;
  for (double duty : {0.0, 1.0}) {
    Gen<T>::square(out.data(), 16, 3.3, T(7), T(3), duty, &phase);
    for (T v : out) EXPECT_EQ(v, duty ? T(3) : T(7));
  }
}

// Random block lengths give what one call gives: exactly when the period is a
// power of two (the carried phase is then exact) for the forms that work on
// the fraction of the period; within rounding for the symmetric cosine.
TYPED_TEST(Waveform, BlocksJoinWithoutASeamForAnyThreadCount) {
  using T = TypeParam;
  const T lo = std::is_integral_v<T> ? T(0) : T(-100), hi = T(100); std::mt19937 rng(7);
  for (const Shape s : {Shape{true, 64, 50, 50, 0.3}, Shape{false, 32, 50, 50, 0.5}, Shape{true, 37.3, 50, 50, 0.5}}) {
    double ph = 0.125; const auto whole = wave<T>(s, 5000, &ph, lo, hi); std::vector<T> pieces; ph = 0.125;
    for (unsigned h = 1; pieces.size() < whole.size(); h = h % 7 + 1) {
      PinnedThreads pin(h);
      const auto part = wave<T>(s, std::min<size_t>(whole.size() - pieces.size(), rng() % 700), &ph, lo, hi);
      pieces.insert(pieces.end(), part.begin(), part.end());
    }
    if (s.symmetry != 0.5) {
      EXPECT_TRUE(all_same_bits(whole.data(), pieces.data(), whole.size()));
    } else {
      for (size_t i = 0; i < whole.size(); ++i) ASSERT_NEAR(double(whole[i]), double(pieces[i]), std::is_integral_v<T> ? 1 : 1e-9);
    }
    for (unsigned h : {1u, 3u, 16u}) {  // one call, any number of chunks
      PinnedThreads pin(h); ph = 0.125;
      EXPECT_TRUE(all_same_bits(wave<T>(s, 5000, &ph, lo, hi).data(), whole.data(), whole.size())) << h << " threads";
    }
  }
  std::vector<T> a(1000), b(1000);  // square: two halves of a power-of-two period
  double ph = 0.0; Gen<T>::square(a.data(), 1000, 16, T(1), T(2), 0.3, &ph); ph = 0.0;
  Gen<T>::square(b.data(), 500, 16, T(1), T(2), 0.3, &ph);
  Gen<T>::square(b.data() + 500, 500, 16, T(1), T(2), 0.3, &ph);
  EXPECT_TRUE(all_same_bits(a.data(), b.data(), 1000));
}

// The f64 cosine is the written formula with std::cos, to the bit:
// symmetric i * w + (p + p) pi; asymmetric by the branch on the fractional
// part, a falling half-cosine then a rising one; over runs longer than one
// internal run. The triangle starts at the offset, rising.
TEST(WaveformShape, TheDefiningFormulas) {
  const size_t n = 3001; const double p = 0.37, amp = 1.5, off = -0.25, s = 0.3, w = 2.0 * kPi / 123.4;
  const double k1 = kPi / (1.0 - s), k2 = kPi / s, c2 = kPi - (1.0 - s) * k2, inv = 1.0 / 123.4;
  std::vector<double> sym(n), asym(n);
  for (size_t i = 0; i < n; ++i) {
    sym[i] = std::cos(double(i) * w + (p + p) * kPi) * amp + off; double whole;
    const double f = std::modf(double(i) * inv + p, &whole);
    asym[i] = std::cos(1.0 - s > f ? k1 * f : k2 * f + c2) * amp + off;
  }
  EXPECT_TRUE(all_same_bits(raw({true, 123.4, amp, off, 0.5}, n, p).data(), sym.data(), n));
  EXPECT_TRUE(all_same_bits(raw({true, 123.4, amp, off, s}, n, p).data(), asym.data(), n));
  // Within 1e-6 of one half is the symmetric form exactly; further out it is not.
  EXPECT_TRUE(all_same_bits(raw({true, 123.4, amp, off, 0.5000001}, n, p).data(), sym.data(), n));
  EXPECT_FALSE(all_same_bits(raw({true, 123.4, amp, off, 0.500002}, n, p).data(), sym.data(), n));
  auto tri = [](double sym) { return raw({false, 8, 4, 0, sym}, 8, 0.0); };
  EXPECT_EQ(tri(0.5), (std::vector<double>{0, 2, 4, 2, 0, -2, -4, -2}));
  EXPECT_EQ(tri(0.0), (std::vector<double>{4, 3, 2, 1, 0, -1, -2, -3}));  // falling ramp
  EXPECT_EQ(tri(1.0), (std::vector<double>{0, 1, 2, 3, -4, -3, -2, -1}));  // rising ramp
}

TEST(WaveformPhase, CarriedUnshiftedEvenForNoSamplesAndNaNNotClampedAway) {
  double ph = 2.75;
  wave<double>({true, 10, 1, 0, 0.5}, 0, &ph, -kInf, kInf);
  EXPECT_EQ(ph, 0.75);
  ph = -0.25;
  wave<float>({false, 10, 1, 0, 0.5}, 0, &ph, -1, 1);
  EXPECT_EQ(ph, -0.25);
  for (bool cosine : {true, false}) {
    ph = 0.1;
    wave<uint8_t>({cosine, 300, 1, 0, 0.3}, 1000, &ph, 0, 255);
    EXPECT_EQ(ph, std::fmod(1000.0 / 300 + 0.1, 1.0));
  }
  std::vector<int16_t> sq(1000); ph = 0.1; Gen<int16_t>::square(sq.data(), 1000, 300, 0, 1, 0.5, &ph);
  EXPECT_EQ(ph, std::fmod(1000.0 / 300 + 0.1, 1.0));
  ph = 0.0;  // a zero period: NaN everywhere, phase included, never clamped into range
  for (float v : wave<float>({true, 0.0, 1, 0, 0.5}, 9, &ph, -1.0f, 1.0f)) EXPECT_TRUE(std::isnan(v));
  EXPECT_TRUE(std::isnan(ph));
}

TEST(GenerateConcurrency, SplitGeneratorsFromManyThreads) {
  PinnedThreads pin(4);  // more chunks than cores: the pool queues
  const uint64_t n = 3001; std::vector<double> in(n), ref_hann(n); std::vector<int16_t> ref_wave(n);
  morvex::test::fill_random(in.data(), n, 1, false); morvex_m_window_hanning_f64(in.data(), ref_hann.data(), n, 1);
  double ph = 0.1; morvex_m_waveform_cosine_i16(ref_wave.data(), n, &ph, 77.7, 1000, 0, 0.3, -2000, 2000);
  std::atomic<int> bad{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      std::vector<double> hann(n); std::vector<int16_t> w(n);
      for (int round = 0; round < 40; ++round) {
        double p = 0.1;
        if ((round + t) % 2) {
          morvex_m_window_hanning_f64(in.data(), hann.data(), n, 1);
          bad += !all_same_bits(hann.data(), ref_hann.data(), n);
        } else {
          morvex_m_waveform_cosine_i16(w.data(), n, &p, 77.7, 1000, 0, 0.3, -2000, 2000);
          bad += !all_same_bits(w.data(), ref_wave.data(), n) || p != ph;
        }
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(bad.load(), 0);
}

// ---------------------------------------------------------------- noise
template <class T>
class Noise : public ::testing::Test {};
TYPED_TEST_SUITE(Noise, SampleTypes);

// waveform_noise: the standard uniform distribution (integers inclusive) on
// std::mt19937 with the given seed; add_noise: x + u * 2a - a from
// generate_canonical, clamped lower bound first, integers rounded half away.
TYPED_TEST(Noise, TheStandardGeneratorAndDistributions) {
  using T = TypeParam;
  constexpr bool is_int = std::is_integral_v<T>;
  using L = std::numeric_limits<T>;
  const std::pair<T, T> bounds[] = {{is_int ? L::min() : T(-1.5), is_int ? L::max() : T(2.5)}, {T(10), T(20)}, {T(5), T(5)}};
  for (uint32_t seed : {0u, 1u, 5489u, 0xFFFFFFFFu})
    for (auto [lo, hi] : bounds) {
      std::vector<T> got(3001), want(3001);
      EXPECT_EQ(Gen<T>::noise(got.data(), got.size(), lo, hi, &seed), 0);
      std::mt19937 g(seed);
      if constexpr (is_int) {
        std::uniform_int_distribution<int> d(lo, hi);
        for (T& v : want) v = T(d(g));
      } else {
        std::uniform_real_distribution<double> d(lo, hi);
        for (T& v : want) v = T(d(g));
      }
      EXPECT_TRUE(all_same_bits(got.data(), want.data(), got.size())) << "seed " << seed;
    }
  std::vector<T> data(2000); morvex::test::fill_random(data.data(), data.size(), 3, false);
  const T lower = is_int ? T(L::min() + 20) : T(-1000), upper = is_int ? T(L::max() - 20) : T(1000);
  for (uint32_t seed : {0u, 77u})
    for (T amplitude : {T(0), T(3), T(50)}) {
      std::vector<T> got = data, want = data;
      EXPECT_EQ(Gen<T>::add_noise(got.data(), got.size(), amplitude, lower, upper, &seed), 0);
      std::mt19937 g(seed);
      for (T& x : want) {
        const double v = std::generate_canonical<double, 53>(g) * (2.0 * amplitude) + -double(amplitude) + double(x);
        const double c = std::min(std::max(v, double(lower)), double(upper)); x = is_int ? T(std::llround(c)) : T(c);
      }
      EXPECT_TRUE(all_same_bits(got.data(), want.data(), got.size())) << +amplitude;
    }
  std::vector<T> got = data; const uint32_t seed = 9;
  Gen<T>::add_noise(got.data(), got.size(), T(2), T(40), T(30), &seed);
  for (T v : got) ASSERT_EQ(v, T(30)) << "lower above upper";
}

TEST(NoiseSeed, ANullSeedComesFromTheClock) {
  std::vector<double> a(64), b(64); morvex_m_waveform_noise_f64(a.data(), 64, 0.0, 1.0, nullptr);
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
  morvex_m_waveform_noise_f64(b.data(), 64, 0.0, 1.0, nullptr);
  EXPECT_NE(a, b);
  int16_t v = 99; const uint32_t seed = 1;
  EXPECT_EQ(morvex_m_waveform_noise_i16(&v, 0, 0, 10, &seed) | morvex_m_add_noise_i16(&v, 0, 5, 0, 10, &seed), 0);
  EXPECT_EQ(v, 99) << "a count of 0 writes nothing";
}

}  // namespace
