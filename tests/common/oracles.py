# SPDX-License-Identifier: MIT
"""Oracles nobody here wrote: numpy and scipy.signal against the library, one
section per subsystem (the argument names it; CTest runs each under its label).
Each family has one oracle: numpy.unwrap, scipy's windows, numpy.fft, scipy's
filter design, conversion, sosfilt and freqz, numpy's polyfit."""
import ctypes
import sys

import numpy as np
import scipy.signal as sig
from scipy.signal import windows as sw

from cdll import Checks, doubles, f32, f64, fn, i32, out, pp, ptr, u8, u64, vp

c = Checks()
rng = np.random.default_rng(7)


def close(got, want, rtol):
    """Within rtol of the largest magnitude of want (relative in the 2-norm when rtol < 0)."""
    got, want = np.asarray(got), np.asarray(want)
    if got.shape != want.shape:
        return False
    if rtol < 0:
        return np.linalg.norm(got - want) <= -rtol * max(np.linalg.norm(want), 1e-300)
    return bool(np.all(np.abs(got - want) <= rtol * max(1.0, float(np.max(np.abs(want))) if want.size else 1.0)))


def ops():
    # Unwrap in blocks of 777 samples against numpy.unwrap over the whole record.
    unwrap = fn("morvex_m_unwrap_f64", i32, vp, vp, u64, ctypes.POINTER(f64))
    true_phase = np.cumsum(rng.uniform(-2.5, 2.5, 10000))
    wrapped = np.angle(np.exp(1j * true_phase))
    got, (state, state_p) = np.empty_like(wrapped), out(f64)
    state.value = float("nan")
    for start in range(0, wrapped.size, 777):
        part = np.ascontiguousarray(wrapped[start:start + 777])
        unwrap(ptr(part), ptr(got[start:]), part.size, state_p)
    c.check(close(got, np.unwrap(wrapped), 1e-13), "unwrap_f64 in blocks agrees with numpy.unwrap")


def generate():
    # Window weights (applied to ones, not normalised) against scipy wherever
    # the definitions agree: all symmetric, over the denominator N - 1.
    alpha = 2.5
    welch = lambda n: 1.0 - ((np.arange(n) - (n - 1) / 2.0) / ((n - 1) / 2.0)) ** 2  # not in scipy
    oracles = {"hanning": sw.hann, "hamming": sw.hamming, "blackman": sw.blackman, "blackmanharris": sw.blackmanharris,
               # our "nuttall" is the four-term window with a continuous first derivative; scipy's nuttall is
               # the minimum four-term Blackman-Nuttall window
               "nuttall": lambda n: sw.general_cosine(n, [0.355768, 0.487396, 0.144232, 0.012604]),
               "blackmannuttall": sw.nuttall, "flattop": sw.flattop, "bartlett": sw.bartlett, "parzen": sw.parzen,
               "gaussian": lambda n: sw.gaussian(n, std=(n - 1) / (2.0 * alpha)), "welch": welch}
    for name, oracle in oracles.items():
        for n in (2, 3, 4, 5, 6, 7, 8, 9, 16, 17, 100, 101, 1000, 1001, 4096, 4097):
            # Parzen: scipy ends its outer piece below (N - 1) / 4, we below N / 4 (integer division): for
            # N = 3 modulo 4 the element N / 4 lies between the two and gets different weights.
            if name == "parzen" and n % 4 == 3:
                continue
            want = oracle(n)
            for dtype, ct, tol in ((np.float64, f64, 2e-15), (np.float32, f32, 2**-23)):
                x, got = np.ones(n, dtype), np.full(n, np.nan, dtype)
                s = dtype.__name__[-2:]
                args = [alpha] if name == "gaussian" else []
                fn(f"morvex_m_window_{name}_f{s}", i32, vp, vp, u64, i32, *([ct] if args else []))(ptr(x), ptr(got), n, 0, *args)
                c.check(np.allclose(got, want, rtol=tol, atol=tol), f"{name} {s} N={n}: error {np.max(np.abs(got - want)):g}")


def dft():
    # Forward, inverse and both normalisations, one-shot and through plans
    # (run on a second signal too), in both precisions, on the built-in backend
    # and on FFTW where installed, against numpy.fft (whose irfft divides by n).
    setopt = fn("morvex_m_setopt", i32, i32, i32)
    destroy = fn("morvex_m_dft_plan_destroy", None, vp)
    backends = ["eigen"] + (["fftw"] if setopt(11, 1) == 0 and setopt(12, 1) == 0 else [])
    for backend in backends:
        setopt(11, backend == "fftw"), setopt(12, backend == "fftw")
        for s, real, cplx in (("f32", np.float32, np.complex64), ("f64", np.float64, np.complex128)):
            dft_ = fn(f"morvex_m_dft_{s}", i32, vp, u64, vp, u64)
            divn = fn(f"morvex_m_dft_divn_{s}", i32, vp, u64, vp, u64, i32)
            idft = fn(f"morvex_m_idft_{s}", i32, vp, u64, vp, u64)
            create = fn(f"morvex_m_dft_plan_create_r2c_1d_{s}", i32, vp, u64, vp, u64, pp)
            execute = fn(f"morvex_m_dft_plan_execute_r2c_1d_divn_{s}", i32, vp, vp, u64, vp, u64, i32)
            icreate = fn(f"morvex_m_idft_plan_create_c2r_1d_{s}", i32, vp, u64, vp, u64, pp)
            iexecute = fn(f"morvex_m_idft_plan_execute_c2r_1d_{s}", i32, vp, vp, u64, vp, u64)
            eps = float(np.finfo(real).eps)
            for n in (1, 2, 3, 7, 8, 9, 15, 16, 100, 243, 1000, 1024, 4097, 59049, 65536, 999999, 1 << 20):
                where, bins, tol = f"{backend} {s} n={n}", n // 2 + 1, -8 * eps * (np.log2(n) + 1)
                x, y = rng.uniform(-1, 1, n).astype(real), rng.uniform(-1, 1, n).astype(real)
                X, P, Q = np.empty(bins, cplx), np.empty(bins, cplx), np.empty(bins, cplx)
                ref, ref_y = np.fft.rfft(x.astype(np.float64)), np.fft.rfft(y.astype(np.float64))
                half = ref / (n / 2)
                half[0] = ref[0] / n
                plan, plan_p = out(vp)
                st = [dft_(ptr(x), n, ptr(X), bins), create(ptr(x), n, ptr(P), bins, plan_p),
                      execute(plan, ptr(y), n, ptr(P), bins, 0), divn(ptr(x), n, ptr(Q), bins, 1)]
                c.check(st == [0] * 4 and close(X, ref, tol) and close(P, ref_y / n, tol) and close(Q, half, tol),
                        f"{where}: forward {st}")
                st = execute(plan, ptr(x), n, ptr(P), bins, 1)
                destroy(plan)
                c.check(st == 0 and close(P, half, tol), f"{where}: plan, one-sided")
                spectrum = (rng.uniform(-1, 1, bins) + 1j * rng.uniform(-1, 1, bins)).astype(cplx)
                want, got, back = np.fft.irfft(spectrum.astype(np.complex128), n) * n, np.empty(n, real), np.empty(n, real)
                tmp = spectrum.copy()  # an FFTW inverse overwrites its input
                st = [idft(ptr(tmp), bins, ptr(got), n), icreate(ptr(tmp), bins, ptr(back), n, plan_p)]
                tmp = spectrum.copy()
                st.append(iexecute(plan, ptr(tmp), bins, ptr(back), n))
                destroy(plan)
                c.check(st == [0] * 3 and close(got, want, tol) and close(back, want, tol), f"{where}: inverse {st}")
                c.check(n == 1 or dft_(ptr(x), n, ptr(X), bins - 1) == -2, f"{where}: size rule")
    setopt(11, 0), setopt(12, 0)


class Filter:
    """A designed filter state and its queries, destroyed with the object."""
    destroy = fn("morvex_m_filter_state_destroy", None, vp)
    families = {"butter": fn("morvex_m_filter_iir_butterworth", i32, i32, u8, pp, f64, f64, f64),
                "cheby1": fn("morvex_m_filter_iir_chebyshev1", i32, i32, u8, pp, f64, f64, f64, f64),
                "cheby2": fn("morvex_m_filter_iir_chebyshev2", i32, i32, u8, pp, f64, f64, f64, f64),
                "notch": fn("morvex_m_filter_iir_notch", i32, pp, f64, f64, f64),
                "peak": fn("morvex_m_filter_iir_peak", i32, pp, f64, f64, f64)}
    bands = ["lowpass", "highpass", "bandpass", "bandstop"]

    def __init__(self, family, *args):
        self.h, hp = out(vp)
        if family in ("notch", "peak"):
            self.status = self.families[family](hp, *args)
        else:
            band, order, *rest = args
            self.status = self.families[family](self.bands.index(band), order, hp, *rest)

    def __del__(self):
        if self.status == 0:
            self.destroy(self.h)

    def zpk(self):
        (z, zp), (p, ppp), (nz, nzp), (np_, npp), (k, kp) = out(vp), out(vp), out(u64), out(u64), out(f64)
        fn("morvex_m_filter_iir_get_zpk", i32, vp, pp, ctypes.POINTER(u64), pp, ctypes.POINTER(u64), ctypes.POINTER(f64))(
            self.h, zp, nzp, ppp, npp, kp)
        return doubles(z, nz.value, True), doubles(p, np_.value, True), k.value

    def tf(self):
        (b, bp), (a, ap), (n, np_) = out(vp), out(vp), out(u64)
        fn("morvex_m_filter_iir_get_tf", i32, vp, pp, pp, ctypes.POINTER(u64))(self.h, bp, ap, np_)
        return doubles(b, n.value), doubles(a, n.value)

    def sos(self):
        (s, sp), (n, np_) = out(vp), out(u64)
        fn("morvex_m_filter_iir_get_sos", i32, vp, pp, ctypes.POINTER(u64))(self.h, sp, np_)
        return doubles(s, n.value).reshape(-1, 6)

    def execute(self, x, into=None):
        into = np.empty_like(x) if into is None else into
        name = "morvex_m_filter_execute_f32" if x.dtype == np.float32 else "morvex_m_filter_execute_f64"
        assert fn(name, i32, vp, vp, u64, vp)(ptr(x), ptr(into), len(x), self.h) == 0
        return into


def same_roots(a, b, tol):
    """The same complex values, each matched once, within tol relative to max(1, |value|)."""
    a, b = list(np.asarray(a, complex)), list(np.asarray(b, complex))
    for x in a:
        d = [abs(x - y) for y in b]
        if not d or min(d) > tol * max(1.0, abs(x)):
            return False
        b.pop(int(np.argmin(d)))
    return not b


def filter():
    fs, rp, rs = 48000.0, 0.5, 40.0
    edges = {"lowpass": (3000.0, 0.0), "highpass": (9000.0, 0.0), "bandpass": (2000.0, 7000.0), "bandstop": (4000.0, 11000.0)}
    for family in ("butter", "cheby1", "cheby2"):
        extra = {"butter": (), "cheby1": (rp,), "cheby2": (rs,)}[family]
        for band, (f1, f2) in edges.items():
            for order in list(range(0, 13)) + [16, 21, 30]:
                what = f"{family} {band} order {order}"
                st = Filter(family, band, order, fs, f1, f2, *extra)
                if st.status != 0:
                    c.check(False, f"{what}: status {st.status}")
                    continue
                z, p, k = st.zpk()
                wn = f1 if f2 == 0 else (f1, f2)
                designer = {"butter": lambda: sig.butter(order, wn, band, output="zpk", fs=fs),
                            "cheby1": lambda: sig.cheby1(order, rp, wn, band, output="zpk", fs=fs),
                            "cheby2": lambda: sig.cheby2(order, rs, wn, band, output="zpk", fs=fs)}[family]
                sz, sp_, sk = designer() if order else ([], [], 10 ** (-rp / 20) if family == "cheby1" else 1.0)
                tol = 1e-9 if order <= 12 else 1e-7
                c.check(same_roots(z, sz, tol) and same_roots(p, sp_, tol) and abs(k - sk) <= tol * abs(sk), f"{what}: zpk")
                # Conversions of our own roots: scipy's expansion and its 'nearest' pairing.
                b, a = st.tf()
                sb, sa = sig.zpk2tf(z, p, k)
                c.check(close(b, np.atleast_1d(sb), 1e-10) and close(a, np.atleast_1d(sa), 1e-10), f"{what}: zpk2tf")
                sos = st.sos()
                ssos = sig.zpk2sos(z, p, k, pairing="nearest") if order else [[k, 0, 0, 1, 0, 0]]
                c.check(close(sos, np.asarray(ssos), 1e-9) and np.all(sos[:, 3] == 1.0), f"{what}: zpk2sos")
    # Notch and peak: scipy's formulas (a few ulps of slack for tan and cos).
    for f0, bw in ((50.0, 2.0), (1000.0, 100.0), (12000.0, 3000.0), (24000.0 - 1, 100.0)):
        for kind, ref in (("notch", sig.iirnotch), ("peak", sig.iirpeak)):
            b, a = Filter(kind, fs, f0, bw).tf()
            sb, sa = ref(f0, f0 / bw, fs=fs)
            c.check(np.allclose(b, sb, rtol=1e-14, atol=1e-15) and np.allclose(a, sa, rtol=1e-14, atol=1e-15), f"{kind} {f0}/{bw}")
    # The order is narrowed to 8 bits at the boundary: a wider integer gives its low 8 bits.
    wide, (h, hp) = fn("morvex_m_filter_iir_butterworth", i32, i32, i32, pp, f64, f64, f64), out(vp)
    c.check(wide(0, 256 + 5, hp, fs, 3000.0, 0.0) == 0, "order 261")
    Filter.destroy(h)

    # Execution against sosfilt on the library's own sections, from rest and
    # from the steady state of sosfilt_zi; blocks in place give one call's samples.
    fs = 10000.0
    designs = [("butter", "lowpass", 8, fs, 500.0, 0.0), ("butter", "bandpass", 20, fs, 1000.0, 3000.0),
               ("cheby1", "bandstop", 5, fs, 1000.0, 2000.0, 1.0), ("cheby2", "highpass", 7, fs, 3000.0, 0.0, 50.0),
               ("butter", "lowpass", 1, fs, 100.0, 0.0), ("notch", fs, 50.0, 5.0), ("peak", fs, 1234.0, 50.0)]
    x = rng.standard_normal(20011) + 0.5  # an offset, so the steady start matters
    for d in designs:
        for dtype, tol in ((np.float64, 1e-12), (np.float32, 2e-4)):
            xs, st = x.astype(dtype), Filter(*d)
            sos = st.sos()
            y = st.execute(xs)
            c.check(close(y, sig.sosfilt(sos.astype(dtype), xs), tol), f"{d[:3]} {dtype.__name__}: from rest")
            st = Filter(*d)
            fn("morvex_m_filter_reset_delay_line", None, vp, i32)(st.h, 1)
            y = st.execute(xs)
            ref, _ = sig.sosfilt(sos.astype(dtype), xs, zi=(sig.sosfilt_zi(sos) * float(xs[0])).astype(dtype))
            c.check(close(y, ref, tol), f"{d[:3]} {dtype.__name__}: steady start")
            st, blocks = Filter(*d), xs.copy()
            fn("morvex_m_filter_reset_delay_line", None, vp, i32)(st.h, 1)
            for part in np.split(blocks, np.sort(rng.choice(np.arange(1, xs.size), 12, replace=False))):
                st.execute(part, into=part)
            c.check(np.array_equal(blocks, y), f"{d[:3]} {dtype.__name__}: blocks in place")

    # Frequency responses against freqz and freqz_zpk, linear and logarithmic grids.
    freqz = fn("morvex_m_filter_iir_freqz", i32, vp, u64, i32, i32, i32, vp, vp, f64)
    freqz_zpk = fn("morvex_m_filter_iir_freqz_zpk", i32, vp, u64, i32, i32, vp, vp, f64)
    isstable = fn("morvex_m_filter_iir_isstable", i32, vp, ctypes.POINTER(i32))
    fs = 8000.0
    for d in (("butter", "lowpass", 6, fs, 700.0, 0.0), ("cheby1", "bandpass", 4, fs, 500.0, 1200.0, 0.5),
              ("cheby2", "bandstop", 5, fs, 1000.0, 1500.0, 30.0), ("notch", fs, 60.0, 4.0)):
        st = Filter(*d)
        (b, a), (z, p, k) = st.tf(), st.zpk()
        for n in (0, 1, 2, 7, 512, 4096):
            for whole in (0, 1):
                for nyq in (0, 1):
                    w, h = np.empty(n), np.empty(n, complex)
                    ok = freqz(st.h, n, whole, nyq, 0, ptr(w), ptr(h), fs) == 0
                    if n:
                        sw_, sh = sig.freqz(b, a, worN=n, whole=bool(whole), include_nyquist=bool(nyq), fs=fs)
                        ok = ok and close(w, sw_, 1e-15) and close(h, sh, 1e-9)
                    lw, lh = np.empty(n), np.empty(n, complex)  # logarithmic: from 1 Hz towards fs/2 (or fs)
                    ok = ok and freqz(st.h, n, whole, nyq, 1, ptr(lw), ptr(lh), fs) == 0
                    if n:
                        grid = np.logspace(np.log10(2 * np.pi / fs), np.log10(2 * np.pi if whole else np.pi), n,
                                           endpoint=bool(nyq and not whole)) * fs / (2 * np.pi)
                        ok = ok and close(lw, grid, 1e-13) and close(lh, sig.freqz(b, a, worN=lw, fs=fs)[1], 1e-9)
                    c.check(ok, f"{d[:3]} freqz n={n} whole={whole} nyquist={nyq}")
                for log in (0, 1):  # the grid as freqz's, or from 1 Hz; the response where the grid lies
                    w, h = np.empty(n), np.empty(n, complex)
                    ok = freqz_zpk(st.h, n, whole, log, ptr(w), ptr(h), fs) == 0
                    if n:
                        grid = sig.freqz_zpk(z, p, k, worN=n, whole=bool(whole), fs=fs)[0]
                        grid_ok = abs(w[0] - 1.0) < 1e-12 if log else close(w, grid, 1e-15)
                        ok = ok and grid_ok and close(h, sig.freqz_zpk(z, p, k, worN=w, fs=fs)[1], 1e-9)
                    c.check(ok, f"{d[:3]} freqz_zpk n={n} whole={whole} log={log}")
        stable, sp_ = out(i32)
        c.check(isstable(st.h, sp_) == 0 and stable.value == 1, f"{d[:3]}: stable")
    # No poles: isstable fails and leaves its output alone; NaN poles (zero ripple) are unstable.
    for d, want in ((("butter", "lowpass", 0, fs, 700.0, 0.0), (-1, -7)), (("cheby1", "lowpass", 3, fs, 700.0, 0.0, 0.0), (0, 0))):
        st, (stable, sp_) = Filter(*d), out(i32)
        stable.value = -7
        c.check((isstable(st.h, sp_), stable.value) == want, f"{d[:3]}: isstable")


def fit():
    fit_exp = fn("morvex_m_fit_exp_f64", i32, vp, u64, vp, vp)
    for n in (2, 3, 50, 1024, 1025, 30000):  # noisy decays: the fit is a real compromise
        x = np.arange(n, dtype=np.float64)
        y = 2.5 * np.exp(-0.003 * x) * np.exp(rng.normal(0, 0.05, n))
        a, b = np.zeros(1), np.zeros(1)
        slope, intercept = np.polyfit(x, np.log(y), 1)
        c.check(fit_exp(ptr(y), n, ptr(a), ptr(b)) == 0 and abs(b[0] - slope) <= 1e-9 * max(1.0, abs(slope)) + 1e-12
                and abs(a[0] / np.exp(intercept) - 1) <= 1e-9, f"fit n={n}: {a[0]} {b[0]} vs {np.exp(intercept)} {slope}")


{"ops": ops, "generate": generate, "dft": dft, "filter": filter, "fit": fit}[sys.argv[1]]()
c.finish()
