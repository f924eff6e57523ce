# SPDX-License-Identifier: MIT
"""Shared fixtures: the C library reached directly through ctypes, and data."""
import ctypes

import numpy as np
import pytest

import morvex

_lib = ctypes.CDLL(morvex.library_path)


def _arg(v):  # arrays by address, ints as counts, floats as doubles; other scalars come as ctypes values
    if isinstance(v, np.ndarray):
        return ctypes.c_void_p(v.ctypes.data)
    return ctypes.c_uint64(v) if isinstance(v, int) else ctypes.c_double(v) if isinstance(v, float) else v


@pytest.fixture(scope="session")
def C():
    """C(export, *args): calls morvex_m_<export> with arrays by address and ints as uint64."""
    def call(name, *args):
        f = getattr(_lib, "morvex_m_" + name)
        f.restype, f.argtypes = ctypes.c_int32, None
        return f(*map(_arg, args))
    return call


@pytest.fixture(scope="session")
def data():
    rng = np.random.default_rng(1)
    n = 1027  # not a multiple of any vector width
    return dict(n=n, f32=rng.standard_normal(n).astype(np.float32), g32=rng.uniform(0.1, 3, n).astype(np.float32),
                f64=rng.standard_normal(n), g64=rng.uniform(0.1, 3, n),
                u8=rng.integers(0, 256, n, dtype=np.uint8), u16=rng.integers(0, 65536, n, dtype=np.uint16),
                i16=rng.integers(-32768, 32768, n, dtype=np.int16), u32=rng.integers(0, 2**32, n, dtype=np.uint32))
