// SPDX-License-Identifier: MIT
// Filter design in double precision. Every rejected parameter raises
// std::invalid_argument with an empty message.
#pragma once

#include <complex>
#include <cstdint>
#include <optional>
#include <tuple>
#include <vector>

namespace morvex::filter {

enum Family : int { kButterworth = 0, kChebyshev1 = 1, kChebyshev2 = 2 };
enum Band : int { kLowpass = 0, kHighpass = 1, kBandpass = 2, kBandstop = 3 };
enum Resonator : int { kNotch = 3, kPeak = 4 };

using ZpkTuple = std::tuple<std::vector<std::complex<double>>, std::vector<std::complex<double>>, double>;

// Order-N design: analog lowpass prototype (cut-off 1 rad/s), band transform
// to pre-warped edges, bilinear transform. Without a sample rate, f1 and f2
// are already normalised to the Nyquist frequency. The ripple is used by the
// Chebyshev I family only, the attenuation by Chebyshev II only; each of
// those families fails without its parameter.
ZpkTuple design_iir(int family, int band, uint8_t order, bool has_sample_rate, bool has_ripple,
                    double sample_rate, double f1, double f2, double ripple,
                    std::optional<double> attenuation);

// Second-order notch (kind 3) or peak (kind 4) at the normalised centre w0
// (1 = Nyquist, 0 <= w0 <= 1) with quality factor q; returns (b, a).
std::tuple<std::vector<double>, std::vector<double>> design_resonator(int kind, double w0, double q);

}  // namespace morvex::filter
