// SPDX-License-Identifier: MIT
// Kept window multipliers: the plain kernel and the call-time choice.
#include "generate/window_weigh.h"

#include "frame/call_time.h"
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
bool vector_safe(const T* in, const T* out, std::size_t n) {
  return out == in || ops::disjoint(out, in, n);
}

}  // namespace

void weigh_kept(const double* ws, const float* in, float* out, std::size_t n) {
  using namespace weigh_detail;
  if (!vector_safe(in, out, n)) return weigh_plain(ws, in, out, n);
  using Kernel = void (*)(const double*, const float*, float*, std::size_t);
  const Kernel avx = weigh_avx, plain = weigh_plain;
  frame::call_time::window_kept_f32::choose(avx, plain)(ws, in, out, n);
}

void weigh_kept(const double* ws, const double* in, double* out, std::size_t n) {
  using namespace weigh_detail;
  if (!vector_safe(in, out, n)) return weigh_plain(ws, in, out, n);
  using Kernel = void (*)(const double*, const double*, double*, std::size_t);
  const Kernel avx512 = weigh_avx512, avx = weigh_avx, plain = weigh_plain;
  frame::call_time::window_kept_f64::choose(avx512, avx, plain)(ws, in, out, n);
}

namespace {

// Without the kernel: both blocks through the full multipliers.
template <class T>
void weigh_mirrored_plain(const double* ws, const int16_t*, const T* in, T* out, std::size_t n, std::size_t first,
                          std::size_t count) {
  const std::size_t m = n - first - count;  // the mirror block's first element
  weigh_kept(ws + first, in + first, out + first, count);
  weigh_kept(ws + m, in + m, out + m, count);
}

}  // namespace

void weigh_mirrored(const double* ws, const int16_t* mirror, const float* in, float* out, std::size_t n,
                    std::size_t first, std::size_t count) {
  using Kernel = void (*)(const double*, const int16_t*, const float*, float*, std::size_t, std::size_t, std::size_t);
  const Kernel avx512 = weigh_detail::weigh_mirrored_avx512, plain = weigh_mirrored_plain<float>;
  frame::call_time::window_mirrored::choose(avx512, plain)(ws, mirror, in, out, n, first, count);
}

void weigh_mirrored(const double* ws, const int16_t* mirror, const double* in, double* out, std::size_t n,
                    std::size_t first, std::size_t count) {
  using Kernel = void (*)(const double*, const int16_t*, const double*, double*, std::size_t, std::size_t, std::size_t);
  const Kernel avx512 = weigh_detail::weigh_mirrored_avx512, plain = weigh_mirrored_plain<double>;
  frame::call_time::window_mirrored::choose(avx512, plain)(ws, mirror, in, out, n, first, count);
}

}  // namespace morvex::generate
