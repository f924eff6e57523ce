"""numpy.fft beside the library's transform plans, in the same process.

Prints one line per measurement: name, n, median microseconds of processor
time per transform (process time, like the CPU column of morvex-bench, so
that other load on the machine does not count).
numpy.fft.rfft computes in double whatever the input (and allocates its
output on every call); the library's plans are called through ctypes, which
adds about a microsecond per call. Run with /usr/bin/python3 in the same
session as morvex-bench, MORVEX_M_LIB pointing at libmorvex-m.so.0 and
tests/common on PYTHONPATH.
"""
import ctypes
import statistics
import time

import numpy as np

from morvex import fn, i32, ptr, u64, vp

SIZES = [1024, 4096, 65536, 1 << 20]
setopt = fn("morvex_m_setopt", i32, i32, i32)
destroy = fn("morvex_m_dft_plan_destroy", None, vp)


def median_us(call, n):
    """Median over 7 rounds of the mean time of enough calls to fill ~50 ms."""
    call()
    reps = max(1, int(0.05 / max(timed(call, 1), 1e-7)))
    return statistics.median(timed(call, reps) for _ in range(7)) * 1e6


def timed(call, reps):
    t0 = time.process_time()
    for _ in range(reps):
        call()
    return (time.process_time() - t0) / reps


def library(s, real, cplx, option, backend, n):
    create = fn(f"morvex_m_dft_plan_create_r2c_1d_{s}", i32, vp, u64, vp, u64, ctypes.POINTER(vp))
    execute = fn(f"morvex_m_dft_plan_execute_r2c_1d_{s}", i32, vp, vp, u64, vp, u64)
    if setopt(option, 1 if backend == "fftw" else 0) != 0:
        return None
    x = np.random.default_rng(1).uniform(-1, 1, n).astype(real)
    out = np.empty(n // 2 + 1, cplx)
    plan = vp()
    create(ptr(x), n, ptr(out), n // 2 + 1, ctypes.byref(plan))
    px, pout, bins = ptr(x), ptr(out), n // 2 + 1
    t = median_us(lambda: execute(plan, px, n, pout, bins), n)
    destroy(plan)
    setopt(option, 0)
    return t


def main():
    print(f"numpy {np.__version__}")
    for s, real, cplx, option in (("f32", np.float32, np.complex64, 12), ("f64", np.float64, np.complex128, 11)):
        for n in SIZES:
            x = np.random.default_rng(1).uniform(-1, 1, n).astype(real)
            print(f"numpy.fft.rfft/{s} {n} {median_us(lambda: np.fft.rfft(x), n):.2f}")
            for backend in ("fftw", "eigen"):
                t = library(s, real, cplx, option, backend, n)
                if t is not None:
                    print(f"ctypes plan-{backend}/{s} {n} {t:.2f}")


main()
