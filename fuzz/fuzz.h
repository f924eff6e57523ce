// What the harnesses share: the library started once, a check that ends the
// run with the failed condition (libFuzzer then keeps the input), the kernel
// options switched by fuzzed bits, and block lengths drawn from a seed.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "morvex-m.h"

#define FUZZ_CHECK(cond)                                                              \
  do {                                                                                \
    if (!(cond)) {                                                                    \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      std::abort();                                                                   \
    }                                                                                 \
  } while (0)

extern "C" int LLVMFuzzerInitialize(int*, char***) { return morvex_m_init(); }

namespace morvex::fuzz {

// Switches the processor options off group by group, one bit per group
// (SSE4.2, AVX, AVX2 with FMA3, AVX-512), and the rest back on; a feature
// the processor lacks stays off. Results must never depend on it.
inline void switch_kernels(unsigned bits) {
  static const int32_t groups[4][4] = {{MORVEX_M_OPT_SSE42},
                                       {MORVEX_M_OPT_AVX},
                                       {MORVEX_M_OPT_AVX2, MORVEX_M_OPT_FMA3},
                                       {MORVEX_M_OPT_AVX512F, MORVEX_M_OPT_AVX512CD, MORVEX_M_OPT_AVX512BW,
                                        MORVEX_M_OPT_AVX512DQ}};
  for (unsigned g = 0; g < 4; ++g)
    for (int32_t id : groups[g])
      if (id) morvex_m_setopt(id, !(bits >> g & 1));
}

// Consecutive block lengths covering n (empty blocks included), drawn from
// `seed` so that one fuzzed word gives a whole cut.
inline std::vector<uint64_t> blocks(uint64_t n, uint32_t seed) {
  std::vector<uint64_t> b;
  for (uint64_t done = 0; done < n;) {
    seed = seed * 1664525u + 1013904223u;
    const uint64_t len = b.size() >= 64 ? n - done : (seed >> 8) % (n - done + 1);
    b.push_back(len);
    done += len;
  }
  return b;
}

// A value of T from its raw bits: every value is reachable, NaNs and
// infinities included.
template <class T>
T raw(FuzzedDataProvider& in) {
  using Bits = std::conditional_t<sizeof(T) == 8, uint64_t, std::conditional_t<sizeof(T) == 4, uint32_t, uint16_t>>;
  if constexpr (sizeof(T) == 1) return T(in.ConsumeIntegral<uint8_t>());
  else return std::bit_cast<T>(in.ConsumeIntegral<Bits>());
}

inline bool same_bytes(const void* a, const void* b, size_t n) { return std::memcmp(a, b, n) == 0; }

}  // namespace morvex::fuzz
