// SPDX-License-Identifier: MIT
#include "dft/backend.h"

#include <type_traits>

#include "dft/lib/eigen/eigen_dft.h"
#include "dft/lib/fftw3/fftw3_dft.h"
#include "dft/lib/fftw3f/fftw3f_dft.h"
#include "frame/flags.h"

namespace morvex::dft {

namespace {

// The FFTW classes of each precision.
template <class T>
struct Fftw;
template <>
struct Fftw<double> {
  using Forward = lib::fftw3::DFTR2C1DFFTW;
  using Inverse = lib::fftw3::IDFTC2R1DFFTW;
  static constexpr frame::Flag flag = frame::kFftw3;
};
template <>
struct Fftw<float> {
  using Forward = lib::fftw3f::DFTR2C1DFFTWF;
  using Inverse = lib::fftw3f::IDFTC2R1DFFTW;
  static constexpr frame::Flag flag = frame::kFftw3f;
};

}  // namespace

template <class T>
Backend current_backend() {
  // The flag is on only while the library is loaded.
  return frame::flag(Fftw<T>::flag) ? Backend::Fftw : Backend::Eigen;
}

template <class T>
std::unique_ptr<AbstractDFTR2C1D<T>> make_forward(Backend b, const T* in, uint64_t n, std::complex<T>* out,
                                                 uint64_t out_count) {
  if (b == Backend::Fftw) return std::make_unique<typename Fftw<T>::Forward>(in, n, out, out_count);
  return std::make_unique<lib::eigen::DFTR2C1D<T>>(in, n, out, out_count);
}

template <class T>
std::unique_ptr<AbstractIDFTC2R1D<T>> make_inverse(Backend b, std::complex<T>* in, uint64_t in_count, T* out,
                                                  uint64_t n) {
  if (b == Backend::Fftw) return std::make_unique<typename Fftw<T>::Inverse>(in, in_count, out, n);
  return std::make_unique<lib::eigen::IDFTC2R1D<T>>(in, in_count, out, n);
}

#define MORVEX_DFT_INSTANTIATE(T)                                                                        \
  template Backend current_backend<T>();                                                                  \
  template std::unique_ptr<AbstractDFTR2C1D<T>> make_forward<T>(Backend, const T*, uint64_t, std::complex<T>*, \
                                                               uint64_t);                                \
  template std::unique_ptr<AbstractIDFTC2R1D<T>> make_inverse<T>(Backend, std::complex<T>*, uint64_t, T*, uint64_t);
MORVEX_DFT_INSTANTIATE(float)
MORVEX_DFT_INSTANTIATE(double)
#undef MORVEX_DFT_INSTANTIATE

}  // namespace morvex::dft
