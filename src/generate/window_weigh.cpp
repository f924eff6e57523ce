// SPDX-License-Identifier: MIT
// Kept window multipliers: the plain kernel and the call-time choice.
#include "generate/window_weigh.h"

#include "frame/flags.h"
#include "ops/overlap.h"

namespace morvex::generate {

namespace weigh_detail {

void weigh_plain(const double* ws, const float* in, float* out, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<float>(ws[i] * double(in[i]));
}

void weigh_plain(const double* ws, const double* in, double* out, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) out[i] = ws[i] * in[i];
}

}  // namespace weigh_detail

namespace {

// The vector kernels load a group of inputs before storing the group: fine
// in place, not when out trails in by less than a group.
template <class T>
void weigh_any(const double* ws, const T* in, T* out, std::size_t n) {
  using namespace weigh_detail;
  if (out != in && !ops::disjoint(out, in, n))
    weigh_plain(ws, in, out, n);
  else if (frame::use_avx512())
    weigh_avx512(ws, in, out, n);
  else if (frame::use_avx())
    weigh_avx(ws, in, out, n);
  else
    weigh_plain(ws, in, out, n);
}

}  // namespace

void weigh_kept(const double* ws, const float* in, float* out, std::size_t n) { weigh_any(ws, in, out, n); }
void weigh_kept(const double* ws, const double* in, double* out, std::size_t n) { weigh_any(ws, in, out, n); }

}  // namespace morvex::generate
