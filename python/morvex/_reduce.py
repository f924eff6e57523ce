# SPDX-License-Identifier: MIT
"""Reductions: sums, extremes, index searches, linear histograms, and the
exponential fit."""
import ctypes

import numpy as np

from ._lib import CT, FLOATS, NP, array, check, count, declare, dtype_suffix, output, ptr, scalar

_SEARCH = ("i16", "u8", "u16", "f32", "f64")
_MINMAX = ("i8", "i16", "i32", "i64", "u8", "u16", "u32", "u64", "f32", "f64")
# Accumulator of each sum: unsigned sums wrap modulo 2^64, i16 sums in int64.
_ACC = {"u8": "u64", "u16": "u64", "u32": "u64", "i16": "i64", "f32": "f32", "f64": "f64"}

_c = declare({
    "sum": "i32 p n p", "square_sum": "i32 p n p", "minmax": "i32 p n p p",
    **dict.fromkeys(("index_gte", "index_gt", "index_lte", "index_lt"), "i32 p n T p"),
    "index_in": "i32 p n T T p", "index_out": "i32 p n T T p",
    "index_max": "i32 p n p p", "index_min": "i32 p n p p",
    "histogram_lin_1d": "u64 p n T T p n p p", "fit_exp": "i32 p n p p",
})

# The SIMD forms of the f64 sums count in 32 bits; longer arrays go in pieces.
_SUM_PIECE = 2**30


def _accumulator(initial, acc):
    if acc in ("u64", "i64"):
        info = np.iinfo(NP[acc])
        return CT[acc](count(initial, "initial", int(info.min), int(info.max)))
    return CT[acc](float(initial))


def _sum(op, x, initial, suffixes, acc_of):
    a, s = array(x, suffixes)
    acc = _accumulator(initial, acc_of(s))
    flat = a.reshape(-1)
    piece = _SUM_PIECE if s == "f64" else max(flat.size, 1)
    for i in range(0, flat.size, piece):
        part = flat[i:i + piece]
        check(_c(op, s)(ptr(part), part.size, ctypes.byref(acc)), f"{op}_{s}")
    return NP[acc_of(s)].type(acc.value)


def sum(x, initial=0):
    """The sum of all elements, added to ``initial``.

    Parameters
    ----------
    x : array_like of uint8, uint16, uint32, int16, float32 or float64
    initial : number, optional
        Where the sum starts: pass the previous result to sum a record block
        by block.

    Returns
    -------
    numpy.uint64, numpy.int64, numpy.float32 or numpy.float64
        Unsigned sums are exact modulo 2^64 (uint64), int16 sums are int64,
        float32 sums accumulate in single precision, float64 in double (in
        lanes when AVX or SSE4.2 is enabled: the result is reproducible for
        the same options, not between them).
    """
    return _sum("sum", x, initial, tuple(_ACC), _ACC.get)


def square_sum(x, initial=0.0):
    """The sum of squares of all elements (in double precision), added to ``initial``.

    Parameters
    ----------
    x : array_like of float32 or float64
    initial : float, optional

    Returns
    -------
    numpy.float64
    """
    return _sum("square_sum", x, initial, FLOATS, lambda s: "f64")


def minmax(x):
    """The minimum and maximum of a non-empty array.

    Floats follow ``min = min if min < x else x`` in index order: everything
    before the last NaN is forgotten, so the results are NaN only when the
    last element is NaN; of equal values the later one is kept.

    Parameters
    ----------
    x : array_like of int8 .. uint64, float32 or float64

    Returns
    -------
    (scalar, scalar)
        The minimum and the maximum, of ``x``'s dtype.
    """
    a, s = array(x, _MINMAX)
    if a.size == 0:  # the library reads the first element even of an empty block
        raise ValueError("minmax of an empty array")
    lo, hi = CT[s](), CT[s]()
    check(_c("minmax", s)(ptr(a), a.size, ctypes.byref(lo), ctypes.byref(hi)), "minmax_" + s)
    return NP[s].type(lo.value), NP[s].type(hi.value)


def _found(pos, n):
    return pos.value if pos.value < n else None


def _level_search(op, cond):
    def f(x, level, start=0):
        a, s = array(x, _SEARCH, ndim=1)
        pos = ctypes.c_uint64(count(start, "start"))
        check(_c(op, s)(ptr(a), a.size, scalar(level, s, "level"), ctypes.byref(pos)), f"{op}_{s}")
        return _found(pos, a.size)

    f.__name__ = f.__qualname__ = op
    f.__doc__ = f"""The first index ``i >= start`` with ``{cond}``.

    Parameters
    ----------
    x : array_like of int16, uint8, uint16, float32 or float64, one dimension
    level : number
        In the array's type (integers must fit it).
    start : int, optional
        Where the search starts; pass a hit + 1 to walk from hit to hit.

    Returns
    -------
    int or None
        The index, or None when no element from ``start`` on qualifies. NaN
        elements never do.
    """
    return f


index_gte = _level_search("index_gte", "x[i] >= level")
index_gt = _level_search("index_gt", "x[i] > level")
index_lte = _level_search("index_lte", "x[i] <= level")
index_lt = _level_search("index_lt", "x[i] < level")


def _band_search(op, cond):
    def f(x, high, low, start=0):
        a, s = array(x, _SEARCH, ndim=1)
        pos = ctypes.c_uint64(count(start, "start"))
        check(_c(op, s)(ptr(a), a.size, scalar(high, s, "high"), scalar(low, s, "low"), ctypes.byref(pos)),
              f"{op}_{s}")
        return _found(pos, a.size)

    f.__name__ = f.__qualname__ = op
    f.__doc__ = f"""The first index ``i >= start`` with ``{cond}``.

    Note the order of the bounds: the upper one comes first, as in the C
    library. With ``high < low`` no element is in the band and every element
    is out of it; NaN elements are neither.

    Parameters
    ----------
    x : array_like of int16, uint8, uint16, float32 or float64, one dimension
    high, low : number
        In the array's type.
    start : int, optional

    Returns
    -------
    int or None
    """
    return f


index_in = _band_search("index_in", "low <= x[i] <= high")
index_out = _band_search("index_out", "x[i] < low or x[i] > high")


def _extreme_search(op, word, lowest):
    def f(x, start=0, bar=None):
        a, s = array(x, _SEARCH, ndim=1)
        start = count(start, "start")
        limit = lowest(NP[s])
        pos, val = ctypes.c_uint64(start), CT[s](limit if bar is None else scalar(bar, s, "bar"))
        check(_c(op, s)(ptr(a), a.size, ctypes.byref(pos), ctypes.byref(val)), f"{op}_{s}")
        if pos.value >= a.size and bar is None:
            # The bar must be beaten strictly: an extreme equal to the type's
            # limit (all zeros in uint8, say) is found by an equality search.
            search = index_lte if op == "index_max" else index_gte
            i = search(a, limit, start)
            return None if i is None else (i, a[i])
        return (pos.value, NP[s].type(val.value)) if pos.value < a.size else None

    f.__name__ = f.__qualname__ = op
    f.__doc__ = f"""The first index from ``start`` on holding the {word}, and that value.

    Parameters
    ----------
    x : array_like of int16, uint8, uint16, float32 or float64, one dimension
    start : int, optional
    bar : number, optional
        A value the extreme must beat strictly (a running {word} from earlier
        blocks, say). Without it the plain {word} is returned.

    Returns
    -------
    (int, scalar) or None
        The index and the value, or None when nothing qualifies (an empty
        range, only NaN elements, nothing beyond the bar). NaN elements never
        win; of equal extremes the first one wins.
    """
    return f


def _type_low(dt):
    return -np.inf if dt.kind == "f" else int(np.iinfo(dt).min)


def _type_high(dt):
    return np.inf if dt.kind == "f" else int(np.iinfo(dt).max)


index_max = _extreme_search("index_max", "maximum", _type_low)
index_min = _extreme_search("index_min", "minimum", _type_high)


def histogram(x, bins, low, high, counter=np.uint64, out=None):
    """A linear histogram of ``bins`` equally wide bins over ``[low, high]``.

    Parameters
    ----------
    x : array_like of int16, uint8, uint16, float32 or float64
    bins : int
        At least 1.
    low, high : number
        In the array's type; both edges are inclusive (a sample equal to
        ``high`` lands in the last bin).
    counter : numpy.uint16, numpy.uint32 or numpy.uint64, optional
        The counter type (counters wrap at its width).
    out : numpy.ndarray, optional
        Counts of ``counter`` dtype and shape ``(bins,)`` that this call adds
        to, so that one histogram can span many blocks.

    Returns
    -------
    (numpy.ndarray, int, int)
        The counts, and the numbers of samples below ``low`` and above
        ``high`` in this call.

    Notes
    -----
    ``bin = trunc((x - low) / ((high - low) / bins))`` in double precision,
    clamped to the last bin; NaN samples land in the last bin; with
    ``high < low`` nothing is binned.
    """
    a, s = array(x, _SEARCH)
    c = dtype_suffix(counter, ("u16", "u32", "u64"), "counter")
    bins = count(bins, "bins", 1)
    o, back = output(out, (bins,), NP[c])
    if out is None:
        o[...] = 0
    elif back is not None:
        o[...] = back  # the library adds to the counts it is given
    below, above = CT[c](), CT[c]()
    _c("histogram_lin_1d", s + c, CT[s])(ptr(a), a.size, scalar(low, s, "low"), scalar(high, s, "high"), ptr(o),
                                          bins, ctypes.byref(below), ctypes.byref(above))
    if back is not None:
        back[...] = o
        o = back
    return o, below.value, above.value


def fit_exp(y):
    """Fits ``y = a * exp(b * x)`` at ``x = 0, 1, ..., n - 1``.

    A least-squares straight line through ``ln(y)``, so large samples weigh
    no more than small ones.

    Parameters
    ----------
    y : array_like of positive real numbers
        Taken as float64.

    Returns
    -------
    (float, float)
        ``a``, the fitted value at x = 0, and ``b``, the exponent per sample
        (``-1 / b`` is the time constant of a decay, in samples). Both are
        NaN for fewer than two samples or a NaN sample.

    Raises
    ------
    Error
        With status -1 when a sample is zero or negative.
    """
    a, s = array(y, _MINMAX)
    a = np.ascontiguousarray(a.reshape(-1), np.float64)
    ra, rb = ctypes.c_double(), ctypes.c_double()
    check(_c("fit_exp", "f64")(ptr(a), a.size, ctypes.byref(ra), ctypes.byref(rb)), "fit_exp_f64")
    return ra.value, rb.value
