// SPDX-License-Identifier: MIT
// The option flags: one byte per processor feature or outside library, set at
// start-up from the processor and changed by morvex_m_setopt. Kernels chosen
// at call time read them through the tests below (one or two byte loads, no
// lock, no processor query).
#pragma once

#include <atomic>
#include <cstdint>

namespace morvex::frame {

// Storage order of the flags.
enum Flag : unsigned {
  kSse, kSse2, kSse3, kSsse3, kSse41, kSse42, kAvx, kAvx2, kAvx512f, kAvx512cd,
  kAvx512bw, kAvx512dq, kFma3, kNeon, kIpp, kFftw3, kFftw3f, kFlagCount
};

// Relaxed atomics cost the same as plain bytes on x86-64 and keep a reader
// racing with morvex_m_setopt well-defined (it sees the old or the new value).
extern std::atomic<uint8_t> g_flags[kFlagCount];

inline bool flag(Flag f) { return g_flags[f].load(std::memory_order_relaxed) != 0; }

// The conditions under which processor kernels may be used. AVX2 always comes
// with FMA3 (its kernels may fuse) and AVX-512F with AVX-512CD.
inline bool use_sse42() { return flag(kSse42); }
inline bool use_avx() { return flag(kAvx); }
inline bool use_avx2_fma3() { return flag(kAvx2) && flag(kFma3); }
inline bool use_avx512() { return flag(kAvx512f) && flag(kAvx512cd); }
// Only call-time kernels go further, and only where AVX-512DQ or AVX-512BW
// pays for the extra variant; the slot table stops at AVX-512F+CD.
inline bool use_avx512dq() { return use_avx512() && flag(kAvx512dq); }
inline bool use_avx512bw() { return use_avx512() && flag(kAvx512bw); }

// Sets every flag from the processor (and the FFTW flags from whether FFTW is
// loaded). Called by start-up.
void read_features();

}  // namespace morvex::frame
