"""Shared by the peer scripts: the timing and the command line bench/compare.sh uses."""
import argparse
import json
import re
import time


def rate(fn, items=1, min_time=0.2):
    """Items per second of CPU time, as Google Benchmark reports, after one warm-up call."""
    fn()
    n, start = 0, time.process_time()
    while True:
        fn()
        n += 1
        elapsed = time.process_time() - start
        if elapsed >= min_time:
            return items * n / elapsed


def report(work):
    """work maps a benchmark name to a callable giving its items per second; prints one JSON
    line for each name --filter selects."""
    ap = argparse.ArgumentParser()
    ap.add_argument("--filter", default=".")
    pattern = re.compile(ap.parse_args().filter)
    for name, measure in work.items():
        if pattern.search(name):
            print(json.dumps({"name": name, "items_per_second": measure()}), flush=True)
