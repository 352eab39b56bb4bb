"""scipy peers of bench/analyzer_bench.cpp: one JSON line per work item (items are frames)."""
import argparse
import json
import re
import timeit

import numpy as np
from scipy import signal


def rate(fn, items, min_time=0.2):
    n = 1
    while True:
        t = timeit.timeit(fn, number=n)
        if t >= min_time:
            return items * n / t
        n *= 2


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--filter", default=".")
    args = ap.parse_args()
    rng = np.random.default_rng(1)
    work = {}
    for n in (4096, 65536):
        x = rng.standard_normal(n)
        # One frame: Hann window, one-sided spectrum (amplitude scaling as the analyzer's).
        work[f"BM_Analyzer{n}_scipy"] = (
            lambda x=x: signal.periodogram(x, fs=48000.0, window="hann", detrend=False, scaling="spectrum"), 1)
    pattern = re.compile(args.filter)
    for name, (fn, items) in work.items():
        if pattern.search(name):
            print(json.dumps({"name": name, "items_per_second": rate(fn, items)}))


if __name__ == "__main__":
    main()
