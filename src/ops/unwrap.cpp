// SPDX-License-Identifier: MIT
// Phase unwrap, resumable: the state is the last output of the previous call
// (NaN when there is none). Each step adds to the previous *output* the
// difference wrapped into [-pi, pi], so a record of finite samples cut into
// blocks gives what one call over the whole record gives. A NaN or infinite
// sample makes the outputs from there on NaN within the call; only a NaN
// state (a new signal) restarts, so a block that begins after a NaN output
// starts afresh while one call carries the NaN on.
#include <cmath>
#include <numbers>

#include "morvex-m/ops.h"

namespace {

using std::numbers::pi;
constexpr double kTwoPi = 2 * pi;  // 6.283185307179586, exactly twice pi

template <class T>
void unwrap(const T* in, T* out, uint64_t n, T* state) {
  T s = *state;
  uint64_t i = 0;
  // A new signal starts at its first sample. This reads in[0] and writes
  // out[0] even for a count of 0, which is the interface.
  if (std::isnan(s)) {
    out[0] = in[0];
    s = in[0];
    i = 1;
  }
  for (; i < n; ++i) {
    const T x = in[i];
    const double d = double(T(x - s));  // f32: formed in single, then widened
    double m = std::fmod(d + pi, kTwoPi);
    m += m < 0.0 ? kTwoPi : -0.0;
    double w = m - pi;
    // fmod maps a difference of exactly +pi to -pi; keep its sign.
    if (w == -pi && d > 0.0) w = pi;
    s = T((w - d) + double(x));
    out[i] = s;
  }
  *state = s;
}

}  // namespace

extern "C" {

int32_t morvex_m_unwrap_f32(const float* in, float* out, uint64_t count, float* state) {
  unwrap(in, out, count, state);
  return 0;
}

int32_t morvex_m_unwrap_f64(const double* in, double* out, uint64_t count, double* state) {
  unwrap(in, out, count, state);
  return 0;
}

}  // extern "C"
