"""numpy peers of the reduction benchmarks in bench/reduce.cpp.

Prints the time of one call in nanoseconds, per array size, on the same data
shapes as morvex-bench: extremes (min and max), the first sample at or above
a level (argmax of a comparison) with the hit at the very end, sums and a
12-bit histogram into 64 bins. Run it in the same session as morvex-bench so
that the ratios are comparable:

    /usr/bin/python3 bench/py/reduce.py
"""
import time
import timeit

import numpy as np

BLOCK = 4096
RECORD = 16 << 20


def ramp(n, dtype):
    return ((np.arange(n, dtype=np.uint64) * 37) % 200 + 10).astype(dtype)


def best_ns(stmt):
    """Best of five repeats, per call, in ns of process CPU time (like the CPU
    column of morvex-bench, so that other load on a shared machine does not
    count against numpy); enough calls for ~0.2 s."""
    timer = timeit.Timer(stmt, timer=time.process_time)
    calls, _ = timer.autorange()
    calls = max(1, calls // 2)
    return min(timer.repeat(repeat=5, number=calls)) / calls * 1e9


def main():
    rows = []
    for n in (BLOCK, RECORD):
        for name, dtype in (("u8", np.uint8), ("u16", np.uint16), ("i16", np.int16), ("f32", np.float32)):
            a = ramp(n, dtype)
            rows.append((f"numpy min+max {name}/{n}", best_ns(lambda: (a.min(), a.max()))))
        for name, dtype in (("u8", np.uint8), ("u16", np.uint16)):
            a = ramp(n, dtype)
            a[-1] = 250
            rows.append((f"numpy argmax(a >= 240) {name}/{n}", best_ns(lambda: int(np.argmax(a >= 240)))))
        a8 = ramp(n, np.uint8)
        rows.append((f"numpy sum u8 (uint64)/{n}", best_ns(lambda: a8.sum(dtype=np.uint64))))
        f64 = ramp(n, np.float64)
        rows.append((f"numpy sum f64/{n}", best_ns(lambda: f64.sum())))
        h = ((np.arange(n, dtype=np.uint64) * 2654435761) % (1 << 32) >> 20).astype(np.uint16)
        rows.append((f"numpy histogram u16 64 bins/{n}", best_ns(lambda: np.histogram(h, bins=64, range=(0, 4095)))))
    for name, ns in rows:
        print(f"{name:45s} {ns:14.1f} ns")


if __name__ == "__main__":
    main()
