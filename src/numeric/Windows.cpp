#include "sigflow/numeric/Windows.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <numbers>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Fft.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow {
namespace {

constexpr double kPi = std::numbers::pi;

void Start(TVec& dst, int n) {
  if (n < 0) throw Exception("Window length < 0");
  dst.Size(n, false);
}

// Denominator D of x = k / D.
double Span(int n, TWindowSymmetry s) { return s == wsPeriodic ? double(n) : double(n - 1); }

void CosineSum(TVec& dst, int n, TWindowSymmetry s, std::initializer_list<double> a) {
  Start(dst, n);
  if (n == 1) {
    dst.SetValues(0, 1.0);
    return;
  }
  const double d = Span(n, s);
  double* w = dst.Data();
  for (int k = 0; k < n; ++k) {
    const double x = 2.0 * kPi * k / d;
    double v = 0.0, sign = 1.0;
    int j = 0;
    for (double c : a) {
      v += sign * c * std::cos(j * x);
      sign = -sign;
      ++j;
    }
    w[k] = v;
  }
}

// Modified Bessel function of the first kind, order 0, by its power series (converges for
// every x; the terms peak near k = x/2, so 300 terms cover beta far beyond practical use).
double BesselI0(double x) {
  const double q = x * x / 4.0;
  double term = 1.0, sum = 1.0;
  for (int k = 1; k < 500; ++k) {
    term *= q / (double(k) * double(k));
    sum += term;
    if (term < sum * 1e-17) break;
  }
  return sum;
}

}  // namespace

void Rectangular(TVec& dst, int n) {
  Start(dst, n);
  dst.SetVal(1.0);
}

void Hanning(TVec& dst, int n, TWindowSymmetry s) { CosineSum(dst, n, s, {0.5, 0.5}); }
void Hamming(TVec& dst, int n, TWindowSymmetry s) { CosineSum(dst, n, s, {0.54, 0.46}); }
void FlatTop(TVec& dst, int n, TWindowSymmetry s) { CosineSum(dst, n, s, {0.2810639, 0.5208972, 0.1980399}); }
void Blackman(TVec& dst, int n, TWindowSymmetry s) { CosineSum(dst, n, s, {0.42, 0.5, 0.08}); }
void BlackmanHarris(TVec& dst, int n, TWindowSymmetry s) { CosineSum(dst, n, s, {0.42323, 0.49755, 0.07922}); }
void BlackmanExact(TVec& dst, int n, TWindowSymmetry s) {
  CosineSum(dst, n, s, {7938.0 / 18608.0, 9240.0 / 18608.0, 1430.0 / 18608.0});
}

void Bartlett(TVec& dst, int n, TWindowSymmetry s) {
  Start(dst, n);
  if (n == 1) {
    dst.SetValues(0, 1.0);
    return;
  }
  const double d = Span(n, s);
  for (int k = 0; k < n; ++k) dst.SetValues(k, 1.0 - std::fabs(2.0 * k / d - 1.0));
}

void CosineTappered(TVec& dst, int n, double taper, TWindowSymmetry s) {
  Start(dst, n);
  if (n == 0) return;
  const double alpha = std::clamp(taper, 0.0, 1.0);
  if (n == 1 || alpha == 0.0) {
    dst.SetVal(1.0);
    return;
  }
  // Tukey window: the periodic form is the symmetric one of length n + 1 without its end.
  const int m = s == wsPeriodic ? n + 1 : n;
  const double d = double(m - 1);
  const int width = int(std::floor(alpha * d / 2.0));
  for (int k = 0; k < n; ++k) {
    double v = 1.0;
    if (k <= width) v = 0.5 * (1.0 + std::cos(kPi * (-1.0 + 2.0 * k / alpha / d)));
    else if (k >= m - width - 1) v = 0.5 * (1.0 + std::cos(kPi * (-2.0 / alpha + 1.0 + 2.0 * k / alpha / d)));
    dst.SetValues(k, v);
  }
}

void Kaiser(TVec& dst, int n, double beta, TWindowSymmetry s) {
  Start(dst, n);
  if (n == 1) {
    dst.SetValues(0, 1.0);
    return;
  }
  const double d = Span(n, s);
  const double i0b = BesselI0(beta);
  for (int k = 0; k < n; ++k) {
    const double r = 2.0 * k / d - 1.0;
    dst.SetValues(k, BesselI0(beta * std::sqrt(std::max(0.0, 1.0 - r * r))) / i0b);
  }
}

void Chebyshev(TVec& dst, int n, double attDb, TWindowSymmetry s) {
  Start(dst, n);
  if (n <= 1) {
    dst.SetVal(1.0);
    return;
  }
  // Dolph-Chebyshev window from the samples of the Chebyshev polynomial on the unit circle
  // (its DFT); the periodic form is the symmetric one of length n + 1 without its end.
  const int m = s == wsPeriodic ? n + 1 : n;
  const double order = m - 1.0;
  const double beta = std::cosh(std::acosh(std::pow(10.0, std::fabs(attDb) / 20.0)) / order);
  TVec p(m, true);
  TCplx* z = p.CData();
  for (int k = 0; k < m; ++k) {
    const double x = beta * std::cos(kPi * k / m);
    double v;
    if (x > 1.0) v = std::cosh(order * std::acosh(x));
    else if (x < -1.0) v = (2 * (m % 2) - 1) * std::cosh(order * std::acosh(-x));
    else v = std::cos(order * std::acos(x));
    z[k] = m % 2 ? TCplx(v, 0.0) : v * std::polar(1.0, kPi * k / m);
  }
  sigflow::FFT(p.CSpan(), p.CSpan());
  // Arrange the centre-first DFT into the symmetric window.
  std::vector<double> w(static_cast<std::size_t>(m));
  if (m % 2) {
    const int h = (m + 1) / 2;
    for (int i = 0; i < h; ++i) {
      w[std::size_t(h - 1 + i)] = z[i].real();
      w[std::size_t(h - 1 - i)] = z[i].real();
    }
  } else {
    const int h = m / 2 + 1;
    for (int i = 1; i < h; ++i) {
      w[std::size_t(h - 2 + i)] = z[i].real();
      w[std::size_t(h - 1 - i)] = z[i].real();
    }
  }
  const double peak = *std::max_element(w.begin(), w.end());
  for (int k = 0; k < n; ++k) dst.SetValues(k, w[std::size_t(k)] / peak);
}

void ExponentWindow(TVec& dst, int n, double endValue, TWindowSymmetry s) {
  Start(dst, n);
  if (n == 1) {
    dst.SetValues(0, 1.0);
    return;
  }
  const double d = Span(n, s);
  const double rate = std::log(endValue) / d;
  for (int k = 0; k < n; ++k) dst.SetValues(k, std::exp(rate * k));
}

void SignalWindow(TVec& dst, TSignalWindowType type, int n, TWindowSymmetry s, double param) {
  switch (type) {
    case wtRectangular: Rectangular(dst, n); return;
    case wtHanning: Hanning(dst, n, s); return;
    case wtHamming: Hamming(dst, n, s); return;
    case wtFlatTop: FlatTop(dst, n, s); return;
    case wtBartlett: Bartlett(dst, n, s); return;
    case wtBlackman: Blackman(dst, n, s); return;
    case wtBlackmanHarris: BlackmanHarris(dst, n, s); return;
    case wtExactBlackman: BlackmanExact(dst, n, s); return;
    case wtCosineTapered: CosineTappered(dst, n, param, s); return;
    case wtKaiser: Kaiser(dst, n, param, s); return;
    case wtChebyshev: Chebyshev(dst, n, param, s); return;
    case wtExponential: ExponentWindow(dst, n, param, s); return;
  }
  throw Exception("Unknown window type");
}

void ApplyWindow(TVec& x, const TVec& w, int index) {
  const int n = w.Length();
  if (index < 0 || index > x.Length() - n) throw Exception("TVec: range out of bounds");
  const double* wv = w.Data();
  if (x.Complex()) {
    double* d = x.Data() + 2 * std::size_t(index);
    for (int k = 0; k < n; ++k) {
      d[2 * k] *= wv[k];
      d[2 * k + 1] *= wv[k];
    }
  } else {
    double* d = x.Data() + index;
    for (int k = 0; k < n; ++k) d[k] *= wv[k];
  }
}

double KaiserBetaWindowAtt(double attDb) {
  const double a = std::fabs(attDb);
  if (a <= 13.26) return 0.0;
  if (a <= 60.0) return 0.76609 * std::pow(a - 13.26, 0.4) + 0.09834 * (a - 13.26);
  return 0.12438 * (a + 6.3);
}

double WindowScaleFactor(TSignalWindowType type, const TVec& built) {
  switch (type) {
    case wtRectangular: return 1.0;
    case wtHanning:
    case wtBartlett: return 2.0;
    case wtHamming: return 1.0 / 0.54;
    case wtFlatTop: return 1.0 / 0.2810639;
    case wtBlackman: return 1.0 / 0.42;
    case wtBlackmanHarris: return 1.0 / 0.42323;
    case wtExactBlackman: return 18608.0 / 7938.0;
    default: break;
  }
  const double m = built.Mean();
  return m == 0.0 || std::isnan(m) ? std::numeric_limits<double>::quiet_NaN() : 1.0 / m;
}

}  // namespace sigflow
