// SPDX-License-Identifier: MIT
#include "dft/lib/eigen/eigen_dft.h"

namespace morvex::dft::lib::eigen {

namespace {

template <class T>
using Flag = typename Eigen::FFT<T>::Flag;

// kissfft builds its tables for a length on first use, in several steps, and
// decides whether a table exists by its twiddles alone. An allocation failure
// part-way would leave a table with twiddles but without all of its stages,
// which later transforms would trust. So on any failure the caches are
// dropped whole, and the next execution builds them again.
template <class T, class F>
void run_clearing_on_failure(Eigen::FFT<T>& fft, F&& f) {
  try {
    f();
  } catch (...) {
    fft.impl().clear();
    throw;
  }
}

}  // namespace

template <class T>
DFTR2C1D<T>::DFTR2C1D(const T*, uint64_t n, Complex*, uint64_t out_count)
    : AbstractDFTR2C1D<T>(n, out_count, kMaxLength), fft(typename Eigen::FFT<T>::impl_type(), Flag<T>(Eigen::FFT<T>::HalfSpectrum)) {}

template <class T>
DFTR2C1D<T>::~DFTR2C1D() = default;

template <class T>
Status DFTR2C1D<T>::execute(const T* in, uint64_t n, Complex* out, uint64_t) {
  // kissfft cannot do a length-1 transform (its generic butterfly would use a
  // scratch buffer it never sized); the transform of one sample is itself.
  if (n == 1) {
    out[0] = Complex(in[0], T(0));
    return 0;
  }
  run_clearing_on_failure(fft, [&] { fft.fwd(out, in, static_cast<int>(n)); });
  return 0;
}

template <class T>
IDFTC2R1D<T>::IDFTC2R1D(Complex*, uint64_t in_count, T*, uint64_t n)
    : AbstractIDFTC2R1D<T>(in_count, n, kMaxLength),
      fft(typename Eigen::FFT<T>::impl_type(), Flag<T>(Eigen::FFT<T>::HalfSpectrum | Eigen::FFT<T>::Unscaled)) {}

template <class T>
IDFTC2R1D<T>::~IDFTC2R1D() = default;

template <class T>
Status IDFTC2R1D<T>::execute(Complex* in, uint64_t, T* out, uint64_t n) {
  if (n == 1) {  // see the forward transform; the imaginary part of bin 0 is ignored as for every n
    out[0] = in[0].real();
    return 0;
  }
  run_clearing_on_failure(fft, [&] { fft.inv(out, in, static_cast<int>(n)); });
  return 0;
}

template class DFTR2C1D<float>;
template class DFTR2C1D<double>;
template class IDFTC2R1D<float>;
template class IDFTC2R1D<double>;

}  // namespace morvex::dft::lib::eigen
