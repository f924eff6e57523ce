// Distinct plans run concurrently: each thread makes, executes and destroys
// its own plans (so FFTW planning and plan destruction happen on many threads
// at once, serialised inside the library) and must get exactly what the same
// plan gives on one thread.
#include <gtest/gtest.h>

#include <complex>
#include <thread>
#include <vector>

#include "common/buffers.h"
#include "morvex-m.h"
#include "reference.h"

namespace {

using namespace morvex::test::dft;

template <class T>
struct Job {
  uint64_t n;
  std::vector<T> x;
  std::vector<std::complex<T>> expected;
  std::vector<T> expected_back;
};

template <class T>
Job<T> make_job(uint64_t n, uint32_t seed) {
  Job<T> j{n, random_signal<T>(n, seed), std::vector<std::complex<T>>(n / 2 + 1), std::vector<T>(n)};
  morvex_m_dft_plan *f = nullptr, *i = nullptr;
  std::vector<std::complex<T>> bins(n / 2 + 1);
  EXPECT_EQ(Api<T>::create(j.x.data(), n, c(j.expected.data()), n / 2 + 1, &f), 0);
  EXPECT_EQ(Api<T>::execute(f, j.x.data(), n, c(j.expected.data()), n / 2 + 1), 0);
  bins = j.expected;
  EXPECT_EQ(Api<T>::icreate(c(bins.data()), n / 2 + 1, j.expected_back.data(), n, &i), 0);
  EXPECT_EQ(Api<T>::iexecute(i, c(bins.data()), n / 2 + 1, j.expected_back.data(), n), 0);
  morvex_m_dft_plan_destroy(f);
  morvex_m_idft_plan_destroy(i);
  return j;
}

// Returns the number of mismatches.
template <class T>
int run_job(const Job<T>& j, int rounds) {
  const uint64_t n = j.n, bins = n / 2 + 1;
  std::vector<std::complex<T>> X(bins), in(bins);
  std::vector<T> y(n);
  int bad = 0;
  for (int r = 0; r < rounds; ++r) {
    morvex_m_dft_plan *f = nullptr, *i = nullptr;
    if (Api<T>::create(j.x.data(), n, c(X.data()), bins, &f) != 0) return 1000;
    if (Api<T>::icreate(c(in.data()), bins, y.data(), n, &i) != 0) return 1000;
    for (int e = 0; e < 4; ++e) {
      bad += Api<T>::execute(f, j.x.data(), n, c(X.data()), bins) != 0;
      bad += !morvex::test::all_same_bits(reinterpret_cast<const T*>(X.data()),
                                          reinterpret_cast<const T*>(j.expected.data()), 2 * bins);
      in = X;
      bad += Api<T>::iexecute(i, c(in.data()), bins, y.data(), n) != 0;
      bad += !morvex::test::all_same_bits(y.data(), j.expected_back.data(), n);
    }
    morvex_m_dft_plan_destroy(f);
    morvex_m_idft_plan_destroy(i);
  }
  return bad;
}

class DftConcurrency : public ::testing::TestWithParam<Backend> {};

TEST_P(DftConcurrency, DistinctPlansOnManyThreads) {
  MORVEX_DFT_SELECT_BACKEND(GetParam());
  constexpr int kThreads = 4;
  std::vector<Job<float>> jf;
  std::vector<Job<double>> jd;
  for (int t = 0; t < kThreads; ++t) {
    jf.push_back(make_job<float>(256 + 60 * t, t));
    jd.push_back(make_job<double>(1024 - 100 * t, 10 + t));
  }
  std::vector<int> bad(2 * kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] { bad[2 * t] = run_job(jf[t], 20); });
    threads.emplace_back([&, t] { bad[2 * t + 1] = run_job(jd[t], 20); });
  }
  for (auto& th : threads) th.join();
  for (int t = 0; t < 2 * kThreads; ++t) EXPECT_EQ(bad[t], 0) << "thread " << t;
}

INSTANTIATE_TEST_SUITE_P(Backends, DftConcurrency, ::testing::Values(Backend::Eigen, Backend::Fftw), backend_name);

}  // namespace
