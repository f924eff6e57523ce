"""Element-wise operations against numpy as the oracle: calibrated conversion
(fused and unfused, per kernel configuration), shift with clipping, clip,
deinterleave, complex magnitude and phase unwrap."""
import ctypes
from fractions import Fraction

import numpy as np

from morvex import Checks, fn, f32, f64, i32, lib, ptr, u64, vp

c = Checks()
rng = np.random.default_rng(7)
u8 = ctypes.c_uint8
u16 = ctypes.c_uint16

setopt = fn("morvex_m_setopt", i32, i32, i32)
getopt = fn("morvex_m_getopt", i32, i32, ctypes.POINTER(ctypes.c_uint32))


def opt(i):
    v = ctypes.c_uint32(0)
    getopt(i, ctypes.byref(v))
    return v.value


def restore():
    for i in (1, 2, 3, 4, 5, 6, 7, 8, 14, 15, 16, 17, 18):
        setopt(i, 1)


# Kernel configurations as the C++ tests use them: each switches one more level off.
CONFIGS = [("all", []), ("no avx-512", [15, 18, 16, 17]), ("no avx2", [8, 14]), ("no avx", [7]), ("no sse4.2", [6])]

# ---------------------------------------------------------------- conversion
conv = {
    "u8f32": (fn("morvex_m_convert_u8f32", i32, vp, vp, u64, f32, f32), np.uint8, np.float32),
    "u16f32": (fn("morvex_m_convert_u16f32", i32, vp, vp, u64, f32, f32), np.uint16, np.float32),
    "u8f64": (fn("morvex_m_convert_u8f64", i32, vp, vp, u64, f64, f64), np.uint8, np.float64),
    "u16f64": (fn("morvex_m_convert_u16f64", i32, vp, vp, u64, f64, f64), np.uint16, np.float64),
}
restore()
for cname, off in CONFIGS:
    for i in off:
        setopt(i, 0)
    fused = (opt(8) and opt(14)) or (opt(15) and opt(18))
    for name, (f, ti, to) in conv.items():
        n = 4099
        x = rng.integers(0, np.iinfo(ti).max + 1, n).astype(ti)
        out = np.empty(n, to)
        s, o = to(1) / to(3), to(-0.7)
        f(ptr(x), ptr(out), n, s, o)
        if to == np.float32:
            unfused = x.astype(np.float32) * s + o  # float32 arithmetic, two roundings
            # The product and the sum are exact in double for 8- and 16-bit codes,
            # so one rounding of the double result is the fused multiply-add.
            single = (x.astype(np.float64) * np.float64(s) + np.float64(o)).astype(np.float32)
        else:
            unfused = x.astype(np.float64) * s + o
            # Exact rationals, rounded once (float() of a Fraction rounds correctly).
            fs, fo = Fraction(float(s)), Fraction(float(o))
            single = np.array([float(int(v) * fs + fo) for v in x])
        want = single if fused else unfused
        c.check(np.array_equal(out.view(np.uint8), want.view(np.uint8)), f"convert_{name} [{cname}] fused={bool(fused)}")
        c.check(fused is False or to == np.float64 or not np.array_equal(single, unfused), f"fused differs {name}")
restore()

# i16 -> f32, a plain kernel everywhere.
f = fn("morvex_m_convert_i16f32", i32, vp, vp, u64, f32, f32)
x = rng.integers(-32768, 32768, 5000).astype(np.int16)
out = np.empty(5000, np.float32)
f(ptr(x), ptr(out), 5000, 0.001, 2.5)
c.check(np.array_equal(out, x.astype(np.float32) * np.float32(0.001) + np.float32(2.5)), "convert_i16f32")

# ---------------------------------------------------------------- shift with clipping and clip
shr_clip = fn("morvex_m_shr_clip_u16", i32, vp, vp, u64, u8, u16, u16)
for cname, off in CONFIGS:
    for i in off:
        setopt(i, 0)
    x = rng.integers(0, 65536, 3001).astype(np.uint16)
    for shift, lo, hi in ((4, 10, 100), (0, 60000, 50), (12, 3, 9), (17, 1, 5)):
        out = np.empty_like(x)
        shr_clip(ptr(x), ptr(out), x.size, shift, lo, hi)
        v = x.astype(np.uint32) >> shift
        want = np.where(v > hi, hi, np.where(v < lo, lo, v)).astype(np.uint16)
        c.check(np.array_equal(out, want), f"shr_clip_u16 [{cname}] shift={shift} low={lo} high={hi}")
restore()

clip = fn("morvex_m_clip_f32", None, vp, vp, u64, f32, f32)
x = rng.standard_normal(2000).astype(np.float32)
x[::97] = np.nan
out = np.empty_like(x)
clip(ptr(x), ptr(out), x.size, -0.5, 0.75)
c.check(np.array_equal(out, np.minimum(np.maximum(x, np.float32(-0.5)), np.float32(0.75)), equal_nan=True), "clip_f32")

# ---------------------------------------------------------------- deinterleave
for nch in (2, 3, 4, 5, 6):
    for t, sfx, ct in ((np.uint8, "u8", u8), (np.uint16, "u16", u16)):
        f = fn(f"morvex_m_deinterleave{nch}_{sfx}", i32, vp, i32, *([vp] * nch))
        for total in (0, 1, nch * 1000 + nch - 1, 4097):
            src = rng.integers(0, np.iinfo(t).max + 1, max(total, 1)).astype(t)
            dst = [np.full(total // nch + 2, 7, t) for _ in range(nch)]
            f(ptr(src), total, *[ptr(d) for d in dst])
            ok = True
            for k in range(nch):
                want = src[k:total:nch]
                ok = ok and np.array_equal(dst[k][: want.size], want) and np.all(dst[k][want.size:] == 7)
            c.check(ok, f"deinterleave{nch}_{sfx} total={total}")

# ---------------------------------------------------------------- magnitude, unwrap
mag = fn("morvex_m_magnitude_c32f32", i32, vp, vp, u64)
z = (rng.standard_normal(5000) * 10.0 ** rng.integers(-20, 20, 5000)).astype(np.float32)
z = z.view(np.complex64)
out = np.empty(z.size, np.float32)
mag(ptr(z), ptr(out), z.size)
want = np.sqrt(z.real.astype(np.float64) ** 2 + z.imag.astype(np.float64) ** 2).astype(np.float32)
c.check(np.array_equal(out, want), "magnitude_c32f32 is the correctly rounded modulus")

unwrap = fn("morvex_m_unwrap_f64", i32, vp, vp, u64, ctypes.POINTER(ctypes.c_double))
true_phase = np.cumsum(rng.uniform(-2.5, 2.5, 10000))
wrapped = np.angle(np.exp(1j * true_phase))
out = np.empty_like(wrapped)
state = ctypes.c_double(float("nan"))
for start in range(0, wrapped.size, 777):
    part = np.ascontiguousarray(wrapped[start:start + 777])
    res = np.empty_like(part)
    unwrap(ptr(part), ptr(res), part.size, ctypes.byref(state))
    out[start:start + 777] = res
c.check(np.allclose(out, np.unwrap(wrapped), rtol=0, atol=1e-9), "unwrap_f64 agrees with numpy.unwrap in blocks")
c.check(np.allclose(out - out[0], true_phase - true_phase[0], atol=1e-9), "unwrap recovers the phase")

c.finish()
