// SPDX-License-Identifier: MIT
// Single-precision transforms through the run-time loaded libfftw3f. The
// inverse class carries the same name as the double-precision one (without
// the trailing F of its forward sibling); its namespace tells them apart.
#pragma once

#include "dft/lib/fftw_backend.h"

namespace morvex::dft::lib::fftw3f {

class DFTR2C1DFFTWF final : public FftwR2C<fftw::Single> {
 public:
  using FftwR2C::FftwR2C;
  ~DFTR2C1DFFTWF() override;
};

class IDFTC2R1DFFTW final : public FftwC2R<fftw::Single> {
 public:
  using FftwC2R::FftwC2R;
  ~IDFTC2R1DFFTW() override;
};

}  // namespace morvex::dft::lib::fftw3f
