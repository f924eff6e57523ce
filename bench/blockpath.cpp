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
// 4096 samples (a block in cache) and 1M (a long record). stages:5 is the
// whole path; stages:k runs its first k steps only, to show where the time
// goes. Wall-clock time: the library may hand part of a long window to the
// task pool.
#include <cmath>
#include <cstring>

#include "bench_util.h"

#ifdef MORVEX_BENCH_HAVE_FFTW
#include <fftw3.h>
#endif
#ifdef MORVEX_BENCH_HAVE_VOLK
#include <volk/volk.h>
#endif

namespace morvex::bench {
namespace {

// 10 mV per code, code 128 at 0 V; edges armed below code 100, at code 140.
constexpr float kScale = 0.01f, kOffset = -1.28f;
constexpr uint8_t kArm = 100, kLevel = 140;

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
  explicit Ours(size_t n) : n(n), bins(n / 2 + 1), x(n), spectrum(bins), mag(bins) {
    morvex_m_dft_plan_create_r2c_1d_f32(x.data(), n, spectrum.data(), bins, &plan);
  }
  ~Ours() {
    morvex_m_dft_plan_destroy(plan);
    morvex_m_state_free(&trigger);
  }
  uint64_t block(const uint8_t* raw, int stages = 5) {
    morvex_m_convert_u8f32(raw, x.data(), n, kScale, kOffset);
    if (stages >= 2) morvex_m_window_hanning_f32(x.data(), x.data(), n, 1);
    if (stages >= 3) morvex_m_dft_plan_execute_r2c_1d_f32(plan, x.data(), n, spectrum.data(), bins);
    if (stages >= 4) morvex_m_magnitude_c32f32(spectrum.data(), mag.data(), bins);
    if (stages < 5) return 0;
    uint64_t edges = 0;
    for (uint64_t p = 0;; ++edges) {
      morvex_m_trigger_edge_rising_u8(raw, n, kArm, kLevel, &p, &trigger);
      if (p == n) break;
    }
    return edges;
  }
  size_t n, bins;
  Array<float> x;
  Array<morvex_m_c32f32> spectrum;
  Array<float> mag;
  morvex_m_dft_plan* plan = nullptr;
  void* trigger = nullptr;
};

#if defined(MORVEX_BENCH_HAVE_FFTW) && defined(MORVEX_BENCH_HAVE_VOLK)
// The same path with VOLK and FFTW.
struct Peer {
  explicit Peer(size_t n) : n(n), bins(n / 2 + 1), x(n), hann(n), spectrum(bins), mag(bins) {
    const double nm1 = double(n - 1);
    for (size_t i = 0; i < n; ++i) hann[i] = float((1.0 - std::cos(2.0 * M_PI * double(i) / nm1)) * 0.5 * 2.0);
    plan = fftwf_plan_dft_r2c_1d(int(n), x.data(), reinterpret_cast<fftwf_complex*>(spectrum.data()), FFTW_ESTIMATE);
  }
  ~Peer() { fftwf_destroy_plan(plan); }
  uint64_t block(const uint8_t* raw, int stages = 5) {
    volk_8i_s32f_convert_32f(x.data(), reinterpret_cast<const int8_t*>(raw), 1.0f / kScale, unsigned(n));
    if (stages >= 2) volk_32f_x2_multiply_32f(x.data(), x.data(), hann.data(), unsigned(n));
    if (stages >= 3) fftwf_execute(plan);
    if (stages >= 4)
      volk_32fc_magnitude_32f(mag.data(), reinterpret_cast<const lv_32fc_t*>(spectrum.data()), unsigned(bins));
    if (stages < 5) return 0;
    // Rising edge with hysteresis: below arm, back to arm, then at level.
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
    return edges;
  }
  size_t n, bins;
  Array<float> x, hann;
  Array<morvex_m_c32f32> spectrum;
  Array<float> mag;
  fftwf_plan plan;
  unsigned state = 0;
};
#endif

template <class Path>
void run_path(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  if (morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1) != 0) {
    state.SkipWithError("FFTW cannot be loaded");
    return;
  }
  Array<uint8_t> raw(n);
  fill_codes(raw);
  {
    // Both paths must find the same edges in the same record.
    Path path(n);
#if defined(MORVEX_BENCH_HAVE_FFTW) && defined(MORVEX_BENCH_HAVE_VOLK)
    Peer peer(n);
    if (path.block(raw.data()) != peer.block(raw.data())) {
      state.SkipWithError("the two paths disagree on the edges");
      return;
    }
#endif
  }
  Path path(n);
  const int stages = int(state.range(1));
  uint64_t edges = 0;
  for (auto _ : state) {
    edges += path.block(raw.data(), stages);
    benchmark::ClobberMemory();
  }
  state.counters["edges/block"] = double(edges) / double(state.iterations());
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(n));
  morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 0);
}

const bool registered = [] {
  for (int64_t n : {kBlock, int64_t(1) << 20})
    for (int64_t stages : {5, 1, 2, 3, 4}) {
      benchmark::RegisterBenchmark("blockpath/morvex", run_path<Ours>)
          ->ArgNames({"n", "stages"})
          ->Args({n, stages})
          ->UseRealTime();
#if defined(MORVEX_BENCH_HAVE_FFTW) && defined(MORVEX_BENCH_HAVE_VOLK)
      benchmark::RegisterBenchmark("blockpath/volk+fftw", run_path<Peer>)
          ->ArgNames({"n", "stages"})
          ->Args({n, stages})
          ->UseRealTime();
#endif
    }
  return true;
}();

}  // namespace
}  // namespace morvex::bench
