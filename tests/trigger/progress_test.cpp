// SPDX-License-Identifier: MIT
// Levels are not validated, so equal and inverted ones arrive too (from a
// slider, say): every call must still return, and a caller asking for the
// next hit from the one returned must move on. walk() fails a hit that does
// not move forward; a call that never returns is ended by an alarm.
#include <gtest/gtest.h>
#include <unistd.h>

#include "trigger/trigger_fixture.h"

namespace morvex::test::trigger {
namespace {

template <class T>
std::vector<uint64_t> hits(std::vector<T> x, std::function<int32_t(const T*, uint64_t, uint64_t*, void**)> f) {
  return walk(Trigger<T>{f}, x.data(), {x.size()});
}

TEST(TriggerProgress, ReportedHangsAndRepeats) {
  alarm(60);
  using namespace std;  // the rows: what, hits found, hits wanted
  const tuple<const char*, vector<uint64_t>, vector<uint64_t>> rows[] = {
      {"pulse width, equal levels, time never met: hung in one call",
       hits<uint8_t>({5}, [](auto d, auto n, auto p, auto s) {
         return morvex_m_trigger_pulse_width_positive_u8(d, n, 5, 5, 1, 0, 0, p, s); }), {}},
      {"pulse width, upper below lower: pulses at least one sample wide",
       hits<float>({1, 1, 1}, [](auto d, auto n, auto p, auto s) {
         return morvex_m_trigger_pulse_width_negative_f32(d, n, 1.0f, 2.0f, 0, 0, 0, p, s); }), {1, 2}},
      {"edge any, low arming level above the high one: leaves and returns on one sample",
       hits<uint8_t>({115}, [](auto d, auto n, auto p, auto s) {
         return morvex_m_trigger_edge_any_u8(d, n, 115, 123, 123, p, s); }), {}},
      {"window exit, arming band past the trigger band: arms at 0, fires at 1, not again",
       hits<int16_t>({80, 80}, [](auto d, auto n, auto p, auto s) {
         return morvex_m_trigger_window_exit_i16(d, n, 100, 60, 0, 40, p, s); }), {1}},
  };
  for (const auto& [what, got, want] : rows) EXPECT_EQ(got, want) << what;
  alarm(0);
}

template <class T>
class TriggerProgress : public ::testing::Test {};
TYPED_TEST_SUITE(TriggerProgress, Types);

// All 14 kinds, levels drawn from the palette (often equal, as often inverted
// as ordered, now and then NaN), random time conditions, plateau records with NaNs for floats:
// every walk ends with hits moving on, and all kinds but window inside and
// exit (which judge the sample a call starts on) hit the same in random
// blocks as in one piece.
TYPED_TEST(TriggerProgress, EveryTriggerMovesOnWhateverTheLevels) {
  using T = TypeParam;
  using F = Fns<T>;
  const auto values = palette<T>();
  std::mt19937 rng(12);
  alarm(120);
  for (uint32_t round = 0; round < 500; ++round) {
    T v[4];
    for (T& l : v) l = values[rng() % values.size()];
    if (rng() % 3 == 0) v[1] = v[0];
    if (rng() % 3 == 0) v[3] = v[2];
    if (std::is_floating_point_v<T> && rng() % 8 == 0) v[rng() % 4] = std::numeric_limits<T>::quiet_NaN();
    const T a = v[0], b = v[1], c = v[2], d = v[3];
    const When w{uint32_t(rng() % 6), uint32_t(rng() % 6), uint32_t(rng() % 6)};
    auto timed = [&](auto fn) {
      return Trigger<T>{[=](auto x, auto n, auto p, auto s) { return fn(x, n, a, b, w.mode, w.t1, w.t2, p, s); }};
    };
    const Trigger<T> kinds[] = {
        {[=](auto x, auto n, auto p, auto s) { return F::rising(x, n, a, b, p, s); }},
        {[=](auto x, auto n, auto p, auto s) { return F::falling(x, n, a, b, p, s); }},
        {[=](auto x, auto n, auto p, auto s) { return F::any(x, n, a, b, c, p, s); }},
        {[=](auto x, auto n, auto p, auto s) { return F::enter(x, n, a, b, c, d, p, s); }},
        {[=](auto x, auto n, auto p, void**) { return F::outside(x, n, a, b, p); }, true},
        timed(F::interval_pos), timed(F::interval_neg), timed(F::pulse_pos), timed(F::pulse_neg),
        timed(F::runt_pos), timed(F::runt_neg), timed(F::runt_any),
        {[=](auto x, auto n, auto p, auto s) { return F::inside(x, n, a, b, p, s); }, true},
        {[=](auto x, auto n, auto p, auto s) { return F::exit(x, n, a, b, c, d, p, s); }},
    };
    std::vector<T> x = plateau_signal<T>(300, round);
    std::vector<uint64_t> unused;
    if constexpr (std::is_floating_point_v<T>) x = with_nans(x, round, unused);
    for (size_t k = 0; k < std::size(kinds); ++k) {
      SCOPED_TRACE(::testing::Message() << "round " << round << ", kind " << k << ", levels " << +a << " " << +b
                                        << " " << +c << " " << +d << ", mode " << w.mode);
      const auto whole = walk(kinds[k], x.data(), {x.size()});
      if (k >= 12) continue;
      EXPECT_TRUE(same_hits(walk(kinds[k], x.data(), random_blocks(x.size(), round)), whole));
    }
  }
  alarm(0);
}

}  // namespace
}  // namespace morvex::test::trigger
