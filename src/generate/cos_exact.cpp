// SPDX-License-Identifier: MIT
// The exact cosine's dispatch and baseline kernel.
#include "generate/cos_exact.h"

#include <cmath>

#include "frame/call_time.h"

namespace morvex::generate {

namespace cos_detail {

void cos_plain(const double* x, double* out, std::size_t n) {
  for (std::size_t k = 0; k < n; ++k) out[k] = std::cos(x[k]);
}

void cos_ramp_plain(Ramp r, uint64_t first, uint64_t step, std::size_t n, double mul, double other, double* out) {
  for (std::size_t k = 0; k < n; ++k) {
    const double i = double(first + k * step);
    out[k] = std::cos(r == Ramp::kDivide ? ramp_arg<Ramp::kDivide>(i, mul, other)
                                         : ramp_arg<Ramp::kAdd>(i, mul, other));
  }
}

}  // namespace cos_detail

// Chosen at each call from the option flags (frame/call_time.h: cosine), so
// that switching a processor option off takes effect at once; every choice
// gives the same values.
void cos_exact(const double* x, double* out, std::size_t n) {
  using namespace cos_detail;
  frame::call_time::cosine::choose(cos_avx512, cos_avx2, cos_plain)(x, out, n);
}

void cos_ramp(Ramp r, uint64_t first, uint64_t step, std::size_t n, double mul, double other, double* out) {
  using namespace cos_detail;
  frame::call_time::cosine::choose(cos_ramp_avx512, cos_ramp_avx2, cos_ramp_plain)(r, first, step, n, mul, other,
                                                                                   out);
}

}  // namespace morvex::generate
