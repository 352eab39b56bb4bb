"""Oracle data for the streaming filter kernels (FIR, polyphase rate change, second-order
sections, running median, envelope). Run with /usr/bin/python3; writes kernels.txt."""
import os

import numpy as np
from scipy import signal

from refio import array, header

N = 2048
rng = np.random.default_rng(20261121)
x = rng.standard_normal(N)
xc = rng.standard_normal(N) + 1j * rng.standard_normal(N)
h17 = rng.standard_normal(17)
h64 = signal.firwin(64, 0.2)
hc = rng.standard_normal(23) + 1j * rng.standard_normal(23)

out = [header("kernels_reference.py", f"N = {N}, numpy default_rng(20261121)")]
a = out.append
a(array("x", x))
a(array("xc", xc))
a(array("h17", h17))
a(array("h64", h64))
a(array("hc", hc))

# Plain filtering: lfilter of the whole signal.
a(array("fir_h64_x", signal.lfilter(h64, 1.0, x)))
a(array("fir_h17_x", signal.lfilter(h17, 1.0, x)))
a(array("fir_h17_xc", signal.lfilter(h17, 1.0, xc)))
a(array("fir_hc_x", signal.lfilter(hc, 1.0, x)))
a(array("fir_hc_xc", signal.lfilter(hc, 1.0, xc)))
# Long filters (the FFT path): a low-pass and its shift to 0.1 of the sampling rate.
h512 = signal.firwin(512, 0.1)
h512c = h512 * np.exp(2j * np.pi * 0.1 * np.arange(512))
a(array("h512", h512))
a(array("h512c", h512c))
a(array("fir_h512_x", signal.lfilter(h512, 1.0, x)))
a(array("fir_h512c_xc", signal.lfilter(h512c, 1.0, xc)))


# Rate change: the up-sampled stream of N inputs holds N*U slots; the output reads w at
# i*D + DownDelay, where w is upfirdn's up-sampled-and-filtered stream delayed by UpDelay.
def rate(h, sig, up, updelay, down, downdelay):
    w0 = signal.upfirdn(h, sig, up, 1)
    w = np.concatenate([np.zeros(updelay, dtype=w0.dtype), w0])[: len(sig) * up]
    return w[downdelay::down]


xs = x[:200]
xcs = xc[:200]
h13 = h17[:13]
for up in range(1, 6):
    for down in range(1, 6):
        a(array(f"updown_{up}_0_{down}_0", signal.upfirdn(h13, xs, up, down)[: -(-200 * up // down)]))
delayed = [(3, 2, 2, 1), (5, 4, 3, 2), (1, 0, 5, 3), (4, 1, 1, 0), (2, 1, 4, 3)]
for up, ud, down, dd in delayed:
    a(array(f"updown_{up}_{ud}_{down}_{dd}", rate(h13, xs, up, ud, down, dd)))
a(array("updown_c_3_1_2_1", rate(hc, xcs, 3, 1, 2, 1)))
a(array("updown_rc_2_1_3_2", rate(hc, xs, 2, 1, 3, 2)))

# Second-order sections, orders 2 to 20, stored with the filters they produce.
designs = [
    ("butter2", signal.butter(2, 0.3, output="sos")),
    ("cheby1_3", signal.cheby1(3, 1.0, 0.25, output="sos")),
    ("butter8", signal.butter(8, 0.1, output="sos")),
    ("cheby2_9", signal.cheby2(9, 60.0, [0.2, 0.4], btype="bandpass", output="sos")),
    ("ellip13", signal.ellip(13, 0.5, 80.0, 0.35, output="sos")),
    ("butter20", signal.butter(20, 0.05, btype="highpass", output="sos")),
]
for name, sos in designs:
    a(array(f"sos_{name}", sos))
    a(array(f"sosfilt_{name}_x", signal.sosfilt(sos, x)))
a(array("sosfilt_ellip13_xc", signal.sosfilt(designs[4][1], xc)))

# Running median: medfilt pads with zeros; even windows by numpy.median of zero-led windows.
for n in (1, 3, 31, 101):
    a(array(f"medfilt_{n}", signal.medfilt(x, n)))
padded = np.concatenate([np.zeros(3), x])
a(array("median_even_4", np.median(np.lib.stride_tricks.sliding_window_view(padded, 4), axis=1)))


# Envelope: magnitude of x[k-c] + j (hilbert * x)[k], then a moving average over n.
def analytic_taps(n):
    lh = max(n, 3) | 1
    c = (lh - 1) // 2
    k = np.arange(lh)
    d = k - c
    w = 0.54 - 0.46 * np.cos(2 * np.pi * k / (lh - 1))
    h = np.zeros(lh)
    odd = d % 2 != 0
    h[odd] = 2.0 / (np.pi * d[odd]) * w[odd]
    return (d == 0).astype(float) + 1j * h


for n in (1, 16, 31):
    mag = np.abs(signal.lfilter(analytic_taps(n), 1.0, x))
    a(array(f"envelope_{n}", signal.lfilter(np.full(n, 1.0 / n), 1.0, mag)))

path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "kernels.txt")
with open(path, "w") as f:
    f.write("".join(out))
