"""Peer timings for the estimator benchmarks: Burg's method written with numpy."""
import numpy as np

from _peer import rate, report

def burg(x, p):
    n = len(x)
    f = x.copy()
    b = x.copy()
    a = np.ones(1)
    e = np.dot(x, x) / n
    for m in range(1, p + 1):
        ff = f[m:].copy()
        bb = b[m - 1:n - 1].copy()
        k = -2.0 * np.dot(ff, bb) / (np.dot(ff, ff) + np.dot(bb, bb))
        f[m:] = ff + k * bb
        b[m:] = bb + k * ff
        a = np.concatenate([a, [0.0]])
        a = a + k * a[::-1]
        e *= 1.0 - k * k
    return a, e


def bench_burg4096():
    n, order = 4096, 16
    i = np.arange(n, dtype=float)
    x = np.sin(0.05 * i) + 0.3 * np.sin(0.9 * i + 1)
    return rate(lambda: burg(x, order), n)


if __name__ == "__main__":
    report({"BM_Burg4096_numpy": bench_burg4096})
