"""scipy peers of bench/czt_bench.cpp: one JSON line per work item.

BM_Czt1000: a 4096-sample real frame zoomed onto 1000 points. The planned peer reuses a
scipy.signal.CZT object (its precomputed chirps), as sigflow reuses its plan; the one-shot
peer calls scipy.signal.czt, which builds them on every call. Items are input samples.
"""
import cmath

import numpy as np
import scipy.signal

from _peer import rate, report

def main():
    n, m, fs, f0, df = 4096, 1000, 48000.0, 1000.0, 0.5
    x = np.random.default_rng(1).standard_normal(n)
    w = cmath.exp(-2j * cmath.pi * df / fs)
    a = cmath.exp(2j * cmath.pi * f0 / fs)
    plan = scipy.signal.CZT(n, m, w, a)
    report({
        "BM_Czt1000_scipy": lambda: rate(lambda: plan(x), n),
        "BM_Czt1000Oneshot_scipy": lambda: rate(lambda: scipy.signal.czt(x, m, w, a), n),
    })


if __name__ == "__main__":
    main()
