// SPDX-License-Identifier: MIT
// Backend choice: FFTW of the transform's precision while its option is on,
// Eigen otherwise. A backend keeps working with what it was made with,
// whatever the options do later.
#pragma once

#include <memory>

#include "dft/abstract_dft.h"

namespace morvex::dft {

enum class Backend { Eigen, Fftw };

// The backend new transforms of this precision would use now.
template <class T>
Backend current_backend();

// Makes a backend for these arrays; raises StatusError(-2) for lengths that
// break the size rule (and std::bad_alloc when memory runs out).
template <class T>
std::unique_ptr<AbstractDFTR2C1D<T>> make_forward(Backend b, const T* in, uint64_t n, std::complex<T>* out,
                                                 uint64_t out_count);
template <class T>
std::unique_ptr<AbstractIDFTC2R1D<T>> make_inverse(Backend b, std::complex<T>* in, uint64_t in_count, T* out,
                                                  uint64_t n);

}  // namespace morvex::dft
