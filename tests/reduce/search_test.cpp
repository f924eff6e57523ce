// Index searches: every family and type in every kernel configuration
// against the element-by-element scan, from every start, with single hits
// planted at every offset (every lane, block seam and the overlapping last
// vector), thresholds at the ends of each type (where the vector kernels
// answer without reading), NaN as a never-matching distractor and the band's
// high-first argument order.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "common/buffers.h"
#include "common/kernel_configs.h"
#include "morvex-m.h"

namespace {

using morvex::test::Buffer;
using morvex::test::for_each_kernel_config;

template <class T> struct Fns;
#define MORVEX_SEARCH_FNS(T, S)                                                       \
  template <> struct Fns<T> {                                                         \
    static constexpr auto gte = morvex_m_index_gte_##S, gt = morvex_m_index_gt_##S;   \
    static constexpr auto lte = morvex_m_index_lte_##S, lt = morvex_m_index_lt_##S;   \
    static constexpr auto in = morvex_m_index_in_##S, out = morvex_m_index_out_##S;   \
    static constexpr auto max = morvex_m_index_max_##S, min = morvex_m_index_min_##S; \
  };
MORVEX_SEARCH_FNS(int16_t, i16) MORVEX_SEARCH_FNS(uint8_t, u8) MORVEX_SEARCH_FNS(uint16_t, u16)
MORVEX_SEARCH_FNS(float, f32) MORVEX_SEARCH_FNS(double, f64)
#undef MORVEX_SEARCH_FNS

template <class T>
struct Case {
  std::string name;
  std::function<int32_t(const T*, uint64_t, uint64_t*)> run;
  std::function<bool(T)> hit;
  std::vector<T> hits, misses;  // sample values that do and do not match
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
std::vector<Case<T>> cases() {
  using F = Fns<T>;
  const std::vector<T> t = thresholds<T>();
  std::vector<Case<T>> c;
  for (T l : t) {
    const std::string s = std::to_string(double(l));
    c.push_back({"gte " + s, [l](auto d, auto n, auto p) { return F::gte(d, n, l, p); }, [l](T x) { return x >= l; }});
    c.push_back({"gt " + s, [l](auto d, auto n, auto p) { return F::gt(d, n, l, p); }, [l](T x) { return x > l; }});
    c.push_back({"lte " + s, [l](auto d, auto n, auto p) { return F::lte(d, n, l, p); }, [l](T x) { return x <= l; }});
    c.push_back({"lt " + s, [l](auto d, auto n, auto p) { return F::lt(d, n, l, p); }, [l](T x) { return x < l; }});
  }
  // (high, low): ordinary, swapped, one value wide, the whole type, and
  // touching either end of the type.
  const std::pair<T, T> bands[] = {{T(10), T(1)}, {T(1), T(10)}, {T(1), T(1)}, {t[6], t[0]}, {t[0], t[6]},
                                   {t[5], t[1]},  {t[1], t[0]},  {t[6], t[5]}, {t[3], t[2]}};
  for (auto [h, l] : bands) {
    const std::string s = std::to_string(double(h)) + "," + std::to_string(double(l));
    c.push_back({"in " + s, [h, l](auto d, auto n, auto p) { return F::in(d, n, h, l, p); },
                 [h, l](T x) { return l <= x && x <= h; }});
    c.push_back({"out " + s, [h, l](auto d, auto n, auto p) { return F::out(d, n, h, l, p); },
                 [h, l](T x) { return x < l || x > h; }});
  }
  // Candidate samples: the thresholds, their integer neighbours, random
  // values, and for floats NaN (which must never match).
  std::vector<T> v = t;
  if constexpr (std::is_integral_v<T>)
    for (T x : t) v.push_back(T(x + 1)), v.push_back(T(x - 1));
  Buffer<T> r(64);
  morvex::test::fill_random(r.data(), 64, 99);
  v.insert(v.end(), r.begin(), r.end());
  for (Case<T>& k : c)
    for (T x : v) (k.hit(x) ? k.hits : k.misses).push_back(x);
  return c;
}

std::vector<size_t> lengths() {
  std::vector<size_t> v;
  for (size_t n = 0; n <= 40; ++n) v.push_back(n);
  for (size_t n : {63, 64, 65, 127, 128, 129, 143, 144, 145, 255, 256, 257, 300}) v.push_back(n);
  return v;
}

template <class T>
class Search : public ::testing::Test {};
using Types = ::testing::Types<int16_t, uint8_t, uint16_t, float, double>;
TYPED_TEST_SUITE(Search, Types);

TYPED_TEST(Search, SparseHitsFromEveryStart) {
  using T = TypeParam;
  for_each_kernel_config([](const auto&) {
    std::mt19937 rng(5);
    for (const Case<T>& c : cases<T>())
      for (size_t n : lengths()) {
        Buffer<T> x(n, n % 4);
        for (size_t i = 0; i < n; ++i) {
          const auto& pool = c.misses.empty() || (!c.hits.empty() && rng() % 40 == 0) ? c.hits : c.misses;
          x[i] = pool[rng() % pool.size()];
        }
        // The scan's answer per start, built from the end; the last two
        // starts (n + 1 and the largest u64) are past the end.
        std::vector<uint64_t> want(n + 3, n);
        for (size_t s = n; s-- > 0;) want[s] = c.hit(x[s]) ? s : want[s + 1];
        for (uint64_t s = 0; s <= n + 2; ++s) {
          uint64_t p = s == n + 2 ? ~uint64_t(0) : s;
          ASSERT_EQ(c.run(x.data(), n, &p), 0);
          ASSERT_EQ(p, want[s]) << c.name << ": n=" << n << " start=" << s;
        }
      }
  });
}

TYPED_TEST(Search, OneHitAtEveryOffset) {
  using T = TypeParam;
  for_each_kernel_config([](const auto&) {
    std::mt19937 rng(6);
    for (const Case<T>& c : cases<T>()) {
      if (c.hits.empty() || c.misses.empty()) continue;
      for (size_t n : lengths()) {
        Buffer<T> x(n, (n + 1) % 4);
        for (size_t i = 0; i < n; ++i) x[i] = c.misses[rng() % c.misses.size()];
        for (size_t at = 0; at < n; ++at) {
          const T keep = x[at];
          x[at] = c.hits[rng() % c.hits.size()];
          for (uint64_t s : {uint64_t(0), uint64_t(at / 2), uint64_t(at), uint64_t(at + 1)}) {
            uint64_t p = s;
            c.run(x.data(), n, &p);
            ASSERT_EQ(p, s <= at ? at : n) << c.name << ": n=" << n << " start=" << s;
          }
          x[at] = keep;
        }
      }
    }
  });
}

TYPED_TEST(Search, ExtremesBeatTheBarStrictly) {
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
      for (uint64_t s : {uint64_t(0), uint64_t(n / 3), uint64_t(n), uint64_t(n + 5)})
        for (bool is_max : {true, false}) {
          auto better = [is_max](T a, T b) { return is_max ? a > b : a < b; };
          uint64_t want = n, p = s;
          T best = bar, v = bar;
          for (uint64_t i = s; i < n; ++i)
            if (better(x[i], best)) best = x[i], want = i;
          ASSERT_EQ((is_max ? Fns<T>::max : Fns<T>::min)(x.data(), n, &p, &v), 0);
          ASSERT_EQ(p, want) << "n=" << n << " start=" << s;
          ASSERT_TRUE(morvex::test::same_bits(v, best)) << "n=" << n << " start=" << s;
        }
  }
}

TEST(SearchExamples, NaNIsNeitherInNorOutAndTheBarIsStrict) {
  const double d[] = {std::nan(""), 5};
  uint64_t p = 0;
  morvex_m_index_out_f64(d, 2, 1.0, 0.0, &p);
  EXPECT_EQ(p, 1u);
  const uint16_t u[] = {3, 7, 7, 2};
  uint16_t v = 0;
  p = 0;
  morvex_m_index_max_u16(u, 4, &p, &v);
  EXPECT_TRUE(p == 1 && v == 7);
  p = 0;
  morvex_m_index_max_u16(u, 4, &p, &v);  // the bar is now 7: nothing beats it
  EXPECT_TRUE(p == 4 && v == 7);
}

}  // namespace
