// What the transform tests share: the exact transform computed directly in
// long double, error bounds, random signals, and the switch between backends.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "morvex-m.h"

namespace morvex::test::dft {

using LComplex = std::complex<long double>;

// X[k] = sum_j x[j] e^(-2 pi i jk/n), k = 0..n/2, directly (O(n^2)). The
// angle is reduced modulo n in integers so it stays exact for every jk.
template <class T>
std::vector<LComplex> direct_forward(const T* x, uint64_t n) {
  const long double w = -2.0L * 3.141592653589793238462643383279502884L / (long double)n;
  std::vector<LComplex> X(n / 2 + 1);
  for (uint64_t k = 0; k <= n / 2; ++k) {
    LComplex s = 0;
    for (uint64_t j = 0; j < n; ++j) {
      const long double a = w * (long double)((j * k) % n);
      s += (long double)x[j] * LComplex(std::cos(a), std::sin(a));
    }
    X[k] = s;
  }
  return X;
}

// The inverse of n/2+1 bins: the full spectrum taken as Hermitian, so the
// imaginary parts of bin 0 and of the Nyquist bin (even n) do not count.
template <class T>
std::vector<long double> direct_inverse(const std::complex<T>* X, uint64_t n) {
  const long double w = 2.0L * 3.141592653589793238462643383279502884L / (long double)n;
  std::vector<long double> x(n);
  for (uint64_t j = 0; j < n; ++j) {
    long double s = 0;
    for (uint64_t k = 0; k < n; ++k) {
      const uint64_t m = k <= n / 2 ? k : n - k;
      const LComplex b(X[m].real(), k <= n / 2 ? X[m].imag() : -X[m].imag());
      const long double a = w * (long double)((j * k) % n);
      s += (b * LComplex(std::cos(a), std::sin(a))).real();
    }
    x[j] = s;
  }
  return x;
}

// An FFT's rounding error per bin grows with the input's magnitude and the
// number of passes: bound it by eps * sum|x| * (log2 n + 1), with a margin.
template <class T>
long double fft_bound(long double sum_abs, uint64_t n) {
  return 4.0L * std::numeric_limits<T>::epsilon() * sum_abs * (std::log2((long double)n) + 1.0L) +
         std::numeric_limits<T>::min();
}

template <class T>
std::vector<T> random_signal(uint64_t n, uint32_t seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> d(-1.0, 1.0);
  std::vector<T> x(n);
  for (auto& v : x) v = T(d(rng));
  return x;
}

template <class T>
std::vector<std::complex<T>> random_bins(uint64_t count, uint32_t seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> d(-1.0, 1.0);
  std::vector<std::complex<T>> X(count);
  for (auto& v : X) v = std::complex<T>(T(d(rng)), T(d(rng)));
  return X;
}

// The backends a test can run on: the built-in one always, FFTW when the
// machine has it (the loader tests cover FFTW with a stand-in library either
// way).
enum class Backend { Eigen, Fftw };

inline std::string backend_name(const ::testing::TestParamInfo<Backend>& info) {
  return info.param == Backend::Eigen ? "Eigen" : "Fftw";
}

// Switches the FFTW options to select `b` for both precisions and switches
// them off again on destruction. ok() is false when FFTW cannot be loaded.
class BackendScope {
 public:
  explicit BackendScope(Backend b) {
    if (b == Backend::Fftw)
      ok_ = morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1) == 0 && morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1) == 0;
    else
      ok_ = morvex_m_setopt(MORVEX_M_OPT_FFTW3, 0) == 0 && morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 0) == 0;
  }
  ~BackendScope() {
    morvex_m_setopt(MORVEX_M_OPT_FFTW3, 0);
    morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 0);
  }
  bool ok() const { return ok_; }

 private:
  bool ok_ = false;
};

#define MORVEX_DFT_SELECT_BACKEND(b)                                                                 \
  ::morvex::test::dft::BackendScope backend_scope_(b);                                               \
  if (!backend_scope_.ok()) GTEST_SKIP() << "FFTW is not installed here; the loader tests cover it " \
                                            "with a stand-in library"

// The typed exports, so that one test body serves both precisions.
template <class T>
struct Api;

#define MORVEX_DFT_TEST_API(T, S, CT)                                           \
  template <>                                                                   \
  struct Api<T> {                                                               \
    using C = CT;                                                               \
    static constexpr auto dft = morvex_m_dft_##S;                               \
    static constexpr auto dft_divn = morvex_m_dft_divn_##S;                     \
    static constexpr auto idft = morvex_m_idft_##S;                             \
    static constexpr auto create = morvex_m_dft_plan_create_r2c_1d_##S;         \
    static constexpr auto execute = morvex_m_dft_plan_execute_r2c_1d_##S;       \
    static constexpr auto execute_divn = morvex_m_dft_plan_execute_r2c_1d_divn_##S; \
    static constexpr auto icreate = morvex_m_idft_plan_create_c2r_1d_##S;       \
    static constexpr auto iexecute = morvex_m_idft_plan_execute_c2r_1d_##S;     \
  };
MORVEX_DFT_TEST_API(float, f32, morvex_m_c32f32)
MORVEX_DFT_TEST_API(double, f64, morvex_m_c64f64)
#undef MORVEX_DFT_TEST_API

template <class T>
typename Api<T>::C* c(std::complex<T>* p) {
  return reinterpret_cast<typename Api<T>::C*>(p);
}

}  // namespace morvex::test::dft
