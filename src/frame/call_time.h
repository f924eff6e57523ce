// SPDX-License-Identifier: MIT
// The call-time kernel choices: the exports that pick a processor kernel at
// every call from the option flags instead of through a kernel slot. Each
// family is one row below: its variants in priority order, each named by the
// condition it needs (the conditions of the slot table, flags.h); the first
// whose condition holds runs, and every row ends in the plain kernel. A
// choice costs what a hand-written ladder costs: one or two relaxed byte
// loads per condition tested, no lock, no processor query.
//
// At a call site:
//   frame::call_time::sum_f64::choose(sum_f64_avx, sum_f64_sse42, sum_f64_plain)(x, n, r);
// passes the row's kernels in the row's order (the count is checked at
// compile time). morvex-m-info prints each row with the variant it would
// pick now (call_time_families()).
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "frame/flags.h"

namespace morvex::frame {

// The conditions of the variants, as values.
enum class Isa : uint8_t { plain, sse42, avx, avx2_fma3, avx512, avx512dq, avx512bw };

inline bool allowed(Isa v) {
  switch (v) {
    case Isa::sse42: return use_sse42();
    case Isa::avx: return use_avx();
    case Isa::avx2_fma3: return use_avx2_fma3();
    case Isa::avx512: return use_avx512();
    case Isa::avx512dq: return use_avx512dq();
    case Isa::avx512bw: return use_avx512bw();
    case Isa::plain: break;
  }
  return true;
}

// The names slot_variant() uses too.
constexpr const char* isa_name(Isa v) {
  switch (v) {
    case Isa::sse42: return "sse4.2";
    case Isa::avx: return "avx";
    case Isa::avx2_fma3: return "avx2+fma3";
    case Isa::avx512: return "avx512f+cd";
    case Isa::avx512dq: return "avx512f+cd+dq";
    case Isa::avx512bw: return "avx512f+cd+bw";
    case Isa::plain: break;
  }
  return "plain";
}

namespace call_time_detail {
template <Isa First, Isa... Rest>
struct Chain {
  // The first of the kernels (one per variant, same order) that may run now.
  template <class K, class... Ks>
  static K first(K k, Ks... ks) {
    if constexpr (sizeof...(Rest) == 0)
      return k;
    else
      return allowed(First) ? k : Chain<Rest...>::first(ks...);
  }
};
}  // namespace call_time_detail

// A family's variants, strongest first, ending in plain.
template <Isa... V>
struct Ladder {
  // (Read through a temporary: clang cannot yet evaluate a static member
  // array inside its own class template.)
  static_assert(std::array<Isa, sizeof...(V)>{V...}.back() == Isa::plain, "every family ends in its plain kernel");

  template <class K, class... Ks>
  static K choose(K k, Ks... ks) {
    static_assert(sizeof...(Ks) + 1 == sizeof...(V), "one kernel per variant, in the row's order");
    return call_time_detail::Chain<V...>::first(k, ks...);
  }
  static Isa pick() { return choose(V...); }
  static const char* current() { return isa_name(pick()); }
};

// clang-format off
// The table. Columns: the family's identifier in code, the exports it serves
// (export names without the morvex_m_ prefix), and its variants in priority
// order before the plain kernel. The cascade (filter execution) has three
// rows because the fastest vector width depends on the section count; it
// also runs plainly on blocks too short to fill its lanes. The f32 and f64
// extreme searches have two for the same reason: far beyond the caches the
// 512-bit kernel fell behind the memory system and the 256-bit one did not.
// The f32 windows' kept multiply has no 512-bit kernel: it is two
// conversions per element, and on a processor that issues 512-bit operations
// as two 256-bit halves the 256-bit kernel ran 10-20% faster; on one that
// runs them whole the two measured the same (4096 samples, bound by L2).
// The magnitude's first variant also needs AVX-512DQ, for the one instruction
// that orders the two parts by size; the first of the 8- and 16-bit sums,
// extremes, extreme searches and level searches, and of the two-channel
// deinterleave, needs AVX-512BW, for byte and word lanes in 512-bit vectors.
#define MORVEX_CALL_TIME_FAMILIES(X)                                                                                 \
  X(mulc_addc,         "mulc_addc_f32 mulc_addc_f64",                                   avx2_fma3, sse42)            \
  X(arith,             "add sub mul div addc subc mulc divc csub cdiv pow2 (f32, f64)", avx512, avx)                 \
  X(magnitude_c32f32,  "magnitude_c32f32",                                              avx512dq, avx512, avx2_fma3) \
  X(deinterleave2,     "deinterleave2_u8 deinterleave2_u16",                            avx512bw, avx2_fma3, sse42)  \
  X(deinterleave,      "deinterleave3/4 u8 and u16",                                    sse42)                       \
  X(convert_wide,      "convert_i8/i16/i32/u32 to f32 and f64, convert_f32f64/f64f32",  avx512, avx2_fma3)           \
  X(sum_f64,           "sum_f64 square_sum_f64",                                        avx, sse42)                  \
  X(sum_int,           "sum_u8 sum_u16 sum_i16",                                        avx512bw)                    \
  X(minmax_int,        "minmax_i16 minmax_u8 minmax_u16",                               avx512bw, avx2_fma3, sse42)  \
  X(minmax_f32,        "minmax_f32",                                                    avx512, avx, sse42)          \
  X(minmax_f64,        "minmax_f64",                                                    avx512, avx, sse42)          \
  X(index_u8_u16,      "index_gt/gte/lte/lt/in/out u8 u16 (and their triggers)",       avx512bw, avx2_fma3, sse42)   \
  X(index_extreme_int, "index_max/min i16 u8 u16",                                      avx512bw, avx2_fma3)         \
  X(index_extreme_flt, "index_max/min f32 f64",                                         avx512, avx2_fma3)           \
  X(index_extreme_far, "index_max/min f32 f64 over 8 MiB and more",                     avx2_fma3)                   \
  X(cosine,            "cosine of the windows and waveforms",                           avx512, avx2_fma3)           \
  X(window_kept_f32,   "window_* f32 with multipliers kept from an earlier call",       avx)                         \
  X(window_kept_f64,   "window_* f64 with multipliers kept from an earlier call",       avx512, avx)                 \
  X(window_mirrored,   "window_* f32 and f64 of 64K and more, kept multipliers",        avx512)                      \
  X(cascade_narrow,    "filter_execute_* with sections in one 128-bit vector",          sse42, avx, avx512)          \
  X(cascade_middle,    "filter_execute_* with sections in two 256-bit vectors",         avx, avx512, sse42)          \
  X(cascade_wide,      "filter_execute_* with more sections",                           avx512, avx, sse42)
// clang-format on

namespace call_time {
namespace isa_names {
constexpr Isa plain = Isa::plain, sse42 = Isa::sse42, avx = Isa::avx, avx2_fma3 = Isa::avx2_fma3,
              avx512 = Isa::avx512, avx512dq = Isa::avx512dq, avx512bw = Isa::avx512bw;
}
using namespace isa_names;
#define MORVEX_CALL_TIME_LADDER(id, exports, ...) using id = Ladder<__VA_ARGS__, plain>;
MORVEX_CALL_TIME_FAMILIES(MORVEX_CALL_TIME_LADDER)
#undef MORVEX_CALL_TIME_LADDER
}  // namespace call_time

// One row of the table for introspection (morvex-m-info, tests).
struct CallTimeFamily {
  const char* name;          // the exports it serves, export-style names
  const char* (*current)();  // the variant picked under the flags as they stand
};
std::span<const CallTimeFamily> call_time_families();

}  // namespace morvex::frame
