// SPDX-License-Identifier: MIT
// A window applied through multipliers kept from an earlier call:
// out[i] = T(ws[i] * double(in[i])), where ws[i] = w(i) * s is the double the
// computing call formed, so the product and its rounding are the computing
// call's own. (For the f32 flat-top, ws[i] is the float w * s; the double
// product of two floats is exact, so its one rounding to float is the float
// product.) in may equal out; any other overlap takes the plain kernel,
// which reads in[i] before it writes out[i].
#pragma once

#include <cstddef>

namespace morvex::generate {

void weigh_kept(const double* ws, const float* in, float* out, std::size_t n);
void weigh_kept(const double* ws, const double* in, double* out, std::size_t n);

namespace weigh_detail {
void weigh_plain(const double* ws, const float* in, float* out, std::size_t n);
void weigh_plain(const double* ws, const double* in, double* out, std::size_t n);
void weigh_avx(const double* ws, const float* in, float* out, std::size_t n);
void weigh_avx(const double* ws, const double* in, double* out, std::size_t n);
void weigh_avx512(const double* ws, const double* in, double* out, std::size_t n);
}  // namespace weigh_detail

}  // namespace morvex::generate
