// SPDX-License-Identifier: MIT
// The plain cascade kernel, the choice of kernel per call, and the executor.
#include "filter/cascade.h"

#include <cstring>
#include <stdexcept>

#include "filter/state.h"
#include "frame/call_time.h"

namespace morvex::filter {

namespace {

// The reference: sample by sample, section by section, the delay line in
// memory. Every other kernel must give exactly its bits.
template <class T>
void cascade_plain(const T* in, T* out, uint64_t count, const T* coeffs, T* delay, uint64_t sections) {
  for (uint64_t k = 0; k < count; ++k) {
    T v = in[k];
    for (uint64_t i = 0; i < sections; ++i) {
      const T* c = coeffs + 6 * i;
      T* d = delay + 2 * i;
      const T x = v;
      const T y = c[0] * x + d[0];
      d[0] = (c[1] * x + d[1]) - c[4] * y;
      d[1] = c[2] * x - c[5] * y;
      v = y;
    }
    out[k] = v;
  }
}

// The lane kernels run section j up to j samples behind section 0, so they
// read input[t] well before writing output[t]; that is only the plain
// kernel's order of reads and writes when the arrays are the same or apart.
template <class T>
bool lanes_allowed(const T* in, const T* out, uint64_t count) {
  if (in == out) return true;
  const uintptr_t i = reinterpret_cast<uintptr_t>(in), o = reinterpret_cast<uintptr_t>(out);
  return o + count * sizeof(T) <= i || i + count * sizeof(T) <= o;
}

// A lane step takes about half the time of one sample through the plain
// loop, but a pass of m sections adds 2 (m - 1) kLaneSkew steps of filling
// and draining: short blocks are faster (and give the same bits) plainly.
constexpr uint64_t kMinLaneSamples = 32;

template <class T>
CascadeKernel<T>* choose(const T* in, const T* out, uint64_t count, uint64_t sections, CascadeKernel<T>* plain,
                         CascadeKernel<T>* sse42, CascadeKernel<T>* avx, CascadeKernel<T>* avx512) {
  if (count < kMinLaneSamples || count < 2 * uint64_t(kLaneSkew) * sections || !lanes_allowed(in, out, count))
    return plain;
  // Which vector width is fastest depends on the section count (measured on
  // an AVX-512 server core): a cascade that fills one 128-bit vector runs
  // best there; up to two 256-bit vectors' worth, 256-bit vectors win (their
  // adds have a shorter latency than 512-bit ones, and the recurrence is
  // latency-bound); beyond, 512-bit vectors (fewer instructions per step).
  // The three orders are the cascade rows of frame/call_time.h.
  constexpr uint64_t kSse42Lanes = 16 / sizeof(T), kAvxLanes = 32 / sizeof(T);
  namespace rows = frame::call_time;
  if (sections <= kSse42Lanes) return rows::cascade_narrow::choose(sse42, avx, avx512, plain);
  if (sections <= 2 * kAvxLanes) return rows::cascade_middle::choose(avx, avx512, sse42, plain);
  return rows::cascade_wide::choose(avx512, avx, sse42, plain);
}

}  // namespace

void cascade_plain_f32(const float* in, float* out, uint64_t count, const float* coeffs, float* delay,
                       uint64_t sections) {
  cascade_plain(in, out, count, coeffs, delay, sections);
}
void cascade_plain_f64(const double* in, double* out, uint64_t count, const double* coeffs, double* delay,
                       uint64_t sections) {
  cascade_plain(in, out, count, coeffs, delay, sections);
}

CascadeKernel<float>* choose_cascade_f32(const float* in, const float* out, uint64_t count, uint64_t sections) {
  return choose<float>(in, out, count, sections, cascade_plain_f32, cascade_sse42_f32, cascade_avx_f32,
                       cascade_avx512_f32);
}
CascadeKernel<double>* choose_cascade_f64(const double* in, const double* out, uint64_t count,
                                          uint64_t sections) {
  return choose<double>(in, out, count, sections, cascade_plain_f64, cascade_sse42_f64, cascade_avx_f64,
                        cascade_avx512_f64);
}

std::vector<double> steady_state(const FilterState::IIR::SOS& sos) {
  std::vector<double> s;
  s.reserve(2 * sos.sections.size());
  double scale = 1.0;
  for (const std::vector<double>& c : sos.sections) {
    // The delay pair that a constant input of 1 leaves in this section alone:
    // with y = G (the section's gain at zero frequency), d1 = b2 - a2 G and
    // d0 = G - b0, on coefficients normalised to a0 = 1.
    const double a0 = c[3];
    const double b0 = c[0] / a0, b1 = c[1] / a0, b2 = c[2] / a0, a1 = c[4] / a0, a2 = c[5] / a0;
    const double g = (b0 + b1 + b2) / (1.0 + a1 + a2);
    s.push_back(scale * (g - b0));
    s.push_back(scale * (b2 - a2 * g));
    scale *= (c[0] + c[1] + c[2]) / (c[3] + c[4] + c[5]);
  }
  return s;
}

}  // namespace morvex::filter

namespace morvex::def {

template <class T>
FitlerIIRSOS<T>::FitlerIIRSOS(const FilterState::IIR::SOS& sos)
    : section_count(sos.sections.size()), start_pending(false) {
  for (const std::vector<double>& c : sos.sections)
    if (c.size() != 6) throw std::invalid_argument("");
  delay_line.assign(2 * section_count, T(0));
  coefficients.reserve(6 * section_count);
  for (const std::vector<double>& c : sos.sections)
    for (double v : c) coefficients.push_back(T(v));
  const std::vector<double> s = filter::steady_state(sos);
  steady_state.reserve(s.size());
  for (double v : s) steady_state.push_back(T(v));
}

template <class T>
void FitlerIIRSOS<T>::reset(bool steady_start) {
  if (steady_start)
    start_pending = true;
  else
    for (T& d : delay_line) d = T(0);
}

template <class T>
int32_t FitlerIIRSOS<T>::execute(const T* input, T* output, uint64_t count) {
  if (count == 0) return 0;
  if (start_pending) {
    const T x0 = input[0];
    for (uint64_t i = 0; i < 2 * section_count; ++i) delay_line[i] = steady_state[i] * x0;
    start_pending = false;
  }
  if (section_count == 0) {
    if (output != input) std::memmove(output, input, count * sizeof(T));
    return 0;
  }
  filter::CascadeKernel<T>* kernel;
  if constexpr (sizeof(T) == 4)
    kernel = filter::choose_cascade_f32(input, output, count, section_count);
  else
    kernel = filter::choose_cascade_f64(input, output, count, section_count);
  kernel(input, output, count, coefficients.data(), delay_line.data(), section_count);
  return 0;
}

template class FitlerIIRSOS<float>;
template class FitlerIIRSOS<double>;

}  // namespace morvex::def
