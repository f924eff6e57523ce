// Every trigger kind and type over random plateau signals that sit exactly on
// the levels, one step off them and across them: walked hit by hit in one
// piece and cut into random blocks, in every kernel configuration, the
// triggers must fire exactly where the closed-form oracles of
// trigger_fixture.h say (same absolute indices). For f32 and f64 the same
// record with NaN samples slipped in must fire on the same samples (NaN is
// passed over), with times measured over the longer record.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/kernel_configs.h"
#include "trigger/trigger_fixture.h"

namespace morvex::test::trigger {
namespace {

template <class T>
struct Case {
  std::string name;
  std::function<Trigger<T>(When)> make;
  std::function<std::vector<Event>(const std::vector<T>&)> oracle;
  bool timed = false;
  bool nan_transparent = true;  // false where state 0 judges the sample it stands on after every hit
};

template <class T>
std::vector<Case<T>> cases() {
  using F = Fns<T>;
  const T l0 = level<T>(0), l1 = level<T>(1), l2 = level<T>(2), l3 = level<T>(3);
  auto bind = [](auto f, bool step) {
    return [=](When) { return Trigger<T>{f, step}; };
  };
  auto timed = [=](auto fn) {
    return [=](When w) {
      return Trigger<T>{[=](const T* d, uint64_t n, uint64_t* p, void** s) {
        return fn(d, n, l2, l1, w.mode, w.t1, w.t2, p, s);
      }};
    };
  };
  std::vector<Case<T>> c;
  c.push_back({"edge rising", bind([=](auto d, auto n, auto p, auto s) { return F::rising(d, n, l1, l2, p, s); }, false),
               [=](const auto& x) { return rising_edges(x, l1, l2); }});
  c.push_back({"edge falling", bind([=](auto d, auto n, auto p, auto s) { return F::falling(d, n, l2, l1, p, s); }, false),
               [=](const auto& x) { return falling_edges(x, l2, l1); }});
  c.push_back({"edge any", bind([=](auto d, auto n, auto p, auto s) { return F::any(d, n, l3, l0, l1, p, s); }, false),
               [=](const auto& x) { return band_crossings(x, l3, l0, l1, l1); }});
  c.push_back({"window inside", bind([=](auto d, auto n, auto p, auto s) { return F::inside(d, n, l2, l1, p, s); }, true),
               [=](const auto& x) { return inside_samples(x, l2, l1); }, false, false});
  c.push_back({"window outside", bind([=](auto d, auto n, auto p, void**) { return F::outside(d, n, l2, l1, p); }, true),
               [=](const auto& x) { return outside_samples(x, l2, l1); }});
  c.push_back({"window enter",
               bind([=](auto d, auto n, auto p, auto s) { return F::enter(d, n, l3, l2, l0, l1, p, s); }, false),
               [=](const auto& x) { return band_crossings(x, l3, l0, l2, l1); }});
  c.push_back({"window exit",
               bind([=](auto d, auto n, auto p, auto s) { return F::exit(d, n, l2, l3, l1, l0, p, s); }, false),
               [=](const auto& x) { return exits(x, l2, l3, l1, l0); }});
  c.push_back({"interval positive", timed(F::interval_pos),
               [=](const auto& x) { return intervals(rising_edges(x, l1, l2)); }, true});
  c.push_back({"interval negative", timed(F::interval_neg),
               [=](const auto& x) { return intervals(falling_edges(x, l2, l1)); }, true});
  c.push_back({"pulse width positive", timed(F::pulse_pos),
               [=](const auto& x) { return pulses(x, [=](T v) { return v <= l1; }, [=](T v) { return v >= l2; }); },
               true});
  c.push_back({"pulse width negative", timed(F::pulse_neg),
               [=](const auto& x) { return pulses(x, [=](T v) { return v >= l2; }, [=](T v) { return v <= l1; }); },
               true});
  c.push_back({"runt positive", timed(F::runt_pos), [=](const auto& x) { return runts(x, l2, l1, true, false); }, true});
  c.push_back({"runt negative", timed(F::runt_neg), [=](const auto& x) { return runts(x, l2, l1, false, true); }, true});
  c.push_back({"runt any", timed(F::runt_any), [=](const auto& x) { return runts(x, l2, l1, true, true); }, true});
  return c;
}

// Every mode, at both edges of its bounds (equal bounds, swapped bounds,
// time1 0), and a mode past the table that never fires.
const std::vector<When> kWhens = {{0, 0, 0},  {1, 6, 0},  {2, 6, 0},  {2, 0, 0}, {3, 6, 25},
                                  {3, 6, 6},  {4, 6, 25}, {4, 25, 6}, {5, 0, ~0u}, {77, 0, 0}};

std::string describe(When w) {
  return "mode " + std::to_string(w.mode) + " time1 " + std::to_string(w.t1) + " time2 " + std::to_string(w.t2);
}

// Runs body(case, x, events, when, trigger) for every case on its own random
// signal (starting in the exit trigger's arming band, so that a fresh exit
// trigger arms at once: see the WindowExit cases), under every time condition
// for the timed kinds.
template <class T, class Body>
void for_each_case(size_t samples, uint32_t seed, Body body) {
  for (const Case<T>& c : cases<T>()) {
    std::vector<T> x = plateau_signal<T>(samples, ++seed);
    x[0] = level<T>(1);
    const std::vector<Event> events = c.oracle(x);
    ASSERT_GT(events.size(), 30u) << c.name << ": the signal must exercise the trigger";
    for (const When& w : c.timed ? kWhens : std::vector<When>{{0, 0, 0}}) {
      SCOPED_TRACE(c.name + ", " + describe(w));
      body(c, x, events, w, c.make(w));
    }
  }
}

template <class T>
class TriggerWalk : public ::testing::Test {};
TYPED_TEST_SUITE(TriggerWalk, Types);

TYPED_TEST(TriggerWalk, OnePieceAndRandomBlocksFireWhereTheOracleSays) {
  using T = TypeParam;
  for_each_case<T>(10000, 11, [](const Case<T>&, const std::vector<T>& x, const std::vector<Event>& events, When w,
                                 const Trigger<T>& trigger) {
    const std::vector<uint64_t> expected = firing(events, w);
    if (w.mode >= 5) {
      EXPECT_TRUE(expected.empty());
    }
    const std::vector<uint64_t> blocks = random_blocks(x.size(), uint32_t(x.size() + events.size()));
    for_each_kernel_config([&](const KernelConfig&) {
      EXPECT_TRUE(same_hits(walk(trigger, x.data(), {x.size()}), expected));
      EXPECT_TRUE(same_hits(walk(trigger, x.data(), blocks), expected));
    });
  });
}

// NaN samples meet no condition: the triggers step over them. Where a
// machine judges the sample it stands on (window inside, after each hit) a
// NaN counts as "not above", so there only the block split is checked.
template <class T>
class TriggerNaN : public ::testing::Test {};
TYPED_TEST_SUITE(TriggerNaN, FloatTypes);

TYPED_TEST(TriggerNaN, NaNSamplesArePassedOver) {
  using T = TypeParam;
  for_each_case<T>(10000, 101, [](const Case<T>& c, const std::vector<T>& x, const std::vector<Event>& events, When w,
                                 const Trigger<T>& trigger) {
    std::vector<uint64_t> map;
    const std::vector<T> y = with_nans(x, uint32_t(events.size()), map);
    ASSERT_GT(y.size(), x.size() + 100);
    const std::vector<uint64_t> one = walk(trigger, y.data(), {y.size()});
    if (c.nan_transparent) {
      EXPECT_TRUE(same_hits(one, firing(events, w, map)));
    }
    EXPECT_TRUE(same_hits(walk(trigger, y.data(), random_blocks(y.size(), uint32_t(y.size()))), one));
  });
}

}  // namespace
}  // namespace morvex::test::trigger
