"""Oracle for the spectrum analyzer's real-cepstrum method (tests/analysis/analyzer_cepstrum_oracle_test.cpp).

The method: frame of n samples minus its mean, times a periodic Hann window, zero padded to the
next power of two L; X = FFT; log of |X| floored at 1e-4; inverse FFT (the real cepstrum);
rotated left by L/2; times a periodic Hann window of length L; FFT again. The analyzer shows
bins 0 .. L/2-1 of the magnitude scaled by (L / n) / (L / 2).
Run with /usr/bin/python3 from this folder: writes analyzer.txt.
"""
import numpy as np
from scipy.signal import windows

from refio import array, header

n = 200
L = 256
t = np.arange(n)
rng = np.random.default_rng(20261122)
# A decaying resonance excited by noise, plus an echo of gain 0.5 after 23 samples.
e = rng.standard_normal(n)
s = np.zeros(n)
for k in range(n):
    s[k] = e[k] + (1.6 * np.cos(0.3) * s[k - 1] - 0.64 * s[k - 2] if k >= 2 else 0.0)
x = s.copy()
x[23:] += 0.5 * s[:-23]
x += 0.25  # a DC offset the method removes

frame = np.zeros(L)
frame[:n] = (x - x.mean()) * windows.hann(n, sym=False)
X = np.fft.fft(frame)
c = np.fft.ifft(np.log(np.maximum(np.abs(X), 1e-4)))

c = np.roll(c, -L // 2) * windows.hann(L, sym=False)
Y = np.fft.fft(c)
amplt = np.abs(Y[: L // 2]) * (L / n) / (L / 2)

with open("analyzer.txt", "w") as f:
    f.write(header("analyzer_reference.py"))
    f.write(array("cepstrum_input", x))
    f.write(array("cepstrum_amplt", amplt))
