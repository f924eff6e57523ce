#include "common/kernel_configs.h"

#include <gtest/gtest.h>

#include "morvex-m.h"

namespace morvex::test {

const std::vector<KernelConfig>& kernel_configs() {
  static const std::vector<KernelConfig> configs = {
      {"all features", {}},
      {"AVX-512 off", {MORVEX_M_OPT_AVX512F, MORVEX_M_OPT_AVX512CD, MORVEX_M_OPT_AVX512BW, MORVEX_M_OPT_AVX512DQ}},
      {"AVX2 and FMA3 off", {MORVEX_M_OPT_AVX2, MORVEX_M_OPT_FMA3}},
      {"AVX off", {MORVEX_M_OPT_AVX}},
      {"SSE4.2 off", {MORVEX_M_OPT_SSE42}},
  };
  return configs;
}

void restore_processor_options() {
  for (const morvex_m_option_entry* e = morvex_m_getopt_list(); e->name; ++e) {
    const int32_t id = int32_t(e->id);
    if (id == MORVEX_M_OPT_IPP || id == MORVEX_M_OPT_FFTW3 || id == MORVEX_M_OPT_FFTW3F) continue;
    morvex_m_setopt(id, 1);  // -1 where the processor lacks it; the flag then reads 0
  }
}

void for_each_kernel_config(const std::function<void(const KernelConfig&)>& body) {
  restore_processor_options();
  for (const KernelConfig& config : kernel_configs()) {
    for (int32_t id : config.off) EXPECT_EQ(morvex_m_setopt(id, 0), 0);
    SCOPED_TRACE("kernel configuration: " + config.name);
    body(config);
  }
  restore_processor_options();
}

bool fused_kernels_enabled() {
  uint32_t avx2 = 0, fma3 = 0, f = 0, cd = 0;
  morvex_m_getopt(MORVEX_M_OPT_AVX2, &avx2);
  morvex_m_getopt(MORVEX_M_OPT_FMA3, &fma3);
  morvex_m_getopt(MORVEX_M_OPT_AVX512F, &f);
  morvex_m_getopt(MORVEX_M_OPT_AVX512CD, &cd);
  return (avx2 && fma3) || (f && cd);
}

}  // namespace morvex::test
