"""Oracle data for the triangle and chirp generators (writes tones_reference.txt).

Triangle: scipy.signal.sawtooth(2 pi F n / Fs + phase + pi a, width=a), the rising zero
crossing placed at the phase. Chirp: scipy.signal.chirp(method='linear') with a sine
(phi - 90 degrees), the amplitude ramp and offset applied here; the sweep repeats every
period with the phase carried on, and after the duty share of the period the frequency holds.
Run with /usr/bin/python3 from the repository root or from tests/reference.
"""
import os

import numpy as np
from scipy import signal

from refio import array, header

HERE = os.path.dirname(os.path.abspath(__file__))

TRI_F, TRI_FS, TRI_PHASE, TRI_AMP, TRI_N = 997.3, 44100.0, 0.3, 2.0, 2048
TRI_ASYM = [0.5, 0.2, 0.85, 0.0, 1.0]

# start freq Hz, phase rad, start amp, offset, stop freq Hz, end amp, duty, period, fs
CHIRPS = [
    [100.0, np.pi / 6, 1.0, 0.1, 5000.0, 0.5, 1.0, 2400, 48000.0],
    [3000.0, -1.0, 0.5, 0.0, 200.0, 2.0, 0.6, 1000, 44100.0],
]


def triangle(a):
    n = np.arange(TRI_N)
    t = 2 * np.pi * TRI_F * n / TRI_FS + TRI_PHASE + np.pi * a
    return TRI_AMP * signal.sawtooth(t, width=a)


def chirp_periods(p, periods):
    f1, phase, a1, dc, f2, a2, duty, length, fs = p
    length = int(length)
    d = duty * length  # sweep length in samples
    t1 = d / fs
    j = np.arange(length)
    t = j / fs
    amp = a1 + (a2 - a1) * j / length
    # cycles run up by one whole period: the sweep, then the hold at f2
    period_cycles = f1 * t1 + 0.5 * (f2 - f1) * t1 + f2 * (length - d) / fs
    out = []
    for k in range(periods):
        start = (k * period_cycles) % 1.0
        phi_deg = np.degrees(phase) - 90.0 + 360.0 * start
        sweep = signal.chirp(t, f0=f1, t1=t1, f1=f2, method="linear", phi=phi_deg)
        held_cycles = f1 * t1 + 0.5 * (f2 - f1) * t1 + f2 * (t - t1)
        held = np.sin(2 * np.pi * (start + held_cycles) + phase)
        x = np.where(j < d, sweep, held)
        out.append(dc + amp * x)
    return np.concatenate(out)


def main():
    text = header("tones_reference.py", "triangle: sawtooth(width=a); chirp: chirp(method='linear')")
    text += array("triangle_params", [TRI_F, TRI_FS, TRI_PHASE, TRI_AMP])
    text += array("triangle_asym", TRI_ASYM)
    for i, a in enumerate(TRI_ASYM):
        text += array(f"triangle_{i}", triangle(a))
    for i, p in enumerate(CHIRPS):
        text += array(f"chirp_params_{i}", p)
        text += array(f"chirp_{i}", chirp_periods(p, 3))
    with open(os.path.join(HERE, "tones_reference.txt"), "w") as f:
        f.write(text)


if __name__ == "__main__":
    main()
