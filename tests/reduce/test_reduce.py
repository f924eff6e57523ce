"""Reductions against numpy as an independent oracle, through the shared
library as a C caller sees it: integer sums, extremes of NaN-free data,
first-hit searches and a histogram whose bin edges are exact."""
import ctypes

import numpy as np

from morvex import Checks, fn, ptr, u64, vp

rng = np.random.default_rng(2024)
c = Checks()

TYPES = {"i8": np.int8, "i16": np.int16, "i32": np.int32, "i64": np.int64, "u8": np.uint8,
         "u16": np.uint16, "u32": np.uint32, "u64": np.uint64, "f32": np.float32, "f64": np.float64}
CTYPES = {np.int16: ctypes.c_int16, np.uint8: ctypes.c_uint8, np.uint16: ctypes.c_uint16,
          np.float32: ctypes.c_float, np.float64: ctypes.c_double}


def random_array(dtype, n):
    if np.issubdtype(dtype, np.integer):
        info = np.iinfo(dtype)
        return rng.integers(info.min, info.max, size=n, endpoint=True, dtype=dtype)
    return (rng.standard_normal(n) * 1e3).astype(dtype)


for n in (1, 7, 100, 4099, 100003):
    # Integer sums, modulo 2^64.
    for name, dtype, acc in (("u8", np.uint8, np.uint64), ("u16", np.uint16, np.uint64),
                             ("u32", np.uint32, np.uint64), ("i16", np.int16, np.int64)):
        a = random_array(dtype, n)
        f = fn(f"morvex_m_sum_{name}", ctypes.c_int32, vp, u64, vp)
        r = np.zeros(1, dtype=acc)
        f(ptr(a), n, ptr(r))
        c.check(r[0] == a.sum(dtype=acc), f"sum_{name} n={n}")

    # Extremes of every type.
    for name, dtype in TYPES.items():
        a = random_array(dtype, n)
        f = fn(f"morvex_m_minmax_{name}", ctypes.c_int32, vp, u64, vp, vp)
        mn, mx = np.zeros(1, dtype=dtype), np.zeros(1, dtype=dtype)
        f(ptr(a), n, ptr(mn), ptr(mx))
        c.check(mn[0] == a.min() and mx[0] == a.max(), f"minmax_{name} n={n}")

    # Searches: the first index of a comparison, as numpy's flatnonzero sees it.
    for name in ("i16", "u8", "u16", "f32", "f64"):
        dtype = TYPES[name]
        a = random_array(dtype, n)
        hi, lo = np.sort(a[rng.integers(0, n, size=2)])[::-1]
        level = a[rng.integers(0, n)]
        conds = {"gte": a >= level, "gt": a > level, "lte": a <= level, "lt": a < level,
                 "in": (a >= lo) & (a <= hi), "out": (a < lo) | (a > hi)}
        for op, mask in conds.items():
            ct = CTYPES[dtype]
            if op in ("in", "out"):
                f = fn(f"morvex_m_index_{op}_{name}", ctypes.c_int32, vp, u64, ct, ct, vp)
                args = (ct(hi), ct(lo))
            else:
                f = fn(f"morvex_m_index_{op}_{name}", ctypes.c_int32, vp, u64, ct, vp)
                args = (ct(level),)
            start = int(rng.integers(0, n))
            pos = np.array([start], dtype=np.uint64)
            f(ptr(a), n, *args, ptr(pos))
            hits = np.flatnonzero(mask[start:])
            want = start + hits[0] if hits.size else n
            c.check(pos[0] == want, f"index_{op}_{name} n={n} start={start}: {pos[0]} vs {want}")

# A histogram with exactly representable edges: 12-bit samples, 0..4096 in
# 64 bins of width 64, so numpy's half-open bins and the library's rule
# agree on every sample.
h = rng.integers(0, 4096, size=50000, dtype=np.uint16)
bins = np.zeros(64, dtype=np.uint32)
f = fn("morvex_m_histogram_lin_1d_u16u32", u64, vp, u64, ctypes.c_uint16, ctypes.c_uint16, vp, u64, vp, vp)
counted = f(ptr(h), h.size, 0, 4096, ptr(bins), 64, None, None)
want, _ = np.histogram(h, bins=64, range=(0, 4096))
c.check(counted == h.size and np.array_equal(bins, want), "histogram_lin_1d_u16u32 vs numpy")

c.finish()
