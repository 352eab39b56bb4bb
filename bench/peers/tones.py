"""numpy peer of BM_SineGenerator (the tone kernel) and BM_SineGeneratorComponent (the
generator component): A sin(2 pi f t + phi) over a 4096-sample block, the same work for both."""
import argparse
import json
import re
import timeit

import numpy as np


def sine_generator(n=4096):
    fs, f, phi, a = 48000.0, 1000.0, 0.3, 1.0
    state = {"start": 0}

    def block():
        t = (state["start"] + np.arange(n)) / fs
        out = a * np.sin(2 * np.pi * f * t + phi)
        state["start"] += n
        return out

    number = 2000
    best = min(timeit.repeat(block, number=number, repeat=5))
    return n * number / best


WORK = ["BM_SineGenerator_numpy/4096", "BM_SineGeneratorComponent_numpy/4096"]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--filter", default=".")
    args = parser.parse_args()
    wanted = [name for name in WORK if re.search(args.filter, name)]
    if wanted:
        rate = sine_generator()
        for name in wanted:
            print(json.dumps({"name": name, "items_per_second": rate}))


if __name__ == "__main__":
    main()
