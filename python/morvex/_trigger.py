# SPDX-License-Identifier: MIT
"""Software triggers over a stream of sample blocks."""
import ctypes
import threading
import weakref

import numpy as np

from ._lib import NP, array, check, count, declare, dtype_suffix, lib, ptr, scalar

_TIMED = ("upper", "lower", "mode", "time1", "time2")
# Trigger kind -> the level and time arguments of its export, in order.
KINDS = {
    "edge_rising": ("arm_level", "level"),
    "edge_falling": ("arm_level", "level"),
    "edge_any": ("arm_level_high", "arm_level_low", "level"),
    "window_inside": ("high", "low"),
    "window_outside": ("high", "low"),
    "window_enter": ("high_arm", "high", "low_arm", "low"),
    "window_exit": ("high_arm", "high", "low_arm", "low"),
    **dict.fromkeys(("interval_positive", "interval_negative", "pulse_width_positive", "pulse_width_negative",
                     "runt_pulse_positive", "runt_pulse_negative", "runt_pulse_any"), _TIMED),
}
# Time conditions by name; any number from 5 up means "never" as well.
MODES = {"always": 0, "shorter": 1, "longer": 2, "between": 3, "outside": 4, "never": 5}
_STATELESS = ("window_outside",)
# Triggers that report the sample they stand on: the walk must step past a hit.
_STEP_PAST_HIT = ("window_inside", "window_outside")


def _sig(kind):
    levels = "".join(" u32" if a in ("mode", "time1", "time2") else " T" for a in KINDS[kind])
    return "i32 p n" + levels + (" p" if kind in _STATELESS else " p p")


_c = declare({("trigger_" + k): _sig(k) for k in KINDS})

lib.morvex_m_state_free.restype = None
lib.morvex_m_state_free.argtypes = [ctypes.c_void_p]


def _free(handle):
    lib.morvex_m_state_free(ctypes.byref(handle))


class Trigger:
    """A software trigger that carries its state from block to block.

    Parameters
    ----------
    kind : str
        One of ``edge_rising``, ``edge_falling``, ``edge_any``,
        ``window_inside``, ``window_outside``, ``window_enter``,
        ``window_exit``, ``interval_positive``, ``interval_negative``,
        ``pulse_width_positive``, ``pulse_width_negative``,
        ``runt_pulse_positive``, ``runt_pulse_negative``, ``runt_pulse_any``.
    dtype : numpy.int16, uint8, uint16, float32 or float64
        The sample type of the blocks.
    **levels
        The levels (absolute sample values, in ``dtype``) and times, named as
        the C library's arguments:

        - edge_rising, edge_falling: ``arm_level``, ``level``
        - edge_any: ``arm_level_high``, ``arm_level_low``, ``level``
        - window_inside, window_outside: ``high``, ``low``
        - window_enter, window_exit: ``high_arm``, ``high``, ``low_arm``, ``low``
        - interval, pulse width and runt kinds: ``upper``, ``lower``, and
          optionally ``mode`` (0-5 or "always", "shorter", "longer",
          "between", "outside", "never"; default "always"), ``time1``,
          ``time2`` (in samples, default 0).

    Raises
    ------
    ValueError
        For an unknown kind or mode, or a level that does not fit ``dtype``.
    TypeError
        For a missing or unknown keyword, or an unsupported dtype.

    Examples
    --------
    >>> t = morvex.Trigger("edge_rising", np.uint8, arm_level=100, level=140)
    >>> hits = [t.find_all(block) for block in blocks]   # block-relative positions
    """

    def __init__(self, kind, dtype, **levels):
        if kind not in KINDS:
            raise ValueError(f"unknown trigger kind {kind!r} (one of {', '.join(KINDS)})")
        self.kind = kind
        self._s = dtype_suffix(dtype, ("i16", "u8", "u16", "f32", "f64"))
        self.dtype = NP[self._s]
        names = KINDS[kind]
        required = names[:2] if names is _TIMED else names
        missing = [n for n in required if n not in levels]
        unknown = [n for n in levels if n not in names]
        if missing or unknown:
            raise TypeError(f"{kind} takes {', '.join(names)}"
                            + (f"; missing {', '.join(missing)}" if missing else "")
                            + (f"; unknown {', '.join(unknown)}" if unknown else ""))
        self.levels = dict(levels)
        self._args = tuple(self._arg(n, levels.get(n, 0)) for n in names)
        self._state = ctypes.c_void_p()
        self._lock = threading.Lock()
        self._fn = _c("trigger_" + kind, self._s)
        self._step = 1 if kind in _STEP_PAST_HIT else 0
        weakref.finalize(self, _free, self._state)

    def _arg(self, name, value):
        if name == "mode" and isinstance(value, str):
            if value not in MODES:
                raise ValueError(f"unknown mode {value!r} (one of {', '.join(MODES)})")
            return MODES[value]
        if name in ("mode", "time1", "time2"):
            return count(value, name, 0, 2**32 - 1)
        return scalar(value, self._s, name)

    def __repr__(self):
        levels = ", ".join(f"{k}={v!r}" for k, v in self.levels.items())
        return f"Trigger({self.kind!r}, {self.dtype}, {levels})"

    def reset(self):
        """Forgets the progress: the next block starts the trigger afresh."""
        with self._lock:
            _free(self._state)

    def _args_for(self, a, pos):
        extra = () if self.kind in _STATELESS else (ctypes.byref(self._state),)
        return (ptr(a), a.size, *self._args, ctypes.byref(pos), *extra)

    def _call(self, args):
        status = self._fn(*args)
        if status:
            check(status, f"trigger_{self.kind}_{self._s}")

    def _block(self, block):
        return array(block, (self._s,), "block", ndim=1, like=self.dtype)[0]

    def find(self, block, start=0):
        """The next trigger sample in ``block`` from ``start`` on.

        The state moves to that sample (or to the end of the block), so the
        next call continues from there: pass the hit as ``start`` to look for
        the following one (hit + 1 for window_inside and window_outside,
        which report the sample they stand on), or the next block.

        Parameters
        ----------
        block : array_like of the trigger's dtype, one dimension
        start : int, optional

        Returns
        -------
        int or None
            The block-relative position, or None when the block ran out.
        """
        a = self._block(block)
        pos = ctypes.c_uint64(count(start, "start"))
        with self._lock:
            self._call(self._args_for(a, pos))
        return pos.value if pos.value < a.size else None

    def find_all(self, block):
        """Every trigger sample of ``block``; the state carries to the next block.

        Parameters
        ----------
        block : array_like of the trigger's dtype, one dimension

        Returns
        -------
        numpy.ndarray of int64
            Block-relative positions, ascending, each reported once (a
            trigger that reports the sample it was started on again is moved
            one sample on, so the walk always ends). A record cut into blocks
            gives the same hits (offset by each block's start) as one block.
        """
        a = self._block(block)
        hits, pos, n = [], ctypes.c_uint64(0), a.size
        args = self._args_for(a, pos)  # pos is updated in place, call after call
        with self._lock:
            while True:
                self._call(args)
                if pos.value >= n:
                    break
                if hits and pos.value == hits[-1]:
                    # Reported again from the very sample it was started on.
                    # The library moves on from a hit by itself whatever the
                    # levels; this only keeps the walk finite should it not.
                    pos.value += 1
                    continue
                hits.append(pos.value)
                pos.value += self._step
        return np.array(hits, np.int64)
