// SPDX-License-Identifier: MIT
// A block loop as instrument software runs it: every block of 12-bit samples
// is searched for rising edges with the trigger state carried to the next
// block, and its spectrum is taken through one transform plan made before
// the loop.
//
//   c++ -std=c++17 block_loop.cpp $(pkg-config --cflags --libs morvex-m)
//
// The acquisition is simulated: a 3125 Hz tone sampled at 100 kHz (32
// samples per period) of 1500 codes around mid-scale, with a little noise.
// The program checks that it found one edge per period, evenly spaced across
// the block seams, and the tone in bin 32 of every 1024-point spectrum.
#include <morvex-m.h>

#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr uint64_t kBlock = 1024, kBlocks = 16, kPeriod = 32;
constexpr double kVoltsPerCode = 1.0 / 2048;

// The library's objects under RAII: a plan, and a trigger's state block.
struct PlanDeleter {
  void operator()(morvex_m_dft_plan* p) const { morvex_m_dft_plan_destroy(p); }
};
using Plan = std::unique_ptr<morvex_m_dft_plan, PlanDeleter>;

struct TriggerState {
  void* handle = nullptr;  // allocated by the trigger on its first call
  TriggerState() = default;
  TriggerState(const TriggerState&) = delete;
  TriggerState& operator=(const TriggerState&) = delete;
  ~TriggerState() { morvex_m_state_free(&handle); }
};

}  // namespace

int main() {
  morvex_m_init();

  std::vector<uint16_t> raw(kBlock);
  std::vector<float> volts(kBlock), magnitude(kBlock / 2 + 1);
  std::vector<morvex_m_c32f32> bins(kBlock / 2 + 1);

  // One plan for every block: made now, executed per block.
  morvex_m_dft_plan* p = nullptr;
  if (morvex_m_dft_plan_create_r2c_1d_f32(volts.data(), kBlock, bins.data(), bins.size(), &p) != 0) return 1;
  Plan plan(p);

  TriggerState edge;
  std::vector<uint64_t> edges;  // sample indices from the start of the record
  double phase = 0.25;          // start a quarter period in, so the first edge is not sample 0
  bool spectra_ok = true;

  for (uint64_t b = 0; b < kBlocks; ++b) {
    // "Acquire" the block: the tone, then +-8 codes of reproducible noise.
    const uint32_t seed = uint32_t(b + 1);
    morvex_m_waveform_cosine_u16(raw.data(), kBlock, &phase, double(kPeriod), 1500.0, 2048.0, 0.5, 0, 4095);
    morvex_m_add_noise_u16(raw.data(), kBlock, 8, 0, 4095, &seed);

    // Rising edges through 2300, armed below 1800; an edge that starts in one
    // block and completes in the next is found at the right sample.
    for (uint64_t pos = 0;;) {
      if (morvex_m_trigger_edge_rising_u16(raw.data(), kBlock, 1800, 2300, &pos, &edge.handle) != 0) return 1;
      if (pos == kBlock) break;
      edges.push_back(b * kBlock + pos);
    }

    // Volts around 0, Hann-weighted with unit coherent gain, one-sided
    // amplitudes: a tone of amplitude A shows about A in its bin.
    morvex_m_convert_u16f32(raw.data(), volts.data(), kBlock, float(kVoltsPerCode), -1.0f);
    morvex_m_window_hanning_f32(volts.data(), volts.data(), kBlock, 1);
    if (morvex_m_dft_plan_execute_r2c_1d_divn_f32(plan.get(), volts.data(), kBlock, bins.data(), bins.size(), 1) != 0)
      return 1;
    morvex_m_magnitude_c32f32(bins.data(), magnitude.data(), bins.size());
    uint64_t peak = 1;  // skip bin 0 (the offset)
    float amplitude = 0.0f;
    morvex_m_index_max_f32(magnitude.data(), magnitude.size(), &peak, &amplitude);
    std::printf("block %2llu: %zu edges so far, peak bin %llu, %.4f V\n", (unsigned long long)b, edges.size(),
                (unsigned long long)peak, amplitude);
    spectra_ok &= peak == kBlock / kPeriod && amplitude > 0.98f * 1500 * kVoltsPerCode &&
                  amplitude < 1.02f * 1500 * kVoltsPerCode;
  }
  morvex_m_fini();

  bool edges_ok = edges.size() == kBlocks * kBlock / kPeriod;
  for (size_t i = 1; i < edges.size(); ++i) edges_ok &= edges[i] - edges[i - 1] == kPeriod;
  std::printf("%zu rising edges, %s; spectra %s\n", edges.size(), edges_ok ? "one per period" : "MISSED OR EXTRA",
              spectra_ok ? "as expected" : "WRONG");
  return edges_ok && spectra_ok ? 0 : 1;
}
