// SPDX-License-Identifier: MIT
// Start-up and shut-down, reference counted and safe from many threads;
// status texts, the version record and the release of trigger states.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "frame/dispatch.h"
#include "frame/lifecycle.h"
#include "morvex-m.h"
#include "morvex-tp.h"

// Interposes the pool's status call so that a test can make the pool report
// zero workers; otherwise it forwards to the real libmorvex-tp.
static std::atomic<bool> g_report_zero_workers{false};
extern "C" int32_t morvex_tp_get_status(void* buf, uint64_t len) {
  if (g_report_zero_workers.load()) return std::memset(buf, 0, len < 16 ? len : 16), 0;
  static const auto real = reinterpret_cast<int32_t (*)(void*, uint64_t)>(dlsym(RTLD_NEXT, "morvex_tp_get_status"));
  return real(buf, len);
}

namespace {

using morvex::frame::init_count;

uint16_t pool_workers() {
  unsigned char st[2] = {};
  morvex_tp_get_status(st, 2);
  return uint16_t(st[0] | st[1] << 8);
}

TEST(Status, TextsByCode) {
  const char* const texts[] = {"Success", "Failed", "Error data length", "Out of memory", "Invalid plan", "nullptr"};
  for (int32_t code = 0; code >= -5; --code) EXPECT_STREQ(morvex_m_status_str(code), texts[-code]);
  for (int32_t code : {1, -6, INT32_MIN}) EXPECT_EQ(morvex_m_status_str(code), nullptr);
}

TEST(Version, OneConstantRecord) {
  const morvex_m_version* v = morvex_m_get_version();
  ASSERT_NE(v, nullptr); EXPECT_EQ(v->version, 0x0001000500260000ull) << "1.5.38 in 16-bit fields, the last 0";
  ASSERT_NE(v->extra, nullptr); EXPECT_STREQ(v->extra, ""); EXPECT_EQ(morvex_m_get_version(), v);
}

TEST(StateFree, FreesAndClearsTheHandle) {
  void* state = std::calloc(1, 4); morvex_m_state_free(&state);
  EXPECT_EQ(state, nullptr);
  morvex_m_state_free(&state);  // already null: harmless
}

TEST(Lifecycle, ReferenceCountedStartUp) {
  ASSERT_EQ(init_count(), 0u); EXPECT_EQ(morvex_m_init(), 0); EXPECT_EQ(morvex_m_init(), 0);
  EXPECT_EQ(morvex_m_fini(), 0);
  // Still started: slots filled, the pool running.
  EXPECT_EQ(init_count(), 1u);
  for (unsigned s = 0; s < morvex::frame::kSlotCount; ++s)
    EXPECT_STRNE(morvex::frame::slot_variant(morvex::frame::Slot(s)), "unset") << s;
  EXPECT_GE(pool_workers(), 1); EXPECT_GE(morvex::frame::worker_count(), 1u); EXPECT_EQ(morvex_m_fini(), 0);
  EXPECT_EQ(init_count(), 0u); EXPECT_EQ(pool_workers(), 0) << "the last fini stops the pool";
}

TEST(Lifecycle, PoolReportingZeroWorkersCountsAsOne) {
  g_report_zero_workers = true; morvex_m_init(); g_report_zero_workers = false;
  EXPECT_EQ(morvex::frame::worker_count(), 1u);
  morvex_m_fini();
}

TEST(LifecycleConcurrency, InitAndFiniFromEightThreads) {
  for (int round = 0; round < 20; ++round) {
    std::atomic<int> go{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
      threads.emplace_back([&] {
        while (!go.load()) std::this_thread::yield();
        for (int i = 0; i < 5; ++i) {
          morvex_m_init();
          // Started whenever our reference is held: a slotted export works.
          const float in[2] = {-1.0f, 2.0f};
          float out[2]; morvex_m_abs_f32(in, out, 2);
          EXPECT_EQ(out[0], 1.0f);
          morvex_m_fini();
        }
      });
    go = 1;
    for (auto& th : threads) th.join();
    ASSERT_EQ(init_count(), 0u);
  }
}

// Kept last in this file: an unbalanced fini wraps the count, after which the
// library never starts again in this process. The test puts it back.
TEST(Lifecycle, UnbalancedFiniWrapsTheCount) {
  ASSERT_EQ(init_count(), 0u); EXPECT_EQ(morvex_m_fini(), 0); EXPECT_EQ(init_count(), UINT64_MAX);
  EXPECT_EQ(morvex_m_init(), 0);  // 2^64 - 1 -> 0 counts as "already started"
  EXPECT_EQ(init_count(), 0u); EXPECT_EQ(pool_workers(), 0) << "the platform libraries were not started";
}

}  // namespace
