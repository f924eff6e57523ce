// SPDX-License-Identifier: MIT
// Periodic waveforms. Every element is computed from its own index and the
// entry phase, never from its neighbour, so a long block accumulates no
// rounding drift and the index range can be cut anywhere: the splitter hands
// the chunks to the task pool and the result is the same for any cut.
#include <cmath>
#include <cstdint>
#include <numbers>

#include "frame/split.h"
#include "generate/cos_exact.h"
#include "generate/sample.h"
#include "morvex-m/generate.h"

namespace morvex::generate {

namespace {

constexpr double kPi = std::numbers::pi;

// The fractional part with the sign of its argument, as modf gives it.
inline double fraction(double x) {
  double whole;
  return std::modf(x, &whole);
}

// ---------------------------------------------------------------- cosine

// Symmetry 0.5: one cosine through the whole period.
template <class T>
struct CosineSymmetric {
  T* out;
  double w;           // 2 pi / period
  double phase_term;  // (p + p) pi
  double amplitude, offset;
  T lower, upper;
};

// Runs of elements go through cos_ramp / cos_exact together (std::cos's
// values, several lanes at a time); scaling, clamping and storing stay per
// element.
constexpr uint64_t kRun = 256;

template <class T, class C>
inline void store_cosines(const C& c, uint64_t base, uint64_t step, uint64_t run, const double* v) {
  for (uint64_t k = 0; k < run; ++k)
    c.out[base + k * step] = store_waveform(v[k] * c.amplitude + c.offset, c.lower, c.upper);
}

template <class T>
void cosine_symmetric_block(uint64_t first, uint64_t step, uint64_t count, const CosineSymmetric<T>& c) {
  frame::for_each_run<kRun>(first, step, count, [&](uint64_t base, uint64_t run) {
    double v[kRun];
    cos_ramp(Ramp::kAdd, base, step, run, c.w, c.phase_term, v);
    store_cosines<T>(c, base, step, run, v);
  });
}

// Other symmetries: a half-cosine falling over the first (1 - s) of the
// period (angle 0 to pi) and one rising over the last s (pi to 2 pi).
template <class T>
struct CosineAsymmetric {
  T* out;
  double inv_period, phase;
  double fall_share;  // 1 - s
  double k1, k2, c2;
  double amplitude, offset;
  T lower, upper;
};

template <class T>
void cosine_asymmetric_block(uint64_t first, uint64_t step, uint64_t count, const CosineAsymmetric<T>& c) {
  frame::for_each_run<kRun>(first, step, count, [&](uint64_t base, uint64_t run) {
    double v[kRun];
    for (uint64_t k = 0; k < run; ++k) {
      const double f = fraction(double(base + k * step) * c.inv_period + c.phase);
      v[k] = c.fall_share > f ? c.k1 * f : c.k2 * f + c.c2;
    }
    cos_exact(v, v, run);
    store_cosines<T>(c, base, step, run, v);
  });
}

template <class T>
void cosine(T* data, uint64_t count, double p, double period, double amplitude, double offset, double s,
            T lower, T upper) {
  if (std::fabs(s - 0.5) < 1e-6) {
    const CosineSymmetric<T> c{data, 2.0 * kPi / period, (p + p) * kPi, amplitude, offset, lower, upper};
    frame::split_blocks<CosineSymmetric<T>, cosine_symmetric_block<T>>(0, count, 1, c);
    return;
  }
  const double fall_share = 1.0 - s;
  // A share below 1e-12 of a period has no samples in it: its slope constant
  // is 0 so that no infinity enters the other branch's arithmetic.
  const double k1 = std::fabs(fall_share) < 1e-12 ? 0.0 : kPi / fall_share;
  const double k2 = std::fabs(s) < 1e-12 ? 0.0 : kPi / s;
  const CosineAsymmetric<T> c{data, 1.0 / period, p, fall_share, k1, k2, kPi - fall_share * k2,
                              amplitude, offset, lower, upper};
  frame::split_blocks<CosineAsymmetric<T>, cosine_asymmetric_block<T>>(0, count, 1, c);
}

// ---------------------------------------------------------------- triangle

template <class T>
struct Triangle {
  T* out;
  double period, start;  // start: the entry phase shifted by s / 2
  double s, rise, fall, base, top;
  T lower, upper;
};

template <class T>
void triangle_element(uint64_t i, const Triangle<T>& t) {
  const double f = fraction(double(i) / t.period + t.start);
  const double v = t.s > f ? t.rise * f + t.base : t.top - t.fall * f;
  t.out[i] = store_waveform(v, t.lower, t.upper);
}

template <class T>
void triangle(T* data, uint64_t count, double p, double period, double amplitude, double offset, double s,
              T lower, T upper) {
  const double rise = s > 0.0 ? 2.0 * amplitude / s : 0.0;
  const double fall = s < 1.0 ? 2.0 * amplitude / (1.0 - s) : 0.0;
  // Starting half a rise into the period puts phase 0 at the offset, rising.
  const Triangle<T> t{data, period, s * 0.5 + p, s, rise, fall, offset - amplitude,
                      fall * s + amplitude + offset, lower, upper};
  frame::split_range<Triangle<T>, triangle_element<T>>(0, count, 1, t);
}

// ---------------------------------------------------------------- square

template <class T>
struct Square {
  T* out;
  double period, phase, duty;
  T low, high;
};

template <class T>
void square_element(uint64_t i, const Square<T>& q) {
  const double f = fraction(double(i) / q.period + q.phase);
  q.out[i] = q.duty > f ? q.high : q.low;
}

// The phase at which the next block starts, from the unshifted entry phase.
inline void advance_phase(double* phase, uint64_t count, double period, double p) {
  *phase = std::fmod(double(count) / period + p, 1.0);
}

// A clamped wave (cosine or triangle) filled from the entry phase, which is
// then moved on by the block's length.
template <class T, void (*Fill)(T*, uint64_t, double, double, double, double, double, T, T)>
int32_t clamped_wave(T* data, uint64_t count, double* phase, double period, double amplitude, double offset,
                     double s, T lower, T upper) {
  const double p = *phase;
  Fill(data, count, p, period, amplitude, offset, s, lower, upper);
  advance_phase(phase, count, period, p);
  return 0;
}

template <class T>
int32_t square(T* data, uint64_t count, double period, T low, T high, double duty, double* phase) {
  const double p = *phase;
  frame::split_range<Square<T>, square_element<T>>(0, count, 1, Square<T>{data, period, p, duty, low, high});
  advance_phase(phase, count, period, p);
  return 0;
}

}  // namespace

}  // namespace morvex::generate

namespace gen = morvex::generate;

#define MORVEX_WAVEFORM_DEFINE(T, S)                                                                  \
  int32_t morvex_m_waveform_cosine_##S(T* data, uint64_t count, double* phase, double period,         \
                                       double amplitude, double offset, double symmetry, T lower,     \
                                       T upper) {                                                     \
    return gen::clamped_wave<T, gen::cosine<T>>(data, count, phase, period, amplitude, offset,        \
                                                symmetry, lower, upper);                              \
  }                                                                                                   \
  int32_t morvex_m_waveform_triangle_##S(T* data, uint64_t count, double* phase, double period,       \
                                         double amplitude, double offset, double symmetry, T lower,   \
                                         T upper) {                                                   \
    return gen::clamped_wave<T, gen::triangle<T>>(data, count, phase, period, amplitude, offset,      \
                                                  symmetry, lower, upper);                            \
  }                                                                                                   \
  int32_t morvex_m_waveform_square_##S(T* data, uint64_t count, double period, T low, T high,         \
                                       double duty_cycle, double* phase) {                            \
    return gen::square<T>(data, count, period, low, high, duty_cycle, phase);                         \
  }

extern "C" {

MORVEX_WAVEFORM_DEFINE(int16_t, i16)
MORVEX_WAVEFORM_DEFINE(uint8_t, u8)
MORVEX_WAVEFORM_DEFINE(uint16_t, u16)
MORVEX_WAVEFORM_DEFINE(float, f32)
MORVEX_WAVEFORM_DEFINE(double, f64)

}  // extern "C"
