/*
 * A stand-in for the FFTW libraries, built by the tests so that loading,
 * lazy planning, plan reuse, destruction and the planner lock are tested the
 * same way whether or not FFTW is installed. It exports the seven functions
 * the library resolves, computing the transforms directly in long double, and
 * a few counters the tests read.
 *
 * Built once per precision (FAKE_SINGLE for the fftwf_ names) and once more
 * without the plan destroyer (FAKE_OMIT_DESTROY), as an incomplete library.
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

struct plan_s {
  int n;
  int forward;
  void* in;
  void* out;
};
typedef struct plan_s* plan;

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
  const int us = atomic_load(&sleep_us);
  if (us > 0) {
    struct timespec t = {0, (long)us * 1000L};
    nanosleep(&t, NULL);
  }
}
static void leave(void) { atomic_fetch_sub(&inside, 1); }

static void forward(int n, const R* x, C* X) {
  const long double w = -2.0L * 3.141592653589793238462643383279502884L / n;
  for (int k = 0; k <= n / 2; ++k) {
    long double re = 0, im = 0;
    for (int j = 0; j < n; ++j) {
      const long double a = w * (long double)(((int64_t)j * k) % n);
      re += x[j] * cosl(a);
      im += x[j] * sinl(a);
    }
    X[k][0] = (R)re;
    X[k][1] = (R)im;
  }
}

static void inverse(int n, const C* X, R* x) {
  const long double w = 2.0L * 3.141592653589793238462643383279502884L / n;
  for (int j = 0; j < n; ++j) {
    long double s = 0;
    for (int k = 0; k < n; ++k) {
      const int m = k <= n / 2 ? k : n - k;
      const long double re = X[m][0], im = k <= n / 2 ? X[m][1] : -X[m][1];
      const long double a = w * (long double)(((int64_t)j * k) % n);
      s += re * cosl(a) - im * sinl(a);
    }
    x[j] = (R)s;
  }
}

static plan make(int n, int fwd, void* in, void* out) {
  enter();
  plan p = NULL;
  int pending = atomic_load(&fail_next);
  if (pending > 0 && atomic_compare_exchange_strong(&fail_next, &pending, pending - 1)) {
    p = NULL;
  } else if (n > 0 && (p = malloc(sizeof *p)) != NULL) {
    p->n = n;
    p->forward = fwd;
    p->in = in;
    p->out = out;
    atomic_fetch_add(&planned, 1);
  }
  leave();
  return p;
}

EXPORT int FFTW(alignment_of)(R* p) { return (int)((uintptr_t)p % 16); }
EXPORT plan FFTW(plan_dft_r2c_1d)(int n, R* in, C* out, unsigned flags) {
  return flags == 64 ? make(n, 1, in, out) : NULL; /* the library plans with FFTW_ESTIMATE only */
}
EXPORT plan FFTW(plan_dft_c2r_1d)(int n, C* in, R* out, unsigned flags) {
  return flags == 64 ? make(n, 0, in, out) : NULL;
}
EXPORT void FFTW(execute)(const plan p) {
  atomic_fetch_add(&executed, 1);
  if (p->forward)
    forward(p->n, p->in, p->out);
  else
    inverse(p->n, p->in, p->out);
}
EXPORT void FFTW(execute_dft_r2c)(const plan p, R* in, C* out) {
  atomic_fetch_add(&executed_new_arrays, 1);
  forward(p->n, in, out);
}
EXPORT void FFTW(execute_dft_c2r)(const plan p, C* in, R* out) {
  atomic_fetch_add(&executed_new_arrays, 1);
  inverse(p->n, in, out);
}
#ifndef FAKE_OMIT_DESTROY
EXPORT void FFTW(destroy_plan)(plan p) {
  enter();
  if (p)
    atomic_fetch_add(&destroyed, 1);
  else
    atomic_fetch_add(&destroyed_null, 1);
  free(p);
  leave();
}
#endif

/* What the tests read and set. */
struct fake_stats {
  int planned, destroyed, destroyed_null, executed, executed_new_arrays, max_inside;
};
EXPORT struct fake_stats fake_fftw_stats(void) {
  struct fake_stats s = {atomic_load(&planned),  atomic_load(&destroyed),           atomic_load(&destroyed_null),
                         atomic_load(&executed), atomic_load(&executed_new_arrays), atomic_load(&max_inside)};
  return s;
}
EXPORT void fake_fftw_fail_next_plans(int count) { atomic_store(&fail_next, count); }
EXPORT void fake_fftw_linger(int microseconds) { atomic_store(&sleep_us, microseconds); }
