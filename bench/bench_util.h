// SPDX-License-Identifier: MIT
// Shared pieces of the benchmarks: buffer sizes, kernel configurations by
// option, and the memcpy reference that every streaming kernel is read against.
#pragma once

#include <benchmark/benchmark.h>
#include <immintrin.h>
#include <sys/mman.h>

#include <algorithm>
#include <mutex>
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
//
// Where arrays lie relative to each other moves an in-cache kernel's time by
// up to four times on the reference machine (a scalar multiply of 4096 floats
// took 140 to 650 ns with the same loop), through loads that wait on stores
// 4 KiB away and through the first-level cache's address tags, which hash
// higher address bits; our loops and the peers' alike. Left to malloc, the
// placement depended on what was allocated before, so a kernel and its peer
// were timed on different placements and their ratio measured the heap.
// Arrays of up to kSlotBytes therefore live in fixed slots of one region that
// is never unmapped, each in the lowest slot free: the benchmarks of one shape
// (ours, the peer's, the floor) allocate their arrays in the same order and
// get the very same addresses, in every run. Slots lie kSlotBytes + 2 KiB
// apart, a placement where every loop measured ran at its fastest. Larger
// arrays, beyond the caches, come from the heap.
namespace array_detail {
constexpr size_t kSlotBytes = size_t(4) << 20, kSlotStride = kSlotBytes + 2048;
constexpr unsigned kSlots = 16;

class Slots {
 public:
  // The start of the lowest free slot, or null when all are taken.
  unsigned char* take() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!region_ || used_ == (1u << kSlots) - 1) return nullptr;
    const unsigned k = unsigned(__builtin_ctz(~used_));
    used_ |= 1u << k;
    return region_ + k * kSlotStride;
  }
  void give_back(unsigned char* p) {
    std::lock_guard<std::mutex> lock(mutex_);
    used_ &= ~(1u << unsigned((p - region_) / kSlotStride));
  }

 private:
  unsigned char* region_ = [] {
    void* p = mmap(nullptr, kSlots * kSlotStride, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE,
                   -1, 0);
    return p == MAP_FAILED ? nullptr : static_cast<unsigned char*>(p);
  }();
  unsigned used_ = 0;  // a bit per slot
  std::mutex mutex_;
};

inline Slots slots;
}  // namespace array_detail

template <class T>
class Array {
 public:
  explicit Array(size_t n) : n_(n) {
    constexpr size_t kHuge = size_t(2) << 20;
    const size_t bytes = ((n * sizeof(T)) + 63) / 64 * 64 + 64;
    if (bytes <= array_detail::kSlotBytes) slot_ = array_detail::slots.take();
    if (slot_) {
      p_ = reinterpret_cast<T*>(slot_);
    } else if (bytes >= 4 * kHuge) {
      p_ = static_cast<T*>(std::aligned_alloc(kHuge, (bytes + kHuge - 1) / kHuge * kHuge));
      madvise(p_, (bytes + kHuge - 1) / kHuge * kHuge, MADV_HUGEPAGE);
    } else {
      p_ = static_cast<T*>(std::aligned_alloc(64, bytes));
    }
    std::memset(static_cast<void*>(p_), 0, n * sizeof(T));
  }
  ~Array() {
    if (slot_)
      array_detail::slots.give_back(slot_);
    else
      std::free(p_);
  }
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;
  T* data() { return p_; }
  T& operator[](size_t i) { return p_[i]; }
  size_t size() const { return n_; }

 private:
  size_t n_;
  unsigned char* slot_ = nullptr;
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

// The byte floor of a kernel shape: the fastest loop this benchmark can write
// that reads R bytes and writes W bytes per sample (side by side, in that
// proportion, as a kernel does) and computes nothing. The widest vectors the
// processor has (512-bit where AVX-512F is present, else 256-bit); outputs of
// 8 MiB and more are written with streaming stores, as the library's kernels
// write them, so that the floor out of cache is what the memory system
// allows rather than what read-for-ownership stores allow. A kernel close to
// its floor is bound by memory, not by its arithmetic. Reported as bytes
// read + written per second, like the kernels.
namespace floor_detail {
constexpr size_t kStreamFrom = size_t(8) << 20;

// Four accumulators, so that the loads are not one chain of dependent
// operations: in cache a single chain, not the memory, would set the pace.
#define MORVEX_BENCH_FLOOR_STEP(V, acc, load, xor_, store, stream)                                                                 \
  for (size_t b = 0; b < kRead; ++b) acc = xor_(acc, load(reinterpret_cast<const __##V##i*>(in) + b));   \
  if (streamed)                                                                                       \
    for (size_t b = 0; b < kWrite; ++b) stream(reinterpret_cast<__##V##i*>(out) + b, acc);            \
  else                                                                                                \
    for (size_t b = 0; b < kWrite; ++b) store(reinterpret_cast<__##V##i*>(out) + b, acc);             \
  in += kRead * kV, out += kWrite * kV;
#define MORVEX_BENCH_FLOOR_LOOP(isa, V, set1, load, xor_, store, stream, fence)                     \
  template <size_t R, size_t W>                                                                       \
  __attribute__((target(isa))) void loop_##V(const unsigned char* in, unsigned char* out, size_t n) { \
    constexpr size_t kV = sizeof(__##V##i);                                                           \
    constexpr size_t kSmall = R == 0 ? W : W == 0 ? R : (R < W ? R : W);                              \
    constexpr size_t kRead = R / kSmall, kWrite = W / kSmall; /* vectors per step */                 \
    static_assert(kRead * kSmall == R && kWrite * kSmall == W, "sample sizes that divide");           \
    const size_t steps = n * kSmall / kV;                                                             \
    const bool streamed = n * W >= kStreamFrom;                                                       \
    /* Never all zero: the source arrays are, and lines of zeros reach memory */                    \
    /* about twice as fast as any other data here, which no kernel writes.  */                       \
    auto a0 = set1(0x5A5A5A5A), a1 = a0, a2 = a0, a3 = a0;                                            \
    size_t s = 0;                                                                                     \
    for (; s + 4 <= steps; s += 4) {                                                                  \
      MORVEX_BENCH_FLOOR_STEP(V, a0, load, xor_, store, stream) MORVEX_BENCH_FLOOR_STEP(V, a1, load, xor_, store, stream)                                         \
      MORVEX_BENCH_FLOOR_STEP(V, a2, load, xor_, store, stream) MORVEX_BENCH_FLOOR_STEP(V, a3, load, xor_, store, stream)                                         \
    }                                                                                                 \
    for (; s < steps; ++s) {                                                                          \
      MORVEX_BENCH_FLOOR_STEP(V, a0, load, xor_, store, stream)                                                                     \
    }                                                                                                 \
    if (streamed) fence();                                                                            \
    benchmark::DoNotOptimize(a0);                                                                     \
    benchmark::DoNotOptimize(a1);                                                                     \
    benchmark::DoNotOptimize(a2);                                                                     \
    benchmark::DoNotOptimize(a3);                                                                     \
  }
MORVEX_BENCH_FLOOR_LOOP("avx512f", m512, _mm512_set1_epi32, _mm512_load_si512, _mm512_xor_si512,
                        _mm512_store_si512, _mm512_stream_si512, _mm_sfence)
MORVEX_BENCH_FLOOR_LOOP("avx2", m256, _mm256_set1_epi32, _mm256_load_si256, _mm256_xor_si256,
                        _mm256_store_si256, _mm256_stream_si256, _mm_sfence)
#undef MORVEX_BENCH_FLOOR_LOOP
#undef MORVEX_BENCH_FLOOR_STEP
}  // namespace floor_detail

template <size_t R, size_t W>
void byte_floor(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  Array<unsigned char> src(n * R + 128), dst(n * W + 128);
  const bool wide = __builtin_cpu_supports("avx512f");
  for (auto _ : state) {
    if (wide)
      floor_detail::loop_m512<R, W>(src.data(), dst.data(), n);
    else
      floor_detail::loop_m256<R, W>(src.data(), dst.data(), n);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n * (R + W)));
}

}  // namespace morvex::bench
