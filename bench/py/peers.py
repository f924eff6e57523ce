# SPDX-License-Identifier: MIT
"""numpy and scipy beside morvex-bench: the same operations on the same sizes,
in nanoseconds per call, keyed like the benchmarks they sit beside.

    MORVEX_M_LIB=build/release/libmorvex-m.so.0 /usr/bin/python3 bench/py/peers.py

- windows and the cosine waveform (numpy/scipy.signal.windows; the f32 forms
  compute in double and store float32, as the library does);
- scipy.signal.sosfilt on the library's own sections (order-8 Butterworth
  lowpass, 4 sections, and bandpass, 8 sections, 1M samples) and freqz of
  4096 points on the same design;
- numpy.fft.rfft.

Times are processor time of this process (numpy and scipy run these on one
thread), the median of seven rounds, each round enough calls for ~30 ms;
run in the same session as morvex-bench so that the ratios compare.
"""
import ctypes
import os
import statistics
import time

import numpy as np
import scipy.signal as sig
from scipy.signal import windows as sw

WINDOW_SIZES = (4096, 1 << 20)
FFT_SIZES = (1024, 4096, 65536, 1 << 20)
FILTER_SAMPLES = 1 << 20
RATE = 1e6


def median_ns(call):
    call()
    t0 = time.process_time()
    call()
    reps = max(1, int(0.03 / max(time.process_time() - t0, 1e-7)))
    rounds = []
    for _ in range(7):
        t0 = time.process_time()
        for _ in range(reps):
            call()
        rounds.append((time.process_time() - t0) / reps)
    return statistics.median(rounds) * 1e9


def library_sections():
    """The library's own second-order sections for the two benchmark designs."""
    lib = ctypes.CDLL(os.environ.get("MORVEX_M_LIB", "libmorvex-m.so.0"))
    lib.morvex_m_init()
    vp, pvp = ctypes.c_void_p, ctypes.POINTER(ctypes.c_void_p)
    lib.morvex_m_filter_iir_butterworth.argtypes = [ctypes.c_int32, ctypes.c_uint8, pvp, ctypes.c_double,
                                                    ctypes.c_double, ctypes.c_double]
    lib.morvex_m_filter_iir_get_sos.argtypes = [vp, pvp, ctypes.POINTER(ctypes.c_uint64)]
    out = {}
    for which, band, f1 in ((0, 0, 50e3), (1, 2, 100e3)):
        st, p, n = vp(), vp(), ctypes.c_uint64()
        assert lib.morvex_m_filter_iir_butterworth(band, 8, ctypes.byref(st), RATE, f1, 200e3) == 0
        assert lib.morvex_m_filter_iir_get_sos(st, ctypes.byref(p), ctypes.byref(n)) == 0
        flat = np.ctypeslib.as_array(ctypes.cast(p, ctypes.POINTER(ctypes.c_double)), shape=(n.value,))
        out[which] = flat.copy().reshape(-1, 6)
    return out


def measure():
    results = {}
    for n in WINDOW_SIZES:
        ramp = np.arange(n) % 1000 * 0.001
        for dtype, s in ((np.float32, "f32"), (np.float64, "f64")):
            x = ramp.astype(dtype)
            w = 2 * np.pi / 1000.0
            results[f"numpy/cosine_{s}/{n}"] = median_ns(
                lambda: np.clip(np.cos(np.arange(n) * w), -2.0, 2.0).astype(dtype, copy=False))
            results[f"numpy/hanning_{s}/{n}"] = median_ns(lambda: (np.hanning(n) * x).astype(dtype, copy=False))
            results[f"scipy/blackmanharris_{s}/{n}"] = median_ns(
                lambda: (sw.blackmanharris(n) * x).astype(dtype, copy=False))
    sections = library_sections()
    x64 = ((np.arange(FILTER_SAMPLES) * 7919) % 2001) / 1000.0 - 1.0
    for which, sos in sections.items():
        for dtype, s in ((np.float32, "f32"), (np.float64, "f64")):
            x, c = x64.astype(dtype), sos.astype(dtype)
            results[f"scipy/sosfilt_{s}/{which}"] = median_ns(lambda: sig.sosfilt(c, x))
    b, a = sig.sos2tf(sections[0])
    results["scipy/freqz"] = median_ns(lambda: sig.freqz(b, a, worN=4096, fs=RATE))
    for dtype, s in ((np.float32, "f32"), (np.float64, "f64")):
        for n in FFT_SIZES:
            x = np.random.default_rng(1).uniform(-1, 1, n).astype(dtype)
            results[f"numpy/rfft_{s}/{n}"] = median_ns(lambda: np.fft.rfft(x))
    return results


if __name__ == "__main__":
    print(f"numpy {np.__version__}")
    for name, ns in measure().items():
        print(f"{name:40s} {ns:14.0f} ns")
