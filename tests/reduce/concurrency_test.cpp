// The reductions keep no state: threads running them on shared read-only
// data must each get the single-threaded answer, also while another thread
// switches the processor options that choose their kernels (which callers
// are told not to do, but which must never corrupt a result of these
// exact kernels).
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "common/buffers.h"
#include "common/kernel_configs.h"
#include "morvex-m.h"

namespace {

TEST(ReduceConcurrency, SearchesAndExtremesFromManyThreads) {
  const size_t n = 10007;
  std::vector<uint16_t> x(n);
  morvex::test::fill_random(x.data(), n, 17);
  for (auto& v : x) v = uint16_t(v % 3000);
  x[9000] = 4000;
  std::vector<float> f(n);
  morvex::test::fill_random(f.data(), n, 18);

  uint16_t want_min, want_max;
  morvex_m_minmax_u16(x.data(), n, &want_min, &want_max);
  float want_fmin, want_fmax;
  morvex_m_minmax_f32(f.data(), n, &want_fmin, &want_fmax);

  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::thread toggler([&] {
    for (int i = 0; i < 200 && !stop; ++i) {
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
        morvex_m_index_gte_u16(x.data(), n, 3500, &p);
        uint16_t mn, mx;
        morvex_m_minmax_u16(x.data(), n, &mn, &mx);
        float fmn, fmx;
        morvex_m_minmax_f32(f.data(), n, &fmn, &fmx);
        if (p != 9000 || mn != want_min || mx != want_max ||
            !morvex::test::same_bits(fmn, want_fmin) || !morvex::test::same_bits(fmx, want_fmax))
          ++wrong;
      }
    });
  for (auto& w : workers) w.join();
  stop = true;
  toggler.join();
  morvex::test::restore_processor_options();
  EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
