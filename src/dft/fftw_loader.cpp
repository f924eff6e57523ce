// SPDX-License-Identifier: MIT
#include "dft/fftw_loader.h"

#include <dlfcn.h>

namespace morvex::fftw {

ApiD g_fftw3 = {nullptr, {}, PTHREAD_MUTEX_INITIALIZER};
ApiF g_fftw3f = {nullptr, {}, PTHREAD_MUTEX_INITIALIZER};

namespace {

constexpr const char* kFileD = "libfftw3.so.3";
constexpr const char* kFileF = "libfftw3f.so.3";

constexpr const char* kNamesD[7] = {"fftw_alignment_of",   "fftw_plan_dft_r2c_1d", "fftw_plan_dft_c2r_1d",
                                    "fftw_execute",        "fftw_execute_dft_r2c", "fftw_execute_dft_c2r",
                                    "fftw_destroy_plan"};
constexpr const char* kNamesF[7] = {"fftwf_alignment_of",   "fftwf_plan_dft_r2c_1d", "fftwf_plan_dft_c2r_1d",
                                    "fftwf_execute",        "fftwf_execute_dft_r2c", "fftwf_execute_dft_c2r",
                                    "fftwf_destroy_plan"};

// Opens `file` and resolves the seven symbols in their fixed order. At the
// first missing symbol the library is closed again and the record cleared:
// an incomplete library counts as absent.
template <class A>
void load(A& api, const char* file, const char* const (&names)[7]) {
  api.handle = dlopen(file, RTLD_LAZY);
  if (!api.handle) return;
  void** slots[7] = {
      reinterpret_cast<void**>(&api.fn.alignment_of),    reinterpret_cast<void**>(&api.fn.plan_dft_r2c_1d),
      reinterpret_cast<void**>(&api.fn.plan_dft_c2r_1d), reinterpret_cast<void**>(&api.fn.execute),
      reinterpret_cast<void**>(&api.fn.execute_dft_r2c), reinterpret_cast<void**>(&api.fn.execute_dft_c2r),
      reinterpret_cast<void**>(&api.fn.destroy_plan)};
  for (int i = 0; i < 7; ++i) {
    *slots[i] = dlsym(api.handle, names[i]);
    if (!*slots[i]) {
      dlclose(api.handle);
      api.handle = nullptr;
      for (void** s : slots) *s = nullptr;
      return;
    }
  }
  // FFTW keeps its planner's tables in its own globals until fftw_cleanup(),
  // which this library must not call (the application may use the same FFTW,
  // and cleaning up would invalidate its plans). Were FFTW unmapped at
  // unload, those tables would be lost with every load and unload. So a
  // complete FFTW stays resident once loaded: unload drops the library's
  // reference, and a later load finds the same instance with its tables. This
  // also keeps plans that outlive the last shut-down valid.
  if (void* resident = dlopen(file, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE)) dlclose(resident);
}

template <class A>
void unload(A& api) {
  // The function pointers stay: they are only used while the option is on,
  // and the option follows whether the library is loaded. Plans have copies.
  if (api.handle) dlclose(api.handle);
  api.handle = nullptr;
}

}  // namespace

void load_fftw3() { load(g_fftw3, kFileD, kNamesD); }
void load_fftw3f() { load(g_fftw3f, kFileF, kNamesF); }
bool fftw3_loaded() { return g_fftw3.handle != nullptr; }
bool fftw3f_loaded() { return g_fftw3f.handle != nullptr; }
void unload_fftw3() { unload(g_fftw3); }
void unload_fftw3f() { unload(g_fftw3f); }

}  // namespace morvex::fftw
