// Hand-made signals for each machine, run for every element type (the
// values all fit in u8): samples exactly at a level, one sample beyond it,
// conditions straddling a block boundary, widths measured across blocks.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "trigger/trigger_fixture.h"

namespace morvex::test::trigger {
namespace {

template <class T>
class TriggerCases : public ::testing::Test {
 protected:
  using F = Fns<T>;

  // The absolute trigger indices of `call` over the blocks, walked as a
  // caller would (position 0 per block, again from each hit).
  template <class Call>
  static std::vector<uint64_t> fire(const std::vector<std::vector<int>>& blocks, Call call, bool step = false) {
    std::vector<T> x;
    std::vector<uint64_t> lengths;
    for (const auto& b : blocks) {
      for (int v : b) x.push_back(T(v));
      lengths.push_back(b.size());
    }
    return walk(Trigger<T>{call, step}, x.data(), lengths);
  }

  // A time-qualified trigger with its levels bound.
  template <class Fn>
  static auto timed(Fn fn, int upper, int lower, When w) {
    return [=](const T* d, uint64_t n, uint64_t* p, void** s) {
      return fn(d, n, T(upper), T(lower), w.mode, w.t1, w.t2, p, s);
    };
  }

  // Runs one call from position 0 and returns the state word it leaves.
  template <class Call>
  static uint32_t state_after(const std::vector<int>& block, Call call) {
    std::vector<T> x(block.begin(), block.end());
    void* state = nullptr;
    uint64_t p = 0;
    EXPECT_EQ(call(x.data(), x.size(), &p, &state), 0);
    EXPECT_EQ(p, x.size());
    const uint32_t word = *static_cast<uint32_t*>(state);
    morvex_m_state_free(&state);
    return word;
  }
};
TYPED_TEST_SUITE(TriggerCases, Types);

using Hits = std::vector<uint64_t>;

TYPED_TEST(TriggerCases, EdgeHysteresisIsStrictToArmAndInclusiveAfter) {
  using T = TypeParam;
  auto rising = [](auto d, auto n, auto p, auto s) { return TestFixture::F::rising(d, n, T(50), T(100), p, s); };
  auto falling = [](auto d, auto n, auto p, auto s) { return TestFixture::F::falling(d, n, T(100), T(50), p, s); };
  // Starts above arm; 50 = arm does not arm; 49 arms; 50 completes the
  // return; 100 = level fires; then 30 re-arms and 150 both returns and fires.
  EXPECT_EQ(this->fire({{120, 50, 100, 49, 50, 99, 100, 100, 30, 150}}, rising), (Hits{6, 9}));
  EXPECT_EQ(this->fire({{30, 100, 50, 101, 100, 51, 50, 50, 130, 20}}, falling), (Hits{6, 9}));
  // Arming level beyond the trigger level: fires on the sample that returns
  // to the arming level.
  auto inverted = [](auto d, auto n, auto p, auto s) { return TestFixture::F::rising(d, n, T(100), T(50), p, s); };
  EXPECT_EQ(this->fire({{120, 90, 99, 110, 60}}, inverted), (Hits{3}));
}

TYPED_TEST(TriggerCases, EdgeSplitAcrossBlocksFiresAtTheCrossing) {
  using T = TypeParam;
  auto rising = [](auto d, auto n, auto p, auto s) { return TestFixture::F::rising(d, n, T(50), T(100), p, s); };
  // Armed and back at the arming level in the first block (state 2), the
  // crossing at index 1 of the second.
  EXPECT_EQ(this->state_after({120, 40, 60}, rising), 2u);
  EXPECT_EQ(this->fire({{120, 40, 60}, {80, 110, 90}}, rising), (Hits{4}));
  // Split between the arming sample (state 1) and the return.
  EXPECT_EQ(this->state_after({120, 40}, rising), 1u);
  EXPECT_EQ(this->fire({{120, 40}, {45, 60, 100}}, rising), (Hits{4}));
  // An empty block in between changes nothing.
  EXPECT_EQ(this->fire({{120, 40}, {}, {45, 60, 100}}, rising), (Hits{4}));
}

TYPED_TEST(TriggerCases, WindowInsideOutside) {
  using T = TypeParam;
  auto inside = [](auto d, auto n, auto p, auto s) { return TestFixture::F::inside(d, n, T(100), T(50), p, s); };
  // Already in the band at the start position: fires there at once.
  const std::vector<T> x = {T(200), T(10), T(75), T(200)};
  void* state = nullptr;
  uint64_t p = 2;
  EXPECT_EQ(inside(x.data(), x.size(), &p, &state), 0);
  EXPECT_EQ(p, 2u);
  morvex_m_state_free(&state);
  // A jump from above to below fires on the sample below, and back; the
  // band edges are inside.
  EXPECT_EQ(this->fire({{150, 150, 20, 30, 150}, {100, 49, 50}}, inside, true), (Hits{2, 4, 5, 7}));

  auto outside = [](auto d, auto n, auto p, void**) { return TestFixture::F::outside(d, n, T(100), T(50), p); };
  EXPECT_EQ(this->fire({{60, 101, 100, 50, 49}}, outside, true), (Hits{1, 4}));
  for (uint64_t start : {3u, 4u, 1000u}) {
    uint64_t q = start;
    EXPECT_EQ(TestFixture::F::outside(x.data(), 3, T(100), T(50), &q), 0);
    EXPECT_EQ(q, 3u);
  }
}

TYPED_TEST(TriggerCases, WindowEnterFromEitherSide) {
  using T = TypeParam;
  auto enter = [](auto d, auto n, auto p, auto s) {
    return TestFixture::F::enter(d, n, T(150), T(100), T(20), T(50), p, s);
  };
  // From below, split across blocks: 10 arms, 30 returns past low_arm
  // (state 4), 50 = low fires in the second block.
  EXPECT_EQ(this->state_after({60, 10, 30}, enter), 4u);
  EXPECT_EQ(this->fire({{60, 10, 30}, {40, 50, 45}}, enter), (Hits{4}));
  // From above: 150 = high_arm does not arm, 160 does, 101 is not yet in.
  EXPECT_EQ(this->fire({{150, 120, 160, 149, 101, 100}}, enter), (Hits{5}));
}

TYPED_TEST(TriggerCases, WindowExitNeedsTheArmingBandFirst) {
  using T = TypeParam;
  auto exit = [](auto d, auto n, auto p, auto s) {
    return TestFixture::F::exit(d, n, T(120), T(150), T(80), T(50), p, s);
  };
  // Starting in the arming band arms at once; 150 = high is still inside.
  EXPECT_EQ(this->fire({{100, 150, 140, 151}}, exit), (Hits{3}));
  EXPECT_EQ(this->fire({{100, 50, 49}}, exit), (Hits{2}));
  // Starting between the bands: the first exit does not count; the signal
  // must come back to the arming band (120 = high_arm) first.
  EXPECT_EQ(this->fire({{130, 151, 140, 120, 160}}, exit), (Hits{4}));
  EXPECT_EQ(this->state_after({130, 40, 80}, exit), 3u);
  // State 0 judges the sample a call starts on, so a fresh trigger whose
  // first block ends between the bands arms on a next block that starts in
  // the arming band.
  EXPECT_EQ(this->state_after({130, 140}, exit), 0u);
  EXPECT_EQ(this->fire({{130, 140}, {100, 160}}, exit), (Hits{3}));
  EXPECT_EQ(this->fire({{130, 140, 100, 160}}, exit), (Hits{}));
}

TYPED_TEST(TriggerCases, IntervalFiresFromTheSecondEdgeOn) {
  using F = typename TestFixture::F;
  const std::vector<std::vector<int>> edges = {{0, 100, 0, 100, 0, 0, 100}};  // rising edges at 1, 3, 6
  EXPECT_EQ(this->fire(edges, this->timed(F::interval_pos, 100, 50, {0, 0, 0})), (Hits{3, 6}));
  EXPECT_EQ(this->fire(edges, this->timed(F::interval_pos, 100, 50, {3, 3, 3})), (Hits{6}));
  EXPECT_EQ(this->fire(edges, this->timed(F::interval_pos, 100, 50, {1, 3, 0})), (Hits{3}));
  EXPECT_EQ(this->fire({{200, 0, 200, 0, 200, 200, 0}}, this->timed(F::interval_neg, 100, 50, {0, 0, 0})),
            (Hits{3, 6}));
  // An interval across a block boundary (edges at 1 and 5).
  EXPECT_EQ(this->fire({{0, 100, 0}, {0, 0, 100}}, this->timed(F::interval_pos, 100, 50, {3, 4, 4})), (Hits{5}));
}

TYPED_TEST(TriggerCases, PulseWidthAcrossBlocks) {
  using F = typename TestFixture::F;
  // A positive pulse from 2 to 5 (width 3), split by the block boundary.
  const std::vector<std::vector<int>> pulse = {{0, 0, 120}, {130, 110, 40}};
  EXPECT_EQ(this->fire(pulse, this->timed(F::pulse_pos, 100, 50, {3, 3, 3})), (Hits{5}));
  EXPECT_EQ(this->fire(pulse, this->timed(F::pulse_pos, 100, 50, {3, 2, 2})), (Hits{}));
  EXPECT_EQ(this->fire(pulse, this->timed(F::pulse_pos, 100, 50, {3, 4, 4})), (Hits{}));
  // Mode 2 with time1 0: every pulse of one sample or more. A pulse that
  // starts before the signal was at rest does not count.
  EXPECT_EQ(this->fire({{100, 0, 100, 0, 100, 100, 0}}, this->timed(F::pulse_pos, 100, 50, {2, 0, 0})),
            (Hits{3, 6}));
  EXPECT_EQ(this->fire({{0, 200, 0, 200}}, this->timed(F::pulse_neg, 100, 50, {0, 0, 0})), (Hits{3}));
}

TYPED_TEST(TriggerCases, RuntsAreReturnsToTheSideTheyCameFrom) {
  using F = typename TestFixture::F;
  auto pos = [&](When w) { return this->timed(F::runt_pos, 100, 50, w); };
  auto neg = [&](When w) { return this->timed(F::runt_neg, 100, 50, w); };
  auto any = [&](When w) { return this->timed(F::runt_any, 100, 50, w); };
  const When always{0, 0, 0};
  // From below back below: positive and any, not negative. The band edges
  // are inside it. The in-band start before anything outside is ignored.
  const std::vector<std::vector<int>> from_below = {{70, 0, 50, 100, 49}};
  EXPECT_EQ(this->fire(from_below, pos(always)), (Hits{4}));
  EXPECT_EQ(this->fire(from_below, any(always)), (Hits{4}));
  EXPECT_EQ(this->fire(from_below, neg(always)), (Hits{}));
  // From above back above: negative and any.
  const std::vector<std::vector<int>> from_above = {{200, 70, 101}};
  EXPECT_EQ(this->fire(from_above, neg(always)), (Hits{2}));
  EXPECT_EQ(this->fire(from_above, any(always)), (Hits{2}));
  EXPECT_EQ(this->fire(from_above, pos(always)), (Hits{}));
  // Crossings of the whole band, through it or in one jump, up or down.
  for (const auto& crossing : std::vector<std::vector<std::vector<int>>>{
           {{0, 70, 200, 70, 0}}, {{0, 200, 0, 200}}, {{200, 70, 70, 0, 200}}})
    EXPECT_EQ(this->fire(crossing, any(always)), (Hits{}));
  // A runt of width 3 (entry at 1, out at 4) across a block boundary.
  const std::vector<std::vector<int>> split = {{0, 60, 70}, {80, 0}};
  EXPECT_EQ(this->fire(split, pos({3, 3, 3})), (Hits{4}));
  EXPECT_EQ(this->fire(split, pos({4, 3, 3})), (Hits{}));
}

// Mode 5 never fires, but the trigger keeps measuring: the interval record
// after two edges has seen its first edge and holds the last one, rebased
// to the next block.
TYPED_TEST(TriggerCases, ModeFiveTracksWithoutFiring) {
  using T = TypeParam;
  std::vector<T> x = {T(0), T(100), T(0), T(100), T(0)};
  void* state = nullptr;
  uint64_t p = 0;
  EXPECT_EQ(TestFixture::F::interval_pos(x.data(), x.size(), T(100), T(50), 5, 0, ~0u, &p, &state), 0);
  EXPECT_EQ(p, x.size());
  const auto* words = static_cast<const uint32_t*>(state);
  const auto* index = reinterpret_cast<const int64_t*>(words + 2);
  EXPECT_EQ(words[0], 1u);   // the edge machine, armed again by the last 0
  EXPECT_EQ(words[1], 1u);   // first edge seen
  EXPECT_EQ(*index, 3 - 5);  // the edge at 3, seen from the next block
  morvex_m_state_free(&state);
}

}  // namespace
}  // namespace morvex::test::trigger
