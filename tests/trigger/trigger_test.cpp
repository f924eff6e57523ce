// SPDX-License-Identifier: MIT
// Triggers: every kind and type over random plateau signals that sit exactly
// on the levels, one step off them and across them, walked hit by hit in one
// piece and cut into random blocks, in every kernel configuration, fire
// exactly where closed-form oracles say: each says where a trigger must fire
// from what the trigger is for (the first crossing after an excursion, a
// pulse and its width, a runt and its width) over the whole record, not as a
// state machine. NaN samples are passed over. Then the state words: their
// values after a block, their exact ranges, allocation failure and a null
// handle, and many threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "common/variant_harness.h"
#include "trigger/trigger_fixture.h"

// Every calloc of this binary comes here (see extra.cmake); a test switches
// failure on around a single trigger call.
extern "C" void* __real_calloc(size_t count, size_t size);
static std::atomic<bool> g_refuse_calloc{false};
extern "C" void* __wrap_calloc(size_t count, size_t size) {
  return g_refuse_calloc.load(std::memory_order_relaxed) ? nullptr : __real_calloc(count, size);
}

namespace {

using namespace morvex::test::trigger;

// ---------------------------------------------------------------- oracles
// An event is a trigger sample and the sample its time is measured from.
struct Event {
  uint64_t at, from;
};

// Crossings with hysteresis (edges, window entries): e is a trigger when
// fire(x[e]) holds and, with a the last sample before e with arm(x[a]),
// direction(x[a]) holds and no sample strictly between a and e meets fire:
// the first sample to reach the trigger level after an excursion beyond the
// arming level in the right direction.
template <class T, class Arm, class Direction, class Fire>
std::vector<Event> armed_crossings(const std::vector<T>& x, Arm arm, Direction direction, Fire fire) {
  std::vector<Event> r; bool armed = false, fired_since = false;
  for (uint64_t e = 0; e < x.size(); ++e) {
    if (armed && !fired_since && fire(x[e])) r.push_back({e, e});
    fired_since = fired_since || fire(x[e]);
    if (arm(x[e])) armed = direction(x[e]), fired_since = false;
  }
  return r;
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
  std::vector<Event> a = armed_crossings(x, out, [=](T v) { return v > high; }, [=](T v) { return v <= down; }),
                     b = armed_crossings(x, out, [=](T v) { return v < low; }, [=](T v) { return v >= up; });
  a.insert(a.end(), b.begin(), b.end());
  std::sort(a.begin(), a.end(), [](const Event& l, const Event& r) { return l.at < r.at; });
  return a;
}

// Window inside (no NaN), stepping past each hit: every sample in the band,
// and every sample that jumps from one side of the band straight to the
// other, unless the sample it jumps from was itself a hit (after a hit the
// next sample is judged afresh). Outside: every sample out of the band.
template <class T>
std::vector<Event> inside_samples(const std::vector<T>& x, T high, T low) {
  std::vector<Event> r;
  for (uint64_t i = 0; i < x.size(); ++i) {
    const bool jump = i > 0 && (r.empty() || r.back().at != i - 1) &&
                      ((x[i] < low && x[i - 1] > high) || (x[i] > high && x[i - 1] < low));
    if ((low <= x[i] && x[i] <= high) || jump) r.push_back({i, i});
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
  std::vector<Event> r; bool armed = !x.empty() && low_arm <= x[0] && x[0] <= high_arm;
  int side = 0;  // +1 last outside above, -1 below
  for (uint64_t e = 0; e < x.size(); ++e) {
    armed = armed || (side > 0 && x[e] <= high_arm) || (side < 0 && x[e] >= low_arm);
    if (x[e] < low || x[e] > high) {
      if (armed) r.push_back({e, e});
      armed = false, side = x[e] > high ? 1 : -1;
    }
  }
  return r;
}

// Pulses: e ends a pulse when rest(x[e]) holds and, with r the last sample
// before e at rest, some sample between r and e reached peak; the pulse is
// timed from the first such sample.
template <class T, class Rest, class Peak>
std::vector<Event> pulses(const std::vector<T>& x, Rest rest, Peak peak) {
  std::vector<Event> r; bool rested = false, started = false; uint64_t start = 0;
  for (uint64_t e = 0; e < x.size(); ++e) {
    if (rest(x[e])) {
      if (started) r.push_back({e, start});
      rested = true, started = false;
    } else if (rested && !started && peak(x[e])) {
      started = true, start = e;
    }
  }
  return r;
}

// Runts: e (outside [lower, upper]) ends a runt when the last sample outside
// before it lies on the same side (both below: positive, both above:
// negative) and some sample between them was inside the band; the runt is
// timed from the first sample inside.
template <class T>
std::vector<Event> runts(const std::vector<T>& x, T upper, T lower, bool positive, bool negative) {
  std::vector<Event> r;
  int side = 0;  // of the last sample outside: +1 above, -1 below, 0 none yet
  bool entered = false; uint64_t entry = 0;
  for (uint64_t e = 0; e < x.size(); ++e) {
    if (x[e] < lower || x[e] > upper) {
      const int now = x[e] > upper ? 1 : -1;
      if (entered && now == side && (now < 0 ? positive : negative)) r.push_back({e, entry});
      side = now, entered = false;
    } else if (side != 0 && !entered) {
      entered = true, entry = e;
    }
  }
  return r;
}

// Intervals: every edge after the first, timed from the edge before it.
std::vector<Event> intervals(const std::vector<Event>& edges) {
  std::vector<Event> r;
  for (size_t k = 1; k < edges.size(); ++k) r.push_back({edges[k].at, edges[k - 1].at});
  return r;
}

// The events that fire under `when`, indices mapped through `map` (the
// identity when empty): the time is measured between mapped indices.
std::vector<uint64_t> firing(const std::vector<Event>& events, When when, const std::vector<uint64_t>& map = {}) {
  auto m = [&](uint64_t i) { return map.empty() ? i : map[i]; };
  std::vector<uint64_t> r;
  for (const Event& e : events)
    if (when.holds(uint32_t(m(e.at) - m(e.from)))) r.push_back(m(e.at));
  return r;
}

// ---------------------------------------------------------------- the tests
template <class T>
struct Case {
  std::string name; std::function<Trigger<T>(When)> make;
  std::function<std::vector<Event>(const std::vector<T>&)> oracle;
  bool timed, nan_transparent;  // false where state 0 judges the sample it stands on after every hit
  size_t state_bytes;
};

template <class T>
std::vector<Case<T>> cases() {
  using F = Fns<T>;
  const T l0 = level<T>(0), l1 = level<T>(1), l2 = level<T>(2), l3 = level<T>(3);
  auto bind = [](auto f, bool step) { return [=](When) { return Trigger<T>{f, step}; }; };
  auto timed = [=](auto fn) {
    return [=](When w) {
      return Trigger<T>{[=](const T* d, uint64_t n, uint64_t* p, void** s) { return fn(d, n, l2, l1, w.mode, w.t1, w.t2, p, s); }};
    };
  };
  return {
      {"edge rising", bind([=](auto d, auto n, auto p, auto s) { return F::rising(d, n, l1, l2, p, s); }, false),
       [=](const auto& x) { return rising_edges(x, l1, l2); }, false, true, 4},
      {"edge falling", bind([=](auto d, auto n, auto p, auto s) { return F::falling(d, n, l2, l1, p, s); }, false),
       [=](const auto& x) { return falling_edges(x, l2, l1); }, false, true, 4},
      {"edge any", bind([=](auto d, auto n, auto p, auto s) { return F::any(d, n, l3, l0, l1, p, s); }, false),
       [=](const auto& x) { return band_crossings(x, l3, l0, l1, l1); }, false, true, 4},
      {"window inside", bind([=](auto d, auto n, auto p, auto s) { return F::inside(d, n, l2, l1, p, s); }, true),
       [=](const auto& x) { return inside_samples(x, l2, l1); }, false, false, 4},
      {"window outside", bind([=](auto d, auto n, auto p, void**) { return F::outside(d, n, l2, l1, p); }, true),
       [=](const auto& x) { return outside_samples(x, l2, l1); }, false, true, 0},
      {"window enter", bind([=](auto d, auto n, auto p, auto s) { return F::enter(d, n, l3, l2, l0, l1, p, s); }, false),
       [=](const auto& x) { return band_crossings(x, l3, l0, l2, l1); }, false, true, 4},
      {"window exit", bind([=](auto d, auto n, auto p, auto s) { return F::exit(d, n, l2, l3, l1, l0, p, s); }, false),
       [=](const auto& x) { return exits(x, l2, l3, l1, l0); }, false, true, 4},
      {"interval positive", timed(F::interval_pos), [=](const auto& x) { return intervals(rising_edges(x, l1, l2)); }, true, true, 16},
      {"interval negative", timed(F::interval_neg), [=](const auto& x) { return intervals(falling_edges(x, l2, l1)); },
       true, true, 16},
      {"pulse width positive", timed(F::pulse_pos),
       [=](const auto& x) { return pulses(x, [=](T v) { return v <= l1; }, [=](T v) { return v >= l2; }); }, true, true, 16},
      {"pulse width negative", timed(F::pulse_neg),
       [=](const auto& x) { return pulses(x, [=](T v) { return v >= l2; }, [=](T v) { return v <= l1; }); }, true, true, 16},
      {"runt positive", timed(F::runt_pos), [=](const auto& x) { return runts(x, l2, l1, true, false); }, true, true, 24},
      {"runt negative", timed(F::runt_neg), [=](const auto& x) { return runts(x, l2, l1, false, true); }, true, true, 24},
      {"runt any", timed(F::runt_any), [=](const auto& x) { return runts(x, l2, l1, true, true); }, true, true, 24},
  };
}

// Every mode at both edges of its bounds (equal, swapped, time1 0), and a mode
// past the table that never fires.
const std::vector<When> kWhens = {{0, 0, 0}, {1, 6, 0}, {2, 6, 0}, {2, 0, 0}, {3, 6, 25},
                                  {3, 6, 6}, {4, 6, 25}, {4, 25, 6}, {5, 0, ~0u}, {77, 0, 0}};

// Runs body(case, x, events, when, trigger) for every case on its own random
// signal, starting in the exit trigger's arming band (a fresh exit trigger
// then arms at once), under every time condition for the timed kinds.
template <class T, class Body>
void for_each_case(uint32_t seed, Body body) {
  for (const Case<T>& c : cases<T>()) {
    std::vector<T> x = plateau_signal<T>(10000, ++seed); x[0] = level<T>(1);
    const std::vector<Event> events = c.oracle(x);
    ASSERT_GT(events.size(), 30u) << c.name << ": the signal must exercise the trigger";
    for (const When& w : c.timed ? kWhens : std::vector<When>{{0, 0, 0}}) {
      SCOPED_TRACE(c.name + ", mode " + std::to_string(w.mode) + " " + std::to_string(w.t1) + " " + std::to_string(w.t2));
      body(c, x, events, w, c.make(w));
    }
  }
}

template <class T>
class TriggerWalk : public ::testing::Test {};
TYPED_TEST_SUITE(TriggerWalk, Types);

TYPED_TEST(TriggerWalk, OnePieceAndRandomBlocksFireWhereTheOracleSays) {
  using T = TypeParam;
  for_each_case<T>(11, [](const Case<T>&, const std::vector<T>& x, const std::vector<Event>& events, When w,
                          const Trigger<T>& trigger) {
    const std::vector<uint64_t> expected = firing(events, w);
    const std::vector<uint64_t> blocks = random_blocks(x.size(), uint32_t(x.size() + events.size()));
    morvex::test::for_each_kernel_config([&](const morvex::test::KernelConfig&) {
      EXPECT_TRUE(same_hits(walk(trigger, x.data(), {x.size()}), expected));
      EXPECT_TRUE(same_hits(walk(trigger, x.data(), blocks), expected));
    });
  });
}

// NaN samples meet no condition: the triggers step over them, with times
// measured over the longer record. Where a machine judges the sample it
// stands on (window inside, after each hit) NaN counts as "not above", so
// there only the block split is checked.
template <class T>
class TriggerNaN : public ::testing::Test {};
TYPED_TEST_SUITE(TriggerNaN, FloatTypes);

TYPED_TEST(TriggerNaN, NaNSamplesArePassedOver) {
  using T = TypeParam;
  for_each_case<T>(101, [](const Case<T>& c, const std::vector<T>& x, const std::vector<Event>& events, When w,
                           const Trigger<T>& trigger) {
    std::vector<uint64_t> map; const std::vector<T> y = with_nans(x, uint32_t(events.size()), map);
    const std::vector<uint64_t> one = walk(trigger, y.data(), {y.size()});
    if (c.nan_transparent) {
      EXPECT_TRUE(same_hits(one, firing(events, w, map)));
    }
    EXPECT_TRUE(same_hits(walk(trigger, y.data(), random_blocks(y.size(), uint32_t(y.size()))), one));
  });
}

// The state word a call leaves, block by block: the stored numbers are part
// of the interface. Values all fit in u8; every type runs them.
template <class T>
class TriggerState : public ::testing::Test {};
TYPED_TEST_SUITE(TriggerState, Types);

TYPED_TEST(TriggerState, WordsLeftByABlock) {
  using T = TypeParam;
  using F = Fns<T>;
  auto rising = [](auto d, auto n, auto p, auto s) { return F::rising(d, n, T(50), T(100), p, s); };
  auto enter = [](auto d, auto n, auto p, auto s) { return F::enter(d, n, T(150), T(100), T(20), T(50), p, s); };
  auto exit = [](auto d, auto n, auto p, auto s) { return F::exit(d, n, T(120), T(150), T(80), T(50), p, s); };
  const struct {
    std::function<int32_t(const T*, uint64_t, uint64_t*, void**)> call; std::vector<int> block; uint32_t word;
  } rows[] = {{rising, {120, 40}, 1}, {rising, {120, 40, 60}, 2},  // armed; back at the arming level
              {enter, {60, 10, 30}, 4},                              // from below, back past low_arm
              {exit, {130, 40, 80}, 3}, {exit, {130, 140}, 0}};      // between the bands: not armed
  for (const auto& r : rows) {
    const std::vector<T> x(r.block.begin(), r.block.end()); void* state = nullptr; uint64_t p = 0;
    EXPECT_EQ(r.call(x.data(), x.size(), &p, &state), 0); EXPECT_EQ(p, x.size());
    EXPECT_EQ(*static_cast<uint32_t*>(state), r.word) << r.block.size() << " samples";
    morvex_m_state_free(&state);
  }
  // State 0 judges the sample a call starts on: a fresh exit trigger whose
  // first block ends between the bands arms on a next block that starts in
  // the arming band, but not in the middle of one block.
  const Trigger<T> t{exit};
  const std::vector<T> x = {T(130), T(140), T(100), T(160)};
  EXPECT_EQ(walk(t, x.data(), {2, 2}), std::vector<uint64_t>{3});
  EXPECT_EQ(walk(t, x.data(), {4}), std::vector<uint64_t>{});
  // Mode 5 never fires but keeps measuring: after edges at 1 and 3 the record
  // holds the edge machine (armed again), the first edge seen, and the last
  // edge rebased to the next block.
  const std::vector<T> e = {T(0), T(100), T(0), T(100), T(0)};
  void* state = nullptr; uint64_t p = 0;
  EXPECT_EQ(F::interval_pos(e.data(), e.size(), T(100), T(50), 5, 0, ~0u, &p, &state), 0);
  uint32_t words[4]; std::memcpy(words, state, 16); int64_t index; std::memcpy(&index, words + 2, 8);
  EXPECT_TRUE(p == e.size() && words[0] == 1 && words[1] == 1 && index == 3 - 5);
  morvex_m_state_free(&state);
}

// (name, leading words) at the top of a state's range must run, one past it
// must fail without touching anything; an exhausted block returns before
// looking; allocation failure is -3 with nothing lost; a null handle is -5.
TYPED_TEST(TriggerState, ExactRangesAllocationFailureAndNullHandle) {
  using T = TypeParam;
  const std::vector<std::pair<std::vector<uint32_t>, std::vector<std::vector<uint32_t>>>> limits = {
      {{2}, {{3}}}, {{2}, {{3}}}, {{4}, {{5}}}, {{2}, {{3}}}, {{}, {}}, {{4}, {{5}}}, {{3}, {{4}}},  // edge and window
      {{2, 1}, {{3, 0}, {0, 2}}}, {{2, 1}, {{3, 0}, {0, 2}}}, {{2}, {{3}}}, {{2}, {{3}}},            // interval, pulse
      {{0, 3, 2, 0}, {{0, 4, 0, 0}, {0, 0, 3, 0}, {0, 0, 0, 1}}},                                   // runt: side, main, sub
      {{0, 3, 2, 0}, {{0, 4, 0, 0}, {0, 0, 3, 0}}}, {{0, 3, 2, 0}, {{0, 4, 0, 0}, {0, 0, 3, 0}}}};
  const std::vector<T> x = {T(0), T(75), T(200), T(75), T(0)};
  const auto all = cases<T>();
  for (size_t k = 0; k < all.size(); ++k) {
    const Case<T>& c = all[k];
    if (!c.state_bytes) continue;
    SCOPED_TRACE(c.name);
    const auto call = c.make({0, 0, 0}).call;
    void* state = nullptr; uint64_t p = x.size();
    ASSERT_EQ(call(x.data(), x.size(), &p, &state), 0);  // an exhausted block still allocates, zeroed
    ASSERT_NE(state, nullptr);
    const std::vector<unsigned char> zero(c.state_bytes, 0);
    EXPECT_EQ(std::memcmp(state, zero.data(), c.state_bytes), 0);
    for (const auto& words : limits[k].second) {
      std::memset(state, 0, c.state_bytes); std::memcpy(state, words.data(), words.size() * 4);
      const std::vector<unsigned char> before(static_cast<unsigned char*>(state), static_cast<unsigned char*>(state) + c.state_bytes);
      p = 1;
      EXPECT_EQ(call(x.data(), x.size(), &p, &state), -1); EXPECT_EQ(p, 1u);
      EXPECT_EQ(std::memcmp(state, before.data(), c.state_bytes), 0);
      p = x.size();
      EXPECT_EQ(call(x.data(), x.size(), &p, &state), 0);
    }
    std::memset(state, 0, c.state_bytes); std::memcpy(state, limits[k].first.data(), limits[k].first.size() * 4); p = 1;
    EXPECT_EQ(call(x.data(), x.size(), &p, &state), 0);
    morvex_m_state_free(&state); p = 0; g_refuse_calloc = true;
    const int32_t status = call(x.data(), x.size(), &p, &state); g_refuse_calloc = false;
    EXPECT_TRUE(status == -3 && state == nullptr && p == 0); EXPECT_EQ(call(x.data(), x.size(), &p, nullptr), -5);
    EXPECT_EQ(p, 0u); EXPECT_EQ(call(x.data(), x.size(), &p, &state), 0) << "the next call allocates and runs";
    morvex_m_state_free(&state);
  }
}

// Triggers share nothing but the options: threads walking the same record,
// each with its own state, all see what one thread sees.
TEST(TriggerConcurrency, IndependentStatesOnManyThreads) {
  using T = uint16_t;
  const std::vector<T> x = plateau_signal<T>(50000, 7); const T l1 = level<T>(1), l2 = level<T>(2);
  const Trigger<T> runt{
      [=](auto d, auto n, auto p, auto s) { return morvex_m_trigger_runt_pulse_any_u16(d, n, l2, l1, 3, 2, 30, p, s); }};
  const std::vector<uint64_t> alone = walk(runt, x.data(), random_blocks(x.size(), 1));
  ASSERT_FALSE(alone.empty());
  std::atomic<int> mismatches{0};
  std::vector<std::thread> threads;
  for (uint32_t k = 0; k < 6; ++k)
    threads.emplace_back([&, k] {
      for (uint32_t round = 0; round < 4; ++round)
        mismatches += walk(runt, x.data(), random_blocks(x.size(), 10 * k + round + 2)) != alone;
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
