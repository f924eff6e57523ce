// SPDX-License-Identifier: MIT
// The filter exports: each one forwards to the internals and turns every
// exception into "Failed".
#include <memory>
#include <optional>

#include "filter/design.h"
#include "filter/response.h"
#include "filter/state.h"
#include "morvex-m/filter.h"

namespace morvex::filter {
namespace {

// Runs body and maps any exception to -1: nothing may cross the C boundary.
template <class F>
int32_t guarded(F&& body) noexcept {
  try {
    return body();
  } catch (...) {
    return MORVEX_M_FAILED;
  }
}

int32_t design_order_n(int family, int32_t band, uint8_t order, morvex_m_filter_state** out, double sample_rate,
                       double f1, double f2, bool has_ripple, double ripple, std::optional<double> attenuation) {
  if (!out) return MORVEX_M_FAILED;
  return guarded([&] {
    auto [z, p, k] = design_iir(family, band, order, true, has_ripple, sample_rate, f1, f2, ripple, attenuation);
    auto st = std::make_unique<morvex_m_filter_state>();
    auto zpk = std::make_shared<FilterState::IIR::ZPK>();
    zpk->z = std::move(z);
    zpk->p = std::move(p);
    zpk->k = k;
    st->zpk = std::move(zpk);  // not yet shared with anyone
    *out = st.release();
    return MORVEX_M_SUCCESS;
  });
}

int32_t design_resonator_state(int kind, morvex_m_filter_state** out, double sample_rate, double centre,
                               double bandwidth) {
  if (!out) return MORVEX_M_FAILED;
  return guarded([&] {
    auto [b, a] = design_resonator(kind, 2.0 * centre / sample_rate, centre / bandwidth);
    auto st = std::make_unique<morvex_m_filter_state>();
    auto tf = std::make_shared<FilterState::IIR::TF>();
    tf->b = std::move(b);
    tf->a = std::move(a);
    st->tf = std::move(tf);
    *out = st.release();
    return MORVEX_M_SUCCESS;
  });
}

// The executor for T, made from the SOS on the first call. A state already
// running in the other element type is refused rather than misread.
template <class T>
int32_t execute(const T* in, T* out, uint64_t count, morvex_m_filter_state* st) {
  if (!st) return MORVEX_M_FAILED;
  if (!st->filter) {
    const int32_t made = guarded([&] {
      const SosPtr sos = get_sos(*st);
      if (!sos) return MORVEX_M_FAILED;
      auto exec = std::make_unique<def::FitlerIIRSOS<T>>(*sos);
      exec->reset(st->steady_start);
      st->filter = exec.release();
      return MORVEX_M_SUCCESS;
    });
    if (made != MORVEX_M_SUCCESS) return made;
  }
  auto* exec = dynamic_cast<Filter::IIR::AbstractFilterIIR<T>*>(st->filter);
  if (!exec) return MORVEX_M_FAILED;
  return exec->execute(in, out, count);
}

}  // namespace
}  // namespace morvex::filter

using namespace morvex::filter;

extern "C" {

int32_t morvex_m_filter_iir_butterworth(int32_t band_type, uint8_t order, morvex_m_filter_state** state_out,
                                        double sample_rate, double f1, double f2) {
  return design_order_n(kButterworth, band_type, order, state_out, sample_rate, f1, f2, false, 0.0, std::nullopt);
}

int32_t morvex_m_filter_iir_chebyshev1(int32_t band_type, uint8_t order, morvex_m_filter_state** state_out,
                                       double sample_rate, double f1, double f2, double ripple_db) {
  return design_order_n(kChebyshev1, band_type, order, state_out, sample_rate, f1, f2, true, ripple_db,
                        std::nullopt);
}

int32_t morvex_m_filter_iir_chebyshev2(int32_t band_type, uint8_t order, morvex_m_filter_state** state_out,
                                       double sample_rate, double f1, double f2, double attenuation_db) {
  return design_order_n(kChebyshev2, band_type, order, state_out, sample_rate, f1, f2, false, 0.0,
                        attenuation_db);
}

int32_t morvex_m_filter_iir_notch(morvex_m_filter_state** state_out, double sample_rate, double centre_frequency,
                                  double bandwidth) {
  return design_resonator_state(kNotch, state_out, sample_rate, centre_frequency, bandwidth);
}

int32_t morvex_m_filter_iir_peak(morvex_m_filter_state** state_out, double sample_rate, double centre_frequency,
                                 double bandwidth) {
  return design_resonator_state(kPeak, state_out, sample_rate, centre_frequency, bandwidth);
}

void morvex_m_filter_state_destroy(morvex_m_filter_state* state) { delete state; }

void morvex_m_filter_reset_delay_line(morvex_m_filter_state* state, int32_t steady_start) {
  state->steady_start = steady_start != 0;
  if (state->filter) state->filter->reset(steady_start != 0);
}

int32_t morvex_m_filter_iir_get_zpk(morvex_m_filter_state* state, const morvex_m_c64f64** zeros,
                                    uint64_t* zero_count, const morvex_m_c64f64** poles, uint64_t* pole_count,
                                    double* gain) {
  if (!state || !zeros || !zero_count || !poles || !pole_count || !gain) return MORVEX_M_FAILED;
  return guarded([&] {
    const ZpkPtr zpk = get_zpk(*state);
    if (!zpk) return MORVEX_M_FAILED;
    // std::complex<double> is two doubles, real part first, as is the
    // boundary's complex type; the record lives as long as the state.
    *zeros = reinterpret_cast<const morvex_m_c64f64*>(zpk->z.data());
    *zero_count = zpk->z.size();
    *poles = reinterpret_cast<const morvex_m_c64f64*>(zpk->p.data());
    *pole_count = zpk->p.size();
    *gain = zpk->k;
    return MORVEX_M_SUCCESS;
  });
}

int32_t morvex_m_filter_iir_get_tf(morvex_m_filter_state* state, const double** numerator,
                                   const double** denominator, uint64_t* count) {
  if (!state || !numerator || !denominator || !count) return MORVEX_M_FAILED;
  return guarded([&] {
    const TfPtr tf = get_tf(*state);
    if (!tf || tf->b.size() != tf->a.size()) return MORVEX_M_FAILED;
    *numerator = tf->b.data();
    *denominator = tf->a.data();
    *count = tf->b.size();
    return MORVEX_M_SUCCESS;
  });
}

int32_t morvex_m_filter_iir_get_sos(morvex_m_filter_state* state, const double** coefficients, uint64_t* count) {
  if (!state || !coefficients || !count) return MORVEX_M_FAILED;
  return guarded([&] {
    const SosPtr sos = get_sos(*state);
    if (!sos) return MORVEX_M_FAILED;
    for (const auto& section : sos->sections)
      if (section.size() != 6) return MORVEX_M_FAILED;
    *coefficients = sos->flat.data();
    *count = sos->flat.size();
    return MORVEX_M_SUCCESS;
  });
}

int32_t morvex_m_filter_execute_f32(const float* input, float* output, uint64_t count,
                                    morvex_m_filter_state* state) {
  return execute<float>(input, output, count, state);
}

int32_t morvex_m_filter_execute_f64(const double* input, double* output, uint64_t count,
                                    morvex_m_filter_state* state) {
  return execute<double>(input, output, count, state);
}

int32_t morvex_m_filter_iir_freqz(morvex_m_filter_state* state, uint64_t count, int32_t whole,
                                  int32_t include_nyquist, int32_t logarithmic, double* frequencies_out,
                                  morvex_m_c64f64* response_out, double sample_rate) {
  if (!state) return MORVEX_M_FAILED;
  return guarded([&] {
    return freqz(*state, count, whole != 0, include_nyquist != 0, logarithmic != 0, frequencies_out,
                 response_out, sample_rate);
  });
}

int32_t morvex_m_filter_iir_freqz_zpk(morvex_m_filter_state* state, uint64_t count, int32_t whole,
                                      int32_t logarithmic, double* frequencies_out,
                                      morvex_m_c64f64* response_out, double sample_rate) {
  if (!state) return MORVEX_M_FAILED;
  return guarded([&] {
    return freqz_zpk(*state, count, whole != 0, logarithmic != 0, frequencies_out, response_out, sample_rate);
  });
}

int32_t morvex_m_filter_iir_isstable(morvex_m_filter_state* state, int32_t* stable_out) {
  if (!state || !stable_out) return MORVEX_M_FAILED;
  return guarded([&] {
    bool stable = false;
    const int32_t status = isstable(*state, stable);
    if (status == MORVEX_M_SUCCESS) *stable_out = stable ? 1 : 0;
    return status;
  });
}

}  // extern "C"
