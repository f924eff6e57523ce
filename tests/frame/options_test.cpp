#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "frame/dispatch.h"
#include "morvex-core.h"
#include "morvex-m.h"

namespace {

// The processor query behind each feature option.
uint8_t processor_has(int32_t id) {
  switch (id) {
    case 1: return morvex_core_cpu_has_sse();
    case 2: return morvex_core_cpu_has_sse2();
    case 3: return morvex_core_cpu_has_sse3();
    case 4: return morvex_core_cpu_has_ssse3();
    case 5: return morvex_core_cpu_has_sse41();
    case 6: return morvex_core_cpu_has_sse42();
    case 7: return morvex_core_cpu_has_avx();
    case 8: return morvex_core_cpu_has_avx2();
    case 9: return morvex_core_cpu_has_neon();
    case 14: return morvex_core_cpu_has_fma3();
    case 15: return morvex_core_cpu_has_avx512f();
    case 16: return morvex_core_cpu_has_avx512bw();
    case 17: return morvex_core_cpu_has_avx512dq();
    case 18: return morvex_core_cpu_has_avx512cd();
  }
  return 0;
}

const int32_t kFeatureIds[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 14, 15, 16, 17, 18};

uint32_t get(int32_t id) {
  uint32_t v = 77;
  EXPECT_EQ(morvex_m_getopt(id, &v), 0) << id;
  return v;
}

class Options : public ::testing::Test {
 protected:
  void SetUp() override { morvex_m_init(); }
  void TearDown() override { morvex_m_fini(); }
};

TEST(OptionList, ExactTable) {
  const std::vector<std::pair<uint64_t, std::string>> expected = {
      {1, "Use SSE"},       {2, "Use SSE2"},       {3, "Use SSE3"},      {4, "Use SSSE3"},
      {5, "Use SSE4.1"},    {6, "Use SSE4.2"},     {7, "Use AVX"},       {8, "Use AVX2"},
      {15, "Use AVX-512F"}, {18, "Use AVX-512CD"}, {16, "Use AVX-512BW"}, {17, "Use AVX-512DQ"},
      {14, "Use FMA3"},     {9, "Use NEON"},       {10, "Use IPP"},      {11, "Use FFTW3"},
      {12, "Use FFTW3F"}};
  const morvex_m_option_entry* e = morvex_m_getopt_list();
  for (const auto& [id, name] : expected) {
    ASSERT_NE(e->name, nullptr);
    EXPECT_EQ(e->id, id);
    EXPECT_EQ(std::string(e->name), name);
    ++e;
  }
  EXPECT_EQ(e->id, 0u);
  EXPECT_EQ(e->name, nullptr);
}

TEST(OptionsStopped, AllReadZeroBeforeInit) {
  // Only a process that never started the library shows this; the threadsafe
  // death-test style runs the statement in a freshly executed copy of the binary.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        int on = 0;
        for (const morvex_m_option_entry* e = morvex_m_getopt_list(); e->name; ++e) {
          uint32_t v = 7;
          if (morvex_m_getopt(int32_t(e->id), &v) != 0 || v != 0) ++on;
        }
        std::exit(on);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(Options, InvalidIdsRejectedAndValueUntouched) {
  for (int32_t id : {0, 13, 19, -1, 1000}) {
    uint32_t v = 12345;
    EXPECT_EQ(morvex_m_getopt(id, &v), -1) << id;
    EXPECT_EQ(v, 12345u) << id;
    EXPECT_EQ(morvex_m_setopt(id, 0), -1) << id;
    EXPECT_EQ(morvex_m_setopt(id, 1), -1) << id;
  }
}

TEST_F(Options, StartUpMirrorsTheProcessor) {
  for (int32_t id : kFeatureIds) EXPECT_EQ(get(id), processor_has(id)) << id;
  EXPECT_EQ(get(9), 0u) << "no NEON on x86-64";
  EXPECT_EQ(get(10), 0u);
  EXPECT_EQ(get(11), 0u) << "FFTW is never loaded at start-up";
  EXPECT_EQ(get(12), 0u);
}

TEST_F(Options, FeatureOffThenOn) {
  for (int32_t id : kFeatureIds) {
    EXPECT_EQ(morvex_m_setopt(id, 0), 0) << id;
    EXPECT_EQ(get(id), 0u) << id;
    // On again only as far as the processor has it.
    EXPECT_EQ(morvex_m_setopt(id, 1), processor_has(id) ? 0 : -1) << id;
    EXPECT_EQ(get(id), processor_has(id)) << id;
  }
}

TEST_F(Options, AnyNonZeroValueMeansOn) {
  ASSERT_EQ(morvex_m_setopt(2, 0), 0);
  EXPECT_EQ(morvex_m_setopt(2, -7), 0);
  EXPECT_EQ(get(2), 1u);
  ASSERT_EQ(morvex_m_setopt(2, 0), 0);
  EXPECT_EQ(morvex_m_setopt(2, INT32_MIN), 0);
  EXPECT_EQ(get(2), 1u);
}

TEST_F(Options, NeonCannotBeSwitchedOnHere) {
  EXPECT_EQ(morvex_m_setopt(9, 1), -1);
  EXPECT_EQ(get(9), 0u);
}

TEST_F(Options, IppNeverOn) {
  EXPECT_EQ(morvex_m_setopt(10, 0), 0);
  EXPECT_EQ(get(10), 0u);
  EXPECT_EQ(morvex_m_setopt(10, 1), -1);
  EXPECT_EQ(get(10), 0u);
}

TEST_F(Options, AcceptedChangesReChooseKernelsRefusedOnesDoNot) {
  using morvex::frame::choose_count;
  uint64_t before = choose_count();
  EXPECT_EQ(morvex_m_setopt(10, 0), 0);
  EXPECT_EQ(choose_count(), before + 1) << "IPP off is accepted";
  before = choose_count();
  EXPECT_EQ(morvex_m_setopt(10, 1), -1);
  EXPECT_EQ(morvex_m_setopt(9, 1), -1);
  EXPECT_EQ(morvex_m_setopt(13, 0), -1);
  EXPECT_EQ(choose_count(), before) << "refused requests choose nothing";
  EXPECT_EQ(morvex_m_setopt(2, 0), 0);
  EXPECT_EQ(morvex_m_setopt(2, 1), 0);
  EXPECT_EQ(choose_count(), before + 2);
}

TEST_F(Options, SwitchedOffStaysOffAcrossNestedInit) {
  ASSERT_EQ(morvex_m_setopt(6, 0), 0);
  morvex_m_init();
  EXPECT_EQ(get(6), 0u);
  morvex_m_fini();
  EXPECT_EQ(morvex_m_setopt(6, 1), processor_has(6) ? 0 : -1);
}

}  // namespace
