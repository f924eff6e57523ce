// The calling scheme around the state block: allocation on the first call,
// the early return for an exhausted block, the exact range of every state
// number (the top value runs, one more fails without touching anything),
// allocation failure and a NULL handle pointer; and triggers running on many
// threads at once, each with its own state.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "trigger/trigger_fixture.h"

// Every calloc of this binary comes here (see extra.cmake); the tests switch
// failure on around a single trigger call.
extern "C" void* __real_calloc(size_t count, size_t size);
namespace {
std::atomic<bool> g_refuse_calloc{false};
}
extern "C" void* __wrap_calloc(size_t count, size_t size) {
  if (g_refuse_calloc.load(std::memory_order_relaxed)) return nullptr;
  return __real_calloc(count, size);
}

namespace morvex::test::trigger {
namespace {

// A stateful trigger with its levels bound, the size of its state block, and
// records at the top of its range (must run) and just past it (must fail).
template <class T>
struct Stateful {
  const char* name;
  std::function<int32_t(const T*, uint64_t, uint64_t*, void**)> call;
  size_t bytes;
  std::vector<std::vector<uint32_t>> top, past;  // leading 32-bit words of the record
};

template <class T>
std::vector<Stateful<T>> stateful() {
  using F = Fns<T>;
  const T hi = T(100), lo = T(50);
  auto timed = [=](auto fn) {
    return [=](const T* d, uint64_t n, uint64_t* p, void** s) { return fn(d, n, hi, lo, 0, 0, 0, p, s); };
  };
  return {
      {"edge rising", [=](auto d, auto n, auto p, auto s) { return F::rising(d, n, lo, hi, p, s); }, 4, {{2}}, {{3}}},
      {"edge falling", [=](auto d, auto n, auto p, auto s) { return F::falling(d, n, hi, lo, p, s); }, 4, {{2}}, {{3}}},
      {"edge any", [=](auto d, auto n, auto p, auto s) { return F::any(d, n, hi, lo, T(75), p, s); }, 4, {{4}}, {{5}}},
      {"window inside", [=](auto d, auto n, auto p, auto s) { return F::inside(d, n, hi, lo, p, s); }, 4, {{2}}, {{3}}},
      {"window enter", [=](auto d, auto n, auto p, auto s) { return F::enter(d, n, T(120), hi, T(20), lo, p, s); },
       4, {{4}}, {{5}}},
      {"window exit", [=](auto d, auto n, auto p, auto s) { return F::exit(d, n, T(80), T(120), T(60), T(20), p, s); },
       4, {{3}}, {{4}}},
      {"interval positive", timed(F::interval_pos), 16, {{2, 1}}, {{3, 0}, {0, 2}}},
      {"interval negative", timed(F::interval_neg), 16, {{2, 1}}, {{3, 0}, {0, 2}}},
      {"pulse width positive", timed(F::pulse_pos), 16, {{2}}, {{3}}},
      {"pulse width negative", timed(F::pulse_neg), 16, {{2}}, {{3}}},
      // runt: side, main, sub (64-bit, low word first)
      {"runt positive", timed(F::runt_pos), 24, {{0, 3, 2, 0}}, {{0, 4, 0, 0}, {0, 0, 3, 0}, {0, 0, 0, 1}}},
      {"runt negative", timed(F::runt_neg), 24, {{0, 3, 2, 0}}, {{0, 4, 0, 0}, {0, 0, 3, 0}}},
      {"runt any", timed(F::runt_any), 24, {{0, 3, 2, 0}}, {{0, 4, 0, 0}, {0, 0, 3, 0}}},
  };
}

template <class T>
class TriggerState : public ::testing::Test {};
TYPED_TEST_SUITE(TriggerState, Types);

TYPED_TEST(TriggerState, StateRangesAreExact) {
  using T = TypeParam;
  const std::vector<T> x = {T(0), T(75), T(200), T(75), T(0)};
  for (const Stateful<T>& t : stateful<T>()) {
    SCOPED_TRACE(t.name);
    // An exhausted block still allocates a zeroed state, and does nothing else.
    void* state = nullptr;
    uint64_t p = x.size();
    ASSERT_EQ(t.call(x.data(), x.size(), &p, &state), 0);
    ASSERT_NE(state, nullptr);
    EXPECT_EQ(p, x.size());
    std::vector<unsigned char> zero(t.bytes, 0), before(t.bytes);
    EXPECT_EQ(std::memcmp(state, zero.data(), t.bytes), 0);

    for (const auto& words : t.past) {
      std::memset(state, 0, t.bytes);
      std::memcpy(state, words.data(), words.size() * 4);
      std::memcpy(before.data(), state, t.bytes);
      p = 1;
      EXPECT_EQ(t.call(x.data(), x.size(), &p, &state), -1);
      EXPECT_EQ(p, 1u);
      EXPECT_EQ(std::memcmp(state, before.data(), t.bytes), 0);
      // ... but an exhausted block returns before looking at the state.
      p = x.size();
      EXPECT_EQ(t.call(x.data(), x.size(), &p, &state), 0);
    }
    for (const auto& words : t.top) {
      std::memset(state, 0, t.bytes);
      std::memcpy(state, words.data(), words.size() * 4);
      p = 1;
      EXPECT_EQ(t.call(x.data(), x.size(), &p, &state), 0);
      EXPECT_LE(p, x.size());
    }
    morvex_m_state_free(&state);
    EXPECT_EQ(state, nullptr);
    morvex_m_state_free(&state);  // a NULL state is fine
    EXPECT_EQ(state, nullptr);
  }
}

TYPED_TEST(TriggerState, AllocationFailureAndNullHandle) {
  using T = TypeParam;
  const std::vector<T> x = {T(0), T(200), T(0)};
  for (const Stateful<T>& t : stateful<T>()) {
    SCOPED_TRACE(t.name);
    void* state = nullptr;
    uint64_t p = 0;
    g_refuse_calloc = true;
    const int32_t status = t.call(x.data(), x.size(), &p, &state);
    g_refuse_calloc = false;
    EXPECT_EQ(status, -3);
    EXPECT_EQ(state, nullptr);
    EXPECT_EQ(p, 0u);
    // Nothing was lost: the next call allocates and runs.
    EXPECT_EQ(t.call(x.data(), x.size(), &p, &state), 0);
    EXPECT_NE(state, nullptr);
    morvex_m_state_free(&state);

    p = 0;
    EXPECT_EQ(t.call(x.data(), x.size(), &p, nullptr), -5);
    EXPECT_EQ(p, 0u);
  }
}

// Triggers share nothing but the options: threads walking the same record,
// each with its own state, all see what one thread sees.
TEST(TriggerConcurrency, IndependentStatesOnManyThreads) {
  using T = uint16_t;
  const std::vector<T> x = plateau_signal<T>(50000, 7);
  const T l1 = level<T>(1), l2 = level<T>(2);
  const Trigger<T> runt{[=](auto d, auto n, auto p, auto s) {
    return morvex_m_trigger_runt_pulse_any_u16(d, n, l2, l1, 3, 2, 30, p, s);
  }};
  const std::vector<uint64_t> alone = walk(runt, x.data(), random_blocks(x.size(), 1));
  ASSERT_FALSE(alone.empty());
  std::vector<std::thread> threads;
  std::atomic<int> mismatches{0};
  for (uint32_t k = 0; k < 6; ++k)
    threads.emplace_back([&, k] {
      for (uint32_t round = 0; round < 4; ++round)
        if (walk(runt, x.data(), random_blocks(x.size(), 10 * k + round + 2)) != alone) ++mismatches;
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
}  // namespace morvex::test::trigger
