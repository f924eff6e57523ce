// SPDX-License-Identifier: MIT
// Pieces shared by the plain and the vector extremes kernels. Internal
// linkage throughout: the files of each instruction set get their own copy.
#pragma once

#include <cstdint>
#include <type_traits>

namespace morvex::reduce {
namespace {

// The running rule of the interface, in index order from data[0]; for
// count 0 or 1 both results are data[0].
template <class T, bool kMin, bool kMax>
inline void running_minmax(const T* x, uint64_t n, T* pmin, T* pmax) {
  T mn = x[0], mx = x[0];
  for (uint64_t i = 1; i < n; ++i) {
    if constexpr (kMin) mn = mn < x[i] ? mn : x[i];
    if constexpr (kMax) mx = mx > x[i] ? mx : x[i];
  }
  if constexpr (kMin) *pmin = mn;
  if constexpr (kMax) *pmax = mx;
}

// Calls body(want_min, want_max) with compile-time flags for the results the
// caller asked for, so that a kernel computes only those (a sequential loop
// with one comparison per element runs twice as fast as one with two).
// Nothing is called when both pointers are null.
template <class T, class Body>
inline void for_requested(const T* pmin, const T* pmax, Body body) {
  if (pmin && pmax)
    body(std::true_type{}, std::true_type{});
  else if (pmin)
    body(std::true_type{}, std::false_type{});
  else if (pmax)
    body(std::false_type{}, std::true_type{});
}

}  // namespace
}  // namespace morvex::reduce
