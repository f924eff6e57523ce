/* SPDX-License-Identifier: MIT */
/* A minimal user of one installed library (LIB_m, LIB_core or LIB_tp), built
 * as strict C99 through pkg-config or the CMake package. */
#include <stdio.h>
#include <string.h>

#if defined(LIB_m)
#include <morvex-m.h>

int main(void) {
  float a[3] = {1.0f, 2.0f, 3.0f}, b[3] = {0.5f, 0.5f, 0.5f}, out[3];
  const morvex_m_version* v = morvex_m_get_version();
  if (morvex_m_init() != 0) return 1;
  if (morvex_m_add_f32(a, b, out, 3) != 0 || out[2] != 3.5f) return 2;
  if (strcmp(morvex_m_status_str(MORVEX_M_INVALID_PLAN), "Invalid plan") != 0) return 3;
  morvex_m_fini();
  printf("headers %s, library %u.%u.%u\n", MORVEX_M_VERSION_STRING, (unsigned)(v->version >> 48),
         (unsigned)(v->version >> 32) & 0xFFFFu, (unsigned)(v->version >> 16) & 0xFFFFu);
  return v->version == MORVEX_M_VERSION_NUMBER && v->extra[0] == '\0' ? 0 : 4;
}
#elif defined(LIB_core)
#include <morvex-core.h>

int main(void) {
  morvex_core_init();
  /* Every x86-64 processor has SSE2. */
  const int ok = morvex_core_cpu_has_sse2() == 1 && morvex_core_cpu_has_neon() == 0;
  morvex_core_fini();
  return ok ? 0 : 1;
}
#elif defined(LIB_tp)
#include <morvex-tp.h>

static void add_one(void* arg) { ++*(int*)arg; }

int main(void) {
  int n = 0;
  morvex_tp_task* t;
  if (morvex_tp_init() != 0) return 1;
  t = morvex_tp_context_new_task(NULL, add_one, &n);
  morvex_tp_wait(&t, 1);
  morvex_tp_task_delete(t);
  morvex_tp_fini();
  return n == 1 ? 0 : 2;
}
#endif
