"""Oracle data for the numeric foundation: FFTs, windows and statistics.

Inputs are exact rationals from integer formulas (see signal()), so the C++ tests rebuild the
same doubles without storing them. Long transforms keep every stride-th bin only, which keeps
the file small while still covering the whole spectrum.
Run: /usr/bin/python3 tests/reference/numeric_reference.py > tests/reference/numeric.txt
"""
import numpy as np
from scipy.signal import windows as sw

from refio import array, header

PRIMES = [67, 101, 127, 257, 509, 521, 1021, 1031, 2039, 2053, 4093, 4099]


def signal(n, complex_):
    k = np.arange(n, dtype=np.int64)
    re = ((k * 7919 + 13) % 1009) / 1009.0 - 0.5
    if not complex_:
        return re
    im = ((k * 104729 + 7) % 997) / 997.0 - 0.5
    return re + 1j * im


def stride(n):
    return max(1, n // 512)


def cosine(m, a, sym):
    return sw.general_cosine(m, a, sym=sym)


def window(kind, m, sym):
    if kind == "Rectangular":
        return np.ones(m)
    if kind == "Hanning":
        return sw.hann(m, sym=sym)
    if kind == "Hamming":
        return sw.hamming(m, sym=sym)
    if kind == "FlatTop":
        return cosine(m, [0.2810639, 0.5208972, 0.1980399], sym)
    if kind == "Bartlett":
        return sw.bartlett(m, sym=sym)
    if kind == "Blackman":
        return sw.blackman(m, sym=sym)
    if kind == "BlackmanHarris":
        return cosine(m, [0.42323, 0.49755, 0.07922], sym)
    if kind == "BlackmanExact":
        return cosine(m, [7938 / 18608, 9240 / 18608, 1430 / 18608], sym)
    if kind == "CosineTappered":
        return sw.tukey(m, 0.25, sym=sym)
    if kind == "Kaiser":
        return sw.kaiser(m, 6.0, sym=sym)
    if kind == "Chebyshev":
        return sw.chebwin(m, 60.0, sym=sym)
    if kind == "ExponentWindow":
        # end value 0.01 reached at x = 1, x = k / D
        d = m if not sym else m - 1
        if m == 1:
            return np.ones(1)
        return sw.exponential(m, center=0, tau=d / np.log(100.0), sym=False)
    raise ValueError(kind)


def main():
    out = [header("numeric_reference.py", "inputs: signal(n) in this script")]
    for n in list(range(1, 65)) + PRIMES + [4096, 65536]:
        s = stride(n)
        out.append(array(f"fft_{n}", np.fft.fft(signal(n, True))[::s]))
        out.append(array(f"ifft_{n}", np.fft.ifft(signal(n, True))[::s]))
    for n in list(range(1, 65)) + [1000, 4096, 4099]:
        s = stride(n)
        out.append(array(f"rfft_{n}", np.fft.rfft(signal(n, False))[::s]))
    kinds = ["Rectangular", "Hanning", "Hamming", "FlatTop", "Bartlett", "Blackman", "BlackmanHarris",
             "BlackmanExact", "CosineTappered", "Kaiser", "Chebyshev", "ExponentWindow"]
    for kind in kinds:
        for m in [1, 2, 7, 64, 4096]:
            s = 16 if m == 4096 else 1
            out.append(array(f"win_{kind}_{m}_periodic", window(kind, m, False)[::s]))
            out.append(array(f"win_{kind}_{m}_symmetric", window(kind, m, True)[::s]))
    for n, c in [(1000, False), (777, True)]:
        x = signal(n, c)
        tag = f"stats_{n}"
        mag = np.abs(x)
        order = mag if c else x
        out.append(array(tag, [
            np.real(np.mean(x)), np.imag(np.mean(x)), np.std(x, ddof=1), order.min(), order.max(),
            float(np.argmax(order)), np.sqrt(np.mean(mag ** 2)), mag.max(),
            mag.max() / np.sqrt(np.mean(mag ** 2))]))
    print("".join(out), end="")


if __name__ == "__main__":
    main()
