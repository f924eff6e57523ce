"""ctypes access to libmorvex-m for the Python tests and benchmarks.

The library path comes from MORVEX_M_LIB (set by CTest). Arrays are numpy
arrays; ptr() hands their data pointer to the library.
"""
import ctypes
import os

import numpy as np

LIB_PATH = os.environ.get("MORVEX_M_LIB", "libmorvex-m.so.0")
lib = ctypes.CDLL(LIB_PATH)
lib.morvex_m_init()

u64 = ctypes.c_uint64
i32 = ctypes.c_int32
f32 = ctypes.c_float
f64 = ctypes.c_double
vp = ctypes.c_void_p


def ptr(a):
    """The data pointer of a numpy array, as a void pointer."""
    return vp(a.ctypes.data)


def fn(name, restype, *argtypes):
    """Declares and returns one export."""
    f = getattr(lib, name)
    f.restype = restype
    f.argtypes = list(argtypes)
    return f


class Checks:
    """Counts failed checks and reports them; exit code 1 if any failed."""

    def __init__(self):
        self.failed = 0
        self.passed = 0

    def check(self, ok, what):
        if ok:
            self.passed += 1
        else:
            self.failed += 1
            print("FAIL:", what)

    def finish(self):
        print(f"{self.passed} checks passed, {self.failed} failed")
        raise SystemExit(1 if self.failed else 0)
