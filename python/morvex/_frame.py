# SPDX-License-Identifier: MIT
"""Version, options and processor features."""
import ctypes

from ._lib import Error, core, lib


class _Version(ctypes.Structure):
    _fields_ = [("version", ctypes.c_uint64), ("extra", ctypes.c_char_p)]


class _Option(ctypes.Structure):
    _fields_ = [("id", ctypes.c_uint64), ("name", ctypes.c_char_p)]


lib.morvex_m_get_version.restype = ctypes.POINTER(_Version)
lib.morvex_m_getopt_list.restype = ctypes.POINTER(_Option)
lib.morvex_m_getopt.argtypes = [ctypes.c_int32, ctypes.POINTER(ctypes.c_uint32)]
lib.morvex_m_getopt.restype = ctypes.c_int32
lib.morvex_m_setopt.argtypes = [ctypes.c_int32, ctypes.c_int32]
lib.morvex_m_setopt.restype = ctypes.c_int32


def _version():
    v = lib.morvex_m_get_version().contents
    major, minor, release, build = ((v.version >> s) & 0xFFFF for s in (48, 32, 16, 0))
    return f"{major}.{minor}.{release}" + (f".{build}" if build else "") + (v.extra or b"").decode()


__version__ = _version()


def _option_ids():
    table, ids, i = lib.morvex_m_getopt_list(), {}, 0
    while table[i].name is not None:
        ids[table[i].name.decode()] = table[i].id
        i += 1
    return ids


_IDS = _option_ids()


def options():
    """The library's options and whether each is on.

    Returns
    -------
    dict
        Option name ("Use SSE4.2", "Use AVX2", "Use FFTW3", ...) -> bool, in
        the library's order. Processor options start as the processor
        allows; the FFTW options start off.
    """
    out = {}
    for name, i in _IDS.items():
        v = ctypes.c_uint32()
        lib.morvex_m_getopt(i, ctypes.byref(v))
        out[name] = bool(v.value)
    return out


def set_option(name, on):
    """Switches an option off, or on again where the processor or FFTW allows it.

    Every change re-chooses the library's kernels; results never depend on
    them except where the documentation says (fused multiply-add forms).
    Do not change options while other threads run operations.

    Parameters
    ----------
    name : str
        An option name as :func:`options` lists it; the "Use " prefix and
        the case may be left out ("avx2", "FFTW3F").
    on : bool

    Raises
    ------
    ValueError
        For an unknown name.
    Error
        With status -1 when the option cannot be switched on (a feature the
        processor lacks, FFTW not installed, IPP).
    """
    key = {k.lower(): k for k in _IDS}
    key.update({k[4:].lower(): k for k in _IDS if k.startswith("Use ")})
    full = key.get(str(name).lower())
    if full is None:
        raise ValueError(f"unknown option {name!r} (one of {', '.join(_IDS)})")
    status = lib.morvex_m_setopt(_IDS[full], 1 if on else 0)
    if status:
        raise Error(status, f"morvex_m_setopt({full!r}, {bool(on)})")


_FEATURES = ("sse", "sse2", "sse3", "ssse3", "sse41", "sse42", "avx", "avx2", "avx512f", "avx512cd", "avx512bw",
             "avx512dq", "fma3", "neon")
for _f in _FEATURES:
    getattr(core, "morvex_core_cpu_has_" + _f).restype = ctypes.c_uint8
del _f


def features():
    """What the processor offers (and the operating system enables).

    Returns
    -------
    dict
        Feature name ("sse42", "avx2", "fma3", "avx512f", ...) -> bool.
    """
    return {f: bool(getattr(core, "morvex_core_cpu_has_" + f)()) for f in _FEATURES}
