// SPDX-License-Identifier: MIT
// How a computed double becomes a stored sample, shared by the waveforms and
// the noise generators: clamp to the caller's bounds (lower first, then upper),
// then round integers half away from zero and truncate to the element width.
#pragma once

#include <cmath>
#include <cstdint>
#include <type_traits>

namespace morvex::generate {

// The element types the generators fill.
template <class T>
inline constexpr bool kIntegerSample = std::is_integral_v<T>;

// max(lower, v) then min(upper, v), written so that a NaN value passes through
// both comparisons unchanged: a NaN sample stays visible as such (or becomes
// whatever llround makes of it) instead of masquerading as a bound. With
// lower above upper every value ends at upper.
template <class F>
inline F clamp_lower_upper(F v, F lower, F upper) {
  if (v < lower) v = lower;
  if (upper < v) v = upper;
  return v;
}

// Integers: llround (halves away from zero) then the conversion to the
// element width, which keeps the low bits (only a NaN or an out-of-range
// value, impossible after the clamp with finite bounds, gets that far).
template <class T>
inline T round_to_sample(double v) {
  return static_cast<T>(std::llround(v));
}

// A double value clamped in double and stored: the rule of the noise adder
// for every type, and of the waveforms for the integer types and f64.
template <class T>
inline T store_clamped_double(double v, T lower, T upper) {
  v = clamp_lower_upper(v, double(lower), double(upper));
  if constexpr (kIntegerSample<T>)
    return round_to_sample<T>(v);
  else
    return static_cast<T>(v);
}

// The waveform rule: as above, except that f32 converts to float first and
// clamps in float, so the bounds are compared with the stored value itself.
template <class T>
inline T store_waveform(double v, T lower, T upper) {
  if constexpr (std::is_same_v<T, float>)
    return clamp_lower_upper(static_cast<float>(v), lower, upper);
  else
    return store_clamped_double(v, lower, upper);
}

}  // namespace morvex::generate
