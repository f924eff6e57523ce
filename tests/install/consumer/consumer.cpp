// SPDX-License-Identifier: MIT
// The library's header from C++.
#include <morvex-m.h>

int main() {
  double x[2] = {3.0, -4.0}, y[2];
  morvex_m_init();
  morvex_m_pow2_f64(x, y, 2);
  morvex_m_fini();
  return y[0] == 9.0 && y[1] == 16.0 ? 0 : 1;
}
