// SPDX-License-Identifier: MIT
// What the harnesses share: the library started once, a check that ends the
// run on a failed condition (libFuzzer then keeps the input), the kernel
// options switched by fuzzed bits, block lengths drawn from a seed.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "morvex-m.h"

#define FUZZ_CHECK(cond) \
  ((cond) ? void() : (std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond), std::abort()))

extern "C" int LLVMFuzzerInitialize(int*, char***) { return morvex_m_init(); }

namespace morvex::fuzz {

// One bit per group (SSE4.2, AVX, AVX2 with FMA3, AVX-512) switches it off,
// the others on where the processor has them. Results must not change.
inline void switch_kernels(unsigned bits) {
  static const int32_t groups[4][4] = {{MORVEX_M_OPT_SSE42}, {MORVEX_M_OPT_AVX}, {MORVEX_M_OPT_AVX2, MORVEX_M_OPT_FMA3},
                                       {MORVEX_M_OPT_AVX512F, MORVEX_M_OPT_AVX512CD, MORVEX_M_OPT_AVX512BW,
                                        MORVEX_M_OPT_AVX512DQ}};
  for (unsigned g = 0; g < 4; ++g)
    for (int32_t id : groups[g])
      if (id) morvex_m_setopt(id, !(bits >> g & 1));
}

// Consecutive block lengths covering n (empty ones included) from a seed.
inline std::vector<uint64_t> blocks(uint64_t n, uint32_t seed) {
  std::vector<uint64_t> b;
  for (uint64_t done = 0; done < n; done += b.back()) {
    seed = seed * 1664525u + 1013904223u;
    b.push_back(b.size() >= 64 ? n - done : (seed >> 8) % (n - done + 1));
  }
  return b;
}

// A value of T from raw bits: NaNs and infinities included.
template <class T>
T raw(FuzzedDataProvider& in) {
  if constexpr (sizeof(T) == 1) return T(in.ConsumeIntegral<uint8_t>());
  else if constexpr (sizeof(T) == 2) return std::bit_cast<T>(in.ConsumeIntegral<uint16_t>());
  else if constexpr (sizeof(T) == 4) return std::bit_cast<T>(in.ConsumeIntegral<uint32_t>());
  else return std::bit_cast<T>(in.ConsumeIntegral<uint64_t>());
}

inline bool same_bytes(const void* a, const void* b, size_t n) { return std::memcmp(a, b, n) == 0; }

// The same bits, or NaN on both sides (a NaN's payload is not a result).
template <class T>
bool same(const T* a, const T* b, size_t n) {
  for (size_t i = 0; i < n; ++i)
    if (!same_bytes(&a[i], &b[i], sizeof(T)) && !(a[i] != a[i] && b[i] != b[i])) return false;
  return true;
}

}  // namespace morvex::fuzz
