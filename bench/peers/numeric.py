"""numpy peers of bench/numeric_bench.cpp: one JSON line per work item."""
import numpy as np

from _peer import rate, report

def main():
    rng = np.random.default_rng(1)
    work = {}
    for n in (4096, 65536):
        x = rng.standard_normal(n) + 1j * rng.standard_normal(n)
        work[f"BM_FftComplex{n}_numpy"] = lambda x=x, n=n: rate(lambda: np.fft.fft(x), n)
    r = rng.standard_normal(4096)
    work["BM_FftReal4096_numpy"] = lambda: rate(lambda: np.fft.rfft(r), 4096)
    a = rng.uniform(0.999, 1.001, 1 << 20)
    b = rng.uniform(0.999, 1.001, 1 << 20)
    work["BM_VecMul_numpy"] = lambda: rate(lambda: np.multiply(a, b, out=a), 1 << 20)
    work["BM_VecAdd_numpy"] = lambda: rate(lambda: np.add(a, b, out=a), 1 << 20)
    report(work)


if __name__ == "__main__":
    main()
