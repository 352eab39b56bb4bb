#include "sigflow/numeric/FirDesign.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>

namespace sigflow {

namespace {

constexpr double kPi = std::numbers::pi;

[[noreturn]] void Fail(const std::string& message) { throw EFilterDesignError(message); }

// Modified Bessel function of the first kind, order 0; the power series converges for every
// beta a window uses (terms peak near k = x/2 and the sum stays finite in double).
double BesselI0(double x) {
  const double q = 0.25 * x * x;
  double term = 1.0;
  double sum = 1.0;
  for (int k = 1; k < 500; ++k) {
    term *= q / (static_cast<double>(k) * k);
    sum += term;
    if (term < 1e-17 * sum) break;
  }
  return sum;
}

std::vector<double> CosineSum(int n, std::initializer_list<double> a) {
  std::vector<double> w(n);
  for (int i = 0; i < n; ++i) {
    const double x = 2.0 * kPi * i / (n - 1);
    double sign = 1.0;
    double v = 0.0;
    int k = 0;
    for (double ak : a) {
      v += sign * ak * std::cos(k * x);
      sign = -sign;
      ++k;
    }
    w[i] = v;
  }
  return w;
}

std::vector<double> Tukey(int n, double alpha) {
  std::vector<double> w(n, 1.0);
  if (alpha <= 0.0) return w;
  if (alpha >= 1.0) return CosineSum(n, {0.5, 0.5});
  const int width = static_cast<int>(std::floor(alpha * (n - 1) / 2.0));
  for (int i = 0; i <= width; ++i)
    w[i] = 0.5 * (1.0 + std::cos(kPi * (-1.0 + 2.0 * i / alpha / (n - 1))));
  for (int i = n - width - 1; i < n; ++i)
    w[i] = 0.5 * (1.0 + std::cos(kPi * (-2.0 / alpha + 1.0 + 2.0 * i / alpha / (n - 1))));
  return w;
}

// Dolph-Chebyshev window: samples of the Chebyshev polynomial on the unit circle, taken back
// to time by a direct cosine transform (lengths are small enough for O(n^2)).
std::vector<double> DolphChebyshev(int n, double attenuationDb) {
  const double order = n - 1.0;
  const double beta = std::cosh(std::acosh(std::pow(10.0, std::abs(attenuationDb) / 20.0)) / order);
  std::vector<double> p(n);
  for (int k = 0; k < n; ++k) {
    const double x = beta * std::cos(kPi * k / n);
    if (x > 1.0)
      p[k] = std::cosh(order * std::acosh(x));
    else if (x < -1.0)
      p[k] = (2 * (n % 2) - 1) * std::cosh(order * std::acosh(-x));
    else
      p[k] = std::cos(order * std::acos(x));
  }
  // Real part of the DFT of p (odd n) or of p[k] e^{j pi k/n} (even n): the phase is
  // pi j / n with j = k (1 - 2m) or -2 k m, looked up in a table of 2n cosines.
  std::vector<double> cosTab(2 * static_cast<std::size_t>(n));
  for (int j = 0; j < 2 * n; ++j)
    cosTab[j] = static_cast<double>(std::cos(std::numbers::pi_v<long double> * j / n));
  auto dft = [&](int m) {
    const long long stepJ = n % 2 ? -2LL * m : 1LL - 2LL * m;
    const long long mod = 2LL * n;
    const long long step = ((stepJ % mod) + mod) % mod;
    long double s = 0.0L;
    long long j = 0;
    for (int k = 0; k < n; ++k) {
      s += p[k] * cosTab[j];
      j += step;
      if (j >= mod) j -= mod;
    }
    return static_cast<double>(s);
  };
  std::vector<double> w(n);
  if (n % 2) {
    const int half = (n + 1) / 2;
    for (int m = 0; m < half; ++m) w[half - 1 + m] = w[half - 1 - m] = dft(m);
  } else {
    const int half = n / 2 + 1;
    for (int m = 1; m < half; ++m) w[half - 2 + m] = w[half - 1 - m] = dft(m);
  }
  const double peak = *std::max_element(w.begin(), w.end());
  for (double& v : w) v /= peak;
  return w;
}

double Sinc(double x) { return x == 0.0 ? 1.0 : std::sin(kPi * x) / (kPi * x); }

}  // namespace

std::vector<double> FirDesignWindow(int Length, TFirWindow Window, double Param) {
  if (Length < 1) Fail("Window length must be at least 1, got " + std::to_string(Length));
  if (Length == 1) return {1.0};
  const int n = Length;
  switch (Window) {
    case fwRectangular:
      return std::vector<double>(n, 1.0);
    case fwHanning:
      return CosineSum(n, {0.5, 0.5});
    case fwHamming:
      return CosineSum(n, {0.54, 0.46});
    case fwFlatTop:
      return CosineSum(n, {0.21557895, 0.41663158, 0.277263158, 0.083578947, 0.006947368});
    case fwBartlet: {
      std::vector<double> w(n);
      for (int i = 0; i < n; ++i) {
        const double r = 2.0 * i / (n - 1);
        w[i] = i <= (n - 1) / 2.0 ? r : 2.0 - r;
      }
      return w;
    }
    case fwBlackman:
      if (!std::isfinite(Param)) Fail("Blackman window alpha must be finite");
      return CosineSum(n, {(1.0 + Param) / 2.0, 0.5, -Param / 2.0});
    case fwBlackmanHarris:
      return CosineSum(n, {0.35875, 0.48829, 0.14128, 0.01168});
    case fwBlackmanExact:
      return CosineSum(n, {7938.0 / 18608.0, 9240.0 / 18608.0, 1430.0 / 18608.0});
    case fwCosineTappered:
      if (!(Param >= 0.0 && Param <= 1.0))
        Fail("Cosine taper fraction must be in [0, 1], got " + std::to_string(Param));
      return Tukey(n, Param == 0.0 ? 0.5 : Param);
    case fwKaiser: {
      if (!(Param >= 0.0)) Fail("Kaiser beta must be >= 0, got " + std::to_string(Param));
      std::vector<double> w(n);
      const double norm = BesselI0(Param);
      for (int i = 0; i < n; ++i) {
        const double r = 2.0 * i / (n - 1) - 1.0;
        w[i] = BesselI0(Param * std::sqrt(std::max(0.0, 1.0 - r * r))) / norm;
      }
      return w;
    }
    case fwChebyshev:
      if (!(Param > 0.0))
        Fail("Chebyshev window attenuation must be > 0 dB, got " + std::to_string(Param));
      return DolphChebyshev(n, Param);
  }
  Fail("Unknown window kind " + std::to_string(static_cast<int>(Window)));
}

std::vector<double> FirImpulse(int Length, std::span<const double> Cutoffs, TFilterType Type,
                               TFirWindow Window, double WindowParam) {
  if (Length < 1) Fail("FIR length must be at least 1, got " + std::to_string(Length));
  std::size_t wanted = (Type == ftBandpass || Type == ftBandstop) ? 2 : 1;
  if (Type == ftHilbert && Cutoffs.size() == 2) wanted = 2;
  if (Cutoffs.size() != wanted)
    Fail("FIR design needs " + std::to_string(wanted) + " cutoff frequencies, got " +
         std::to_string(Cutoffs.size()));
  for (std::size_t i = 0; i < Cutoffs.size(); ++i) {
    const bool fullBandOk = Type == ftDifferentiator || Type == ftHilbert;
    if (!(Cutoffs[i] > 0.0 && (Cutoffs[i] < 1.0 || (fullBandOk && Cutoffs[i] == 1.0))))
      Fail("Cutoff frequency must be between 0 and 1 (Nyquist), got " +
           std::to_string(Cutoffs[i]));
    if (i > 0 && !(Cutoffs[i] > Cutoffs[i - 1])) Fail("Cutoff frequencies must increase");
  }
  if ((Type == ftHighpass || Type == ftBandstop) && Length % 2 == 0)
    Fail("A filter that passes the Nyquist frequency needs an odd length, got " +
         std::to_string(Length));

  const std::vector<double> w = FirDesignWindow(Length, Window, WindowParam);
  std::vector<double> h(Length, 0.0);
  const double c = 0.5 * (Length - 1);

  if (Type == ftDifferentiator || Type == ftHilbert) {
    for (int n = 0; n < Length; ++n) {
      const double m = n - c;
      if (m == 0.0) continue;
      double v;
      if (Type == ftDifferentiator) {
        const double a = kPi * Cutoffs[0];
        v = (a * m * std::cos(a * m) - std::sin(a * m)) / (kPi * m * m);
      } else {
        const double a1 = Cutoffs.size() == 2 ? kPi * Cutoffs[0] : 0.0;
        const double a2 = kPi * Cutoffs.back();
        v = (std::cos(a2 * m) - std::cos(a1 * m)) / (kPi * m);
      }
      h[n] = w[n] * v;
    }
    return h;
  }

  // Pass bands as (left, right) pairs.
  std::vector<double> edges;
  const bool passZero = Type == ftLowpass || Type == ftBandstop;
  if (passZero) edges.push_back(0.0);
  edges.insert(edges.end(), Cutoffs.begin(), Cutoffs.end());
  if (edges.size() % 2) edges.push_back(1.0);
  for (int n = 0; n < Length; ++n) {
    const double m = n - c;
    double v = 0.0;
    for (std::size_t b = 0; b < edges.size(); b += 2)
      v += edges[b + 1] * Sinc(edges[b + 1] * m) - edges[b] * Sinc(edges[b] * m);
    h[n] = v * w[n];
  }
  const double left = edges[0], right = edges[1];
  const double f = left == 0.0 ? 0.0 : (right == 1.0 ? 1.0 : 0.5 * (left + right));
  double gain = 0.0;
  for (int n = 0; n < Length; ++n) gain += h[n] * std::cos(kPi * (n - c) * f);
  for (double& v : h) v /= gain;
  return h;
}

int KaiserFirLength(double AttenuationDb, double TransitionWidth) {
  if (!(AttenuationDb >= 8.0))
    Fail("Kaiser length formula needs an attenuation of at least 8 dB, got " +
         std::to_string(AttenuationDb));
  if (!(TransitionWidth > 0.0 && TransitionWidth <= 1.0))
    Fail("Transition width must be in (0, 1], got " + std::to_string(TransitionWidth));
  const double n = (AttenuationDb - 7.95) / (2.285 * kPi * TransitionWidth) + 1.0;
  return std::max(1, static_cast<int>(std::ceil(n)));
}

double KaiserBetaFir(double AttenuationDb) {
  const double a = AttenuationDb;
  if (a > 50.0) return 0.1102 * (a - 8.7);
  if (a > 21.0) return 0.5842 * std::pow(a - 21.0, 0.4) + 0.07886 * (a - 21.0);
  return 0.0;
}

std::vector<double> SavGolayImpulse(int Length, int PolyOrder) {
  if (Length < 1) Fail("Savitzky-Golay length must be at least 1, got " + std::to_string(Length));
  if (PolyOrder < 0 || PolyOrder >= Length)
    Fail("Savitzky-Golay order must be in 0 .. length - 1, got " + std::to_string(PolyOrder));
  // Minimum-norm solution of A c = e0 with A[k][i] = x_i^k: c = Q R^-T e0 where Q R = A^T.
  // Abscissae scaled to [-1, 1] keep the columns comparable; the scaling leaves c unchanged.
  const int n = Length, p = PolyOrder + 1;
  const long double half = (n - 1) / 2.0L;
  std::vector<std::vector<long double>> q(p, std::vector<long double>(n));
  std::vector<std::vector<long double>> r(p, std::vector<long double>(p, 0.0L));
  for (int k = 0; k < p; ++k) {
    for (int i = 0; i < n; ++i) {
      const long double x = half > 0 ? (i - half) / half : 0.0L;
      q[k][i] = std::pow(x, k);
    }
    for (int pass = 0; pass < 2; ++pass) {  // Gram-Schmidt twice for orthogonality
      for (int j = 0; j < k; ++j) {
        long double d = 0.0L;
        for (int i = 0; i < n; ++i) d += q[j][i] * q[k][i];
        r[j][k] += d;
        for (int i = 0; i < n; ++i) q[k][i] -= d * q[j][i];
      }
    }
    long double norm = 0.0L;
    for (int i = 0; i < n; ++i) norm += q[k][i] * q[k][i];
    norm = std::sqrt(norm);
    r[k][k] = norm;
    for (int i = 0; i < n; ++i) q[k][i] /= norm;
  }
  std::vector<long double> y(p);
  for (int k = 0; k < p; ++k) {
    long double s = k == 0 ? 1.0L : 0.0L;
    for (int j = 0; j < k; ++j) s -= r[j][k] * y[j];
    y[k] = s / r[k][k];
  }
  std::vector<double> c(n);
  for (int i = 0; i < n; ++i) {
    long double s = 0.0L;
    for (int k = 0; k < p; ++k) s += q[k][i] * y[k];
    c[i] = static_cast<double>(s);
  }
  return c;
}

std::vector<double> MovingAverageImpulse(int Length) {
  if (Length < 1) Fail("Moving average length must be at least 1, got " + std::to_string(Length));
  return std::vector<double>(Length, 1.0 / Length);
}

}  // namespace sigflow
