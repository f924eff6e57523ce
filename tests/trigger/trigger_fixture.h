// What the trigger tests share: the exports per element type, a walker that
// runs a trigger over a record cut into blocks exactly as a caller would,
// random plateau signals that sit exactly on the levels, and oracles that say
// where a trigger must fire from what it is for (the first crossing after an
// excursion, a pulse and its width, a runt and its width), each in a closed
// form over the whole record rather than as a state machine.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "morvex-m.h"

namespace morvex::test::trigger {

template <class T>
struct Fns;
#define MORVEX_TRIGGER_FNS(T, S)                                                                                 \
  template <>                                                                                                    \
  struct Fns<T> {                                                                                                \
    static constexpr auto rising = morvex_m_trigger_edge_rising_##S, falling = morvex_m_trigger_edge_falling_##S; \
    static constexpr auto any = morvex_m_trigger_edge_any_##S, inside = morvex_m_trigger_window_inside_##S;       \
    static constexpr auto outside = morvex_m_trigger_window_outside_##S, enter = morvex_m_trigger_window_enter_##S; \
    static constexpr auto exit = morvex_m_trigger_window_exit_##S;                                                \
    static constexpr auto interval_pos = morvex_m_trigger_interval_positive_##S;                                  \
    static constexpr auto interval_neg = morvex_m_trigger_interval_negative_##S;                                  \
    static constexpr auto pulse_pos = morvex_m_trigger_pulse_width_positive_##S;                                  \
    static constexpr auto pulse_neg = morvex_m_trigger_pulse_width_negative_##S;                                  \
    static constexpr auto runt_pos = morvex_m_trigger_runt_pulse_positive_##S;                                    \
    static constexpr auto runt_neg = morvex_m_trigger_runt_pulse_negative_##S, runt_any = morvex_m_trigger_runt_pulse_any_##S; \
  };
MORVEX_TRIGGER_FNS(int16_t, i16)
MORVEX_TRIGGER_FNS(uint8_t, u8)
MORVEX_TRIGGER_FNS(uint16_t, u16)
MORVEX_TRIGGER_FNS(float, f32)
MORVEX_TRIGGER_FNS(double, f64)
#undef MORVEX_TRIGGER_FNS

using Types = ::testing::Types<int16_t, uint8_t, uint16_t, float, double>;
using FloatTypes = ::testing::Types<float, double>;

// A trigger with its levels bound: (block, count, position, state handle).
template <class T>
struct Trigger {
  std::function<int32_t(const T*, uint64_t, uint64_t*, void**)> call;
  // Window inside fires on the sample it stands on (and outside is a plain
  // search): the caller steps past each hit. Every other trigger is called
  // again from the hit itself.
  bool step_past_hit = false;
};

// ---------------------------------------------------------------- walking a record
// Runs the trigger over x cut into consecutive blocks of the given lengths,
// position 0 at the start of each block, calling again after every hit, and
// returns the absolute trigger indices. Fails (and stops the block) on a
// non-zero status, a position past the block, or a hit that does not move
// forward.
template <class T>
std::vector<uint64_t> walk(const Trigger<T>& trigger, const T* x, const std::vector<uint64_t>& blocks) {
  std::vector<uint64_t> hits;
  void* state = nullptr;
  uint64_t base = 0;
  for (const uint64_t len : blocks) {
    for (uint64_t p = 0;;) {
      const int32_t status = trigger.call(x + base, len, &p, &state);
      if (status != 0 || p > len) {
        ADD_FAILURE() << "status " << status << ", position " << p << " in a block of " << len << " at " << base;
        break;
      }
      if (p == len) break;
      if (!hits.empty() && hits.back() >= base + p) {
        ADD_FAILURE() << "hit " << base + p << " after hit " << hits.back();
        break;
      }
      hits.push_back(base + p);
      if (trigger.step_past_hit) ++p;
    }
    base += len;
  }
  morvex_m_state_free(&state);
  EXPECT_EQ(state, nullptr);
  return hits;
}

// Random block lengths covering n: mostly 1 to 300 samples, now and then an
// empty block.
inline std::vector<uint64_t> random_blocks(uint64_t n, uint32_t seed) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<uint64_t> len(1, 300);
  std::vector<uint64_t> blocks;
  for (uint64_t done = 0; done < n;) {
    const uint64_t l = rng() % 20 == 0 ? 0 : std::min(len(rng), n - done);
    blocks.push_back(l);
    done += l;
  }
  return blocks;
}

// ---------------------------------------------------------------- signals
// Seventeen increasing values per type: the four levels L0 < L1 < L2 < L3
// (at indices 2, 6, 10, 14), one step (one unit, one ulp) on either side of
// each, a value between neighbouring levels and the two ends of the type.
// The u8 and u16 levels straddle the middle of the type, where a signed
// comparison would go wrong; the i16 ones straddle zero.
template <class T>
std::array<T, 17> palette() {
  using L = std::numeric_limits<T>;
  std::array<T, 4> level;
  if constexpr (std::is_same_v<T, uint8_t>)
    level = {20, 100, 140, 230};
  else if constexpr (std::is_same_v<T, int16_t>)
    level = {-3000, -5, 5, 3000};
  else if constexpr (std::is_same_v<T, uint16_t>)
    level = {1000, 30000, 40000, 65000};
  else
    level = {T(-2.5), T(-0.5), T(0.75), T(3)};
  auto step = [](T v, int dir) {
    if constexpr (std::is_floating_point_v<T>) return std::nextafter(v, dir * L::infinity());
    else return T(v + dir);
  };
  std::array<T, 17> p{};
  p[0] = L::has_infinity ? -L::infinity() : L::lowest();
  p[16] = L::has_infinity ? L::infinity() : L::max();
  for (int k = 0; k < 4; ++k) {
    p[1 + 4 * k] = step(level[k], -1);
    p[2 + 4 * k] = level[k];
    p[3 + 4 * k] = step(level[k], +1);
    if (k < 3) p[4 + 4 * k] = T(level[k] / 2 + level[k + 1] / 2);
  }
  return p;
}

template <class T>
T level(int k) {
  return palette<T>()[2 + 4 * k];
}

// n samples in plateaus: runs of one palette value, mostly 1 to 4 samples
// long and now and then up to 40, so that levels are met exactly, crossed
// in one sample, and held for a while.
template <class T>
std::vector<T> plateau_signal(size_t n, uint32_t seed) {
  const auto values = palette<T>();
  std::mt19937 rng(seed);
  std::vector<T> x;
  x.reserve(n);
  while (x.size() < n) {
    const T v = values[rng() % values.size()];
    const size_t run = rng() % 4 ? 1 + rng() % 4 : 1 + rng() % 40;
    for (size_t r = 0; r < run && x.size() < n; ++r) x.push_back(v);
  }
  return x;
}

// The same samples with NaNs slipped in (about one in twenty, never first);
// `original[i]` is the index in the result of sample i of x.
template <class T>
std::vector<T> with_nans(const std::vector<T>& x, uint32_t seed, std::vector<uint64_t>& original) {
  std::mt19937 rng(seed);
  std::vector<T> y;
  original.clear();
  for (size_t i = 0; i < x.size(); ++i) {
    while (i > 0 && rng() % 20 == 0) y.push_back(std::numeric_limits<T>::quiet_NaN());
    original.push_back(y.size());
    y.push_back(x[i]);
  }
  return y;
}

// ---------------------------------------------------------------- oracles
// An event is a trigger sample with the sample its time is measured from
// (itself for the untimed triggers).
struct Event {
  uint64_t at, from;
};

// Crossings with hysteresis (edges, window entries): e is a trigger when
// fire(x[e]) holds and, with a the last sample before e with arm(x[a]),
// direction(x[a]) holds and no sample strictly between a and e meets fire.
// In words: the first sample to reach the trigger level after an excursion
// beyond the arming level in the right direction.
template <class T, class Arm, class Direction, class Fire>
std::vector<Event> armed_crossings(const std::vector<T>& x, Arm arm, Direction direction, Fire fire) {
  std::vector<Event> r;
  bool armed = false, fired_since = false;
  for (uint64_t e = 0; e < x.size(); ++e) {
    if (armed && !fired_since && fire(x[e])) r.push_back({e, e});
    if (fire(x[e])) fired_since = true;
    if (arm(x[e])) {
      armed = direction(x[e]);
      fired_since = false;
    }
  }
  return r;
}

inline std::vector<Event> merged(std::vector<Event> a, const std::vector<Event>& b) {
  a.insert(a.end(), b.begin(), b.end());
  std::sort(a.begin(), a.end(), [](const Event& l, const Event& r) { return l.at < r.at; });
  return a;
}

template <class T>
std::vector<Event> rising_edges(const std::vector<T>& x, T arm, T lvl) {
  return armed_crossings(x, [=](T v) { return v < arm; }, [](T) { return true; }, [=](T v) { return v >= lvl; });
}

template <class T>
std::vector<Event> falling_edges(const std::vector<T>& x, T arm, T lvl) {
  return armed_crossings(x, [=](T v) { return v > arm; }, [](T) { return true; }, [=](T v) { return v <= lvl; });
}

// Two directions armed by leaving one band: from above the trigger is
// reaching `down` or lower, from below reaching `up` or higher.
template <class T>
std::vector<Event> band_crossings(const std::vector<T>& x, T high, T low, T down, T up) {
  auto out = [=](T v) { return v < low || v > high; };
  return merged(armed_crossings(x, out, [=](T v) { return v > high; }, [=](T v) { return v <= down; }),
                armed_crossings(x, out, [=](T v) { return v < low; }, [=](T v) { return v >= up; }));
}

// Window inside (no NaN), stepping past each hit: every sample in the band,
// and every sample that jumps from one side of the band straight to the
// other, unless the sample it jumps from was itself a hit (after a hit the
// next sample is judged afresh).
template <class T>
std::vector<Event> inside_samples(const std::vector<T>& x, T high, T low) {
  std::vector<Event> r;
  bool previous_fired = false;
  for (uint64_t i = 0; i < x.size(); ++i) {
    const bool in = low <= x[i] && x[i] <= high;
    const bool jump = i > 0 && !previous_fired &&
                      ((x[i] < low && x[i - 1] > high) || (x[i] > high && x[i - 1] < low));
    previous_fired = in || jump;
    if (previous_fired) r.push_back({i, i});
  }
  return r;
}

template <class T>
std::vector<Event> outside_samples(const std::vector<T>& x, T high, T low) {
  std::vector<Event> r;
  for (uint64_t i = 0; i < x.size(); ++i)
    if (x[i] < low || x[i] > high) r.push_back({i, i});
  return r;
}

// Window exit, walked from the first sample: e is a trigger when x[e] is
// outside [low, high] and the signal is armed: since the last sample outside
// before e, some sample up to e itself has come back to high_arm or lower
// (after leaving above) or to low_arm or higher (after leaving below), so a
// jump from beyond one side to beyond the other counts; before the first
// sample outside, armed only if the walk started in the arming band.
template <class T>
std::vector<Event> exits(const std::vector<T>& x, T high_arm, T high, T low_arm, T low) {
  std::vector<Event> r;
  bool armed = !x.empty() && low_arm <= x[0] && x[0] <= high_arm;
  int side = 0;  // +1 last outside above, -1 below
  for (uint64_t e = 0; e < x.size(); ++e) {
    if ((side > 0 && x[e] <= high_arm) || (side < 0 && x[e] >= low_arm)) armed = true;
    if (x[e] < low || x[e] > high) {
      if (armed) r.push_back({e, e});
      armed = false;
      side = x[e] > high ? 1 : -1;
    }
  }
  return r;
}

// Pulses: e ends a pulse when rest(x[e]) holds and, with r the last sample
// before e at rest, some sample between r and e reached peak; the pulse is
// timed from the first such sample.
template <class T, class Rest, class Peak>
std::vector<Event> pulses(const std::vector<T>& x, Rest rest, Peak peak) {
  std::vector<Event> r;
  bool rested = false, started = false;
  uint64_t start = 0;
  for (uint64_t e = 0; e < x.size(); ++e) {
    if (rest(x[e])) {
      if (started) r.push_back({e, start});
      rested = true;
      started = false;
    } else if (rested && !started && peak(x[e])) {
      started = true;
      start = e;
    }
  }
  return r;
}

// Runts: e (outside [lower, upper]) ends a runt when the last sample outside
// before it, p, lies on the same side (both below: positive, both above:
// negative) and some sample between p and e was inside the band; the runt is
// timed from the first sample inside.
template <class T>
std::vector<Event> runts(const std::vector<T>& x, T upper, T lower, bool positive, bool negative) {
  std::vector<Event> r;
  int side = 0;  // of the last sample outside: +1 above, -1 below, 0 none yet
  bool entered = false;
  uint64_t entry = 0;
  for (uint64_t e = 0; e < x.size(); ++e) {
    const T v = x[e];
    if (v < lower || v > upper) {
      const int now = v > upper ? 1 : -1;
      if (entered && now == side && ((now < 0 && positive) || (now > 0 && negative))) r.push_back({e, entry});
      side = now;
      entered = false;
    } else if (side != 0 && !entered && lower <= v && v <= upper) {
      entered = true;
      entry = e;
    }
  }
  return r;
}

// Intervals: every edge after the first, timed from the edge before it.
inline std::vector<Event> intervals(const std::vector<Event>& edges) {
  std::vector<Event> r;
  for (size_t k = 1; k < edges.size(); ++k) r.push_back({edges[k].at, edges[k - 1].at});
  return r;
}

// The documented time condition on t = at - from (32-bit).
struct When {
  uint32_t mode, t1, t2;
  bool holds(uint32_t t) const {
    switch (mode) {
      case 0: return true;
      case 1: return t < t1;
      case 2: return t > t1;
      case 3: return t1 <= t && t <= t2;
      case 4: return t < t1 || t > t2;
      default: return false;
    }
  }
};

// The events that fire under `when`, with indices mapped through `map`
// (the identity when empty): the time is measured between mapped indices.
inline std::vector<uint64_t> firing(const std::vector<Event>& events, When when,
                                    const std::vector<uint64_t>& map = {}) {
  auto m = [&](uint64_t i) { return map.empty() ? i : map[i]; };
  std::vector<uint64_t> r;
  for (const Event& e : events)
    if (when.holds(uint32_t(m(e.at) - m(e.from)))) r.push_back(m(e.at));
  return r;
}

// Compares trigger indices, naming the first difference.
inline ::testing::AssertionResult same_hits(const std::vector<uint64_t>& got, const std::vector<uint64_t>& want) {
  size_t k = 0;
  while (k < got.size() && k < want.size() && got[k] == want[k]) ++k;
  if (k == got.size() && k == want.size()) return ::testing::AssertionSuccess();
  auto r = ::testing::AssertionFailure() << got.size() << " hits, expected " << want.size() << "; hit #" << k << " is ";
  if (k < got.size()) r << got[k]; else r << "missing";
  r << ", expected ";
  if (k < want.size()) r << want[k]; else r << "none";
  return r;
}

}  // namespace morvex::test::trigger
