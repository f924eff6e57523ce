// SPDX-License-Identifier: MIT
// The second-order-section cascade kernels (transposed direct form II).
//
// Every kernel computes, for each sample in order and each section in order,
//   y = b0*x + d0;  d0 = (b1*x + d1) - a1*y;  d1 = b2*x - a2*y;  x = y
// with exactly these operations in exactly this order, so all variants give
// the plain kernel's bits. The processor kernels gain their speed by giving
// each section a vector lane and letting section i work on sample t - i while
// section 0 works on sample t: the lanes' recurrences are independent, so one
// step costs one section's loop-carried latency instead of the whole chain's.
#pragma once

#include <cstdint>

namespace morvex::filter {

// Steps between a section's output and the next section's use of it in the
// lane kernels (see cascade_lanes.h): long enough for the store, reload and
// lane shift of the hand-over to finish before it is needed. A pass of m
// sections spends (m - 1) * kLaneSkew steps filling and as many draining.
constexpr int kLaneSkew = 8;

// in/out: count samples (out may equal in; other overlaps are for the plain
// kernel only). coeffs: 6 per section (b0 b1 b2 a0 a1 a2; a0 is not read).
// delay: 2 per section, read at the start and written back at the end.
template <class T>
using CascadeKernel = void(const T* in, T* out, uint64_t count, const T* coeffs, T* delay, uint64_t sections);

void cascade_plain_f32(const float*, float*, uint64_t, const float*, float*, uint64_t);
void cascade_plain_f64(const double*, double*, uint64_t, const double*, double*, uint64_t);
void cascade_sse42_f32(const float*, float*, uint64_t, const float*, float*, uint64_t);
void cascade_sse42_f64(const double*, double*, uint64_t, const double*, double*, uint64_t);
void cascade_avx_f32(const float*, float*, uint64_t, const float*, float*, uint64_t);
void cascade_avx_f64(const double*, double*, uint64_t, const double*, double*, uint64_t);
void cascade_avx512_f32(const float*, float*, uint64_t, const float*, float*, uint64_t);
void cascade_avx512_f64(const double*, double*, uint64_t, const double*, double*, uint64_t);

// The kernel for this call under the current options, section count and
// sample count (the lane kernels need in == out or disjoint arrays).
CascadeKernel<float>* choose_cascade_f32(const float* in, const float* out, uint64_t count, uint64_t sections);
CascadeKernel<double>* choose_cascade_f64(const double* in, const double* out, uint64_t count, uint64_t sections);

}  // namespace morvex::filter
