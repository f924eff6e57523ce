"""Frequency responses against scipy.signal.freqz and freqz_zpk, and the
stability test."""
import numpy as np
import scipy.signal as sig

import filterlib as fl
from morvex import Checks

c = Checks()
FS = 8000.0

STATES = {
    "butter lp 6": fl.design("butter", "lowpass", 6, FS, 700.0, 0.0)[1],
    "cheby1 bp 4": fl.design("cheby1", "bandpass", 4, FS, 500.0, 1200.0, 0.5)[1],
    "cheby2 bs 5": fl.design("cheby2", "bandstop", 5, FS, 1000.0, 1500.0, 30.0)[1],
    "notch": fl.resonator("notch", FS, 60.0, 4.0)[1],
}


def close(a, b, rtol):
    return a.shape == b.shape and bool(np.all(np.abs(a - b) <= rtol * max(1.0, float(np.max(np.abs(b))))))


for name, s in STATES.items():
    b, a = fl.get_tf(s)
    z, p, k = fl.get_zpk(s)
    for n in (1, 2, 7, 512, 4096):
        for whole in (0, 1):
            for nyq in (0, 1):
                tag = f"{name} n={n} whole={whole} nyq={nyq}"
                st, w, h = fl.freqz(s, n, whole, nyq, 0, FS)
                sw, sh = sig.freqz(b, a, worN=n, whole=bool(whole), include_nyquist=bool(nyq), fs=FS)
                c.check(st == 0 and close(w, sw, 1e-15), f"{tag}: grid {w[:3]}.. vs {sw[:3]}..")
                c.check(close(h, sh, 1e-9), f"{tag}: response, error {np.max(np.abs(h - sh)):.3g}")
                if nyq and not whole and n > 1:
                    c.check(abs(w[-1] - FS / 2) <= 1e-12 * FS, f"{tag}: last point {w[-1]}")
                if whole:
                    c.check(w[-1] < FS * (1 - 0.5 / n), f"{tag}: whole circle must stop short of fs")
            st, w, h = fl.freqz_zpk(s, n, whole, 0, FS)
            sw, sh = sig.freqz_zpk(z, p, k, worN=n, whole=bool(whole), fs=FS)
            c.check(st == 0 and close(w, sw, 1e-15), f"{name} zpk n={n} whole={whole}: grid")
            c.check(close(h, sh, 1e-9), f"{name} zpk n={n} whole={whole}: response")

    # Logarithmic grids: from 1 Hz towards fs/2 (or fs), evaluated where they
    # lie; scipy evaluates the same frequencies when handed them.
    for n in (1, 3, 1000):
        for whole in (0, 1):
            for nyq in (0, 1):
                tag = f"{name} log n={n} whole={whole} nyq={nyq}"
                st, w, h = fl.freqz(s, n, whole, nyq, 1, FS)
                last = 2 * np.pi if whole else np.pi
                grid = np.logspace(np.log10(2 * np.pi / FS), np.log10(last), n, endpoint=bool(nyq and not whole))
                c.check(st == 0 and close(w, grid * FS / (2 * np.pi), 1e-13), f"{tag}: grid")
                c.check(abs(w[0] - 1.0) < 1e-12, f"{tag}: starts at {w[0]} Hz")
                _, sh = sig.freqz(b, a, worN=w, fs=FS)
                c.check(close(h, sh, 1e-9), f"{tag}: response")
            st, w, h = fl.freqz_zpk(s, n, whole, 1, FS)
            _, sh = sig.freqz_zpk(z, p, k, worN=w, fs=FS)
            c.check(st == 0 and abs(w[0] - 1.0) < 1e-12 and close(h, sh, 1e-9), f"{name} zpk log n={n}")

    st, stable = fl.isstable(s)
    c.check(st == 0 and stable == 1, f"{name}: isstable {st} {stable}")

# count 0 writes nothing and succeeds.
s = STATES["butter lp 6"]
st, w, h = fl.freqz(s, 0, 0, 0, 0, FS)
c.check(st == 0 and len(w) == 0, "count 0")

# No poles: isstable fails and leaves the output alone.
_, s0 = fl.design("butter", "lowpass", 0, FS, 700.0, 0.0)
c.check(fl.isstable(s0) == (-1, -7), f"order 0 isstable {fl.isstable(s0)}")
# A zero ripple would put the Chebyshev I poles at infinity: no state at all.
st, snan = fl.design("cheby1", "lowpass", 3, FS, 700.0, 0.0, 0.0)
c.check(st == -1 and snan is None, f"zero-ripple design: status {st}")

c.finish()
