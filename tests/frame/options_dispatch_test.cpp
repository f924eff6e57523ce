// SPDX-License-Identifier: MIT
// Options and the kernel dispatch they drive. The options: the exact table,
// processor features read at start-up and checked against an independent
// source (the compiler's own processor detection, which like the library asks
// the operating system whether it saves the registers), switching them off and
// on, unknown ids. The dispatch rules: plain first, then each condition from
// the weakest set to the strongest overwrites, so the last one that holds wins;
// checked on rows of made-up kernels under every combination of the four
// conditions, then on the real slots in every processor case the options can
// simulate (AVX2 without FMA3, AVX-512F without CD, AVX alone, ...).
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "common/variant_harness.h"
#include "frame/dispatch.h"
#include "morvex-core.h"
#include "morvex-m.h"

namespace {

class Started : public ::testing::Test {  // this binary leaves start-up to each test
 protected:
  void SetUp() override { morvex_m_init(); }
  void TearDown() override { morvex_m_fini(); }
};

struct Feature {
  int32_t id;
  bool cpu;  // the compiler's word
  uint8_t (*core)();
};

std::vector<Feature> features() {
  __builtin_cpu_init();
  return {{1, bool(__builtin_cpu_supports("sse")), morvex_core_cpu_has_sse},
          {2, bool(__builtin_cpu_supports("sse2")), morvex_core_cpu_has_sse2},
          {3, bool(__builtin_cpu_supports("sse3")), morvex_core_cpu_has_sse3},
          {4, bool(__builtin_cpu_supports("ssse3")), morvex_core_cpu_has_ssse3},
          {5, bool(__builtin_cpu_supports("sse4.1")), morvex_core_cpu_has_sse41},
          {6, bool(__builtin_cpu_supports("sse4.2")), morvex_core_cpu_has_sse42},
          {7, bool(__builtin_cpu_supports("avx")), morvex_core_cpu_has_avx},
          {8, bool(__builtin_cpu_supports("avx2")), morvex_core_cpu_has_avx2},
          {9, false, morvex_core_cpu_has_neon},
          {14, bool(__builtin_cpu_supports("fma")), morvex_core_cpu_has_fma3},
          {15, bool(__builtin_cpu_supports("avx512f")), morvex_core_cpu_has_avx512f},
          {16, bool(__builtin_cpu_supports("avx512bw")), morvex_core_cpu_has_avx512bw},
          {17, bool(__builtin_cpu_supports("avx512dq")), morvex_core_cpu_has_avx512dq},
          {18, bool(__builtin_cpu_supports("avx512cd")), morvex_core_cpu_has_avx512cd}};
}

uint32_t get(int32_t id) {
  uint32_t v = 77;
  EXPECT_EQ(morvex_m_getopt(id, &v), 0) << id;
  return v;
}

using Options = Started;

TEST(OptionList, ExactTable) {
  const std::vector<std::pair<uint64_t, std::string>> want = {
      {1, "Use SSE"},       {2, "Use SSE2"},       {3, "Use SSE3"},      {4, "Use SSSE3"},   {5, "Use SSE4.1"},
      {6, "Use SSE4.2"},    {7, "Use AVX"},        {8, "Use AVX2"},      {15, "Use AVX-512F"}, {18, "Use AVX-512CD"},
      {16, "Use AVX-512BW"}, {17, "Use AVX-512DQ"}, {14, "Use FMA3"},     {9, "Use NEON"},    {10, "Use IPP"},
      {11, "Use FFTW3"},    {12, "Use FFTW3F"}};
  const morvex_m_option_entry* e = morvex_m_getopt_list();
  for (const auto& [id, name] : want) {
    ASSERT_NE(e->name, nullptr); EXPECT_EQ(e->id, id); EXPECT_EQ(std::string(e->name), name);
    ++e;
  }
  EXPECT_TRUE(e->id == 0 && e->name == nullptr);
}

TEST(OptionList, AllReadZeroBeforeStartUp) {
  // Only a process that never started the library shows this: the threadsafe
  // death-test style runs the statement in a freshly executed copy of the binary.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        int on = 0;
        for (const morvex_m_option_entry* e = morvex_m_getopt_list(); e->name; ++e) {
          uint32_t v = 7; on += morvex_m_getopt(int32_t(e->id), &v) != 0 || v != 0;
        }
        std::exit(on);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(Options, FeaturesAreTheProcessorsAndSwitchOffAndOn) {
  for (const Feature& f : features()) {
    SCOPED_TRACE(f.id);
    EXPECT_EQ(bool(f.core()), f.cpu); EXPECT_EQ(get(f.id), f.cpu); EXPECT_EQ(morvex_m_setopt(f.id, 0), 0);
    EXPECT_EQ(get(f.id), 0u);
    // On again only as far as the processor has it; any non-zero value means on.
    EXPECT_EQ(morvex_m_setopt(f.id, INT32_MIN), f.cpu ? 0 : -1); EXPECT_EQ(get(f.id), f.cpu);
  }
  for (int32_t id : {10, 11, 12}) EXPECT_EQ(get(id), 0u) << "IPP never, FFTW not before it is asked for";
  EXPECT_EQ(morvex_m_setopt(10, 0), 0); EXPECT_EQ(morvex_m_setopt(10, 1), -1);
}

TEST_F(Options, UnknownIdsAreRefusedAndTheValueUntouched) {
  for (int32_t id : {0, 13, 19, -1, 1000}) {
    uint32_t v = 12345;
    EXPECT_EQ(morvex_m_getopt(id, &v), -1) << id; EXPECT_EQ(v, 12345u) << id;
    EXPECT_EQ(morvex_m_setopt(id, 0), -1) << id; EXPECT_EQ(morvex_m_setopt(id, 1), -1) << id;
  }
}

TEST_F(Options, ANestedStartKeepsTheOptionsAFreshStartReadsTheProcessor) {
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_SSE2, 0), 0);
  morvex_m_init();
  EXPECT_EQ(get(MORVEX_M_OPT_SSE2), 0u);
  morvex_m_fini(); morvex_m_fini(); morvex_m_init();
  EXPECT_EQ(get(MORVEX_M_OPT_SSE2), 1u) << "every x86-64 processor has SSE2";
}

// ---------------------------------------------------------------- dispatch
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

using DispatchSlots = Started;

TEST_F(DispatchSlots, EveryProcessorCaseTheOptionsCanReach) {
  ASSERT_EQ(morvex::frame::kSlotCount, 22u);
  EXPECT_STREQ(morvex::frame::slot_name(Slot::convert_i8f32), "convert_i8f32");
  for (const Scenario& sc : kScenarios) {
    SCOPED_TRACE(sc.name); morvex::test::restore_processor_options(); bool reachable = true;
    for (int32_t id : sc.on) {
      uint32_t v = 0; reachable = reachable && morvex_m_getopt(id, &v) == 0 && v;
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
  EXPECT_EQ(morvex_m_setopt(MORVEX_M_OPT_IPP, 0), 0); EXPECT_EQ(choose_count(), before + 1) << "IPP off is accepted";
  before = choose_count();
  for (int32_t id : {int32_t(MORVEX_M_OPT_IPP), int32_t(MORVEX_M_OPT_NEON), 13}) EXPECT_EQ(morvex_m_setopt(id, 1), -1);
  EXPECT_EQ(choose_count(), before); EXPECT_EQ(morvex_m_setopt(MORVEX_M_OPT_SSE2, 0), 0);
  EXPECT_EQ(morvex_m_setopt(MORVEX_M_OPT_SSE2, 1), 0); EXPECT_EQ(choose_count(), before + 2);
}

}  // namespace
