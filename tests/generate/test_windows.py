"""Window weights against scipy.signal.windows wherever the definitions
agree (all symmetric, over the denominator N - 1)."""
import numpy as np
from scipy.signal import windows as sw

from morvex import Checks, f32, f64, fn, i32, ptr, u64, vp

checks = Checks()
ALPHA = 2.5


def ours(name, n, dtype):
    """Our weights: the window applied to ones, not normalised."""
    suffix, ct = ("f64", f64) if dtype == np.float64 else ("f32", f32)
    x = np.ones(n, dtype)
    out = np.full(n, np.nan, dtype)
    if name == "gaussian":
        fn(f"morvex_m_window_gaussian_{suffix}", i32, vp, vp, u64, i32, ct)(ptr(x), ptr(out), n, 0, ALPHA)
    else:
        fn(f"morvex_m_window_{name}_{suffix}", i32, vp, vp, u64, i32)(ptr(x), ptr(out), n, 0)
    return out


def welch(n):
    # Not in scipy: the parabola 1 - ((i - c) / c)^2.
    c = (n - 1) / 2.0
    return 1.0 - ((np.arange(n) - c) / c) ** 2


ORACLES = {
    "hanning": lambda n: sw.hann(n),
    "hamming": lambda n: sw.hamming(n),
    "blackman": lambda n: sw.blackman(n),
    "blackmanharris": lambda n: sw.blackmanharris(n),
    # Our "nuttall" is the four-term window with continuous first derivative;
    # scipy's nuttall is the minimum four-term Blackman-Nuttall window.
    "nuttall": lambda n: sw.general_cosine(n, [0.355768, 0.487396, 0.144232, 0.012604]),
    "blackmannuttall": lambda n: sw.nuttall(n),
    "flattop": lambda n: sw.flattop(n),
    "bartlett": lambda n: sw.bartlett(n),
    "parzen": lambda n: sw.parzen(n),
    "gaussian": lambda n: sw.gaussian(n, std=(n - 1) / (2.0 * ALPHA)),
    "welch": welch,
}

SIZES = [2, 3, 4, 5, 6, 7, 8, 9, 16, 17, 100, 101, 1000, 1001, 4096, 4097]

for name, oracle in ORACLES.items():
    for n in SIZES:
        # Parzen: scipy ends its outer piece below index (N - 1) / 4, we below
        # N / 4 (integer division). For N = 3 modulo 4 the element N / 4 lies
        # between the two and the pieces give it different weights; otherwise
        # it falls on the same side, or on the junction where both agree.
        if name == "parzen" and n % 4 == 3:
            continue
        want = oracle(n)
        got = ours(name, n, np.float64)
        err = np.max(np.abs(got - want))
        checks.check(err < 2e-15, f"{name} f64 N={n}: max error {err:g}")
        got32 = ours(name, n, np.float32)
        ok = np.allclose(got32, want.astype(np.float32), rtol=2**-23, atol=2**-24)
        checks.check(ok, f"{name} f32 N={n}: max error {np.max(np.abs(got32 - want)):g}")

checks.finish()
