// SPDX-License-Identifier: MIT
// The block path an acquisition program runs on every block: u8 codes to f32
// volts (scale and offset), the Hanning window (the export called on every
// block), a real transform through a plan made once, the magnitude of the
// bins, and a search of the raw block for every rising edge, the trigger
// state carried to the next block.
//
// Beside it, the same path written with VOLK and FFTW, as a program without
// this library would: VOLK's 8-bit conversion (signed, no offset: its
// nearest), a multiply by Hanning weights computed once, FFTW with the plan
// flags the library's plans use (FFTW_ESTIMATE), VOLK's magnitude, and a
// plain loop for the edge search with the same hysteresis. Both paths find
// the same edges (checked before timing).
//
// Every iteration runs one block through each path in turn, each step timed
// on its own (the time-stamp counter, a few nanoseconds per read), so both
// paths see the same machine from moment to moment: on a shared machine
// that is what keeps their ratio steady. The counters are medians over the
// blocks: morvex_ns and peer_ns for the whole path, ratio = peer / morvex
// (above 1: the library is faster), and each step's time.
//
// The two transforms are the same FFTW code on the same arrays, yet one of
// the two plans can run at half speed for a whole process (which one depends
// on where FFTW's own allocations land, and changes from build to build).
// ratio_same_fft therefore also compares the sums of the step medians with
// both transforms taken at the faster of the two: the comparison of what
// the two paths do differently. 4096 samples (a block in cache) and 1M (a
// long record).
#include <x86intrin.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <vector>

#include "bench_util.h"

#if defined(MORVEX_BENCH_HAVE_FFTW) && defined(MORVEX_BENCH_HAVE_VOLK)
#define MORVEX_BENCH_BLOCKPATH_PEER 1
#include <fftw3.h>
#include <volk/volk.h>
#endif

namespace morvex::bench {
namespace {

// 10 mV per code, code 128 at 0 V; edges armed below code 100, at code 140.
constexpr float kScale = 0.01f, kOffset = -1.28f;
constexpr uint8_t kArm = 100, kLevel = 140;

constexpr int kSteps = 5;
const char* const kStepNames[kSteps] = {"convert", "window", "fft", "magnitude", "trigger"};

// Time-stamp counts of the step boundaries of one block.
struct Stamps {
  uint64_t at[kSteps + 1];
};

// A time stamp that neither the compiler nor the processor moves across:
// every step's loads and stores stay on their side of it.
inline uint64_t stamp() {
  asm volatile("" ::: "memory");
  _mm_lfence();
  const uint64_t t = __rdtsc();
  _mm_lfence();
  asm volatile("" ::: "memory");
  return t;
}

// The arrays both paths work in (one after the other): the samples, the
// bins, the magnitudes, and the peer's window. Where FFTW's loads and stores
// fall relative to each other and to its own tables changes its speed by up
// to 2x on this machine, so the two paths share the very same arrays: both
// transforms then run on the same addresses, and that effect stays out of
// the comparison.
class Arena {
 public:
  Arena(size_t n, size_t bins)
      : bytes_{page(n * sizeof(float)), page(bins * sizeof(morvex_m_c32f32)), page(bins * sizeof(float)),
               page(n * sizeof(float))},
        mem_(bytes_[0] + bytes_[1] + bytes_[2] + bytes_[3] + kPage) {}
  float* x() { return reinterpret_cast<float*>(at(0)); }
  morvex_m_c32f32* spectrum() { return reinterpret_cast<morvex_m_c32f32*>(at(1)); }
  float* mag() { return reinterpret_cast<float*>(at(2)); }
  float* weights() { return reinterpret_cast<float*>(at(3)); }  // the peer's window

 private:
  static constexpr size_t kPage = 4096;
  static size_t page(size_t b) { return (b + kPage - 1) / kPage * kPage; }
  unsigned char* at(int k) {
    auto base = (reinterpret_cast<uintptr_t>(mem_.data()) + kPage - 1) / kPage * kPage;
    for (int i = 0; i < k; ++i) base += bytes_[i];
    return reinterpret_cast<unsigned char*>(base);
  }
  size_t bytes_[4];
  Array<unsigned char> mem_;
};

// A 1000-sample cosine of +-100 codes around mid-scale with +-3 codes of
// noise: a few edges per cached block, and some noise near the levels.
void fill_codes(Array<uint8_t>& raw) {
  double phase = 0.0;
  morvex_m_waveform_cosine_u8(raw.data(), raw.size(), &phase, 1000.0, 100.0, 128.0, 0.5, 0, 255);
  const uint32_t seed = 7;
  morvex_m_add_noise_u8(raw.data(), raw.size(), 3, 0, 255, &seed);
}

// The library's path; returns the edges found.
struct Ours {
  Ours(size_t n, Arena& a) : n(n), bins(n / 2 + 1), x(a.x()), spectrum(a.spectrum()), mag(a.mag()) {
    morvex_m_dft_plan_create_r2c_1d_f32(x, n, spectrum, bins, &plan);
  }
  ~Ours() {
    morvex_m_dft_plan_destroy(plan);
    morvex_m_state_free(&trigger);
  }
  uint64_t block(const uint8_t* raw, Stamps& t) {
    t.at[0] = stamp();
    morvex_m_convert_u8f32(raw, x, n, kScale, kOffset);
    t.at[1] = stamp();
    morvex_m_window_hanning_f32(x, x, n, 1);
    t.at[2] = stamp();
    morvex_m_dft_plan_execute_r2c_1d_f32(plan, x, n, spectrum, bins);
    t.at[3] = stamp();
    morvex_m_magnitude_c32f32(spectrum, mag, bins);
    t.at[4] = stamp();
    uint64_t edges = 0;
    for (uint64_t p = 0;; ++edges) {
      morvex_m_trigger_edge_rising_u8(raw, n, kArm, kLevel, &p, &trigger);
      if (p == n) break;
    }
    benchmark::DoNotOptimize(edges);
    t.at[5] = stamp();
    return edges;
  }
  size_t n, bins;
  float* x;
  morvex_m_c32f32* spectrum;
  float* mag;
  morvex_m_dft_plan* plan = nullptr;
  void* trigger = nullptr;
};

#ifdef MORVEX_BENCH_BLOCKPATH_PEER
// The peer's edge search: below arm, back to arm, then at level. A loop of
// data-dependent branches runs up to a third slower or faster depending on
// where it lands relative to the fetch blocks, and where that is moves with
// every change to the rest of the program; on its own 64-byte boundary it
// runs at the same speed from build to build.
__attribute__((noinline, aligned(64))) uint64_t rising_edges(const uint8_t* raw, size_t n, unsigned& carried) {
  unsigned state = carried;  // a local: raw's bytes could alias the caller's
  uint64_t edges = 0;
  for (size_t i = 0; i < n; ++i) {
    const uint8_t v = raw[i];
    if (state == 0) {
      state = v < kArm;
    } else if (state == 1) {
      if (v >= kArm) state = 2;
    }
    if (state == 2 && v >= kLevel) {
      ++edges;
      state = 0;
    }
  }
  carried = state;
  return edges;
}

// The same path with VOLK and FFTW.
struct Peer {
  Peer(size_t n, Arena& a)
      : n(n), bins(n / 2 + 1), x(a.x()), hann(a.weights()), spectrum(a.spectrum()), mag(a.mag()) {
    const double nm1 = double(n - 1);
    for (size_t i = 0; i < n; ++i) hann[i] = float((1.0 - std::cos(2.0 * M_PI * double(i) / nm1)) * 0.5 * 2.0);
    plan = fftwf_plan_dft_r2c_1d(int(n), x, reinterpret_cast<fftwf_complex*>(spectrum), FFTW_ESTIMATE);
  }
  ~Peer() { fftwf_destroy_plan(plan); }
  uint64_t block(const uint8_t* raw, Stamps& t) {
    t.at[0] = stamp();
    volk_8i_s32f_convert_32f(x, reinterpret_cast<const int8_t*>(raw), 1.0f / kScale, unsigned(n));
    t.at[1] = stamp();
    volk_32f_x2_multiply_32f(x, x, hann, unsigned(n));
    t.at[2] = stamp();
    fftwf_execute(plan);
    t.at[3] = stamp();
    volk_32fc_magnitude_32f(mag, reinterpret_cast<const lv_32fc_t*>(spectrum), unsigned(bins));
    t.at[4] = stamp();
    const uint64_t edges = rising_edges(raw, n, state);
    benchmark::DoNotOptimize(edges);
    t.at[5] = stamp();
    return edges;
  }
  size_t n, bins;
  float *x, *hann;
  morvex_m_c32f32* spectrum;
  float* mag;
  fftwf_plan plan;
  unsigned state = 0;
};
#endif

// Nanoseconds per time-stamp count, measured against the steady clock.
double ns_per_count() {
  static const double ns = [] {
    const auto c0 = std::chrono::steady_clock::now();
    const uint64_t t0 = __rdtsc();
    while (std::chrono::steady_clock::now() - c0 < std::chrono::milliseconds(20)) {
    }
    const uint64_t t1 = __rdtsc();
    return double(std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now() - c0).count()) /
           double(t1 - t0);
  }();
  return ns;
}

// Per step (and the whole path, last), the median over the blocks, in ns.
std::vector<double> medians(const std::vector<Stamps>& blocks) {
  std::vector<double> out;
  std::vector<uint64_t> v(blocks.size());
  for (int k = 0; k <= kSteps; ++k) {
    for (size_t b = 0; b < blocks.size(); ++b)
      v[b] = k < kSteps ? blocks[b].at[k + 1] - blocks[b].at[k] : blocks[b].at[kSteps] - blocks[b].at[0];
    std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
    out.push_back(double(v[v.size() / 2]) * ns_per_count());
  }
  return out;
}

void BM_blockpath(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  if (morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1) != 0) {
    state.SkipWithError("FFTW cannot be loaded");
    return;
  }
  Array<uint8_t> raw(n);
  fill_codes(raw);
  Arena arena(n, n / 2 + 1);
  Ours ours(n, arena);
  std::vector<Stamps> ours_t;
  Stamps t;
#ifdef MORVEX_BENCH_BLOCKPATH_PEER
  Peer peer(n, arena);
  std::vector<Stamps> peer_t;
  if (ours.block(raw.data(), t) != peer.block(raw.data(), t)) {
    state.SkipWithError("the two paths disagree on the edges");
    return;
  }
#endif
  for (auto _ : state) {
    ours.block(raw.data(), t);
    ours_t.push_back(t);
#ifdef MORVEX_BENCH_BLOCKPATH_PEER
    peer.block(raw.data(), t);
    peer_t.push_back(t);
#endif
    benchmark::ClobberMemory();
  }
  const std::vector<double> m = medians(ours_t);
  state.counters["morvex_ns"] = m[kSteps];
  for (int k = 0; k < kSteps; ++k) state.counters[std::string("morvex_") + kStepNames[k]] = m[k];
#ifdef MORVEX_BENCH_BLOCKPATH_PEER
  const std::vector<double> p = medians(peer_t);
  state.counters["peer_ns"] = p[kSteps];
  state.counters["ratio"] = p[kSteps] / m[kSteps];
  constexpr int kFft = 2;
  double ours_sum = std::min(m[kFft], p[kFft]), peer_sum = ours_sum;
  for (int k = 0; k < kSteps; ++k)
    if (k != kFft) ours_sum += m[k], peer_sum += p[k];
  state.counters["ratio_same_fft"] = peer_sum / ours_sum;
  for (int k = 0; k < kSteps; ++k) state.counters[std::string("peer_") + kStepNames[k]] = p[k];
#endif
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(n));
  morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 0);
}
BENCHMARK(BM_blockpath)->Name("blockpath")->ArgName("n")->Arg(kBlock)->Arg(int64_t(1) << 20)->UseRealTime();

}  // namespace
}  // namespace morvex::bench
