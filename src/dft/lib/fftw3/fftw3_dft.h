// SPDX-License-Identifier: MIT
// Double-precision transforms through the run-time loaded libfftw3.
#pragma once

#include "dft/lib/fftw_backend.h"

namespace morvex::dft::lib::fftw3 {

class DFTR2C1DFFTW final : public FftwR2C<fftw::Double> {
 public:
  using FftwR2C::FftwR2C;
  ~DFTR2C1DFFTW() override;
};

class IDFTC2R1DFFTW final : public FftwC2R<fftw::Double> {
 public:
  using FftwC2R::FftwC2R;
  ~IDFTC2R1DFFTW() override;
};

}  // namespace morvex::dft::lib::fftw3
