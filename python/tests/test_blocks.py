# SPDX-License-Identifier: MIT
"""A record cut into random blocks gives what one call over the record gives."""
import signal

import numpy as np
import pytest

import morvex as m

rng = np.random.default_rng(4)


def cuts(n, pieces=12):
    edges = np.sort(rng.choice(np.arange(1, n), pieces - 1, replace=False))
    return np.split(np.arange(n), edges)


# Runs at three levels (20 below every band, 120 inside, 200 above), 1 to 30 samples long.
LEVELS = np.repeat(rng.choice([20, 120, 200], 400), rng.integers(1, 30, 400))
TIMED = dict(upper=160, lower=60, mode="between", time1=3, time2=20)
TRIGGERS = {
    "edge_rising": dict(arm_level=60, level=160), "edge_falling": dict(arm_level=160, level=60),
    "edge_any": dict(arm_level_high=160, arm_level_low=60, level=110),
    "window_inside": dict(high=160, low=60), "window_outside": dict(high=160, low=60),
    "window_enter": dict(high_arm=190, high=160, low_arm=40, low=60),
    "window_exit": dict(high_arm=140, high=160, low_arm=80, low=60),
    **{k: TIMED for k in m.TRIGGER_KINDS if k.startswith(("interval", "pulse", "runt"))},
}


@pytest.mark.parametrize("kind", sorted(TRIGGERS))
@pytest.mark.parametrize("dtype", [np.uint8, np.float32])
def test_triggers(kind, dtype):
    x = LEVELS.astype(dtype)
    whole = m.Trigger(kind, dtype, **TRIGGERS[kind]).find_all(x)
    t = m.Trigger(kind, dtype, **TRIGGERS[kind])
    blocks = np.concatenate([t.find_all(x[i]) + i[0] for i in cuts(x.size)])
    assert whole.size and np.array_equal(whole, blocks)
    t.reset()
    assert np.array_equal(t.find_all(x), whole)  # reset forgets the state of the last block


def test_edges_of_a_square_wave():
    x = m.Square(40, 10, 250, 0.25, dtype=np.uint8)(4000)
    t = m.Trigger("edge_rising", np.uint8, arm_level=100, level=140)
    assert np.array_equal(t.find_all(x), np.arange(40, 4000, 40))  # the first high run is not armed
    signal.alarm(20)  # equal levels: a pulse ends at the earliest on the sample after its start
    assert m.Trigger("pulse_width_positive", np.uint8, upper=5, lower=5).find_all([1, 5, 1, 5, 1]).tolist() == [2, 4]
    signal.alarm(0)


@pytest.mark.parametrize("dtype", [np.float32, np.float64])
def test_filters_unwrap_and_waveforms(dtype):
    x = rng.standard_normal(5000).astype(dtype)
    for make in (lambda: m.Filter.chebyshev1("bandpass", 4, 1e3, 50, 200, ripple_db=0.5),
                 lambda: m.Filter.notch(1e3, 60, 10)):
        f = make()
        whole = f(x)
        f.reset()
        assert np.array_equal(np.concatenate([f(x[i]) for i in cuts(x.size)]), whole)
    lp = m.Filter.butterworth("lowpass", 3, 1e3, 100)
    lp.reset(steady=True)
    assert np.allclose(lp(np.full(100, 2.5, dtype)), 2.5, rtol=1e-5)  # no start-up transient

    phase = (np.cumsum(x) % (2 * np.pi) - np.pi).astype(dtype)
    u = m.Unwrapper(dtype)
    assert np.array_equal(np.concatenate([u(phase[i]) for i in cuts(phase.size)] + [u([])]), m.unwrap(phase))

    wave = m.Cosine(64, 3.0, symmetry=0.3, phase=0.25, dtype=dtype)
    whole = wave(5000)
    wave.phase = 0.25
    assert np.array_equal(np.concatenate([wave(i.size) for i in cuts(5000)]), whole)
