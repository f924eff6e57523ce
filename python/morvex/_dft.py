# SPDX-License-Identifier: MIT
"""Real discrete Fourier transforms: reusable plans and one-shot calls.

Transforms are unnormalised in both directions unless asked otherwise: a
forward then an inverse transform returns n times the signal (numpy's irfft
divides by n; this one does not).
"""
import ctypes
import threading
import weakref

import numpy as np

from ._lib import FLOATS, NP, array, check, count, declare, done, dtype_suffix, output, ptr

_c = declare({
    "dft": "i32 p n p n", "dft_divn": "i32 p n p n i32", "idft": "i32 p n p n",
    "dft_plan_create_r2c_1d": "i32 p n p n p", "idft_plan_create_c2r_1d": "i32 p n p n p",
    "dft_plan_execute_r2c_1d": "i32 p p n p n", "dft_plan_execute_r2c_1d_divn": "i32 p p n p n i32",
    "idft_plan_execute_c2r_1d": "i32 p p n p n",
    "dft_plan_destroy": "- p", "idft_plan_destroy": "- p", "dft_alignment_of": "i32 p p",
    "idft_alignment_of": "i32 p p",
})
_COMPLEX = {"f32": "c32f32", "f64": "c64f64"}
# Scaling of the forward transform -> the divn export's 'half' argument.
_NORMS = {None: None, "n": 0, "amplitude": 1}


def _norm(norm):
    if norm not in _NORMS:
        raise ValueError(f"norm must be None, 'n' or 'amplitude', not {norm!r}")
    return _NORMS[norm]


def _aligned(n, dtype, align=64):
    """An empty array whose data start on an ``align``-byte boundary."""
    dtype = np.dtype(dtype)
    raw = np.empty(n * dtype.itemsize + align, np.uint8)
    skip = -raw.ctypes.data % align
    return raw[skip:skip + n * dtype.itemsize].view(dtype)


def _bins_in(X, n, s):
    """The bins of an inverse transform, checked (callers copy them: FFTW overwrites its input)."""
    a, _ = array(X, (_COMPLEX[s],), "X", ndim=1, like=NP[_COMPLEX[s]])
    if a.size != n // 2 + 1:
        raise ValueError(f"X has {a.size} bins; a real transform of {n} samples has {n // 2 + 1}")
    return a


class RealFFT:
    """A plan for real transforms of ``n`` samples, made once, used for every block.

    The backend is chosen when the plan is made: FFTW when its option is
    switched on (``morvex.set_option("Use FFTW3", True)`` for float64,
    ``"Use FFTW3F"`` for float32) and the library could be loaded, the
    built-in FFT otherwise. Calls on one plan from several threads are
    serialised; use one plan per thread to run them in parallel.

    Parameters
    ----------
    n : int
        Samples per transform, at least 1.
    dtype : numpy.float32 or numpy.float64, optional

    Raises
    ------
    Error
        With status -2 for a length the backend cannot transform.

    Examples
    --------
    >>> plan = morvex.RealFFT(4096, np.float32)
    >>> spectrum = plan(block)                 # 2049 complex64 bins
    >>> again = plan.inverse(spectrum) / 4096  # the block, up to rounding
    """

    def __init__(self, n, dtype=np.float64):
        self.n = count(n, "n", 1)
        self._s = dtype_suffix(dtype, FLOATS)
        self.dtype, self.bins = NP[self._s], self.n // 2 + 1
        self._cdt = NP[_COMPLEX[self._s]]
        self._lock = threading.Lock()
        # The plan's own arrays, aligned: FFTW plans accept only arrays of the
        # alignment class they were made for, and these stand in for callers'
        # arrays of another class.
        self._in, self._out = _aligned(self.n, self.dtype), _aligned(self.bins, self._cdt)
        self._plan = self._make("dft_plan_create_r2c_1d", self._in, self.n, self._out, self.bins, "dft")
        self._inv = None

    def _make(self, create, a, na, b, nb, kind):
        h = ctypes.c_void_p()
        check(_c(create, self._s)(ptr(a), na, ptr(b), nb, ctypes.byref(h)), f"{create}_{self._s}")
        weakref.finalize(self, _c(kind + "_plan_destroy", ""), h.value)
        align = _c(kind + "_alignment_of", "")
        return h.value, align, align(h.value, ptr(a)), align(h.value, ptr(b))

    def __call__(self, x, norm=None, out=None):
        """The forward transform of one block.

        Parameters
        ----------
        x : array_like of the plan's dtype, ``n`` samples
        norm : {None, "n", "amplitude"}, optional
            None: unnormalised; "n": every bin divided by n; "amplitude":
            one-sided amplitudes (bin 0 divided by n, the others by n/2), so
            a sine of amplitude A shows A at its bin.
        out : numpy.ndarray, optional
            complex64 (float32 plans) or complex128 array of ``n // 2 + 1``.

        Returns
        -------
        numpy.ndarray
            The ``n // 2 + 1`` bins.
        """
        half = _norm(norm)
        a, _ = array(x, (self._s,), "x", ndim=1, like=self.dtype)
        if a.size != self.n:
            raise ValueError(f"x has {a.size} samples; the plan transforms {self.n}")
        o, back = output(out, (self.bins,), self._cdt, (a,), alias_ok=False)
        plan, align, cls_in, cls_out = self._plan
        with self._lock:
            if align(plan, ptr(a)) != cls_in:
                self._in[...] = a
                a = self._in
            dst = o if align(plan, ptr(o)) == cls_out else self._out
            if half is None:
                st = _c("dft_plan_execute_r2c_1d", self._s)(plan, ptr(a), self.n, ptr(dst), self.bins)
            else:
                st = _c("dft_plan_execute_r2c_1d_divn", self._s)(plan, ptr(a), self.n, ptr(dst), self.bins, half)
            check(st, f"dft_plan_execute_r2c_1d_{self._s}")
            if dst is not o:
                o[...] = dst
        return done(o, back)

    def inverse(self, X, out=None):
        """The inverse transform of ``n // 2 + 1`` bins: n times the signal.

        The imaginary parts of bin 0 and (for even n) of bin n/2 are ignored.
        ``X`` is never modified.

        Parameters
        ----------
        X : array_like of complex64 (float32 plans) or complex128
        out : numpy.ndarray, optional
            ``n`` samples of the plan's dtype.

        Returns
        -------
        numpy.ndarray
        """
        X = _bins_in(X, self.n, self._s)
        o, back = output(out, (self.n,), self.dtype)
        with self._lock:
            if self._inv is None:
                self._iin, self._iout = _aligned(self.bins, self._cdt), _aligned(self.n, self.dtype)
                self._inv = self._make("idft_plan_create_c2r_1d", self._iin, self.bins, self._iout, self.n, "idft")
            plan, align, _, cls_out = self._inv
            self._iin[...] = X
            dst = o if align(plan, ptr(o)) == cls_out else self._iout
            check(_c("idft_plan_execute_c2r_1d", self._s)(plan, ptr(self._iin), self.bins, ptr(dst), self.n),
                  f"idft_plan_execute_c2r_1d_{self._s}")
            if dst is not o:
                o[...] = dst
        return done(o, back)


def rfft(x, norm=None):
    """The forward transform of one block, planned and released in one call.

    Parameters
    ----------
    x : array_like of float32 or float64, one dimension, at least 1 sample
    norm : {None, "n", "amplitude"}, optional
        As for :meth:`RealFFT.__call__`.

    Returns
    -------
    numpy.ndarray
        ``len(x) // 2 + 1`` complex64 or complex128 bins.

    Notes
    -----
    Every call plans anew; transform repeated blocks through :class:`RealFFT`.
    """
    half = _norm(norm)
    a, s = array(x, FLOATS, ndim=1)
    if a.size == 0:
        raise ValueError("rfft of an empty array")
    o = np.empty(a.size // 2 + 1, NP[_COMPLEX[s]])
    if half is None:
        check(_c("dft", s)(ptr(a), a.size, ptr(o), o.size), "dft_" + s)
    else:
        check(_c("dft_divn", s)(ptr(a), a.size, ptr(o), o.size, half), "dft_divn_" + s)
    return o


def irfft(X, n):
    """The inverse transform of ``n // 2 + 1`` bins into ``n`` samples, unnormalised.

    Parameters
    ----------
    X : array_like of complex64 or complex128, one dimension
        Not modified.
    n : int
        The number of samples (``len(X)`` must be ``n // 2 + 1``).

    Returns
    -------
    numpy.ndarray
        float32 or float64: n times the signal whose transform ``X`` is.
    """
    n = count(n, "n", 1)
    a, s = array(X, ("c32f32", "c64f64"), "X", ndim=1)
    s = "f32" if s == "c32f32" else "f64"
    a = _bins_in(a, n, s).copy()
    o = np.empty(n, NP[s])
    check(_c("idft", s)(ptr(a), a.size, ptr(o), n), "idft_" + s)
    return o
