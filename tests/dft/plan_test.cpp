// The plan exports: the size rule, the checks of plan execution and their
// order, alignment classes, reuse on other arrays, backend choice by option,
// and the statuses every failure becomes.
#include <gtest/gtest.h>

#include <complex>
#include <cstring>
#include <vector>

#include "common/buffers.h"
#include "dft/abstract_dft.h"
#include "dft/lib/eigen/eigen_dft.h"
#include "dft/lib/fftw3/fftw3_dft.h"
#include "dft/lib/fftw3f/fftw3f_dft.h"
#include "morvex-m.h"
#include "reference.h"

namespace {

using namespace morvex::test::dft;
using morvex::test::Buffer;
namespace lib = morvex::dft::lib;

morvex::dft::AbstractDFT* backend(morvex_m_dft_plan* p) { return reinterpret_cast<morvex::dft::AbstractDFT*>(p); }

class Plan : public ::testing::TestWithParam<Backend> {};

template <class T>
void expect_size_rule() {
  // n = 8 needs 5 bins, n = 7 needs 4: one fewer or one more is refused and
  // nothing is written; a create also leaves a null plan behind.
  const std::complex<T> sentinel(T(-7), T(7));
  std::vector<T> x(9, T(1));
  std::vector<std::complex<T>> X(6, sentinel);
  morvex_m_dft_plan* plan = reinterpret_cast<morvex_m_dft_plan*>(&x);  // not null, to see it cleared
  for (uint64_t bins : {4, 6}) {
    EXPECT_EQ(Api<T>::dft(x.data(), 8, c(X.data()), bins), MORVEX_M_ERROR_DATA_LENGTH);
    EXPECT_EQ(Api<T>::dft_divn(x.data(), 8, c(X.data()), bins, 1), MORVEX_M_ERROR_DATA_LENGTH);
    EXPECT_EQ(Api<T>::idft(c(X.data()), bins, x.data(), 8), MORVEX_M_ERROR_DATA_LENGTH);
    EXPECT_EQ(Api<T>::create(x.data(), 8, c(X.data()), bins, &plan), MORVEX_M_ERROR_DATA_LENGTH);
    EXPECT_EQ(plan, nullptr);
    plan = reinterpret_cast<morvex_m_dft_plan*>(&x);
    EXPECT_EQ(Api<T>::icreate(c(X.data()), bins, x.data(), 8, &plan), MORVEX_M_ERROR_DATA_LENGTH);
    EXPECT_EQ(plan, nullptr);
  }
  for (const auto& b : X) EXPECT_EQ(b, sentinel);
  for (T v : x) EXPECT_EQ(v, T(1));
  EXPECT_EQ(Api<T>::dft(x.data(), 7, c(X.data()), 5), MORVEX_M_ERROR_DATA_LENGTH);
  EXPECT_EQ(Api<T>::dft(x.data(), 7, c(X.data()), 4), 0);
  EXPECT_EQ(Api<T>::dft(x.data(), 8, c(X.data()), 5), 0);
  // No transform of zero samples, and none beyond what the backend computes.
  EXPECT_EQ(Api<T>::dft(x.data(), 0, c(X.data()), 1), MORVEX_M_ERROR_DATA_LENGTH);
  EXPECT_EQ(Api<T>::idft(c(X.data()), 1, x.data(), 0), MORVEX_M_ERROR_DATA_LENGTH);
  EXPECT_EQ(Api<T>::create(x.data(), 0, c(X.data()), 1, &plan), MORVEX_M_ERROR_DATA_LENGTH);
  const uint64_t huge = uint64_t(1) << 31;  // beyond both backends; nothing is allocated for it
  EXPECT_EQ(Api<T>::create(x.data(), huge, c(X.data()), huge / 2 + 1, &plan), MORVEX_M_ERROR_DATA_LENGTH);
  EXPECT_EQ(Api<T>::icreate(c(X.data()), huge / 2 + 1, x.data(), huge, &plan), MORVEX_M_ERROR_DATA_LENGTH);
  EXPECT_EQ(Api<T>::dft(x.data(), ~uint64_t(0), c(X.data()), (~uint64_t(0)) / 2 + 1), MORVEX_M_ERROR_DATA_LENGTH);
  // A null result pointer is refused after the size rule.
  EXPECT_EQ(Api<T>::create(x.data(), 8, c(X.data()), 5, nullptr), MORVEX_M_NULLPTR);
  EXPECT_EQ(Api<T>::create(x.data(), 8, c(X.data()), 4, nullptr), MORVEX_M_ERROR_DATA_LENGTH);
}

TEST_P(Plan, SizeRule) {
  MORVEX_DFT_SELECT_BACKEND(GetParam());
  expect_size_rule<float>();
  expect_size_rule<double>();
}

TEST(PlanLimits, LengthLimitOfEachBackend) {
  // The built-in backend stops where its int arithmetic would overflow, FFTW
  // at the int it takes; making a plan allocates nothing for the data.
  std::complex<double> X[1];
  double x[1];
  const uint64_t eigen_max = lib::eigen::kMaxLength;
  EXPECT_NO_THROW(lib::eigen::DFTR2C1D<double>(x, eigen_max, X, eigen_max / 2 + 1));
  try {
    lib::eigen::DFTR2C1D<double>(x, eigen_max + 1, X, (eigen_max + 1) / 2 + 1);
    ADD_FAILURE() << "no error beyond the limit";
  } catch (const morvex::StatusError& e) {
    EXPECT_EQ(e.status(), MORVEX_M_ERROR_DATA_LENGTH);
  }
}

template <class T, class U>
void expect_execute_checks() {
  const uint64_t n = 16, bins = 9;
  std::vector<T> x(n, T(1)), y(n);
  std::vector<std::complex<T>> X(bins + 1), Y(bins + 1);
  std::vector<U> xu(n);
  std::vector<std::complex<U>> Xu(bins);
  morvex_m_dft_plan *fwd = nullptr, *inv = nullptr, *other = nullptr;
  ASSERT_EQ(Api<T>::create(x.data(), n, c(X.data()), bins, &fwd), 0);
  ASSERT_EQ(Api<T>::icreate(c(Y.data()), bins, y.data(), n, &inv), 0);
  ASSERT_EQ(Api<U>::create(xu.data(), n, c(Xu.data()), bins, &other), 0);

  // The null plan comes first, whatever else is wrong.
  EXPECT_EQ(Api<T>::execute(nullptr, x.data(), n + 1, c(X.data()), bins), MORVEX_M_NULLPTR);
  EXPECT_EQ(Api<T>::execute_divn(nullptr, x.data(), n, c(X.data()), bins, 1), MORVEX_M_NULLPTR);
  EXPECT_EQ(Api<T>::iexecute(nullptr, c(Y.data()), bins, y.data(), n), MORVEX_M_NULLPTR);
  // Counts.
  EXPECT_EQ(Api<T>::execute(fwd, x.data(), n - 1, c(X.data()), bins), MORVEX_M_INVALID_PLAN);
  EXPECT_EQ(Api<T>::execute(fwd, x.data(), n, c(X.data()), bins + 1), MORVEX_M_INVALID_PLAN);
  EXPECT_EQ(Api<T>::execute_divn(fwd, x.data(), n, c(X.data()), bins - 1, 0), MORVEX_M_INVALID_PLAN);
  EXPECT_EQ(Api<T>::iexecute(inv, c(Y.data()), bins + 1, y.data(), n), MORVEX_M_INVALID_PLAN);
  EXPECT_EQ(Api<T>::iexecute(inv, c(Y.data()), bins, y.data(), n + 1), MORVEX_M_INVALID_PLAN);
  // Direction and precision: the counts fit, the interface does not.
  EXPECT_EQ(Api<T>::execute(inv, x.data(), bins, c(X.data()), n), MORVEX_M_INVALID_PLAN);
  EXPECT_EQ(Api<T>::iexecute(fwd, c(Y.data()), n, y.data(), bins), MORVEX_M_INVALID_PLAN);
  EXPECT_EQ(Api<T>::execute(other, x.data(), n, c(X.data()), bins), MORVEX_M_INVALID_PLAN);
  EXPECT_EQ(Api<T>::execute_divn(other, x.data(), n, c(X.data()), bins, 1), MORVEX_M_INVALID_PLAN);
  // And the plans still work.
  EXPECT_EQ(Api<T>::execute(fwd, x.data(), n, c(X.data()), bins), 0);
  EXPECT_EQ(X[0], std::complex<T>(T(16), T(0)));
  EXPECT_EQ(Api<U>::execute(other, xu.data(), n, c(Xu.data()), bins), 0);

  // Either destroy export releases a plan of either direction; null is ignored.
  morvex_m_idft_plan_destroy(fwd);
  morvex_m_dft_plan_destroy(inv);
  morvex_m_dft_plan_destroy(other);
  morvex_m_dft_plan_destroy(nullptr);
  morvex_m_idft_plan_destroy(nullptr);
}

TEST_P(Plan, ExecuteChecksInOrder) {
  MORVEX_DFT_SELECT_BACKEND(GetParam());
  expect_execute_checks<float, double>();
  expect_execute_checks<double, float>();
}

template <class T>
void expect_reuse_on_other_arrays(Backend b) {
  // A plan run on other arrays of the same lengths and alignment class gives
  // what a fresh plan gives on them.
  const uint64_t n = 1000, bins = 501;
  Buffer<T> a(n, 0), other(n, 0);
  Buffer<std::complex<T>> A(bins, 0), B(bins, 0), fresh(bins, 0);
  std::vector<T> sig = random_signal<T>(n, 5), sig2 = random_signal<T>(n, 6);
  std::copy(sig.begin(), sig.end(), a.begin());
  std::copy(sig2.begin(), sig2.end(), other.begin());
  morvex_m_dft_plan* plan = nullptr;
  ASSERT_EQ(Api<T>::create(a.data(), n, c(A.data()), bins, &plan), 0);
  ASSERT_EQ(Api<T>::execute(plan, a.data(), n, c(A.data()), bins), 0);
  ASSERT_EQ(Api<T>::execute(plan, other.data(), n, c(B.data()), bins), 0);
  morvex_m_dft_plan* second = nullptr;
  ASSERT_EQ(Api<T>::create(other.data(), n, c(fresh.data()), bins, &second), 0);
  ASSERT_EQ(Api<T>::execute(second, other.data(), n, c(fresh.data()), bins), 0);
  EXPECT_TRUE(morvex::test::all_same_bits(reinterpret_cast<T*>(B.data()), reinterpret_cast<T*>(fresh.data()), 2 * bins));

  // An output 8 bytes off: another alignment class for FFTW, refused there;
  // the built-in backend takes any address.
  Buffer<std::complex<T>> shifted(bins + 1, 0);
  auto* off = reinterpret_cast<std::complex<T>*>(reinterpret_cast<char*>(shifted.data()) + 8);
  const int32_t st = Api<T>::execute(plan, other.data(), n, c(off), bins);
  if (b == Backend::Fftw) {
    EXPECT_EQ(st, MORVEX_M_INVALID_PLAN);
    EXPECT_EQ(morvex_m_dft_alignment_of(plan, off), 8);
    EXPECT_EQ(morvex_m_dft_alignment_of(plan, shifted.data()), 0);
    EXPECT_EQ(morvex_m_dft_alignment_of(plan, reinterpret_cast<char*>(a.data()) + 4), 4);
  } else {
    EXPECT_EQ(st, 0);
    EXPECT_TRUE(morvex::test::all_same_bits(reinterpret_cast<T*>(off), reinterpret_cast<T*>(B.data()), 2 * bins));
    EXPECT_EQ(morvex_m_dft_alignment_of(plan, off), 0);
  }
  // A misaligned input as well.
  Buffer<T> in_off(n, 1);
  std::copy(sig2.begin(), sig2.end(), in_off.begin());
  EXPECT_EQ(Api<T>::execute(plan, in_off.data(), n, c(A.data()), bins),
            b == Backend::Fftw ? MORVEX_M_INVALID_PLAN : 0);
  morvex_m_dft_plan_destroy(plan);
  morvex_m_dft_plan_destroy(second);
}

template <class T>
void expect_inverse_reuse(Backend b) {
  const uint64_t n = 30, bins = 16;
  Buffer<std::complex<T>> X(bins, 0), X2(bins, 0);
  Buffer<T> y(n, 0), y2(n, 0), y3(n + 1, 0);
  std::vector<std::complex<T>> bins_a = random_bins<T>(bins, 1), bins_b = random_bins<T>(bins, 2);
  std::copy(bins_a.begin(), bins_a.end(), X.begin());
  morvex_m_dft_plan* plan = nullptr;
  ASSERT_EQ(Api<T>::icreate(c(X.data()), bins, y.data(), n, &plan), 0);
  ASSERT_EQ(Api<T>::iexecute(plan, c(X.data()), bins, y.data(), n), 0);
  std::copy(bins_b.begin(), bins_b.end(), X2.begin());
  ASSERT_EQ(Api<T>::iexecute(plan, c(X2.data()), bins, y2.data(), n), 0);
  std::copy(bins_b.begin(), bins_b.end(), X2.begin());
  std::vector<T> fresh(n);
  ASSERT_EQ(Api<T>::idft(c(X2.data()), bins, fresh.data(), n), 0);
  EXPECT_TRUE(morvex::test::all_same_bits(y2.data(), fresh.data(), n));
  std::copy(bins_b.begin(), bins_b.end(), X2.begin());
  EXPECT_EQ(Api<T>::iexecute(plan, c(X2.data()), bins, reinterpret_cast<T*>(reinterpret_cast<char*>(y3.data()) + 8), n),
            b == Backend::Fftw ? MORVEX_M_INVALID_PLAN : 0);
  morvex_m_idft_plan_destroy(plan);
}

TEST_P(Plan, ReuseOnOtherArraysOfTheSameAlignmentClass) {
  MORVEX_DFT_SELECT_BACKEND(GetParam());
  expect_reuse_on_other_arrays<float>(GetParam());
  expect_reuse_on_other_arrays<double>(GetParam());
  expect_inverse_reuse<float>(GetParam());
  expect_inverse_reuse<double>(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Backends, Plan, ::testing::Values(Backend::Eigen, Backend::Fftw), backend_name);

TEST(PlanAlignment, NullPlanGivesTheAddressModulo16) {
  EXPECT_EQ(morvex_m_dft_alignment_of(nullptr, reinterpret_cast<const void*>(0x1008)), 8);
  EXPECT_EQ(morvex_m_idft_alignment_of(nullptr, reinterpret_cast<const void*>(0x1008)), 8);
  EXPECT_EQ(morvex_m_dft_alignment_of(nullptr, reinterpret_cast<const void*>(0x100F)), 15);
  EXPECT_EQ(morvex_m_dft_alignment_of(nullptr, reinterpret_cast<const void*>(0x1010)), 0);
}

TEST(PlanBackend, ChosenByTheOptionAtCreationAndKeptAfterwards) {
  float xf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  double xd[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  std::complex<float> Xf[5];
  std::complex<double> Xd[5];
  morvex_m_dft_plan *pf = nullptr, *pd = nullptr, *qf = nullptr, *qd = nullptr;
  morvex_m_setopt(MORVEX_M_OPT_FFTW3, 0);
  morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 0);
  ASSERT_EQ(morvex_m_dft_plan_create_r2c_1d_f32(xf, 8, c(Xf), 5, &pf), 0);
  ASSERT_EQ(morvex_m_idft_plan_create_c2r_1d_f64(c(Xd), 5, xd, 8, &qd), 0);
  EXPECT_NE(dynamic_cast<lib::eigen::DFTR2C1D<float>*>(backend(pf)), nullptr);
  EXPECT_NE(dynamic_cast<lib::eigen::IDFTC2R1D<double>*>(backend(qd)), nullptr);
  morvex_m_dft_plan_destroy(pf);
  morvex_m_dft_plan_destroy(qd);

  {
    MORVEX_DFT_SELECT_BACKEND(Backend::Fftw);
    ASSERT_EQ(morvex_m_dft_plan_create_r2c_1d_f32(xf, 8, c(Xf), 5, &pf), 0);
    ASSERT_EQ(morvex_m_dft_plan_create_r2c_1d_f64(xd, 8, c(Xd), 5, &pd), 0);
    ASSERT_EQ(morvex_m_idft_plan_create_c2r_1d_f32(c(Xf), 5, xf, 8, &qf), 0);
    ASSERT_EQ(morvex_m_idft_plan_create_c2r_1d_f64(c(Xd), 5, xd, 8, &qd), 0);
    EXPECT_NE(dynamic_cast<lib::fftw3f::DFTR2C1DFFTWF*>(backend(pf)), nullptr);
    EXPECT_NE(dynamic_cast<lib::fftw3::DFTR2C1DFFTW*>(backend(pd)), nullptr);
    EXPECT_NE(dynamic_cast<lib::fftw3f::IDFTC2R1DFFTW*>(backend(qf)), nullptr);
    EXPECT_NE(dynamic_cast<lib::fftw3::IDFTC2R1DFFTW*>(backend(qd)), nullptr);
    // Only the double library in use: single-precision plans go to Eigen.
    morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 0);
    morvex_m_dft_plan* ef = nullptr;
    ASSERT_EQ(morvex_m_dft_plan_create_r2c_1d_f32(xf, 8, c(Xf), 5, &ef), 0);
    EXPECT_NE(dynamic_cast<lib::eigen::DFTR2C1D<float>*>(backend(ef)), nullptr);
    morvex_m_dft_plan_destroy(ef);
  }
  // Options off: the FFTW plans made before keep FFTW and keep working
  // (the library stays loaded until the last shut-down).
  uint32_t v = 1;
  morvex_m_getopt(MORVEX_M_OPT_FFTW3, &v);
  EXPECT_EQ(v, 0u);
  EXPECT_NE(dynamic_cast<lib::fftw3::DFTR2C1DFFTW*>(backend(pd)), nullptr);
  ASSERT_EQ(morvex_m_dft_plan_execute_r2c_1d_f64(pd, xd, 8, c(Xd), 5), 0);
  EXPECT_EQ(Xd[0], std::complex<double>(36, 0));
  EXPECT_EQ(Xd[4], std::complex<double>(-4, 0));
  ASSERT_EQ(morvex_m_idft_plan_execute_c2r_1d_f64(qd, c(Xd), 5, xd, 8), 0);
  EXPECT_NEAR(xd[7], 64.0, 1e-12);
  ASSERT_EQ(morvex_m_dft_plan_execute_r2c_1d_f32(pf, xf, 8, c(Xf), 5), 0);
  EXPECT_EQ(Xf[0], std::complex<float>(36, 0));
  ASSERT_EQ(morvex_m_idft_plan_execute_c2r_1d_f32(qf, c(Xf), 5, xf, 8), 0);
  EXPECT_NEAR(xf[0], 8.0f, 1e-5f);
  for (morvex_m_dft_plan* p : {pf, pd, qf, qd}) morvex_m_dft_plan_destroy(p);
}

}  // namespace
