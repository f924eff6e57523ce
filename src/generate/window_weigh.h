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
#include <cstdint>

namespace morvex::generate {

void weigh_kept(const double* ws, const float* in, float* out, std::size_t n);
void weigh_kept(const double* ws, const double* in, double* out, std::size_t n);

// The same multiply for the pairs j and n-1-j, j from first to first+count
// (below n/2), with the second half's multipliers rebuilt from the first and
// their mirror differences (weight_cache.h) where the kernel can; in equal
// to out or not overlapping it. The result is weigh_kept's, bit for bit.
void weigh_mirrored(const double* ws, const int16_t* mirror, const float* in, float* out, std::size_t n,
                    std::size_t first, std::size_t count);
void weigh_mirrored(const double* ws, const int16_t* mirror, const double* in, double* out, std::size_t n,
                    std::size_t first, std::size_t count);

namespace weigh_detail {
void weigh_plain(const double* ws, const float* in, float* out, std::size_t n);
void weigh_plain(const double* ws, const double* in, double* out, std::size_t n);
void weigh_avx(const double* ws, const float* in, float* out, std::size_t n);
void weigh_avx(const double* ws, const double* in, double* out, std::size_t n);
void weigh_avx512(const double* ws, const double* in, double* out, std::size_t n);
void weigh_mirrored_avx512(const double* ws, const int16_t* mirror, const float* in, float* out, std::size_t n,
                           std::size_t first, std::size_t count);
void weigh_mirrored_avx512(const double* ws, const int16_t* mirror, const double* in, double* out, std::size_t n,
                           std::size_t first, std::size_t count);
}  // namespace weigh_detail

}  // namespace morvex::generate
