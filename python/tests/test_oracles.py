# SPDX-License-Identifier: MIT
"""The package against numpy and scipy.signal."""
import math

import numpy as np
import pytest
from scipy import signal

import morvex as m


def test_conversion_searches_and_reductions(data):
    u8, u16, f64 = data["u8"], data["u16"], data["f64"]
    before = m.options()
    m.set_option("FMA3", False)  # no fused kernel: a multiply then an add, as numpy does
    m.set_option("AVX-512F", False)
    try:
        assert np.array_equal(m.convert(u8, 0.01, -1.28), u8.astype(np.float32) * np.float32(.01) - np.float32(1.28))
    finally:
        for name in ("Use FMA3", "Use AVX-512F"):
            m.set_option(name, before[name])
    assert np.array_equal(m.convert(u16, dtype=np.float64), u16.astype(np.float64))
    assert m.sum(u16) == u16.sum(dtype=np.uint64) and m.sum(data["i16"]) == data["i16"].sum()
    assert m.minmax(data["i16"]) == (data["i16"].min(), data["i16"].max())
    level = int(u8[500])
    for found, where, start in ((m.index_gte(u8, level, 100), u8 >= level, 100), (m.index_lt(u8, level), u8 < level, 0),
                                (m.index_in(u16, 40000, 30000), (u16 >= 30000) & (u16 <= 40000), 0),
                                (m.index_out(u16, 64000, 1000, 7), (u16 < 1000) | (u16 > 64000), 7),
                                (m.bit_mask_test(u16, 0xF000, 0x3000), u16 & 0xF000 == 0x3000, 0)):
        assert found == start + np.flatnonzero(where[start:])[0]
    assert m.index_gte(u8, 255, u8.size) is None and m.index_gt(u8, 255) is None
    assert m.index_max(f64) == (np.argmax(f64), f64.max()) and m.index_min(u8)[0] == np.argmin(u8)
    assert m.index_max(np.zeros(4, np.uint8)) == (0, 0)  # an extreme equal to the type's limit is still found
    counts, below, above = m.histogram(u8, 17, 0, 254, np.uint32)
    assert np.array_equal(counts, np.histogram(u8[u8 <= 254], 17, (0, 254))[0]) and (below, above) == (0, (u8 > 254).sum())
    assert [m.erf(v) for v in (0.3, -1.7, 2.5)] == [math.erf(v) for v in (0.3, -1.7, 2.5)]  # the C library's erf
    a, b = m.fit_exp(3.0 * np.exp(-0.02 * np.arange(50)))
    assert a == pytest.approx(3.0, rel=1e-11) and b == pytest.approx(-0.02, rel=1e-9)


@pytest.mark.parametrize("name, scipy_window", [
    ("hanning", "hann"), ("hamming", "hamming"), ("blackman", "blackman"), ("blackmanharris", "blackmanharris"),
    ("blackmannuttall", "nuttall"), ("nuttall", ("general_cosine", [0.355768, 0.487396, 0.144232, 0.012604])),
    ("flattop", "flattop"), ("bartlett", "bartlett"), ("parzen", "parzen"), ("gaussian", ("gaussian", 1000 / 5))])
def test_windows(name, scipy_window):
    n = 1001
    params = {"alpha": 2.5} if name == "gaussian" else {}
    weights = m.window(name, np.ones(n), normalize=False, **params)
    assert np.allclose(weights, signal.get_window(scipy_window, n, fftbins=False), rtol=0, atol=1e-12)


@pytest.mark.parametrize("dtype, fftw", [(np.float64, False), (np.float32, False), (np.float64, True), (np.float32, True)])
def test_transforms(dtype, fftw):
    if fftw:
        try:
            m.set_option("FFTW3" if dtype == np.float64 else "FFTW3F", True)
        except m.Error:
            pytest.skip("FFTW is not installed")
    try:
        n, k, amp = 4096, 300, 0.75
        x = (amp * np.sin(2 * np.pi * k * np.arange(n) / n)).astype(dtype)
        plan = m.RealFFT(n, dtype)
        tol = 1e-9 if dtype == np.float64 else 2e-3
        assert np.allclose(plan(x), np.fft.rfft(x.astype(np.float64)), atol=tol * n)
        # a copy 8 bytes off the plan's alignment is accepted (FFTW plans are strict about it)
        shifted = np.frombuffer(np.zeros(x.nbytes + 8, np.uint8), dtype, n, 8)
        shifted[...] = x
        assert np.array_equal(plan(shifted), plan(x))
        assert abs(abs(plan(m.window("hanning", x), norm="amplitude")[k]) - amp) < 1e-3
        X = plan(x)
        assert np.allclose(plan.inverse(X) / n, x, atol=tol) and np.array_equal(X, plan(x))  # X left alone
    finally:
        m.set_option("FFTW3", False)
        m.set_option("FFTW3F", False)


DESIGNS = [  # package design, scipy design of the same filter
    (lambda: m.Filter.butterworth("lowpass", 4, 1e3, 100), lambda: signal.butter(4, 100, "lowpass", fs=1e3, output="zpk")),
    (lambda: m.Filter.butterworth("highpass", 5, 1e3, 250), lambda: signal.butter(5, 250, "highpass", fs=1e3, output="zpk")),
    (lambda: m.Filter.butterworth("bandpass", 3, 48e3, 1e3, 4e3),
     lambda: signal.butter(3, [1e3, 4e3], "bandpass", fs=48e3, output="zpk")),
    (lambda: m.Filter.chebyshev1("bandstop", 2, 1e3, 100, 200, ripple_db=1),
     lambda: signal.cheby1(2, 1, [100, 200], "bandstop", fs=1e3, output="zpk")),
    (lambda: m.Filter.chebyshev2("lowpass", 6, 1e3, 150, attenuation_db=40),
     lambda: signal.cheby2(6, 40, 150, "lowpass", fs=1e3, output="zpk")),
    (lambda: m.Filter.notch(1e3, 50, 25), lambda: signal.tf2zpk(*signal.iirnotch(50, 25, 1e3))),
    (lambda: m.Filter.peak(1e3, 50, 25), lambda: signal.tf2zpk(*signal.iirpeak(50, 25, 1e3))),
]


@pytest.mark.parametrize("ours, theirs", DESIGNS)
def test_filter_designs(ours, theirs):
    f, (z, p, k) = ours(), theirs()
    freq, h = f.freqz(300)
    want_f, want = signal.freqz_zpk(z, p, k, 300, fs=f.sample_rate)
    assert np.allclose(freq, want_f) and np.allclose(h, want, atol=1e-9)
    assert np.allclose(f.freqz(300, from_zpk=True)[1], want, atol=1e-9) and f.is_stable
    assert np.allclose(np.poly(f.zpk[1]), np.poly(p)) and f.sos.shape[1] == 6
    b, a = f.tf
    assert np.allclose(signal.freqz(b, a, 300, fs=f.sample_rate)[1], want, atol=1e-9)
    x = np.random.default_rng(2).standard_normal(2000)
    assert np.allclose(f(x), signal.sosfilt(f.sos, x), atol=1e-9)


def test_unwrap_and_deinterleave():
    phase = np.angle(np.exp(1j * np.cumsum(np.random.default_rng(3).uniform(-2.5, 2.5, 3000))))
    assert np.allclose(m.unwrap(phase), np.unwrap(phase), atol=1e-9)
    for dtype in (np.uint8, np.uint16, np.float32):
        for channels in range(1, 8):
            block = np.arange(3 * channels + 2).astype(dtype)
            assert all(np.array_equal(c, block[k::channels]) for k, c in enumerate(m.deinterleave(block, channels)))
