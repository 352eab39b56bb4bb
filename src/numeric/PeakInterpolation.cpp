#include "sigflow/numeric/PeakInterpolation.h"

#include <cmath>
#include <cstddef>

#include "sigflow/core/Exceptions.h"

namespace sigflow {
namespace {

template <class T>
void CheckBin(std::span<const T> v, int k) {
  if (k < 1 || std::size_t(k) + 1 >= v.size())
    throw Exception("PeakInterpolation: bin k needs a neighbour on each side");
}

double Frequency(int k, double delta, double binSpacing, double bandwidthL) {
  return bandwidthL + double(k) * binSpacing + delta * binSpacing;
}

// Re(u / v) as Re(u conj(v)) / |v|^2.
double RealRatio(TCplx u, TCplx v) { return (u.real() * v.real() + u.imag() * v.imag()) / std::norm(v); }

}  // namespace

double QuadraticPeak(std::span<const double> y, int k, double binSpacing, double bandwidthL) {
  CheckBin(y, k);
  const double a = y[std::size_t(k - 1)], b = y[std::size_t(k)], c = y[std::size_t(k + 1)];
  return Frequency(k, (c - a) / (2 * b - a - c), binSpacing, bandwidthL);
}

double BarycentricPeak(std::span<const double> y, int k, double binSpacing, double bandwidthL) {
  CheckBin(y, k);
  const double a = y[std::size_t(k - 1)], b = y[std::size_t(k)], c = y[std::size_t(k + 1)];
  return Frequency(k, (c - a) / (a + b + c), binSpacing, bandwidthL);
}

double QuinnFirstPeak(std::span<const TCplx> x, int k, double binSpacing, double bandwidthL) {
  CheckBin(x, k);
  const double am = RealRatio(x[std::size_t(k - 1)], x[std::size_t(k)]);
  const double ap = RealRatio(x[std::size_t(k + 1)], x[std::size_t(k)]);
  const double dm = am / (1 - am);
  // Positive sign on dp, unlike the second estimator: the choice rule below depends on it.
  const double dp = ap / (1 - ap);
  const double delta = (dp > 0 && dm > 0) ? dp : dm;
  return Frequency(k, delta, binSpacing, bandwidthL);
}

double QuinnSecondPeak(std::span<const TCplx> x, int k, double binSpacing, double bandwidthL) {
  CheckBin(x, k);
  const double am = RealRatio(x[std::size_t(k - 1)], x[std::size_t(k)]);
  const double ap = RealRatio(x[std::size_t(k + 1)], x[std::size_t(k)]);
  const double dp = -ap / (1 - ap);
  const double dm = am / (1 - am);
  const double delta = (dp + dm) / 2 + QuinnTau(dp * dp) - QuinnTau(dm * dm);
  return Frequency(k, delta, binSpacing, bandwidthL);
}

double JainPeak(std::span<const double> y, int k, double binSpacing, double bandwidthL) {
  CheckBin(y, k);
  const double a = y[std::size_t(k - 1)], b = y[std::size_t(k)], c = y[std::size_t(k + 1)];
  double position;
  if (a <= c) {
    const double r = c / b;
    position = double(k) + r / (r + 1);
  } else {
    const double r = b / a;
    position = double(k - 1) + r / (r + 1);
  }
  return bandwidthL + position * binSpacing;
}

double QuinnTau(double x) {
  const double s = std::sqrt(2.0 / 3.0);
  return 0.25 * std::log(3 * x * x + 6 * x + 1) -
         std::sqrt(6.0) / 24 * std::log((x + 1 - s) / (x + 1 + s));
}

}  // namespace sigflow
