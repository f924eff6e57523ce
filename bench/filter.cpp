// SPDX-License-Identifier: MIT
// IIR filters: execution of an order-8 Butterworth lowpass (4 sections) and
// bandpass (8 sections) over 1M samples under each kernel configuration, and
// freqz of 4096 points. Peers: liquid-dsp's second-order-section filter on
// the same sections (below), and bench/py/peers.py (scipy.signal.sosfilt and
// freqz on the same sections), run in the same session.
#include <vector>

#ifdef MORVEX_BENCH_HAVE_LIQUID
#include <complex.h>  // liquid's header needs C99 complex types
#include <liquid/liquid.h>
#endif

#include "bench_util.h"
#include "frame/split.h"

namespace morvex::bench {
namespace {

constexpr int64_t kSamples = 1 << 20;
constexpr double kRate = 1e6;

// 0: lowpass at 50 kHz (4 sections); 1: bandpass 100-200 kHz (8 sections).
morvex_m_filter_state* design(int which) {
  morvex_m_filter_state* st = nullptr;
  morvex_m_filter_iir_butterworth(which == 0 ? MORVEX_M_FILTER_LOWPASS : MORVEX_M_FILTER_BANDPASS, 8, &st, kRate,
                                  which == 0 ? 50e3 : 100e3, 200e3);
  return st;
}

// Reports the time per sample: single-threaded work, measured in CPU time
// so that other processes on the machine do not count.
template <class T>
void BM_filter_execute(benchmark::State& state) {
  const int which = int(state.range(0));
  ConfigScope config(state, int(state.range(1)));
  morvex_m_filter_state* st = design(which);
  Array<T> in(kSamples), out(kSamples);
  for (int64_t i = 0; i < kSamples; ++i) in[size_t(i)] = T((i * 7919) % 2001) / T(1000) - T(1);
  for (auto _ : state) {
    if constexpr (sizeof(T) == 4)
      morvex_m_filter_execute_f32(in.data(), out.data(), kSamples, st);
    else
      morvex_m_filter_execute_f64(in.data(), out.data(), kSamples, st);
    benchmark::ClobberMemory();
  }
  state.counters["ns_per_sample"] = benchmark::Counter(double(kSamples) * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.SetItemsProcessed(int64_t(state.iterations()) * kSamples);
  morvex_m_filter_state_destroy(st);
}
BENCHMARK(BM_filter_execute<float>)->ArgsProduct({{0, 1}, {0, 1, 2, 3, 4}})->Unit(benchmark::kMillisecond);
BENCHMARK(BM_filter_execute<double>)->ArgsProduct({{0, 1}, {0, 1, 2, 3, 4}})->Unit(benchmark::kMillisecond);

#ifdef MORVEX_BENCH_HAVE_LIQUID
// liquid-dsp's cascade (single precision) on the library's own sections and
// input, one block per call like the library's execute.
void BM_liquid_iir_f32(benchmark::State& state) {
  morvex_m_filter_state* st = design(int(state.range(0)));
  const double* sos = nullptr;
  uint64_t count = 0;
  morvex_m_filter_iir_get_sos(st, &sos, &count);
  const unsigned sections = unsigned(count / 6);
  std::vector<float> b, a;
  for (unsigned k = 0; k < sections; ++k)
    for (int j = 0; j < 3; ++j) b.push_back(float(sos[6 * k + j])), a.push_back(float(sos[6 * k + 3 + j]));
  iirfilt_rrrf q = iirfilt_rrrf_create_sos(b.data(), a.data(), sections);
  Array<float> in(kSamples), out(kSamples);
  for (int64_t i = 0; i < kSamples; ++i) in[size_t(i)] = float((i * 7919) % 2001) / 1000.0f - 1.0f;
  for (auto _ : state) {
    iirfilt_rrrf_execute_block(q, in.data(), unsigned(kSamples), out.data());
    benchmark::ClobberMemory();
  }
  state.counters["ns_per_sample"] = benchmark::Counter(double(kSamples) * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.SetItemsProcessed(int64_t(state.iterations()) * kSamples);
  iirfilt_rrrf_destroy(q);
  morvex_m_filter_state_destroy(st);
}
BENCHMARK(BM_liquid_iir_f32)->Name("liquid/iir_f32")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
#endif

// freqz of 4096 points over the pool (real time: the work runs on several
// threads), and on the calling thread alone.
void BM_filter_freqz(benchmark::State& state) {
  const unsigned threads = unsigned(state.range(0));
  morvex_m_filter_state* st = design(0);
  std::vector<double> w(4096);
  std::vector<morvex_m_c64f64> h(4096);
  frame::set_split_thread_count(threads);
  for (auto _ : state) {
    morvex_m_filter_iir_freqz(st, 4096, 0, 0, 0, w.data(), h.data(), kRate);
    benchmark::ClobberMemory();
  }
  frame::set_split_thread_count(0);
  state.SetLabel(threads ? "1 thread" : "pool");
  state.SetItemsProcessed(int64_t(state.iterations()) * 4096);
  morvex_m_filter_state_destroy(st);
}
BENCHMARK(BM_filter_freqz)->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace morvex::bench
