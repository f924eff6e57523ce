"""Noise against an outside Mersenne Twister: numpy's MT19937 seeded the
classic way gives the raw 32-bit stream, and the uniform draws are rebuilt
from it as the standard library forms them: a double in [0, 1) from two
words (the first in the low half), and bounded integers by multiply-and-shift
with rejection."""
import ctypes

import numpy as np

from morvex import Checks, f32, f64, fn, i32, ptr, u64, vp

checks = Checks()


def raw_words(seed, count):
    bg = np.random.MT19937(0)
    bg._legacy_seeding(seed)
    return [int(x) for x in bg.random_raw(count)]


# The stream itself: the first output of the default seed is a known constant.
checks.check(raw_words(5489, 1)[0] == 3499211612, "MT19937 default-seed output")


def canonical(words):
    """Pairs of words -> doubles in [0, 1)."""
    out = []
    for k in range(0, len(words) - 1, 2):
        u = float(words[k] + words[k + 1] * 2**32) / 2.0**64
        out.append(u if u < 1.0 else np.nextafter(1.0, 0.0))
    return np.array(out)


def bounded(words, low, high):
    """Integers in [low, high] (a range below 2^32), consuming words as drawn."""
    r = high - low + 1
    threshold = (2**32 - r) % r
    out, it = [], iter(words)
    while True:
        try:
            product = next(it) * r
            while (product & 0xFFFFFFFF) < threshold:
                product = next(it) * r
        except StopIteration:
            return np.array(out)
        out.append((product >> 32) + low)


def seed_ptr(seed):
    return ctypes.byref(ctypes.c_uint32(seed))


n = 4000
for seed in (0, 1, 2024, 0xFFFFFFFF):
    words = raw_words(seed, 3 * n)

    # Real noise: u * (high - low) + low in double; f32 rounds that.
    u = canonical(words)[:n]
    for name, dt, ct in (("f64", np.float64, f64), ("f32", np.float32, f32)):
        noise = fn(f"morvex_m_waveform_noise_{name}", i32, vp, u64, ct, ct, vp)
        out = np.empty(n, dt)
        noise(ptr(out), n, -2.5, 7.25, seed_ptr(seed))
        want = (u * (7.25 - -2.5) + -2.5).astype(dt)
        checks.check(np.array_equal(out, want), f"waveform_noise_{name} seed {seed}")

    # Integer noise.
    for name, dt, ct, lo, hi in (("i16", np.int16, ctypes.c_int16, -32768, 32767),
                                 ("u8", np.uint8, ctypes.c_uint8, 3, 200),
                                 ("u16", np.uint16, ctypes.c_uint16, 0, 65535)):
        noise = fn(f"morvex_m_waveform_noise_{name}", i32, vp, u64, ct, ct, vp)
        out = np.empty(n, dt)
        noise(ptr(out), n, lo, hi, seed_ptr(seed))
        want = bounded(words, lo, hi)[:n]
        checks.check(len(want) == n and np.array_equal(out.astype(np.int64), want),
                     f"waveform_noise_{name} seed {seed}")

    # Added noise: x + u * 2a - a, clamped, integers rounded half away from zero.
    x = np.linspace(-50.0, 50.0, n)
    add = fn("morvex_m_add_noise_f64", i32, vp, u64, f64, f64, f64, vp)
    out = x.copy()
    add(ptr(out), n, 3.0, -40.0, 45.0, seed_ptr(seed))
    want = np.minimum(np.maximum(u * 6.0 + -3.0 + x, -40.0), 45.0)
    checks.check(np.array_equal(out, want), f"add_noise_f64 seed {seed}")

    add16 = fn("morvex_m_add_noise_i16", i32, vp, u64, ctypes.c_int16, ctypes.c_int16, ctypes.c_int16, vp)
    xi = np.arange(-2000, 2000, dtype=np.int16)
    out = xi.copy()
    add16(ptr(out), n, 7, -1990, 1995, seed_ptr(seed))
    v = np.minimum(np.maximum(u * 14.0 + -7.0 + xi, -1990.0), 1995.0)
    rounded = np.sign(v) * np.floor(np.abs(v) + 0.5)
    checks.check(np.array_equal(out, rounded.astype(np.int16)), f"add_noise_i16 seed {seed}")

checks.finish()
