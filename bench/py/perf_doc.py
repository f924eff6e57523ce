# SPDX-License-Identifier: MIT
"""Writes docs/PERFORMANCE.md from one run of morvex-bench and of the numpy and
scipy peers (bench/py/peers.py), so that every ratio in it comes from the
same session on the same machine.

    cmake --build build/release --target morvex-bench
    MORVEX_M_LIB=build/release/libmorvex-m.so.0 /usr/bin/python3 bench/py/perf_doc.py \\
        --bench build/release/bench/morvex-bench > docs/PERFORMANCE.md

--json FILE reuses the JSON of an earlier morvex-bench run instead of running
it (--benchmark_format=json with the arguments of BENCH_ARGS below).
Every benchmark a table names must be in the run: a renamed benchmark fails
here rather than leaving a hole in the reference.
"""
import argparse
import datetime
import json
import platform
import re
import subprocess
import sys

import peers

# Repetitions interleaved at random with every other benchmark's: a kernel and
# its peer or floor are then timed across the same stretch of the run, not
# minutes apart, which on a shared machine is what keeps their ratio steady.
BENCH_ARGS = ["--benchmark_min_time=0.1", "--benchmark_repetitions=5", "--benchmark_enable_random_interleaving=true",
              "--benchmark_report_aggregates_only=true", "--benchmark_format=json"]
ALL_SIZES = (64, 4096, 16777216)
GEN_SIZES = (4096, 1048576)
BLOCKPATH_SIZES = (4096, 1048576)

# One table per family: a title, what the table shows, the reference columns,
# and rows of (label, our benchmark, {column: reference benchmark}[, sizes]).
# Names may hold {n}, replaced by each size of the table (or of the row, where
# a row gives its own). A cell reads "time (ratio)",
# ratio = reference time / our time: above 1 we are faster than the peer; to a
# floor, 1 means at the floor.
FAMILIES = [
    dict(
        title="Arithmetic",
        text="Element-wise operations on two arrays and with a scalar, against VOLK's kernel of the same "
        "operation, the byte floor (8 bytes read and 4 written per f32 sample for the two-array forms) and "
        "the plain loop of the same export (every processor kernel returns the plain loop's bits).",
        sizes=ALL_SIZES, columns=["VOLK", "byte floor", "plain loop"],
        rows=[
            (f"{op}_{s}", f"BM_{op}_{s}/{{n}}",
             {"VOLK": volk, "byte floor": f"BM_floor_{floor}/{{n}}",
              "plain loop": f"BM_{op}_{s}/{{n}}/3" if op in ("add", "mulc") else None})
            for op, s, volk, floor in (
                ("add", "f32", "BM_volk_32f_x2_add_32f/{n}", "8_4"),
                ("sub", "f32", "BM_volk_32f_x2_subtract_32f/{n}", "8_4"),
                ("mul", "f32", "BM_volk_32f_x2_multiply_32f/{n}", "8_4"),
                ("div", "f32", "BM_volk_32f_x2_divide_32f/{n}", "8_4"),
                ("addc", "f32", "BM_volk_32f_s32f_add_32f/{n}", "4_4"),
                ("subc", "f32", None, "4_4"),
                ("mulc", "f32", "BM_volk_32f_s32f_multiply_32f/{n}", "4_4"),
                ("divc", "f32", None, "4_4"),
                ("add", "f64", "BM_volk_64f_x2_add_64f/{n}", "16_8"),
                ("sub", "f64", None, "16_8"),
                ("mul", "f64", "BM_volk_64f_x2_multiply_64f/{n}", "16_8"),
                ("div", "f64", None, "16_8"),
                ("mulc", "f64", None, "8_8"),
                ("abs", "f64", None, "8_8"),
            )
        ] + [
            ("abs_f32", "BM_abs_f32/{n}/0", {"byte floor": "BM_floor_4_4/{n}", "plain loop": "BM_abs_f32/{n}/3"},
             (4096, 16777216)),
            ("mulc_addc_f32 (fused)", "BM_mulc_addc<float>/{n}/0",
             {"byte floor": "BM_floor_4_4/{n}", "plain loop": "BM_mulc_addc<float>/{n}/4"}, (4096, 16777216)),
        ]),
    dict(
        title="Conversions",
        text="Raw samples to floating point with scale and offset, and between the float types, against "
        "VOLK's conversions (its integer ones divide by a scale and add no offset, its float ones neither "
        "scale nor offset: the nearest peers), the byte floor and the plain loop. The \"scale only\" rows "
        "convert signed codes with an offset of zero, VOLK's own operation; \"f64f32_unit\" narrows with a "
        "scale of one and no offset, likewise.",
        sizes=ALL_SIZES, columns=["VOLK", "byte floor", "plain loop"],
        rows=[
            (f"convert_{k}", f"BM_convert_{k}/{{n}}/0",
             {"VOLK": volk, "byte floor": f"BM_floor_{floor}/{{n}}", "plain loop": f"BM_convert_{k}/{{n}}/4"})
            for k, volk, floor in (
                ("u8f32", "BM_volk_8i_s32f_convert_32f/{n}", "1_4"),
                ("i8f32", "BM_volk_8i_s32f_convert_32f/{n}", "1_4"),
                ("u16f32", "BM_volk_16i_s32f_convert_32f/{n}", "2_4"),
                ("i16f32", "BM_volk_16i_s32f_convert_32f/{n}", "2_4"),
                ("i8f32_scale", "BM_volk_8i_s32f_convert_32f/{n}", "1_4"),
                ("i16f32_scale", "BM_volk_16i_s32f_convert_32f/{n}", "2_4"),
                ("u8f64", None, "1_8"),
                ("i8f64", None, "1_8"),
                ("i16f64", None, "2_8"),
                ("f32f64", "BM_volk_32f_convert_64f/{n}", "4_8"),
                ("f64f32", "BM_volk_64f_convert_32f/{n}", "8_4"),
                ("f64f32_unit", "BM_volk_64f_convert_32f/{n}", "8_4"),
            )
        ]),
    dict(
        title="Other element-wise operations",
        text="Shift-and-clip, deinterleave and the complex magnitude (which keeps cabsf's bits; VOLK rounds a "
        "single-precision square root instead), against the byte floor, VOLK and the plain loop.",
        sizes=(4096, 16777216), columns=["VOLK", "byte floor", "plain loop"],
        rows=[
            ("shr_clip_u16", "BM_shr_clip_u16/{n}/0",
             {"byte floor": "BM_floor_2_2/{n}", "plain loop": "BM_shr_clip_u16/{n}/4"}),
            ("deinterleave2_u8", "BM_deinterleave2_u8/{n}/0",
             {"byte floor": "BM_floor_1_1/{n}", "plain loop": "BM_deinterleave2_u8/{n}/4"}),
            ("deinterleave2_u16", "BM_deinterleave2_u16/{n}/0",
             {"byte floor": "BM_floor_2_2/{n}", "plain loop": "BM_deinterleave2_u16/{n}/4"}),
            ("magnitude_c32f32", "BM_magnitude_c32f32/{n}/0",
             {"VOLK": "BM_volk_32fc_magnitude_32f/{n}", "byte floor": "BM_floor_8_4/{n}",
              "plain loop": "BM_magnitude_c32f32/{n}/2"}),
        ]),
    dict(
        title="Extreme searches",
        text="The first position of the largest (smallest) element beyond the caller's bar, against VOLK's "
        "index searches (f32; for i16 VOLK's 16i_max_star_16i, which finds the value but no position), "
        "the read floor (a pass that only loads the same bytes) and the plain scan.",
        sizes=ALL_SIZES, columns=["VOLK", "read floor", "plain scan"],
        rows=[
            (f"index_{m}_{t}", f"BM_index_{m}_{t}/{{n}}/0",
             {"VOLK": ({"f32": f"BM_volk_32f_index_{m}_32u/{{n}}",
                        "i16": "BM_volk_16i_max_star_16i/{n}" if m == "max" else None}.get(t)),
              "read floor": f"BM_floor_{size}_0/{{n}}",
              "plain scan": f"BM_index_{m}_{t}/{{n}}/4"})
            for t, size in (("u8", 1), ("i16", 2), ("u16", 2), ("f32", 4), ("f64", 8)) for m in ("max", "min")
        ]),
    dict(
        title="Reductions and level searches",
        text="Extremes, sums and level searches against the read floor (a pass that only loads the same "
        "bytes), memchr for the level search with its hit at the end, and VOLK where it has the operation.",
        sizes=(4096, 16777216), columns=["VOLK", "memchr", "read floor"],
        rows=[
            ("minmax_u8", "BM_minmax_u8/{n}/0", {"read floor": "BM_floor_1_0/{n}"}),
            ("minmax_u16", "BM_minmax_u16/{n}/0", {"read floor": "BM_floor_2_0/{n}"}),
            ("minmax_i16", "BM_minmax_i16/{n}/0", {"read floor": "BM_floor_2_0/{n}"}),
            ("minmax_f32", "BM_minmax_f32/{n}/0", {"VOLK": "BM_volk_32f_index_max_32u/{n}",
                                                   "read floor": "BM_floor_4_0/{n}"}),
            ("sum_u8", "BM_sum_u8/{n}/0", {"read floor": "BM_floor_1_0/{n}"}),
            ("sum_u16", "BM_sum_u16/{n}/0", {"read floor": "BM_floor_2_0/{n}"}),
            ("sum_i16", "BM_sum_i16/{n}/0", {"read floor": "BM_floor_2_0/{n}"}),
            ("sum_f64", "BM_sum_f64/{n}/0", {"read floor": "BM_floor_8_0/{n}"}),
            ("index_gte_u8, hit at the end", "BM_index_gte<uint8_t>/{n}/0",
             {"memchr": "BM_memchr_hit_at_end<uint8_t>/{n}", "read floor": "BM_floor_1_0/{n}"}, ALL_SIZES),
            ("index_gte_u16, hit at the end", "BM_index_gte<uint16_t>/{n}/0",
             {"memchr": "BM_memchr_hit_at_end<uint16_t>/{n}", "read floor": "BM_floor_2_0/{n}"}, ALL_SIZES),
        ]),
    dict(
        title="Triggers",
        text="A rising-edge trigger walked edge by edge over a record with one trigger per 2^20 samples, "
        "against the bare level search walking the same data and memcpy of the same bytes.",
        sizes=(4096, 16777216), columns=["index_gte walk", "memcpy"],
        rows=[
            ("edge_rising_u8", "BM_trigger_edge_rising<uint8_t>/{n}/0",
             {"index_gte walk": "BM_index_gte_walk<uint8_t>/{n}/0", "memcpy": "BM_memcpy_trigger<uint8_t>/{n}"}),
            ("edge_rising_u16", "BM_trigger_edge_rising<uint16_t>/{n}/0",
             {"index_gte walk": "BM_index_gte_walk<uint16_t>/{n}/0", "memcpy": "BM_memcpy_trigger<uint16_t>/{n}"}),
        ]),
    dict(
        title="Windows and the cosine waveform",
        text="Weighting a block, on the task pool (real time), with the weights computed on every call and "
        "with the weights a repeating window keeps; against liquid-dsp (weights computed per sample by its "
        "window function, then a multiply) and numpy/scipy (weights array, then a multiply).",
        sizes=GEN_SIZES, columns=["liquid-dsp", "numpy/scipy"],
        rows=[
            (f"{w}_{s}, {how}", f"BM_window<{t}, morvex_m_window_{w}_{s}>/n:{{n}}/threads:0/kept:{kept}/real_time",
             {"liquid-dsp": f"liquid/{w}_f32/{{n}}" if s == "f32" else None,
              "numpy/scipy": f"{'numpy' if w == 'hanning' else 'scipy'}/{w}_{s}/{{n}}"})
            for w in ("hanning", "blackmanharris") for s, t in (("f32", "float"), ("f64", "double"))
            for kept, how in ((0, "computed"), (1, "kept"))
        ] + [
            (f"waveform_cosine_{s}", f"BM_waveform_cosine<{t}>/n:{{n}}/threads:0/real_time",
             {"numpy/scipy": f"numpy/cosine_{s}/{{n}}"}) for s, t in (("f32", "float"), ("f64", "double"))
        ]),
    dict(
        title="Cosine kernels",
        text="The generators' exact cosine, one thread, each processor kernel against a loop over the C "
        "library's cos computing the same formula.",
        sizes=GEN_SIZES, columns=["cos loop"],
        rows=[
            (f"{g}, {k}", f"gen/{g}/{k}/{{n}}", {"cos loop": f"gen/{g}/cos-loop/{{n}}"})
            for g in ("hanning_f64", "blackmanharris_f64", "cosine_f64") for k in ("avx512", "avx2", "plain")
        ]),
    dict(
        title="Transforms",
        text="Plan execution against the same backend called directly (FFTW with the same plan flags, Eigen), "
        "and numpy.fft.rfft (double precision whatever the input, allocating its output on every call). "
        "Where a backend's own buffers land on the heap moves its time by up to half, so ours and the direct "
        "calls are each timed over up to eight plans made at as many heap placements, an equal share of the "
        "run on each (fewer for the longest transforms, which run only a few times).",
        sizes=(1024, 4096, 65536, 1048576), columns=["FFTW direct", "Eigen direct", "numpy rfft"],
        rows=[
            (f"r2c {s}, plan on {b}", f"dft/{s}/r2c/plan-{b}/{{n}}",
             {f"{'FFTW' if b == 'fftw' else 'Eigen'} direct": f"dft/{s}/r2c/{b}-direct/{{n}}",
              "numpy rfft": f"numpy/rfft_{s}/{{n}}"})
            for s in ("f32", "f64") for b in ("fftw", "eigen")
        ] + [
            (f"c2r {s}, plan on {b}", f"dft/{s}/c2r/plan-{b}/{{n}}",
             {f"{'FFTW' if b == 'fftw' else 'Eigen'} direct": f"dft/{s}/c2r/{b}-direct/{{n}}"})
            for s in ("f32", "f64") for b in ("fftw", "eigen")
        ]),
    dict(
        title="Filters",
        text="Execution of an order-8 Butterworth lowpass (4 sections) and bandpass (8 sections) over 1M "
        "samples, against liquid-dsp's section cascade (single precision) and scipy.signal.sosfilt on the "
        "same sections; freqz of 4096 points against scipy.signal.freqz.",
        sizes=(1048576,), columns=["liquid-dsp", "scipy"],
        rows=[
            (f"execute_{s}, {k} sections", f"BM_filter_execute<{t}>/{w}/0",
             {"liquid-dsp": f"liquid/iir_f32/{w}" if s == "f32" else None, "scipy": f"scipy/sosfilt_{s}/{w}"})
            for s, t in (("f32", "float"), ("f64", "double")) for w, k in ((0, 4), (1, 8))
        ] + [
            ("freqz, pool", "BM_filter_freqz/0/real_time", {"scipy": "scipy/freqz"}, (4096,)),
            ("freqz, one thread", "BM_filter_freqz/1/real_time", {"scipy": "scipy/freqz"}, (4096,)),
        ]),
    dict(
        title="Task pool",
        text="A range split over the pool with a trivial kernel, against the same kernel on the calling "
        "thread (the cost of the hand-off) and against one cache line sent to a spinning thread and back "
        "(the floor under a hand-off to a worker; a split comes in under it when the calling thread takes "
        "its queued chunk back first, as it does when the line between the processors is slow).",
        sizes=(2, 4096), columns=["one thread", "cache-line round trip"],
        rows=[("split", "BM_split_pool/{n}/manual_time",
               {"one thread": "BM_split_one_thread/{n}/manual_time",
                "cache-line round trip": "BM_line_round_trip/{n}/manual_time"})]),
]


def wanted():
    """Every morvex-bench name the tables read (the numpy/scipy peers aside)."""
    names = {f"blockpath/n:{n}/real_time" for n in BLOCKPATH_SIZES}
    for f in FAMILIES:
        for _, ours, refs, *sizes in f["rows"]:
            for n in sizes[0] if sizes else f["sizes"]:
                names |= {x.format(n=n) for x in (ours, *refs.values()) if x}
    return sorted(x for x in names if not x.startswith(("numpy/", "scipy/")))


def run_bench(binary):
    # Only the benchmarks the tables read: the whole program runs for over
    # half an hour with these repetitions.
    special = set("\\^$.|?*+()[]{}")
    exact = "|".join("".join("\\" + c if c in special else c for c in x) for x in wanted())
    # (A benchmark with its own minimum time carries it in its name.)
    out = subprocess.run([binary, f"--benchmark_filter=^({exact})(/min_time:[0-9.]+)?$"] + BENCH_ARGS, check=True,
                         capture_output=True, text=True).stdout
    return json.loads(out)


def medians(report):
    """name -> (ns per call, counters) from the median aggregates."""
    scale = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
    times = {}
    for b in report["benchmarks"]:
        if b.get("aggregate_name", "median") != "median" or b.get("error_occurred"):
            continue
        name = re.sub(r"/min_time:[0-9.]+", "", b["run_name"])
        wall = "/real_time" in name or "/manual_time" in name
        t = (b["real_time"] if wall else b["cpu_time"]) * scale[b["time_unit"]]
        times[name] = (t, b)
    return times


def fmt(ns):
    for unit, s in (("ms", 1e6), ("µs", 1e3)):
        if ns >= s:
            return f"{ns / s:.3g} {unit}"
    return f"{ns:.3g} ns"


def family_table(f, times, missing):
    """The table of a family. A reference may exist at some of a row's sizes
    only (its cell stays empty at the others), but one found at none of them,
    like a benchmark of ours that is absent, is a name that went stale."""
    head = "| kernel | n | ours | " + " | ".join(f["columns"]) + " |"
    lines = [head, "|" + "---|" * (3 + len(f["columns"]))]
    for label, ours, refs, *sizes in f["rows"]:
        found = {col: False for col, ref in refs.items() if ref}
        for n in sizes[0] if sizes else f["sizes"]:
            name = ours.format(n=n)
            if name not in times:
                missing.append(name)
                continue
            t = times[name][0]
            cells = []
            for col in f["columns"]:
                ref = refs.get(col)
                ref = ref.format(n=n) if ref else None
                if ref in times:
                    found[col] = True
                    r = times[ref][0]
                    cells.append(f"{fmt(r)} ({r / t:.2f}x)")
                else:
                    cells.append("")
            lines.append(f"| {label} | {n} | {fmt(t)} | " + " | ".join(cells) + " |")
        missing += [f"{label}: {col} ({refs[col]})" for col, ok in found.items() if not ok]
    return "\n".join(lines)


def blockpath_table(times, missing):
    lines = ["| n | ours | VOLK + FFTW | ratio | ratio, both on the faster FFT call |", "|---|---|---|---|---|"]
    for n in BLOCKPATH_SIZES:
        name = f"blockpath/n:{n}/real_time"
        if name not in times:
            missing.append(name)
            continue
        c = times[name][1]
        lines.append(f"| {n} | {fmt(c['morvex_ns'])} | {fmt(c['peer_ns'])} | {c['ratio']:.2f}x | "
                     f"{c['ratio_same_fft']:.2f}x |")
    return "\n".join(lines)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bench", default="build/release/bench/morvex-bench")
    ap.add_argument("--json", help="an earlier morvex-bench run in JSON")
    args = ap.parse_args()
    report = json.load(open(args.json)) if args.json else run_bench(args.bench)
    times = medians(report)
    times.update({k: (v, {}) for k, v in peers.measure().items()})
    ctx = report["context"]
    model = next((line.split(":", 1)[1].strip() for line in open("/proc/cpuinfo") if line.startswith("model name")),
                 platform.processor())
    missing = []
    out = [
        "# Performance",
        "",
        "Every figure below comes from one run of `morvex-bench` (Google Benchmark) and of the numpy and",
        "scipy peers, on one machine, in one session. Times are medians of five repetitions, each",
        "interleaved at random with the other benchmarks' (so a kernel and its references are timed over",
        "the same stretch of the run), processor time per call for work on the calling thread and real",
        "time where the task pool or a second thread takes part; arrays in cache sit at the same",
        "addresses for ours and the references. In a cell, `time (ratio)` is the reference's",
        "time and the reference's time over ours: above 1 we are faster. Against a byte floor (the",
        "fastest loop that moves the same bytes, with streaming stores out of cache) 1 means the kernel",
        "runs at the memory's speed; against a peer library, at the peer's. The machine is shared:",
        "absolute times move from run to run by 10-20%, the ratios much less.",
        "",
        f"- Machine: {model}, {ctx['num_cpus']} logical processors, "
        + ", ".join(f"L{c['level']} {c['size'] // 1024} KiB" for c in ctx["caches"] if c["type"] != "Instruction"),
        f"- Date: {datetime.date.today().isoformat()}; {platform.system()} {platform.release()}",
        "- Library: a Release build (`cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release`),",
        "  default options (every processor feature the machine has).",
        "- Produced by:",
        "",
        "      cmake --build build/release --target morvex-bench",
        "      MORVEX_M_LIB=build/release/libmorvex-m.so.0 /usr/bin/python3 bench/py/perf_doc.py \\",
        "          --bench build/release/bench/morvex-bench > docs/PERFORMANCE.md",
        "",
        "  `morvex-bench --benchmark_filter=<regex>` runs any row alone; every kernel configuration of",
        "  a row is in `morvex-bench --benchmark_list_tests` (a trailing /0../4 selects all features, AVX-512",
        "  off, AVX2 off, AVX off, plain).",
        "",
    ]
    for f in FAMILIES:
        out += [f"## {f['title']}", "", f["text"], "", family_table(f, times, missing), ""]
    out += ["## Block path", "",
            "Per 4096-sample (and 1M-sample) u8 block: convert to f32, Hann window (the export on every block),",
            "real FFT through a plan on FFTW, magnitude, rising-edge trigger; against the same path written",
            "with VOLK and FFTW called directly with the same plan flags. Medians over the blocks of the run,",
            "real time. The two FFT calls run the same FFTW code on the same arrays, yet either can run at",
            "half speed for a whole run, depending on where FFTW's buffers land on the heap and the stack;",
            "which one does changes from build to build and run to run, and moves the first ratio between",
            "about 0.8x and 2x. The last column gives both paths the faster of the two FFT calls, the share",
            "of the path that is FFTW's alone: the comparison of what the two paths do differently.", "",
            blockpath_table(times, missing), ""]
    if missing:
        sys.exit("benchmarks named by the tables but not in the run:\n  " + "\n  ".join(sorted(set(missing))))
    print("\n".join(out))


if __name__ == "__main__":
    main()
