# SPDX-License-Identifier: MIT
"""Spectral windows, periodic waveforms and noise."""
import ctypes
import threading

import numpy as np

from ._lib import FLOATS, NP, array, check, count, declare, done, dtype_suffix, output, ptr, scalar

WINDOWS = ("hanning", "hamming", "blackman", "blackmanharris", "blackmannuttall", "nuttall", "flattop",
           "bartlett", "parzen", "welch", "gaussian")
_WAVE_TYPES = ("i16", "u8", "u16", "f32", "f64")

_c = declare({
    **{"window_" + w: "i32 p p n i32" for w in WINDOWS}, "window_gaussian": "i32 p p n i32 T",
    "waveform_cosine": "i32 p n p f64 f64 f64 f64 T T", "waveform_triangle": "i32 p n p f64 f64 f64 f64 T T",
    "waveform_square": "i32 p n f64 T T f64 p",
    "waveform_noise": "i32 p n T T p", "add_noise": "i32 p n T T T p",
})


def window(name, x, normalize=True, out=None, **params):
    """A copy of ``x`` weighted by a symmetric spectral window.

    Parameters
    ----------
    name : str
        ``hanning``, ``hamming``, ``blackman``, ``blackmanharris``,
        ``blackmannuttall``, ``nuttall``, ``flattop``, ``bartlett``,
        ``parzen``, ``welch`` or ``gaussian``.
    x : array_like of float32 or float64, one dimension
        The block; the window spans all of it (denominator ``len(x) - 1``).
    normalize : bool, optional
        Scale to unit coherent gain, so that a sine keeps its amplitude.
    out : numpy.ndarray, optional
        Same shape and dtype; may be ``x`` itself.
    **params
        ``alpha`` (required) for the gaussian window; no other window takes
        parameters.

    Returns
    -------
    numpy.ndarray

    Notes
    -----
    Weights are computed in double for both types (see the C header for the
    float32 roundings), afresh on every call; the cosine-sum windows spread
    that work over the library's worker threads. A one-element window (but
    parzen) is NaN. The weights alone are ``window(name, np.ones(n))``.
    """
    if name not in WINDOWS:
        raise ValueError(f"unknown window {name!r} (one of {', '.join(WINDOWS)})")
    want = ("alpha",) if name == "gaussian" else ()
    if tuple(params) != want:
        raise TypeError(f"window {name!r} takes {'alpha' if want else 'no parameters'}, got {tuple(params)}")
    a, s = array(x, FLOATS, ndim=1)
    extra = (scalar(params["alpha"], s, "alpha"),) if want else ()
    o, back = output(out, a.shape, a.dtype, (a,))
    if a.size:
        check(_c("window_" + name, s)(ptr(a), ptr(o), a.size, int(bool(normalize)), *extra), f"window_{name}_{s}")
    return done(o, back)


def _bounds(s, lower, upper):
    dt = NP[s]
    lo = (-np.inf if dt.kind == "f" else int(np.iinfo(dt).min)) if lower is None else lower
    hi = (np.inf if dt.kind == "f" else int(np.iinfo(dt).max)) if upper is None else upper
    return scalar(lo, s, "lower"), scalar(hi, s, "upper")


def _period(period):
    period = float(period)
    if not (np.isfinite(period) and period > 0):
        raise ValueError(f"period must be a positive number of samples, not {period}")
    return period


class _Waveform:
    """Common part of the waveform generators: the carried phase and the call."""

    def _setup(self, dtype, phase):
        self._s = dtype_suffix(dtype, _WAVE_TYPES)
        self.dtype = NP[self._s]
        self._phase = ctypes.c_double(float(phase))
        self._lock = threading.Lock()

    @property
    def phase(self):
        """float: the phase (in periods, 0 <= phase < 1) at which the next block starts."""
        return self._phase.value

    @phase.setter
    def phase(self, value):
        self._phase.value = float(value)

    def __call__(self, n=None, *, out=None):
        """The next ``n`` samples (or ``out`` filled), continuing the phase.

        Parameters
        ----------
        n : int, optional
            Number of samples (not needed with ``out``).
        out : numpy.ndarray, optional
            A one-dimensional array of the generator's dtype to fill.

        Returns
        -------
        numpy.ndarray
        """
        if out is None:
            if n is None:
                raise TypeError("give n or out")
            shape = (count(n, "n"),)
        else:
            if np.ndim(out) != 1 or (n is not None and n != np.size(out)):
                raise ValueError("out must have one dimension (and n elements, when n is given)")
            shape = np.shape(out)
        o, back = output(out, shape, self.dtype)
        with self._lock:
            check(self._run(o), f"{self._export}_{self._s}")
        return done(o, back)


class Cosine(_Waveform):
    """A cosine wave (or an asymmetric cosine pulse train), block after block.

    Every sample is computed from its own index, so long blocks do not drift;
    blocks generated one after another continue the wave (exactly when the
    period is a power of two, else up to the rounding of the carried phase).

    Parameters
    ----------
    period : float
        Samples per period, > 0.
    amplitude, offset : float, optional
        Values run over ``offset +- amplitude`` in output units.
    symmetry : float, optional
        0.5 gives the plain cosine ``cos(2 pi (i / period + phase))``; other
        values make the wave fall during the first ``1 - symmetry`` of each
        period and rise during the rest.
    lower, upper : number, optional
        Every value is clamped to them (the lower bound first); default the
        limits of the type. Integer types round half away from zero.
    phase : float, optional
        The phase of the first sample, in periods.
    dtype : numpy.int16, uint8, uint16, float32 or float64, optional

    Examples
    --------
    >>> wave = morvex.Cosine(50.0, amplitude=100, offset=128, dtype=np.uint8)
    >>> block1, block2 = wave(4096), wave(4096)
    """

    _export = "waveform_cosine"

    def __init__(self, period, amplitude=1.0, offset=0.0, symmetry=0.5, lower=None, upper=None, phase=0.0,
                 dtype=np.float64):
        self._setup(dtype, phase)
        self._args = (_period(period), float(amplitude), float(offset), float(symmetry),
                      *_bounds(self._s, lower, upper))

    def _run(self, o):
        return _c(self._export, self._s)(ptr(o), o.size, ctypes.byref(self._phase), *self._args)


class Triangle(Cosine):
    """A triangle wave, block after block.

    Parameters as :class:`Cosine`, except that ``symmetry`` is the rising
    share of the period (0: falling ramp, 1: rising ramp), the wave starting
    at the offset and rising at phase 0.
    """

    _export = "waveform_triangle"


class Square(_Waveform):
    """A square wave, block after block.

    Sample ``i`` is ``high`` while the fractional part of
    ``i / period + phase`` is below ``duty_cycle``, else ``low``.

    Parameters
    ----------
    period : float
        Samples per period, > 0.
    low, high : number, optional
        In the generator's dtype.
    duty_cycle : float, optional
        0 gives all low, 1 all high.
    phase : float, optional
    dtype : numpy.int16, uint8, uint16, float32 or float64, optional
    """

    _export = "waveform_square"

    def __init__(self, period, low=0, high=1, duty_cycle=0.5, phase=0.0, dtype=np.float64):
        self._setup(dtype, phase)
        self._args = (_period(period), scalar(low, self._s, "low"), scalar(high, self._s, "high"),
                      float(duty_cycle))

    def _run(self, o):
        return _c(self._export, self._s)(ptr(o), o.size, *self._args, ctypes.byref(self._phase))


def _seed(seed):
    return None if seed is None else ctypes.byref(ctypes.c_uint32(count(seed, "seed", 0, 2**32 - 1)))


def noise(n, low, high, dtype=np.float64, seed=None):
    """Uniform noise in ``[low, high]`` from a 32-bit Mersenne Twister.

    Parameters
    ----------
    n : int
    low, high : number
        In ``dtype``; for integer types both are included and ``low <= high``.
    dtype : numpy.int16, uint8, uint16, float32 or float64, optional
    seed : int, optional
        0..2**32-1; the same seed gives the same samples. Without it the
        generator is seeded from the clock.

    Returns
    -------
    numpy.ndarray
    """
    s = dtype_suffix(dtype, _WAVE_TYPES)
    low, high = scalar(low, s, "low"), scalar(high, s, "high")
    if NP[s].kind != "f" and low > high:
        raise ValueError(f"low={low} is above high={high}")
    o = np.empty(count(n, "n"), NP[s])
    check(_c("waveform_noise", s)(ptr(o), o.size, low, high, _seed(seed)), "waveform_noise_" + s)
    return o


def add_noise(x, amplitude, lower=None, upper=None, seed=None, out=None):
    """``x`` plus uniform noise in ``[-amplitude, amplitude]``, clamped to ``[lower, upper]``.

    Parameters
    ----------
    x : array_like of int16, uint8, uint16, float32 or float64
    amplitude : number
        In ``x``'s type.
    lower, upper : number, optional
        Clamp bounds (the lower first); default the limits of the type.
        Integer results round half away from zero.
    seed : int, optional
        As for :func:`noise`.
    out : numpy.ndarray, optional
        Same shape and dtype; ``out=x`` adds the noise in place.

    Returns
    -------
    numpy.ndarray
    """
    a, s = array(x, _WAVE_TYPES)
    amplitude = scalar(amplitude, s, "amplitude")
    lo, hi = _bounds(s, lower, upper)
    o, back = output(out, a.shape, a.dtype, (a,))
    if o is not a:
        o[...] = a  # the export adds to the array it is given
    if o.size:
        check(_c("add_noise", s)(ptr(o), o.size, amplitude, lo, hi, _seed(seed)), "add_noise_" + s)
    return done(o, back)
