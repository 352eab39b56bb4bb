#!/usr/bin/python3
"""Writes the small example signal files in this folder with Python's struct and wave
modules, independently of the library, so the tests can compare both directions
byte for byte. Run from anywhere: /usr/bin/python3 tests/data/make_signal_examples.py"""
import os
import struct
import wave

HERE = os.path.dirname(os.path.abspath(__file__))


def path(name):
    return os.path.join(HERE, name)


def text_number(x):
    # Shortest text that reads back to the same double, without a needless ".0".
    s = repr(float(x))
    return s[:-2] if s.endswith(".0") else s


# ---- .dat: count, fs (double), precision ordinal, complex flag, channels, samples ----
# record 0: prSmallInt (4), real, 2 channels, 8000 Hz, frames (1,-2) (3,-4) (5,-6)
# record 1: prDouble (0), complex, 1 channel, 1000.5 Hz, (0.5,-0.25) (3,1e-300)
with open(path("example.dat"), "wb") as f:
    v = [1, -2, 3, -4, 5, -6]
    f.write(struct.pack("<idiii", len(v), 8000.0, 4, 0, 2))
    f.write(struct.pack("<%dh" % len(v), *v))
    c = [0.5, -0.25, 3.0, 1e-300]
    f.write(struct.pack("<idiii", 2, 1000.5, 0, 1, 1))
    f.write(struct.pack("<%dd" % len(c), *c))

# ---- .bin: count, fs (double), float32 samples; two records ----
with open(path("example.bin"), "wb") as f:
    f.write(struct.pack("<id3f", 3, 100.0, 0.5, -1.25, 3.0))
    f.write(struct.pack("<id1f", 1, 200.0, 7.5))

# ---- .dbn: count, fs (double), float64 samples ----
with open(path("example.dbn"), "wb") as f:
    f.write(struct.pack("<id3d", 3, 44100.0, 0.1, -0.2, 1e10))

# ---- .wav: 16-bit stereo, 8000 Hz, frames (1,-1) (32767,-32768) (0,5) ----
w = wave.open(path("example.wav"), "wb")
w.setnchannels(2)
w.setsampwidth(2)
w.setframerate(8000)
w.writeframes(struct.pack("<6h", 1, -1, 32767, -32768, 0, 5))
w.close()

# ---- text formats ----
with open(path("example.sgl"), "w", newline="\n") as f:
    f.write("# Record = 1\n# SamplingFrequency = 250\n# ChannelCount = 2\n# Complex = 0\n")
    for a, b in [(0.5, -0.25), (1, 2)]:
        f.write("%s %s\n" % (text_number(a), text_number(b)))
    f.write("# Record = 2\n# SamplingFrequency = 0.5\n# ChannelCount = 1\n# Complex = 1\n")
    f.write("%s %s\n" % (text_number(3), text_number(-4.75)))

with open(path("example.sfs"), "w", newline="\n") as f:
    f.write("# SamplingFrequency = 10\n# ChannelCount = 1\n")
    for x in [0.1, -2, 1e-5]:
        f.write(text_number(x) + "\n")

with open(path("example.asc"), "w", newline="\n") as f:
    f.write("# SamplingFrequency = 4\n# ChannelCount = 1\n")
    for i, x in enumerate([1.5, -1.5, 0]):
        f.write("%s %s\n" % (text_number(i / 4.0), text_number(x)))
