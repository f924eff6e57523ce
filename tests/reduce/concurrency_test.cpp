// The reductions keep no state: threads running them on shared data each get
// the single-threaded answer, even while another thread switches the options
// that choose their kernels (callers are told not to, but these kernels all
// give identical results, so nothing may change).
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "common/buffers.h"
#include "common/kernel_configs.h"
#include "morvex-m.h"

TEST(ReduceConcurrency, SearchesAndExtremesWhileOptionsChange) {
  const size_t n = 10007;
  std::vector<uint16_t> x(n, 100);
  x[9000] = 4000;
  std::vector<float> f(n);
  morvex::test::fill_random(f.data(), n, 18);
  float want_min, want_max;
  morvex_m_minmax_f32(f.data(), n, &want_min, &want_max);

  std::atomic<int> wrong{0};
  std::thread toggler([] {
    for (int i = 0; i < 200; ++i) {
      morvex_m_setopt(MORVEX_M_OPT_AVX2, i % 2);
      morvex_m_setopt(MORVEX_M_OPT_SSE42, (i / 2) % 2);
      morvex_m_setopt(MORVEX_M_OPT_AVX, (i / 4) % 2);
    }
  });
  std::vector<std::thread> workers;
  for (int t = 0; t < 4; ++t)
    workers.emplace_back([&] {
      for (int i = 0; i < 300; ++i) {
        uint64_t p = uint64_t(i);
        uint16_t mn, mx;
        float fmn, fmx;
        morvex_m_index_gte_u16(x.data(), n, 3500, &p);
        morvex_m_minmax_u16(x.data(), n, &mn, &mx);
        morvex_m_minmax_f32(f.data(), n, &fmn, &fmx);
        if (p != 9000 || mn != 100 || mx != 4000 || !morvex::test::same_bits(fmn, want_min) ||
            !morvex::test::same_bits(fmx, want_max))
          ++wrong;
      }
    });
  for (auto& w : workers) w.join();
  toggler.join();
  morvex::test::restore_processor_options();
  EXPECT_EQ(wrong.load(), 0);
}
