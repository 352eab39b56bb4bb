"""Oracle data for the correlation, autoregressive and phase-unwrapping tests.

Run with /usr/bin/python3 from this folder; writes estimators.txt.
"""
import numpy as np
import scipy.linalg
import scipy.signal

from refio import array, header


def corr_raw(x, y):
    """numpy.correlate(x, y, 'full'): entry len(y)-1+k is sum_n x[n+k] conj(y[n])."""
    c = np.correlate(x, y, "full")
    # Check the index convention against a direct sum once, so a numpy change cannot slip by.
    k = 3
    direct = sum(x[n + k] * np.conj(y[n]) for n in range(len(y)) if 0 <= n + k < len(x))
    assert abs(c[len(y) - 1 + k] - direct) < 1e-12 * (1 + abs(direct))
    return c


def autocorr(x, max_lag):
    n = len(x)
    raw = corr_raw(x, x)[n - 1:n + max_lag]
    biased = raw / n
    unbiased = raw / (n - np.arange(max_lag + 1))
    normal = raw / raw[0]
    return biased, unbiased, normal


def crosscorr(x, y, neg, pos):
    c = corr_raw(x, y)
    idx = len(y) - 1 + np.arange(-neg, pos + 1)
    inside = (idx >= 0) & (idx < len(c))
    r = np.zeros(idx.size, dtype=c.dtype)
    r[inside] = c[idx[inside]]
    return r / max(len(x), len(y))


def levinson_reference(r, p):
    """Yule-Walker by a general Toeplitz solver; reflection k_m = last coefficient of order m."""
    def solve(m):
        col = r[:m]
        row = np.conj(r[:m])
        return scipy.linalg.solve_toeplitz((col, row), -r[1:m + 1])
    a = solve(p)
    noise = (r[0] + np.sum(a * np.conj(r[1:p + 1]))).real
    refl = np.array([solve(m)[-1] for m in range(1, p + 1)])
    return np.concatenate([[1], a]), noise, refl


def burg_reference(x, p):
    x = np.asarray(x)
    n = len(x)
    f = x.copy()
    b = x.copy()
    a = np.array([1], dtype=x.dtype)
    e = np.vdot(x, x).real / n
    refl = []
    for m in range(1, p + 1):
        ff = f[m:].copy()
        bb = b[m - 1:n - 1].copy()
        k = -2 * np.sum(ff * np.conj(bb)) / (np.sum(abs(ff) ** 2) + np.sum(abs(bb) ** 2))
        f[m:] = ff + k * bb
        b[m:] = bb + np.conj(k) * ff
        a = np.concatenate([a, [0]])
        a = a + k * np.conj(a[::-1])
        e *= 1 - abs(k) ** 2
        refl.append(k)
    return a, e, np.array(refl)


def covariance_reference(x, p, forward_backward):
    """Least squares over the prediction errors that need no sample outside x."""
    x = np.asarray(x)
    n = len(x)
    fwd = np.array([x[t - p:t][::-1] for t in range(p, n)])
    fwd_rhs = -x[p:n]
    if forward_backward:
        bwd = np.array([np.conj(x[t - p + 1:t + 1]) for t in range(p, n)])
        bwd_rhs = -np.conj(x[0:n - p])
        mat = np.vstack([fwd, bwd])
        rhs = np.concatenate([fwd_rhs, bwd_rhs])
    else:
        mat, rhs = fwd, fwd_rhs
    a, *_ = np.linalg.lstsq(mat, rhs, rcond=None)
    resid = mat @ a - rhs
    noise = np.vdot(resid, resid).real / len(rhs)
    return np.concatenate([[1], a]), noise


def ar_process(rng, a, n, dtype=float):
    if dtype == complex:
        e = (rng.standard_normal(n + 200) + 1j * rng.standard_normal(n + 200)) / np.sqrt(2)
    else:
        e = rng.standard_normal(n + 200)
    return scipy.signal.lfilter([1.0], a, e)[200:]


def main():
    rng = np.random.default_rng(20261121)
    out = [header("estimators_reference.py")]

    # Correlation.
    x = rng.standard_normal(50)
    y = rng.standard_normal(37)
    z = rng.standard_normal(40) + 1j * rng.standard_normal(40)
    w = rng.standard_normal(45) + 1j * rng.standard_normal(45)
    out.append(array("corr_x", x))
    out.append(array("corr_y", y))
    out.append(array("corr_z", z))
    out.append(array("corr_w", w))
    for name, v in (("x", x), ("z", z)):
        biased, unbiased, normal = autocorr(v, 12)
        out.append(array(f"acb_{name}", biased))
        out.append(array(f"acu_{name}", unbiased))
        out.append(array(f"acn_{name}", normal))
    out.append(array("cross_xy", crosscorr(x, y, 5, 9)))
    out.append(array("cross_yx", crosscorr(y, x, 0, 40)))
    out.append(array("cross_zw", crosscorr(z, w, 7, 3)))

    # Levinson against a general Toeplitz solver.
    xr = ar_process(rng, [1, -1.2, 0.8, -0.2], 300)
    rr = np.correlate(xr, xr, "full")[len(xr) - 1:len(xr) + 8] / len(xr)
    a, noise, refl = levinson_reference(rr, 8)
    out += [array("lev_r", rr), array("lev_a", a), array("lev_noise", [noise]),
            array("lev_refl", refl)]
    zr = ar_process(rng, np.poly([0.8 * np.exp(0.5j), 0.6 * np.exp(-1.2j)]), 300, complex)
    rz = np.correlate(zr, zr, "full")[len(zr) - 1:len(zr) + 6] / len(zr)
    a, noise, refl = levinson_reference(rz, 6)
    out += [array("levc_r", rz), array("levc_a", a), array("levc_noise", [noise]),
            array("levc_refl", refl)]

    # AR estimators against straightforward implementations (real order 6, complex order 4).
    xa = ar_process(rng, [1, -2.2, 2.5, -1.5, 0.5], 256)
    out.append(array("ar_x", xa))
    a, noise, refl = burg_reference(xa, 6)
    out += [array("burg_a", a), array("burg_noise", [noise]), array("burg_refl", refl)]
    a, noise = covariance_reference(xa, 6, False)
    out += [array("cov_a", a), array("cov_noise", [noise])]
    a, noise = covariance_reference(xa, 6, True)
    out += [array("mcov_a", a), array("mcov_noise", [noise])]
    ryw = np.correlate(xa, xa, "full")[len(xa) - 1:len(xa) + 7] / len(xa)
    a, noise, _ = levinson_reference(ryw, 6)
    out += [array("yw_a", a), array("yw_noise", [noise])]

    za = ar_process(rng, np.poly([0.9 * np.exp(1j), 0.5 * np.exp(-2j)]), 200, complex)
    out.append(array("arc_z", za))
    a, noise, refl = burg_reference(za, 4)
    out += [array("burgc_a", a), array("burgc_noise", [noise]), array("burgc_refl", refl)]
    a, noise = covariance_reference(za, 4, False)
    out += [array("covc_a", a), array("covc_noise", [noise])]
    a, noise = covariance_reference(za, 4, True)
    out += [array("mcovc_a", a), array("mcovc_noise", [noise])]

    # Model spectrum: noise / |A(e^{jw})|^2 on 64 points of the whole circle.
    a, noise, _ = burg_reference(xa, 6)
    _, h = scipy.signal.freqz([1.0], a, worN=64, whole=True)
    out.append(array("arspec_psd", noise * np.abs(h) ** 2))
    a, noise, _ = burg_reference(za, 4)
    _, h = scipy.signal.freqz([1.0], a, worN=48, whole=True)
    out.append(array("arspecc_psd", noise * np.abs(h) ** 2))

    # Phase unwrapping: a wrapped random walk in radians and degrees, and exact ties.
    walk = np.cumsum(rng.uniform(-2.8, 2.8, 200))
    wrapped = np.angle(np.exp(1j * walk))
    out += [array("unwrap_in", wrapped), array("unwrap_rad", np.unwrap(wrapped))]
    deg = np.degrees(wrapped)
    out += [array("unwrap_deg_in", deg), array("unwrap_deg", np.unwrap(deg, period=360))]
    ties = np.array([0.0, 180.0, 0.0, -180.0, 360.0, 30.0, 210.0, 30.0, -150.0, 200.0, -170.0])
    out += [array("unwrap_ties_in", ties), array("unwrap_ties", np.unwrap(ties, period=360))]

    with open("estimators.txt", "w") as f:
        f.write("".join(out))


if __name__ == "__main__":
    main()
