// Triggers: every kind and type over random plateau signals that sit exactly
// on the levels, one step off them and across them, walked hit by hit in one
// piece and cut into random blocks, in every kernel configuration, fire
// exactly where the closed-form oracles of trigger_fixture.h say; NaN samples
// are passed over. Then the state words: their values after a block, their
// exact ranges, allocation failure and a null handle, and many threads.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "common/kernel_configs.h"
#include "trigger/trigger_fixture.h"

// Every calloc of this binary comes here (see extra.cmake); a test switches
// failure on around a single trigger call.
extern "C" void* __real_calloc(size_t count, size_t size);
static std::atomic<bool> g_refuse_calloc{false};
extern "C" void* __wrap_calloc(size_t count, size_t size) {
  return g_refuse_calloc.load(std::memory_order_relaxed) ? nullptr : __real_calloc(count, size);
}

namespace morvex::test::trigger {
namespace {

template <class T>
struct Case {
  std::string name;
  std::function<Trigger<T>(When)> make;
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
      {"interval negative", timed(F::interval_neg), [=](const auto& x) { return intervals(falling_edges(x, l2, l1)); }, true, true, 16},
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
    std::vector<T> x = plateau_signal<T>(10000, ++seed);
    x[0] = level<T>(1);
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
    std::vector<uint64_t> map;
    const std::vector<T> y = with_nans(x, uint32_t(events.size()), map);
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
    std::function<int32_t(const T*, uint64_t, uint64_t*, void**)> call;
    std::vector<int> block;
    uint32_t word;
  } rows[] = {{rising, {120, 40}, 1}, {rising, {120, 40, 60}, 2},  // armed; back at the arming level
              {enter, {60, 10, 30}, 4},                              // from below, back past low_arm
              {exit, {130, 40, 80}, 3}, {exit, {130, 140}, 0}};      // between the bands: not armed
  for (const auto& r : rows) {
    const std::vector<T> x(r.block.begin(), r.block.end());
    void* state = nullptr;
    uint64_t p = 0;
    EXPECT_EQ(r.call(x.data(), x.size(), &p, &state), 0);
    EXPECT_EQ(p, x.size());
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
  void* state = nullptr;
  uint64_t p = 0;
  EXPECT_EQ(F::interval_pos(e.data(), e.size(), T(100), T(50), 5, 0, ~0u, &p, &state), 0);
  uint32_t words[4];
  std::memcpy(words, state, 16);
  int64_t index;
  std::memcpy(&index, words + 2, 8);
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
    void* state = nullptr;
    uint64_t p = x.size();
    ASSERT_EQ(call(x.data(), x.size(), &p, &state), 0);  // an exhausted block still allocates, zeroed
    ASSERT_NE(state, nullptr);
    const std::vector<unsigned char> zero(c.state_bytes, 0);
    EXPECT_EQ(std::memcmp(state, zero.data(), c.state_bytes), 0);
    for (const auto& words : limits[k].second) {
      std::memset(state, 0, c.state_bytes);
      std::memcpy(state, words.data(), words.size() * 4);
      const std::vector<unsigned char> before(static_cast<unsigned char*>(state), static_cast<unsigned char*>(state) + c.state_bytes);
      p = 1;
      EXPECT_EQ(call(x.data(), x.size(), &p, &state), -1);
      EXPECT_EQ(p, 1u);
      EXPECT_EQ(std::memcmp(state, before.data(), c.state_bytes), 0);
      p = x.size();
      EXPECT_EQ(call(x.data(), x.size(), &p, &state), 0);
    }
    std::memset(state, 0, c.state_bytes);
    std::memcpy(state, limits[k].first.data(), limits[k].first.size() * 4);
    p = 1;
    EXPECT_EQ(call(x.data(), x.size(), &p, &state), 0);
    morvex_m_state_free(&state);
    p = 0;
    g_refuse_calloc = true;
    const int32_t status = call(x.data(), x.size(), &p, &state);
    g_refuse_calloc = false;
    EXPECT_TRUE(status == -3 && state == nullptr && p == 0);
    EXPECT_EQ(call(x.data(), x.size(), &p, nullptr), -5);
    EXPECT_EQ(p, 0u);
    EXPECT_EQ(call(x.data(), x.size(), &p, &state), 0) << "the next call allocates and runs";
    morvex_m_state_free(&state);
  }
}

// Triggers share nothing but the options: threads walking the same record,
// each with its own state, all see what one thread sees.
TEST(TriggerConcurrency, IndependentStatesOnManyThreads) {
  using T = uint16_t;
  const std::vector<T> x = plateau_signal<T>(50000, 7);
  const T l1 = level<T>(1), l2 = level<T>(2);
  const Trigger<T> runt{[=](auto d, auto n, auto p, auto s) { return morvex_m_trigger_runt_pulse_any_u16(d, n, l2, l1, 3, 2, 30, p, s); }};
  const std::vector<uint64_t> alone = walk(runt, x.data(), random_blocks(x.size(), 1));
  ASSERT_FALSE(alone.empty());
  std::atomic<int> mismatches{0};
  std::vector<std::thread> threads;
  for (uint32_t k = 0; k < 6; ++k)
    threads.emplace_back([&, k] {
      for (uint32_t round = 0; round < 4; ++round) mismatches += walk(runt, x.data(), random_blocks(x.size(), 10 * k + round + 2)) != alone;
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
}  // namespace morvex::test::trigger
