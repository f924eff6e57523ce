# SPDX-License-Identifier: MIT
"""The batch example gives one table on one process and on two Dask workers."""
import sys
from pathlib import Path

import numpy as np
import pytest

pytestmark = pytest.mark.filterwarnings("ignore::DeprecationWarning")  # from the Debian tornado under Dask
# Spawned Dask workers start with this process's sys.path, so they import the example by name too.
sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "examples" / "python"))
import batch_analysis as batch  # noqa: E402


def test_dask_and_one_process_give_the_same_table(tmp_path):
    distributed = pytest.importorskip("distributed")
    paths = batch.make_demo_captures(tmp_path, 4, samples=200_000)
    local = batch.run_local(paths)
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster, \
            distributed.Client(cluster) as client:
        assert batch.run_dask(paths, client) == local
    for row, path in zip(local, paths):
        with np.load(path) as f:
            period, duty = float(f["period"]), float(f["duty"])
        assert abs(row["edges"] - 200_000 / period) <= 1 and row["pulses"] >= row["edges"] - 1
        assert row["width_mean_s"] == pytest.approx(period * duty * 1e-6, abs=1e-6)
        assert abs(row["peak_hz"] - 1e6 / period) <= 1e6 / 4096  # within a bin of the fundamental
