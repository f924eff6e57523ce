// Distinct plans run concurrently: each thread makes, executes and destroys
// its own plans (so FFTW planning and plan destruction happen on many threads
// at once, serialised inside the library) and must get exactly what the same
// transforms give on one thread.
#include <gtest/gtest.h>

#include <thread>

#include "common/buffers.h"
#include "reference.h"

namespace {

using namespace morvex::test::dft;
using morvex::test::all_same_bits;

// One thread's work: forward and inverse plans of n samples, made, run four
// times and destroyed, `rounds` times over. Returns the number of mismatches
// with the results computed beforehand on one thread.
template <class T>
class Job {
 public:
  Job(uint64_t n, uint32_t seed) : n_(n), x_(random_signal<T>(n, seed)), X_(n / 2 + 1), y_(n) {
    EXPECT_EQ(Api<T>::dft(x_.data(), n, c(X_.data()), X_.size()), 0);
    std::vector<std::complex<T>> in = X_;
    EXPECT_EQ(Api<T>::idft(c(in.data()), in.size(), y_.data(), n), 0);
  }

  int run(int rounds) const {
    const uint64_t bins = n_ / 2 + 1;
    std::vector<std::complex<T>> X(bins), in(bins);
    std::vector<T> y(n_);
    int bad = 0;
    for (int r = 0; r < rounds; ++r) {
      morvex_m_dft_plan *f = nullptr, *i = nullptr;
      bad += Api<T>::create(x_.data(), n_, c(X.data()), bins, &f) != 0;
      bad += Api<T>::icreate(c(in.data()), bins, y.data(), n_, &i) != 0;
      for (int e = 0; e < 4; ++e) {
        bad += Api<T>::execute(f, x_.data(), n_, c(X.data()), bins) != 0;
        bad += !all_same_bits(reinterpret_cast<const T*>(X.data()), reinterpret_cast<const T*>(X_.data()), 2 * bins);
        in = X;
        bad += Api<T>::iexecute(i, c(in.data()), bins, y.data(), n_) != 0;
        bad += !all_same_bits(y.data(), y_.data(), n_);
      }
      morvex_m_dft_plan_destroy(f);
      morvex_m_idft_plan_destroy(i);
    }
    return bad;
  }

 private:
  uint64_t n_;
  std::vector<T> x_;
  std::vector<std::complex<T>> X_;
  std::vector<T> y_;
};

class DftConcurrency : public ::testing::TestWithParam<Backend> {};

TEST_P(DftConcurrency, DistinctPlansOnManyThreads) {
  MORVEX_DFT_SELECT_BACKEND(GetParam());
  constexpr int kThreads = 4;
  std::vector<Job<float>> jf;
  std::vector<Job<double>> jd;
  for (int t = 0; t < kThreads; ++t) {
    jf.emplace_back(256 + 60 * t, t);
    jd.emplace_back(1024 - 100 * t, 10 + t);
  }
  std::vector<int> bad(2 * kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] { bad[2 * t] = jf[t].run(20); });
    threads.emplace_back([&, t] { bad[2 * t + 1] = jd[t].run(20); });
  }
  for (auto& th : threads) th.join();
  for (int t = 0; t < 2 * kThreads; ++t) EXPECT_EQ(bad[t], 0) << "thread " << t;
}

INSTANTIATE_TEST_SUITE_P(Backends, DftConcurrency, ::testing::Values(Backend::Eigen, Backend::Fftw), backend_name);

}  // namespace
