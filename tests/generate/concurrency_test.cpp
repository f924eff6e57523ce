// Generators called from several application threads at once, all splitting
// over the one task pool: every call must still produce its own exact result.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "common/buffers.h"
#include "generate_api.h"

namespace {

using morvex::test::all_same_bits;

TEST(GenerateConcurrency, SplitGeneratorsFromManyThreads) {
  morvex::test::PinnedThreads pin(4);  // more chunks than cores: the pool queues
  const uint64_t n = 3001;
  std::vector<double> in(n);
  morvex::test::fill_random(in.data(), n, 1, false);
  std::vector<double> ref_hann(n), ref_flat(n);
  std::vector<int16_t> ref_wave(n);
  morvex_m_window_hanning_f64(in.data(), ref_hann.data(), n, 1);
  morvex_m_window_flattop_f64(in.data(), ref_flat.data(), n, 0);
  double ph = 0.1;
  morvex_m_waveform_cosine_i16(ref_wave.data(), n, &ph, 77.7, 1000, 0, 0.3, -2000, 2000);

  std::atomic<int> bad{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      std::vector<double> hann(n), flat(n);
      std::vector<int16_t> wave(n);
      for (int round = 0; round < 40; ++round) {
        const int kind = (round + t) % 3;
        if (kind == 0) {
          morvex_m_window_hanning_f64(in.data(), hann.data(), n, 1);
          bad += !all_same_bits(hann.data(), ref_hann.data(), n);
        } else if (kind == 1) {
          morvex_m_window_flattop_f64(in.data(), flat.data(), n, 0);
          bad += !all_same_bits(flat.data(), ref_flat.data(), n);
        } else {
          double p = 0.1;
          morvex_m_waveform_cosine_i16(wave.data(), n, &p, 77.7, 1000, 0, 0.3, -2000, 2000);
          bad += !all_same_bits(wave.data(), ref_wave.data(), n) || p != ph;
        }
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(bad.load(), 0);
}

}  // namespace
