// SPDX-License-Identifier: MIT
// The frame when memory runs out or the library is not started yet.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "common/alloc_fail.h"
#include "frame/dispatch.h"
#include "frame/split.h"
#include "generate/weight_cache.h"
#include "morvex-m.h"

namespace morvex::test {
namespace {

// A pool that cannot allocate a task runs it on the caller before returning
// NULL, which wait and delete accept. The one allocation seen also proves that
// the hook reaches into libmorvex-tp.so.
TEST(Faults, PoolRunsATaskItCannotAllocateOnTheCaller) {
  ASSERT_EQ(morvex_tp_init(), 0);
  int runs = 0;
  alloc_fail_arm(1, false, true);  // the worker may still be starting
  morvex_tp_task* t = morvex_tp_context_new_task(nullptr, [](void* a) { ++*static_cast<int*>(a); }, &runs);
  EXPECT_EQ(alloc_fail_disarm(), 1u);
  EXPECT_EQ(t, nullptr);
  EXPECT_EQ(morvex_tp_wait(&t, 1), 0);
  morvex_tp_task_delete(t);
  EXPECT_EQ(runs, 1);
  morvex_tp_fini();
}

// A Hann window in place over 1000 ones, split eight ways (records on the
// stack, seven tasks) and twenty ways (records and handles on the heap,
// nineteen tasks), with the k-th allocation failing (sticky: and all after
// it) for every allocation the call makes: a chunk skipped or computed twice
// changes its weights. (Kept weights would skip the split.) Only this
// thread's allocations count and fail: the split allocates nothing
// elsewhere, and the pool's worker may still be starting.
TEST(Faults, SplitComputesEveryElementOnceWhicheverAllocationFails) {
  ASSERT_EQ(morvex_m_init(), 0);
  generate::set_weight_cache_enabled(false);
  std::vector<float> want(1000, 1.0f), got(1000, 1.0f);
  frame::set_split_thread_count(1);
  ASSERT_EQ(morvex_m_window_hanning_f32(want.data(), want.data(), want.size(), 1), 0);
  const struct {
    unsigned threads;
    uint64_t allocations;
  } cases[] = {{8, 7}, {20, 21}};
  for (const auto& c : cases) {
    frame::set_split_thread_count(c.threads);
    alloc_fail_arm(0, false, true);
    morvex_m_window_hanning_f32(got.data(), got.data(), got.size(), 1);
    const uint64_t allocations = alloc_fail_disarm();
    EXPECT_EQ(allocations, c.allocations) << c.threads << " threads";
    for (const bool sticky : {false, true}) {
      for (uint64_t k = 1; k <= allocations; ++k) {
        got.assign(1000, 1.0f);
        alloc_fail_arm(k, sticky, true);
        EXPECT_EQ(morvex_m_window_hanning_f32(got.data(), got.data(), got.size(), 1), 0);
        alloc_fail_disarm();
        EXPECT_EQ(got, want) << c.threads << " threads, allocation " << k << (sticky ? " and all after it" : "")
                             << " failing";
      }
    }
  }
  frame::set_split_thread_count(0);
  generate::set_weight_cache_enabled(true);
  morvex_m_fini();
}

// 0 when every slot holds its plain kernel and two exports compute with them.
int check_before_init() {
  for (unsigned s = 0; s < frame::kSlotCount; ++s)
    if (std::strcmp(frame::slot_variant(frame::Slot(s)), "plain") != 0) return 2;
  const uint8_t raw[5] = {0, 1, 127, 128, 255};
  const float want[5] = {1.0f, 0.5f, 62.5f, 63.0f, 126.5f};
  float converted[5], magnitude[5];
  morvex_m_convert_u8f32(raw, converted, 5, 0.5f, -1.0f);
  morvex_m_abs_f32(converted, magnitude, 5);
  return std::memcmp(magnitude, want, sizeof want) == 0 ? 0 : 1;
}

// The child re-runs this binary for this test alone: no init has happened.
TEST(FaultsDeathTest, ForwardingExportsWorkBeforeInit) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::_Exit(check_before_init()), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace morvex::test
