#!/usr/bin/env python3
"""Times the typical acquisition-block path through morvex beside numpy/scipy.

The path: 8-bit codes to volts (float32), a Hann window with unit coherent
gain, a real FFT through a plan made once, the magnitude of the bins, and a
rising-edge search with hysteresis on the raw block. Each step is timed
alone and the whole path once more, best of several runs, for a block that
fits in cache (4096 samples) and a record that does not (1M samples).

Then a long single-threaded call (a filter over 4M samples) runs on 1 and on
2 threads at once, to show that calls release the GIL.

    python3 python/benchmarks/block_path.py
"""
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
            print(f"  {name:18s} {a * k:8.1f} {unit}  {b * k:8.1f} {unit}")

    x = np.random.default_rng(0).standard_normal(1 << 22)
    filters = [morvex.Filter.butterworth("lowpass", 8, 1e6, 5e4) for _ in range(2)]
    t = time.perf_counter()
    filters[0](x)
    one = time.perf_counter() - t
    threads = [threading.Thread(target=f, args=(x,)) for f in filters]
    t = time.perf_counter()
    for th in threads:
        th.start()
    for th in threads:
        th.join()
    two = time.perf_counter() - t
    print(f"\nfilter over 4M samples: 1 thread {one * 1e3:.0f} ms; 2 threads, one each, {two * 1e3:.0f} ms "
          f"(serialised by a GIL it would take {2 * one * 1e3:.0f} ms)")


if __name__ == "__main__":
    main()
