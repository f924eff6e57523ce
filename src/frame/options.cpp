// SPDX-License-Identifier: MIT
// Options: one flag per processor feature and per optional outside library.
#include <cstdint>

#include "dft/fftw_loader.h"
#include "frame/dispatch.h"
#include "frame/flags.h"
#include "morvex-core.h"
#include "morvex-m/base.h"

namespace morvex::frame {

std::atomic<uint8_t> g_flags[kFlagCount];

namespace {

using Query = uint8_t (*)();

// Where each flag comes from. Ids are the public numbering; the option list
// presents them in the order of kOptionList below.
struct Option {
  Flag flag;
  Query query;  // processor query; null for IPP and the FFTW flags
};

// Indexed by id - 1; id 13 is unassigned.
constexpr bool kValid[18] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1, 1, 1, 1};
const Option kOptions[18] = {
    {kSse, morvex_core_cpu_has_sse},         {kSse2, morvex_core_cpu_has_sse2},
    {kSse3, morvex_core_cpu_has_sse3},       {kSsse3, morvex_core_cpu_has_ssse3},
    {kSse41, morvex_core_cpu_has_sse41},     {kSse42, morvex_core_cpu_has_sse42},
    {kAvx, morvex_core_cpu_has_avx},         {kAvx2, morvex_core_cpu_has_avx2},
    {kNeon, morvex_core_cpu_has_neon},       {kIpp, nullptr},
    {kFftw3, nullptr},                       {kFftw3f, nullptr},
    {kFlagCount, nullptr},                   {kFma3, morvex_core_cpu_has_fma3},
    {kAvx512f, morvex_core_cpu_has_avx512f}, {kAvx512bw, morvex_core_cpu_has_avx512bw},
    {kAvx512dq, morvex_core_cpu_has_avx512dq}, {kAvx512cd, morvex_core_cpu_has_avx512cd},
};

const morvex_m_option_entry kOptionList[] = {
    {1, "Use SSE"},        {2, "Use SSE2"},       {3, "Use SSE3"},       {4, "Use SSSE3"},
    {5, "Use SSE4.1"},     {6, "Use SSE4.2"},     {7, "Use AVX"},        {8, "Use AVX2"},
    {15, "Use AVX-512F"},  {18, "Use AVX-512CD"}, {16, "Use AVX-512BW"}, {17, "Use AVX-512DQ"},
    {14, "Use FMA3"},      {9, "Use NEON"},       {10, "Use IPP"},       {11, "Use FFTW3"},
    {12, "Use FFTW3F"},    {0, nullptr},
};

bool valid_id(int32_t id) { return id >= 1 && id <= 18 && kValid[id - 1]; }

void set(Flag f, bool on) { g_flags[f].store(on ? 1 : 0, std::memory_order_relaxed); }

}  // namespace

void read_features() {
  // Storage order, each from the source of its option.
  set(kSse, morvex_core_cpu_has_sse());
  set(kSse2, morvex_core_cpu_has_sse2());
  set(kSse3, morvex_core_cpu_has_sse3());
  set(kSsse3, morvex_core_cpu_has_ssse3());
  set(kSse41, morvex_core_cpu_has_sse41());
  set(kSse42, morvex_core_cpu_has_sse42());
  set(kAvx, morvex_core_cpu_has_avx());
  set(kAvx2, morvex_core_cpu_has_avx2());
  set(kAvx512f, morvex_core_cpu_has_avx512f());
  set(kAvx512cd, morvex_core_cpu_has_avx512cd());
  set(kAvx512bw, morvex_core_cpu_has_avx512bw());
  set(kAvx512dq, morvex_core_cpu_has_avx512dq());
  set(kFma3, morvex_core_cpu_has_fma3());
  set(kNeon, morvex_core_cpu_has_neon());
  set(kIpp, false);
  set(kFftw3, fftw::fftw3_loaded());
  set(kFftw3f, fftw::fftw3f_loaded());
}

}  // namespace morvex::frame

using namespace morvex::frame;

extern "C" {

const morvex_m_option_entry* morvex_m_getopt_list(void) { return kOptionList; }

int32_t morvex_m_getopt(int32_t id, uint32_t* value) {
  if (!valid_id(id)) return -1;
  *value = g_flags[kOptions[id - 1].flag].load(std::memory_order_relaxed);
  return 0;
}

int32_t morvex_m_setopt(int32_t id, int32_t value) {
  if (!valid_id(id)) return -1;
  const Option& o = kOptions[id - 1];
  if (value == 0) {
    // Off always succeeds. An FFTW library stays loaded; only its use stops.
    set(o.flag, false);
    choose_kernels();
    return 0;
  }
  bool on = false;
  switch (id) {
    case MORVEX_M_OPT_IPP:
      on = false;  // never available
      break;
    case MORVEX_M_OPT_FFTW3:
      if (!morvex::fftw::fftw3_loaded()) morvex::fftw::load_fftw3();
      on = morvex::fftw::fftw3_loaded();
      break;
    case MORVEX_M_OPT_FFTW3F:
      if (!morvex::fftw::fftw3f_loaded()) morvex::fftw::load_fftw3f();
      on = morvex::fftw::fftw3f_loaded();
      break;
    default:
      on = o.query() != 0;  // never above what the processor has
      break;
  }
  set(o.flag, on);
  if (!on) return -1;
  choose_kernels();
  return 0;
}

}  // extern "C"
