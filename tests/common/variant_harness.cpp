#include "common/variant_harness.h"

#include <algorithm>
#include <cstring>

#include "common/kernel_configs.h"

namespace morvex::test {

namespace {

enum Layout { kApart, kMisaligned, kInPlaceLayout, kAbove, kBelow };
const char* const kLayoutNames[] = {"apart", "apart, misaligned", "in place", "output one element above the input",
                                    "output one element below the input"};

// Two byte arenas holding the same inputs at the same offsets from a 64-byte
// boundary: one for the call, one for the reference.
struct Arenas {
  std::vector<unsigned char> raw[2];
  unsigned char* base[2];
  uint64_t in_at, out_at, size;
  KernelArgs args[2];

  Arenas(const KernelRow& r, uint64_t n, Layout layout) {
    const uint64_t in_bytes = n * r.in_size * r.in_per, out_bytes = n * r.out_size * r.out_per + r.out_extra;
    const uint64_t ie = std::max<uint64_t>(r.in_size, 1), oe = r.out_size ? r.out_size : 8;
    const uint64_t mis = layout == kApart ? 0 : 1 + n % 7;  // elements past the boundary
    in_at = 64 + mis * ie;
    out_at = layout == kInPlaceLayout ? in_at
             : layout == kAbove       ? in_at + oe
             : layout == kBelow       ? in_at
                                      : (in_at + in_bytes + 127) / 64 * 64 + mis * 3 % 8 * oe;
    if (layout == kBelow) in_at += oe;
    size = std::max(in_at + in_bytes, out_at + out_bytes) + 64;
    KernelArgs a{nullptr, nullptr, n, r.s};
    for (int k = 0; k < 2; ++k) {
      raw[k].assign(size + 64, 0xA5);
      base[k] = raw[k].data() + (64 - reinterpret_cast<uintptr_t>(raw[k].data()) % 64);
    }
    // Long records repeat a random block: the kernels' paths depend on the
    // length and the addresses, not on the values repeating.
    const uint64_t count = n * r.in_per, block = 1 << 16;
    r.fill(base[0] + in_at, std::min(count, block), uint32_t(n * 5 + layout + 1), a.s.data());
    for (uint64_t done = block; done < count; done += block)
      std::memcpy(base[0] + in_at + done * r.in_size, base[0] + in_at, std::min(count - done, block) * r.in_size);
    std::memcpy(base[1], base[0], size);
    for (int k = 0; k < 2; ++k) args[k] = {base[k] + in_at, base[k] + out_at, n, a.s};
  }
  // Offset (from the output) of the first byte that differs, or -1.
  int64_t first_difference() const {
    if (std::memcmp(base[0], base[1], size) == 0) return -1;
    for (uint64_t i = 0; i < size; ++i)
      if (base[0][i] != base[1][i]) return int64_t(i) - int64_t(out_at);
    return -1;
  }
};

std::vector<std::pair<uint64_t, Layout>> runs(const KernelRow& r) {
  std::vector<std::pair<uint64_t, Layout>> v;
  for (uint64_t n = 0; n <= r.dense; ++n) {
    v.push_back({n, kApart});
    v.push_back({n, kMisaligned});
    if (r.flags & kInPlace) v.push_back({n, kInPlaceLayout});
    if (r.flags & kOverlap) v.push_back({n, kAbove}), v.push_back({n, kBelow});
  }
  for (uint64_t n = r.dense + 1; n < r.far; n *= 4) v.push_back({n, kMisaligned});
  if (r.far > r.dense) v.push_back({r.far, kApart}), v.push_back({r.far + 1, kMisaligned});
  return v;
}

}  // namespace

void check_kernel_row(const KernelRow& r) {
  auto body = [&](const KernelConfig&) {
    const bool fused = r.fused && fused_kernels_enabled();
    if (fused) {  // the inputs must tell the fused result from the plain one
      Arenas t(r, r.dense, kApart);
      r.fused(t.args[0]);
      r.plain(t.args[1]);
      EXPECT_GE(t.first_difference(), 0) << "fused and plain results agree on every input";
    }
    for (const auto& [n, layout] : runs(r)) {
      Arenas t(r, n, layout);
      const int32_t status = r.call(t.args[0]);
      (fused ? r.fused : r.plain)(t.args[1]);
      const int64_t at = t.first_difference();
      if (status != 0 || at >= 0) {
        ADD_FAILURE() << r.name << ": n " << n << ", " << kLayoutNames[layout] << ", fused " << fused << ": status "
                      << status << ", first differing byte " << at << " (from the output's start)";
        return;
      }
    }
  };
  if (r.flags & kPlainOnly) {
    body(kernel_configs()[0]);
  } else {
    for_each_kernel_config(body);
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
