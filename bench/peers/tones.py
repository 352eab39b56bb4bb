"""numpy peer of BM_SineGenerator (the tone kernel) and BM_SineGeneratorComponent (the
generator component): A sin(2 pi f t + phi) over a 4096-sample block, the same work for both."""
import functools

import numpy as np

from _peer import rate, report

@functools.cache
def sine_generator(n=4096):
    fs, f, phi, a = 48000.0, 1000.0, 0.3, 1.0
    state = {"start": 0}

    def block():
        t = (state["start"] + np.arange(n)) / fs
        state["start"] += n
        return a * np.sin(2 * np.pi * f * t + phi)

    return rate(block, n)


if __name__ == "__main__":
    report({name: sine_generator for name in ["BM_SineGenerator_numpy/4096", "BM_SineGeneratorComponent_numpy/4096"]})
