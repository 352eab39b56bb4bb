"""Filter design peers: scipy.signal.remez and scipy.signal.ellip on the work of
bench/filter_design_bench.cpp. Prints one JSON line per work item."""
import scipy.signal as sg

from _peer import rate, report

WORK = {
    "BM_Remez255_scipy": lambda: sg.remez(255, [0, 0.2, 0.23, 0.5], [1, 0], weight=[1, 10]),
    "BM_Ellip10_scipy": lambda: sg.ellip(10, 0.5, 60, [0.2, 0.4], "bandpass", output="sos"),
}

if __name__ == "__main__":
    report({name: (lambda fn=fn: rate(fn)) for name, fn in WORK.items()})
