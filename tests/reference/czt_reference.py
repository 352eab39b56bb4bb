"""Oracle data for the chirp-z, DCT and cepstrum tests.

Run with /usr/bin/python3 from this folder; writes czt.txt.
Chirp-z results come from scipy.signal.czt / zoom_fft (checked here against a direct sum),
DCTs from scipy.fft, cepstra from numpy FFTs.
"""
import numpy as np
import scipy.fft
import scipy.signal

from refio import array, header


def direct_czt(x, m, w, a):
    """O(NM) sum X[k] = sum_n x[n] a^-n w^(nk), in long double."""
    x = np.asarray(x, dtype=np.clongdouble)
    n = np.arange(len(x), dtype=np.longdouble)
    k = np.arange(m, dtype=np.longdouble)
    lw = np.log(np.clongdouble(w))
    la = np.log(np.clongdouble(a))
    e = np.exp(np.outer(k, n) * lw - n * la)
    return (e @ x).astype(complex)


def direct_zoom(x, m, fs, f0, df):
    """The DTFT of x at f0 + k df (k < m) for the exact frequencies, in long double: the
    angle n (f0 + k df) / fs is reduced to turns before the exponential."""
    x = np.asarray(x, dtype=np.clongdouble)
    n = np.arange(len(x), dtype=np.longdouble)
    f = np.longdouble(f0) + np.arange(m, dtype=np.longdouble) * np.longdouble(df)
    turns = np.outer(f, n) / np.longdouble(fs)
    turns -= np.round(turns)
    two_pi = 2 * np.arccos(np.longdouble(-1))
    return (np.exp(-1j * two_pi * turns) @ x).astype(complex)


def checked_czt(x, m, w, a, tol):
    got = scipy.signal.czt(x, m, w, a)
    ref = direct_czt(x, m, w, a)
    err = np.max(np.abs(got - ref)) / np.max(np.abs(ref))
    assert err < tol, err
    return got


def main():
    rng = np.random.default_rng(20261121)
    out = [header("czt_reference.py")]

    # Zoom on the unit circle: real input, prime length, M != N.
    fs, f0, df, n, m = 1.0, 0.1, 1 / 512, 97, 61
    x = rng.standard_normal(n)
    w = np.exp(-2j * np.pi * df / fs)
    a = np.exp(2j * np.pi * f0 / fs)
    out += [array("zoom_real_x", x), array("zoom_real_param", [fs, f0, df, m]),
            array("zoom_real_aw", [a, w]), array("zoom_real_X", checked_czt(x, m, w, a, 1e-12)),
            array("zoom_real_exact", direct_zoom(x, m, fs, f0, df))]
    # The same contour through zoom_fft (frequency range [f0, f0 + m df), no end point).
    zf = scipy.signal.zoom_fft(x, [f0, f0 + m * df], m, fs=fs, endpoint=False)
    assert np.max(np.abs(zf - direct_czt(x, m, w, a))) < 1e-12 * np.max(np.abs(zf))
    out.append(array("zoom_real_zoomfft", zf))

    # Complex input in Hz, more points than samples, band above and below zero.
    fs, f0, df, n, m = 1000.0, -123.4, 0.37, 128, 300
    z = rng.standard_normal(n) + 1j * rng.standard_normal(n)
    w = np.exp(-2j * np.pi * df / fs)
    a = np.exp(2j * np.pi * f0 / fs)
    out += [array("zoom_cplx_x", z), array("zoom_cplx_param", [fs, f0, df, m]),
            array("zoom_cplx_aw", [a, w]), array("zoom_cplx_X", checked_czt(z, m, w, a, 1e-12)),
            array("zoom_cplx_exact", direct_zoom(z, m, fs, f0, df))]

    # Spirals off the unit circle: |A| < 1 with |W| < 1 (contour radius growing with k),
    # and |A| > 1 with |W| > 1 (shrinking); real and complex input, prime lengths.
    spirals = [
        ("spiral_grow", 61, 47, 0.98 * np.exp(0.4j), 0.995 * np.exp(-2j * np.pi / 80), False),
        ("spiral_shrink", 53, 71, 1.05 * np.exp(-1.1j), 1.002 * np.exp(2j * np.pi / 113), True),
    ]
    for name, n, m, a, w, cplx in spirals:
        x = rng.standard_normal(n) + (1j * rng.standard_normal(n) if cplx else 0)
        out += [array(name + "_x", x), array(name + "_aw", [a, w]), array(name + "_m", [m]),
                array(name + "_X", checked_czt(x, m, w, a, 1e-11))]

    # DCT type II and its inverse, both scalings, even and odd lengths.
    for n in (1, 2, 7, 64, 101):
        x = rng.standard_normal(n)
        out.append(array(f"dct_x{n}", x))
        for norm in ("backward", "ortho"):
            tag = "none" if norm == "backward" else "ortho"
            out.append(array(f"dct_{tag}{n}", scipy.fft.dct(x, type=2, norm=norm)))
            out.append(array(f"idct_{tag}{n}", scipy.fft.idct(x, type=2, norm=norm)))

    # Cepstra of a decaying noise burst with an echo of 0.6 after 37 samples.
    n, delay, gain = 256, 37, 0.6
    s = rng.standard_normal(n) * np.exp(-np.arange(n) / 40)
    x = s.copy()
    x[delay:] += gain * s[:n - delay]
    out.append(array("cep_x", x))
    X = np.fft.fft(x)
    out.append(array("cep_real", np.fft.ifft(np.log(np.abs(X))).real))
    out.append(array("cep_real_floor", np.fft.ifft(np.log(np.maximum(np.abs(X), 0.5))).real))
    # Complex cepstrum: the sign that makes X[0] >= 0, unwrapped phase of bins 0..N/2, the
    # linear phase of a whole-sample delay removed, then the inverse transform of
    # log|X| + i phase. The frame is the echo signal with the sign that makes X[0] < 0, so
    # that the sign step is taken.
    x = x if np.sum(x) < 0 else -x
    out.append(array("cep_neg_x", x))
    half = np.fft.rfft(x)
    sign = -1 if half[0].real < 0 else 1
    assert sign == -1
    half = sign * half
    phase = np.unwrap(np.angle(half))
    kmax = n // 2
    d = int(np.round(-phase[kmax] * n / (2 * np.pi * kmax)))
    phase = phase + 2 * np.pi * np.arange(kmax + 1) * d / n
    out.append(array("cep_complex", np.fft.irfft(np.log(np.abs(half)) + 1j * phase, n)))
    out.append(array("cep_complex_delay", [d, sign]))

    with open("czt.txt", "w") as f:
        f.write("".join(out))


if __name__ == "__main__":
    main()
