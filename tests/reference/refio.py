"""Writes oracle arrays in the format tests/support/reference.h reads (exact hex floats)."""
import platform

import numpy as np


def header(script, extra=""):
    import scipy
    lines = [
        f"# written by tests/reference/{script}; do not edit",
        f"# python {platform.python_version()}, numpy {np.__version__}, scipy {scipy.__version__}",
    ]
    if extra:
        lines.append("# " + extra)
    return "\n".join(lines) + "\n"


def array(name, values):
    """One named array; complex values are written interleaved re, im."""
    v = np.asarray(values)
    if np.iscomplexobj(v):
        flat = np.empty(2 * v.size)
        flat[0::2] = v.real.ravel()
        flat[1::2] = v.imag.ravel()
    else:
        flat = v.astype(float).ravel()
    out = [f"@{name} {flat.size}"]
    for i in range(0, flat.size, 4):
        out.append(" ".join(float(x).hex() for x in flat[i:i + 4]))
    return "\n".join(out) + "\n"
