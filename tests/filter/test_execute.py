"""Execution against scipy.signal.sosfilt on the library's own sections, in
f64 and f32, from rest and from the steady state of sosfilt_zi; blocks and
in-place calls against one whole call."""
import numpy as np
import scipy.signal as sig

import filterlib as fl
from morvex import Checks

c = Checks()
FS = 10000.0
rng = np.random.default_rng(7)

DESIGNS = {
    "butter lp 8": lambda: fl.design("butter", "lowpass", 8, FS, 500.0, 0.0),
    "butter bp 8": lambda: fl.design("butter", "bandpass", 8, FS, 800.0, 1500.0),
    "cheby1 bs 5": lambda: fl.design("cheby1", "bandstop", 5, FS, 1000.0, 2000.0, 1.0),
    "cheby2 hp 7": lambda: fl.design("cheby2", "highpass", 7, FS, 3000.0, 0.0, 50.0),
    "butter lp 1": lambda: fl.design("butter", "lowpass", 1, FS, 100.0, 0.0),
    "butter bp 20": lambda: fl.design("butter", "bandpass", 20, FS, 1000.0, 3000.0),
    "notch": lambda: fl.resonator("notch", FS, 50.0, 5.0),
    "peak": lambda: fl.resonator("peak", FS, 1234.0, 50.0),
}


def make(name):
    st, s = DESIGNS[name]()
    assert st == 0, name
    return s


def rel_err(a, b):
    return float(np.max(np.abs(a.astype(np.float64) - b)) / max(1e-30, float(np.max(np.abs(b)))))


for name in DESIGNS:
    sos = fl.get_sos(make(name))
    n = 20011
    x = rng.standard_normal(n) + 0.5  # an offset, so the steady start matters
    for dtype, tol in ((np.float64, 1e-12), (np.float32, 2e-4)):
        tag = f"{name} {np.dtype(dtype).name}"
        xs = x.astype(dtype)
        sos_t = sos.astype(dtype)

        # From rest, against sosfilt on the same (rounded) sections.
        y = fl.execute(make(name), xs)
        ref = sig.sosfilt(sos_t, xs)
        c.check(y.dtype == dtype and rel_err(y, ref) < tol, f"{tag}: from rest, error {rel_err(y, ref):.3g}")

        # Steady start: the delay line starts where a constant input x[0]
        # would have left it, as sosfilt_zi(sos) * x[0] does.
        s = make(name)
        fl.reset(s.h, 1)
        y = fl.execute(s, xs)
        zi = (sig.sosfilt_zi(sos) * float(xs[0])).astype(dtype)
        ref, _ = sig.sosfilt(sos_t, xs, zi=zi)
        c.check(rel_err(y, ref) < tol, f"{tag}: steady start, error {rel_err(y, ref):.3g}")

        # Random blocks and in place give the one-call samples exactly.
        s = make(name)
        fl.reset(s.h, 1)
        blocks = xs.copy()
        cuts = np.sort(rng.choice(np.arange(1, n), 12, replace=False))
        for part in np.split(blocks, cuts):
            fl.execute(s, part, out=part)  # views into blocks: in place
        c.check(np.array_equal(blocks, y), f"{tag}: blocks in place differ from one call")

c.finish()
