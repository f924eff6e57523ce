// SPDX-License-Identifier: MIT
// The cosine of the generators, fast and still the C library's: every value
// equals std::cos of the same argument, bit for bit, on every kernel.
//
// The cosine-sum windows and the cosine waveforms spend almost all their
// time in cos. The processor kernels evaluate it in double-double precision
// from a table (cos_exact_simd.h explains how) and keep a lane's value only
// where that value lies far enough from a rounding midpoint that any
// implementation accurate to 0.6 ulp (glibc's cos is within about 0.52)
// must round the same way; the few other lanes are handed to std::cos
// itself. So the results never depend on the kernel chosen.
#pragma once

#include <cstddef>
#include <cstdint>

namespace morvex::generate {

// out[k] = std::cos(x[k]) for k < n. out may equal x.
void cos_exact(const double* x, double* out, std::size_t n);

// The generators' arguments, formed from the element index i = first + k * step
// (k < n, every i below 2^53) in double:
//   kDivide: std::cos(double(i) * mul / other)  (the windows' i * (2 pi m) / (N - 1))
//   kAdd:    std::cos(double(i) * mul + other)  (the waveform's i * w + 2 p pi)
enum class Ramp { kDivide, kAdd };
void cos_ramp(Ramp r, uint64_t first, uint64_t step, std::size_t n, double mul, double other, double* out);

// Internal linkage: instruction-set files use it too and must not share a copy.
template <Ramp R>
static inline double ramp_arg(double i, double mul, double other) {
  return R == Ramp::kDivide ? i * mul / other : i * mul + other;
}

namespace cos_detail {

// The kernels, each for any n (tails go to std::cos).
void cos_plain(const double* x, double* out, std::size_t n);
void cos_avx2(const double* x, double* out, std::size_t n);
void cos_avx512(const double* x, double* out, std::size_t n);
void cos_ramp_plain(Ramp r, uint64_t first, uint64_t step, std::size_t n, double mul, double other, double* out);
void cos_ramp_avx2(Ramp r, uint64_t first, uint64_t step, std::size_t n, double mul, double other, double* out);
void cos_ramp_avx512(Ramp r, uint64_t first, uint64_t step, std::size_t n, double mul, double other, double* out);

// Generated constants (cos_table.cpp, from tools/gen-cos-table.py): 128/pi,
// pi/128 in three parts, and {cos hi, cos lo, sin hi, sin lo} of m pi/128.
extern const double kInvStep, kStep1, kStep2, kStep3;
extern const double kTable[256][4];

}  // namespace cos_detail

}  // namespace morvex::generate
