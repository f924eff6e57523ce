// SPDX-License-Identifier: MIT
/*
 * A stand-in for the FFTW libraries, built by the tests so that loading, lazy
 * planning, plan reuse, destruction and the planner lock are tested the same
 * way whether or not FFTW is installed. It exports the seven functions the
 * library resolves, computing the transforms directly in long double, and a
 * few counters the tests read. Built once per precision (FAKE_SINGLE for the
 * fftwf_ names) and once more without the plan destroyer (FAKE_OMIT_DESTROY).
 */
#include <math.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdlib.h>
#include <time.h>

#ifdef FAKE_SINGLE
typedef float R;
#define FFTW(name) fftwf_##name
#else
typedef double R;
#define FFTW(name) fftw_##name
#endif
typedef R C[2];
#define EXPORT __attribute__((visibility("default")))

typedef struct plan_s {
  int n, forward;
  void *in, *out;
} * plan;

static atomic_int planned, destroyed, destroyed_null, executed, executed_new_arrays;
static atomic_int fail_next, sleep_us, inside, max_inside;

/* Planning and destruction share FFTW's planner state; the library must never
 * run two of them at once. Each records how many are inside together, and
 * lingers there when a test asks, to give an overlap the chance to show. */
static void enter(void) {
  const int now = atomic_fetch_add(&inside, 1) + 1;
  int seen = atomic_load(&max_inside);
  while (now > seen && !atomic_compare_exchange_weak(&max_inside, &seen, now)) {
  }
  struct timespec t = {0, (long)atomic_load(&sleep_us) * 1000L};
  if (t.tv_nsec > 0) nanosleep(&t, NULL);
}
static void leave(void) { atomic_fetch_sub(&inside, 1); }

/* X[k] = sum x[j] e^(-2 pi i jk/n), k <= n/2; the inverse takes the bins as a
 * Hermitian spectrum (imaginary parts of bin 0 and Nyquist ignored). */
static void transform(int n, int forward, const void* in, void* out) {
  const long double w = (forward ? -2.0L : 2.0L) * 3.141592653589793238462643383279502884L / n;
  for (int k = 0; k < (forward ? n / 2 + 1 : n); ++k) {
    long double re = 0, im = 0;
    for (int j = 0; j < n; ++j) {
      const long double a = w * (long double)(((int64_t)j * k) % n);
      if (forward) {
        re += ((const R*)in)[j] * cosl(a), im += ((const R*)in)[j] * sinl(a);
      } else {
        const int m = j <= n / 2 ? j : n - j;
        const long double xr = ((const C*)in)[m][0], xi = j <= n / 2 ? ((const C*)in)[m][1] : -((const C*)in)[m][1];
        re += xr * cosl(a) - xi * sinl(a);
      }
    }
    if (forward) ((C*)out)[k][0] = (R)re, ((C*)out)[k][1] = (R)im;
    else ((R*)out)[k] = (R)re;
  }
}

static plan make(int n, int fwd, void* in, void* out, unsigned flags) {
  enter();
  plan p = NULL;
  int pending = atomic_load(&fail_next);
  const int fail = pending > 0 && atomic_compare_exchange_strong(&fail_next, &pending, pending - 1);
  if (!fail && n > 0 && flags == 64 /* the library plans with FFTW_ESTIMATE only */ && (p = malloc(sizeof *p))) {
    p->n = n, p->forward = fwd, p->in = in, p->out = out;
    atomic_fetch_add(&planned, 1);
  }
  leave();
  return p;
}

EXPORT int FFTW(alignment_of)(R* p) { return (int)((uintptr_t)p % 16); }
EXPORT plan FFTW(plan_dft_r2c_1d)(int n, R* in, C* out, unsigned flags) { return make(n, 1, in, out, flags); }
EXPORT plan FFTW(plan_dft_c2r_1d)(int n, C* in, R* out, unsigned flags) { return make(n, 0, in, out, flags); }
EXPORT void FFTW(execute)(const plan p) {
  atomic_fetch_add(&executed, 1);
  transform(p->n, p->forward, p->in, p->out);
}
EXPORT void FFTW(execute_dft_r2c)(const plan p, R* in, C* out) {
  atomic_fetch_add(&executed_new_arrays, 1);
  transform(p->n, 1, in, out);
}
EXPORT void FFTW(execute_dft_c2r)(const plan p, C* in, R* out) {
  atomic_fetch_add(&executed_new_arrays, 1);
  transform(p->n, 0, in, out);
}
#ifndef FAKE_OMIT_DESTROY
EXPORT void FFTW(destroy_plan)(plan p) {
  enter();
  atomic_fetch_add(p ? &destroyed : &destroyed_null, 1);
  free(p);
  leave();
}
#endif

/* What the tests read and set. */
struct fake_stats {
  int planned, destroyed, destroyed_null, executed, executed_new_arrays, max_inside;
};
EXPORT struct fake_stats fake_fftw_stats(void) {
  struct fake_stats s = {atomic_load(&planned), atomic_load(&destroyed), atomic_load(&destroyed_null),
                         atomic_load(&executed), atomic_load(&executed_new_arrays), atomic_load(&max_inside)};
  return s;
}
EXPORT void fake_fftw_fail_next_plans(int count) { atomic_store(&fail_next, count); }
EXPORT void fake_fftw_linger(int microseconds) { atomic_store(&sleep_us, microseconds); }
