// SPDX-License-Identifier: MIT
// Arithmetic family and the task pool.
#ifdef MORVEX_BENCH_HAVE_VOLK
#include <volk/volk.h>
#endif

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "bench_util.h"
#include "frame/split.h"

namespace morvex::bench {
namespace {

// ------------------------------------------------------------------ arithmetic
// BM_<export>/<n> under all features, and BM_<export>/<n>/<config> (the
// configurations of bench_util.h) where a narrower kernel is shown. Bytes are
// read + written, as for the floors: add_f32 is the 8_4 shape, mulc_f32 4_4,
// add_f64 16_8, mulc_f64 8_8.
constexpr int64_t kSmall = 64;

template <class T>
void fill_operands(Array<T>& a, Array<T>* b) {
  for (size_t i = 0; i < a.size(); ++i) {
    a[i] = T(1) + T(i % 251) * T(0.01);
    if (b) (*b)[i] = T(0.5) + T(i % 13);
  }
}

template <class T>
void run_binary(benchmark::State& state, int32_t (*fn)(const T*, const T*, T*, uint64_t), bool configured) {
  const size_t n = size_t(state.range(0));
  ConfigScope config(state, configured ? int(state.range(1)) : 0);
  Array<T> a(n), b(n), out(n);
  fill_operands(a, &b);
  for (auto _ : state) {
    fn(a.data(), b.data(), out.data(), n);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(3 * n * sizeof(T)));
}

template <class T>
void run_const(benchmark::State& state, int32_t (*fn)(const T*, T*, uint64_t, T), bool configured) {
  const size_t n = size_t(state.range(0));
  ConfigScope config(state, configured ? int(state.range(1)) : 0);
  Array<T> in(n), out(n);
  fill_operands<T>(in, nullptr);
  for (auto _ : state) {
    fn(in.data(), out.data(), n, T(1.5));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(2 * n * sizeof(T)));
}

template <class T>
void run_abs(benchmark::State& state, int32_t (*fn)(const T*, T*, uint64_t), bool configured) {
  const size_t n = size_t(state.range(0));
  ConfigScope config(state, configured ? int(state.range(1)) : 0);
  Array<T> in(n), out(n);
  for (size_t i = 0; i < n; ++i) in[i] = T(i) - T(n / 2);
  for (auto _ : state) {
    fn(in.data(), out.data(), n);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(2 * n * sizeof(T)));
}

// Beside the median, the fastest repetition: on a machine shared with other
// work, the ratio of two minima is the steadier reading of two kernels.
benchmark::internal::Benchmark* with_min(benchmark::internal::Benchmark* b) {
  return b->ComputeStatistics("min", [](const std::vector<double>& v) { return *std::min_element(v.begin(), v.end()); });
}

// Every export at the three sizes; add and mulc also with AVX-512 off (the
// AVX kernel) and with AVX off (the baseline loop), at 4096 and 16M.
template <class Fn, class Run>
void register_export(const char* name, Run run, Fn fn, bool fallbacks) {
  const std::string full = std::string("BM_") + name;
  with_min(benchmark::RegisterBenchmark(full.c_str(), run, fn, false))->Arg(kSmall)->Arg(kBlock)->Arg(kRecord);
  if (fallbacks)
    with_min(benchmark::RegisterBenchmark(full.c_str(), run, fn, true))->ArgsProduct({{kBlock, kRecord}, {1, 3}});
}

#define MORVEX_BENCH_ARITH(op, fallbacks)                                                  \
  register_export(#op "_f32", run_binary<float>, morvex_m_##op##_f32, fallbacks),          \
      register_export(#op "_f64", run_binary<double>, morvex_m_##op##_f64, fallbacks)
#define MORVEX_BENCH_ARITHC(op, fallbacks)                                                 \
  register_export(#op "_f32", run_const<float>, morvex_m_##op##_f32, fallbacks),           \
      register_export(#op "_f64", run_const<double>, morvex_m_##op##_f64, fallbacks)

const bool arith_registered = [] {
  MORVEX_BENCH_ARITH(add, true), MORVEX_BENCH_ARITH(sub, false), MORVEX_BENCH_ARITH(mul, false),
      MORVEX_BENCH_ARITH(div, false);
  MORVEX_BENCH_ARITHC(addc, false), MORVEX_BENCH_ARITHC(subc, false), MORVEX_BENCH_ARITHC(mulc, true),
      MORVEX_BENCH_ARITHC(divc, false);
  // abs_f32 has its rows in ops.cpp; f64 is the 8_8 shape.
  register_export("abs_f64", run_abs<double>, morvex_m_abs_f64, false);
  return true;
}();

// The floors of the f64 shapes (the f32 ones, 8_4 and 4_4, are in ops.cpp).
const bool floors_registered = [] {
  with_min(benchmark::RegisterBenchmark("BM_floor_16_8", byte_floor<16, 8>))->Arg(kSmall)->Arg(kBlock)->Arg(kRecord);
  with_min(benchmark::RegisterBenchmark("BM_floor_8_8", byte_floor<8, 8>))->Arg(kSmall)->Arg(kBlock)->Arg(kRecord);
  return true;
}();

void BM_memcpy_add_f32(benchmark::State& state) {
  memcpy_reference(state, 2 * state.range(0) * sizeof(float), state.range(0) * sizeof(float));
}
BENCHMARK(BM_memcpy_add_f32)->Arg(kBlock)->Arg(kRecord);

void BM_memcpy_unary_f32(benchmark::State& state) {
  memcpy_reference(state, state.range(0) * sizeof(float), state.range(0) * sizeof(float));
}
BENCHMARK(BM_memcpy_unary_f32)->Arg(kBlock)->Arg(kRecord);

void BM_memcpy_unary_f64(benchmark::State& state) {
  memcpy_reference(state, state.range(0) * sizeof(double), state.range(0) * sizeof(double));
}
BENCHMARK(BM_memcpy_unary_f64)->Arg(kBlock)->Arg(kRecord);

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

// VOLK's counterparts, same operands and sizes. Each is called through its
// dispatch pointer as read at the call (the pointer starts at a resolver that
// rebinds it on the first call), which then picks the aligned kernels: the
// arrays are 64-byte aligned.
#ifdef MORVEX_BENCH_HAVE_VOLK
template <class T>
void run_volk_binary(benchmark::State& state, void (**fn)(T*, const T*, const T*, unsigned)) {
  const size_t n = size_t(state.range(0));
  Array<T> a(n), b(n), out(n);
  fill_operands(a, &b);
  for (auto _ : state) {
    (*fn)(out.data(), a.data(), b.data(), unsigned(n));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(3 * n * sizeof(T)));
}

void run_volk_const(benchmark::State& state, void (**fn)(float*, const float*, float, unsigned)) {
  const size_t n = size_t(state.range(0));
  Array<float> in(n), out(n);
  fill_operands<float>(in, nullptr);
  for (auto _ : state) {
    (*fn)(out.data(), in.data(), 1.5f, unsigned(n));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(2 * n * sizeof(float)));
}

const bool volk_registered = [] {
  const std::pair<const char*, void (**)(float*, const float*, const float*, unsigned)> binary32[] = {
      {"BM_volk_32f_x2_add_32f", &volk_32f_x2_add_32f},
      {"BM_volk_32f_x2_subtract_32f", &volk_32f_x2_subtract_32f},
      {"BM_volk_32f_x2_multiply_32f", &volk_32f_x2_multiply_32f},
      {"BM_volk_32f_x2_divide_32f", &volk_32f_x2_divide_32f}};
  const std::pair<const char*, void (**)(double*, const double*, const double*, unsigned)> binary64[] = {
      {"BM_volk_64f_x2_add_64f", &volk_64f_x2_add_64f}, {"BM_volk_64f_x2_multiply_64f", &volk_64f_x2_multiply_64f}};
  const std::pair<const char*, void (**)(float*, const float*, float, unsigned)> const32[] = {
      {"BM_volk_32f_s32f_add_32f", &volk_32f_s32f_add_32f},
      {"BM_volk_32f_s32f_multiply_32f", &volk_32f_s32f_multiply_32f}};
  for (const auto& [name, fn] : binary32)
    with_min(benchmark::RegisterBenchmark(name, run_volk_binary<float>, fn))->Arg(kSmall)->Arg(kBlock)->Arg(kRecord);
  for (const auto& [name, fn] : binary64)
    with_min(benchmark::RegisterBenchmark(name, run_volk_binary<double>, fn))->Arg(kSmall)->Arg(kBlock)->Arg(kRecord);
  for (const auto& [name, fn] : const32)
    with_min(benchmark::RegisterBenchmark(name, run_volk_const, fn))->Arg(kSmall)->Arg(kBlock)->Arg(kRecord);
  return true;
}();
#endif

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

// The floor under a hand-off to a worker: one cache line sent to a thread
// that spins on it and sent back, with nothing else done. A split whose chunk
// a worker runs cannot return sooner, since the task and its completion each
// cross between the processors; one can when the calling thread takes its
// queued chunk back before a worker starts it, which is what happens when
// the line between the two processors is slow. The hypervisor moves this
// machine's processors about, and the round trip with them (from about 100 ns
// to about 400 ns), so the two are read side by side in one run.
void BM_line_round_trip(benchmark::State& state) {
  alignas(64) std::atomic<uint64_t> line{0};
  std::atomic<bool> done{false};
  std::thread echo([&] {
    uint64_t seen = 0;
    while (!done.load(std::memory_order_relaxed)) {
      const uint64_t v = line.load(std::memory_order_acquire);
      if (v != seen && v % 2 == 1) {
        seen = v + 1;
        line.store(seen, std::memory_order_release);
      }
    }
  });
  std::vector<double> samples;
  samples.reserve(1 << 20);
  uint64_t v = 0;
  for (auto _ : state) {
    const auto t0 = std::chrono::steady_clock::now();
    line.store(++v, std::memory_order_release);
    while (line.load(std::memory_order_acquire) != v + 1) {
    }
    ++v;
    const auto t1 = std::chrono::steady_clock::now();
    const double s = std::chrono::duration<double>(t1 - t0).count();
    state.SetIterationTime(s);
    if (samples.size() < samples.capacity()) samples.push_back(s * 1e9);
  }
  done.store(true, std::memory_order_relaxed);
  echo.join();
  std::sort(samples.begin(), samples.end());
  if (!samples.empty()) state.counters["median_ns"] = samples[samples.size() / 2];
}
BENCHMARK(BM_line_round_trip)->Arg(2)->UseManualTime();

void BM_split_pool(benchmark::State& state) { split_round_trips(state, 0); }
BENCHMARK(BM_split_pool)->Arg(2)->Arg(4096)->UseManualTime();

void BM_split_one_thread(benchmark::State& state) { split_round_trips(state, 1); }
BENCHMARK(BM_split_one_thread)->Arg(2)->Arg(4096)->UseManualTime();

}  // namespace
}  // namespace morvex::bench
