// Noise: bit-exact against std::mt19937 and the standard distributions run
// here with the same seed, on every type; the clock seed; clamping.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "common/buffers.h"
#include "generate_api.h"

namespace {

using morvex::test::all_same_bits;
using morvex::test::Gen;

template <class T>
class NoiseTyped : public ::testing::Test {};
TYPED_TEST_SUITE(NoiseTyped, morvex::test::SampleTypes);

template <class T>
std::vector<T> expected_noise(size_t n, T low, T high, uint32_t seed) {
  std::mt19937 g(seed);
  std::vector<T> out(n);
  if constexpr (std::is_integral_v<T>) {
    std::uniform_int_distribution<int> d(low, high);
    for (T& v : out) v = T(d(g));
  } else {
    std::uniform_real_distribution<double> d(low, high);
    for (T& v : out) v = T(d(g));
  }
  return out;
}

template <class T>
std::vector<T> expected_added(std::vector<T> data, T amplitude, T lower, T upper, uint32_t seed) {
  std::mt19937 g(seed);
  for (T& x : data) {
    double v = std::generate_canonical<double, 53>(g) * (2.0 * amplitude) + (-double(amplitude)) + double(x);
    v = std::max(v, double(lower));
    v = std::min(v, double(upper));
    if constexpr (std::is_integral_v<T>)
      x = T(std::llround(v));
    else
      x = T(v);
  }
  return data;
}

template <class T>
std::vector<std::pair<T, T>> bound_pairs() {
  if constexpr (std::is_integral_v<T>)
    return {{std::numeric_limits<T>::min(), std::numeric_limits<T>::max()}, {T(10), T(20)}, {T(5), T(5)}};
  else
    return {{T(-1.5), T(2.5)}, {T(0), T(1e-3)}, {T(-7), T(-7)}};
}

TYPED_TEST(NoiseTyped, WaveformNoiseIsTheStandardDistribution) {
  using T = TypeParam;
  for (uint32_t seed : {0u, 1u, 5489u, 0xFFFFFFFFu})
    for (auto [lo, hi] : bound_pairs<T>()) {
      std::vector<T> got(3001);
      EXPECT_EQ(Gen<T>::noise(got.data(), got.size(), lo, hi, &seed), 0);
      const auto want = expected_noise<T>(got.size(), lo, hi, seed);
      EXPECT_TRUE(all_same_bits(got.data(), want.data(), got.size())) << "seed " << seed;
      for (T v : got) ASSERT_TRUE(v >= lo && v <= hi);
    }
}

TYPED_TEST(NoiseTyped, AddNoiseDrawsUniformlyThenClampsLowerFirst) {
  using T = TypeParam;
  const bool is_int = std::is_integral_v<T>;
  std::vector<T> data(2000);
  morvex::test::fill_random(data.data(), data.size(), 3, false);
  const T lower = is_int ? T(std::numeric_limits<T>::min() + 20) : T(-1000);
  const T upper = is_int ? T(std::numeric_limits<T>::max() - 20) : T(1000);
  for (uint32_t seed : {0u, 77u}) {
    for (T amplitude : {T(0), T(3), T(50)}) {
      std::vector<T> got = data;
      EXPECT_EQ(Gen<T>::add_noise(got.data(), got.size(), amplitude, lower, upper, &seed), 0);
      const auto want = expected_added(data, amplitude, lower, upper, seed);
      EXPECT_TRUE(all_same_bits(got.data(), want.data(), got.size())) << +amplitude;
    }
  }
  // Lower above upper: everything ends at upper.
  std::vector<T> got = data;
  const uint32_t seed = 9;
  Gen<T>::add_noise(got.data(), got.size(), T(2), T(40), T(30), &seed);
  for (T v : got) ASSERT_EQ(v, T(30));
}

TEST(NoiseSeed, SameSeedSameSamplesClockSeedVaries) {
  const uint32_t seed = 12345;
  std::vector<double> a(64), b(64), c(64);
  morvex_m_waveform_noise_f64(a.data(), 64, 0.0, 1.0, &seed);
  morvex_m_waveform_noise_f64(b.data(), 64, 0.0, 1.0, &seed);
  EXPECT_EQ(a, b);
  EXPECT_EQ(seed, 12345u);
  morvex_m_waveform_noise_f64(a.data(), 64, 0.0, 1.0, nullptr);
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
  morvex_m_waveform_noise_f64(b.data(), 64, 0.0, 1.0, nullptr);
  EXPECT_NE(a, b);
  morvex_m_waveform_noise_f64(c.data(), 64, 0.0, 1.0, &seed);
  EXPECT_NE(a, c);
}

TEST(NoiseSeed, CountZeroWritesNothing) {
  int16_t v = 99;
  const uint32_t seed = 1;
  EXPECT_EQ(morvex_m_waveform_noise_i16(&v, 0, 0, 10, &seed), 0);
  EXPECT_EQ(morvex_m_add_noise_i16(&v, 0, 5, 0, 10, &seed), 0);
  EXPECT_EQ(v, 99);
}

}  // namespace
