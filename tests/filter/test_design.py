"""Designs against scipy.signal: zeros, poles and gain as multisets, the
transfer function against zpk2tf, the sections against
zpk2sos(pairing='nearest'), notch and peak against iirnotch/iirpeak."""
import ctypes

import numpy as np
import scipy.signal as sig

import filterlib as fl
from morvex import Checks, f64, fn, i32

c = Checks()
FS = 48000.0
EDGES = {"lowpass": 3000.0, "highpass": 9000.0, "bandpass": (2000.0, 7000.0), "bandstop": (4000.0, 11000.0)}
RP, RS = 0.5, 40.0


def scipy_zpk(family, band, order):
    wn = EDGES[band]
    if family == "butter":
        return sig.butter(order, wn, band, output="zpk", fs=FS)
    if family == "cheby1":
        return sig.cheby1(order, RP, wn, band, output="zpk", fs=FS)
    return sig.cheby2(order, RS, wn, band, output="zpk", fs=FS)


def ours(family, band, order):
    f1, f2 = (EDGES[band], 0.0) if np.isscalar(EDGES[band]) else EDGES[band]
    extra = {"butter": None, "cheby1": RP, "cheby2": RS}[family]
    return fl.design(family, band, order, FS, f1, f2, extra)


def close(a, b, rtol):
    a, b = np.asarray(a), np.asarray(b)
    scale = max(1e-300, float(np.max(np.abs(b))) if b.size else 1.0)
    return a.shape == b.shape and bool(np.all(np.abs(a - b) <= rtol * np.maximum(np.abs(b), scale * 1e-3)))


for family in ("butter", "cheby1", "cheby2"):
    for band in fl.BANDS:
        for order in list(range(0, 13)) + [16, 21, 30]:
            what = f"{family} {band} order {order}"
            st, s = ours(family, band, order)
            c.check(st == 0, f"{what}: status {st}")
            if st != 0:
                continue
            z, p, k = fl.get_zpk(s)
            npoles = order * (2 if band in ("bandpass", "bandstop") else 1)
            c.check(len(p) == npoles and len(z) == npoles, f"{what}: {len(z)} zeros, {len(p)} poles")
            if order == 0:
                want = 10 ** (-RP / 20) if family == "cheby1" else 1.0
                c.check(abs(k - want) <= 1e-15 * want, f"{what}: gain {k} != {want}")
            else:
                sz, sp, sk = scipy_zpk(family, band, order)
                tol = 1e-9 if order <= 12 else 1e-7
                c.check(fl.same_multiset(z, sz, tol), f"{what}: zeros differ")
                c.check(fl.same_multiset(p, sp, tol), f"{what}: poles differ")
                c.check(abs(k - sk) <= tol * abs(sk), f"{what}: gain {k} vs {sk}")

            # Conversions of our own roots: scipy's expansion and pairing.
            b, a = fl.get_tf(s)
            sb, sa = sig.zpk2tf(z, p, k)
            c.check(close(b, np.atleast_1d(sb), 1e-10) and close(a, np.atleast_1d(sa), 1e-10), f"{what}: zpk2tf")
            sos = fl.get_sos(s)
            c.check(len(sos) == max(1, (npoles + 1) // 2), f"{what}: {len(sos)} sections")
            if order > 0:
                ssos = sig.zpk2sos(z, p, k, pairing="nearest")
                c.check(close(sos, ssos, 1e-9), f"{what}: zpk2sos\n{sos}\n{ssos}")
            else:
                c.check(np.array_equal(sos, [[k, 0, 0, 1, 0, 0]]), f"{what}: pass-through section {sos}")
            c.check(np.all(sos[:, 3] == 1.0), f"{what}: a0 must be 1 in every section")

# Notch and peak: the same formulas as scipy, so the same doubles (a few ulps
# of slack for tan/cos implementations).
for f0, bw in ((50.0, 2.0), (1000.0, 100.0), (12000.0, 3000.0), (24000.0, 100.0)):
    for kind, ref in (("notch", sig.iirnotch), ("peak", sig.iirpeak)):
        st, s = fl.resonator(kind, FS, f0, bw)
        c.check(st == 0, f"{kind} {f0}/{bw}: status {st}")
        if st:
            continue
        b, a = fl.get_tf(s)
        if f0 > 0:
            sb, sa = ref(f0, f0 / bw, fs=FS)
            c.check(np.allclose(b, sb, rtol=1e-14, atol=1e-15) and np.allclose(a, sa, rtol=1e-14, atol=1e-15),
                    f"{kind} {f0}/{bw}: {b} {a} vs {sb} {sa}")
        if kind == "notch" and 0 < f0 < FS / 2:
            # The ZPK is derived from the TF: zeros on the unit circle at the
            # centre frequency, poles inside; asked twice, the same arrays.
            z, p, k = fl.get_zpk(s)
            theta = 2 * np.pi * f0 / FS
            c.check(fl.same_multiset(z, [np.exp(1j * theta), np.exp(-1j * theta)], 1e-12), f"notch zeros {z}")
            c.check(np.all(np.abs(p) < 1), f"notch poles {p}")
            c.check(fl.zpk_pointers(s) == fl.zpk_pointers(s), "notch ZPK derived twice")

# Out-of-range centres fail, and so does 0 Hz (quality factor 0, width 0/0).
for f0 in (0.0, -1.0, FS / 2 * 1.0000001, float("nan")):
    for kind in ("notch", "peak"):
        st, s = fl.resonator(kind, FS, f0, 10.0)
        c.check(st == -1 and s is None, f"{kind} centre {f0}: status {st}")

# The order is narrowed to 8 bits at the boundary: a caller whose prototype
# passes a wider integer gets the low 8 bits.
wide = fn("morvex_m_filter_iir_butterworth", i32, i32, i32, fl.pp, f64, f64, f64)
h = fl.vp()
st = wide(0, 256 + 5, ctypes.byref(h), FS, 3000.0, 0.0)
c.check(st == 0, f"order 261: status {st}")
if st == 0:
    z, p, k = fl.get_zpk(fl.State(h))
    c.check(len(p) == 5, f"order 261 gives {len(p)} poles, want 5")

c.finish()
