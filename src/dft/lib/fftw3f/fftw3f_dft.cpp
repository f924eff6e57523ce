// SPDX-License-Identifier: MIT
#include "dft/lib/fftw3f/fftw3f_dft.h"

namespace morvex::dft::lib::fftw3f {

// Out of line, so that each class's virtual table is emitted here only.
DFTR2C1DFFTWF::~DFTR2C1DFFTWF() = default;
IDFTC2R1DFFTW::~IDFTC2R1DFFTW() = default;

}  // namespace morvex::dft::lib::fftw3f
