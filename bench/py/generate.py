"""numpy/scipy peers of bench/generate.cpp, in its units (time per call and
items per second), for the same sizes and operations:
  - cosine waveform: clip(cos(i * 2 pi / 1000 + 2 pi p) * 1 + 0, -2, 2)
  - Hanning-weighted block: np.hanning(N) * x
  - Blackman-Harris-weighted block: scipy.signal.windows.blackmanharris(N) * x
f32 forms compute in double (as the library does) and store float32.
Run right after morvex-bench, in the same session, so ratios compare.
Timing: calls repeated for at least --min-time seconds, mean per call, the
best of three such runs.
"""
import argparse
import time

import numpy as np
from scipy.signal import windows as sw

SIZES = (4096, 1 << 20)


def cosine(n, dtype):
    w = 2 * np.pi / 1000.0
    return lambda: np.clip(np.cos(np.arange(n) * w + 0.0) * 1.0 + 0.0, -2.0, 2.0).astype(dtype, copy=False)


def hanning(n, dtype):
    x = (np.arange(n) % 1000 * 0.001).astype(dtype)
    return lambda: (np.hanning(n) * x).astype(dtype, copy=False)


def blackmanharris(n, dtype):
    x = (np.arange(n) % 1000 * 0.001).astype(dtype)
    return lambda: (sw.blackmanharris(n) * x).astype(dtype, copy=False)


def mean_time(f, min_time):
    best = float("inf")
    for _ in range(3):
        calls, start = 0, time.perf_counter()
        while True:
            f()
            calls += 1
            elapsed = time.perf_counter() - start
            if elapsed >= min_time:
                break
        best = min(best, elapsed / calls)
    return best


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--min-time", type=float, default=0.5)
    args = ap.parse_args()
    print(f"{'peer':<44}{'time/call':>14}{'items/s':>14}")
    for name, make in (("cosine", cosine), ("hanning", hanning), ("blackmanharris", blackmanharris)):
        for dtype in (np.float32, np.float64):
            for n in SIZES:
                t = mean_time(make(n, dtype), args.min_time)
                label = f"numpy_{name}_{np.dtype(dtype).name}/n:{n}"
                print(f"{label:<44}{t * 1e9:>11.0f} ns{n / t / 1e6:>12.1f}M/s")


if __name__ == "__main__":
    main()
