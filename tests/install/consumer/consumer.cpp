// The same header from C++.
#include <morvex-m.h>

#include <cstdio>

int main() {
  double x[2] = {3.0, -4.0}, y[2];
  morvex_m_init(); morvex_m_pow2_f64(x, y, 2); morvex_m_fini();
  if (y[0] != 9.0 || y[1] != 16.0) return 1;
  std::puts("consumer (C++) ok");
  return 0;
}
