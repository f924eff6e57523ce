/* A minimal user of the installed library: the header must compile as C99. */
#include <stdio.h>
#include <string.h>

#include <morvex-m.h>

int main(void) {
  float a[3] = {1.0f, 2.0f, 3.0f}, b[3] = {0.5f, 0.5f, 0.5f}, out[3];
  if (morvex_m_init() != 0) return 1;
  if (morvex_m_add_f32(a, b, out, 3) != 0 || out[2] != 3.5f) return 2;
  if (strcmp(morvex_m_status_str(MORVEX_M_INVALID_PLAN), "Invalid plan") != 0) return 3;
  if (morvex_m_get_version()->version != 0x0001000500260000ull) return 4;
  morvex_m_fini();
  puts("consumer ok");
  return 0;
}
