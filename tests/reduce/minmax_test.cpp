// Extremes: every type and kernel configuration against the running rule,
// bit for bit, with the extreme planted at every position and with NaN and
// signed-zero inputs built to catch a vector kernel that combines its lanes
// in the wrong order.
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
using morvex::test::for_each_kernel_config;
using morvex::test::same_bits;

template <class T> struct MinMax;
#define MORVEX_MINMAX_FN(T, S) \
  template <> struct MinMax<T> { static constexpr auto fn = morvex_m_minmax_##S; };
MORVEX_MINMAX_FN(int8_t, i8) MORVEX_MINMAX_FN(int16_t, i16) MORVEX_MINMAX_FN(int32_t, i32)
MORVEX_MINMAX_FN(int64_t, i64) MORVEX_MINMAX_FN(uint8_t, u8) MORVEX_MINMAX_FN(uint16_t, u16)
MORVEX_MINMAX_FN(uint32_t, u32) MORVEX_MINMAX_FN(uint64_t, u64) MORVEX_MINMAX_FN(float, f32)
MORVEX_MINMAX_FN(double, f64)
#undef MORVEX_MINMAX_FN

// Both results, each alone, against min = (min < x) ? min : x from x[0].
template <class T>
void expect_rule(const T* x, size_t n) {
  T want_min = x[0], want_max = x[0];
  for (size_t i = 1; i < n; ++i) {
    want_min = want_min < x[i] ? want_min : x[i];
    want_max = want_max > x[i] ? want_max : x[i];
  }
  T mn = T(1), mx = T(2), only = T(3);
  ASSERT_EQ(MinMax<T>::fn(x, n, &mn, &mx), 0);
  ASSERT_TRUE(same_bits(mn, want_min) && same_bits(mx, want_max)) << "n=" << n << " min " << +mn << " max " << +mx;
  MinMax<T>::fn(x, n, &only, nullptr);
  ASSERT_TRUE(same_bits(only, want_min)) << "min only, n=" << n;
  MinMax<T>::fn(x, n, nullptr, &only);
  ASSERT_TRUE(same_bits(only, want_max)) << "max only, n=" << n;
}

std::vector<size_t> lengths() {
  std::vector<size_t> v;
  for (size_t n = 1; n <= 70; ++n) v.push_back(n);
  for (size_t n : {127, 128, 129, 257, 4099}) v.push_back(n);
  return v;
}

template <class T>
class MinMaxAll : public ::testing::Test {};
using AllTypes = ::testing::Types<int8_t, int16_t, int32_t, int64_t, uint8_t, uint16_t, uint32_t, uint64_t, float, double>;
TYPED_TEST_SUITE(MinMaxAll, AllTypes);

TYPED_TEST(MinMaxAll, RunningRuleEverywhere) {
  using T = TypeParam;
  const T one[1] = {T(42)};
  for_each_kernel_config([&](const auto&) {
    for (size_t n : lengths()) {
      Buffer<T> x(n, n % 3);
      morvex::test::fill_random(x.data(), n, uint32_t(n));  // floats: with NaN, infinities, zeros
      expect_rule(x.data(), n);
      for (size_t at = 0; at < n && n < 300; ++at) {  // each lane, vector and the overlapping tail
        const T keep = x[at];
        x[at] = std::numeric_limits<T>::lowest();
        expect_rule(x.data(), n);
        x[at] = std::numeric_limits<T>::max();
        expect_rule(x.data(), n);
        x[at] = keep;
      }
    }
    T mn = 0, mx = 0;
    MinMax<T>::fn(one, 0, &mn, &mx);  // count 0 reports data[0] too
    EXPECT_TRUE(mn == T(42) && mx == T(42));
    EXPECT_EQ(MinMax<T>::fn(nullptr, 100, nullptr, nullptr), 0);  // nothing asked: nothing read
  });
}

// The 8- and 16-bit kernels read whole vectors of 16 or 32 bytes in groups
// of four or eight, from the first vector boundary on, and finish with a
// vector that overlaps the previous ones. Lengths around one and two groups, every kind
// of start within a 32-byte vector, and the extremes planted at every
// position (the minimum at p, the maximum elsewhere) over full-range random
// background, whose pairwise sums wrap.
template <class T>
class MinMaxSmallIntegers : public ::testing::Test {};
using SmallIntegerTypes = ::testing::Types<uint8_t, uint16_t, int16_t>;
TYPED_TEST_SUITE(MinMaxSmallIntegers, SmallIntegerTypes);

TYPED_TEST(MinMaxSmallIntegers, GroupSeamsTailsAndStarts) {
  using T = TypeParam;
  constexpr T lo = std::numeric_limits<T>::lowest(), hi = std::numeric_limits<T>::max();
  constexpr size_t W = 32 / sizeof(T), group = 8 * W;  // the widest vector, the longest group
  for_each_kernel_config([&](const auto&) {
    for (size_t off : {size_t(0), size_t(1), W / 2 - 1, W - 1})
      for (size_t n : {W - 1, W, W + 1, group - 1, group, group + 1, 2 * group + W + 3, 3 * group - 1}) {
        Buffer<T> x(n, off);
        morvex::test::fill_random(x.data(), n, uint32_t(n * 131 + off));
        for (T& v : x) v = v == lo ? T(lo + 1) : v == hi ? T(hi - 1) : v;
        for (size_t p = 0; p < n; ++p) {
          const size_t q = (p * 7 + 3) % n == p ? (p + 1) % n : (p * 7 + 3) % n;
          const T keep_p = x[p], keep_q = x[q];
          x[p] = lo;
          if (q != p) x[q] = hi;
          T mn = 1, mx = 1, only = 1;
          MinMax<T>::fn(x.data(), n, &mn, &mx);
          ASSERT_EQ(mn, lo) << "n=" << n << " off=" << off << " min at " << p;
          if (q != p) {
            ASSERT_EQ(mx, hi) << "n=" << n << " off=" << off << " max at " << q;
          }
          MinMax<T>::fn(x.data(), n, &only, nullptr);
          ASSERT_EQ(only, lo) << "min only, n=" << n << " at " << p;
          if (q != p) {
            MinMax<T>::fn(x.data(), n, nullptr, &only);
            ASSERT_EQ(only, hi) << "max only, n=" << n << " at " << q;
          }
          x[p] = keep_p;
          x[q] = keep_q;
        }
      }
  });
}

template <class T>
class MinMaxFloat : public ::testing::Test {};
using FloatTypes = ::testing::Types<float, double>;
TYPED_TEST_SUITE(MinMaxFloat, FloatTypes);

TYPED_TEST(MinMaxFloat, NaNsAndSignedZeros) {
  using T = TypeParam;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  for_each_kernel_config([&](const auto&) {
    T mn, mx;
    const T a[] = {1, nan, 3}, b[] = {1, 3, nan}, z[] = {T(-0.0), T(0.0)};
    MinMax<T>::fn(a, 3, &mn, &mx);
    EXPECT_TRUE(mn == 3 && mx == 3);  // the NaN wiped out the 1
    MinMax<T>::fn(b, 3, &mn, &mx);
    EXPECT_TRUE(std::isnan(mn) && std::isnan(mx));
    MinMax<T>::fn(z, 2, &mn, &mx);
    EXPECT_FALSE(std::signbit(mn) || std::signbit(mx));

    // A tiny alphabet: ties of -0 and +0 everywhere and NaNs at random
    // places, so that the suffix after the last NaN and the sign of a zero
    // extreme vary across lanes, blocks and the tail.
    std::mt19937 rng(11);
    const T alphabet[] = {T(-0.0), T(0.0), T(1), T(2)};
    for (size_t n : lengths())
      for (int nan_rate : {0, 5, 60}) {
        Buffer<T> x(n, n % 4);
        for (size_t i = 0; i < n; ++i) x[i] = int(rng() % 1000) < nan_rate ? nan : alphabet[rng() % 4];
        expect_rule(x.data(), n);
        for (size_t i = 0; i < n; ++i) x[i] = T(1 + i % 7);  // one zero of each sign, anywhere
        x[rng() % n] = T(-0.0);
        x[rng() % n] = T(0.0);
        expect_rule(x.data(), n);
      }
    // Zeros before the last NaN must be forgotten by the lanes that saw them.
    for (size_t n : {64, 65, 257})
      for (size_t at = 1; at + 1 < n; at += 7) {
        std::vector<T> x(n, T(5));
        x[0] = T(-0.0);
        x[at - 1] = T(0.0);
        x[at] = nan;
        x[n - 1] = T(-0.0);
        x[(at + n) / 2] = T(0.0);
        expect_rule(x.data(), n);
      }
  });
}

}  // namespace
