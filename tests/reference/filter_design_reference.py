"""Oracle data for the filter design tests: firwin, windows, kaiserord, remez, IIR designs
(as scipy's second-order sections), iirnotch and savgol_coeffs.
Run with /usr/bin/python3 from this folder; writes filter_design_reference.txt."""
from fractions import Fraction

import numpy as np
import scipy.signal as sg
from scipy.signal import windows as wins

from refio import array, header

out = [header("filter_design_reference.py")]

# Window kinds in editor order with scipy's symmetric equivalents; the parameter used.
WINDOWS = [
    ("Rectangular", "boxcar", 0.0),
    ("Hanning", "hann", 0.0),
    ("Hamming", "hamming", 0.0),
    ("FlatTop", "flattop", 0.0),
    ("Bartlet", "bartlett", 0.0),
    ("Blackman", ("general_cosine", [0.42, 0.5, 0.08]), -0.16),
    ("BlackmanHarris", "blackmanharris", 0.0),
    ("BlackmanExact", ("general_cosine", [7938 / 18608, 9240 / 18608, 1430 / 18608]), 0.0),
    ("CosineTappered", ("tukey", 0.5), 0.0),
    ("Kaiser", ("kaiser", 5.0), 5.0),
    ("Chebyshev", ("chebwin", 60.0), 60.0),
]
for i, (name, spec, _) in enumerate(WINDOWS):
    for n in (1, 2, 16, 31):
        out.append(array(f"window_{i}_{n}", sg.get_window(spec, n, fftbins=False)))

# firwin: band type -> (cutoffs, pass_zero)
BANDS = {0: ([0.3], True), 1: ([0.3], False), 2: ([0.2, 0.55], False), 3: ([0.2, 0.55], True)}
for t, (cut, pz) in BANDS.items():
    for i, (name, spec, _) in enumerate(WINDOWS):
        for n in (31, 32) if t in (0, 2) else (31,):
            out.append(array(f"firwin_{t}_{i}_{n}", sg.firwin(n, cut, window=spec, pass_zero=pz)))

# Kaiser estimates: (ripple dB, width normalised to Nyquist)
kcases = [(20.0, 0.1), (40.0, 0.05), (60.0, 0.02), (80.0, 0.2), (100.0, 0.01), (8.5, 0.3)]
out.append(array("kaiserord_in", [v for c in kcases for v in c]))
out.append(array("kaiserord_out", [v for c in kcases for v in sg.kaiserord(*c)]))
betas = [0.0, 10.0, 21.0, 30.0, 50.0, 50.5, 60.0, 120.0]
out.append(array("kaiser_beta_in", betas))
out.append(array("kaiser_beta_out", [sg.kaiser_beta(a) for a in betas]))

# Parks-McClellan: (name, numtaps, bands, desired, weight, type, fs)
REMEZ = [
    ("bp", 61, [0, 0.1, 0.15, 0.3, 0.35, 0.5], [0, 1, 0], [1, 2, 1], "bandpass", 1.0),
    ("bp_even", 40, [0, 500, 800, 1500, 1800, 4000], [0, 1, 0], [10, 1, 10], "bandpass", 8000.0),
    ("lp", 101, [0, 0.2, 0.23, 0.5], [1, 0], [1, 30], "bandpass", 1.0),
    ("diff", 31, [0, 0.4], [1], [1], "differentiator", 1.0),
    ("diff_even", 30, [0, 0.45], [1], [1], "differentiator", 1.0),
    ("hilbert", 31, [0.05, 0.45], [1], [1], "hilbert", 1.0),
    ("hilbert_even", 32, [0.05, 0.5], [1], [1], "hilbert", 1.0),
    # Bands that stop short of 0 or fs/2 (the optimum is extrapolated there).
    ("diff_short", 57, [0, 0.37], [1], [1], "differentiator", 1.0),
    ("hilbert_short", 75, [0.09, 0.41], [1], [1], "hilbert", 1.0),
    ("bp_gaps", 68, [0, 0.0167, 0.21, 0.27, 0.42, 0.5], [0, 1, 0], [1, 1, 1], "bandpass", 1.0),
]
for name, n, bands, des, wt, typ, fs in REMEZ:
    out.append(array(f"remez_{name}", sg.remez(n, bands, des, weight=wt, type=typ, fs=fs)))

# IIR: order selection and designs. Templates (wp, ws) normalised; ripple 1 dB, 50 dB.
TEMPLATES = {
    "low": (0.2, 0.3), "high": (0.3, 0.2),
    "pass": ([0.2, 0.5], [0.1, 0.6]), "stop": ([0.1, 0.6], [0.2, 0.5]),
}
KIND = {"low": "lowpass", "high": "highpass", "pass": "bandpass", "stop": "bandstop"}
GP, GS = 1.0, 50.0
for tname, (wp, ws) in TEMPLATES.items():
    for fam, ordfn in (("butter", sg.buttord), ("cheby1", sg.cheb1ord),
                       ("cheby2", sg.cheb2ord), ("ellip", sg.ellipord)):
        n, wn = ordfn(wp, ws, GP, GS)
        out.append(array(f"ord_{fam}_{tname}", [n] + list(np.atleast_1d(wn))))
        if fam == "butter":
            sos = sg.butter(n, wn, KIND[tname], output="sos")
        elif fam == "cheby1":
            sos = sg.cheby1(n, GP, wn, KIND[tname], output="sos")
        elif fam == "cheby2":
            sos = sg.cheby2(n, GS, wn, KIND[tname], output="sos")
        else:
            sos = sg.ellip(n, GP, GS, wn, KIND[tname], output="sos")
        out.append(array(f"sos_{fam}_{tname}", sos))
    wn = [0.25, 0.45] if tname in ("pass", "stop") else 0.3
    for n in (1, 2, 5, 8):
        out.append(array(f"sos_bessel{n}_{tname}", sg.bessel(n, wn, KIND[tname], output="sos")))
# High orders stay accurate as sections.
out.append(array("sos_butter30_pass", sg.butter(30, [0.3, 0.35], "bandpass", output="sos")))
out.append(array("sos_ellip12_stop", sg.ellip(12, 0.1, 90, [0.4, 0.42], "bandstop", output="sos")))
out.append(array("sos_cheby1_20_low", sg.cheby1(20, 0.5, 0.05, "lowpass", output="sos")))
out.append(array("sos_bessel25_low", sg.bessel(25, 0.4, "lowpass", output="sos")))

for w0, q in ((0.25, 30.0), (0.1, 5.0), (0.8, 2.0)):
    b, a = sg.iirnotch(w0, q)
    out.append(array(f"notch_{w0}_{q}", np.concatenate((b, a))))

for n, p in ((5, 2), (11, 3), (31, 4), (12, 3), (21, 0), (7, 6)):
    out.append(array(f"savgol_{n}_{p}", sg.savgol_coeffs(n, p)))


def savgol_exact(n, p):
    """Savitzky-Golay taps in exact rational arithmetic: scipy's least squares on the raw
    Vandermonde matrix loses about 4 digits at length 51, order 10."""
    x = [Fraction(2 * i - (n - 1), 2) for i in range(n)]
    m = [[sum(xi ** (j + k) for xi in x) for k in range(p + 1)] + [Fraction(int(j == 0))]
         for j in range(p + 1)]
    for i in range(p + 1):
        for j in range(i + 1, p + 1):
            f = m[j][i] / m[i][i]
            m[j] = [a - f * c for a, c in zip(m[j], m[i])]
    y = [Fraction(0)] * (p + 1)
    for i in range(p, -1, -1):
        y[i] = (m[i][p + 1] - sum(m[i][k] * y[k] for k in range(i + 1, p + 1))) / m[i][i]
    return [float(sum(y[k] * xi ** k for k in range(p + 1))) for xi in x]


for n, p in ((51, 10), (40, 7)):
    out.append(array(f"savgol_{n}_{p}", savgol_exact(n, p)))

with open("filter_design_reference.txt", "w") as f:
    f.write("".join(out))
