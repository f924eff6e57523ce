# SPDX-License-Identifier: MIT
"""The package returns what the C exports return, bit for bit."""
import ctypes
from ctypes import byref

import numpy as np
import pytest

import morvex as m

F, D, I32 = ctypes.c_float, ctypes.c_double, ctypes.c_int32
U8, U16, U32, I16 = ctypes.c_uint8, ctypes.c_uint16, ctypes.c_uint32, ctypes.c_int16
H = 513  # complex elements in the first 1026 floats of a block


c64 = lambda d: d["f32"][:2 * H].view(np.complex64)  # noqa: E731
spectrum = lambda d: np.fft.rfft(d["f64"])  # noqa: E731

ARRAY_ROWS = [  # package call, C export, C arguments (o: the output the C call fills)
    (lambda d: m.add(d["f32"], d["g32"]), "add_f32", lambda d, o: (d["f32"], d["g32"], o, d["n"])),
    (lambda d: m.sub(2.5, d["f64"]), "csub_f64", lambda d, o: (d["f64"], o, d["n"], 2.5)),
    (lambda d: m.div(d["f32"], 3), "divc_f32", lambda d, o: (d["f32"], o, d["n"], F(3))),
    (lambda d: m.mulc_addc(d["f32"], 0.1, -2), "mulc_addc_f32", lambda d, o: (d["f32"], o, d["n"], F(0.1), F(-2))),
    (lambda d: m.pow(d["g32"], 1.7), "pow_f32", lambda d, o: (d["g32"], o, d["n"], 1.7)),
    (lambda d: m.modc(d["f64"], 0.3), "modc_f64", lambda d, o: (d["f64"], o, d["n"], 0.3)),
    (lambda d: m.exp(d["f32"]), "exp_f32", lambda d, o: (d["f32"], o, d["n"])),
    (lambda d: m.atan2(d["f64"], d["g64"]), "atan2_f64", lambda d, o: (d["f64"], d["g64"], o, d["n"])),
    (lambda d: m.log10(d["g64"], 20), "log10_f64", lambda d, o: (d["g64"], o, d["n"], 20.0)),
    (lambda d: m.logn(d["g32"], 3, 2), "logn_f32", lambda d, o: (d["g32"], o, d["n"], F(3), F(2))),
    (lambda d: m.abs(d["f32"]), "abs_f32", lambda d, o: (d["f32"], o, d["n"])),
    (lambda d: m.magnitude(c64(d)), "magnitude_c32f32", lambda d, o: (c64(d), o, H)),
    (lambda d: m.angle(spectrum(d)), "atan2_c64f64", lambda d, o: (spectrum(d), o, H + 1)),
    (lambda d: m.convert(d["u8"], 0.01, -1.28), "convert_u8f32", lambda d, o: (d["u8"], o, d["n"], F(0.01), F(-1.28))),
    (lambda d: m.convert(d["i16"], 2e-3, 1, np.float64), "convert_i16f64",
     lambda d, o: (d["i16"], o, d["n"], 2e-3, 1.0)),
    (lambda d: m.convert(d["f64"] * 1e3, 0.5, 1), "convert_f64f32", lambda d, o: (d["f64"] * 1e3, o, d["n"], F(.5), F(1))),
    (lambda d: m.fill(np.empty(d["n"], np.uint16), 999), "set_u16", lambda d, o: (o, d["n"], U16(999))),
    (lambda d: m.clip(d["f32"], -0.5, 0.5), "clip_f32", lambda d, o: (d["f32"], o, d["n"], F(-.5), F(.5))),
    (lambda d: m.shr_clip(d["u16"], 4, 10, 3000), "shr_clip_u16",
     lambda d, o: (d["u16"], o, d["n"], U8(4), U16(10), U16(3000))),
    (lambda d: m.shl(d["u32"], 5), "shl_u32", lambda d, o: (d["u32"], o, d["n"], U8(5))),
    (lambda d: m.andc(d["u8"], 0x3C), "andc_u8", lambda d, o: (d["u8"], o, d["n"], U8(0x3C))),
    (lambda d: m.bit_mask_set(d["u16"], 0xF0, 0xA00), "bit_mask_set_u16",
     lambda d, o: (d["u16"], o, d["n"], U16(0xF0), U16(0xA00))),
    (lambda d: m.window("hanning", d["f32"]), "window_hanning_f32", lambda d, o: (d["f32"], o, d["n"], I32(1))),
    (lambda d: m.window("flattop", d["f64"], False), "window_flattop_f64", lambda d, o: (d["f64"], o, d["n"], I32(0))),
    (lambda d: m.window("gaussian", d["f32"], alpha=2.5), "window_gaussian_f32",
     lambda d, o: (d["f32"], o, d["n"], I32(1), F(2.5))),
    (lambda d: m.Cosine(37.5, 100, 128, phase=.25, dtype=np.uint8)(d["n"]), "waveform_cosine_u8",
     lambda d, o: (o, d["n"], byref(D(.25)), 37.5, 100., 128., .5, U8(0), U8(255))),
    (lambda d: m.Triangle(64, 2.0, symmetry=.3, lower=-1.5, dtype=np.float32)(d["n"]), "waveform_triangle_f32",
     lambda d, o: (o, d["n"], byref(D(0)), 64., 2., 0., .3, F(-1.5), F(np.inf))),
    (lambda d: m.Square(10, -3, 7, .3, dtype=np.int16)(d["n"]), "waveform_square_i16",
     lambda d, o: (o, d["n"], 10., I16(-3), I16(7), .3, byref(D(0)))),
    (lambda d: m.noise(d["n"], 100, 4000, np.uint16, seed=9), "waveform_noise_u16",
     lambda d, o: (o, d["n"], U16(100), U16(4000), byref(U32(9)))),
    # add_noise works in place: the C side gets a copy of the input
    (lambda d: m.add_noise(d["f64"], .5, -1, 1, seed=3), "add_noise_f64",
     lambda d, o: (np.copyto(o, d["f64"]) or o, d["n"], .5, -1., 1., byref(U32(3)))),
    (lambda d: m.unwrap(d["f32"] * 4), "unwrap_f32", lambda d, o: (d["f32"] * 4, o, d["n"], byref(F(np.nan)))),
    (lambda d: m.rfft(d["f32"], "amplitude"), "dft_divn_f32", lambda d, o: (d["f32"], d["n"], o, H + 1, I32(1))),
    (lambda d: m.RealFFT(d["n"])(d["f64"]), "dft_f64", lambda d, o: (d["f64"], d["n"], o, H + 1)),
    (lambda d: m.RealFFT(d["n"])(d["f64"], norm="n"), "dft_divn_f64", lambda d, o: (d["f64"], d["n"], o, H + 1, I32(0))),
    (lambda d: m.irfft(spectrum(d), d["n"]), "idft_f64", lambda d, o: (spectrum(d), H + 1, o, d["n"])),
    (lambda d: m.RealFFT(d["n"], np.float32).inverse(spectrum(d).astype(np.complex64)), "idft_f32",
     lambda d, o: (spectrum(d).astype(np.complex64), H + 1, o, d["n"])),
]


@pytest.mark.parametrize("call, export, args", ARRAY_ROWS, ids=[r[1] for r in ARRAY_ROWS])
def test_arrays_match_the_export(C, data, call, export, args):
    got = call(data)
    want = np.zeros_like(got)
    C(export, *args(data, want))
    assert got.tobytes() == want.tobytes()


SCALAR_ROWS = [  # package call, C export, accumulator/result type, C arguments (r: the result)
    (lambda d: m.sum(d["f32"]), "sum_f32", F, lambda d, r: (d["f32"], d["n"], byref(r))),
    (lambda d: m.sum(d["f64"], 1.5), "sum_f64", lambda: D(1.5), lambda d, r: (d["f64"], d["n"], byref(r))),
    (lambda d: m.square_sum(d["f32"]), "square_sum_f32", D, lambda d, r: (d["f32"], d["n"], byref(r))),
    (lambda d: m.minmax(d["f32"])[0], "minmax_f32", F, lambda d, r: (d["f32"], d["n"], byref(r), None)),
]


@pytest.mark.parametrize("call, export, ctype, args", SCALAR_ROWS, ids=[r[1] for r in SCALAR_ROWS])
def test_reductions_match_the_export(C, data, call, export, ctype, args):
    r = ctype()
    C(export, *args(data, r))
    assert call(data) == r.value


def test_filter_and_triggers_match_the_exports(C, data):
    st = ctypes.c_void_p()
    assert C("filter_iir_butterworth", I32(2), U8(3), byref(st), 1e4, 500., 1500.) == 0
    want = np.empty(data["n"], np.float32)
    C("filter_execute_f32", data["f32"], want, data["n"], st)
    C("filter_state_destroy", st)
    assert m.Filter.butterworth("bandpass", 3, 1e4, 500, 1500)(data["f32"]).tobytes() == want.tobytes()

    for kind, args, step in (("edge_any_u8", (U8(160), U8(60), U8(110)), 0), ("window_inside_f32", (F(.5), F(-.2)), 1)):
        x = data["u8"] if kind.endswith("u8") else data["f32"]
        pos, state, hits = ctypes.c_uint64(0), ctypes.c_void_p(), []
        while C("trigger_" + kind, x, x.size, *args, byref(pos), byref(state)) == 0 and pos.value < x.size:
            hits.append(pos.value)
            pos.value += step
        C("state_free", byref(state))
        name = kind.rsplit("_", 1)[0]
        t = m.Trigger(name, x.dtype, **dict(zip(m.TRIGGER_KINDS[name], (a.value for a in args))))
        assert hits and t.find_all(x).tolist() == hits
