# SPDX-License-Identifier: MIT
"""Element-wise operations: arithmetic, math functions, conversion, clipping,
fill, bit and shift operations, deinterleave and phase unwrap.

Every function takes numpy arrays of any shape (deinterleave and unwrap: one
dimension) and returns a new array of the same shape, or writes into ``out``.
"""
import ctypes
import threading

import numpy as np

from ._lib import CT, FLOATS, NP, SUFFIX, array, check, count, declare, done, dtype_suffix, output, ptr, scalar

INTS = ("i8", "i16", "i32", "i64", "u8", "u16", "u32", "u64")
UNSIGNED = ("u8", "u16", "u32", "u64")
_MATH = ("acos", "acosh", "asin", "asinh", "atan", "atanh", "cbrt", "cos", "cosh", "exp", "exp2", "sin",
         "sinh", "sqrt", "tan", "tanh")

_c = declare({
    **dict.fromkeys(("add", "sub", "mul", "div", "atan2", "hypot", "sincos"), "i32 p p p n"),
    **dict.fromkeys(("addc", "subc", "mulc", "divc", "csub", "cdiv", "modc", "log", "log2", "log10"), "i32 p p n T"),
    **dict.fromkeys(_MATH + ("abs", "pow2", "magnitude", "atan2_c32f32", "atan2_c64f64"), "i32 p p n"),
    "pow": "i32 p p n f64", "mulc_addc": "i32 p p n T T", "logn": "i32 p p n T T", "erf": "T T",
    "convert": "i32 p p n T T", "clip": "- p p n T T", "set": "i32 p n T",
    "andc": "- p p n T", "shl": "i32 p p n u8", "shr": "i32 p p n u8", "shr_clip": "i32 p p n u8 T T",
    "bit_mask_set": "i32 p p n u16 u16", "bit_mask_test": "i32 p n u16 u16 p",
    **{f"deinterleave{k}": "i32 p i32" + " p" * k for k in range(2, 7)},
    "deinterleave": "i32 p u64 u64 i64 u64 p", "unwrap": "i32 p p n p",
})


def _run(op, s, ins, out, params=(), odt=None, alias_ok=True, T=None):
    """Runs one element-wise export over equally shaped inputs."""
    o, back = output(out, ins[0].shape, odt or NP[s], ins, alias_ok)
    if o.size:
        check(_c(op, s, T)(*[ptr(a) for a in ins], ptr(o), o.size, *params), f"{op}_{s}")
    return done(o, back)


def _pair(a, b, suffixes=FLOATS):
    a, s = array(a, suffixes, "a")
    b, t = array(b, suffixes, "b")
    if s != t:
        raise TypeError(f"a and b must have the same dtype ({a.dtype} and {b.dtype} given)")
    if a.shape != b.shape:
        raise ValueError(f"a and b must have the same shape ({a.shape} and {b.shape} given)")
    return a, b, s


_DOC_OUT = """out : numpy.ndarray, optional
        Where to write the result: same shape and dtype as the result, and may
        be the input itself. Without it a new array is returned."""


def _binary(op, const, rconst):
    def f(a, b, out=None):
        if np.ndim(a) == 0 and np.ndim(b) == 0:
            raise TypeError(f"{op}: at least one of a and b must be an array")
        if np.ndim(b) == 0:
            x, s = array(a, FLOATS, "a")
            return _run(const, s, (x,), out, (scalar(b, s, "b"),))
        if np.ndim(a) == 0:
            x, s = array(b, FLOATS, "b")
            return _run(rconst, s, (x,), out, (scalar(a, s, "a"),))
        a, b, s = _pair(a, b)
        return _run(op, s, (a, b), out)

    sym = {"add": "+", "sub": "-", "mul": "*", "div": "/"}[op]
    forms = f"``{const}``" if const == rconst else f"``{const}`` for ``a {sym} c``, ``{rconst}`` for ``c {sym} b``"
    f.__name__ = f.__qualname__ = op
    f.__doc__ = f"""``a {sym} b`` element by element, one IEEE operation per element.

    Parameters
    ----------
    a, b : array_like of float32 or float64, or a number
        Two arrays of one dtype and shape, or an array and a number taken in
        the array's type ({forms}).
    {_DOC_OUT}

    Returns
    -------
    numpy.ndarray
    """
    return f


add = _binary("add", "addc", "addc")
sub = _binary("sub", "subc", "csub")
mul = _binary("mul", "mulc", "mulc")
div = _binary("div", "divc", "cdiv")


def _with_constant(op, formula):
    def f(x, c, out=None):
        a, s = array(x, FLOATS)
        return _run(op, s, (a,), out, (scalar(c, s, "c"),))

    f.__name__ = f.__qualname__ = op
    f.__doc__ = f"""``{formula}`` element by element, ``c`` in the array's type.

    Parameters
    ----------
    x : array_like of float32 or float64
    c : float
    {_DOC_OUT}

    Returns
    -------
    numpy.ndarray
    """
    return f


addc = _with_constant("addc", "x + c")
subc = _with_constant("subc", "x - c")
mulc = _with_constant("mulc", "x * c")
divc = _with_constant("divc", "x / c")
csub = _with_constant("csub", "c - x")
cdiv = _with_constant("cdiv", "c / x")
modc = _with_constant("modc", "fmod(x, c)")


def pow(x, e, out=None):
    """``x ** e`` element by element through the C library's ``pow``.

    Parameters
    ----------
    x : array_like of float32 or float64
    e : float
        The exponent, always taken in double precision (float32 elements are
        raised in double and rounded back).
    {out}

    Returns
    -------
    numpy.ndarray
    """
    a, s = array(x, FLOATS)
    return _run("pow", s, (a,), out, (float(e),))


def pow2(x, out=None):
    """The square ``x * x`` element by element.

    Parameters
    ----------
    x : array_like of float32 or float64
    {out}

    Returns
    -------
    numpy.ndarray
    """
    a, s = array(x, FLOATS)
    return _run("pow2", s, (a,), out)


def mulc_addc(x, m, c, out=None):
    """``x * m + c`` element by element.

    With both AVX2 and FMA3 enabled this is one fused multiply-add (a single
    rounding), otherwise a multiply then an add, so the last bit may differ
    between processors and option settings.

    Parameters
    ----------
    x : array_like of float32 or float64
    m, c : float
        Taken in the array's type.
    {out}

    Returns
    -------
    numpy.ndarray
    """
    a, s = array(x, FLOATS)
    return _run("mulc_addc", s, (a,), out, (scalar(m, s, "m"), scalar(c, s, "c")))


def _math(name):
    def f(x, out=None):
        a, s = array(x, FLOATS)
        return _run(name, s, (a,), out)

    f.__name__ = f.__qualname__ = name
    what = ("the absolute value (the sign bit cleared: -0 gives +0, NaN keeps its payload)" if name == "abs"
            else f"the C library's ``{name}`` (``{name}f`` for float32), bit for bit")
    f.__doc__ = f"""Element by element, {what}.

    Parameters
    ----------
    x : array_like of float32 or float64
    {_DOC_OUT}

    Returns
    -------
    numpy.ndarray
    """
    return f


for _name in _MATH + ("abs",):
    globals()[_name] = _math(_name)
del _name


def atan2(y, x, out=None):
    """``atan2(y, x)`` element by element (the C library's, bit for bit).

    Parameters
    ----------
    y, x : array_like of float32 or float64
        One dtype, one shape.
    {out}

    Returns
    -------
    numpy.ndarray
    """
    y, x, s = _pair(y, x)
    return _run("atan2", s, (y, x), out)


def hypot(a, b, out=None):
    """``hypot(a, b)`` element by element (the C library's, bit for bit).

    Parameters
    ----------
    a, b : array_like of float32 or float64
        One dtype, one shape.
    {out}

    Returns
    -------
    numpy.ndarray
    """
    a, b, s = _pair(a, b)
    return _run("hypot", s, (a, b), out)


def sincos(x):
    """Sine and cosine of every element in one pass.

    Parameters
    ----------
    x : array_like of float32 or float64

    Returns
    -------
    (numpy.ndarray, numpy.ndarray)
        ``sin(x)`` and ``cos(x)``, the C library's values.
    """
    a, s = array(x, FLOATS)
    sin_out, cos_out = np.empty_like(a), np.empty_like(a)
    if a.size:
        check(_c("sincos", s)(ptr(a), ptr(sin_out), ptr(cos_out), a.size), "sincos_" + s)
    return sin_out, cos_out


def _log(name, base):
    def f(x, scale=1.0, out=None):
        a, s = array(x, FLOATS)
        return _run(name, s, (a,), out, (scalar(scale, s, "scale"),))

    f.__name__ = f.__qualname__ = name
    f.__doc__ = f"""The {base} logarithm of every element, times ``scale``.

    ``scale=20`` on amplitudes (10 on powers) gives decibels with ``log10``.

    Parameters
    ----------
    x : array_like of float32 or float64
    scale : float, optional
        Taken in the array's type.
    {_DOC_OUT}

    Returns
    -------
    numpy.ndarray
    """
    return f


log = _log("log", "natural")
log2 = _log("log2", "base-2")
log10 = _log("log10", "base-10")


def logn(x, base, scale=1.0, out=None):
    """The logarithm to ``base`` of every element, times ``scale``.

    Computed as ``log(x) * f`` with ``f = scale / log(base)`` formed once in
    the array's type.

    Parameters
    ----------
    x : array_like of float32 or float64
    base, scale : float
    {out}

    Returns
    -------
    numpy.ndarray
    """
    a, s = array(x, FLOATS)
    return _run("logn", s, (a,), out, (scalar(base, s, "base"), scalar(scale, s, "scale")))


def _complex_in(z):
    a, s = array(z, ("c32f32", "c64f64"), "z")
    return a, s, NP["f32" if s == "c32f32" else "f64"]


def magnitude(z, out=None):
    """The magnitude ``|z|`` of complex values (``cabsf``/``cabs``, bit for bit).

    Parameters
    ----------
    z : array_like of complex64 or complex128
    out : numpy.ndarray, optional
        float32 (for complex64) or float64 array of ``z``'s shape.

    Returns
    -------
    numpy.ndarray
    """
    a, s, rdt = _complex_in(z)
    return _run("magnitude", s, (a,), out, odt=rdt)


def angle(z, out=None):
    """The argument of complex values (``cargf``/``carg``), in radians.

    Parameters
    ----------
    z : array_like of complex64 or complex128
    out : numpy.ndarray, optional
        float32 (for complex64) or float64 array of ``z``'s shape.

    Returns
    -------
    numpy.ndarray
    """
    a, s, rdt = _complex_in(z)
    return _run("atan2", s, (a,), out, odt=rdt)


def erf(x, dtype=np.float64):
    """The error function of one number (``erff`` or ``erf``).

    Parameters
    ----------
    x : float
    dtype : numpy.float32 or numpy.float64, optional

    Returns
    -------
    numpy.float32 or numpy.float64
    """
    s = dtype_suffix(dtype, FLOATS)
    if np.ndim(x) != 0:
        raise ValueError("erf takes one number; use it per element or morvex's array functions")
    return NP[s].type(_c("erf", s)(scalar(x, s, "x")))


for _f in (pow, pow2, mulc_addc, atan2, hypot, logn):
    _f.__doc__ = _f.__doc__.replace("{out}", _DOC_OUT)
del _f


# ---------------------------------------------------------------- conversion
def convert(raw, scale=1.0, offset=0.0, dtype=np.float32, out=None):
    """Raw codes to calibrated values in one pass: ``raw * scale + offset``.

    Parameters
    ----------
    raw : array_like of int8 .. uint64, float32 or float64
    scale, offset : float
        Taken in the output's type (float32 output: single precision).
    dtype : numpy.float32 or numpy.float64, optional
        The output type.
    out : numpy.ndarray, optional
        An array of ``dtype`` and ``raw``'s shape to write into.

    Returns
    -------
    numpy.ndarray
        A new array (or ``out``).

    Notes
    -----
    Integers are converted to the output type, then multiplied and added
    (two roundings), except that the u8 and u16 conversions on processors
    with AVX2 and FMA3 use one fused multiply-add. float64 to float32
    computes in double and rounds once at the end. A float array converted
    to its own type (which the library has no export for) is computed by
    numpy as a multiply then an add in that type.
    """
    a, s = array(raw, INTS + FLOATS, "raw")
    o = dtype_suffix(dtype, FLOATS)
    scale, offset = scalar(scale, o, "scale"), scalar(offset, o, "offset")
    if s == o:
        t = NP[o].type
        r, back = output(out, a.shape, NP[o], (a,))
        np.multiply(a, t(scale), out=r)
        np.add(r, t(offset), out=r)
        return done(r, back)
    return _run("convert", s + o, (a,), out, (scale, offset), odt=NP[o], alias_ok=False, T=CT[o])


def clip(x, low, high, out=None):
    """Limits every element to ``[low, high]``: raised to ``low``, then lowered to ``high``.

    With ``low > high`` every element becomes ``high``; a NaN element passes
    through unchanged.

    Parameters
    ----------
    x : array_like of uint8, uint16, float32 or float64
    low, high : number
        In the array's type (integers must fit it).
    {out}

    Returns
    -------
    numpy.ndarray
    """
    a, s = array(x, ("u8", "u16") + FLOATS)
    return _run("clip", s, (a,), out, (scalar(low, s, "low"), scalar(high, s, "high")))


def fill(out, value):
    """Sets every element of ``out`` to ``value``, in place.

    Parameters
    ----------
    out : numpy.ndarray of uint8, int16, uint16, uint32, float32 or float64
    value : number
        In the array's type (integers must fit it).

    Returns
    -------
    numpy.ndarray
        ``out``.
    """
    if not isinstance(out, np.ndarray):
        raise TypeError("out must be a numpy array")
    s = SUFFIX.get(out.dtype.newbyteorder("="))
    if s not in ("u8", "i16", "u16", "u32") + FLOATS:
        raise TypeError(f"fill: dtype {out.dtype} is not supported")
    v = scalar(value, s, "value")
    o, back = output(out, out.shape, NP[s])
    if o.size:
        check(_c("set", s)(ptr(o), o.size, v), "set_" + s)
    return done(o, back)


# ---------------------------------------------------------------- bits and shifts
def _shift(x, shift, suffixes=UNSIGNED):
    a, s = array(x, suffixes)
    return a, s, count(shift, "shift", 0, 63 if s == "u64" else 31)


def shl(x, shift, out=None):
    """Shifts every element left by ``shift`` bits, truncated to the element width.

    Parameters
    ----------
    x : array_like of uint8, uint16, uint32 or uint64
    shift : int
        0..31 (0..63 for uint64); a shift of the element width or more gives 0.
    {out}

    Returns
    -------
    numpy.ndarray
    """
    a, s, n = _shift(x, shift)
    return _run("shl", s, (a,), out, (n,))


def shr(x, shift, out=None):
    """Shifts every element right (logically) by ``shift`` bits.

    Parameters
    ----------
    x : array_like of uint8, uint16, uint32 or uint64
    shift : int
        0..31 (0..63 for uint64).
    {out}

    Returns
    -------
    numpy.ndarray
    """
    a, s, n = _shift(x, shift)
    return _run("shr", s, (a,), out, (n,))


def shr_clip(x, shift, low, high, out=None):
    """Shifts right, then saturates: ``high`` above ``high``, else ``low`` below ``low``.

    The test against ``high`` comes first, so with ``low > high`` everything
    not above ``high`` becomes ``low`` (unlike :func:`clip`).

    Parameters
    ----------
    x : array_like of uint8 or uint16
    shift : int
        0..31.
    low, high : int
        In the array's type.
    {out}

    Returns
    -------
    numpy.ndarray
    """
    a, s, n = _shift(x, shift, ("u8", "u16"))
    return _run("shr_clip", s, (a,), out, (n, scalar(low, s, "low"), scalar(high, s, "high")))


def andc(x, mask, out=None):
    """``x & mask`` element by element.

    Parameters
    ----------
    x : array_like of uint8, uint16, uint32 or uint64
    mask : int
        In the array's type.
    {out}

    Returns
    -------
    numpy.ndarray
    """
    a, s = array(x, UNSIGNED)
    return _run("andc", s, (a,), out, (scalar(mask, s, "mask"),))


def bit_mask_set(x, mask, bits, out=None):
    """``(x & ~mask) | bits`` element by element (bits outside ``mask`` are set too).

    Parameters
    ----------
    x : array_like of uint16
    mask, bits : int
        0..65535.
    {out}

    Returns
    -------
    numpy.ndarray
    """
    a, s = array(x, ("u16",))
    return _run("bit_mask_set", s, (a,), out, (scalar(mask, s, "mask"), scalar(bits, s, "bits")))


def bit_mask_test(x, mask, value, start=0):
    """The first index from ``start`` on where ``x & mask == value``.

    Parameters
    ----------
    x : array_like of uint16, one dimension
    mask, value : int
        0..65535.
    start : int, optional
        Where to start; resume after a hit ``i`` with ``start=i + 1``.

    Returns
    -------
    int or None
        The index, or None when no element matches.
    """
    a, s = array(x, ("u16",), ndim=1)
    pos = ctypes.c_uint64(count(start, "start"))
    check(_c("bit_mask_test", s)(ptr(a), a.size, scalar(mask, s, "mask"), scalar(value, s, "value"),
                                 ctypes.byref(pos)), "bit_mask_test_u16")
    return pos.value if pos.value < a.size else None


for _f in (clip, shl, shr, shr_clip, andc, bit_mask_set):
    _f.__doc__ = _f.__doc__.replace("{out}", _DOC_OUT)
del _f


# ---------------------------------------------------------------- deinterleave, unwrap
def deinterleave(block, channels):
    """Splits an interleaved block (ch0, ch1, ..., ch0, ...) into its channels.

    Nothing is dropped: with ``q, r = divmod(len(block), channels)`` channel
    ``k`` receives ``q`` samples, plus one from the incomplete last frame
    when ``k < r``.

    Parameters
    ----------
    block : array_like, one dimension
        Samples of any integer, float or complex type.
    channels : int
        At least 1.

    Returns
    -------
    tuple of numpy.ndarray
        One new array per channel, of the block's dtype.
    """
    a, s = array(block, tuple(NP), "block", ndim=1)
    channels = count(channels, "channels", 1)
    q, r = divmod(a.size, channels)
    outs = tuple(np.empty(q + (k < r), a.dtype) for k in range(channels))
    if s in ("u8", "u16") and 2 <= channels <= 6 and a.size < 2**31:
        check(_c(f"deinterleave{channels}", s)(ptr(a), a.size, *[ptr(o) for o in outs]),
              f"deinterleave{channels}_{s}")
    else:  # any sample size, channel by channel (also blocks beyond the 32-bit total above)
        for k, o in enumerate(outs):
            if o.size:
                check(_c("deinterleave", "")(ptr(a), k, channels, o.size, a.itemsize, ptr(o)), "deinterleave")
    return outs


class Unwrapper:
    """Phase unwrap block by block: removes the 2-pi jumps of a phase signal.

    Every step is wrapped into [-pi, pi] against the previous output (no
    threshold), so a signal cut into blocks gives exactly what one call over
    the whole signal gives.

    Parameters
    ----------
    dtype : numpy.float32 or numpy.float64, optional

    Examples
    --------
    >>> u = morvex.Unwrapper()
    >>> parts = [u(block) for block in phase_blocks]
    """

    def __init__(self, dtype=np.float64):
        self._s = dtype_suffix(dtype, FLOATS)
        self.dtype = NP[self._s]
        self._state = CT[self._s](np.nan)
        self._lock = threading.Lock()

    @property
    def state(self):
        """float: the last output so far, NaN before the first sample."""
        return self._state.value

    def reset(self):
        """Starts a new signal: the next sample is taken as it is."""
        with self._lock:
            self._state.value = np.nan

    def __call__(self, block, out=None):
        """Unwraps the next block.

        Parameters
        ----------
        block : array_like of the unwrapper's dtype, one dimension
        out : numpy.ndarray, optional
            Same shape and dtype; may be ``block`` itself.

        Returns
        -------
        numpy.ndarray
        """
        a, s = array(block, (self._s,), "block", ndim=1, like=self.dtype)
        o, back = output(out, a.shape, self.dtype, (a,))
        # An empty block is never handed over: on a fresh signal the library
        # reads and writes element 0 whatever the count.
        if a.size:
            with self._lock:
                check(_c("unwrap", s)(ptr(a), ptr(o), a.size, ctypes.byref(self._state)), "unwrap_" + s)
        return done(o, back)


def unwrap(x, out=None):
    """Unwraps one whole phase signal (see :class:`Unwrapper`).

    Parameters
    ----------
    x : array_like of float32 or float64, one dimension
    out : numpy.ndarray, optional
        Same shape and dtype; may be ``x`` itself.

    Returns
    -------
    numpy.ndarray
    """
    a, s = array(x, FLOATS, ndim=1)
    return Unwrapper(NP[s])(a, out)
