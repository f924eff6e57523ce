// SPDX-License-Identifier: MIT
// libmorvex-core: family start-up and processor-feature detection.
//
// The features are read once per process, on first use, from CPUID and
// XGETBV. A CPUID bit alone does not make an instruction set usable: the
// operating system must also save and restore the registers it uses. So AVX,
// AVX2 and FMA3 need the SSE and AVX state enabled in XCR0 (bits 1 and 2), and
// the AVX-512 features additionally the opmask and both ZMM halves (bits 5-7).
#include "morvex-core.h"

#include <atomic>
#include <cpuid.h>
#include <cstdint>
#include <mutex>

namespace {

struct Features {
  bool sse, sse2, sse3, ssse3, sse41, sse42, avx, avx2, avx512f, avx512cd, avx512bw, avx512dq, fma3;
};

uint64_t read_xcr0() {
  uint32_t eax, edx;
  // xgetbv with ecx = 0; written as an instruction so that the file builds at
  // the plain baseline (the intrinsic needs -mxsave).
  __asm__ volatile("xgetbv" : "=a"(eax), "=d"(edx) : "c"(0));
  return (uint64_t(edx) << 32) | eax;
}

Features detect() {
  Features f{};
  unsigned eax, ebx, ecx, edx;
  if (!__get_cpuid(0, &eax, &ebx, &ecx, &edx)) return f;
  const unsigned max_leaf = eax;

  __cpuid(1, eax, ebx, ecx, edx);
  f.sse = edx & (1u << 25);
  f.sse2 = edx & (1u << 26);
  f.sse3 = ecx & (1u << 0);
  f.ssse3 = ecx & (1u << 9);
  f.sse41 = ecx & (1u << 19);
  f.sse42 = ecx & (1u << 20);
  const bool osxsave = ecx & (1u << 27);
  const bool avx_bit = ecx & (1u << 28);
  const bool fma_bit = ecx & (1u << 12);

  const uint64_t xcr0 = osxsave ? read_xcr0() : 0;
  const bool ymm_state = (xcr0 & 0x6) == 0x6;    // XMM and YMM
  const bool zmm_state = (xcr0 & 0xE6) == 0xE6;  // plus opmask, ZMM_Hi256, Hi16_ZMM

  f.avx = avx_bit && ymm_state;
  f.fma3 = fma_bit && ymm_state;

  if (max_leaf >= 7) {
    __cpuid_count(7, 0, eax, ebx, ecx, edx);
    f.avx2 = (ebx & (1u << 5)) && ymm_state;
    f.avx512f = (ebx & (1u << 16)) && zmm_state;
    f.avx512dq = (ebx & (1u << 17)) && zmm_state;
    f.avx512cd = (ebx & (1u << 28)) && zmm_state;
    f.avx512bw = (ebx & (1u << 30)) && zmm_state;
  }
  return f;
}

const Features& features() {
  static const Features f = detect();  // thread-safe one-time initialisation
  return f;
}

std::mutex g_lock;
uint64_t g_refs = 0;

}  // namespace

extern "C" {

int32_t morvex_core_init(void) {
  std::lock_guard<std::mutex> guard(g_lock);
  if (g_refs++ == 0) (void)features();  // detect eagerly, outside any hot path
  return 0;
}

int32_t morvex_core_fini(void) {
  std::lock_guard<std::mutex> guard(g_lock);
  if (g_refs > 0) --g_refs;
  return 0;
}

uint8_t morvex_core_cpu_has_sse(void) { return features().sse; }
uint8_t morvex_core_cpu_has_sse2(void) { return features().sse2; }
uint8_t morvex_core_cpu_has_sse3(void) { return features().sse3; }
uint8_t morvex_core_cpu_has_ssse3(void) { return features().ssse3; }
uint8_t morvex_core_cpu_has_sse41(void) { return features().sse41; }
uint8_t morvex_core_cpu_has_sse42(void) { return features().sse42; }
uint8_t morvex_core_cpu_has_avx(void) { return features().avx; }
uint8_t morvex_core_cpu_has_avx2(void) { return features().avx2; }
uint8_t morvex_core_cpu_has_avx512f(void) { return features().avx512f; }
uint8_t morvex_core_cpu_has_avx512cd(void) { return features().avx512cd; }
uint8_t morvex_core_cpu_has_avx512bw(void) { return features().avx512bw; }
uint8_t morvex_core_cpu_has_avx512dq(void) { return features().avx512dq; }
uint8_t morvex_core_cpu_has_fma3(void) { return features().fma3; }
uint8_t morvex_core_cpu_has_neon(void) { return 0; }  // an Arm feature

}  // extern "C"
