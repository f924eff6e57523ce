// SPDX-License-Identifier: MIT
// The FFTW backends of both precisions, written once: P is fftw::Double or
// fftw::Single. The named classes in lib::fftw3 and lib::fftw3f derive from
// these templates and add nothing.
//
// A backend copies the FFTW functions when it is made, so it never depends on
// the loader's state again: switching the option off, or the last shut-down
// unloading FFTW (which stays resident, see fftw_loader.cpp), leaves it
// working until it is destroyed.
//
// Planning is lazy: the plan is made on the arrays of the first execution,
// with FFTW_ESTIMATE (which neither measures nor writes the arrays), under the
// planner lock of this precision; later executions run it on their own arrays
// through FFTW's new-array execute functions, which the plan exports allow only
// for arrays of the alignment classes recorded at creation.
#pragma once

#include <pthread.h>

#include <climits>
#include <system_error>

#include "dft/abstract_dft.h"
#include "dft/fftw_loader.h"
#include "frame/status.h"

namespace morvex::dft::lib {

// FFTW takes the length as an int.
constexpr uint64_t kFftwMaxLength = INT_MAX;

// Holds a planner lock for one scope. A failed lock is raised as the standard
// system error (the exports turn it into "Failed").
class PlannerLock {
 public:
  explicit PlannerLock(pthread_mutex_t& m) : m_(m) {
    if (const int err = pthread_mutex_lock(&m_)) throw std::system_error(err, std::generic_category());
  }
  ~PlannerLock() { pthread_mutex_unlock(&m_); }
  PlannerLock(const PlannerLock&) = delete;
  PlannerLock& operator=(const PlannerLock&) = delete;

 private:
  pthread_mutex_t& m_;
};

// What both directions share: the copied functions, the plan and its
// destruction.
template <class P>
class FftwState {
 public:
  using Real = typename P::Real;
  using Plan = typename P::Plan;
  using FftwComplex = Real[2];

  FftwState() : fn(P::api().fn) {
    if (!P::api().handle) throw StatusError(MORVEX_M_FAILED, "FFTW is not loaded");
  }
  ~FftwState() {
    // Plan destruction goes through FFTW's planner, so it takes the lock too.
    // FFTW accepts a null plan. Should the lock ever fail, the plan is left
    // behind rather than destroyed concurrently with another planner call.
    if (pthread_mutex_lock(&P::api().planner_lock) == 0) {
      fn.destroy_plan(plan);
      pthread_mutex_unlock(&P::api().planner_lock);
    }
  }
  FftwState(const FftwState&) = delete;
  FftwState& operator=(const FftwState&) = delete;

  int32_t alignment(const void* p) const { return fn.alignment_of(static_cast<Real*>(const_cast<void*>(p))); }

  // Runs the plan on this call's arrays through `again` (FFTW's new-array
  // execute), or, the first time, makes it with `make` on these arrays under
  // the planner lock and runs it as planned.
  template <class Make, class Again>
  Status execute(Make&& make, Again&& again) {
    if (plan) {
      again(plan);
      return 0;
    }
    {
      PlannerLock lock(P::api().planner_lock);
      plan = make();
    }
    if (!plan) return MORVEX_M_FAILED;
    fn.execute(plan);
    return 0;
  }

  typename fftw::Functions<Real, Plan> fn;
  Plan plan = nullptr;
};

template <class P>
class FftwR2C : public AbstractDFTR2C1D<typename P::Real> {
 public:
  using Real = typename P::Real;
  using Complex = std::complex<Real>;

  FftwR2C(const Real* in, uint64_t n, Complex* out, uint64_t out_count)
      : AbstractDFTR2C1D<Real>(n, out_count, kFftwMaxLength) {
    this->input_alignment_ = state.alignment(in);
    this->output_alignment_ = state.alignment(out);
  }

  int32_t alignment_of(const void* p) const override { return state.alignment(p); }

  Status execute(const Real* in, uint64_t, Complex* out, uint64_t) override {
    // r2c transforms leave their input alone; FFTW's signature just is not const.
    Real* src = const_cast<Real*>(in);
    auto* dst = reinterpret_cast<typename FftwState<P>::FftwComplex*>(out);
    return state.execute([&] { return state.fn.plan_dft_r2c_1d(int(this->input_count), src, dst, fftw::kEstimate); },
                         [&](typename P::Plan p) { state.fn.execute_dft_r2c(p, src, dst); });
  }

 private:
  FftwState<P> state;
};

template <class P>
class FftwC2R : public AbstractIDFTC2R1D<typename P::Real> {
 public:
  using Real = typename P::Real;
  using Complex = std::complex<Real>;

  FftwC2R(Complex* in, uint64_t in_count, Real* out, uint64_t n)
      : AbstractIDFTC2R1D<Real>(in_count, n, kFftwMaxLength) {
    this->input_alignment_ = state.alignment(in);
    this->output_alignment_ = state.alignment(out);
  }

  int32_t alignment_of(const void* p) const override { return state.alignment(p); }

  // FFTW's complex-to-real transforms overwrite their input bins.
  Status execute(Complex* in, uint64_t, Real* out, uint64_t) override {
    auto* src = reinterpret_cast<typename FftwState<P>::FftwComplex*>(in);
    return state.execute([&] { return state.fn.plan_dft_c2r_1d(int(this->output_count), src, out, fftw::kEstimate); },
                         [&](typename P::Plan p) { state.fn.execute_dft_c2r(p, src, out); });
  }

 private:
  FftwState<P> state;
};

}  // namespace morvex::dft::lib
