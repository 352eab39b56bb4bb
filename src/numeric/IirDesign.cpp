#include "sigflow/numeric/IirDesign.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <string>

namespace sigflow {

namespace {

using cplx = std::complex<double>;
constexpr double kPi = std::numbers::pi;

[[noreturn]] void Fail(const std::string& message) { throw EFilterDesignError(message); }

struct Zpk {
  std::vector<cplx> z, p;
  double k = 1.0;
};

// ---- complete elliptic integrals and Jacobi elliptic functions -------------------------

double Agm(double a, double b) {
  for (int i = 0; i < 64 && std::abs(a - b) > 1e-16 * a; ++i) {
    const double an = 0.5 * (a + b);
    b = std::sqrt(a * b);
    a = an;
  }
  return 0.5 * (a + b);
}

// K(m) = pi / (2 AGM(1, sqrt(1 - m))), parameter m = k^2 in [0, 1).
double EllipK(double m) { return kPi / (2.0 * Agm(1.0, std::sqrt(1.0 - m))); }
// K(1 - p), accurate for small p.
double EllipKm1(double p) { return kPi / (2.0 * Agm(1.0, std::sqrt(p))); }

// sn, cn, dn of (u | m) by the descending Landen (AGM) sequence.
void EllipJ(double u, double m, double& sn, double& cn, double& dn) {
  if (m < 1e-9) {
    const double t = std::sin(u), b = std::cos(u);
    const double ai = 0.25 * m * (u - t * b);
    sn = t - ai * b;
    cn = b + ai * t;
    dn = 1.0 - 0.5 * m * t * t;
    return;
  }
  double a[16], c[16];
  a[0] = 1.0;
  double b = std::sqrt(1.0 - m);
  c[0] = std::sqrt(m);
  double twon = 1.0;
  int i = 0;
  while (std::abs(c[i] / a[i]) > 1e-16 && i < 15) {
    const double ai = a[i];
    ++i;
    c[i] = 0.5 * (ai - b);
    const double t = std::sqrt(ai * b);
    a[i] = 0.5 * (ai + b);
    b = t;
    twon *= 2.0;
  }
  double phi = twon * a[i] * u;
  double prev = phi;
  for (; i > 0; --i) {
    prev = phi;
    phi = 0.5 * (std::asin(c[i] * std::sin(phi) / a[i]) + phi);
  }
  sn = std::sin(phi);
  cn = std::cos(phi);
  dn = cn / std::cos(prev - phi);
}

// Modulus m of the degree equation N K'(m)/K(m) = K'(m1)/K(m1) via the nome series.
double EllipDeg(int n, double m1) {
  const double q1 = std::exp(-kPi * EllipKm1(m1) / EllipK(m1));
  const double q = std::pow(q1, 1.0 / n);
  double num = 0.0, den = 0.0;
  for (int i = 0; i <= 7; ++i) num += std::pow(q, i * (i + 1));
  for (int i = 1; i <= 8; ++i) den += std::pow(q, i * i);
  den = 1.0 + 2.0 * den;
  return 16.0 * q * std::pow(num / den, 4);
}

// Inverse Jacobi sn for complex w by the Landen sequence of k = sqrt(m).
cplx ArcJacSn(cplx w, double m) {
  auto complement = [](cplx x) { return std::sqrt((1.0 - x) * (1.0 + x)); };
  const double k = std::sqrt(m);
  if (k > 1.0) return {std::numeric_limits<double>::quiet_NaN(), 0.0};
  if (k == 1.0) return std::atanh(w);
  std::vector<double> ks{k};
  while (ks.back() != 0.0) {
    const double kp = complement(cplx(ks.back())).real();
    ks.push_back((1.0 - kp) / (1.0 + kp));
    if (ks.size() > 12) Fail("Landen transformation not converging");
  }
  double big = kPi / 2.0;
  for (std::size_t i = 1; i < ks.size(); ++i) big *= 1.0 + ks[i];
  cplx wn = w;
  for (std::size_t i = 0; i + 1 < ks.size(); ++i)
    wn = 2.0 * wn / ((1.0 + ks[i + 1]) * (1.0 + complement(ks[i] * wn)));
  return big * (2.0 / kPi) * std::asin(wn);
}

// ---- analog low-pass prototypes, cutoff 1 rad/s ----------------------------------------

Zpk ButterPrototype(int n) {
  Zpk r;
  for (int m = -n + 1; m < n; m += 2) r.p.push_back(-std::exp(cplx(0.0, kPi * m / (2.0 * n))));
  return r;
}

Zpk Cheby1Prototype(int n, double rp) {
  Zpk r;
  const double eps = std::sqrt(std::pow(10.0, 0.1 * rp) - 1.0);
  const double mu = std::asinh(1.0 / eps) / n;
  cplx prod = 1.0;
  for (int m = -n + 1; m < n; m += 2) {
    const cplx p = -std::sinh(cplx(mu, kPi * m / (2.0 * n)));
    r.p.push_back(p);
    prod *= -p;
  }
  r.k = prod.real();
  if (n % 2 == 0) r.k /= std::sqrt(1.0 + eps * eps);
  return r;
}

Zpk Cheby2Prototype(int n, double rs) {
  Zpk r;
  const double de = 1.0 / std::sqrt(std::pow(10.0, 0.1 * rs) - 1.0);
  const double mu = std::asinh(1.0 / de) / n;
  for (int m = -n + 1; m < n; m += 2) {
    if (n % 2 && m == 0) continue;
    r.z.push_back(std::conj(-cplx(0.0, 1.0) / std::sin(m * kPi / (2.0 * n))));
  }
  cplx prod = 1.0;
  for (int m = -n + 1; m < n; m += 2) {
    const cplx b = -std::exp(cplx(0.0, kPi * m / (2.0 * n)));
    const cplx p = 1.0 / cplx(std::sinh(mu) * b.real(), std::cosh(mu) * b.imag());
    r.p.push_back(p);
    prod *= -p;
  }
  for (const cplx& z : r.z) prod /= -z;
  r.k = prod.real();
  return r;
}

Zpk EllipPrototype(int n, double rp, double rs) {
  Zpk r;
  if (n == 1) {
    const double p = -std::sqrt(1.0 / std::expm1(std::log(10.0) * 0.1 * rp));
    r.p.push_back(p);
    r.k = -p;
    return r;
  }
  const double epsSq = std::expm1(std::log(10.0) * 0.1 * rp);
  const double eps = std::sqrt(epsSq);
  const double ck1Sq = epsSq / std::expm1(std::log(10.0) * 0.1 * rs);
  if (ck1Sq == 0.0) Fail("Cannot design an elliptic filter with this ripple and attenuation");
  const double val0 = EllipK(ck1Sq);
  const double m = EllipDeg(n, ck1Sq);
  const double capk = EllipK(m);
  std::vector<double> s, c, d;
  for (int j = 1 - n % 2; j < n; j += 2) {
    double sj, cj, dj;
    EllipJ(j * capk / n, m, sj, cj, dj);
    s.push_back(sj);
    c.push_back(cj);
    d.push_back(dj);
  }
  constexpr double kEps = 2e-16;
  std::vector<cplx> zs;
  for (double sj : s)
    if (std::abs(sj) > kEps) zs.push_back(cplx(0.0, 1.0 / (std::sqrt(m) * sj)));
  for (const cplx& z : zs) r.z.push_back(z);
  for (const cplx& z : zs) r.z.push_back(std::conj(z));
  const cplx rr = ArcJacSn(cplx(0.0, 1.0 / eps), ck1Sq);
  if (std::abs(rr.real()) > 1e-14) Fail("Elliptic design: inverse sn off the imaginary axis");
  const double v0 = capk * rr.imag() / (n * val0);
  double sv, cv, dv;
  EllipJ(v0, 1.0 - m, sv, cv, dv);
  std::vector<cplx> p;
  for (std::size_t j = 0; j < s.size(); ++j)
    p.push_back(-cplx(c[j] * d[j] * sv * cv, s[j] * dv) / (1.0 - std::pow(d[j] * sv, 2)));
  double norm = 0.0;
  for (const cplx& x : p) norm += std::norm(x);
  norm = std::sqrt(norm);
  r.p = p;
  for (const cplx& x : p)
    if (n % 2 == 0 || std::abs(x.imag()) > kEps * norm) r.p.push_back(std::conj(x));
  cplx prod = 1.0;
  for (const cplx& x : r.p) prod *= -x;
  for (const cplx& x : r.z) prod /= -x;
  r.k = prod.real();
  if (n % 2 == 0) r.k /= std::sqrt(1.0 + epsSq);
  return r;
}

// Roots of the reverse Bessel polynomial theta_N, divided by theta_N(0)^(1/N) so that the
// product of -p is 1 (phase normalisation). Aberth iteration in long double; theta_N and its
// derivative come from the three-term recurrence theta_n = (2n-1) theta_{n-1} + s^2
// theta_{n-2}, which stays accurate where the monomial coefficients (up to 1e78) do not.
Zpk BesselPrototype(int n) {
  using lcplx = std::complex<long double>;
  long double a0 = 1.0L;  // theta_N(0) = (2N)! / (2^N N!)
  for (int i = n + 1; i <= 2 * n; ++i) a0 *= i / 2.0L;
  const long double c = std::pow(a0, 1.0L / n);
  auto eval = [&](lcplx s, lcplx& d) {
    lcplx t0 = 1.0L, t1 = s + 1.0L, d0 = 0.0L, d1 = 1.0L;
    for (int k = 2; k <= n; ++k) {
      const lcplx t2 = static_cast<long double>(2 * k - 1) * t1 + s * s * t0;
      const lcplx d2 = static_cast<long double>(2 * k - 1) * d1 + 2.0L * s * t0 + s * s * d0;
      t0 = t1;
      t1 = t2;
      d0 = d1;
      d1 = d2;
    }
    d = d1;
    return t1;
  };
  std::vector<lcplx> r(n);
  for (int i = 0; i < n; ++i) {  // start on the left half of a circle through the roots
    const long double th = std::numbers::pi_v<long double> * (0.5L + (i + 0.5L) / n);
    r[i] = c * lcplx(std::cos(th), std::sin(th));
  }
  for (int it = 0; it < 1000; ++it) {
    long double change = 0.0L;
    for (int i = 0; i < n; ++i) {
      lcplx d;
      const lcplx v = eval(r[i], d);
      if (v == lcplx(0.0L)) continue;
      const lcplx ratio = v / d;
      lcplx sum = 0.0L;
      for (int j = 0; j < n; ++j)
        if (j != i) sum += 1.0L / (r[i] - r[j]);
      const lcplx step = ratio / (1.0L - ratio * sum);
      r[i] -= step;
      change = std::max(change, std::abs(step) / std::abs(r[i]));
    }
    if (change < 1e-17L) break;
  }
#ifdef __SIZEOF_FLOAT128__
  // Near the real axis the roots are ill-conditioned beyond N ~ 10 and long double leaves them
  // noisy: finish with Aberth steps in quadruple precision.
  struct Q {
    __float128 re, im;
    Q operator+(Q o) const { return {re + o.re, im + o.im}; }
    Q operator-(Q o) const { return {re - o.re, im - o.im}; }
    Q operator*(Q o) const { return {re * o.re - im * o.im, re * o.im + im * o.re}; }
    Q operator/(Q o) const {
      const __float128 d = o.re * o.re + o.im * o.im;
      return {(re * o.re + im * o.im) / d, (im * o.re - re * o.im) / d};
    }
    __float128 Norm1() const { return (re < 0 ? -re : re) + (im < 0 ? -im : im); }
  };
  std::vector<Q> qr(n);
  for (int i = 0; i < n; ++i) qr[i] = {r[i].real(), r[i].imag()};
  for (int it = 0; n > 8 && it < 30; ++it) {
    __float128 change = 0;
    for (int i = 0; i < n; ++i) {
      const Q s = qr[i], s2 = s * s;
      Q t0{1, 0}, t1 = s + Q{1, 0}, d0{0, 0}, d1{1, 0};
      for (int k = 2; k <= n; ++k) {
        const Q m{static_cast<__float128>(2 * k - 1), 0};
        const Q t2 = m * t1 + s2 * t0;
        const Q d2 = m * d1 + Q{2, 0} * s * t0 + s2 * d0;
        t0 = t1;
        t1 = t2;
        d0 = d1;
        d1 = d2;
      }
      if (t1.re == 0 && t1.im == 0) continue;
      const Q ratio = t1 / d1;
      Q sum{0, 0};
      for (int j = 0; j < n; ++j)
        if (j != i) sum = sum + Q{1, 0} / (s - qr[j]);
      const Q step = ratio / (Q{1, 0} - ratio * sum);
      qr[i] = s - step;
      const __float128 rel = step.Norm1() / qr[i].Norm1();
      if (rel > change) change = rel;
    }
    if (change < 1e-30) break;
  }
  for (int i = 0; i < n; ++i)
    r[i] = lcplx(static_cast<long double>(qr[i].re), static_cast<long double>(qr[i].im));
#endif
  Zpk z;
  for (const lcplx& x : r) {
    const lcplx p = x / c;
    z.p.push_back(cplx(static_cast<double>(p.real()), static_cast<double>(p.imag())));
  }
  z.k = 1.0;
  return z;
}

// ---- band transforms --------------------------------------------------------------------

cplx Prod(const std::vector<cplx>& v, cplx scale, bool negate) {
  cplx p = 1.0;
  for (const cplx& x : v) p *= negate ? scale - x : x;
  return p;
}

double Warp(double w) { return 4.0 * std::tan(kPi * w / 2.0); }

// Analog low-pass (cutoff 1) to the wanted band, edges already prewarped.
Zpk AnalogBand(const Zpk& lp, TFilterType type, double w1, double w2) {
  Zpk r;
  const int degree = static_cast<int>(lp.p.size() - lp.z.size());
  switch (type) {
    case ftLowpass:
      for (const cplx& z : lp.z) r.z.push_back(z * w1);
      for (const cplx& p : lp.p) r.p.push_back(p * w1);
      r.k = lp.k * std::pow(w1, degree);
      break;
    case ftHighpass:
      for (const cplx& z : lp.z) r.z.push_back(w1 / z);
      for (const cplx& p : lp.p) r.p.push_back(w1 / p);
      r.z.resize(r.z.size() + degree, 0.0);
      r.k = lp.k * (Prod(lp.z, 0.0, true) / Prod(lp.p, 0.0, true)).real();
      break;
    case ftBandpass: {
      const double wo = std::sqrt(w1 * w2), bw = w2 - w1;
      for (const cplx& z : lp.z) {
        const cplx zl = z * bw / 2.0, sq = std::sqrt(zl * zl - wo * wo);
        r.z.push_back(zl + sq);
        r.z.push_back(zl - sq);
      }
      for (const cplx& p : lp.p) {
        const cplx pl = p * bw / 2.0, sq = std::sqrt(pl * pl - wo * wo);
        r.p.push_back(pl + sq);
        r.p.push_back(pl - sq);
      }
      r.z.resize(r.z.size() + degree, 0.0);
      r.k = lp.k * std::pow(bw, degree);
      break;
    }
    case ftBandstop: {
      const double wo = std::sqrt(w1 * w2), bw = w2 - w1;
      for (const cplx& z : lp.z) {
        const cplx zh = (bw / 2.0) / z, sq = std::sqrt(zh * zh - wo * wo);
        r.z.push_back(zh + sq);
        r.z.push_back(zh - sq);
      }
      for (const cplx& p : lp.p) {
        const cplx ph = (bw / 2.0) / p, sq = std::sqrt(ph * ph - wo * wo);
        r.p.push_back(ph + sq);
        r.p.push_back(ph - sq);
      }
      for (int i = 0; i < degree; ++i) {
        r.z.push_back(cplx(0.0, wo));
        r.z.push_back(cplx(0.0, -wo));
      }
      r.k = lp.k * (Prod(lp.z, 0.0, true) / Prod(lp.p, 0.0, true)).real();
      break;
    }
    default:
      Fail("IIR design supports low-pass, high-pass, band-pass and band-stop only");
  }
  return r;
}

// Bilinear transform with fs = 2 (s = 4 (z - 1)/(z + 1)).
Zpk Bilinear(const Zpk& a) {
  constexpr double fs2 = 4.0;
  Zpk d;
  for (const cplx& z : a.z) d.z.push_back((fs2 + z) / (fs2 - z));
  for (const cplx& p : a.p) d.p.push_back((fs2 + p) / (fs2 - p));
  d.z.resize(d.p.size(), -1.0);
  d.k = a.k * (Prod(a.z, fs2, true) / Prod(a.p, fs2, true)).real();
  return d;
}

cplx ZpkResponse(const Zpk& d, cplx z) {
  cplx v = d.k;
  for (const cplx& x : d.z) v *= z - x;
  for (const cplx& x : d.p) v /= z - x;
  return v;
}

// Digital low-pass with cutoff `theta` (rad/sample) to the wanted band by the all-pass
// substitution of z^-1 (Constantinides), root by root.
Zpk DiscreteBand(const Zpk& lp, double theta, TFilterType type, double w1, double w2) {
  Zpk r;
  const cplx g0 = ZpkResponse(lp, 1.0);  // prototype at DC
  cplx ref = 1.0;                         // where DC of the prototype lands
  std::function<void(cplx, std::vector<cplx>&)> map;
  if (type == ftLowpass || type == ftHighpass) {
    const double wc = kPi * w1;
    const bool high = type == ftHighpass;
    const double alpha = high ? -std::cos((theta + wc) / 2) / std::cos((theta - wc) / 2)
                              : std::sin((theta - wc) / 2) / std::sin((theta + wc) / 2);
    ref = high ? -1.0 : 1.0;
    map = [alpha, high](cplx z0, std::vector<cplx>& out) {
      const cplx z = (alpha + z0) / (1.0 + alpha * z0);
      out.push_back(high ? -z : z);
    };
  } else {
    const double o1 = kPi * w1, o2 = kPi * w2;
    const double alpha = std::cos((o2 + o1) / 2) / std::cos((o2 - o1) / 2);
    auto quad = [](cplx a, cplx b, cplx c, std::vector<cplx>& out) {
      const cplx sq = std::sqrt(b * b - 4.0 * a * c);
      const cplx q = -0.5 * (b + (std::real(std::conj(b) * sq) >= 0 ? sq : -sq));
      out.push_back(q / a);
      out.push_back(c / q);
    };
    if (type == ftBandpass) {
      const double k = std::tan(theta / 2) / std::tan((o2 - o1) / 2);
      const double a1 = 2 * alpha * k / (k + 1), a2 = (k - 1) / (k + 1);
      ref = std::polar(1.0, std::acos(alpha));
      map = [=](cplx z0, std::vector<cplx>& out) {
        quad(1.0 + a2 * z0, -a1 * (1.0 + z0), a2 + z0, out);
      };
    } else if (type == ftBandstop) {
      const double k = std::tan((o2 - o1) / 2) * std::tan(theta / 2);
      const double b1 = 2 * alpha / (1 + k), b2 = (1 - k) / (1 + k);
      ref = 1.0;
      map = [=](cplx z0, std::vector<cplx>& out) {
        quad(1.0 - b2 * z0, -b1 * (1.0 - z0), b2 - z0, out);
      };
    } else {
      Fail("IIR design supports low-pass, high-pass, band-pass and band-stop only");
    }
  }
  for (const cplx& z : lp.z) map(z, r.z);
  for (const cplx& p : lp.p) map(p, r.p);
  r.k = 1.0;
  r.k = (g0 / ZpkResponse(r, ref)).real();
  return r;
}

// ---- second-order sections -------------------------------------------------------------

bool IsReal(cplx x) { return std::abs(x.imag()) <= 1e-10 * std::max(1.0, std::abs(x)); }

// Splits roots into conjugate pairs (upper half-plane member kept) and real roots.
void Split(const std::vector<cplx>& roots, std::vector<cplx>& pairs, std::vector<double>& reals) {
  for (const cplx& x : roots) {
    if (IsReal(x))
      reals.push_back(x.real());
    else if (x.imag() > 0)
      pairs.push_back(x);
  }
}

std::vector<double> ToSos(const Zpk& d) {
  std::vector<cplx> pp, zp;
  std::vector<double> pr, zr;
  Split(d.p, pp, pr);
  Split(d.z, zp, zr);
  // Poles as sections: conjugate pairs, then real poles two by two.
  struct Sec {
    std::vector<cplx> poles;
  };
  std::vector<Sec> secs;
  for (const cplx& p : pp) secs.push_back({{p, std::conj(p)}});
  std::sort(pr.begin(), pr.end(), [](double a, double b) { return std::abs(a) < std::abs(b); });
  for (std::size_t i = 0; i < pr.size(); i += 2) {
    Sec s;
    s.poles.push_back(pr[i]);
    if (i + 1 < pr.size()) s.poles.push_back(pr[i + 1]);
    secs.push_back(s);
  }
  // Poles closest to the unit circle last; each takes its nearest zeros.
  auto radius = [](const Sec& s) {
    double m = 0;
    for (const cplx& p : s.poles) m = std::max(m, std::abs(p));
    return m;
  };
  std::stable_sort(secs.begin(), secs.end(), [&](const Sec& a, const Sec& b) { return radius(a) < radius(b); });
  const std::size_t nsec = secs.size();
  std::vector<double> sos(6 * nsec, 0.0);
  // Zeros go to the first-order section first (so the real zeros left are even in number),
  // then to the sections from the one nearest the unit circle backwards: each takes the
  // nearest conjugate pair or the two nearest real zeros.
  std::vector<std::size_t> orderOfAssign;
  for (std::size_t si = 0; si < nsec; ++si)
    if (secs[si].poles.size() == 1) orderOfAssign.push_back(si);
  for (std::size_t si = nsec; si-- > 0;)
    if (secs[si].poles.size() == 2) orderOfAssign.push_back(si);
  auto takeReal = [&](cplx ref) {
    std::size_t best = 0;
    for (std::size_t i = 1; i < zr.size(); ++i)
      if (std::abs(zr[i] - ref) < std::abs(zr[best] - ref)) best = i;
    const double v = zr[best];
    zr.erase(zr.begin() + static_cast<std::ptrdiff_t>(best));
    return cplx(v);
  };
  auto fill = [](const std::vector<cplx>& r, double* c) {
    c[0] = 1.0;
    c[1] = c[2] = 0.0;
    if (r.size() == 1) {
      c[1] = -r[0].real();
    } else if (r.size() == 2) {
      c[1] = -(r[0] + r[1]).real();
      c[2] = (r[0] * r[1]).real();
    }
  };
  for (std::size_t si : orderOfAssign) {
    const Sec& s = secs[si];
    const cplx ref = s.poles[0];
    std::vector<cplx> zs;
    if (s.poles.size() == 1) {
      if (!zr.empty()) zs.push_back(takeReal(ref));
    } else {
      std::size_t ip = zp.size();
      for (std::size_t i = 0; i < zp.size(); ++i)
        if (ip == zp.size() || std::abs(zp[i] - ref) < std::abs(zp[ip] - ref)) ip = i;
      double realDist = std::numeric_limits<double>::infinity();
      for (double v : zr) realDist = std::min(realDist, std::abs(v - ref));
      if (ip < zp.size() && (zr.size() < 2 || std::abs(zp[ip] - ref) <= realDist)) {
        zs = {zp[ip], std::conj(zp[ip])};
        zp.erase(zp.begin() + static_cast<std::ptrdiff_t>(ip));
      } else if (zr.size() >= 2) {
        zs.push_back(takeReal(ref));
        zs.push_back(takeReal(ref));
      }
    }
    fill(zs, &sos[6 * si]);
    fill(s.poles, &sos[6 * si + 3]);
  }
  if (!zp.empty() || !zr.empty()) Fail("IIR design: zeros left over after pairing");
  // Spread the gain evenly, sign on the first section.
  const double g = std::pow(std::abs(d.k), 1.0 / static_cast<double>(nsec));
  for (std::size_t s = 0; s < nsec; ++s)
    for (int i = 0; i < 3; ++i) sos[6 * s + i] *= (s == 0 && d.k < 0) ? -g : g;
  return sos;
}

void CheckOrder(int order) {
  if (order < 1 || order > 50) Fail("IIR order must be in 1 .. 50, got " + std::to_string(order));
}

std::vector<double> Design(const Zpk& proto, std::span<const double> wn, TFilterType type,
                           TIirFrequencyTransform transform) {
  const bool band = type == ftBandpass || type == ftBandstop;
  if (!band && type != ftLowpass && type != ftHighpass)
    Fail("IIR design supports low-pass, high-pass, band-pass and band-stop only");
  if (wn.size() != (band ? 2u : 1u))
    Fail(std::string("IIR design needs ") + (band ? "two band edges" : "one band edge") +
         ", got " + std::to_string(wn.size()));
  for (std::size_t i = 0; i < wn.size(); ++i) {
    if (!(wn[i] > 0.0 && wn[i] < 1.0))
      Fail("IIR band edge must be between 0 and 1 (Nyquist), got " + std::to_string(wn[i]));
    if (i > 0 && !(wn[i] > wn[i - 1])) Fail("IIR band edges must increase");
  }
  const double w2 = band ? wn[1] : 0.0;
  Zpk d;
  if (transform == iftZeroPoleDiscrete) {
    constexpr double theta = kPi / 2;  // prototype cutoff, rad/sample
    const Zpk lp = Bilinear(AnalogBand(proto, ftLowpass, Warp(0.5), 0.0));
    d = DiscreteBand(lp, theta, type, wn[0], w2);
  } else {
    d = Bilinear(AnalogBand(proto, type, Warp(wn[0]), band ? Warp(w2) : 0.0));
  }
  return ToSos(d);
}

// ---- order selection ---------------------------------------------------------------------

enum Family { kButter, kCheby, kEllip };

double OrderValue(Family fam, double nat, double gpass, double gstop) {
  const double gs = std::pow(10.0, 0.1 * std::abs(gstop)), gp = std::pow(10.0, 0.1 * std::abs(gpass));
  switch (fam) {
    case kButter:
      return std::log10((gs - 1.0) / (gp - 1.0)) / (2.0 * std::log10(nat));
    case kCheby:
      return std::acosh(std::sqrt((gs - 1.0) / (gp - 1.0))) / std::acosh(nat);
    case kEllip: {
      const double arg1Sq = std::expm1(std::log(10.0) * 0.1 * gpass) / std::expm1(std::log(10.0) * 0.1 * gstop);
      const double arg0 = 1.0 / nat;
      return EllipK(arg0 * arg0) * EllipKm1(arg1Sq) / (EllipKm1(arg0 * arg0) * EllipK(arg1Sq));
    }
  }
  return 0.0;
}

// Bounded Brent minimisation, the algorithm and stopping rule of scipy.optimize.fminbound.
double FminBound(const std::function<double(double)>& func, double x1, double x2) {
  constexpr double xatol = 1e-5;
  const double sqrtEps = std::sqrt(2.2e-16);
  const double golden = 0.5 * (3.0 - std::sqrt(5.0));
  double a = x1, b = x2;
  double fulc = a + golden * (b - a);
  double nfc = fulc, xf = fulc;
  double rat = 0.0, e = 0.0;
  double x = xf;
  double fx = func(x);
  int num = 1;
  double ffulc = fx, fnfc = fx;
  double xm = 0.5 * (a + b);
  double tol1 = sqrtEps * std::abs(xf) + xatol / 3.0;
  double tol2 = 2.0 * tol1;
  auto sign = [](double v) { return v > 0 ? 1.0 : (v < 0 ? -1.0 : 0.0); };
  while (std::abs(xf - xm) > (tol2 - 0.5 * (b - a))) {
    bool gold = true;
    if (std::abs(e) > tol1) {
      gold = false;
      double r = (xf - nfc) * (fx - ffulc);
      double q = (xf - fulc) * (fx - fnfc);
      double p = (xf - fulc) * q - (xf - nfc) * r;
      q = 2.0 * (q - r);
      if (q > 0.0) p = -p;
      q = std::abs(q);
      r = e;
      e = rat;
      if (std::abs(p) < std::abs(0.5 * q * r) && p > q * (a - xf) && p < q * (b - xf)) {
        rat = p / q;
        x = xf + rat;
        if ((x - a) < tol2 || (b - x) < tol2) rat = tol1 * (sign(xm - xf) + ((xm - xf) == 0));
      } else {
        gold = true;
      }
    }
    if (gold) {
      e = xf >= xm ? a - xf : b - xf;
      rat = golden * e;
    }
    const double si = sign(rat) + (rat == 0);
    x = xf + si * std::max(std::abs(rat), tol1);
    const double fu = func(x);
    ++num;
    if (fu <= fx) {
      if (x >= xf) a = xf; else b = xf;
      fulc = nfc; ffulc = fnfc;
      nfc = xf; fnfc = fx;
      xf = x; fx = fu;
    } else {
      if (x < xf) a = x; else b = x;
      if (fu <= fnfc || nfc == xf) {
        fulc = nfc; ffulc = fnfc;
        nfc = x; fnfc = fu;
      } else if (fu <= ffulc || fulc == xf || fulc == nfc) {
        fulc = x; ffulc = fu;
      }
    }
    xm = 0.5 * (a + b);
    tol1 = sqrtEps * std::abs(xf) + xatol / 3.0;
    tol2 = 2.0 * tol1;
    if (num >= 500) break;
  }
  return xf;
}

struct Template {
  int type;  // 1 low, 2 high, 3 stop, 4 pass
  std::vector<double> passb, stopb;
  double nat;
};

Template Analyse(std::span<const double> wp, std::span<const double> ws, double gpass, double gstop, Family fam) {
  if (wp.size() != ws.size() || (wp.size() != 1 && wp.size() != 2))
    Fail("IIR order selection needs one pass and one stop edge, or two of each");
  if (!(gpass > 0.0)) Fail("Pass-band ripple must be > 0 dB");
  if (!(gstop > gpass)) Fail("Stop-band attenuation must exceed the pass-band ripple");
  for (std::size_t i = 0; i < wp.size(); ++i)
    if (!(wp[i] > 0.0 && wp[i] < 1.0 && ws[i] > 0.0 && ws[i] < 1.0))
      Fail("IIR band edges must be between 0 and 1 (Nyquist)");
  Template t;
  t.type = 2 * static_cast<int>(wp.size() - 1) + 1 + (wp[0] >= ws[0] ? 1 : 0);
  for (std::size_t i = 0; i < wp.size(); ++i) {
    t.passb.push_back(std::tan(kPi * wp[i] / 2.0));
    t.stopb.push_back(std::tan(kPi * ws[i] / 2.0));
  }
  auto& pb = t.passb;
  auto& sb = t.stopb;
  auto bandNat = [&](const std::vector<double>& p) {
    double m = std::numeric_limits<double>::infinity();
    for (double s : sb) m = std::min(m, std::abs(s * (p[0] - p[1]) / (s * s - p[0] * p[1])));
    return m;
  };
  switch (t.type) {
    case 1: t.nat = sb[0] / pb[0]; break;
    case 2: t.nat = pb[0] / sb[0]; break;
    case 3: {
      auto obj = [&](int ind) {
        return [&, ind](double w) {
          std::vector<double> p = pb;
          p[ind] = w;
          return OrderValue(fam, bandNat(p), gpass, gstop);
        };
      };
      pb[0] = FminBound(obj(0), pb[0], sb[0] - 1e-12);
      pb[1] = FminBound(obj(1), sb[1] + 1e-12, pb[1]);
      t.nat = bandNat(pb);
      break;
    }
    default: {
      double m = std::numeric_limits<double>::infinity();
      for (double s : sb) m = std::min(m, std::abs((s * s - pb[0] * pb[1]) / (s * (pb[0] - pb[1]))));
      t.nat = m;
    }
  }
  if (!(t.nat > 1.0)) Fail("IIR order selection: the stop band must lie beyond the pass band");
  return t;
}

std::vector<double> Unwarp(const std::vector<double>& w) {
  std::vector<double> r;
  for (double v : w) r.push_back(2.0 / kPi * std::atan(v));
  std::sort(r.begin(), r.end());
  return r;
}

// Chebyshev I and elliptic filters meet the template with their natural frequencies at the
// pass-band edges.
TIirOrder PassbandEdgeOrder(std::span<const double> Wp, std::span<const double> Ws, double PassRippleDb,
                            double StopAttenuationDb, Family fam) {
  const Template t = Analyse(Wp, Ws, PassRippleDb, StopAttenuationDb, fam);
  TIirOrder r;
  r.Order = static_cast<int>(std::ceil(OrderValue(fam, t.nat, PassRippleDb, StopAttenuationDb)));
  r.Wn = Unwarp(t.passb);
  return r;
}

}  // namespace

TIirOrder ButterOrder(std::span<const double> Wp, std::span<const double> Ws, double PassRippleDb,
                      double StopAttenuationDb) {
  const Template t = Analyse(Wp, Ws, PassRippleDb, StopAttenuationDb, kButter);
  TIirOrder r;
  r.Order = static_cast<int>(std::ceil(OrderValue(kButter, t.nat, PassRippleDb, StopAttenuationDb)));
  const double gp = std::pow(10.0, 0.1 * std::abs(PassRippleDb));
  const double w0 = std::pow(gp - 1.0, -1.0 / (2.0 * r.Order));
  const auto& pb = t.passb;
  std::vector<double> wn;
  switch (t.type) {
    case 1: wn = {w0 * pb[0]}; break;
    case 2: wn = {pb[0] / w0}; break;
    case 3: {
      const double disc = std::sqrt((pb[1] - pb[0]) * (pb[1] - pb[0]) + 4 * w0 * w0 * pb[0] * pb[1]);
      wn = {std::abs(((pb[1] - pb[0]) + disc) / (2 * w0)), std::abs(((pb[1] - pb[0]) - disc) / (2 * w0))};
      break;
    }
    default:
      for (double s : {-w0, w0})
        wn.push_back(std::abs(-s * (pb[1] - pb[0]) / 2.0 + std::sqrt(s * s / 4.0 * (pb[1] - pb[0]) * (pb[1] - pb[0]) + pb[0] * pb[1])));
  }
  r.Wn = Unwarp(wn);
  return r;
}

TIirOrder ChebyshevIOrder(std::span<const double> Wp, std::span<const double> Ws, double PassRippleDb,
                          double StopAttenuationDb) {
  return PassbandEdgeOrder(Wp, Ws, PassRippleDb, StopAttenuationDb, kCheby);
}

TIirOrder ChebyshevIIOrder(std::span<const double> Wp, std::span<const double> Ws, double PassRippleDb,
                           double StopAttenuationDb) {
  const Template t = Analyse(Wp, Ws, PassRippleDb, StopAttenuationDb, kCheby);
  TIirOrder r;
  r.Order = static_cast<int>(std::ceil(OrderValue(kCheby, t.nat, PassRippleDb, StopAttenuationDb)));
  const double gs = std::pow(10.0, 0.1 * std::abs(StopAttenuationDb));
  const double gp = std::pow(10.0, 0.1 * std::abs(PassRippleDb));
  const double nf = 1.0 / std::cosh(std::acosh(std::sqrt((gs - 1.0) / (gp - 1.0))) / r.Order);
  const auto& pb = t.passb;
  std::vector<double> nat;
  switch (t.type) {
    case 1: nat = {pb[0] / nf}; break;
    case 2: nat = {pb[0] * nf}; break;
    case 3: {
      const double n0 = nf / 2.0 * (pb[0] - pb[1]) + std::sqrt(nf * nf * (pb[1] - pb[0]) * (pb[1] - pb[0]) / 4.0 + pb[1] * pb[0]);
      nat = {n0, pb[1] * pb[0] / n0};
      break;
    }
    default: {
      const double n0 = 1.0 / (2.0 * nf) * (pb[0] - pb[1]) + std::sqrt((pb[1] - pb[0]) * (pb[1] - pb[0]) / (4.0 * nf * nf) + pb[1] * pb[0]);
      nat = {n0, pb[0] * pb[1] / n0};
    }
  }
  r.Wn = Unwarp(nat);
  return r;
}

TIirOrder EllipticOrder(std::span<const double> Wp, std::span<const double> Ws, double PassRippleDb,
                        double StopAttenuationDb) {
  return PassbandEdgeOrder(Wp, Ws, PassRippleDb, StopAttenuationDb, kEllip);
}

std::vector<double> ButterFilter(int Order, std::span<const double> Wn, TFilterType Type,
                                 TIirFrequencyTransform Transform) {
  CheckOrder(Order);
  return Design(ButterPrototype(Order), Wn, Type, Transform);
}

std::vector<double> ChebyshevIFilter(int Order, double RippleDb, std::span<const double> Wn,
                                     TFilterType Type, TIirFrequencyTransform Transform) {
  CheckOrder(Order);
  if (!(RippleDb > 0.0)) Fail("Chebyshev I ripple must be > 0 dB");
  return Design(Cheby1Prototype(Order, RippleDb), Wn, Type, Transform);
}

std::vector<double> ChebyshevIIFilter(int Order, double AttenuationDb, std::span<const double> Wn,
                                      TFilterType Type, TIirFrequencyTransform Transform) {
  CheckOrder(Order);
  if (!(AttenuationDb > 0.0)) Fail("Chebyshev II attenuation must be > 0 dB");
  return Design(Cheby2Prototype(Order, AttenuationDb), Wn, Type, Transform);
}

std::vector<double> EllipticFilter(int Order, double RippleDb, double AttenuationDb,
                                   std::span<const double> Wn, TFilterType Type,
                                   TIirFrequencyTransform Transform) {
  CheckOrder(Order);
  if (!(RippleDb > 0.0)) Fail("Elliptic ripple must be > 0 dB");
  if (!(AttenuationDb > RippleDb)) Fail("Elliptic attenuation must exceed the ripple");
  return Design(EllipPrototype(Order, RippleDb, AttenuationDb), Wn, Type, Transform);
}

std::vector<double> BesselFilter(int Order, std::span<const double> Wn, TFilterType Type,
                                 TIirFrequencyTransform Transform) {
  CheckOrder(Order);
  return Design(BesselPrototype(Order), Wn, Type, Transform);
}

std::vector<double> DcFilter(double Cutoff) {
  if (!(Cutoff > 0.0 && Cutoff < 1.0))
    Fail("DC filter cutoff must be between 0 and 1 (Nyquist), got " + std::to_string(Cutoff));
  const double t = std::tan(kPi * Cutoff / 2.0);
  const double p = (1.0 - t) / (1.0 + t);
  const double g = (1.0 + p) / 2.0;
  return {g, -g, 0.0, 1.0, -p, 0.0};
}

std::vector<double> NotchFilter(double W0, double Q) {
  if (!(W0 > 0.0 && W0 < 1.0))
    Fail("Notch frequency must be between 0 and 1 (Nyquist), got " + std::to_string(W0));
  if (!(Q > 0.0)) Fail("Notch quality factor must be > 0");
  const double bw = kPi * W0 / Q, w0 = kPi * W0;
  const double g = 1.0 / (1.0 + std::tan(bw / 2.0));
  return {g, -2.0 * g * std::cos(w0), g, 1.0, -2.0 * g * std::cos(w0), 2.0 * g - 1.0};
}

std::complex<double> SosResponse(std::span<const double> Sos, double W) {
  const cplx z1 = std::polar(1.0, -kPi * W), z2 = z1 * z1;
  cplx h = 1.0;
  for (std::size_t s = 0; s + 5 < Sos.size(); s += 6)
    h *= (Sos[s] + Sos[s + 1] * z1 + Sos[s + 2] * z2) / (Sos[s + 3] + Sos[s + 4] * z1 + Sos[s + 5] * z2);
  return h;
}

}  // namespace sigflow
