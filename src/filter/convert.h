// SPDX-License-Identifier: MIT
// Conversions between the three filter representations, in double precision.
#pragma once

#include <complex>
#include <vector>

#include "filter/state.h"

namespace morvex::filter {

using cd = std::complex<double>;

// Coefficients of prod(x - r_i), highest power first, leading 1, multiplied
// out root by root in list order.
std::vector<cd> poly(const std::vector<cd>& roots);

// All complex roots of c[0] x^m + ... + c[m] (c[0] != 0), double precision.
std::vector<cd> roots(const std::vector<double>& c);

// ZPK -> TF: b = Re(k poly(z)), a = Re(poly(p)); the shorter of the two is
// padded with leading zeros so that both have the same length.
FilterState::IIR::TF zpk2tf(const FilterState::IIR::ZPK& zpk);

// TF -> ZPK. Throws std::invalid_argument for an all-zero denominator.
FilterState::IIR::ZPK tf2zpk(const FilterState::IIR::TF& tf);

// ZPK -> SOS. Throws std::runtime_error when the roots cannot be paired into
// real sections (a complex root without its conjugate).
FilterState::IIR::SOS zpk2sos(const FilterState::IIR::ZPK& zpk);

}  // namespace morvex::filter
