// Transform results on both backends and in both precisions, against the
// transform computed directly in long double (one-shot and through plans),
// and the two normalisations as exact operations on the raw bins.
#include <gtest/gtest.h>

#include "dft/abstract_dft.h"
#include "reference.h"

namespace {

using namespace morvex::test::dft;

class Transform : public ::testing::TestWithParam<Backend> {};

template <class T>
void expect_forward_exact(uint64_t n) {
  SCOPED_TRACE(::testing::Message() << "forward, n = " << n);
  const uint64_t bins = n / 2 + 1;
  const std::vector<T> x = random_signal<T>(n, uint32_t(n));
  const std::vector<LComplex> ref = direct_forward(x.data(), n);
  const long double bound = fft_bound<T>(n, n);  // |x| <= 1
  // The plan runs twice: its first execution (FFTW plans then) and a reuse.
  std::vector<std::complex<T>> once(bins), planned(bins);
  ASSERT_EQ(Api<T>::dft(x.data(), n, c(once.data()), bins), 0);
  morvex_m_dft_plan* plan = nullptr;
  ASSERT_EQ(Api<T>::create(x.data(), n, c(planned.data()), bins, &plan), 0);
  ASSERT_EQ(Api<T>::execute(plan, x.data(), n, c(planned.data()), bins), 0);
  ASSERT_EQ(Api<T>::execute(plan, x.data(), n, c(planned.data()), bins), 0);
  morvex_m_dft_plan_destroy(plan);
  for (uint64_t k = 0; k < bins; ++k) {
    EXPECT_LE(std::abs(LComplex(once[k].real(), once[k].imag()) - ref[k]), bound) << "one-shot bin " << k;
    EXPECT_LE(std::abs(LComplex(planned[k].real(), planned[k].imag()) - ref[k]), bound) << "plan bin " << k;
  }
}

template <class T>
void expect_inverse_exact(uint64_t n) {
  SCOPED_TRACE(::testing::Message() << "inverse, n = " << n);
  const uint64_t bins = n / 2 + 1;
  // Random bins, with imaginary parts in bin 0 and the Nyquist bin that a
  // real signal cannot have: every backend must ignore them alike.
  const std::vector<std::complex<T>> X = random_bins<T>(bins, uint32_t(n));
  const std::vector<long double> ref = direct_inverse(X.data(), n);
  const long double bound = fft_bound<T>(4 * bins, n);
  std::vector<std::complex<T>> in = X;  // an FFTW inverse overwrites its input
  std::vector<T> once(n), planned(n);
  ASSERT_EQ(Api<T>::idft(c(in.data()), bins, once.data(), n), 0);
  in = X;
  morvex_m_dft_plan* plan = nullptr;
  ASSERT_EQ(Api<T>::icreate(c(in.data()), bins, planned.data(), n, &plan), 0);
  ASSERT_EQ(Api<T>::iexecute(plan, c(in.data()), bins, planned.data(), n), 0);
  in = X;
  ASSERT_EQ(Api<T>::iexecute(plan, c(in.data()), bins, planned.data(), n), 0);
  morvex_m_idft_plan_destroy(plan);
  for (uint64_t j = 0; j < n; ++j) {
    EXPECT_LE(std::fabs(once[j] - ref[j]), bound) << "one-shot sample " << j;
    EXPECT_LE(std::fabs(planned[j] - ref[j]), bound) << "plan sample " << j;
  }
}

TEST_P(Transform, MatchesDirectTransform) {
  MORVEX_DFT_SELECT_BACKEND(GetParam());
  // Every path of both backends: n = 1, odd and even lengths, multiples of 4
  // and not, radices 2 to 5 and larger primes.
  for (uint64_t n : {1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 15, 16, 17, 30, 31, 64, 97, 100, 210, 255, 256, 1000, 1024}) {
    expect_forward_exact<float>(n);
    expect_forward_exact<double>(n);
    expect_inverse_exact<float>(n);
    expect_inverse_exact<double>(n);
  }
}

template <class T>
void expect_normalisations(uint64_t n) {
  SCOPED_TRACE(::testing::Message() << "n = " << n);
  const size_t bins = n / 2 + 1;
  const std::vector<T> x = random_signal<T>(n, uint32_t(n) + 3);
  std::vector<std::complex<T>> raw(bins), divn(bins), half(bins), pdivn(bins), phalf(bins);
  ASSERT_EQ(Api<T>::dft(x.data(), n, c(raw.data()), bins), 0);
  ASSERT_EQ(Api<T>::dft_divn(x.data(), n, c(divn.data()), bins, 0), 0);
  ASSERT_EQ(Api<T>::dft_divn(x.data(), n, c(half.data()), bins, 7), 0);  // any non-zero value means true
  morvex_m_dft_plan* plan = nullptr;
  ASSERT_EQ(Api<T>::create(x.data(), n, c(pdivn.data()), bins, &plan), 0);
  ASSERT_EQ(Api<T>::execute_divn(plan, x.data(), n, c(pdivn.data()), bins, 0), 0);
  ASSERT_EQ(Api<T>::execute_divn(plan, x.data(), n, c(phalf.data()), bins, -1), 0);
  morvex_m_dft_plan_destroy(plan);
  // Exactly a division of the raw bins: by n; or (half) bin 0 halved, then
  // every bin, the Nyquist bin too, divided by n/2 formed in single precision.
  const T d = T(float(n) * 0.5f);
  for (size_t k = 0; k < bins; ++k) {
    const std::complex<T> want = raw[k] / T(n), want_half = (k == 0 ? raw[0] * T(0.5) : raw[k]) / d;
    EXPECT_EQ(divn[k], want) << "bin " << k;
    EXPECT_EQ(pdivn[k], want) << "bin " << k;
    EXPECT_EQ(half[k], want_half) << "bin " << k;
    EXPECT_EQ(phalf[k], want_half) << "bin " << k;
  }
}

TEST_P(Transform, NormalisedForms) {
  MORVEX_DFT_SELECT_BACKEND(GetParam());
  for (uint64_t n : {1, 2, 5, 16, 243, 1000}) {
    expect_normalisations<float>(n);
    expect_normalisations<double>(n);
  }
}

INSTANTIATE_TEST_SUITE_P(Backends, Transform, ::testing::Values(Backend::Eigen, Backend::Fftw), backend_name);

// The one-sided divisor is n/2 formed in single precision even in the double
// forms. That shows only where n is not exact in a float, far beyond lengths
// a test can transform, so a stand-in transform that writes known bins drives
// the normalisation.
class KnownBins final : public morvex::dft::AbstractDFTR2C1D<double> {
 public:
  explicit KnownBins(uint64_t n) : AbstractDFTR2C1D(n, n / 2 + 1, ~uint64_t(0)) {}
  morvex::dft::Status execute(const double*, uint64_t, Complex* out, uint64_t count) override {
    for (uint64_t k = 0; k < count; ++k) out[k] = Complex(3.0, -1.0);
    return 0;
  }
};

TEST(TransformNormalisation, OneSidedDivisorIsFormedInSinglePrecision) {
  const uint64_t n = (uint64_t(1) << 25) + 3;  // a float rounds it to 2^25 + 4
  KnownBins t(n);
  std::complex<double> out[3];
  ASSERT_EQ(t.executeDivN(nullptr, n, out, 3, true), 0);
  const double d = 16777218.0;  // float(n) * 0.5f, not n * 0.5 = 16777217.5
  EXPECT_EQ(out[0], std::complex<double>(1.5 / d, -0.5 / d));
  EXPECT_EQ(out[2], std::complex<double>(3.0 / d, -1.0 / d));
  ASSERT_EQ(t.executeDivN(nullptr, n, out, 3, false), 0);
  EXPECT_EQ(out[1], std::complex<double>(3.0 / double(n), -1.0 / double(n)));
}

}  // namespace
