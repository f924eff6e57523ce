#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Times the typical acquisition-block path through morvex beside numpy/scipy.

The path: 8-bit codes to volts (float32), a Hann window with unit coherent
gain, a real FFT through a plan made once, the magnitude of the bins, and a
rising-edge search with hysteresis on the raw block. Each step is timed
alone and the whole path once more, best of several runs, for a block that
fits in cache (4096 samples) and a record that does not (1M samples).

Then a long call (a filter over 8M samples) runs beside a thread running
Python, once through morvex and once with the GIL held, to show that the
package's calls release the GIL.

    python3 python/benchmarks/block_path.py
"""
import ctypes
import threading
import time
import timeit

import numpy as np
import scipy.fft
from scipy.signal import windows

import morvex

SCALE, OFFSET, ARM, LEVEL = 0.01, -1.28, 100, 140


def numpy_edges(raw):
    """Rising edges with hysteresis, vectorised: a fire after the last arming sample."""
    mark = np.where(raw < ARM, -1, np.where(raw >= LEVEL, 1, 0)).astype(np.int8)
    at = np.flatnonzero(mark)
    m = mark[at]
    return at[1:][(m[1:] == 1) & (m[:-1] == -1)]


def paths(n):
    raw = morvex.Cosine(n / 37.3, 100, 128, dtype=np.uint8)(n)
    morvex.add_noise(raw, 3, seed=1, out=raw)
    plan, trigger = morvex.RealFFT(n, np.float32), morvex.Trigger("edge_rising", np.uint8, arm_level=ARM, level=LEVEL)
    hann = (windows.hann(n, sym=True) * 2).astype(np.float32)
    volts = morvex.convert(raw, SCALE, OFFSET)
    bins = plan(volts)

    def mv_path():
        v = morvex.convert(raw, SCALE, OFFSET)
        morvex.window("hanning", v, out=v)
        return morvex.magnitude(plan(v)), trigger.find_all(raw)

    def np_path():
        v = raw.astype(np.float32) * np.float32(SCALE) + np.float32(OFFSET)
        v *= hann
        return np.abs(scipy.fft.rfft(v)), numpy_edges(raw)

    rows = [
        ("convert u8 -> f32", lambda: morvex.convert(raw, SCALE, OFFSET),
         lambda: raw.astype(np.float32) * np.float32(SCALE) + np.float32(OFFSET)),
        ("Hann window", lambda: morvex.window("hanning", volts), lambda: volts * hann),
        ("rfft (plan)", lambda: plan(volts), lambda: scipy.fft.rfft(volts)),
        ("magnitude", lambda: morvex.magnitude(bins), lambda: np.abs(bins)),
        ("rising edges", lambda: trigger.find_all(raw), lambda: numpy_edges(raw)),
        ("whole path", mv_path, np_path),
    ]
    try:  # the same transform on FFTW, when it is installed
        morvex.set_option("FFTW3F", True)
        fftw = morvex.RealFFT(n, np.float32)
        morvex.set_option("FFTW3F", False)
        rows.insert(3, ("rfft (plan, FFTW)", lambda: fftw(volts), lambda: scipy.fft.rfft(volts)))
    except morvex.Error:
        pass
    return rows


def best(f, n):
    runs = max(3, int(2e7 // max(n, 1)) // 100)
    return min(timeit.repeat(f, number=runs, repeat=5)) / runs


def main():
    print(f"morvex {morvex.__version__}; numpy {np.__version__}, scipy.fft for the transform")
    for n in (4096, 1 << 20):
        print(f"\n{n} samples          morvex     numpy/scipy")
        for name, ours, theirs in paths(n):
            a, b = best(ours, n), best(theirs, n)
            unit, k = ("us", 1e6) if n < 100000 else ("ms", 1e3)
            print(f"  {name:18s} {a * k:8.2f} {unit}  {b * k:8.2f} {unit}")

    # A thread running Python beside a long call: if the call held the GIL,
    # that thread would stand still for the whole call. The same export called
    # through ctypes.PyDLL (which keeps the GIL) shows what that looks like.
    x = np.random.default_rng(0).standard_normal(1 << 23)
    y = np.empty_like(x)
    held = ctypes.PyDLL(morvex.library_path).morvex_m_filter_execute_f64
    held.argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint64, ctypes.c_void_p]
    f = morvex.Filter.butterworth("lowpass", 8, 1e6, 5e4)
    f(x[:1])  # fixes the filter's precision before the raw call below
    for name, call in (("morvex (GIL released)", lambda: f(x, out=y)),
                       ("PyDLL (GIL held)", lambda: held(x.ctypes.data, y.ctypes.data, x.size, f._h))):
        stamps, stop = [], threading.Event()

        def spin():
            while not stop.is_set():
                stamps.append(time.perf_counter())

        th = threading.Thread(target=spin)
        th.start()
        time.sleep(0.02)
        t0 = time.perf_counter()
        call()
        t1 = time.perf_counter()
        stop.set()
        th.join()
        inside = np.array([t0] + [s for s in stamps if t0 < s < t1] + [t1])
        print(f"\nfilter over 8M samples, {name}: {(t1 - t0) * 1e3:.0f} ms; meanwhile a Python thread looped "
              f"{inside.size - 2} times, longest pause {np.diff(inside).max() * 1e3:.1f} ms", end="")
    print()

if __name__ == "__main__":
    main()
