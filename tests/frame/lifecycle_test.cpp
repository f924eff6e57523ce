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
  if (g_report_zero_workers.load()) {
    std::memset(buf, 0, len < 16 ? len : 16);
    return 0;
  }
  using Fn = int32_t (*)(void*, uint64_t);
  static Fn real = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, "morvex_tp_get_status"));
  return real(buf, len);
}

namespace {

TEST(Status, TextsByCode) {
  EXPECT_STREQ(morvex_m_status_str(0), "Success");
  EXPECT_STREQ(morvex_m_status_str(-1), "Failed");
  EXPECT_STREQ(morvex_m_status_str(-2), "Error data length");
  EXPECT_STREQ(morvex_m_status_str(-3), "Out of memory");
  EXPECT_STREQ(morvex_m_status_str(-4), "Invalid plan");
  EXPECT_STREQ(morvex_m_status_str(-5), "nullptr");
  EXPECT_EQ(morvex_m_status_str(1), nullptr);
  EXPECT_EQ(morvex_m_status_str(-6), nullptr);
  EXPECT_EQ(morvex_m_status_str(INT32_MIN), nullptr);
}

TEST(Version, Record) {
  const morvex_m_version* v = morvex_m_get_version();
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(v->version, 0x0001000500260000ull);
  EXPECT_EQ(v->version >> 48, 1u);
  EXPECT_EQ((v->version >> 32) & 0xFFFF, 5u);
  EXPECT_EQ((v->version >> 16) & 0xFFFF, 38u);
  EXPECT_EQ(v->version & 0xFFFF, 0u);
  ASSERT_NE(v->extra, nullptr);
  EXPECT_STREQ(v->extra, "");
  EXPECT_EQ(morvex_m_get_version(), v);  // one constant record
}

TEST(StateFree, FreesAndClearsHandle) {
  void* state = std::calloc(1, 4);
  morvex_m_state_free(&state);
  EXPECT_EQ(state, nullptr);
  morvex_m_state_free(&state);  // already null: harmless
  EXPECT_EQ(state, nullptr);
}

TEST(Lifecycle, ReferenceCounted) {
  ASSERT_EQ(morvex::frame::init_count(), 0u);
  EXPECT_EQ(morvex_m_init(), 0);
  EXPECT_EQ(morvex_m_init(), 0);
  EXPECT_EQ(morvex::frame::init_count(), 2u);
  EXPECT_EQ(morvex_m_fini(), 0);
  // Still started: slots filled, the pool running.
  EXPECT_EQ(morvex::frame::init_count(), 1u);
  unsigned char st[16] = {};
  morvex_tp_get_status(st, 16);
  EXPECT_GE(st[0] | (st[1] << 8), 1);
  EXPECT_EQ(morvex_m_fini(), 0);
  EXPECT_EQ(morvex::frame::init_count(), 0u);
  morvex_tp_get_status(st, 16);
  EXPECT_EQ(st[0] | (st[1] << 8), 0) << "the last fini stops the pool";
}

TEST(Lifecycle, StartUpFillsEverySlotAndReadsFeatures) {
  morvex_m_init();
  for (unsigned s = 0; s < morvex::frame::kSlotCount; ++s)
    EXPECT_STRNE(morvex::frame::slot_variant(morvex::frame::Slot(s)), "unset") << s;
  uint32_t sse2 = 0;
  EXPECT_EQ(morvex_m_getopt(MORVEX_M_OPT_SSE2, &sse2), 0);
  EXPECT_EQ(sse2, 1u) << "every x86-64 processor has SSE2";
  EXPECT_GE(morvex::frame::worker_count(), 1u);
  morvex_m_fini();
}

TEST(Lifecycle, RestartReadsFeaturesAfresh) {
  morvex_m_init();
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_SSE2, 0), 0);
  morvex_m_init();  // a nested init does not read the features again
  uint32_t v = 1;
  morvex_m_getopt(MORVEX_M_OPT_SSE2, &v);
  EXPECT_EQ(v, 0u);
  morvex_m_fini();
  morvex_m_fini();
  morvex_m_init();  // a fresh start does
  morvex_m_getopt(MORVEX_M_OPT_SSE2, &v);
  EXPECT_EQ(v, 1u);
  morvex_m_fini();
}

TEST(Lifecycle, PoolReportingZeroWorkersCountsAsOne) {
  g_report_zero_workers = true;
  morvex_m_init();
  g_report_zero_workers = false;
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
          float in[3] = {-1.0f, 2.0f, -0.0f}, out[3];
          morvex_m_abs_f32(in, out, 3);
          EXPECT_EQ(out[0], 1.0f);
          morvex_m_fini();
        }
      });
    go = 1;
    for (auto& th : threads) th.join();
    ASSERT_EQ(morvex::frame::init_count(), 0u);
  }
}

// Kept last in this file: an unbalanced fini wraps the count, after which the
// library never starts again in this process. The test puts it back.
TEST(Lifecycle, UnbalancedFiniWrapsTheCount) {
  ASSERT_EQ(morvex::frame::init_count(), 0u);
  EXPECT_EQ(morvex_m_fini(), 0);
  EXPECT_EQ(morvex::frame::init_count(), UINT64_MAX);
  EXPECT_EQ(morvex_m_init(), 0);  // 2^64-1 -> 0 counts as "already started"
  EXPECT_EQ(morvex::frame::init_count(), 0u);
  unsigned char st[16] = {};
  morvex_tp_get_status(st, 16);
  EXPECT_EQ(st[0] | (st[1] << 8), 0) << "the platform libraries were not started";
}

}  // namespace
