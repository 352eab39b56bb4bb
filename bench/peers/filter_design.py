"""Filter design peers: scipy.signal.remez and scipy.signal.ellip on the work of
bench/filter_design_bench.cpp. Prints one JSON line per work item."""
import argparse
import json
import re
import time

import scipy.signal as sg


def rate(fn, min_time=0.2):
    fn()
    n, start = 0, time.perf_counter()
    while True:
        fn()
        n += 1
        elapsed = time.perf_counter() - start
        if elapsed >= min_time:
            return n / elapsed


WORK = {
    "BM_Remez255_scipy": lambda: sg.remez(255, [0, 0.2, 0.23, 0.5], [1, 0], weight=[1, 10]),
    "BM_Ellip10_scipy": lambda: sg.ellip(10, 0.5, 60, [0.2, 0.4], "bandpass", output="sos"),
}

if __name__ == "__main__":
    ap = argparse.ArgumentParser()
    ap.add_argument("--filter", default=".")
    args = ap.parse_args()
    for name, fn in WORK.items():
        if re.search(args.filter, name):
            print(json.dumps({"name": name, "items_per_second": rate(fn)}))
