// SPDX-License-Identifier: MIT
// Concurrency soak: 8 threads for MORVEX_SOAK_SECONDS (2 by default; more in
// CI's thread-sanitizer stage). Each round of a thread takes its own
// reference to the library and runs built-in plans of its own and plans made
// in the round (on FFTW when it loads) in both precisions, queries of filter
// states shared by all threads (which derive their representations on first
// demand), a filter, a pool-split window and a trigger of its own: every
// round must give what it gave on one thread. Then all threads start and
// stop the library at once, a pool split inside each start.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "morvex-m.h"

namespace {

constexpr uint64_t kN = 480, kBins = kN / 2 + 1;
constexpr int kThreads = 8;

template <class T>
std::string bytes(const T* p, uint64_t n) {
  return n ? std::string(reinterpret_cast<const char*>(p), n * sizeof(T)) : std::string();
}

morvex_m_filter_state* design(size_t i) {
  morvex_m_filter_state* st = nullptr;
  EXPECT_EQ(i % 2 ? morvex_m_filter_iir_notch(&st, 1000.0, 60.0, 4.0)
                  : morvex_m_filter_iir_chebyshev1(2, 3, &st, 1000.0, 50.0, 200.0, 0.5), 0);
  return st;
}

// One thread's objects: built-in plans (made before FFTW is switched on), a
// filter, arrays.
struct Worker {
  std::vector<float> x = std::vector<float>(kN), y;
  std::vector<double> xd = std::vector<double>(kN), w, f = std::vector<double>(100);
  std::vector<morvex_m_c32f32> Xf = std::vector<morvex_m_c32f32>(kBins);
  std::vector<morvex_m_c64f64> Xd = std::vector<morvex_m_c64f64>(kBins), h = std::vector<morvex_m_c64f64>(100);
  morvex_m_dft_plan *pf = nullptr, *pd = nullptr;
  morvex_m_filter_state* own = design(0);

  Worker() {
    for (uint64_t i = 0; i < kN; ++i) x[i] = float(i % 37) - 18.0f, xd[i] = double(i % 11) - 5.0;
    EXPECT_EQ(morvex_m_dft_plan_create_r2c_1d_f32(x.data(), kN, Xf.data(), kBins, &pf), 0);
    EXPECT_EQ(morvex_m_dft_plan_create_r2c_1d_f64(xd.data(), kN, Xd.data(), kBins, &pd), 0);
  }
  ~Worker() { morvex_m_dft_plan_destroy(pf), morvex_m_dft_plan_destroy(pd), morvex_m_filter_state_destroy(own); }

  // Everything a round gives, in order (each << is sequenced after the one
  // before it, so every output is read after the call that writes it).
  std::string round(morvex_m_filter_state* shared, uint64_t r) {
    EXPECT_EQ(morvex_m_init(), 0);
    std::ostringstream out;
    morvex_m_dft_plan *qf = nullptr, *qd = nullptr;
    out << morvex_m_dft_plan_execute_r2c_1d_f32(pf, x.data(), kN, Xf.data(), kBins) << bytes(Xf.data(), kBins)
        << morvex_m_dft_plan_execute_r2c_1d_f64(pd, xd.data(), kN, Xd.data(), kBins) << bytes(Xd.data(), kBins)
        << morvex_m_dft_plan_create_r2c_1d_f32(x.data(), kN, Xf.data(), kBins, &qf)
        << morvex_m_dft_plan_create_r2c_1d_f64(xd.data(), kN, Xd.data(), kBins, &qd)
        << morvex_m_dft_plan_execute_r2c_1d_f32(qf, x.data(), kN, Xf.data(), kBins) << bytes(Xf.data(), kBins)
        << morvex_m_dft_plan_execute_r2c_1d_f64(qd, xd.data(), kN, Xd.data(), kBins) << bytes(Xd.data(), kBins)
        << morvex_m_dft_f64(xd.data(), kN, Xd.data(), kBins) << bytes(Xd.data(), kBins);
    morvex_m_dft_plan_destroy(qf), morvex_m_dft_plan_destroy(qd);
    const morvex_m_c64f64 *z, *p;
    const double *b, *a, *sos;
    uint64_t nz, np, n, ns;
    double k;
    int32_t stable = -1;
    out << morvex_m_filter_iir_get_zpk(shared, &z, &nz, &p, &np, &k) << bytes(z, nz) << bytes(p, np) << bytes(&k, 1)
        << morvex_m_filter_iir_get_tf(shared, &b, &a, &n) << bytes(b, n) << bytes(a, n)
        << morvex_m_filter_iir_get_sos(shared, &sos, &ns) << bytes(sos, ns)
        << morvex_m_filter_iir_isstable(shared, &stable) << stable
        << morvex_m_filter_iir_freqz(shared, 100, 0, 1, 0, f.data(), h.data(), 1e3) << bytes(h.data(), 100)
        << morvex_m_filter_iir_freqz_zpk(shared, 100, 1, 1, f.data(), h.data(), 1e3) << bytes(h.data(), 100)
        << bytes(f.data(), 100);
    y = x, w = xd;
    morvex_m_filter_reset_delay_line(own, 1);
    out << morvex_m_filter_execute_f32(y.data(), y.data(), 200, own)
        << morvex_m_filter_execute_f32(y.data() + 200, y.data() + 200, kN - 200, own) << bytes(y.data(), kN)
        // eight lengths in turn, more than a thread keeps weights of: computed over the pool every time
        << morvex_m_window_hanning_f64(w.data(), w.data(), kN - r % 8, 1) << bytes(w.data(), kN);
    void* state = nullptr;
    for (uint64_t at = 0; at < kN;)
      out << morvex_m_trigger_pulse_width_positive_f32(x.data(), kN, 10.0f, -10.0f, 0, 0, 0, &at, &state) << at;
    morvex_m_state_free(&state);
    EXPECT_EQ(morvex_m_fini(), 0);
    return out.str();
  }
};

TEST(ConcurrencySoak, EightThreadsGetWhatOneThreadGets) {
  const char* env = std::getenv("MORVEX_SOAK_SECONDS");
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(env ? std::atof(env) : 2.0);
  ASSERT_EQ(morvex_m_init(), 0);
  std::vector<Worker> workers(kThreads + 1);  // the last one makes the references
  const bool fftw = morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1) == 0 && morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1) == 0;
  std::vector<morvex_m_filter_state*> shared(4096), ref = {design(0), design(1)};
  for (size_t i = 0; i < shared.size(); ++i) shared[i] = design(i);
  std::string want[8];
  for (uint64_t r = 0; r < 8; ++r) want[r] = workers.back().round(ref[r % 2], r);
  std::atomic<uint64_t> rounds{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, &w = workers[t]] {
      for (uint64_t r = 0; std::chrono::steady_clock::now() < end; ++r, ++rounds)  // all race to derive a state
        ASSERT_TRUE(w.round(shared[r % shared.size()], r) == want[r % 8]) << "round " << r;
    });
  }
  for (std::thread& t : threads) t.join();
  threads.clear(), workers.clear();
  for (morvex_m_filter_state* st : shared) morvex_m_filter_state_destroy(st);
  for (morvex_m_filter_state* st : ref) morvex_m_filter_state_destroy(st);
  ASSERT_EQ(morvex_m_fini(), 0);

  std::vector<double> window(300, 1.0);  // start-up and shut-down from every thread at once
  ASSERT_EQ(morvex_m_window_hanning_f64(window.data(), window.data(), window.size(), 1), 0);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        std::vector<double> w(window.size(), 1.0);
        EXPECT_EQ(morvex_m_init(), 0);
        morvex_m_window_hanning_f64(w.data(), w.data(), w.size(), 1);
        EXPECT_TRUE(morvex_m_fini() == 0 && w == window);
      }
    });
  }
  for (std::thread& t : threads) t.join();
  std::printf("%llu rounds (23 exports and a trigger walk each) on %d threads, %s; %d starts\n",
              (unsigned long long)rounds.load(), kThreads, fftw ? "FFTW and built-in plans" : "no FFTW here",
              kThreads * 200);
}

}  // namespace
