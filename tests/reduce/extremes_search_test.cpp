// SPDX-License-Identifier: MIT
// Extremes and index searches against their definitions, in every kernel
// configuration: the answer planted at every position (every lane, group
// seam and the overlapping last vector), from every kind of start, with
// thresholds at the ends of each type (where the vector kernels answer
// without reading) and NaN, which never matches and wipes out what came before.
#include <gtest/gtest.h>

#include <array>

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "common/buffers.h"
#include "common/variant_harness.h"

namespace {

using morvex::test::Buffer;
using morvex::test::for_each_kernel_config;
using morvex::test::same_bits;

template <class T> struct Fns;
#define MORVEX_REDUCE_FNS(T, S)                                                                                 \
  template <> struct Fns<T> {                                                                                   \
    static constexpr auto minmax = morvex_m_minmax_##S;                                                         \
  };
MORVEX_REDUCE_FNS(int8_t, i8) MORVEX_REDUCE_FNS(int32_t, i32) MORVEX_REDUCE_FNS(int64_t, i64)
MORVEX_REDUCE_FNS(uint32_t, u32) MORVEX_REDUCE_FNS(uint64_t, u64)
#undef MORVEX_REDUCE_FNS
#define MORVEX_REDUCE_FNS(T, S)                                                                                 \
  template <> struct Fns<T> {                                                                                   \
    static constexpr auto minmax = morvex_m_minmax_##S;                                                         \
    static constexpr auto gte = morvex_m_index_gte_##S, gt = morvex_m_index_gt_##S;                             \
    static constexpr auto lte = morvex_m_index_lte_##S, lt = morvex_m_index_lt_##S;                             \
    static constexpr auto in = morvex_m_index_in_##S, out = morvex_m_index_out_##S;                             \
    static constexpr auto max = morvex_m_index_max_##S, min = morvex_m_index_min_##S;                           \
  };
MORVEX_REDUCE_FNS(int16_t, i16) MORVEX_REDUCE_FNS(uint8_t, u8) MORVEX_REDUCE_FNS(uint16_t, u16)
MORVEX_REDUCE_FNS(float, f32) MORVEX_REDUCE_FNS(double, f64)
#undef MORVEX_REDUCE_FNS

// ---------------------------------------------------------------- extremes
// Both results and each alone against the running rule min = min < x ? min : x from x[0].
template <class T>
::testing::AssertionResult follows_the_rule(const T* x, size_t n) {
  T want_min = x[0], want_max = x[0];
  for (size_t i = 1; i < n; ++i) {
    want_min = want_min < x[i] ? want_min : x[i]; want_max = want_max > x[i] ? want_max : x[i];
  }
  T mn = T(1), mx = T(2), only_min = T(3), only_max = T(4);
  const int32_t st = Fns<T>::minmax(x, n, &mn, &mx) | Fns<T>::minmax(x, n, &only_min, nullptr) |
                     Fns<T>::minmax(x, n, nullptr, &only_max);
  if (st == 0 && same_bits(mn, want_min) && same_bits(mx, want_max) && same_bits(only_min, want_min) &&
      same_bits(only_max, want_max))
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "n " << n << ": min " << +mn << " / " << +only_min << " max " << +mx
                                       << " / " << +only_max << ", expected " << +want_min << " and " << +want_max;
}

template <class T>
class Extremes : public ::testing::Test {};
using AllTypes = ::testing::Types<int8_t, int16_t, int32_t, int64_t, uint8_t, uint16_t, uint32_t, uint64_t, float, double>;
TYPED_TEST_SUITE(Extremes, AllTypes);

TYPED_TEST(Extremes, PlantedAtEveryPositionInEveryConfiguration) {
  using T = TypeParam;
  constexpr T lo = std::numeric_limits<T>::lowest(), hi = std::numeric_limits<T>::max();
  constexpr size_t W = 64 / sizeof(T), group = 8 * W;  // the widest vector, the longest group
  std::vector<size_t> lengths{group - 1, group, group + 1, 2 * group + W + 3, 3 * group - 1, 4099};
  for (size_t n = 1; n <= 70; ++n) lengths.push_back(n);
  for_each_kernel_config([&](const auto&) {
    for (size_t n : lengths) {
      Buffer<T> x(n, n % W);
      morvex::test::fill_random(x.data(), n, uint32_t(n));  // floats: with NaN, infinities, zeros
      ASSERT_TRUE(follows_the_rule(x.data(), n));
      if (n > 1600) continue;
      for (T& v : x) v = (v == lo || v != v) ? T(1) : v == hi ? T(hi - 1) : v;
      for (size_t p = 0; p < n; p += n < 300 ? 1 : 5) {  // the minimum at p, the maximum elsewhere
        const size_t q = (p * 7 + 3) % n == p ? (p + 1) % n : (p * 7 + 3) % n; const T keep_p = x[p], keep_q = x[q];
        x[p] = lo, x[q] = q == p ? lo : hi;
        ASSERT_TRUE(follows_the_rule(x.data(), n)) << "minimum at " << p << ", maximum at " << q;
        x[p] = keep_p, x[q] = keep_q;
      }
    }
    T mn = 0, mx = 0; const T one = T(42);
    EXPECT_EQ(Fns<T>::minmax(&one, 0, &mn, &mx), 0);  // a count of 0 reports data[0] too
    EXPECT_TRUE(mn == T(42) && mx == T(42));
    EXPECT_EQ(Fns<T>::minmax(nullptr, 100, nullptr, nullptr), 0) << "nothing asked: nothing read";
  }, morvex::test::kBwVariant);
}

template <class T>
class FloatExtremes : public ::testing::Test {};
using FloatTypes = ::testing::Types<float, double>;
TYPED_TEST_SUITE(FloatExtremes, FloatTypes);

TYPED_TEST(FloatExtremes, NaNsAndSignedZeros) {
  using T = TypeParam;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  for_each_kernel_config([&](const auto&) {
    // A NaN wipes out what came before; a NaN last stays; -0 then +0 gives +0.
    const T a[] = {1, nan, 3}, b[] = {1, 3, nan}, z[] = {T(-0.0), T(0.0)};
    T mn, mx; Fns<T>::minmax(a, 3, &mn, &mx);
    EXPECT_TRUE(mn == 3 && mx == 3);
    Fns<T>::minmax(b, 3, &mn, &mx);
    EXPECT_TRUE(std::isnan(mn) && std::isnan(mx));
    Fns<T>::minmax(z, 2, &mn, &mx);
    EXPECT_FALSE(std::signbit(mn) || std::signbit(mx));
    // Tiny alphabets: ties of -0 and +0 everywhere and NaNs at random places,
    // so that what follows the last NaN and the sign of a zero extreme (the
    // minimum in the first, the maximum in the second) vary across lanes,
    // groups and the tail.
    std::mt19937 rng(11);
    for (const std::array<T, 4>& alphabet : {std::array<T, 4>{T(-0.0), T(0.0), T(1), T(2)},
                                             std::array<T, 4>{T(-0.0), T(0.0), T(-1), T(-2)}})
      for (size_t n = 1; n < 300; n += 1 + n / 16)
        for (int nan_rate : {0, 5, 60}) {
          Buffer<T> x(n, n % 4);
          for (T& v : x) v = int(rng() % 1000) < nan_rate ? nan : alphabet[rng() % 4];
          ASSERT_TRUE(follows_the_rule(x.data(), n));
        }
  });
}

// ---------------------------------------------------------------- searches
template <class T>
struct Case {
  std::string name; std::function<int32_t(const T*, uint64_t, uint64_t*)> run; std::function<bool(T)> hit;
  std::vector<T> hits, misses;  // sample values that do and do not match
};

template <class T>
std::vector<Case<T>> cases() {
  using F = Fns<T>;
  using L = std::numeric_limits<T>;
  std::vector<T> t;  // thresholds: the ends of the type and ordinary values
  if constexpr (std::is_integral_v<T>)
    t = {L::lowest(), T(L::lowest() + 1), T(0), T(1), T(L::max() / 2), T(L::max() - 1), L::max()};
  else
    t = {-L::infinity(), T(-1), T(0), T(0.5), L::max(), L::infinity(), L::quiet_NaN()};
  std::vector<Case<T>> c;
  auto add = [&](std::string name, auto run, auto hit) { c.push_back({std::move(name), run, hit, {}, {}}); };
  for (T l : t) {
    const std::string s = std::to_string(double(l));
    add("gte " + s, [l](auto d, auto n, auto p) { return F::gte(d, n, l, p); }, [l](T x) { return x >= l; });
    add("gt " + s, [l](auto d, auto n, auto p) { return F::gt(d, n, l, p); }, [l](T x) { return x > l; });
    add("lte " + s, [l](auto d, auto n, auto p) { return F::lte(d, n, l, p); }, [l](T x) { return x <= l; });
    add("lt " + s, [l](auto d, auto n, auto p) { return F::lt(d, n, l, p); }, [l](T x) { return x < l; });
  }
  // (high, low): ordinary, swapped, one value wide, the whole type, touching either end.
  const std::pair<T, T> bands[] = {{T(10), T(1)}, {T(1), T(10)}, {T(1), T(1)}, {t[6], t[0]}, {t[0], t[6]},
                                   {t[5], t[1]},  {t[1], t[0]},  {t[6], t[5]}, {t[3], t[2]}};
  for (auto [h, l] : bands) {
    const std::string s = std::to_string(double(h)) + "," + std::to_string(double(l));
    add("in " + s, [h, l](auto d, auto n, auto p) { return F::in(d, n, h, l, p); }, [h, l](T x) { return l <= x && x <= h; });
    add("out " + s, [h, l](auto d, auto n, auto p) { return F::out(d, n, h, l, p); }, [h, l](T x) { return x < l || x > h; });
  }
  // Candidate samples: the thresholds, their integer neighbours, random
  // values, and for floats NaN (which must never match).
  std::vector<T> v = t;
  if constexpr (std::is_integral_v<T>)
    for (T x : t) v.push_back(T(x + 1)), v.push_back(T(x - 1));
  std::vector<T> r(64); morvex::test::fill_random(r.data(), 64, 99); v.insert(v.end(), r.begin(), r.end());
  for (Case<T>& k : c)
    for (T x : v) (k.hit(x) ? k.hits : k.misses).push_back(x);
  return c;
}

template <class T>
class Search : public ::testing::Test {};
using SearchTypes = ::testing::Types<int16_t, uint8_t, uint16_t, float, double>;
TYPED_TEST_SUITE(Search, SearchTypes);

TYPED_TEST(Search, OneHitAtEveryOffsetFromEveryStart) {
  using T = TypeParam;
  std::vector<size_t> lengths;
  for (size_t n = 0; n <= 40; ++n) lengths.push_back(n);
  // Past one vector and one group of each kernel: the widest group is eight
  // 64-byte vectors.
  for (size_t n : {63, 64, 65, 127, 128, 129, 143, 144, 145, 255, 256, 257, 300, 511, 512, 513, 1100}) lengths.push_back(n);
  constexpr size_t B = 64 / sizeof(T);
  for_each_kernel_config([&](const auto&) {
    std::mt19937 rng(6);
    for (const Case<T>& c : cases<T>())
      for (size_t n : lengths) {
        // Every sample a miss, then one hit at each offset; where the
        // threshold leaves only hits or only misses, the record is all of them.
        const bool planted = !c.hits.empty() && !c.misses.empty();
        const auto& background = c.misses.empty() ? c.hits : c.misses; Buffer<T> x(n, (n + 1) % 4);
        for (T& v : x) v = background[rng() % background.size()];
        // Past 300, every offset near a 64-byte boundary and every fifth between.
        for (size_t at = 0; at < (planted ? n : 1); at += n <= 300 || at % B >= B - 8 || at % B < 2 ? 1 : 5) {
          const T keep = n ? x[at] : T(0);
          if (planted) x[at] = c.hits[rng() % c.hits.size()];
          for (uint64_t s : {uint64_t(0), uint64_t(at / 2), uint64_t(at), uint64_t(at + 1), uint64_t(n + 1), ~uint64_t(0)}) {
            const uint64_t want = s >= n ? n : planted ? (s <= at ? at : n) : c.misses.empty() ? s : n; uint64_t p = s;
            ASSERT_EQ(c.run(x.data(), n, &p), 0);
            ASSERT_EQ(p, want) << c.name << ": n " << n << ", hit at " << at << ", start " << s;
          }
          if (planted) x[at] = keep;
        }
      }
  }, morvex::test::kBwVariant);
}

TYPED_TEST(Search, ExtremesBeatTheBarStrictly) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  for_each_kernel_config([&](const auto&) {
    for (size_t n : {0, 1, 2, 17, 64, 300}) {
      std::vector<T> x(n); morvex::test::fill_random(x.data(), n, uint32_t(n));
      for (size_t i = 0; i + 1 < n; i += 5) x[i + 1] = x[i];  // equal extremes: the first must win
      std::vector<T> bars = {L::lowest(), T(0), L::max()};
      if (n) bars.push_back(x[n / 2]);
      if constexpr (!std::is_integral_v<T>) bars.push_back(-L::infinity()), bars.push_back(L::quiet_NaN());
      for (T bar : bars)
        for (uint64_t s : {uint64_t(0), uint64_t(n / 3), uint64_t(n), uint64_t(n + 5)})
          for (bool is_max : {true, false}) {
            uint64_t want = n, p = s; T best = bar, v = bar;
            for (uint64_t i = s; i < n; ++i)
              if (is_max ? x[i] > best : x[i] < best) best = x[i], want = i;
            ASSERT_EQ((is_max ? Fns<T>::max : Fns<T>::min)(x.data(), n, &p, &v), 0);
            ASSERT_TRUE(p == want && same_bits(v, best)) << "n " << n << ", start " << s << ", max " << is_max;
          }
    }
  }, morvex::test::kBwVariant);
}

// Records of 8 MiB and more go to the kernels that prefetch ahead: random
// values, each extreme planted before a third of the way and twice after it
// (the first must win), with a NaN after them; searched from the start and
// from a third of the way.
TEST(ExtremeSearch, FarRecords) {
  auto check = [](auto zero) {
    using T = decltype(zero);
    const size_t n = (8u << 20) / sizeof(T) + 3;
    std::vector<T> x(n); morvex::test::fill_random(x.data(), n, 5, false);
    for (const size_t at : {n / 3 - 5, 2 * n / 3 + 77, 2 * n / 3 + 79}) x[at] = T(1e30), x[at + 1] = T(-1e30);
    x[n - 2] = std::numeric_limits<T>::quiet_NaN();
    for_each_kernel_config([&](const auto&) {
      for (bool is_max : {true, false})
        for (uint64_t s : {uint64_t(0), uint64_t(n / 3)}) {
          uint64_t want = n, p = s; T best = is_max ? -INFINITY : INFINITY, v = best;
          for (uint64_t i = s; i < n; ++i)
            if (is_max ? x[i] > best : x[i] < best) best = x[i], want = i;
          ASSERT_EQ((is_max ? Fns<T>::max : Fns<T>::min)(x.data(), n, &p, &v), 0);
          ASSERT_TRUE(p == want && same_bits(v, best)) << sizeof(T) << "-byte, start " << s << ", max " << is_max;
        }
    });
  };
  check(0.0f), check(0.0);
}

// Extreme searches on short patterns repeated to lengths that reach every
// vector kernel's groups and chunks, and the kernel for records far beyond
// the caches: the answer stays in the first copy.
TEST(ExtremeSearch, CornerCases) {
  const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
  struct Row { const char* what; bool max; std::vector<float> pattern; uint64_t start; float bar; uint64_t at; float value; };
  const uint64_t none = ~uint64_t(0);  // count: not found, value left as the bar
  const Row rows[] = {
      {"first of equal maxima", true, {3, 7, 7, 2}, 0, 0, 1, 7},
      {"from a start past the first", true, {3, 7, 7, 2}, 2, 0, 2, 7},
      {"a bar equal to the maximum", true, {3, 7, 7, 2}, 0, 7, none, 7},
      {"all NaN", false, {nan, nan, nan}, 0, inf, none, inf},
      {"NaN never wins", true, {nan, 1, nan, 5, nan}, 0, -inf, 3, 5},
      {"a NaN bar", true, {1, 2, 3}, 0, nan, none, nan},
      {"the first zero keeps its sign", true, {-0.0f, 0.0f, -1}, 0, -inf, 0, -0.0f},
      {"a zero does not beat the other zero", false, {0.0f, -0.0f}, 0, 0.0f, none, 0.0f},
  };
  for_each_kernel_config([&](const auto&) {
    for (const Row& r : rows)
      for (size_t n : {r.pattern.size(), size_t(300), size_t(40000), size_t(1 << 21) + 5}) {  // the last 8 MiB
        std::vector<float> x(n);
        for (size_t i = 0; i < n; ++i) x[i] = r.pattern[i % r.pattern.size()];
        uint64_t p = r.start;
        float v = r.bar;
        (r.max ? morvex_m_index_max_f32 : morvex_m_index_min_f32)(x.data(), n, &p, &v);
        EXPECT_TRUE(p == (r.at == none ? n : r.at) && same_bits(v, r.value)) << r.what << ", n " << n << ": " << p << ", " << v;
      }
  });
}

}  // namespace
