// Generators: cosine waveforms and the Hanning and Blackman-Harris windows, at
// a cache-sized block and a 1M-sample record, split over the task pool
// (threads:0, the system's count) and on one thread (threads:1, the same
// split pinned to a single chunk). The numpy/scipy peers are in
// bench/py/generate.py. Wall-clock time: the work runs on several threads.
#include <cmath>

#include "bench_util.h"
#include "frame/split.h"
#include "generate/cos_exact.h"
#include "morvex-core.h"

namespace morvex::bench {
namespace {

constexpr int64_t kMega = 1 << 20;

class PinThreads {
 public:
  explicit PinThreads(benchmark::State& state) { frame::set_split_thread_count(unsigned(state.range(1))); }
  ~PinThreads() { frame::set_split_thread_count(0); }
};

template <class T>
void BM_waveform_cosine(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  PinThreads pin(state);
  Array<T> out(n);
  double phase = 0.0;
  for (auto _ : state) {
    if constexpr (sizeof(T) == 4)
      morvex_m_waveform_cosine_f32(out.data(), n, &phase, 1000.0, 1.0, 0.0, 0.5, -2.0f, 2.0f);
    else
      morvex_m_waveform_cosine_f64(out.data(), n, &phase, 1000.0, 1.0, 0.0, 0.5, -2.0, 2.0);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(n));
}

template <class T, int32_t (*Window)(const T*, T*, uint64_t, int32_t)>
void BM_window(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  PinThreads pin(state);
  Array<T> in(n), out(n);
  for (size_t i = 0; i < n; ++i) in[i] = T(i % 1000) * T(0.001);
  for (auto _ : state) {
    Window(in.data(), out.data(), n, 0);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(n));
}

void split_args(benchmark::internal::Benchmark* b) {
  b->ArgNames({"n", "threads"})->ArgsProduct({{kBlock, kMega}, {0, 1}})->UseRealTime();
}

BENCHMARK(BM_waveform_cosine<float>)->Apply(split_args);
BENCHMARK(BM_waveform_cosine<double>)->Apply(split_args);
BENCHMARK(BM_window<double, morvex_m_window_hanning_f64>)->Apply(split_args);
BENCHMARK(BM_window<float, morvex_m_window_hanning_f32>)->Apply(split_args);
BENCHMARK(BM_window<double, morvex_m_window_blackmanharris_f64>)->Apply(split_args);
BENCHMARK(BM_window<float, morvex_m_window_blackmanharris_f32>)->Apply(split_args);

// The floor of one thread: a plain loop calling cos once per element, as the
// Hanning window does, with nothing else around it.
void BM_cos_loop_f64(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  Array<double> out(n);
  const double nm1 = double(n - 1);
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) out[i] = std::cos(double(i) * 6.283185307179586 / nm1);
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
  const bool available[] = {true, morvex_core_cpu_has_avx2() && morvex_core_cpu_has_fma3(),
                            morvex_core_cpu_has_avx512f() && morvex_core_cpu_has_avx512cd()};
  const int k = int(state.range(1));
  if (!available[k]) {
    state.SkipWithError("kernel not available on this processor");
    return;
  }
  const size_t n = size_t(state.range(0));
  Array<double> out(n);
  for (auto _ : state) {
    kernels[k](generate::Ramp::kDivide, 0, 1, n, 6.283185307179586, double(n - 1), out.data());
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
