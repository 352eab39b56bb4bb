"""numpy peer of BM_SineGeneratorComponent: A sin(2 pi f t + phi) over a 4096-sample block."""
import argparse
import json
import re
import timeit

import numpy as np


def sine_component(n=4096):
    fs, f, phi, a = 48000.0, 1000.0, 0.3, 1.0
    state = {"start": 0}

    def block():
        t = (state["start"] + np.arange(n)) / fs
        out = a * np.sin(2 * np.pi * f * t + phi)
        state["start"] += n
        return out

    number = 2000
    best = min(timeit.repeat(block, number=number, repeat=5))
    return {"name": f"BM_SineGeneratorComponent_numpy/{n}", "items_per_second": n * number / best}


WORK = {"BM_SineGeneratorComponent_numpy/4096": sine_component}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--filter", default=".")
    args = parser.parse_args()
    for name, fn in WORK.items():
        if re.search(args.filter, name):
            print(json.dumps(fn()))


if __name__ == "__main__":
    main()
