// Arithmetic family and the task pool.
#include <volk/volk.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "bench_util.h"
#include "frame/split.h"

namespace morvex::bench {
namespace {

void BM_memcpy_add_f32(benchmark::State& state) {
  memcpy_reference(state, 2 * state.range(0) * sizeof(float), state.range(0) * sizeof(float));
}
BENCHMARK(BM_memcpy_add_f32)->Arg(kBlock)->Arg(kRecord);

void BM_add_f32(benchmark::State& state) {
  const size_t n = state.range(0);
  Array<float> a(n), b(n), out(n);
  for (size_t i = 0; i < n; ++i) a[i] = float(i), b[i] = 0.5f;
  for (auto _ : state) {
    morvex_m_add_f32(a.data(), b.data(), out.data(), n);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(3 * n * sizeof(float)));
}
BENCHMARK(BM_add_f32)->Arg(kBlock)->Arg(kRecord);

#ifdef MORVEX_BENCH_HAVE_VOLK
void BM_volk_32f_x2_add_32f(benchmark::State& state) {
  const size_t n = state.range(0);
  Array<float> a(n), b(n), out(n);
  for (auto _ : state) {
    volk_32f_x2_add_32f(out.data(), a.data(), b.data(), unsigned(n));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(3 * n * sizeof(float)));
}
BENCHMARK(BM_volk_32f_x2_add_32f)->Arg(kBlock)->Arg(kRecord);

void BM_volk_32f_s32f_multiply_32f(benchmark::State& state) {
  const size_t n = state.range(0);
  Array<float> in(n), out(n);
  for (auto _ : state) {
    volk_32f_s32f_multiply_32f(out.data(), in.data(), 1.5f, unsigned(n));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(2 * n * sizeof(float)));
}
BENCHMARK(BM_volk_32f_s32f_multiply_32f)->Arg(kBlock)->Arg(kRecord);
#endif

void BM_memcpy_unary_f32(benchmark::State& state) {
  memcpy_reference(state, state.range(0) * sizeof(float), state.range(0) * sizeof(float));
}
BENCHMARK(BM_memcpy_unary_f32)->Arg(kBlock)->Arg(kRecord);

void BM_mulc_f32(benchmark::State& state) {
  const size_t n = state.range(0);
  Array<float> in(n), out(n);
  for (auto _ : state) {
    morvex_m_mulc_f32(in.data(), out.data(), n, 1.5f);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(2 * n * sizeof(float)));
}
BENCHMARK(BM_mulc_f32)->Arg(kBlock)->Arg(kRecord);

template <class T>
void BM_mulc_addc(benchmark::State& state) {
  const size_t n = state.range(0);
  ConfigScope config(state, int(state.range(1)));
  Array<T> in(n), out(n);
  for (size_t i = 0; i < n; ++i) in[i] = T(i % 251);
  for (auto _ : state) {
    if constexpr (sizeof(T) == 4)
      morvex_m_mulc_addc_f32(in.data(), out.data(), n, 0.01f, -1.28f);
    else
      morvex_m_mulc_addc_f64(in.data(), out.data(), n, 0.01, -1.28);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(2 * n * sizeof(T)));
}
BENCHMARK(BM_mulc_addc<float>)->ArgsProduct({{kBlock, kRecord}, {0, 2, 4}});
BENCHMARK(BM_mulc_addc<double>)->ArgsProduct({{kBlock, kRecord}, {0, 2, 4}});

void BM_memcpy_unary_f64(benchmark::State& state) {
  memcpy_reference(state, state.range(0) * sizeof(double), state.range(0) * sizeof(double));
}
BENCHMARK(BM_memcpy_unary_f64)->Arg(kBlock)->Arg(kRecord);

// The pool: a split whose element kernel does almost nothing, so that the
// time is the hand-off to a worker and back. Calls come back to back, as a
// generator called on every acquisition block would make them. The manual
// timing gives per-call samples for the median and 99th percentile.
struct Sink {
  uint64_t* out;
};
void touch(uint64_t i, const Sink& s) { s.out[i] = i * 2654435761u; }

void split_round_trips(benchmark::State& state, unsigned threads) {
  const uint64_t n = uint64_t(state.range(0));
  std::vector<uint64_t> out(n);
  const Sink sink{out.data()};
  frame::set_split_thread_count(threads);
  std::vector<double> samples;
  samples.reserve(1 << 20);
  for (auto _ : state) {
    const auto t0 = std::chrono::steady_clock::now();
    frame::split_range<Sink, touch>(0, n, 1, sink);
    const auto t1 = std::chrono::steady_clock::now();
    const double s = std::chrono::duration<double>(t1 - t0).count();
    state.SetIterationTime(s);
    if (samples.size() < samples.capacity()) samples.push_back(s * 1e9);
  }
  frame::set_split_thread_count(0);
  std::sort(samples.begin(), samples.end());
  if (!samples.empty()) {
    state.counters["median_ns"] = samples[samples.size() / 2];
    state.counters["p99_ns"] = samples[samples.size() * 99 / 100];
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(n));
}

void BM_split_pool(benchmark::State& state) { split_round_trips(state, 0); }
BENCHMARK(BM_split_pool)->Arg(2)->Arg(4096)->UseManualTime();

void BM_split_one_thread(benchmark::State& state) { split_round_trips(state, 1); }
BENCHMARK(BM_split_one_thread)->Arg(2)->Arg(4096)->UseManualTime();

}  // namespace
}  // namespace morvex::bench
