"""ctypes access to the filter exports, shared by the filter tests."""
import ctypes

import numpy as np

from morvex import f64, fn, i32, ptr, u64, vp

u8 = ctypes.c_uint8
pp = ctypes.POINTER(vp)

butterworth = fn("morvex_m_filter_iir_butterworth", i32, i32, u8, pp, f64, f64, f64)
chebyshev1 = fn("morvex_m_filter_iir_chebyshev1", i32, i32, u8, pp, f64, f64, f64, f64)
chebyshev2 = fn("morvex_m_filter_iir_chebyshev2", i32, i32, u8, pp, f64, f64, f64, f64)
notch = fn("morvex_m_filter_iir_notch", i32, pp, f64, f64, f64)
peak = fn("morvex_m_filter_iir_peak", i32, pp, f64, f64, f64)
destroy = fn("morvex_m_filter_state_destroy", None, vp)
reset = fn("morvex_m_filter_reset_delay_line", None, vp, i32)
_get_zpk = fn("morvex_m_filter_iir_get_zpk", i32, vp, pp, ctypes.POINTER(u64), pp, ctypes.POINTER(u64),
              ctypes.POINTER(f64))
_get_tf = fn("morvex_m_filter_iir_get_tf", i32, vp, pp, pp, ctypes.POINTER(u64))
_get_sos = fn("morvex_m_filter_iir_get_sos", i32, vp, pp, ctypes.POINTER(u64))
execute_f32 = fn("morvex_m_filter_execute_f32", i32, vp, vp, u64, vp)
execute_f64 = fn("morvex_m_filter_execute_f64", i32, vp, vp, u64, vp)
_freqz = fn("morvex_m_filter_iir_freqz", i32, vp, u64, i32, i32, i32, vp, vp, f64)
_freqz_zpk = fn("morvex_m_filter_iir_freqz_zpk", i32, vp, u64, i32, i32, vp, vp, f64)
_isstable = fn("morvex_m_filter_iir_isstable", i32, vp, ctypes.POINTER(i32))

FAMILIES = {"butter": butterworth, "cheby1": chebyshev1, "cheby2": chebyshev2}
BANDS = ["lowpass", "highpass", "bandpass", "bandstop"]


class State:
    """A designed filter state, destroyed when the object goes."""

    def __init__(self, handle):
        self.h = handle

    def __del__(self):
        destroy(self.h)


def design(family, band, order, fs, f1, f2, extra=None):
    """Returns (status, State or None)."""
    h = vp()
    args = [BANDS.index(band) if isinstance(band, str) else band, order, ctypes.byref(h), fs, f1, f2]
    if extra is not None:
        args.append(extra)
    st = FAMILIES[family](*args)
    return st, (State(h) if st == 0 else None)


def resonator(kind, fs, f0, bw):
    h = vp()
    st = (notch if kind == "notch" else peak)(ctypes.byref(h), fs, f0, bw)
    return st, (State(h) if st == 0 else None)


def _complex_array(p, n):
    if n == 0:
        return np.zeros(0, complex)
    raw = np.ctypeslib.as_array(ctypes.cast(p, ctypes.POINTER(f64)), shape=(2 * n,))
    return raw[0::2] + 1j * raw[1::2]


def _double_array(p, n):
    if n == 0:
        return np.zeros(0)
    return np.ctypeslib.as_array(ctypes.cast(p, ctypes.POINTER(f64)), shape=(n,)).copy()


def get_zpk(s):
    zp, pp_, nz, np_, k = vp(), vp(), u64(), u64(), f64()
    st = _get_zpk(s.h, ctypes.byref(zp), ctypes.byref(nz), ctypes.byref(pp_), ctypes.byref(np_), ctypes.byref(k))
    assert st == 0, st
    return _complex_array(zp, nz.value), _complex_array(pp_, np_.value), k.value


def zpk_pointers(s):
    zp, pp_, nz, np_, k = vp(), vp(), u64(), u64(), f64()
    _get_zpk(s.h, ctypes.byref(zp), ctypes.byref(nz), ctypes.byref(pp_), ctypes.byref(np_), ctypes.byref(k))
    return zp.value, pp_.value


def get_tf(s):
    bp, ap, n = vp(), vp(), u64()
    st = _get_tf(s.h, ctypes.byref(bp), ctypes.byref(ap), ctypes.byref(n))
    assert st == 0, st
    return _double_array(bp, n.value), _double_array(ap, n.value)


def get_sos(s):
    cp, n = vp(), u64()
    st = _get_sos(s.h, ctypes.byref(cp), ctypes.byref(n))
    assert st == 0, st
    return _double_array(cp, n.value).reshape(-1, 6)


def execute(s, x, out=None):
    out = np.empty_like(x) if out is None else out
    f = execute_f32 if x.dtype == np.float32 else execute_f64
    st = f(ptr(x), ptr(out), len(x), s.h)
    assert st == 0, st
    return out


def freqz(s, n, whole, include_nyquist, logarithmic, fs):
    w = np.empty(n)
    h = np.empty(n, complex)
    st = _freqz(s.h, n, whole, include_nyquist, logarithmic, ptr(w), ptr(h), fs)
    return st, w, h


def freqz_zpk(s, n, whole, logarithmic, fs):
    w = np.empty(n)
    h = np.empty(n, complex)
    st = _freqz_zpk(s.h, n, whole, logarithmic, ptr(w), ptr(h), fs)
    return st, w, h


def isstable(s):
    v = i32(-7)
    st = _isstable(s.h, ctypes.byref(v))
    return st, v.value


def same_multiset(a, b, tol):
    """True when a and b hold the same complex values (each matched once)
    within tol relative to max(1, |value|)."""
    a = list(np.asarray(a, complex))
    b = list(np.asarray(b, complex))
    if len(a) != len(b):
        return False
    for x in a:
        if not b:
            return False
        d = [abs(x - y) for y in b]
        j = int(np.argmin(d))
        if d[j] > tol * max(1.0, abs(x)):
            return False
        b.pop(j)
    return True
