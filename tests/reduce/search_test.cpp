// Index searches: every family and type in every kernel configuration
// against the element-by-element scan, from every start position, with
// single hits planted at every offset (so every lane, vector, block seam and
// the overlapping last vector must find them), thresholds at the ends of
// each type (where the vector kernels answer without reading), NaN as a
// never-matching distractor and the band's high-first argument order.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "common/buffers.h"
#include "common/kernel_configs.h"
#include "common/reduce_refs.h"
#include "morvex-m.h"

namespace {

using morvex::test::Buffer;
using morvex::test::first_hit;
using morvex::test::for_each_kernel_config;

template <class T>
struct Fns;
#define MORVEX_SEARCH_FNS(T, S)                                                       \
  template <> struct Fns<T> {                                                         \
    static constexpr auto gte = morvex_m_index_gte_##S, gt = morvex_m_index_gt_##S;   \
    static constexpr auto lte = morvex_m_index_lte_##S, lt = morvex_m_index_lt_##S;   \
    static constexpr auto in = morvex_m_index_in_##S, out = morvex_m_index_out_##S;   \
    static constexpr auto max = morvex_m_index_max_##S, min = morvex_m_index_min_##S; \
  };
MORVEX_SEARCH_FNS(int16_t, i16)
MORVEX_SEARCH_FNS(uint8_t, u8)
MORVEX_SEARCH_FNS(uint16_t, u16)
MORVEX_SEARCH_FNS(float, f32)
MORVEX_SEARCH_FNS(double, f64)
#undef MORVEX_SEARCH_FNS

template <class T>
struct Case {
  std::string name;
  std::function<int32_t(const T*, uint64_t, uint64_t*)> run;
  std::function<bool(T)> hit;
};

template <class T>
std::vector<T> thresholds() {
  using L = std::numeric_limits<T>;
  if constexpr (std::is_integral_v<T>)
    return {L::lowest(), T(L::lowest() + 1), T(0), T(1), T(L::max() / 2), T(L::max() - 1), L::max()};
  else
    return {-L::infinity(), T(-1), T(0), T(0.5), L::max(), L::infinity(), L::quiet_NaN()};
}

template <class T>
std::string str(T v) {
  if constexpr (std::is_integral_v<T>) return std::to_string(int64_t(v));
  else return std::to_string(double(v));
}

template <class T>
std::vector<Case<T>> cases() {
  using F = Fns<T>;
  std::vector<Case<T>> c;
  for (T l : thresholds<T>()) {
    c.push_back({"gte " + str(l), [l](auto d, auto n, auto p) { return F::gte(d, n, l, p); },
                 [l](T x) { return x >= l; }});
    c.push_back({"gt " + str(l), [l](auto d, auto n, auto p) { return F::gt(d, n, l, p); },
                 [l](T x) { return x > l; }});
    c.push_back({"lte " + str(l), [l](auto d, auto n, auto p) { return F::lte(d, n, l, p); },
                 [l](T x) { return x <= l; }});
    c.push_back({"lt " + str(l), [l](auto d, auto n, auto p) { return F::lt(d, n, l, p); },
                 [l](T x) { return x < l; }});
  }
  // Bands as (high, low): ordinary, swapped, one value wide, the whole type,
  // touching either end of the type.
  const std::vector<T> t = thresholds<T>();
  const std::pair<T, T> bands[] = {{T(10), T(1)},  {T(1), T(10)},        {T(1), T(1)},      {t[6], t[0]},
                                   {t[0], t[6]},   {t[5], t[1]},         {t[1], t[0]},      {t[6], t[5]},
                                   {t[3], t[2]},   {T(t[4] / 2), t[2]}};
  for (auto [h, l] : bands) {
    c.push_back({"in " + str(h) + "," + str(l), [h, l](auto d, auto n, auto p) { return F::in(d, n, h, l, p); },
                 [h, l](T x) { return l <= x && x <= h; }});
    c.push_back({"out " + str(h) + "," + str(l), [h, l](auto d, auto n, auto p) { return F::out(d, n, h, l, p); },
                 [h, l](T x) { return x < l || x > h; }});
  }
  return c;
}

// Sample values that do and do not meet a case's condition: the thresholds
// and their neighbours, random values, and NaN for floats (never a hit).
template <class T>
void pools(const Case<T>& c, std::vector<T>& hits, std::vector<T>& misses) {
  std::vector<T> v = thresholds<T>();
  for (T t : thresholds<T>())
    if constexpr (std::is_integral_v<T>) {
      v.push_back(T(t + 1));
      v.push_back(T(t - 1));
    }
  Buffer<T> r(64);
  morvex::test::fill_random(r.data(), 64, 99);
  v.insert(v.end(), r.begin(), r.end());
  for (T x : v) (c.hit(x) ? hits : misses).push_back(x);
}

std::vector<size_t> lengths() {
  std::vector<size_t> v;
  for (size_t n = 0; n <= 40; ++n) v.push_back(n);
  for (size_t n : {63, 64, 65, 127, 128, 129, 130, 143, 144, 145, 255, 256, 257, 300}) v.push_back(n);
  return v;
}

template <class T>
void check_all_starts(const Case<T>& c, const Buffer<T>& x, size_t n) {
  uint64_t next = n;  // reference, built from the end
  std::vector<uint64_t> want(n + 1, n);
  for (size_t s = n; s-- > 0;) want[s] = next = c.hit(x[s]) ? s : next;
  for (uint64_t s : std::vector<uint64_t>{n + 1, ~uint64_t(0)}) {
    uint64_t p = s;
    ASSERT_EQ(c.run(x.data(), n, &p), 0);
    ASSERT_EQ(p, n) << c.name << ": start " << s << " past count " << n;
  }
  for (size_t s = 0; s <= n; ++s) {
    uint64_t p = s;
    ASSERT_EQ(c.run(x.data(), n, &p), 0);
    ASSERT_EQ(p, want[s]) << c.name << ": n=" << n << " start=" << s;
  }
}

template <class T>
class Search : public ::testing::Test {};
using Types = ::testing::Types<int16_t, uint8_t, uint16_t, float, double>;
TYPED_TEST_SUITE(Search, Types);

TYPED_TEST(Search, SparseRandomHitsFromEveryStart) {
  using T = TypeParam;
  for_each_kernel_config([](const auto&) {
    std::mt19937 rng(5);
    for (const Case<T>& c : cases<T>()) {
      std::vector<T> hits, misses;
      pools(c, hits, misses);
      for (size_t n : lengths()) {
        Buffer<T> x(n, n % 4);
        for (size_t i = 0; i < n; ++i) {
          const bool hit = misses.empty() || (!hits.empty() && rng() % 40 == 0);
          const auto& pool = hit ? hits : misses;
          x[i] = pool[rng() % pool.size()];
        }
        check_all_starts(c, x, n);
      }
    }
  });
}

TYPED_TEST(Search, OneHitAtEveryOffset) {
  using T = TypeParam;
  for_each_kernel_config([](const auto&) {
    std::mt19937 rng(6);
    for (const Case<T>& c : cases<T>()) {
      std::vector<T> hits, misses;
      pools(c, hits, misses);
      if (hits.empty() || misses.empty()) continue;
      for (size_t n : lengths()) {
        Buffer<T> x(n, (n + 1) % 4);
        for (size_t i = 0; i < n; ++i) x[i] = misses[rng() % misses.size()];
        uint64_t p = 0;
        c.run(x.data(), n, &p);
        ASSERT_EQ(p, n) << c.name << ": no hit, n=" << n;
        for (size_t at = 0; at < n; ++at) {
          const T keep = x[at];
          x[at] = hits[rng() % hits.size()];
          for (uint64_t s : {uint64_t(0), uint64_t(at / 2), uint64_t(at)}) {
            p = s;
            c.run(x.data(), n, &p);
            ASSERT_EQ(p, at) << c.name << ": n=" << n << " start=" << s;
          }
          p = at + 1;
          c.run(x.data(), n, &p);
          ASSERT_EQ(p, n) << c.name << ": start after the only hit, n=" << n;
          x[at] = keep;
        }
      }
    }
  });
}

TEST(SearchExamples, DocumentedCases) {
  for_each_kernel_config([](const auto&) {
    const float f[] = {1, 2, 3};
    uint64_t p = 0;
    morvex_m_index_gte_f32(f, 3, 2.0f, &p);
    EXPECT_EQ(p, 1u);
    p = 2;
    morvex_m_index_gte_f32(f, 3, 2.0f, &p);
    EXPECT_EQ(p, 2u);
    p = 0;
    morvex_m_index_gte_f32(f, 3, 4.0f, &p);
    EXPECT_EQ(p, 3u);

    const int16_t s[] = {0, 11, -11, -10, 3, 10};
    p = 0;
    morvex_m_index_in_i16(s, 6, 10, -10, &p);  // high first
    EXPECT_EQ(p, 0u);
    p = 1;
    morvex_m_index_in_i16(s, 6, 10, -10, &p);
    EXPECT_EQ(p, 3u);  // -10 is inside: both bounds inclusive
    p = 5;
    morvex_m_index_in_i16(s, 6, 10, -10, &p);
    EXPECT_EQ(p, 5u);
    p = 0;
    morvex_m_index_in_i16(s, 6, -10, 10, &p);  // swapped: an empty band
    EXPECT_EQ(p, 6u);

    const double d[] = {std::nan(""), 5};
    p = 0;
    morvex_m_index_out_f64(d, 2, 1.0, 0.0, &p);
    EXPECT_EQ(p, 1u);

    // The u8 and u16 band kernels share the argument order.
    const uint8_t b[] = {9, 200, 50, 7};
    p = 0;
    morvex_m_index_in_u8(b, 4, 60, 8, &p);
    EXPECT_EQ(p, 0u);
    p = 0;
    morvex_m_index_out_u8(b, 4, 60, 8, &p);
    EXPECT_EQ(p, 1u);
  });
}

template <class T, class Better>
void expect_extreme(int32_t (*fn)(const T*, uint64_t, uint64_t*, T*), const T* x, uint64_t n, uint64_t start,
                    T bar, Better better) {
  uint64_t want = n;
  T best = bar;
  for (uint64_t i = start; i < n; ++i)
    if (better(x[i], best)) best = x[i], want = i;
  uint64_t p = start;
  T v = bar;
  ASSERT_EQ(fn(x, n, &p, &v), 0);
  ASSERT_EQ(p, start >= n ? n : want) << "n=" << n << " start=" << start;
  ASSERT_TRUE(morvex::test::same_bits(v, want == n ? bar : best)) << "n=" << n << " start=" << start;
}

TYPED_TEST(Search, ExtremesAgainstTheStrictBar) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  for (size_t n : {0, 1, 2, 17, 64, 300}) {
    Buffer<T> x(n);
    morvex::test::fill_random(x.data(), n, uint32_t(n));
    for (size_t i = 0; i + 1 < n; i += 5) x[i + 1] = x[i];  // equal extremes: the first must win
    std::vector<T> bars = {L::lowest(), T(0), L::max()};
    if (n) bars.push_back(x[n / 2]);
    if constexpr (!std::is_integral_v<T>) bars.push_back(-L::infinity()), bars.push_back(L::quiet_NaN());
    for (T bar : bars)
      for (uint64_t s : {uint64_t(0), uint64_t(n / 3), uint64_t(n), uint64_t(n + 5)}) {
        expect_extreme(Fns<T>::max, x.data(), n, s, bar, [](T a, T b) { return a > b; });
        expect_extreme(Fns<T>::min, x.data(), n, s, bar, [](T a, T b) { return a < b; });
      }
  }
}

TEST(SearchExamples, ExtremeBarIsStrict) {
  const uint16_t u[] = {3, 7, 7, 2};
  uint64_t p = 0;
  uint16_t v = 0;
  morvex_m_index_max_u16(u, 4, &p, &v);
  EXPECT_EQ(p, 1u);
  EXPECT_EQ(v, 7);
  p = 0;
  morvex_m_index_max_u16(u, 4, &p, &v);  // the bar is now 7: nothing beats it
  EXPECT_EQ(p, 4u);
  EXPECT_EQ(v, 7);
  const float nans[] = {NAN, NAN, NAN};
  float f = INFINITY;
  p = 0;
  morvex_m_index_min_f32(nans, 3, &p, &f);
  EXPECT_EQ(p, 3u);
  EXPECT_EQ(f, INFINITY);
}

}  // namespace
