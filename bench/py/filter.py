"""Peers of bench/filter.cpp: scipy.signal.sosfilt on the library's own
sections (order-8 Butterworth lowpass, 4 sections, and bandpass, 8 sections,
1M samples, f32 and f64) and scipy.signal.freqz of 4096 points.

    MORVEX_M_LIB=build/release/libmorvex-m.so.0 /usr/bin/python3 bench/py/filter.py

Times are the best of several runs: CPU time per sample for sosfilt (single
threaded, as is the library's execute); per call for freqz, in CPU time and
in real time (the library's freqz runs on several threads, so its figure is
real time)."""
import ctypes
import os
import time

import numpy as np
import scipy.signal as sig

RATE = 1e6
N = 1 << 20


def library_sections():
    lib = ctypes.CDLL(os.environ.get("MORVEX_M_LIB", "libmorvex-m.so.0"))
    lib.morvex_m_init()
    lib.morvex_m_filter_iir_butterworth.argtypes = [ctypes.c_int32, ctypes.c_uint8, ctypes.POINTER(ctypes.c_void_p),
                                                    ctypes.c_double, ctypes.c_double, ctypes.c_double]
    lib.morvex_m_filter_iir_get_sos.argtypes = [ctypes.c_void_p, ctypes.POINTER(ctypes.c_void_p),
                                                ctypes.POINTER(ctypes.c_uint64)]
    out = {}
    for name, band, f1 in (("lowpass", 0, 50e3), ("bandpass", 2, 100e3)):
        st, p, n = ctypes.c_void_p(), ctypes.c_void_p(), ctypes.c_uint64()
        assert lib.morvex_m_filter_iir_butterworth(band, 8, ctypes.byref(st), RATE, f1, 200e3) == 0
        assert lib.morvex_m_filter_iir_get_sos(st, ctypes.byref(p), ctypes.byref(n)) == 0
        flat = np.ctypeslib.as_array(ctypes.cast(p, ctypes.POINTER(ctypes.c_double)), shape=(n.value,))
        out[name] = flat.copy().reshape(-1, 6)
    return out


def best(fn, reps):
    times = []
    for _ in range(reps):
        t0 = time.process_time()
        fn()
        times.append(time.process_time() - t0)
    return min(times)


sections = library_sections()
x64 = ((np.arange(N) * 7919) % 2001) / 1000.0 - 1.0
for name, sos in sections.items():
    for dtype in (np.float32, np.float64):
        x = x64.astype(dtype)
        s = sos.astype(dtype)
        t = best(lambda: sig.sosfilt(s, x), 7)
        print(f"sosfilt {name} ({len(sos)} sections) {np.dtype(dtype).name}: {t / N * 1e9:.3f} ns/sample")

b, a = sig.sos2tf(sections["lowpass"])
t = best(lambda: [sig.freqz(b, a, worN=4096, fs=RATE) for _ in range(200)], 5) / 200
print(f"freqz 4096 points: {t * 1e6:.1f} us/call (CPU time)")
walls = []
for _ in range(5):
    t0 = time.perf_counter()
    for _ in range(200):
        sig.freqz(b, a, worN=4096, fs=RATE)
    walls.append((time.perf_counter() - t0) / 200)
print(f"freqz 4096 points: {min(walls) * 1e6:.1f} us/call (real time)")
