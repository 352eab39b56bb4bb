"""scipy peers of the streaming filter kernels: the same 2^22-sample stream as
bench/kernels_bench.cpp, in blocks of 4096 with the filter state carried (zi), or the whole
array at once where scipy has no streaming form. Prints one JSON line per work item."""
import numpy as np
from scipy import signal

from _peer import rate, report

STREAM = 1 << 22
BLOCK = 4096


def stream():
    i = np.arange(STREAM, dtype=float)
    return np.sin(0.001 * i) + 0.25 * np.sin(1.3 * i)


def low_pass(n):
    j = np.arange(n)
    t = j - 0.5 * (n - 1)
    w = 0.54 - 0.46 * np.cos(2 * np.pi * j / (n - 1))
    with np.errstate(invalid="ignore", divide="ignore"):
        h = np.where(t == 0, 0.2, np.sin(0.2 * np.pi * t) / (np.pi * t))
    return h * w


def fir_blocks(x, h):
    def run():
        zi = np.zeros(len(h) - 1)
        for i in range(0, STREAM, BLOCK):
            _, zi = signal.lfilter(h, 1.0, x[i:i + BLOCK], zi=zi)
    return run


def sos_blocks(x, sos):
    def run():
        zi = np.zeros((sos.shape[0], 2))
        for i in range(0, STREAM, BLOCK):
            _, zi = signal.sosfilt(sos, x[i:i + BLOCK], zi=zi)
    return run


def main():
    x = stream()
    works = {
        "BM_Fir64_scipy": lambda: fir_blocks(x, low_pass(64)),
        "BM_Fir512_scipy": lambda: fir_blocks(x, low_pass(512)),
        "BM_Sos8_scipy": lambda: sos_blocks(x, signal.butter(8, 0.1, output="sos")),
        "BM_Decim4_scipy": lambda: (lambda h=low_pass(64): lambda: signal.upfirdn(h, x, 1, 4))(),
        "BM_Interp4_scipy": lambda: (lambda h=low_pass(64): lambda: signal.upfirdn(h, x, 4, 1))(),
    }
    report({name: (lambda make=make: rate(make(), STREAM, min_time=0.5)) for name, make in works.items()})


if __name__ == "__main__":
    main()
