"""numpy peers of bench/numeric_bench.cpp: one JSON line per work item."""
import argparse
import json
import re
import timeit

import numpy as np


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
        x = rng.standard_normal(n) + 1j * rng.standard_normal(n)
        work[f"BM_FftComplex{n}_numpy"] = (lambda x=x: np.fft.fft(x), n)
    r = rng.standard_normal(4096)
    work["BM_FftReal4096_numpy"] = (lambda: np.fft.rfft(r), 4096)
    a = rng.uniform(0.999, 1.001, 1 << 20)
    b = rng.uniform(0.999, 1.001, 1 << 20)
    work["BM_VecMul_numpy"] = (lambda: np.multiply(a, b, out=a), 1 << 20)
    work["BM_VecAdd_numpy"] = (lambda: np.add(a, b, out=a), 1 << 20)
    pattern = re.compile(args.filter)
    for name, (fn, items) in work.items():
        if pattern.search(name):
            print(json.dumps({"name": name, "items_per_second": rate(fn, items)}))


if __name__ == "__main__":
    main()
