// SPDX-License-Identifier: MIT
// FFTW, loaded at run time. The library never links FFTW: when a caller turns
// on "Use FFTW3" or "Use FFTW3F", the matching library is opened by name and
// its seven functions resolved, all or nothing. Each precision has a planner
// lock, held around planning and plan destruction (FFTW's planner is not
// thread-safe; executing distinct plans is). Unloading drops the library's
// reference, but a complete FFTW stays resident in the process (see load).
#pragma once

#include <pthread.h>

namespace morvex::fftw {

// Opaque FFTW types as the two libraries declare them (fftw_complex is
// double[2], fftwf_complex float[2]; plans are pointers to opaque structs).
using plan = struct fftw_plan_s*;
using planf = struct fftwf_plan_s*;

// The seven functions the transforms use, in the order they are resolved.
template <class Real, class Plan>
struct Functions {
  using Complex = Real[2];
  int (*alignment_of)(Real*);
  Plan (*plan_dft_r2c_1d)(int, Real*, Complex*, unsigned);
  Plan (*plan_dft_c2r_1d)(int, Complex*, Real*, unsigned);
  void (*execute)(const Plan);
  void (*execute_dft_r2c)(const Plan, Real*, Complex*);
  void (*execute_dft_c2r)(const Plan, Complex*, Real*);
  void (*destroy_plan)(Plan);
};

template <class Real, class Plan>
struct Api {
  using Fn = Functions<Real, Plan>;
  void* handle;  // dlopen handle, null when not loaded
  Fn fn;
  pthread_mutex_t planner_lock;
};

using ApiD = Api<double, plan>;
using ApiF = Api<float, planf>;

// Process-wide records, zero (not loaded) at start.
extern ApiD g_fftw3;
extern ApiF g_fftw3f;

// Planner flag: estimate only, so planning is quick and never writes the
// caller's arrays.
constexpr unsigned kEstimate = 64;

void load_fftw3();
void load_fftw3f();
bool fftw3_loaded();
bool fftw3f_loaded();
void unload_fftw3();
void unload_fftw3f();

// Traits that let one backend template serve both precisions.
struct Double {
  using Real = double;
  using Plan = plan;
  static ApiD& api() { return g_fftw3; }
};
struct Single {
  using Real = float;
  using Plan = planf;
  static ApiF& api() { return g_fftw3f; }
};

}  // namespace morvex::fftw
