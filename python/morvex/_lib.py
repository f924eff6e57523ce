# SPDX-License-Identifier: MIT
"""The shared library, its start-up and the helpers every module uses.

Loading: the copy named by ``MORVEX_M_LIB``, else the one bundled in the
package (``morvex/_libs``), else whatever the dynamic loader finds under the
SONAME. The library is started once here and stopped when the interpreter
exits; the package never hands either call to scripts, so they stay paired.

Exports are declared lazily from per-module signature tables (see
:func:`declare`): one line per export family instead of one per type.
"""
import atexit
import ctypes
import operator
import os
from pathlib import Path

import numpy as np

_HERE = Path(__file__).resolve().parent


def _load():
    path, bundled = os.environ.get("MORVEX_M_LIB"), _HERE / "_libs"
    try:
        if not path and (bundled / "libmorvex-m.so.0").exists():
            # The bundled platform libraries first, by path: libmorvex-m then
            # finds them loaded under their SONAMEs, whatever its run path says.
            for dep in ("libmorvex-core.so.0", "libmorvex-tp.so.0"):
                ctypes.CDLL(str(bundled / dep))
            path = str(bundled / "libmorvex-m.so.0")
        path = path or "libmorvex-m.so.0"
        return ctypes.CDLL(path), path
    except OSError as e:
        raise ImportError(f"morvex: cannot load the shared library {path or bundled}: {e}") from e


lib, library_path = _load()
# The platform library came in as a dependency of libmorvex-m; opening it by
# its SONAME returns that very copy (the processor-feature queries live there).
core = ctypes.CDLL("libmorvex-core.so.0")

lib.morvex_m_init.restype = ctypes.c_int32
lib.morvex_m_fini.restype = ctypes.c_int32
lib.morvex_m_init()
_init_pid = os.getpid()


def _shutdown():
    # A forked child inherits the reference but not the pool's worker threads:
    # stopping the pool there would wait for threads that do not exist, and
    # the parent still holds the library anyway.
    if os.getpid() == _init_pid:
        lib.morvex_m_fini()


atexit.register(_shutdown)

# ---------------------------------------------------------------- types
# Export suffix -> numpy dtype, and the ctypes type of a scalar of that type.
NP = {s: np.dtype(t) for s, t in (
    ("i8", np.int8), ("i16", np.int16), ("i32", np.int32), ("i64", np.int64),
    ("u8", np.uint8), ("u16", np.uint16), ("u32", np.uint32), ("u64", np.uint64),
    ("f32", np.float32), ("f64", np.float64), ("c32f32", np.complex64), ("c64f64", np.complex128))}
SUFFIX = {d: s for s, d in NP.items()}
CT = {"i8": ctypes.c_int8, "i16": ctypes.c_int16, "i32": ctypes.c_int32, "i64": ctypes.c_int64,
      "u8": ctypes.c_uint8, "u16": ctypes.c_uint16, "u32": ctypes.c_uint32, "u64": ctypes.c_uint64,
      "f32": ctypes.c_float, "f64": ctypes.c_double}
# Signature tokens: C scalar types, 'p' any pointer, 'n' an element count,
# '-' no result, 'T' the scalar type of the export's element type.
_TOK = dict(CT, p=ctypes.c_void_p, n=ctypes.c_uint64, **{"-": None})

FLOATS = ("f32", "f64")


def declare(table):
    """A getter for the exports of one family.

    Parameters
    ----------
    table : dict
        Operation name -> signature string: the result token, then one token
        per argument (``"i32 p p n T"``).

    Returns
    -------
    callable
        ``get(op, suffix, T=None)`` returns the ctypes function
        ``morvex_m_<op>_<suffix>`` with its types set; ``T`` defaults to the
        scalar type of ``suffix``.
    """
    cache = {}

    def get(op, suffix, T=None):
        name = f"{op}_{suffix}" if suffix else op
        f = cache.get(name)
        if f is None:
            T = T or CT.get(suffix)
            sig = table.get(name) or table[op]  # a row may name one type's export alone
            toks = [T if t == "T" else _TOK[t] for t in sig.split()]
            f = getattr(lib, "morvex_m_" + name)
            f.restype, f.argtypes = toks[0], toks[1:]
            cache[name] = f
        return f

    return get


# ---------------------------------------------------------------- statuses
lib.morvex_m_status_str.restype = ctypes.c_char_p
lib.morvex_m_status_str.argtypes = [ctypes.c_int32]


def status_text(status):
    """The library's text for a status code ("Success", "Failed", ...).

    Parameters
    ----------
    status : int

    Returns
    -------
    str
        The text, or ``"unknown status"`` for a code the library does not name.
    """
    t = lib.morvex_m_status_str(status)
    return t.decode() if t is not None else "unknown status"


class Error(RuntimeError):
    """A call into the library returned a status other than success.

    Attributes
    ----------
    status : int
        The library's status code (-1 "Failed", -2 "Error data length",
        -3 "Out of memory", -4 "Invalid plan", -5 "nullptr").
    text : str
        The library's text for the code.
    where : str
        The export that returned it.
    """

    def __init__(self, status, where):
        self.status, self.where, self.text = status, where, status_text(status)
        super().__init__(f"{where}: {self.text} (status {status})")

    def __reduce__(self):  # so that errors travel between processes (Dask, multiprocessing)
        return Error, (self.status, self.where)


def check(status, where):
    """Raises :class:`Error` unless ``status`` is 0."""
    if status:  # exports without a status return None
        raise Error(status, "morvex_m_" + where)


# ---------------------------------------------------------------- arguments
def array(x, suffixes, name="x", ndim=None, like=None):
    """An input as an array the C side can read as it is.

    Parameters
    ----------
    x : array_like
    suffixes : sequence of str
        The element types the operation accepts (export suffixes).
    name : str
        The argument's name, for messages.
    ndim : int, optional
        The required number of dimensions.
    like : numpy.dtype, optional
        The dtype that a sequence which is not yet an array is made into.

    Returns
    -------
    (numpy.ndarray, str)
        A C-contiguous, aligned, native-order array (``x`` itself when it is
        one already, else a copy) and its suffix.

    Raises
    ------
    TypeError
        For an element type outside ``suffixes``.
    ValueError
        For the wrong number of dimensions.
    """
    a = np.asarray(x, like) if like is not None and not isinstance(x, np.ndarray) else np.asarray(x)
    native = a.dtype.newbyteorder("=")
    s = SUFFIX.get(native)
    if s not in suffixes:
        want = ", ".join(str(NP[t]) for t in suffixes)
        raise TypeError(f"{name}: dtype {a.dtype} is not supported here (use {want})")
    if ndim is not None and a.ndim != ndim:
        raise ValueError(f"{name} must have {ndim} dimension(s), not {a.ndim}")
    if not (a.flags.c_contiguous and a.flags.aligned and a.dtype.isnative):
        a = np.require(a, native, "CA")
    return a, s


def _same_start(a, b):
    return a.ctypes.data == b.ctypes.data and a.dtype.itemsize == b.dtype.itemsize


def output(out, shape, dtype, ins=(), alias_ok=True):
    """Where the C side writes a result.

    Parameters
    ----------
    out : numpy.ndarray or None
        The caller's output array, or None for a new one.
    shape : tuple
    dtype : numpy.dtype
    ins : sequence of numpy.ndarray
        The inputs of the call (as passed to C).
    alias_ok : bool
        Whether the export accepts its output exactly equal to an input.

    Returns
    -------
    (numpy.ndarray, numpy.ndarray or None)
        The array to pass to C and, when that is a scratch array, the
        caller's array to copy it into afterwards (see :func:`done`): a
        strided, misaligned or byte-swapped ``out``, or one that overlaps an
        input other than exactly, is never written by the C side directly.
    """
    if out is None:
        return np.empty(shape, dtype), None
    if not isinstance(out, np.ndarray):
        raise TypeError(f"out must be a numpy array, not {type(out).__name__}")
    if out.dtype.newbyteorder("=") != dtype:
        raise TypeError(f"out: dtype {out.dtype} given, {dtype} needed")
    if out.shape != tuple(shape):
        raise ValueError(f"out: shape {out.shape} given, {tuple(shape)} needed")
    if not out.flags.writeable:
        raise ValueError("out is read-only")
    direct = out.flags.c_contiguous and out.flags.aligned and out.dtype.isnative
    for a in ins:
        if direct and np.may_share_memory(a, out) and not (alias_ok and _same_start(a, out)):
            direct = False
    return (out, None) if direct else (np.empty(shape, dtype), out)


def done(result, back):
    """Copies a scratch result into the caller's array (see :func:`output`)."""
    if back is None:
        return result
    back[...] = result
    return back


def scalar(value, suffix, name):
    """A Python number checked to fit the scalar type of ``suffix``.

    Integers must be integral and within the type's range (ctypes would
    silently wrap them); floats are passed as Python floats and rounded by
    ctypes for single precision.

    Raises
    ------
    TypeError
        For a value that is not a real number (or not integral for an
        integer type).
    ValueError
        For an integer outside the type's range.
    """
    dt = NP[suffix]
    if dt.kind not in "iu":
        if isinstance(value, (complex, np.complexfloating)):
            raise TypeError(f"{name} must be a real number")
        return float(value)
    try:
        v = operator.index(value)
    except TypeError:
        if isinstance(value, (float, np.floating)) and float(value).is_integer():
            v = int(value)
        else:
            raise TypeError(f"{name} must be an integer for {dt}, not {value!r}") from None
    info = np.iinfo(dt)
    if not info.min <= v <= info.max:
        raise ValueError(f"{name}={v} does not fit {dt} ({info.min}..{info.max})")
    return v


def count(value, name, low=0, high=2**64 - 1):
    """An integer argument (count, position, time) checked against its range."""
    try:
        v = operator.index(value)
    except TypeError:
        raise TypeError(f"{name} must be an integer, not {value!r}") from None
    if not low <= v <= high:
        raise ValueError(f"{name}={v} is outside {low}..{high}")
    return v


def ptr(a):
    """The data address of a numpy array."""
    return a.ctypes.data


def dtype_suffix(dtype, suffixes, name="dtype"):
    """The export suffix of a dtype argument, or TypeError."""
    try:
        s = SUFFIX.get(np.dtype(dtype).newbyteorder("="))
    except TypeError:
        s = None
    if s not in suffixes:
        raise TypeError(f"{name} {dtype!r} is not supported here (use {', '.join(str(NP[t]) for t in suffixes)})")
    return s
