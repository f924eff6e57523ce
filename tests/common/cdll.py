# SPDX-License-Identifier: MIT
"""ctypes access to libmorvex-m for the Python oracles.

The library path comes from MORVEX_M_LIB (set by CTest). Arrays are numpy
arrays; ptr() hands their data pointer to the library; fn() declares an export.
"""
import ctypes
import os

import numpy as np

lib = ctypes.CDLL(os.environ.get("MORVEX_M_LIB", "libmorvex-m.so.0"))
lib.morvex_m_init()

u8, u64, i32, f32, f64, vp = ctypes.c_uint8, ctypes.c_uint64, ctypes.c_int32, ctypes.c_float, ctypes.c_double, ctypes.c_void_p
pp = ctypes.POINTER(vp)


def ptr(a):
    return vp(a.ctypes.data)


def fn(name, restype, *argtypes):
    f = getattr(lib, name)
    f.restype, f.argtypes = restype, list(argtypes)
    return f


def out(ctype):
    """A scalar for the library to write, and its address."""
    v = ctype()
    return v, ctypes.byref(v)


def doubles(p, n, complex_values=False):
    """n doubles (or complex doubles) the library points to, copied."""
    if n == 0:
        return np.zeros(0, complex if complex_values else float)
    raw = np.ctypeslib.as_array(ctypes.cast(p, ctypes.POINTER(f64)), shape=(2 * n if complex_values else n,)).copy()
    return raw[0::2] + 1j * raw[1::2] if complex_values else raw


class Checks:
    """Counts failed checks and reports them; exit code 1 if any failed."""

    def __init__(self):
        self.failed = self.passed = 0

    def check(self, ok, what):
        self.passed += bool(ok)
        self.failed += not ok
        if not ok:
            print("FAIL:", what)

    def finish(self):
        print(f"{self.passed} checks passed, {self.failed} failed")
        raise SystemExit(1 if self.failed else 0)
