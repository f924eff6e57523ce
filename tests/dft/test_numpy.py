"""Transforms against numpy.fft, through the shared library as a caller sees
it: forward, inverse and both normalisations, one-shot and through plans, in
both precisions, on the built-in backend and (when installed) on FFTW, for
lengths from 1 to 2^20."""
import ctypes

import numpy as np

from morvex import Checks, fn, i32, lib, ptr, u64, vp

OPT_FFTW3, OPT_FFTW3F = 11, 12

TYPES = {
    "f32": (np.float32, np.complex64),
    "f64": (np.float64, np.complex128),
}

api = {}
for s in TYPES:
    api[s] = {
        "dft": fn(f"morvex_m_dft_{s}", i32, vp, u64, vp, u64),
        "divn": fn(f"morvex_m_dft_divn_{s}", i32, vp, u64, vp, u64, i32),
        "idft": fn(f"morvex_m_idft_{s}", i32, vp, u64, vp, u64),
        "create": fn(f"morvex_m_dft_plan_create_r2c_1d_{s}", i32, vp, u64, vp, u64, ctypes.POINTER(vp)),
        "execute": fn(f"morvex_m_dft_plan_execute_r2c_1d_{s}", i32, vp, vp, u64, vp, u64),
        "execute_divn": fn(f"morvex_m_dft_plan_execute_r2c_1d_divn_{s}", i32, vp, vp, u64, vp, u64, i32),
        "icreate": fn(f"morvex_m_idft_plan_create_c2r_1d_{s}", i32, vp, u64, vp, u64, ctypes.POINTER(vp)),
        "iexecute": fn(f"morvex_m_idft_plan_execute_c2r_1d_{s}", i32, vp, vp, u64, vp, u64),
    }
destroy = fn("morvex_m_dft_plan_destroy", None, vp)
idestroy = fn("morvex_m_idft_plan_destroy", None, vp)
setopt = fn("morvex_m_setopt", i32, i32, i32)

LENGTHS = [1, 2, 3, 7, 8, 9, 15, 16, 100, 243, 1000, 1024, 4096, 4097, 65536, 59049, 999999, 1 << 20]

c = Checks()


def close(got, want, eps, n, what):
    """Relative error in the 2-norm within a few eps per pass of the FFT."""
    want = np.asarray(want, dtype=np.complex128 if np.iscomplexobj(want) else np.float64)
    err = np.linalg.norm(got.astype(want.dtype) - want)
    scale = max(np.linalg.norm(want), np.finfo(np.float64).tiny)
    bound = 8 * eps * (np.log2(n) + 1)
    c.check(err <= bound * scale, f"{what}: relative error {err / scale:.3g} > {bound:.3g}")


def run(backend, s, n, rng):
    real, cplx = TYPES[s]
    eps = float(np.finfo(real).eps)
    a = api[s]
    bins = n // 2 + 1
    where = f"{backend} {s} n={n}"
    x = rng.uniform(-1, 1, n).astype(real)
    ref = np.fft.rfft(x.astype(np.float64))

    X = np.empty(bins, cplx)
    c.check(a["dft"](ptr(x), n, ptr(X), bins) == 0, f"{where}: dft status")
    close(X, ref, eps, n, f"{where}: one-shot forward")

    plan = vp()
    c.check(a["create"](ptr(x), n, ptr(X), bins, ctypes.byref(plan)) == 0, f"{where}: create")
    P = np.empty(bins, cplx)
    # The plan is run on other arrays of the same kind than it was made for.
    c.check(a["execute"](plan, ptr(x), n, ptr(P), bins) == 0, f"{where}: execute")
    close(P, ref, eps, n, f"{where}: plan forward")
    y = rng.uniform(-1, 1, n).astype(real)
    c.check(a["execute"](plan, ptr(y), n, ptr(P), bins) == 0, f"{where}: execute again")
    close(P, np.fft.rfft(y.astype(np.float64)), eps, n, f"{where}: plan forward, second signal")
    c.check(a["execute_divn"](plan, ptr(x), n, ptr(P), bins, 0) == 0, f"{where}: execute divn")
    close(P, ref / n, eps, n, f"{where}: plan divided by n")
    half = ref / (n / 2)
    half[0] = ref[0] / n
    c.check(a["execute_divn"](plan, ptr(x), n, ptr(P), bins, 1) == 0, f"{where}: execute half")
    close(P, half, eps, n, f"{where}: plan one-sided")
    destroy(plan)
    D = np.empty(bins, cplx)
    c.check(a["divn"](ptr(x), n, ptr(D), bins, 1) == 0, f"{where}: divn half")
    close(D, half, eps, n, f"{where}: one-shot one-sided")

    # Inverse: numpy's irfft divides by n; the library does not. The input is
    # copied before each call (FFTW overwrites it).
    spectrum = (rng.uniform(-1, 1, bins) + 1j * rng.uniform(-1, 1, bins)).astype(cplx)
    want = np.fft.irfft(spectrum.astype(np.complex128), n) * n
    out = np.empty(n, real)
    tmp = spectrum.copy()
    c.check(a["idft"](ptr(tmp), bins, ptr(out), n) == 0, f"{where}: idft status")
    close(out, want, eps, n, f"{where}: one-shot inverse")
    iplan = vp()
    tmp = spectrum.copy()
    c.check(a["icreate"](ptr(tmp), bins, ptr(out), n, ctypes.byref(iplan)) == 0, f"{where}: icreate")
    c.check(a["iexecute"](iplan, ptr(tmp), bins, ptr(out), n) == 0, f"{where}: iexecute")
    close(out, want, eps, n, f"{where}: plan inverse")
    idestroy(iplan)

    # Forward then inverse: n times the signal.
    back = np.empty(n, real)
    c.check(a["idft"](ptr(X), bins, ptr(back), n) == 0, f"{where}: round trip")
    close(back, x.astype(np.float64) * n, eps, n, f"{where}: round trip")

    # The size rule.
    if n > 1:
        c.check(a["dft"](ptr(x), n, ptr(X), bins - 1) == -2, f"{where}: size rule")


def main():
    rng = np.random.default_rng(2024)
    backends = ["eigen"]
    setopt(OPT_FFTW3, 0)
    setopt(OPT_FFTW3F, 0)
    if setopt(OPT_FFTW3, 1) == 0 and setopt(OPT_FFTW3F, 1) == 0:
        backends.append("fftw")
    else:
        print("FFTW is not installed: only the built-in backend is compared here")
    for backend in backends:
        on = 1 if backend == "fftw" else 0
        setopt(OPT_FFTW3, on)
        setopt(OPT_FFTW3F, on)
        for s in TYPES:
            for n in LENGTHS:
                run(backend, s, n, rng)
    setopt(OPT_FFTW3, 0)
    setopt(OPT_FFTW3F, 0)
    c.finish()


main()
