// SPDX-License-Identifier: MIT
// Software triggers. The rare-trigger case is a scan: a rising edge over raw
// u8 and u16 records with one trigger per million samples, read against
// index_gte walking the same data and memcpy of the same bytes. The dense
// case is per-trigger cost: a pulse-width trigger on f32 with a pulse every
// 100 samples, reported as time per trigger.
#include <cstdint>
#include <random>

#include "bench_util.h"

namespace morvex::bench {
namespace {

constexpr uint64_t kTriggerSpacing = 1 << 20;  // one trigger per million samples
constexpr int kPulseWidth = 4;

// Raw samples: noise well below the arming level, and every kTriggerSpacing
// samples a short pulse above the trigger level.
template <class T>
struct RareEdges {
  T arm, level;
  Array<T> x;

  RareEdges(size_t n, T base, T noise, T arm_level, T trigger_level, T peak)
      : arm(arm_level), level(trigger_level), x(n) {
    std::mt19937 rng(1);
    for (size_t i = 0; i < n; ++i) x[i] = T(base + T(rng() % noise));
    for (size_t at = kTriggerSpacing / 2; at + kPulseWidth < n; at += kTriggerSpacing)
      for (int k = 0; k < kPulseWidth; ++k) x[at + k] = peak;
  }
};

// u8: noise 40..79, arm 100, level 160, pulses at 200. u16 (12-bit codes):
// noise 1000..1399, arm 2000, level 3000, pulses at 4000.
template <class T>
RareEdges<T> rare(size_t n) {
  if constexpr (sizeof(T) == 1)
    return RareEdges<T>(n, 40, 40, 100, 160, 200);
  else
    return RareEdges<T>(n, 1000, 400, 2000, 3000, 4000);
}

template <class T>
int32_t rising(const T* d, uint64_t n, T arm, T level, uint64_t* p, void** s) {
  if constexpr (sizeof(T) == 1)
    return morvex_m_trigger_edge_rising_u8(d, n, arm, level, p, s);
  else
    return morvex_m_trigger_edge_rising_u16(d, n, arm, level, p, s);
}

template <class T>
int32_t gte(const T* d, uint64_t n, T level, uint64_t* p) {
  if constexpr (sizeof(T) == 1)
    return morvex_m_index_gte_u8(d, n, level, p);
  else
    return morvex_m_index_gte_u16(d, n, level, p);
}

// Every rising edge of the record, one call per edge plus the last.
template <class T>
void BM_trigger_edge_rising(benchmark::State& state) {
  const size_t n = state.range(0);
  ConfigScope config(state, int(state.range(1)));
  RareEdges<T> data = rare<T>(n);
  void* st = nullptr;
  uint64_t hits = 0;
  for (auto _ : state) {
    for (uint64_t p = 0;;) {
      rising<T>(data.x.data(), n, data.arm, data.level, &p, &st);
      if (p == n) break;
      ++hits;
    }
    benchmark::DoNotOptimize(hits);
  }
  morvex_m_state_free(&st);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n * sizeof(T)));
}

// The same record searched for every sample at or above the trigger level.
template <class T>
void BM_index_gte_walk(benchmark::State& state) {
  const size_t n = state.range(0);
  ConfigScope config(state, int(state.range(1)));
  RareEdges<T> data = rare<T>(n);
  uint64_t hits = 0;
  for (auto _ : state) {
    for (uint64_t p = 0;; ++p) {
      gte<T>(data.x.data(), n, data.level, &p);
      if (p == n) break;
      ++hits;
    }
    benchmark::DoNotOptimize(hits);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n * sizeof(T)));
}

template <class T>
void BM_memcpy_trigger(benchmark::State& state) {
  memcpy_reference(state, state.range(0) * sizeof(T), 0);
}

void configs(benchmark::internal::Benchmark* b) {
  for (int64_t n : {kBlock, kRecord})
    for (int c : {0, 2, 4}) b->Args({n, c});
}

BENCHMARK(BM_memcpy_trigger<uint8_t>)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(BM_trigger_edge_rising<uint8_t>)->Apply(configs);
BENCHMARK(BM_index_gte_walk<uint8_t>)->Apply(configs);
BENCHMARK(BM_memcpy_trigger<uint16_t>)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(BM_trigger_edge_rising<uint16_t>)->Apply(configs);
BENCHMARK(BM_index_gte_walk<uint16_t>)->Apply(configs);

// Trigger-dense: f32 pulses of 20 to 40 samples every 100 samples on a noisy
// baseline, all of them reported (mode 3 with bounds around every width).
void BM_trigger_pulse_width_dense_f32(benchmark::State& state) {
  const size_t n = state.range(0);
  Array<float> x(n);
  std::mt19937 rng(2);
  std::uniform_real_distribution<float> noise(-0.05f, 0.05f);
  for (size_t i = 0; i < n; ++i) {
    const size_t phase = i % 100, width = 20 + (i / 100) % 21;
    x[i] = (phase < width ? 1.0f : 0.0f) + noise(rng);
  }
  void* st = nullptr;
  uint64_t hits = 0;
  for (auto _ : state) {
    for (uint64_t p = 0;;) {
      morvex_m_trigger_pulse_width_positive_f32(x.data(), n, 0.7f, 0.3f, 3, 10, 50, &p, &st);
      if (p == n) break;
      ++hits;
    }
  }
  morvex_m_state_free(&st);
  state.counters["triggers"] = benchmark::Counter(double(hits) / double(state.iterations()));
  state.counters["time_per_trigger"] = benchmark::Counter(double(hits), benchmark::Counter::kIsRate |
                                                                            benchmark::Counter::kInvert);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n * sizeof(float)));
}
BENCHMARK(BM_trigger_pulse_width_dense_f32)->Arg(kBlock)->Arg(kRecord);

}  // namespace
}  // namespace morvex::bench
