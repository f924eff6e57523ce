// Concurrency soak: 8 threads for a bounded time (MORVEX_SOAK_SECONDS, 2 by
// default; the thread-sanitizer stage of CI gives it more). Each round of a
// thread takes a reference of its own to the library and runs plans of both
// precisions (built-in plans of its own, plans made in the round on FFTW when
// it loads, a one-shot transform), queries of filter states that all threads
// share and that derive their representations on first demand, a filter, a
// pool-split window and a trigger of its own; every round must give what the
// same round gave on one thread. Then all threads start and stop the library
// at once, running a pool split inside each start.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "morvex-m.h"

namespace {

constexpr uint64_t kN = 480, kBins = kN / 2 + 1;
constexpr int kThreads = 8;

template <class T>
std::string bytes(const std::vector<T>& v) {
  return std::string(reinterpret_cast<const char*>(v.data()), v.size() * sizeof(T));
}

morvex_m_filter_state* design(size_t i) {
  morvex_m_filter_state* st = nullptr;
  EXPECT_EQ(i % 2 ? morvex_m_filter_iir_notch(&st, 1000.0, 60.0, 4.0)
                  : morvex_m_filter_iir_chebyshev1(2, 3, &st, 1000.0, 50.0, 200.0, 0.5), 0);
  return st;
}

// One thread's objects: built-in plans made before FFTW was switched on, a
// filter and a trigger of its own.
struct Worker {
  std::vector<float> x = std::vector<float>(kN);
  std::vector<double> xd = std::vector<double>(kN);
  morvex_m_dft_plan *pf = nullptr, *pd = nullptr;
  morvex_m_filter_state* own = design(0);

  Worker() {
    for (uint64_t i = 0; i < kN; ++i) x[i] = float(i % 37) - 18.0f, xd[i] = double(i % 11) - 5.0;
    std::vector<morvex_m_c32f32> Xf(kBins);
    std::vector<morvex_m_c64f64> Xd(kBins);
    EXPECT_EQ(morvex_m_dft_plan_create_r2c_1d_f32(x.data(), kN, Xf.data(), kBins, &pf), 0);
    EXPECT_EQ(morvex_m_dft_plan_create_r2c_1d_f64(xd.data(), kN, Xd.data(), kBins, &pd), 0);
  }
  ~Worker() {
    morvex_m_dft_plan_destroy(pf), morvex_m_dft_plan_destroy(pd);
    morvex_m_filter_state_destroy(own);
  }

  std::string round(morvex_m_filter_state* shared, uint64_t r) {
    EXPECT_EQ(morvex_m_init(), 0);
    std::vector<morvex_m_c32f32> Xf(kBins);
    std::vector<morvex_m_c64f64> Xd(kBins), h(100);
    std::vector<float> y = x;
    std::vector<double> w = xd, f(100);
    morvex_m_dft_plan *qf = nullptr, *qd = nullptr;
    std::string out = std::to_string(morvex_m_dft_plan_execute_r2c_1d_f32(pf, x.data(), kN, Xf.data(), kBins)) +
                      std::to_string(morvex_m_dft_plan_execute_r2c_1d_f64(pd, xd.data(), kN, Xd.data(), kBins)) +
                      bytes(Xf) + bytes(Xd);
    out += std::to_string(morvex_m_dft_plan_create_r2c_1d_f32(x.data(), kN, Xf.data(), kBins, &qf)) +
           std::to_string(morvex_m_dft_plan_create_r2c_1d_f64(xd.data(), kN, Xd.data(), kBins, &qd)) +
           std::to_string(morvex_m_dft_plan_execute_r2c_1d_f32(qf, x.data(), kN, Xf.data(), kBins)) +
           std::to_string(morvex_m_dft_plan_execute_r2c_1d_f64(qd, xd.data(), kN, Xd.data(), kBins)) +
           bytes(Xf) + bytes(Xd) + std::to_string(morvex_m_dft_f64(xd.data(), kN, Xd.data(), kBins)) + bytes(Xd);
    morvex_m_dft_plan_destroy(qf), morvex_m_dft_plan_destroy(qd);

    const morvex_m_c64f64 *z, *p;
    const double *b, *a, *sos;
    uint64_t nz, np, n, ns;
    double k;
    int32_t stable = -1;
    out += std::to_string(morvex_m_filter_iir_get_zpk(shared, &z, &nz, &p, &np, &k)) +
           std::to_string(morvex_m_filter_iir_get_tf(shared, &b, &a, &n)) +
           std::to_string(morvex_m_filter_iir_get_sos(shared, &sos, &ns)) +
           std::to_string(morvex_m_filter_iir_isstable(shared, &stable)) + std::to_string(stable);
    out += bytes(std::vector<morvex_m_c64f64>(z, z + nz)) + bytes(std::vector<morvex_m_c64f64>(p, p + np)) +
           bytes(std::vector<double>(b, b + n)) + bytes(std::vector<double>(a, a + n)) +
           bytes(std::vector<double>(sos, sos + ns)) + std::to_string(k);
    out += std::to_string(morvex_m_filter_iir_freqz(shared, 100, 0, 1, 0, f.data(), h.data(), 1000.0)) +
           bytes(f) + bytes(h);
    out += std::to_string(morvex_m_filter_iir_freqz_zpk(shared, 100, 1, 1, f.data(), h.data(), 1000.0)) +
           bytes(f) + bytes(h);

    morvex_m_filter_reset_delay_line(own, 1);
    out += std::to_string(morvex_m_filter_execute_f32(y.data(), y.data(), 200, own)) +
           std::to_string(morvex_m_filter_execute_f32(y.data() + 200, y.data() + 200, kN - 200, own)) + bytes(y);
    // Eight lengths in turn, more than a thread keeps the weights of: the
    // window is computed over the pool every time.
    out += std::to_string(morvex_m_window_hanning_f64(w.data(), w.data(), kN - r % 8, 1)) + bytes(w);
    void* state = nullptr;
    for (uint64_t at = 0; at < kN;) {
      out += std::to_string(morvex_m_trigger_pulse_width_positive_f32(x.data(), kN, 10.0f, -10.0f, 0, 0, 0, &at,
                                                                       &state)) + " " + std::to_string(at);
    }
    morvex_m_state_free(&state);
    EXPECT_EQ(morvex_m_fini(), 0);
    return out;
  }
};

TEST(ConcurrencySoak, EightThreadsGetWhatOneThreadGets) {
  const char* env = std::getenv("MORVEX_SOAK_SECONDS");
  const auto span = std::chrono::duration<double>(env ? std::atof(env) : 2.0);
  ASSERT_EQ(morvex_m_init(), 0);
  std::vector<Worker> workers(kThreads + 1);  // their plans on the built-in backend; the last one for references
  const bool fftw = morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1) == 0 && morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1) == 0;
  std::vector<morvex_m_filter_state*> shared(4096);
  for (size_t i = 0; i < shared.size(); ++i) shared[i] = design(i);
  Worker& one = workers.back();  // the references, from states of their own
  morvex_m_filter_state* ref[2] = {design(0), design(1)};
  std::string want[8];
  for (uint64_t r = 0; r < 8; ++r) want[r] = one.round(ref[r % 2], r);

  std::atomic<uint64_t> rounds{0};
  const auto end = std::chrono::steady_clock::now() + span;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, &w = workers[t]] {
      for (uint64_t r = 0; std::chrono::steady_clock::now() < end; ++r, ++rounds) {
        // All threads race to derive the same state's representations.
        ASSERT_TRUE(w.round(shared[r % shared.size()], r) == want[r % 8]) << "round " << r;
      }
    });
  }
  for (std::thread& t : threads) t.join();
  threads.clear();
  workers.clear();
  for (morvex_m_filter_state* st : shared) morvex_m_filter_state_destroy(st);
  morvex_m_filter_state_destroy(ref[0]), morvex_m_filter_state_destroy(ref[1]);
  ASSERT_EQ(morvex_m_fini(), 0);

  // Start-up and shut-down from every thread at once, with work inside.
  std::atomic<uint64_t> starts{0};
  std::vector<double> window(300, 1.0);
  ASSERT_EQ(morvex_m_window_hanning_f64(window.data(), window.data(), window.size(), 1), 0);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      std::vector<double> w(window.size());
      for (int i = 0; i < 200; ++i, ++starts) {
        EXPECT_EQ(morvex_m_init(), 0);
        w.assign(w.size(), 1.0);
        morvex_m_window_hanning_f64(w.data(), w.data(), w.size(), 1);
        EXPECT_EQ(w, window);
        EXPECT_EQ(morvex_m_fini(), 0);
      }
    });
  }
  for (std::thread& t : threads) t.join();
  std::printf("%llu rounds (23 exports and a trigger walk each) on %d threads (%s), %llu starts\n", (unsigned long long)rounds.load(),
              kThreads, fftw ? "FFTW and built-in plans" : "FFTW not loadable here", (unsigned long long)starts.load());
}

}  // namespace
