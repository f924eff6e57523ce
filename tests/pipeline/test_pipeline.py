# SPDX-License-Identifier: MIT
"""morvex-pipeline on captures written here: WAV files (stdlib wave) and raw
dumps of known signals give known frequencies, levels, edges and pulses,
whatever the block size; bad input gets one line and the right status; a
long capture streams in bounded memory. Usage: test_pipeline.py TOOL"""
import json
import math
import os
import resource
import shutil
import struct
import subprocess
import sys
import tempfile
import time
import wave
import xml.etree.ElementTree as ET

import numpy as np

TOOL = os.path.abspath(sys.argv[1])
TMP = tempfile.mkdtemp(prefix="morvex-pipeline-")
RATE = 48000
FRAMES = 2 * RATE
failed = 0


def check(ok, what):
    global failed
    if not ok:
        failed += 1
        print("FAIL:", what)


def run(*args, cwd=TMP):
    return subprocess.run([TOOL, *args], capture_output=True, text=True, cwd=cwd)


def report(*args):
    p = run("--json", "--out", os.path.join(TMP, "out"), *args)
    check(p.returncode == 0, f"{args}: status {p.returncode}, {p.stderr.strip()}")
    return json.loads(p.stdout) if p.returncode == 0 else None


# The signals, in volts. Channel 0: -A cos of 750 Hz (bin 64 of 4096 at
# 48 kHz, so its level is exact; starting low, it makes 1500 rising edges and
# 1500 pulses of half a period). Channel 1: 200 pulses of 120 samples every
# 480 from sample 100, 0.1 V to 0.6 V. Channel 2: 0.3 V of DC. Channel 3:
# 0.2 V at 750 Hz under 0.5 V at 12 kHz (bin 1024).
t = np.arange(FRAMES)
PULSES = ((t - 100) % 480 < 120) & (t >= 100)
TONES = 0.2 * np.sin(2 * np.pi * 750 * t / RATE) + 0.5 * np.sin(2 * np.pi * 12000 * t / RATE)


def signals(amplitude, channels):
    ch0 = -amplitude * np.cos(2 * np.pi * 750 * t / RATE)
    return [ch0, np.where(PULSES, 0.6, 0.1), np.full(FRAMES, 0.3), TONES][:channels]


# Codes under the tool's default mapping (full scale = 1 V), or volts =
# code * scale + offset.
MAPS = {"u8": (np.uint8, 1 / 128, -1.0), "i8": (np.int8, 1 / 128, 0.0),
        "i16": (np.int16, 1 / 32768, 0.0), "u16": (np.uint16, 1 / 32768, -1.0)}


def codes(volts, kind, scale=None, offset=0.0):
    dtype, s, o = MAPS[kind]
    s, o = (scale, offset) if scale else (s, o)
    info = np.iinfo(dtype)
    c = np.clip(np.rint((np.stack(volts, axis=1) - o) / s), info.min, info.max)
    return c.astype(dtype)


def write_wav(name, frames):
    path = os.path.join(TMP, name)
    with wave.open(path, "wb") as w:
        w.setnchannels(frames.shape[1])
        w.setsampwidth(frames.dtype.itemsize)
        w.setframerate(RATE)
        w.writeframes(frames.astype(frames.dtype.newbyteorder("<")).tobytes())
    return path


def write_raw(name, frames, tail=b""):
    path = os.path.join(TMP, name)
    with open(path, "wb") as f:
        f.write(frames.astype(frames.dtype.newbyteorder("<")).tobytes() + tail)
    return path


def near(a, b, tol):
    return a is not None and abs(a - b) <= tol


# ---------------------------------------------------------------- streaming
# 256 MB of 16-bit stereo WAV, sparse on disk (silence), in memory bounded by
# the block: the peak resident size stays far below the file's size. First,
# so that no other run's peak counts.
big = os.path.join(TMP, "big.wav")
data = 256 << 20
with open(big, "wb") as f:
    f.write(b"RIFF" + struct.pack("<I", 36 + data) + b"WAVEfmt " +
            struct.pack("<IHHIIHH", 16, 1, 2, RATE, RATE * 4, 4, 16) + b"data" + struct.pack("<I", data))
    f.truncate(44 + data)
start = time.monotonic()
p = run("--quiet", "--out", os.path.join(TMP, "big-out"), big)
seconds = time.monotonic() - start
peak_mb = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024
check(p.returncode == 0, f"big capture: {p.returncode} {p.stderr}")
check(peak_mb < 64, f"peak memory {peak_mb:.0f} MB for a 256 MB capture")
print(f"256 MB capture in {seconds:.2f} s, peak resident size {peak_mb:.1f} MB")

# ---------------------------------------------------------------- known captures
# name, file, tool arguments, amplitude of channel 0, volts tolerance
RAW4 = ["--raw", "i16", "--channels", "4", "--rate", str(RATE)]
CASES = [
    ("wav i16", write_wav("a.wav", codes(signals(0.5, 2), "i16")), [], 0.5, 1e-4),
    ("wav u8", write_wav("b.wav", codes(signals(0.5, 2), "u8")), [], 0.5, 0.01),
    ("raw u16, scale and offset", write_raw("c.u16", codes(signals(1.5, 3), "u16", 1e-4, -3.2768)),
     ["--raw", "u16", "--channels", "3", "--rate", str(RATE), "--scale", "1e-4", "--offset", "-3.2768"], 1.5, 1e-4),
    ("raw i8", write_raw("e.i8", codes(signals(0.5, 2), "i8")), ["--raw", "i8", "--channels", "2", "--rate", str(RATE)],
     0.5, 0.01),
    ("raw i16, 4 channels", write_raw("d.i16", codes(signals(0.25, 4), "i16")), RAW4, 0.25, 1e-4),
]
for name, path, args, amp, tol in CASES:
    r = report(*args, path)
    if not r:
        continue
    ch0, ch1 = r["channel"][0], r["channel"][1]
    check(r["frames"] == FRAMES and r["sample_rate"] == RATE, f"{name}: frames {r['frames']}")
    check(ch0["spectrum"]["peak_hz"] == 750, f"{name}: peak at {ch0['spectrum']['peak_hz']} Hz")
    check(near(ch0["spectrum"]["peak_dbv"], 20 * math.log10(amp / math.sqrt(2)), 0.05),
          f"{name}: peak {ch0['spectrum']['peak_dbv']} dBV")
    check(near(ch0["rms"], amp / math.sqrt(2), tol) and near(ch0["mean"], 0, tol), f"{name}: rms {ch0['rms']}")
    check(near(ch0["max"], amp, tol) and near(ch0["min"], -amp, tol), f"{name}: range")
    check(ch0["rising_edges"]["count"] == 1500 and ch0["pulses"]["count"] == 1500, f"{name}: ch0 edges {ch0}")
    check(near(ch0["pulses"]["mean_width_s"], 32 / RATE, 1.01 / RATE), f"{name}: sine pulse {ch0['pulses']}")
    check(near(ch1["mean"], 0.225, tol) and near(ch1["max"], 0.6, tol), f"{name}: ch1 mean {ch1['mean']}")
    check(ch1["rising_edges"]["count"] == 200 and ch1["pulses"]["count"] == 200, f"{name}: ch1 {ch1}")
    check(ch1["rising_edges"]["first"] == [100 + 480 * k for k in range(10)], f"{name}: ch1 first edges")
    widths = [ch1["pulses"][k] for k in ("min_width_s", "mean_width_s", "max_width_s")]
    check(all(near(w, 120 / RATE, 1e-12) for w in widths), f"{name}: widths {widths}")

# The low-pass: the 12 kHz tone goes, 750 Hz passes at its level, and DC
# passes without a start-up transient (the filter starts in steady state).
for args, peak_hz, dbv, dc_min in ((RAW4, 12000, 0.5, 0.2999), (RAW4 + ["--lowpass", "2000"], 750, 0.2, 0.2999)):
    r = report(*args, os.path.join(TMP, "d.i16"))
    ch3 = r["channel"][3]["spectrum"]
    check(ch3["peak_hz"] == peak_hz and near(ch3["peak_dbv"], 20 * math.log10(dbv / math.sqrt(2)), 0.05),
          f"{args}: tones {ch3}")
    check(r["channel"][2]["min"] >= dc_min and r["channel"][1]["pulses"]["count"] == 200, f"{args}: {r['channel']}")

# The files: every one named, the SVGs XML, the PNGs PNG, the CSVs complete.
r = report(os.path.join(TMP, "a.wav"))
out = os.path.join(TMP, "out")
check(sorted(os.path.basename(p) for p in r["outputs"]) ==
      ["spectrum.csv", "spectrum.png", "spectrum.svg", "triggers.csv", "waveform.png", "waveform.svg"], "outputs")
for p in r["outputs"]:
    if p.endswith(".svg"):
        check(ET.parse(p).getroot().tag.endswith("svg"), f"{p} is not SVG")
    if p.endswith(".png"):
        check(open(p, "rb").read(8) == b"\x89PNG\r\n\x1a\n", f"{p} is not PNG")
spectrum = np.genfromtxt(os.path.join(out, "spectrum.csv"), delimiter=",", names=True)
check(len(spectrum) == 2049 and spectrum["frequency_hz"][64] == 750, "spectrum.csv rows")
check(near(spectrum["ch0_dbv"][64], r["channel"][0]["spectrum"]["peak_dbv"], 1e-3), "spectrum.csv level")
rows = np.genfromtxt(os.path.join(out, "triggers.csv"), delimiter=",", names=True)
ch1_rows = rows[rows["channel"] == 1]
check(len(rows) == 1700 and list(ch1_rows["sample"][:3]) == [100, 580, 1060], "triggers.csv rows")
check(np.allclose(ch1_rows["pulse_width_s"], 120 / RATE) and np.allclose(ch1_rows["time_s"], ch1_rows["sample"] / RATE),
      "triggers.csv times")

# ---------------------------------------------------------------- block seams
# Edges, pulses and widths do not depend on where the blocks are cut. The
# levels are given: by default they come from the first block, which a tiny
# block may see flat.
def counts(r):
    return [(c["rising_edges"], c["pulses"]["count"], c["pulses"]["min_width_s"], c["pulses"]["max_width_s"])
            for c in r["channel"]]


LEVELS = ["--level", "0.35", "--hysteresis", "0.1"]
for path, blocks in ((os.path.join(TMP, "b.wav"), (4096, 16, 777, 1000, 65536, 4 * 96000)), (None, (4096, 100, 5000))):
    args = LEVELS + ([path] if path else [])
    base = report(*args)
    for block in blocks[1:]:
        r = report("--block", str(block), *args)
        check(counts(r) == counts(base), f"{path} block {block}: {counts(r)} != {counts(base)}")
        if 2 * r["analysis"]["bin_hz"] <= 750:  # the peak search starts at bin 2
            check(abs(r["channel"][0]["spectrum"]["peak_hz"] - base["channel"][0]["spectrum"]["peak_hz"])
                  <= r["analysis"]["bin_hz"], f"{path} block {block}: peak")

# ---------------------------------------------------------------- the built-in signal
# What the README's first command runs: exit 0, the report names the files,
# and they exist where it says.
readme = tempfile.mkdtemp(dir=TMP)
p = run(cwd=readme)
check(p.returncode == 0 and p.stderr == "", f"built-in: {p.returncode} {p.stderr}")
named = [line.split()[0] for line in p.stdout.splitlines() if line.startswith("  morvex-report/")]
check(len(named) == 6 and all(os.path.getsize(os.path.join(readme, f)) > 0 for f in named), f"built-in files {named}")
b = report()
check(near(b["channel"][0]["spectrum"]["peak_hz"], 1000, 1e-9) and near(b["channel"][0]["spectrum"]["peak_dbv"],
      20 * math.log10(0.5 / math.sqrt(2)), 0.05), "built-in sine")
check(b["channel"][1]["pulses"]["count"] == 1024 and near(b["channel"][1]["pulses"]["max_width_s"], 0.0005, 1e-12),
      "built-in pulses")

# ---------------------------------------------------------------- bad input
# One line on stderr, naming the problem, and status 1 (input) or 2 (usage).
EMPTY = write_raw("empty.raw", np.zeros(0, np.uint8))
TEXT = write_raw("notes.txt", np.frombuffer(b"not a sound file\n" * 10, np.uint8))
NO_FRAMES = write_wav("silent.wav", np.zeros((0, 2), np.int16))
ONE_BYTE = write_raw("one.raw", np.zeros(1, np.uint8))
RAW = ["--raw", "i16", "--rate", "1000"]
BAD = [
    (["/nonexistent/capture.wav"], 1, "No such file or directory"),
    ([TMP], 1, "is a directory"),
    ([EMPTY], 1, "is empty"),
    ([TEXT], 1, "as a sound file"),
    ([NO_FRAMES], 1, "holds no samples"),
    ([*RAW, ONE_BYTE], 1, "holds no whole frame"),
    ([*RAW, EMPTY], 1, "is empty"),
    ([*RAW, "--channels", "0", TEXT], 2, "--channels must be at least 1"),
    (["--raw", "f64", "--rate", "1000", TEXT], 2, "unknown sample type 'f64'"),
    (["--block", "0"], 2, "--block must be between"),
    (["--block", "-5"], 2, "--block needs a whole number"),
    (["--raw", "u8", TEXT], 2, "--raw needs --rate"),
    (["--rate", "1000"], 2, "describe --raw captures only"),
    (["--lowpass", "64000"], 2, "--lowpass must be below half the sample rate"),
    (["--hysteresis", "0"], 2, "--hysteresis must be positive"),
    (["--level", "x"], 2, "--level needs a finite number"),
    (["--frobnicate"], 2, "unknown option"),
    (["a.wav", "b.wav"], 2, "more than one capture"),
    (["--out", "/proc/version/x"], 1, "cannot create the output directory"),
]
for args, status, message in BAD:
    p = run(*args, "--out", os.path.join(TMP, "bad")) if "--out" not in args else run(*args)
    lines = p.stderr.splitlines()
    check(p.returncode == status and len(lines) == 1 and lines[0].startswith("morvex-pipeline: ")
          and message in lines[0], f"{args}: status {p.returncode}, stderr {p.stderr!r}")

# A raw capture that ends in a partial frame: the whole frames, and a warning.
frames = codes(signals(0.5, 2), "i16")
p = run("--json", "--out", os.path.join(TMP, "out"), *RAW, "--channels", "2",
        write_raw("partial.i16", frames, tail=b"\x01\x02\x03"))
check(p.returncode == 0 and json.loads(p.stdout)["frames"] == FRAMES and "partial frame" in p.stderr
      and len(p.stderr.splitlines()) == 1, f"partial frame: {p.returncode} {p.stderr!r}")

shutil.rmtree(TMP)
print("all checks passed" if failed == 0 else f"{failed} checks failed")
sys.exit(1 if failed else 0)
