// The plan exports: the size rule, the checks of plan execution and their
// order, alignment classes and reuse on other arrays, and the backend choice.
#include <gtest/gtest.h>

#include "common/buffers.h"
#include "dft/lib/eigen/eigen_dft.h"
#include "dft/lib/fftw3/fftw3_dft.h"
#include "dft/lib/fftw3f/fftw3f_dft.h"
#include "reference.h"

namespace {

using namespace morvex::test::dft;
using morvex::test::all_same_bits;
using morvex::test::Buffer;
namespace lib = morvex::dft::lib;

morvex::dft::AbstractDFT* backend(morvex_m_dft_plan* p) { return reinterpret_cast<morvex::dft::AbstractDFT*>(p); }
template <class T>
const T* bits(const std::complex<T>* p) {
  return reinterpret_cast<const T*>(p);
}

class Plan : public ::testing::TestWithParam<Backend> {};

template <class T>
void expect_size_rule() {
  // n = 8 needs 5 bins and n = 7 needs 4; other counts are refused with
  // nothing written, and a create leaves a null plan.
  const std::complex<T> sentinel(T(-7), T(7));
  std::vector<T> x(9, T(1));
  std::vector<std::complex<T>> X(6, sentinel);
  for (uint64_t bins : {4, 6}) {
    auto* plan = reinterpret_cast<morvex_m_dft_plan*>(&x);  // not null, to see it cleared
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
  // No transform of zero samples, nor beyond what either backend computes
  // (refused before anything is allocated for it).
  morvex_m_dft_plan* plan = nullptr;
  EXPECT_EQ(Api<T>::dft(x.data(), 0, c(X.data()), 1), MORVEX_M_ERROR_DATA_LENGTH);
  EXPECT_EQ(Api<T>::idft(c(X.data()), 1, x.data(), 0), MORVEX_M_ERROR_DATA_LENGTH);
  const uint64_t huge = uint64_t(1) << 31;
  EXPECT_EQ(Api<T>::create(x.data(), huge, c(X.data()), huge / 2 + 1, &plan), MORVEX_M_ERROR_DATA_LENGTH);
  EXPECT_EQ(Api<T>::icreate(c(X.data()), huge / 2 + 1, x.data(), huge, &plan), MORVEX_M_ERROR_DATA_LENGTH);
  EXPECT_EQ(Api<T>::dft(x.data(), ~uint64_t(0), c(X.data()), ~uint64_t(0) / 2 + 1), MORVEX_M_ERROR_DATA_LENGTH);
  // A null result pointer is refused, after the size rule.
  EXPECT_EQ(Api<T>::create(x.data(), 8, c(X.data()), 5, nullptr), MORVEX_M_NULLPTR);
  EXPECT_EQ(Api<T>::create(x.data(), 8, c(X.data()), 4, nullptr), MORVEX_M_ERROR_DATA_LENGTH);
}

TEST_P(Plan, SizeRule) {
  MORVEX_DFT_SELECT_BACKEND(GetParam());
  expect_size_rule<float>();
  expect_size_rule<double>();
}

TEST(PlanLimits, BuiltInBackendStopsWhereItsIntArithmeticWould) {
  std::complex<double> X[1];
  double x[1];
  const uint64_t max = lib::eigen::kMaxLength;
  EXPECT_NO_THROW(lib::eigen::DFTR2C1D<double>(x, max, X, max / 2 + 1));
  try {
    lib::eigen::IDFTC2R1D<double>(X, (max + 1) / 2 + 1, x, max + 1);
    ADD_FAILURE() << "no error beyond the limit";
  } catch (const morvex::StatusError& e) {
    EXPECT_EQ(e.status(), MORVEX_M_ERROR_DATA_LENGTH);
  }
}

template <class T, class U>
void expect_execute_checks() {
  const uint64_t n = 16, bins = 9;
  std::vector<T> x(n, T(1)), y(n);
  std::vector<std::complex<T>> X(n), Y(n);
  std::vector<U> xu(n);
  std::vector<std::complex<U>> Xu(bins);
  morvex_m_dft_plan *fwd = nullptr, *inv = nullptr, *other = nullptr;
  ASSERT_EQ(Api<T>::create(x.data(), n, c(X.data()), bins, &fwd), 0);
  ASSERT_EQ(Api<T>::icreate(c(Y.data()), bins, y.data(), n, &inv), 0);
  ASSERT_EQ(Api<U>::create(xu.data(), n, c(Xu.data()), bins, &other), 0);
  // The null plan first, whatever else is wrong; then the counts.
  EXPECT_EQ(Api<T>::execute(nullptr, x.data(), n + 1, c(X.data()), bins), MORVEX_M_NULLPTR);
  EXPECT_EQ(Api<T>::execute_divn(nullptr, x.data(), n, c(X.data()), bins, 1), MORVEX_M_NULLPTR);
  EXPECT_EQ(Api<T>::iexecute(nullptr, c(Y.data()), bins, y.data(), n), MORVEX_M_NULLPTR);
  EXPECT_EQ(Api<T>::execute(fwd, x.data(), n - 1, c(X.data()), bins), MORVEX_M_INVALID_PLAN);
  EXPECT_EQ(Api<T>::execute_divn(fwd, x.data(), n, c(X.data()), bins + 1, 0), MORVEX_M_INVALID_PLAN);
  EXPECT_EQ(Api<T>::iexecute(inv, c(Y.data()), bins + 1, y.data(), n), MORVEX_M_INVALID_PLAN);
  EXPECT_EQ(Api<T>::iexecute(inv, c(Y.data()), bins, y.data(), n + 1), MORVEX_M_INVALID_PLAN);
  // Direction and precision: the counts fit, the interface does not.
  EXPECT_EQ(Api<T>::execute(inv, x.data(), bins, c(X.data()), n), MORVEX_M_INVALID_PLAN);
  EXPECT_EQ(Api<T>::iexecute(fwd, c(Y.data()), n, y.data(), bins), MORVEX_M_INVALID_PLAN);
  EXPECT_EQ(Api<T>::execute(other, x.data(), n, c(X.data()), bins), MORVEX_M_INVALID_PLAN);
  EXPECT_EQ(Api<T>::execute_divn(other, x.data(), n, c(X.data()), bins, 1), MORVEX_M_INVALID_PLAN);
  // The plans still work, and either destroy export releases either direction.
  EXPECT_EQ(Api<T>::execute(fwd, x.data(), n, c(X.data()), bins), 0);
  EXPECT_EQ(X[0], std::complex<T>(T(16), T(0)));
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
void expect_reuse(Backend b) {
  // A plan run on other arrays of the same lengths and alignment class gives
  // what a fresh plan gives on them; FFTW refuses another alignment class
  // (8 bytes off; 4 for the input), the built-in backend takes any address.
  const uint64_t n = 1000, bins = 501;
  Buffer<T> a(n), other(n), in_off(n, 1);
  Buffer<std::complex<T>> A(bins), B(bins), fresh(bins), shifted(bins + 1);
  const std::vector<T> sig = random_signal<T>(n, 6);
  std::copy(sig.begin(), sig.end(), other.begin());
  std::copy(sig.begin(), sig.end(), in_off.begin());
  morvex_m_dft_plan *plan = nullptr, *second = nullptr;
  ASSERT_EQ(Api<T>::create(a.data(), n, c(A.data()), bins, &plan), 0);
  ASSERT_EQ(Api<T>::execute(plan, a.data(), n, c(A.data()), bins), 0);
  ASSERT_EQ(Api<T>::execute(plan, other.data(), n, c(B.data()), bins), 0);
  ASSERT_EQ(Api<T>::create(other.data(), n, c(fresh.data()), bins, &second), 0);
  ASSERT_EQ(Api<T>::execute(second, other.data(), n, c(fresh.data()), bins), 0);
  EXPECT_TRUE(all_same_bits(bits(B.data()), bits(fresh.data()), 2 * bins));

  auto* off = reinterpret_cast<std::complex<T>*>(reinterpret_cast<char*>(shifted.data()) + 8);
  const int32_t refused = b == Backend::Fftw ? MORVEX_M_INVALID_PLAN : 0;
  EXPECT_EQ(Api<T>::execute(plan, other.data(), n, c(off), bins), refused);
  EXPECT_EQ(Api<T>::execute(plan, in_off.data(), n, c(A.data()), bins), refused);
  EXPECT_EQ(morvex_m_dft_alignment_of(plan, off), b == Backend::Fftw ? 8 : 0);
  EXPECT_EQ(morvex_m_idft_alignment_of(plan, in_off.data()), b == Backend::Fftw ? int(sizeof(T)) : 0);
  EXPECT_EQ(morvex_m_dft_alignment_of(plan, shifted.data()), 0);
  if (b == Backend::Eigen) {
    EXPECT_TRUE(all_same_bits(bits(off), bits(B.data()), 2 * bins));
  }
  morvex_m_dft_plan_destroy(plan);
  morvex_m_dft_plan_destroy(second);

  // The same for an inverse plan (whose FFTW input is overwritten: refilled).
  const std::vector<std::complex<T>> spectrum = random_bins<T>(bins, 2);
  Buffer<T> y(n), y2(n), y_off(n + 1);
  std::vector<T> y_fresh(n);
  ASSERT_EQ(Api<T>::icreate(c(A.data()), bins, y.data(), n, &plan), 0);
  ASSERT_EQ(Api<T>::iexecute(plan, c(A.data()), bins, y.data(), n), 0);
  std::copy(spectrum.begin(), spectrum.end(), B.begin());
  ASSERT_EQ(Api<T>::iexecute(plan, c(B.data()), bins, y2.data(), n), 0);
  std::copy(spectrum.begin(), spectrum.end(), B.begin());
  ASSERT_EQ(Api<T>::idft(c(B.data()), bins, y_fresh.data(), n), 0);
  EXPECT_TRUE(all_same_bits(y2.data(), y_fresh.data(), n));
  std::copy(spectrum.begin(), spectrum.end(), B.begin());
  EXPECT_EQ(Api<T>::iexecute(plan, c(B.data()), bins, reinterpret_cast<T*>(reinterpret_cast<char*>(y_off.data()) + 8), n),
            refused);
  morvex_m_idft_plan_destroy(plan);
}

TEST_P(Plan, ReuseOnOtherArraysOfTheSameAlignmentClass) {
  MORVEX_DFT_SELECT_BACKEND(GetParam());
  expect_reuse<float>(GetParam());
  expect_reuse<double>(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Backends, Plan, ::testing::Values(Backend::Eigen, Backend::Fftw), backend_name);

TEST(PlanAlignment, NullPlanGivesTheAddressModulo16) {
  EXPECT_EQ(morvex_m_dft_alignment_of(nullptr, reinterpret_cast<const void*>(0x1008)), 8);
  EXPECT_EQ(morvex_m_idft_alignment_of(nullptr, reinterpret_cast<const void*>(0x100F)), 15);
  EXPECT_EQ(morvex_m_dft_alignment_of(nullptr, reinterpret_cast<const void*>(0x1010)), 0);
}

TEST(PlanBackend, ChosenByTheOptionAtCreationAndKeptAfterwards) {
  float xf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  double xd[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  std::complex<float> Xf[5];
  std::complex<double> Xd[5];
  morvex_m_dft_plan *pf = nullptr, *pd = nullptr, *qf = nullptr, *qd = nullptr, *ef = nullptr;
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
    // The single-precision option off: those plans go to the built-in backend.
    morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 0);
    ASSERT_EQ(morvex_m_dft_plan_create_r2c_1d_f32(xf, 8, c(Xf), 5, &ef), 0);
    EXPECT_NE(dynamic_cast<lib::eigen::DFTR2C1D<float>*>(backend(ef)), nullptr);
  }
  // Both options off now: the FFTW plans keep FFTW and keep working.
  uint32_t v = 1;
  morvex_m_getopt(MORVEX_M_OPT_FFTW3, &v);
  EXPECT_EQ(v, 0u);
  ASSERT_EQ(morvex_m_dft_plan_execute_r2c_1d_f64(pd, xd, 8, c(Xd), 5), 0);
  EXPECT_EQ(Xd[0], std::complex<double>(36, 0));
  EXPECT_EQ(Xd[4], std::complex<double>(-4, 0));
  ASSERT_EQ(morvex_m_idft_plan_execute_c2r_1d_f64(qd, c(Xd), 5, xd, 8), 0);
  EXPECT_NEAR(xd[7], 64.0, 1e-12);
  ASSERT_EQ(morvex_m_dft_plan_execute_r2c_1d_f32(pf, xf, 8, c(Xf), 5), 0);
  ASSERT_EQ(morvex_m_idft_plan_execute_c2r_1d_f32(qf, c(Xf), 5, xf, 8), 0);
  EXPECT_NEAR(xf[0], 8.0f, 1e-5f);
  for (morvex_m_dft_plan* p : {pf, pd, qf, qd, ef}) morvex_m_dft_plan_destroy(p);
}

}  // namespace
