// SPDX-License-Identifier: MIT
// What the transform tests share: the typed exports, random signals and the
// switch between backends.
#pragma once

#include <gtest/gtest.h>

#include <complex>
#include <cstdint>
#include <random>
#include <vector>

#include "morvex-m.h"

namespace morvex::test::dft {

template <class T>
std::vector<T> random_signal(uint64_t n, uint32_t seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> d(-1.0, 1.0);
  std::vector<T> x(n);
  for (auto& v : x) v = T(d(rng));
  return x;
}

// The backends a test can run on: the built-in one always, FFTW when the
// machine has it (the loader tests cover FFTW with a stand-in library either way).
enum class Backend { Eigen, Fftw };
inline std::string backend_name(const ::testing::TestParamInfo<Backend>& info) {
  return info.param == Backend::Eigen ? "Eigen" : "Fftw";
}

// Selects `b` for both precisions through the FFTW options, and the built-in
// backend again on destruction. ok() is false when FFTW cannot be loaded.
class BackendScope {
 public:
  explicit BackendScope(Backend b) {
    const int32_t on = b == Backend::Fftw;
    ok_ = morvex_m_setopt(MORVEX_M_OPT_FFTW3, on) == 0 && morvex_m_setopt(MORVEX_M_OPT_FFTW3F, on) == 0;
  }
  ~BackendScope() { morvex_m_setopt(MORVEX_M_OPT_FFTW3, 0), morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 0); }
  bool ok() const { return ok_; }

 private:
  bool ok_ = false;
};
#define MORVEX_DFT_SELECT_BACKEND(b)                      \
  ::morvex::test::dft::BackendScope backend_scope_(b);    \
  if (!backend_scope_.ok()) GTEST_SKIP() << "FFTW is not installed here; the loader tests cover it with a stand-in library"

// The typed exports, so that one test body serves both precisions.
template <class T>
struct Api;
#define MORVEX_DFT_TEST_API(T, S, CT)                                                                         \
  template <>                                                                                                 \
  struct Api<T> {                                                                                             \
    using C = CT;                                                                                             \
    static constexpr auto dft = morvex_m_dft_##S;                                                             \
    static constexpr auto dft_divn = morvex_m_dft_divn_##S;                                                   \
    static constexpr auto idft = morvex_m_idft_##S;                                                           \
    static constexpr auto create = morvex_m_dft_plan_create_r2c_1d_##S;                                       \
    static constexpr auto execute = morvex_m_dft_plan_execute_r2c_1d_##S;                                     \
    static constexpr auto execute_divn = morvex_m_dft_plan_execute_r2c_1d_divn_##S;                           \
    static constexpr auto icreate = morvex_m_idft_plan_create_c2r_1d_##S;                                     \
    static constexpr auto iexecute = morvex_m_idft_plan_execute_c2r_1d_##S;                                   \
  };
MORVEX_DFT_TEST_API(float, f32, morvex_m_c32f32)
MORVEX_DFT_TEST_API(double, f64, morvex_m_c64f64)
#undef MORVEX_DFT_TEST_API

template <class T>
typename Api<T>::C* c(std::complex<T>* p) {
  return reinterpret_cast<typename Api<T>::C*>(p);
}

}  // namespace morvex::test::dft
