"""The exponential fit against numpy's least-squares line through ln(y)."""
import ctypes

import numpy as np

from morvex import Checks, fn, ptr, u64, vp

c = Checks()
fit = fn("morvex_m_fit_exp_f64", ctypes.c_int32, vp, u64, vp, vp)
rng = np.random.default_rng(7)

for n in (2, 3, 50, 1024, 1025, 30000):
    x = np.arange(n, dtype=np.float64)
    # Noisy decays and growths, so that the fit is a real compromise.
    y = 2.5 * np.exp(-0.003 * x) * np.exp(rng.normal(0, 0.05, n))
    a = np.zeros(1)
    b = np.zeros(1)
    c.check(fit(ptr(y), n, ptr(a), ptr(b)) == 0, f"status n={n}")
    slope, intercept = np.polyfit(x, np.log(y), 1)
    c.check(abs(b[0] - slope) <= 1e-9 * max(1.0, abs(slope)) + 1e-12, f"b n={n}: {b[0]} vs {slope}")
    c.check(abs(a[0] / np.exp(intercept) - 1) <= 1e-9, f"a n={n}: {a[0]} vs {np.exp(intercept)}")

c.finish()
