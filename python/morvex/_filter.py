# SPDX-License-Identifier: MIT
"""IIR filters: design, block-by-block execution, representations, response."""
import ctypes
import math
import threading
import weakref

import numpy as np

from ._lib import FLOATS, array, check, count, declare, done, output, ptr

_c = declare({
    "filter_iir_butterworth": "i32 i32 u8 p f64 f64 f64",
    "filter_iir_chebyshev1": "i32 i32 u8 p f64 f64 f64 f64",
    "filter_iir_chebyshev2": "i32 i32 u8 p f64 f64 f64 f64",
    "filter_iir_notch": "i32 p f64 f64 f64", "filter_iir_peak": "i32 p f64 f64 f64",
    "filter_state_destroy": "- p", "filter_reset_delay_line": "- p i32",
    "filter_iir_get_zpk": "i32 p p p p p p", "filter_iir_get_tf": "i32 p p p p", "filter_iir_get_sos": "i32 p p p",
    "filter_execute": "i32 p p n p",
    "filter_iir_freqz": "i32 p n i32 i32 i32 p p f64", "filter_iir_freqz_zpk": "i32 p n i32 i32 p p f64",
    "filter_iir_isstable": "i32 p p",
})
BANDS = {"lowpass": 0, "highpass": 1, "bandpass": 2, "bandstop": 3}


def _copy(address, n, dtype):
    """A numpy copy of ``n`` elements that the library owns at ``address``."""
    if n == 0:
        return np.empty(0, dtype)
    raw = (ctypes.c_char * (n * np.dtype(dtype).itemsize)).from_address(address)
    return np.frombuffer(raw, dtype).copy()


class Filter:
    """A designed IIR filter that filters blocks and keeps its delay line between them.

    Make one with :meth:`butterworth`, :meth:`chebyshev1`, :meth:`chebyshev2`,
    :meth:`notch` or :meth:`peak`. Calling it filters a block, as a cascade
    of second-order sections in transposed direct form II, in the block's
    precision: a record cut into blocks gives exactly the samples of one call.
    The first call fixes the precision (float32 or float64) for the filter's
    lifetime.

    Attributes
    ----------
    sample_rate : float
        In Hz.
    dtype : numpy.dtype or None
        The precision fixed by the first call, None before it.

    Examples
    --------
    >>> lp = morvex.Filter.butterworth("lowpass", 8, 1e6, 50e3)
    >>> lp.reset(steady=True)           # no start-up transient
    >>> filtered = [lp(block) for block in blocks]
    """

    def __init__(self, *args, **kwargs):
        raise TypeError("make a Filter with Filter.butterworth, .chebyshev1, .chebyshev2, .notch or .peak")

    @classmethod
    def _design(cls, export, head, tail, sample_rate):
        handle = ctypes.c_void_p()
        check(_c(export, "")(*head, ctypes.byref(handle), *tail), export)
        self = object.__new__(cls)
        self._h, self.sample_rate, self.dtype = handle.value, float(sample_rate), None
        self._lock = threading.Lock()
        weakref.finalize(self, _c("filter_state_destroy", ""), handle.value)
        return self

    @classmethod
    def _order_n(cls, family, band, order, fs, f1, f2, *extra):
        if band not in BANDS:
            raise ValueError(f"band must be one of {', '.join(BANDS)}, not {band!r}")
        if f2 is None:
            if BANDS[band] >= 2:
                raise ValueError(f"a {band} filter needs its upper edge f2")
            f2 = 0.0
        order = count(order, "order", 0, 255)
        return cls._design("filter_iir_" + family, (BANDS[band], order), (float(fs), float(f1), float(f2), *extra), fs)

    @classmethod
    def butterworth(cls, band, order, fs, f1, f2=None):
        """A Butterworth filter (bilinear transform, pre-warped band edges).

        Parameters
        ----------
        band : {"lowpass", "highpass", "bandpass", "bandstop"}
        order : int
            0..255; bandpass and bandstop filters of order N have 2N poles.
        fs : float
            The sample rate in Hz, > 0.
        f1 : float
            The cut-off (lowpass, highpass) or lower band edge, in Hz,
            strictly between 0 and fs/2.
        f2 : float, optional
            The upper band edge (bandpass, bandstop), same range.

        Returns
        -------
        Filter

        Raises
        ------
        ValueError
            For an unknown band, an order outside 0..255, or a missing f2.
        Error
            With status -1 when the library rejects a frequency.
        """
        return cls._order_n("butterworth", band, order, fs, f1, f2)

    @classmethod
    def chebyshev1(cls, band, order, fs, f1, f2=None, *, ripple_db):
        """A Chebyshev type I filter: ``ripple_db`` (>= 0) of passband ripple.

        Parameters as :meth:`butterworth`, plus ``ripple_db``. Order 0 gives
        a gain of ``10 ** (-ripple_db / 20)``.

        Returns
        -------
        Filter
        """
        return cls._order_n("chebyshev1", band, order, fs, f1, f2, float(ripple_db))

    @classmethod
    def chebyshev2(cls, band, order, fs, f1, f2=None, *, attenuation_db):
        """A Chebyshev type II filter: at least ``attenuation_db`` (>= 0) in the stopband.

        Parameters as :meth:`butterworth`, plus ``attenuation_db``.

        Returns
        -------
        Filter
        """
        return cls._order_n("chebyshev2", band, order, fs, f1, f2, float(attenuation_db))

    @classmethod
    def _resonator(cls, kind, fs, f0, q):
        q = float(q)
        if not (q > 0 and math.isfinite(q)):
            raise ValueError(f"q must be a positive number, not {q}")
        return cls._design("filter_iir_" + kind, (), (float(fs), float(f0), float(f0) / q), fs)

    @classmethod
    def notch(cls, fs, f0, q):
        """A second-order notch at ``f0`` Hz, ``f0 / q`` Hz wide at -3 dB.

        Parameters
        ----------
        fs : float
            The sample rate in Hz.
        f0 : float
            The centre, 0 <= f0 <= fs/2.
        q : float
            The quality factor, > 0.

        Returns
        -------
        Filter
        """
        return cls._resonator("notch", fs, f0, q)

    @classmethod
    def peak(cls, fs, f0, q):
        """A second-order resonator (peak) at ``f0`` Hz, ``f0 / q`` Hz wide at -3 dB.

        Parameters as :meth:`notch`.

        Returns
        -------
        Filter
        """
        return cls._resonator("peak", fs, f0, q)

    def __call__(self, x, out=None):
        """Filters the next block.

        Parameters
        ----------
        x : array_like of float32 or float64, one dimension
            The block, in the filter's precision once that is fixed.
        out : numpy.ndarray, optional
            Same shape and dtype; may be ``x`` itself (in place).

        Returns
        -------
        numpy.ndarray
        """
        a, s = array(x, FLOATS, ndim=1, like=self.dtype)
        if self.dtype is not None and a.dtype != self.dtype:
            raise TypeError(f"this filter runs {self.dtype} since its first call, not {a.dtype}")
        o, back = output(out, a.shape, a.dtype, (a,))
        with self._lock:
            check(_c("filter_execute", s)(ptr(a), ptr(o), a.size, self._h), "filter_execute_" + s)
            self.dtype = a.dtype
        return done(o, back)

    def reset(self, steady=False):
        """Re-arms the delay line.

        Parameters
        ----------
        steady : bool, optional
            False clears it (start from rest); True makes the next non-empty
            block start every section in the steady state for a constant
            input equal to that block's first sample (no start-up transient).
        """
        with self._lock:
            _c("filter_reset_delay_line", "")(self._h, int(bool(steady)))

    @property
    def sos(self):
        """numpy.ndarray: the second-order sections, shape (n, 6): b0 b1 b2 a0 a1 a2."""
        p, n = ctypes.c_void_p(), ctypes.c_uint64()
        check(_c("filter_iir_get_sos", "")(self._h, ctypes.byref(p), ctypes.byref(n)), "filter_iir_get_sos")
        return _copy(p.value, n.value, np.float64).reshape(-1, 6)

    @property
    def zpk(self):
        """(numpy.ndarray, numpy.ndarray, float): the zeros, poles (complex128) and gain."""
        z, nz, p, np_, k = ctypes.c_void_p(), ctypes.c_uint64(), ctypes.c_void_p(), ctypes.c_uint64(), ctypes.c_double()
        check(_c("filter_iir_get_zpk", "")(self._h, *map(ctypes.byref, (z, nz, p, np_, k))), "filter_iir_get_zpk")
        return _copy(z.value, nz.value, np.complex128), _copy(p.value, np_.value, np.complex128), k.value

    @property
    def tf(self):
        """(numpy.ndarray, numpy.ndarray): numerator b and denominator a, in powers of z^-1."""
        b, a, n = ctypes.c_void_p(), ctypes.c_void_p(), ctypes.c_uint64()
        check(_c("filter_iir_get_tf", "")(self._h, *map(ctypes.byref, (b, a, n))), "filter_iir_get_tf")
        return _copy(b.value, n.value, np.float64), _copy(a.value, n.value, np.float64)

    def freqz(self, n=512, whole=False, *, include_nyquist=False, log=False, from_zpk=False):
        """The complex frequency response at ``n`` frequencies.

        Parameters
        ----------
        n : int, optional
        whole : bool, optional
            Span 0 to fs (else 0 to fs/2); the upper end is never included
            unless ``include_nyquist``.
        include_nyquist : bool, optional
            With ``whole`` false, end the grid at fs/2 exactly.
        log : bool, optional
            Space the points logarithmically from 1 Hz.
        from_zpk : bool, optional
            Evaluate from zeros, poles and gain instead of the transfer
            function (better conditioned at high orders; no
            ``include_nyquist``).

        Returns
        -------
        (numpy.ndarray, numpy.ndarray)
            The frequencies in Hz (float64) and the response (complex128).
        """
        n = count(n, "n")
        if from_zpk and include_nyquist:
            raise ValueError("include_nyquist applies to the transfer-function response only")
        f, h = np.empty(n, np.float64), np.empty(n, np.complex128)
        if from_zpk:
            st = _c("filter_iir_freqz_zpk", "")(self._h, n, bool(whole), bool(log), ptr(f), ptr(h), self.sample_rate)
        else:
            st = _c("filter_iir_freqz", "")(self._h, n, bool(whole), bool(include_nyquist), bool(log), ptr(f),
                                            ptr(h), self.sample_rate)
        check(st, "filter_iir_freqz_zpk" if from_zpk else "filter_iir_freqz")
        return f, h

    @property
    def is_stable(self):
        """bool: whether every pole lies strictly inside the unit circle.

        Raises :class:`Error` (status -1) for a filter without poles, which
        the library does not judge.
        """
        v = ctypes.c_int32()
        check(_c("filter_iir_isstable", "")(self._h, ctypes.byref(v)), "filter_iir_isstable")
        return bool(v.value)
