// Options: the exact table, processor features read at start-up and checked
// against an independent source (the compiler's own processor detection,
// which like the library asks the operating system whether it saves the
// registers), switching them off and on, and the ids that do not exist.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "morvex-core.h"
#include "morvex-m.h"

namespace {

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

class Options : public ::testing::Test {  // this binary leaves start-up to each test
 protected:
  void SetUp() override { morvex_m_init(); }
  void TearDown() override { morvex_m_fini(); }
};

TEST(OptionList, ExactTable) {
  const std::vector<std::pair<uint64_t, std::string>> want = {
      {1, "Use SSE"},       {2, "Use SSE2"},       {3, "Use SSE3"},      {4, "Use SSSE3"},   {5, "Use SSE4.1"},
      {6, "Use SSE4.2"},    {7, "Use AVX"},        {8, "Use AVX2"},      {15, "Use AVX-512F"}, {18, "Use AVX-512CD"},
      {16, "Use AVX-512BW"}, {17, "Use AVX-512DQ"}, {14, "Use FMA3"},     {9, "Use NEON"},    {10, "Use IPP"},
      {11, "Use FFTW3"},    {12, "Use FFTW3F"}};
  const morvex_m_option_entry* e = morvex_m_getopt_list();
  for (const auto& [id, name] : want) {
    ASSERT_NE(e->name, nullptr);
    EXPECT_EQ(e->id, id);
    EXPECT_EQ(std::string(e->name), name);
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
          uint32_t v = 7;
          on += morvex_m_getopt(int32_t(e->id), &v) != 0 || v != 0;
        }
        std::exit(on);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(Options, FeaturesAreTheProcessorsAndSwitchOffAndOn) {
  for (const Feature& f : features()) {
    SCOPED_TRACE(f.id);
    EXPECT_EQ(bool(f.core()), f.cpu);
    EXPECT_EQ(get(f.id), f.cpu);
    EXPECT_EQ(morvex_m_setopt(f.id, 0), 0);
    EXPECT_EQ(get(f.id), 0u);
    // On again only as far as the processor has it; any non-zero value means on.
    EXPECT_EQ(morvex_m_setopt(f.id, INT32_MIN), f.cpu ? 0 : -1);
    EXPECT_EQ(get(f.id), f.cpu);
  }
  for (int32_t id : {10, 11, 12}) EXPECT_EQ(get(id), 0u) << "IPP never, FFTW not before it is asked for";
  EXPECT_EQ(morvex_m_setopt(10, 0), 0);
  EXPECT_EQ(morvex_m_setopt(10, 1), -1);
}

TEST_F(Options, UnknownIdsAreRefusedAndTheValueUntouched) {
  for (int32_t id : {0, 13, 19, -1, 1000}) {
    uint32_t v = 12345;
    EXPECT_EQ(morvex_m_getopt(id, &v), -1) << id;
    EXPECT_EQ(v, 12345u) << id;
    EXPECT_EQ(morvex_m_setopt(id, 0), -1) << id;
    EXPECT_EQ(morvex_m_setopt(id, 1), -1) << id;
  }
}

TEST_F(Options, ANestedStartKeepsTheOptionsAFreshStartReadsTheProcessor) {
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_SSE2, 0), 0);
  morvex_m_init();
  EXPECT_EQ(get(MORVEX_M_OPT_SSE2), 0u);
  morvex_m_fini();
  morvex_m_fini();
  morvex_m_init();
  EXPECT_EQ(get(MORVEX_M_OPT_SSE2), 1u) << "every x86-64 processor has SSE2";
}

}  // namespace
