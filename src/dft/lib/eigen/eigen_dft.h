// SPDX-License-Identifier: MIT
// The built-in backend: Eigen's FFT module (kissfft). Always available, any
// address accepted (alignment class 0).
#pragma once

#include <unsupported/Eigen/FFT>

#include "dft/abstract_dft.h"

namespace morvex::dft::lib::eigen {

// kissfft indexes its twiddle tables with int and forms products up to four
// times the length, so lengths beyond INT32_MAX / 4 would overflow there.
constexpr uint64_t kMaxLength = 0x7FFFFFFF / 4;

template <class T>
class DFTR2C1D final : public AbstractDFTR2C1D<T> {
 public:
  using Complex = std::complex<T>;
  DFTR2C1D(const T* in, uint64_t n, Complex* out, uint64_t out_count);
  ~DFTR2C1D() override;
  Status execute(const T* in, uint64_t n, Complex* out, uint64_t out_count) override;

 private:
  Eigen::FFT<T> fft;  // HalfSpectrum: writes exactly n/2+1 bins
};

template <class T>
class IDFTC2R1D final : public AbstractIDFTC2R1D<T> {
 public:
  using Complex = std::complex<T>;
  IDFTC2R1D(Complex* in, uint64_t in_count, T* out, uint64_t n);
  ~IDFTC2R1D() override;
  Status execute(Complex* in, uint64_t in_count, T* out, uint64_t n) override;

 private:
  Eigen::FFT<T> fft;  // HalfSpectrum and Unscaled: reads n/2+1 bins, no 1/n
};

extern template class DFTR2C1D<float>;
extern template class DFTR2C1D<double>;
extern template class IDFTC2R1D<float>;
extern template class IDFTC2R1D<double>;

}  // namespace morvex::dft::lib::eigen
