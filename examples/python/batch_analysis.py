#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Analyse a folder of captures, on one process or spread over a Dask cluster.

A capture is an .npz file with ``samples`` (raw ADC codes, uint8, uint16 or
int16), ``sample_rate`` (Hz), ``scale`` and ``offset`` (volts = code * scale
+ offset). For each capture the script reports:

- rising edges, armed below 30 % of the signal's span and firing at 70 %;
- pulse widths, from each rising edge to the next falling edge (mean and
  standard deviation);
- the peak of the averaged amplitude spectrum (Hann-weighted blocks of 4096
  samples, DC left out): its frequency and its amplitude in volts.

Usage::

    batch_analysis.py FOLDER                               # this process only
    batch_analysis.py FOLDER --workers 4                   # a local cluster of 4 processes
    batch_analysis.py FOLDER --scheduler tcp://host:8786   # a running Dask cluster
    batch_analysis.py FOLDER --make-demo 20                # first write 20 demo captures

Every worker needs the ``morvex`` package installed and must see FOLDER under
the same path (a shared file system); the table is written as CSV to stdout
or to ``--out``.
"""
import argparse
import csv
import sys
from pathlib import Path

import numpy as np

import morvex

COLUMNS = ("capture", "samples", "edges", "pulses", "width_mean_s", "width_std_s", "peak_hz", "peak_v")


def edges(raw, kind, arm_level, level, block=1 << 16):
    """Sample indices of every edge of one kind, the record read block by block."""
    trigger = morvex.Trigger(kind, raw.dtype, arm_level=arm_level, level=level)
    found = [trigger.find_all(raw[i:i + block]) + i for i in range(0, raw.size, block)]
    return np.concatenate(found) if found else np.empty(0, np.int64)


def averaged_spectrum(raw, scale, offset, nfft=4096):
    """Mean one-sided amplitude spectrum (volts) of the record's whole blocks."""
    plan = morvex.RealFFT(nfft, np.float32)
    total = np.zeros(nfft // 2 + 1)
    blocks = raw.size // nfft
    for k in range(blocks):
        volts = morvex.convert(raw[k * nfft:(k + 1) * nfft], scale, offset)
        morvex.window("hanning", volts, out=volts)
        total += morvex.magnitude(plan(volts, norm="amplitude"))
    return total / max(blocks, 1)


def analyse(path):
    """One row of the table for one capture file."""
    with np.load(path) as f:
        raw, fs = f["samples"], float(f["sample_rate"])
        scale, offset = float(f["scale"]), float(f["offset"])
    low, high = (int(v) for v in morvex.minmax(raw))
    arm, level = low + (high - low) * 3 // 10, low + (high - low) * 7 // 10
    rises = edges(raw, "edge_rising", arm, level)
    falls = edges(raw, "edge_falling", level, arm)
    after = np.searchsorted(falls, rises)  # the first fall after each rise ends its pulse
    ended = after < falls.size
    widths = (falls[after[ended]] - rises[ended]) / fs
    spectrum = averaged_spectrum(raw, scale, offset)
    peak = 1 + int(np.argmax(spectrum[1:]))
    return dict(capture=Path(path).name, samples=raw.size, edges=rises.size, pulses=widths.size,
                width_mean_s=float(widths.mean()) if widths.size else float("nan"),
                width_std_s=float(widths.std()) if widths.size else float("nan"),
                peak_hz=peak * fs / 4096, peak_v=float(spectrum[peak]))


def run_local(paths):
    """The table, computed on this process."""
    return [analyse(p) for p in paths]


def run_dask(paths, client):
    """The table, one task per capture on the cluster behind ``client``."""
    return client.gather(client.map(analyse, [str(p) for p in paths]))


def make_demo_captures(folder, count, samples=1 << 20, seed=0):
    """Writes ``count`` captures of noisy 8-bit pulse trains, each of its own period and duty cycle."""
    folder = Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    paths = []
    for i in range(count):
        period, duty = 50.0 + 13 * i, 0.2 + 0.05 * (i % 10)
        raw = morvex.Square(period, 40, 210, duty, dtype=np.uint8)(samples)
        morvex.add_noise(raw, 6, seed=seed + i, out=raw)
        paths.append(folder / f"capture_{i:04d}.npz")
        np.savez(paths[-1], samples=raw, sample_rate=1e6, scale=0.01, offset=-1.28, period=period, duty=duty)
    return paths


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    ap.add_argument("folder")
    where = ap.add_mutually_exclusive_group()
    where.add_argument("--workers", type=int, help="run on a local cluster of this many worker processes")
    where.add_argument("--scheduler", help="run on the Dask cluster of this scheduler (tcp://host:8786)")
    ap.add_argument("--make-demo", type=int, metavar="N", help="write N demo captures into FOLDER first")
    ap.add_argument("--out", help="CSV file to write (default: stdout)")
    args = ap.parse_args()

    if args.make_demo:
        make_demo_captures(args.folder, args.make_demo)
    paths = sorted(Path(args.folder).glob("*.npz"))
    if args.scheduler or args.workers:
        from dask.distributed import Client, LocalCluster
        if args.scheduler:
            with Client(args.scheduler) as client:
                rows = run_dask(paths, client)
        else:
            with LocalCluster(n_workers=args.workers, threads_per_worker=1, dashboard_address=None) as cluster, \
                    Client(cluster) as client:
                rows = run_dask(paths, client)
    else:
        rows = run_local(paths)

    with open(args.out, "w", newline="") if args.out else sys.stdout as out:
        writer = csv.DictWriter(out, COLUMNS)
        writer.writeheader()
        writer.writerows(rows)


if __name__ == "__main__":
    main()
