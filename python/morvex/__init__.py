# SPDX-License-Identifier: MIT
"""morvex: numpy arrays through libmorvex-m, numerical routines for sample data.

The package returns exactly what the C library returns: the same exports run
on the same bits, so a script and an instrument's C code agree to the last
bit (the fused multiply-add forms documented as processor-dependent aside).

Families
--------
- Element-wise: :func:`add`, :func:`sub`, :func:`mul`, :func:`div` and their
  constant forms, :func:`mulc_addc`, :func:`pow`, the math functions
  (:func:`sin`, :func:`exp`, :func:`log10`, ...), :func:`magnitude`,
  :func:`angle`, :func:`convert`, :func:`clip`, :func:`fill`, shifts and bit
  masks, :func:`deinterleave`, :func:`unwrap` and :class:`Unwrapper`.
- Reductions: :func:`sum`, :func:`square_sum`, :func:`minmax`, the index
  searches (:func:`index_gte`, ...), :func:`histogram`, :func:`fit_exp`.
- :class:`Trigger`: 14 software trigger kinds, resumable across blocks.
- Generators: :func:`window`, :class:`Cosine`, :class:`Triangle`,
  :class:`Square`, :func:`noise`, :func:`add_noise`.
- Transforms: :class:`RealFFT`, :func:`rfft`, :func:`irfft`.
- :class:`Filter`: IIR design, execution, representations, response.
- :func:`options`, :func:`set_option`, :func:`features`, ``__version__``.

Conventions
-----------
- Inputs are any array_like; arrays that are strided, misaligned or in the
  other byte order are copied before the C call, never misread. Results are
  new arrays unless ``out=`` names one.
- An element type the library has no export for raises TypeError; lengths
  or shapes that do not fit, and numbers outside an integer type, raise
  ValueError; both before any C call. A status other than success from the
  library raises :class:`Error` (a RuntimeError with ``.status`` and the
  library's ``.text``).
- Calls into the library release the GIL (ctypes does so for every foreign
  call), so threads working on different arrays run in parallel. Objects
  (plans, filters, triggers, unwrappers, waveforms) serialise their own
  calls; give each thread its own object to run them side by side.
- The library is started at import and stopped at interpreter exit.
  ``MORVEX_M_LIB`` may name another copy of ``libmorvex-m.so.0`` to load.
"""
from ._dft import RealFFT, irfft, rfft
from ._filter import Filter
from ._frame import __version__, features, options, set_option
from ._generate import WINDOWS, Cosine, Square, Triangle, add_noise, noise, window
from ._lib import Error, library_path
from ._ops import (Unwrapper, abs, acos, acosh, add, addc, andc, angle, asin, asinh, atan, atan2, atanh,
                   bit_mask_set, bit_mask_test, cbrt, cdiv, clip, convert, cos, cosh, csub, deinterleave, div,
                   divc, erf, exp, exp2, fill, hypot, log, log2, log10, logn, magnitude, modc, mul, mulc,
                   mulc_addc, pow, pow2, shl, shr, shr_clip, sin, sincos, sinh, sqrt, sub, subc, tan, tanh,
                   unwrap)
from ._reduce import (fit_exp, histogram, index_gt, index_gte, index_in, index_lt, index_lte, index_max,
                      index_min, index_out, minmax, square_sum, sum)
from ._trigger import KINDS as TRIGGER_KINDS
from ._trigger import Trigger

__all__ = [n for n in dir() if not n.startswith("_") or n == "__version__"]
