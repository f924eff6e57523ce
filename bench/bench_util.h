// Shared pieces of the benchmarks: buffer sizes, kernel configurations by
// option, and the memcpy reference that every streaming kernel is read against.
#pragma once

#include <benchmark/benchmark.h>
#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "morvex-m.h"

namespace morvex::bench {

constexpr int64_t kBlock = 4096;         // fits in the first-level cache
constexpr int64_t kRecord = 16 << 20;    // 16M samples: far beyond every cache

// Kernel configurations, as the tests use them: 0 all features, 1 AVX-512 off,
// 2 AVX2/FMA3 off too, 3 AVX off too, 4 SSE4.2 off too (plain).
inline const char* config_name(int c) {
  static const char* names[] = {"all", "no-avx512", "no-avx2", "no-avx", "plain"};
  return names[c];
}

inline void set_config(int c) {
  const int32_t all[] = {MORVEX_M_OPT_SSE42, MORVEX_M_OPT_AVX, MORVEX_M_OPT_AVX2, MORVEX_M_OPT_FMA3,
                         MORVEX_M_OPT_AVX512F, MORVEX_M_OPT_AVX512CD, MORVEX_M_OPT_AVX512BW,
                         MORVEX_M_OPT_AVX512DQ};
  for (int32_t id : all) morvex_m_setopt(id, 1);
  if (c >= 1)
    for (int32_t id : {MORVEX_M_OPT_AVX512F, MORVEX_M_OPT_AVX512CD, MORVEX_M_OPT_AVX512BW, MORVEX_M_OPT_AVX512DQ})
      morvex_m_setopt(id, 0);
  if (c >= 2)
    for (int32_t id : {MORVEX_M_OPT_AVX2, MORVEX_M_OPT_FMA3}) morvex_m_setopt(id, 0);
  if (c >= 3) morvex_m_setopt(MORVEX_M_OPT_AVX, 0);
  if (c >= 4) morvex_m_setopt(MORVEX_M_OPT_SSE42, 0);
}

// Sets the configuration for one benchmark run and restores all features
// when it goes out of scope.
class ConfigScope {
 public:
  explicit ConfigScope(benchmark::State& state, int c) {
    set_config(c);
    state.SetLabel(config_name(c));
  }
  ~ConfigScope() { set_config(0); }
};

// 64-byte aligned, zero-initialised storage. Large arrays ask for huge pages,
// as numpy's allocator does: on machines that grant them only on request
// (transparent huge pages in "madvise" mode), a record benchmark without them
// measures page-walk misses rather than the kernel, and the peer comparison
// would be skewed.
template <class T>
class Array {
 public:
  explicit Array(size_t n) : n_(n) {
    const size_t bytes = ((n * sizeof(T)) + 63) / 64 * 64 + 64;
    constexpr size_t kHuge = size_t(2) << 20;
    if (bytes >= 4 * kHuge) {
      p_ = static_cast<T*>(std::aligned_alloc(kHuge, (bytes + kHuge - 1) / kHuge * kHuge));
      madvise(p_, (bytes + kHuge - 1) / kHuge * kHuge, MADV_HUGEPAGE);
    } else {
      p_ = static_cast<T*>(std::aligned_alloc(64, bytes));
    }
    std::memset(static_cast<void*>(p_), 0, n * sizeof(T));
  }
  ~Array() { std::free(p_); }
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;
  T* data() { return p_; }
  T& operator[](size_t i) { return p_[i]; }
  size_t size() const { return n_; }

 private:
  size_t n_;
  T* p_;
};

// The bandwidth reference: memcpy moving the same number of bytes in all
// (half read, half written) as a kernel that reads `read_bytes` and writes
// `write_bytes`. Kernels report read + write bytes too, so the ratio of the
// two bytes/s figures is the kernel's share of memcpy bandwidth.
inline void memcpy_reference(benchmark::State& state, size_t read_bytes, size_t write_bytes) {
  const size_t bytes = (read_bytes + write_bytes) / 2;
  Array<unsigned char> src(bytes), dst(bytes);
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), bytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(2 * bytes));
}

}  // namespace morvex::bench
