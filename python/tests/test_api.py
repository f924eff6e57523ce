# SPDX-License-Identifier: MIT
"""Errors, array layouts, threads and the library's start and stop."""
import importlib.metadata
import subprocess
import sys

import numpy as np
import pytest

import morvex as m

x32, x64, u8 = np.linspace(-1, 1, 64, dtype=np.float32), np.linspace(0.1, 2, 64), np.arange(64, dtype=np.uint8)
used = m.Filter.butterworth("lowpass", 2, 1e3, 100)
used(x32)

ERRORS = [  # expected exception, call
    (TypeError, lambda: m.add(u8, u8)), (TypeError, lambda: m.add(x32, x64)), (TypeError, lambda: m.magnitude(x32)),
    (TypeError, lambda: m.convert(u8, dtype=np.int16)), (TypeError, lambda: m.sum(x32.astype(np.float16))),
    (TypeError, lambda: m.window("gaussian", x32)), (TypeError, lambda: m.window("hanning", x32, alpha=1)),
    (TypeError, lambda: m.Trigger("edge_rising", np.uint8, level=1)),
    (TypeError, lambda: m.Trigger("edge_rising", np.int32, arm_level=1, level=2)),
    (TypeError, lambda: m.Trigger("edge_rising", np.uint8, arm_level=1, level=2).find_all(x32)),
    (TypeError, lambda: used(x64)), (TypeError, lambda: m.exp(x32, out=np.empty(64))),
    (TypeError, lambda: m.Filter()), (TypeError, lambda: m.RealFFT(64).inverse(np.zeros(33, np.complex64))),
    (ValueError, lambda: m.add(x32, x32[:5])), (ValueError, lambda: m.exp(x32, out=np.empty(63, np.float32))),
    (ValueError, lambda: m.exp(x32, out=np.broadcast_to(np.float32(0), (64,)))), (ValueError, lambda: m.minmax([])),
    (ValueError, lambda: m.index_gte(u8, 256)), (ValueError, lambda: m.clip(u8, -1, 5)), (ValueError, lambda: m.shl(u8, 32)),
    (ValueError, lambda: m.index_gte(u8.reshape(8, 8), 3)), (ValueError, lambda: m.histogram(u8, 0, 0, 255)),
    (ValueError, lambda: m.window("hann", x32)), (ValueError, lambda: m.Trigger("edge", np.uint8)),
    (ValueError, lambda: m.Trigger("runt_pulse_any", np.uint8, upper=9, lower=1, mode="sometimes")),
    (ValueError, lambda: m.Trigger("runt_pulse_any", np.uint8, upper=9, lower=1, time1=-1)),
    (ValueError, lambda: m.RealFFT(64)(x64[:63])), (ValueError, lambda: m.RealFFT(0)),
    (ValueError, lambda: m.irfft(np.zeros(4, complex), 8)), (ValueError, lambda: m.rfft(x64, norm="ortho")),
    (ValueError, lambda: m.Filter.butterworth("bandpass", 2, 1e3, 100)),
    (ValueError, lambda: m.Filter.butterworth("lowpass", 256, 1e3, 100)),
    (ValueError, lambda: m.Filter.butterworth("low", 2, 1e3, 100)), (ValueError, lambda: m.Filter.notch(1e3, 50, 0)),
    (ValueError, lambda: m.noise(4, 9, 1, np.uint8)), (ValueError, lambda: m.Cosine(0)),
    (ValueError, lambda: m.set_option("Use MMX", True)), (ValueError, lambda: m.erf(x32)),
]


@pytest.mark.parametrize("error, call", ERRORS)
def test_bad_arguments(error, call):
    with pytest.raises(error):
        call()


LIBRARY_ERRORS = [  # call, status, the library's text
    (lambda: m.Filter.butterworth("lowpass", 2, 1e3, 500), -1, "Failed"),
    (lambda: m.Filter.butterworth("lowpass", 0, 1e3, 100).is_stable, -1, "Failed"),
    (lambda: m.fit_exp([1.0, -2.0]), -1, "Failed"), (lambda: m.set_option("IPP", True), -1, "Failed"),
    (lambda: m.RealFFT(2**29, np.float32), -2, "Error data length"),
]


@pytest.mark.parametrize("call, status, text", LIBRARY_ERRORS)
def test_library_statuses(call, status, text):
    with pytest.raises(m.Error) as e:
        call()
    assert isinstance(e.value, RuntimeError) and (e.value.status, e.value.text) == (status, text)


LAYOUTS = [lambda a: np.repeat(a, 2)[::2], lambda a: a.astype(a.dtype.newbyteorder(">")),
           lambda a: np.frombuffer(bytearray(b"\0" + a.tobytes()), a.dtype, a.size, 1)]  # writable, misaligned


@pytest.mark.parametrize("layout", LAYOUTS, ids=["strided", "big-endian", "misaligned"])
def test_layouts_are_read_and_written_as_values(layout):
    x = np.random.default_rng(5).standard_normal(300)
    for f in (lambda v, **o: m.convert(v, 2.0, 1.0, np.float64, **o), lambda v, **o: m.window("blackman", v, **o),
              lambda v, **o: m.Filter.butterworth("highpass", 3, 1e3, 50)(v, **o)):
        want = f(x)
        assert np.array_equal(f(layout(x)), want)
        out = layout(np.zeros_like(x))
        assert f(x, out=out) is out and np.array_equal(out, want)
    v = x.copy()
    want = m.exp(v[:-1].copy())
    assert np.array_equal(m.exp(v[:-1], out=v[1:]), want)  # an output one element ahead of its input
    v = x.copy()
    assert m.add(v, 1.0, out=v) is v and np.array_equal(v, x + 1)


def test_threads_and_lifecycle():
    from concurrent.futures import ThreadPoolExecutor
    blocks = np.random.default_rng(6).standard_normal((8, 100000))
    with ThreadPoolExecutor(4) as pool:
        assert np.array_equal(list(pool.map(lambda b: m.window("nuttall", b), blocks)),
                              [m.window("nuttall", b) for b in blocks])
    assert m.options()["Use SSE2"] and m.features()["sse2"]  # started at import (options read 0 before)
    assert m.__version__ == importlib.metadata.version("morvex")  # the library's record, the package's CMake version
    # A script that forks, uses the pool in both processes and exits must end normally.
    script = ("import os, sys, numpy as np, morvex as m; w = m.window('hanning', np.ones(1 << 20));"
              "pid = os.fork(); m.window('hanning', np.ones(1 << 20));"
              "sys.exit(0) if pid == 0 else sys.exit(os.waitpid(pid, 0)[1])")
    assert subprocess.run([sys.executable, "-c", script], timeout=60).returncode == 0
