// SPDX-License-Identifier: MIT
// Reductions and searches: each beside memcpy of the same bytes (the
// bandwidth reference of every benchmark file) and, for the searches, beside
// memchr over the same bytes with the hit at the same place (the speed limit
// of a forward byte search). VOLK is the peer where it has the operation.
#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

#ifdef MORVEX_BENCH_HAVE_VOLK
#include <volk/volk.h>
#endif

#include "bench_util.h"

namespace morvex::bench {
namespace {

// Read-only kernels are set against memcpy moving the same number of bytes
// (half read, half written), per bench_util.h.
template <class T>
void BM_memcpy_read(benchmark::State& state) {
  memcpy_reference(state, size_t(state.range(0)) * sizeof(T), 0);
}
BENCHMARK(BM_memcpy_read<uint8_t>)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(BM_memcpy_read<uint16_t>)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(BM_memcpy_read<float>)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(BM_memcpy_read<double>)->Arg(kBlock)->Arg(kRecord);

// memchr scanning the same bytes as a search over n samples of T, finding
// its byte in the very last position.
template <class T>
void BM_memchr_hit_at_end(benchmark::State& state) {
  const size_t bytes = size_t(state.range(0)) * sizeof(T);
  Array<uint8_t> a(bytes);
  a[bytes - 1] = 1;
  for (auto _ : state) {
    const void* p = std::memchr(a.data(), 1, bytes);
    benchmark::DoNotOptimize(p);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}
BENCHMARK(BM_memchr_hit_at_end<uint8_t>)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(BM_memchr_hit_at_end<uint16_t>)->Arg(kBlock)->Arg(kRecord);

template <class T>
void fill_ramp(Array<T>& a) {
  for (size_t i = 0; i < a.size(); ++i) a[i] = T((i * 37) % 200 + 10);
}

#define MORVEX_BENCH_MINMAX(T, S)                                                      \
  void BM_minmax_##S(benchmark::State& state) {                                        \
    ConfigScope config(state, int(state.range(1)));                                    \
    const size_t n = size_t(state.range(0));                                           \
    Array<T> a(n);                                                                     \
    fill_ramp(a);                                                                      \
    T mn, mx;                                                                          \
    for (auto _ : state) {                                                             \
      morvex_m_minmax_##S(a.data(), n, &mn, &mx);                                      \
      benchmark::DoNotOptimize(mn);                                                    \
      benchmark::DoNotOptimize(mx);                                                    \
    }                                                                                  \
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n * sizeof(T)));     \
  }                                                                                    \
  BENCHMARK(BM_minmax_##S)->ArgsProduct({{kBlock, kRecord}, {0, 2, 4}});
MORVEX_BENCH_MINMAX(uint8_t, u8)
MORVEX_BENCH_MINMAX(uint16_t, u16)
MORVEX_BENCH_MINMAX(int16_t, i16)
MORVEX_BENCH_MINMAX(float, f32)
#undef MORVEX_BENCH_MINMAX

// Extreme searches over scattered values (the maximum and the minimum land
// somewhere inside, not at the start), from position 0 with the type's
// widest bar, as a caller asking for the plain extreme passes it. Beside
// them VOLK's index searches and the read floor of the same bytes.
template <class T>
void fill_scattered(Array<T>& a) {
  for (size_t i = 0; i < a.size(); ++i) {
    const uint32_t h = uint32_t(i * 2654435761u) >> 8;
    if constexpr (std::is_floating_point_v<T>)
      a[i] = T(double(h) * 0x1p-23 - 1.0);
    else
      a[i] = T(h >> (24 - 8 * sizeof(T)));
  }
}

// The caller's bar is the lowest (highest) value of the type, so every
// search finds the record's extreme.
template <class T, int32_t (*Search)(const T*, uint64_t, uint64_t*, T*), bool Max>
void BM_index_extreme(benchmark::State& state) {
  ConfigScope config(state, int(state.range(1)));
  const size_t n = size_t(state.range(0));
  Array<T> a(n);
  fill_scattered(a);
  for (auto _ : state) {
    uint64_t p = 0;
    T v = Max ? std::numeric_limits<T>::lowest() : std::numeric_limits<T>::max();
    Search(a.data(), n, &p, &v);
    benchmark::DoNotOptimize(p);
    benchmark::DoNotOptimize(v);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n * sizeof(T)));
}
void extreme_args(benchmark::internal::Benchmark* b) {
  b->ArgsProduct({{64, kBlock, kRecord}, {0}})->Args({kBlock, 1})->Args({kBlock, 4});
}
#define MORVEX_BENCH_EXTREME(T, S)                                                                          \
  BENCHMARK(BM_index_extreme<T, morvex_m_index_max_##S, true>)->Name("BM_index_max_" #S)->Apply(extreme_args); \
  BENCHMARK(BM_index_extreme<T, morvex_m_index_min_##S, false>)->Name("BM_index_min_" #S)->Apply(extreme_args);
MORVEX_BENCH_EXTREME(int16_t, i16)
MORVEX_BENCH_EXTREME(uint8_t, u8)
MORVEX_BENCH_EXTREME(uint16_t, u16)
MORVEX_BENCH_EXTREME(float, f32)
MORVEX_BENCH_EXTREME(double, f64)
#undef MORVEX_BENCH_EXTREME

// The read floor of each element size: the same bytes read, nothing written.
BENCHMARK(byte_floor<1, 0>)->Name("BM_floor_1_0")->Arg(64)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(byte_floor<2, 0>)->Name("BM_floor_2_0")->Arg(64)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(byte_floor<4, 0>)->Name("BM_floor_4_0")->Arg(64)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(byte_floor<8, 0>)->Name("BM_floor_8_0")->Arg(64)->Arg(kBlock)->Arg(kRecord);

#ifdef MORVEX_BENCH_HAVE_VOLK
// VOLK's index searches over f32 (no bar, no start: the plain extreme), and
// its 16-bit maximum, which finds the value but no index.
template <class Search>
void BM_volk_32f_index(benchmark::State& state, Search search) {
  const size_t n = size_t(state.range(0));
  Array<float> a(n);
  fill_scattered(a);
  uint32_t at = 0;
  for (auto _ : state) {
    search(&at, a.data(), uint32_t(n));
    benchmark::DoNotOptimize(at);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n * sizeof(float)));
}
// (Through the global at each call: VOLK resolves its kernel on first use.)
BENCHMARK_CAPTURE(BM_volk_32f_index, max, [](uint32_t* at, const float* x, uint32_t n) { volk_32f_index_max_32u(at, x, n); })->Name("BM_volk_32f_index_max_32u")->Arg(64)->Arg(kBlock)->Arg(kRecord);
BENCHMARK_CAPTURE(BM_volk_32f_index, min, [](uint32_t* at, const float* x, uint32_t n) { volk_32f_index_min_32u(at, x, n); })->Name("BM_volk_32f_index_min_32u")->Arg(64)->Arg(kBlock)->Arg(kRecord);

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
void BM_volk_16i_max_star_16i(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  Array<int16_t> a(n);
  fill_scattered(a);
  short best = 0;
  for (auto _ : state) {
    volk_16i_max_star_16i(&best, a.data(), unsigned(n));
    benchmark::DoNotOptimize(best);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n * sizeof(int16_t)));
}
#pragma GCC diagnostic pop
BENCHMARK(BM_volk_16i_max_star_16i)->Arg(64)->Arg(kBlock)->Arg(kRecord);
#endif

// The integer sums: configuration 0 (all features) and 1 (AVX-512 off, the
// x86-64 baseline kernels).
template <class T, class R, int32_t (*Sum)(const T*, uint64_t, R*)>
void BM_sum_int(benchmark::State& state) {
  ConfigScope config(state, int(state.range(1)));
  const size_t n = size_t(state.range(0));
  Array<T> a(n);
  fill_ramp(a);
  for (auto _ : state) {
    R s = 0;
    Sum(a.data(), n, &s);
    benchmark::DoNotOptimize(s);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n * sizeof(T)));
}
BENCHMARK(BM_sum_int<uint8_t, uint64_t, morvex_m_sum_u8>)->Name("BM_sum_u8")->ArgsProduct({{kBlock, kRecord}, {0, 1}});
BENCHMARK(BM_sum_int<uint16_t, uint64_t, morvex_m_sum_u16>)->Name("BM_sum_u16")->ArgsProduct({{kBlock, kRecord}, {0, 1}});
BENCHMARK(BM_sum_int<int16_t, int64_t, morvex_m_sum_i16>)->Name("BM_sum_i16")->ArgsProduct({{kBlock, kRecord}, {0, 1}});

// Each configuration: 0-2 run the AVX 4-lane order, 3 the SSE4.2 2-lane
// order, 4 the sequential base order.
void BM_sum_f64(benchmark::State& state) {
  ConfigScope config(state, int(state.range(1)));
  const size_t n = size_t(state.range(0));
  Array<double> a(n);
  fill_ramp(a);
  for (auto _ : state) {
    double s = 0;
    morvex_m_sum_f64(a.data(), n, &s);
    benchmark::DoNotOptimize(s);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n * sizeof(double)));
}
BENCHMARK(BM_sum_f64)->ArgsProduct({{kBlock, kRecord}, {0, 1, 2, 3, 4}});

// The first sample at or above a level that only the very last sample
// reaches: a full pass, as in a trigger search that finds nothing until the
// end of the block.
template <class T>
void BM_index_gte(benchmark::State& state) {
  ConfigScope config(state, int(state.range(1)));
  const size_t n = size_t(state.range(0));
  Array<T> a(n);
  fill_ramp(a);
  a[n - 1] = T(250);
  for (auto _ : state) {
    uint64_t p = 0;
    if constexpr (sizeof(T) == 1)
      morvex_m_index_gte_u8(a.data(), n, 240, &p);
    else
      morvex_m_index_gte_u16(a.data(), n, 240, &p);
    benchmark::DoNotOptimize(p);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n * sizeof(T)));
}
BENCHMARK(BM_index_gte<uint8_t>)->ArgsProduct({{64, kBlock, kRecord}, {0, 2, 4}});
BENCHMARK(BM_index_gte<uint16_t>)->ArgsProduct({{64, kBlock, kRecord}, {0, 2, 4}});

// 12-bit samples into 64 bins with both out-of-range counters.
void BM_histogram_lin_1d_u16u32(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  Array<uint16_t> a(n);
  for (size_t i = 0; i < n; ++i) a[i] = uint16_t((i * 2654435761u) >> 20);
  std::vector<uint32_t> bins(64);
  uint32_t below = 0, above = 0;
  for (auto _ : state) {
    morvex_m_histogram_lin_1d_u16u32(a.data(), n, 0, 4095, bins.data(), 64, &below, &above);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n * sizeof(uint16_t)));
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(n));
}
BENCHMARK(BM_histogram_lin_1d_u16u32)->Arg(kBlock)->Arg(kRecord);

}  // namespace
}  // namespace morvex::bench
