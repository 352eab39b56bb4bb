"""scipy peers of bench/czt_bench.cpp: one JSON line per work item.

BM_Czt1000: a 4096-sample real frame zoomed onto 1000 points. The planned peer reuses a
scipy.signal.CZT object (its precomputed chirps), as sigflow reuses its plan; the one-shot
peer calls scipy.signal.czt, which builds them on every call. Items are input samples.
"""
import argparse
import cmath
import json
import re
import timeit

import numpy as np
import scipy.signal


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
    n, m, fs, f0, df = 4096, 1000, 48000.0, 1000.0, 0.5
    x = np.random.default_rng(1).standard_normal(n)
    w = cmath.exp(-2j * cmath.pi * df / fs)
    a = cmath.exp(2j * cmath.pi * f0 / fs)
    plan = scipy.signal.CZT(n, m, w, a)
    work = {
        "BM_Czt1000_scipy": (lambda: plan(x), n),
        "BM_Czt1000Oneshot_scipy": (lambda: scipy.signal.czt(x, m, w, a), n),
    }
    pattern = re.compile(args.filter)
    for name, (fn, items) in work.items():
        if pattern.search(name):
            print(json.dumps({"name": name, "items_per_second": rate(fn, items)}))


if __name__ == "__main__":
    main()
