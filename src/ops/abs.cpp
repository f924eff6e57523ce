// SPDX-License-Identifier: MIT
// Absolute value: clears the sign bit, nothing else (-0 -> +0, and a NaN keeps
// its payload). fabs is exactly that and compiles to a vector AND.
#include <cmath>

#include "frame/dispatch.h"
#include "morvex-m/ops.h"
#include "ops/kernels.h"

namespace morvex::ops {

void abs_f32_plain(const float* in, float* out, uint64_t n) {
  for (uint64_t i = 0; i < n; ++i) out[i] = std::fabs(in[i]);
}

void abs_f64_plain(const double* in, double* out, uint64_t n) {
  for (uint64_t i = 0; i < n; ++i) out[i] = std::fabs(in[i]);
}

}  // namespace morvex::ops

using morvex::frame::Slot;
using morvex::frame::slot;

extern "C" {

int32_t morvex_m_abs_f32(const float* in, float* out, uint64_t count) {
  slot<Slot::abs_f32>()(in, out, count);
  return 0;
}

int32_t morvex_m_abs_f64(const double* in, double* out, uint64_t count) {
  slot<Slot::abs_f64>()(in, out, count);
  return 0;
}

}  // extern "C"
