// SPDX-License-Identifier: MIT
#include "dft/lib/fftw3/fftw3_dft.h"

namespace morvex::dft::lib::fftw3 {

// Out of line, so that each class's virtual table is emitted here only.
DFTR2C1DFFTW::~DFTR2C1DFFTW() = default;
IDFTC2R1DFFTW::~IDFTC2R1DFFTW() = default;

}  // namespace morvex::dft::lib::fftw3
