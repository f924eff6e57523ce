// SPDX-License-Identifier: MIT
// Owners for the objects libmorvex-m hands out (the library reference, a
// transform plan, a filter state, a trigger state block), so that every way
// out of the tool, exceptions included, gives them back.
#pragma once

#include <morvex-m.h>

#include <stdexcept>
#include <string>

namespace pipeline {

// A library call that returned a status other than success.
struct LibraryError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

inline void check(int32_t status, const char* step) {
  if (status == MORVEX_M_SUCCESS) return;
  const char* text = morvex_m_status_str(status);
  throw LibraryError(std::string(step) + " failed: " +
                     (text ? text : "status " + std::to_string(status)));
}

class NonCopyable {
 protected:
  NonCopyable() = default;
  NonCopyable(const NonCopyable&) = delete;
  NonCopyable& operator=(const NonCopyable&) = delete;
};

// One reference to the started library, for the life of the tool. Declared
// before every other owner so that it is released last: plans made on FFTW
// must go before the library lets go of FFTW.
class Library : NonCopyable {
 public:
  Library() { morvex_m_init(); }
  ~Library() { morvex_m_fini(); }
};

// A forward real transform plan of n samples, made once for a pair of arrays
// and executed on them for every block.
class ForwardPlan : NonCopyable {
 public:
  ForwardPlan(const float* in, uint64_t n, morvex_m_c32f32* out) : n_(n) {
    check(morvex_m_dft_plan_create_r2c_1d_f32(in, n, out, n / 2 + 1, &plan_), "transform plan");
  }
  ~ForwardPlan() { morvex_m_dft_plan_destroy(plan_); }

  // One-sided amplitudes: a sine of amplitude A centred on bin k reads A there.
  void amplitudes(const float* in, morvex_m_c32f32* out) const {
    check(morvex_m_dft_plan_execute_r2c_1d_divn_f32(plan_, in, n_, out, n_ / 2 + 1, 1), "transform");
  }

 private:
  morvex_m_dft_plan* plan_ = nullptr;
  uint64_t n_;
};

// A low-pass filter whose delay line carries over from block to block.
class LowPass : NonCopyable {
 public:
  LowPass(double sample_rate, double cutoff_hz, unsigned order) {
    check(morvex_m_filter_iir_butterworth(MORVEX_M_FILTER_LOWPASS, static_cast<uint8_t>(order), &state_,
                                          sample_rate, cutoff_hz, 0.0),
          "low-pass design");
    // Start every section in the steady state of the first sample, so the
    // filter adds no settling transient to the start of the capture.
    morvex_m_filter_reset_delay_line(state_, 1);
  }
  ~LowPass() { morvex_m_filter_state_destroy(state_); }

  void run(float* samples, uint64_t n) { check(morvex_m_filter_execute_f32(samples, samples, n, state_), "low-pass"); }

 private:
  morvex_m_filter_state* state_ = nullptr;
};

// A trigger's state block: allocated by the trigger on its first call, kept
// across blocks so that a condition that straddles a block boundary is seen.
class TriggerState : NonCopyable {
 public:
  TriggerState() = default;
  ~TriggerState() { morvex_m_state_free(&state_); }
  void** handle() { return &state_; }

 private:
  void* state_ = nullptr;
};

}  // namespace pipeline
