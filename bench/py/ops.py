"""numpy peers of the element-wise benchmarks in bench/ops.cpp: the same
operations over a 4096-sample block and a 16M-sample record, reported in ns
per call (the best of several repeats), to be run in the same session as
morvex-bench so that ratios are comparable."""
import timeit

import numpy as np

BLOCK, RECORD = 4096, 16 << 20


def best_ns(f, n):
    number = max(1, int(2e6 // n))
    return min(timeit.repeat(f, number=number, repeat=7)) / number * 1e9


def cases(n):
    rng = np.random.default_rng(1)
    u8 = rng.integers(0, 256, n).astype(np.uint8)
    u16 = rng.integers(0, 65536, n).astype(np.uint16)
    i16 = u16.view(np.int16)
    f32 = np.empty(n, np.float32)
    f64 = np.empty(n, np.float64)
    half8a, half8b = np.empty(n // 2, np.uint8), np.empty(n // 2, np.uint8)
    half16a, half16b = np.empty(n // 2, np.uint16), np.empty(n // 2, np.uint16)
    t16 = np.empty(n, np.uint16)
    x = (1.0 + np.arange(n) % 1000).astype(np.float32)
    z = (np.cos(np.arange(n)) + 3j * np.sin(np.arange(n))).astype(np.complex64)
    s32, o32 = np.float32(0.01), np.float32(-1.28)

    def convert(src, out, s, o):
        np.multiply(src, s, out=out)
        np.add(out, o, out=out)

    def shr_clip():
        np.right_shift(u16, 4, out=t16)
        np.clip(t16, 100, 3000, out=t16)

    def log10():
        np.log10(x, out=f32)
        np.multiply(f32, np.float32(20), out=f32)

    return {
        "convert_u8f32": lambda: convert(u8, f32, s32, o32),
        "convert_u16f32": lambda: convert(u16, f32, s32, o32),
        "convert_i16f32": lambda: convert(i16, f32, s32, o32),
        "convert_u8f64": lambda: convert(u8, f64, 0.01, -1.28),
        "shr_clip_u16": shr_clip,
        "deinterleave2_u8": lambda: (np.copyto(half8a, u8[0::2]), np.copyto(half8b, u8[1::2])),
        "deinterleave2_u16": lambda: (np.copyto(half16a, u16[0::2]), np.copyto(half16b, u16[1::2])),
        "abs_f32": lambda: np.abs(x, out=f32),
        "magnitude_c32f32": lambda: np.abs(z, out=f32),
        "log10_f32": log10,
    }


if __name__ == "__main__":
    print(f"numpy {np.__version__}")
    for n in (BLOCK, RECORD):
        for name, f in cases(n).items():
            print(f"np_{name}/{n}  {best_ns(f, n):.0f} ns")
