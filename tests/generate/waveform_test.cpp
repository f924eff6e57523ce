// Waveforms: values against the textbook shapes, the per-type clamping and
// rounding rules, the carried phase, block-split invariance and independence
// from the number of splitter threads.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "common/buffers.h"
#include "common/kernel_configs.h"
#include "generate_api.h"

namespace {

using morvex::test::all_same_bits;
using morvex::test::Gen;
using morvex::test::PinnedThreads;

constexpr double kPi = 3.14159265358979323846;
constexpr double kInf = std::numeric_limits<double>::infinity();

enum class Wave { kCosine, kTriangle };

struct Shape {
  Wave wave;
  double period, amplitude, offset, symmetry;
};

template <class T>
std::vector<T> generate(const Shape& s, size_t n, double* phase, T lower, T upper) {
  std::vector<T> out(n);
  auto fn = s.wave == Wave::kCosine ? Gen<T>::cosine : Gen<T>::triangle;
  EXPECT_EQ(fn(out.data(), n, phase, s.period, s.amplitude, s.offset, s.symmetry, lower, upper), 0);
  return out;
}

// The unclamped double values: the f64 form with infinite bounds.
std::vector<double> raw(const Shape& s, size_t n, double phase) {
  return generate<double>(s, n, &phase, -kInf, kInf);
}

template <class T>
class WaveformTyped : public ::testing::Test {};
TYPED_TEST_SUITE(WaveformTyped, morvex::test::SampleTypes);

// Every type stores the same double value by its own rule: integers clamp in
// double (lower bound first) and round half away from zero; f32 rounds to
// float, then clamps in float; f64 clamps in double.
TYPED_TEST(WaveformTyped, StoresTheDoubleValueByTheTypeRule) {
  using T = TypeParam;
  const bool is_int = std::is_integral_v<T>;
  const T lo = is_int ? T(std::numeric_limits<T>::min() + 3) : T(-1.5);
  const T hi = is_int ? T(std::numeric_limits<T>::max() - 5) : T(2.25);
  const double amp = is_int ? double(hi) - double(lo) : 2.0;
  for (const Shape s : {Shape{Wave::kCosine, 37.3, amp, 0.5, 0.5}, Shape{Wave::kCosine, 37.3, amp, 0.5, 0.3},
                        Shape{Wave::kTriangle, 41.7, amp, -0.25, 0.7}}) {
    double phase = 0.2;
    const auto got = generate<T>(s, 500, &phase, lo, hi);
    const auto ref = raw(s, 500, 0.2);
    for (size_t i = 0; i < got.size(); ++i) {
      T want;
      if constexpr (std::is_integral_v<T>) {
        want = T(std::llround(std::min(std::max(ref[i], double(lo)), double(hi))));
      } else {
        want = std::min(std::max(T(ref[i]), lo), hi);
      }
      ASSERT_TRUE(all_same_bits(&got[i], &want, 1)) << "index " << i;
    }
  }
}

TYPED_TEST(WaveformTyped, LowerAboveUpperGivesUpperEverywhere) {
  using T = TypeParam;
  double phase = 0.0;
  for (Wave w : {Wave::kCosine, Wave::kTriangle}) {
    const auto got = generate<T>(Shape{w, 10.0, 100.0, 50.0, 0.5}, 40, &phase, T(60), T(20));
    for (T v : got) ASSERT_EQ(v, T(20));
  }
}

TYPED_TEST(WaveformTyped, SquareStoresTheLevelsUnchanged) {
  using T = TypeParam;
  const T low = T(7), high = T(3);  // stored as given, whatever their order
  std::vector<T> out(16);
  double phase = 0.0;
  // Period 8, duty 0.25: fraction i/8 must be strictly below 0.25 to be high.
  Gen<T>::square(out.data(), 16, 8.0, low, high, 0.25, &phase);
  for (size_t i = 0; i < 16; ++i) EXPECT_EQ(out[i], (i % 8) < 2 ? high : low) << i;
  Gen<T>::square(out.data(), 16, 3.3, low, high, 0.0, &phase);
  for (T v : out) EXPECT_EQ(v, low);
  Gen<T>::square(out.data(), 16, 3.3, low, high, 1.0, &phase);
  for (T v : out) EXPECT_EQ(v, high);
}

TEST(WaveformRounding, HalvesGoAwayFromZero) {
  // Amplitude 0: every value is exactly the offset.
  double ph = 0.0;
  EXPECT_EQ(generate<int16_t>({Wave::kCosine, 9, 0, 2.5, 0.5}, 3, &ph, -100, 100)[1], 3);
  EXPECT_EQ(generate<int16_t>({Wave::kCosine, 9, 0, -2.5, 0.5}, 3, &ph, -100, 100)[1], -3);
  EXPECT_EQ(generate<uint8_t>({Wave::kTriangle, 9, 0, 0.5, 0.3}, 3, &ph, 0, 255)[2], 1);
  EXPECT_EQ(generate<uint16_t>({Wave::kCosine, 9, 0, 4.5, 0.2}, 3, &ph, 0, 9)[0], 5);
}

TEST(WaveformShape, SymmetricCosineIsTheCosineOfThePhase) {
  const double period = 37.3, p = 0.3;
  const auto v = raw({Wave::kCosine, period, 2.0, 0.5, 0.5}, 1000, p);
  for (size_t i = 0; i < v.size(); ++i)
    ASSERT_NEAR(v[i], 2.0 * std::cos(2 * kPi * (double(i) / period + p)) + 0.5, 1e-12) << i;
  // Within 1e-6 of one half is the symmetric form exactly; further out it is not.
  const auto near = raw({Wave::kCosine, period, 2.0, 0.5, 0.5000001}, 1000, p);
  EXPECT_TRUE(all_same_bits(v.data(), near.data(), v.size()));
  const auto off = raw({Wave::kCosine, period, 2.0, 0.5, 0.500002}, 1000, p);
  EXPECT_FALSE(all_same_bits(v.data(), off.data(), v.size()));
}

// The f64 cosine is the written formula with std::cos, to the bit, whichever
// kernel computes the cosines: symmetric i * w + (p + p) pi, asymmetric by
// the branch on the fractional part, over runs longer than one internal run.
TEST(WaveformExact, CosineIsTheFormulaWithStdCosUnderEveryKernel) {
  const size_t n = 3001;
  const double p = 0.37, amp = 1.5, off = -0.25;
  const double w = 2.0 * kPi / 123.4, phase_term = (p + p) * kPi;
  std::vector<double> sym(n), asym(n);
  const double s = 0.3, k1 = kPi / (1.0 - s), k2 = kPi / s, c2 = kPi - (1.0 - s) * k2, inv = 1.0 / 123.4;
  for (size_t i = 0; i < n; ++i) {
    sym[i] = std::cos(double(i) * w + phase_term) * amp + off;
    double whole;
    const double f = std::modf(double(i) * inv + p, &whole);
    asym[i] = std::cos(1.0 - s > f ? k1 * f : k2 * f + c2) * amp + off;
  }
  morvex::test::for_each_kernel_config([&](const morvex::test::KernelConfig&) {
    for (unsigned threads : {1u, 3u}) {
      PinnedThreads pin(threads);
      EXPECT_TRUE(all_same_bits(raw({Wave::kCosine, 123.4, amp, off, 0.5}, n, p).data(), sym.data(), n));
      EXPECT_TRUE(all_same_bits(raw({Wave::kCosine, 123.4, amp, off, s}, n, p).data(), asym.data(), n));
    }
  });
}

TEST(WaveformShape, AsymmetricCosineFallsThenRises) {
  // Symmetry 0.25, period 8: maximum at 0, minimum at 6/8, crossings at 3/8 and 7/8.
  const auto v = raw({Wave::kCosine, 8, 1, 0, 0.25}, 8, 0.0);
  EXPECT_DOUBLE_EQ(v[0], 1.0);
  EXPECT_NEAR(v[3], 0.0, 1e-15);
  EXPECT_DOUBLE_EQ(v[6], -1.0);
  EXPECT_NEAR(v[7], 0.0, 1e-15);
  for (int i = 1; i <= 6; ++i) EXPECT_LT(v[i], v[i - 1]) << i;
  // Symmetry 0: one falling half-cosine per period; 1: one rising.
  const double period = 10.0, p = 0.05;
  const auto fall = raw({Wave::kCosine, period, 1, 0, 0.0}, 30, p);
  const auto rise = raw({Wave::kCosine, period, 1, 0, 1.0}, 30, p);
  for (size_t i = 0; i < 30; ++i) {
    const double f = std::fmod(double(i) / period + p, 1.0);
    EXPECT_NEAR(fall[i], std::cos(kPi * f), 1e-12) << i;
    EXPECT_NEAR(rise[i], std::cos(kPi * f + kPi), 1e-12) << i;
  }
}

TEST(WaveformShape, TriangleStartsAtTheOffsetRising) {
  auto seq = [](double s) { return raw({Wave::kTriangle, 8, 4, 0, s}, 8, 0.0); };
  EXPECT_EQ(seq(0.5), (std::vector<double>{0, 2, 4, 2, 0, -2, -4, -2}));
  EXPECT_EQ(seq(0.0), (std::vector<double>{4, 3, 2, 1, 0, -1, -2, -3}));  // falling ramp
  EXPECT_EQ(seq(1.0), (std::vector<double>{0, 1, 2, 3, -4, -3, -2, -1}));  // rising ramp
}

TEST(WaveformShape, NaNFromAZeroPeriodIsNotClampedAway) {
  double ph = 0.0;
  for (double v : generate<double>({Wave::kCosine, 0.0, 1, 0, 0.5}, 9, &ph, -1.0, 1.0)) EXPECT_TRUE(std::isnan(v));
  EXPECT_TRUE(std::isnan(ph));
  ph = 0.0;
  for (float v : generate<float>({Wave::kCosine, 0.0, 1, 0, 0.5}, 9, &ph, -1.0f, 1.0f)) EXPECT_TRUE(std::isnan(v));
  generate<int16_t>({Wave::kCosine, 0.0, 1, 0, 0.3}, 9, &ph, -1, 1);  // whatever llround makes of NaN, no trap
}

TEST(WaveformPhase, CarriesTheUnshiftedPhaseEvenForNoSamples) {
  double ph = 2.75;
  generate<double>({Wave::kCosine, 10, 1, 0, 0.5}, 0, &ph, -kInf, kInf);
  EXPECT_EQ(ph, 0.75);
  ph = -0.25;
  generate<float>({Wave::kTriangle, 10, 1, 0, 0.5}, 0, &ph, -1, 1);
  EXPECT_EQ(ph, -0.25);
  for (Wave w : {Wave::kCosine, Wave::kTriangle}) {
    ph = 0.1;
    generate<uint8_t>({w, 300, 1, 0, 0.3}, 1000, &ph, 0, 255);
    EXPECT_EQ(ph, std::fmod(1000.0 / 300 + 0.1, 1.0));
  }
  std::vector<int16_t> sq(1000);
  ph = 0.1;
  Gen<int16_t>::square(sq.data(), 1000, 300, 0, 1, 0.5, &ph);
  EXPECT_EQ(ph, std::fmod(1000.0 / 300 + 0.1, 1.0));
}

// Random block lengths give what one call gives: exactly when the period is a
// power of two (the carried phase is then exact) for the forms that work on
// the fraction of the period; within rounding for the symmetric cosine.
TYPED_TEST(WaveformTyped, BlocksJoinWithoutASeam) {
  using T = TypeParam;
  const T lo = std::is_integral_v<T> ? T(0) : T(-100), hi = T(100);
  std::mt19937 rng(7);
  const size_t n = 5000;
  for (const Shape s : {Shape{Wave::kCosine, 64, 50, 50, 0.3}, Shape{Wave::kTriangle, 32, 50, 50, 0.5},
                        Shape{Wave::kCosine, 37.3, 50, 50, 0.5}}) {
    double ph = 0.125;
    const auto whole = generate<T>(s, n, &ph, lo, hi);
    std::vector<T> pieces(n);
    ph = 0.125;
    for (size_t at = 0; at < n;) {
      const size_t len = std::min<size_t>(n - at, std::uniform_int_distribution<size_t>(0, 700)(rng));
      auto fn = s.wave == Wave::kCosine ? Gen<T>::cosine : Gen<T>::triangle;
      fn(pieces.data() + at, len, &ph, s.period, s.amplitude, s.offset, s.symmetry, lo, hi);
      at += len;
    }
    if (s.symmetry != 0.5) {
      EXPECT_TRUE(all_same_bits(whole.data(), pieces.data(), n));
    } else {
      for (size_t i = 0; i < n; ++i) ASSERT_NEAR(double(whole[i]), double(pieces[i]), std::is_integral_v<T> ? 1 : 1e-9);
    }
  }
  // Square: two halves of a power-of-two period.
  std::vector<T> a(1000), b(1000);
  double ph = 0.0;
  Gen<T>::square(a.data(), 1000, 16, T(1), T(2), 0.3, &ph);
  ph = 0.0;
  Gen<T>::square(b.data(), 500, 16, T(1), T(2), 0.3, &ph);
  Gen<T>::square(b.data() + 500, 500, 16, T(1), T(2), 0.3, &ph);
  EXPECT_TRUE(all_same_bits(a.data(), b.data(), 1000));
}

TYPED_TEST(WaveformTyped, SameResultForEveryThreadCount) {
  using T = TypeParam;
  for (size_t n : {1u, 2u, 5u, 4099u, 100003u}) {
    std::vector<std::vector<T>> runs;
    for (unsigned h : morvex::test::thread_counts()) {
      PinnedThreads pin(h);
      std::vector<T> all;
      for (const Shape s : {Shape{Wave::kCosine, 97.1, 60, 40, 0.5}, Shape{Wave::kCosine, 97.1, 60, 40, 0.2},
                            Shape{Wave::kTriangle, 97.1, 60, 40, 0.2}}) {
        double ph = 0.3;
        const auto v = generate<T>(s, n, &ph, T(0), T(90));
        all.insert(all.end(), v.begin(), v.end());
      }
      std::vector<T> sq(n);
      double ph = 0.3;
      Gen<T>::square(sq.data(), n, 97.1, T(1), T(5), 0.4, &ph);
      all.insert(all.end(), sq.begin(), sq.end());
      runs.push_back(std::move(all));
    }
    for (size_t r = 1; r < runs.size(); ++r)
      EXPECT_TRUE(all_same_bits(runs[0].data(), runs[r].data(), runs[0].size()))
          << "n " << n << ", " << morvex::test::thread_counts()[r] << " threads";
  }
}

}  // namespace
