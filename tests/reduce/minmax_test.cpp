// Extremes: every type and kernel configuration against the running rule,
// bit for bit, including NaN and signed-zero inputs built to catch a vector
// kernel that combines its lanes in the wrong order.
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
using morvex::test::running_minmax;
using morvex::test::same_bits;

template <class T>
struct MinMax;
#define MORVEX_MINMAX_FN(T, S) \
  template <> struct MinMax<T> { static constexpr auto fn = morvex_m_minmax_##S; };
MORVEX_MINMAX_FN(int8_t, i8)
MORVEX_MINMAX_FN(int16_t, i16)
MORVEX_MINMAX_FN(int32_t, i32)
MORVEX_MINMAX_FN(int64_t, i64)
MORVEX_MINMAX_FN(uint8_t, u8)
MORVEX_MINMAX_FN(uint16_t, u16)
MORVEX_MINMAX_FN(uint32_t, u32)
MORVEX_MINMAX_FN(uint64_t, u64)
MORVEX_MINMAX_FN(float, f32)
MORVEX_MINMAX_FN(double, f64)
#undef MORVEX_MINMAX_FN

// Compares the export with the rule for one array, asking for both results,
// for each alone, and for neither.
template <class T>
void expect_rule(const T* x, size_t n, const char* what) {
  T want_min, want_max;
  running_minmax(x, n, &want_min, &want_max);
  T mn = T(1), mx = T(2);
  ASSERT_EQ(MinMax<T>::fn(x, n, &mn, &mx), 0);
  ASSERT_TRUE(same_bits(mn, want_min) && same_bits(mx, want_max))
      << what << " n=" << n << " min " << +mn << " want " << +want_min << ", max " << +mx << " want " << +want_max;
  T only = T(3);
  MinMax<T>::fn(x, n, &only, nullptr);
  ASSERT_TRUE(same_bits(only, want_min)) << what << " min only, n=" << n;
  MinMax<T>::fn(x, n, nullptr, &only);
  ASSERT_TRUE(same_bits(only, want_max)) << what << " max only, n=" << n;
}

std::vector<size_t> lengths() {
  std::vector<size_t> v;
  for (size_t n = 1; n <= 80; ++n) v.push_back(n);
  for (size_t n : {127, 128, 129, 255, 256, 257, 1000, 4099}) v.push_back(n);
  return v;
}

template <class T>
class MinMaxAll : public ::testing::Test {};
using AllTypes = ::testing::Types<int8_t, int16_t, int32_t, int64_t, uint8_t, uint16_t, uint32_t, uint64_t, float, double>;
TYPED_TEST_SUITE(MinMaxAll, AllTypes);

TYPED_TEST(MinMaxAll, RandomDataMatchesTheRunningRule) {
  using T = TypeParam;
  for_each_kernel_config([](const auto&) {
    for (size_t n : lengths())
      for (size_t off = 0; off < 3; ++off) {
        Buffer<T> x(n, off);
        morvex::test::fill_random(x.data(), n, uint32_t(n * 3 + off));
        expect_rule(x.data(), n, "random");
        // The extreme placed at every position, so that each lane, each
        // vector of a block and the overlapping last vector must report it.
        if (n <= 80 || n == 257)
          for (size_t at = 0; at < n; ++at) {
            const T keep = x[at];
            x[at] = std::numeric_limits<T>::lowest();
            expect_rule(x.data(), n, "lowest planted");
            x[at] = std::numeric_limits<T>::max();
            expect_rule(x.data(), n, "max planted");
            x[at] = keep;
          }
      }
  });
}

TYPED_TEST(MinMaxAll, CountZeroAndOneReportTheFirstElement) {
  using T = TypeParam;
  const T one[1] = {T(42)};
  for_each_kernel_config([&](const auto&) {
    for (uint64_t n : {0, 1}) {
      T mn = 0, mx = 0;
      MinMax<T>::fn(one, n, &mn, &mx);
      EXPECT_EQ(mn, T(42));
      EXPECT_EQ(mx, T(42));
    }
    // Nothing asked for: nothing is read, not even data[0].
    EXPECT_EQ(MinMax<T>::fn(nullptr, 100, nullptr, nullptr), 0);
  });
}

template <class T>
class MinMaxFloat : public ::testing::Test {};
using FloatTypes = ::testing::Types<float, double>;
TYPED_TEST_SUITE(MinMaxFloat, FloatTypes);

TYPED_TEST(MinMaxFloat, DocumentedNaNAndZeroCases) {
  using T = TypeParam;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  for_each_kernel_config([&](const auto&) {
    T mn, mx;
    const T a[] = {1, nan, 3};
    MinMax<T>::fn(a, 3, &mn, &mx);
    EXPECT_EQ(mn, 3);
    EXPECT_EQ(mx, 3);
    const T b[] = {1, 3, nan};
    MinMax<T>::fn(b, 3, &mn, &mx);
    EXPECT_TRUE(std::isnan(mn) && std::isnan(mx));
    const T z[] = {T(-0.0), T(0.0)};
    MinMax<T>::fn(z, 2, &mn, &mx);
    EXPECT_FALSE(std::signbit(mn) || std::signbit(mx));
  });
}

// Values from a tiny alphabet: ties of -0 and +0 everywhere, NaNs at random
// places (including vector and block edges and the very end), so that the
// suffix after the last NaN and the sign of a zero extreme vary.
template <class T>
void fill_alphabet(T* x, size_t n, std::mt19937& rng, int nan_per_mille) {
  const T zero_alphabet[] = {T(-0.0), T(0.0), T(1), T(2), T(-0.0), T(0.0)};
  std::uniform_int_distribution<int> pick(0, 5), mille(0, 999);
  for (size_t i = 0; i < n; ++i)
    x[i] = mille(rng) < nan_per_mille ? std::numeric_limits<T>::quiet_NaN() : zero_alphabet[pick(rng)];
}

TYPED_TEST(MinMaxFloat, VariantsReproduceTheRuleWithNaNsAndSignedZeros) {
  using T = TypeParam;
  for_each_kernel_config([](const auto&) {
    std::mt19937 rng(11);
    for (size_t n : lengths())
      for (int nan_rate : {0, 5, 60}) {
        Buffer<T> x(n, n % 4);
        for (int rep = 0; rep < 4; ++rep) {
          fill_alphabet(x.data(), n, rng, nan_rate);
          // Positive-only data with one zero of each sign: the later wins,
          // wherever the two land relative to lanes and blocks.
          if (rep == 3) {
            for (size_t i = 0; i < n; ++i) x[i] = T(1 + i % 7);
            x[rng() % n] = T(-0.0);
            x[rng() % n] = T(0.0);
          }
          expect_rule(x.data(), n, "alphabet");
        }
      }
  });
}

TYPED_TEST(MinMaxFloat, ZerosOfBothSignsAroundTheLastNaN) {
  // Zeros before the last NaN must be forgotten: the lanes that saw them
  // have to start afresh after it.
  using T = TypeParam;
  for_each_kernel_config([](const auto&) {
    for (size_t n : {64, 65, 100, 257})
      for (size_t nan_at = 1; nan_at + 1 < n; nan_at += 7) {
        std::vector<T> x(n, T(5));
        x[0] = T(-0.0);
        x[nan_at - 1] = T(0.0);
        x[nan_at] = std::numeric_limits<T>::quiet_NaN();
        x[n - 1] = T(-0.0);
        x[(nan_at + n) / 2] = T(0.0);
        expect_rule(x.data(), n, "nan between zeros");
      }
  });
}

}  // namespace
