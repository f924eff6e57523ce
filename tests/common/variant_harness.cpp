// SPDX-License-Identifier: MIT
#include "common/variant_harness.h"

#include <algorithm>
#include <cstring>

#include "morvex-m.h"

namespace morvex::test {

const std::vector<KernelConfig>& kernel_configs() {
  static const std::vector<KernelConfig> configs = {
      {"all features", {}},
      {"AVX-512DQ off", {MORVEX_M_OPT_AVX512DQ}, kDqVariant},
      {"AVX-512BW off", {MORVEX_M_OPT_AVX512BW}, kBwVariant},
      {"AVX-512 off", {MORVEX_M_OPT_AVX512F, MORVEX_M_OPT_AVX512CD, MORVEX_M_OPT_AVX512BW, MORVEX_M_OPT_AVX512DQ}},
      {"AVX2 and FMA3 off", {MORVEX_M_OPT_AVX2, MORVEX_M_OPT_FMA3}},
      {"AVX off", {MORVEX_M_OPT_AVX}},
      {"SSE4.2 off", {MORVEX_M_OPT_SSE42}}};
  return configs;
}

void restore_processor_options() {
  for (const morvex_m_option_entry* e = morvex_m_getopt_list(); e->name; ++e)
    if (e->id < MORVEX_M_OPT_IPP || e->id > MORVEX_M_OPT_FFTW3F) morvex_m_setopt(int32_t(e->id), 1);  // -1 where absent
}

void for_each_kernel_config(const std::function<void(const KernelConfig&)>& body, uint16_t variants) {
  restore_processor_options();
  for (const KernelConfig& config : kernel_configs()) {
    if (config.only && !(variants & config.only)) continue;
    for (int32_t id : config.off) EXPECT_EQ(morvex_m_setopt(id, 0), 0);
    SCOPED_TRACE("kernel configuration: " + config.name); body(config);
  }
  restore_processor_options();
}

bool fused_kernels_enabled() {
  uint32_t avx2 = 0, fma3 = 0, f = 0, cd = 0;
  morvex_m_getopt(MORVEX_M_OPT_AVX2, &avx2), morvex_m_getopt(MORVEX_M_OPT_FMA3, &fma3);
  morvex_m_getopt(MORVEX_M_OPT_AVX512F, &f), morvex_m_getopt(MORVEX_M_OPT_AVX512CD, &cd);
  return (avx2 && fma3) || (f && cd);
}

namespace {

enum Layout { kApart, kMisaligned, kInPlaceLayout, kAbove, kBelow };
const char* const kLayoutNames[] = {"apart", "apart, misaligned", "in place", "output one element above the input",
                                    "output one element below the input"};

// Two byte arenas holding the same inputs at the same offsets from a 64-byte
// boundary: one for the call, one for the reference.
struct Arenas {
  std::vector<unsigned char> raw[2]; unsigned char* base[2]; uint64_t in_at, out_at, size; KernelArgs args[2];

  Arenas(const KernelRow& r, uint64_t n, Layout layout) {
    const uint64_t in_bytes = n * r.in_size * r.in_per, out_bytes = n * r.out_size * r.out_per + r.out_extra;
    const uint64_t ie = std::max<uint64_t>(r.in_size, 1), oe = r.out_size ? r.out_size : 8;
    const uint64_t mis = layout == kApart ? 0 : 1 + n % 7;  // elements past the boundary
    in_at = 64 + mis * (layout <= kMisaligned ? ie : std::max(ie, oe));  // where the arrays meet, aligned for both types
    out_at = layout == kInPlaceLayout || layout == kBelow ? in_at
             : layout == kAbove                          ? in_at + oe
                                                         : (in_at + in_bytes + 127) / 64 * 64 + mis * 3 % 8 * oe;
    if (layout == kBelow) in_at += oe;
    size = std::max(in_at + in_bytes, out_at + out_bytes) + 64;
    for (int k = 0; k < 2; ++k) {
      raw[k].assign(size + 64, 0xA5); base[k] = raw[k].data() + (64 - reinterpret_cast<uintptr_t>(raw[k].data()) % 64);
    }
    // Long records repeat a random block: the kernels' paths depend on the
    // length and the addresses, not on the values repeating.
    KernelArgs a{nullptr, nullptr, n, r.s};
    const uint64_t count = n * r.in_per, block = 1 << 16;
    r.fill(base[0] + in_at, std::min(count, block), uint32_t(n * 5 + layout + 1), a.s.data());
    for (uint64_t done = block; done < count; done += block)
      std::memcpy(base[0] + in_at + done * r.in_size, base[0] + in_at, std::min(count - done, block) * r.in_size);
    std::memcpy(base[1], base[0], size);
    for (int k = 0; k < 2; ++k) args[k] = {base[k] + in_at, base[k] + out_at, n, a.s};
  }
  // Whether the arenas differ anywhere; where, as an offset from the output.
  bool differ(int64_t* at = nullptr) const {
    if (std::memcmp(base[0], base[1], size) == 0) return false;
    uint64_t i = 0;
    while (base[0][i] == base[1][i]) ++i;
    if (at) *at = int64_t(i) - int64_t(out_at);
    return true;
  }
};

}  // namespace

void check_kernel_row(const KernelRow& r) {
  std::vector<std::pair<uint64_t, Layout>> runs;
  for (uint64_t n = 0; n <= r.dense; ++n) {
    runs.insert(runs.end(), {{n, kApart}, {n, kMisaligned}});
    if (r.flags & kInPlace) runs.push_back({n, kInPlaceLayout});
    if (r.flags & kOverlap) runs.insert(runs.end(), {{n, kAbove}, {n, kBelow}});
  }
  for (uint64_t n = r.dense + 1; n < r.far; n *= 4) runs.push_back({n, kMisaligned});
  if (r.far > r.dense) runs.insert(runs.end(), {{r.far, kApart}, {r.far + 1, kMisaligned}});
  auto body = [&](const KernelConfig&) {
    const bool fused = r.fused && fused_kernels_enabled();
    if (fused) {  // the inputs must tell the fused result from the plain one
      Arenas t(r, r.dense, kApart); r.fused(t.args[0]), r.plain(t.args[1]);
      EXPECT_TRUE(t.differ()) << "fused and plain results agree on every input";
    }
    for (const auto& [n, layout] : runs) {
      Arenas t(r, n, layout); const int32_t status = r.call(t.args[0]); (fused ? r.fused : r.plain)(t.args[1]);
      if (int64_t at = 0; status != 0 || t.differ(&at)) {
        ADD_FAILURE() << r.name << ": n " << n << ", " << kLayoutNames[layout] << ", fused " << fused << ": status "
                      << status << ", first differing byte " << at << " (from the output's start)";
        return;
      }
    }
  };
  if (r.flags & kPlainOnly) {
    body(kernel_configs()[0]);
  } else {
    for_each_kernel_config(body, r.flags & (kDqVariant | kBwVariant));
  }
  if (!(r.flags & kPointers)) {
    EXPECT_EQ(r.call({nullptr, nullptr, 0, r.s}), 0) << "count 0 on null pointers";
  }
}

std::vector<const KernelRow*> kernel_rows_of(const std::string& subsystem) {
  std::vector<const KernelRow*> v;
  for (const KernelRow& r : kernel_rows())
    if (subsystem == r.subsystem) v.push_back(&r);
  return v;
}

}  // namespace morvex::test
