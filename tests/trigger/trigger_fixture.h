// SPDX-License-Identifier: MIT
// What the trigger tests share: the exports per element type, a walker that
// runs a trigger over a record cut into blocks exactly as a caller would,
// random plateau signals that sit exactly on the levels (and the same with
// NaNs slipped in), the documented time condition and a comparison of hits.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "morvex-m.h"

namespace morvex::test::trigger {

template <class T>
struct Fns;
#define MORVEX_TRIGGER_FNS(T, S)                                                                                   \
  template <>                                                                                                      \
  struct Fns<T> {                                                                                                  \
    static constexpr auto rising = morvex_m_trigger_edge_rising_##S, falling = morvex_m_trigger_edge_falling_##S;   \
    static constexpr auto any = morvex_m_trigger_edge_any_##S, inside = morvex_m_trigger_window_inside_##S;         \
    static constexpr auto outside = morvex_m_trigger_window_outside_##S, enter = morvex_m_trigger_window_enter_##S; \
    static constexpr auto exit = morvex_m_trigger_window_exit_##S, interval_pos = morvex_m_trigger_interval_positive_##S; \
    static constexpr auto interval_neg = morvex_m_trigger_interval_negative_##S;                                    \
    static constexpr auto pulse_pos = morvex_m_trigger_pulse_width_positive_##S;                                    \
    static constexpr auto pulse_neg = morvex_m_trigger_pulse_width_negative_##S;                                    \
    static constexpr auto runt_pos = morvex_m_trigger_runt_pulse_positive_##S;                                      \
    static constexpr auto runt_neg = morvex_m_trigger_runt_pulse_negative_##S, runt_any = morvex_m_trigger_runt_pulse_any_##S; \
  };
MORVEX_TRIGGER_FNS(int16_t, i16) MORVEX_TRIGGER_FNS(uint8_t, u8) MORVEX_TRIGGER_FNS(uint16_t, u16)
MORVEX_TRIGGER_FNS(float, f32) MORVEX_TRIGGER_FNS(double, f64)
#undef MORVEX_TRIGGER_FNS
using Types = ::testing::Types<int16_t, uint8_t, uint16_t, float, double>;
using FloatTypes = ::testing::Types<float, double>;

// A trigger with its levels bound: (block, count, position, state handle).
// Window inside fires on the sample it stands on (and outside is a plain
// search): the caller steps past each hit; every other trigger is called
// again from the hit itself.
template <class T>
struct Trigger {
  std::function<int32_t(const T*, uint64_t, uint64_t*, void**)> call; bool step_past_hit = false;
};

// Runs the trigger over x cut into consecutive blocks of the given lengths,
// as a caller would: position 0 at each block, again after every hit. The
// absolute trigger indices; a failure (and the block's end) on a non-zero
// status, a position past the block, or a hit that does not move forward.
template <class T>
std::vector<uint64_t> walk(const Trigger<T>& trigger, const T* x, const std::vector<uint64_t>& blocks) {
  std::vector<uint64_t> hits; void* state = nullptr; uint64_t base = 0;
  for (const uint64_t len : blocks) {
    for (uint64_t p = 0;; p += trigger.step_past_hit) {
      const int32_t status = trigger.call(x + base, len, &p, &state);
      if (status != 0 || p > len || (p < len && !hits.empty() && hits.back() >= base + p)) {
        ADD_FAILURE() << "status " << status << ", position " << p << " in a block of " << len << " at " << base; break;
      }
      if (p == len) break;
      hits.push_back(base + p);
    }
    base += len;
  }
  morvex_m_state_free(&state);
  EXPECT_EQ(state, nullptr);
  return hits;
}

// Random block lengths covering n: mostly 1 to 300 samples, now and then empty.
inline std::vector<uint64_t> random_blocks(uint64_t n, uint32_t seed) {
  std::mt19937 rng(seed); std::vector<uint64_t> blocks;
  for (uint64_t done = 0; done < n; done += blocks.back())
    blocks.push_back(rng() % 20 ? std::min<uint64_t>(1 + rng() % 300, n - done) : 0);
  return blocks;
}

// Seventeen increasing values per type: the four levels L0 < L1 < L2 < L3
// (at indices 2, 6, 10, 14), one step (one unit, one ulp) on either side of
// each, a value between neighbouring levels and the two ends of the type.
// The u8 and u16 levels straddle the middle of the type, where a signed
// comparison would go wrong; the i16 ones straddle zero.
template <class T>
std::array<T, 17> palette() {
  using L = std::numeric_limits<T>;
  std::array<T, 4> level = {T(-2.5), T(-0.5), T(0.75), T(3)};
  if constexpr (std::is_same_v<T, uint8_t>) level = {20, 100, 140, 230};
  if constexpr (std::is_same_v<T, int16_t>) level = {-3000, -5, 5, 3000};
  if constexpr (std::is_same_v<T, uint16_t>) level = {1000, 30000, 40000, 65000};
  auto step = [](T v, int dir) {
    if constexpr (std::is_floating_point_v<T>) return std::nextafter(v, dir * L::infinity());
    else return T(v + dir);
  };
  std::array<T, 17> p{};
  p[0] = L::has_infinity ? -L::infinity() : L::lowest(), p[16] = L::has_infinity ? L::infinity() : L::max();
  for (int k = 0; k < 4; ++k) {
    p[1 + 4 * k] = step(level[k], -1), p[2 + 4 * k] = level[k], p[3 + 4 * k] = step(level[k], +1);
    if (k < 3) p[4 + 4 * k] = T(level[k] / 2 + level[k + 1] / 2);
  }
  return p;
}
template <class T>
T level(int k) { return palette<T>()[2 + 4 * k]; }

// n samples in plateaus of one palette value, mostly 1 to 4 samples long and
// now and then up to 40: levels met exactly, crossed in one sample, held a while.
template <class T>
std::vector<T> plateau_signal(size_t n, uint32_t seed) {
  std::mt19937 rng(seed); std::vector<T> x;
  while (x.size() < n) x.resize(std::min(n, x.size() + (rng() % 4 ? 1 + rng() % 4 : 1 + rng() % 40)), palette<T>()[rng() % 17]);
  return x;
}

// The same samples with NaNs slipped in (about one in twenty, never first);
// original[i] is the index in the result of sample i of x.
template <class T>
std::vector<T> with_nans(const std::vector<T>& x, uint32_t seed, std::vector<uint64_t>& original) {
  std::mt19937 rng(seed); std::vector<T> y;
  for (size_t i = 0; i < x.size(); ++i) {
    while (i > 0 && rng() % 20 == 0) y.push_back(std::numeric_limits<T>::quiet_NaN());
    original.push_back(y.size()); y.push_back(x[i]);
  }
  return y;
}

// The documented time condition on t = at - from (32-bit).
struct When {
  uint32_t mode, t1, t2;
  bool holds(uint32_t t) const {
    return mode == 0 || (mode == 1 && t < t1) || (mode == 2 && t > t1) || (mode == 3 && t1 <= t && t <= t2) ||
           (mode == 4 && (t < t1 || t > t2));
  }
};

// Compares trigger indices, naming the first difference.
inline ::testing::AssertionResult same_hits(const std::vector<uint64_t>& got, const std::vector<uint64_t>& want) {
  size_t k = 0;
  while (k < got.size() && k < want.size() && got[k] == want[k]) ++k;
  if (k == got.size() && k == want.size()) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << got.size() << " hits, expected " << want.size() << "; hit #" << k << " is "
                                       << (k < got.size() ? std::to_string(got[k]) : "missing") << ", expected "
                                       << (k < want.size() ? std::to_string(want[k]) : "none");
}

}  // namespace morvex::test::trigger
