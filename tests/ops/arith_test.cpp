// SPDX-License-Identifier: MIT
// Arithmetic beyond the kernel table's bit comparison: the wide kernels finish
// an array with a partly filled vector, and the lanes past the end must not
// raise an exception flag that no element raises (a caller that checks the
// flags after a block would see a division by zero that never happened).
#include <cfenv>
#include <vector>

#include "common/variant_harness.h"

namespace {

template <class T>
int flags_raised(uint64_t n) {
  // Exact operands: 3 / 2, 2 / 3 and the rest raise at most "inexact".
  const std::vector<T> a(n, T(3)), b(n, T(2));
  std::vector<T> out(n);
  std::feclearexcept(FE_ALL_EXCEPT);
  if constexpr (sizeof(T) == 4) {
    morvex_m_div_f32(a.data(), b.data(), out.data(), n), morvex_m_cdiv_f32(a.data(), out.data(), n, 2.0f);
    morvex_m_divc_f32(a.data(), out.data(), n, 2.0f), morvex_m_mul_f32(a.data(), b.data(), out.data(), n);
  } else {
    morvex_m_div_f64(a.data(), b.data(), out.data(), n), morvex_m_cdiv_f64(a.data(), out.data(), n, 2.0);
    morvex_m_divc_f64(a.data(), out.data(), n, 2.0), morvex_m_mul_f64(a.data(), b.data(), out.data(), n);
  }
  return std::fetestexcept(FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW | FE_UNDERFLOW);
}

TEST(Arith, PartialVectorsRaiseNoFlags) {
  morvex::test::for_each_kernel_config([](const morvex::test::KernelConfig&) {
    for (uint64_t n = 1; n <= 40; ++n) {
      EXPECT_EQ(flags_raised<float>(n), 0) << "f32, n " << n;
      EXPECT_EQ(flags_raised<double>(n), 0) << "f64, n " << n;
    }
  });
}

}  // namespace
