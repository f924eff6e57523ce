// The dispatch rules: plain first, then each condition from the weakest set
// to the strongest overwrites, so the last one that holds wins. Checked on
// rows of made-up kernels under every combination of the four conditions,
// then on the real slots in every processor case the options can simulate
// (AVX2 without FMA3, AVX-512F without CD, AVX alone, ...).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/kernel_configs.h"
#include "frame/dispatch.h"
#include "morvex-m.h"

namespace {

using morvex::frame::AnyKernel;
using morvex::frame::pick;
using morvex::frame::Row;
using morvex::frame::Slot;

void k_plain() {}
void k_sse42() {}
void k_avx() {}
void k_avx2() {}
void k_avx512() {}

TEST(DispatchRule, LastConditionThatHoldsWinsAndMissingVariantsAreSkipped) {
  const Row full{Slot::abs_f32, k_plain, k_sse42, k_avx, k_avx2, k_avx512};
  const Row sparse{Slot::shr_clip_u8, k_plain, k_sse42, nullptr, k_avx2, nullptr};  // SSE4.2 and AVX2 only
  for (int bits = 0; bits < 16; ++bits) {
    const morvex::frame::Conditions c{bool(bits & 1), bool(bits & 2), bool(bits & 4), bool(bits & 8)};
    const AnyKernel want = c.avx512 ? k_avx512 : c.avx2_fma3 ? k_avx2 : c.avx ? k_avx : c.sse42 ? k_sse42 : k_plain;
    const AnyKernel want_sparse = c.avx2_fma3 ? k_avx2 : c.sse42 ? k_sse42 : k_plain;
    EXPECT_EQ(pick(full, c), want) << "conditions " << bits;
    EXPECT_EQ(pick(sparse, c), want_sparse) << "conditions " << bits;
  }
}

// What each kind of slot holds: abs, the four raw conversions and shr_clip
// have variants; every other slot keeps its plain kernel.
struct Expect {
  const char *abs, *raw_convert, *shr_clip;
};
struct Scenario {
  const char* name;
  std::vector<int32_t> on, off;  // options the case needs (else skipped); options switched off
  Expect expect;
};

enum : int32_t {
  kSse42 = MORVEX_M_OPT_SSE42, kAvx = MORVEX_M_OPT_AVX, kAvx2 = MORVEX_M_OPT_AVX2, kFma = MORVEX_M_OPT_FMA3,
  kF = MORVEX_M_OPT_AVX512F, kCd = MORVEX_M_OPT_AVX512CD, kBw = MORVEX_M_OPT_AVX512BW, kDq = MORVEX_M_OPT_AVX512DQ
};

const Scenario kScenarios[] = {
    {"everything on", {kSse42, kAvx, kAvx2, kFma, kF, kCd}, {}, {"avx", "avx512f+cd", "avx2+fma3"}},
    {"AVX-512BW and DQ play no part", {kSse42, kAvx, kAvx2, kFma, kF, kCd}, {kBw, kDq}, {"avx", "avx512f+cd", "avx2+fma3"}},
    {"AVX-512CD off retires AVX-512", {kSse42, kAvx, kAvx2, kFma, kF}, {kCd}, {"avx", "avx2+fma3", "avx2+fma3"}},
    {"AVX-512F off", {kSse42, kAvx, kAvx2, kFma}, {kF}, {"avx", "avx2+fma3", "avx2+fma3"}},
    {"AVX2 without FMA3", {kSse42, kAvx, kAvx2}, {kF, kFma}, {"avx", "avx", "sse4.2"}},
    {"FMA3 without AVX2", {kSse42, kAvx, kFma}, {kF, kAvx2}, {"avx", "avx", "sse4.2"}},
    {"AVX without AVX2, SSE4.2 off", {kAvx}, {kF, kAvx2, kSse42}, {"avx", "avx", "plain"}},
    {"AVX off keeps SSE4.2 for conversions", {kSse42}, {kF, kAvx2, kAvx}, {"plain", "sse4.2", "sse4.2"}},
    {"AVX off with AVX2+FMA3 on", {kSse42, kAvx2, kFma}, {kF, kAvx}, {"plain", "avx2+fma3", "avx2+fma3"}},
    {"AVX-512 alone", {kF, kCd}, {kSse42, kAvx, kAvx2, kFma}, {"plain", "avx512f+cd", "plain"}},
    {"everything off", {}, {kSse42, kAvx, kAvx2, kFma, kF, kCd}, {"plain", "plain", "plain"}},
};

class DispatchSlots : public ::testing::Test {  // this binary leaves start-up to each test
 protected:
  void SetUp() override { morvex_m_init(); }
  void TearDown() override { morvex_m_fini(); }
};

TEST_F(DispatchSlots, EveryProcessorCaseTheOptionsCanReach) {
  ASSERT_EQ(morvex::frame::kSlotCount, 22u);
  EXPECT_STREQ(morvex::frame::slot_name(Slot::convert_i8f32), "convert_i8f32");
  for (const Scenario& sc : kScenarios) {
    SCOPED_TRACE(sc.name);
    morvex::test::restore_processor_options();
    bool reachable = true;
    for (int32_t id : sc.on) {
      uint32_t v = 0;
      reachable = reachable && morvex_m_getopt(id, &v) == 0 && v;
    }
    if (!reachable) continue;
    for (int32_t id : sc.off) ASSERT_EQ(morvex_m_setopt(id, 0), 0);
    for (unsigned i = 0; i < morvex::frame::kSlotCount; ++i) {
      const std::string name = morvex::frame::slot_name(Slot(i));
      const bool raw = name == "convert_u8f32" || name == "convert_u16f32" || name == "convert_u8f64" || name == "convert_u16f64";
      const char* want = name.rfind("abs_", 0) == 0 ? sc.expect.abs
                         : raw                      ? sc.expect.raw_convert
                         : name.rfind("shr_clip_", 0) == 0 ? sc.expect.shr_clip : "plain";
      EXPECT_STREQ(morvex::frame::slot_variant(Slot(i)), want) << name;
    }
  }
  morvex::test::restore_processor_options();  // and back: the strongest kernels again
  EXPECT_STREQ(morvex::frame::slot_variant(Slot::abs_f64), "avx");
}

TEST_F(DispatchSlots, AcceptedChangesChooseAgainRefusedOnesDoNot) {
  using morvex::frame::choose_count;
  uint64_t before = choose_count();
  EXPECT_EQ(morvex_m_setopt(MORVEX_M_OPT_IPP, 0), 0);
  EXPECT_EQ(choose_count(), before + 1) << "IPP off is accepted";
  before = choose_count();
  for (int32_t id : {int32_t(MORVEX_M_OPT_IPP), int32_t(MORVEX_M_OPT_NEON), 13}) EXPECT_EQ(morvex_m_setopt(id, 1), -1);
  EXPECT_EQ(choose_count(), before);
  EXPECT_EQ(morvex_m_setopt(MORVEX_M_OPT_SSE2, 0), 0);
  EXPECT_EQ(morvex_m_setopt(MORVEX_M_OPT_SSE2, 1), 0);
  EXPECT_EQ(choose_count(), before + 2);
}

}  // namespace
