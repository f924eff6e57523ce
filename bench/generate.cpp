// SPDX-License-Identifier: MIT
// Generators: cosine waveforms and the Hanning and Blackman-Harris windows, at
// a cache-sized block and a 1M-sample record.
//  - split: the exports spread over the task pool (threads:0, the system's
//    count) and on one thread (threads:1, the same split pinned to a single
//    chunk), the windows computing their weights at every call (kept:0) and
//    reusing the weights kept from the previous call (kept:1). Wall-clock
//    time: the work runs on several threads.
//  - gen/<export>/<kernel>: one thread, under each cosine kernel, beside
//    gen/<export>/cos-loop, the same formula written as a plain loop over the
//    C library's cos: the per-thread ratio of each vector kernel.
//  - the bare cosine kernels on the Hanning arguments beside the bare loop.
//  - liquid/<window>_f32: liquid-dsp's window functions (float, one call
//    per sample) weighting a block on one thread.
// The numpy/scipy peers are in bench/py/peers.py.
#include <cmath>
#include <string>

#include "bench_util.h"
#include "frame/split.h"
#include "generate/cos_exact.h"
#include "generate/weight_cache.h"
#include "morvex-core.h"

#ifdef MORVEX_BENCH_HAVE_LIQUID
#include <complex.h>  // liquid.h declares C99 complex types
#include <liquid/liquid.h>
#endif

namespace morvex::bench {
namespace {

constexpr int64_t kMega = 1 << 20;
constexpr double kTwoPi = 6.283185307179586;

class PinThreads {
 public:
  explicit PinThreads(unsigned threads) { frame::set_split_thread_count(threads); }
  ~PinThreads() { frame::set_split_thread_count(0); }
};

// Whether windows keep their weights from call to call, for one benchmark.
class KeepWeights {
 public:
  explicit KeepWeights(bool on) { generate::set_weight_cache_enabled(on); }
  ~KeepWeights() { generate::set_weight_cache_enabled(true); }
};

// The cosine waveform of every benchmark: period 1000, amplitude 1, clamped
// to +-2 (no clamp bites).
template <class T>
void waveform_cosine(T* out, size_t n, double* phase) {
  if constexpr (sizeof(T) == 4)
    morvex_m_waveform_cosine_f32(out, n, phase, 1000.0, 1.0, 0.0, 0.5, -2.0f, 2.0f);
  else
    morvex_m_waveform_cosine_f64(out, n, phase, 1000.0, 1.0, 0.0, 0.5, -2.0, 2.0);
}

template <class T>
void BM_waveform_cosine(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  PinThreads pin(unsigned(state.range(1)));
  Array<T> out(n);
  double phase = 0.0;
  for (auto _ : state) {
    waveform_cosine(out.data(), n, &phase);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(n));
}

template <class T>
void fill_input(Array<T>& in) {
  for (size_t i = 0; i < in.size(); ++i) in[i] = T(i % 1000) * T(0.001);
}

template <class T, int32_t (*Window)(const T*, T*, uint64_t, int32_t)>
void BM_window(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  PinThreads pin(unsigned(state.range(1)));
  KeepWeights keep(state.range(2) != 0);
  Array<T> in(n), out(n);
  fill_input(in);
  for (auto _ : state) {
    Window(in.data(), out.data(), n, 0);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(n));
}

void split_args(benchmark::internal::Benchmark* b) {
  b->ArgNames({"n", "threads"})->ArgsProduct({{kBlock, kMega}, {0, 1}})->UseRealTime();
}
void window_args(benchmark::internal::Benchmark* b) {
  b->ArgNames({"n", "threads", "kept"})->ArgsProduct({{kBlock, kMega}, {0, 1}, {0, 1}})->UseRealTime();
}

BENCHMARK(BM_waveform_cosine<float>)->Apply(split_args);
BENCHMARK(BM_waveform_cosine<double>)->Apply(split_args);
BENCHMARK(BM_window<double, morvex_m_window_hanning_f64>)->Apply(window_args);
BENCHMARK(BM_window<float, morvex_m_window_hanning_f32>)->Apply(window_args);
BENCHMARK(BM_window<double, morvex_m_window_blackmanharris_f64>)->Apply(window_args);
BENCHMARK(BM_window<float, morvex_m_window_blackmanharris_f32>)->Apply(window_args);

// ---------------------------------------------------------------- per thread, per kernel

// The cosine kernels by the configuration that selects them (bench_util.h).
struct Kernel {
  const char* name;
  int config;
  bool (*available)();
};
const Kernel kKernels[] = {
    {"avx512", 0, [] { return morvex_core_cpu_has_avx512f() && morvex_core_cpu_has_avx512cd(); }},
    {"avx2", 1, [] { return morvex_core_cpu_has_avx2() && morvex_core_cpu_has_fma3(); }},
    {"plain", 2, [] { return true; }},
};

// The exports and their formulas as a user would write them with the C
// library's cos (weights computed in double, as the exports do).
template <class T>
void hanning_loop(const T* in, T* out, size_t n) {
  const double nm1 = double(n - 1);
  for (size_t i = 0; i < n; ++i) out[i] = T((1.0 - std::cos(double(i) * kTwoPi / nm1)) * 0.5 * double(in[i]));
}

template <class T>
void blackmanharris_loop(const T* in, T* out, size_t n) {
  const double nm1 = double(n - 1);
  for (size_t i = 0; i < n; ++i) {
    const double x = double(i);
    const double w = 0.35875 - 0.48829 * std::cos(x * kTwoPi / nm1) + 0.14128 * std::cos(x * (2 * kTwoPi) / nm1) -
                     0.01168 * std::cos(x * (3 * kTwoPi) / nm1);
    out[i] = T(w * double(in[i]));
  }
}

template <class T>
void cosine_loop(T* out, size_t n, double* phase) {
  const double w = kTwoPi / 1000.0, p = (*phase + *phase) * (kTwoPi / 2);
  for (size_t i = 0; i < n; ++i) {
    double v = std::cos(double(i) * w + p);
    v = v < -2.0 ? -2.0 : v > 2.0 ? 2.0 : v;
    out[i] = T(v);
  }
  *phase = std::fmod(double(n) / 1000.0 + *phase, 1.0);
}

// A generator as the benchmark drives it: the export and its loop, both
// with the signature (in, out, n, phase) (windows ignore the phase, the
// waveform its input).
template <class T>
using GenFn = void (*)(const T*, T*, size_t, double*);

template <class T, int32_t (*Window)(const T*, T*, uint64_t, int32_t)>
void window_export(const T* in, T* out, size_t n, double*) {
  Window(in, out, n, 0);
}
template <class T, void (*Loop)(const T*, T*, size_t)>
void window_loop(const T* in, T* out, size_t n, double*) {
  Loop(in, out, n);
}
template <class T>
void cosine_export(const T*, T* out, size_t n, double* phase) {
  waveform_cosine(out, n, phase);
}
template <class T>
void cosine_loop_gen(const T*, T* out, size_t n, double* phase) {
  cosine_loop(out, n, phase);
}

// One call per iteration on one thread, under kernel k (or the loop for k < 0).
template <class T>
void per_thread(benchmark::State& state, GenFn<T> f, int k) {
  if (k >= 0 && !kKernels[k].available()) {
    state.SkipWithError("kernel not available on this processor");
    return;
  }
  const size_t n = size_t(state.range(0));
  PinThreads pin(1);
  KeepWeights compute(false);
  if (k >= 0) set_config(kKernels[k].config);
  Array<T> in(n), out(n);
  fill_input(in);
  double phase = 0.0;
  for (auto _ : state) {
    f(in.data(), out.data(), n, &phase);
    benchmark::ClobberMemory();
  }
  set_config(0);
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(n));
}

template <class T>
void register_per_thread(const std::string& name, GenFn<T> library, GenFn<T> loop) {
  for (int64_t n : {kBlock, kMega}) {
    for (int k = 0; k < 3; ++k)
      benchmark::RegisterBenchmark(("gen/" + name + "/" + kKernels[k].name).c_str(), per_thread<T>, library, k)
          ->Arg(n);
    benchmark::RegisterBenchmark(("gen/" + name + "/cos-loop").c_str(), per_thread<T>, loop, -1)->Arg(n);
  }
}

const bool registered = [] {
  register_per_thread<double>("hanning_f64", window_export<double, morvex_m_window_hanning_f64>,
                              window_loop<double, hanning_loop<double>>);
  register_per_thread<float>("hanning_f32", window_export<float, morvex_m_window_hanning_f32>,
                             window_loop<float, hanning_loop<float>>);
  register_per_thread<double>("blackmanharris_f64", window_export<double, morvex_m_window_blackmanharris_f64>,
                              window_loop<double, blackmanharris_loop<double>>);
  register_per_thread<float>("blackmanharris_f32", window_export<float, morvex_m_window_blackmanharris_f32>,
                             window_loop<float, blackmanharris_loop<float>>);
  register_per_thread<double>("cosine_f64", cosine_export<double>, cosine_loop_gen<double>);
  register_per_thread<float>("cosine_f32", cosine_export<float>, cosine_loop_gen<float>);
  return true;
}();

#ifdef MORVEX_BENCH_HAVE_LIQUID
// liquid-dsp weighting a block as its users do: the window function of each
// index, times the sample.
template <float (*W)(unsigned, unsigned)>
void BM_liquid_window(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  Array<float> in(n), out(n);
  fill_input(in);
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) out[i] = in[i] * W(unsigned(i), unsigned(n));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(n));
}
BENCHMARK(BM_liquid_window<liquid_hann>)->Name("liquid/hanning_f32")->Arg(kBlock)->Arg(kMega);
BENCHMARK(BM_liquid_window<liquid_blackmanharris>)->Name("liquid/blackmanharris_f32")->Arg(kBlock)->Arg(kMega);
#endif

// ---------------------------------------------------------------- the bare kernels

// The floor of one thread: a plain loop calling cos once per element, as the
// Hanning window does, with nothing else around it.
void BM_cos_loop_f64(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  Array<double> out(n);
  const double nm1 = double(n - 1);
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) out[i] = std::cos(double(i) * kTwoPi / nm1);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(n));
}
BENCHMARK(BM_cos_loop_f64)->Arg(kBlock)->Arg(kMega);

// The generators' cosine kernel on the loop's arguments, one thread: the
// C library's values, from the baseline (std::cos per element), AVX2+FMA3
// and AVX-512 kernels.
void BM_cos_ramp_f64(benchmark::State& state) {
  namespace cd = generate::cos_detail;
  using Ramp = void (*)(generate::Ramp, uint64_t, uint64_t, std::size_t, double, double, double*);
  const Ramp kernels[] = {cd::cos_ramp_plain, cd::cos_ramp_avx2, cd::cos_ramp_avx512};
  const bool available[] = {true, kKernels[1].available(), kKernels[0].available()};
  const int k = int(state.range(1));
  if (!available[k]) {
    state.SkipWithError("kernel not available on this processor");
    return;
  }
  const size_t n = size_t(state.range(0));
  Array<double> out(n);
  for (auto _ : state) {
    kernels[k](generate::Ramp::kDivide, 0, 1, n, kTwoPi, double(n - 1), out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(n));
}
BENCHMARK(BM_cos_ramp_f64)->ArgNames({"n", "kernel"})->ArgsProduct({{kBlock, kMega}, {0, 1, 2}});

// The streaming reference for the window of a 1M-sample f64 block: the
// windows are bound by their cos calls, far below this.
void BM_memcpy_window_f64(benchmark::State& state) {
  memcpy_reference(state, state.range(0) * sizeof(double), state.range(0) * sizeof(double));
  state.SetItemsProcessed(int64_t(state.iterations()) * state.range(0));
}
BENCHMARK(BM_memcpy_window_f64)->Arg(kBlock)->Arg(kMega);

}  // namespace
}  // namespace morvex::bench
