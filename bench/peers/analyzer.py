"""scipy peers of bench/analyzer_bench.cpp: one JSON line per work item (items are frames)."""
import numpy as np
from scipy import signal

from _peer import rate, report

def main():
    rng = np.random.default_rng(1)
    work = {}
    for n in (4096, 65536):
        x = rng.standard_normal(n)
        # One frame: Hann window, one-sided spectrum (amplitude scaling as the analyzer's).
        fn = lambda x=x: signal.periodogram(x, fs=48000.0, window="hann", detrend=False, scaling="spectrum")
        work[f"BM_Analyzer{n}_scipy"] = lambda fn=fn: rate(fn)
    report(work)


if __name__ == "__main__":
    main()
