// Which kernel each of the 22 slots holds after option changes, including the
// processor cases that this machine can only simulate through the options
// (AVX2 without FMA3; AVX without AVX2 and with SSE4.2 off; ...).
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "common/kernel_configs.h"
#include "frame/dispatch.h"
#include "morvex-core.h"
#include "morvex-m.h"

namespace {

using morvex::frame::Slot;
using morvex::frame::slot_name;
using morvex::frame::slot_variant;

// What each kind of slot should hold. Slots other than abs, the four raw
// conversions and shr_clip must always hold the plain kernel.
struct Expect {
  const char* abs;
  const char* raw_convert;
  const char* shr_clip;
};

struct Scenario {
  const char* name;
  std::vector<int32_t> on;   // options that must be available (else skipped)
  std::vector<int32_t> off;  // options switched off, starting from all on
  Expect expect;
};

bool is_raw_convert(const std::string& s) {
  return s == "convert_u8f32" || s == "convert_u16f32" || s == "convert_u8f64" || s == "convert_u16f64";
}

void check_slots(const Expect& e) {
  for (unsigned i = 0; i < morvex::frame::kSlotCount; ++i) {
    const std::string name = slot_name(Slot(i));
    const char* want = "plain";
    if (name.rfind("abs_", 0) == 0) want = e.abs;
    else if (is_raw_convert(name)) want = e.raw_convert;
    else if (name.rfind("shr_clip_", 0) == 0) want = e.shr_clip;
    EXPECT_STREQ(slot_variant(Slot(i)), want) << name;
  }
}

bool available(int32_t id) {
  morvex_m_setopt(id, 1);
  uint32_t v = 0;
  morvex_m_getopt(id, &v);
  return v != 0;
}

enum : int32_t {
  kSse42 = MORVEX_M_OPT_SSE42, kAvx = MORVEX_M_OPT_AVX, kAvx2 = MORVEX_M_OPT_AVX2, kFma = MORVEX_M_OPT_FMA3,
  kF = MORVEX_M_OPT_AVX512F, kCd = MORVEX_M_OPT_AVX512CD, kBw = MORVEX_M_OPT_AVX512BW, kDq = MORVEX_M_OPT_AVX512DQ
};

const std::vector<Scenario>& scenarios() {
  static const std::vector<Scenario> s = {
      {"everything on", {kSse42, kAvx, kAvx2, kFma, kF, kCd}, {}, {"avx", "avx512f+cd", "avx2+fma3"}},
      {"AVX-512BW and DQ play no part", {kSse42, kAvx, kAvx2, kFma, kF, kCd}, {kBw, kDq},
       {"avx", "avx512f+cd", "avx2+fma3"}},
      {"AVX-512CD off retires AVX-512", {kSse42, kAvx, kAvx2, kFma, kF}, {kCd}, {"avx", "avx2+fma3", "avx2+fma3"}},
      {"AVX-512F off", {kSse42, kAvx, kAvx2, kFma}, {kF}, {"avx", "avx2+fma3", "avx2+fma3"}},
      {"AVX2 without FMA3", {kSse42, kAvx, kAvx2}, {kF, kFma}, {"avx", "avx", "sse4.2"}},
      {"FMA3 without AVX2", {kSse42, kAvx, kFma}, {kF, kAvx2}, {"avx", "avx", "sse4.2"}},
      {"AVX without AVX2, SSE4.2 off", {kAvx}, {kF, kAvx2, kSse42}, {"avx", "avx", "plain"}},
      {"AVX off keeps SSE4.2 for conversions", {kSse42}, {kF, kAvx2, kAvx}, {"plain", "sse4.2", "sse4.2"}},
      {"AVX off with AVX2+FMA3 on", {kSse42, kAvx2, kFma}, {kF, kAvx}, {"plain", "avx2+fma3", "avx2+fma3"}},
      {"AVX-512 alone", {kF, kCd}, {kSse42, kAvx, kAvx2, kFma}, {"plain", "avx512f+cd", "plain"}},
      {"SSE4.2 alone", {kSse42}, {kAvx, kAvx2, kFma, kF, kCd}, {"plain", "sse4.2", "sse4.2"}},
      {"everything off", {}, {kSse42, kAvx, kAvx2, kFma, kF, kCd}, {"plain", "plain", "plain"}},
  };
  return s;
}

TEST(OpsSlots, EveryScenarioPicksTheWeakestToStrongestLastHolding) {
  for (const Scenario& sc : scenarios()) {
    SCOPED_TRACE(sc.name);
    morvex::test::restore_processor_options();
    bool ok = true;
    for (int32_t id : sc.on) ok = ok && available(id);
    if (!ok) continue;  // the processor cannot reach this case
    for (int32_t id : sc.off) ASSERT_EQ(morvex_m_setopt(id, 0), 0);
    check_slots(sc.expect);
  }
  morvex::test::restore_processor_options();
}

TEST(OpsSlots, SwitchingBackOnRestoresTheStrongestKernel) {
  if (!morvex_core_cpu_has_avx2() || !morvex_core_cpu_has_fma3()) GTEST_SKIP() << "no AVX2+FMA3 here";
  morvex::test::restore_processor_options();
  const std::string best = slot_variant(Slot::convert_u8f32);
  ASSERT_EQ(morvex_m_setopt(kFma, 0), 0);
  EXPECT_STREQ(slot_variant(Slot::shr_clip_u16), "sse4.2");
  ASSERT_EQ(morvex_m_setopt(kFma, 1), 0);
  EXPECT_STREQ(slot_variant(Slot::shr_clip_u16), "avx2+fma3");
  EXPECT_EQ(slot_variant(Slot::convert_u8f32), best);
}

TEST(OpsSlots, RefusedRequestDoesNotRechooseButLeavesTheFlagOff) {
  // IPP can never be switched on: the request fails without re-choosing.
  const uint64_t before = morvex::frame::choose_count();
  EXPECT_EQ(morvex_m_setopt(MORVEX_M_OPT_IPP, 1), -1);
  EXPECT_EQ(morvex::frame::choose_count(), before);
  EXPECT_EQ(morvex_m_setopt(MORVEX_M_OPT_AVX, 0), 0);
  EXPECT_EQ(morvex::frame::choose_count(), before + 1);
  morvex::test::restore_processor_options();
}

}  // namespace
